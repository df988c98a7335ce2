// The stored form of a manager of links: golden bytes, round trips, damage.

#include "model_test_support.h"

#include <algorithm>

namespace model_test {
namespace {

using LinksPtr = OdSmartPtr<ZemDbPersIdManager>;

/// Kind and handle of an id, as `HandleFiler` files it: 0 is a soft pointer, 3 hard ownership.
const Blob kBase = bytes({
    0, 0, 0, 0,  // reactors
    3, 0,        // extension dictionary: none, owned
    0, 0, 0, 0,  // extended data
    0, 0,        // owner
});

const Blob kEmpty = kBase + bytes({
                                2, 0, 0,   0,              // items
                                4, 0, '_', 'v', 'e', 'r',  // class version
                                6, 1,                      //   a small number
                                4, 0, 'd', 'e', 'p', 's',  // links
                                9, 8,                      //   array of ids
                                0, 0, 0,   0,              //   of no elements
                            });

const Blob kTwoLinks = kBase + bytes({
                                   2, 0, 0,    0,              // items
                                   4, 0, '_',  'v', 'e', 'r',  // class version
                                   6, 1,                       //   a small number
                                   4, 0, 'd',  'e', 'p', 's',  // links, in order of creation
                                   9, 8,                       //   array of ids
                                   2, 0, 0,    0,              //   of two elements
                                   3, 3, 0xA2,                 //   kind of reference, owned id
                                   3, 3, 0xA1,                 //   kind of reference, owned id
                               });

/// A manager with links of known handles, in a drawing.
class PersIdManagerStream : public ModelTest
{
protected:
    PersIdManagerStream()
    {
        m_database->addOdDbObject(m_manager.get(), OdDbObjectId(), OdDbHandle(0xA0));
        for (const std::uint8_t handle : {0xA2, 0xA1}) {
            const LinkPtr link = odrxMake<ZemDbObjectDependency>();
            m_database->addOdDbObject(link.get(), m_manager->objectId(), OdDbHandle(handle));
            link->setLinkObject(face(m_line, handle));
            m_manager->onAppendToOwner(link.get());
        }
    }

    static LinksPtr fresh() { return odrxMake<ZemDbPersIdManager>(); }
    OdDbObjectIdArray links() const { return m_manager->objectDependencyIds(); }
    OdDbObjectId linkOf(std::uint64_t handle) const
    {
        return m_database->getOdDbObjectId(OdDbHandle(handle));
    }
    OdResult read(ZemDbPersIdManager& manager, Blob const& data)
    {
        return readInto(manager, data, m_database.get());
    }

    LinksPtr m_manager = fresh();
};

TEST_F(PersIdManagerStream, IsTheBagBehindTheBaseFields)
{
    EXPECT_EQ(filed(*fresh()), kEmpty);
    EXPECT_EQ(filed(*m_manager), kTwoLinks);
}

TEST_F(PersIdManagerStream, IsReadAndWrittenAgainAlike)
{
    const LinksPtr copy = fresh();
    EXPECT_EQ(read(*copy, kTwoLinks), kOdOk);
    EXPECT_EQ(copy->objectDependencyIds(), links());
    HandleFiler filer(m_database.get());
    copy->dwgOutFields(&filer);
    EXPECT_EQ(filer.getBinaryData(), kTwoLinks);
    EXPECT_EQ(read(*copy, kEmpty), kOdOk);
    EXPECT_TRUE(copy->objectDependencyIds().isEmpty());
}

TEST_F(PersIdManagerStream, HasNoGapsWhereLinksWereRemoved)
{
    EXPECT_TRUE(m_manager->removeLink(face(m_line, 0xA2), 0));
    Blob expected = kTwoLinks;
    expected[expected.size() - 10] = 1;                      // elements
    expected.erase(expected.end() - 6, expected.end() - 3);  // the first one
    EXPECT_EQ(filed(*m_manager), expected);
    OdDbObjectIdArray inBag;
    EXPECT_TRUE(m_manager->getReadProperties().getProperty(L"deps", inBag));
    EXPECT_EQ(inBag, OdDbObjectIdArray{linkOf(0xA1)});
}

TEST_F(PersIdManagerStream, LeavesErasedLinksOutOfDrawingsAlone)
{
    erase(linkOf(0xA2));
    Blob expected = kTwoLinks;
    expected[expected.size() - 10] = 1;
    expected.erase(expected.end() - 6, expected.end() - 3);
    EXPECT_EQ(filed(*m_manager), expected);
    EXPECT_EQ(filed(*m_manager, OdDb::FilerType::kUndoFiler), kTwoLinks);
    EXPECT_EQ(filed(*m_manager, OdDb::FilerType::kDeepCloneFiler), kTwoLinks);
    EXPECT_EQ(links().size(), 2u);
}

TEST_F(PersIdManagerStream, TakesTheLinksOfTheStreamInPlaceOfItsOwn)
{
    EXPECT_EQ(m_manager->computeDepId(face(m_line, 0xA1)), OdDbObjectIdArray{linkOf(0xA1)});
    EXPECT_TRUE(m_manager->removeLink(face(m_line, 0xA1), 0));
    EXPECT_EQ(read(*m_manager, kTwoLinks), kOdOk);
    EXPECT_EQ(links(), (OdDbObjectIdArray{linkOf(0xA2), linkOf(0xA1)}));
    EXPECT_EQ(m_manager->computeDepId(face(m_line, 0xA1)), OdDbObjectIdArray{linkOf(0xA1)});
    EXPECT_EQ(read(*m_manager, kEmpty), kOdOk);
    EXPECT_TRUE(m_manager->computeDepId(face(m_line, 0xA1)).isEmpty());
}

TEST_F(PersIdManagerStream, CutAnywhereIsABadStream)
{
    for (std::size_t length = 0; length < kTwoLinks.size(); ++length) {
        const Blob cut(kTwoLinks.begin(), kTwoLinks.begin() + static_cast<std::ptrdiff_t>(length));
        const LinksPtr copy = fresh();
        EXPECT_EQ(read(*copy, cut), kOdBadStream) << length;
        EXPECT_NO_THROW((void)copy->computeDepId(face(m_line, 0xA1))) << length;
    }
}

TEST_F(PersIdManagerStream, WithAFlippedBitIsReadOrRefused)
{
    for (std::size_t bit = 0; bit < 8 * kTwoLinks.size(); ++bit) {
        Blob damaged = kTwoLinks;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
        const LinksPtr copy = fresh();
        const OdResult result = read(*copy, damaged);
        EXPECT_TRUE(result == kOdOk || result == kOdBadStream || result == kOdRejectedVersion)
            << bit << " gives " << result;
        EXPECT_NO_THROW((void)copy->computeDepId(face(m_line, 0xA1))) << bit;
    }
}

TEST_F(PersIdManagerStream, OfANewerClassVersionIsRefused)
{
    Blob newer = kTwoLinks;
    newer[kBase.size() + 11] = 2;
    const LinksPtr copy = fresh();
    EXPECT_EQ(read(*copy, newer), kOdRejectedVersion);
}

TEST_F(PersIdManagerStream, WithAnAbsurdCountIsRefusedBeforeAnythingIsMade)
{
    for (const int value : {0x7F, 0xFF}) {
        Blob absurd = kTwoLinks;
        for (std::size_t at = absurd.size() - 10; at < absurd.size() - 6; ++at) {
            absurd[at] = static_cast<char>(value);
        }
        const LinksPtr copy = fresh();
        EXPECT_EQ(read(*copy, absurd), kOdBadStream);
    }
}

TEST_F(PersIdManagerStream, KeepsWhatOthersPutIntoTheBag)
{
    EXPECT_TRUE(m_manager->getWriteProperties().setProperty(L"host", 5));
    const Blob data = filed(*m_manager);
    const LinksPtr copy = fresh();
    EXPECT_EQ(read(*copy, data), kOdOk);
    int value = 0;
    EXPECT_TRUE(copy->getReadProperties().getProperty(L"host", value));
    EXPECT_EQ(value, 5);
    EXPECT_EQ(copy->objectDependencyIds(), links());
}

}  // namespace
}  // namespace model_test

#include "db/db_test_support.h"
#include "db/od_db_object_id.h"

#include <set>
#include <unordered_set>

using namespace dbtest;

namespace {

constexpr std::uint64_t kLastHandle = (std::uint64_t{1} << 62) - 1;

class NullId : public DatabaseTest
{
};

TEST_F(NullId, AnswersEveryQueryWithNothing)
{
    const OdDbObjectId id;
    EXPECT_TRUE(id.isNull());
    EXPECT_FALSE(id.isValid());
    EXPECT_FALSE(static_cast<bool>(id));
    EXPECT_FALSE(id.isErased());
    EXPECT_FALSE(id.isResident());
    EXPECT_EQ(id.database(), nullptr);
    EXPECT_EQ(id.originalDatabase(), nullptr);
    EXPECT_TRUE(id.getHandle().isNull());
    EXPECT_EQ(id.objectClass(), nullptr);
    EXPECT_TRUE(id.openObject(OdDb::kForWrite, true).isNull());
    EXPECT_EQ(thrownCode([&] { (void)id.safeOpenObject(); }), kOdNullObjectId);
    EXPECT_EQ(thrownCode([&] { id.redirectTo(addBag()); }), kOdNullObjectId);
    OdDbObjectId same = id;
    same.convertToRedirectedId();
    EXPECT_TRUE(same.isNull());
    EXPECT_EQ(id, OdDbObjectId::kNull);
}

TEST_F(NullId, IsBelowEveryOtherId)
{
    EXPECT_LT(OdDbObjectId::kNull, m_db->getBlockTableId());
    EXPECT_GT(m_db->getBlockTableId(), OdDbObjectId::kNull);
    EXPECT_FALSE(OdDbObjectId::kNull < OdDbObjectId::kNull);
}

class ObjectId : public DatabaseTest
{
};

TEST_F(ObjectId, TellsHandleDatabaseAndClass)
{
    const OdDbObjectId id = addBag();
    EXPECT_EQ(id.database(), m_db.get());
    EXPECT_EQ(id.originalDatabase(), m_db.get());
    EXPECT_EQ(id.objectClass(), TestBag::desc());
    EXPECT_TRUE(id.isResident());
    EXPECT_EQ(m_db->getOdDbObjectId(id.getHandle()), id);
}

TEST_F(ObjectId, OrdersByDatabaseThenByHandle)
{
    const OdDbDatabasePtr later = OdDbDatabase::createObject();
    const OdDbObjectId low = addBag();
    const TestBagPtr farBag = TestBag::createObject();
    const OdDbObjectId high = m_db->addOdDbObject(farBag.get(), OdDbObjectId::kNull, 0x123456789);
    const OdDbObjectId middle = addBag();

    EXPECT_LT(low, high);
    EXPECT_GT(middle, high) << "handles ascend from the highest one given";
    EXPECT_LT(middle, later->getBlockTableId());
    EXPECT_EQ((std::set<OdDbObjectId>{later->getBlockTableId(), high, low, middle, low}).size(),
              4U);
}

TEST_F(ObjectId, OfAHandleWithoutObjectCannotBeOpened)
{
    const OdDbObjectId id = m_db->getOdDbObjectId(OdDbHandle(0x500), /*create=*/true);
    EXPECT_TRUE(id.isValid());
    EXPECT_FALSE(id.isErased());
    EXPECT_FALSE(id.isResident());
    EXPECT_EQ(id.objectClass(), nullptr);
    EXPECT_EQ(id.getHandle().value(), 0x500U);
    EXPECT_TRUE(id.openObject().isNull());
    EXPECT_EQ(thrownCode([&] { (void)id.safeOpenObject(); }), kOdKeyNotFound);
    EXPECT_TRUE(m_db->getOdDbObjectId(OdDbHandle(0x500)).isNull());
}

TEST_F(ObjectId, OpensTheObjectThatComesToItsHandleLater)
{
    const OdDbObjectId early = m_db->getOdDbObjectId(OdDbHandle(0x500), /*create=*/true);
    const TestBagPtr bag = TestBag::createObject();
    EXPECT_EQ(m_db->addOdDbObject(bag.get(), OdDbObjectId::kNull, 0x500), early);
    EXPECT_EQ(early.openObject().get(), bag.get());
}

class Redirection : public DatabaseTest
{
protected:
    Redirection() : m_other(OdDbDatabase::createObject())
    {
        m_source = addBag(1);
        const TestBagPtr bag = TestBag::createObject();
        bag->setNumber(2);
        m_target = m_other->addOdDbObject(bag.get());
    }
    void TearDown() override
    {
        m_other.release();
        DatabaseTest::TearDown();
    }

    OdDbDatabasePtr m_other;
    OdDbObjectId m_source;
    OdDbObjectId m_target;
};

TEST_F(Redirection, IsFollowedByEverythingButTheOriginalNames)
{
    m_source.redirectTo(m_target);

    EXPECT_EQ(m_source.database(), m_other.get());
    EXPECT_EQ(m_source.originalDatabase(), m_db.get());
    EXPECT_NE(m_source.getHandle(), OdDbHandle());
    EXPECT_EQ(numberOf(m_source), 2);
    EXPECT_EQ(m_source, m_target);
    EXPECT_FALSE(m_source < m_target);
    EXPECT_FALSE(m_source > m_target);
    EXPECT_EQ(std::hash<OdDbObjectId>()(m_source), std::hash<OdDbObjectId>()(m_target));
    EXPECT_EQ((std::unordered_set<OdDbObjectId>{m_source, m_target}).size(), 1U);
    ASSERT_EQ(eraseObject(m_target), kOdOk);
    EXPECT_TRUE(m_source.isErased());
}

TEST_F(Redirection, ConvertsAnIdInPlace)
{
    OdDbObjectId id = m_source;
    id.convertToRedirectedId();
    EXPECT_EQ(id.originalDatabase(), m_db.get());
    m_source.redirectTo(m_target);
    id.convertToRedirectedId();
    EXPECT_EQ(id.originalDatabase(), m_other.get());
    EXPECT_EQ(id.getHandle(), m_target.getHandle());
}

TEST_F(Redirection, IsConvertedInAnOwner)
{
    m_source.redirectTo(m_target);
    const TestBagPtr bag = TestBag::createObject();
    m_other->addOdDbObject(bag.get(), m_source);
    EXPECT_EQ(bag->ownerId().originalDatabase(), m_other.get());
    bag->setOwnerId(OdDbObjectId::kNull);
    bag->setOwnerId(m_source);
    EXPECT_EQ(bag->ownerId().originalDatabase(), m_other.get());
}

TEST_F(Redirection, EndsByANullTarget)
{
    m_source.redirectTo(m_target);
    m_source.redirectTo(OdDbObjectId::kNull);
    EXPECT_EQ(m_source.database(), m_db.get());
    EXPECT_NE(m_source, m_target);
    EXPECT_EQ(numberOf(m_source), 1);
}

TEST_F(Redirection, MayBeChangedAndMayChain)
{
    const OdDbObjectId middle = addBag(5);
    m_source.redirectTo(middle);
    EXPECT_EQ(numberOf(m_source), 5);
    middle.redirectTo(m_target);
    EXPECT_EQ(numberOf(m_source), 2);
    m_source.redirectTo(m_target);
    EXPECT_EQ(numberOf(m_source), 2);
}

TEST_F(Redirection, RefusesARing)
{
    const OdDbObjectId middle = addBag(5);
    EXPECT_EQ(thrownCode([&] { m_source.redirectTo(m_source); }), kOdCyclicReference);
    m_source.redirectTo(middle);
    middle.redirectTo(m_target);
    EXPECT_EQ(thrownCode([&] { m_target.redirectTo(m_source); }), kOdCyclicReference);
    EXPECT_EQ(numberOf(m_source), 2);
}

TEST_F(Redirection, EndsWithTheDatabaseOfItsTarget)
{
    m_source.redirectTo(m_target);
    m_other.release();
    EXPECT_EQ(m_source.database(), m_db.get());
    EXPECT_EQ(numberOf(m_source), 1);
}

TEST_F(Redirection, EndsWithTheDatabaseOfItsSource)
{
    m_source.redirectTo(m_target);
    m_db.release();
    EXPECT_EQ(numberOf(m_target), 2);
    m_db = OdDbDatabase::createObject();
    EXPECT_NE(addBag(), m_target);
}

TEST_F(Redirection, OfAnIdWithoutObjectSurvivesTheObjectsComing)
{
    const OdDbObjectId early = m_db->getOdDbObjectId(OdDbHandle(0x500), /*create=*/true);
    early.redirectTo(m_target);
    EXPECT_EQ(numberOf(early), 2);
    const TestBagPtr bag = TestBag::createObject();
    m_db->addOdDbObject(bag.get(), OdDbObjectId::kNull, 0x500);
    EXPECT_EQ(numberOf(early), 2);
    early.redirectTo(OdDbObjectId::kNull);
    EXPECT_EQ(early.openObject().get(), bag.get());
}

TEST_F(Redirection, OfADictionaryEntryIsFoundByBothForms)
{
    const OdDbObjectId id = namedObjects()->setAt(L"x", TestBag::createObject().get());
    id.redirectTo(m_target);
    const OdDbDictionaryPtr dictionary = namedObjects();
    EXPECT_TRUE(dictionary->has(id));
    EXPECT_TRUE(dictionary->has(m_target));
    EXPECT_EQ(dictionary->nameAt(id), OdString(L"x"));
    EXPECT_EQ(numberOf(dictionary->getAt(L"x")), 2);
    id.redirectTo(OdDbObjectId::kNull);
    EXPECT_FALSE(dictionary->has(m_target));
    EXPECT_EQ(dictionary->nameAt(id), OdString(L"x"));
    EXPECT_EQ(eraseObject(id), kOdOk);
    EXPECT_EQ(dictionary->numEntries(), 0U);
}

class Handle : public testing::Test
{
};

TEST_F(Handle, PrintsUpperCaseHexadecimalWithoutLeadingZeros)
{
    struct Row
    {
        std::uint64_t value;
        wchar_t const* text;
    };
    for (Row const& row : {Row{0, L"0"}, Row{0x1AB, L"1AB"}, Row{0xF, L"F"},
                           Row{~std::uint64_t{0}, L"FFFFFFFFFFFFFFFF"}}) {
        EXPECT_EQ(OdDbHandle(row.value).ascii(), OdString(row.text));
        EXPECT_EQ(OdDbHandle(OdString(row.text)).value(), row.value);
    }
}

TEST_F(Handle, ReadsOnlyWholeHexadecimalTexts)
{
    EXPECT_EQ(OdDbHandle(OdString(L"1ab")).value(), 0x1ABU);
    for (wchar_t const* text :
         {L"", L" 1", L"1 ", L"0x1", L"-1", L"+1", L"G", L"1G", L"10000000000000000", L"\x661"}) {
        EXPECT_TRUE(OdDbHandle(OdString(text)).isNull()) << OdString(text).utf8();
    }
}

TEST_F(Handle, OrdersAsAnUnsignedNumber)
{
    EXPECT_LT(OdDbHandle(1), OdDbHandle(~std::uint64_t{0}));
    EXPECT_TRUE(OdDbHandle().isNull());
    EXPECT_FALSE(OdDbHandle(1).isNull());
}

class HandlesOfADatabase : public DatabaseTest
{
};

TEST_F(HandlesOfADatabase, AscendAndAreNeverGivenTwice)
{
    const OdDbObjectId a = addBag();
    ASSERT_EQ(eraseObject(a), kOdOk);
    const OdDbObjectId b = addBag();
    EXPECT_GT(b.getHandle(), a.getHandle());
    m_db->startUndoRecord();
    const OdDbObjectId c = addBag();
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_GT(addBag().getHandle(), c.getHandle());
}

TEST_F(HandlesOfADatabase, MayBeChosenWhileTheyAreFree)
{
    const TestBagPtr bag = TestBag::createObject();
    const OdDbObjectId id = m_db->addOdDbObject(bag.get(), OdDbObjectId::kNull, 0x1000);
    EXPECT_EQ(id.getHandle().value(), 0x1000U);
    EXPECT_EQ(addBag().getHandle().value(), 0x1001U);
}

TEST_F(HandlesOfADatabase, ThatAreTakenAreRefused)
{
    const OdDbObjectId living = addBag();
    const OdDbObjectId erasedOne = addBag();
    ASSERT_EQ(eraseObject(erasedOne), kOdOk);
    const OdDbHandle seed = m_db->handseed();
    const TestBagPtr bag = TestBag::createObject();
    for (OdDbObjectId taken : {living, erasedOne, m_db->getBlockTableId()}) {
        EXPECT_EQ(thrownCode([&] {
                      m_db->addOdDbObject(bag.get(), OdDbObjectId::kNull, taken.getHandle());
                  }),
                  kOdHandleInUse);
    }
    EXPECT_EQ(bag->database(), nullptr);
    EXPECT_EQ(m_db->handseed(), seed);
}

TEST_F(HandlesOfADatabase, AreWalkedThroughFarOnesThatNearOnesHaveOvertaken)
{
    const auto add = [&](std::uint64_t handle) {
        const TestBagPtr bag = TestBag::createObject();
        m_db->addOdDbObject(bag.get(), OdDbObjectId::kNull, handle);
    };
    add(3000 * 64);
    for (std::uint64_t block = 1; block <= 1300; ++block) {
        add(block * 64);
    }
    add(3500 * 64);
    EXPECT_EQ(m_db->nextHandle(OdDbHandle(1300 * 64)), OdDbHandle(3000 * 64));
    EXPECT_EQ(m_db->nextHandle(OdDbHandle(3000 * 64)), OdDbHandle(3500 * 64));
    EXPECT_TRUE(m_db->nextHandle(OdDbHandle(3500 * 64)).isNull());
}

TEST_F(HandlesOfADatabase, MayBeHugeUpToALimit)
{
    const TestBagPtr bag = TestBag::createObject();
    const TestBagPtr next = TestBag::createObject();
    for (std::uint64_t tooLarge : {kLastHandle + 1, ~std::uint64_t{0}}) {
        EXPECT_EQ(
            thrownCode([&] { m_db->addOdDbObject(bag.get(), OdDbObjectId::kNull, tooLarge); }),
            kOdHandlesExhausted);
        EXPECT_TRUE(m_db->getOdDbObjectId(OdDbHandle(tooLarge), /*create=*/true).isNull());
    }
    const OdDbObjectId id = m_db->addOdDbObject(bag.get(), OdDbObjectId::kNull, kLastHandle);
    EXPECT_EQ(m_db->getOdDbObjectId(OdDbHandle(kLastHandle)), id);
    EXPECT_EQ(thrownCode([&] { m_db->addOdDbObject(next.get()); }), kOdHandlesExhausted);
    EXPECT_EQ(next->database(), nullptr);
}

TEST_F(HandlesOfADatabase, AreWalkedInOrderWithGaps)
{
    std::vector<std::uint64_t> expected;
    OdDbHandle last;
    for (OdDbHandle at = m_db->nextHandle(); !at.isNull(); at = m_db->nextHandle(at)) {
        EXPECT_GT(at, last);
        last = at;
        expected.push_back(at.value());
    }
    for (std::uint64_t handle : {std::uint64_t{0x40}, std::uint64_t{0x3F}, std::uint64_t{0x100000},
                                 std::uint64_t{0x7FFFFFFFFFF}, std::uint64_t{0x100001}}) {
        const TestBagPtr bag = TestBag::createObject();
        m_db->addOdDbObject(bag.get(), OdDbObjectId::kNull, handle);
        expected.push_back(handle);
    }
    (void)m_db->getOdDbObjectId(OdDbHandle(0x2000), /*create=*/true);
    std::sort(expected.begin(), expected.end());
    std::vector<std::uint64_t> walked;
    for (OdDbHandle at = m_db->nextHandle(); !at.isNull(); at = m_db->nextHandle(at)) {
        walked.push_back(at.value());
    }
    EXPECT_EQ(walked, expected);
    EXPECT_TRUE(m_db->nextHandle(OdDbHandle(~std::uint64_t{0})).isNull());
}

TEST_F(HandlesOfADatabase, ThatNobodyHasLeaveNothingBehindWhenAskedFor)
{
    const std::size_t blocks = OdDbStorageAccess(*m_db).knownBlocks().size();
    for (std::uint64_t handle = 0x10000; handle < 0x20000; handle += 64) {
        EXPECT_TRUE(m_db->getOdDbObjectId(OdDbHandle(handle)).isNull());
    }
    EXPECT_TRUE(m_db->getOdDbObjectId(OdDbHandle()).isNull());
    EXPECT_TRUE(m_db->getOdDbObjectId(OdDbHandle(), /*create=*/true).isNull());
    EXPECT_EQ(OdDbStorageAccess(*m_db).knownBlocks().size(), blocks);
}

}  // namespace

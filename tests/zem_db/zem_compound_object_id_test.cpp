#include "stored_link_test_support.h"
#include "zem_compound_object_id.h"
#include "zem_flat_filer.h"

#include <rapidcheck.h>
#include <rapidcheck/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <limits>
#include <thread>
#include <tuple>
#include <vector>

using namespace stored_link_test;

namespace {

class CompoundObjectId : public StoredLinkTest
{
protected:
    static ZemCompoundObjectId chainOf(OdDbObjectIdArray const& path)
    {
        ZemCompoundObjectId chain;
        chain.setFullPath(path, /*keepTail=*/false);
        return chain;
    }
    static OdDbObjectIdArray resolved(ZemCompoundObjectId const& chain, bool openErased = false)
    {
        OdDbObjectIdArray ids;
        EXPECT_EQ(chain.getFullPathEx(ids, openErased), kOdOk);
        return ids;
    }
};
class CompoundObjectIdStream : public CompoundObjectId
{
protected:
    Record fileOut(ZemCompoundObjectId const& chain) const
    {
        return recordOf(m_database.get(),
                        [&](OdDbDwgFiler* filer) { chain.dwgOutFields(filer, m_database.get()); });
    }
    OdResult fileIn(ZemCompoundObjectId& chain, Record const& record) const
    {
        return resultOf([&] {
            return readRecord(m_database.get(), record,
                              [&](OdDbDwgFiler* filer) { return chain.dwgInFields(filer, 0); });
        });
    }
    /// A chain that a filer of a kind has read from what `write` made.
    template <class Write>
    static OdResult readFrom(ZemCompoundObjectId& chain, OdDb::FilerType type, Write const& write)
    {
        MemoryFiler filer(type);
        write(filer);
        filer.rewindForReading();
        return resultOf([&] { return chain.dwgInFields(&filer, 0); });
    }
    static void writeHead(OdDbDwgFiler& filer, std::int32_t count)
    {
        filer.wrBool(true);
        filer.wrString(L"AcDbImpBlockRefPathObjectId");
        filer.wrInt16(0);
        filer.wrInt32(count);
    }
};
class ExternalCompoundObjectId : public ExternalLinkTest
{
};

/// Lets the process take only so much more memory, as long as this lives.
class MemoryLimit
{
public:
    explicit MemoryLimit(rlim_t more)
    {
        EXPECT_EQ(::getrlimit(RLIMIT_AS, &m_before), 0);
        std::uint64_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        rlimit limit = m_before;
        limit.rlim_cur = pages * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE)) + more;
        EXPECT_EQ(::setrlimit(RLIMIT_AS, &limit), 0);
    }
    MemoryLimit(MemoryLimit const&) = delete;
    MemoryLimit& operator=(MemoryLimit const&) = delete;
    ~MemoryLimit() { (void)::setrlimit(RLIMIT_AS, &m_before); }

private:
    rlimit m_before{};
};

constexpr bool canLimitMemory()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return false;
#else
    return true;
#endif
}

/// A filer that can't tell how much it holds.
class EndlessFiler : public MemoryFiler
{
public:
    using MemoryFiler::MemoryFiler;
    std::uint64_t bytesLeft() const override { return kUnlimited; }
};

void appendText(Bytes& bytes, std::string const& text)
{
    bytes.push_back(static_cast<std::uint8_t>(text.size()));
    bytes.insert(bytes.end(), text.begin(), text.end());
}

/// What stands in front of the steps in a drawing file.
Bytes headBytes(int count)
{
    Bytes bytes{0x01};  // there are steps
    appendText(bytes, "AcDbImpBlockRefPathObjectId");
    bytes.push_back(0x00);                                  // 16 bits: 0
    bytes.push_back(static_cast<std::uint8_t>(2 * count));  // 32 bits: steps
    return bytes;
}

Bytes operator+(Bytes left, Bytes const& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

}  // namespace

//--------------------------------------------------------------------------------------------------
// Steps

TEST(BlockRefPathRecord, IsEmptyAtFirst)
{
    const BlockRefPathRecord record;
    EXPECT_EQ(record.kind(), 0);
    EXPECT_EQ(record.state(), BlockRefPathRecord::kEmpty);
    EXPECT_TRUE(record.objectId().isNull());
    EXPECT_TRUE(record.handle().isNull());
    EXPECT_FALSE(record.isInHostDatabase());
}

TEST_F(CompoundObjectId, AStepInTheHostDrawingHasItsIdAndItsHandle)
{
    BlockRefPathRecord record;
    record.setObjectId(m_solid);
    EXPECT_TRUE(record.isInHostDatabase());
    EXPECT_EQ(record.state(), 1);
    EXPECT_EQ(record.objectId(), m_solid);
    EXPECT_EQ(record.handle(), m_solid.getHandle());
}

TEST_F(CompoundObjectId, AStepInAnotherDrawingHasAHandleAlone)
{
    BlockRefPathRecord record;
    record.setObjectId(m_solid);
    record.setHandle(OdDbHandle(0x77));
    EXPECT_FALSE(record.isInHostDatabase());
    EXPECT_EQ(record.state(), 2);
    EXPECT_TRUE(record.objectId().isNull());
    EXPECT_EQ(record.handle(), OdDbHandle(0x77));
}

//--------------------------------------------------------------------------------------------------
// Chains

TEST_F(CompoundObjectId, OfNoStepsIsSimpleAndHasNoTop)
{
    const ZemCompoundObjectId chain;
    EXPECT_EQ(chain.size(), 0u);
    EXPECT_TRUE(chain.isSimpleObjectId());
    EXPECT_TRUE(chain.topId().isNull());
    EXPECT_TRUE(chain.getPathPrefix().isEmpty());
    EXPECT_TRUE(resolved(chain).isEmpty());
}

TEST_F(CompoundObjectId, OfOneStepIsSimple)
{
    const ZemCompoundObjectId chain = chainOf({m_solid});
    EXPECT_EQ(chain.size(), 1u);
    EXPECT_TRUE(chain.isSimpleObjectId());
    EXPECT_EQ(chain.topId(), m_solid);
    EXPECT_EQ(chain.getHandle(0), m_solid.getHandle());
}

TEST_F(CompoundObjectId, OfSeveralStepsIsNot)
{
    const ZemCompoundObjectId chain = chainOf(m_nested);
    EXPECT_EQ(chain.size(), 3u);
    EXPECT_FALSE(chain.isSimpleObjectId());
    EXPECT_EQ(chain.topId(), m_outerReference);
    EXPECT_EQ(chain.getPathPrefix(), m_nested);
    EXPECT_EQ(resolved(chain), m_nested);
}

TEST_F(CompoundObjectId, TopIdMakesItOneStep)
{
    ZemCompoundObjectId chain = chainOf(m_nested);
    chain.setTopId(m_solid);
    EXPECT_EQ(chain.size(), 1u);
    EXPECT_EQ(chain.topId(), m_solid);
    EXPECT_EQ(chain.compareTo(chainOf({m_solid})), 0);
}

TEST_F(CompoundObjectId, AnEmptyPathEmptiesItWhateverIsToBeKept)
{
    for (const bool keepTail : {false, true}) {
        ZemCompoundObjectId chain = chainOf(m_nested);
        chain.setFullPath({}, keepTail);
        EXPECT_EQ(chain.size(), 0u);
        EXPECT_TRUE(chain.topId().isNull());
    }
}

TEST_F(CompoundObjectId, AShorterPathThatKeepsTheTailRewritesTheFrontAlone)
{
    const OdDbObjectId first = appendSolid(m_model);
    const OdDbObjectId second = appendSolid(m_model);
    const OdDbObjectIdArray four{m_outerReference, m_innerReference, m_solid, first};
    ZemCompoundObjectId kept = chainOf(four);
    kept.setFullPath({first, second}, /*keepTail=*/true);
    EXPECT_EQ(kept.getPathPrefix(), (OdDbObjectIdArray{first, second, m_solid, first}));

    ZemCompoundObjectId cut = chainOf(four);
    cut.setFullPath({first, second}, /*keepTail=*/false);
    EXPECT_EQ(cut.getPathPrefix(), (OdDbObjectIdArray{first, second}));
}

TEST_F(CompoundObjectId, ALongerOrEqualPathThatKeepsTheTailReplacesAll)
{
    ZemCompoundObjectId chain = chainOf({m_solid, m_solid});
    chain.setFullPath(m_nested, /*keepTail=*/true);
    EXPECT_EQ(chain.getPathPrefix(), m_nested);
    const OdDbObjectIdArray other{m_solid, m_innerReference, m_outerReference};
    chain.setFullPath(other, /*keepTail=*/true);
    EXPECT_EQ(chain.getPathPrefix(), other);
    chain.setTopId(m_solid);
    chain.setFullPath({m_innerReference}, /*keepTail=*/true);
    EXPECT_EQ(chain.getPathPrefix(), OdDbObjectIdArray{m_innerReference});
}

TEST_F(CompoundObjectId, OneIdThatKeepsTheTailRewritesTheTop)
{
    ZemCompoundObjectId chain = chainOf(m_nested);
    chain.setFullPath({m_solid}, /*keepTail=*/true);
    EXPECT_EQ(chain.getPathPrefix(), (OdDbObjectIdArray{m_solid, m_innerReference, m_solid}));
}

TEST_F(CompoundObjectId, IdsOfAnotherDatabaseThanTheFirstAreKeptByHandle)
{
    const OdDbObjectId foreign = appendSolid(m_other->getModelSpaceId());
    const ZemCompoundObjectId chain = chainOf({m_outerReference, foreign, m_solid});
    EXPECT_EQ(chain.getPathPrefix(), OdDbObjectIdArray{m_outerReference});
    EXPECT_EQ(chain.getHandle(1), foreign.getHandle());
    EXPECT_EQ(chain.getHandle(2), m_solid.getHandle());
    EXPECT_EQ(chain.topId(), m_outerReference);
}

TEST_F(CompoundObjectId, ANullIdInsideAPathIsAStepThatCantBeResolved)
{
    const ZemCompoundObjectId chain = chainOf({m_outerReference, OdDbObjectId(), m_solid});
    EXPECT_EQ(chain.size(), 3u);
    OdDbObjectIdArray ids;
    EXPECT_EQ(chain.getFullPathEx(ids, /*openErased=*/true), kOdUnresolvedPath);
    EXPECT_EQ(ids, OdDbObjectIdArray{m_outerReference});
}

TEST_F(CompoundObjectId, ANullIdInFrontLeadsNowhere)
{
    const ZemCompoundObjectId chain = chainOf({OdDbObjectId()});
    EXPECT_EQ(chain.size(), 1u);
    EXPECT_TRUE(chain.topId().isNull());
    OdDbObjectIdArray ids{m_solid};
    EXPECT_EQ(chain.getFullPathEx(ids, /*openErased=*/false), kOdUnresolvedPath);
    EXPECT_TRUE(ids.isEmpty());
}

TEST_F(CompoundObjectId, HasANullHandleBehindItsEnd)
{
    const ZemCompoundObjectId chain = chainOf(m_nested);
    EXPECT_TRUE(chain.getHandle(chain.size()).isNull());
    EXPECT_TRUE(chain.getHandle(std::numeric_limits<unsigned>::max()).isNull());
    EXPECT_TRUE(ZemCompoundObjectId().getHandle(0).isNull());
}

TEST_F(CompoundObjectId, CopiesAreIndependent)
{
    const ZemCompoundObjectId source = chainOf(m_nested);
    ZemCompoundObjectId copy = source;
    EXPECT_EQ(copy.compareTo(source), 0);
    copy.setTopId(m_solid);
    EXPECT_EQ(source.getPathPrefix(), m_nested);
    copy = source;
    copy.setFullPath({m_solid}, /*keepTail=*/true);
    EXPECT_EQ(source.getPathPrefix(), m_nested);
}

TEST_F(CompoundObjectId, CopiesAreReadAndMadeAndDroppedOnSeveralThreads)
{
    const ZemCompoundObjectId source = chainOf(m_nested);
    std::atomic<int> failures = 0;
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < 4; ++thread) {
            threads.emplace_back([&] {
                for (int round = 0; round < 2000; ++round) {
                    ZemCompoundObjectId copy = source;
                    const ZemCompoundObjectId untouched = copy;
                    copy.setTopId(m_solid);
                    const bool isAsItWas = untouched.compareTo(source) == 0 &&
                                           untouched.getPathPrefix() == m_nested &&
                                           copy.topId() == m_solid && copy.size() == 1;
                    failures += isAsItWas ? 0 : 1;
                }
            });
        }
    }
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(source.getPathPrefix(), m_nested);
}

TEST_F(CompoundObjectId, IsAsItWasAfterAnAllocationThatFailed)
{
    if (!canLimitMemory()) {
        GTEST_SKIP() << "the address sanitizer ends a program that is out of memory";
    }
    const std::vector<OdDbObjectId> steps(4u << 20, m_solid);
    const OdDbObjectIdArray path(steps.begin(), steps.end());
    ZemCompoundObjectId chain = chainOf(m_nested);
    OdResult thrown = kOdOk;
    {
        const MemoryLimit limit(32u << 20);
        thrown = thrownCode([&] { chain.setFullPath(path, /*keepTail=*/false); });
    }
    EXPECT_EQ(thrown, kOdOutOfMemory);
    EXPECT_EQ(chain.getPathPrefix(), m_nested);
    chain.setFullPath(path, /*keepTail=*/false);
    EXPECT_EQ(chain.size(), path.size());
}

TEST_F(CompoundObjectId, WithAnErasedStepIsUnresolvedUnlessErasedObjectsAreOpened)
{
    const ZemCompoundObjectId chain = chainOf(m_nested);
    for (unsigned erased = 0; erased < m_nested.size(); ++erased) {
        erase(m_nested.at(erased));
        OdDbObjectIdArray ids;
        EXPECT_EQ(chain.getFullPathEx(ids, /*openErased=*/false), kOdUnresolvedPath);
        EXPECT_EQ(ids, OdDbObjectIdArray(m_nested.begin(), m_nested.begin() + erased));
        EXPECT_EQ(resolved(chain, /*openErased=*/true), m_nested);
        EXPECT_EQ(chain.getPathPrefix(), m_nested);
        revive(m_nested.at(erased));
        EXPECT_EQ(resolved(chain), m_nested);
    }
}

TEST_F(CompoundObjectId, WithAStepThatNoObjectHasIsUnresolvedAsIfThatWereErased)
{
    const ZemCompoundObjectId chain = chainOf({m_outerReference, nowhere()});
    OdDbObjectIdArray ids;
    EXPECT_EQ(chain.getFullPathEx(ids, /*openErased=*/false), kOdUnresolvedPath);
    EXPECT_EQ(ids, OdDbObjectIdArray{m_outerReference});
    EXPECT_EQ(resolved(chain, /*openErased=*/true),
              (OdDbObjectIdArray{m_outerReference, nowhere()}));
}

//--------------------------------------------------------------------------------------------------
// Order

TEST_F(CompoundObjectId, AShorterOneComesFirst)
{
    const ZemCompoundObjectId none;
    const ZemCompoundObjectId one = chainOf({m_nested.last()});
    const ZemCompoundObjectId three = chainOf(m_nested);
    EXPECT_EQ(none.compareTo(ZemCompoundObjectId()), 0);
    EXPECT_EQ(none.compareTo(one), -1);
    EXPECT_EQ(one.compareTo(none), 1);
    EXPECT_EQ(one.compareTo(three), -1);
    EXPECT_EQ(three.compareTo(one), 1);
}

TEST_F(CompoundObjectId, TheLastStepDecidesFirst)
{
    OdDbObjectIdArray ids{appendSolid(m_model), appendSolid(m_model)};
    const OdDbObjectId low = ids.at(0);
    const OdDbObjectId high = ids.at(1);
    EXPECT_EQ(chainOf({high, low}).compareTo(chainOf({low, high})), -1);
    EXPECT_EQ(chainOf({low, high}).compareTo(chainOf({high, low})), 1);
}

TEST_F(CompoundObjectId, TheTopDecidesWhereAllBehindItIsEqual)
{
    const OdDbObjectId low = appendSolid(m_model);
    const OdDbObjectId high = appendSolid(m_model);
    EXPECT_EQ(chainOf({low, m_solid}).compareTo(chainOf({high, m_solid})), -1);
    EXPECT_EQ(chainOf({high, m_solid}).compareTo(chainOf({low, m_solid})), 1);
    EXPECT_EQ(chainOf({low, m_solid}).compareTo(chainOf({low, m_solid})), 0);
}

TEST_F(CompoundObjectId, HandlesCompareAsUnsignedNumbers)
{
    const auto chainTo = [](std::uint64_t handle) {
        ZemCompoundObjectId chain;
        MemoryFiler filer;
        filer.wrInt16(0);
        filer.wrInt32(1);
        filer.wrInt8(0);
        filer.wrInt8(2);
        filer.wrDbHandle(OdDbHandle(handle));
        filer.rewindForReading();
        EXPECT_EQ(chain.impl_dwgInFields(&filer), kOdOk);
        return chain;
    };
    EXPECT_EQ(chainTo(0xFFFFFFFFFFFFFFFF).compareTo(chainTo(1)), 1);
    EXPECT_EQ(chainTo(1).compareTo(chainTo(0x8000000000000000)), -1);
}

TEST_F(CompoundObjectId, AStepInTheHostDrawingComesBeforeOneWithItsHandleElsewhere)
{
    const OdDbObjectId here = m_database->getOdDbObjectId(OdDbHandle(0x5000), /*create=*/true);
    const OdDbObjectId there = m_other->getOdDbObjectId(OdDbHandle(0x5000), /*create=*/true);
    const ZemCompoundObjectId inHost = chainOf({m_solid, here});
    const ZemCompoundObjectId elsewhere = chainOf({m_solid, there});
    EXPECT_EQ(inHost.compareTo(elsewhere), -1);
    EXPECT_EQ(elsewhere.compareTo(inHost), 1);
}

TEST_F(CompoundObjectId, KindsAndTextsDontCount)
{
    const auto chainWith = [](std::int8_t kind, wchar_t const* text) {
        ZemCompoundObjectId chain;
        MemoryFiler filer(OdDb::FilerType::kDeepCloneFiler);
        filer.wrInt16(0);
        filer.wrInt32(1);
        filer.wrInt8(kind);
        filer.wrInt8(2);
        filer.wrDbHandle(OdDbHandle(0x50));
        filer.wrInt32(1);
        filer.wrString(text);
        filer.rewindForReading();
        EXPECT_EQ(chain.impl_dwgInFields(&filer), kOdOk);
        return chain;
    };
    EXPECT_EQ(chainWith(3, L"a").compareTo(chainWith(-4, L"b")), 0);
}

//--------------------------------------------------------------------------------------------------
// External drawings

TEST_F(ExternalCompoundObjectId, KeepsStepsInTheExternalDrawingByHandle)
{
    ZemCompoundObjectId chain;
    chain.setFullPath(pathToPart(), /*keepTail=*/false);
    EXPECT_EQ(chain.size(), 2u);
    EXPECT_EQ(chain.topId(), m_reference);
    EXPECT_EQ(chain.getHandle(1), m_partSolid);
    EXPECT_EQ(chain.getPathPrefix(), OdDbObjectIdArray{m_reference});
}

TEST_F(ExternalCompoundObjectId, ResolvesEachPathThatItWasGiven)
{
    for (OdDbObjectIdArray const& path : {pathToPart(), pathToInsert(), pathThroughAssembly()}) {
        ZemCompoundObjectId chain;
        chain.setFullPath(path, /*keepTail=*/false);
        OdDbObjectIdArray ids;
        EXPECT_EQ(chain.getFullPathEx(ids, /*openErased=*/false), kOdOk);
        EXPECT_EQ(ids, path);
    }
}

TEST_F(ExternalCompoundObjectId, LoadsTheDrawingsThatItLeadsThrough)
{
    ZemCompoundObjectId chain;
    chain.setFullPath(pathThroughAssembly(), /*keepTail=*/false);
    ASSERT_EQ(OdDbXRefMan::unload(m_assemblyBlock), kOdOk);
    OdDbObjectIdArray ids;
    EXPECT_EQ(chain.getFullPathEx(ids, /*openErased=*/false), kOdOk);
    EXPECT_EQ(ids, pathThroughAssembly());
    EXPECT_FALSE(ids.last().openObject().isNull());
}

TEST_F(ExternalCompoundObjectId, IsUnresolvedWhileADrawingIsMissing)
{
    ZemCompoundObjectId chain;
    chain.setFullPath(pathToInsert(), /*keepTail=*/false);
    ASSERT_EQ(OdDbXRefMan::unload(m_block), kOdOk);
    std::filesystem::rename(m_folder / "part.zdw", m_folder / "away.zdw");
    OdDbObjectIdArray ids;
    EXPECT_EQ(chain.getFullPathEx(ids, /*openErased=*/false), kOdUnresolvedPath);
    EXPECT_EQ(ids, OdDbObjectIdArray{m_reference});
    std::filesystem::rename(m_folder / "away.zdw", m_folder / "part.zdw");
    EXPECT_EQ(chain.getFullPathEx(ids, /*openErased=*/false), kOdOk);
    EXPECT_EQ(ids, pathToInsert());
}

TEST_F(ExternalCompoundObjectId, GivesWhatCouldBeResolvedInFrontOfAHandleThatNoObjectHas)
{
    ZemCompoundObjectId chain;
    OdDbDatabase* const part = shown(m_block);
    const OdDbObjectId gone = part->getOdDbObjectId(OdDbHandle(0x9999), /*create=*/true);
    chain.setFullPath({m_reference, inPart(m_partInsert), gone}, /*keepTail=*/false);
    OdDbObjectIdArray ids;
    EXPECT_EQ(chain.getFullPathEx(ids, /*openErased=*/false), kOdUnresolvedPath);
    EXPECT_EQ(ids, (OdDbObjectIdArray{m_reference, inPart(m_partInsert)}));
}

TEST_F(ExternalCompoundObjectId, AnErasedReferenceIsPassedThroughWhereErasedObjectsAreOpened)
{
    ZemCompoundObjectId chain;
    chain.setFullPath(pathToPart(), /*keepTail=*/false);
    erase(m_reference);
    OdDbObjectIdArray ids;
    EXPECT_EQ(chain.getFullPathEx(ids, /*openErased=*/false), kOdUnresolvedPath);
    EXPECT_TRUE(ids.isEmpty());
    EXPECT_EQ(chain.getFullPathEx(ids, /*openErased=*/true), kOdOk);
    EXPECT_EQ(ids, pathToPart());
}

TEST_F(ExternalCompoundObjectId, AnErasedObjectAtItsEndIsFoundWhereErasedObjectsAreOpened)
{
    ZemCompoundObjectId chain;
    chain.setFullPath(pathToPart(), /*keepTail=*/false);
    erase(inPart(m_partSolid));
    OdDbObjectIdArray ids;
    EXPECT_EQ(chain.getFullPathEx(ids, /*openErased=*/false), kOdUnresolvedPath);
    EXPECT_EQ(ids, OdDbObjectIdArray{m_reference});
    EXPECT_EQ(chain.getFullPathEx(ids, /*openErased=*/true), kOdOk);
    EXPECT_EQ(ids, pathToPart());
}

TEST_F(ExternalCompoundObjectId, IsUnresolvedOnceTheDrawingWasBound)
{
    ZemCompoundObjectId chain;
    chain.setFullPath(pathToPart(), /*keepTail=*/false);
    // Something of the host drawing has that handle, too.
    ASSERT_FALSE(m_database->getOdDbObjectId(chain.getHandle(1)).isNull());
    ASSERT_EQ(OdDbXRefMan::bind(m_block), kOdOk);
    for (const bool openErased : {false, true}) {
        OdDbObjectIdArray ids;
        EXPECT_EQ(chain.getFullPathEx(ids, openErased), kOdUnresolvedPath);
        EXPECT_EQ(ids, OdDbObjectIdArray{m_reference});
    }
}

TEST_F(ExternalCompoundObjectId, WithoutAStepInTheHostDrawingIsUnresolved)
{
    ZemCompoundObjectId chain;
    MemoryFiler filer;
    filer.wrInt16(0);
    filer.wrInt32(1);
    filer.wrInt8(0);
    filer.wrInt8(2);
    filer.wrDbHandle(m_partSolid);
    filer.rewindForReading();
    ASSERT_EQ(chain.impl_dwgInFields(&filer), kOdOk);
    OdDbObjectIdArray ids;
    EXPECT_EQ(chain.getFullPathEx(ids, /*openErased=*/true), kOdUnresolvedPath);
    EXPECT_TRUE(ids.isEmpty());
    EXPECT_TRUE(chain.topId().isNull());
    EXPECT_TRUE(chain.getPathPrefix().isEmpty());
}

TEST_F(ExternalCompoundObjectId, AStepBehindOneInAnExternalDrawingIsTakenByItsHandle)
{
    // The last id lies in the host drawing again; read as a path, its handle is one of the part.
    ZemCompoundObjectId chain;
    chain.setFullPath({m_reference, inPart(m_partInsert), m_solid}, /*keepTail=*/false);
    EXPECT_EQ(chain.getPathPrefix(), OdDbObjectIdArray{m_reference});
    OdDbObjectIdArray ids;
    const OdResult expected = inPart(m_solid.getHandle()).isNull() ? kOdUnresolvedPath : kOdOk;
    EXPECT_EQ(chain.getFullPathEx(ids, /*openErased=*/false), expected);
    EXPECT_EQ(ids.first(), m_reference);
}

//--------------------------------------------------------------------------------------------------
// Filing

TEST_F(CompoundObjectIdStream, OfAnEmptyChainIsOneFalse)
{
    const Record record = fileOut(ZemCompoundObjectId());
    EXPECT_EQ(record.body, Bytes{0x00});
    EXPECT_TRUE(record.references.empty());
    ZemCompoundObjectId chain = chainOf(m_nested);
    EXPECT_EQ(fileIn(chain, record), kOdOk);
    EXPECT_EQ(chain.size(), 0u);
}

TEST_F(CompoundObjectIdStream, HoldsIdsOfTheHostDrawingAndHandlesOfOthers)
{
    const OdDbObjectId here = m_database->getOdDbObjectId(OdDbHandle(0x123), /*create=*/true);
    const OdDbObjectId there = m_other->getOdDbObjectId(OdDbHandle(0x1234), /*create=*/true);
    const ZemCompoundObjectId chain = chainOf({here, there});
    const Record golden{headBytes(2) + Bytes{0x00, 0x01}      // kind 0, state 1
                            + Bytes{0x00, 0x02, 0xB4, 0x24},  // kind 0, state 2, handle 1234
                        {0x8C, 0x09}};                        // soft pointer to 123
    EXPECT_EQ(fileOut(chain), golden);

    ZemCompoundObjectId copy;
    EXPECT_EQ(fileIn(copy, golden), kOdOk);
    EXPECT_EQ(copy.compareTo(chain), 0);
    EXPECT_EQ(copy.topId(), here);
    EXPECT_EQ(fileOut(copy), golden);
}

TEST_F(CompoundObjectIdStream, CarriesKindsUnchanged)
{
    const Record golden{headBytes(2) + Bytes{0x07, 0x02, 0x05}  // kind 7, handle 5
                            + Bytes{0xF0, 0x02, 0x06},          // kind -16, handle 6
                        {}};
    ZemCompoundObjectId chain;
    EXPECT_EQ(fileIn(chain, golden), kOdOk);
    EXPECT_EQ(fileOut(chain), golden);
}

TEST_F(CompoundObjectIdStream, AnEmptyStepComesBackAsOneInAnotherDrawing)
{
    const Record stored{headBytes(1) + Bytes{0x00, 0x00, 0x00}, {}};  // kind, state, handle 0
    ZemCompoundObjectId chain;
    EXPECT_EQ(fileIn(chain, stored), kOdOk);
    EXPECT_EQ(chain.size(), 1u);
    EXPECT_TRUE(chain.getHandle(0).isNull());
    const Record rewritten{headBytes(1) + Bytes{0x00, 0x02, 0x00}, {}};
    EXPECT_EQ(fileOut(chain), rewritten);
}

TEST_F(CompoundObjectIdStream, AnyOtherStateReadsAsAStepInAnotherDrawing)
{
    for (const int state : {3, -1, -127, 127}) {
        const Record stored{headBytes(1) + Bytes{0x00, static_cast<std::uint8_t>(state), 0x09}, {}};
        ZemCompoundObjectId chain;
        EXPECT_EQ(fileIn(chain, stored), kOdOk) << state;
        EXPECT_EQ(chain.getHandle(0), OdDbHandle(9)) << state;
        EXPECT_TRUE(chain.getPathPrefix().isEmpty()) << state;
    }
}

TEST_F(CompoundObjectIdStream, TheNumberInFrontOfTheStepsIsIgnored)
{
    ZemCompoundObjectId chain;
    MemoryFiler filer;
    filer.wrInt16(-12345);
    filer.wrInt32(1);
    filer.wrInt8(0);
    filer.wrInt8(1);
    filer.wrSoftPointerId(m_solid);
    filer.rewindForReading();
    EXPECT_EQ(chain.impl_dwgInFields(&filer), kOdOk);
    EXPECT_EQ(chain.topId(), m_solid);
}

TEST_F(CompoundObjectIdStream, TheHandleFollowsTheIdThatIsRead)
{
    // A flat filer carries no ids: what was a step in the host drawing is one to nowhere.
    OdStaticRxObject<ZemFlatFiler> filer;
    filer.clear();
    chainOf({m_outerReference, m_solid}).dwgOutFields(&filer, nullptr);
    std::vector<char> bytes = filer.getBinaryData();
    filer.setBinaryData(std::move(bytes));
    ZemCompoundObjectId chain;
    EXPECT_EQ(chain.dwgInFields(&filer, 0), kOdOk);
    EXPECT_EQ(chain.size(), 2u);
    EXPECT_TRUE(chain.topId().isNull());
    EXPECT_TRUE(chain.getHandle(0).isNull());
    EXPECT_EQ(chain.getPathPrefix().size(), 2u);
}

TEST_F(CompoundObjectIdStream, IsNotReadForAVersionBelowZero)
{
    ZemCompoundObjectId chain = chainOf(m_nested);
    MemoryFiler filer;
    filer.wrBool(true);
    filer.rewindForReading();
    EXPECT_EQ(chain.dwgInFields(&filer, -1), kOdRejectedVersion);
    EXPECT_EQ(filer.tell(), 0u);
    EXPECT_EQ(chain.size(), 0u);
}

TEST_F(CompoundObjectIdStream, OfAnotherNameIsABadStream)
{
    ZemCompoundObjectId chain = chainOf(m_nested);
    EXPECT_EQ(readFrom(chain, OdDb::FilerType::kCopyFiler,
                       [](OdDbDwgFiler& filer) {
                           filer.wrBool(true);
                           filer.wrString(L"acDbImpBlockRefPathObjectId");
                           filer.wrInt16(0);
                           filer.wrInt32(0);
                       }),
              kOdBadStream);
    EXPECT_EQ(chain.size(), 0u);
}

TEST_F(CompoundObjectIdStream, OfNoStepsBehindItsNameIsAnEmptyChain)
{
    ZemCompoundObjectId chain;
    EXPECT_EQ(readFrom(chain, OdDb::FilerType::kCopyFiler,
                       [](OdDbDwgFiler& filer) { writeHead(filer, 0); }),
              kOdOk);
    EXPECT_EQ(chain.size(), 0u);
}

TEST_F(CompoundObjectIdStream, CarriesTextsThroughCloneFilersOnly)
{
    for (const OdDb::FilerType type :
         {OdDb::FilerType::kDeepCloneFiler, OdDb::FilerType::kWblockCloneFiler}) {
        MemoryFiler source(type);
        writeHead(source, 1);
        source.wrInt8(0);
        source.wrInt8(1);
        source.wrSoftPointerId(m_solid);
        source.wrInt32(2);
        source.wrString(L"first");
        source.wrString(L"");
        const Bytes golden = source.bytes();
        source.rewindForReading();
        ZemCompoundObjectId chain;
        ASSERT_EQ(chain.dwgInFields(&source, 0), kOdOk);
        EXPECT_EQ(source.bytesLeft(), 0u);

        // A filer of another kind neither gets them nor takes them away.
        MemoryFiler copy(OdDb::FilerType::kCopyFiler);
        chain.dwgOutFields(&copy, nullptr);
        copy.rewindForReading();
        ASSERT_EQ(chain.dwgInFields(&copy, 0), kOdOk);
        EXPECT_EQ(copy.bytesLeft(), 0u);
        EXPECT_LT(copy.bytes().size(), golden.size());

        MemoryFiler target(type);
        chain.dwgOutFields(&target, nullptr);
        EXPECT_EQ(target.bytes(), golden);
    }
}

TEST_F(CompoundObjectIdStream, ACloneFilerReplacesTheTexts)
{
    ZemCompoundObjectId chain;
    const auto readTexts = [&chain](int count) {
        return readFrom(chain, OdDb::FilerType::kDeepCloneFiler, [count](OdDbDwgFiler& filer) {
            writeHead(filer, 0);
            filer.wrInt32(count);
            for (int i = 0; i < count; ++i) {
                filer.wrString(L"text");
            }
        });
    };
    const auto size = [&chain] {
        MemoryFiler filer(OdDb::FilerType::kDeepCloneFiler);
        chain.impl_dwgOutFields(&filer);
        return filer.bytes().size();
    };
    const std::size_t none = size();
    ASSERT_EQ(readTexts(3), kOdOk);
    EXPECT_GT(size(), none);
    ASSERT_EQ(readTexts(0), kOdOk);
    EXPECT_EQ(size(), none);
}

//--------------------------------------------------------------------------------------------------
// Damage

TEST_F(CompoundObjectIdStream, CutAtAnyLengthIsABadStreamAndLeavesNoChain)
{
    const OdDbObjectId there = m_other->getOdDbObjectId(OdDbHandle(0x1234), /*create=*/true);
    const Record whole = fileOut(chainOf({m_outerReference, m_innerReference, there}));
    for (std::size_t length = 0; length < whole.body.size(); ++length) {
        ZemCompoundObjectId chain = chainOf(m_nested);
        const Record cut{{whole.body.begin(), whole.body.begin() + static_cast<long>(length)},
                         whole.references};
        EXPECT_EQ(fileIn(chain, cut), kOdBadStream) << length;
        EXPECT_EQ(chain.size(), 0u) << length;
    }
    for (std::size_t length = 0; length < whole.references.size(); ++length) {
        ZemCompoundObjectId chain;
        const Record cut{
            whole.body,
            {whole.references.begin(), whole.references.begin() + static_cast<long>(length)}};
        EXPECT_EQ(fileIn(chain, cut), kOdBadStream) << length;
        EXPECT_EQ(chain.size(), 0u) << length;
    }
}

TEST_F(CompoundObjectIdStream, CutInsideACloneFilerIsABadStream)
{
    MemoryFiler source(OdDb::FilerType::kWblockCloneFiler);
    writeHead(source, 1);
    source.wrInt8(0);
    source.wrInt8(1);
    source.wrSoftPointerId(m_solid);
    source.wrInt32(1);
    source.wrString(L"text");
    for (std::size_t length = 0; length < source.bytes().size(); ++length) {
        MemoryFiler filer(OdDb::FilerType::kWblockCloneFiler);
        filer.readFrom(std::span(source.bytes()).first(length));
        ZemCompoundObjectId chain;
        EXPECT_EQ(resultOf([&] { return chain.dwgInFields(&filer, 0); }), kOdBadStream) << length;
        EXPECT_EQ(chain.size(), 0u);
    }
}

TEST_F(CompoundObjectIdStream, WithAnyBitFlippedGivesAToldResultAndAChainThatCanBeWritten)
{
    const OdDbObjectId there = m_other->getOdDbObjectId(OdDbHandle(0x1234), /*create=*/true);
    const Record whole = fileOut(chainOf({m_outerReference, there}));
    const auto check = [this](Record const& record) {
        ZemCompoundObjectId chain;
        const OdResult result = fileIn(chain, record);
        EXPECT_TRUE(result == kOdOk || result == kOdBadStream) << result;
        OdDbObjectIdArray ids;
        (void)chain.getFullPathEx(ids, /*openErased=*/true);
        ZemCompoundObjectId copy;
        EXPECT_EQ(fileIn(copy, fileOut(chain)), kOdOk);
        EXPECT_EQ(copy.compareTo(chain), 0);
    };
    for (std::size_t bit = 0; bit < 8 * whole.body.size(); ++bit) {
        Record flipped = whole;
        flipped.body[bit / 8] ^= static_cast<std::uint8_t>(1u << bit % 8);
        check(flipped);
    }
    for (std::size_t bit = 0; bit < 8 * whole.references.size(); ++bit) {
        Record flipped = whole;
        flipped.references[bit / 8] ^= static_cast<std::uint8_t>(1u << bit % 8);
        check(flipped);
    }
}

TEST_F(CompoundObjectIdStream, ACountThatTheFilerCantHoldIsABadStream)
{
    for (const std::int32_t count : {-1, std::numeric_limits<std::int32_t>::min(), 1000,
                                     std::numeric_limits<std::int32_t>::max()}) {
        ZemCompoundObjectId chain = chainOf(m_nested);
        EXPECT_EQ(readFrom(chain, OdDb::FilerType::kCopyFiler,
                           [count](OdDbDwgFiler& filer) { writeHead(filer, count); }),
                  kOdBadStream)
            << count;
        EXPECT_EQ(readFrom(chain, OdDb::FilerType::kDeepCloneFiler,
                           [count](OdDbDwgFiler& filer) {
                               writeHead(filer, 0);
                               filer.wrInt32(count);
                           }),
                  kOdBadStream)
            << count;
        EXPECT_EQ(chain.size(), 0u);
    }
}

TEST_F(CompoundObjectIdStream, ACountInAFilerWithoutAnEndTakesNoMoreMemoryThanItsContent)
{
    for (const bool inTexts : {false, true}) {
        EndlessFiler filer(OdDb::FilerType::kDeepCloneFiler);
        writeHead(filer, inTexts ? 0 : std::numeric_limits<std::int32_t>::max());
        filer.wrInt32(std::numeric_limits<std::int32_t>::max());
        filer.wrInt32(0);
        filer.rewindForReading();
        ZemCompoundObjectId chain;
        EXPECT_EQ(thrownCode([&] { (void)chain.dwgInFields(&filer, 0); }), kOdBadStream);
        EXPECT_EQ(chain.size(), 0u);
    }
}

TEST_F(CompoundObjectIdStream, AFailureInTheStepsLeavesAChainThatIsReadAloneAsItWas)
{
    ZemCompoundObjectId chain = chainOf(m_nested);
    MemoryFiler filer;
    filer.wrInt16(0);
    filer.wrInt32(2);
    filer.wrInt8(0);
    filer.wrInt8(1);
    filer.wrSoftPointerId(m_solid);
    filer.rewindForReading();
    EXPECT_EQ(thrownCode([&] { (void)chain.impl_dwgInFields(&filer); }), kOdBadStream);
    EXPECT_EQ(chain.getPathPrefix(), m_nested);
}

TEST_F(CompoundObjectIdStream, OfAVeryLongChainComesBack)
{
    constexpr unsigned kSteps = 5000;
    OdDbObjectIdArray path;
    for (unsigned i = 0; i < kSteps; ++i) {
        path.append(m_nested.at(i % 3));
    }
    const ZemCompoundObjectId chain = chainOf(path);
    ZemCompoundObjectId copy;
    EXPECT_EQ(fileIn(copy, fileOut(chain)), kOdOk);
    EXPECT_EQ(copy.getPathPrefix(), path);
}

//--------------------------------------------------------------------------------------------------
// Against a plain model

RC_GTEST_FIXTURE_PROP(CompoundObjectId, BehavesLikeAListOfIdsAfterAnyOperations, ())
{
    std::vector<OdDbObjectId> ids;
    for (unsigned number = 0; number < 6; ++number) {
        ids.push_back(m_database->getOdDbObjectId(OdDbHandle(0x8000 + number), true));
    }
    const auto length = rc::gen::inRange<std::size_t>(0, 6);
    const auto number = rc::gen::inRange<std::size_t>(0, ids.size());
    ZemCompoundObjectId chain;
    std::vector<std::size_t> model;
    const int steps = *rc::gen::inRange(1, 30);
    for (int step = 0; step < steps; ++step) {
        const auto path = *rc::gen::container<std::vector<std::size_t>>(*length, number);
        const bool keepTail = *rc::gen::arbitrary<bool>();
        if (path.size() == 1 && !keepTail) {
            chain.setTopId(ids[path.front()]);
            model = path;
        } else {
            OdDbObjectIdArray pathIds;
            for (std::size_t at : path) {
                pathIds.append(ids[at]);
            }
            chain.setFullPath(pathIds, keepTail);
            const bool keeps = keepTail && !path.empty() && path.size() <= model.size();
            model.resize(keeps ? model.size() : path.size());
            std::copy(path.begin(), path.end(), model.begin());
        }
        const ZemCompoundObjectId copy = chain;
        RC_ASSERT(copy.size() == model.size());
        RC_ASSERT(copy.isSimpleObjectId() == (model.size() < 2));
        const OdDbObjectIdArray prefix = copy.getPathPrefix();
        for (std::size_t at = 0; at < model.size(); ++at) {
            RC_ASSERT(prefix.at(static_cast<unsigned>(at)) == ids[model[at]]);
            RC_ASSERT(copy.getHandle(static_cast<unsigned>(at)) == ids[model[at]].getHandle());
        }
    }
}

RC_GTEST_FIXTURE_PROP(CompoundObjectId, ComparesByLengthAndThenFromTheLastStepOn, ())
{
    // Handles 8000 to 8002, each in the host drawing or in another one.
    const auto draw = [] {
        return *rc::gen::container<std::vector<std::pair<unsigned, bool>>>(
            *rc::gen::inRange<std::size_t>(0, 4),
            rc::gen::pair(rc::gen::inRange(0u, 3u), rc::gen::arbitrary<bool>()));
    };
    using Steps = std::vector<std::pair<unsigned, bool>>;
    const auto toChain = [this](Steps const& steps) {
        OdDbObjectIdArray path;
        for (auto const& [number, isForeign] : steps) {
            // The first step tells which drawing is the host.
            OdDbDatabase& database = isForeign && !path.isEmpty() ? *m_other : *m_database;
            path.append(database.getOdDbObjectId(OdDbHandle(0x8000 + number), true));
        }
        ZemCompoundObjectId chain;
        chain.setFullPath(path, /*keepTail=*/false);
        return chain;
    };
    const auto keyOf = [](Steps steps) {
        if (!steps.empty()) {
            steps.front().second = false;
        }
        std::reverse(steps.begin(), steps.end());
        return std::make_tuple(steps.size(), steps);
    };
    const Steps left = draw();
    const Steps right = draw();
    const int expected = keyOf(left) < keyOf(right) ? -1 : (keyOf(right) < keyOf(left) ? 1 : 0);
    RC_ASSERT(toChain(left).compareTo(toChain(right)) == expected);
}

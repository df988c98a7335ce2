// External drawings that are loaded again and again, and cloned; their files lie in memory.

#include "db/clone_test_support.h"
#include "db/od_db_block_reference.h"
#include "db/od_db_host_app_services.h"
#include "db/od_db_xref_man.h"

#include <map>

using namespace dbtest;

namespace {

/// Files by name; each is made anew when it is read.
using Files = std::map<std::string, std::function<OdDbDatabasePtr()>>;

Files* g_files = nullptr;

class FileServices : public OdDbHostAppServices
{
public:
    OdString findFile(OdString const& fileName, OdString const& drawingPath) override
    {
        const std::string name(fileName.utf8());
        const std::string drawing(drawingPath.utf8());
        const std::string beside = drawing.substr(0, drawing.rfind('/') + 1) + name;
        for (std::string const& tried : {beside, name, "/library/" + name}) {
            if (g_files->count(tried) != 0) {
                return OdString::fromUtf8(tried);
            }
        }
        return OdString();
    }
};

OdDbDatabasePtr readFile(OdString const& path, OdDbHostAppServices* /*services*/)
{
    OdDbDatabasePtr database = g_files->at(std::string(path.utf8()))();
    database->setFilename(path);
    return database;
}

class ExternalDrawings : public CloneTest
{
protected:
    ExternalDrawings()
    {
        g_files = &m_files;
        OdDbXRefMan::setReader(&readFile);
        m_host = makeDrawing("/work/host.zdw");
        m_files["/work/part.zdw"] = [this] { return makePart(); };
    }
    ~ExternalDrawings() override
    {
        OdDbXRefMan::setReader(nullptr);
        g_files = nullptr;
    }
    void TearDown() override
    {
        m_host.release();
        CloneTest::TearDown();
    }
    OdDbDatabasePtr makeDrawing(char const* path)
    {
        OdDbDatabasePtr database = OdDbDatabase::createObject(&m_services);
        database->setFilename(OdString::fromUtf8(path));
        return database;
    }
    /// A drawing with lines, whose x tells how often it was read.
    OdDbDatabasePtr makePart()
    {
        OdDbDatabasePtr part = OdDbDatabase::createObject(&m_services);
        ++m_reads;
        for (int index = 0; index < m_lines; ++index) {
            addLine(part->getModelSpaceId(), m_reads);
        }
        return part;
    }
    static OdDbDatabase* externalOf(OdDbObjectId block)
    {
        return OdDbBlockTableRecord::openBlock(block)->xrefDatabase();
    }
    static OdDb::XrefStatus statusOf(OdDbObjectId block)
    {
        return OdDbBlockTableRecord::openBlock(block)->xrefStatus();
    }
    static OdString pathOf(OdDbObjectId block)
    {
        return OdDbBlockTableRecord::openBlock(block)->pathName();
    }
    static OdDbObjectIdArray linesOf(OdDbObjectId block)
    {
        OdDbDatabase const* external = externalOf(block);
        return external == nullptr
                   ? OdDbObjectIdArray()
                   : OdDbBlockTableRecord::openBlock(external->getModelSpaceId())->entityIds();
    }
    static double xOf(OdDbObjectId line)
    {
        const OdDbLinePtr open = OdDbLine::cast(line.openObject().get());
        return open.isNull() ? -1.0 : open->startPoint().x;
    }

    Files m_files;
    FileServices m_services;
    OdDbDatabasePtr m_host;
    int m_reads = 0;
    int m_lines = 3;
};

TEST_F(ExternalDrawings, LoadedManyTimesLeadIdsOfEveryTimeToTheLatest)
{
    constexpr int kTimes = 300;
    const OdDbObjectId block = OdDbXRefMan::attach(*m_host, L"part.zdw");
    OdDbObjectIdArray ofEveryTime;
    for (int time = 0; time < kTimes; ++time) {
        ofEveryTime.append(linesOf(block).at(1));
        ASSERT_EQ(OdDbXRefMan::reload(block), kOdOk);
    }
    const OdDbObjectId latest = linesOf(block).at(1);
    for (OdDbObjectId id : ofEveryTime) {
        EXPECT_EQ(id, latest);
        EXPECT_EQ(id.database(), externalOf(block));
        EXPECT_NE(id.originalDatabase(), externalOf(block));
        EXPECT_EQ(xOf(id), kTimes + 1);
    }
    ASSERT_EQ(OdDbXRefMan::unload(block), kOdOk);
    EXPECT_EQ(xOf(ofEveryTime[0]), -1.0);
    ASSERT_EQ(OdDbXRefMan::load(block), kOdOk);
    EXPECT_EQ(xOf(ofEveryTime[0]), kTimes + 2);
    EXPECT_EQ(xOf(latest), kTimes + 2);
}

TEST_F(ExternalDrawings, GiveAnObjectBackThatWasMissingOnce)
{
    const OdDbObjectId block = OdDbXRefMan::attach(*m_host, L"part.zdw");
    const OdDbObjectId last = linesOf(block).at(2);
    m_lines = 1;
    ASSERT_EQ(OdDbXRefMan::reload(block), kOdOk);
    EXPECT_EQ(xOf(last), -1.0);
    m_lines = 3;
    ASSERT_EQ(OdDbXRefMan::reload(block), kOdOk);
    EXPECT_EQ(xOf(last), 3.0);
}

TEST_F(ExternalDrawings, LeadIdsOfAttachedDrawingsOnWithThem)
{
    m_files["/work/outer.zdw"] = [this] {
        const OdDbDatabasePtr outer = makeDrawing("/work/outer.zdw");
        const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
        block->setName(L"part");
        block->setPathName(L"part.zdw");
        OdDbSymbolTablePtr(outer->getBlockTableId().safeOpenObject(OdDb::kForWrite))
            ->add(block.get());
        return outer;
    };
    const OdDbObjectId block = OdDbXRefMan::attach(*m_host, L"outer.zdw");
    const auto part = [&] { return recordOf(externalOf(block)->getBlockTableId(), L"part"); };
    OdDbObjectIdArray ofEveryTime;
    for (int time = 0; time < 50; ++time) {
        ofEveryTime.append(linesOf(part()).at(0));
        ASSERT_EQ(OdDbXRefMan::reload(time % 2 == 0 ? block : part()), kOdOk);
    }
    for (OdDbObjectId id : ofEveryTime) {
        EXPECT_EQ(id, linesOf(part()).at(0));
    }
}

TEST_F(ExternalDrawings, HeldByOthersNameTheirOwnObjectsWhenTheHostIsGone)
{
    const OdDbObjectId block = OdDbXRefMan::attach(*m_host, L"part.zdw");
    const OdDbDatabasePtr first = externalOf(block);
    const OdDbObjectId line = linesOf(block).at(0);
    ASSERT_EQ(OdDbXRefMan::reload(block), kOdOk);
    ASSERT_EQ(OdDbXRefMan::reload(block), kOdOk);
    EXPECT_EQ(xOf(line), 3.0);
    m_host.release();
    EXPECT_FALSE(OdDbObjectId::hasRedirections());
    EXPECT_EQ(line.database(), first.get());
    EXPECT_TRUE(line.openObject().isNull());
}

TEST_F(ExternalDrawings, OfACopiedDrawingAreLoadedAsInItsSource)
{
    m_files["/work/away.zdw"] = [this] { return makePart(); };
    const OdDbObjectId loaded = OdDbXRefMan::attach(*m_host, L"part.zdw");
    const OdDbObjectId unloaded = OdDbXRefMan::attach(*m_host, L"away.zdw");
    const OdDbObjectId missing = OdDbXRefMan::attach(*m_host, L"nowhere.zdw");
    OdDbXRefMan::unload(unloaded);
    OdDbBlockTableRecord::openBlock(m_host->getModelSpaceId(), OdDb::kForWrite)
        ->appendOdDbEntity(OdDbBlockReference::createObject(loaded, OdGePoint3d()).get());
    const OdDbDatabasePtr made = m_host->wblock(m_mapping.get());
    for (const OdDbObjectId block : {loaded, unloaded, missing}) {
        EXPECT_EQ(statusOf(cloneOf(block)), statusOf(block));
    }
    EXPECT_EQ(linesOf(cloneOf(loaded)).size(), 3U);
    EXPECT_NE(externalOf(cloneOf(loaded)), externalOf(loaded));
    EXPECT_EQ(externalOf(cloneOf(loaded))->xrefBlockId(), cloneOf(loaded));
    EXPECT_EQ(externalOf(loaded)->xrefBlockId(), loaded);
}

TEST_F(ExternalDrawings, KeepLeadingToTheirFilesWhenCloned)
{
    m_files["/library/norm.zdw"] = [this] { return makePart(); };
    const OdDbObjectId part = OdDbXRefMan::attach(*m_host, L"part.zdw");
    const OdDbObjectId norm = OdDbXRefMan::attach(*m_host, L"norm.zdw");
    const OdDbObjectId missing = OdDbXRefMan::attach(*m_host, L"gone/nowhere.zdw");
    const OdDbObjectId fixed = OdDbXRefMan::attach(*m_host, L"/elsewhere/fixed.zdw");
    const OdDbDatabasePtr beside = makeDrawing("/work/other.zdw");
    const OdDbDatabasePtr away = makeDrawing("/home/other.zdw");
    const OdDbDatabasePtr unnamed = OdDbDatabase::createObject(&m_services);
    struct Case
    {
        OdDbObjectId block;
        OdString inOneFolder;
        OdString elsewhere;
    };
    const Case cases[] = {
        {part, L"part.zdw", L"/work/part.zdw"},
        {norm, L"norm.zdw", L"norm.zdw"},  // found by the host, wherever the drawing lies
        {missing, L"gone/nowhere.zdw", L"/work/gone/nowhere.zdw"},
        {fixed, L"/elsewhere/fixed.zdw", L"/elsewhere/fixed.zdw"},
    };
    for (const auto& [block, inOneFolder, elsewhere] : cases) {
        for (OdDbDatabase* other : {beside.get(), away.get(), unnamed.get()}) {
            m_mapping = OdDbIdMapping::createObject();
            m_host->wblockCloneObjects({block}, other->getBlockTableId(), *m_mapping,
                                       OdDb::DuplicateRecordCloning::kDrcIgnore);
            EXPECT_EQ(pathOf(cloneOf(block)), other == beside.get() ? inOneFolder : elsewhere);
        }
        EXPECT_EQ(pathOf(block), inOneFolder);
    }
}

TEST_F(ExternalDrawings, BoundUnderTheNameOfABlockInsideDoNotContainThemselves)
{
    m_files["/work/part.zdw"] = [this] {
        const OdDbDatabasePtr part = makePart();
        const OdDbObjectId inner = addBlock(*part, L"part");
        addLine(inner, 5.0);
        OdDbBlockTableRecord::openBlock(part->getModelSpaceId(), OdDb::kForWrite)
            ->appendOdDbEntity(OdDbBlockReference::createObject(inner, OdGePoint3d()).get());
        return part;
    };
    for (const auto style : {OdDbXRefMan::BindStyle::kInsert, OdDbXRefMan::BindStyle::kBind}) {
        m_host = makeDrawing("/work/host.zdw");
        const OdDbObjectId block = OdDbXRefMan::attach(*m_host, L"part.zdw");
        ASSERT_EQ(OdDbXRefMan::bind(block, style), kOdOk);
        const OdDbObjectIdArray entities = entitiesOf(block);
        ASSERT_EQ(entities.size(), 4U);
        const OdDbObjectId shown =
            OdDbBlockReferencePtr(entities.at(3).safeOpenObject())->blockTableRecord();
        EXPECT_NE(shown, block);
        EXPECT_EQ(entitiesOf(shown).size(), 1U);
    }
}

TEST_F(ExternalDrawings, ObjectsTakenHoldOfWhileTheyAreUnloadedNameNothing)
{
    const OdDbObjectId block = OdDbXRefMan::attach(*m_host, L"part.zdw");
    const OdDbObjectId line = linesOf(block).at(0);
    OdDbDatabase* const external = externalOf(block);
    TestReactorPtr watcher = TestReactor::createObject();
    external->addOdDbObject(watcher.get());
    const OdDbObjectId watcherId = watcher->objectId();
    OdDbEntityPtr held;
    watcher->onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const& object) {
        if (kind == NoticeKind::kGoodbye) {
            held = const_cast<OdDbObject*>(&object);
        }
    };
    watch(line, watcherId);
    watcher.release();
    ASSERT_EQ(OdDbXRefMan::unload(block), kOdOk);
    ASSERT_FALSE(held.isNull());
    m_host.release();
    EXPECT_TRUE(held->layerId().isNull());
}

}  // namespace

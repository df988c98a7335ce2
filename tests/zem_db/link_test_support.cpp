#include "link_test_support.h"

#include "db/od_db_block_reference.h"
#include "db/od_db_curves.h"
#include "db/od_db_filer.h"
#include "root/od_error.h"

#include "zem_db_object.h"
#include "zem_link_utils.h"

#include <algorithm>
#include <map>
#include <utility>

namespace link_test {

RX_DEFINE_CLASS(TestSolid, OdDbEntity, odrxCreate<TestSolid>, L"LinkTestSolid",
                OdDb::kDwgVersionCurrent, 4, 1025, L"LINK_TEST_SOLID", L"Link tests");
RX_DEFINE_CLASS(TestWatcher, OdDbObject, odrxCreate<TestWatcher>, L"LinkTestWatcher",
                OdDb::kDwgVersionCurrent, 4, 1025, L"LINK_TEST_WATCHER", L"Link tests");

namespace {

std::uint32_t readCount(OdDbDwgFiler& filer)
{
    const std::int32_t count = filer.rdInt32();
    if (count < 0 || static_cast<std::uint64_t>(count) > filer.bytesLeft()) {
        throw OdError(kOdBadStream);
    }
    return static_cast<std::uint32_t>(count);
}

}  // namespace

int kindOf(OdDb::SubentType type)
{
    const auto at = std::find(kTypes.begin(), kTypes.end(), type);
    return at != kTypes.end() ? static_cast<int>(at - kTypes.begin()) : -1;
}

//--------------------------------------------------------------------------------------------------
// TestSolid

TestSolid::TestSolid() = default;
TestSolid::~TestSolid() = default;

TestSolidPtr TestSolid::createObject()
{
    return odrxMake<TestSolid>();
}

TestSolid::Parts const& TestSolid::parts() const
{
    return read(m_parts);
}

void TestSolid::setParts(Parts const& parts)
{
    write(m_parts, parts);
}

std::int32_t TestSolid::nameOf(OdDbSubentId const& subent) const
{
    const int kind = kindOf(subent.type());
    if (kind < 0 || subent.index() < 1) {
        return 0;
    }
    Names const& names = parts()[static_cast<std::size_t>(kind)];
    const auto place = static_cast<std::size_t>(subent.index() - 1);
    return place < names.size() ? names[place] : 0;
}

OdDbEntityPtr TestSolid::subentPtr(OdDbFullSubentPath const& path) const
{
    return nameOf(path.subentId()) != 0 ? OdDbEntityPtr(OdDbPoint::createObject())
                                        : OdDbEntityPtr();
}

OdResult TestSolid::dwgInFields(OdDbDwgFiler* filer)
{
    assertWriteEnabled();
    if (const OdResult result = OdDbEntity::dwgInFields(filer); result != kOdOk) {
        return result;
    }
    for (Names& names : m_parts) {
        names.resize(readCount(*filer));
        std::generate(names.begin(), names.end(), [&] { return filer->rdInt32(); });
    }
    return kOdOk;
}

void TestSolid::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbEntity::dwgOutFields(filer);
    for (Names const& names : m_parts) {
        filer->wrInt32(static_cast<std::int32_t>(names.size()));
        for (std::int32_t name : names) {
            filer->wrInt32(name);
        }
    }
}

//--------------------------------------------------------------------------------------------------
// TestWatcher

TestWatcher::TestWatcher() = default;
TestWatcher::~TestWatcher() = default;

TestWatcherPtr TestWatcher::createObject()
{
    return odrxMake<TestWatcher>();
}

OdDbObjectIdArray const& TestWatcher::links() const
{
    assertReadEnabled();
    return m_links;
}

void TestWatcher::setLinks(OdDbObjectIdArray const& links)
{
    assertWriteEnabled();
    for (OdDbObjectId id : std::as_const(m_links)) {
        const OdDbObjectPtr link = id.openObject(OdDb::kForWrite);
        if (!link.isNull() && !links.contains(id)) {
            link->removePersistentReactor(objectId());
        }
    }
    m_links = links;
    for (OdDbObjectId id : links) {
        id.safeOpenObject(OdDb::kForWrite)->addPersistentReactor(objectId());
    }
}

OdResult TestWatcher::dwgInFields(OdDbDwgFiler* filer)
{
    assertWriteEnabled();
    if (const OdResult result = OdDbObject::dwgInFields(filer); result != kOdOk) {
        return result;
    }
    m_links.resize(readCount(*filer));
    for (OdDbObjectId& id : m_links) {
        id = filer->rdSoftPointerId();
    }
    return kOdOk;
}

void TestWatcher::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbObject::dwgOutFields(filer);
    filer->wrInt32(static_cast<std::int32_t>(m_links.size()));
    for (OdDbObjectId id : m_links) {
        filer->wrSoftPointerId(id);
    }
}

//--------------------------------------------------------------------------------------------------
// TestLinkMaker

void TestLinkMaker::validatePaths(ZemDbPersIdManager* /*manager*/, ZemSubentPathArray& paths,
                                  OdDbDatabase* /*database*/)
{
    calls.push_back("validate");
    ZemSubentPathArray fit;
    for (OdDbFullSubentPath const& path : std::as_const(paths)) {
        if (zemu::doesPathExist(path)) {
            fit.append(path);
        }
    }
    paths = fit;
}

void TestLinkMaker::collectExistingDependencies(ZemDbPersIdManager* /*manager*/,
                                                ZemSubentPathArray const& paths,
                                                OdDbObjectIdArray& ids)
{
    calls.push_back("collect");
    for (OdDbFullSubentPath const& path : paths) {
        ids.append(reusesLinks ? zemu::findDepByFSP(path) : OdDbObjectId::kNull);
    }
}

void TestLinkMaker::remapDependency(ZemDbPersIdManager* manager, OdDbObjectId dependencyId,
                                    OdDbFullSubentPath const& path)
{
    calls.push_back("remap");
    const LinkPtr link = dependencyId.safeOpenObject(OdDb::kForWrite);
    const OdDbObjectId before = link->getInsertId();
    link->setLinkObject(path);
    const OdDbObjectId after = link->getInsertId();
    const auto from = ZemDbObject::openZemDbObject(before, OdDb::kForWrite, false);
    if (before == after) {
        if (!from.isNull()) {
            from->invalidatePersIdDepsCache();
        }
        return;
    }
    if (!from.isNull()) {
        (void)from->removePersIdDependency(manager->objectId(), dependencyId);
    }
    const auto to = ZemDbObject::openZemDbObject(after, OdDb::kForWrite, false);
    if (!to.isNull()) {
        (void)to->addPersIdDependency(manager->objectId(), dependencyId);
    }
}

OdDbObjectIdArray TestLinkMaker::createDependencies(ZemDbPersIdManager* manager,
                                                    ZemSubentPathArray const& paths,
                                                    OdDbUserIO* /*userIO*/, OdDbObjectIdArray& ids)
{
    calls.push_back("create");
    OdDbObjectIdArray made;
    std::map<OdDbFullSubentPath, OdDbObjectId, zemu::less_FullSubentPath> byPath;
    for (unsigned at = 0; at < paths.size(); ++at) {
        if (!std::as_const(ids)[at].isNull()) {
            continue;
        }
        OdDbObjectId& link = byPath[paths[at]];
        if (link.isNull() || !reusesLinks) {
            const LinkPtr fresh = odrxMake<ZemDbObjectDependency>();
            fresh->setLinkObject(paths[at]);
            fresh->setEntityTag(tag);
            link = manager->database()->addOdDbObject(fresh.get(), manager->objectId());
            made.append(link);
        }
        ids[at] = link;
    }
    return made;
}

//--------------------------------------------------------------------------------------------------
// LinkScope

LinkScope::LinkScope() : m_host(odrxMake<TestLinkMaker>())
{
    TestSolid::rxInit();
    TestWatcher::rxInit();
    attachHost(true);
}

LinkScope::~LinkScope()
{
    attachHost(false);
    TestWatcher::rxUninit();
    TestSolid::rxUninit();
}

void LinkScope::attachHost(bool attached)
{
    if (attached) {
        (void)ZemDbPersIdManager::desc()->addX(ZemDbPersIdManagerPE::desc(), m_host.get());
    } else {
        (void)ZemDbPersIdManager::desc()->delX(ZemDbPersIdManagerPE::desc());
    }
}

//--------------------------------------------------------------------------------------------------
// Short ways

OdDbFullSubentPath pathTo(OdDbObjectId solid, int kind, std::int64_t number)
{
    return {OdDbObjectIdArray{solid}, OdDbSubentId(kTypes[static_cast<std::size_t>(kind)], number)};
}

OdDbFullSubentPath pathTo(OdDbObjectId reference, OdDbObjectId solid, int kind, std::int64_t number)
{
    return {OdDbObjectIdArray{reference, solid},
            OdDbSubentId(kTypes[static_cast<std::size_t>(kind)], number)};
}

OdDbObjectId addSolid(OdDbObjectId block, TestSolid::Parts const& parts)
{
    const TestSolidPtr solid = TestSolid::createObject();
    solid->setParts(parts);
    const OdDbBlockTableRecordPtr record = block.safeOpenObject(OdDb::kForWrite);
    return record->appendOdDbEntity(solid.get());
}

OdDbObjectId addSolid(OdDbObjectId block, int count)
{
    TestSolid::Parts parts;
    for (TestSolid::Names& names : parts) {
        for (int number = 1; number <= count; ++number) {
            names.push_back(number);
        }
    }
    return addSolid(block, parts);
}

OdDbObjectId addBlock(OdDbDatabase& database, OdString const& name)
{
    const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
    block->setName(name);
    const OdDbSymbolTablePtr table = database.getBlockTableId().safeOpenObject(OdDb::kForWrite);
    return table->add(block.get());
}

OdDbObjectId addReference(OdDbObjectId block, OdDbObjectId shown)
{
    const OdDbBlockReferencePtr reference = OdDbBlockReference::createObject();
    reference->setBlockTableRecord(shown);
    const OdDbBlockTableRecordPtr record = block.safeOpenObject(OdDb::kForWrite);
    return record->appendOdDbEntity(reference.get());
}

OdDbObjectId addWatcher(OdDbDatabase& database, OdDbObjectIdArray const& links)
{
    const TestWatcherPtr watcher = TestWatcher::createObject();
    const OdDbObjectId id =
        database.addOdDbObject(watcher.get(), database.getNamedObjectsDictionaryId());
    watcher->setLinks(links);
    return id;
}

LinkPtr openLink(OdDbObjectId id, OdDb::OpenMode mode)
{
    return id.safeOpenObject(mode);
}

OdDbFullSubentPath pathOf(OdDbObjectId link)
{
    return openLink(link)->getLinkObject(true);
}

}  // namespace link_test

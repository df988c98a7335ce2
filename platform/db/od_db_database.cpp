#include "db/od_db_database.h"

#include "db/od_db_block_table.h"
#include "db/od_db_database_impl.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_filer.h"
#include "db/od_db_host_app_services.h"
#include "db/od_db_memory_filer.h"
#include "db/od_db_planar_impl.h"
#include "db/od_db_proxy_object.h"
#include "db/od_db_simple_tables.h"
#include "root/od_assert.h"
#include "root/od_error.h"

#include <array>
#include <utility>

RX_DEFINE_CLASS(OdDbDatabase, OdDbObject, odrxCreateNothing, L"OdDbDatabase");

namespace {

int g_liveDatabases = 0;
std::uint64_t g_databaseSerial = 0;

/// Handles below this are kept for what every drawing has.
constexpr std::uint64_t kFirstUserHandle = 0x20;
/// Handles share a stored number with the kind of a reference, which takes two bits.
constexpr std::uint64_t kLastHandle = (std::uint64_t{1} << 62) - 1;

OdDbHostAppServices& defaultServices()
{
    static OdDbHostAppServices s_services;
    return s_services;
}

/// Makes an object concrete, so that only the database makes databases.
class DatabaseObject final : public OdDbDatabase
{
public:
    explicit DatabaseObject(OdDbHostAppServices* services) : OdDbDatabase(services) {}
};

/// Ends a carrier's load when the scope ends.
class LoadGuard
{
public:
    explicit LoadGuard(OdDbObjectStore& store) : m_store(store) {}
    LoadGuard(LoadGuard const&) = delete;
    LoadGuard& operator=(LoadGuard const&) = delete;
    ~LoadGuard() { m_store.endLoad(); }

private:
    OdDbObjectStore& m_store;
};

/// Gives back what was filed, with null for every id.
class ForgettingFiler : public OdDbMemoryFiler
{
public:
    explicit ForgettingFiler(OdDbDatabase* database)
        : OdDbMemoryFiler(OdDb::FilerType::kUndoFiler, database)
    {
    }
    OdDbObjectId rdSoftOwnershipId() override
    {
        return forget(OdDbMemoryFiler::rdSoftOwnershipId());
    }
    OdDbObjectId rdHardOwnershipId() override
    {
        return forget(OdDbMemoryFiler::rdHardOwnershipId());
    }
    OdDbObjectId rdSoftPointerId() override { return forget(OdDbMemoryFiler::rdSoftPointerId()); }
    OdDbObjectId rdHardPointerId() override { return forget(OdDbMemoryFiler::rdHardPointerId()); }

private:
    static OdDbObjectId forget(OdDbObjectId /*id*/) { return OdDbObjectId::kNull; }
};

/// Takes all ids out of an object, as an undo on the living object would replace its fields.
void forgetIds(OdDbObject& object)
{
    OdStaticRxObject<ForgettingFiler> filer(object.database());
    try {
        OdDbObjectAccess::fileOut(object, filer);
        filer.rewindForReading();
        (void)OdDbObjectAccess::fileIn(object, filer);
    } catch (std::exception const& error) {
        odReportAssert("ids of an object are forgotten", error.what(), __FILE__, __LINE__);
    } catch (...) {
        odReportAssert("ids of an object are forgotten", "unknown exception", __FILE__, __LINE__);
    }
}

}  // namespace

OdDbClassRecord odDbClassRecordOf(OdRxClass const& cls)
{
    return {cls.name(),
            cls.dxfName(),
            cls.appNameFor(OdDb::kDwgVersionCurrent),
            cls.dwgVersion(),
            cls.maintenanceVersion(),
            cls.proxyFlags()};
}

// ---------------------------------------------------------------------------------------------
// Insides

OdDbDatabaseImpl::OdDbDatabaseImpl(OdDbDatabase& db, OdDbHostAppServices* appServices)
    : database(db), services(appServices != nullptr ? appServices : &defaultServices()),
      serial(++g_databaseSerial), ids(*this), undo(*this)
{
}

OdDbDatabaseImpl::~OdDbDatabaseImpl()
{
    releaseObjects();
    if (hasRedirections) {
        odDbDropRedirections({this});
    }
}

std::vector<OdDbObject*> OdDbDatabaseImpl::residentObjects() const
{
    std::vector<OdDbObject*> objects;
    for (std::uint64_t number : ids.knownBlocks()) {
        for (OdDbIdRecord const& record : ids.findBlock(number)->records) {
            if (record.object != nullptr) {
                objects.push_back(record.object);
            }
        }
    }
    return objects;
}

void OdDbDatabaseImpl::sendGoodbye()
{
    // By records: a reactor may open a proxy, whose object then gives way to one of its own class.
    for (std::uint64_t number : ids.knownBlocks()) {
        for (OdDbIdRecord const& record : ids.findBlock(number)->records) {
            if (record.object != nullptr) {
                OdDbObjectAccess::sendGoodbye(*record.object);
            }
        }
    }
}

void OdDbDatabaseImpl::forgetHeldIds()
{
    // By records: what takes fields in may open a proxy, whose object then gives way to another.
    for (std::uint64_t number : ids.knownBlocks()) {
        for (OdDbIdRecord const& record : ids.findBlock(number)->records) {
            if (record.object != nullptr && !OdDbObjectAccess::isClosed(*record.object)) {
                forgetIds(*record.object);
            }
        }
    }
}

void OdDbDatabaseImpl::releaseObjects()
{
    // All are out before the first one goes: an object that goes may let go of others, which must
    // not find a database that is half gone.
    const std::vector<OdDbObject*> objects = residentObjects();
    for (OdDbObject* object : objects) {
        OdDbObjectAccess::orphan(*object);
    }
    for (OdDbObject* object : objects) {
        object->release();
    }
}

bool OdDbDatabaseImpl::isInUse() const
{
    if (ids.isSaving()) {
        return true;
    }
    const std::vector<OdDbObject*> objects = residentObjects();
    return !std::all_of(objects.begin(), objects.end(), [](OdDbObject const* object) {
        return OdDbObjectAccess::isClosed(*object);
    });
}

void OdDbDatabaseImpl::empty()
{
    sendGoodbye();
    forgetHeldIds();  // reactors may have taken hold of objects
    isEmptied = true;
    undo.clear();
    releaseObjects();
    store.reset();
    xrefs.unloadAll();
    ids.clearChanged();
    for (std::uint64_t number : ids.knownBlocks()) {
        for (OdDbIdRecord& record : ids.findBlock(number)->records) {
            record.residency = OdDbResidency::kAbsent;
            record.flags &= OdDbIdRecord::kRedirected;
        }
    }
}

std::uint32_t OdDbDatabaseImpl::addClass(OdDbClassRecord const& record)
{
    const auto [at, isNew] =
        m_classNumbers.emplace(record.name, static_cast<std::uint32_t>(classes.size()));
    if (isNew) {
        classes.push_back(record);
    }
    return at->second;
}

std::uint32_t OdDbDatabaseImpl::classIndexOf(OdRxClass const* cls)
{
    if (cls == nullptr) {
        throw OdError(kOdClassNotRegistered);
    }
    // By number, since a class that is registered again may lie where it lay before.
    if (m_lastClassNumber == cls->registrationNumber()) {
        return m_lastClassIndex;
    }
    const OdDbClassRecord record = odDbClassRecordOf(*cls);
    m_lastClassIndex = addClass(record);
    // What the database remembered may come from another version of the module.
    classes[m_lastClassIndex] = record;
    m_lastClassNumber = cls->registrationNumber();
    return m_lastClassIndex;
}

OdRxClass* OdDbDatabaseImpl::registeredClass(std::uint32_t index)
{
    const std::uint64_t revision = odrxClassDictionary()->revision();
    if (m_resolvedRevision != revision) {
        m_resolved.clear();
        m_resolvedRevision = revision;
    }
    while (m_resolved.size() < classes.size()) {
        m_resolved.push_back(odrxClassDictionary()->getAt(classes[m_resolved.size()].name));
    }
    return m_resolved.at(index);
}

void OdDbDatabaseImpl::resolve(OdDbIdRecord& record)
{
    if (record.residency != OdDbResidency::kUnknown) {
        return;
    }
    std::uint32_t classIndex = 0;
    if (store != nullptr && store->find(OdDbIdBlock::handleOf(record), classIndex)) {
        record.classIndex = classIndex;
        record.residency = OdDbResidency::kStored;
    } else {
        record.residency = OdDbResidency::kAbsent;
    }
}

bool OdDbDatabaseImpl::canReplaceProxy(OdDbIdRecord const& record)
{
    return store != nullptr && !record.has(OdDbIdRecord::kChanged) &&
           !record.has(OdDbIdRecord::kNew) && !record.has(OdDbIdRecord::kErased) &&
           OdDbObjectAccess::isClosed(*record.object) &&
           // The records of a proxy's state are nothing that its own class could play back.
           (undo.byteCount() == 0 || !OdDbObjectAccess::hasStateRecorded(*record.object)) &&
           registeredClass(record.classIndex) != nullptr;
}

bool OdDbDatabaseImpl::load(OdDbIdRecord& record)
{
    if (record.object != nullptr) {
        if (!record.has(OdDbIdRecord::kProxy) || !canReplaceProxy(record)) {
            return true;
        }
        record.set(OdDbIdRecord::kProxy, false);
        OdDbObjectAccess::detach(*record.object);
        record.residency = OdDbResidency::kUnknown;
    }
    resolve(record);
    return record.residency == OdDbResidency::kStored && loadFromStore(record);
}

void OdDbDatabaseImpl::reportDamage(OdDbIdRecord& record, std::string reason)
{
    record.residency = OdDbResidency::kDamaged;
    damages.push_back({OdDbHandle(OdDbIdBlock::handleOf(record)), std::move(reason)});
}

bool OdDbDatabaseImpl::loadFromStore(OdDbIdRecord& record)
{
    const OdDbHandle handle(OdDbIdBlock::handleOf(record));
    if (loadAs(record, handle, /*asProxy=*/false)) {
        return true;
    }
    // Bytes that the object's own class can't read are carried as they are.
    return record.residency == OdDbResidency::kStored && loadAs(record, handle, /*asProxy=*/true);
}

bool OdDbDatabaseImpl::loadAs(OdDbIdRecord& record, OdDbHandle handle, bool asProxy)
{
    OdDbStoredObject stored;
    if (!store->beginLoad(handle, stored)) {
        reportDamage(record, stored.damage.empty() ? "object is missing" : stored.damage);
        return false;
    }
    const LoadGuard guard(*store);
    if (!stored.damage.empty()) {
        reportDamage(record, stored.damage);
        return false;
    }
    record.classIndex = stored.classIndex;
    OdDbObjectPtr object;
    if (!asProxy) {
        if (OdRxClass const* cls = registeredClass(stored.classIndex)) {
            object = OdDbObjectPtr::attach(OdDbObjectPtr::internalQueryX(cls->create().get()));
        }
    }
    const bool isProxy = object.isNull();
    if (isProxy) {
        object = odrxMake<OdDbProxyObject>();
    }
    return fillLoaded(record, *object, *stored.filer, isProxy);
}

bool OdDbDatabaseImpl::fillLoaded(OdDbIdRecord& record, OdDbObject& object,
                                  OdDbStoredObjectFiler& filer, bool isProxy)
{
    OdDbObjectAccess::attach(object, record, OdDbObjectId::kNull);
    try {
        const OdResult result = OdDbObjectAccess::fileIn(object, filer);
        record.set(OdDbIdRecord::kPartlyRead, result != kOdOk);
        record.set(OdDbIdRecord::kProxy, isProxy);
        return true;
    } catch (std::exception const& error) {
        dropHalfLoaded(record, object, isProxy, error.what());
    } catch (...) {
        dropHalfLoaded(record, object, isProxy, "unknown exception");
    }
    return false;
}

void OdDbDatabaseImpl::dropHalfLoaded(OdDbIdRecord& record, OdDbObject& object, bool isProxy,
                                      char const* reason)
{
    OdDbObjectAccess::detach(object);
    record.residency = OdDbResidency::kStored;
    if (isProxy) {
        reportDamage(record, reason);
    }
}

OdDbObjectId OdDbDatabaseImpl::add(OdDbObject& object, OdDbObjectId owner, OdDbHandle handle)
{
    if (object.database() != nullptr) {
        throw OdError(kOdAlreadyInDatabase);
    }
    return addAs(object, owner, handle, classIndexOf(object.isA()));
}

OdDbObjectId OdDbDatabaseImpl::addAs(OdDbObject& object, OdDbObjectId owner, OdDbHandle handle,
                                     std::uint32_t classIndex)
{
    if (!owner.isNull() && owner.database() != &database) {
        throw OdError(kOdWrongDatabase);
    }
    owner.convertToRedirectedId();  // the database that leads here may go first
    OdDbObjectAccess::requireIdsOf(object, database);
    const std::uint64_t number = handle.isNull() ? handseed : handle.value();
    if (number > kLastHandle) {
        throw OdError(kOdHandlesExhausted);
    }
    OdDbIdRecord& record = ids.get(number);
    if (!handle.isNull()) {
        resolve(record);
        if (record.residency != OdDbResidency::kAbsent) {
            throw OdError(kOdHandleInUse);
        }
    }
    handseed = std::max(handseed, number + 1);
    const OdDbDatabasePtr keptAlive(&database);  // a reactor may hold the last pointer
    if (!header.regAppTable.isNull()) {
        OdDbObjectAccess::registerApps(object, database);
        if (record.object != nullptr || object.database() != nullptr) {
            throw OdError(kOdHandleInUse);  // a reactor of the table has added something
        }
    }
    OdDbObjectAccess::attach(object, record, owner);
    record.classIndex = classIndex;
    record.set(OdDbIdRecord::kNew, true);
    ids.markChanged(record);
    undo.recordErased(record, /*wasErased=*/true);
    OdDbObjectAccess::startNew(object, undo.isRecording() ? undo.mark() : 0);
    return OdDbObjectId(&record);
}

void OdDbDatabaseImpl::markHeaderChanged() noexcept
{
    headerChanged = true;
    headerChangedInSave = ids.isSaving();
}

void OdDbDatabaseImpl::recordHeaderChange()
{
    markHeaderChanged();
    if (!undo.isRecording() || headerMark == undo.mark()) {
        return;
    }
    undo.recordState(nullptr);
    headerMark = undo.mark();
}

// ---------------------------------------------------------------------------------------------
// Making and ending

OdDbDatabase::OdDbDatabase(OdDbHostAppServices* services)
    : m_impl(std::make_unique<OdDbDatabaseImpl>(*this, services))
{
    ++g_liveDatabases;
}

OdDbDatabase::~OdDbDatabase()
{
    OdDbObjectAccess::pin(*this);
    m_impl->sendGoodbye();
#ifndef NDEBUG
    reportOpenObjects();
#endif
    // Who holds an object longer than its database must not find ids in it that lead nowhere.
    m_impl->forgetHeldIds();
    m_impl.reset();
    --g_liveDatabases;
}

int OdDbDatabase::liveCount() noexcept
{
    return g_liveDatabases;
}

OdDbDatabasePtr OdDbDatabase::createBare(OdDbHostAppServices* services)
{
    return OdDbDatabasePtr::attach(new DatabaseObject(services));
}

namespace {

template <class Table>
OdDbObjectId addTable(OdDbDatabase& db)
{
    return db.addOdDbObject(odrxMake<Table>().get());
}

template <class Record>
OdDbObjectId addRecord(OdDbObjectId tableId, wchar_t const* name)
{
    const OdDbSymbolTablePtr table = tableId.safeOpenObject(OdDb::kForWrite);
    const OdSmartPtr<Record> record = Record::createObject();
    record->setName(name);
    return table->add(record.get());
}

/// Makes what every drawing has, in an order that fixes the handles.
void fillEmptyDatabase(OdDbDatabase& db, OdDbHeader& header)
{
    header.blockTable = addTable<OdDbBlockTable>(db);
    header.layerTable = addTable<OdDbLayerTable>(db);
    header.linetypeTable = addTable<OdDbLinetypeTable>(db);
    header.regAppTable = addTable<OdDbRegAppTable>(db);
    header.namedObjects = db.addOdDbObject(OdDbDictionary::createObject().get());
    header.linetypeByBlock = addRecord<OdDbLinetypeTableRecord>(header.linetypeTable, L"ByBlock");
    header.linetypeByLayer = addRecord<OdDbLinetypeTableRecord>(header.linetypeTable, L"ByLayer");
    header.linetypeContinuous =
        addRecord<OdDbLinetypeTableRecord>(header.linetypeTable, L"Continuous");
    header.layerZero = addRecord<OdDbLayerTableRecord>(header.layerTable, L"0");
    OdDbLayerTableRecordPtr(header.layerZero.safeOpenObject(OdDb::kForWrite))
        ->setLinetypeObjectId(header.linetypeContinuous);
    header.modelSpace = addRecord<OdDbBlockTableRecord>(header.blockTable, L"*Model_Space");
    header.paperSpace = addRecord<OdDbBlockTableRecord>(header.blockTable, L"*Paper_Space");
}

}  // namespace

OdDbDatabasePtr OdDbDatabase::createObject(OdDbHostAppServices* services)
{
    OdDbDatabasePtr db = createBare(services);
    fillEmptyDatabase(*db, db->m_impl->header);
    db->m_impl->handseed = std::max(db->m_impl->handseed, kFirstUserHandle);
    db->m_impl->headerChanged = true;
    return db;
}

void OdDbDatabase::reportOpenObjects() const
{
    for (std::uint64_t number : m_impl->ids.knownBlocks()) {
        for (OdDbIdRecord const& record : m_impl->ids.findBlock(number)->records) {
            if (record.object != nullptr && !OdDbObjectAccess::isClosed(*record.object)) {
                const OdString text = L"object " +
                                      OdDbHandle(OdDbIdBlock::handleOf(record)).ascii() +
                                      L" is open while its database goes";
                odReportAssert("every object is closed", text, __FILE__, __LINE__);
            }
        }
    }
}

OdDbDatabase* OdDbDatabase::database() const noexcept
{
    return const_cast<OdDbDatabase*>(this);
}

OdDbObjectId OdDbDatabase::xrefBlockId() const noexcept
{
    return m_impl->xrefBlock;
}

OdDbHostAppServices* OdDbDatabase::appServices() const noexcept
{
    return m_impl->services;
}

// ---------------------------------------------------------------------------------------------
// Named roots

OdDbObjectId OdDbDatabase::getNamedObjectsDictionaryId() const
{
    return m_impl->header.namedObjects;
}

OdDbObjectId OdDbDatabase::getBlockTableId() const
{
    return m_impl->header.blockTable;
}

OdDbObjectId OdDbDatabase::getLayerTableId() const
{
    return m_impl->header.layerTable;
}

OdDbObjectId OdDbDatabase::getLinetypeTableId() const
{
    return m_impl->header.linetypeTable;
}

OdDbObjectId OdDbDatabase::getRegAppTableId() const
{
    return m_impl->header.regAppTable;
}

OdDbObjectId OdDbDatabase::getModelSpaceId() const
{
    return m_impl->header.modelSpace;
}

namespace {

/// A dictionary among the named objects, made if it is asked for.
OdDbObjectId namedDictionary(OdDbDatabase& db, OdString const& key, bool create)
{
    const OdDbDictionaryPtr named =
        OdDbDictionary::cast(db.getNamedObjectsDictionaryId().openObject().get());
    if (named.isNull()) {
        return OdDbObjectId::kNull;
    }
    const OdDbObjectId present = named->getAt(key);
    if (!present.isNull() || !create) {
        return present;
    }
    named->upgradeOpen();
    const OdDbObjectId made = named->getOrSetAt(key, OdDbDictionary::createObject().get());
    named->downgradeOpen();
    return made;
}

}  // namespace

OdDbObjectId OdDbDatabase::getMaterialDictionaryId(bool create)
{
    return namedDictionary(*this, L"MATERIALS", create);
}

OdDbObjectId OdDbDatabase::getVisualStyleDictionaryId(bool create)
{
    return namedDictionary(*this, L"VISUAL_STYLES", create);
}

OdDbObjectId OdDbDatabase::getPaperSpaceId() const
{
    return m_impl->header.paperSpace;
}

OdDbObjectId OdDbDatabase::getLayerZeroId() const
{
    return m_impl->header.layerZero;
}

OdDbObjectId OdDbDatabase::getLinetypeContinuousId() const
{
    return m_impl->header.linetypeContinuous;
}

OdDbObjectId OdDbDatabase::getLinetypeByLayerId() const
{
    return m_impl->header.linetypeByLayer;
}

OdDbObjectId OdDbDatabase::getLinetypeByBlockId() const
{
    return m_impl->header.linetypeByBlock;
}

// ---------------------------------------------------------------------------------------------
// Objects

OdDbObjectId OdDbDatabase::addOdDbObject(OdDbObject* object, OdDbObjectId owner, OdDbHandle handle)
{
    if (object == nullptr) {
        throw OdError(kOdNullObjectPointer);
    }
    return m_impl->add(*object, owner, handle);
}

OdDbObjectId OdDbDatabase::getOdDbObjectId(OdDbHandle const& handle, bool create,
                                           unsigned /*reserved*/)
{
    if (handle.isNull() || handle.value() > kLastHandle) {
        return OdDbObjectId::kNull;
    }
    if (!create) {
        // An answer of "no" must leave nothing behind, however often it is asked for.
        std::uint32_t classIndex = 0;
        OdDbIdRecord const* known = m_impl->ids.find(handle.value());
        const bool isUnknown = known == nullptr || known->residency == OdDbResidency::kUnknown;
        if (isUnknown && (m_impl->store == nullptr || !m_impl->store->find(handle, classIndex))) {
            return OdDbObjectId::kNull;
        }
    }
    OdDbIdRecord& record = m_impl->ids.get(handle.value());
    m_impl->resolve(record);
    if (!create && record.residency == OdDbResidency::kAbsent) {
        return OdDbObjectId::kNull;
    }
    return OdDbObjectId(&record);
}

OdDbHandle OdDbDatabase::nextHandle(OdDbHandle after) const
{
    if (after.value() > kLastHandle) {
        return OdDbHandle();
    }
    std::uint64_t best = m_impl->store != nullptr ? m_impl->store->nextHandle(after).value() : 0;
    for (std::uint64_t handle = after.value() + 1; handle < m_impl->handseed; ++handle) {
        if (best != 0 && handle >= best) {
            break;
        }
        const std::uint64_t number = handle / OdDbStorageAccess::kHandlesInBlock;
        OdDbIdBlock const* block = m_impl->ids.findBlock(number);
        if (block == nullptr) {
            handle = m_impl->ids.nextBlock(number) * OdDbStorageAccess::kHandlesInBlock - 1;
            continue;
        }
        OdDbIdRecord const& record = block->records[handle % OdDbStorageAccess::kHandlesInBlock];
        if (record.object != nullptr) {
            best = handle;
        }
    }
    return OdDbHandle(best);
}

OdDbHandle OdDbDatabase::handseed() const noexcept
{
    return OdDbHandle(m_impl->handseed);
}

OdDbObjectId OdDbDatabase::newRegApp(OdString const& name)
{
    const OdDbSymbolTablePtr table = m_impl->header.regAppTable.safeOpenObject(OdDb::kForRead);
    const OdDbObjectId present = table->getAt(name);
    if (!present.isNull()) {
        return present;
    }
    const OdDbRegAppTableRecordPtr record = OdDbRegAppTableRecord::createObject();
    record->setName(name);
    table->upgradeOpen();
    // Whoever is told of the change may register the application himself.
    table->assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    OdDbObjectId made = table->getAt(name);
    if (made.isNull()) {
        made = table->add(record.get());
    }
    table->downgradeOpen();
    return made;
}

bool OdDbDatabase::isRegisteredApp(OdString const& name) const
{
    const OdDbObjectPtr table = m_impl->header.regAppTable.openObject();
    return !table.isNull() && OdDbSymbolTablePtr(table)->has(name);
}

bool OdDbDatabase::isChanged() const noexcept
{
    return m_impl->headerChanged || m_impl->ids.hasChanges();
}

// ---------------------------------------------------------------------------------------------
// Undo

void OdDbDatabase::startUndoRecord()
{
    m_impl->undo.startUndoRecord();
}

bool OdDbDatabase::hasUndo() const noexcept
{
    return m_impl->undo.hasUndo();
}

bool OdDbDatabase::hasRedo() const noexcept
{
    return m_impl->undo.hasRedo();
}

OdResult OdDbDatabase::undo()
{
    return m_impl->undo.undo();
}

OdResult OdDbDatabase::redo()
{
    return m_impl->undo.redo();
}

void OdDbDatabase::clearUndo()
{
    m_impl->undo.clear();
}

void OdDbDatabase::disableUndoRecording(bool disable)
{
    m_impl->undo.setDisabled(disable);
}

bool OdDbDatabase::undoRecording() const noexcept
{
    return m_impl->undo.isRecording();
}

std::uint64_t OdDbDatabase::undoBytes() const noexcept
{
    return m_impl->undo.byteCount();
}

void OdDbDatabase::startTransaction()
{
    m_impl->undo.startTransaction();
}

void OdDbDatabase::endTransaction()
{
    m_impl->undo.endTransaction();
}

void OdDbDatabase::abortTransaction()
{
    m_impl->undo.abortTransaction();
}

std::size_t OdDbDatabase::numUndoMarks() const noexcept
{
    return m_impl->undo.markCount();
}

int OdDbDatabase::numActiveTransactions() const noexcept
{
    return m_impl->undo.transactionCount();
}

// ---------------------------------------------------------------------------------------------
// Settings

OdString OdDbDatabase::getFilename() const
{
    return m_impl->fileName;
}

void OdDbDatabase::setFilename(OdString const& path)
{
    m_impl->fileName = path;
}

OdDb::UnitsValue OdDbDatabase::getINSUNITS() const
{
    return m_impl->header.insertUnits;
}

void OdDbDatabase::setINSUNITS(OdDb::UnitsValue units)
{
    m_impl->recordHeaderChange();
    m_impl->header.insertUnits = units;
}

OdGePoint3d OdDbDatabase::getINSBASE() const
{
    return m_impl->header.modelInsertBase;
}

void OdDbDatabase::setINSBASE(OdGePoint3d const& point)
{
    const OdGePoint3d checked = odDbPlanar::finite(point);
    m_impl->recordHeaderChange();
    m_impl->header.modelInsertBase = checked;
}

OdGePoint3d OdDbDatabase::getPINSBASE() const
{
    return m_impl->header.paperInsertBase;
}

void OdDbDatabase::setPINSBASE(OdGePoint3d const& point)
{
    const OdGePoint3d checked = odDbPlanar::finite(point);
    m_impl->recordHeaderChange();
    m_impl->header.paperInsertBase = checked;
}

OdDbObjectId OdDbDatabase::activeViewportId() const
{
    return m_impl->header.activeViewport;
}

void OdDbDatabase::setActiveViewportId(OdDbObjectId viewport)
{
    if (!viewport.isNull() && viewport.originalDatabase() != this) {
        throw OdError(kOdWrongDatabase);
    }
    m_impl->recordHeaderChange();
    m_impl->header.activeViewport = viewport;
}

bool OdDbDatabase::isDrawOverrideAllowed() const noexcept
{
    return m_impl->isDrawOverrideAllowed;
}

void OdDbDatabase::setDrawOverrideAllowed(bool allowed) noexcept
{
    m_impl->isDrawOverrideAllowed = allowed;
}

namespace {

/// The named roots in the order in which they are filed.
constexpr std::array kRoots = {
    &OdDbHeader::blockTable,      &OdDbHeader::layerTable,      &OdDbHeader::linetypeTable,
    &OdDbHeader::regAppTable,     &OdDbHeader::namedObjects,    &OdDbHeader::modelSpace,
    &OdDbHeader::paperSpace,      &OdDbHeader::layerZero,       &OdDbHeader::linetypeContinuous,
    &OdDbHeader::linetypeByLayer, &OdDbHeader::linetypeByBlock,
};

}  // namespace

OdResult OdDbDatabase::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbObject::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    // A base that is no point would be refused wherever it is used.
    const auto readBase = [filer] {
        const OdGePoint3d point = filer->rdPoint3d();
        return odDbPlanar::isFinite(point) ? point : OdGePoint3d();
    };
    OdDbHeader header;
    for (auto root : kRoots) {
        header.*root = filer->rdHardPointerId();
    }
    header.insertUnits = static_cast<OdDb::UnitsValue>(filer->rdInt16());
    header.modelInsertBase = readBase();
    header.paperInsertBase = readBase();
    header.activeViewport = filer->rdSoftPointerId();
    m_impl->header = header;
    return kOdOk;
}

void OdDbDatabase::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbObject::dwgOutFields(filer);
    OdDbHeader const& header = m_impl->header;
    for (auto root : kRoots) {
        filer->wrHardPointerId(header.*root);
    }
    filer->wrInt16(static_cast<std::int16_t>(header.insertUnits));
    filer->wrPoint3d(header.modelInsertBase);
    filer->wrPoint3d(header.paperInsertBase);
    // A drawing on disk has no erased objects, and its settings name none.
    const bool isLost =
        filer->filerType() == OdDb::FilerType::kFileFiler && header.activeViewport.isErased();
    filer->wrSoftPointerId(isLost ? OdDbObjectId::kNull : header.activeViewport);
}

void OdDbDatabase::copyFrom(OdRxObject const* /*source*/)
{
    throw OdError(kOdNotApplicable);
}

void OdDbDatabase::changingOutsideDatabase()
{
    m_impl->recordHeaderChange();
}

std::uint32_t OdDbDatabase::classCount() const noexcept
{
    return static_cast<std::uint32_t>(m_impl->classes.size());
}

OdDbClassRecord const& OdDbDatabase::classRecord(std::uint32_t index) const
{
    if (index >= m_impl->classes.size()) {
        throw OdError_InvalidIndex();
    }
    return m_impl->classes[index];
}

double oddbGetUnitsConversion(OdDb::UnitsValue from, OdDb::UnitsValue to)
{
    /// Metres in one unit.
    static constexpr double kMetres[] = {
        0.0,
        0.0254,
        0.3048,
        1609.344,
        1.0e-3,
        1.0e-2,
        1.0,
        1000.0,
        2.54e-8,
        2.54e-5,
        0.9144,
        1.0e-10,
        1.0e-9,
        1.0e-6,
        0.1,
        10.0,
        100.0,
        1.0e9,
        149597870700.0,
        9460730472580800.0,
        3.0856775814913673e16,
    };
    const auto fromIndex = static_cast<std::size_t>(from);
    const auto toIndex = static_cast<std::size_t>(to);
    if (fromIndex == 0 || toIndex == 0 || fromIndex >= std::size(kMetres) ||
        toIndex >= std::size(kMetres)) {
        return 1.0;
    }
    return kMetres[fromIndex] / kMetres[toIndex];
}

#include "db/od_db_block_table.h"

#include "db/od_db_block_reference.h"
#include "db/od_db_database_impl.h"
#include "db/od_db_filer.h"
#include "db/od_db_id_mapping.h"
#include "db/od_db_planar_impl.h"
#include "root/od_error.h"

#include <algorithm>
#include <unordered_set>
#include <utility>
#include <vector>

RX_DEFINE_CLASS(OdDbBlockTableRecord, OdDbSymbolTableRecord, odrxCreate<OdDbBlockTableRecord>,
                L"OdDbBlockTableRecord", OdDb::kDwgVersionCurrent, 0, 0, L"BLOCK_RECORD",
                L"Object database");
RX_DEFINE_CLASS(OdDbBlockTable, OdDbSymbolTable, odrxCreate<OdDbBlockTable>, L"OdDbBlockTable",
                OdDb::kDwgVersionCurrent, 0, 0, L"BLOCKTABLE", L"Object database");
RX_DEFINE_CLASS(OdDbObjectIterator, OdRxObject, odrxCreateNothing, L"OdDbObjectIterator");

namespace {

/// Partial undo records of a block.
enum Opcode : std::uint8_t
{
    kEntityAppended = 0,
    kEntityTakenOut = 1,
    kReferenceEntered = 2,
    kReferenceTakenOut = 3
};

constexpr wchar_t kModelSpaceName[] = L"*Model_Space";
constexpr wchar_t kPaperSpaceName[] = L"*Paper_Space";

/// Sets a variable for as long as this object lives.
template <class T>
class Held
{
public:
    Held(T& variable, T const& value) : m_variable(variable), m_before(variable)
    {
        variable = value;
    }
    Held(Held const&) = delete;
    Held& operator=(Held const&) = delete;
    ~Held() { m_variable = m_before; }

private:
    T& m_variable;
    T m_before;
};

bool isLayoutName(OdString const& name)
{
    return odIcmp(name.left(12), kModelSpaceName) == 0 ||
           odIcmp(name.left(12), kPaperSpaceName) == 0;
}

OdDbObjectIdArray readIds(OdDbDwgFiler& filer, OdDb::ReferenceType type)
{
    const std::uint32_t count = odDbReadCount(filer, 1);
    OdDbObjectIdArray ids;
    ids.reserve(count);
    for (std::uint32_t index = 0; index < count; ++index) {
        const OdDbObjectId id = odDbReadId(filer, type);
        if (!id.isNull()) {
            ids.append(id);
        }
    }
    return ids;
}

/// Whether what is filed becomes another block.
bool isCloning(OdDbDwgFiler const& filer)
{
    return filer.filerType() == OdDb::FilerType::kCopyFiler ||
           filer.filerType() == OdDb::FilerType::kDeepCloneFiler ||
           filer.filerType() == OdDb::FilerType::kWblockCloneFiler;
}

/// Erased objects aren't in the file, so a file doesn't list them.
void writeIds(OdDbDwgFiler& filer, OdDbObjectIdArray const& ids, OdDb::ReferenceType type)
{
    const bool dropsErased = filer.filerType() == OdDb::FilerType::kFileFiler;
    std::int32_t count = 0;
    for (OdDbObjectId id : ids) {
        count += dropsErased && id.isErased() ? 0 : 1;
    }
    filer.wrInt32(count);
    for (OdDbObjectId id : ids) {
        if (!dropsErased || !id.isErased()) {
            odDbWriteId(filer, id, type);
        }
    }
}

}  // namespace

OdDbBlockTableRecord::OdDbBlockTableRecord() = default;
OdDbBlockTableRecord::~OdDbBlockTableRecord() = default;

OdDbBlockTableRecordPtr OdDbBlockTableRecord::createObject()
{
    return odrxMake<OdDbBlockTableRecord>();
}

OdDbBlockTableRecordPtr OdDbBlockTableRecord::openBlock(OdDbObjectId id, OdDb::OpenMode mode,
                                                        bool openErased)
{
    return cast(id.openObject(mode, openErased).get());
}

void OdDbBlockTableRecord::recordEntity(std::uint8_t opcode, OdDbObjectId id, unsigned position)
{
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    OdDbDwgFiler* filer = undoFiler();
    if (filer == nullptr) {
        return;
    }
    filer->wrAddress(OdDbBlockTableRecord::desc());
    filer->wrUInt8(opcode);
    filer->wrSoftPointerId(id);
    filer->wrInt32(static_cast<std::int32_t>(position));
}

OdDbObjectId OdDbBlockTableRecord::appendOdDbEntity(OdDbEntity* entity)
{
    if (entity == nullptr) {
        throw OdError(kOdNullObjectPointer);
    }
    OdDbDatabase* db = database();
    if (db == nullptr) {
        throw OdError(kOdNotInDatabase);
    }
    const OdDbDatabasePtr keptAlive(db);  // a reactor may hold the last pointer
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/false);
    entity->joiningBlock(*this);
    OdDbObjectId id = entity->objectId();
    if (id.isNull()) {
        if (entity->m_layer.isNull()) {
            entity->m_layer = db->getLayerZeroId();
        }
        id = db->addOdDbObject(entity, objectId());
    } else {
        if (entity->database() != db) {
            throw OdError(kOdWrongDatabase);
        }
        if (!entity->ownerId().isNull()) {
            throw OdError(kOdAlreadyInDatabase);
        }
        if (entity->layerId().isNull()) {
            entity->setLayer(db->getLayerZeroId());
        }
        entity->setOwnerId(objectId());
    }
    recordEntity(kEntityAppended, id, m_entities.size());
    m_entities.append(id);
    entity->joinedBlock();
    return id;
}

void OdDbBlockTableRecord::openEntities(std::vector<OdDbObjectPtr>& opened,
                                        OdDbObjectIdArray& openedIds,
                                        OdDbObjectIdArray& closedIds) const
{
    for (OdDbObjectId id : m_entities) {
        OdDbObjectPtr entity = id.openObject(OdDb::kForWrite, /*openErased=*/true);
        if (entity.isNull()) {
            closedIds.append(id);
        } else {
            openedIds.append(id);
            opened.push_back(std::move(entity));
        }
    }
}

void OdDbBlockTableRecord::swapEntities(OdDbBlockTableRecord& other)
{
    if (database() == nullptr || other.database() == nullptr) {
        throw OdError(kOdNotInDatabase);
    }
    if (database() != other.database()) {
        throw OdError(kOdWrongDatabase);
    }
    assertWriteEnabled();
    other.assertWriteEnabled();
    if (this == &other) {
        return;
    }
    const auto requireWelcome = [](OdDbBlockTableRecord const& from,
                                   OdDbBlockTableRecord const& to) {
        std::unordered_set<OdDbObjectId> shown;
        for (OdDbObjectIteratorPtr at = from.newIterator(); !at->done(); at->step()) {
            const OdDbEntityPtr entity = at->entity();
            const auto reference = OdDbBlockReference::cast(entity.get());
            const bool isKnown =
                !reference.isNull() && !shown.insert(reference->blockTableRecord()).second;
            if (!entity.isNull() && !isKnown) {
                entity->joiningBlock(to);
            }
        }
    };
    requireWelcome(*this, other);
    requireWelcome(other, *this);
    // Reactors of the entities are told of the new owners, and may append to the blocks then: by that
    // time the lists are exchanged, and all entities stay open until all have their owners.
    std::vector<OdDbObjectPtr> opened;
    OdDbObjectIdArray mine;
    OdDbObjectIdArray theirs;
    OdDbObjectIdArray given;
    openEntities(opened, given, mine);
    const std::size_t ownCount = opened.size();
    other.openEntities(opened, mine, theirs);
    theirs.append(given);
    m_entities = mine;
    other.m_entities = theirs;
    for (std::size_t index = 0; index < opened.size(); ++index) {
        OdDbBlockTableRecord& before = index < ownCount ? *this : other;
        const Held<OdDbObjectId> exchanged(before.m_exchanged, opened[index]->objectId());
        opened[index]->setOwnerId((index < ownCount ? other : *this).objectId());
    }
}

void OdDbBlockTableRecord::ownedObjectLeft(OdDbObjectId id)
{
    if (id == m_exchanged || !std::as_const(m_entities).contains(id)) {
        return;
    }
    // Reactors may change the list when they are told, so it is searched once more behind that.
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    for (unsigned position = m_entities.size(); position > 0; --position) {
        if (std::as_const(m_entities)[position - 1] != id) {
            continue;
        }
        recordEntity(kEntityTakenOut, id, position - 1);
        m_entities.removeAt(position - 1);
        const auto reference =
            OdDbBlockReference::cast(id.openObject(OdDb::kForRead, /*openErased=*/true).get());
        const OdDbBlockTableRecordPtr shown =
            reference.isNull() ? OdDbBlockTableRecordPtr()
                               : openBlock(reference->blockTableRecord(), OdDb::kForWrite,
                                           /*openErased=*/true);
        if (!shown.isNull()) {
            shown->setReference(id, /*isThere=*/false);
            shown->downgradeOpen();
        }
        return;
    }
}

OdDbObjectIteratorPtr OdDbBlockTableRecord::newIterator(bool atBeginning, bool skipErased,
                                                        bool /*sorted*/) const
{
    assertReadEnabled();
    return odrxMake<OdDbObjectIterator>(*this, atBeginning, skipErased);
}

OdDbObjectIdArray OdDbBlockTableRecord::entityIds(bool skipErased) const
{
    assertReadEnabled();
    OdDbObjectIdArray ids;
    ids.reserve(m_entities.size());
    for (OdDbObjectId id : m_entities) {
        if (!skipErased || !id.isErased()) {
            ids.append(id);
        }
    }
    return ids;
}

std::uint32_t OdDbBlockTableRecord::entityCount() const
{
    assertReadEnabled();
    std::uint32_t count = 0;
    for (OdDbObjectId id : m_entities) {
        count += id.isErased() ? 0 : 1;
    }
    return count;
}

bool OdDbBlockTableRecord::isLayout() const
{
    return isLayoutName(getName());
}

bool OdDbBlockTableRecord::isAnonymous() const
{
    const OdString name = getName();
    return !name.isEmpty() && name.getAt(0) == L'*' && !isLayout();
}

bool OdDbBlockTableRecord::isFromExternalReference() const
{
    assertReadEnabled();
    return !m_pathName.isEmpty();
}

OdString OdDbBlockTableRecord::pathName() const
{
    assertReadEnabled();
    return m_pathName;
}

void OdDbBlockTableRecord::setPathName(OdString const& path)
{
    assertWriteEnabled();
    m_pathName = path;
}

OdDb::XrefStatus OdDbBlockTableRecord::xrefStatus() const
{
    if (!isFromExternalReference()) {
        return OdDb::XrefStatus::kXrfNotAnXref;
    }
    if (xrefDatabase() != nullptr) {
        return OdDb::XrefStatus::kXrfResolved;
    }
    if (m_isUnloaded) {
        return OdDb::XrefStatus::kXrfUnloaded;
    }
    OdDbDatabase const* db = database();
    return db != nullptr && db->impl().xrefs.failure(handle()) == kOdFileNotFound
               ? OdDb::XrefStatus::kXrfFileNotFound
               : OdDb::XrefStatus::kXrfUnresolved;
}

OdDbDatabase* OdDbBlockTableRecord::xrefDatabase(bool includeUnloaded) const
{
    OdDbDatabase const* db = database();
    if (db == nullptr || !isFromExternalReference()) {
        return nullptr;
    }
    OdDbXrefTable const& xrefs = db->impl().xrefs;
    OdDbDatabase* loaded = xrefs.loaded(handle());
    return loaded == nullptr && includeUnloaded ? xrefs.lastUnloaded(handle()) : loaded;
}

bool OdDbBlockTableRecord::isFromOverlayReference() const
{
    assertReadEnabled();
    return m_isOverlay;
}

void OdDbBlockTableRecord::setIsFromOverlayReference(bool isOverlay)
{
    assertWriteEnabled();
    m_isOverlay = isOverlay;
}

bool OdDbBlockTableRecord::isUnloaded() const
{
    assertReadEnabled();
    return m_isUnloaded;
}

void OdDbBlockTableRecord::setIsUnloaded(bool isUnloaded)
{
    assertWriteEnabled();
    m_isUnloaded = isUnloaded;
}

OdDbObjectIdArray OdDbBlockTableRecord::getBlockReferenceIds() const
{
    assertReadEnabled();
    OdDbObjectIdArray living;
    living.reserve(m_references.size());
    // A file may name references that are gone.
    for (OdDbObjectId id : m_references) {
        if (odDbIsThere(id)) {
            living.append(id);
        }
    }
    return living;
}

void OdDbBlockTableRecord::setReference(OdDbObjectId reference, bool isThere)
{
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/false);
    OdDbObjectId const* const first = std::as_const(m_references).begin();
    OdDbObjectId const* const last = std::as_const(m_references).end();
    OdDbObjectId const* const at = std::lower_bound(first, last, reference);
    const bool wasThere = at != last && *at == reference;
    if (wasThere == isThere) {
        return;
    }
    const auto position = static_cast<unsigned>(at - first);
    if (OdDbDwgFiler* filer = undoFiler()) {
        filer->wrAddress(OdDbBlockTableRecord::desc());
        filer->wrUInt8(isThere ? kReferenceEntered : kReferenceTakenOut);
        filer->wrSoftPointerId(reference);
    }
    if (isThere) {
        m_references.insertAt(position, reference);
    } else {
        m_references.removeAt(position);
    }
}

bool OdDbBlockTableRecord::wasShownLastIn(OdDbBlockTableRecord const& block) const
{
    constexpr unsigned kLookedAt = 8;
    const unsigned count = m_references.size();
    for (unsigned index = count; index > 0 && count - index < kLookedAt; --index) {
        const OdDbObjectId id = std::as_const(m_references)[index - 1];
        const OdDbObjectPtr reference = id.openObject();
        if (!reference.isNull() && reference->ownerId() == block.objectId()) {
            return true;
        }
    }
    return false;
}

/// Walks over blocks that contain one another: up from a block to those that hold references to it,
/// or down to those that its entities show, and on from there.
class OdDbBlockTableRecord::Way
{
public:
    enum class Direction
    {
        kUp,
        kDown
    };
    enum class Step
    {
        kGoesOn,
        kFound,
        kEnded
    };

    Way(Direction direction, OdDbObjectId from, OdDbObjectId to)
        : m_direction(direction), m_to(to), m_seen{from}, m_open{from}
    {
    }

    /// Looks at one entity or reference.
    Step step()
    {
        if (m_block.isNull()) {
            if (m_open.empty()) {
                return Step::kEnded;
            }
            m_block = openBlock(m_open.back());
            m_open.pop_back();
            m_at = 0;
            return Step::kGoesOn;
        }
        const bool isUp = m_direction == Direction::kUp;
        OdDbObjectIdArray const& ids = isUp ? m_block->m_references : m_block->m_entities;
        if (m_at >= ids.size()) {
            m_block.release();
            return Step::kGoesOn;
        }
        const OdDbObjectId id = ids[m_at++];
        const OdDbObjectId next = isUp ? holderOf(id) : shownBy(id);
        if (next.isNull()) {
            return Step::kGoesOn;
        }
        if (next == m_to) {
            return Step::kFound;
        }
        if (m_seen.insert(next).second) {
            m_open.push_back(next);
        }
        return Step::kGoesOn;
    }

private:
    static OdDbObjectId holderOf(OdDbObjectId reference)
    {
        const OdDbObjectPtr object = reference.openObject();
        return object.isNull() ? OdDbObjectId::kNull : object->ownerId();
    }
    static OdDbObjectId shownBy(OdDbObjectId entity)
    {
        OdRxClass const* cls = entity.objectClass();  // loads nothing, and most are no references
        if (cls == nullptr || !cls->isDerivedFrom(OdDbBlockReference::desc())) {
            return OdDbObjectId::kNull;
        }
        const auto reference = OdDbBlockReference::cast(entity.openObject().get());
        return reference.isNull() ? OdDbObjectId::kNull : reference->blockTableRecord();
    }

    Direction m_direction;
    OdDbObjectId m_to;
    std::unordered_set<OdDbObjectId> m_seen;
    std::vector<OdDbObjectId> m_open;
    OdDbBlockTableRecordPtr m_block;
    unsigned m_at = 0;
};

bool OdDbBlockTableRecord::isContainedIn(OdDbObjectId block) const
{
    if (block.isNull()) {
        return false;
    }
    if (objectId() == block) {
        return true;
    }
    // One of the two ways is mostly short: what is shown often shows little itself, and a block of
    // many entities is shown seldom.
    Way up(Way::Direction::kUp, objectId(), block);
    Way down(Way::Direction::kDown, block, objectId());
    while (true) {
        for (Way* way : {&up, &down}) {
            const Way::Step step = way->step();
            if (step != Way::Step::kGoesOn) {
                return step == Way::Step::kFound;
            }
        }
    }
}

OdGePoint3d OdDbBlockTableRecord::origin() const
{
    assertReadEnabled();
    return m_origin;
}

void OdDbBlockTableRecord::setOrigin(OdGePoint3d const& origin)
{
    const OdGePoint3d checked = odDbPlanar::finite(origin);
    assertWriteEnabled();
    m_origin = checked;
}

OdDb::UnitsValue OdDbBlockTableRecord::blockInsertUnits() const
{
    assertReadEnabled();
    return m_units;
}

void OdDbBlockTableRecord::setBlockInsertUnits(OdDb::UnitsValue units)
{
    assertWriteEnabled();
    m_units = units;
}

OdResult OdDbBlockTableRecord::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbSymbolTableRecord::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_origin = odDbPlanar::readPoint3d(*filer);
    m_units = static_cast<OdDb::UnitsValue>(filer->rdInt16());
    m_pathName = filer->rdString();
    m_isOverlay = filer->rdBool();
    m_isUnloaded = filer->rdBool();
    m_entities = readIds(*filer, OdDb::ReferenceType::kHardOwnershipRef);
    OdDbObjectIdArray references = readIds(*filer, OdDb::ReferenceType::kSoftPointerRef);
    // References enter themselves into a clone, or into the block whose content was replaced.
    if (filer->filerType() != OdDb::FilerType::kIdXlateFiler && !isCloning(*filer)) {
        std::sort(references.begin(), references.end());
        references.erase(std::unique(references.begin(), references.end()), references.end());
        m_references = std::move(references);
    }
    return kOdOk;
}

void OdDbBlockTableRecord::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbSymbolTableRecord::dwgOutFields(filer);
    filer->wrPoint3d(m_origin);
    filer->wrInt16(static_cast<std::int16_t>(m_units));
    filer->wrString(m_pathName);
    filer->wrBool(m_isOverlay);
    filer->wrBool(m_isUnloaded);
    writeIds(*filer, m_entities, OdDb::ReferenceType::kHardOwnershipRef);
    // A clone of the block is another one, which nothing refers to yet.
    writeIds(*filer, isCloning(*filer) ? OdDbObjectIdArray() : m_references,
             OdDb::ReferenceType::kSoftPointerRef);
}

void OdDbBlockTableRecord::requireReferencesIn(OdDbDatabase const& database) const
{
    OdDbSymbolTableRecord::requireReferencesIn(database);
    for (OdDbObjectId id : m_entities) {
        requireIn(database, id);
    }
    for (OdDbObjectId id : m_references) {
        requireIn(database, id);
    }
    if (!m_entities.isEmpty()) {
        throw OdError(kOdAlreadyInDatabase);
    }
}

void OdDbBlockTableRecord::takeClone(OdDbIdPair const& /*pair*/, OdDbObject& clone,
                                     OdDbIdMapping& /*mapping*/)
{
    if (clone.isKindOf(OdDbEntity::desc())) {
        recordEntity(kEntityAppended, clone.objectId(), m_entities.size());
        m_entities.append(clone.objectId());
    }
}

void OdDbBlockTableRecord::cloneFinished(OdDbIdMapping& mapping)
{
    OdDbSymbolTableRecord::cloneFinished(mapping);
    OdDbDatabase const* from = mapping.origDb();
    if (!m_pathName.isEmpty() && from != nullptr && from != database()) {
        m_pathName = odDbPathSeenFrom(*database(), m_pathName, *from);
    }
}

void OdDbBlockTableRecord::applyPartialUndo(OdDbDwgFiler* filer, OdRxClass* cls)
{
    if (cls != OdDbBlockTableRecord::desc()) {
        OdDbSymbolTableRecord::applyPartialUndo(filer, cls);
        return;
    }
    const std::uint8_t opcode = filer->rdUInt8();
    const OdDbObjectId id = filer->rdSoftPointerId();
    if (opcode == kReferenceEntered || opcode == kReferenceTakenOut) {
        setReference(id, opcode == kReferenceTakenOut);
        return;
    }
    const auto recorded = static_cast<unsigned>(filer->rdInt32());
    if (opcode == kEntityTakenOut) {
        const unsigned position = std::min<unsigned>(recorded, m_entities.size());
        recordEntity(kEntityAppended, id, position);
        m_entities.insertAt(position, id);
        return;
    }
    // What was appended is mostly the last one, but not if others came while nothing was recorded.
    for (unsigned position = m_entities.size(); position > 0; --position) {
        if (std::as_const(m_entities)[position - 1] == id) {
            recordEntity(kEntityTakenOut, id, position - 1);
            m_entities.removeAt(position - 1);
            return;
        }
    }
}

void OdDbBlockTableRecord::copyFrom(OdRxObject const* source)
{
    if (database() != nullptr) {
        throw OdError(kOdNotApplicable);
    }
    OdDbSymbolTableRecord::copyFrom(source);
}

OdRxClass* OdDbBlockTable::recordClass() const
{
    return OdDbBlockTableRecord::desc();
}

OdDbObjectId OdDbBlockTable::add(OdDbSymbolTableRecord* record)
{
    if (record != nullptr && record->database() == nullptr &&
        odIcmp(record->getName(), L"*U") == 0) {
        record->setName(freeAnonymousName());
    }
    return OdDbSymbolTable::add(record);
}

OdString OdDbBlockTable::nameForClone(OdString const& name, OdDbIdMapping const& mapping)
{
    // The layouts of a drawing that is cloned whole stay layouts; elsewhere they are mere blocks.
    const bool isWhole = mapping.deepCloneContext() == OdDb::DeepCloneType::kDcWblock;
    if (isWhole && isLayoutName(name) && !has(name)) {
        return name;
    }
    const bool isOfSystem = !name.isEmpty() && name.getAt(0) == L'*';
    return isOfSystem ? freeAnonymousName() : OdDbSymbolTable::nameForClone(name, mapping);
}

OdString OdDbBlockTable::freeAnonymousName()
{
    OdString name;
    m_nextAnonymous = std::max(m_nextAnonymous, numEntries());
    while (name.isEmpty() || has(name)) {
        name.format(L"*U%u", m_nextAnonymous++);
    }
    return name;
}

OdDbObjectIterator::OdDbObjectIterator(OdDbBlockTableRecord const& block, bool atBeginning,
                                       bool skipErased)
    : m_block(const_cast<OdDbBlockTableRecord*>(&block)), m_entities(block.m_entities),
      m_size(block.m_entities.size()), m_isInDatabase(block.database() != nullptr)
{
    start(atBeginning, skipErased);
}

void OdDbObjectIterator::start(bool atBeginning, bool skipErased)
{
    m_at = atBeginning ? 0 : static_cast<std::int64_t>(m_size) - 1;
    settle(atBeginning ? 1 : -1, skipErased);
}

void OdDbObjectIterator::settle(std::int64_t direction, bool skipErased)
{
    while (skipErased && !done() && objectId().isErased()) {
        m_at += direction;
    }
}

void OdDbObjectIterator::step(bool forward, bool skipErased)
{
    if (done()) {
        return;
    }
    const std::int64_t direction = forward ? 1 : -1;
    m_at += direction;
    settle(direction, skipErased);
}

OdDbObjectId OdDbObjectIterator::objectId() const
{
    return done() ? OdDbObjectId::kNull : std::as_const(m_entities)[static_cast<unsigned>(m_at)];
}

OdDbEntityPtr OdDbObjectIterator::entity(OdDb::OpenMode mode, bool openErased) const
{
    return OdDbEntity::cast(objectId().openObject(mode, openErased).get());
}

#include "db/od_db_dictionary.h"

#include "db/od_db_block_table.h"
#include "db/od_db_clone_impl.h"
#include "db/od_db_entity.h"
#include "db/od_db_filer.h"
#include "root/od_error.h"

#include <algorithm>
#include <set>
#include <string_view>

RX_DEFINE_CLASS(OdDbDictionary, OdDbObject, odrxCreate<OdDbDictionary>, L"OdDbDictionary",
                OdDb::kDwgVersionCurrent, 0, 0, L"DICTIONARY", L"Object database");
RX_DEFINE_CLASS(OdDbDictionaryIterator, OdRxObject, odrxCreateNothing, L"OdDbDictionaryIterator");

namespace {

/// Names that the dictionary makes for entries without one.
constexpr wchar_t kHiddenPrefix[] = L"*A";

bool isAllowedName(OdString const& name)
{
    const int length = static_cast<int>(name.getLength());
    for (int index = 0; index < length; ++index) {
        const auto character = static_cast<std::uint32_t>(name.getAt(index));
        if (character < 0x20 || character == 0x7F) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool odDbIsHiddenName(OdString const& name)
{
    const std::wstring_view text = name.wide();
    const std::size_t prefix = std::wstring_view(kHiddenPrefix).size();
    return text.size() > prefix &&
           odIcmp(name.left(static_cast<int>(prefix)), kHiddenPrefix) == 0 &&
           std::all_of(text.begin() + static_cast<std::ptrdiff_t>(prefix), text.end(),
                       [](wchar_t c) { return c >= L'0' && c <= L'9'; });
}

OdDbDictionary::OdDbDictionary() : m_index(*this, &OdDbDictionary::desc) {}
OdDbDictionary::~OdDbDictionary() = default;

OdDbDictionaryPtr OdDbDictionary::createObject()
{
    return odrxMake<OdDbDictionary>();
}

OdDb::ReferenceType OdDbDictionary::ownership() const noexcept
{
    return m_isHardOwner ? OdDb::ReferenceType::kHardOwnershipRef
                         : OdDb::ReferenceType::kSoftOwnershipRef;
}

OdDbObjectId OdDbDictionary::getAt(OdString const& name, OdResult* result) const
{
    assertReadEnabled();
    OdDbObjectId id = m_index.find(name);
    if (id.isErased()) {
        id = OdDbObjectId::kNull;
    }
    if (result != nullptr) {
        *result = id.isNull() ? kOdKeyNotFound : kOdOk;
    }
    return id;
}

OdDbObjectPtr OdDbDictionary::getAt(OdString const& name, OdDb::OpenMode mode) const
{
    return getAt(name).openObject(mode);
}

OdString OdDbDictionary::hiddenName()
{
    OdString name;
    m_nextHidden = std::max(m_nextHidden, numEntries() + 1);
    while (name.isEmpty() || !m_index.find(name).isNull()) {
        name.format(L"%ls%u", kHiddenPrefix, m_nextHidden++);
    }
    return name;
}

void OdDbDictionary::copyFrom(OdRxObject const* source)
{
    if (database() != nullptr) {
        throw OdError(kOdNotApplicable);
    }
    OdDbObject::copyFrom(source);
}

void OdDbDictionary::eraseIfOwned(OdDbObjectId id)
{
    const OdDbObjectPtr object = id.openObject(OdDb::kForWrite);
    if (!object.isNull() && object->ownerId() == objectId()) {
        (void)object->erase(true);  // an object that refuses stays without a name
    }
}

void OdDbDictionary::requireNoRing(OdDbObjectId id) const
{
    std::set<OdDbObjectId> seen;  // owners that were read from a file may form a ring themselves
    OdDbObjectId at = objectId();
    while (!at.isNull() && seen.insert(at).second) {
        if (at == id) {
            throw OdError(kOdCyclicReference);
        }
        const OdDbObjectPtr object = at.openObject(OdDb::kForRead, /*openErased=*/true);
        at = object.isNull() ? OdDbObjectId::kNull : object->ownerId();
    }
}

/// Makes this dictionary the owner of an object of the database; what owned it so far lets go of it.
void OdDbDictionary::adopt(OdDbObject& object)
{
    const OdDbObjectId id = object.objectId();
    if (object.isErased()) {
        throw OdError(kOdWasErased);
    }
    if (object.ownerId() != objectId()) {
        requireNoRing(id);
        const OdDbObjectPtr owner =
            object.ownerId().openObject(OdDb::kForRead, /*openErased=*/true);
        const bool isDictionary = !owner.isNull() && owner->isKindOf(OdDbDictionary::desc());
        if (!owner.isNull() && (owner->isKindOf(OdDbSymbolTable::desc()) ||
                                (owner->isKindOf(OdDbBlockTableRecord::desc()) &&
                                 object.isKindOf(OdDbEntity::desc())))) {
            throw OdError(kOdAlreadyInDatabase);
        }
        object.setOwnerId(objectId());
        if (isDictionary) {
            owner->upgradeOpen();
            OdDbNameIndex& index = static_cast<OdDbDictionary&>(*owner).m_index;
            index.removeId(id);
        }
    }
    m_index.removeId(id);
}

/// Makes room for an object under a key. A reactor may enter another one when it is told that the
/// present one is erased; that one goes the same way, and whatever comes then loses its name only.
void OdDbDictionary::pushOut(OdString const& key, OdDbObjectId id)
{
    OdDbObjectId erased;
    for (int round = 0; round < 2; ++round) {
        const OdDbObjectId present = m_index.find(key);
        if (present.isNull() || present == id || present == erased) {
            break;
        }
        eraseIfOwned(present);  // takes the entry out, and keeps its name for an undo
        erased = present;
    }
    m_index.remove(key);
}

OdDbObjectId OdDbDictionary::setAt(OdString const& name, OdDbObject* object)
{
    return enter(name, object, /*replaces=*/true);
}

OdDbObjectId OdDbDictionary::getOrSetAt(OdString const& name, OdDbObject* object)
{
    const OdDbObjectId present = getAt(name);
    return present.isNull() ? enter(name, object, /*replaces=*/false) : present;
}

OdDbObjectId OdDbDictionary::enter(OdString const& name, OdDbObject* object, bool replaces)
{
    if (object == nullptr) {
        throw OdError(kOdNullObjectPointer);
    }
    OdDbDatabase* db = database();
    if (db == nullptr) {
        throw OdError(kOdNotInDatabase);
    }
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/false);
    if (!isAllowedName(name)) {
        throw OdError(kOdInvalidKey);
    }
    if (object->database() != nullptr && object->database() != db) {
        throw OdError(kOdWrongDatabase);
    }
    const OdString key = name.isEmpty() ? hiddenName() : name;
    if (const OdDbObjectId present = m_index.find(key);
        !present.isNull() && present == object->objectId()) {
        return present;
    }
    const OdDbDatabasePtr keptAlive(db);  // a reactor may hold the last pointer
    // Whoever is told of the change may change entries himself; they are looked up behind it.
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    if (const OdDbObjectId made = getAt(key); !replaces && !made.isNull()) {
        return made;
    }
    OdDbObjectId id = object->objectId();
    const bool isNew = id.isNull();
    if (isNew) {
        id = db->addOdDbObject(object, objectId());
    } else {
        adopt(*object);
    }
    pushOut(key, id);
    if (object->isErased()) {
        // A reactor was told that another object is erased, and has erased this one or gone back to
        // an undo mark: the name is that of any erased object.
        m_index.setErasedName(id, key);
    } else if (isNew) {
        m_index.insertNew(key, id);
    } else {
        m_index.insert(key, id);
    }
    return id;
}

OdDbObjectId OdDbDictionary::remove(OdString const& name)
{
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/false);
    const OdDbObjectId id = m_index.find(name);
    if (id.isNull()) {
        return id;
    }
    const OdDbDatabasePtr keptAlive(database());  // a reactor may hold the last pointer
    eraseIfOwned(id);  // takes the entry out, and keeps its name for an undo
    if (m_index.find(name) == id) {
        m_index.remove(name);  // what a reactor has entered instead stays
    }
    return id;
}

bool OdDbDictionary::canBeRenamed(OdString const& oldName, OdString const& newName) const
{
    const OdDbObjectId id = m_index.find(oldName);
    if (id.isNull() || newName.isEmpty() || !isAllowedName(newName)) {
        return false;
    }
    const OdDbObjectId taken = m_index.find(newName);
    return taken.isNull() || taken == id;
}

bool OdDbDictionary::setName(OdString const& oldName, OdString const& newName)
{
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/false);
    if (!canBeRenamed(oldName, newName)) {
        return false;
    }
    // Whoever is told of the change may change entries himself.
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    if (!canBeRenamed(oldName, newName)) {
        return false;
    }
    const OdDbObjectId id = m_index.remove(oldName);
    m_index.insert(newName, id);
    return true;
}

bool OdDbDictionary::has(OdString const& name) const
{
    return !getAt(name).isNull();
}

bool OdDbDictionary::has(OdDbObjectId const& id) const
{
    assertReadEnabled();
    return m_index.nameOf(id) != nullptr && !id.isErased();
}

OdString OdDbDictionary::nameAt(OdDbObjectId const& id) const
{
    assertReadEnabled();
    OdString const* name = m_index.nameOf(id);
    return name != nullptr ? *name : OdString();
}

std::uint32_t OdDbDictionary::numEntries() const noexcept
{
    return static_cast<std::uint32_t>(m_index.entries().size());
}

OdDbDictionaryIteratorPtr OdDbDictionary::newIterator() const
{
    assertReadEnabled();
    return odrxMake<OdDbDictionaryIterator>(*this);
}

void OdDbDictionary::setHardOwner(bool hard)
{
    assertWriteEnabled();
    m_isHardOwner = hard;
}

void OdDbDictionary::ownedObjectErased(OdDbObjectId id, bool erasing)
{
    m_index.setErased(id, erasing);
}

void OdDbDictionary::ownedObjectLeft(OdDbObjectId id)
{
    m_index.removeId(id);
}

void OdDbDictionary::requireReferencesIn(OdDbDatabase const& database) const
{
    OdDbObject::requireReferencesIn(database);
    m_index.requireEmptyFor(database);
}

void OdDbDictionary::takeClone(OdDbIdPair const& pair, OdDbObject& clone, OdDbIdMapping& mapping)
{
    // Names are looked up behind the notice of the change.
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    const OdDbObjectPtr source = pair.key().openObject(OdDb::kForRead, /*openErased=*/true);
    OdString name = source.isNull() ? OdString() : odDbNameInOwner(*source);
    const auto isTaken = [this](OdString const& tried) { return !m_index.find(tried).isNull(); };
    if (name.isEmpty() || odDbIsHiddenName(name)) {
        name = hiddenName();
    } else if (isTaken(name)) {
        name = odDbMangledName(odDbManglingPrefix(mapping), name, isTaken);
    }
    m_index.insertNew(name, clone.objectId());
}

OdResult OdDbDictionary::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbObject::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_isHardOwner = filer->rdBool();
    m_index.fileIn(*filer, ownership());
    return kOdOk;
}

void OdDbDictionary::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbObject::dwgOutFields(filer);
    filer->wrBool(m_isHardOwner);
    m_index.fileOut(*filer, ownership());
}

void OdDbDictionary::applyPartialUndo(OdDbDwgFiler* filer, OdRxClass* cls)
{
    if (cls != OdDbDictionary::desc()) {
        OdDbObject::applyPartialUndo(filer, cls);
        return;
    }
    m_index.applyUndo(*filer);
}

OdDbDictionaryIterator::OdDbDictionaryIterator(OdDbDictionary const& dictionary)
    : m_dictionary(const_cast<OdDbDictionary*>(&dictionary)),
      m_isInDatabase(dictionary.database() != nullptr)
{
    settle(dictionary.m_index.entries().begin());
}

void OdDbDictionaryIterator::settle(OdDbNameIndex::Entries::const_iterator at)
{
    auto const& entries = m_dictionary->m_index.entries();
    while (at != entries.end() && at->second.isErased()) {
        ++at;
    }
    m_id = at != entries.end() ? at->second : OdDbObjectId::kNull;
    m_name = at != entries.end() ? at->first : OdString();
}

bool OdDbDictionaryIterator::done() const
{
    return objectId().isNull();
}

bool OdDbDictionaryIterator::next()
{
    if (!done()) {
        settle(m_dictionary->m_index.entries().upper_bound(m_name));
    }
    return !done();
}

OdString OdDbDictionaryIterator::name() const
{
    return done() ? OdString() : m_name;
}

OdDbObjectId OdDbDictionaryIterator::objectId() const
{
    // Ids of a database that is gone name nothing.
    return m_isInDatabase && m_dictionary->database() == nullptr ? OdDbObjectId::kNull : m_id;
}

OdDbObjectPtr OdDbDictionaryIterator::getObject(OdDb::OpenMode mode) const
{
    return objectId().openObject(mode);
}

#include "zem_database_utils.h"

#include "db/od_db_block_table.h"
#include "db/od_db_database.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_entity.h"
#include "db/od_db_id_mapping.h"
#include "root/od_error.h"

#include "zem_open_guard_impl.h"

#include <algorithm>
#include <optional>
#include <vector>

const OdString kZemDatabaseKey(L"ZEM_DATABASE");

namespace zemu {
namespace {

/// A dictionary that must be there. \throws OdError_NotThatKindOfClass for anything else in its place.
OdDbDictionaryPtr openDictionary(OdDbObjectId id)
{
    return id.safeOpenObject(OdDb::kForRead);
}

/// The entry of a sub-dictionary; null if there is no such sub-dictionary or entry.
OdDbObjectId findInSubDictionary(OdDbDictionary const& parent, OdString const& dictionaryKey,
                                 OdString const& key)
{
    const OdDbObjectId id = parent.getAt(dictionaryKey);
    return id.isNull() ? id : openDictionary(id)->getAt(key);
}

/// A new object, in no database.
OdDbObjectPtr makeObject(OdRxClass const& objectClass)
{
    OdDbObjectPtr object = objectClass.create();
    if (object.isNull()) {
        throw OdError(kOdNullObjectPointer);
    }
    return object;
}

/// Enters a new object into a sub-dictionary, which is made if there is none.
OdDbObjectId enterInSubDictionary(OdDbDictionaryPtr const& parent, OdString const& dictionaryKey,
                                  OdString const& key, OdDbObjectPtr const& object)
{
    OdDbObjectId id = parent->getAt(dictionaryKey);
    bool isNew = false;
    std::optional<ZemUpgradeOpen> parentRaised;
    if (id.isNull()) {
        const OdDbObjectPtr made = makeObject(*OdDbDictionary::desc());
        parentRaised.emplace(parent);
        id = parent->getOrSetAt(dictionaryKey, made.get());
        isNew = id == made->objectId();
    }
    try {
        const OdDbDictionaryPtr dictionary = openDictionary(id);
        const ZemUpgradeOpen raised(dictionary);
        return dictionary->setAt(key, object.get());
    } catch (...) {
        if (isNew) {
            (void)parent->remove(dictionaryKey);
        }
        throw;
    }
}

/// The extension dictionary of an object that is open; null if it has none.
OdDbDictionaryPtr openExtensionDictionary(OdDbObject const& object)
{
    const OdDbObjectId id = object.extensionDictionary();
    return id.isNull() ? OdDbDictionaryPtr() : openDictionary(id);
}

/// Erases the extension dictionary if nothing is in it.
void releaseEmptyExtensionDictionary(OdDbObjectPtr const& owner)
{
    const OdDbDictionaryPtr dictionary = openExtensionDictionary(*owner);
    if (!dictionary.isNull() && dictionary->numEntries() == 0) {
        const ZemUpgradeOpen raised(owner);
        (void)owner->releaseExtensionDictionary();  // one that refuses stays, and does no harm
    }
}

/// The dictionary in which `createDict` and its neighbours look; null if there is none.
OdDbDictionaryPtr openDictParent(OdDbDatabase* database, OdDbObjectPtr const& owner,
                                 OdDbObjectId ownerId)
{
    if (!ownerId.isNull()) {
        return owner.isNull() ? OdDbDictionaryPtr() : openExtensionDictionary(*owner);
    }
    return database == nullptr ? OdDbDictionaryPtr()
                               : openDictionary(database->getNamedObjectsDictionaryId());
}

bool isDictionary(OdDbObjectId id)
{
    const OdDbObjectPtr object = id.openObject(OdDb::kForRead);
    return !object.isNull() && object->isKindOf(OdDbDictionary::desc());
}

void eraseOwnedEntries(OdDbDictionary const& dictionary)
{
    std::vector<OdDbObjectId> ids;
    for (const auto at = dictionary.newIterator(); !at->done(); at->next()) {
        ids.push_back(at->objectId());
    }
    for (OdDbObjectId id : ids) {
        const OdDbObjectPtr entry = id.openObject(OdDb::kForWrite);
        if (!entry.isNull() && entry->ownerId() == dictionary.objectId()) {
            (void)entry->erase(true);  // one that refuses goes with the dictionary all the same
        }
    }
}

template <class T>
int compareValues(T const& left, T const& right)
{
    return left < right ? -1 : (right < left ? 1 : 0);
}

}  // namespace

int compareObjectId(OdDbObjectId const& left, OdDbObjectId const& right)
{
    const int byHandle = compareValues(left.getHandle().value(), right.getHandle().value());
    if (byHandle != 0 || left.database() == right.database()) {
        return byHandle;
    }
    return compareValues(left, right);
}

int compareObjectIdArray(OdDbObjectIdArray const& left, OdDbObjectIdArray const& right)
{
    const int bySize = compareValues(left.size(), right.size());
    if (bySize != 0) {
        return bySize;
    }
    const auto [inLeft, inRight] = std::mismatch(
        left.begin(), left.end(), right.begin(),
        [](OdDbObjectId const& a, OdDbObjectId const& b) { return compareObjectId(a, b) == 0; });
    return inLeft == left.end() ? 0 : compareObjectId(*inLeft, *inRight);
}

int compareSubentId(OdDbSubentId const& left, OdDbSubentId const& right)
{
    const int byType = compareValues(left.type(), right.type());
    return byType != 0 ? byType : compareValues(left.index(), right.index());
}

int compareFullSubentPath(OdDbFullSubentPath const& left, OdDbFullSubentPath const& right)
{
    const int byIds = compareObjectIdArray(left.objectIds(), right.objectIds());
    return byIds != 0 ? byIds : compareSubentId(left.subentId(), right.subentId());
}

OdDbObjectId getRootObjectByName(OdDbDatabase* database, OdString const& key,
                                 OdRxClass const* objectClass)
{
    if (database == nullptr) {
        return OdDbObjectId::kNull;
    }
    const OdDbDictionaryPtr root = openDictionary(database->getNamedObjectsDictionaryId());
    const OdDbObjectId found = findInSubDictionary(*root, kZemDatabaseKey, key);
    if (!found.isNull() || objectClass == nullptr) {
        return found;
    }
    return enterInSubDictionary(root, kZemDatabaseKey, key, makeObject(*objectClass));
}

OdDbObjectId getObjInExtDict(OdDbObjectId const& owner, OdString const& key,
                             OdRxClass const* objectClass, OdString const* dictionaryKey)
{
    const OdDbObjectPtr object = owner.openObject(OdDb::kForRead);
    if (object.isNull()) {
        return OdDbObjectId::kNull;
    }
    OdString const& subKey = dictionaryKey != nullptr ? *dictionaryKey : kZemDatabaseKey;
    OdDbDictionaryPtr dictionary = openExtensionDictionary(*object);
    const OdDbObjectId found =
        dictionary.isNull() ? OdDbObjectId::kNull : findInSubDictionary(*dictionary, subKey, key);
    if (!found.isNull() || objectClass == nullptr) {
        return found;
    }
    const OdDbObjectPtr made = makeObject(*objectClass);
    if (dictionary.isNull()) {
        const ZemUpgradeOpen raised(object);
        object->createExtensionDictionary();
        dictionary = openExtensionDictionary(*object);
    }
    try {
        return enterInSubDictionary(dictionary, subKey, key, made);
    } catch (...) {
        dictionary.release();
        releaseEmptyExtensionDictionary(object);
        throw;
    }
}

OdDbObjectId createDict(OdDbDatabase* database, OdString const& name, OdDbObjectId owner)
{
    const OdDbObjectPtr object = owner.openObject(OdDb::kForRead);
    OdDbDictionaryPtr parent = openDictParent(database, object, owner);
    const OdDbObjectId present = parent.isNull() ? OdDbObjectId::kNull : parent->getAt(name);
    if (!present.isNull()) {
        return isDictionary(present) ? present : OdDbObjectId::kNull;
    }
    if (parent.isNull()) {
        if (object.isNull()) {
            return OdDbObjectId::kNull;
        }
        const ZemUpgradeOpen raised(object);
        object->createExtensionDictionary();
        parent = openExtensionDictionary(*object);
    }
    try {
        const ZemUpgradeOpen raised(parent);
        const OdDbObjectId made =
            parent->getOrSetAt(name, makeObject(*OdDbDictionary::desc()).get());
        return isDictionary(made) ? made : OdDbObjectId::kNull;
    } catch (OdError const& error) {
        if (error.code() != kOdInvalidKey) {
            throw;
        }
    }
    parent.release();
    if (!object.isNull()) {
        releaseEmptyExtensionDictionary(object);
    }
    return OdDbObjectId::kNull;
}

OdDbObjectId getDict(OdDbDatabase* database, OdString const& name, OdDbObjectId owner)
{
    const OdDbObjectPtr object = owner.openObject(OdDb::kForRead);
    const OdDbDictionaryPtr parent = openDictParent(database, object, owner);
    return parent.isNull() ? OdDbObjectId::kNull : parent->getAt(name);
}

void deleteDict(OdDbDatabase* database, OdString const& name, OdDbObjectId owner)
{
    const OdDbObjectPtr object = owner.openObject(OdDb::kForRead);
    OdDbDictionaryPtr parent = openDictParent(database, object, owner);
    const OdDbObjectId id = parent.isNull() ? OdDbObjectId::kNull : parent->getAt(name);
    if (!isDictionary(id)) {
        return;
    }
    eraseOwnedEntries(*openDictionary(id));
    {
        const ZemUpgradeOpen raised(parent);
        (void)parent->remove(name);
    }
    parent.release();
    if (!object.isNull()) {
        releaseEmptyExtensionDictionary(object);
    }
}

void delDatabaseDictsBeginWith(OdDbDatabase* database, OdString const& prefix)
{
    if (database == nullptr) {
        return;
    }
    const OdDbDictionaryPtr root = openDictionary(database->getNamedObjectsDictionaryId());
    std::vector<OdString> names;
    for (const auto at = root->newIterator(); !at->done(); at->next()) {
        if (startsWith(at->name(), prefix)) {
            names.push_back(at->name());
        }
    }
    if (names.empty()) {
        return;
    }
    const ZemUpgradeOpen raised(root);
    for (OdString const& name : names) {
        (void)root->remove(name);
    }
}

bool startsWith(OdString const& text, OdString const& prefix)
{
    return !prefix.isEmpty() && text.wide().starts_with(prefix.wide());
}

OdArray<OdString> tokenize(OdString text, OdString const& separators)
{
    OdArray<OdString> tokens;
    const std::wstring_view rest = text.wide();
    const std::wstring_view breaks = separators.wide();
    std::size_t start = rest.find_first_not_of(breaks);
    while (start < rest.size()) {
        const std::size_t end = std::min(rest.find_first_of(breaks, start), rest.size());
        tokens.append(OdString::fromWide(rest.substr(start, end - start)));
        start = rest.find_first_not_of(breaks, end);
    }
    return tokens;
}

OdDbObjectIdArray make_array(std::initializer_list<OdDbObjectId> ids)
{
    return OdDbObjectIdArray(ids);
}

OdArray<OdString> make_array(std::initializer_list<OdString> texts)
{
    return OdArray<OdString>(texts);
}

void clearRbSequence(OdResBufPtr& chain)
{
    while (!chain.isNull() && chain->numRefs() == 1) {
        OdResBufPtr next = chain->next();
        chain->setNext(nullptr);
        chain = std::move(next);
    }
    chain.release();
}

OdDbObjectId findClone(OdDbIdMapping& mapping, OdDbObjectId key)
{
    OdDbIdPair pair(key);
    return mapping.compute(pair) ? pair.value() : OdDbObjectId::kNull;
}

OdDbObjectId getOwnerId(OdDbObjectId const& entity)
{
    const OdDbObjectPtr object = entity.openObject(OdDb::kForRead);
    return !object.isNull() && object->isKindOf(OdDbEntity::desc()) ? object->ownerId()
                                                                    : OdDbObjectId::kNull;
}

OdDbObjectPtr getPtrFromIterator(OdSmartPtr<OdDbObjectIterator> const& iterator,
                                 OdDb::OpenMode mode)
{
    return iterator.isNull() ? OdDbObjectPtr() : iterator->objectId().openObject(mode);
}

OdDbObjectPtr getPtrFromIterator(OdSmartPtr<OdDbDictionaryIterator> const& iterator,
                                 OdDb::OpenMode mode)
{
    return iterator.isNull() ? OdDbObjectPtr() : iterator->getObject(mode);
}

OdDbObjectPtr getPtrFromIterator(OdSmartPtr<OdDbSymbolTableIterator> const& iterator,
                                 OdDb::OpenMode mode)
{
    return iterator.isNull() ? OdDbObjectPtr() : iterator->getRecordId().openObject(mode);
}

bool hasReactorOfKind(OdDbObject const* object, OdRxClass const* reactorClass)
{
    if (object == nullptr) {
        return false;
    }
    const OdDbObjectIdArray reactors = object->getPersistentReactors();
    return std::any_of(reactors.begin(), reactors.end(), [reactorClass](OdDbObjectId id) {
        const OdDbObjectPtr reactor = id.openObject(OdDb::kForRead);
        return !reactor.isNull() && reactor->isKindOf(reactorClass);
    });
}

void detachReactor(OdDbObjectIdArray const& objects, OdDbObjectId reactor, OdDbIdMapping* mapping)
{
    const OdDbObjectId clonedReactor =
        mapping != nullptr ? findClone(*mapping, reactor) : OdDbObjectId::kNull;
    for (OdDbObjectId id : objects) {
        const OdDbObjectId target = mapping != nullptr ? findClone(*mapping, id) : id;
        const OdDbObjectPtr object = target.openObject(OdDb::kForRead);
        if (object.isNull()) {
            continue;
        }
        // Only what lists the reactor is opened for write.
        for (OdDbObjectId listed : {reactor, clonedReactor}) {
            if (!listed.isNull() && object->hasPersistentReactor(listed)) {
                const ZemUpgradeOpen raised(object);
                object->removePersistentReactor(listed);
            }
        }
    }
}

bool (*GetFEATURECOLORS::s_impl)() = nullptr;

bool GetFEATURECOLORS::getValue()
{
    return s_impl != nullptr && s_impl();
}

void GetFEATURECOLORS::setImpl(bool (*impl)())
{
    s_impl = impl;
}

}  // namespace zemu

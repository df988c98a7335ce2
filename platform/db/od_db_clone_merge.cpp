// Named objects that are cloned to where their names may stand already.

#include "db/od_db_block_table.h"
#include "db/od_db_clone_impl.h"
#include "db/od_db_database_impl.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_simple_tables.h"
#include "db/od_db_xrecord.h"
#include "root/od_error.h"

#include <algorithm>
#include <array>
#include <unordered_set>

namespace {

/// Objects of every drawing, those of one for those of another.
constexpr std::array kRoots = {
    &OdDbHeader::regAppTable,     &OdDbHeader::linetypeTable,   &OdDbHeader::layerTable,
    &OdDbHeader::blockTable,      &OdDbHeader::namedObjects,    &OdDbHeader::modelSpace,
    &OdDbHeader::paperSpace,      &OdDbHeader::layerZero,       &OdDbHeader::linetypeContinuous,
    &OdDbHeader::linetypeByLayer, &OdDbHeader::linetypeByBlock,
};
/// The first of them own all that has a name.
constexpr std::size_t kContainers = 5;

/// Owners that were read from a file may form a ring.
constexpr int kDeepestDictionary = 100;

/// Between the parts of a mangled name.
constexpr wchar_t kMangle = L'$';

OdDb::DuplicateRecordCloning styleOf(OdDbObject const& source, OdDbIdMapping const& mapping)
{
    if (source.isKindOf(OdDbXrecord::desc())) {
        const auto own = static_cast<OdDbXrecord const&>(source).duplicateRecordCloning();
        if (own != OdDb::DuplicateRecordCloning::kDrcNotApplicable &&
            own != OdDb::DuplicateRecordCloning::kDrcIgnore) {
            return own;
        }
    }
    return source.isKindOf(OdDbRegAppTableRecord::desc()) ? OdDb::DuplicateRecordCloning::kDrcIgnore
                                                          : mapping.duplicateRecordCloning();
}

/// The first name of a number that is free, looked for one by one.
template <class WithNumber, class IsTaken>
OdString withFirstFree(WithNumber const& withNumber, IsTaken const& isTaken)
{
    std::uint32_t number = 0;
    while (isTaken(withNumber(number))) {
        ++number;
    }
    return withNumber(number);
}

bool isMangling(OdDb::DuplicateRecordCloning style)
{
    return style == OdDb::DuplicateRecordCloning::kDrcMangleName ||
           style == OdDb::DuplicateRecordCloning::kDrcXrefMangleName;
}

}  // namespace

OdString odDbNameInOwner(OdDbObject const& object)
{
    const OdDbObjectPtr owner = object.ownerId().openObject(OdDb::kForRead, /*openErased=*/true);
    if (owner.isNull() || !owner->isKindOf(OdDbDictionary::desc())) {
        return OdString();
    }
    return static_cast<OdDbDictionary const&>(*owner).nameAt(object.objectId());
}

OdString odDbManglingPrefix(OdDbIdMapping const& mapping)
{
    if (mapping.duplicateRecordCloning() != OdDb::DuplicateRecordCloning::kDrcXrefMangleName ||
        mapping.origDb() == nullptr) {
        return OdString();
    }
    // The drawing's name without folder and ending.
    const OdString path = mapping.origDb()->getFilename();
    const int length = static_cast<int>(path.getLength());
    int start = 0;
    int end = length;
    for (int index = 0; index < length; ++index) {
        if (path.getAt(index) == L'/' || path.getAt(index) == L'\\') {
            start = index + 1;
            end = length;
        } else if (path.getAt(index) == L'.') {
            end = index;
        }
    }
    return end > start ? path.mid(start, end - start) : path.mid(start);
}

OdString odDbMangledName(OdString const& prefix, OdString const& name,
                         std::function<bool(OdString const&)> const& isTaken)
{
    const auto withNumber = [&](std::uint32_t number) {
        OdString middle;
        middle.format(L"%lc%u%lc", static_cast<wint_t>(kMangle), number,
                      static_cast<wint_t>(kMangle));
        return prefix + middle + name;
    };
    // Names are mostly taken from the first number on without a gap: its end is found by steps that
    // double, and then by halves.
    constexpr std::uint32_t kLargestStep = std::uint32_t{1} << 30;
    std::uint32_t free = 0;
    std::uint32_t step = 1;
    while (isTaken(withNumber(free))) {
        if (step == kLargestStep) {
            return withFirstFree(withNumber,
                                 isTaken);  // so many names there are not: they have gaps
        }
        free += step;
        step *= 2;
    }
    std::uint32_t taken = free == 0 ? 0 : free - step / 2;  // the last one that was met
    while (free - taken > 1) {
        const std::uint32_t middle = taken + (free - taken) / 2;
        (isTaken(withNumber(middle)) ? taken : free) = middle;
    }
    return withNumber(free);
}

OdString odDbUnmangledName(OdString const& name)
{
    const int length = static_cast<int>(name.getLength());
    for (int first = 0; first < length; ++first) {
        if (name.getAt(first) != kMangle) {
            continue;
        }
        int at = first + 1;
        while (at < length && name.getAt(at) >= L'0' && name.getAt(at) <= L'9') {
            ++at;
        }
        if (at > first + 1 && at + 1 < length && name.getAt(at) == kMangle) {
            return name.mid(at + 1);
        }
    }
    return name;
}

// ---------------------------------------------------------------------------------------------
// Standard objects

void OdDbCloneOperation::mapRoots()
{
    OdDbHeader const& from = orig().impl().header;
    OdDbHeader const& to = dest().impl().header;
    if (&from == &to) {
        return;
    }
    for (auto root : kRoots) {
        if (!(from.*root).isNull() && m_mapping.find(from.*root) == nullptr) {
            m_mapping.assign(OdDbIdPair(from.*root, to.*root, /*isCloned=*/false));
        }
    }
}

bool OdDbCloneOperation::isRootOfDestination(OdDbObjectId id) const
{
    OdDbHeader const& header = dest().impl().header;
    return !id.isNull() &&
           std::any_of(kRoots.begin(), kRoots.end(), [&](auto root) { return header.*root == id; });
}

void OdDbCloneOperation::cloneIntoRoots()
{
    m_takesRoots = true;
    OdDbHeader const& from = orig().impl().header;
    for (std::size_t index = 0; index < kContainers; ++index) {
        const OdDbObjectPtr container = (from.*kRoots[index]).openObject(OdDb::kForRead);
        if (!container.isNull()) {
            (void)container->wblockClone(m_mapping, nullptr, /*isPrimary=*/false);
        }
    }
    cloneRest();
    m_takesRoots = false;
}

void OdDbCloneOperation::cloneUnowned()
{
    for (OdDbHandle at = orig().nextHandle(); !at.isNull(); at = orig().nextHandle(at)) {
        const OdDbObjectId id = orig().getOdDbObjectId(at);
        if (m_mapping.find(id) != nullptr) {
            continue;
        }
        const OdDbObjectPtr source = id.openObject(OdDb::kForRead);
        if (!source.isNull() && source->ownerId().isNull()) {
            (void)source->wblockClone(m_mapping, nullptr, /*isPrimary=*/false);
        }
    }
}

void OdDbCloneOperation::mapOwner(OdDbObjectId sourceOwner, OdDbObjectId owner)
{
    const auto isBlock = [](OdDbObjectId id) {
        OdRxClass const* cls = id.objectClass();
        return cls != nullptr && cls->isDerivedFrom(OdDbBlockTableRecord::desc());
    };
    if (sourceOwner == owner || !isBlock(sourceOwner) || !isBlock(owner)) {
        return;
    }
    OdDbIdPair const* known = m_mapping.find(sourceOwner);
    if (known == nullptr || (!known->isCloned() && isRootOfDestination(known->value()))) {
        m_mapping.assign(OdDbIdPair(sourceOwner, owner, /*isCloned=*/false));
        noteFilled(owner);
    }
}

// ---------------------------------------------------------------------------------------------
// Blocks that get clones

void OdDbCloneOperation::noteFilled(OdDbObjectId block)
{
    OdRxClass const* cls = block.objectClass();
    if (cls != nullptr && cls->isDerivedFrom(OdDbBlockTableRecord::desc()) &&
        std::find(m_filled.begin(), m_filled.end(), block) == m_filled.end()) {
        m_filled.push_back(block);
    }
}

/// Whether a clone that shows a block may come to lie inside that block.
bool OdDbCloneOperation::holdsFilled(OdDbObjectId block) const
{
    return std::any_of(m_filled.begin(), m_filled.end(), [&](OdDbObjectId filled) {
        const OdDbBlockTableRecordPtr record = OdDbBlockTableRecord::openBlock(filled);
        return !record.isNull() && record->isContainedIn(block);
    });
}

// ---------------------------------------------------------------------------------------------
// Meeting of names

OdDbCloneOperation::Meeting OdDbCloneOperation::meet(OdDbObject const& source, OdDbObject& owner,
                                                     OdDbObjectId& present)
{
    if (owner.isKindOf(OdDbSymbolTable::desc())) {
        return meetRecord(source, owner, present);
    }
    return owner.isKindOf(OdDbDictionary::desc()) ? meetEntry(source, owner, present)
                                                  : Meeting::kMake;
}

OdDbCloneOperation::Meeting OdDbCloneOperation::meetRecord(OdDbObject const& source,
                                                           OdDbObject& owner,
                                                           OdDbObjectId& present) const
{
    if (!source.isKindOf(OdDbSymbolTableRecord::desc())) {
        return Meeting::kMake;  // listing refuses it
    }
    if (source.isKindOf(OdDbBlockTableRecord::desc()) &&
        static_cast<OdDbBlockTableRecord const&>(source).isAnonymous()) {
        return Meeting::kMake;  // gets a name of its own
    }
    OdString name = static_cast<OdDbSymbolTableRecord const&>(source).getName();
    const OdDb::DuplicateRecordCloning style = styleOf(source, m_mapping);
    if (style == OdDb::DuplicateRecordCloning::kDrcUnmangleName) {
        name = odDbUnmangledName(name);
    }
    const OdDbSymbolTablePtr table(&owner);
    present = table->getAt(name);
    if (present.isNull()) {
        return Meeting::kMake;
    }
    if (isRootOfDestination(present) || present.objectClass() != source.isA()) {
        return Meeting::kUse;
    }
    if (isMangling(style)) {
        return Meeting::kMake;
    }
    if (present == source.objectId() || m_mapping.isValue(present)) {
        return Meeting::kUse;
    }
    const bool isReplaced = style == OdDb::DuplicateRecordCloning::kDrcReplace;
    const bool isFilled = std::find(m_filled.begin(), m_filled.end(), present) != m_filled.end();
    if (isFilled || (!isReplaced && holdsFilled(present))) {
        return Meeting::kMake;
    }
    return isReplaced ? Meeting::kReplace : Meeting::kUse;
}

OdDbCloneOperation::Meeting OdDbCloneOperation::meetEntry(OdDbObject const& source,
                                                          OdDbObject& owner, OdDbObjectId& present)
{
    const OdString name = odDbNameInOwner(source);
    const OdDbDictionaryPtr dictionary(&owner);
    present =
        name.isEmpty() || odDbIsHiddenName(name) ? OdDbObjectId::kNull : dictionary->getAt(name);
    if (present.isNull()) {
        return Meeting::kMake;
    }
    const bool isItself = present == source.objectId();
    OdRxClass const* cls = present.objectClass();
    if (!isItself && cls != nullptr && cls->isDerivedFrom(OdDbDictionary::desc()) &&
        source.isKindOf(OdDbDictionary::desc())) {
        return Meeting::kMerge;
    }
    const OdDb::DuplicateRecordCloning style = styleOf(source, m_mapping);
    if (isMangling(style)) {
        return Meeting::kMake;
    }
    if (style != OdDb::DuplicateRecordCloning::kDrcReplace || isItself ||
        m_mapping.isValue(present)) {
        return Meeting::kUse;
    }
    if (cls != nullptr && cls == source.isA()) {
        return Meeting::kReplace;
    }
    dictionary->upgradeOpen();
    ++m_emptied;
    dictionary->remove(name);
    dictionary->downgradeOpen();
    return Meeting::kMake;
}

/// The object whose content is to be replaced, without what it owns. What refuses to go stays, with
/// all that it owns itself.
OdDbObjectPtr OdDbCloneOperation::emptied(OdDbObjectId id)
{
    OdDbObjectPtr object = id.safeOpenObject(OdDb::kForWrite);
    object->assertWriteEnabled();
    ++m_emptied;
    eraseOwned(object);
    return object;
}

void OdDbCloneOperation::eraseOwned(OdDbObjectPtr const& object)
{
    // A drawing may hold owners that own one another.
    std::unordered_set<OdDbObjectId> seen{object->objectId()};
    std::vector<OdDbReference> references;
    std::vector<OdDbObjectPtr> left{object};
    while (!left.empty()) {
        const OdDbObjectPtr at = left.back();
        left.pop_back();
        references.clear();
        OdStaticRxObject<OdDbMemoryFiler> filer(OdDb::FilerType::kPurgeFiler, at->database());
        filer.collectReferences(&references);
        OdDbObjectAccess::fileOut(*at, filer);
        if (!(at == object) && at->erase(true) != kOdOk) {
            continue;
        }
        for (OdDbReference const& reference : references) {
            if (reference.type == OdDb::ReferenceType::kSoftPointerRef ||
                reference.type == OdDb::ReferenceType::kHardPointerRef) {
                continue;
            }
            OdDbObjectPtr owned = reference.id.openObject(OdDb::kForWrite);
            if (!owned.isNull() && owned->ownerId() == at->objectId() &&
                seen.insert(reference.id).second) {
                left.push_back(std::move(owned));
            }
        }
    }
}

void OdDbCloneOperation::merge(OdDbObject const& source, OdDbObjectId target)
{
    const OdDbObjectId key = source.objectId();
    if (!m_merged.insert(key).second) {
        return;  // dictionaries may list one another
    }
    m_mergedInOrder.push_back(key);
    m_mapping.assign(OdDbIdPair(key, target, /*isCloned=*/false));
    const OdDbObjectPtr into = target.safeOpenObject(OdDb::kForWrite);
    if (m_level > kDeepestLevel) {
        m_putOff.push_back({key, into, OdDb::FilerType::kWblockCloneFiler, /*isMerged=*/true});
        return;
    }
    mergeEntries(source, *into);
}

void OdDbCloneOperation::mergeEntries(OdDbObject const& source, OdDbObject& target)
{
    const LevelGuard level(m_level);
    std::vector<OdDbObjectId> entries;
    for (const auto at = static_cast<OdDbDictionary const&>(source).newIterator(); !at->done();
         at->next()) {
        entries.push_back(at->objectId());
    }
    for (OdDbObjectId id : entries) {
        enter(id, target);
    }
    cloneExtensionDictionary(source, target);
}

void OdDbCloneOperation::enter(OdDbObjectId id, OdDbObject& owner)
{
    const OdDbObjectPtr source = id.openObject(OdDb::kForRead);
    if (source.isNull() || source->database() != m_orig.get()) {
        return;
    }
    OdDbObject const* const before = std::exchange(m_entering, source.get());
    (void)source->subWblockClone(m_mapping, &owner, /*isPrimary=*/false);
    m_entering = before;
}

void OdDbCloneOperation::cloneExtensionDictionary(OdDbObject const& source, OdDbObject& target)
{
    const OdDbObjectId id = source.extensionDictionary();
    const OdDbObjectPtr dictionary = id.openObject(OdDb::kForRead);
    if (dictionary.isNull() || !dictionary->isKindOf(OdDbDictionary::desc())) {
        return;
    }
    const OdDbObjectId present = target.extensionDictionary();
    if (!present.isNull()) {
        merge(*dictionary, present);
        return;
    }
    const OdDbObjectPtr clone = dictionary->subWblockClone(m_mapping, &target, /*isPrimary=*/false);
    if (!clone.isNull()) {
        OdDbObjectAccess::setExtensionDictionary(target, clone->objectId());
    }
}

// ---------------------------------------------------------------------------------------------
// What hard pointers lead to

void OdDbCloneOperation::reach(OdDbObjectId id, int depth)
{
    if (m_mapping.find(id) != nullptr || m_mapping.isValue(id)) {
        return;
    }
    const OdDbObjectPtr source = id.openObject(OdDb::kForRead);
    if (source.isNull() || source->database() != m_orig.get()) {
        return;
    }
    const OdDbObjectId sourceOwner = source->ownerId();
    const OdDbObjectId ownerId = counterpartOf(sourceOwner, depth);
    if (m_mapping.find(id) != nullptr) {
        return;  // it came with its owner
    }
    const OdDbObjectPtr owner = ownerId.openObject(OdDb::kForWrite);
    const bool ofBlock = !sourceOwner.isNull() && sourceOwner.objectClass() != nullptr &&
                         sourceOwner.objectClass()->isDerivedFrom(OdDbBlockTableRecord::desc());
    if (owner.isNull() && ofBlock) {
        m_mapping.assign(OdDbIdPair(id, OdDbObjectId::kNull, /*isCloned=*/false));
        return;  // an entity of a block for which the destination has one of its own
    }
    OdDbObject const* const before = std::exchange(m_entering, source.get());
    (void)source->subWblockClone(m_mapping, owner.get(), /*isPrimary=*/false);
    m_entering = before;
}

/// What owns in the destination what `owner` owns in the source; null if nothing does.
OdDbObjectId OdDbCloneOperation::counterpartOf(OdDbObjectId owner, int depth)
{
    if (owner.isNull() || depth > kDeepestDictionary) {
        return OdDbObjectId::kNull;
    }
    if (OdDbIdPair const* pair = m_mapping.find(owner)) {
        return pair->value();
    }
    const OdDbObjectPtr object = owner.openObject(OdDb::kForRead);
    if (object.isNull() || object->database() != m_orig.get()) {
        return OdDbObjectId::kNull;
    }
    if (m_orig == m_dest) {
        return owner;
    }
    if (object->isKindOf(OdDbDictionary::desc())) {
        return counterpartOfDictionary(*object, depth);
    }
    if (!object->isKindOf(OdDbBlockTableRecord::desc())) {
        return OdDbObjectId::kNull;
    }
    reach(owner, depth + 1);  // the block comes whole
    OdDbIdPair const* pair = m_mapping.find(owner);
    return pair != nullptr && pair->isCloned() ? pair->value() : OdDbObjectId::kNull;
}

/// Dictionaries of the same place are one: found by name, or made.
OdDbObjectId OdDbCloneOperation::counterpartOfDictionary(OdDbObject const& dictionary, int depth)
{
    const OdDbObjectId outerId = counterpartOf(dictionary.ownerId(), depth + 1);
    const OdDbObjectPtr outer = outerId.openObject(OdDb::kForWrite);
    if (outer.isNull()) {
        return OdDbObjectId::kNull;
    }
    OdDbObjectId found;
    if (outer->isKindOf(OdDbDictionary::desc())) {
        const OdString name = odDbNameInOwner(dictionary);
        if (name.isEmpty()) {
            return OdDbObjectId::kNull;
        }
        OdDbDictionary& names = static_cast<OdDbDictionary&>(*outer);
        const bool isHidden = odDbIsHiddenName(name);
        found = isHidden ? OdDbObjectId::kNull : names.getAt(name);
        if (found.isNull()) {
            const OdDbDictionaryPtr made = OdDbDictionary::createObject();
            made->setHardOwner(static_cast<OdDbDictionary const&>(dictionary).isHardOwner());
            found = names.getOrSetAt(isHidden ? OdString() : name, made.get());
        }
        OdRxClass const* cls = found.objectClass();
        if (cls == nullptr || !cls->isDerivedFrom(OdDbDictionary::desc())) {
            return OdDbObjectId::kNull;  // the name means something else there
        }
    } else {
        const OdDbObjectPtr sourceOuter = dictionary.ownerId().openObject(OdDb::kForRead);
        if (sourceOuter.isNull() ||
            !(OdDbObjectAccess::extensionDictionary(*sourceOuter) == dictionary.objectId())) {
            return OdDbObjectId::kNull;
        }
        outer->createExtensionDictionary();
        found = outer->extensionDictionary();
    }
    m_mapping.assign(OdDbIdPair(dictionary.objectId(), found, /*isCloned=*/false));
    return found;
}

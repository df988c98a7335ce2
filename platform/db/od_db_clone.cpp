#include "db/od_db_block_table.h"
#include "db/od_db_clone_impl.h"
#include "db/od_db_database_impl.h"
#include "db/od_db_proxy_object.h"
#include "db/od_db_reference_filers.h"
#include "root/od_assert.h"
#include "root/od_error.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace {

/// Holds an object open for write, and gives back just that afterwards.
class WriteHold
{
public:
    explicit WriteHold(OdDbObject& object)
        : m_object(object.objectId().safeOpenObject(OdDb::kForWrite))
    {
    }
    WriteHold(WriteHold const&) = delete;
    WriteHold& operator=(WriteHold const&) = delete;
    ~WriteHold() { m_object->downgradeOpen(); }

    OdDbObject& operator*() const { return *m_object; }

private:
    OdDbObjectPtr m_object;
};

void reportFailure(char const* text)
{
    odReportAssert("clone operation is taken back", text, __FILE__, __LINE__);
}

/// Does a step that the rest of a failed operation must not depend on.
template <class Step>
void runReporting(Step const& step) noexcept
{
    try {
        step();
    } catch (std::exception const& error) {
        reportFailure(error.what());
    } catch (...) {
        reportFailure("unknown exception");
    }
}

OdDbDatabase& databaseOf(OdDbObject const& source)
{
    if (source.objectId().isNull()) {
        throw OdError(kOdNotInDatabase);
    }
    return *source.database();
}

/// The database that clones go to, by their owner.
OdDbDatabase& destinationOf(OdDbIdMapping const& mapping, OdDbObject const* owner,
                            OdDbDatabase& ofSource)
{
    if (owner == nullptr) {
        return mapping.destDb() != nullptr ? *mapping.destDb() : ofSource;
    }
    if (owner->database() == nullptr) {
        throw OdError(kOdNotInDatabase);
    }
    if (owner->isErased()) {
        throw OdError(kOdWasErased);
    }
    return *owner->database();
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// What objects offer

OdDbObjectPtr OdDbObject::deepClone(OdDbIdMapping& mapping, OdDbObject* owner, bool isPrimary) const
{
    OdDbDatabase& orig = databaseOf(*this);
    OdDbDatabase& dest = destinationOf(mapping, owner, orig);
    if (&orig != &dest) {
        throw OdError(kOdWrongDatabase);
    }
    return mapping.operation().run(orig, dest, /*isDeferred=*/false,
                                   [&] { return subDeepClone(mapping, owner, isPrimary); });
}

OdDbObjectPtr OdDbObject::wblockClone(OdDbIdMapping& mapping, OdDbObject* owner,
                                      bool isPrimary) const
{
    OdDbDatabase& orig = databaseOf(*this);
    OdDbDatabase& dest = destinationOf(mapping, owner, orig);
    OdDbCloneOperation& operation = mapping.operation();
    const bool isAlone = !operation.isUnderWay();
    return operation.run(orig, dest, /*isDeferred=*/false, [&] {
        if (isAlone) {
            operation.mapRoots();  // whoever has started an operation has done so
        }
        return subWblockClone(mapping, owner, isPrimary);
    });
}

OdDbObjectPtr OdDbObject::subDeepClone(OdDbIdMapping& mapping, OdDbObject* owner,
                                       bool isPrimary) const
{
    return mapping.operation().clone(OdDb::FilerType::kDeepCloneFiler, *this, owner, isPrimary);
}

OdDbObjectPtr OdDbObject::subWblockClone(OdDbIdMapping& mapping, OdDbObject* owner,
                                         bool isPrimary) const
{
    return mapping.operation().clone(OdDb::FilerType::kWblockCloneFiler, *this, owner, isPrimary);
}

void OdDbObject::appendToOwner(OdDbIdPair& pair, OdDbObject* owner, OdDbIdMapping& mapping)
{
    if (owner != nullptr) {
        owner->takeClone(pair, *this, mapping);
    }
}

void OdDbObject::takeClone(OdDbIdPair const& /*pair*/, OdDbObject& /*clone*/,
                           OdDbIdMapping& /*mapping*/)
{
}

void OdDbObject::cloneFinished(OdDbIdMapping& /*mapping*/) {}

// ---------------------------------------------------------------------------------------------
// The course of an operation

void OdDbCloneOperation::setDatabases(OdDbDatabase& orig, OdDbDatabase& dest)
{
    const bool isBusy = m_isUnderWay || !m_waiting.empty();
    if (isBusy && (m_orig != &orig || m_dest != &dest)) {
        throw OdError(kOdWrongDatabase);
    }
    m_orig = &orig;
    m_dest = &dest;
    m_mapping.setOrigDb(&orig);
    m_mapping.setDestDb(&dest);
}

void OdDbCloneOperation::begin()
{
    dest().startTransaction();
    m_before = mark();
    m_isUnderWay = true;
}

void OdDbCloneOperation::clearRest() noexcept
{
    m_putOff.clear();
    m_reached.clear();
    m_merged.clear();
    m_mergedInOrder.clear();
    m_filled.clear();
    m_shown.clear();
    m_untranslated.clear();
    m_spoilt = nullptr;
    m_emptied = 0;
    m_entering = nullptr;
    m_takesRoots = false;
    m_level = 0;
    m_mapping.m_replaced.clear();
}

void OdDbCloneOperation::finish(bool isDeferred)
{
    cloneRest();
    if (!isDeferred) {
        translateWaiting();
        requireNoCycles();
    }
    if (m_spoilt != nullptr) {
        std::rethrow_exception(m_spoilt);
    }
    dest().endTransaction();
    m_isUnderWay = false;
    clearRest();
    if (isDeferred) {
        return;
    }
    ++m_mapping.m_epoch;
    // The operation is over: whoever is told of it may start another one.
    const OdDbDatabasePtr orig = std::exchange(m_orig, OdDbDatabasePtr());
    const OdDbDatabasePtr dest = std::exchange(m_dest, OdDbDatabasePtr());
    const std::vector<Waiting> closing = std::exchange(m_waiting, {});
    const std::vector<Copied> copied = std::exchange(m_copied, {});
    for (Copied const& one : copied) {
        if (!one.clone->isErased()) {  // it was put off, and undone meanwhile
            OdDbObjectAccess::sendCopied(*one.source, *one.clone);
        }
    }
}

void OdDbCloneOperation::abandon() noexcept
{
    makeHarmless(m_before.waiting);
    runReporting([this] { dest().abortTransaction(); });
    // The transaction has no record of them if recording is stopped.
    eraseWaiting(m_before.waiting);
    bringBackUntranslated();
    m_mapping.rollBack(m_before.pairs);
    m_waiting.resize(m_before.waiting);
    m_copied.resize(m_before.copied);
    clearRest();
    m_isUnderWay = false;
    if (m_waiting.empty()) {
        m_orig.release();
        m_dest.release();
    }
}

OdDbCloneOperation::Mark OdDbCloneOperation::mark() const noexcept
{
    return {m_waiting.size(),       m_copied.size(),  m_putOff.size(), m_reached.size(),
            m_mergedInOrder.size(), m_mapping.mark(), m_entering,      m_emptied};
}

void OdDbCloneOperation::takeBack(Mark const& before) noexcept
{
    m_entering = before.entering;
    m_putOff.resize(std::min(before.putOff, m_putOff.size()));
    m_reached.resize(std::min(before.reached, m_reached.size()));
    for (; m_mergedInOrder.size() > before.merged; m_mergedInOrder.pop_back()) {
        m_merged.erase(m_mergedInOrder.back());
    }
    if (m_emptied != before.emptied && m_spoilt == nullptr) {
        m_spoilt = std::current_exception();
    }
    if (m_spoilt != nullptr) {
        return;  // all goes, in the end, and in its order
    }
    makeHarmless(before.waiting);
    eraseWaiting(before.waiting);
    m_mapping.rollBack(before.pairs);
    m_waiting.resize(before.waiting);
    m_copied.resize(before.copied);
}

/// Takes references that lead nowhere from clones that are to go: nobody was told of the clones, and
/// what they refer to may lie in another database.
void OdDbCloneOperation::makeHarmless(std::size_t firstWaiting) noexcept
{
    runReporting([&] {
        OdStaticRxObject<OdDbIdXlateFiler> filer(m_dest.get(), m_mapping);
        for (std::size_t index = firstWaiting; index < m_waiting.size(); ++index) {
            Waiting const& waiting = m_waiting[index];
            if (!waiting.isReplaced) {
                OdDbObjectAccess::setReactors(*waiting.clone, {});
            }
            runReporting([&] { translate(filer, m_scratch.bytes, waiting); });
        }
    });
}

void OdDbCloneOperation::eraseWaiting(std::size_t firstWaiting) noexcept
{
    for (std::size_t index = m_waiting.size(); index > firstWaiting; --index) {
        Waiting const& waiting = m_waiting[index - 1];
        if (!waiting.isReplaced && !waiting.clone->isErased()) {
            runReporting([&] {
                OdDbObjectAccess::setErased(*waiting.clone, true);
                OdDbObjectAccess::tellOwnerOfErase(*waiting.clone, true);
            });
        }
    }
}

void OdDbCloneOperation::finishLeftOver() noexcept
{
    if (m_isUnderWay || (m_waiting.empty() && m_putOff.empty() && m_reached.empty())) {
        return;
    }
    runReporting([this] {
        const OdDbDatabasePtr orig = m_orig;
        const OdDbDatabasePtr dest = m_dest;
        run(*orig, *dest, /*isDeferred=*/false, [] {});
    });
    if (m_waiting.empty()) {
        return;
    }
    makeHarmless(0);
    eraseWaiting(0);
    m_mapping.rollBack({});
    m_waiting.clear();
    m_copied.clear();
    m_orig.release();
    m_dest.release();
}

/// What is owned comes before what is pointed to, so that an object that is both is owned.
void OdDbCloneOperation::cloneRest()
{
    while (!m_putOff.empty() || !m_reached.empty()) {
        const std::vector<PutOff> putOff = std::exchange(m_putOff, {});
        for (PutOff const& one : putOff) {
            if (!one.isMerged) {
                cloneOne(one.type, one.source, *one.owner);
            } else if (const OdDbObjectPtr source = one.source.openObject(); !source.isNull()) {
                mergeEntries(*source, *one.owner);
            }
        }
        if (!putOff.empty()) {
            continue;
        }
        const std::vector<OdDbObjectId> reached = std::exchange(m_reached, {});
        for (OdDbObjectId id : reached) {
            reach(id);
        }
    }
}

/// Lets the clone that is translated a little later than one come from memory meanwhile: all clones of
/// a large operation are in no cache.
void OdDbCloneOperation::expectFrom(std::size_t index) const noexcept
{
    constexpr std::size_t kAhead = 6;
    constexpr std::size_t kLines = 5;  // the fields of most entities
    constexpr std::size_t kLineBytes = 64;
    if (index + kAhead < m_waiting.size()) {
        auto const* at = reinterpret_cast<char const*>(m_waiting[index + kAhead].clone.get());
        for (std::size_t line = 0; line < kLines; ++line) {
            __builtin_prefetch(at + line * kLineBytes);
        }
    }
}

/// Clones that wait for translation are translated by the next operation, which may fail. They are
/// kept by the operation itself: what they refer to may lie in another database, of which the undo of
/// this one must know nothing.
void OdDbCloneOperation::keepUntranslated(OdDbObjectPtr const& clone)
{
    if (clone->objectId().isNull()) {
        return;  // a proxy that its own class has replaced
    }
    Untranslated kept{clone, clone->ownerId(), {}};
    OdStaticRxObject<OdDbMemoryFiler> filer(OdDb::FilerType::kUndoFiler, m_dest.get());
    filer.writeTo(kept.bytes);
    OdDbObjectAccess::fileOut(*clone, filer);
    m_untranslated.push_back(std::move(kept));
}

void OdDbCloneOperation::bringBackUntranslated() noexcept
{
    for (Untranslated const& kept : m_untranslated) {
        runReporting([&] {
            OdStaticRxObject<OdDbMemoryFiler> filer(OdDb::FilerType::kUndoFiler, m_dest.get());
            filer.readFrom(kept.bytes);
            (void)OdDbObjectAccess::fileIn(*kept.clone, filer);
            OdDbObjectAccess::setOwner(*kept.clone, kept.owner);
        });
    }
}

void OdDbCloneOperation::translateWaiting()
{
    OdStaticRxObject<OdDbIdXlateFiler> filer(m_dest.get(), m_mapping);
    OdDbMemoryFiler::Bytes bytes;
    std::size_t finished = 0;
    for (std::size_t translated = 0; translated < m_waiting.size();) {
        for (; translated < m_waiting.size(); ++translated) {
            expectFrom(translated);
            if (translated < m_before.waiting) {
                keepUntranslated(m_waiting[translated].clone);
            }
            translate(filer, bytes, m_waiting[translated]);
        }
        for (; finished < translated; ++finished) {
            const OdDbObjectPtr clone = m_waiting[finished].clone;
            if (m_orig != m_dest) {
                // Not before: a table of applications that is a clone itself drops, when it is
                // translated, what it was given meanwhile.
                OdDbObjectAccess::registerApps(*clone, dest(), /*passesNameless=*/true);
            }
            clone->cloneFinished(m_mapping);
        }
        cloneRest();
    }
}

void OdDbCloneOperation::translate(OdDbIdXlateFiler& filer, OdDbMemoryFiler::Bytes& bytes,
                                   Waiting const& waiting)
{
    OdDbObject& clone = *waiting.clone;
    if (clone.objectId().isNull()) {
        return;  // a proxy that its own class has replaced
    }
    OdDbObjectId owner = clone.ownerId();
    if (owner.isNull() && !waiting.sourceOwner.isNull()) {
        // A clone of the owner lists it; what merely stands for the owner knows nothing of it.
        OdDbIdPair const* pair = m_mapping.find(waiting.sourceOwner);
        owner = pair != nullptr && pair->isCloned() ? pair->value() : OdDbObjectId::kNull;
    }
    bytes.clear();
    filer.writeTo(bytes);
    OdDbObjectAccess::fileOut(clone, filer);
    filer.rewindForReading();
    const OdResult result = OdDbObjectAccess::fileIn(clone, filer);
    OdDbObjectAccess::setOwner(clone, owner);
    if (result != kOdOk) {
        throw OdError(result);
    }
}

void OdDbCloneOperation::noteBlockReference(OdDbObjectId owner, OdDbObjectId block)
{
    // Clones of blocks that the operation has made show one another as their sources do.
    if (!owner.isNull() && !block.isNull() && !m_mapping.isValue(block)) {
        m_shown.insert({owner, block});
    }
}

/// Only now do the blocks list all references that the clones of this operation are.
void OdDbCloneOperation::requireNoCycles() const
{
    for (Shown const& shown : m_shown) {
        const OdDbBlockTableRecordPtr owner = OdDbBlockTableRecord::openBlock(shown.owner);
        if (!owner.isNull() && owner->isContainedIn(shown.block)) {
            throw OdError(kOdCyclicReference);
        }
    }
}

// ---------------------------------------------------------------------------------------------
// One object

OdDbObjectPtr OdDbCloneOperation::clone(OdDb::FilerType type, OdDbObject const& source,
                                        OdDbObject* owner, bool isPrimary)
{
    OdDbDatabase& orig = databaseOf(source);
    if (!m_isUnderWay) {
        setDatabases(orig, destinationOf(m_mapping, owner, orig));
    }
    if (m_orig != &orig || (owner != nullptr && owner->database() != m_dest.get())) {
        throw OdError(kOdWrongDatabase);
    }
    return guarded([&] { return cloneGuarded(type, source, owner, isPrimary); });
}

OdDbObjectPtr OdDbCloneOperation::cloneGuarded(OdDb::FilerType type, OdDbObject const& source,
                                               OdDbObject* owner, bool isPrimary)
{
    const OdDbObjectId key = source.objectId();
    OdDbIdPair const* known = m_mapping.find(key);
    if (source.isErased() ||
        (known != nullptr && known->isCloned() && !known->value().isErased())) {
        return OdDbObjectPtr();
    }
    if (owner != nullptr && owner->objectId().isNull()) {
        owner = nullptr;  // the database itself
    }
    const bool isEntered = m_entering == &source;
    if (isEntered) {
        m_entering = nullptr;
    }
    const bool isListed = owner != nullptr && (isPrimary || isEntered);
    OdDbObjectPtr replaced;
    if (m_takesRoots && known != nullptr && isRootOfDestination(known->value())) {
        replaced = known->value().safeOpenObject(OdDb::kForWrite);
        replaced->assertWriteEnabled();
        ++m_emptied;
    } else if (isListed && type == OdDb::FilerType::kWblockCloneFiler) {
        OdDbObjectId present;
        switch (meet(source, *owner, present)) {
        case Meeting::kMake:
            break;
        case Meeting::kUse:
            m_mapping.assign(OdDbIdPair(key, present, /*isCloned=*/false));
            return OdDbObjectPtr();
        case Meeting::kMerge:
            merge(source, present);
            return OdDbObjectPtr();
        case Meeting::kReplace:
            replaced = emptied(present);
            break;
        }
    }
    std::vector<OdDbObjectId> owned;
    const bool isNew = replaced.isNull();
    if (!isNew && replaced->isA() != source.isA()) {
        // Its reader would take the stream, in which ids lie as pointers, for something else.
        throw OdError_NotThatKindOfClass(replaced->isA(), source.isA());
    }
    OdDbObjectPtr result = copy(type, source, owner, isPrimary, std::move(replaced), owned);
    if (isListed && isNew) {
        list(*result, *owner, key, isPrimary);
        noteFilled(owner->objectId());
    }
    if (!isNew) {
        noteFilled(result->objectId());
    }
    if (!owned.empty()) {
        cloneOwned(type, owned, result);
    }
    return result;
}

OdDbObjectPtr OdDbCloneOperation::newInstance(OdDbObject const& source, OdDbObjectId owner)
{
    OdDbDatabaseImpl& made = dest().impl();
    OdDbIdRecord const& record = *source.objectId().record();
    if (record.has(OdDbIdRecord::kProxy)) {
        OdDbObjectPtr proxy = odrxMake<OdDbProxyObject>();
        const std::uint32_t cls = made.addClass(orig().classRecord(record.classIndex));
        made.addAs(*proxy, owner, OdDbHandle(), cls);
        proxy->objectId().record()->set(OdDbIdRecord::kProxy, true);
        return proxy;
    }
    OdRxClass const* cls = source.isA();
    const OdRxObjectPtr instance = cls != nullptr ? cls->create() : OdRxObjectPtr();
    if (instance.isNull()) {
        throw OdError(kOdClassNotRegistered);
    }
    OdDbObjectPtr object = OdDbObjectPtr::attach(OdDbObjectPtr::internalQueryX(instance.get()));
    if (object.isNull() || object->isA() != cls) {
        throw OdError(kOdClassNotRegistered);
    }
    made.add(*object, owner, OdDbHandle());
    return object;
}

OdDbObjectPtr OdDbCloneOperation::copy(OdDb::FilerType type, OdDbObject const& source,
                                       OdDbObject* owner, bool isPrimary, OdDbObjectPtr replaced,
                                       std::vector<OdDbObjectId>& owned)
{
    Scratch scratch = std::exchange(m_scratch, {});
    scratch.bytes.clear();
    scratch.references.clear();
    OdStaticRxObject<OdDbDeepCloneFiler> filer(type, source.database(), &m_mapping);
    filer.writeTo(scratch.bytes);
    filer.collectReferences(&scratch.references);
    source.dwgOutFields(&filer);

    const bool isReplaced = !replaced.isNull();
    const OdDbObjectId ownerId = isReplaced         ? replaced->ownerId()
                                 : owner != nullptr ? owner->objectId()
                                                    : OdDbObjectId::kNull;
    const bool hasOwner = isReplaced || owner != nullptr;
    OdDbObjectPtr result = isReplaced ? std::move(replaced) : newInstance(source, ownerId);
    OdDbObjectIdArray reactors = OdDbObjectAccess::reactors(*result);
    m_waiting.push_back({result, hasOwner ? OdDbObjectId::kNull : source.ownerId(), isReplaced});
    filer.rewindForReading();
    const OdResult read = OdDbObjectAccess::fileIn(*result, filer);
    OdDbObjectAccess::setOwner(*result, ownerId);
    if (read != kOdOk) {
        throw OdError(read);
    }
    if (!reactors.isEmpty()) {
        reactors.append(OdDbObjectAccess::reactors(*result));
        OdDbObjectAccess::setReactors(*result, reactors);
    }
    m_mapping.assign(OdDbIdPair(source.objectId(), result->objectId(), /*isCloned=*/true, isPrimary,
                                /*isOwnerTranslated=*/hasOwner));
    if (OdDbObjectAccess::hasReactors(source)) {
        m_copied.push_back({const_cast<OdDbObject*>(&source), result});
    }
    sortReferences(type, source, scratch.references, owned);
    m_scratch = std::move(scratch);
    return result;
}

void OdDbCloneOperation::sortReferences(OdDb::FilerType type, OdDbObject const& source,
                                        std::vector<OdDbReference> const& references,
                                        std::vector<OdDbObjectId>& owned)
{
    const OdDbObjectId dictionary = OdDbObjectAccess::extensionDictionary(source);
    bool hasDictionary = false;
    for (OdDbReference const& reference : references) {
        if (reference.id.isNull() || reference.type == OdDb::ReferenceType::kSoftPointerRef) {
            continue;
        }
        if (reference.type != OdDb::ReferenceType::kHardPointerRef) {
            if (reference.id == dictionary) {
                hasDictionary = true;
            } else {
                owned.push_back(reference.id);
            }
        } else if (type == OdDb::FilerType::kWblockCloneFiler &&
                   m_mapping.find(reference.id) == nullptr) {
            m_reached.push_back(reference.id);
        }
    }
    // What hangs on an object may ask the mapping what became of all else that it owns.
    if (hasDictionary) {
        owned.push_back(dictionary);
    }
}

void OdDbCloneOperation::list(OdDbObject& clone, OdDbObject& owner, OdDbObjectId key,
                              bool isPrimary)
{
    const WriteHold hold(owner);
    OdDbIdPair pair = *m_mapping.find(key);
    if (isPrimary) {
        clone.appendToOwner(pair, &*hold, m_mapping);
    } else {
        OdDbObjectAccess::takeClone(*hold, pair, clone, m_mapping);
    }
}

void OdDbCloneOperation::cloneOwned(OdDb::FilerType type, std::vector<OdDbObjectId> const& owned,
                                    OdDbObjectPtr const& clone)
{
    const LevelGuard level(m_level);
    for (OdDbObjectId id : owned) {
        if (m_mapping.isValue(id)) {
            continue;  // the operation has made it itself
        }
        if (m_level > kDeepestLevel) {
            m_putOff.push_back({id, clone, type});
        } else {
            cloneOne(type, id, *clone);
        }
    }
}

void OdDbCloneOperation::cloneOne(OdDb::FilerType type, OdDbObjectId id, OdDbObject& owner)
{
    const OdDbObjectPtr source = id.openObject(OdDb::kForRead);
    if (source.isNull() || source->database() != m_orig.get()) {
        return;
    }
    guarded([&] {
        if (type == OdDb::FilerType::kWblockCloneFiler) {
            (void)source->subWblockClone(m_mapping, &owner, /*isPrimary=*/false);
        } else {
            (void)source->subDeepClone(m_mapping, &owner, /*isPrimary=*/false);
        }
    });
}

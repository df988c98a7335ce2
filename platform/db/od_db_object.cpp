#include "db/od_db_object.h"

#include "db/od_db_block_table.h"
#include "db/od_db_database_impl.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_entity.h"
#include "db/od_db_reactor_list_impl.h"
#include "db/od_db_simple_tables.h"
#include "db/od_db_symbol_table.h"
#include "db/od_db_xdata_impl.h"
#include "db/od_db_xrecord.h"
#include "root/od_assert.h"
#include "root/od_error.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <limits>
#include <unordered_set>
#include <utility>

RX_DEFINE_CLASS(OdDbObject, OdGiDrawable, odrxCreate<OdDbObject>, L"OdDbObject",
                OdDb::kDwgVersionCurrent, 0, 0, L"OBJECT", L"Object database");

namespace {

std::atomic<std::int64_t> g_liveObjects{0};

/// Partial undo records of the base class.
enum BaseOpcode : std::uint8_t
{
    kReactorAdded = 0,
    kReactorRemoved = 1,
    kExtensionDictionary = 2,
    kXData = 3,
    kOwner = 4
};

struct XDataEntry
{
    OdString app;
    std::vector<std::uint8_t> bytes;
};

/// Sets a bit for as long as it lives, and then brings back what the bit was.
class BitGuard
{
public:
    BitGuard(std::uint16_t& state, std::uint16_t bit) noexcept
        : m_state(state), m_bit(bit), m_was(static_cast<std::uint16_t>(state & bit))
    {
        m_state = static_cast<std::uint16_t>(m_state | bit);
    }
    BitGuard(BitGuard const&) = delete;
    BitGuard& operator=(BitGuard const&) = delete;
    ~BitGuard() { m_state = static_cast<std::uint16_t>((m_state & ~m_bit) | m_was); }

private:
    std::uint16_t& m_state;
    std::uint16_t m_bit;
    std::uint16_t m_was;
};

void fileXData(OdDbDwgFiler& filer, std::vector<XDataEntry> const& entries)
{
    filer.wrInt32(static_cast<std::int32_t>(entries.size()));
    for (XDataEntry const& entry : entries) {
        filer.wrString(entry.app);
        filer.wrInt32(static_cast<std::int32_t>(entry.bytes.size()));
        filer.wrBytes(entry.bytes.data(), static_cast<std::uint32_t>(entry.bytes.size()));
    }
}

std::vector<std::uint8_t> readBytes(OdDbDwgFiler& filer)
{
    std::vector<std::uint8_t> bytes(odDbReadCount(filer, 1));
    filer.rdBytes(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    return bytes;
}

OdDbObjectIdArray readReactors(OdDbDwgFiler& filer)
{
    const std::int32_t count = filer.rdInt32();
    if (count < 0) {
        throw OdError(kOdBadStream);
    }
    OdDbObjectIdArray reactors;
    std::unordered_set<OdDbIdRecord const*> seen;  // each reactor is told once
    for (std::int32_t index = 0; index < count; ++index) {
        const std::uint64_t before = filer.bytesLeft();
        const OdDbObjectId id = filer.rdSoftPointerId();
        if (!id.isNull()) {
            if (seen.insert(id.record()).second) {
                reactors.append(id);
            }
        } else if (before != OdDbFiler::kUnlimited && filer.bytesLeft() == before) {
            break;  // ids cost this filer nothing and are all null; the count may be any number
        }
    }
    return reactors;
}

std::vector<XDataEntry> readXData(OdDbDwgFiler& filer)
{
    std::vector<XDataEntry> entries(odDbReadCount(filer, 2));
    for (XDataEntry& entry : entries) {
        entry.app = filer.rdString();
        entry.bytes = readBytes(filer);
        odDbUnpackXData(entry.bytes, OdResBuf::newRb(1001));  // refuses what nobody could read
    }
    // Looked up by halves: the order holds whatever a stream says.
    const auto isBefore = [](XDataEntry const& left, XDataEntry const& right) {
        return odIcmp(left.app, right.app) < 0;
    };
    if (!std::is_sorted(entries.begin(), entries.end(), isBefore)) {
        std::sort(entries.begin(), entries.end(), isBefore);
    }
    if (std::adjacent_find(entries.begin(), entries.end(),
                           [&](XDataEntry const& left, XDataEntry const& right) {
                               return !isBefore(left, right);
                           }) != entries.end()) {
        throw OdError(kOdBadStream);
    }
    return entries;
}

}  // namespace

/// What few objects have.
struct OdDbObject::Extras
{
    OdDbReactorList reactors;
    OdDbObjectId extensionDictionary;
    std::vector<XDataEntry> xData;  ///< in order of application names

    std::vector<XDataEntry>::iterator findXData(OdString const& app)
    {
        return std::lower_bound(xData.begin(), xData.end(), app,
                                [](XDataEntry const& entry, OdString const& name) {
                                    return odIcmp(entry.app, name) < 0;
                                });
    }
    /// The name under which an application's data is stored; the one asked for if it has none.
    OdString storedName(OdString const& app)
    {
        const auto at = findXData(app);
        return at != xData.end() && odIcmp(at->app, app) == 0 ? at->app : app;
    }
    /// Sets, or with no bytes removes, the data of one application; gives what was there.
    std::vector<std::uint8_t> exchangeXData(OdString const& app, std::vector<std::uint8_t> bytes)
    {
        const auto at = findXData(app);
        const bool isThere = at != xData.end() && odIcmp(at->app, app) == 0;
        if (!isThere) {
            if (!bytes.empty()) {
                xData.insert(at, {app, std::move(bytes)});
            }
            return {};
        }
        std::vector<std::uint8_t> before = std::exchange(at->bytes, std::move(bytes));
        if (at->bytes.empty()) {
            xData.erase(at);
        }
        return before;
    }
};

OdDbObject::OdDbObject()
{
    g_liveObjects.fetch_add(1, std::memory_order_relaxed);
}

OdDbObject::~OdDbObject()
{
    g_liveObjects.fetch_sub(1, std::memory_order_relaxed);
}

std::int64_t OdDbObject::liveCount() noexcept
{
    return g_liveObjects.load(std::memory_order_relaxed);
}

OdDbObject::Extras& OdDbObject::extras()
{
    if (m_extras == nullptr) {
        m_extras = std::make_unique<Extras>();
    }
    return *m_extras;
}

void OdDbObject::release()
{
    const std::uint32_t left = --m_refs;
    if (left == 0) {
        delete this;
        return;
    }
    if (left != 1 || m_record == nullptr) {
        return;
    }
    // The database holds the reference that is left: the open period is over.
    m_writeCount = 0;
    m_notifyCount = 0;
    if ((m_state & (kModified | kGraphicsModified)) != 0) {
        endWritePeriod();
    }
}

OdDbDatabase* OdDbObject::database() const noexcept
{
    return m_record != nullptr ? &OdDbDatabaseImpl::of(*m_record).database : nullptr;
}

bool OdDbObject::isErased() const noexcept
{
    return m_record != nullptr && m_record->has(OdDbIdRecord::kErased);
}

bool OdDbObject::isUndoing() const noexcept
{
    OdDbDatabase const* db = database();
    return db != nullptr && db->impl().undo.isPlaying();
}

bool OdDbObject::isNewObject() const noexcept
{
    return m_record != nullptr && m_record->has(OdDbIdRecord::kNew);
}

bool OdDbObject::isReadEnabled() const noexcept
{
    return m_record == nullptr || m_refs > 1 || m_roundCount != 0 || (m_state & kReading) != 0;
}

bool OdDbObject::isWriteEnabled() const noexcept
{
    return m_record == nullptr || m_writeCount != 0 || m_notifyCount != 0 ||
           (m_state & kReading) != 0;
}

void OdDbObject::assertReadEnabled() const
{
    if (!isReadEnabled()) {
        throw OdError(kOdNotOpenForRead);
    }
}

void OdDbObject::assertWriteEnabled(bool autoUndo, bool recordModified)
{
    if ((m_state & kReading) != 0) {
        return;
    }
    if (m_record == nullptr) {
        changingOutsideDatabase();
        return;
    }
    if (!isWriteEnabled()) {
        throw OdError(kOdNotOpenForWrite);
    }
    if (recordModified && (m_state & kModified) == 0) {
        m_state |= kModified;
        if (m_extras != nullptr && !m_extras->reactors.isEmpty()) {
            OdDbObjectAccess::sendOpenedForModify(*this);
            if (m_record == nullptr) {
                // A reactor held the last pointer to the database. The change must not go on: it may
                // be about to store ids of it.
                throw OdError(kOdNotInDatabase);
            }
        }
    }
    // Behind the notice: a reactor may have set an undo mark or gone back to one, or saved.
    if (autoUndo) {
        recordFullUndo();
    }
    OdDbDatabaseImpl::of(*m_record).ids.markChanged(*m_record);
}

void OdDbObject::changingOutsideDatabase() {}

void OdDbObject::assertNotifyEnabled() const
{
    if (!isReadEnabled() && !isNotifyEnabled()) {
        throw OdError(kOdNotOpen);
    }
}

void OdDbObject::upgradeOpen()
{
    if (m_record == nullptr) {
        return;
    }
    if (m_refs <= 1) {
        throw OdError(kOdNotOpen);
    }
    raiseWriteCount();
}

/// A count that can rise no further stays, so that the object is writable until it is closed.
void OdDbObject::raiseWriteCount() noexcept
{
    if (m_writeCount != std::numeric_limits<decltype(m_writeCount)>::max()) {
        ++m_writeCount;
    }
}

void OdDbObject::downgradeOpen()
{
    if (m_writeCount == 0 || m_writeCount == std::numeric_limits<decltype(m_writeCount)>::max()) {
        return;
    }
    --m_writeCount;
    if (m_writeCount == 0 && m_notifyCount == 0) {
        endWritePeriod();
    }
}

bool OdDbObject::recordsUndo() const noexcept
{
    return m_record != nullptr && (m_state & kUndoDisabled) == 0;
}

void OdDbObject::recordFullUndo()
{
    OdDbUndoLog& log = OdDbDatabaseImpl::of(*m_record).undo;
    if (!recordsUndo() || !log.isRecording() || m_undoMark == log.mark()) {
        return;
    }
    log.recordState(m_record);
    m_undoMark = log.mark();
}

OdDbDwgFiler* OdDbObject::undoFiler()
{
    if (m_record == nullptr) {
        return nullptr;
    }
    OdDbUndoLog& log = OdDbDatabaseImpl::of(*m_record).undo;
    // What is played back was recorded, and its inverse has to be, too.
    if (!recordsUndo() && !log.isPlaying()) {
        return nullptr;
    }
    if ((m_state & kReading) != 0 && !log.isPlaying()) {
        return nullptr;  // fields that are being loaded are no change
    }
    return log.beginPartial(*m_record);
}

void OdDbObject::disableUndoRecording(bool disable)
{
    m_state =
        static_cast<std::uint16_t>(disable ? m_state | kUndoDisabled : m_state & ~kUndoDisabled);
}

namespace {

/// Runs a part of a round. Notices go out from destructors, so nothing may escape; what is thrown is
/// reported, and the round goes on.
template <class Part>
void runReporting(Part const& part)
{
    try {
        part();
    } catch (std::exception const& error) {
        odReportAssert("notice without exception", error.what(), __FILE__, __LINE__);
    } catch (...) {
        odReportAssert("notice without exception", "unknown exception", __FILE__, __LINE__);
    }
}

}  // namespace

void OdDbObject::endWritePeriod()
{
    const std::uint16_t ended = m_state;
    m_state = static_cast<std::uint16_t>(m_state & ~(kModified | kGraphicsModified));
    if ((ended & kModified) == 0 || m_record == nullptr || m_extras == nullptr) {
        return;  // an object without extras has no reactors, and nothing follows from it
    }
    const OdDbDatabasePtr keptAlive(database());
    ++m_roundCount;
    runReporting([&] { changesEnded(); });
    if (!m_extras->reactors.isEmpty()) {
        sendPeriodNotices(ended);
    }
    runReporting([&] { changesTold(); });
    --m_roundCount;
}

void OdDbObject::changesEnded() {}
void OdDbObject::changesTold() {}

template <class Notice>
void OdDbObjectAccess::sendRound(OdDbObject& object, Notice const& notice, bool loadsReactors)
{
    if (object.m_extras == nullptr || object.m_extras->reactors.isEmpty()) {
        return;
    }
    sendTo(object.m_extras->reactors.ids(), object, notice, loadsReactors);
}

template <class Notice>
void OdDbObjectAccess::sendTo(OdDbObjectIdArray const& reactors, OdDbObject& object,
                              Notice const& notice, bool loadsReactors)
{
    const OdDbDatabasePtr keptAlive(
        object.database());  // a reactor may hold the last pointer to it
    ++object.m_roundCount;
    for (OdDbObjectId id : reactors) {
        if (!object.hasPersistentReactorUnchecked(id)) {
            continue;  // an earlier reactor of the round has taken it out
        }
        // Opening a proxy may load the object of its own class in its place.
        if (!loadsReactors && (!id.isResident() || id.redirected()->has(OdDbIdRecord::kProxy))) {
            continue;
        }
        runReporting([&] {
            const OdDbObjectPtr reactor = id.openObject(OdDb::kForNotify);
            if (reactor.isNull() || reactor->m_record->has(OdDbIdRecord::kProxy)) {
                return;
            }
            runReporting([&] { notice(*reactor, object); });
            endNotify(*reactor);
        });
    }
    --object.m_roundCount;
}

void OdDbObjectAccess::endNotify(OdDbObject& reactor)
{
    if (reactor.m_notifyCount == 0) {
        return;
    }
    --reactor.m_notifyCount;
    // Pointers of other openers may go on for read; what was changed under notify is told now. The
    // pointer of the round itself closes a reactor that nobody else holds.
    if (reactor.m_notifyCount == 0 && reactor.m_writeCount == 0 && reactor.m_refs > 2) {
        reactor.endWritePeriod();
    }
}

namespace {

/// Counts the rounds of notices that are under way one inside the other on this thread.
///
/// Objects that change whenever they are told of one another's changes would nest without end. At a
/// depth that no sensible reactors reach, notices stop until the outermost round is over: that is
/// reported and loses notices, where going on would end the process.
class RoundDepth
{
public:
    RoundDepth() { ++s_depth; }
    RoundDepth(RoundDepth const&) = delete;
    RoundDepth& operator=(RoundDepth const&) = delete;
    ~RoundDepth()
    {
        if (--s_depth == 0) {
            s_isRunaway = false;
        }
    }
    bool mayGoOn() const
    {
        if (s_depth > kDeepest && !s_isRunaway) {
            s_isRunaway = true;
            odReportAssert("notices come to an end", "objects react to one another without end",
                           __FILE__, __LINE__);
        }
        return !s_isRunaway;
    }

private:
    static constexpr int kDeepest = 1000;
    static thread_local int s_depth;
    static thread_local bool s_isRunaway;
};

thread_local int RoundDepth::s_depth = 0;
thread_local bool RoundDepth::s_isRunaway = false;

}  // namespace

void OdDbObjectAccess::sendOpenedForModify(OdDbObject& object)
{
    const RoundDepth depth;
    if (!depth.mayGoOn()) {
        return;
    }
    sendRound(object, [](OdDbObject& reactor, OdDbObject const& changing) {
        reactor.openedForModify(&changing);
    });
}

void OdDbObjectAccess::sendErased(OdDbObject& object, bool erasing)
{
    const RoundDepth depth;
    if (!depth.mayGoOn()) {
        return;
    }
    sendRound(object, [erasing](OdDbObject& reactor, OdDbObject const& changed) {
        reactor.erased(&changed, erasing);
    });
}

void OdDbObjectAccess::sendGoodbye(OdDbObject& object)
{
    // A drawing that is closed loads nothing for it.
    sendRound(
        object, [](OdDbObject& reactor, OdDbObject const& leaving) { reactor.goodbye(&leaving); },
        /*loadsReactors=*/false);
}

void OdDbObjectAccess::sendCopied(OdDbObject& source, OdDbObject const& clone)
{
    sendRound(source, [&clone](OdDbObject& reactor, OdDbObject const& copied) {
        reactor.copied(&copied, &clone);
    });
}

void OdDbObjectAccess::sendModified(OdDbObject& object)
{
    std::uint16_t state = OdDbObject::kModified;
    if (object.isKindOf(OdDbEntity::desc())) {
        state |= OdDbObject::kGraphicsModified;
    }
    object.sendPeriodNotices(state);
}

void OdDbObject::sendPeriodNotices(std::uint16_t state)
{
    const RoundDepth depth;
    if (!depth.mayGoOn()) {
        return;
    }
    if (!OdDbObjectAccess::hasReactors(*this)) {
        return;
    }
    const OdDbDatabasePtr keptAlive(database());
    // One copy for all three: who becomes a reactor now was none in the period that has ended.
    const OdDbObjectIdArray reactors = m_extras->reactors.ids();
    OdDbObjectAccess::sendTo(reactors, *this, [](OdDbObject& reactor, OdDbObject const& changed) {
        reactor.modified(&changed);
    });
    if ((state & kGraphicsModified) != 0) {
        OdDbObjectAccess::sendTo(reactors, *this,
                                 [](OdDbObject& reactor, OdDbObject const& changed) {
                                     reactor.modifiedGraphics(&changed);
                                 });
    }
    OdDbObjectAccess::sendTo(reactors, *this, [](OdDbObject& reactor, OdDbObject const& changed) {
        reactor.objectClosed(&changed);
    });
}

void OdDbObject::copied(OdDbObject const* /*object*/, OdDbObject const* /*newObject*/) {}
void OdDbObject::erased(OdDbObject const* /*object*/, bool /*erasing*/) {}
void OdDbObject::goodbye(OdDbObject const* /*object*/) {}
void OdDbObject::openedForModify(OdDbObject const* /*object*/) {}
void OdDbObject::modified(OdDbObject const* /*object*/) {}
void OdDbObject::modifiedGraphics(OdDbObject const* /*object*/) {}
void OdDbObject::objectClosed(OdDbObject const* /*object*/) {}

// ---------------------------------------------------------------------------------------------
// Base fields: owner, reactors, extended data, extension dictionary

OdDbDwgFiler* OdDbObject::beginBaseChange(std::uint8_t opcode, bool recordModified)
{
    assertWriteEnabled(/*autoUndo=*/false, recordModified);
    OdDbDwgFiler* filer = undoFiler();
    if (filer != nullptr) {
        filer->wrAddress(OdDbObject::desc());
        filer->wrUInt8(opcode);
    }
    return filer;
}

void OdDbObject::setOwnerId(OdDbObjectId owner)
{
    if (m_record != nullptr && !owner.isNull() && owner.database() != database()) {
        throw OdError(kOdWrongDatabase);
    }
    if (m_record != nullptr) {
        owner.convertToRedirectedId();  // the database that leads here may go first
    }
    if (OdDbDwgFiler* filer = beginBaseChange(kOwner, /*recordModified=*/true)) {
        filer->wrSoftPointerId(m_ownerId);
    }
    const OdDbObjectId before = std::exchange(m_ownerId, owner);
    // Playback brings names back by records of their own.
    if (m_record != nullptr && (m_state & kReading) == 0 && !(before == owner)) {
        tellOwnerOfLeaving(before);
    }
}

void OdDbObject::tellOwnerOfLeaving(OdDbObjectId before)
{
    OdRxClass const* cls = before.objectClass();
    const bool wasInBlock = cls != nullptr && cls->isDerivedFrom(OdDbBlockTableRecord::desc());
    const OdDbObjectPtr owner = wasInBlock ? before.openObject(OdDb::kForWrite, /*openErased=*/true)
                                           : openContainerOfNames(before);
    if (!owner.isNull()) {
        owner->ownedObjectLeft(objectId());
    }
}

OdDbObjectIdArray OdDbObject::getPersistentReactors() const
{
    assertReadEnabled();
    return m_extras != nullptr ? m_extras->reactors.ids() : OdDbObjectIdArray();
}

bool OdDbObject::hasPersistentReactor(OdDbObjectId id) const
{
    assertReadEnabled();
    return hasPersistentReactorUnchecked(id);
}

bool OdDbObject::hasPersistentReactorUnchecked(OdDbObjectId id) const
{
    return m_extras != nullptr && m_extras->reactors.contains(id);
}

void OdDbObject::addPersistentReactor(OdDbObjectId id)
{
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/false);
    if (id.isNull() || hasPersistentReactorUnchecked(id)) {
        return;
    }
    if (database() != nullptr && id.originalDatabase() != database()) {
        throw OdError(kOdWrongDatabase);  // it may go before this object does
    }
    if (OdDbDwgFiler* filer = beginBaseChange(kReactorAdded, /*recordModified=*/false)) {
        filer->wrSoftPointerId(id);
    }
    extras().reactors.append(id);
}

void OdDbObject::removePersistentReactor(OdDbObjectId id)
{
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/false);
    if (!hasPersistentReactorUnchecked(id)) {
        return;
    }
    const OdDbObjectId next = m_extras->reactors.remove(id);
    if (OdDbDwgFiler* filer = beginBaseChange(kReactorRemoved, /*recordModified=*/false)) {
        filer->wrSoftPointerId(id);
        filer->wrSoftPointerId(next);
    }
}

OdResBufPtr OdDbObject::xData(OdString const& appName) const
{
    assertReadEnabled();
    OdResBufPtr first;
    if (m_extras == nullptr) {
        return first;
    }
    OdResBufPtr last;
    for (XDataEntry const& entry : m_extras->xData) {
        if (!appName.isEmpty() && odIcmp(entry.app, appName) != 0) {
            continue;
        }
        OdResBufPtr head = OdResBuf::newRb(1001);
        head->setString(entry.app);
        odDbUnpackXData(entry.bytes, head);
        if (first.isNull()) {
            first = head;
        } else {
            last->setNext(head.get());
        }
        last = head->last();
    }
    return first;
}

void OdDbObject::setXData(OdResBuf const* chain)
{
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/false);
    if (chain == nullptr) {
        return;
    }
    if (chain->restype() != 1001) {
        throw OdError(kOdInvalidInput);
    }
    std::vector<XDataEntry> groups;
    OdDbDatabase const* db = database();
    for (OdResBuf const* at = chain; at != nullptr; at = at->next().get()) {
        if (at->restype() != 1001) {
            continue;
        }
        const OdString app = at->getString();
        if (db != nullptr && !db->isRegisteredApp(app)) {
            throw OdError(kOdUnregisteredApp, app + L": application isn't registered");
        }
        groups.push_back({app, odDbPackXData(at->next().get())});
    }
    for (XDataEntry& group : groups) {
        OdDbDwgFiler* filer = beginBaseChange(kXData, /*recordModified=*/true);
        const OdString app = extras().storedName(group.app);
        const std::vector<std::uint8_t> before =
            extras().exchangeXData(app, std::move(group.bytes));
        if (filer != nullptr) {
            filer->wrString(app);
            filer->wrInt32(static_cast<std::int32_t>(before.size()));
            filer->wrBytes(before.data(), static_cast<std::uint32_t>(before.size()));
        }
    }
}

OdDbObjectId OdDbObject::extensionDictionary() const
{
    assertReadEnabled();
    if (m_extras == nullptr || !odDbIsThere(m_extras->extensionDictionary)) {
        return OdDbObjectId::kNull;
    }
    return m_extras->extensionDictionary;
}

void OdDbObject::createExtensionDictionary()
{
    OdDbDatabase* db = database();
    if (db == nullptr) {
        throw OdError(kOdNotInDatabase);
    }
    const OdDbDatabasePtr keptAlive(db);  // a reactor may hold the last pointer
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/false);
    if (hasOrRevivesExtensionDictionary()) {
        return;
    }
    // Whoever is told of the change may make the dictionary himself.
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    if (hasOrRevivesExtensionDictionary()) {
        return;
    }
    OdDbDictionaryPtr dictionary = OdDbDictionary::createObject();
    const OdDbObjectId id = db->addOdDbObject(dictionary.get(), objectId());
    if (OdDbDwgFiler* filer = beginBaseChange(kExtensionDictionary, /*recordModified=*/true)) {
        filer->wrHardOwnershipId(OdDbObjectAccess::extensionDictionary(*this));
    }
    extras().extensionDictionary = id;
}

/// Whether there is an extension dictionary; brings back an erased one.
bool OdDbObject::hasOrRevivesExtensionDictionary()
{
    const OdDbObjectId present = OdDbObjectAccess::extensionDictionary(*this);
    if (present.isErased()) {
        (void)present.safeOpenObject(OdDb::kForWrite, /*openErased=*/true)->erase(false);
        return true;
    }
    return odDbIsThere(present);
}

bool OdDbObject::releaseExtensionDictionary()
{
    const OdDbObjectId id = extensionDictionary();
    if (id.isNull()) {
        return true;
    }
    const OdDbDictionaryPtr dictionary = OdDbDictionary::cast(id.openObject(OdDb::kForWrite).get());
    if (dictionary.isNull() || dictionary->numEntries() != 0) {
        return false;
    }
    return dictionary->erase(true) == kOdOk;
}

OdDbObjectPtr OdDbObject::createXrecord(OdString const& key, OdDb::DuplicateRecordCloning style)
{
    createExtensionDictionary();
    const OdDbDictionaryPtr dictionary = extensionDictionary().safeOpenObject(OdDb::kForWrite);
    OdDbObjectPtr present = dictionary->getAt(key, OdDb::kForWrite);
    if (present.isNull()) {
        // Whoever is told of the change may make the record himself.
        dictionary->assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
        present = dictionary->getAt(key, OdDb::kForWrite);
    }
    if (!present.isNull()) {
        return present->isKindOf(OdDbXrecord::desc()) ? present : OdDbObjectPtr();
    }
    const OdDbXrecordPtr record = OdDbXrecord::createObject();
    record->setDuplicateRecordCloning(style);
    dictionary->setAt(key, record.get());
    return record;
}

void OdDbObject::applyPartialUndo(OdDbDwgFiler* filer, OdRxClass* cls)
{
    if (cls != OdDbObject::desc()) {
        throw OdError(kOdBadStream);
    }
    switch (filer->rdUInt8()) {
    case kReactorAdded:
        return removePersistentReactor(filer->rdSoftPointerId());
    case kReactorRemoved: {
        const OdDbObjectId id = filer->rdSoftPointerId();
        const OdDbObjectId next = filer->rdSoftPointerId();
        if (OdDbDwgFiler* inverse = beginBaseChange(kReactorAdded, true)) {
            inverse->wrSoftPointerId(id);
        }
        if (!hasPersistentReactorUnchecked(id)) {
            extras().reactors.insertBefore(id, next);
        }
        return;
    }
    case kExtensionDictionary: {
        const OdDbObjectId id = filer->rdHardOwnershipId();
        if (OdDbDwgFiler* inverse = beginBaseChange(kExtensionDictionary, true)) {
            inverse->wrHardOwnershipId(extras().extensionDictionary);
        }
        extras().extensionDictionary = id;
        return;
    }
    case kXData: {
        const OdString app = filer->rdString();
        std::vector<std::uint8_t> bytes = readBytes(*filer);
        OdDbDwgFiler* inverse = beginBaseChange(kXData, true);
        const OdString stored = extras().storedName(app);
        const std::vector<std::uint8_t> before = extras().exchangeXData(stored, std::move(bytes));
        if (inverse != nullptr) {
            inverse->wrString(stored);
            inverse->wrInt32(static_cast<std::int32_t>(before.size()));
            inverse->wrBytes(before.data(), static_cast<std::uint32_t>(before.size()));
        }
        return;
    }
    case kOwner:
        return setOwnerId(filer->rdSoftPointerId());
    default:
        throw OdError(kOdBadStream);
    }
}

// ---------------------------------------------------------------------------------------------
// Filing

OdResult OdDbObject::dwgInFields(OdDbDwgFiler* filer)
{
    assertWriteEnabled();
    OdDbObjectIdArray reactors = readReactors(*filer);
    const OdDbObjectId extensionDictionary = filer->rdHardOwnershipId();
    std::vector<XDataEntry> xData = readXData(*filer);
    const OdDbObjectId owner = filer->rdSoftPointerId();

    if (m_extras != nullptr || !reactors.isEmpty() || !extensionDictionary.isNull() ||
        !xData.empty()) {
        Extras& extra = extras();
        extra.reactors.assign(reactors);
        extra.extensionDictionary = extensionDictionary;
        extra.xData = std::move(xData);
    }
    if (!owner.isNull()) {
        m_ownerId = owner;
    }
    return kOdOk;
}

void OdDbObject::dwgOutFields(OdDbDwgFiler* filer) const
{
    assertReadEnabled();
    if (m_extras == nullptr) {
        filer->wrInt32(0);
        filer->wrHardOwnershipId(OdDbObjectId::kNull);
        filer->wrInt32(0);
    } else {
        filer->wrInt32(static_cast<std::int32_t>(m_extras->reactors.size()));
        m_extras->reactors.forEach([filer](OdDbObjectId id) { filer->wrSoftPointerId(id); });
        // An erased one stays known here, so that it can come back; in a file it would be lost.
        const bool isLost = filer->filerType() == OdDb::FilerType::kFileFiler &&
                            m_extras->extensionDictionary.isErased();
        filer->wrHardOwnershipId(isLost ? OdDbObjectId::kNull : m_extras->extensionDictionary);
        fileXData(*filer, m_extras->xData);
    }
    filer->wrSoftPointerId(m_ownerId);
}

OdRxObjectPtr OdDbObject::clone() const
{
    OdRxClass const* cls = isA();
    OdRxObjectPtr copy = cls != nullptr ? cls->create() : OdRxObjectPtr();
    if (copy.isNull()) {
        throw OdError(kOdClassNotRegistered);
    }
    copy->copyFrom(this);
    return copy;
}

void OdDbObject::copyFrom(OdRxObject const* source)
{
    OdDbObject const* other = source != nullptr && source->isKindOf(OdDbObject::desc())
                                  ? static_cast<OdDbObject const*>(source)
                                  : nullptr;
    if (other == nullptr || other->isA() != isA()) {
        throw OdError_NotThatKindOfClass(source != nullptr ? source->isA() : nullptr, isA());
    }
    if (other == this) {
        return;
    }
    if (OdDbDatabase const* db = database()) {
        other->requireReferencesIn(*db);
    }
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/false);
    if (OdDbDatabase* db = database()) {
        // Before the change is recorded: reactors of the table may set undo marks.
        const OdDbDatabasePtr keptAlive(db);
        OdDbObjectAccess::registerApps(*other, *db);
    }
    assertWriteEnabled();
    OdStaticRxObject<OdDbMemoryFiler> filer(OdDb::FilerType::kCopyFiler, other->database());
    other->dwgOutFields(&filer);
    filer.rewindForReading();

    // What ties an object into its surroundings is not content.
    const OdDbObjectId owner = m_ownerId;
    Extras own;
    if (m_extras != nullptr) {
        own.reactors = m_extras->reactors;
        own.extensionDictionary = m_extras->extensionDictionary;
    }
    const auto restoreTies = [&] {
        m_ownerId = owner;
        if (m_extras != nullptr) {
            m_extras->reactors = own.reactors;
            m_extras->extensionDictionary = own.extensionDictionary;
        }
    };
    OdResult result = kOdOk;
    try {
        result = OdDbObjectAccess::fileIn(*this, filer);
    } catch (...) {
        restoreTies();
        throw;
    }
    restoreTies();
    if (result != kOdOk) {
        throw OdError(result);
    }
}

// ---------------------------------------------------------------------------------------------
// Erasing

OdResult OdDbObject::erase(bool erasing)
{
    if (m_record == nullptr) {
        return kOdNotInDatabase;
    }
    if (isErased() == erasing || (m_state & kErasing) != 0) {
        return erasing ? kOdAlreadyErased : kOdNotErased;
    }
    const OdDbDatabasePtr keptAlive(database());  // a reactor may hold the last pointer
    assertWriteEnabled();
    // Whoever was told of the change may have erased the object himself.
    if (isErased() == erasing || (m_state & kErasing) != 0) {
        return erasing ? kOdAlreadyErased : kOdNotErased;
    }
    {
        // What subErase does may lead back here, by way of a reactor or an object erased with it.
        const BitGuard subErasing(m_state, kErasing);
        const OdResult refused = subErase(erasing);
        if (refused != kOdOk) {
            return refused;
        }
    }
    OdDbDatabaseImpl::of(*m_record).undo.recordErased(*m_record, !erasing);
    OdDbObjectAccess::setErased(*this, erasing);
    tellOwnerOfErase(erasing);
    if (isErased() == erasing) {  // a reactor of the owner may have taken it back, which was told
        OdDbObjectAccess::sendErased(*this, erasing);
    }
    return kOdOk;
}

OdDbObjectPtr OdDbObject::openContainerOfNames(OdDbObjectId id)
{
    OdRxClass const* cls = id.objectClass();
    const bool hasNames = cls != nullptr && (cls->isDerivedFrom(OdDbDictionary::desc()) ||
                                             cls->isDerivedFrom(OdDbSymbolTable::desc()));
    return hasNames ? id.openObject(OdDb::kForWrite, /*openErased=*/true) : OdDbObjectPtr();
}

void OdDbObject::tellOwnerOfErase(bool erasing)
{
    if (OdDbObjectPtr owner = openContainerOfNames(m_ownerId); !owner.isNull()) {
        owner->ownedObjectErased(objectId(), erasing);
    }
}

void OdDbObject::requireReferencesIn(OdDbDatabase const& /*database*/) const {}

void OdDbObject::requireIn(OdDbDatabase const& database, OdDbObjectId id)
{
    // A copy may name what is gone together with its database, so the id isn't asked itself.
    if (!id.isNull() && !database.impl().ids.owns(id.record())) {
        throw OdError(kOdWrongDatabase);
    }
}

void OdDbObject::ownedObjectErased(OdDbObjectId /*id*/, bool /*erasing*/) {}

void OdDbObject::ownedObjectLeft(OdDbObjectId /*id*/) {}

OdResult OdDbObject::subErase(bool /*erasing*/)
{
    return kOdOk;
}

// ---------------------------------------------------------------------------------------------
// Access of the database layer

OdDbObjectPtr OdDbObjectAccess::open(OdDbObject& object, OdDb::OpenMode mode)
{
    object.addRef();
    if (mode == OdDb::kForWrite) {
        object.raiseWriteCount();
    } else if (mode == OdDb::kForNotify) {
        ++object.m_notifyCount;
    }
    return OdDbObjectPtr::attach(&object);
}

void OdDbObjectAccess::attach(OdDbObject& object, OdDbIdRecord& record, OdDbObjectId owner)
{
    object.addRef();
    object.m_record = &record;
    object.m_ownerId = owner;
    record.object = &object;
    record.residency = OdDbResidency::kResident;
}

void OdDbObjectAccess::requireIdsOf(OdDbObject const& object, OdDbDatabase const& database)
{
    object.requireReferencesIn(database);
    if (object.m_extras == nullptr) {
        return;
    }
    OdDbObject::requireIn(database, object.m_extras->extensionDictionary);
    object.m_extras->reactors.forEach(
        [&](OdDbObjectId id) { OdDbObject::requireIn(database, id); });
}

OdDbObjectId OdDbObjectAccess::extensionDictionary(OdDbObject const& object) noexcept
{
    return object.m_extras != nullptr ? object.m_extras->extensionDictionary : OdDbObjectId::kNull;
}

void OdDbObjectAccess::setExtensionDictionary(OdDbObject& object, OdDbObjectId dictionary)
{
    if (OdDbDwgFiler* filer = object.beginBaseChange(kExtensionDictionary, true)) {
        filer->wrHardOwnershipId(extensionDictionary(object));
    }
    object.extras().extensionDictionary = dictionary;
}

bool OdDbObjectAccess::hasReactors(OdDbObject const& object) noexcept
{
    return object.m_extras != nullptr && !object.m_extras->reactors.isEmpty();
}

OdDbObjectIdArray OdDbObjectAccess::reactors(OdDbObject const& object)
{
    return object.m_extras != nullptr ? object.m_extras->reactors.ids() : OdDbObjectIdArray();
}

void OdDbObjectAccess::setReactors(OdDbObject& object, OdDbObjectIdArray const& reactors)
{
    if (object.m_extras != nullptr || !reactors.isEmpty()) {
        object.extras().reactors.assign(reactors);
    }
}

void OdDbObjectAccess::registerApps(OdDbObject const& object, OdDbDatabase& database,
                                    bool passesNameless)
{
    if (object.m_extras == nullptr || object.m_extras->xData.empty()) {
        return;
    }
    // A record that stands for an application may have data of that very application.
    const OdString own = object.isKindOf(OdDbRegAppTableRecord::desc())
                             ? static_cast<OdDbRegAppTableRecord const&>(object).getName()
                             : OdString();
    // A copy of the names: reactors of the table may change the object.
    std::vector<OdString> names;
    for (XDataEntry const& entry : object.m_extras->xData) {
        const bool isPassed = entry.app.isEmpty() ? passesNameless : odIcmp(entry.app, own) == 0;
        if (!isPassed) {
            names.push_back(entry.app);
        }
    }
    for (OdString const& name : names) {
        (void)database.newRegApp(name);
    }
}

void OdDbObjectAccess::detach(OdDbObject& object)
{
    orphan(object);
    object.release();
}

void OdDbObjectAccess::orphan(OdDbObject& object)
{
    // Whoever still holds the object holds it outside a database, and must not find ids of one that
    // is gone.
    object.m_writeCount = 0;
    object.m_notifyCount = 0;
    object.m_undoMark = 0;
    object.m_ownerId = OdDbObjectId::kNull;
    if (object.m_extras != nullptr) {
        object.m_extras->reactors.clear();
        object.m_extras->extensionDictionary = OdDbObjectId::kNull;
    }
    object.m_record->object = nullptr;
    object.m_record = nullptr;
    object.m_state = 0;
}

OdResult OdDbObjectAccess::fileIn(OdDbObject& object, OdDbDwgFiler& filer)
{
    const BitGuard reading(object.m_state, OdDbObject::kReading);
    return object.dwgInFields(&filer);
}

void OdDbObjectAccess::playPartial(OdDbObject& object, OdDbDwgFiler& filer, OdRxClass* cls)
{
    const BitGuard reading(object.m_state, OdDbObject::kReading);
    object.applyPartialUndo(&filer, cls);
}

void OdDbObjectAccess::startNew(OdDbObject& object, std::uint32_t undoMark)
{
    object.m_undoMark = undoMark;  // undo of the whole object makes records of its state needless
    object.m_writeCount = 1;
    object.m_state |= OdDbObject::kModified;
}

void OdDbObjectAccess::setErased(OdDbObject& object, bool erasing)
{
    OdDbIdRecord& record = *object.m_record;
    record.set(OdDbIdRecord::kErased, erasing);
    OdDbIdTable& ids = OdDbDatabaseImpl::of(record).ids;
    ids.markChanged(record);
    // Whether an object is filed with its extension dictionary depends on that one's state. And a
    // save that is under way has found out before which owners it has to file.
    OdDbIdRecord* const owner = object.m_ownerId.record();
    if (owner != nullptr && owner->object != nullptr &&
        (ids.isSaving() || object.isKindOf(OdDbDictionary::desc()))) {
        ids.markChanged(*owner);
    }
}

void OdDbStorageAccess::fileOut(OdDbObject const& object, OdDbDwgFiler& filer) const
{
    OdDbObjectAccess::fileOut(object, filer);
}

void OdDbObjectAccess::fileOut(OdDbObject const& object, OdDbDwgFiler& filer)
{
    const BitGuard reading(const_cast<OdDbObject&>(object).m_state, OdDbObject::kReading);
    object.dwgOutFields(&filer);
}

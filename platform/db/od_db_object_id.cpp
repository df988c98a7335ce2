#include "db/od_db_database_impl.h"
#include "db/od_db_look_ahead.h"
#include "db/od_db_reactor_list_impl.h"
#include "root/od_error.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

std::size_t OdDbObjectId::s_redirections = 0;

/// Where ids are led to: single ones, and blocks of them, slot by slot. What is said of a single id
/// goes before what is said of its block.
struct OdDbRedirections
{
    using Records = std::unordered_map<OdDbIdRecord const*, OdDbIdRecord*>;
    using Blocks = std::unordered_map<OdDbIdBlock const*, OdDbIdBlock*>;

    static Records& records()
    {
        static Records s_records;
        return s_records;
    }
    static Blocks& blocks()
    {
        static Blocks s_blocks;
        return s_blocks;
    }
    static OdDbIdRecord* targetOf(OdDbIdRecord const& record) noexcept;
    static void setFlags(OdDbIdBlock& block, bool isRedirected);
    static void count()
    {
        OdDbObjectId::s_redirections = records().size() + blocks().size();
        ++s_revision;
    }

    static std::uint64_t s_revision;
};

std::uint64_t OdDbRedirections::s_revision = 0;

std::uint64_t OdDbObjectId::redirectionRevision() noexcept
{
    return OdDbRedirections::s_revision;
}

OdDbIdRecord* OdDbRedirections::targetOf(OdDbIdRecord const& record) noexcept
{
    Records const& single = records();
    if (!single.empty()) {
        if (const auto found = single.find(&record); found != single.end()) {
            return found->second;
        }
    }
    const auto at = blocks().find(&OdDbIdBlock::of(record));
    if (single.empty()) {
        // A drawing that is loaded again and again makes a long way of blocks: each look-up halves it.
        if (const auto next = blocks().find(at->second); next != blocks().end()) {
            at->second = next->second;
        }
    }
    return &at->second->records[record.slot];
}

void OdDbRedirections::setFlags(OdDbIdBlock& block, bool isRedirected)
{
    for (OdDbIdRecord& record : block.records) {
        if (records().empty() || records().count(&record) == 0) {
            record.set(OdDbIdRecord::kRedirected, isRedirected);
        }
    }
}

OdDbIdRecord* OdDbObjectId::redirected() const noexcept
{
    OdDbIdRecord* record = m_record;
    if (s_redirections == 0) {
        return record;  // without a look at it
    }
    while (record != nullptr && record->has(OdDbIdRecord::kRedirected)) {
        record = OdDbRedirections::targetOf(*record);
    }
    return record;
}

void OdDbObjectId::redirectTo(OdDbObjectId target) const
{
    if (m_record == nullptr) {
        throw OdError(kOdNullObjectId);
    }
    OdDbIdRecord* end = target.redirected();
    if (end == m_record) {
        throw OdError(kOdCyclicReference);
    }
    if (end != nullptr) {
        OdDbRedirections::records()[m_record] = end;
        OdDbDatabaseImpl::of(*m_record).hasRedirections = true;
        OdDbDatabaseImpl::of(*end).hasRedirections = true;
    } else {
        OdDbRedirections::records().erase(m_record);
    }
    m_record->set(OdDbIdRecord::kRedirected, end != nullptr);
    OdDbRedirections::count();
}

void odDbLeadAllIds(OdDbDatabaseImpl& from, OdDbDatabaseImpl& to)
{
    for (std::uint64_t number : from.ids.knownBlocks()) {
        OdDbIdBlock& block = *from.ids.findBlock(number);
        const std::uint64_t first = number * OdDbStorageAccess::kHandlesInBlock;
        OdDbRedirections::blocks()[&block] = &OdDbIdBlock::of(to.ids.get(first));
        OdDbRedirections::setFlags(block, true);
    }
    from.hasRedirections = true;
    to.hasRedirections = true;
    OdDbRedirections::count();
}

void odDbDropRedirections(std::unordered_set<OdDbDatabaseImpl const*> const& databases)
{
    if (std::none_of(databases.begin(), databases.end(),
                     [](OdDbDatabaseImpl const* one) { return one->hasRedirections; })) {
        return;
    }
    auto& records = OdDbRedirections::records();
    for (auto at = records.begin(); at != records.end();) {
        if (databases.count(&OdDbDatabaseImpl::of(*at->first)) == 0 &&
            databases.count(&OdDbDatabaseImpl::of(*at->second)) == 0) {
            ++at;
            continue;
        }
        const_cast<OdDbIdRecord*>(at->first)->set(OdDbIdRecord::kRedirected, false);
        at = records.erase(at);
    }
    auto& blocks = OdDbRedirections::blocks();
    for (auto at = blocks.begin(); at != blocks.end();) {
        if (databases.count(at->first->database) == 0 &&
            databases.count(at->second->database) == 0) {
            ++at;
            continue;
        }
        OdDbRedirections::setFlags(const_cast<OdDbIdBlock&>(*at->first), false);
        at = blocks.erase(at);
    }
    for (OdDbDatabaseImpl const* one : databases) {
        const_cast<OdDbDatabaseImpl*>(one)->hasRedirections = false;
    }
    OdDbRedirections::count();
}

bool OdDbObjectId::isErased() const noexcept
{
    OdDbIdRecord const* record = redirected();
    return record != nullptr && record->has(OdDbIdRecord::kErased);
}

bool OdDbObjectId::isResident() const noexcept
{
    OdDbIdRecord const* record = redirected();
    return record != nullptr && record->object != nullptr;
}

OdDbDatabase* OdDbObjectId::database() const noexcept
{
    OdDbIdRecord const* record = redirected();
    return record != nullptr ? &OdDbDatabaseImpl::of(*record).database : nullptr;
}

OdDbDatabase* OdDbObjectId::originalDatabase() const noexcept
{
    return m_record != nullptr ? &OdDbDatabaseImpl::of(*m_record).database : nullptr;
}

OdDbHandle OdDbObjectId::getHandle() const noexcept
{
    return m_record != nullptr ? OdDbHandle(OdDbIdBlock::handleOf(*m_record)) : OdDbHandle();
}

OdRxClass* OdDbObjectId::objectClass() const
{
    OdDbIdRecord* record = redirected();
    if (record == nullptr) {
        return nullptr;
    }
    OdDbDatabaseImpl& database = OdDbDatabaseImpl::of(*record);
    database.resolve(*record);
    if (record->residency == OdDbResidency::kAbsent) {
        return nullptr;
    }
    return database.registeredClass(record->classIndex);
}

OdDbObjectPtr OdDbObjectId::openObject(OdDb::OpenMode mode, bool openErased) const
{
    OdDbIdRecord* record = redirected();
    if (record == nullptr) {
        return OdDbObjectPtr();
    }
    if (record->object == nullptr || record->has(OdDbIdRecord::kProxy)) {
        if (!OdDbDatabaseImpl::of(*record).load(*record)) {
            return OdDbObjectPtr();
        }
    }
    if (record->has(OdDbIdRecord::kErased) && !openErased) {
        return OdDbObjectPtr();
    }
    return OdDbObjectAccess::open(*record->object, mode);
}

namespace {

/// Names the object and its drawing: many were opened until one could not be.
[[noreturn]] void throwDamaged(OdDbObjectId id)
{
    OdString text = OdString("object ") + id.getHandle().ascii();
    const OdString file = id.database()->getFilename();
    if (!file.isEmpty()) {
        text += OdString(" of ") + file;
    }
    throw OdError(kOdObjectDamaged, text + OdString(": ") + odResultText(kOdObjectDamaged));
}

}  // namespace

OdDbObjectPtr OdDbObjectId::safeOpenObject(OdDb::OpenMode mode, bool openErased) const
{
    if (m_record == nullptr) {
        throw OdError(kOdNullObjectId);
    }
    OdDbObjectPtr object = openObject(mode, openErased);
    if (!object.isNull()) {
        return object;
    }
    OdDbIdRecord const* record = redirected();
    if (record->has(OdDbIdRecord::kErased)) {
        throw OdError(kOdWasErased);
    }
    if (record->residency != OdDbResidency::kDamaged) {
        throw OdError(kOdKeyNotFound);
    }
    throwDamaged(*this);
}

void OdDbObjectId::convertToRedirectedId() noexcept
{
    m_record = redirected();
}

bool odDbIsThere(OdDbObjectId id)
{
    id.convertToRedirectedId();
    return !id.isNull() && !id.isErased() &&
           !id.database()->getOdDbObjectId(id.getHandle()).isNull();
}

void odDbRequireReference(OdDbObject const& object, OdDbObjectId id, OdRxClass* cls)
{
    if (id.isNull()) {
        return;
    }
    OdRxClass* const found = id.objectClass();
    if (found == nullptr || !found->isDerivedFrom(cls)) {
        throw OdError_NotThatKindOfClass(found, cls);
    }
    OdDbDatabase const* const database = object.database();
    if (database != nullptr && (id.database() != database || id.originalDatabase() != database)) {
        throw OdError(kOdWrongDatabase);
    }
}

void odDbExpectId(OdDbObjectId id) noexcept
{
    __builtin_prefetch(id.record());
}

void odDbExpectObject(OdDbObjectId id) noexcept
{
    constexpr std::size_t kLines = 4;  // the fields of most objects
    constexpr std::size_t kLineBytes = 64;
    if (id.isNull()) {
        return;
    }
    auto const* at = reinterpret_cast<char const*>(id.record()->object);
    for (std::size_t line = 0; at != nullptr && line < kLines; ++line) {
        __builtin_prefetch(at + line * kLineBytes);
    }
}

std::strong_ordering OdDbObjectId::compare(OdDbObjectId other) const noexcept
{
    OdDbIdRecord const* left = redirected();
    OdDbIdRecord const* right = other.redirected();
    if (left == right) {
        return std::strong_ordering::equal;
    }
    if (left == nullptr || right == nullptr) {
        return left == nullptr ? std::strong_ordering::less : std::strong_ordering::greater;
    }
    OdDbDatabaseImpl const& leftDatabase = OdDbDatabaseImpl::of(*left);
    OdDbDatabaseImpl const& rightDatabase = OdDbDatabaseImpl::of(*right);
    if (&leftDatabase != &rightDatabase) {
        return leftDatabase.serial <=> rightDatabase.serial;
    }
    return OdDbIdBlock::handleOf(*left) <=> OdDbIdBlock::handleOf(*right);
}

#include "db/od_db_object_id.h"

#include "db/od_db_database_impl.h"
#include "db/od_db_reactor_list_impl.h"
#include "root/od_error.h"

#include <unordered_map>

std::size_t OdDbObjectId::s_redirections = 0;

struct OdDbRedirections
{
    static std::unordered_map<OdDbIdRecord const*, OdDbIdRecord*>& map()
    {
        static std::unordered_map<OdDbIdRecord const*, OdDbIdRecord*> s_map;
        return s_map;
    }
    static void count()
    {
        OdDbObjectId::s_redirections = map().size();
        ++s_revision;
    }

    static std::uint64_t s_revision;
};

std::uint64_t OdDbRedirections::s_revision = 0;

std::uint64_t odDbRedirectionRevision() noexcept
{
    return OdDbRedirections::s_revision;
}

OdDbIdRecord* OdDbObjectId::redirected() const noexcept
{
    OdDbIdRecord* record = m_record;
    while (record != nullptr && record->has(OdDbIdRecord::kRedirected)) {
        record = OdDbRedirections::map().at(record);
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
    m_record->set(OdDbIdRecord::kRedirected, end != nullptr);
    if (end != nullptr) {
        OdDbRedirections::map()[m_record] = end;
    } else {
        OdDbRedirections::map().erase(m_record);
    }
    OdDbRedirections::count();
}

void odDbDropRedirections(OdDbDatabaseImpl const& database)
{
    auto& map = OdDbRedirections::map();
    for (auto at = map.begin(); at != map.end();) {
        OdDbDatabaseImpl const* from = &OdDbDatabaseImpl::of(*at->first);
        if (from != &database && &OdDbDatabaseImpl::of(*at->second) != &database) {
            ++at;
            continue;
        }
        const_cast<OdDbIdRecord*>(at->first)->set(OdDbIdRecord::kRedirected, false);
        at = map.erase(at);
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
    throw OdError(record->residency == OdDbResidency::kDamaged ? kOdObjectDamaged : kOdKeyNotFound);
}

void OdDbObjectId::convertToRedirectedId() noexcept
{
    m_record = redirected();
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

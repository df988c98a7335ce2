#include "store/od_db_sqlite.h"

#include "root/od_string.h"

#include <sqlite3.h>

#include <cstring>
#include <utility>

namespace {

OdResult resultOf(int code) noexcept
{
    switch (code & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return kOdFileLocked;
    case SQLITE_NOMEM:
        return kOdOutOfMemory;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_ERROR:
    case SQLITE_TOOBIG:
    case SQLITE_MISMATCH:
    case SQLITE_CONSTRAINT:
    case SQLITE_INTERRUPT:
        return kOdFileCorrupt;
    default:
        return kOdFileAccess;
    }
}

constexpr char const* kNoNewFile =
    "no file can be made in its folder, and a save writes one beside the drawing";

std::string reasonOf(int code)
{
    switch (code & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return "is open for writing in another process";
    case SQLITE_NOMEM:
        return "not enough memory";
    case SQLITE_FULL:
        return "there is no room left for it on the disk";
    case SQLITE_READONLY:
        return code == SQLITE_READONLY_DIRECTORY ? kNoNewFile : "can't be written";
    case SQLITE_NOTADB:
        return "is no drawing";
    case SQLITE_INTERRUPT:
        return "is damaged: reading it finds no end";
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_AUTH:
        return "can't be opened";
    case SQLITE_IOERR:
        return std::string("can't be read or written: ") + sqlite3_errstr(code);
    default:
        return std::string("is damaged: ") + sqlite3_errstr(code);
    }
}

/// Steps between two looks at the budget.
constexpr int kBudgetStep = 10'000;

/// Borrowed bytes; a pointer of an empty span may be null, which would bind a null value.
void const* pointerOf(std::span<std::uint8_t const> value) noexcept
{
    static constexpr std::uint8_t kNothing = 0;
    return value.empty() ? &kNothing : value.data();
}

bool isReadFault(int code) noexcept
{
    return code == SQLITE_IOERR_READ || code == SQLITE_IOERR_SHORT_READ ||
           code == SQLITE_IOERR_CORRUPTFS;
}

}  // namespace

OdDbReadFault::OdDbReadFault(std::string const& name, std::string reason)
    : OdError(kOdFileAccess, OdString::fromUtf8(name + ": " + reason)), m_reason(std::move(reason))
{
}

OdDbSqliteConnection::OdDbSqliteConnection(std::string const& path, std::string name, int flags,
                                           char const* fileLayer)
    : m_name(std::move(name))
{
    const int code = sqlite3_open_v2(path.c_str(), &m_handle, flags, fileLayer);
    if (code != SQLITE_OK) {
        const int extended = m_handle != nullptr ? sqlite3_extended_errcode(m_handle) : code;
        sqlite3_close(m_handle);
        m_isWriting = (flags & SQLITE_OPEN_CREATE) != 0;
        fail(extended);
    }
    sqlite3_extended_result_codes(m_handle, 1);
}

OdDbSqliteConnection::~OdDbSqliteConnection()
{
    sqlite3_close(m_handle);
}

bool OdDbSqliteConnection::isIdle() const noexcept
{
    return sqlite3_get_autocommit(m_handle) != 0;
}

void OdDbSqliteConnection::setTimeout(int milliseconds) noexcept
{
    sqlite3_busy_timeout(m_handle, milliseconds);
}

void OdDbSqliteConnection::setBudget(std::int64_t steps) noexcept
{
    m_budget = steps;
    sqlite3_progress_handler(m_handle, steps != 0 ? kBudgetStep : 0,
                             steps != 0 ? &OdDbSqliteConnection::spend : nullptr, this);
}

int OdDbSqliteConnection::spend(void* connection) noexcept
{
    auto& self = *static_cast<OdDbSqliteConnection*>(connection);
    self.m_budget -= kBudgetStep;
    return self.m_budget < 0 ? 1 : 0;
}

int OdDbSqliteConnection::tryRun(char const* sql) noexcept
{
    const int code = sqlite3_exec(m_handle, sql, nullptr, nullptr, nullptr);
    return code == SQLITE_OK ? code : sqlite3_extended_errcode(m_handle);
}

void OdDbSqliteConnection::run(char const* sql)
{
    const int code = tryRun(sql);
    if (code != SQLITE_OK) {
        fail(code);
    }
}

void OdDbSqliteConnection::fail(int code) const
{
    if (isReadFault(code)) {
        throw OdDbReadFault(m_name, reasonOf(code));
    }
    const bool isNoNewFile = m_isWriting && (code & 0xFF) == SQLITE_CANTOPEN;
    fail(resultOf(code), isNoNewFile ? kNoNewFile : reasonOf(code));
}

void OdDbSqliteConnection::fail(OdResult result, std::string_view reason) const
{
    throw OdError(result, OdString::fromUtf8(m_name + ": " + std::string(reason)));
}

OdDbSqliteStatement::~OdDbSqliteStatement()
{
    sqlite3_finalize(m_handle);
}

sqlite3_stmt* OdDbSqliteStatement::handle()
{
    if (m_handle == nullptr) {
        const int code = sqlite3_prepare_v3(m_connection.handle(), m_sql, -1,
                                            SQLITE_PREPARE_PERSISTENT, &m_handle, nullptr);
        if (code != SQLITE_OK) {
            m_connection.fail(code);
        }
    }
    return m_handle;
}

OdDbSqliteQuery::OdDbSqliteQuery(OdDbSqliteStatement& statement)
    : m_connection(statement.connection()), m_statement(statement.handle())
{
}

OdDbSqliteQuery::~OdDbSqliteQuery()
{
    // Resetting repeats the code of a failed step, which was reported there.
    sqlite3_reset(m_statement);
    sqlite3_clear_bindings(m_statement);
}

void OdDbSqliteQuery::check(int code) const
{
    if (code != SQLITE_OK) {
        m_connection.fail(code);
    }
}

OdDbSqliteQuery& OdDbSqliteQuery::bind(std::int64_t value)
{
    check(sqlite3_bind_int64(m_statement, ++m_bound, value));
    return *this;
}

OdDbSqliteQuery& OdDbSqliteQuery::bind(std::span<std::uint8_t const> value)
{
    check(
        sqlite3_bind_blob64(m_statement, ++m_bound, pointerOf(value), value.size(), SQLITE_STATIC));
    return *this;
}

OdDbSqliteQuery& OdDbSqliteQuery::bind(std::span<std::uint8_t const> first,
                                       std::span<std::uint8_t const> second)
{
    if (second.empty()) {
        return bind(first);
    }
    const std::size_t size = first.size() + second.size();
    auto* const joined = static_cast<std::uint8_t*>(sqlite3_malloc64(size));
    if (joined == nullptr) {
        m_connection.fail(SQLITE_NOMEM);
    }
    if (!first.empty()) {
        std::memcpy(joined, first.data(), first.size());
    }
    std::memcpy(joined + first.size(), second.data(), second.size());
    check(sqlite3_bind_blob64(m_statement, ++m_bound, joined, size, sqlite3_free));
    return *this;
}

OdDbSqliteQuery& OdDbSqliteQuery::bindText(std::string_view value)
{
    char const* const text = value.empty() ? "" : value.data();
    check(sqlite3_bind_text64(m_statement, ++m_bound, text, value.size(), SQLITE_STATIC,
                              SQLITE_UTF8));
    return *this;
}

bool OdDbSqliteQuery::next()
{
    const int code = sqlite3_step(m_statement);
    if (code != SQLITE_ROW && code != SQLITE_DONE) {
        m_connection.fail(code);
    }
    return code == SQLITE_ROW;
}

void OdDbSqliteQuery::run()
{
    while (next()) {
    }
}

void OdDbSqliteQuery::expectType(int column, int type) const
{
    if (sqlite3_column_type(m_statement, column) != type) {
        m_connection.fail(kOdFileCorrupt, "is damaged: a value has the wrong type");
    }
}

std::int64_t OdDbSqliteQuery::integer(int column) const
{
    expectType(column, SQLITE_INTEGER);
    return sqlite3_column_int64(m_statement, column);
}

std::span<std::uint8_t const> OdDbSqliteQuery::bytes(int column) const
{
    expectType(column, SQLITE_BLOB);
    auto const* const data =
        static_cast<std::uint8_t const*>(sqlite3_column_blob(m_statement, column));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column));
    if (data == nullptr && sqlite3_errcode(m_connection.handle()) == SQLITE_NOMEM) {
        m_connection.fail(SQLITE_NOMEM);
    }
    return {data, data != nullptr ? size : 0};
}

std::string_view OdDbSqliteQuery::text(int column) const
{
    expectType(column, SQLITE_TEXT);
    auto const* const data =
        reinterpret_cast<char const*>(sqlite3_column_text(m_statement, column));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column));
    return {data != nullptr ? data : "", data != nullptr ? size : 0};
}

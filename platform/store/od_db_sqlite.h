// SQLite as drawings use it: a connection, prepared statements, and their errors as OdError.

#pragma once

#include "root/od_error.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

/// The disk doesn't give back what was written to it. It may, when it is asked again.
class OdDbReadFault : public OdError
{
public:
    /// \param reason  Without the file's name.
    OdDbReadFault(std::string const& name, std::string reason);

    std::string const& reason() const noexcept { return m_reason; }

private:
    std::string m_reason;
};

/// A connection to one database file. It neither copies nor moves; statements end before it.
class OdDbSqliteConnection
{
public:
    /// \param path   Absolute, so that nothing in it is special.
    /// \param name   How messages call the file.
    /// \param flags  Of `sqlite3_open_v2`.
    /// \throws OdError (file access) if the file can't be opened.
    OdDbSqliteConnection(std::string const& path, std::string name, int flags,
                         char const* fileLayer);
    OdDbSqliteConnection(OdDbSqliteConnection const&) = delete;
    OdDbSqliteConnection& operator=(OdDbSqliteConnection const&) = delete;
    ~OdDbSqliteConnection();

    sqlite3* handle() const noexcept { return m_handle; }
    std::string const& name() const noexcept { return m_name; }
    /// Whether no transaction is open.
    bool isIdle() const noexcept;
    /// How long to wait for a lock.
    void setTimeout(int milliseconds) noexcept;
    /// Whether a save is under way: what can't be opened then is a file that has to be made.
    void setWriting(bool isWriting) noexcept { m_isWriting = isWriting; }
    /// Ends the running statement with (file corrupt) after some work, since a crafted file can hold
    /// rings that would be walked for ever. 0 allows any amount.
    ///
    /// \param steps  Steps of the statements' programs; a row takes some dozen.
    void setBudget(std::int64_t steps) noexcept;

    /// Runs statements without results. \throws OdError as `fail` tells.
    void run(char const* sql);
    /// As `run`. \return SQLite's extended result code.
    int tryRun(char const* sql) noexcept;
    /// Throws for an extended result code: (file locked), (file corrupt), (file access), (out of
    /// memory), with the file's name and the reason; OdDbReadFault, which is a (file access), where
    /// reading fails.
    [[noreturn]] void fail(int code) const;
    /// Throws with the file's name in front of a reason.
    [[noreturn]] void fail(OdResult result, std::string_view reason) const;

private:
    static int spend(void* connection) noexcept;

    sqlite3* m_handle = nullptr;
    std::string m_name;
    std::int64_t m_budget = 0;
    bool m_isWriting = false;
};

/// A statement that is compiled when it is first used.
class OdDbSqliteStatement
{
public:
    /// \param sql  A literal.
    OdDbSqliteStatement(OdDbSqliteConnection& connection, char const* sql) noexcept
        : m_connection(connection), m_sql(sql)
    {
    }
    OdDbSqliteStatement(OdDbSqliteStatement const&) = delete;
    OdDbSqliteStatement& operator=(OdDbSqliteStatement const&) = delete;
    ~OdDbSqliteStatement();

    OdDbSqliteConnection& connection() const noexcept { return m_connection; }
    /// \throws OdError if the statement can't be compiled, which a damaged file can cause.
    sqlite3_stmt* handle();

private:
    OdDbSqliteConnection& m_connection;
    char const* m_sql;
    sqlite3_stmt* m_handle = nullptr;
};

/// One execution of a statement; ends it when it goes. Values and columns count from 0; values that
/// are bound must outlive it.
class OdDbSqliteQuery
{
public:
    explicit OdDbSqliteQuery(OdDbSqliteStatement& statement);
    OdDbSqliteQuery(OdDbSqliteQuery const&) = delete;
    OdDbSqliteQuery& operator=(OdDbSqliteQuery const&) = delete;
    ~OdDbSqliteQuery();

    OdDbSqliteQuery& bind(std::int64_t value);
    OdDbSqliteQuery& bind(std::span<std::uint8_t const> value);
    /// Two parts that become one value.
    OdDbSqliteQuery& bind(std::span<std::uint8_t const> first,
                          std::span<std::uint8_t const> second);
    OdDbSqliteQuery& bindText(std::string_view value);

    /// Steps to the next row. \return Whether there is one. \throws OdError.
    bool next();
    /// Runs a statement that has no rows. \throws OdError.
    void run();

    /// \name Columns of the row
    /// A value of another type throws OdError (file corrupt). Bytes and texts live until `next`.
    /// @{
    std::int64_t integer(int column) const;
    std::span<std::uint8_t const> bytes(int column) const;
    std::string_view text(int column) const;
    /// @}

private:
    void check(int code) const;
    void expectType(int column, int type) const;

    OdDbSqliteConnection& m_connection;
    sqlite3_stmt* m_statement;
    int m_bound = 0;
};

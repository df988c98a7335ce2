// A look at a drawing's tables that doesn't go through the layer under test.

#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <string>

/// A drawing's file as SQLite sees it.
class DrawingTables
{
public:
    explicit DrawingTables(std::filesystem::path const& path)
    {
        EXPECT_EQ(sqlite3_open(path.c_str(), &m_handle), SQLITE_OK);
    }
    DrawingTables(DrawingTables const&) = delete;
    DrawingTables& operator=(DrawingTables const&) = delete;
    ~DrawingTables() { sqlite3_close(m_handle); }

    void run(std::string const& sql)
    {
        char* message = nullptr;
        EXPECT_EQ(sqlite3_exec(m_handle, sql.c_str(), nullptr, nullptr, &message), SQLITE_OK)
            << message;
        sqlite3_free(message);
    }
    std::string blob(std::string const& sql)
    {
        sqlite3_stmt* statement = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(m_handle, sql.c_str(), -1, &statement, nullptr), SQLITE_OK);
        EXPECT_EQ(sqlite3_step(statement), SQLITE_ROW);
        const std::string bytes(static_cast<char const*>(sqlite3_column_blob(statement, 0)),
                                static_cast<std::size_t>(sqlite3_column_bytes(statement, 0)));
        sqlite3_finalize(statement);
        return bytes;
    }
    void setBlob(std::string const& sql, std::string const& bytes)
    {
        sqlite3_stmt* statement = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(m_handle, sql.c_str(), -1, &statement, nullptr), SQLITE_OK);
        sqlite3_bind_blob(statement, 1, bytes.data(), static_cast<int>(bytes.size()),
                          SQLITE_STATIC);
        EXPECT_EQ(sqlite3_step(statement), SQLITE_DONE);
        sqlite3_finalize(statement);
    }

private:
    sqlite3* m_handle = nullptr;
};

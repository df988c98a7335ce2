// What the tests of drawings share: a folder of their own, objects of test classes, whole contents.

#pragma once

#include "db/od_db_database.h"
#include "db/od_db_platform.h"
#include "store/od_db_drawing.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

/// An object with a field of each common kind.
class StoreTestPart : public OdDbObject
{
    RX_DECLARE_CLASS(StoreTestPart);

public:
    OdString name;
    std::int32_t number = 0;
    double size = 0.0;
    std::array<double, 8> values{};
    OdDbObjectId other;
    std::vector<std::uint8_t> blob;
    /// Written and read only from drawing version 30 on.
    std::int32_t tag = 0;
    /// The result of reading; set by reading a negative number.
    OdResult inResult = kOdOk;

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;
};
using StoreTestPartPtr = OdSmartPtr<StoreTestPart>;

/// Makes `StoreTestPart` known as long as it lives.
class StoreTestClasses
{
public:
    StoreTestClasses() { StoreTestPart::rxInit(); }
    StoreTestClasses(StoreTestClasses const&) = delete;
    StoreTestClasses& operator=(StoreTestClasses const&) = delete;
    ~StoreTestClasses() { StoreTestPart::rxUninit(); }
};

/// A folder that goes away with its content.
class TemporaryFolder
{
public:
    TemporaryFolder();
    TemporaryFolder(TemporaryFolder const&) = delete;
    TemporaryFolder& operator=(TemporaryFolder const&) = delete;
    ~TemporaryFolder();

    std::filesystem::path const& path() const noexcept { return m_path; }
    std::filesystem::path file(char const* name) const { return m_path / name; }
    /// Names of all files, sorted.
    std::vector<std::string> names() const;

private:
    std::filesystem::path m_path;
};

OdString textOf(std::filesystem::path const& path);
std::string readFile(std::filesystem::path const& path);
void writeFile(std::filesystem::path const& path, std::string const& bytes);

/// Adds a part with numbers that follow from `seed`; the id stays in the drawing.
OdDbObjectId addPart(OdDbDatabase& database, int seed, OdDbObjectId other = {},
                     std::size_t blobBytes = 0);
/// A drawing in memory with parts that refer to one another.
OdDbDatabasePtr makeDrawing(int parts);

/// The filed bytes of every object that can be opened, by handle, in a form that doesn't depend on
/// the process: body, then references.
using DrawingContent = std::map<std::uint64_t, std::string>;
DrawingContent contentOf(OdDbDatabase& database);
/// Opens a drawing for reading and takes its content.
DrawingContent contentOf(std::filesystem::path const& path);

/// Compare long values; a failure names the first difference instead of printing all.
testing::AssertionResult same(DrawingContent const& left, DrawingContent const& right);
testing::AssertionResult same(std::string const& left, std::string const& right);

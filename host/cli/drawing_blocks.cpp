#include "cli/drawing_blocks.h"

#include "root/od_error.h"

#include "protocol/host_error.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <iostream>

namespace zemhost {

namespace {

namespace fs = std::filesystem;

constexpr std::array<char const*, 21> kUnits = {"undefined",
                                                "inches",
                                                "feet",
                                                "miles",
                                                "millimeters",
                                                "centimeters",
                                                "meters",
                                                "kilometers",
                                                "microinches",
                                                "mils",
                                                "yards",
                                                "angstroms",
                                                "nanometers",
                                                "microns",
                                                "decimeters",
                                                "dekameters",
                                                "hectometers",
                                                "gigameters",
                                                "astronomical units",
                                                "light years",
                                                "parsecs"};

OdDbSymbolTablePtr openBlockTable(OdDbDatabase& database)
{
    OdDbSymbolTablePtr table =
        OdDbSymbolTable::cast(database.getBlockTableId().openObject(OdDb::kForRead).get());
    if (table.isNull()) {
        throw HostError(ExitCode::kFindings, toUtf8(database.getFilename()),
                        "the table of blocks can't be read", "'zemhost check' tells more");
    }
    return table;
}

OdDbObjectId findBlock(OdDbDatabase& database, std::string const& name)
{
    if (name.empty()) {
        return database.getModelSpaceId();
    }
    const OdDbObjectId id = openBlockTable(database)->getAt(OdString::fromUtf8(name));
    if (id.isNull()) {
        throw HostError(ExitCode::kFindings, toUtf8(database.getFilename()),
                        "has no block \"" + name + "\"", "'zemhost block list' shows the blocks");
    }
    return id;
}

std::string reasonFor(OdError const& error)
{
    switch (error.code()) {
    case kOdDuplicateName:
        return "is the name of another block";
    case kOdInvalidKey:
        return "is no name that can be given";
    case kOdCyclicReference:
        return "would contain itself";
    default:
        return error.what();
    }
}

/// Visible characters; those that continue another one's bytes take no room.
std::size_t widthOf(std::string const& utf8)
{
    return static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

}  // namespace

OdDbBlockTableRecordPtr openBlock(OdDbDatabase& database, std::string const& name,
                                  ExternalBlocks externals, OdDb::OpenMode mode)
{
    OdDbBlockTableRecordPtr block;
    guardDrawing([&] {
        block = OdDbBlockTableRecord::cast(findBlock(database, name).openObject(mode).get());
    });
    if (block.isNull()) {
        throw HostError(ExitCode::kFindings, toUtf8(database.getFilename()),
                        "block \"" + (name.empty() ? kModelSpaceName : name) + "\" can't be read",
                        "'zemhost check' lists all damages");
    }
    if (externals == ExternalBlocks::kRefused && block->isFromExternalReference()) {
        throw HostError(ExitCode::kUsage, name,
                        "is an external drawing, " + toUtf8(block->pathName()),
                        "work on that drawing, or make it a block with 'zemhost xref bind'");
    }
    return block;
}

std::vector<OdDbObjectId> blocksOf(OdDbDatabase& database)
{
    std::vector<OdDbObjectId> blocks;
    guardDrawing([&] {
        for (const auto at = openBlockTable(database)->newIterator(); !at->done(); at->step()) {
            const OdDbObjectId id = at->getRecordId();
            if (!OdDbBlockTableRecord::cast(id.openObject().get()).isNull()) {
                blocks.push_back(id);
            }
        }
    });
    return blocks;
}

std::string blockText(OdDbBlockTableRecord const& block)
{
    OdDbDatabase const& database = *block.database();
    if (block.objectId() == database.getModelSpaceId()) {
        return "model space";
    }
    if (block.objectId() == database.getPaperSpaceId()) {
        return "paper space";
    }
    return "block " + printable(toUtf8(block.getName()));
}

void requireNewBlockName(OdDbDatabase& database, std::string const& name)
{
    if (name.empty() || name.front() == '*') {
        throw HostError(ExitCode::kUsage, "\"" + name + "\"",
                        name.empty() ? "is no name for a block"
                                     : "names with * are made by the program",
                        "give a name such as bracket");
    }
    if (openBlockTable(database)->has(OdString::fromUtf8(name))) {
        throw HostError(ExitCode::kUsage, name, "is the name of a block that is there already",
                        "give another name; 'zemhost block list' shows the blocks");
    }
}

void guardValues(std::string const& subject, std::function<void()> const& operation)
{
    guardDrawing([&] {
        try {
            operation();
        } catch (OdError const& error) {
            switch (error.code()) {
            case kOdDuplicateName:
            case kOdInvalidKey:
            case kOdCyclicReference:
            case kOdInvalidInput:
            case kOdNotApplicable:
                throw HostError(ExitCode::kUsage, subject, reasonFor(error), "");
            default:
                throw;
            }
        }
    });
}

void requireTarget(std::string const& source, std::string const& target, bool replace)
{
    std::error_code error;
    if (fs::equivalent(source, target, error) && !error) {
        throw HostError(ExitCode::kUsage, target, "is the drawing itself",
                        "name another drawing to write to");
    }
    checkTarget(target);
    if (!replace && fs::exists(fs::symlink_status(target, error))) {
        throw HostError(ExitCode::kFile, target, "is there already",
                        "give --replace to replace it");
    }
}

OdGePoint3d pointFromWord(std::string const& option, std::string const& word)
{
    std::array<double, 3> numbers{};
    std::size_t count = 0;
    char const* at = word.data();
    char const* const end = word.data() + word.size();
    bool isPoint = true;
    while (isPoint && count < numbers.size()) {
        const auto read = std::from_chars(at, end, numbers[count]);
        isPoint = read.ec == std::errc() && std::isfinite(numbers[count]);
        at = read.ptr;
        ++count;
        if (!isPoint || at == end || *at != ',') {
            break;
        }
        ++at;
    }
    if (!isPoint || at != end || count < 2) {
        throw HostError(ExitCode::kUsage, option + " " + word, "is no point",
                        "give X,Y,Z or X,Y, such as 10,0,2.5");
    }
    return OdGePoint3d(numbers[0], numbers[1], numbers[2]);
}

std::string exactNumber(double value)
{
    std::array<char, 32> text{};
    const auto written = std::to_chars(text.data(), text.data() + text.size(), value);
    return std::string(text.data(), written.ptr);
}

std::string pointText(OdGePoint3d const& point)
{
    return '(' + shortNumber(point.x) + ", " + shortNumber(point.y) + ", " + shortNumber(point.z) +
           ')';
}

std::string unitsName(OdDb::UnitsValue units)
{
    const auto index = static_cast<std::size_t>(units);
    return index < kUnits.size() ? kUnits[index] : "unknown";
}

std::string joined(std::vector<std::string> const& texts, std::size_t limit)
{
    std::string line;
    for (std::size_t index = 0; index < std::min(texts.size(), limit); ++index) {
        line += (index == 0 ? "" : ", ") + texts[index];
    }
    if (texts.size() > limit) {
        line += " and " + std::to_string(texts.size() - limit) + " more";
    }
    return line;
}

void TextTable::print(std::size_t indent) const
{
    std::vector<std::size_t> widths;
    for (std::vector<std::string> const& row : m_rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], widthOf(row[column]));
        }
    }
    for (std::vector<std::string> const& row : m_rows) {
        std::string line(indent, ' ');
        for (std::size_t column = 0; column < row.size(); ++column) {
            // A column in which no row has anything takes no room.
            if (widths[column] != 0) {
                line += row[column] + std::string(widths[column] - widthOf(row[column]) + 2, ' ');
            }
        }
        line.erase(line.find_last_not_of(' ') + 1);
        std::cout << line << '\n';
    }
}

}  // namespace zemhost

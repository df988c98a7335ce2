// Blocks of a drawing as commands name and use them.

#pragma once

#include "cli/drawing.h"
#include "cli/text_format.h"
#include "db/od_db_block_table.h"

#include <functional>
#include <string>
#include <vector>

namespace zemhost {

/// The name by which commands know model space where none is given.
constexpr char const* kModelSpaceName = "*Model_Space";

/// Whether a block may be one of an external drawing.
enum class ExternalBlocks
{
    kRefused,
    kAllowed
};

/// The block of a name, which compares without case; model space for an empty one.
///
/// \throws HostError (findings) if there is none or it can't be read, (usage) for one of an external
///         drawing where that is refused.
OdDbBlockTableRecordPtr openBlock(OdDbDatabase& database, std::string const& name,
                                  ExternalBlocks externals, OdDb::OpenMode mode = OdDb::kForRead);

/// All blocks that can be read, in order of names.
std::vector<OdDbObjectId> blocksOf(OdDbDatabase& database);

/// "model space", "paper space", or "block NAME", ready for a terminal.
std::string blockText(OdDbBlockTableRecord const& block);

/// Checks a name that a new block is to have.
/// \throws HostError (usage) for an empty name, one that starts with "*" or one that is taken.
void requireNewBlockName(OdDbDatabase& database, std::string const& name);

/// Runs an operation with values that the user gave. \throws HostError (usage) naming `subject` where
/// the platform refuses the values, else as `guardDrawing`.
void guardValues(std::string const& subject, std::function<void()> const& operation);

/// Refuses to write over a file, or over the drawing that is read, and what `checkTarget` refuses.
///
/// \param source   The drawing that is read.
/// \param replace  Whether a file at `target` may be replaced if it is a drawing.
/// \throws HostError (file), and (usage) if both are the same file.
void requireTarget(std::string const& source, std::string const& target, bool replace);

/// "X,Y,Z" or "X,Y" as numbers; `option` is named in what is thrown.
/// \throws HostError (usage).
OdGePoint3d pointFromWord(std::string const& option, std::string const& word);

/// The shortest text that reads as the same number.
std::string exactNumber(double value);

/// "(X, Y, Z)".
std::string pointText(OdGePoint3d const& point);

/// Such as "millimeters".
std::string unitsName(OdDb::UnitsValue units);

/// Texts one behind the other with ", " between them; those behind the first `limit` are counted.
std::string joined(std::vector<std::string> const& texts, std::size_t limit = 8);

/// Columns of texts, each as wide as its longest text.
class TextTable
{
public:
    void addRow(std::vector<std::string> cells) { m_rows.push_back(std::move(cells)); }
    /// Writes the rows to standard output, each behind `indent` spaces.
    void print(std::size_t indent) const;

private:
    std::vector<std::vector<std::string>> m_rows;
};

}  // namespace zemhost

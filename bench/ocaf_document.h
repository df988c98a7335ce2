// The peer's side of the document benchmark: the same objects in an OCAF document.
//
// Each object is a label with the attributes Name, Integer, Real, RealArray of 8 and Reference. The
// labels lie 100 to a parent in three levels, the layout in which OCAF is fastest: it finds a child by
// walking along its siblings. The file format is BinOcaf.

#pragma once

#include <cstddef>
#include <filesystem>

namespace bench {

/// Figures of making a document and saving it.
struct OcafSaveFigures
{
    double buildSeconds = 0;
    double saveSeconds = 0;  ///< into the system's cache, not synced to disk
    double fileBytes = 0;
    double peakMib = 0;  ///< resident memory of the process when it has saved
};

/// Figures of opening a document and reading it.
struct OcafLoadFigures
{
    double loadSeconds = 0;          ///< opening, which reads everything
    double peakMib = 0;              ///< resident memory of the process when it has loaded
    double tableSeconds = 0;         ///< making the table from entry text to label
    double lookupsPerSecond = 0;     ///< entry text to label to one property, at random
    double attributesPerSecond = 0;  ///< the same with the label in hand
    double wrong = 0;                ///< values that aren't those that were saved
};

/// Rates of changes of one real each.
struct OcafUndoFigures
{
    double commitsPerSecond = 0;
    double undosPerSecond = 0;
    double redosPerSecond = 0;
    double wrong = 0;  ///< values that aren't the ones before or after the changes
};

/// Look-ups that ocafLoad times.
constexpr std::size_t kOcafLookups = 1'000'000;

/// Makes a document of `count` objects, 1 to 10 million, and saves it.
///
/// \param path  Must end in ".cbf", which OCAF would append otherwise; a file there is replaced.
/// \throws std::runtime_error if OCAF doesn't save.
OcafSaveFigures ocafSave(std::size_t count, const std::filesystem::path& path);

/// Opens what ocafSave saved with the same count, checks every attribute of every object and times
/// random look-ups. \throws std::runtime_error if OCAF doesn't open it.
OcafLoadFigures ocafLoad(std::size_t count, const std::filesystem::path& path);

/// Commits `changes` commands that set one real each on random ones of `count` objects, takes all of
/// them back and does them again. \throws std::runtime_error if OCAF refuses one.
OcafUndoFigures ocafUndo(std::size_t count, std::size_t changes);

}  // namespace bench

// Our side of the document benchmark: one function for each phase, each to be run in a process of
// its own.

#pragma once

#include "root/od_string.h"

#include <cstddef>

/// Times in seconds of making a drawing of `count` objects and saving it.
struct ZemSaveFigures
{
    double build = 0.0;
    double save = 0.0;     ///< synced to disk
    double saveTen = 0.0;  ///< again, after a change of ten objects
    double fileBytes = 0.0;
    double peakMib = 0.0;  ///< resident memory of the process when it has saved
};

/// Times of opening a drawing and of reading it.
struct ZemLoadFigures
{
    double open = 0.0;
    double touchAll = 0.0;        ///< `open`, and opening each object once, in order of handles
    double peakMib = 0.0;         ///< resident memory of the process after that
    double lookupsPerSecond = 0;  ///< handle to id to open object to one property, at random
    double opensPerSecond = 0;    ///< the same with the id in hand
    double wrong = 0.0;           ///< objects whose values aren't those that were saved
};

struct ZemUndoFigures
{
    double commitsPerSecond = 0.0;
    double undosPerSecond = 0.0;
    double redosPerSecond = 0.0;
    double wrong = 0.0;
};

/// Makes and saves a drawing.
ZemSaveFigures zemSave(std::size_t count, OdString const& path);
/// Opens it, reads every object, checks every value and looks objects up at random.
ZemLoadFigures zemLoad(std::size_t count, OdString const& path);
/// Opens it and touches nothing; the seconds it takes.
double zemOpenOnly(OdString const& path);
/// Commits `changes` changes of one real each, takes all of them back and does them again, on
/// random ones of `count` objects with one owner.
/// \param among  So many of the objects are changed, the first ones.
ZemUndoFigures zemUndo(std::size_t count, std::size_t changes, std::size_t among);

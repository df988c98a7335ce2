// The peer's side of the document benchmark: the OCAF framework on the same content.

#pragma once

#include <cstddef>
#include <string>

struct OcafSaveFigures
{
    double build = 0.0;
    double save = 0.0;
    double fileBytes = 0.0;
};

struct OcafLoadFigures
{
    double load = 0.0;
    double lookupsPerSecond = 0.0;  ///< entry to label to one attribute, at random, by table
    double readsPerSecond = 0.0;    ///< the same with the label in hand
    double wrong = 0.0;
};

struct OcafUndoFigures
{
    double commitsPerSecond = 0.0;
    double undosPerSecond = 0.0;
    double redosPerSecond = 0.0;
    double wrong = 0.0;
};

/// Labels in three levels of a hundred each, which is the framework's best layout.
OcafSaveFigures ocafSave(std::size_t count, std::string const& path);
OcafLoadFigures ocafLoad(std::size_t count, std::string const& path);
OcafUndoFigures ocafUndo(std::size_t count, std::size_t changes);

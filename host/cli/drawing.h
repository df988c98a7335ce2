// Drawings as commands use them: opened by path, with failures told to the user.

#pragma once

#include "cli/host_session.h"
#include "db/od_db_database.h"
#include "store/od_db_drawing.h"

#include "protocol/host_error.h"

#include <functional>
#include <string>

namespace zemhost {

/// What goes on while a drawing is saved or a part imported, on one line of a terminal.
///
/// Writes to standard error, and only if that is a terminal; the line is gone when the object is.
class ProgressLine
{
public:
    explicit ProgressLine(std::string title);
    ProgressLine(ProgressLine const&) = delete;
    ProgressLine& operator=(ProgressLine const&) = delete;
    ~ProgressLine();

    /// \param fraction  0 to 1.
    void show(double fraction, std::string const& step);

private:
    std::string m_title;
    bool m_isTerminal;
    int m_lastPercent = -1;
};

/// \throws HostError (file) with what is wrong and what can be done.
OdDbDatabasePtr openDrawing(HostSession& session, std::string const& path,
                            OdDbOpenDrawingMode mode);

/// Refuses a place that no drawing can be saved to, before any work is done for it: a folder that is
/// missing or closed to the user, what is no file, and a file of another program, which a typing
/// error must not cost its owner. A drawing or an empty file may be there.
///
/// \throws HostError (file).
void checkTarget(std::string const& path);

/// Whether a file is a drawing by its first bytes, however damaged the rest of it may be.
bool isDrawingFile(std::string const& path);

/// Saves into the drawing's own file. \throws HostError (file).
void saveDrawing(OdDbDatabase& database);

/// Saves into another file, which may be there. \throws HostError (file).
void saveDrawingAs(OdDbDatabase& database, std::string const& path, int dwgVersion);

/// A handle in hexadecimal. \throws HostError (usage) for text that is none.
OdDbHandle handleFromText(std::string const& text);

/// An object, or why there is none: "isn't there" or "can't be read: ...".
struct OpenedObject
{
    OdDbObjectPtr object;
    std::string problem;
};
OpenedObject tryOpen(OdDbDatabase& database, OdDbHandle handle, OdDb::OpenMode mode);

/// The object of a handle in hexadecimal.
///
/// \throws HostError (usage) for text that is no handle, (findings) if the drawing has no such object
///         or it can't be read.
OdDbObjectPtr openByHandle(OdDbDatabase& database, std::string const& handle, OdDb::OpenMode mode);

/// Why an object of the drawing could not be opened.
std::string damageOf(OdDbDatabase& database, OdDbHandle handle);

/// Warns of the objects that could not be read up to now, so that what they hold is missing in what a
/// command shows or makes.
///
/// \return Findings if there are any.
ExitCode tellOfDamages(OdDbDatabase& database, std::string const& path);

/// Walks the handles of all objects in ascending order; loads none.
void forEachHandle(OdDbDatabase const& database, std::function<void(OdDbHandle)> const& visit);

/// The name of an object's class, for a proxy that of the class it stands for.
std::string classNameOf(OdDbObject const& object);

/// Runs an operation on a drawing. \throws HostError for each OdError out of it.
void guardDrawing(std::function<void()> const& operation);

/// Length of a file in bytes; 0 if it can't be told.
std::uint64_t fileSize(std::string const& path);

}  // namespace zemhost

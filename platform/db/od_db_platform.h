// Start and end of the platform.

#pragma once

/// Registers the platform's classes, root to database layer. Calls nest; each needs its `odDbStop`.
/// A host starts the platform before it loads a module.
/// \throws OdError (class already registered) if a name is taken; nothing is registered then.
void odDbStart();

/// Ends one `odDbStart`; the last one takes the classes away.
/// \throws OdError (database in use) if databases are alive, (module in use) if classes are left that
///         were registered since the platform started, as by a module; the platform goes on then.
void odDbStop();

/// The platform, started for as long as this object lives.
class OdDbPlatform
{
public:
    OdDbPlatform() { odDbStart(); }
    OdDbPlatform(OdDbPlatform const&) = delete;
    OdDbPlatform& operator=(OdDbPlatform const&) = delete;
    /// Reports living databases and classes that are left through the assertion sink.
    ~OdDbPlatform();
};

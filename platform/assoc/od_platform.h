// Start and end of the whole platform: the one call of hosts and tests.

#pragma once

/// Registers all classes of the platform, those of the database layer first. Calls nest; each needs
/// its `odPlatformStop`. A host starts the platform before it loads a module.
/// \throws OdError (class already registered) if a name is taken; nothing is registered then.
void odPlatformStart();

/// Ends one `odPlatformStart`; the last one takes the classes away.
/// \throws OdError (database in use) if databases are alive, (module in use) if classes are left that
///         were registered since the platform started, as by a module; the platform goes on then.
void odPlatformStop();

/// The platform, started for as long as this object lives.
class OdPlatform
{
public:
    OdPlatform() { odPlatformStart(); }
    OdPlatform(OdPlatform const&) = delete;
    OdPlatform& operator=(OdPlatform const&) = delete;
    /// Reports living databases and classes that are left through the assertion sink.
    ~OdPlatform();
};

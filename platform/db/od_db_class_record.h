// What a database remembers of a class, so that objects outlive the module that made them.

#pragma once

#include "root/od_string.h"

class OdRxClass;

/// The names and flags of a class as a drawing stores them.
struct OdDbClassRecord
{
    OdString name;     ///< registered name
    OdString dxfName;  ///< name in interchange files
    OdString appName;  ///< application string
    int dwgVersion = 0;
    int maintenanceVersion = 0;
    int proxyFlags = 0;

    friend bool operator==(OdDbClassRecord const&, OdDbClassRecord const&) = default;
};

/// The record of a registered class.
OdDbClassRecord odDbClassRecordOf(OdRxClass const& cls);

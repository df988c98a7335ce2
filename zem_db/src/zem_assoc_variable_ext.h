// What the module keeps with a variable, in the variable's extended data.

#pragma once

#include "db/od_db_object.h"
#include "root/od_string.h"

class ZemProperties;

/// The module's view of one variable: a bag that is stored as the variable's extended data.
///
/// Reference counted and in no database. It holds a pointer to its variable and so keeps it open; it
/// is made for a few calls and not kept.
class ZemAssocVariableExt : public OdRxObject
{
    RX_DECLARE_CLASS(ZemAssocVariableExt);

public:
    /// A value with its unit. A value type.
    struct Measurement
    {
        double value = 1.0;
        int type = 0;  ///< 0 none or a custom unit, 1 length, 2 area, 3 volume
        OdDb::UnitsValue units = OdDb::UnitsValue::kUnitsUndefined;
        OdString unitsString;  ///< text of the unit; for a custom unit the only thing that names it
    };

    ~ZemAssocVariableExt() override;

    /// The variable; null until one is put in. The reference is good as long as this object.
    virtual OdDbObjectPtr& getDbObject() = 0;
    /// The variable's bag, read from its extended data at the first call with that variable; empty
    /// if it has none. Without a variable the bag is what it was.
    virtual ZemProperties& data() = 0;
    /// Writes the bag back. The variable must be open for write; without one nothing happens.
    virtual void writeData() = 0;
};

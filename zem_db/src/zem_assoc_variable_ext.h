// What the module keeps with a variable, in the variable's extended data.

#pragma once

#include "db/od_db_object.h"
#include "root/od_string.h"

class OdDbAssocVariable;
class ZemProperties;

/// The module's view of one variable: a bag that is stored as the variable's extended data, and what
/// follows from it: whether the variable is shown to the user, what it measures, and in which units.
///
/// Reference counted and in no database. It holds a pointer to its variable and so keeps it open,
/// which puts off the notice of a change; it is made for a few calls and not kept. Operations that
/// change the bag store it at once and raise the variable to write for that. They, and those that ask
/// the variable, need one to be put in.
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

    /// A new extension of a variable, which is open for read; null for null. Each call makes one of
    /// its own, which reads the variable's extended data anew.
    /// \throws OdError (class not registered).
    static OdSmartPtr<ZemAssocVariableExt> cast(OdDbAssocVariable* variable);
    static OdSmartPtr<ZemAssocVariableExt> cast(OdSmartPtr<OdDbAssocVariable> const& variable);

    /// The variable; null until one is put in. The reference is good as long as this object.
    virtual OdDbObjectPtr& getDbObject() = 0;
    /// The variable's bag, read from its extended data at the first call with that variable; empty
    /// if it has none. Without a variable the bag is what it was.
    virtual ZemProperties& data() = 0;
    /// Writes the bag back; the variable is raised to write. Without one nothing happens.
    virtual void writeData() = 0;

    /// \name Exposure to the user
    /// @{
    /// Whether the exposure was set.
    bool isOverriddenExpose();
    /// What was set; false if nothing was.
    bool isExposed();
    void setExposed(bool exposed);
    /// Takes back what was set.
    void setDefaultExpose();
    /// @}

    /// \name What the variable measures: 0 nothing or a custom unit, 1 length, 2 area, 3 volume
    /// @{
    /// The type that was set; 0 if none was.
    int measurementType();
    /// Sets the type, and drops a custom unit. A type is not stored, nor is 0, where the variable is a
    /// length by its constraint or as a thickness of sheet metal.
    void setMeasurementType(int type);
    /// Whether the variable drives a constraint that is an angle.
    bool isAngularDimension();
    /// Whether the variable is a length: by its type, its constraint, or as a thickness of sheet
    /// metal.
    bool isLinearDimension();
    /// Whether the variable is the thickness of the sheet metal of its block.
    bool isSMThickness();
    /// @}

    /// \name Units
    /// @{
    /// The units of the block that the variable belongs to; for model space those of the drawing;
    /// undefined for a variable of no block.
    OdDb::UnitsValue getBlockUnits();
    /// The short name of a unit; empty for the undefined one and for numbers that are none.
    static OdString unitsToString(OdDb::UnitsValue units);
    /// The name of the unit of a measurement type, such as "mm^2"; empty without unit or type.
    static OdString measurementTypeToString(OdDb::UnitsValue units, int type);
    /// The text of the variable's unit, custom ones too; empty if it has none.
    OdString unitsAsString();
    /// \param withValue  Whether the variable's value is taken; 1.0 otherwise.
    Measurement getMeasurement(bool withValue);
    /// @}

    /// \name Conversion
    /// @{
    /// The variable's value in other units.
    Measurement convertMeasurement(OdDb::UnitsValue target);
    /// A measurement in other units. A custom unit is converted by the host; without its help, and
    /// where it fails, the value stays and the text of the unit is empty.
    static Measurement convertMeasurement(OdDb::UnitsValue target, Measurement const& measurement);
    /// What one of the variable's units is in other ones.
    double getScaleFactor(OdDb::UnitsValue target);
    /// @}

    /// \name Keeping an expression
    /// @{
    /// Keeps the variable's expression in the bag.
    void storeExpression();
    /// Gives the variable the expression back that was kept, if there is one, and forgets it. One that
    /// would make the variable depend on itself is not set.
    void restoreExpression();
    /// @}
};

// Symbol tables whose records are plain settings: applications, layers, line types.

#pragma once

#include "db/od_db_symbol_table.h"
#include "root/od_cm_color.h"

/// An application that may have extended data.
class OdDbRegAppTableRecord : public OdDbSymbolTableRecord
{
    RX_DECLARE_CLASS(OdDbRegAppTableRecord);

public:
    static OdSmartPtr<OdDbRegAppTableRecord> createObject();
};

class OdDbRegAppTable : public OdDbSymbolTable
{
    RX_DECLARE_CLASS(OdDbRegAppTable);

protected:
    OdRxClass* recordClass() const override;
};

/// A pattern of lines.
class OdDbLinetypeTableRecord : public OdDbSymbolTableRecord
{
    RX_DECLARE_CLASS(OdDbLinetypeTableRecord);

public:
    static OdSmartPtr<OdDbLinetypeTableRecord> createObject();

    /// A text for a reader.
    OdString comments() const;
    void setComments(OdString const& comments);
    /// Lengths of dashes (above 0), dots (0) and gaps (below 0), in drawing units; empty for a
    /// continuous line.
    OdArray<double> dashes() const;
    void setDashes(OdArray<double> const& dashes);

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

private:
    OdString m_comments;
    OdArray<double> m_dashes;
};

class OdDbLinetypeTable : public OdDbSymbolTable
{
    RX_DECLARE_CLASS(OdDbLinetypeTable);

protected:
    OdRxClass* recordClass() const override;
};

/// What the entities of a layer have in common.
class OdDbLayerTableRecord : public OdDbSymbolTableRecord
{
    RX_DECLARE_CLASS(OdDbLayerTableRecord);

public:
    static OdSmartPtr<OdDbLayerTableRecord> createObject();

    OdString description() const;
    void setDescription(OdString const& description);
    bool isLocked() const;
    void setIsLocked(bool locked);
    bool isFrozen() const;
    void setIsFrozen(bool frozen);
    bool isOff() const;
    void setIsOff(bool off);
    bool isPlottable() const;
    void setIsPlottable(bool plottable);
    OdCmEntityColor color() const;
    void setColor(OdCmEntityColor const& color);
    OdDbObjectId linetypeObjectId() const;
    /// \throws OdError (not that kind of class) for an id of something that is no line type, (wrong
    ///         database).
    void setLinetypeObjectId(OdDbObjectId linetype);
    /// In hundredths of a millimetre; -3 for the drawing's default.
    int lineWeight() const;
    void setLineWeight(int lineWeight);
    /// From 0, opaque, to 1, clear.
    double transparency() const;
    void setTransparency(double transparency);
    OdString plotStyleName() const;
    void setPlotStyleName(OdString const& name);
    OdDbObjectId materialId() const;
    /// \throws OdError (not that kind of class) for an id of something that is no material, (wrong
    ///         database).
    void setMaterialId(OdDbObjectId material);

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

protected:
    void requireReferencesIn(OdDbDatabase const& database) const override;

private:
    enum Flag : std::uint8_t
    {
        kLocked = 1,
        kFrozen = 2,
        kOff = 4,
        kNotPlottable = 8
    };
    bool flag(Flag bit) const;
    void setFlag(Flag bit, bool on);

    OdString m_description;
    OdString m_plotStyleName;
    OdCmEntityColor m_color;
    OdDbObjectId m_linetype;
    OdDbObjectId m_material;
    double m_transparency = 0.0;
    std::int32_t m_lineWeight = -3;
    std::uint8_t m_flags = 0;
};

class OdDbLayerTable : public OdDbSymbolTable
{
    RX_DECLARE_CLASS(OdDbLayerTable);

protected:
    OdRxClass* recordClass() const override;
};

using OdDbLayerTableRecordPtr = OdSmartPtr<OdDbLayerTableRecord>;
using OdDbLinetypeTableRecordPtr = OdSmartPtr<OdDbLinetypeTableRecord>;
using OdDbRegAppTableRecordPtr = OdSmartPtr<OdDbRegAppTableRecord>;

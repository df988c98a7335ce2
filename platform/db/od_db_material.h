// Materials: what surfaces are made of, for rendering.

#pragma once

#include "db/od_db_object.h"
#include "root/od_cm_color.h"

/// How a surface looks when it is rendered. Lies in the material dictionary of its database, under
/// its name.
///
/// Shares are numbers from 0 to 1, both included; a setter throws OdError (bad input) for others.
class OdDbMaterial : public OdDbObject
{
    RX_DECLARE_CLASS(OdDbMaterial);

public:
    OdDbMaterial();
    ~OdDbMaterial() override;
    static OdSmartPtr<OdDbMaterial> createObject();

    OdString name() const;
    void setName(OdString const& name);
    OdString description() const;
    void setDescription(OdString const& description);
    /// Colour of the surface in even light; `kNone` for that of the entity.
    OdCmEntityColor diffuse() const;
    void setDiffuse(OdCmEntityColor const& color);
    /// Share of light that is let stand: 1 for opaque, 0 for clear.
    double opacity() const;
    void setOpacity(double opacity);
    /// Share of light that is mirrored.
    double reflectivity() const;
    void setReflectivity(double reflectivity);
    /// Share of the surface's own light.
    double selfIllumination() const;
    void setSelfIllumination(double selfIllumination);

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

private:
    OdString m_name;
    OdString m_description;
    double m_opacity = 1.0;
    double m_reflectivity = 0.0;
    double m_selfIllumination = 0.0;
    OdCmEntityColor m_diffuse;
};

using OdDbMaterialPtr = OdSmartPtr<OdDbMaterial>;

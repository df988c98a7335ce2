// What entities share: checks of numbers and colours, and how a matrix maps a plane's entity.

#pragma once

#include "ge/od_ge_extents3d.h"
#include "ge/od_ge_matrix3d.h"
#include "ge/od_ge_point2d.h"
#include "ge/od_ge_point3d.h"
#include "ge/od_ge_vector3d.h"
#include "root/od_cm_color.h"
#include "root/od_result.h"

#include <cstdint>

class OdDbDwgFiler;

namespace odDbPlanar {

/// \name Checks of what a caller gives
/// Numbers that are not finite have no place in a drawing: nothing could be measured any more.
/// \throws OdError (bad input).
/// @{
double finite(double value);
double positive(double value);
double notNegative(double value);
OdGePoint2d finite(OdGePoint2d const& point);
OdGePoint3d finite(OdGePoint3d const& point);
OdGeVector2d finite(OdGeVector2d const& vector);
OdGeVector3d finite(OdGeVector3d const& vector);
/// The vector with length 1; one that has that length already is returned bit for bit.
OdGeVector3d unit(OdGeVector3d const& vector);
/// @}

/// \name Reading of the same
/// \throws OdError (bad stream).
/// @{
double readFinite(OdDbDwgFiler& filer);
double readPositive(OdDbDwgFiler& filer);
double readNotNegative(OdDbDwgFiler& filer);
OdGePoint2d readPoint2d(OdDbDwgFiler& filer);
OdGeVector2d readVector2d(OdDbDwgFiler& filer);
OdGePoint3d readPoint3d(OdDbDwgFiler& filer);
OdGeVector3d readVector3d(OdDbDwgFiler& filer);
OdGeVector3d readUnit(OdDbDwgFiler& filer);
OdCmEntityColor readColor(OdDbDwgFiler& filer);
/// A number of an enumeration from 0 on, stored in a byte.
std::uint8_t readEnum(OdDbDwgFiler& filer, std::uint8_t last);
/// @}

/// Whether an entity may be transformed by a matrix at all: finite, without perspective, and not
/// flattening space.
bool isUsable(OdGeMatrix3d const& matrix);
bool isFinite(OdGePoint3d const& point);
bool isFinite(OdGeVector3d const& vector);

/// How a matrix maps the plane of an entity with a normal, and what lies in that plane.
///
/// The plane's new normal is on the side to which the matrix takes the old one. Seen against it, a
/// matrix that reverses space turns the content over, see `isMirrored`.
struct PlaneMap
{
    OdGeVector3d normal;   ///< of the plane afterwards, of length 1
    OdGeMatrix3d inPlane;  ///< from entity coordinates of the old normal to those of the new one
    double scale = 1.0;    ///< of lengths in the plane; of use if `isSimilar`
    double alongNormal = 1.0;    ///< factor of lengths along the normal
    bool isSimilar = true;       ///< shapes in the plane stay similar, or become mirror images
    bool isMirrored = false;     ///< shapes in the plane are turned over
    bool keepsExtrusion = true;  ///< what stood on the plane upright still does

    /// \return Nothing changed and false for a matrix that isn't usable.
    [[nodiscard]] bool set(OdGeMatrix3d const& matrix, OdGeVector3d const& oldNormal);

    OdGePoint2d map(OdGePoint2d const& point, double elevation) const;
    OdGeVector2d map(OdGeVector2d const& vector) const;
    /// The elevation above the plane through the origin, of what had the given one.
    double mapElevation(double elevation) const;
    /// The angle, in [0, 2 pi), of what had the given one, both in entity coordinates.
    double mapAngle(double angleRad) const;
    /// Whether what is extruded by a thickness can be mapped.
    bool holds(double thickness) const;
};

/// A point of an entity's plane in world coordinates.
OdGePoint3d toWorld(OdGeVector3d const& normal, OdGePoint2d const& point, double elevation);
/// Entity coordinates of a world point; the third is its elevation.
OdGePoint3d toPlane(OdGeVector3d const& normal, OdGePoint3d const& point);
/// The direction, of length 1, of an angle in an entity's plane.
OdGeVector3d direction(OdGeVector3d const& normal, double angleRad);
/// Gives extents that were found.
/// \return 0, or (not applicable), with `extents` untouched, if there are none or they have left what
///         numbers can hold.
OdResult giveExtents(OdGeExtents3d const& found, OdGeExtents3d& extents);
/// Adds what an extrusion of the extents' content along the normal covers.
void addExtrusion(OdGeExtents3d& extents, OdGeVector3d const& normal, double thickness);
/// The angle within [0, 2 pi).
double normalAngle(double angleRad);

}  // namespace odDbPlanar

// Upkeep of links and constraints: the oldest form of bags, and names that stay apart.

#pragma once

#include "root/od_result.h"
#include "root/od_string.h"

#include "zem_database_utils.h"  // the orders of ids, parts and paths

#include <set>

class OdDbDwgFiler;
class ZemProperties;
struct ZemExtendedPath;

namespace zemu {

/// Reads a bag in the form that drawings had before values had types: a map of texts.
///
/// Each pair becomes a text in the bag. The keys "AngleFirstArgOrientation",
/// "AngleSecondArgOrientation" and "AngleThirdArgOrientation" become one text instead, under
/// "AngleArgsOrientation": a "-" in the place of each that is "Negative", a "+" in the others. Pairs
/// with an empty key are skipped.
///
/// \param bag  Loses all entries, those that were bound too: their holder has to bind them again.
/// \return 0; (bad stream) for a negative count. \throws OdError (bad stream) at the end of the
///         filer's data. The bag is untouched then.
[[nodiscard]] OdResult dwgInOldPropertyMap(OdDbDwgFiler* filer, ZemProperties& bag);

/// The order of arguments of constraints by their places: -1, 0 or +1. Parts of coordinate systems come
/// first, by the numbers of the parts alone; then paths, as `compareFullSubentPath` has them.
int compareExtendedPath(ZemExtendedPath const& left, ZemExtendedPath const& right);

/// \name Names
/// @{
/// A name without the digits 0 to 9 at its end, and without an underscore in front of them. A name of
/// nothing else gives the empty text.
OdString removeNumericSuffix(OdString const& name);
/// The first of "base_N", with N from `start` on, that isn't among the names.
/// \param names  Gets the name.
OdString generateUniqueName(OdString const& base, std::set<OdString>& names, int start);
/// @}

}  // namespace zemu

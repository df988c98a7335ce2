// Inserts whose scale a variable drives.

#pragma once

#include "cli/host_session.h"
#include "db/od_db_block_reference.h"

#include <optional>
#include <string>
#include <vector>

namespace zemhost {

/// What drives the scale of an insert (a block reference).
///
/// It lies in the insert's bag, where everyone can see and change it: `ScaleVariable` is the name of a
/// variable of the block that the insert lies in, `BaseScale` three factors that its value is
/// multiplied with, all 1 if it is missing. Names rather than handles, so that a clone of the block,
/// in this drawing or in another one, goes on with the variable of its own network.
struct ScaleDrive
{
    OdString variable;
    OdGeScale3d base;
};

/// What an insert's bag says of its scale; none if it says nothing.
/// \throws HostError (findings) for a bag that can't be read or values of wrong types.
std::optional<ScaleDrive> scaleDriveOf(HostBagExtension const& bags,
                                       OdDbBlockReference const& insert);

/// Writes it into the insert's bag. \param insert  Open for write.
void setScaleDrive(HostBagExtension const& bags, OdDbBlockReference& insert,
                   ScaleDrive const& drive);
/// Takes it out of the insert's bag; the scale stays. \param insert  Open for write.
void removeScaleDrive(HostBagExtension const& bags, OdDbBlockReference& insert);

/// An insert that is driven, or says so and can't be.
struct DrivenInsert
{
    OdDbObjectId id;
    std::string block;  ///< name of what is inserted
    ScaleDrive drive;
    std::optional<double> value;  ///< of the variable; none if there is no such variable
    OdGeScale3d before;           ///< scale that it had
    OdGeScale3d scale;            ///< scale that it has
    std::string problem;          ///< why the scale can't be driven; empty if it can
};

/// The inserts of a block that a variable drives; all are looked at, unchanged.
std::vector<DrivenInsert> drivenInserts(HostBagExtension const& bags, OdDbObjectId block);

/// Gives the inserts of a block the scales that their variables say; those with a problem keep theirs.
std::vector<DrivenInsert> updateDrivenInserts(HostBagExtension const& bags, OdDbObjectId block);

/// Whether a block holds inserts; loads no entity.
bool hasInserts(OdDbObjectId block);

/// "2.5", or "(2.5, 2.5, -2.5)" if the factors differ.
std::string scaleText(OdGeScale3d const& scale);

}  // namespace zemhost

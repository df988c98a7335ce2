// Blocks: finding, comparing, making and copying them, and the references that lead into them.

#pragma once

#include "db/od_db_block_table.h"
#include "root/od_array.h"
#include "root/od_smart_ptr.h"

class OdDbIdMapping;
class OdDbIdPair;
class OdDbViewport;
class OdGeMatrix3d;
class OdGeScale3d;

namespace zemu {

/// \name Comparing and finding
/// @{
/// Whether a block's name starts with "*U", as the names of the module's anonymous blocks do. False
/// for a null block.
bool canBeZemAnonymousBlock(OdDbBlockTableRecord const* block);
/// Whether two blocks have entities of the same classes in the same order. Their geometry is not
/// looked at, nor are erased entities.
///
/// \return False for a null block, and where an entity can't be opened.
bool isEqualBTR(OdDbBlockTableRecord const* left, OdDbBlockTableRecord const* right);
/// As above; false also for ids that are no blocks.
bool isEqualBTR(OdDbObjectId left, OdDbObjectId right);
/// The block of a name, compared without case; null if there is none, or for a null database.
OdDbObjectId findBtrByName(OdDbDatabase* database, OdString const& name);
/// Makes the block that has the name of the pair's key block in `database` the value of the pair.
///
/// \return False, with the pair untouched, if there is none, if the key is no block, or if its name
///         was made by the system and so says nothing about another drawing.
bool findBTRMappingByName(OdDbDatabase* database, OdDbIdPair& pair);
/// @}

/// \name Making and copying
/// Blocks that can't be opened, or are none, are left alone. What is changed is part of undo.
/// @{
/// Makes a block with a name that starts with "*U" and the insert units of the database.
/// \return Its id; null for a null database.
OdDbObjectId createEmptyAnonymousBlock(OdDbDatabase* database);
/// Gives a block the insert units of another one. On either side model space stands for its
/// database, whose insert units count there.
void copyBlockUnits(OdDbObjectId source, OdDbObjectId target);
/// Gives a block the origin of another one. On either side model space and paper space stand for
/// their database, whose insert base for that space counts there.
void copyBlockBasePoint(OdDbObjectId source, OdDbObjectId target);
/// Clones all entities of a block, in their order, to another block of the same drawing, with the
/// base point and the units. What the target holds already stays in front.
///
/// \param withConstruction  Whether entities that only serve construction are cloned too; no class
///                          of the platform is of that kind, so nothing is left out without it.
/// \param mapping           Knows the clones afterwards; a new one is made if it is null.
/// \param translateNow      Whether references between the clones lead to clones when the call
///                          returns. Without, they do from the next operation with the mapping on,
///                          which then sees all that was cloned.
/// \return The target; null, with nothing done, if one of the two is no block that can be opened.
/// \throws OdError (wrong database), (cyclic reference) if the target would come to contain itself,
///         and then nothing has changed; what else `OdDbDatabase::deepCloneObjects` throws.
OdDbObjectId cloneBlock(OdDbObjectId source, OdDbObjectId target, bool withConstruction,
                        OdSmartPtr<OdDbIdMapping>& mapping, bool translateNow);
/// As above, with references that are translated.
OdDbObjectId cloneBlock(OdDbObjectId source, OdDbObjectId target, bool withConstruction,
                        OdSmartPtr<OdDbIdMapping>& mapping);
/// As above, to a new anonymous block. \return That block; null for a source that is no block.
OdDbObjectId cloneBlock(OdDbObjectId source, bool withConstruction,
                        OdSmartPtr<OdDbIdMapping>& mapping);
/// As `cloneBlock`, to a block of another drawing, while the parameter copy mode is raised there.
/// Named records that the entities use are found by name or cloned with them.
///
/// \param mapping      A new one is made if it is null.
/// \param targetBlock  Null for a new anonymous block of `target`.
/// \return The target block; null, with nothing done, for a null database and for ids that are no
///         blocks that can be opened.
/// \throws What `OdDbDatabase::wblockCloneObjects` throws, such as (wrong database) for a target
///         block that isn't of `target`.
OdDbObjectId wblockBlock(OdDbObjectId source, OdDbDatabase* target, bool withConstruction,
                         OdSmartPtr<OdDbIdMapping> mapping, OdDbObjectId targetBlock);
/// Exchanges the entities of two blocks of a drawing; they keep their ids and their order.
/// \throws OdError (wrong database) for blocks of two drawings, (cyclic reference) if a block would
///         come to contain itself; nothing has changed then.
void swapBlocksContent(OdDbObjectId const& left, OdDbObjectId const& right);
/// @}

/// \name References
/// An id that is no block reference, or whose block can't be opened, answers false or null.
/// @{
/// The scale of a reference for lengths of its drawing: its scale factors times what one unit of its
/// block is in the drawing's insert units; 1 if either has no units.
/// \return Whether `scale` was set.
bool getEffectiveBlockRefScale(OdDbObjectId reference, OdGeScale3d& scale);
/// Sets the scale factors that `getEffectiveBlockRefScale` answers with `scale` for.
/// \return Whether they were set. \throws OdError (bad input) for a factor that is 0 or not finite.
bool setEffectiveBlockRefScale(OdDbObjectId reference, OdGeScale3d const& scale);
/// Whether an array made the object: one of its persistent reactors is a dependency of an action
/// whose body arranges copies. For a block reference, the other references of its block count too.
bool isAssociativeArray(OdDbObject* object);
/// Resolves a path of handles through nested references, from the last id of `ids` on, and appends
/// what is found.
///
/// Each handle is looked up in the drawing whose content the last reference shows: the external
/// drawing of its block, which is loaded if it isn't, or the drawing of the block itself.
/// \param openErased  Whether references that are erased are passed through.
/// \return 0; (unresolved path), with the ids resolved so far in `ids`, if a step can't be taken: a
///         handle that no object has, a reference that can't be opened, a drawing that can't be
///         loaded, or handles without an id to start from.
OdResult makeIdArray(OdArray<OdDbHandle> const& handles, OdDbObjectIdArray& ids,
                     bool openErased = false);
/// Draws the entities again that links lead to: each entity with a model object once, in order of
/// ids. Ids that are no links are passed over.
void markEntToRedraw(OdDbObjectIdArray const& links);
/// @}

/// \name External drawings
/// @{
/// The block that a reference shows, if it is that of an external drawing; null otherwise. Loads
/// nothing.
OdDbObjectId getXrefBlock(OdDbObjectId reference);
/// Loads the external drawing of the block that a reference shows, unless it is loaded.
/// \return The block, with its drawing loaded, open for read; null if there is none or the drawing
///         can't be loaded.
OdDbBlockTableRecordPtr openXrefBlock(OdDbObjectId reference);
/// Unloads the external drawing of a block.
/// \return Whether it isn't loaded now; false for a block of no external drawing, and while objects
///         of the drawing are open.
bool unloadXrefBlock(OdDbObjectId block);
/// Unloads and erases the block of an external drawing, if no reference shows it.
/// \return Whether it was erased.
bool eraseXrefBlock(OdDbObjectId block);
/// @}

/// The transformation from paper space, as seen through a viewport, to the world.
/// \param viewport  Open for read.
/// \return Whether `matrix` was set; false for a null viewport.
bool getPaperDcsToWcsMatrix(OdSmartPtr<OdDbViewport> viewport, OdGeMatrix3d& matrix);

}  // namespace zemu

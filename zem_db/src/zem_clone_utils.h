// Following objects through a clone operation: reverse and extra mappings, blocks that correspond.

#pragma once

#include "db/od_db_id_mapping.h"

#include "zem_database_utils.h"

#include <unordered_map>
#include <unordered_set>
#include <vector>

class OdDbFiler;

/// A second map from id to id beside the mapping of a clone operation, as from block to block.
///
/// An id and the one that it is redirected to count as one key. A value type.
class ZemDbIdMapping
{
public:
    /// Enters a pair. \return False, with nothing changed, if the key is there already.
    bool add(OdDbObjectId key, OdDbObjectId value) { return m_values.emplace(key, value).second; }
    /// The value of a key; null if it is absent.
    OdDbObjectId find(OdDbObjectId key) const;
    std::size_t size() const noexcept { return m_values.size(); }

private:
    std::unordered_map<OdDbObjectId, OdDbObjectId, zemu::hash_ObjectId> m_values;
};

/// The pairs of a mapping by their values. Made once, and not kept in step with the mapping. A value
/// type.
class ZemDbReverseIdMapping
{
public:
    explicit ZemDbReverseIdMapping(OdDbIdMapping& mapping);

    /// Finds the pair of a value; of several the one that was entered first. Takes time with the
    /// logarithm of the number of pairs.
    ///
    /// \param pair  Gets `value` as its value in any case, and on success all else of the pair.
    /// \return Whether there is such a pair.
    bool compute(OdDbObjectId value, OdDbIdPair& pair) const;
    /// Whether an id is the clone of something.
    bool isCloned(OdDbObjectId value) const;

private:
    std::vector<OdDbIdPair> m_pairs;  ///< in ascending order of values
};

namespace zemu {

/// \name Cloning one object
/// @{
/// Clones an object to an owner by `OdDbObject::deepClone`, as one that was asked for.
/// \return The clone, open for write; null if the object can't be opened, or was cloned before with
///         the mapping. \throws What `deepClone` throws.
OdDbObjectPtr deepCloneObject(OdDbObjectId object, OdDbObjectId owner, OdDbIdMapping& mapping);
/// The same by `OdDbObject::wblockClone`, to another database.
OdDbObjectPtr wblockCloneObject(OdDbObjectId object, OdDbObjectId owner, OdDbIdMapping& mapping);
/// @}

/// \name Asking mappings
/// @{
/// Looks a key of the mapping's source database up in the mapping, and then in `extra`.
///
/// \param pair  Carries the key. Filled by the mapping if it knows the key; else only its value is
///              set, by `extra`.
/// \return False for a key of another database, and one that neither knows.
bool tryCompute(OdDbIdMapping& mapping,
                std::unordered_map<OdDbObjectId, OdDbObjectId, zemu::hash_ObjectId>& extra,
                OdDbIdPair& pair);
/// The mapping of the clone operation that a filer belongs to; null for any other filer, or for null.
OdDbIdMapping* getIdMappingFromFiler(OdDbFiler* filer);
/// The blocks that own the entities among the mapping's values.
std::unordered_set<OdDbObjectId, zemu::hash_ObjectId> getClonedBTRs(OdDbIdMapping& mapping);
/// Appends the pairs whose value was asked for, is a clone, and answers `queryX` for a class: objects
/// of derived classes count, and so do those with an extension of that class. Null appends nothing.
void getClonedObjectsByExactType(OdDbIdMapping& mapping, OdRxClass* objectClass,
                                 OdArray<OdDbIdPair>& pairs);
/// @}

/// \name Long transactions
/// @{
/// Whether objects of a database are checked out; false for null, and where the host has none.
bool isInLongTransaction(OdDbDatabase* database);
/// Whether that holds for the mapping's destination or its source.
bool isInLongTransaction(OdDbIdMapping& mapping);
/// @}

/// \name Blocks that correspond, entity by entity
/// Positions count living entities from 0, in the order of the block.
/// @{
/// Finds an entity in a block.
///
/// \param index  Its position; of several the last one. -1 if it isn't there.
/// \param count  Entities of the block; 0 for a block that can't be opened.
/// \return Whether it is there.
bool findEntityIdxInBtr(OdDbObjectId block, OdDbObjectId entity, int& index, int& count);
/// The entity at a position; null for a negative position, and for a block that doesn't have exactly
/// `count` entities: position alone isn't trusted in a block of another size.
OdDbObjectId findEntityInBtrByIdx(OdDbObjectId block, int index, int count);
/// The entity of another block at the position that `entity` has in its own; null if either has none.
OdDbObjectId findCorrespondingEntityByIndexInBTR(OdDbObjectId entity, OdDbObjectId otherBlock);
/// Enters two blocks that are equal, entity class by entity class, and what their references lead to,
/// into a mapping. Blocks of external drawings are entered but not walked.
///
/// \param visited  Source blocks that were met already; each is treated once, so references in a
///                 ring come to an end.
void addBtrMapping(OdDbObjectId source, OdDbObjectId target, ZemDbIdMapping& mapping,
                   std::unordered_set<OdDbObjectId, zemu::hash_ObjectId>& visited);
/// Enters all pairs of blocks that are reached from cloned references or blocks: first what cloned
/// references lead to, then blocks with the block of their name in the destination, then all other
/// blocks with what the mapping made of them.
void buildBtrMapping(OdDbIdMapping& mapping, ZemDbIdMapping& blocks);
/// The database in which the content of a reference's block lies: for an external drawing its own,
/// null while it isn't loaded. Takes erased references; null for an id that is none.
OdDbDatabase* getBlockReferenceDefinitionDb(OdDbObjectId reference);
/// Translates a path of ids, outermost reference first, into the clone's terms: each id by the
/// mapping, else by its position in the block that `blocks` has for its owner, else by its handle in
/// the database that the translated reference before it shows.
///
/// \param target  Receives the path; as far as it came after a failure. May be `source`.
/// \return Whether every id has a translation and the finished path is a valid one.
bool mapObjectPath(OdDbIdMapping& mapping, ZemDbIdMapping const& blocks,
                   OdDbObjectIdArray const& source, OdDbObjectIdArray& target);
/// @}

/// Whether a reactor of a variable is where it belongs: a value dependency at an action, a variable
/// reactor below a dictionary that knows its way down to it. False for null, dictionaries and
/// anything else. The object is open for read.
bool assocVariableReactorIsValid(OdDbObject* reactor);

}  // namespace zemu

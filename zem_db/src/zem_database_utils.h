// Orders and hashes of ids and paths, named objects of a database, and small queries.

#pragma once

#include "db/od_db_subent.h"
#include "root/od_array.h"
#include "root/od_res_buf.h"
#include "root/od_string.h"

#include <cstddef>
#include <initializer_list>

class OdDbDictionaryIterator;
class OdDbIdMapping;
class OdDbObjectIterator;
class OdDbSymbolTableIterator;

/// Name of the module's sub-dictionary in a dictionary of the drawing: "ZEM_DATABASE". It stands in
/// drawings.
extern const OdString kZemDatabaseKey;

namespace zemu {

/// \name Orders
/// Below, equal to or above 0; always -1, 0 or +1.
/// @{
/// By handle, as unsigned numbers, so the null id comes first. Ids of different databases with the
/// same handle take the order of the ids themselves.
int compareObjectId(OdDbObjectId const& left, OdDbObjectId const& right);
/// The shorter array first, then element by element from the front.
int compareObjectIdArray(OdDbObjectIdArray const& left, OdDbObjectIdArray const& right);
/// By type, then by index, both as signed numbers.
int compareSubentId(OdDbSubentId const& left, OdDbSubentId const& right);
/// By object ids, then by sub-entity.
int compareFullSubentPath(OdDbFullSubentPath const& left, OdDbFullSubentPath const& right);
/// @}

/// Order of ids in sets and maps.
struct less_safeObjectId
{
    bool operator()(OdDbObjectId const& left, OdDbObjectId const& right) const
    {
        return compareObjectId(left, right) < 0;
    }
};

/// Order of paths in sets and maps.
struct less_FullSubentPath
{
    bool operator()(OdDbFullSubentPath const& left, OdDbFullSubentPath const& right) const
    {
        return compareFullSubentPath(left, right) < 0;
    }
};

/// Hash of an id by its redirected form, so that an id and the one it stands for count as equal.
struct hash_ObjectId
{
    std::size_t operator()(OdDbObjectId id) const noexcept
    {
        id.convertToRedirectedId();
        return std::hash<OdDbObjectId>()(id);
    }
};

/// \name Named objects
/// Objects that the module keeps under a name, in the named objects dictionary of a drawing or in the
/// extension dictionary of an object. What is looked for and isn't there is no error; nothing is made
/// by looking. What is made is part of undo. Objects are opened, and raised to write, as needed,
/// whatever the caller holds open.
///
/// They throw OdError_NotThatKindOfClass where something else stands in a dictionary's place, and
/// what the platform throws for a dictionary that can't be opened.
/// @{
/// The object under a key of the drawing's sub-dictionary "ZEM_DATABASE".
///
/// \param database     Null gives the null id.
/// \param objectClass  Class of the object to make, and with it the sub-dictionary, if there is none
///                     under the key; null to make nothing.
/// \return The id, null if there is none and nothing is to be made.
/// \throws OdError (null object pointer) for a class that can't be made, OdError_NotThatKindOfClass
///         for one that is no database class, (invalid key); nothing has been made then.
OdDbObjectId getRootObjectByName(OdDbDatabase* database, OdString const& key,
                                 OdRxClass const* objectClass);
/// As `getRootObjectByName`, with the extension dictionary of an object, which is made if an object
/// is to be made and there is none.
///
/// \param dictionaryKey  Name of the sub-dictionary; "ZEM_DATABASE" if it is null.
/// \return The id; null also if `owner` can't be opened.
OdDbObjectId getObjInExtDict(OdDbObjectId const& owner, OdString const& key,
                             OdRxClass const* objectClass, OdString const* dictionaryKey = nullptr);
/// Makes a dictionary in the extension dictionary of an object, which is made as needed, or in the
/// named objects dictionary if `owner` is null.
///
/// \return The id of the new dictionary, or of the one that has the name already; null if there is no
///         such place, if the name is taken by something else, or if it isn't allowed.
OdDbObjectId createDict(OdDbDatabase* database, OdString const& name, OdDbObjectId owner);
/// The entry of that name in the same place; null if there is none.
OdDbObjectId getDict(OdDbDatabase* database, OdString const& name, OdDbObjectId owner);
/// Takes the dictionary of that name away: erases the entries that it owns, removes it from its
/// place, and erases the extension dictionary of `owner` if that has no entries left. Nothing
/// happens if there is no dictionary of the name.
void deleteDict(OdDbDatabase* database, OdString const& name, OdDbObjectId owner);
/// Removes each entry of the named objects dictionary whose name starts with a prefix, with case.
/// An empty prefix, or a null database, removes nothing.
void delDatabaseDictsBeginWith(OdDbDatabase* database, OdString const& prefix);
/// @}

/// \name Texts and arrays
/// @{
/// Whether a text starts with a prefix, compared with case. False for an empty prefix.
bool startsWith(OdString const& text, OdString const& prefix);
/// The parts of a text between separators, none of them empty.
///
/// \param separators  Each of its characters separates; with none the whole text is one part.
OdArray<OdString> tokenize(OdString text, OdString const& separators);
OdDbObjectIdArray make_array(std::initializer_list<OdDbObjectId> ids);
OdArray<OdString> make_array(std::initializer_list<OdString> texts);
/// Frees a chain of records one by one, however long it is; the pointer is null afterwards. A record
/// that somebody else holds is left to them, with all behind it.
void clearRbSequence(OdResBufPtr& chain);
/// @}

/// \name Queries
/// An object that can't be opened, whatever the reason, answers null or false.
/// @{
/// What stands for a key in a mapping; null for a key that the mapping doesn't know.
OdDbObjectId findClone(OdDbIdMapping& mapping, OdDbObjectId key);
/// The owner of an entity; null for an object that is none.
OdDbObjectId getOwnerId(OdDbObjectId const& entity);
/// The object at an iterator, opened; null for a null iterator and at its end.
OdDbObjectPtr getPtrFromIterator(OdSmartPtr<OdDbObjectIterator> const& iterator,
                                 OdDb::OpenMode mode = OdDb::kForRead);
OdDbObjectPtr getPtrFromIterator(OdSmartPtr<OdDbDictionaryIterator> const& iterator,
                                 OdDb::OpenMode mode = OdDb::kForRead);
OdDbObjectPtr getPtrFromIterator(OdSmartPtr<OdDbSymbolTableIterator> const& iterator,
                                 OdDb::OpenMode mode = OdDb::kForRead);
/// Whether a persistent reactor of the object is of a class, or of one derived from it. The object is
/// open for read; a null one has no reactors.
bool hasReactorOfKind(OdDbObject const* object, OdRxClass const* reactorClass);
/// Takes a reactor off each object.
///
/// \param mapping  If not null, the objects are the sources of a clone operation, and their clones
///                 lose the reactor: in its own form and in that of its clone. Objects that the
///                 mapping doesn't know are left alone.
void detachReactor(OdDbObjectIdArray const& objects, OdDbObjectId reactor,
                   OdDbIdMapping* mapping = nullptr);
/// @}

/// The host's setting FEATURECOLORS: whether faces are drawn in the colours of their features.
struct GetFEATURECOLORS
{
    /// What the host's function answers; false without one.
    static bool getValue();
    /// Sets the function; null takes it away. It must not throw.
    static void setImpl(bool (*impl)());

private:
    static bool (*s_impl)();
};

}  // namespace zemu

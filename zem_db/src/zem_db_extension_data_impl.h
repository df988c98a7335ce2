// The blobs of one extension data object, and the operations on the extension data of a host object.

#pragma once

#include "db/od_db_object.h"

#include "zem_db_properties_base.h"

#include <vector>

/// The bag of a `ZemDbExtensionData`, and the static operations that find, write, read and erase
/// extension data by its host object. Nothing absent is an error here.
class ZemDbExtensionDataImpl final : public ZemDbPropertiesBase
{
public:
    ZemDbExtensionDataImpl();

    /// The id of the object's extension data.
    ///
    /// \param object  Its extension dictionary is read; with `create` it must be open for write if
    ///                it has none.
    /// \param create  Whether to make what is missing: the extension dictionary and the data.
    /// \return Null for a null object, and if there is none and `create` is false.
    /// \throws OdError (class not registered) if extension data is to be made after the module's
    ///         classes went.
    static OdDbObjectId getObjInExtDict(OdDbObject* object, bool create);
    /// Stores a blob in the object's extension data, which is made if needed. Nothing happens for a
    /// null object or an empty key, or if the key holds something that is no blob.
    /// \throws OdError_NotThatKindOfClass if an object of another class has the data's place,
    ///         OdError (object damaged) if the data can't be read.
    static void writeToDictionary(OdDbObject* object, std::vector<char> const& blob,
                                  OdString const& key);
    /// Copies a blob out. \return False, with `blob` untouched, for a null object, an empty key, no
    /// extension data, or a key that holds no blob.
    static bool readFromDictionary(OdDbObject const* object, std::vector<char>& blob,
                                   OdString const& key);
    /// Erases the object's extension data, and then its extension dictionary if nothing is left in
    /// it. All blobs go, whichever key is given: a host object has one kind of large data at a time,
    /// and dead data must not outlive it. Nothing happens for a null object or an empty key.
    static void eraseFromDictionary(OdDbObject* object, OdString const& key);
};

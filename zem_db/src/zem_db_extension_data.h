// Large bags and serialised objects, kept in the extension dictionary of the object they are of.

#pragma once

#include "db/od_db_object.h"

#include "zem_db_properties_base.h"

#include <memory>
#include <vector>

class ZemDbExtensionDataImpl;

/// Blobs by key, entered in the extension dictionary of a host object.
///
/// There is at most one for each host object, under the key "ZEM_DB", whichever keys it holds. The
/// key "ZEM_DB" of its own bag holds the flat stream of a bag that was too long for extended data;
/// other keys are the class names of serialised objects. It exists from the first blob written for
/// its host until one is erased.
class ZemDbExtensionData : public OdDbObject
{
    RX_DECLARE_CLASS(ZemDbExtensionData);

public:
    ZemDbExtensionData();
    ~ZemDbExtensionData() override;

    /// The bag of blobs, for reading. \throws OdError (not open for read).
    ZemProperties const& getReadProperties() const;
    /// The bag of blobs, for changes, which become part of undo.
    /// \throws OdError (not open for write).
    ZemProperties& getWriteProperties();

    /// \throws OdError (not open for write).
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    /// \throws OdError (not open for read).
    void dwgOutFields(OdDbDwgFiler* filer) const override;

private:
    std::unique_ptr<ZemDbExtensionDataImpl> m_impl;
};

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
    /// \throws OdError (not in database), (not open for write) for an object that can't get an
    ///         extension dictionary; (class not registered) if extension data is to be made after
    ///         the module's classes went.
    static OdDbObjectId getObjInExtDict(OdDbObject* object, bool create);
    /// Stores a blob in the object's extension data, which is made if needed. It also takes the
    /// place of a value that is no blob. Nothing happens for a null object or an empty key.
    /// \throws OdError_NotThatKindOfClass if an object of another class has the data's place,
    ///         OdError (object damaged) if the data can't be read; and as `getObjInExtDict`.
    static void writeToDictionary(OdDbObject* object, std::vector<char> const& blob,
                                  OdString const& key);
    /// Copies a blob out. \return False, with `blob` untouched, for a null object, an empty key, no
    /// extension data, or a key that holds no blob.
    static bool readFromDictionary(OdDbObject const* object, std::vector<char>& blob,
                                   OdString const& key);
    /// Erases the object's extension data, and then its extension dictionary if nothing is left in
    /// it. All blobs go, whichever key is given: a host object has one kind of large data at a
    /// time, and dead data must not outlive it. Nothing happens for a null object or an empty key.
    static void eraseFromDictionary(OdDbObject* object, OdString const& key);
};

/// Stores an object as a blob with another one: in the target's bag if the target has one of its
/// own (it answers to `ZemPropertiesPE`), else in its extension dictionary.
///
/// Writing to a bag of the target's own, and removing, also erase the whole extension data of the
/// target, with every other blob that it holds.
///
/// \param key     Class under whose name the blob is kept. Null: nothing happens.
/// \param source  The object, open for read or in no database; null removes what was stored.
/// \param target  In a database; in none, nothing happens. Open for write if it has a bag of its
///                own, or no extension dictionary yet.
/// \throws OdError (not open for write) for such a target, with neither place changed; (not open
///         for read) for the source; (bad stream) for a source with text of more than 32767 bytes,
///         with neither place changed; (class not registered) if the source's class, or that of the
///         extension data, is not there.
void ZemWriteSerializedObject(OdRxClass* key, OdDbObject const* source, OdDbObject* target);

/// Reads back what `ZemWriteSerializedObject` stored.
///
/// \param object  Open for read or in no database; borrowed.
/// \return A new object that is in no database; null for a null argument, if nothing is stored
///         under the class's name, and if the blob can't be read: its class is unknown or no
///         database class, or its content is malformed.
OdDbObjectPtr ZemReadSerializedObject(OdRxClass* key, OdDbObject const* object);
/// As above with the registered name of the class; null also for a name that no class has.
OdDbObjectPtr ZemReadSerializedObject(OdString const& className, OdDbObject const* object);

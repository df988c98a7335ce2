// Dictionaries: named objects.

#pragma once

#include "db/od_db_name_index.h"
#include "db/od_db_object.h"

class OdDbDictionaryIterator;
using OdDbDictionaryIteratorPtr = OdSmartPtr<OdDbDictionaryIterator>;

/// Objects by name. Names compare without case and keep the case they were set with; entries are in
/// order of names. The dictionary owns what is entered into it, hard or soft.
///
/// An entry goes when its object is erased, and comes back with it; iteration and counts see living
/// entries only. Entering and leaving are part of undo without a copy of the whole dictionary.
class OdDbDictionary : public OdDbObject
{
    RX_DECLARE_CLASS(OdDbDictionary);

public:
    OdDbDictionary();
    ~OdDbDictionary() override;
    static OdSmartPtr<OdDbDictionary> createObject();

    /// The id under a name.
    /// \param result  If not null: 0, or (key not found).
    /// \return Null if there is no such entry.
    OdDbObjectId getAt(OdString const& name, OdResult* result = nullptr) const;
    /// The object under a name, opened; null if there is none or it can't be opened.
    OdDbObjectPtr getAt(OdString const& name, OdDb::OpenMode mode) const;
    /// Enters an object, which is added to the database if it is in none; the dictionary becomes
    /// its owner. An object of another dictionary, or under another name, moves. An entry of that
    /// name is replaced, and its object erased if this dictionary owns it. An empty name is made into
    /// a hidden one that is unique.
    /// \throws OdError (not in database) for a dictionary in none, (null object pointer), (invalid
    ///         key) for a name with control characters, (wrong database), (was erased), (not open for
    ///         write) for an object that has to change its owner, (cyclic reference) for an object
    ///         that owns this dictionary, (already in database) for a record of a symbol table or an
    ///         entity of a block. Nothing has changed then.
    OdDbObjectId setAt(OdString const& name, OdDbObject* object);
    /// As `setAt`, unless something stands under the name already, also if a reactor has entered it
    /// when it was told of the change: then that stays, and `object` is left alone.
    /// \return The id under the name.
    OdDbObjectId getOrSetAt(OdString const& name, OdDbObject* object);
    /// Takes an entry out; its object is erased if this dictionary owns it.
    /// \return The id of the entry, null if there was none.
    OdDbObjectId remove(OdString const& name);
    /// Gives an entry another name. \return False if there is no such entry or the new name is
    /// taken.
    bool setName(OdString const& oldName, OdString const& newName);

    bool has(OdString const& name) const;
    bool has(OdDbObjectId const& id) const;
    /// The name of an id; empty if it has none here.
    OdString nameAt(OdDbObjectId const& id) const;
    /// Living entries.
    std::uint32_t numEntries() const noexcept;
    /// Walks the living entries in order of names. Entries may come and go meanwhile.
    OdDbDictionaryIteratorPtr newIterator() const;

    /// Whether entries are owned hard (the default) or soft.
    bool isHardOwner() const noexcept { return m_isHardOwner; }
    void setHardOwner(bool hard);

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;
    void applyPartialUndo(OdDbDwgFiler* filer, OdRxClass* cls) override;
    /// A dictionary of a database has no copy: its entries are its own.
    /// \throws OdError (not applicable) for one.
    void copyFrom(OdRxObject const* source) override;

protected:
    void ownedObjectErased(OdDbObjectId id, bool erasing) override;
    void ownedObjectLeft(OdDbObjectId id) override;
    /// Refuses a dictionary that has entries already, which are another one's.
    void requireReferencesIn(OdDbDatabase const& database) const override;
    /// Enters a clone under the name of its source, under one made of it if that is taken, or under
    /// a hidden one if the source had none.
    void takeClone(OdDbIdPair const& pair, OdDbObject& clone, OdDbIdMapping& mapping) override;

private:
    friend class OdDbDictionaryIterator;

    OdDbObjectId enter(OdString const& name, OdDbObject* object, bool replaces);
    OdString hiddenName();
    bool canBeRenamed(OdString const& oldName, OdString const& newName) const;
    void adopt(OdDbObject& object);
    void requireNoRing(OdDbObjectId id) const;
    void eraseIfOwned(OdDbObjectId id);
    void pushOut(OdString const& key, OdDbObjectId id);
    OdDb::ReferenceType ownership() const noexcept;

    OdDbNameIndex m_index;
    std::uint32_t m_nextHidden = 1;  ///< names with lower numbers were given or found taken
    bool m_isHardOwner = true;
};

using OdDbDictionaryPtr = OdSmartPtr<OdDbDictionary>;

/// Walks a dictionary; holds it open for read. The walk is over when the dictionary's database goes.
class OdDbDictionaryIterator : public OdRxObject
{
    RX_DECLARE_CLASS(OdDbDictionaryIterator);

public:
    explicit OdDbDictionaryIterator(OdDbDictionary const& dictionary);

    bool done() const;
    bool next();
    OdString name() const;
    OdDbObjectId objectId() const;
    /// The object, opened; null if it can't be opened.
    OdDbObjectPtr getObject(OdDb::OpenMode mode = OdDb::kForRead) const;

private:
    void settle(OdDbNameIndex::Entries::const_iterator at);

    OdDbDictionaryPtr m_dictionary;
    OdString m_name;  ///< where the walk stands; a name, so that entries may come and go
    OdDbObjectId m_id;
    bool m_isInDatabase;
};

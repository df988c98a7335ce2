// Symbol tables: the named records that every drawing has, one table for each kind.

#pragma once

#include "db/od_db_name_index.h"
#include "db/od_db_object.h"

class OdDbSymbolTableIterator;
using OdDbSymbolTableIteratorPtr = OdSmartPtr<OdDbSymbolTableIterator>;
class OdDbSymbolTable;
using OdDbSymbolTablePtr = OdSmartPtr<OdDbSymbolTable>;

/// A named record of a symbol table.
class OdDbSymbolTableRecord : public OdDbObject
{
    RX_DECLARE_CLASS(OdDbSymbolTableRecord);

public:
    ~OdDbSymbolTableRecord() override;

    OdString getName() const;
    /// Renames the record, in its table too.
    /// \throws OdError (invalid key) for an empty name, (duplicate name) if another living record
    ///         of the table has it.
    virtual void setName(OdString const& name);

    /// As the base; the record is renamed in its table, too.
    /// \throws OdError (duplicate name), (invalid key) as `setName`.
    void copyFrom(OdRxObject const* source) override;
    /// Refuses (duplicate name) to bring the record back if its name has been taken since.
    OdResult subErase(bool erasing) override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

protected:
    OdDbSymbolTableRecord();

private:
    friend class OdDbSymbolTable;

    OdDbSymbolTablePtr openTable() const;

    OdString m_name;
};

using OdDbSymbolTableRecordPtr = OdSmartPtr<OdDbSymbolTableRecord>;

/// Records of one kind by name. Names compare without case and keep the case they were set with.
class OdDbSymbolTable : public OdDbObject
{
    RX_DECLARE_CLASS(OdDbSymbolTable);

public:
    ~OdDbSymbolTable() override;

    /// The id of a name; null if there is none.
    /// \param openErased  Whether a record that was erased in this session counts, if no living one
    ///                    has the name.
    OdDbObjectId getAt(OdString const& name, bool openErased = false) const;
    /// The record of a name, opened; null if there is none.
    OdDbSymbolTableRecordPtr getAt(OdString const& name, OdDb::OpenMode mode) const;
    bool has(OdString const& name) const;
    /// Adds a record of the table's kind that is in no database; the table owns it.
    /// \throws OdError (duplicate name), (invalid key) for a record without a name, (not in
    ///         database), (already in database); OdError_NotThatKindOfClass for another kind.
    virtual OdDbObjectId add(OdDbSymbolTableRecord* record);
    std::uint32_t numEntries() const noexcept;
    /// Walks the living records in order of names.
    OdDbSymbolTableIteratorPtr newIterator() const;

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;
    void applyPartialUndo(OdDbDwgFiler* filer, OdRxClass* cls) override;
    /// A table of a database has no copy: its records are its own.
    /// \throws OdError (not applicable) for one.
    void copyFrom(OdRxObject const* source) override;

protected:
    OdDbSymbolTable();
    /// The kind of record that the table holds.
    virtual OdRxClass* recordClass() const;
    void ownedObjectErased(OdDbObjectId id, bool erasing) override;
    void ownedObjectLeft(OdDbObjectId id) override;
    /// Refuses a table that has records already, which are another one's.
    void requireReferencesIn(OdDbDatabase const& database) const override;
    /// Adds a clone of a record under its name, or under one made of it if that is taken. A clone of
    /// another kind is refused with OdError_NotThatKindOfClass.
    void takeClone(OdDbIdPair const& pair, OdDbObject& clone, OdDbIdMapping& mapping) override;
    /// A name for a clone of a record.
    virtual OdString nameForClone(OdString const& name, OdDbIdMapping const& mapping);

private:
    friend class OdDbSymbolTableIterator;
    friend class OdDbSymbolTableRecord;

    void requireFreeFor(OdDbObjectId id, OdString const& name) const;
    void rename(OdDbObjectId id, OdString const& newName);

    OdDbNameIndex m_index;
};

/// Walks a symbol table; holds it open for read. The walk is over when the table's database goes.
class OdDbSymbolTableIterator : public OdRxObject
{
    RX_DECLARE_CLASS(OdDbSymbolTableIterator);

public:
    explicit OdDbSymbolTableIterator(OdDbSymbolTable const& table);

    bool done() const noexcept { return getRecordId().isNull(); }
    void step();
    OdDbObjectId getRecordId() const noexcept;
    /// The record, opened; null if it can't be opened.
    OdDbSymbolTableRecordPtr getRecord(OdDb::OpenMode mode = OdDb::kForRead) const;

private:
    void settle(OdDbNameIndex::Entries::const_iterator at);

    OdDbSymbolTablePtr m_table;
    OdString m_name;
    OdDbObjectId m_id;
    bool m_isInDatabase;
};

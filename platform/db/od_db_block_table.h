// Blocks: named lists of entities, model space and paper space among them.

#pragma once

#include "db/od_db_symbol_table.h"
#include "ge/od_ge_point3d.h"

class OdDbEntity;
class OdDbObjectIterator;
using OdDbObjectIteratorPtr = OdSmartPtr<OdDbObjectIterator>;

/// A named list of entities, in the order in which they were appended. It owns them.
class OdDbBlockTableRecord : public OdDbSymbolTableRecord
{
    RX_DECLARE_CLASS(OdDbBlockTableRecord);

public:
    OdDbBlockTableRecord();
    ~OdDbBlockTableRecord() override;
    static OdSmartPtr<OdDbBlockTableRecord> createObject();

    /// Appends an entity, which is added to the database if it is in none.
    /// \throws OdError (not in database), (wrong database), (already in database) for an entity of
    ///         another block.
    OdDbObjectId appendOdDbEntity(OdDbEntity* entity);
    /// Walks the entities in their order.
    ///
    /// \param atBeginning  False to walk from the last to the first.
    /// \param skipErased   Whether erased entities are left out.
    /// \param sorted       Not used: the order is that of the list.
    OdDbObjectIteratorPtr newIterator(bool atBeginning = true, bool skipErased = true,
                                      bool sorted = false) const;
    /// Entities that are not erased. Linear.
    std::uint32_t entityCount() const;

    /// Whether the name was made by the system: it starts with "*" and isn't that of a space.
    bool isAnonymous() const;
    bool isLayout() const;
    /// Whether the content is that of another drawing.
    bool isFromExternalReference() const;
    OdString pathName() const;
    void setPathName(OdString const& path);
    /// References to this block, in order of creation.
    OdDbObjectIdArray getBlockReferenceIds() const;

    OdGePoint3d origin() const;
    void setOrigin(OdGePoint3d const& origin);
    OdDb::UnitsValue blockInsertUnits() const;
    void setBlockInsertUnits(OdDb::UnitsValue units);

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;
    void applyPartialUndo(OdDbDwgFiler* filer, OdRxClass* cls) override;
    /// A block of a database has no copy: its entities are its own.
    /// \throws OdError (not applicable) for one.
    void copyFrom(OdRxObject const* source) override;

private:
    friend class OdDbObjectIterator;

    void recordEntity(std::uint8_t opcode, OdDbObjectId id, unsigned position);

    OdDbObjectIdArray m_entities;
    OdDbObjectIdArray m_references;
    OdString m_pathName;
    OdGePoint3d m_origin;
    OdDb::UnitsValue m_units = OdDb::UnitsValue::kUnitsUndefined;
};

using OdDbBlockTableRecordPtr = OdSmartPtr<OdDbBlockTableRecord>;

/// The blocks of a drawing.
class OdDbBlockTable : public OdDbSymbolTable
{
    RX_DECLARE_CLASS(OdDbBlockTable);

public:
    /// As the base; a block named "*U" gets a free name that starts so.
    OdDbObjectId add(OdDbSymbolTableRecord* record) override;

protected:
    OdRxClass* recordClass() const override;

private:
    std::uint32_t m_nextAnonymous = 0;  ///< names with lower numbers were given or found taken
};

/// Walks the entities of a block as the list was when the walk began; holds the block open for read.
class OdDbObjectIterator : public OdRxObject
{
    RX_DECLARE_CLASS(OdDbObjectIterator);

public:
    OdDbObjectIterator(OdDbBlockTableRecord const& block, bool atBeginning, bool skipErased);

    /// Goes back to the first (or last) entity.
    void start(bool atBeginning = true, bool skipErased = true);
    bool done() const noexcept { return m_at < 0 || m_at >= static_cast<std::int64_t>(m_size); }
    /// \param forward  False to go back by one.
    void step(bool forward = true, bool skipErased = true);
    /// The id, null at the end.
    OdDbObjectId objectId() const;
    /// The entity, opened; null at the end or if it can't be opened.
    OdSmartPtr<OdDbEntity> entity(OdDb::OpenMode mode = OdDb::kForRead,
                                  bool openErased = false) const;

private:
    void settle(std::int64_t direction, bool skipErased);

    OdDbBlockTableRecordPtr m_block;
    OdDbObjectIdArray m_entities;
    std::size_t m_size = 0;
    std::int64_t m_at = 0;
};

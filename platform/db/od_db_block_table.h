// Blocks: named lists of entities, model space and paper space among them.

#pragma once

#include "db/od_db_symbol_table.h"
#include "ge/od_ge_point3d.h"

#include <vector>

class OdDbEntity;
class OdDbObjectIterator;
using OdDbObjectIteratorPtr = OdSmartPtr<OdDbObjectIterator>;

/// A named list of entities, in the order in which they were appended. It owns them: one that gets
/// another owner, or none, is listed no more, and may be appended to a block if it has none.
class OdDbBlockTableRecord : public OdDbSymbolTableRecord
{
    RX_DECLARE_CLASS(OdDbBlockTableRecord);

public:
    OdDbBlockTableRecord();
    ~OdDbBlockTableRecord() override;
    static OdSmartPtr<OdDbBlockTableRecord> createObject();
    /// Opens a block. \return Null for an id of something else, and for a block that can't be opened.
    static OdSmartPtr<OdDbBlockTableRecord>
    openBlock(OdDbObjectId id, OdDb::OpenMode mode = OdDb::kForRead, bool openErased = false);

    /// Appends an entity, which is added to the database if it is in none.
    /// \throws OdError (not in database), (wrong database), (already in database) for an entity of
    ///         another block, (cyclic reference) for a reference to a block that contains this one.
    OdDbObjectId appendOdDbEntity(OdDbEntity* entity);
    /// Exchanges the entities of two blocks, which keep their ids and their order; erased ones go with
    /// them, those that can't be opened stay. Both blocks must be open for write. Reactors of the
    /// entities are told when the lists are exchanged.
    /// \throws OdError (not in database), (wrong database) for blocks of two drawings, (cyclic
    ///         reference) if a block would come to contain itself. Nothing has changed then.
    void swapEntities(OdDbBlockTableRecord& other);
    /// Walks the entities in their order.
    ///
    /// \param atBeginning  False to walk from the last to the first.
    /// \param skipErased   Whether erased entities are left out.
    /// \param sorted       Not used: the order is that of the list.
    OdDbObjectIteratorPtr newIterator(bool atBeginning = true, bool skipErased = true,
                                      bool sorted = false) const;
    /// The ids of the entities in their order.
    OdDbObjectIdArray entityIds(bool skipErased = true) const;
    /// Entities that are not erased. Linear.
    std::uint32_t entityCount() const;

    /// Whether the name was made by the system: it starts with "*" and isn't that of a space.
    bool isAnonymous() const;
    bool isLayout() const;
    /// Whether the content is that of another drawing.
    bool isFromExternalReference() const;
    /// Path of the external drawing, as it was given; empty for a plain block.
    OdString pathName() const;
    void setPathName(OdString const& path);
    OdDb::XrefStatus xrefStatus() const;
    /// The external drawing's database; null if it isn't loaded.
    /// \param includeUnloaded  Whether the emptied database of one that was unloaded counts.
    OdDbDatabase* xrefDatabase(bool includeUnloaded = false) const;
    /// Whether the external drawing is seen only in this drawing, not where this one is attached.
    bool isFromOverlayReference() const;
    void setIsFromOverlayReference(bool isOverlay);
    /// Whether the external drawing was unloaded on purpose, and stays so until it is asked for.
    bool isUnloaded() const;
    void setIsUnloaded(bool isUnloaded);
    /// References to this block that are in a block and not erased, in order of creation.
    OdDbObjectIdArray getBlockReferenceIds() const;
    /// Whether a block is this one or holds, at any depth, a reference to it; a reference from here
    /// to that block would contain itself.
    ///
    /// Looks for the way from both ends: up from the references to this block, and down from the
    /// entities of the other one. It costs twice as much as the side that ends first.
    bool isContainedIn(OdDbObjectId block) const;

    OdGePoint3d origin() const;
    /// \throws OdError (bad input) for numbers that are not finite.
    void setOrigin(OdGePoint3d const& origin);
    OdDb::UnitsValue blockInsertUnits() const;
    void setBlockInsertUnits(OdDb::UnitsValue units);

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;
    void applyPartialUndo(OdDbDwgFiler* filer, OdRxClass* cls) override;
    /// A block of a database has no copy: its entities are its own.
    /// \throws OdError (not applicable) for one.
    void copyFrom(OdRxObject const* source) override;
    /// Gives the path of an external drawing that was cloned to another drawing a form that leads to
    /// the same file from there.
    void cloneFinished(OdDbIdMapping& mapping) override;

protected:
    /// Refuses a block that lists entities already, which are another one's.
    void requireReferencesIn(OdDbDatabase const& database) const override;
    /// Lists an entity that was cloned to this block, behind the others.
    void takeClone(OdDbIdPair const& pair, OdDbObject& clone, OdDbIdMapping& mapping) override;
    /// Takes an entity that has got another owner out of the list.
    void ownedObjectLeft(OdDbObjectId id) override;

private:
    friend class OdDbObjectIterator;
    friend class OdDbBlockReference;
    class Way;

    /// Whether one of the latest references to this block is in another one.
    bool wasShownLastIn(OdDbBlockTableRecord const& block) const;
    /// Enters a reference to this block, or takes it out. Part of undo, but no modification of the
    /// block: its content is the same. The block must be open for write.
    void setReference(OdDbObjectId reference, bool isThere);
    /// Opens all entities that can be opened, for write, and lists the others apart.
    void openEntities(std::vector<OdDbObjectPtr>& opened, OdDbObjectIdArray& openedIds,
                      OdDbObjectIdArray& closedIds) const;
    void recordEntity(std::uint8_t opcode, OdDbObjectId id, unsigned position);

    OdDbObjectIdArray m_entities;
    OdDbObjectIdArray m_references;  ///< ascending; erased ones stay, and are passed over
    OdDbObjectId m_exchanged;        ///< gets another owner now, and the list is right already
    OdString m_pathName;
    bool m_isOverlay = false;
    bool m_isUnloaded = false;
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

    /// A name starting with "*U" that no block has.
    OdString freeAnonymousName();

protected:
    OdRxClass* recordClass() const override;
    OdString nameForClone(OdString const& name, OdDbIdMapping const& mapping) override;

private:
    std::uint32_t m_nextAnonymous = 0;  ///< names with lower numbers were given or found taken
};

using OdDbBlockTablePtr = OdSmartPtr<OdDbBlockTable>;

/// Walks the entities of a block as the list was when the walk began; holds the block open for read.
/// The walk is over when the block's database goes.
class OdDbObjectIterator : public OdRxObject
{
    RX_DECLARE_CLASS(OdDbObjectIterator);

public:
    OdDbObjectIterator(OdDbBlockTableRecord const& block, bool atBeginning, bool skipErased);

    /// Goes back to the first (or last) entity.
    void start(bool atBeginning = true, bool skipErased = true);
    bool done() const noexcept
    {
        return m_at < 0 || m_at >= static_cast<std::int64_t>(m_size) ||
               (m_isInDatabase && m_block->database() == nullptr);
    }
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
    bool m_isInDatabase;  ///< ids of a database that is gone name nothing
};

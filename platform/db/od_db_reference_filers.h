// Filers that care for references alone: id translation and purging.

#pragma once

#include "db/od_db_id_mapping.h"

#include <unordered_set>

/// Reads an object's fields with its references translated, the last step of a clone operation.
///
/// An id that is the value of a pair stays as it is. Else a pointer becomes the value of its pair;
/// without a pair it stays inside one database and becomes null across two. Ownership becomes the
/// value of its pair, else null: a clone must not claim a child of its source. Used as: the clone
/// files out into the filer, `rewindForReading`, the clone files in.
class OdDbIdXlateFiler : public OdDbMemoryFiler
{
    RX_DECLARE_CLASS(OdDbIdXlateFiler);

public:
    /// \param mapping  Borrowed.
    OdDbIdXlateFiler(OdDbDatabase* database, OdDbIdMapping const& mapping);

    OdDbObjectId rdSoftOwnershipId() override;
    OdDbObjectId rdHardOwnershipId() override;
    OdDbObjectId rdHardPointerId() override;
    OdDbObjectId rdSoftPointerId() override;
    void wrHardPointerId(OdDbObjectId const& value) override;
    void wrSoftPointerId(OdDbObjectId const& value) override;

private:
    OdDbObjectId translate(OdDbObjectId id, bool isOwnership) const;

    OdDbIdMapping const& m_mapping;
};

/// Finds out what an object keeps from being purged: the objects that it refers to hard. Fields
/// themselves go nowhere.
class OdDbPurgeFiler : public OdDbMemoryFiler
{
    RX_DECLARE_CLASS(OdDbPurgeFiler);

public:
    explicit OdDbPurgeFiler(OdDbDatabase* database = nullptr)
        : OdDbMemoryFiler(OdDb::FilerType::kPurgeFiler, database)
    {
    }

    /// Objects referred to hard so far.
    std::unordered_set<OdDbObjectId> const& kept() const noexcept { return m_kept; }

    bool usesReferences() const override { return true; }
    void addReference(OdDbObjectId id, OdDb::ReferenceType type) override;
    void wrString(OdString const& value) override;
    void wrBytes(void const* buffer, std::uint32_t count) override;
    void wrHardOwnershipId(OdDbObjectId const& value) override;
    void wrHardPointerId(OdDbObjectId const& value) override;

private:
    std::unordered_set<OdDbObjectId> m_kept;
};

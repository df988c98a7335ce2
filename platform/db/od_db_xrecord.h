// Extended records: chains of result buffers as objects.

#pragma once

#include "db/od_db_object.h"

#include <vector>

/// A chain of result buffers, stored as an object under a name.
class OdDbXrecord : public OdDbObject
{
    RX_DECLARE_CLASS(OdDbXrecord);

public:
    OdDbXrecord();
    ~OdDbXrecord() override;
    static OdSmartPtr<OdDbXrecord> createObject();

    /// A copy of the chain; null if it is empty.
    OdResBufPtr rbChain() const;
    /// Replaces the chain by a copy; null empties it. Takes the group codes of extended data but
    /// 1001. \throws OdError (invalid input) for any other.
    void setFromRbChain(OdResBuf const* chain);

    /// What happens to this record when it is cloned to where its name stands already.
    OdDb::DuplicateRecordCloning duplicateRecordCloning() const noexcept { return m_duplicates; }
    void setDuplicateRecordCloning(OdDb::DuplicateRecordCloning style);

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

private:
    std::vector<std::uint8_t> m_packed;
    OdDb::DuplicateRecordCloning m_duplicates = OdDb::DuplicateRecordCloning::kDrcIgnore;
};

using OdDbXrecordPtr = OdSmartPtr<OdDbXrecord>;

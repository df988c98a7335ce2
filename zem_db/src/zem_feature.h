// Features: the transient object that carries behaviour, and the database object it is stored in.

#pragma once

#include "db/od_db_object.h"

#include <memory>

class ZemDbFeatureDataImpl;
class ZemProperties;

/// One parametric operation of a block's model; reference counted and in no database.
///
/// Its fields are kept by the `ZemDbFeatureData` that it belongs to.
class ZemFeature : public OdRxObject
{
    RX_DECLARE_CLASS(ZemFeature);

public:
    ~ZemFeature() override;

    /// A plain feature, which can stand in for a feature of any class.
    static OdSmartPtr<ZemFeature> createObject();
};

using ZemFeaturePtr = OdSmartPtr<ZemFeature>;

/// The persistent half of a feature, owned by the feature manager of its block.
class ZemDbFeatureData : public OdDbObject
{
    RX_DECLARE_CLASS(ZemDbFeatureData);

public:
    ZemDbFeatureData();
    ~ZemDbFeatureData() override;

    /// The bag, for reading. \throws OdError (not open for read).
    ZemProperties const& getReadProperties() const;
    /// The bag, for changes, which become part of undo. \throws OdError (not open for write).
    ZemProperties& getWriteProperties();

    /// \throws OdError (not open for write).
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    /// \throws OdError (not open for read).
    void dwgOutFields(OdDbDwgFiler* filer) const override;

private:
    std::unique_ptr<ZemDbFeatureDataImpl> m_impl;
};

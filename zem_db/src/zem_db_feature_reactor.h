// Reactors through which a feature depends on other objects.

#pragma once

#include "db/od_db_object.h"

#include <memory>

class ZemDbFeatureReactorImpl;
class ZemProperties;

/// Ties a feature to something outside of it; owned by the feature's data object.
///
/// References to objects that are erased when a drawing is written stay out of the file.
class ZemDbFeatureReactor : public OdDbObject
{
    RX_DECLARE_CLASS(ZemDbFeatureReactor);

public:
    ZemDbFeatureReactor();
    ~ZemDbFeatureReactor() override;

    /// The bag, for reading. \throws OdError (not open for read).
    ZemProperties const& getReadProperties() const;
    /// The bag, for changes, which become part of undo. \throws OdError (not open for write).
    ZemProperties& getWriteProperties();

    /// \throws OdError (not open for write).
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    /// \throws OdError (not open for read).
    void dwgOutFields(OdDbDwgFiler* filer) const override;

protected:
    /// For derived classes, which bring their own fields.
    explicit ZemDbFeatureReactor(std::unique_ptr<ZemDbFeatureReactorImpl> impl);

private:
    std::unique_ptr<ZemDbFeatureReactorImpl> m_impl;
};

/// The geometric dependencies of a feature, as links.
class ZemDbPersIdReactor : public ZemDbFeatureReactor
{
    RX_DECLARE_CLASS(ZemDbPersIdReactor);

public:
    ZemDbPersIdReactor();
    ~ZemDbPersIdReactor() override;
};

/// Links properties of a feature to variables.
class ZemDbPropertyReactor : public ZemDbFeatureReactor
{
    RX_DECLARE_CLASS(ZemDbPropertyReactor);

public:
    ZemDbPropertyReactor();
    ~ZemDbPropertyReactor() override;
};

/// Drives one property of a feature from an expression.
class ZemDbExpressionReactor : public ZemDbFeatureReactor
{
    RX_DECLARE_CLASS(ZemDbExpressionReactor);

public:
    ZemDbExpressionReactor();
    ~ZemDbExpressionReactor() override;
};

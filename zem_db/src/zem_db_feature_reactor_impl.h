// The fields of feature reactors.

#pragma once

#include "zem_db_properties_base.h"

/// The bag of a feature reactor; root of a hierarchy that runs beside that of the reactors.
class ZemDbFeatureReactorImpl : public ZemDbPropertiesBase
{
public:
    ZemDbFeatureReactorImpl();
    ~ZemDbFeatureReactorImpl() override;

protected:
    /// \param version  Class version of the derived reactor.
    explicit ZemDbFeatureReactorImpl(int version);
};

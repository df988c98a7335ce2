#include "zem_configuration_feature.h"

#include "zem_db_class_info.h"
#include "zem_db_feature_reactor_impl.h"

RX_DEFINE_CLASS(ZemConfigurationFeature, ZemFeature, odrxCreate<ZemConfigurationFeature>,
                L"ZemConfigurationFeature");
ZEM_DEFINE_DB_CLASS(ZemDbConfigVarReactor, ZemDbFeatureReactor, L"ZemDbConfigVarReactor",
                    L"ZEMDBCONFIGVARREACTOR", kZemAppReactors);

namespace {

class ZemDbConfigVarReactorImpl final : public ZemDbFeatureReactorImpl
{
public:
    ZemDbConfigVarReactorImpl() : ZemDbFeatureReactorImpl(/*version=*/1) {}
};

}  // namespace

ZemConfigurationFeature::~ZemConfigurationFeature() = default;

ZemDbConfigVarReactor::ZemDbConfigVarReactor()
    : ZemDbFeatureReactor(std::make_unique<ZemDbConfigVarReactorImpl>())
{
}

ZemDbConfigVarReactor::~ZemDbConfigVarReactor() = default;

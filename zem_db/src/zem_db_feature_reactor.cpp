#include "zem_db_feature_reactor.h"

#include "zem_db_class_info.h"
#include "zem_db_feature_reactor_impl.h"

ZEM_DEFINE_DB_CLASS(ZemDbFeatureReactor, OdDbObject, L"ZemDbFeatureReactor", L"ZEMDBFEATUREREACTOR",
                    kZemAppReactors);
ZEM_DEFINE_DB_CLASS(ZemDbPersIdReactor, ZemDbFeatureReactor, L"ZemDbPersIdReactor",
                    L"ZEMDBPERSIDREACTOR", kZemAppReactors);
ZEM_DEFINE_DB_CLASS(ZemDbPropertyReactor, ZemDbFeatureReactor, L"ZemDbPropertyReactor",
                    L"ZEMDBPROPERTYREACTOR", kZemAppReactors);
ZEM_DEFINE_DB_CLASS(ZemDbExpressionReactor, ZemDbFeatureReactor, L"ZemDbExpressionReactor",
                    L"ZEMDBEXPRESSIONREACTOR", kZemAppReactors);

namespace {

class ZemDbPersIdReactorImpl final : public ZemDbFeatureReactorImpl
{
public:
    ZemDbPersIdReactorImpl() : ZemDbFeatureReactorImpl(/*version=*/1) {}
};

class ZemDbPropertyReactorImpl final : public ZemDbFeatureReactorImpl
{
public:
    ZemDbPropertyReactorImpl() : ZemDbFeatureReactorImpl(/*version=*/2) {}
};

class ZemDbExpressionReactorImpl final : public ZemDbFeatureReactorImpl
{
public:
    ZemDbExpressionReactorImpl() : ZemDbFeatureReactorImpl(/*version=*/1) {}
};

}  // namespace

ZemDbFeatureReactorImpl::ZemDbFeatureReactorImpl() : ZemDbFeatureReactorImpl(/*version=*/0) {}

ZemDbFeatureReactorImpl::ZemDbFeatureReactorImpl(int version)
    : ZemDbPropertiesBase(kZemPropsDropErasedIds, version)
{
}

ZemDbFeatureReactorImpl::~ZemDbFeatureReactorImpl() = default;

ZemDbFeatureReactor::ZemDbFeatureReactor()
    : ZemDbFeatureReactor(std::make_unique<ZemDbFeatureReactorImpl>())
{
}

ZemDbFeatureReactor::ZemDbFeatureReactor(std::unique_ptr<ZemDbFeatureReactorImpl> impl)
    : m_impl(std::move(impl))
{
}

ZemDbFeatureReactor::~ZemDbFeatureReactor() = default;

ZemProperties const& ZemDbFeatureReactor::getReadProperties() const
{
    assertReadEnabled();
    return m_impl->properties();
}

ZemProperties& ZemDbFeatureReactor::getWriteProperties()
{
    assertWriteEnabled(true, true);
    return m_impl->properties();
}

OdResult ZemDbFeatureReactor::dwgInFields(OdDbDwgFiler* filer)
{
    assertWriteEnabled(true, true);
    const OdResult result = OdDbObject::dwgInFields(filer);
    return result == kOdOk ? m_impl->dwgInFields(filer) : result;
}

void ZemDbFeatureReactor::dwgOutFields(OdDbDwgFiler* filer) const
{
    assertReadEnabled();
    OdDbObject::dwgOutFields(filer);
    m_impl->dwgOutFields(filer);
}

ZemDbPersIdReactor::ZemDbPersIdReactor()
    : ZemDbFeatureReactor(std::make_unique<ZemDbPersIdReactorImpl>())
{
}

ZemDbPersIdReactor::~ZemDbPersIdReactor() = default;

ZemDbPropertyReactor::ZemDbPropertyReactor()
    : ZemDbFeatureReactor(std::make_unique<ZemDbPropertyReactorImpl>())
{
}

ZemDbPropertyReactor::~ZemDbPropertyReactor() = default;

ZemDbExpressionReactor::ZemDbExpressionReactor()
    : ZemDbFeatureReactor(std::make_unique<ZemDbExpressionReactorImpl>())
{
}

ZemDbExpressionReactor::~ZemDbExpressionReactor() = default;

#include "db/od_db_database.h"
#include "root/root_test_support.h"
#include "support/zem_module_scope.h"

#include "zem_feature.h"
#include "zem_protocol_extensions.h"

#include <gtest/gtest.h>

namespace {

class Interfaces : public testing::Test
{
protected:
    ZemModuleScope m_scope;
};

class Settings : public ZemDbISettings
{
public:
    int defaultBendRadiusMode() const override { return 3; }
    int defaultFormFeatureUnfoldingMode() const override { return 0; }
    int defaultJunctionAlignmentType() const override { return 0; }
    int defaultBendLineExtentType() const override { return 0; }
    int defaultBendReliefWidthType() const override { return 0; }
    int defaultMiterGapType() const override { return 0; }
    int defaultMiterExtensionType() const override { return 0; }
    int defaultJunctionGapType() const override { return 0; }
    int defaultBendReliefExtensionType() const override { return 0; }
    int defaultRibProfileRadiusType() const override { return 0; }
    int defaultRibRoundRadiusType() const override { return 0; }
    double defaultBendLineExtent() const override { return 0.0; }
    double defaultKFactor() const override { return 0.0; }
    double defaultBendRadius() const override { return 0.0; }
    double defaultBendReliefWidth() const override { return 0.0; }
    double defaultCornerReliefDiameter() const override { return 0.0; }
    double defaultMiterGap() const override { return 0.0; }
    double defaultMiterExtension() const override { return 0.0; }
    double defaultJunctionGap() const override { return 0.0; }
    double defaultBendReliefExtension() const override { return 0.0; }
    double defaultRibRoundRadius() const override { return 0.0; }
    double defaultRibProfileRadius() const override { return 0.0; }
    double defaultThickness() const override { return 1.5; }
};

class Behaviour : public ZemUpdateFeatureInterface
{
public:
    OpeningFaces openingFaces() const override { return OpeningFaces(); }
    bool prepareUpdateData(ZemFeatureUpdateData&, bool) override { return true; }
    bool initAfterUpdate(ZemFeatureUpdateData&) override { return false; }
    bool isRequiredDependency(int, int) override { return true; }
    void deepClone(OdDbIdMapping&, OdDbObject*, OdDbObject*, bool) const override {}
    void wblockClone(OdDbIdMapping&, OdDbObject*, OdDbObject*, bool) const override {}
    OdDbObjectIdArray openingSubtractors(bool) const override { return {}; }
    OdDbObjectIdArray openingUniters(bool) const override { return {}; }
    bool isReactorExcluded(ZemDbFeatureReactor const*) const override { return false; }
    bool hasComponentEntities() const override { return !m_entities.isEmpty(); }
    bool needsBaseFace() const override { return false; }
    int defaultVariant() const override { return 2; }
    void initExtension(OdDbObject*, int) override {}
    OdRxClass* featureClass() const override { return nullptr; }
    OdDbObjectIdArray componentEntities() const override { return m_entities; }

    OdDbObjectIdArray m_entities;
};

class Operation : public zemu::ZemModelessOperationWrapper
{
public:
    void start(OdString const& name) override { m_name = name; }

    OdString m_name;
};

OdRxObjectPtr makeOperation()
{
    return odrxMake<Operation>();
}

OdRxObjectPtr makeSettings()
{
    return odrxMake<Settings>();
}

/// Registers a class for as long as it lives.
class RegisteredClass
{
public:
    RegisteredClass(wchar_t const* name, OdPseudoConstructor create)
        : m_class(newOdRxClass(name, OdRxObject::desc(), create))
    {
    }
    RegisteredClass(RegisteredClass const&) = delete;
    RegisteredClass& operator=(RegisteredClass const&) = delete;
    ~RegisteredClass() { deleteOdRxClass(m_class); }

private:
    OdRxClass* m_class;
};

}  // namespace

TEST_F(Interfaces, SettingsAreNullWithNothingAttached)
{
    EXPECT_TRUE(ZemDbISettings::instance().isNull());
}

TEST_F(Interfaces, SettingsAreWhatTheHostAttachedToDatabases)
{
    const OdSmartPtr<Settings> settings = odrxMake<Settings>();
    OdDbDatabase::desc()->addX(ZemDbISettings::desc(), settings.get());
    EXPECT_EQ(ZemDbISettings::instance().get(), settings.get());

    const OdDbDatabasePtr database = OdDbDatabase::createObject();
    const auto asked = ZemDbISettings::cast(database.get());
    EXPECT_EQ(asked.get(), settings.get());
}

TEST_F(Interfaces, SettingsOfAnotherClassAreAnError)
{
    const OdRxObjectPtr other = odrxMake<Operation>();
    EXPECT_THROW(OdDbDatabase::desc()->addX(ZemDbISettings::desc(), other.get()),
                 OdError_NotThatKindOfClass);
    EXPECT_TRUE(ZemDbISettings::instance().isNull());
}

TEST_F(Interfaces, ExtensionsAreGoneAfterTheModuleWasUninitialised)
{
    const OdSmartPtr<Settings> settings = odrxMake<Settings>();
    OdDbDatabase::desc()->addX(ZemDbISettings::desc(), settings.get());
    EXPECT_EQ(settings->numRefs(), 2);
    m_scope.module().uninitApp();
    EXPECT_EQ(settings->numRefs(), 1);
    EXPECT_TRUE(ZemDbISettings::instance().isNull());
    m_scope.module().initApp();
    EXPECT_TRUE(ZemDbISettings::instance().isNull());
}

TEST_F(Interfaces, BehaviourIsActiveWithComponentEntitiesOnly)
{
    const OdSmartPtr<Behaviour> behaviour = odrxMake<Behaviour>();
    EXPECT_FALSE(behaviour->isActive());
    const OdDbDatabasePtr database = OdDbDatabase::createObject();
    behaviour->m_entities.append(database->getModelSpaceId());
    EXPECT_TRUE(behaviour->isActive());
    EXPECT_TRUE(behaviour->isComponentEntity(database->getModelSpaceId()));
    EXPECT_FALSE(behaviour->isComponentEntity(database->getPaperSpaceId()));
}

TEST_F(Interfaces, BehaviourIsAboutTheFeatureThatWasPutIn)
{
    const OdSmartPtr<Behaviour> behaviour = odrxMake<Behaviour>();
    EXPECT_EQ(behaviour->feature(), nullptr);
    const ZemFeaturePtr feature = ZemFeature::createObject();
    behaviour->setFeature(feature.get());
    EXPECT_EQ(behaviour->feature(), feature.get());
}

TEST_F(Interfaces, LayersShownOnInsertAreThoseThatAreHidden)
{
    const OdSmartPtr<Behaviour> behaviour = odrxMake<Behaviour>();
    const std::vector<OdString> dedicated = {L"ZC_SUBTRACT", L"BIM_SUBTRACT", L"ZC_UNITE",
                                             L"BIM_UNITE"};
    EXPECT_EQ(behaviour->layersToHide(), dedicated);
    EXPECT_EQ(behaviour->layersToShowOnInsert(), dedicated);
    EXPECT_TRUE(behaviour->layersToShow().empty());
    EXPECT_TRUE(behaviour->layersToHideOnInsert().empty());
}

TEST_F(Interfaces, OpeningFacesAreValidWithSolidInsertAndAFace)
{
    using OpeningFaces = ZemUpdateFeatureInterface::OpeningFaces;
    const OdDbDatabasePtr database = OdDbDatabase::createObject();
    const OdDbObjectId solid = database->getModelSpaceId();
    const OdDbObjectId insert = database->getPaperSpaceId();
    const OdDbFullSubentPath face({solid}, OdDbSubentId(OdDb::SubentType::kFaceSubentType, 3));

    EXPECT_FALSE(OpeningFaces().isValid());
    EXPECT_EQ(OpeningFaces().baseSolidFace(), OdDbFullSubentPath());
    EXPECT_FALSE(OpeningFaces(solid, insert, {}).isValid());
    EXPECT_FALSE(OpeningFaces(solid, OdDbObjectId(), {face}).isValid());
    const OpeningFaces faces(solid, insert, {face});
    EXPECT_TRUE(faces.isValid());
    EXPECT_EQ(faces.size(), 1u);
    EXPECT_EQ(faces.baseSolidFace(), face);
}

TEST_F(Interfaces, AnOperationIsNullWithoutTheHostsClass)
{
    EXPECT_TRUE(zemu::ZemModelessOperationWrapper::create(L"any").isNull());
}

TEST_F(Interfaces, AnOperationIsStartedUnderItsName)
{
    const RegisteredClass cls(L"ZemModelessOperationWrapperImpl", &makeOperation);
    const auto operation = zemu::ZemModelessOperationWrapper::create(L"any");
    ASSERT_FALSE(operation.isNull());
    EXPECT_EQ(static_cast<Operation*>(operation.get())->m_name, OdString(L"any"));
}

TEST_F(Interfaces, AnOperationOfAnotherClassIsAnError)
{
    const RegisteredClass cls(L"ZemModelessOperationWrapperImpl", &makeSettings);
    EXPECT_THROW(zemu::ZemModelessOperationWrapper::create(L"any"), OdError_NotThatKindOfClass);
}

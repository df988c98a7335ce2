#include "db/od_db_database.h"
#include "root/root_test_support.h"
#include "support/zem_module_scope.h"

#include "zem_db_feature_manager.h"
#include "zem_feature.h"
#include "zem_naming_service.h"
#include "zem_properties.h"
#include "zem_protocol_extensions.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

class ListedNames : public ZemNamingService
{
public:
    explicit ListedNames(std::vector<OdString> names) : m_names(std::move(names)) {}

    std::vector<OdString> m_names;
    int m_fillings = 0;

protected:
    void fillCacheImpl() override
    {
        ++m_fillings;
        for (OdString const& name : m_names) {
            cacheName(name);
        }
    }
};

OdString unique(ZemNamingService& service, OdString name)
{
    service.makeNameUnique(name);
    return name;
}

class Policy : public ZemDbNamingPolicyPE
{
public:
    bool isApplicable(OdRxClass*) const override { return true; }
    OdString baseName(OdRxClass*) const override { return L"Hole"; }
};

}  // namespace

TEST(NamingService, CutsTheSuffixOffAName)
{
    struct Row
    {
        wchar_t const* name;
        wchar_t const* stem;
        unsigned suffix;
    };
    constexpr Row rows[] = {{L"Box_12", L"Box", 12},
                            {L"Box_", L"Box", 0},
                            {L"_12", L"", 12},
                            {L"Box_1234567", L"Box_1234567", 0},
                            {L"Box_123456", L"Box", 123456},
                            {L"Box12", L"Box12", 0},
                            {L"12", L"12", 0},
                            {L"_", L"", 0},
                            {L"", L"", 0}};
    for (Row const& row : rows) {
        OdString name(row.name);
        unsigned suffix = 99;
        ZemNamingService::trimSuffix(name, suffix, L'_');
        EXPECT_EQ(name, row.stem) << OdString(row.name).utf8();
        EXPECT_EQ(suffix, row.suffix) << OdString(row.name).utf8();
    }
}

TEST(NamingService, NumbersANameThatIsTaken)
{
    ListedNames names({L"Box", L"Box_3", L"Lid_1"});
    EXPECT_EQ(unique(names, L"Box"), L"Box_4");
    EXPECT_EQ(unique(names, L"Box_2"), L"Box_4");
    EXPECT_EQ(unique(names, L"Box_9"), L"Box_9");
    EXPECT_EQ(unique(names, L"Lid"), L"Lid_2");
    EXPECT_EQ(unique(names, L"Rod"), L"Rod");
    EXPECT_EQ(unique(names, L"Rod_5"), L"Rod_5");
    EXPECT_EQ(names.m_fillings, 1);
}

TEST(NamingService, NumbersFromTheStartValueWithTheDelimiter)
{
    ListedNames names({});
    names.changeStartValue(7);
    names.changeDelimeter(L'-');
    EXPECT_EQ(unique(names, L"Rod"), L"Rod-7");
    names.cacheName(L"Rod-9");
    EXPECT_EQ(unique(names, L"Rod"), L"Rod-10");
}

TEST(NamingService, TellsCollisions)
{
    ListedNames names({L"Box_3"});
    EXPECT_TRUE(names.checkNameCollision(L"Box_2"));
    EXPECT_TRUE(names.checkNameCollision(L"Box"));
    EXPECT_FALSE(names.checkNameCollision(L"Box_4"));
    EXPECT_FALSE(names.checkNameCollision(L"box"));
}

TEST(NamingService, RegistersNamesOnlyOnceTheyWereCollected)
{
    ListedNames names({});
    names.registerName(L"Box");
    EXPECT_FALSE(names.checkNameCollision(L"Box"));
    names.registerName(L"Box");
    EXPECT_TRUE(names.checkNameCollision(L"Box"));
    names.invalidateCache();
    EXPECT_FALSE(names.checkNameCollision(L"Box"));
    EXPECT_EQ(names.m_fillings, 2);
}

TEST(NamingPolicy, NamesFeaturesUniquelyInTheirManager)
{
    const ZemModuleScope scope;
    const OdDbDatabasePtr database = OdDbDatabase::createObject();
    const OdSmartPtr<Policy> policy = odrxMake<OdRxObjectImpl<Policy>>();
    const OdSmartPtr<ZemDbFeatureManager> manager =
        ZemDbFeatureManager::getInstance(database->getModelSpaceId(), true)
            .openObject(OdDb::kForWrite);
    OdRxClass* const cls = ZemFeature::desc();
    EXPECT_EQ(policy->generateFeatureName(nullptr, cls, L"Own", true), L"Own");
    EXPECT_EQ(policy->generateFeatureName(manager.get(), cls, L"", false), L"Hole_1");
    EXPECT_EQ(policy->generateFeatureName(manager.get(), cls, L"Own", false), L"Own");
    EXPECT_EQ(policy->generateFeatureName(manager.get(), cls, L"Own", true), L"Own_1");

    const OdSmartPtr<ZemDbFeatureData> feature = ZemDbFeatureData::desc()->create();
    const OdDbObjectId id = database->addOdDbObject(feature.get(), manager->objectId());
    feature->getWriteProperties().setProperty(L"Name", OdString(L"Hole_1"));
    manager->getWriteProperties().setProperty(L"Features", OdDbObjectIdArray{OdDbObjectId(), id},
                                              OdDb::ReferenceType::kHardOwnershipRef);
    manager->getNamingService().invalidateCache();
    EXPECT_EQ(policy->generateFeatureName(manager.get(), cls, L"", false), L"Hole_2");
    EXPECT_EQ(policy->generateFeatureName(manager.get(), cls, L"Hole", false), L"Hole_2");
}

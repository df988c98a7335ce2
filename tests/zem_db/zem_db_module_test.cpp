#include "db/od_db_3d_solid.h"
#include "db/od_db_database.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_memory_filer.h"
#include "root/root_test_support.h"
#include "support/zem_module_scope.h"

#include "zem_assoc_variable_ext.h"
#include "zem_configuration_feature.h"
#include "zem_constraint.h"
#include "zem_db_configuration_table.h"
#include "zem_db_constraint_manager.h"
#include "zem_db_extension_data.h"
#include "zem_db_feature_manager.h"
#include "zem_db_feature_manager_transaction.h"
#include "zem_db_feature_reactor.h"
#include "zem_db_module.h"
#include "zem_db_object.h"
#include "zem_db_object_dependency.h"
#include "zem_db_persid_manager.h"
#include "zem_db_sheet_metal_context.h"
#include "zem_db_variable_reactor.h"
#include "zem_feature.h"
#include "zem_group_feature.h"
#include "zem_properties.h"
#include "zem_protocol_extensions.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>

namespace {

constexpr bool kInterface = true;

/// What a class has to be registered with, and the functions that register it.
struct ClassRow
{
    wchar_t const* name;
    wchar_t const* base;
    wchar_t const* dxfName;
    wchar_t const* appName;
    bool isInterface;
    OdRxClass* (*desc)();
    void (*rxInit)();
    void (*rxInitNamed)(OdAppNameChangeFunction);
    void (*rxUninit)();
};

template <class T>
constexpr ClassRow row(wchar_t const* name, wchar_t const* base, bool isInterface = false,
                       wchar_t const* dxfName = L"", wchar_t const* appName = L"")
{
    return {name,     base,       dxfName,    appName,     isInterface,
            &T::desc, &T::rxInit, &T::rxInit, &T::rxUninit};
}

constexpr wchar_t kRoot[] = L"OdRxObject";
constexpr wchar_t kObject[] = L"OdDbObject";
constexpr wchar_t kConstraints[] = L"Zemforge|Description: 3D constraints data";
constexpr wchar_t kFeatures[] = L"Zemforge|Description: features data";
constexpr wchar_t kDimension[] = L"ZemModule|Description: Zemforge Driving Dimension";
constexpr wchar_t kModel[] = L"Zemforge|Description: model data";
constexpr wchar_t kReactors[] = L"Zemforge|Description: features reactor";
constexpr wchar_t kExtension[] = L"Zemforge|Description: extension data";
constexpr wchar_t kConfigurations[] = L"Zemforge|Description: configurations data";

/// All classes in the order of their registration.
constexpr ClassRow kRows[] = {
    row<ZemConstraint>(L"ZemDbConstraint", kRoot),
    row<ZemDbConstraintManager>(L"ZemDbConstraintManager", kObject, false,
                                L"ZEMDBCONSTRAINTMANAGER", kConstraints),
    row<ZemDbConstraintManagerPE>(L"ZemDbConstraintManagerPE", kRoot, kInterface),
    row<ZemDbFeatureData>(L"ZemDbFeatureData", kObject, false, L"ZEMDBFEATUREDATA", kFeatures),
    row<ZemDbFeatureManager>(L"ZemDbFeatureManager", kObject, false, L"ZEMDBFEATUREMANAGER",
                             kFeatures),
    row<ZemDbFeatureManagerPE>(L"ZemDbFeatureManagerPE", kRoot, kInterface),
    row<ZemDbFeatureManagerTransaction>(L"ZemDbFeatureManagerTransaction", kRoot),
    row<ZemDbObjectDependency>(L"ZemDbObjectDependency", kObject, false, L"ZEMDBOBJECTDEPENDENCY",
                               kConstraints),
    row<ZemDbObject>(L"ZemDbObject", kObject, false, L"ZEMOBJECT", kDimension),
    row<ZemDbObjectPE>(L"ZemDbObjectPE", kRoot, kInterface),
    row<ZemDbPersIdManager>(L"ZemDbPersIdManager", kObject, false, L"ZemDbPersIdManager", kModel),
    row<ZemDbPersIdManagerPE>(L"ZemDbPersIdManagerPE", kRoot, kInterface),
    row<ZemDbSheetMetalContext>(L"ZemDbSheetMetalContext", kObject, false,
                                L"ZEMDBSHEETMETALCONTEXT", kFeatures),
    row<ZemDbSheetMetalContextPE>(L"ZemDbSheetMetalContextPE", kRoot, kInterface),
    row<ZemDbSheetMetalContextMaterialPE>(L"ZemDbSheetMetalContextMaterialPE", kRoot, kInterface),
    row<ZemFeature>(L"ZemFeature", kRoot),
    row<ZemFeatureColorPE>(L"ZemFeatureColorPE", kRoot, kInterface),
    row<ZemFeaturePE>(L"ZemFeaturePE", kRoot, kInterface),
    row<ZemGroupFeature>(L"ZemGroupFeature", L"ZemFeature"),
    row<ZemDiffFeature>(L"ZemDiffFeature", L"ZemGroupFeature"),
    row<ZemVisibilityGroupFeature>(L"ZemVisibilityGroupFeature", L"ZemGroupFeature"),
    row<ZemDbFeatureReactor>(L"ZemDbFeatureReactor", kObject, false, L"ZEMDBFEATUREREACTOR",
                             kReactors),
    row<ZemDbPersIdReactor>(L"ZemDbPersIdReactor", L"ZemDbFeatureReactor", false,
                            L"ZEMDBPERSIDREACTOR", kReactors),
    row<ZemDbPropertyReactor>(L"ZemDbPropertyReactor", L"ZemDbFeatureReactor", false,
                              L"ZEMDBPROPERTYREACTOR", kReactors),
    row<ZemDbExpressionReactor>(L"ZemDbExpressionReactor", L"ZemDbFeatureReactor", false,
                                L"ZEMDBEXPRESSIONREACTOR", kReactors),
    row<ZemDbNamingPolicyPE>(L"ZemDbNamingPolicyPE", kRoot, kInterface),
    row<ZemDbVariableReactor>(L"ZemVariableReactor", kObject, false, L"ZEMVARIABLEREACTOR",
                              kConstraints),
    row<ZemPropertiesPE>(L"ZemPropertiesPE", kRoot, kInterface),
    row<ZemDbExtensionData>(L"ZemDbExtensionData", kObject, false, L"ZEMDBEXTENSIONDATA",
                            kExtension),
    row<ZemTrackingFeature>(L"ZemTrackingFeature", L"ZemFeature"),
    row<ZemDraftingGroupFeature>(L"ZemDraftingGroupFeature", L"ZemFeature"),
    row<ZemUpdateFeatureInterface>(L"ZemUpdateFeatureInterface", L"ZemFeaturePE", kInterface),
    row<ZemDbAssemblyPE>(L"ZemDbAssemblyPE", kRoot, kInterface),
    row<ZemAssocVariableExt>(L"ZemAssocVariableExt", kRoot),
    row<ZemCVUnitInterface>(L"ZemCVUnitInterface", kRoot, kInterface),
    row<ZemDbISettings>(L"ZemDbISettings", kRoot, kInterface),
    row<zemu::ZemModelessOperationWrapper>(L"ZemModelessOperationWrapper", kRoot, kInterface),
    row<ZemDbConfigurationTable>(L"ZemDbConfigurationTable", kObject, false,
                                 L"ZEMDBCONFIGURATIONTABLE", kConfigurations),
    row<ZemConfigurationFeature>(L"ZemConfigurationFeature", L"ZemFeature"),
    row<ZemDbConfigVarReactor>(L"ZemDbConfigVarReactor", L"ZemDbFeatureReactor", false,
                               L"ZEMDBCONFIGVARREACTOR", kReactors),
};
static_assert(std::size(kRows) == 40);

std::string narrow(wchar_t const* text)
{
    std::string bytes;
    OdString(text).appendUtf8To(bytes);
    return bytes;
}

bool isStored(ClassRow const& row)
{
    return *row.dxfName != L'\0';
}

/// The module object of a program that links the module, not initialised.
class ZemDbModuleFrame : public testing::Test
{
protected:
    ~ZemDbModuleFrame() override { m_module->deleteModule(); }

    OdDbPlatform m_platform;
    OdRxModule* m_module = odrxCreateModuleObject(nullptr, L"first");
};

/// The module, initialised.
class ZemDbClasses : public testing::Test
{
protected:
    ZemModuleScope m_scope;
};

}  // namespace

TEST_F(ZemDbModuleFrame, IsMadeOnceAndKeepsItsFirstNameAndSystemData)
{
    int other = 0;
    EXPECT_EQ(odrxCreateModuleObject(&other, L"second"), m_module);
    EXPECT_EQ(m_module->sysData(), nullptr);
    EXPECT_EQ(m_module->moduleName(), OdString(L"first"));
}

TEST_F(ZemDbModuleFrame, IsMadeAnewAfterTheEntryPointForgotIt)
{
    deleteModuleObject();
    OdRxModule* const other = odrxCreateModuleObject(nullptr, L"second");
    EXPECT_NE(other, m_module);
    other->deleteModule();
}

TEST_F(ZemDbModuleFrame, DeletingTheModuleForgetsIt)
{
    m_module->deleteModule();
    m_module = odrxCreateModuleObject(nullptr, L"second");
    EXPECT_EQ(m_module->moduleName(), OdString(L"second"));
}

TEST_F(ZemDbModuleFrame, DeletingTheModuleTakesItsOverruleAwayEvenIfItIsStillInitialised)
{
    m_module->initApp();
    EXPECT_EQ(OdDb3dSolid::desc()->overrules().size(), 1u);
    m_module->deleteModule();
    EXPECT_TRUE(OdDb3dSolid::desc()->overrules().empty());
    const OdDb3dSolidPtr solid = OdDb3dSolid::createObject();
    EXPECT_EQ(odrxFindOverrule(solid.get(), OdRxOverrule::desc()), nullptr);

    m_module = odrxCreateModuleObject(nullptr, L"second");
    m_module->uninitApp();
}

TEST_F(ZemDbModuleFrame, AnswersTheVersionItIsBuiltFor)
{
    int version[4] = {};
    odrxGetAPIVersion(&version[0], &version[1], &version[2], &version[3]);
    EXPECT_EQ(version[0], 4);
    EXPECT_EQ(version[1], 3);
    EXPECT_EQ(version[2], 1);
    EXPECT_EQ(version[3], 0);
}

TEST_F(ZemDbModuleFrame, RegistersNothingBeforeItIsInitialised)
{
    for (ClassRow const& row : kRows) {
        EXPECT_EQ(row.desc(), nullptr) << narrow(row.name);
    }
}

TEST_F(ZemDbModuleFrame, LeavesNoDescriptionBehindAndCanBeInitialisedAgain)
{
    m_module->initApp();
    m_module->uninitApp();
    for (ClassRow const& row : kRows) {
        EXPECT_EQ(row.desc(), nullptr) << narrow(row.name);
        EXPECT_EQ(odrxClassDictionary()->getAt(row.name), nullptr) << narrow(row.name);
    }
    EXPECT_TRUE(OdDb3dSolid::desc()->overrules().empty());

    m_module->initApp();
    EXPECT_EQ(OdDb3dSolid::desc()->overrules().size(), 1u);
    for (ClassRow const& row : kRows) {
        EXPECT_NE(row.desc(), nullptr) << narrow(row.name);
    }
    m_module->uninitApp();
}

TEST_F(ZemDbModuleFrame, RegistersInTheOrderOfTheTable)
{
    for (std::size_t stop = 0; stop < std::size(kRows); ++stop) {
        SCOPED_TRACE(narrow(kRows[stop].name));
        // A foreign class with its name stops the walk at this row.
        OdRxClass* const foreign = newOdRxClass(kRows[stop].name, OdRxObject::desc(), nullptr);
        EXPECT_EQ(thrownCode([&] { m_module->initApp(); }), kOdClassAlreadyRegistered);
        EXPECT_TRUE(OdDb3dSolid::desc()->overrules().empty());
        for (std::size_t index = 0; index < std::size(kRows); ++index) {
            EXPECT_EQ(kRows[index].desc() != nullptr, index < stop) << narrow(kRows[index].name);
        }
        for (std::size_t index = stop; index > 0; --index) {
            kRows[index - 1].rxUninit();
        }
        deleteOdRxClass(foreign);
    }
}

TEST_F(ZemDbModuleFrame, UnregistersInTheReverseOrder)
{
    for (std::size_t stop = 0; stop < std::size(kRows); ++stop) {
        SCOPED_TRACE(narrow(kRows[stop].name));
        m_module->initApp();
        kRows[stop].rxUninit();
        EXPECT_EQ(thrownCode([&] { m_module->uninitApp(); }), kOdClassNotRegistered);
        EXPECT_TRUE(OdDb3dSolid::desc()->overrules().empty());
        for (std::size_t index = 0; index < std::size(kRows); ++index) {
            EXPECT_EQ(kRows[index].desc() != nullptr, index < stop) << narrow(kRows[index].name);
        }
        for (std::size_t index = stop; index > 0; --index) {
            kRows[index - 1].rxUninit();
        }
    }
}

TEST_F(ZemDbModuleFrame, RefusesToBeUninitialisedBeforeItIsInitialised)
{
    EXPECT_EQ(thrownCode([&] { m_module->uninitApp(); }), kOdClassNotRegistered);
}

TEST_F(ZemDbClasses, InitialisingAnInitialisedModuleFailsAtTheFirstClass)
{
    EXPECT_EQ(thrownCode([&] { m_scope.module().initApp(); }), kOdClassAlreadyRegistered);
    EXPECT_EQ(OdDb3dSolid::desc()->overrules().size(), 1u);
}

TEST_F(ZemDbClasses, AreRegisteredAsDrawingsKnowThem)
{
    for (ClassRow const& row : kRows) {
        SCOPED_TRACE(narrow(row.name));
        OdRxClass const* const cls = row.desc();
        ASSERT_NE(cls, nullptr);
        EXPECT_EQ(cls->name(), row.name);
        EXPECT_EQ(odrxClassDictionary()->getAt(row.name), cls);
        EXPECT_EQ(cls->parent()->name(), row.base);
        EXPECT_EQ(cls->dxfName(), row.dxfName);
        EXPECT_EQ(cls->appName(), row.appName);
        EXPECT_EQ(cls->dwgVersion(), isStored(row) ? 33 : 0);
        EXPECT_EQ(cls->maintenanceVersion(), isStored(row) ? 4 : 0);
        EXPECT_EQ(cls->proxyFlags(), isStored(row) ? 1025 : 0);
        EXPECT_EQ(cls->customFlags(), 0u);
    }
}

TEST_F(ZemDbClasses, MakeInstancesUnlessTheyAreInterfaces)
{
    for (ClassRow const& row : kRows) {
        SCOPED_TRACE(narrow(row.name));
        const OdRxObjectPtr made = odrxCreateObject(row.name);
        EXPECT_EQ(made.isNull(), row.isInterface);
        if (!made.isNull()) {
            EXPECT_EQ(made->isA(), row.desc());
            EXPECT_EQ(made->numRefs(), 1);
            EXPECT_EQ(made->isKindOf(OdDbObject::desc()), isStored(row));
        }
    }
}

TEST_F(ZemDbClasses, AnswerForThemselvesTheirBasesAndNothingElse)
{
    for (ClassRow const& row : kRows) {
        SCOPED_TRACE(narrow(row.name));
        const OdRxObjectPtr made = odrxCreateObject(row.name);
        if (made.isNull()) {
            continue;
        }
        for (OdRxClass* cls = row.desc(); cls != nullptr; cls = cls->parent()) {
            const auto answer = OdRxObjectPtr::attach(made->queryX(cls));
            EXPECT_EQ(answer.get(), made.get()) << narrow(cls->name().c_str());
        }
        EXPECT_EQ(made->queryX(ZemCVUnitInterface::desc()), nullptr);
        EXPECT_EQ(made->queryX(nullptr), nullptr);
    }
}

TEST_F(ZemDbClasses, RefuseToBeRegisteredTwice)
{
    for (ClassRow const& row : kRows) {
        OdRxClass const* const cls = row.desc();
        EXPECT_EQ(thrownCode(row.rxInit), kOdClassAlreadyRegistered) << narrow(row.name);
        EXPECT_EQ(thrownCode([&] { row.rxInitNamed(nullptr); }), kOdClassAlreadyRegistered);
        EXPECT_EQ(row.desc(), cls) << narrow(row.name);
    }
}

TEST_F(ZemDbClasses, RefuseToBeUnregisteredTwice)
{
    for (std::size_t index = std::size(kRows); index > 0; --index) {
        ClassRow const& row = kRows[index - 1];
        row.rxUninit();
        EXPECT_EQ(row.desc(), nullptr) << narrow(row.name);
        EXPECT_EQ(thrownCode(row.rxUninit), kOdClassNotRegistered) << narrow(row.name);
    }
    for (ClassRow const& row : kRows) {
        row.rxInit();
    }
}

TEST_F(ZemDbClasses, TakeAFunctionThatChangesTheirApplicationString)
{
    const OdAppNameChangeFunction change = [](OdRxClass const*, OdString& appName, int version) {
        if (version < 33) {
            appName = L"older";
        }
    };
    for (std::size_t index = std::size(kRows); index > 0; --index) {
        kRows[index - 1].rxUninit();
    }
    for (ClassRow const& row : kRows) {
        row.rxInitNamed(change);
        EXPECT_EQ(row.desc()->appNameFor(30), OdString(L"older")) << narrow(row.name);
        EXPECT_EQ(row.desc()->appNameFor(33), OdString(row.appName)) << narrow(row.name);
    }
}

namespace {

class AnyExtension : public ZemPropertiesPE
{
public:
    ZemProperties* getProperties(OdDbObject*) override { return nullptr; }
};

}  // namespace

TEST_F(ZemDbClasses, FallBackOnTheExtensionsOfTheirClassAndItsBases)
{
    const OdRxObjectPtr extension = odrxMake<AnyExtension>();
    ZemDbFeatureReactor::desc()->addX(ZemPropertiesPE::desc(), extension.get());
    const OdSmartPtr<ZemDbPersIdReactor> reactor = ZemDbPersIdReactor::desc()->create();
    const auto answer = OdRxObjectPtr::attach(reactor->queryX(ZemPropertiesPE::desc()));
    EXPECT_EQ(answer.get(), extension.get());

    ZemDbFeatureReactor::desc()->delX(ZemPropertiesPE::desc());
    EXPECT_EQ(reactor->queryX(ZemPropertiesPE::desc()), nullptr);
}

// Bags of the stored classes.

namespace {

struct BagRow
{
    wchar_t const* name;
    int config;
    int version;
    ZemProperties& (*bag)(OdDbObject&);
};

template <class T>
BagRow bagRow(wchar_t const* name, int config, int version)
{
    return {name, config, version, [](OdDbObject& object) -> ZemProperties& {
                return static_cast<T&>(object).getWriteProperties();
            }};
}

std::vector<BagRow> bagRows()
{
    return {
        bagRow<ZemDbFeatureData>(L"ZemDbFeatureData", 0, 1),
        bagRow<ZemDbFeatureManager>(L"ZemDbFeatureManager", 1, 1),
        bagRow<ZemDbFeatureReactor>(L"ZemDbFeatureReactor", 1, 0),
        bagRow<ZemDbPersIdReactor>(L"ZemDbPersIdReactor", 1, 1),
        bagRow<ZemDbExpressionReactor>(L"ZemDbExpressionReactor", 1, 1),
        bagRow<ZemDbPropertyReactor>(L"ZemDbPropertyReactor", 1, 2),
        bagRow<ZemDbConfigVarReactor>(L"ZemDbConfigVarReactor", 1, 1),
        bagRow<ZemDbPersIdManager>(L"ZemDbPersIdManager", 1, 1),
        bagRow<ZemDbSheetMetalContext>(L"ZemDbSheetMetalContext", 0, 1),
        bagRow<ZemDbConstraintManager>(L"ZemDbConstraintManager", 0, 0),
        bagRow<ZemDbConfigurationTable>(L"ZemDbConfigurationTable", 0, 0),
        bagRow<ZemDbObject>(L"ZemDbObject", 0, 0),
        bagRow<ZemDbExtensionData>(L"ZemDbExtensionData", 0, 0),
    };
}

OdDbObjectPtr make(wchar_t const* name)
{
    return odrxCreateObject(name);
}

}  // namespace

TEST_F(ZemDbClasses, HoldABagOfTheirOwnConfigurationAndVersion)
{
    for (BagRow const& row : bagRows()) {
        const OdDbObjectPtr object = make(row.name);
        EXPECT_EQ(row.bag(*object).config(), row.config) << narrow(row.name);
        EXPECT_EQ(row.bag(*object).version(), row.version) << narrow(row.name);
    }
    EXPECT_EQ(odrxMake<ZemConstraint>()->properties().config(), 0);
    EXPECT_EQ(odrxMake<ZemConstraint>()->properties().version(), 0);
}

TEST_F(ZemDbClasses, ComeBackFromAFilerWithWhatTheirBagHeld)
{
    for (BagRow const& row : bagRows()) {
        SCOPED_TRACE(narrow(row.name));
        const OdDbObjectPtr source = make(row.name);
        row.bag(*source).setProperty(L"any size", 2.5);
        OdStaticRxObject<OdDbMemoryFiler> filer;
        source->dwgOutFields(&filer);

        filer.rewindForReading();
        const OdDbObjectPtr target = make(row.name);
        row.bag(*target).setProperty(L"left over", true);
        EXPECT_EQ(target->dwgInFields(&filer), kOdOk);
        EXPECT_EQ(filer.bytesLeft(), 0u);
        double size = 0.0;
        EXPECT_TRUE(row.bag(*target).getProperty(L"any size", size));
        EXPECT_EQ(size, 2.5);
        EXPECT_TRUE(row.bag(*target).getProperty(L"left over").isNull());
    }
}

TEST_F(ZemDbClasses, RefuseTheBagOfANewerVersion)
{
    for (BagRow const& row : bagRows()) {
        const OdDbObjectPtr source = make(row.name);
        row.bag(*source).setVersion(row.version == 0 ? 2 : row.version + 1);
        OdStaticRxObject<OdDbMemoryFiler> filer;
        source->dwgOutFields(&filer);
        filer.rewindForReading();
        EXPECT_EQ(make(row.name)->dwgInFields(&filer), kOdRejectedVersion) << narrow(row.name);
    }
}

TEST_F(ZemDbClasses, AreNotReadableWhileClosed)
{
    const OdDbDatabasePtr database = OdDbDatabase::createObject();
    for (BagRow const& row : bagRows()) {
        SCOPED_TRACE(narrow(row.name));
        OdDbObject* closed = nullptr;
        {
            const OdDbObjectPtr object = make(row.name);
            database->addOdDbObject(object.get());
            closed = object.get();
        }
        OdStaticRxObject<OdDbMemoryFiler> filer;
        EXPECT_EQ(thrownCode([&] { closed->dwgOutFields(&filer); }), kOdNotOpenForRead);
        EXPECT_EQ(thrownCode([&] { (void)closed->dwgInFields(&filer); }), kOdNotOpenForWrite);
        EXPECT_EQ(thrownCode([&] { row.bag(*closed); }), kOdNotOpenForWrite);
        EXPECT_TRUE(filer.bytes().empty());
    }
}

TEST_F(ZemDbClasses, UndoBringsTheirBagBack)
{
    const OdDbDatabasePtr database = OdDbDatabase::createObject();
    for (BagRow const& row : bagRows()) {
        SCOPED_TRACE(narrow(row.name));
        const OdDbObjectPtr object = make(row.name);
        database->addOdDbObject(object.get());
        database->startUndoRecord();
        row.bag(*object).setProperty(L"count", 7);
        EXPECT_EQ(database->undo(), kOdOk);
        EXPECT_TRUE(row.bag(*object).getProperty(L"count").isNull());
    }
}

TEST_F(ZemDbClasses, AVariablesBagIsItsExtendedData)
{
    const OdDbDatabasePtr database = OdDbDatabase::createObject();
    const OdDbObjectPtr variable = OdDbDictionary::createObject();
    database->addOdDbObject(variable.get());

    const OdSmartPtr<ZemAssocVariableExt> writer = ZemAssocVariableExt::desc()->create();
    EXPECT_TRUE(writer->data().isEmpty());
    writer->getDbObject() = variable;
    writer->data().setProperty(L"expose", true);
    writer->writeData();

    const OdSmartPtr<ZemAssocVariableExt> reader = ZemAssocVariableExt::desc()->create();
    reader->getDbObject() = variable;
    bool exposed = false;
    EXPECT_TRUE(reader->data().getProperty(L"expose", exposed));
    EXPECT_TRUE(exposed);
}

TEST_F(ZemDbClasses, SolidsDrawThemselvesUnderTheOverrule)
{
    const OdDb3dSolidPtr solid = OdDb3dSolid::createObject();
    EXPECT_EQ(odrxFindOverrule(solid.get(), OdGiDrawableOverrule::desc()), nullptr);
    EXPECT_EQ(solid->worldDraw(nullptr), 0u);
}

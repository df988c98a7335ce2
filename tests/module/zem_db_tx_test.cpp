#include "db/od_db_3d_solid.h"
#include "db/od_db_database.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_memory_filer.h"
#include "db/od_db_platform.h"
#include "root/od_alloc.h"
#include "root/od_rx_module.h"
#include "root/root_test_support.h"

#include "module/module_table.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

namespace {

bool isMapped(std::string const& path)
{
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find(path) != std::string::npos) {
            return true;
        }
    }
    return false;
}

std::size_t registeredClasses()
{
    std::size_t count = 0;
    for (ModuleClass const& cls : kModuleClasses) {
        count += odrxClassDictionary()->getAt(cls.name) != nullptr ? 1 : 0;
    }
    return count;
}

/// A function of the loaded file, by its C name.
template <class Function>
Function entryPoint(char const* name)
{
    void* const library = dlopen(ZEM_MODULE_PATH, RTLD_NOW | RTLD_NOLOAD);
    void* const symbol = dlsym(library, name);
    dlclose(library);
    return reinterpret_cast<Function>(symbol);
}

/// Adds one object of each stored class to the named objects of a database.
void addObjectOfEachClass(OdDbDatabase& database)
{
    const OdDbDictionaryPtr names =
        database.getNamedObjectsDictionaryId().safeOpenObject(OdDb::kForWrite);
    for (ModuleClass const& cls : kModuleClasses) {
        if (cls.isStored) {
            const OdDbObjectPtr object = odrxCreateObject(cls.name);
            names->setAt(cls.name, object.get());
        }
    }
}

class ZemDbTx : public testing::Test
{
protected:
    OdDbPlatform m_platform;
};

}  // namespace

TEST_F(ZemDbTx, RegistersItsFortyClassesAndTakesThemAway)
{
    const std::size_t before = odrxClassDictionary()->size();
    const auto handle = odLoadModule(ZEM_MODULE_PATH);
    EXPECT_EQ(odrxClassDictionary()->size(), before + std::size(kModuleClasses));
    EXPECT_EQ(registeredClasses(), 40u);
    EXPECT_EQ(OdDb3dSolid::desc()->overrules().size(), 1u);

    handle->unload();
    EXPECT_EQ(odrxClassDictionary()->size(), before);
    EXPECT_EQ(registeredClasses(), 0u);
    EXPECT_TRUE(OdDb3dSolid::desc()->overrules().empty());
}

TEST_F(ZemDbTx, CanBeInitialisedAgainAfterItWasUninitialised)
{
    const auto handle = odLoadModule(ZEM_MODULE_PATH);
    handle->module()->uninitApp();
    EXPECT_EQ(registeredClasses(), 0u);
    handle->module()->initApp();
    EXPECT_EQ(registeredClasses(), 40u);
}

TEST_F(ZemDbTx, RefusesToBeInitialisedTwice)
{
    const auto handle = odLoadModule(ZEM_MODULE_PATH);
    EXPECT_EQ(thrownCode([&] { handle->module()->initApp(); }), kOdClassAlreadyRegistered);
    EXPECT_EQ(registeredClasses(), 40u);
}

TEST_F(ZemDbTx, RefusesToBeUninitialisedTwice)
{
    const auto handle = odLoadModule(ZEM_MODULE_PATH);
    handle->module()->uninitApp();
    EXPECT_EQ(thrownCode([&] { handle->module()->uninitApp(); }), kOdClassNotRegistered);
    handle->module()->initApp();
}

TEST_F(ZemDbTx, AnswersTheVersionItIsBuiltFor)
{
    const auto handle = odLoadModule(ZEM_MODULE_PATH);
    int version[4] = {};
    entryPoint<void (*)(int*, int*, int*, int*)>("odrxGetAPIVersion")(&version[0], &version[1],
                                                                      &version[2], &version[3]);
    EXPECT_EQ(version[0], 4);
    EXPECT_EQ(version[1], 3);
    EXPECT_EQ(version[2], 1);
    EXPECT_EQ(version[3], 0);
}

TEST_F(ZemDbTx, MakesOneModuleObjectThatKeepsItsFirstNameAndSystemData)
{
    int data = 0;
    int other = 0;
    const auto handle = odLoadModule(ZEM_MODULE_PATH, &data);
    const auto create =
        entryPoint<OdRxModule* (*)(void*, wchar_t const*)>("odrxCreateModuleObject");
    EXPECT_EQ(create(&other, L"other"), handle->module());
    EXPECT_EQ(handle->module()->sysData(), &data);
    EXPECT_EQ(handle->module()->moduleName(), OdString(L"zem_db.tx"));
}

TEST_F(ZemDbTx, IsNotInTheProcessAnyMoreAfterUnloading)
{
    const auto handle = odLoadModule(ZEM_MODULE_PATH);
    EXPECT_TRUE(isMapped("zem_db.tx"));
    handle->unload();
    EXPECT_FALSE(isMapped("zem_db.tx"));
}

TEST_F(ZemDbTx, LoadingAndUnloadingLeavesNoMemoryBehind)
{
    // The first time fills what the platform keeps for the life of the process.
    odLoadModule(ZEM_MODULE_PATH);
    const std::int64_t before = odrxLiveBlocks();
    for (int round = 0; round < 3; ++round) {
        const auto handle = odLoadModule(ZEM_MODULE_PATH);
        handle->module()->uninitApp();
        handle->module()->initApp();
    }
    EXPECT_EQ(odrxLiveBlocks(), before);
}

TEST_F(ZemDbTx, KeepsItsAllocationFunctionsToItself)
{
    const auto handle = odLoadModule(ZEM_MODULE_PATH);
    char const* const names[] = {
        "_Znwm",
        "_Znam",
        "_ZnwmRKSt9nothrow_t",
        "_ZnamRKSt9nothrow_t",
        "_ZnwmSt11align_val_t",
        "_ZnamSt11align_val_t",
        "_ZnwmSt11align_val_tRKSt9nothrow_t",
        "_ZnamSt11align_val_tRKSt9nothrow_t",
        "_ZdlPv",
        "_ZdaPv",
        "_ZdlPvRKSt9nothrow_t",
        "_ZdaPvRKSt9nothrow_t",
        "_ZdlPvm",
        "_ZdaPvm",
        "_ZdlPvSt11align_val_t",
        "_ZdaPvSt11align_val_t",
        "_ZdlPvmSt11align_val_t",
        "_ZdaPvmSt11align_val_t",
        "_ZdlPvSt11align_val_tRKSt9nothrow_t",
        "_ZdaPvSt11align_val_tRKSt9nothrow_t",
    };
    for (char const* const name : names) {
        void* const function = entryPoint<void*>(name);
        Dl_info info = {};
        ASSERT_NE(dladdr(function, &info), 0) << name;
        EXPECT_EQ(std::string(info.dli_fname).find("zem_db.tx"), std::string::npos) << name;
    }
}

TEST_F(ZemDbTx, AllocatesItsObjectsInThePlatformsMemory)
{
    const auto handle = odLoadModule(ZEM_MODULE_PATH);
    const std::int64_t before = odrxLiveBlocks();
    OdRxObjectPtr feature = odrxCreateObject(L"ZemFeature");
    EXPECT_EQ(odrxLiveBlocks(), before + 1);
    feature.release();
    EXPECT_EQ(odrxLiveBlocks(), before);
}

TEST_F(ZemDbTx, StaysLoadedWhileDatabaseObjectsAreAlive)
{
    const auto handle = odLoadModule(ZEM_MODULE_PATH);
    OdRxObjectPtr object = odrxCreateObject(L"ZemDbFeatureManager");
    EXPECT_EQ(thrownCode([&] { handle->unload(); }), kOdModuleInUse);
    EXPECT_EQ(registeredClasses(), 40u);

    object.release();
    EXPECT_EQ(thrownCode([&] { handle->unload(); }), kOdOk);
    EXPECT_FALSE(isMapped("zem_db.tx"));
}

TEST_F(ZemDbTx, StaysLoadedWhileTransientObjectsOfItsClassesAreAlive)
{
    const auto handle = odLoadModule(ZEM_MODULE_PATH);
    for (wchar_t const* const name : {L"ZemFeature", L"ZemDbConstraint", L"ZemAssocVariableExt"}) {
        OdRxObjectPtr object = odrxCreateObject(name);
        EXPECT_EQ(thrownCode([&] { handle->unload(); }), kOdModuleInUse);
        EXPECT_EQ(registeredClasses(), 40u);
    }
    EXPECT_EQ(thrownCode([&] { handle->unload(); }), kOdOk);
    EXPECT_FALSE(isMapped("zem_db.tx"));
}

TEST_F(ZemDbTx, StaysLoadedWhileObjectsFromBeforeItsLastStartAreAlive)
{
    const auto handle = odLoadModule(ZEM_MODULE_PATH);
    const OdRxObjectPtr feature = odrxCreateObject(L"ZemFeature");
    handle->module()->uninitApp();
    handle->module()->initApp();
    EXPECT_EQ(thrownCode([&] { handle->unload(); }), kOdModuleInUse);
}

TEST_F(ZemDbTx, IsUnloadedWithTheExtensionsThatOnlyItsClassesHold)
{
    const auto handle = odLoadModule(ZEM_MODULE_PATH);
    OdRxClass* const feature = odrxClassDictionary()->getAt(L"ZemFeature");
    OdDbDatabase::desc()->addX(feature, feature->create().get());
    feature->addX(feature, feature->create().get());
    EXPECT_EQ(thrownCode([&] { handle->unload(); }), kOdOk);
    EXPECT_FALSE(isMapped("zem_db.tx"));
}

TEST_F(ZemDbTx, StaysLoadedWhileAnExtensionOfAnotherClassIsOneOfItsObjects)
{
    const auto handle = odLoadModule(ZEM_MODULE_PATH);
    OdDbDatabase::desc()->addX(OdRxObject::desc(), odrxCreateObject(L"ZemFeature").get());
    EXPECT_EQ(thrownCode([&] { handle->unload(); }), kOdModuleInUse);
    OdDbDatabase::desc()->delX(OdRxObject::desc());
}

TEST_F(ZemDbTx, DatabasesSurviveTheLossOfTheClassesOfTheirObjects)
{
    const auto handle = odLoadModule(ZEM_MODULE_PATH);
    {
        const OdDbDatabasePtr database = OdDbDatabase::createObject();
        addObjectOfEachClass(*database);
        const OdDbDictionaryPtr names =
            database->getNamedObjectsDictionaryId().safeOpenObject(OdDb::kForRead);
        const OdDbObjectId id = names->getAt(L"ZemDbFeatureManager");
        EXPECT_EQ(id.objectClass()->name(), OdString(L"ZemDbFeatureManager"));

        handle->module()->uninitApp();
        EXPECT_EQ(id.objectClass(), nullptr);
        const OdDbObjectPtr object = id.openObject(OdDb::kForWrite);
        ASSERT_FALSE(object.isNull());
        EXPECT_EQ(object->isA(), nullptr);
        OdStaticRxObject<OdDbMemoryFiler> filer;
        object->dwgOutFields(&filer);
        EXPECT_FALSE(filer.bytes().empty());
        EXPECT_EQ(object->erase(), kOdOk);
    }
    handle->module()->initApp();
}

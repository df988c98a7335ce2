#include "assoc/od_platform.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_database.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_memory_filer.h"
#include "db/od_db_proxy_object.h"
#include "root/od_rx_module.h"
#include "root/root_test_support.h"
#include "store/od_db_drawing.h"

#include "module/module_table.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace {

constexpr std::int8_t kTextValue = 2;

/// Puts one text into the bag of an object, by filing: the base's own part, then a bag with an item.
void fillBag(OdDbObject& object, OdString const& text)
{
    OdStaticRxObject<OdDbMemoryFiler> filer;
    object.OdDbObject::dwgOutFields(&filer);
    filer.wrInt32(1);
    filer.wrString(L"Name");
    filer.wrInt8(kTextValue);
    filer.wrString(text);
    filer.rewindForReading();
    EXPECT_EQ(object.dwgInFields(&filer), kOdOk);
}

/// What an object files behind its base's own part: its bag.
OdDbMemoryFiler::Bytes bagOf(OdDbObject const& object)
{
    OdStaticRxObject<OdDbMemoryFiler> base;
    object.OdDbObject::dwgOutFields(&base);
    OdStaticRxObject<OdDbMemoryFiler> whole;
    object.dwgOutFields(&whole);
    const auto size = static_cast<std::ptrdiff_t>(base.bytes().size());
    return OdDbMemoryFiler::Bytes(whole.bytes().begin() + size, whole.bytes().end());
}

/// What a bag with that text files, for an object that is in no drawing.
OdDbMemoryFiler::Bytes expectedBag(ModuleClass const& cls)
{
    const OdDbObjectPtr object = odrxCreateObject(cls.name);
    fillBag(*object, OdString(L"of ") + cls.name);
    return bagOf(*object);
}

/// Stored classes with fields of their own; the reactor of variables has none.
bool hasBag(ModuleClass const& cls)
{
    return cls.isStored && OdString(cls.name) != L"ZemVariableReactor";
}

std::string narrow(OdString const& text)
{
    std::string bytes;
    text.appendUtf8To(bytes);
    return bytes;
}

class ModuleDrawing : public testing::Test
{
protected:
    ModuleDrawing() { std::filesystem::create_directory(m_folder); }
    ~ModuleDrawing() override { std::filesystem::remove_all(m_folder); }

    OdString path() const { return OdString((m_folder / "drawing.zdw").c_str()); }

    /// A drawing with one object of each stored class, saved for a version.
    void saveDrawing(int dwgVersion)
    {
        const OdDbDatabasePtr database = OdDbDatabase::createObject();
        const OdDbDictionaryPtr names =
            database->getNamedObjectsDictionaryId().safeOpenObject(OdDb::kForWrite);
        for (ModuleClass const& cls : kModuleClasses) {
            if (!cls.isStored) {
                continue;
            }
            const OdDbObjectPtr object = odrxCreateObject(cls.name);
            names->setAt(cls.name, object.get());
            if (hasBag(cls)) {
                fillBag(*object, OdString(L"of ") + cls.name);
            }
        }
        odDbSaveDrawingAs(*database, path(), dwgVersion);
    }

    /// Compares the drawing's objects with what was saved.
    void checkDrawing()
    {
        const OdDbDatabasePtr database = odDbOpenDrawing(path(), OdDbOpenDrawingMode::kForReading);
        const OdDbDictionaryPtr names = database->getNamedObjectsDictionaryId().safeOpenObject();
        for (ModuleClass const& cls : kModuleClasses) {
            SCOPED_TRACE(narrow(cls.name));
            if (!cls.isStored) {
                continue;
            }
            const OdDbObjectPtr object = names->getAt(cls.name, OdDb::kForRead);
            ASSERT_FALSE(object.isNull());
            EXPECT_EQ(object->isA(), odrxClassDictionary()->getAt(cls.name));
            if (hasBag(cls)) {
                EXPECT_EQ(bagOf(*object), expectedBag(cls));
            }
        }
    }

    OdPlatform m_platform;
    std::filesystem::path m_folder =
        std::filesystem::temp_directory_path() / ("module_drawing_" + std::to_string(::getpid()));
};

}  // namespace

TEST_F(ModuleDrawing, ObjectsComeBackInAnotherLifeOfTheModule)
{
    {
        const auto handle = odLoadModule(ZEM_MODULE_PATH);
        saveDrawing(OdDb::kDwgVersionCurrent);
    }
    const auto handle = odLoadModule(ZEM_MODULE_PATH);
    checkDrawing();
}

TEST_F(ModuleDrawing, ObjectsComeBackFromOlderDrawingVersions)
{
    const auto handle = odLoadModule(ZEM_MODULE_PATH);
    for (const int version : {OdDb::kDwgVersion29, OdDb::kDwgVersion30}) {
        SCOPED_TRACE(version);
        saveDrawing(version);
        checkDrawing();
    }
}

TEST_F(ModuleDrawing, ObjectsSurviveBeingSavedWithoutTheModule)
{
    {
        const auto handle = odLoadModule(ZEM_MODULE_PATH);
        saveDrawing(OdDb::kDwgVersionCurrent);
    }
    {
        const OdDbDatabasePtr database = odDbOpenDrawing(path(), OdDbOpenDrawingMode::kForWriting);
        const OdDbDictionaryPtr names = database->getNamedObjectsDictionaryId().safeOpenObject();
        for (ModuleClass const& cls : kModuleClasses) {
            if (cls.isStored) {
                const OdDbObjectPtr object = names->getAt(cls.name, OdDb::kForRead);
                ASSERT_FALSE(object.isNull());
                EXPECT_TRUE(object->isKindOf(OdDbProxyObject::desc())) << narrow(cls.name);
            }
        }
        const OdDbBlockTableRecordPtr space =
            database->getModelSpaceId().safeOpenObject(OdDb::kForWrite);
        space->appendOdDbEntity(OdDbLine::createObject().get());
        odDbSaveDrawing(*database);
        odDbSaveDrawingAs(*database, path());
    }
    const auto handle = odLoadModule(ZEM_MODULE_PATH);
    checkDrawing();
}

TEST_F(ModuleDrawing, OpenObjectsOfADrawingKeepTheModuleLoaded)
{
    const auto handle = odLoadModule(ZEM_MODULE_PATH);
    saveDrawing(OdDb::kDwgVersionCurrent);
    OdDbDatabasePtr database = odDbOpenDrawing(path(), OdDbOpenDrawingMode::kForReading);
    EXPECT_EQ(thrownCode([&] { handle->unload(); }), kOdModuleInUse);
    database.release();
    EXPECT_EQ(thrownCode([&] { handle->unload(); }), kOdOk);
}

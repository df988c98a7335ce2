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

bool is(ModuleClass const& cls, wchar_t const* name)
{
    return OdString(cls.name) == name;
}

/// Files a bag that holds one text.
void fileBag(OdDbDwgFiler& filer, OdString const& text)
{
    filer.wrInt32(1);
    filer.wrString(L"Name");
    filer.wrInt8(kTextValue);
    filer.wrString(text);
}

/// Files the fields of a class, which stand behind those of its base: a bag, or a form of its own,
/// with a text of the class in it.
void fileFields(OdDbDwgFiler& filer, ModuleClass const& cls)
{
    constexpr std::int16_t kMark = 0;
    const OdString text = OdString(L"of ") + cls.name;
    if (is(cls, L"ZemDbObjectDependency")) {
        filer.wrSoftPointerId(OdDbObjectId::kNull);
        filer.wrInt32(3);  // vertex 7
        filer.wrInt32(7);
        return;
    }
    if (is(cls, L"ZemDbObject")) {
        filer.wrUInt8(5);
        filer.wrInt32(0);  // links
        filer.wrSoftPointerId(OdDbObjectId::kNull);
        fileBag(filer, text);
        filer.wrInt32(0);  // numbered parts
        filer.wrInt16(kMark);
        return;
    }
    if (is(cls, L"ZemDbConstraintManager")) {
        filer.wrInt16(2);
        for (int list = 0; list < 4; ++list) {
            filer.wrInt32(0);
        }
        fileBag(filer, text);
        filer.wrInt16(kMark);
        return;
    }
    fileBag(filer, text);
}

/// Gives an object the fields of its class, by filing.
void fillFields(OdDbObject& object, ModuleClass const& cls)
{
    OdStaticRxObject<OdDbMemoryFiler> filer;
    object.OdDbObject::dwgOutFields(&filer);
    fileFields(filer, cls);
    filer.rewindForReading();
    EXPECT_EQ(object.dwgInFields(&filer), kOdOk);
    EXPECT_EQ(filer.bytesLeft(), 0u);
}

/// What an object files behind its base's own part.
OdDbMemoryFiler::Bytes fieldsOf(OdDbObject const& object)
{
    OdStaticRxObject<OdDbMemoryFiler> base;
    object.OdDbObject::dwgOutFields(&base);
    OdStaticRxObject<OdDbMemoryFiler> whole;
    object.dwgOutFields(&whole);
    const auto size = static_cast<std::ptrdiff_t>(base.bytes().size());
    return OdDbMemoryFiler::Bytes(whole.bytes().begin() + size, whole.bytes().end());
}

/// What an object that was filled so files, when it is in no drawing.
OdDbMemoryFiler::Bytes expectedFields(ModuleClass const& cls)
{
    const OdDbObjectPtr object = odrxCreateObject(cls.name);
    fillFields(*object, cls);
    return fieldsOf(*object);
}

/// Stored classes with fields of their own; the reactor of variables has none.
bool hasFields(ModuleClass const& cls)
{
    return cls.isStored && !is(cls, L"ZemVariableReactor");
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
            if (hasFields(cls)) {
                fillFields(*object, cls);
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
            if (hasFields(cls)) {
                EXPECT_EQ(fieldsOf(*object), expectedFields(cls));
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

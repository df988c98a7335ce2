// Clones in drawings on disk: they are saved, loaded on demand and cloned from what isn't in memory.

#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_id_mapping.h"
#include "db/od_db_simple_tables.h"
#include "store/drawing_test_support.h"

namespace {

class StoredClones : public testing::Test
{
protected:
    /// A drawing with a block of lines on a layer, parts hung on each, saved and opened again.
    OdDbDatabasePtr openSource(char const* name)
    {
        {
            const OdDbDatabasePtr db = OdDbDatabase::createObject();
            const OdDbLayerTableRecordPtr layer = OdDbLayerTableRecord::createObject();
            layer->setName(L"walls");
            const OdDbObjectId layerId =
                OdDbSymbolTablePtr(db->getLayerTableId().openObject(OdDb::kForWrite))
                    ->add(layer.get());
            const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
            block->setName(L"part");
            OdDbSymbolTablePtr(db->getBlockTableId().openObject(OdDb::kForWrite))->add(block.get());
            for (int index = 0; index < kLines; ++index) {
                const OdDbLinePtr line = OdDbLine::createObject();
                line->setStartPoint(OdGePoint3d(index, 0.0, 0.0));
                block->appendOdDbEntity(line.get());
                line->setLayer(layerId);
                line->createExtensionDictionary();
                const StoreTestPartPtr part = odrxMake<StoreTestPart>();
                part->number = index;
                part->other = line->objectId();
                OdDbDictionaryPtr(line->extensionDictionary().openObject(OdDb::kForWrite))
                    ->setAt(L"part", part.get());
            }
            odDbSaveDrawingAs(*db, textOf(m_folder.file(name)));
        }
        return open(name);
    }
    OdDbDatabasePtr open(char const* name)
    {
        return odDbOpenDrawing(textOf(m_folder.file(name)), OdDbOpenDrawingMode::kForReading);
    }
    static OdDbObjectId blockOf(OdDbDatabase& db, wchar_t const* name)
    {
        return OdDbSymbolTablePtr(db.getBlockTableId().openObject())->getAt(name);
    }
    static void expectWhole(OdDbDatabase& db, OdDbObjectId blockId)
    {
        const OdDbBlockTableRecordPtr block = blockId.safeOpenObject();
        const OdDbObjectId layer =
            OdDbSymbolTablePtr(db.getLayerTableId().openObject())->getAt(L"walls");
        int count = 0;
        for (const auto at = block->newIterator(); !at->done(); at->step()) {
            const OdDbLinePtr line = at->objectId().safeOpenObject();
            EXPECT_EQ(line->startPoint().x, count);
            EXPECT_EQ(line->layerId(), layer);
            EXPECT_EQ(line->ownerId(), blockId);
            const OdDbDictionaryPtr dictionary = line->extensionDictionary().safeOpenObject();
            const StoreTestPartPtr part = dictionary->getAt(L"part").safeOpenObject();
            EXPECT_EQ(part->number, count);
            EXPECT_EQ(part->other, line->objectId());
            EXPECT_EQ(part->ownerId(), dictionary->objectId());
            ++count;
        }
        EXPECT_EQ(count, kLines);
    }

    static constexpr int kLines = 100;
    OdDbPlatform m_platform;
    StoreTestClasses m_classes;
    TemporaryFolder m_folder;
    OdDbIdMappingPtr m_mapping = OdDbIdMapping::createObject();
};

TEST_F(StoredClones, OfABlockAreThereAfterSavingAndOpeningAgain)
{
    DrawingContent content;
    {
        const OdDbDatabasePtr db = openSource("a.zdw");
        db->copyBlock(blockOf(*db, L"part"), L"copy", *m_mapping);
        expectWhole(*db, blockOf(*db, L"copy"));
        odDbSaveDrawingAs(*db, textOf(m_folder.file("b.zdw")));
        content = contentOf(*db);
    }
    EXPECT_TRUE(same(contentOf(m_folder.file("b.zdw")), content));
    const OdDbDatabasePtr db = open("b.zdw");
    expectWhole(*db, blockOf(*db, L"part"));
    expectWhole(*db, blockOf(*db, L"copy"));
}

TEST_F(StoredClones, OfADrawingAreOneOfTheirOwn)
{
    {
        OdDbDatabasePtr db = openSource("a.zdw");
        const OdDbDatabasePtr made = db->wblock(m_mapping.get());
        m_mapping.release();
        db.release();
        odDbSaveDrawingAs(*made, textOf(m_folder.file("b.zdw")));
    }
    const OdDbDatabasePtr db = open("b.zdw");
    expectWhole(*db, blockOf(*db, L"part"));
}

TEST_F(StoredClones, GoIntoADrawingThatIsSavedInPlace)
{
    {
        const OdDbDatabasePtr from = openSource("a.zdw");
        const OdDbDatabasePtr to = openSource("b.zdw");
        OdDbBlockTableRecordPtr(blockOf(*to, L"part").openObject(OdDb::kForWrite))->setName(L"own");
        from->wblockCloneObjects({blockOf(*from, L"part")}, to->getBlockTableId(), *m_mapping,
                                 OdDb::DuplicateRecordCloning::kDrcIgnore);
        odDbSaveDrawingAs(*to, textOf(m_folder.file("c.zdw")));
        m_mapping.release();
    }
    const OdDbDatabasePtr db = open("c.zdw");
    expectWhole(*db, blockOf(*db, L"own"));
    expectWhole(*db, blockOf(*db, L"part"));
}

}  // namespace

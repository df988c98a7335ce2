// What unlucky and hostile callers may do to objects, undo and containers.

#include "db/od_db_block_reference.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_database.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_memory_filer.h"
#include "db/od_db_platform.h"
#include "db/od_db_simple_tables.h"
#include "root/od_assert.h"
#include "root/od_error.h"

#include <gtest/gtest.h>

namespace {

template <class Call>
OdResult codeOf(Call const& call)
{
    try {
        call();
        return kOdOk;
    } catch (OdError const& error) {
        return error.code();
    }
}

class Soundness : public testing::Test
{
protected:
    void setUnits(OdDb::UnitsValue units) { m_db->setINSUNITS(units); }

    OdDbObjectId appendLine()
    {
        const OdDbBlockTableRecordPtr block =
            m_db->getModelSpaceId().safeOpenObject(OdDb::kForWrite);
        return block->appendOdDbEntity(OdDbLine::createObject().get());
    }

    std::vector<OdDbObjectId> entities()
    {
        const OdDbBlockTableRecordPtr block = m_db->getModelSpaceId().safeOpenObject();
        std::vector<OdDbObjectId> ids;
        for (const auto at = block->newIterator(true, false); !at->done(); at->step(true, false)) {
            ids.push_back(at->objectId());
        }
        return ids;
    }

    static OdResBufPtr chainOf(wchar_t const* app)
    {
        const OdResBufPtr head = OdResBuf::newRb(1001);
        head->setString(app);
        const OdResBufPtr value = OdResBuf::newRb(1071);
        value->setInt32(5);
        head->setNext(value.get());
        return head;
    }

    OdDbPlatform m_platform;
    OdDbDatabasePtr m_db = OdDbDatabase::createObject();
};

TEST_F(Soundness, AChangeMadeAndUndoneDropsWhatCouldBeRedoneBefore)
{
    m_db->startUndoRecord();
    setUnits(OdDb::UnitsValue::kUnitsInches);
    ASSERT_EQ(m_db->undo(), kOdOk);
    m_db->startUndoRecord();
    setUnits(OdDb::UnitsValue::kUnitsFeet);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(m_db->redo(), kOdNoUndo);
    EXPECT_EQ(m_db->getINSUNITS(), OdDb::UnitsValue::kUnitsFeet);
}

TEST_F(Soundness, AnObjectWithReactorsOfAnotherDatabaseIsNotAdded)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdDbDictionaryPtr object = OdDbDictionary::createObject();
    object->addPersistentReactor(other->getLayerZeroId());
    EXPECT_EQ(codeOf([&] { m_db->addOdDbObject(object.get()); }), kOdWrongDatabase);
    EXPECT_EQ(object->database(), nullptr);
    EXPECT_EQ(codeOf([&] { m_db->addPersistentReactor(other->getLayerZeroId()); }),
              kOdWrongDatabase);
}

TEST_F(Soundness, ADatabaseAndItsContainersTakeNoCopies)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    EXPECT_EQ(codeOf([&] { m_db->copyFrom(other.get()); }), kOdNotApplicable);
    const OdDbObjectPtr model = m_db->getModelSpaceId().safeOpenObject();
    const OdDbObjectPtr paper = m_db->getPaperSpaceId().safeOpenObject(OdDb::kForWrite);
    EXPECT_EQ(codeOf([&] { paper->copyFrom(model.get()); }), kOdNotApplicable);
    const OdDbObjectPtr roots = m_db->getNamedObjectsDictionaryId().safeOpenObject(OdDb::kForWrite);
    const OdDbDictionaryPtr copy = OdDbDictionary::createObject();
    EXPECT_EQ(codeOf([&] { roots->copyFrom(copy.get()); }), kOdNotApplicable);
}

TEST_F(Soundness, ExtendedDataOfTheDatabaseIsAChangeAndPartOfUndo)
{
    m_db->newRegApp(L"APP");
    m_db->startUndoRecord();
    m_db->setXData(chainOf(L"APP").get());
    EXPECT_TRUE(m_db->isChanged());
    EXPECT_FALSE(m_db->xData(L"APP").isNull());
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_TRUE(m_db->xData(L"APP").isNull());
}

TEST_F(Soundness, ExtendedDataFindsItsApplicationWithoutCase)
{
    m_db->newRegApp(L"App");
    const OdDbObjectPtr layer = m_db->getLayerZeroId().safeOpenObject(OdDb::kForWrite);
    layer->setXData(chainOf(L"APP").get());
    layer->setXData(chainOf(L"app").get());
    const OdResBufPtr all = layer->xData();
    ASSERT_FALSE(all.isNull());
    EXPECT_TRUE(all->next()->next().isNull());
    EXPECT_FALSE(layer->xData(L"aPP").isNull());
}

TEST_F(Soundness, ARepeatedReactorInAStreamIsReadOnce)
{
    OdStaticRxObject<OdDbMemoryFiler> filer(OdDb::FilerType::kCopyFiler, m_db.get());
    filer.wrInt32(3);
    for (int index = 0; index < 3; ++index) {
        filer.wrSoftPointerId(m_db->getLayerZeroId());
    }
    filer.wrHardOwnershipId(OdDbObjectId::kNull);
    filer.wrInt32(0);
    filer.wrSoftPointerId(OdDbObjectId::kNull);
    filer.rewindForReading();
    OdDbObjectPtr object = odrxMake<OdDbObject>();
    ASSERT_EQ(object->dwgInFields(&filer), kOdOk);
    EXPECT_EQ(object->getPersistentReactors().size(), 1U);
}

TEST_F(Soundness, UndoAndRedoKeepTheOrderOfEntitiesThatCameUnrecorded)
{
    m_db->startUndoRecord();
    const OdDbObjectId first = appendLine();
    m_db->disableUndoRecording(true);
    const OdDbObjectId second = appendLine();
    m_db->disableUndoRecording(false);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(entities(), std::vector{second});
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(entities(), (std::vector{first, second}));
}

TEST_F(Soundness, HiddenNamesAreNotGivenTwice)
{
    const OdDbDictionaryPtr roots =
        m_db->getNamedObjectsDictionaryId().safeOpenObject(OdDb::kForWrite);
    const OdDbObjectId first = roots->setAt(OdString(), OdDbDictionary::createObject().get());
    const OdDbObjectId second = roots->setAt(OdString(), OdDbDictionary::createObject().get());
    const OdString secondName = roots->nameAt(second);
    roots->remove(roots->nameAt(first));
    const OdDbObjectId third = roots->setAt(OdString(), OdDbDictionary::createObject().get());
    EXPECT_FALSE(roots->nameAt(third) == secondName);
    EXPECT_EQ(roots->numEntries(), 2U);
}

TEST_F(Soundness, AContainerThatListsWhatAnotherOneOwnsIsNotAdded)
{
    (void)appendLine();
    (void)m_db->getMaterialDictionaryId(/*create=*/true);
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const auto addTo = [&](OdDbDatabase& db) {
        const OdDbBlockTableRecordPtr block = m_db->getModelSpaceId().safeOpenObject()->clone();
        block->setName(L"X");
        const OdDbBlockTablePtr blocks = db.getBlockTableId().safeOpenObject(OdDb::kForWrite);
        const OdDbDictionaryPtr names =
            m_db->getNamedObjectsDictionaryId().safeOpenObject()->clone();
        const OdDbDictionaryPtr roots =
            db.getNamedObjectsDictionaryId().safeOpenObject(OdDb::kForWrite);
        const OdDbObjectPtr layers = m_db->getLayerTableId().safeOpenObject()->clone();
        const OdResult codes[] = {codeOf([&] { blocks->add(block.get()); }),
                                  codeOf([&] { roots->setAt(L"copy", names.get()); }),
                                  codeOf([&] { db.addOdDbObject(layers.get()); })};
        EXPECT_EQ(codes[0], codes[1]);
        EXPECT_EQ(codes[0], codes[2]);
        EXPECT_FALSE(blocks->has(L"X"));
        EXPECT_FALSE(roots->has(OdString(L"copy")));
        return codes[0];
    };
    EXPECT_EQ(addTo(*other), kOdWrongDatabase);
    EXPECT_EQ(addTo(*m_db), kOdAlreadyInDatabase);
}

TEST_F(Soundness, ACopyOfABlockIsOneThatNothingRefersTo)
{
    const OdDbBlockTableRecordPtr shown = OdDbBlockTableRecord::createObject();
    shown->setName(L"SHOWN");
    const OdDbObjectId shownId =
        OdDbBlockTablePtr(m_db->getBlockTableId().safeOpenObject(OdDb::kForWrite))
            ->add(shown.get());
    const OdDbBlockReferencePtr reference = OdDbBlockReference::createObject();
    reference->setBlockTableRecord(shownId);
    OdDbBlockTableRecordPtr(m_db->getModelSpaceId().safeOpenObject(OdDb::kForWrite))
        ->appendOdDbEntity(reference.get());
    ASSERT_EQ(shown->getBlockReferenceIds().size(), 1U);
    const OdDbBlockTableRecordPtr copy = shown->clone();
    EXPECT_TRUE(copy->getBlockReferenceIds().isEmpty());
    copy->setName(L"COPY");
    OdDbBlockTablePtr(m_db->getBlockTableId().safeOpenObject(OdDb::kForWrite))->add(copy.get());
    EXPECT_TRUE(copy->getBlockReferenceIds().isEmpty());
}

TEST_F(Soundness, ObjectsThatOutliveTheirDatabaseNameNothingOfIt)
{
    const OdAssertSink sink = odSetAssertSink([](OdAssertReport const&) {});
    const OdDbEntityPtr line = appendLine().safeOpenObject(OdDb::kForWrite);
    const OdDbDictionaryPtr roots = m_db->getNamedObjectsDictionaryId().safeOpenObject();
    const OdDbSymbolTablePtr layers = m_db->getLayerTableId().safeOpenObject(OdDb::kForWrite);
    const OdDbBlockTableRecordPtr space = m_db->getModelSpaceId().safeOpenObject();
    const OdDbLayerTableRecordPtr gone = OdDbLayerTableRecord::createObject();
    gone->setName(L"gone");
    layers->add(gone.get());
    ASSERT_EQ(gone->erase(), kOdOk);
    (void)m_db->getMaterialDictionaryId(/*create=*/true);
    m_db = OdDbDatabase::createObject();
    odSetAssertSink(sink);

    EXPECT_TRUE(line->layerId().isNull());
    EXPECT_EQ(roots->numEntries(), 0U);
    EXPECT_TRUE(roots->newIterator()->done());
    EXPECT_FALSE(layers->has(L"0"));
    EXPECT_TRUE(layers->getAt(L"gone", /*openErased=*/true).isNull());
    EXPECT_TRUE(space->entityIds(/*skipErased=*/false).isEmpty());
    EXPECT_EQ(space->entityCount(), 0U);
    EXPECT_TRUE(space->getBlockReferenceIds().isEmpty());

    const OdDbBlockTableRecordPtr block = m_db->getModelSpaceId().safeOpenObject(OdDb::kForWrite);
    block->appendOdDbEntity(line.get());
    EXPECT_EQ(line->layerId(), m_db->getLayerZeroId());
    m_db->addOdDbObject(layers.get());
    EXPECT_TRUE(layers->getAt(L"gone", /*openErased=*/true).isNull());
}

TEST_F(Soundness, ObjectsThatHoldOneAnotherOpenGoWithTheirDatabase)
{
    const OdDbObjectPtr held = m_db->getLayerZeroId().safeOpenObject(OdDb::kForWrite);
    held->addPersistentReactor(m_db->getModelSpaceId());
    const OdDbLayerTableRecordPtr layer(held);
    layer->setIsOff(true);
    m_db.release();
    EXPECT_EQ(layer->database(), nullptr);
    EXPECT_TRUE(layer->getPersistentReactors().isEmpty());
}

TEST_F(Soundness, ACopyThatOutlivesTheDrawingOfItsSourceIsRefusedByAnother)
{
    const OdDbEntityPtr line = appendLine().safeOpenObject()->clone();
    const OdDbBlockReferencePtr reference =
        OdDbBlockReference::createObject(m_db->getPaperSpaceId(), {})->clone();
    (void)m_db->getMaterialDictionaryId(/*create=*/true);
    const OdDbDictionaryPtr dictionary =
        m_db->getNamedObjectsDictionaryId().safeOpenObject()->clone();
    m_db = OdDbDatabase::createObject();

    const OdDbBlockTableRecordPtr space = m_db->getModelSpaceId().safeOpenObject(OdDb::kForWrite);
    EXPECT_EQ(codeOf([&] { space->appendOdDbEntity(line.get()); }), kOdWrongDatabase);
    EXPECT_EQ(codeOf([&] { space->appendOdDbEntity(reference.get()); }), kOdWrongDatabase);
    EXPECT_EQ(space->entityCount(), 0U);
    const OdDbDictionaryPtr roots =
        m_db->getNamedObjectsDictionaryId().safeOpenObject(OdDb::kForWrite);
    EXPECT_EQ(codeOf([&] { roots->setAt(L"copy", dictionary.get()); }), kOdWrongDatabase);

    const OdDbLinePtr line2 = appendLine().safeOpenObject(OdDb::kForWrite);
    EXPECT_EQ(codeOf([&] { line2->copyFrom(line.get()); }), kOdWrongDatabase);
    EXPECT_EQ(codeOf([&] { line2->setPropertiesFrom(line.get()); }), kOdWrongDatabase);
    const OdDbBlockReferencePtr reference2 = OdDbBlockReference::createObject();
    space->appendOdDbEntity(reference2.get());
    EXPECT_EQ(codeOf([&] { reference2->copyFrom(reference.get()); }), kOdWrongDatabase);
}

}  // namespace

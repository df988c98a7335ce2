#include "db/db_test_support.h"
#include "db/od_db_3d_solid.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_material.h"
#include "db/od_db_simple_tables.h"
#include "db/od_db_symbol_table.h"

using namespace dbtest;

namespace {

using Names = std::vector<std::string>;

class SymbolTable : public DatabaseTest
{
protected:
    SymbolTable() : m_table(m_db->getLayerTableId().safeOpenObject(OdDb::kForWrite)) {}
    void TearDown() override
    {
        m_table.release();
        DatabaseTest::TearDown();
    }
    OdDbObjectId add(wchar_t const* name)
    {
        const OdDbLayerTableRecordPtr layer = OdDbLayerTableRecord::createObject();
        layer->setName(name);
        return m_table->add(layer.get());
    }
    static OdDbLayerTableRecordPtr writeLayer(OdDbObjectId id)
    {
        return id.safeOpenObject(OdDb::kForWrite, /*openErased=*/true);
    }
    Names names() const
    {
        Names result;
        for (OdDbSymbolTableIteratorPtr at = m_table->newIterator(); !at->done(); at->step()) {
            result.emplace_back(at->getRecord()->getName().utf8());
        }
        return result;
    }

    OdDbSymbolTablePtr m_table;
};

TEST_F(SymbolTable, FindsNamesWithoutCase)
{
    const OdDbObjectId id = add(L"Walls");
    EXPECT_EQ(m_table->getAt(L"WALLS"), id);
    EXPECT_TRUE(m_table->has(L"walls"));
    EXPECT_TRUE(m_table->getAt(L"absent").isNull());
    EXPECT_TRUE(m_table->getAt(L"absent", OdDb::kForRead).isNull());
    EXPECT_EQ(m_table->getAt(L"walls", OdDb::kForRead)->getName(), OdString(L"Walls"));
    EXPECT_EQ(resident<OdDbLayerTableRecord>(id).ownerId(), m_table->objectId());
}

TEST_F(SymbolTable, RenamesARecordThatTakesOverAnothersFields)
{
    const OdDbObjectId id = add(L"Walls");
    add(L"Doors");
    const OdDbLayerTableRecordPtr model = OdDbLayerTableRecord::createObject();
    model->setName(L"Roof");
    m_db->startUndoRecord();
    writeLayer(id)->copyFrom(model.get());
    EXPECT_EQ(names(), (Names{"0", "Doors", "Roof"}));
    EXPECT_EQ(m_table->getAt(L"Roof"), id);
    EXPECT_TRUE(m_table->getAt(L"Walls").isNull());
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(names(), (Names{"0", "Doors", "Walls"}));
    EXPECT_EQ(m_table->getAt(L"Walls"), id);
    EXPECT_EQ(writeLayer(id)->getName(), OdString(L"Walls"));
}

TEST_F(SymbolTable, RefusesFieldsWithANameThatIsTakenOrMissing)
{
    const OdDbObjectId id = add(L"Walls");
    add(L"Doors");
    const OdDbLayerTableRecordPtr model = OdDbLayerTableRecord::createObject();
    EXPECT_EQ(thrownCode([&] { writeLayer(id)->copyFrom(model.get()); }), kOdInvalidKey);
    model->setName(L"DOORS");
    EXPECT_EQ(thrownCode([&] { writeLayer(id)->copyFrom(model.get()); }), kOdDuplicateName);
    EXPECT_EQ(names(), (Names{"0", "Doors", "Walls"}));
    EXPECT_EQ(writeLayer(id)->getName(), OdString(L"Walls"));
    model->setName(L"walls");
    writeLayer(id)->copyFrom(model.get());
    EXPECT_EQ(names(), (Names{"0", "Doors", "walls"}));
}

TEST_F(SymbolTable, OfADatabaseHasNoCopy)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdDbObjectPtr foreign = other->getLayerTableId().safeOpenObject();
    EXPECT_EQ(thrownCode([&] { m_table->copyFrom(foreign.get()); }), kOdNotApplicable);
    EXPECT_EQ(names(), Names{"0"});
}

TEST_F(SymbolTable, TakesNoRecordThatRefersToAnotherDatabase)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdDbLayerTableRecordPtr layer = OdDbLayerTableRecord::createObject();
    layer->setName(L"Walls");
    layer->setLinetypeObjectId(other->getLinetypeContinuousId());
    EXPECT_EQ(thrownCode([&] { m_table->add(layer.get()); }), kOdWrongDatabase);
    EXPECT_EQ(names(), Names{"0"});
    const OdDbLayerTableRecordPtr own = writeLayer(m_db->getLayerZeroId());
    EXPECT_EQ(thrownCode([&] { own->setLinetypeObjectId(other->getLinetypeContinuousId()); }),
              kOdWrongDatabase);
    EXPECT_EQ(thrownCode([&] { own->copyFrom(layer.get()); }), kOdWrongDatabase);
    EXPECT_EQ(own->linetypeObjectId(), m_db->getLinetypeContinuousId());
}

TEST_F(SymbolTable, WalksItsRecordsInOrderOfNames)
{
    add(L"b");
    add(L"A");
    const OdDbObjectId gone = add(L"a2");
    ASSERT_EQ(eraseObject(gone), kOdOk);
    EXPECT_EQ(names(), (Names{"0", "A", "b"}));
    EXPECT_EQ(m_table->numEntries(), 3U);
}

TEST_F(SymbolTable, RefusesTakenAndEmptyNames)
{
    add(L"x");
    const OdDbLayerTableRecordPtr layer = OdDbLayerTableRecord::createObject();
    EXPECT_EQ(thrownCode([&] { m_table->add(layer.get()); }), kOdInvalidKey);
    EXPECT_EQ(thrownCode([&] { layer->setName(L""); }), kOdInvalidKey);
    layer->setName(L"X");
    EXPECT_EQ(thrownCode([&] { m_table->add(layer.get()); }), kOdDuplicateName);
    EXPECT_EQ(layer->database(), nullptr);
}

TEST_F(SymbolTable, RefusesMisuse)
{
    const OdDbRegAppTableRecordPtr app = OdDbRegAppTableRecord::createObject();
    app->setName(L"x");
    EXPECT_THROW(m_table->add(app.get()), OdError_NotThatKindOfClass);
    EXPECT_EQ(thrownCode([&] { m_table->add(nullptr); }), kOdNullObjectPointer);
    const OdDbObjectId id = add(L"x");
    const OdDbLayerTableRecordPtr layer = writeLayer(id);
    EXPECT_NE(thrownCode([&] { m_table->add(layer.get()); }), kOdOk);
    EXPECT_EQ(m_table->getAt(L"x"), id);
    const OdSmartPtr<OdDbLayerTable> outside = OdRxObjectPtr(OdDbLayerTable::desc()->create());
    const OdDbLayerTableRecordPtr other = OdDbLayerTableRecord::createObject();
    other->setName(L"y");
    EXPECT_EQ(thrownCode([&] { outside->add(other.get()); }), kOdNotInDatabase);
    m_table->downgradeOpen();
    EXPECT_EQ(thrownCode([&] { m_table->add(other.get()); }), kOdNotOpenForWrite);
}

TEST_F(SymbolTable, RefusesARecordThatIsInADatabaseAlready)
{
    const OdDbDatabasePtr db = OdDbDatabase::createObject();
    const OdDbLayerTableRecordPtr foreign = db->getLayerZeroId().safeOpenObject(OdDb::kForWrite);
    foreign->setName(L"foreign");
    EXPECT_EQ(thrownCode([&] { m_table->add(foreign.get()); }), kOdAlreadyInDatabase);
    EXPECT_FALSE(m_table->has(L"foreign"));
}

TEST_F(SymbolTable, FollowsTheRenamingOfItsRecords)
{
    const OdDbObjectId id = add(L"x");
    add(L"taken");
    EXPECT_EQ(thrownCode([&] { writeLayer(id)->setName(L"Taken"); }), kOdDuplicateName);
    EXPECT_EQ(m_table->getAt(L"x"), id);
    EXPECT_EQ(writeLayer(id)->getName(), OdString(L"x"));
    writeLayer(id)->setName(L"y");
    EXPECT_EQ(m_table->getAt(L"y"), id);
    EXPECT_FALSE(m_table->has(L"x"));
    writeLayer(id)->setName(L"Y");
    EXPECT_EQ(writeLayer(id)->getName(), OdString(L"Y"));
    EXPECT_EQ(names(), (Names{"0", "taken", "Y"}));
}

TEST_F(SymbolTable, UndoesAndRedoesAddingRenamingAndErasing)
{
    const DatabaseState before = livingStateOf(*m_db);
    m_db->startUndoRecord();
    const OdDbObjectId id = add(L"x");
    m_db->startUndoRecord();
    writeLayer(id)->setName(L"y");
    writeLayer(id)->setName(L"z");
    m_db->startUndoRecord();
    ASSERT_EQ(eraseObject(id), kOdOk);
    const DatabaseState after = stateOf(*m_db);

    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(m_table->getAt(L"z"), id);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(m_table->getAt(L"x"), id);
    EXPECT_EQ(writeLayer(id)->getName(), OdString(L"x"));
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_FALSE(m_table->has(L"x"));
    EXPECT_EQ(livingStateOf(*m_db), before);
    for (int step = 0; step < 3; ++step) {
        ASSERT_EQ(m_db->redo(), kOdOk);
    }
    EXPECT_EQ(stateOf(*m_db), after);
}

TEST_F(SymbolTable, FindsErasedRecordsOnRequestTheLatestFirst)
{
    const OdDbObjectId first = add(L"x");
    ASSERT_EQ(eraseObject(first), kOdOk);
    const OdDbObjectId second = add(L"x");
    ASSERT_EQ(eraseObject(second), kOdOk);
    EXPECT_TRUE(m_table->getAt(L"x").isNull());
    EXPECT_EQ(m_table->getAt(L"X", /*openErased=*/true), second);
    const OdDbObjectId living = add(L"x");
    EXPECT_EQ(m_table->getAt(L"x", /*openErased=*/true), living);
}

TEST_F(SymbolTable, GivesARecordThatComesBackTheNameItHasThen)
{
    const OdDbObjectId id = add(L"x");
    ASSERT_EQ(eraseObject(id), kOdOk);
    writeLayer(id)->setName(L"y");
    ASSERT_EQ(eraseObject(id, false), kOdOk);
    EXPECT_EQ(m_table->getAt(L"y"), id);
    EXPECT_FALSE(m_table->has(L"x"));
}

TEST_F(SymbolTable, RefusesToBringARecordBackToATakenName)
{
    const OdDbObjectId first = add(L"x");
    ASSERT_EQ(eraseObject(first), kOdOk);
    const OdDbObjectId second = add(L"X");
    EXPECT_EQ(eraseObject(first, false), kOdDuplicateName);
    EXPECT_TRUE(first.isErased());
    EXPECT_EQ(m_table->getAt(L"x"), second);
}

// ---------------------------------------------------------------------------------------------

TEST_F(SymbolTable, SeesWhatAReactorAddsWhenItIsToldOfTheChange)
{
    const OdDbObjectId watcher = addReactor();
    watch(m_table->objectId(), watcher);
    const OdDbObjectId old = add(L"old");
    OdDbObjectId late;
    wchar_t const* name = L"x";
    reactor(watcher).onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kOpenedForModify && late.isNull()) {
            late = add(name);
        }
    };
    m_table.release();  // the next change is the first of a period
    m_table = m_db->getLayerTableId().safeOpenObject(OdDb::kForWrite);
    EXPECT_EQ(thrownCode([&] { (void)add(L"x"); }), kOdDuplicateName);
    EXPECT_EQ(m_table->getAt(L"x"), late);

    late = OdDbObjectId::kNull;
    name = L"new";
    m_table.release();
    m_table = m_db->getLayerTableId().safeOpenObject(OdDb::kForWrite);
    EXPECT_EQ(thrownCode([&] {
                  OdDbLayerTableRecordPtr(old.safeOpenObject(OdDb::kForWrite))->setName(L"new");
              }),
              kOdDuplicateName);
    EXPECT_EQ(m_table->getAt(L"new"), late);
    EXPECT_EQ(m_table->getAt(L"old"), old);
}

class LayerRecord : public SymbolTable
{
protected:
    static OdDbObjectId addMaterial(OdDbDatabase& db)
    {
        return writeDictionary(db.getMaterialDictionaryId(true))
            ->setAt(L"steel", OdDbMaterial::createObject().get());
    }
};

TEST_F(LayerRecord, KeepsItsSettingsThroughFilingAndUndo)
{
    const OdDbObjectId id = add(L"x");
    const OdDbObjectId material = addMaterial(*m_db);
    const auto before = bytesOf(resident<OdDbLayerTableRecord>(id));
    m_db->startUndoRecord();
    OdCmEntityColor color;
    color.setColorIndex(7);
    {
        const OdDbLayerTableRecordPtr layer = writeLayer(id);
        layer->setDescription(L"d");
        layer->setIsLocked(true);
        layer->setIsFrozen(true);
        layer->setIsOff(true);
        layer->setIsPlottable(false);
        layer->setColor(color);
        layer->setLinetypeObjectId(m_db->getLinetypeByLayerId());
        layer->setLineWeight(25);
        layer->setTransparency(0.5);
        layer->setPlotStyleName(L"p");
        layer->setMaterialId(material);
    }
    const OdDbLayerTableRecordPtr copy =
        OdRxObjectPtr(OdDbLayerTableRecordPtr(id.openObject())->clone());
    EXPECT_EQ(copy->getName(), OdString(L"x"));
    EXPECT_EQ(copy->description(), OdString(L"d"));
    EXPECT_TRUE(copy->isLocked());
    EXPECT_TRUE(copy->isFrozen());
    EXPECT_TRUE(copy->isOff());
    EXPECT_FALSE(copy->isPlottable());
    EXPECT_EQ(copy->color(), color);
    EXPECT_EQ(copy->linetypeObjectId(), m_db->getLinetypeByLayerId());
    EXPECT_EQ(copy->lineWeight(), 25);
    EXPECT_EQ(copy->transparency(), 0.5);
    EXPECT_EQ(copy->plotStyleName(), OdString(L"p"));
    EXPECT_EQ(copy->materialId(), material);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(bytesOf(resident<OdDbLayerTableRecord>(id)), before);
}

TEST_F(LayerRecord, RefusesWhatIsNoMaterialOrLineTypeOfItsDrawing)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdDbLayerTableRecordPtr layer = writeLayer(add(L"x"));
    const OdDbObjectId material = addMaterial(*m_db);
    layer->setMaterialId(material);
    layer->setLinetypeObjectId(m_db->getLinetypeContinuousId());
    EXPECT_EQ(thrownCode([&] { layer->setMaterialId(m_db->getNamedObjectsDictionaryId()); }),
              kOdNotThatKindOfClass);
    EXPECT_EQ(thrownCode([&] { layer->setLinetypeObjectId(material); }), kOdNotThatKindOfClass);
    EXPECT_EQ(thrownCode([&] { layer->setMaterialId(addMaterial(*other)); }), kOdWrongDatabase);
    EXPECT_EQ(thrownCode([&] { layer->setLinetypeObjectId(other->getLinetypeByLayerId()); }),
              kOdWrongDatabase);
    EXPECT_EQ(layer->materialId(), material);
    EXPECT_EQ(layer->linetypeObjectId(), m_db->getLinetypeContinuousId());
    layer->setMaterialId(OdDbObjectId::kNull);
    EXPECT_TRUE(layer->materialId().isNull());
}

class LinetypeRecord : public DatabaseTest
{
};

TEST_F(LinetypeRecord, KeepsItsPattern)
{
    const OdDbLinetypeTableRecordPtr type = OdDbLinetypeTableRecord::createObject();
    OdArray<double> dashes;
    dashes.append(0.5);
    dashes.append(-0.25);
    dashes.append(0.0);
    type->setName(L"dashed");
    type->setComments(L"_ . _");
    type->setDashes(dashes);
    const OdDbLinetypeTableRecordPtr copy = OdRxObjectPtr(type->clone());
    EXPECT_EQ(copy->dashes(), dashes);
    EXPECT_EQ(copy->comments(), OdString(L"_ . _"));
}

// ---------------------------------------------------------------------------------------------

class Block : public DatabaseTest
{
protected:
    Block() : m_block(m_db->getModelSpaceId().safeOpenObject(OdDb::kForWrite)) {}
    void TearDown() override
    {
        m_block.release();
        DatabaseTest::TearDown();
    }
    OdDbObjectId append() { return m_block->appendOdDbEntity(OdDbLine::createObject().get()); }
    std::vector<OdDbObjectId> walk(bool atBeginning = true, bool skipErased = true) const
    {
        std::vector<OdDbObjectId> ids;
        const OdDbObjectIteratorPtr at = m_block->newIterator(atBeginning, skipErased);
        for (; !at->done(); at->step(atBeginning, skipErased)) {
            ids.push_back(at->objectId());
        }
        return ids;
    }

    OdDbBlockTableRecordPtr m_block;
};

using Ids = std::vector<OdDbObjectId>;

TEST_F(Block, KeepsTheOrderInWhichEntitiesWereAppended)
{
    const OdDbObjectId a = append();
    const OdDbObjectId b = append();
    const OdDbObjectId c = append();
    EXPECT_EQ(walk(), (Ids{a, b, c}));
    EXPECT_EQ(walk(/*atBeginning=*/false), (Ids{c, b, a}));
    ASSERT_EQ(eraseObject(b), kOdOk);
    EXPECT_EQ(walk(), (Ids{a, c}));
    EXPECT_EQ(walk(true, /*skipErased=*/false), (Ids{a, b, c}));
    EXPECT_EQ(m_block->entityCount(), 2U);
    ASSERT_EQ(eraseObject(b, false), kOdOk);
    EXPECT_EQ(walk(), (Ids{a, b, c}));
}

TEST_F(Block, OwnsItsEntitiesAndGivesThemALayer)
{
    const OdDbLinePtr line = OdDbLine::createObject();
    m_block->appendOdDbEntity(line.get());
    EXPECT_EQ(line->blockId(), m_block->objectId());
    EXPECT_EQ(line->layerId(), m_db->getLayerZeroId());
    EXPECT_TRUE(line->isWriteEnabled());
}

TEST_F(Block, TakesAnEntityThatIsInTheDatabaseWithoutOwner)
{
    const OdDbLinePtr line = OdDbLine::createObject();
    const OdDbObjectId id = m_db->addOdDbObject(line.get());
    EXPECT_EQ(m_block->appendOdDbEntity(line.get()), id);
    EXPECT_EQ(line->ownerId(), m_block->objectId());
}

TEST_F(Block, RefusesMisuse)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdDbLinePtr foreign = OdDbLine::createObject();
    other->addOdDbObject(foreign.get());
    const OdDbLinePtr own = OdDbLine::createObject();
    m_block->appendOdDbEntity(own.get());
    const OdDbBlockTableRecordPtr outside = OdDbBlockTableRecord::createObject();
    const OdDbLinePtr line = OdDbLine::createObject();

    EXPECT_EQ(thrownCode([&] { m_block->appendOdDbEntity(nullptr); }), kOdNullObjectPointer);
    EXPECT_EQ(thrownCode([&] { m_block->appendOdDbEntity(foreign.get()); }), kOdWrongDatabase);
    EXPECT_EQ(thrownCode([&] { m_block->appendOdDbEntity(own.get()); }), kOdAlreadyInDatabase);
    EXPECT_EQ(thrownCode([&] { outside->appendOdDbEntity(line.get()); }), kOdNotInDatabase);
    m_block->downgradeOpen();
    EXPECT_EQ(thrownCode([&] { m_block->appendOdDbEntity(line.get()); }), kOdNotOpenForWrite);
    EXPECT_EQ(line->database(), nullptr);
    EXPECT_EQ(m_block->entityCount(), 1U);
}

TEST_F(Block, UndoesAndRedoesAppendsAmongOtherChanges)
{
    append();
    const auto before = bytesOf(*m_block);
    m_db->startUndoRecord();
    const OdDbObjectId a = append();
    m_block->setOrigin(OdGePoint3d(1, 2, 3));
    const OdDbObjectId b = append();
    m_block->setBlockInsertUnits(OdDb::UnitsValue::kUnitsMeters);
    m_block->setPathName(L"x.zdw");
    const auto after = bytesOf(*m_block);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(bytesOf(*m_block), before);
    EXPECT_TRUE(a.isErased());
    EXPECT_TRUE(b.isErased());
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(bytesOf(*m_block), after);
    EXPECT_TRUE(m_block->isFromExternalReference());
    EXPECT_EQ(m_block->pathName(), OdString(L"x.zdw"));
    EXPECT_EQ(m_block->origin(), OdGePoint3d(1, 2, 3));
    EXPECT_EQ(m_block->blockInsertUnits(), OdDb::UnitsValue::kUnitsMeters);
    EXPECT_FALSE(b.isErased());
}

TEST_F(Block, RecordsAnAppendWithoutACopyOfItsList)
{
    for (int index = 0; index < 1000; ++index) {
        append();
    }
    m_db->startUndoRecord();
    append();
    EXPECT_LT(m_db->undoBytes(), 500U);
}

TEST_F(Block, MayGrowWhileItIsWalked)
{
    const OdDbObjectId a = append();
    const OdDbObjectIteratorPtr at = m_block->newIterator();
    append();
    EXPECT_EQ(at->objectId(), a);
    EXPECT_EQ(at->entity()->objectId(), a);
    at->step();
    EXPECT_TRUE(at->done());
    EXPECT_TRUE(at->objectId().isNull());
    EXPECT_TRUE(at->entity().isNull());
    at->step();
    EXPECT_TRUE(at->done());
    at->start();
    EXPECT_EQ(at->objectId(), a);
    at->start(/*atBeginning=*/false);
    EXPECT_EQ(at->objectId(), a);
    EXPECT_TRUE(at->entity(OdDb::kForWrite)->isWriteEnabled());
}

TEST_F(Block, ThatIsEmptyIsDoneAtOnce)
{
    EXPECT_TRUE(m_block->newIterator(true)->done());
    EXPECT_TRUE(m_block->newIterator(false)->done());
}

TEST_F(Block, NameTellsWhetherItIsASpaceOrAnonymous)
{
    EXPECT_TRUE(m_block->isLayout());
    EXPECT_FALSE(m_block->isAnonymous());
    EXPECT_FALSE(m_block->isFromExternalReference());
    EXPECT_TRUE(m_block->getBlockReferenceIds().isEmpty());
    const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
    block->setName(L"plain");
    EXPECT_FALSE(block->isAnonymous());
    block->setName(L"*U7");
    EXPECT_TRUE(block->isAnonymous());
}

TEST_F(Block, NamedForTheSystemGetsANameOfItsOwn)
{
    const OdDbSymbolTablePtr table = m_db->getBlockTableId().safeOpenObject(OdDb::kForWrite);
    std::vector<std::string> names;
    for (int index = 0; index < 3; ++index) {
        const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
        block->setName(L"*u");
        const OdDbObjectId id = table->add(block.get());
        names.emplace_back(block->getName().utf8());
        EXPECT_EQ(names.back().substr(0, 2), "*U");
        EXPECT_EQ(table->getAt(block->getName()), id);
    }
    EXPECT_NE(names[0], names[1]);
    EXPECT_NE(names[1], names[2]);
}

// ---------------------------------------------------------------------------------------------

class Entity : public DatabaseTest
{
protected:
    Entity() : m_line(OdDbLine::createObject())
    {
        OdDbBlockTableRecordPtr(m_db->getModelSpaceId().safeOpenObject(OdDb::kForWrite))
            ->appendOdDbEntity(m_line.get());
    }
    void TearDown() override
    {
        m_line.release();
        DatabaseTest::TearDown();
    }

    OdDbLinePtr m_line;
};

TEST_F(Entity, RefusesALayerThatIsNone)
{
    EXPECT_THROW(m_line->setLayer(m_db->getModelSpaceId()), OdError_NotThatKindOfClass);
    EXPECT_THROW(m_line->setLayer(OdDbObjectId::kNull), OdError_NotThatKindOfClass);
    EXPECT_EQ(m_line->layerId(), m_db->getLayerZeroId());
}

TEST_F(Entity, RefusesReferencesIntoAnotherDatabase)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    EXPECT_EQ(thrownCode([&] { m_line->setLayer(other->getLayerZeroId()); }), kOdWrongDatabase);
    const OdDbLinePtr foreign = OdDbLine::createObject();
    OdDbBlockTableRecordPtr(other->getModelSpaceId().safeOpenObject(OdDb::kForWrite))
        ->appendOdDbEntity(foreign.get());
    EXPECT_EQ(thrownCode([&] { m_line->setPropertiesFrom(foreign.get()); }), kOdWrongDatabase);
    EXPECT_EQ(m_line->layerId(), m_db->getLayerZeroId());
}

TEST_F(Entity, TakesPropertiesOverFromAnother)
{
    const OdDbLinePtr source = OdDbLine::createObject();
    OdCmEntityColor color;
    color.setColorIndex(3);
    source->setColor(color);
    source->setLayer(m_db->getLayerZeroId());
    const OdDbObjectId material = m_db->addOdDbObject(OdDbMaterial::createObject().get());
    source->setMaterial(material);
    source->setLinetype(m_db->getLinetypeContinuousId());
    source->setLinetypeScale(2.0);
    source->setLineWeight(50);
    source->setTransparency(OdCmTransparency(0.25));
    source->setVisible(false);
    m_line->setPropertiesFrom(source.get());
    EXPECT_EQ(m_line->color(), color);
    EXPECT_EQ(m_line->materialId(), material);
    EXPECT_EQ(m_line->linetypeId(), m_db->getLinetypeContinuousId());
    EXPECT_EQ(m_line->linetypeScale(), 2.0);
    EXPECT_EQ(m_line->lineWeight(), 50);
    EXPECT_EQ(m_line->transparency(), OdCmTransparency(0.25));
    EXPECT_FALSE(m_line->isVisible());
    EXPECT_EQ(thrownCode([&] { m_line->setPropertiesFrom(nullptr); }), kOdNullObjectPointer);
}

TEST_F(Entity, OfALineMovesWithAMatrix)
{
    m_line->setEndPoint(OdGePoint3d(1, 0, 0));
    m_line->setThickness(2.0);
    OdGeMatrix3d matrix;
    matrix(0, 0) = 0.0;
    matrix(0, 2) = 3.0;
    matrix(2, 2) = 0.0;
    matrix(2, 0) = -1.0;
    matrix(1, 3) = 5.0;
    ASSERT_EQ(m_line->transformBy(matrix), kOdOk);
    EXPECT_EQ(m_line->startPoint(), OdGePoint3d(0, 5, 0));
    EXPECT_EQ(m_line->endPoint(), OdGePoint3d(0, 5, -1));
    EXPECT_EQ(m_line->normal(), OdGeVector3d(1, 0, 0));
    EXPECT_EQ(m_line->thickness(), 6.0);
}

TEST_F(Entity, OfASolidKeepsItsBodyThroughFilingAndUndo)
{
    const OdDb3dSolidPtr solid = OdDb3dSolid::createObject();
    OdDbBlockTableRecordPtr(m_db->getModelSpaceId().safeOpenObject(OdDb::kForWrite))
        ->appendOdDbEntity(solid.get());
    EXPECT_TRUE(solid->isNull());
    OdBinaryData body;
    body.resize(300);
    body[7] = 9;
    const OdDb3dSolid::Counts counts = {6, 12, 8};
    m_db->startUndoRecord();
    solid->setBody(L"format", body, counts);
    solid->setLabel(L"box");
    const OdDb3dSolidPtr copy = OdRxObjectPtr(solid->clone());
    EXPECT_EQ(copy->body(), body);
    EXPECT_EQ(copy->bodyFormat(), OdString(L"format"));
    EXPECT_EQ(copy->counts(), counts);
    EXPECT_EQ(copy->label(), OdString(L"box"));
    EXPECT_EQ(copy->transformBy(OdGeMatrix3d()), kOdOk);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_TRUE(solid->isNull());
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(solid->body(), body);
}

}  // namespace

// Cloning into another database: names that meet, what hard pointers bring along, whole drawings.

#include "db/clone_test_support.h"
#include "db/od_db_viewport.h"

#include <algorithm>

using namespace dbtest;

namespace {

constexpr auto kSoftPointer = OdDb::ReferenceType::kSoftPointerRef;
constexpr auto kHardPointer = OdDb::ReferenceType::kHardPointerRef;
using Style = OdDb::DuplicateRecordCloning;

class WblockCloneObjects : public CloneTest
{
protected:
    void wblock(OdDbObjectIdArray const& ids, OdDbObjectId owner, Style style = Style::kDrcIgnore)
    {
        m_db->wblockCloneObjects(ids, owner, *m_mapping, style);
    }
    OdDbObjectId otherSpace() const { return m_other->getModelSpaceId(); }
    /// A line of this drawing on a layer.
    OdDbObjectId addLineOn(OdDbObjectId layer, double x = 1.0)
    {
        const OdDbObjectId line = addLine(m_db->getModelSpaceId(), x);
        OdDbEntityPtr(line.safeOpenObject(OdDb::kForWrite))->setLayer(layer);
        return line;
    }
    static OdDbObjectId layerOf(OdDbObjectId line)
    {
        return OdDbEntityPtr(line.safeOpenObject())->layerId();
    }
    static OdString descriptionOf(OdDbObjectId layer)
    {
        return OdDbLayerTableRecordPtr(layer.safeOpenObject())->description();
    }
    static OdString nameOf(OdDbObjectId record)
    {
        return OdDbSymbolTableRecordPtr(record.safeOpenObject())->getName();
    }
    /// No object of a database refers to one of another.
    static void expectNoForeignIds(OdDbDatabase& db)
    {
        for (OdDbHandle at = db.nextHandle(); !at.isNull(); at = db.nextHandle(at)) {
            const OdDbObjectPtr object =
                db.getOdDbObjectId(at).openObject(OdDb::kForRead, /*openErased=*/true);
            std::vector<OdDbReference> references;
            OdStaticRxObject<OdDbMemoryFiler> filer(OdDb::FilerType::kPageFiler, &db);
            filer.collectReferences(&references);
            object->dwgOutFields(&filer);
            for (OdDbReference const& reference : references) {
                if (!reference.id.isNull()) {
                    EXPECT_EQ(reference.id.database(), &db) << at.ascii().utf8();
                }
            }
        }
    }
};

TEST_F(WblockCloneObjects, ClonesEntitiesAndTheLayersThatTheyLieOn)
{
    const OdDbObjectId layer = addLayer(*m_db, L"walls", L"source");
    const OdDbObjectId line = addLineOn(layer);
    const DatabaseState before = stateOf(*m_db);
    wblock({line}, otherSpace());
    EXPECT_EQ(entitiesOf(otherSpace()), OdDbObjectIdArray{cloneOf(line)});
    const OdDbObjectId copy = recordOf(m_other->getLayerTableId(), L"walls");
    EXPECT_EQ(layerOf(cloneOf(line)), copy);
    EXPECT_EQ(copy, cloneOf(layer));
    EXPECT_EQ(descriptionOf(copy), L"source");
    EXPECT_EQ(ownerOf(copy), m_other->getLayerTableId());
    EXPECT_EQ(m_mapping->deepCloneContext(), OdDb::DeepCloneType::kDcObjects);
    EXPECT_EQ(m_mapping->duplicateRecordCloning(), Style::kDrcIgnore);
    EXPECT_EQ(stateOf(*m_db), before);
    expectNoForeignIds(*m_other);
}

TEST_F(WblockCloneObjects, MapsWhatEveryDrawingHas)
{
    const OdDbObjectId line = addLine(m_db->getModelSpaceId(), 1.0);
    const OdDbObjectId bag = addBag(1);
    refer(bag, kHardPointer, m_db->getModelSpaceId());
    refer(bag, kHardPointer, m_db->getLinetypeContinuousId());
    refer(bag, kSoftPointer, m_db->getNamedObjectsDictionaryId());
    const std::size_t layers = livingStateOf(*m_other).size();
    wblock({line}, otherSpace());
    EXPECT_EQ(layerOf(cloneOf(line)), m_other->getLayerZeroId());
    EXPECT_EQ(livingStateOf(*m_other).size(), layers + 1);
    m_mapping = OdDbIdMapping::createObject();
    const OdDbObjectId owner = addNodeTo(*m_other, 0);
    wblock({bag}, owner, Style::kDrcReplace);
    EXPECT_EQ(idsOf(cloneOf(bag), kHardPointer),
              (OdDbObjectIdArray{otherSpace(), m_other->getLinetypeContinuousId()}));
    EXPECT_EQ(idsOf(cloneOf(bag), kSoftPointer),
              OdDbObjectIdArray{m_other->getNamedObjectsDictionaryId()});
}

TEST_F(WblockCloneObjects, FollowsHardPointersAndNoSoftOnes)
{
    const OdDbObjectId owner = addNodeTo(*m_other, 0);
    const OdDbObjectId source = addBag(1);
    const OdDbObjectId hard = addBag(2);
    const OdDbObjectId soft = addBag(3);
    const OdDbObjectId deeper = addBag(4);
    refer(source, kHardPointer, hard);
    refer(source, kSoftPointer, soft);
    refer(hard, kHardPointer, deeper);
    refer(hard, kHardPointer, source);
    wblock({source}, owner);
    EXPECT_EQ(idsOf(cloneOf(source), kHardPointer), OdDbObjectIdArray{cloneOf(hard)});
    EXPECT_EQ(idsOf(cloneOf(source), kSoftPointer), OdDbObjectIdArray{OdDbObjectId::kNull});
    EXPECT_EQ(idsOf(cloneOf(hard), kHardPointer),
              (OdDbObjectIdArray{cloneOf(deeper), cloneOf(source)}));
    EXPECT_EQ(numberOf(cloneOf(deeper)), 4);
    OdDbIdPair pair(hard);
    ASSERT_TRUE(m_mapping->compute(pair));
    EXPECT_TRUE(pair.isCloned());
    EXPECT_FALSE(pair.isPrimary());
}

TEST_F(WblockCloneObjects, ListsAnEntityThatIsBothPointedToAndAskedForOnceInItsPlace)
{
    const OdDbObjectId owner = addBag(1);
    const OdDbObjectId first = addLine(m_db->getModelSpaceId(), 1.0);
    const OdDbObjectId second = addLine(m_db->getModelSpaceId(), 2.0);
    first.safeOpenObject(OdDb::kForWrite)->createExtensionDictionary();
    const TestBagPtr pointing = TestBag::createObject();
    pointing->setIds(kHardPointer, {second});
    writeDictionary(first.safeOpenObject()->extensionDictionary())->setAt(L"p", pointing.get());
    wblock({first, second}, otherSpace());
    EXPECT_EQ(entitiesOf(otherSpace()), (OdDbObjectIdArray{cloneOf(first), cloneOf(second)}));
    EXPECT_EQ(idsOf(cloneOf(pointing->objectId()), kHardPointer),
              OdDbObjectIdArray{cloneOf(second)});
    (void)owner;
}

TEST_F(WblockCloneObjects, UsesTheRecordThatStandsThereByDefault)
{
    const OdDbObjectId line = addLineOn(addLayer(*m_db, L"walls", L"source"));
    const OdDbObjectId present = addLayer(*m_other, L"WALLS", L"destination");
    for (const Style style :
         {Style::kDrcIgnore, Style::kDrcNotApplicable, Style::kDrcUnmangleName}) {
        m_mapping = OdDbIdMapping::createObject();
        wblock({line}, otherSpace(), style);
        EXPECT_EQ(layerOf(cloneOf(line)), present);
        EXPECT_EQ(descriptionOf(present), L"destination");
    }
}

TEST_F(WblockCloneObjects, ReplacesTheContentOfARecord)
{
    const OdDbObjectId line = addLineOn(addLayer(*m_db, L"walls", L"source"));
    const OdDbObjectId present = addLayer(*m_other, L"WALLS", L"destination");
    const OdDbObjectId reactor = addNodeTo(*m_other, 1);
    watch(present, reactor);
    m_other->startUndoRecord();
    const DatabaseState before = livingStateOf(*m_other);
    wblock({line}, otherSpace(), Style::kDrcReplace);
    EXPECT_EQ(layerOf(cloneOf(line)), present);
    EXPECT_EQ(descriptionOf(present), L"source");
    EXPECT_EQ(ownerOf(present), m_other->getLayerTableId());
    EXPECT_EQ(present.safeOpenObject()->getPersistentReactors(), OdDbObjectIdArray{reactor});
    const DatabaseState after = livingStateOf(*m_other);
    EXPECT_EQ(m_other->undo(), kOdOk);
    EXPECT_EQ(livingStateOf(*m_other), before);
    EXPECT_EQ(m_other->redo(), kOdOk);
    EXPECT_EQ(livingStateOf(*m_other), after);
}

TEST_F(WblockCloneObjects, ReplacesABlockWithItsEntities)
{
    const OdDbObjectId block = addBlock(*m_db, L"part");
    const OdDbObjectId line = addLine(block, 5.0);
    const OdDbObjectId present = addBlock(*m_other, L"part");
    const OdDbObjectId old = addLine(present, 1.0);
    m_other->startUndoRecord();
    const DatabaseState before = livingStateOf(*m_other);
    wblock({block}, m_other->getBlockTableId(), Style::kDrcReplace);
    EXPECT_EQ(cloneOf(block), present);
    EXPECT_EQ(entitiesOf(present), OdDbObjectIdArray{cloneOf(line)});
    EXPECT_TRUE(old.isErased());
    EXPECT_EQ(m_other->undo(), kOdOk);
    EXPECT_EQ(livingStateOf(*m_other), before);
}

TEST_F(WblockCloneObjects, ManglesNamesByTheStyle)
{
    const OdDbObjectId line = addLineOn(addLayer(*m_db, L"walls", L"source"));
    const OdDbObjectId present = addLayer(*m_other, L"walls", L"destination");
    wblock({line}, otherSpace(), Style::kDrcMangleName);
    EXPECT_EQ(nameOf(layerOf(cloneOf(line))), L"$0$walls");
    m_mapping = OdDbIdMapping::createObject();
    wblock({line}, otherSpace(), Style::kDrcMangleName);
    EXPECT_EQ(nameOf(layerOf(cloneOf(line))), L"$1$walls");
    EXPECT_EQ(recordOf(m_other->getLayerTableId(), L"$1$walls"), layerOf(cloneOf(line)));
    m_db->setFilename(L"/some.where/plan.v2.zdw");
    m_mapping = OdDbIdMapping::createObject();
    wblock({line}, otherSpace(), Style::kDrcXrefMangleName);
    EXPECT_EQ(nameOf(layerOf(cloneOf(line))), L"plan.v2$0$walls");
    EXPECT_EQ(descriptionOf(present), L"destination");
}

TEST_F(WblockCloneObjects, TakesManglingOffNames)
{
    const OdDbObjectId line = addLineOn(addLayer(*m_db, L"plan$0$walls", L"source"));
    const OdDbObjectId odd = addLineOn(addLayer(*m_db, L"cost$and$more", L"source"));
    wblock({line, odd}, otherSpace(), Style::kDrcUnmangleName);
    EXPECT_EQ(nameOf(layerOf(cloneOf(line))), L"walls");
    EXPECT_EQ(nameOf(layerOf(cloneOf(odd))), L"cost$and$more");
    const OdDbObjectId walls = layerOf(cloneOf(line));
    m_mapping = OdDbIdMapping::createObject();
    wblock({line}, otherSpace(), Style::kDrcUnmangleName);
    EXPECT_EQ(layerOf(cloneOf(line)), walls);
}

TEST_F(WblockCloneObjects, GivesAnonymousBlocksNewNames)
{
    const OdDbObjectId block = addBlock(*m_db, L"*U");
    const OdDbObjectId line = addLine(block, 1.0);
    OdString name = nameOf(block);
    const OdDbObjectId present = addBlock(*m_other, name);
    wblock({block}, m_other->getBlockTableId());
    EXPECT_NE(cloneOf(block), present);
    EXPECT_EQ(nameOf(cloneOf(block)).left(2), L"*U");
    EXPECT_EQ(entitiesOf(cloneOf(block)), OdDbObjectIdArray{cloneOf(line)});
}

TEST_F(WblockCloneObjects, KeepsExtendedDataOfAnApplicationWithoutAName)
{
    const OdDbObjectId id = addNode(1);
    const CloneNodePtr node = CloneNode::createObject();
    const OdResBufPtr chain = OdResBuf::newRb(1001);
    chain->setNext(OdResBuf::newRb(1070).get());
    node->setXData(chain.get());
    OdStaticRxObject<OdDbMemoryFiler> filer;
    node->dwgOutFields(&filer);
    filer.rewindForReading();
    ASSERT_EQ(id.safeOpenObject(OdDb::kForWrite)->dwgInFields(&filer), kOdOk);
    wblock({id}, m_other->getNamedObjectsDictionaryId());
    const OdResBufPtr copied = cloneOf(id).safeOpenObject()->xData();
    ASSERT_FALSE(copied.isNull());
    EXPECT_TRUE(copied->getString().isEmpty());
    EXPECT_EQ(copied->next()->restype(), 1070);
}

TEST_F(WblockCloneObjects, GivesACloneThatGetsNoOwnerNoneThatDoesNotListIt)
{
    const OdDbObjectId line = addLine(m_db->getModelSpaceId(), 1.0);
    m_mapping->setDestDb(m_other.get());
    {
        const OdDbObjectPtr clone = line.safeOpenObject()->wblockClone(*m_mapping, nullptr);
        ASSERT_FALSE(clone.isNull());
        EXPECT_TRUE(clone->ownerId().isNull());
    }
    const OdDbEntityPtr clone = cloneOf(line).safeOpenObject(OdDb::kForWrite);
    const OdDbBlockTableRecordPtr space = otherSpace().safeOpenObject(OdDb::kForWrite);
    space->appendOdDbEntity(clone.get());
    EXPECT_EQ(entitiesOf(otherSpace()), OdDbObjectIdArray{cloneOf(line)});
}

TEST_F(WblockCloneObjects, RegistersTheApplicationsOfExtendedData)
{
    m_db->newRegApp(L"APP");
    const OdDbObjectId line = addLine(m_db->getModelSpaceId(), 1.0);
    const OdResBufPtr chain = OdResBuf::newRb(1001);
    chain->setString(L"APP");
    const OdResBufPtr value = OdResBuf::newRb(1070);
    value->setInt16(5);
    chain->setNext(value.get());
    line.safeOpenObject(OdDb::kForWrite)->setXData(chain.get());
    wblock({line}, otherSpace(), Style::kDrcMangleName);
    EXPECT_TRUE(m_other->isRegisteredApp(L"APP"));
    EXPECT_FALSE(cloneOf(line).safeOpenObject()->xData(L"APP").isNull());
}

TEST_F(WblockCloneObjects, FindsTheDictionaryOfAnObjectByNameOrMakesIt)
{
    const OdDbObjectId materials = addDictionary(m_db->getNamedObjectsDictionaryId(), L"materials");
    const OdDbObjectId steel =
        writeDictionary(materials)->setAt(L"steel", TestBag::createObject().get());
    const OdDbObjectId wood =
        writeDictionary(materials)->setAt(L"wood", TestBag::createObject().get());
    const OdDbObjectId user = addBag(1);
    refer(user, kHardPointer, steel);
    refer(user, kHardPointer, wood);
    const OdDbObjectId owner = addNodeTo(*m_other, 0);
    const OdDbDatabasePtr third = OdDbDatabase::createObject();
    const OdDbObjectId present =
        addDictionary(m_other->getNamedObjectsDictionaryId(), L"MATERIALS");
    const OdDbObjectId presentWood =
        writeDictionary(present)->setAt(L"Wood", TestBag::createObject().get());
    wblock({user}, owner);
    EXPECT_EQ(OdDbDictionaryPtr(m_other->getNamedObjectsDictionaryId().openObject())->numEntries(),
              OdDbDictionaryPtr(m_db->getNamedObjectsDictionaryId().openObject())->numEntries());
    EXPECT_EQ(entryOf(present, L"steel"), cloneOf(steel));
    EXPECT_EQ(idsOf(cloneOf(user), kHardPointer), (OdDbObjectIdArray{cloneOf(steel), presentWood}));
    EXPECT_EQ(ownerOf(cloneOf(steel)), present);
    m_mapping = OdDbIdMapping::createObject();
    wblock({user}, third->getModelSpaceId());
    const OdDbObjectId made = entryOf(third->getNamedObjectsDictionaryId(), L"materials");
    EXPECT_EQ(entryOf(made, L"wood"), cloneOf(wood));
    EXPECT_EQ(cloneOf(materials), made);
}

TEST_F(WblockCloneObjects, MergesDictionariesOfOneName)
{
    const OdDbObjectId root = addDictionary(m_db->getNamedObjectsDictionaryId(), L"root");
    const OdDbObjectId inner = addDictionary(root, L"inner");
    const auto addTo = [](OdDbObjectId dictionary, OdString const& name, int number) {
        const TestBagPtr bag = TestBag::createObject();
        bag->setNumber(number);
        return writeDictionary(dictionary)->setAt(name, bag.get());
    };
    addTo(root, L"a", 1);
    addTo(inner, L"b", 2);
    addTo(inner, L"c", 3);
    const OdDbObjectId otherRoot = addDictionary(m_other->getNamedObjectsDictionaryId(), L"ROOT");
    const OdDbObjectId otherInner = addDictionary(otherRoot, L"Inner");
    const OdDbObjectId b = addTo(otherInner, L"B", 20);
    wblock({root}, m_other->getNamedObjectsDictionaryId());
    EXPECT_EQ(cloneOf(root), otherRoot);
    EXPECT_EQ(entryOf(otherRoot, L"inner"), otherInner);
    EXPECT_EQ(numberOf(entryOf(otherRoot, L"a")), 1);
    EXPECT_EQ(entryOf(otherInner, L"b"), b);
    EXPECT_EQ(numberOf(b), 20);
    EXPECT_EQ(numberOf(entryOf(otherInner, L"c")), 3);
    m_mapping = OdDbIdMapping::createObject();
    wblock({root}, m_other->getNamedObjectsDictionaryId(), Style::kDrcReplace);
    EXPECT_EQ(entryOf(otherInner, L"b"), b);
    EXPECT_EQ(numberOf(b), 2);
    m_mapping = OdDbIdMapping::createObject();
    wblock({root}, m_other->getNamedObjectsDictionaryId(), Style::kDrcMangleName);
    EXPECT_EQ(numberOf(entryOf(otherInner, L"$0$b")), 2);
}

TEST_F(WblockCloneObjects, GoesByTheOwnStyleOfAnExtendedRecord)
{
    const OdDbObjectId root = addDictionary(m_db->getNamedObjectsDictionaryId(), L"root");
    const OdDbXrecordPtr record = OdDbXrecord::createObject();
    record->setDuplicateRecordCloning(Style::kDrcMangleName);
    const OdDbObjectId id = writeDictionary(root)->setAt(L"x", record.get());
    const OdDbObjectId otherRoot = addDictionary(m_other->getNamedObjectsDictionaryId(), L"root");
    const OdDbObjectId present =
        writeDictionary(otherRoot)->setAt(L"x", OdDbXrecord::createObject().get());
    wblock({root}, m_other->getNamedObjectsDictionaryId());
    EXPECT_EQ(entryOf(otherRoot, L"x"), present);
    EXPECT_EQ(entryOf(otherRoot, L"$0$x"), cloneOf(id));
}

TEST_F(WblockCloneObjects, LeavesTheDestinationAsItWasWhenItFails)
{
    const OdDbObjectId root = addDictionary(m_db->getNamedObjectsDictionaryId(), L"root");
    const OdDbObjectId layer = addLayer(*m_db, L"walls", L"source");
    const OdDbObjectId line = addLineOn(layer);
    const OdDbObjectId failing = addNode(1);
    m_db->newRegApp(L"APP");
    refer(failing, kHardPointer, layer);
    addLayer(*m_other, L"walls", L"destination");
    const OdDbObjectId owner = addNodeTo(*m_other, 0);
    CloneNode::s_onFinished = [](CloneNode&, OdDbIdMapping&) { throw OdError(kOdOutOfMemory); };
    const DatabaseState before = livingStateOf(*m_other);
    const DatabaseState sourceBefore = stateOf(*m_db);
    EXPECT_EQ(thrownCode([&] {
                  wblock({line, root, failing}, owner, Style::kDrcReplace);
              }),
              kOdOutOfMemory);
    EXPECT_EQ(livingStateOf(*m_other), before);
    EXPECT_EQ(stateOf(*m_db), sourceBefore);
    expectNoForeignIds(*m_other);
    m_db.release();
    EXPECT_EQ(livingStateOf(*m_other), before);
}

TEST_F(WblockCloneObjects, EndsWhereBlocksOwnOneAnother)
{
    const OdDbObjectId first = addBlock(*m_db, L"first");
    const OdDbObjectId second = addBlock(*m_db, L"second");
    first.safeOpenObject(OdDb::kForWrite)->setOwnerId(second);
    second.safeOpenObject(OdDb::kForWrite)->setOwnerId(first);
    const OdDbObjectId node = addNode(1);
    refer(node, kHardPointer, first);
    wblock({node}, addNodeTo(*m_other, 2));
    EXPECT_FALSE(cloneOf(node).isNull());
    expectNoForeignIds(*m_other);
}

TEST_F(WblockCloneObjects, IsTakenBackWhateverAClassThrows)
{
    CloneNode::s_onClone = [](CloneNode const&, OdDbIdMapping&, OdDbObject*,
                              bool) -> OdDbObjectPtr { throw 42; };
    const OdDbObjectId line = addLine(m_db->getModelSpaceId(), 1.0);
    EXPECT_THROW(wblock({line, addNode(1)}, otherSpace()), int);
    EXPECT_EQ(m_other->numActiveTransactions(), 0);
    EXPECT_TRUE(entitiesOf(otherSpace()).isEmpty());
}

TEST_F(WblockCloneObjects, MakesACloneAnewAfterItWasUndone)
{
    m_other->startUndoRecord();
    const OdDbObjectId line = addLine(m_db->getModelSpaceId(), 1.0);
    wblock({line}, otherSpace());
    ASSERT_EQ(m_other->undo(), kOdOk);
    wblock({line}, otherSpace());
    EXPECT_EQ(entitiesOf(otherSpace()).size(), 1U);
}

TEST_F(WblockCloneObjects, RefusesIdsOfSeveralDatabases)
{
    const OdDbObjectId line = addLine(m_db->getModelSpaceId(), 1.0);
    EXPECT_EQ(thrownCode([&] { wblock({line, otherSpace()}, otherSpace()); }), kOdWrongDatabase);
    EXPECT_EQ(thrownCode([&] { wblock({line}, OdDbObjectId::kNull); }), kOdNullObjectId);
    wblock({}, otherSpace());
    wblock({OdDbObjectId::kNull}, otherSpace());
    EXPECT_TRUE(entitiesOf(otherSpace()).isEmpty());
}

TEST_F(WblockCloneObjects, EntersEntriesWithoutANameBesideThoseOfTheDestination)
{
    const OdDbObjectId materials = addDictionary(m_db->getNamedObjectsDictionaryId(), L"materials");
    const OdDbObjectId nameless =
        writeDictionary(materials)->setAt(OdString(), TestBag::createObject().get());
    const OdDbObjectId user = addBag(1);
    refer(user, kHardPointer, nameless);
    const OdDbObjectId others = addDictionary(m_other->getNamedObjectsDictionaryId(), L"materials");
    const OdDbObjectId present =
        writeDictionary(others)->setAt(OdString(), TestBag::createObject().get());
    wblock({user}, addNodeTo(*m_other, 0));
    EXPECT_EQ(idsOf(cloneOf(user), kHardPointer), OdDbObjectIdArray{cloneOf(nameless)});
    EXPECT_NE(cloneOf(nameless), present);
    EXPECT_EQ(ownerOf(cloneOf(nameless)), others);
}

TEST_F(WblockCloneObjects, KeepsNamesThatOnlyBeginAsThoseOfEntriesWithoutAName)
{
    const OdDbObjectId things = addDictionary(m_db->getNamedObjectsDictionaryId(), L"things");
    const OdDbObjectId named =
        writeDictionary(things)->setAt(L"*ABC", TestBag::createObject().get());
    wblock({things}, m_other->getNamedObjectsDictionaryId());
    const OdDbDictionaryPtr clone = cloneOf(things).safeOpenObject();
    EXPECT_EQ(clone->getAt(L"*ABC"), cloneOf(named));
}

TEST_F(WblockCloneObjects, KeepsBothDatabasesWhileClonesWaitForTranslation)
{
    const OdDbObjectId line = addLine(m_db->getModelSpaceId(), 1.0);
    m_db->wblockCloneObjects({line}, otherSpace(), *m_mapping, Style::kDrcIgnore,
                             /*defersTranslation=*/true);
    const OdDbObjectId copy = cloneOf(line);
    m_db.release();
    EXPECT_EQ(OdDbDatabase::liveCount(), 2);
    m_mapping.release();
    EXPECT_EQ(OdDbDatabase::liveCount(), 1);
    EXPECT_EQ(layerOf(copy), m_other->getLayerZeroId());
    m_mapping = OdDbIdMapping::createObject();
}

// ---------------------------------------------------------------------------------------------

class Wblock : public WblockCloneObjects
{
protected:
    /// What a drawing holds, without handles: names and numbers in the order of ownership.
    static std::vector<std::string> contentOf(OdDbDatabase& db)
    {
        std::vector<std::string> lines;
        for (OdDbObjectId table : {db.getLayerTableId(), db.getBlockTableId(),
                                   db.getLinetypeTableId(), db.getRegAppTableId()}) {
            const OdDbSymbolTablePtr records = table.safeOpenObject();
            for (const auto at = records->newIterator(); !at->done(); at->step()) {
                lines.emplace_back(at->getRecord()->getName().utf8());
            }
        }
        for (OdDbObjectId id : entitiesOf(db.getModelSpaceId())) {
            lines.push_back(std::to_string(OdDbLinePtr(id.safeOpenObject())->startPoint().x) +
                            std::string(nameOf(layerOf(id)).utf8()));
        }
        const OdDbDictionaryPtr names = db.getNamedObjectsDictionaryId().safeOpenObject();
        for (const auto at = names->newIterator(); !at->done(); at->next()) {
            lines.emplace_back(at->name().utf8());
        }
        return lines;
    }
};

TEST_F(Wblock, OfAWholeDrawingMakesAnEqualOne)
{
    const OdDbObjectId layer = addLayer(*m_db, L"walls", L"source");
    const OdDbObjectId line = addLineOn(layer, 4.0);
    addLine(m_db->getModelSpaceId(), 3.0);
    const OdDbObjectId block = addBlock(*m_db, L"part");
    addLine(block, 2.0);
    addDictionary(m_db->getNamedObjectsDictionaryId(), L"root");
    m_db->newRegApp(L"APP");
    OdDbLayerTableRecordPtr(m_db->getLayerZeroId().openObject(OdDb::kForWrite))
        ->setDescription(L"zero");
    m_db->getModelSpaceId().safeOpenObject(OdDb::kForWrite)->createExtensionDictionary();
    m_db->setINSUNITS(OdDb::UnitsValue::kUnitsFeet);
    m_db->setINSBASE(OdGePoint3d(1.0, 2.0, 3.0));
    const DatabaseState before = stateOf(*m_db);
    const OdDbDatabasePtr made = m_db->wblock(m_mapping.get());
    EXPECT_EQ(m_mapping->deepCloneContext(), OdDb::DeepCloneType::kDcWblock);
    EXPECT_EQ(contentOf(*made), contentOf(*m_db));
    EXPECT_EQ(layerOf(cloneOf(line)), cloneOf(layer));
    EXPECT_EQ(descriptionOf(made->getLayerZeroId()), L"zero");
    EXPECT_EQ(cloneOf(m_db->getModelSpaceId()), made->getModelSpaceId());
    EXPECT_FALSE(made->getModelSpaceId().safeOpenObject()->extensionDictionary().isNull());
    EXPECT_EQ(made->getINSUNITS(), OdDb::UnitsValue::kUnitsFeet);
    EXPECT_EQ(made->getINSBASE().y, 2.0);
    EXPECT_EQ(stateOf(*m_db), before);
    EXPECT_EQ(livingStateOf(*made).size(), livingStateOf(*m_db).size());
    expectNoForeignIds(*made);
    m_db.release();
    EXPECT_EQ(entitiesOf(made->getModelSpaceId()).size(), 2U);
}

TEST_F(Wblock, OfAWholeDrawingKeepsTheActiveViewport)
{
    const OdDbObjectId viewport =
        OdDbBlockTableRecordPtr(m_db->getPaperSpaceId().safeOpenObject(OdDb::kForWrite))
            ->appendOdDbEntity(OdDbViewport::createObject().get());
    m_db->setActiveViewportId(viewport);
    const OdDbDatabasePtr made = m_db->wblock(m_mapping.get());
    EXPECT_FALSE(cloneOf(viewport).isNull());
    EXPECT_EQ(made->activeViewportId(), cloneOf(viewport));
    EXPECT_TRUE(m_other->wblock()->activeViewportId().isNull());
}

TEST_F(Wblock, OfAWholeDrawingTakesObjectsThatNothingOwns)
{
    const OdDbObjectId line = addLine(m_db->getModelSpaceId(), 1.0);
    const OdDbObjectId free = addNode(1);
    const OdDbObjectId below = addNode(2);
    const OdDbObjectId gone = addNode(3);
    const OdDbObjectId lost = addNode(4, gone);
    own(free, below);
    refer(free, kSoftPointer, line);
    watch(line, free);
    eraseObject(gone);
    const OdDbDatabasePtr made = m_db->wblock(m_mapping.get());
    EXPECT_EQ(numberOf(cloneOf(free)), 1);
    EXPECT_TRUE(ownerOf(cloneOf(free)).isNull());
    EXPECT_EQ(ownerOf(cloneOf(below)), cloneOf(free));
    EXPECT_EQ(idsOf(cloneOf(free), kSoftPointer).at(0), cloneOf(line));
    EXPECT_TRUE(cloneOf(line).safeOpenObject()->hasPersistentReactor(cloneOf(free)));
    // What its owner doesn't tell of, or is erased, is nothing that a drawing shows.
    EXPECT_TRUE(cloneOf(gone).isNull());
    EXPECT_TRUE(cloneOf(lost).isNull());
    expectNoForeignIds(*made);
}

TEST_F(Wblock, OfAWholeDrawingRegistersApplicationsThatItsSourceHasLost)
{
    const OdDbObjectId app = m_db->newRegApp(L"APP");
    const OdDbObjectId line = addLine(m_db->getModelSpaceId(), 1.0);
    const OdResBufPtr chain = OdResBuf::newRb(1001);
    chain->setString(L"APP");
    chain->setNext(OdResBuf::newRb(1070).get());
    line.safeOpenObject(OdDb::kForWrite)->setXData(chain.get());
    eraseObject(app);
    const OdDbDatabasePtr made = m_db->wblock(m_mapping.get());
    EXPECT_TRUE(made->isRegisteredApp(L"APP"));
    EXPECT_FALSE(cloneOf(line).safeOpenObject()->xData(L"APP").isNull());
}

TEST_F(Wblock, OfABlockMakesItTheModelSpace)
{
    const OdDbObjectId block = addBlock(*m_db, L"part");
    const OdDbObjectId line = addLine(block, 2.0);
    {
        const OdDbBlockTableRecordPtr open = block.safeOpenObject(OdDb::kForWrite);
        open->setOrigin(OdGePoint3d(7.0, 0.0, 0.0));
        open->createExtensionDictionary();
    }
    const TestBagPtr hung = TestBag::createObject();
    hung->setIds(kSoftPointer, {block});
    writeDictionary(block.safeOpenObject()->extensionDictionary())->setAt(L"x", hung.get());
    const OdDbDatabasePtr made = m_db->wblock(block, m_mapping.get());
    EXPECT_EQ(m_mapping->deepCloneContext(), OdDb::DeepCloneType::kDcWblkObjects);
    EXPECT_EQ(entitiesOf(made->getModelSpaceId()), OdDbObjectIdArray{cloneOf(line)});
    EXPECT_EQ(made->getINSBASE().x, 7.0);
    EXPECT_EQ(idsOf(cloneOf(hung->objectId()), kSoftPointer),
              OdDbObjectIdArray{made->getModelSpaceId()});
    EXPECT_TRUE(recordOf(made->getBlockTableId(), L"part").isNull());
}

TEST_F(Wblock, OfASelectionTakesThoseEntitiesAlone)
{
    const OdDbObjectId line = addLine(m_db->getModelSpaceId(), 2.0);
    addLine(m_db->getModelSpaceId(), 3.0);
    const OdDbDatabasePtr made =
        m_db->wblock(OdDbObjectIdArray{line}, OdGePoint3d(1.0, 1.0, 1.0), m_mapping.get());
    EXPECT_EQ(m_mapping->deepCloneContext(), OdDb::DeepCloneType::kDcWblkObjects);
    EXPECT_EQ(entitiesOf(made->getModelSpaceId()), OdDbObjectIdArray{cloneOf(line)});
    EXPECT_EQ(made->getINSBASE().z, 1.0);
    EXPECT_EQ(
        thrownCode([&] { (void)m_db->wblock(OdDbObjectIdArray{otherSpace()}, OdGePoint3d()); }),
        kOdWrongDatabase);
}

// ---------------------------------------------------------------------------------------------

class Insert : public WblockCloneObjects
{
};

TEST_F(Insert, MakesABlockOfADrawing)
{
    const OdDbObjectId line = addLineOn(addLayer(*m_db, L"walls", L"source"));
    m_db->setINSBASE(OdGePoint3d(1.0, 2.0, 3.0));
    m_db->setINSUNITS(OdDb::UnitsValue::kUnitsInches);
    m_other->startUndoRecord();
    const DatabaseState before = livingStateOf(*m_other);
    const OdDbObjectId id = m_other->insert(L"part", *m_db, m_mapping.get());
    EXPECT_EQ(m_mapping->deepCloneContext(), OdDb::DeepCloneType::kDcInsert);
    EXPECT_EQ(id, recordOf(m_other->getBlockTableId(), L"part"));
    EXPECT_EQ(entitiesOf(id), OdDbObjectIdArray{cloneOf(line)});
    const OdDbBlockTableRecordPtr block = id.safeOpenObject();
    EXPECT_EQ(block->origin().z, 3.0);
    EXPECT_EQ(block->blockInsertUnits(), OdDb::UnitsValue::kUnitsInches);
    EXPECT_TRUE(entitiesOf(otherSpace()).isEmpty());
    EXPECT_EQ(m_other->undo(), kOdOk);
    EXPECT_EQ(livingStateOf(*m_other), before);
}

TEST_F(Insert, RefusesATakenNameAndTheDrawingItself)
{
    const DatabaseState before = livingStateOf(*m_other);
    EXPECT_EQ(thrownCode([&] { m_other->insert(L"*MODEL_SPACE", *m_db); }), kOdDuplicateName);
    EXPECT_EQ(thrownCode([&] { m_other->insert(L"x", *m_other); }), kOdWrongDatabase);
    EXPECT_EQ(livingStateOf(*m_other), before);
}

TEST_F(Insert, SetsTheContextThatIsGiven)
{
    const OdDbObjectId block = addBlock(*m_other, L"b");
    for (const OdDb::DeepCloneType context :
         {OdDb::DeepCloneType::kDcXrefBind, OdDb::DeepCloneType::kDcInsert,
          OdDb::DeepCloneType::kDcXrefInsert, OdDb::DeepCloneType::kDcInsertCopy}) {
        m_mapping = OdDbIdMapping::createObject();
        m_other->insertIntoBlock(block, *m_db, *m_mapping, context);
        EXPECT_EQ(m_mapping->deepCloneContext(), context);
    }
}

}  // namespace

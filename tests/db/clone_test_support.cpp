#include "db/clone_test_support.h"

#include "db/od_db_filer.h"

namespace dbtest {

RX_DEFINE_CLASS(CloneNode, TestBag, odrxCreate<CloneNode>, L"CloneNode", OdDb::kDwgVersionCurrent,
                4, 1025, L"CLONE_NODE", L"Database tests");

std::function<OdDbObjectPtr(CloneNode const&, OdDbIdMapping&, OdDbObject*, bool)>
    CloneNode::s_onClone;
std::function<void(CloneNode&, OdDbIdPair&, OdDbObject*)> CloneNode::s_onAppend;
std::function<void(CloneNode&, OdDbIdMapping&)> CloneNode::s_onFinished;
std::function<void(OdDb::FilerType, CloneNode const&)> CloneNode::s_onFiledOut;
std::vector<std::pair<OdDbObjectId, OdDbObjectId>> CloneNode::s_copied;
std::vector<std::pair<OdDbObjectId, OdDbObjectId>> CloneNode::s_modified;
std::vector<std::pair<OdDbObjectId, OdDb::FilerType>> CloneNode::s_read;

CloneNode::CloneNode() = default;
CloneNode::~CloneNode() = default;

CloneNodePtr CloneNode::createObject()
{
    return odrxMake<CloneNode>();
}

void CloneNode::reset()
{
    s_onClone = nullptr;
    s_onAppend = nullptr;
    s_onFinished = nullptr;
    s_onFiledOut = nullptr;
    s_copied.clear();
    s_modified.clear();
    s_read.clear();
}

OdDbObjectPtr CloneNode::subDeepClone(OdDbIdMapping& mapping, OdDbObject* owner,
                                      bool isPrimary) const
{
    return s_onClone ? s_onClone(*this, mapping, owner, isPrimary)
                     : TestBag::subDeepClone(mapping, owner, isPrimary);
}

OdDbObjectPtr CloneNode::subWblockClone(OdDbIdMapping& mapping, OdDbObject* owner,
                                        bool isPrimary) const
{
    return s_onClone ? s_onClone(*this, mapping, owner, isPrimary)
                     : TestBag::subWblockClone(mapping, owner, isPrimary);
}

void CloneNode::appendToOwner(OdDbIdPair& pair, OdDbObject* owner, OdDbIdMapping& mapping)
{
    if (s_onAppend) {
        s_onAppend(*this, pair, owner);
        return;
    }
    TestBag::appendToOwner(pair, owner, mapping);
}

void CloneNode::cloneFinished(OdDbIdMapping& mapping)
{
    TestBag::cloneFinished(mapping);
    if (s_onFinished) {
        s_onFinished(*this, mapping);
    }
}

void CloneNode::copied(OdDbObject const* object, OdDbObject const* newObject)
{
    s_copied.emplace_back(object->objectId(), newObject->objectId());
}

void CloneNode::modified(OdDbObject const* object)
{
    s_modified.emplace_back(objectId(), object->objectId());
}

OdResult CloneNode::dwgInFields(OdDbDwgFiler* filer)
{
    s_read.emplace_back(objectId(), filer->filerType());
    return TestBag::dwgInFields(filer);
}

void CloneNode::dwgOutFields(OdDbDwgFiler* filer) const
{
    if (s_onFiledOut) {
        s_onFiledOut(filer->filerType(), *this);
    }
    TestBag::dwgOutFields(filer);
}

CloneTest::CloneTest()
{
    CloneNode::rxInit();
    m_other = OdDbDatabase::createObject();
}

CloneTest::~CloneTest()
{
    CloneNode::rxUninit();
}

void CloneTest::TearDown()
{
    CloneNode::reset();
    m_mapping.release();
    m_other.release();
    DatabaseTest::TearDown();
}

OdDbObjectId CloneTest::addNode(std::int32_t number, OdDbObjectId owner)
{
    return addNodeTo(*m_db, number, owner);
}

OdDbObjectId CloneTest::addNodeTo(OdDbDatabase& db, std::int32_t number, OdDbObjectId owner)
{
    const CloneNodePtr node = CloneNode::createObject();
    node->setNumber(number);
    return db.addOdDbObject(node.get(), owner);
}

void CloneTest::own(OdDbObjectId owner, OdDbObjectId owned, OdDb::ReferenceType type)
{
    refer(owner, type, owned);
    owned.safeOpenObject(OdDb::kForWrite)->setOwnerId(owner);
}

void CloneTest::refer(OdDbObjectId from, OdDb::ReferenceType type, OdDbObjectId to)
{
    const TestBagPtr bag = writeBag(from);
    OdDbObjectIdArray ids = bag->ids(type);
    ids.append(to);
    bag->setIds(type, ids);
}

OdDbObjectIdArray CloneTest::idsOf(OdDbObjectId id, OdDb::ReferenceType type)
{
    return readBag(id)->ids(type);
}

OdDbObjectId CloneTest::addBlock(OdDbDatabase& db, OdString const& name)
{
    const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
    block->setName(name);
    return OdDbSymbolTablePtr(db.getBlockTableId().safeOpenObject(OdDb::kForWrite))
        ->add(block.get());
}

OdDbObjectId CloneTest::addLine(OdDbObjectId block, double x)
{
    const OdDbLinePtr line = OdDbLine::createObject();
    line->setStartPoint(OdGePoint3d(x, 0.0, 0.0));
    return OdDbBlockTableRecordPtr(block.safeOpenObject(OdDb::kForWrite))
        ->appendOdDbEntity(line.get());
}

OdDbObjectId CloneTest::addLayer(OdDbDatabase& db, OdString const& name,
                                 OdString const& description)
{
    const OdDbLayerTableRecordPtr layer = OdDbLayerTableRecord::createObject();
    layer->setName(name);
    layer->setDescription(description);
    return OdDbSymbolTablePtr(db.getLayerTableId().safeOpenObject(OdDb::kForWrite))
        ->add(layer.get());
}

OdDbObjectIdArray CloneTest::entitiesOf(OdDbObjectId block)
{
    OdDbObjectIdArray ids;
    const OdDbBlockTableRecordPtr record = block.safeOpenObject();
    for (const auto at = record->newIterator(); !at->done(); at->step()) {
        ids.append(at->objectId());
    }
    return ids;
}

OdDbObjectId CloneTest::recordOf(OdDbObjectId table, OdString const& name)
{
    return OdDbSymbolTablePtr(table.safeOpenObject())->getAt(name);
}

OdDbObjectId CloneTest::entryOf(OdDbObjectId dictionary, OdString const& name)
{
    return OdDbDictionaryPtr(dictionary.safeOpenObject())->getAt(name);
}

OdDbObjectId CloneTest::addDictionary(OdDbObjectId dictionary, OdString const& name)
{
    return writeDictionary(dictionary)->setAt(name, OdDbDictionary::createObject().get());
}

OdDbObjectId CloneTest::ownerOf(OdDbObjectId id)
{
    return id.safeOpenObject(OdDb::kForRead, /*openErased=*/true)->ownerId();
}

void CloneTest::forgeEntry(OdDbObjectId dictionary, OdString const& name, OdDbObjectId id)
{
    const OdDbDictionaryPtr open = writeDictionary(dictionary);
    OdStaticRxObject<OdDbMemoryFiler> filer;
    open->dwgOutFields(&filer);
    OdDbMemoryFiler::Bytes bytes = filer.bytes();
    bytes.resize(bytes.size() - sizeof(std::int32_t));  // the number of entries stands last
    filer.writeTo(bytes);
    filer.wrInt32(1);
    filer.wrString(name);
    filer.wrSoftOwnershipId(id);
    filer.rewindForReading();
    EXPECT_EQ(open->dwgInFields(&filer), kOdOk);
}

OdDbObjectId CloneTest::cloneOf(OdDbObjectId id) const
{
    OdDbIdPair pair(id);
    return m_mapping->compute(pair) ? pair.value() : OdDbObjectId::kNull;
}

}  // namespace dbtest

// What the tests of model objects share: a block of entities with links, a host that makes links
// for constraints, and a filer that shows the kinds of references.

#pragma once

#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_database.h"
#include "db/od_db_xrecord.h"
#include "support/zem_module_scope.h"

#include "property_test_support.h"
#include "zem_db_constraint_manager.h"
#include "zem_db_object.h"
#include "zem_db_object_dependency.h"
#include "zem_db_persid_manager.h"
#include "zem_protocol_extensions.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <utility>
#include <vector>

inline void PrintTo(OdDbObjectId const& id, std::ostream* out)
{
    *out << "id " << id.getHandle().ascii().utf8();
}

namespace model_test {

using property_test::AssertionLog;
using property_test::Blob;
using property_test::bytes;
using property_test::LoggingFiler;
using property_test::MemoryFiler;
using property_test::operator+;
using property_test::thrownCode;

using ObjectPtr = OdSmartPtr<ZemDbObject>;
using ManagerPtr = OdSmartPtr<ZemDbConstraintManager>;
using LinkPtr = OdSmartPtr<ZemDbObjectDependency>;

constexpr auto kFace = OdDb::SubentType::kFaceSubentType;
constexpr auto kEdge = OdDb::SubentType::kEdgeSubentType;
constexpr auto kVertex = OdDb::SubentType::kVertexSubentType;

/// A flat filer that can have any type, and that files an id as its kind of reference and its
/// handle.
class HandleFiler : public OdStaticRxObject<ZemFlatFiler>
{
public:
    explicit HandleFiler(OdDbDatabase* database = nullptr,
                         OdDb::FilerType type = OdDb::FilerType::kFileFiler)
        : m_database(database), m_type(type)
    {
        clear();
    }

    OdDb::FilerType filerType() const override { return m_type; }
    OdDbDatabase* database() const override { return m_database; }
    OdDbObjectId rdSoftOwnershipId() override { return read(); }
    OdDbObjectId rdHardOwnershipId() override { return read(); }
    OdDbObjectId rdHardPointerId() override { return read(); }
    OdDbObjectId rdSoftPointerId() override { return read(); }
    void wrSoftPointerId(OdDbObjectId const& id) override { write(0, id); }
    void wrHardPointerId(OdDbObjectId const& id) override { write(1, id); }
    void wrSoftOwnershipId(OdDbObjectId const& id) override { write(2, id); }
    void wrHardOwnershipId(OdDbObjectId const& id) override { write(3, id); }

private:
    void write(std::uint8_t kind, OdDbObjectId id)
    {
        wrUInt8(kind);
        wrUInt8(static_cast<std::uint8_t>(id.getHandle().value()));
    }
    OdDbObjectId read()
    {
        (void)rdUInt8();
        const OdDbHandle handle(rdUInt8());
        return handle.isNull() || m_database == nullptr
                   ? OdDbObjectId::kNull
                   : m_database->getOdDbObjectId(handle, /*create=*/true);
    }

    OdDbDatabase* m_database;
    OdDb::FilerType m_type;
};

/// What an object puts out, as a `HandleFiler` shows it.
inline Blob filed(OdDbObject const& object, OdDb::FilerType type = OdDb::FilerType::kFileFiler)
{
    HandleFiler filer(object.database(), type);
    object.dwgOutFields(&filer);
    return filer.getBinaryData();
}

/// Has an object read bytes. An OdError counts as its code.
inline OdResult readInto(OdDbObject& object, Blob const& data, OdDbDatabase* database = nullptr,
                         OdDb::FilerType type = OdDb::FilerType::kFileFiler)
{
    HandleFiler filer(database, type);
    filer.setBinaryData(data.data(), static_cast<unsigned>(data.size()));
    OdResult result = kOdOk;
    const OdResult thrown = thrownCode([&] { result = object.dwgInFields(&filer); });
    return thrown != kOdOk ? thrown : result;
}

/// A host's part in model objects: links for constraints belong to the model object.
class TestObjectHost : public ZemDbObjectPE
{
public:
    void appendConstraintDependencies(ZemDbObject* object, ZemSubentPathArray const& paths,
                                      OdDbObjectIdArray& newIds) override
    {
        for (OdDbFullSubentPath const& path : paths) {
            if (makesLinks) {
                newIds.append(appendConstraintDependency(object, path));
            }
        }
    }
    OdDbObjectId appendConstraintDependency(ZemDbObject* object,
                                            OdDbFullSubentPath const& path) override
    {
        const LinkPtr link = ZemDbObjectDependency::desc()->create();
        link->setLinkObject(path);
        return object->database()->addOdDbObject(link.get(), object->objectId());
    }
    void onOpenedForModify(ZemDbObject*, OdDbObject const*) override { ++openedForModify; }
    void onDatabaseTrackerNotify(ZemDbObject*, OdDbObject const*) override
    {
        ++tracked;
        if (throws) {
            throw OdError(kOdInvalidInput);
        }
    }
    void onTransformCached(OdDbDatabase*, OdDbObjectId, OdGeMatrix3d const& transform,
                           bool enabled) override
    {
        transforms.push_back(transform);
        transformsEnabled.push_back(enabled);
    }
    OdString attachedEntityName(OdDbObjectId, ZemDbConstraintManager const*) const override
    {
        return entityName;
    }

    bool makesLinks = true;
    bool throws = false;
    int openedForModify = 0;
    int tracked = 0;
    std::vector<OdGeMatrix3d> transforms;
    std::vector<bool> transformsEnabled;
    OdString entityName = L"Line";
};

/// A drawing with two lines in model space, a constraint manager and a manager of links there.
class ModelTest : public testing::Test
{
protected:
    ModelTest() { attachHost(); }
    ~ModelTest() override { ZemDbObject::desc()->delX(ZemDbObjectPE::desc()); }

    void attachHost() { ZemDbObject::desc()->addX(ZemDbObjectPE::desc(), m_host.get()); }
    static void detachHost() { ZemDbObject::desc()->delX(ZemDbObjectPE::desc()); }

    static OdDbObjectId addLine(OdDbObjectId block)
    {
        return OdDbBlockTableRecordPtr(block.openObject(OdDb::kForWrite))
            ->appendOdDbEntity(odrxMake<OdDbLine>().get());
    }
    static OdDbObjectId addBlock(OdDbDatabase& database, OdString const& name)
    {
        const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
        block->setName(name);
        return OdSmartPtr<OdDbBlockTable>(database.getBlockTableId().openObject(OdDb::kForWrite))
            ->add(block.get());
    }
    static OdDbFullSubentPath face(OdDbObjectId entity, std::int64_t index)
    {
        return {OdDbObjectIdArray{entity}, OdDbSubentId(kFace, index)};
    }
    OdDbObjectId addLink(OdDbFullSubentPath const& path) { return addLink(path, m_links); }
    static OdDbObjectId addLink(OdDbFullSubentPath const& path, OdDbObjectId owner)
    {
        const LinkPtr link = ZemDbObjectDependency::desc()->create();
        link->setLinkObject(path);
        return owner.database()->addOdDbObject(link.get(), owner);
    }
    /// Links to faces 1 to `count` of the first line, listed by its model object.
    OdDbObjectIdArray listLinks(int count)
    {
        OdDbObjectIdArray ids;
        for (int number = 1; number <= count; ++number) {
            ids.append(addLink(face(m_line, number)));
            EXPECT_TRUE(object(OdDb::kForWrite)->addPersIdDependency(m_links, ids.last()));
        }
        return ids;
    }
    /// The model object of the first line, which is made as needed.
    OdDbObjectId objectId() { return ZemDbObject::getInstance(m_line, m_managerId); }
    ObjectPtr object(OdDb::OpenMode mode = OdDb::kForRead) { return objectId().openObject(mode); }
    ManagerPtr manager(OdDb::OpenMode mode = OdDb::kForRead) const
    {
        return m_managerId.openObject(mode);
    }
    static void erase(OdDbObjectId id)
    {
        ASSERT_EQ(id.openObject(OdDb::kForWrite)->erase(), kOdOk);
    }
    static void unerase(OdDbObjectId id)
    {
        ASSERT_EQ(id.openObject(OdDb::kForWrite, /*openErased=*/true)->erase(false), kOdOk);
    }

    ZemModuleScope m_scope;
    AssertionLog m_assertions;
    OdSmartPtr<TestObjectHost> m_host = odrxMake<OdRxObjectImpl<TestObjectHost>>();
    OdDbDatabasePtr m_database = OdDbDatabase::createObject();
    OdDbObjectId m_block = m_database->getModelSpaceId();
    OdDbObjectId m_line = addLine(m_block);
    OdDbObjectId m_other = addLine(m_block);
    OdDbObjectId m_managerId = ZemDbConstraintManager::getInstance(m_block, true);
    OdDbObjectId m_links = ZemDbPersIdManager::getInstance(m_block, true);
};

}  // namespace model_test

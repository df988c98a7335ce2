// What the tests of stored links share: drawings with solids in blocks, external ones, and records.

#pragma once

#include "db/od_db_3d_solid.h"
#include "db/od_db_block_reference.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_database.h"
#include "db/od_db_id_mapping.h"
#include "db/od_db_memory_filer.h"
#include "db/od_db_xrecord.h"
#include "db/od_db_xref_man.h"
#include "root/od_error.h"
#include "root/root_test_support.h"
#include "store/od_db_drawing.h"
#include "store/od_db_file_filer.h"
#include "support/zem_module_scope.h"

#include "zem_db_object_dependency.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace stored_link_test {

using Bytes = std::vector<std::uint8_t>;
using MemoryFiler = OdStaticRxObject<OdDbMemoryFiler>;
using FileFiler = OdStaticRxObject<OdDbFileFiler>;
using ZemDbObjectDependencyPtr = OdSmartPtr<ZemDbObjectDependency>;

inline constexpr auto kFace = OdDb::SubentType::kFaceSubentType;
inline constexpr auto kEdge = OdDb::SubentType::kEdgeSubentType;
inline constexpr auto kVertex = OdDb::SubentType::kVertexSubentType;
inline constexpr auto kNoPart = OdDb::SubentType::kNullSubentType;

/// What a filer of drawing files makes of fields.
struct Record
{
    Bytes body;
    Bytes references;

    friend bool operator==(Record const&, Record const&) = default;
};

/// The record that `write(filer)` makes.
template <class Write>
Record recordOf(OdDbDatabase* database, Write const& write,
                int dwgVersion = OdDb::kDwgVersionCurrent)
{
    FileFiler filer(database, dwgVersion);
    filer.startRecord(dwgVersion);
    write(static_cast<OdDbDwgFiler*>(&filer));
    return {{filer.body().begin(), filer.body().end()},
            {filer.references().begin(), filer.references().end()}};
}

/// Calls `read(filer)` with a filer over a record.
template <class Read>
auto readRecord(OdDbDatabase* database, Record const& record, Read const& read,
                int dwgVersion = OdDb::kDwgVersionCurrent)
{
    FileFiler filer(database, dwgVersion);
    filer.readFrom(record.body, record.references, dwgVersion);
    return read(static_cast<OdDbDwgFiler*>(&filer));
}

/// The result of `call`, or the code of the OdError that it throws.
template <class Call>
OdResult resultOf(Call const& call)
{
    OdResult result = kOdOk;
    const OdResult thrown = thrownCode([&] { result = call(); });
    return thrown != kOdOk ? thrown : result;
}

/// A drawing in memory, and a second one.
class StoredLinkTest : public testing::Test
{
protected:
    static OdDbObjectId addBlock(OdDbDatabase& database, OdString const& name)
    {
        const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
        block->setName(name);
        return OdSmartPtr<OdDbBlockTable>(database.getBlockTableId().openObject(OdDb::kForWrite))
            ->add(block.get());
    }
    static OdDbObjectId append(OdDbObjectId block, OdDbEntity* entity)
    {
        return OdDbBlockTableRecordPtr(block.openObject(OdDb::kForWrite))->appendOdDbEntity(entity);
    }
    /// A solid with 6 faces, 12 edges and 8 vertices.
    static OdDbObjectId appendSolid(OdDbObjectId block)
    {
        const OdDb3dSolidPtr solid = OdDb3dSolid::createObject();
        solid->setBody(L"test", OdBinaryData(), {6, 12, 8});
        return append(block, solid.get());
    }
    static OdDbObjectId appendReference(OdDbObjectId block, OdDbObjectId shown)
    {
        return append(block, OdDbBlockReference::createObject(shown, OdGePoint3d()).get());
    }
    static OdDbObjectId addXrecord(OdDbDatabase& database)
    {
        const OdDbXrecordPtr record = OdDbXrecord::createObject();
        return database.addOdDbObject(record.get());
    }
    static void erase(OdDbObjectId id)
    {
        ASSERT_EQ(id.openObject(OdDb::kForWrite)->erase(), kOdOk);
    }
    static void revive(OdDbObjectId id)
    {
        ASSERT_EQ(id.openObject(OdDb::kForWrite, /*openErased=*/true)->erase(false), kOdOk);
    }
    /// An id of the drawing that no object has.
    OdDbObjectId nowhere() const
    {
        return m_database->getOdDbObjectId(OdDbHandle(0x9999), /*create=*/true);
    }

    static ZemDbObjectDependencyPtr open(OdDbObjectId id, OdDb::OpenMode mode = OdDb::kForRead)
    {
        return ZemDbObjectDependency::cast(id.openObject(mode).get());
    }
    /// A link of the drawing, closed.
    OdDbObjectId addLink(OdDbFullSubentPath const& path, int tag = 0, int hash = 0)
    {
        const ZemDbObjectDependencyPtr link = odrxMake<ZemDbObjectDependency>();
        const OdDbObjectId id =
            m_database->addOdDbObject(link.get(), m_database->getNamedObjectsDictionaryId());
        link->setLinkObject(path);
        link->setEntityTag(tag);
        link->setBodyHash(hash);
        return id;
    }

    ZemModuleScope m_scope;
    OdDbDatabasePtr m_database = OdDbDatabase::createObject();
    OdDbDatabasePtr m_other = OdDbDatabase::createObject();
    OdDbObjectId m_model = m_database->getModelSpaceId();
    /// A block with a solid, shown by a block that model space shows.
    OdDbObjectId m_inner = addBlock(*m_database, L"Inner");
    OdDbObjectId m_outer = addBlock(*m_database, L"Outer");
    OdDbObjectId m_solid = appendSolid(m_inner);
    OdDbObjectId m_innerReference = appendReference(m_outer, m_inner);
    OdDbObjectId m_outerReference = appendReference(m_model, m_outer);
    OdDbObjectIdArray m_nested{m_outerReference, m_innerReference, m_solid};
};

/// Links into a drawing on disk, which is shown as an external drawing, on its own and in another one.
class ExternalLinkTest : public StoredLinkTest
{
protected:
    ExternalLinkTest()
    {
        std::filesystem::create_directory(m_folder);
        makePart();
        makeAssembly();
        m_block = OdDbXRefMan::attach(*m_database, path("part.zdw"), L"Part");
        m_reference = appendReference(m_model, m_block);
        m_assemblyBlock = OdDbXRefMan::attach(*m_database, path("assembly.zdw"), L"Assembly");
        m_assemblyReference = appendReference(m_model, m_assemblyBlock);
    }
    ~ExternalLinkTest() override
    {
        m_database.release();
        std::filesystem::remove_all(m_folder);
    }

    OdString path(char const* name) const { return OdString::fromUtf8((m_folder / name).string()); }
    static OdDbDatabase* shown(OdDbObjectId block)
    {
        return OdDbBlockTableRecordPtr(block.openObject())->xrefDatabase();
    }
    OdDbObjectId inPart(OdDbHandle handle) const { return shown(m_block)->getOdDbObjectId(handle); }
    /// A path to a solid in model space of the external drawing.
    OdDbObjectIdArray pathToPart() const { return {m_reference, inPart(m_partSolid)}; }
    /// A path to a solid in a block of the external drawing.
    OdDbObjectIdArray pathToInsert() const
    {
        return {m_reference, inPart(m_partInsert), inPart(m_partInner)};
    }
    /// A path through an external drawing into one that is attached to it.
    OdDbObjectIdArray pathThroughAssembly() const
    {
        OdDbDatabase* const assembly = shown(m_assemblyBlock);
        const OdDbObjectId reference = assembly->getOdDbObjectId(m_assemblyInsert);
        const OdDbObjectId block =
            OdDbBlockReferencePtr(reference.openObject())->blockTableRecord();
        return {m_assemblyReference, reference, shown(block)->getOdDbObjectId(m_partSolid)};
    }

    std::filesystem::path m_folder =
        std::filesystem::temp_directory_path() / ("zem_links_" + std::to_string(getpid()));
    OdDbHandle m_partSolid;   ///< in model space of the part
    OdDbHandle m_partInner;   ///< in a block of the part
    OdDbHandle m_partInsert;  ///< that shows the block in the part's model space
    OdDbHandle m_assemblyInsert;
    OdDbObjectId m_block;
    OdDbObjectId m_reference;
    OdDbObjectId m_assemblyBlock;
    OdDbObjectId m_assemblyReference;

private:
    void makePart()
    {
        const OdDbDatabasePtr part = OdDbDatabase::createObject();
        const OdDbObjectId block = addBlock(*part, L"InPart");
        m_partSolid = appendSolid(part->getModelSpaceId()).getHandle();
        m_partInner = appendSolid(block).getHandle();
        m_partInsert = appendReference(part->getModelSpaceId(), block).getHandle();
        odDbSaveDrawingAs(*part, path("part.zdw"));
    }
    void makeAssembly()
    {
        const OdDbDatabasePtr assembly = OdDbDatabase::createObject();
        const OdDbObjectId block = OdDbXRefMan::attach(*assembly, path("part.zdw"), L"Part");
        m_assemblyInsert = appendReference(assembly->getModelSpaceId(), block).getHandle();
        odDbSaveDrawingAs(*assembly, path("assembly.zdw"));
    }
};

}  // namespace stored_link_test

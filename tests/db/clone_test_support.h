// What the tests of cloning share: a class that takes part in it, and short ways to what they check.

#pragma once

#include "db/db_test_support.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_id_mapping.h"
#include "db/od_db_simple_tables.h"
#include "db/od_db_xrecord.h"

#include <functional>
#include <utility>
#include <vector>

namespace dbtest {

/// A bag whose part in cloning a test decides, and which notes what it is told.
class CloneNode : public TestBag
{
    RX_DECLARE_CLASS(CloneNode);

public:
    CloneNode();
    ~CloneNode() override;
    static OdSmartPtr<CloneNode> createObject();

    OdDbObjectPtr subDeepClone(OdDbIdMapping& mapping, OdDbObject* owner,
                               bool isPrimary) const override;
    OdDbObjectPtr subWblockClone(OdDbIdMapping& mapping, OdDbObject* owner,
                                 bool isPrimary) const override;
    void appendToOwner(OdDbIdPair& pair, OdDbObject* owner, OdDbIdMapping& mapping) override;
    void cloneFinished(OdDbIdMapping& mapping) override;
    void copied(OdDbObject const* object, OdDbObject const* newObject) override;
    void modified(OdDbObject const* object) override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

    /// \name What a test wants to happen, and what happened; shared by all nodes
    /// @{
    /// Takes the place of the base operation, which it may call.
    static std::function<OdDbObjectPtr(CloneNode const&, OdDbIdMapping&, OdDbObject*, bool)>
        s_onClone;
    static std::function<void(CloneNode&, OdDbIdPair&, OdDbObject*)> s_onAppend;
    static std::function<void(CloneNode&, OdDbIdMapping&)> s_onFinished;
    static std::function<void(OdDb::FilerType, CloneNode const&)> s_onFiledOut;
    static std::vector<std::pair<OdDbObjectId, OdDbObjectId>> s_copied;
    static std::vector<std::pair<OdDbObjectId, OdDbObjectId>> s_modified;  ///< reactor, object
    static std::vector<std::pair<OdDbObjectId, OdDb::FilerType>> s_read;
    static void reset();
    /// @}
};

using CloneNodePtr = OdSmartPtr<CloneNode>;

/// Two empty drawings.
class CloneTest : public DatabaseTest
{
protected:
    CloneTest();
    ~CloneTest() override;
    void TearDown() override;

    OdDbObjectId addNode(std::int32_t number, OdDbObjectId owner = OdDbObjectId::kNull);
    OdDbObjectId addNodeTo(OdDbDatabase& db, std::int32_t number, OdDbObjectId owner = {});
    /// Makes `owner` own `owned`, by a reference of a kind and as its owner.
    static void own(OdDbObjectId owner, OdDbObjectId owned,
                    OdDb::ReferenceType type = OdDb::ReferenceType::kHardOwnershipRef);
    static void refer(OdDbObjectId from, OdDb::ReferenceType type, OdDbObjectId to);
    static OdDbObjectIdArray idsOf(OdDbObjectId id, OdDb::ReferenceType type);
    static OdDbObjectId addBlock(OdDbDatabase& db, OdString const& name);
    static OdDbObjectId addLine(OdDbObjectId block, double x);
    static OdDbObjectId addLayer(OdDbDatabase& db, OdString const& name,
                                 OdString const& description);
    static OdDbObjectIdArray entitiesOf(OdDbObjectId block);
    static OdDbObjectId recordOf(OdDbObjectId table, OdString const& name);
    static OdDbObjectId entryOf(OdDbObjectId dictionary, OdString const& name);
    static OdDbObjectId addDictionary(OdDbObjectId dictionary, OdString const& name);
    static OdDbObjectId ownerOf(OdDbObjectId id);
    /// Lists an object in an empty dictionary behind the back of all checks, as a damaged drawing may.
    static void forgeEntry(OdDbObjectId dictionary, OdString const& name, OdDbObjectId id);
    OdDbObjectId cloneOf(OdDbObjectId id) const;

    OdDbDatabasePtr m_other;
    OdDbIdMappingPtr m_mapping = OdDbIdMapping::createObject();
};

}  // namespace dbtest

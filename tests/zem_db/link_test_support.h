// What the tests of links share: a solid of numbered parts with a known truth, objects that watch
// links, and a host that makes links.

#pragma once

#include "db/od_db_block_table.h"
#include "db/od_db_database.h"
#include "db/od_db_entity.h"
#include "support/zem_module_scope.h"

#include "zem_db_object_dependency.h"
#include "zem_db_persid_manager.h"
#include "zem_protocol_extensions.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <ostream>
#include <utility>
#include <vector>

inline void PrintTo(OdDbObjectId const& id, std::ostream* out)
{
    *out << "id " << id.getHandle().ascii().utf8();
}

namespace link_test {

/// Which of a solid's parts: 0 faces, 1 edges, 2 vertices.
inline constexpr int kKinds = 3;
inline constexpr std::array kTypes = {OdDb::SubentType::kFaceSubentType,
                                      OdDb::SubentType::kEdgeSubentType,
                                      OdDb::SubentType::kVertexSubentType};

/// The kind of a type of parts; -1 for any other.
int kindOf(OdDb::SubentType type);

/// A solid without geometry. Its parts are numbered from 1, and each has a name that stays with it
/// however the numbers change: the truth that links are measured by.
class TestSolid : public OdDbEntity
{
    RX_DECLARE_CLASS(TestSolid);

public:
    using Names = std::vector<std::int32_t>;
    using Parts = std::array<Names, kKinds>;

    TestSolid();
    ~TestSolid() override;
    static OdSmartPtr<TestSolid> createObject();

    /// The names by number, for each kind.
    Parts const& parts() const;
    void setParts(Parts const& parts);
    /// The name of a part; 0 if there is none.
    std::int32_t nameOf(OdDbSubentId const& subent) const;

    OdDbEntityPtr subentPtr(OdDbFullSubentPath const& path) const override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

private:
    Parts m_parts;
};

using TestSolidPtr = OdSmartPtr<TestSolid>;

/// Watches links, as a feature does: it is a reactor of each link that it holds.
class TestWatcher : public OdDbObject
{
    RX_DECLARE_CLASS(TestWatcher);

public:
    TestWatcher();
    ~TestWatcher() override;
    static OdSmartPtr<TestWatcher> createObject();

    OdDbObjectIdArray const& links() const;
    /// Watches these links alone. Links that can't be opened any more are let go.
    void setLinks(OdDbObjectIdArray const& links);

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

private:
    OdDbObjectIdArray m_links;
};

using TestWatcherPtr = OdSmartPtr<TestWatcher>;
using LinkPtr = OdSmartPtr<ZemDbObjectDependency>;
using ManagerPtr = OdSmartPtr<ZemDbPersIdManager>;

/// A host's part in making links: paths that don't exist are dropped, a path that has a link already
/// keeps it, and others get a new one.
class TestLinkMaker : public ZemDbPersIdManagerPE
{
public:
    void validatePaths(ZemDbPersIdManager* manager, ZemSubentPathArray& paths,
                       OdDbDatabase* database) override;
    void collectExistingDependencies(ZemDbPersIdManager* manager, ZemSubentPathArray const& paths,
                                     OdDbObjectIdArray& ids) override;
    void remapDependency(ZemDbPersIdManager* manager, OdDbObjectId dependencyId,
                         OdDbFullSubentPath const& path) override;
    OdDbObjectIdArray createDependencies(ZemDbPersIdManager* manager,
                                         ZemSubentPathArray const& paths, OdDbUserIO* userIO,
                                         OdDbObjectIdArray& ids) override;

    int tag = 0;                     ///< of links that are made
    bool reusesLinks = true;         ///< whether a path that has a link keeps it
    std::vector<char const*> calls;  ///< in order
};

/// The platform, the module, the test classes and the host's part, for as long as this lives.
class LinkScope
{
public:
    LinkScope();
    LinkScope(LinkScope const&) = delete;
    LinkScope& operator=(LinkScope const&) = delete;
    ~LinkScope();

    TestLinkMaker& host() const noexcept { return *m_host; }
    /// Takes the host's part away, or brings it back.
    void attachHost(bool attached);

private:
    ZemModuleScope m_module;
    OdSmartPtr<TestLinkMaker> m_host;
};

/// \name Short ways
/// @{
OdDbFullSubentPath pathTo(OdDbObjectId solid, int kind, std::int64_t number);
/// Through a block reference.
OdDbFullSubentPath pathTo(OdDbObjectId reference, OdDbObjectId solid, int kind,
                          std::int64_t number);
OdDbObjectId addSolid(OdDbObjectId block, TestSolid::Parts const& parts);
/// A solid whose parts have their numbers as names, `count` of each kind.
OdDbObjectId addSolid(OdDbObjectId block, int count);
OdDbObjectId addBlock(OdDbDatabase& database, OdString const& name);
OdDbObjectId addReference(OdDbObjectId block, OdDbObjectId shown);
OdDbObjectId addWatcher(OdDbDatabase& database, OdDbObjectIdArray const& links);
LinkPtr openLink(OdDbObjectId id, OdDb::OpenMode mode = OdDb::kForRead);
/// A link's path, as far as it can be resolved.
OdDbFullSubentPath pathOf(OdDbObjectId link);
/// @}

}  // namespace link_test

// A drawing with a network, and short forms for what tests do with variables.

#pragma once

#include "assoc/od_db_assoc_dependency.h"
#include "assoc/od_db_assoc_network.h"
#include "assoc/od_db_assoc_variable.h"
#include "assoc/od_platform.h"
#include "db/db_test_support.h"

#include <string>
#include <vector>

namespace assoctest {

/// Comes before the drawing and goes behind it.
struct StartedPlatform
{
    OdPlatform platform;
};

/// An empty drawing whose model space has a network.
class AssocTest : private StartedPlatform, public dbtest::DatabaseTest
{
protected:
    AssocTest() : m_network(networkOf(m_db->getModelSpaceId())) {}

    static OdDbObjectId networkOf(OdDbObjectId block, bool create = true)
    {
        return OdDbAssocNetwork::getInstanceFromObject(block, create, true, OdString());
    }
    static OdDbAssocNetworkPtr network(OdDbObjectId id, OdDb::OpenMode mode = OdDb::kForWrite)
    {
        return id.safeOpenObject(mode);
    }
    static OdDbAssocVariablePtr read(OdDbObjectId id, bool openErased = false)
    {
        return id.safeOpenObject(OdDb::kForRead, openErased);
    }
    static OdDbAssocVariablePtr write(OdDbObjectId id)
    {
        return id.safeOpenObject(OdDb::kForWrite);
    }
    /// A new variable of the network; with an expression that has to be right, or none.
    OdDbObjectId add(OdString const& name, OdString const& expression = OdString())
    {
        return addTo(m_network, name, expression);
    }
    OdDbObjectId addTo(OdDbObjectId networkId, OdString const& name,
                       OdString const& expression = OdString())
    {
        const OdDbAssocVariablePtr variable = OdDbAssocVariable::createObject();
        const OdDbObjectId id = networkId.database()->addOdDbObject(variable.get(), networkId);
        EXPECT_EQ(network(networkId)->addAction(id, true), kOdOk);
        if (!name.isEmpty()) {
            EXPECT_EQ(variable->setName(name, false), kOdOk);
        }
        if (!expression.isEmpty()) {
            EXPECT_EQ(set(id, expression), kOdOk) << expression.utf8();
        }
        return id;
    }
    static OdResult set(OdDbObjectId id, OdString const& expression, bool refuseCycles = false)
    {
        return write(id)->setExpression(expression, "", refuseCycles, false, "", false);
    }
    /// Sets the value of a variable, which loses its expression.
    static OdResult setNumber(OdDbObjectId id, double value)
    {
        const OdDbAssocVariablePtr variable = write(id);
        const OdResult result = variable->setExpression("", "", false, false, "", false);
        return result != kOdOk ? result : variable->setValue(value);
    }
    static OdResult rename(OdDbObjectId id, OdString const& name, bool updateOthers = true)
    {
        return write(id)->setName(name, updateOthers);
    }
    static double valueOf(OdDbObjectId id)
    {
        double value = 0;
        EXPECT_TRUE(read(id)->value()->getNumber(value));
        return value;
    }
    static std::string textOf(OdDbObjectId id)
    {
        return std::string(read(id)->expression().utf8());
    }
    static std::string nameOf(OdDbObjectId id) { return std::string(read(id)->name().utf8()); }
    static OdDbObjectIdArray dependenciesOf(OdDbObjectId id)
    {
        OdDbObjectIdArray ids;
        EXPECT_EQ(read(id)->getDependencies(true, true, ids), kOdOk);
        return ids;
    }
    /// What the dependencies of a variable are attached to.
    static std::vector<OdDbObjectId> targetsOf(OdDbObjectId id)
    {
        std::vector<OdDbObjectId> targets;
        for (OdDbObjectId dependency : dependenciesOf(id)) {
            targets.push_back(
                OdDbAssocDependencyPtr(dependency.safeOpenObject())->dependentOnObject());
        }
        return targets;
    }
    std::vector<OdDbObjectId> actions()
    {
        const OdDbObjectIdArray ids = network(m_network, OdDb::kForRead)->getActions();
        return {ids.begin(), ids.end()};
    }
    OdDbObjectId find(OdString const& name)
    {
        return network(m_network, OdDb::kForRead)->findVariable(name);
    }
    int modifiedCount(OdDbObjectId reactorId)
    {
        return reactor(reactorId).count(dbtest::NoticeKind::kModified);
    }

    OdDbObjectId m_network;
};

}  // namespace assoctest

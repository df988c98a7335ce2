// Random object graphs: a clone is equal to its source, shares nothing that is owned with it, leaves it
// untouched, and is undone and done again.

#include "db/clone_test_support.h"

#include <rapidcheck/gtest.h>

#include <algorithm>
#include <set>

using namespace dbtest;

namespace {

/// References of one node, by numbers of nodes.
struct Node
{
    int parent = -1;  ///< of a lower number; -1 for a root
    bool isSoftOwned = false;
    bool isInDictionary = false;  ///< in the parent's extension dictionary
    std::vector<int> hardPointers;
    std::vector<int> softPointers;
    std::vector<int> reactors;
    std::int32_t number = 0;
};

std::vector<Node> anyGraph()
{
    const int size = *rc::gen::inRange(1, 25);
    std::vector<Node> nodes(static_cast<std::size_t>(size));
    const auto anyNodes = [&] {
        return *rc::gen::container<std::vector<int>>(rc::gen::inRange(0, size));
    };
    for (int index = 0; index < size; ++index) {
        Node& node = nodes[static_cast<std::size_t>(index)];
        node.parent = index == 0 ? -1 : *rc::gen::inRange(-1, index);
        node.isSoftOwned = *rc::gen::arbitrary<bool>();
        node.isInDictionary = node.parent >= 0 && *rc::gen::inRange(0, 4) == 0;
        node.hardPointers = anyNodes();
        node.softPointers = anyNodes();
        node.reactors = anyNodes();
        node.number = *rc::gen::arbitrary<std::int32_t>();
    }
    return nodes;
}

class CloneProperty : public CloneTest
{
protected:
    void TestBody() override {}

public:
    ~CloneProperty() override { TearDown(); }

    void build(std::vector<Node> const& nodes)
    {
        m_nodes = nodes;
        for (Node const& node : nodes) {
            m_ids.push_back(addBag(node.number));
        }
        for (std::size_t index = 0; index < nodes.size(); ++index) {
            Node const& node = nodes[index];
            writeBag(m_ids[index])
                ->setIds(OdDb::ReferenceType::kHardPointerRef, idsOfNodes(node.hardPointers));
            writeBag(m_ids[index])
                ->setIds(OdDb::ReferenceType::kSoftPointerRef, idsOfNodes(node.softPointers));
            for (const int reactor : node.reactors) {
                watch(m_ids[index], m_ids[static_cast<std::size_t>(reactor)]);
            }
            if (node.parent >= 0) {
                attach(index);
            }
        }
    }

    OdDbObjectIdArray roots() const
    {
        OdDbObjectIdArray ids;
        for (std::size_t index = 0; index < m_nodes.size(); ++index) {
            if (m_nodes[index].parent < 0 && index % 2 == 0) {
                ids.append(m_ids[index]);
            }
        }
        return ids;
    }

    /// Whether the clone of each node is what its source says, by an own walk over the graph.
    void check(bool isWblock, OdDbObjectId owner)
    {
        const std::set<std::size_t> expected = reachable(isWblock);
        for (std::size_t index = 0; index < m_ids.size(); ++index) {
            OdDbIdPair pair(m_ids[index]);
            const bool isCloned = m_mapping->compute(pair) && pair.isCloned();
            RC_ASSERT(isCloned == (expected.count(index) != 0));
            if (isCloned) {
                checkNode(index, pair, isWblock, owner);
            }
        }
    }

    OdDbDatabase& db() { return *m_db; }
    OdDbDatabase& other() { return *m_other; }
    OdDbIdMapping& mapping() { return *m_mapping; }
    OdDbObjectId newOwner(OdDbDatabase& db) { return addNodeTo(db, 0); }

private:
    OdDbObjectIdArray idsOfNodes(std::vector<int> const& numbers) const
    {
        OdDbObjectIdArray ids;
        for (const int number : numbers) {
            ids.append(m_ids[static_cast<std::size_t>(number)]);
        }
        return ids;
    }

    void attach(std::size_t index)
    {
        Node const& node = m_nodes[index];
        const OdDbObjectId parent = m_ids[static_cast<std::size_t>(node.parent)];
        if (!node.isInDictionary) {
            own(parent, m_ids[index],
                node.isSoftOwned ? OdDb::ReferenceType::kSoftOwnershipRef
                                 : OdDb::ReferenceType::kHardOwnershipRef);
            return;
        }
        writeBag(parent)->createExtensionDictionary();
        writeDictionary(readBag(parent)->extensionDictionary())
            ->setAt(OdString(L"entry"), writeBag(m_ids[index]).get());
        // An entry of that name is replaced and erased: only the last one stays.
    }

    std::set<std::size_t> reachable(bool isWblock) const
    {
        std::set<std::size_t> seen;
        std::vector<std::size_t> left;
        for (OdDbObjectId id : roots()) {
            left.push_back(numberOfId(id));
        }
        while (!left.empty()) {
            const std::size_t at = left.back();
            left.pop_back();
            if (m_ids[at].isErased() || !seen.insert(at).second) {
                continue;
            }
            for (std::size_t child = 0; child < m_nodes.size(); ++child) {
                if (m_nodes[child].parent == static_cast<int>(at)) {
                    left.push_back(child);
                }
            }
            for (const int target : m_nodes[at].hardPointers) {
                if (isWblock) {
                    left.push_back(static_cast<std::size_t>(target));
                }
            }
        }
        return seen;
    }

    std::size_t numberOfId(OdDbObjectId id) const
    {
        return static_cast<std::size_t>(std::find(m_ids.begin(), m_ids.end(), id) - m_ids.begin());
    }

    OdDbObjectId mapped(OdDbObjectId id, bool isWblock) const
    {
        OdDbIdPair pair(id);
        if (m_mapping->compute(pair)) {
            return pair.value();
        }
        return isWblock ? OdDbObjectId::kNull : id;
    }

    void checkNode(std::size_t index, OdDbIdPair const& pair, bool isWblock, OdDbObjectId owner)
    {
        const TestBagPtr source = readBag(m_ids[index]);
        const TestBagPtr copy = readBag(pair.value());
        RC_ASSERT(copy->number() == m_nodes[index].number);
        RC_ASSERT(copy->objectId() != source->objectId());
        for (const auto type :
             {OdDb::ReferenceType::kHardPointerRef, OdDb::ReferenceType::kSoftPointerRef}) {
            const OdDbObjectIdArray ids = source->ids(type);
            RC_ASSERT(copy->ids(type).size() == ids.size());
            for (unsigned at = 0; at < ids.size(); ++at) {
                RC_ASSERT(copy->ids(type).at(at) == mapped(ids.at(at), isWblock));
            }
        }
        for (const auto type :
             {OdDb::ReferenceType::kHardOwnershipRef, OdDb::ReferenceType::kSoftOwnershipRef}) {
            const OdDbObjectIdArray ids = source->ids(type);
            for (unsigned at = 0; at < ids.size(); ++at) {
                const OdDbObjectId owned = copy->ids(type).at(at);
                RC_ASSERT(owned != ids.at(at));
                RC_ASSERT(owned == mapped(ids.at(at), /*isWblock=*/true));
            }
        }
        OdDbObjectIdArray reactors;
        for (OdDbObjectId id : source->getPersistentReactors()) {
            const OdDbObjectId reactor = mapped(id, isWblock);
            if (!reactor.isNull()) {
                reactors.append(reactor);
            }
        }
        RC_ASSERT(copy->getPersistentReactors() == reactors);
        if (pair.isPrimary()) {
            RC_ASSERT(copy->ownerId() == owner);
        } else if (!source->ownerId().isNull()) {
            RC_ASSERT(copy->ownerId() == mapped(source->ownerId(), /*isWblock=*/true));
        }
    }

    std::vector<Node> m_nodes;
    std::vector<OdDbObjectId> m_ids;
};

RC_GTEST_PROP(CloneProperty, CloneOfARandomGraphIsEqualAndApart, ())
{
    const std::vector<Node> graph = anyGraph();
    const bool isWblock = *rc::gen::arbitrary<bool>();
    CloneProperty test;
    test.build(graph);
    OdDbDatabase& target = isWblock ? test.other() : test.db();
    const OdDbObjectId owner = test.newOwner(target);
    const DatabaseState source = stateOf(test.db());
    const DatabaseState before = livingStateOf(target);
    target.startUndoRecord();
    if (isWblock) {
        test.db().wblockCloneObjects(test.roots(), owner, test.mapping(),
                                     OdDb::DuplicateRecordCloning::kDrcIgnore);
    } else {
        test.db().deepCloneObjects(test.roots(), owner, test.mapping());
    }
    test.check(isWblock, owner);
    DatabaseState sourceNow = stateOf(test.db());
    std::erase_if(sourceNow, [&](auto const& entry) { return source.count(entry.first) == 0; });
    RC_ASSERT(sourceNow == source);
    const DatabaseState after = livingStateOf(target);
    RC_ASSERT(target.undo() == kOdOk);
    RC_ASSERT(livingStateOf(target) == before);
    RC_ASSERT(target.redo() == kOdOk);
    RC_ASSERT(livingStateOf(target) == after);
}

}  // namespace

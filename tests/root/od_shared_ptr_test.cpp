#include "root/od_shared_ptr.h"

#include <gtest/gtest.h>

namespace {

struct Node
{
    explicit Node(int number = 0) : value(number) { ++s_alive; }
    virtual ~Node() { --s_alive; }
    int value;

    static inline int s_alive = 0;
};

struct DerivedNode : Node
{
    using Node::Node;
};

class NodePtr : public OdSharedPtr<Node>
{
public:
    using OdSharedPtr<Node>::OdSharedPtr;
};

TEST(OdSharedPtr, IsNullWithoutObject)
{
    OdSharedPtr<Node> const pointer;
    EXPECT_TRUE(pointer.isNull());
    EXPECT_EQ(pointer.get(), nullptr);
    EXPECT_EQ(pointer.useCount(), 0);
    EXPECT_TRUE(OdSharedPtr<Node>(static_cast<Node*>(nullptr)) == nullptr);
}

TEST(OdSharedPtr, DeletesWithTheLastOwner)
{
    {
        OdSharedPtr<Node> first(new Node(3));
        OdSharedPtr<Node> const second = first;
        EXPECT_EQ(first.useCount(), 2);
        EXPECT_EQ(second->value, 3);
        EXPECT_EQ((*second).value, 3);
        EXPECT_EQ(first, second);
        first.reset();
        EXPECT_TRUE(first.isNull());
        EXPECT_EQ(second.useCount(), 1);
        EXPECT_EQ(Node::s_alive, 1);
    }
    EXPECT_EQ(Node::s_alive, 0);
}

TEST(OdSharedPtr, MovesWithoutCounting)
{
    OdSharedPtr<Node> first(new Node);
    OdSharedPtr<Node> const second = std::move(first);
    EXPECT_EQ(second.useCount(), 1);
}

TEST(OdSharedPtr, SurvivesAssignmentToItself)
{
    OdSharedPtr<Node> pointer(new Node(1));
    OdSharedPtr<Node> const& alias = pointer;
    pointer = alias;
    EXPECT_EQ(pointer->value, 1);
    EXPECT_EQ(pointer.useCount(), 1);
}

TEST(OdSharedPtr, SharesAnObjectOfADerivedClass)
{
    {
        OdSharedPtr<DerivedNode> derived(new DerivedNode(2));
        OdSharedPtr<Node> const base = derived;
        OdSharedPtr<Node const> const constant = base;
        EXPECT_EQ(base.useCount(), 3);
        derived.reset();
        EXPECT_EQ(constant->value, 2);
        EXPECT_EQ(constant, base);
    }
    EXPECT_EQ(Node::s_alive, 0);
}

TEST(OdSharedPtr, TakesAnotherObject)
{
    OdSharedPtr<Node> pointer(new Node(1));
    pointer.reset(new Node(2));
    EXPECT_EQ(pointer->value, 2);
    EXPECT_EQ(Node::s_alive, 1);
}

TEST(OdSharedPtr, ServesAsABase)
{
    NodePtr first(new Node(1));
    NodePtr const second = first;
    EXPECT_EQ(second.useCount(), 2);
    first = NodePtr();
    EXPECT_EQ(second.useCount(), 1);
}

}  // namespace

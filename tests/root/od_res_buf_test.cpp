#include "root/od_res_buf.h"

#include "root_test_support.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace {

/// A chain with one record of each kind of extended data.
OdResBufPtr makeExtendedData()
{
    OdResBufPtr const head = OdResBuf::newRb(OdResBuf::kXdAppName);
    head->setString(L"ZEM");
    auto const append = [&head](int groupCode) {
        OdResBufPtr const record = OdResBuf::newRb(groupCode);
        head->last()->setNext(record.get());
        return record;
    };
    append(OdResBuf::kXdString)->setString(L"text");
    append(OdResBuf::kXdControl)->setString(L"{");
    append(OdResBuf::kXdBinary)->setBinaryChunk({1, 2, 3});
    append(OdResBuf::kXdHandle)->setHandle(0x3F);
    append(OdResBuf::kXdPoint)->setPoint({1.0, 2.0, 3.0});
    append(OdResBuf::kXdReal)->setDouble(0.5);
    append(OdResBuf::kXdInt16)->setInt16(-7);
    append(OdResBuf::kXdInt32)->setInt32(70000);
    return head;
}

/// Registers the classes for as long as it lives, unless something else has.
class RegisteredClasses
{
public:
    RegisteredClasses()
        : m_root(OdRxObject::desc() == nullptr), m_resBuf(OdResBuf::desc() == nullptr)
    {
        if (m_root) {
            OdRxObject::rxInit();
        }
        if (m_resBuf) {
            OdResBuf::rxInit();
        }
    }
    RegisteredClasses(RegisteredClasses const&) = delete;
    RegisteredClasses& operator=(RegisteredClasses const&) = delete;
    ~RegisteredClasses()
    {
        if (m_resBuf) {
            OdResBuf::rxUninit();
        }
        if (m_root) {
            OdRxObject::rxUninit();
        }
    }

private:
    bool m_root;
    bool m_resBuf;
};

TEST(OdResBufKindOf, KnowsTheCodesOfExtendedData)
{
    struct Row
    {
        int code;
        OdResBuf::Kind kind;
    };
    constexpr Row kRows[] = {
        {1000, OdResBuf::Kind::kString}, {1001, OdResBuf::Kind::kString},
        {1002, OdResBuf::Kind::kString}, {1003, OdResBuf::Kind::kString},
        {1004, OdResBuf::Kind::kBinary}, {1005, OdResBuf::Kind::kHandle},
        {1006, OdResBuf::Kind::kNone},   {1010, OdResBuf::Kind::kPoint},
        {1013, OdResBuf::Kind::kPoint},  {1014, OdResBuf::Kind::kNone},
        {1040, OdResBuf::Kind::kDouble}, {1042, OdResBuf::Kind::kDouble},
        {1070, OdResBuf::Kind::kInt16},  {1071, OdResBuf::Kind::kInt32},
        {1072, OdResBuf::Kind::kNone},   {999, OdResBuf::Kind::kString},
        {1, OdResBuf::Kind::kString},    {5, OdResBuf::Kind::kHandle},
        {10, OdResBuf::Kind::kPoint},    {40, OdResBuf::Kind::kDouble},
        {70, OdResBuf::Kind::kInt16},    {90, OdResBuf::Kind::kInt32},
        {160, OdResBuf::Kind::kInt64},   {280, OdResBuf::Kind::kInt8},
        {290, OdResBuf::Kind::kBool},    {310, OdResBuf::Kind::kBinary},
        {330, OdResBuf::Kind::kHandle},  {-1, OdResBuf::Kind::kNone},
        {85, OdResBuf::Kind::kNone},     {5001, OdResBuf::Kind::kNone},
    };
    for (Row const& row : kRows) {
        EXPECT_EQ(OdResBuf::kindOf(row.code), row.kind) << row.code;
        bool const isXData = row.code >= 1000 && row.kind != OdResBuf::Kind::kNone;
        EXPECT_EQ(OdResBuf::isXDataCode(row.code), isXData) << row.code;
    }
}

TEST(OdResBuf, HoldsTheDefaultOfItsKindAtFirst)
{
    EXPECT_TRUE(OdResBuf::newRb(1000)->getString().isEmpty());
    EXPECT_TRUE(OdResBuf::newRb(1004)->getBinaryChunk().isEmpty());
    EXPECT_EQ(OdResBuf::newRb(1005)->getHandle(), 0U);
    EXPECT_EQ(OdResBuf::newRb(1010)->getPoint(), (OdResBuf::Point{0, 0, 0}));
    EXPECT_EQ(OdResBuf::newRb(1040)->getDouble(), 0.0);
    EXPECT_EQ(OdResBuf::newRb(1070)->getInt16(), 0);
    EXPECT_EQ(OdResBuf::newRb(1071)->getInt32(), 0);
    EXPECT_EQ(OdResBuf::newRb(160)->getInt64(), 0);
    EXPECT_EQ(OdResBuf::newRb(280)->getInt8(), 0);
    EXPECT_FALSE(OdResBuf::newRb(290)->getBool());
    EXPECT_EQ(OdResBuf::newRb(-1)->kind(), OdResBuf::Kind::kNone);
    EXPECT_EQ(OdResBuf::newRb()->restype(), 0);
}

TEST(OdResBuf, RefusesEveryOtherKind)
{
    using Use = std::function<void(OdResBuf&)>;
    struct Row
    {
        int code;
        Use set;
        Use get;
    };
    std::vector<Row> const rows = {
        {1000, [](OdResBuf& r) { r.setString(L"a"); }, [](OdResBuf& r) { (void)r.getString(); }},
        {290, [](OdResBuf& r) { r.setBool(true); }, [](OdResBuf& r) { (void)r.getBool(); }},
        {280, [](OdResBuf& r) { r.setInt8(1); }, [](OdResBuf& r) { (void)r.getInt8(); }},
        {1070, [](OdResBuf& r) { r.setInt16(1); }, [](OdResBuf& r) { (void)r.getInt16(); }},
        {1071, [](OdResBuf& r) { r.setInt32(1); }, [](OdResBuf& r) { (void)r.getInt32(); }},
        {160, [](OdResBuf& r) { r.setInt64(1); }, [](OdResBuf& r) { (void)r.getInt64(); }},
        {1040, [](OdResBuf& r) { r.setDouble(1); }, [](OdResBuf& r) { (void)r.getDouble(); }},
        {1010, [](OdResBuf& r) { r.setPoint({}); }, [](OdResBuf& r) { (void)r.getPoint(); }},
        {1005, [](OdResBuf& r) { r.setHandle(1); }, [](OdResBuf& r) { (void)r.getHandle(); }},
        {1004, [](OdResBuf& r) { r.setBinaryChunk({}); },
         [](OdResBuf& r) { (void)r.getBinaryChunk(); }},
    };
    for (Row const& record : rows) {
        for (Row const& use : rows) {
            OdResBufPtr const fixed = OdResBuf::newRb(record.code);
            OdResult const expected = record.code == use.code ? kOdOk : kOdWrongResBufType;
            EXPECT_EQ(thrownCode([&] { use.set(*fixed); }), expected) << record.code << use.code;
            EXPECT_EQ(thrownCode([&] { use.get(*fixed); }), expected) << record.code << use.code;
            OdResBufPtr const open = OdResBuf::newRb(-1);
            record.set(*open);
            EXPECT_EQ(thrownCode([&] { use.get(*open); }), expected) << record.code << use.code;
        }
    }
}

TEST(OdResBuf, TakesAnyKindUnderACodeThatStandsForNone)
{
    OdResBufPtr const record = OdResBuf::newRb(5001);
    record->setDouble(1.5);
    EXPECT_EQ(record->getDouble(), 1.5);
    record->setInt32(3);
    EXPECT_EQ(record->getInt32(), 3);
    EXPECT_EQ(thrownCode([&] { (void)record->getDouble(); }), kOdWrongResBufType);
}

TEST(OdResBuf, KeepsAFittingValueWhenItsCodeChanges)
{
    OdResBufPtr const record = OdResBuf::newRb(1000);
    record->setString(L"a");
    record->setRestype(1003);
    EXPECT_EQ(record->getString(), L"a");
    record->setRestype(-1);
    EXPECT_EQ(record->getString(), L"a");
    record->setRestype(1071);
    EXPECT_EQ(record->getInt32(), 0);
}

TEST(OdResBufChain, LinksRecords)
{
    OdResBufPtr const head = OdResBuf::newRb(1001);
    EXPECT_TRUE(head->next().isNull());
    EXPECT_EQ(head->last(), head);
    OdResBufPtr const second = OdResBuf::newRb(1000);
    head->setNext(second.get());
    EXPECT_EQ(head->next(), second);
    EXPECT_EQ(head->last(), second);
    EXPECT_EQ(second->numRefs(), 2);
    head->setNext(nullptr);
    EXPECT_EQ(second->numRefs(), 1);
    EXPECT_EQ(thrownCode([&] { head->setNext(head.get()); }), kOdCyclicReference);
}

TEST(OdResBufChain, NeverLeadsBackToItself)
{
    OdResBufPtr const first = OdResBuf::newRb(1);
    OdResBufPtr const second = OdResBuf::newRb(2);
    OdResBufPtr const third = OdResBuf::newRb(3);
    first->setNext(second.get());
    second->setNext(third.get());
    for (OdResBuf* const back : {first.get(), second.get(), third.get()}) {
        EXPECT_EQ(thrownCode([&] { third->setNext(back); }), kOdCyclicReference);
    }
    EXPECT_EQ(thrownCode([&] { first->setNext(first.get()); }), kOdCyclicReference);
    EXPECT_EQ(first->last(), third);
    EXPECT_TRUE(third->next().isNull());

    first->setNext(nullptr);
    third->setNext(first.get());
    EXPECT_EQ(second->last(), first);
}

TEST(OdResBufChain, OfAMillionRecordsIsBuiltFromItsEndAsWell)
{
    OdResBufPtr head = OdResBuf::newRb(1);
    for (int i = 0; i < 1000000; ++i) {
        OdResBufPtr const front = OdResBuf::newRb(1);
        front->setNext(head.get());
        head = front;
    }
    EXPECT_FALSE(head->next().isNull());
}

TEST(OdResBufChain, MayShareItsTail)
{
    OdResBufPtr const tail = OdResBuf::newRb(3);
    {
        OdResBufPtr const one = OdResBuf::newRb(1);
        OdResBufPtr const other = OdResBuf::newRb(2);
        one->setNext(tail.get());
        other->setNext(tail.get());
        EXPECT_EQ(thrownCode([&] { tail->setNext(other.get()); }), kOdCyclicReference);
    }
    OdResBufPtr const one = OdResBuf::newRb(1);
    tail->setNext(one.get());
    EXPECT_EQ(tail->last(), one);
}

TEST(OdResBufChain, OfAMillionRecordsEndsWithoutRecursion)
{
    OdResBufPtr head = OdResBuf::newRb(1001);
    OdResBufPtr end = head;
    for (int i = 0; i < 1000000; ++i) {
        OdResBufPtr const record = OdResBuf::newRb(1071);
        end->setNext(record.get());
        end = record;
    }
    end.release();
    OdResBufPtr const copy = head->cloneChain();
    EXPECT_TRUE(OdResBuf::areChainsEqual(head.get(), copy.get()));
    head->setNext(nullptr);
    head.release();
    EXPECT_EQ(copy->last()->restype(), 1071);
}

TEST(OdResBufChain, LeavesATailThatSomebodyHolds)
{
    OdResBufPtr head = makeExtendedData();
    OdResBufPtr const tail = head->next()->next();
    head.release();
    EXPECT_EQ(tail->getString(), L"{");
    EXPECT_EQ(tail->last()->getInt32(), 70000);
}

TEST(OdResBufChain, IsClonedAsAWhole)
{
    OdResBufPtr const head = makeExtendedData();
    OdResBufPtr const copy = head->cloneChain();
    EXPECT_NE(copy, head);
    EXPECT_NE(copy->next(), head->next());
    EXPECT_TRUE(OdResBuf::areChainsEqual(head.get(), copy.get()));
    copy->last()->setInt32(1);
    EXPECT_FALSE(OdResBuf::areChainsEqual(head.get(), copy.get()));
    EXPECT_EQ(head->last()->getInt32(), 70000);
}

TEST(OdResBufChain, DiffersFromAShorterOne)
{
    OdResBufPtr const head = makeExtendedData();
    OdResBufPtr const copy = head->cloneChain();
    copy->last()->setNext(OdResBuf::newRb(1000).get());
    EXPECT_FALSE(OdResBuf::areChainsEqual(head.get(), copy.get()));
    EXPECT_FALSE(OdResBuf::areChainsEqual(copy.get(), head.get()));
    EXPECT_FALSE(OdResBuf::areChainsEqual(head.get(), nullptr));
    EXPECT_TRUE(OdResBuf::areChainsEqual(nullptr, nullptr));
}

TEST(OdResBuf, IsClonedAndComparedAsAnObject)
{
    RegisteredClasses const classes;
    OdResBufPtr const record = makeExtendedData();
    OdResBufPtr const copy = record->clone();
    EXPECT_TRUE(copy->next().isNull());
    EXPECT_TRUE(record->isEqualTo(copy.get()));
    OdResBufPtr const other = OdResBuf::newRb(1071);
    EXPECT_FALSE(record->isEqualTo(other.get()));
    EXPECT_FALSE(record->isEqualTo(nullptr));
    other->copyFrom(record.get());
    EXPECT_TRUE(other->isEqualTo(record.get()));
    EXPECT_EQ(thrownCode([&] { other->copyFrom(nullptr); }), kOdNullObjectPointer);
    EXPECT_FALSE(OdResBuf::cast(odrxCreateObject(L"OdResBuf").get()).isNull());
}

}  // namespace

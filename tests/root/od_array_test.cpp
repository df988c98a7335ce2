#include "root/od_alloc.h"
#include "root/od_array.h"

#include "root_test_support.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <list>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

template <class T, class A>
std::vector<T> contents(OdArray<T, A> const& array)
{
    return {array.begin(), array.end()};
}

/// Counts its live objects and throws from a chosen copy on; moves may throw, so arrays copy it.
class Fragile
{
public:
    explicit Fragile(int value = 0) : m_value(value) { ++s_alive; }
    Fragile(Fragile const& other) : m_value(other.m_value)
    {
        if (s_copiesLeft == 0) {
            throw std::runtime_error("copy");
        }
        --s_copiesLeft;
        ++s_alive;
    }
    Fragile& operator=(Fragile const& other)
    {
        if (s_copiesLeft == 0) {
            throw std::runtime_error("copy");
        }
        --s_copiesLeft;
        m_value = other.m_value;
        return *this;
    }
    ~Fragile() { --s_alive; }

    int value() const { return m_value; }
    bool operator==(Fragile const& other) const = default;

    static inline int s_alive = 0;
    static inline int s_copiesLeft = -1;

private:
    int m_value;
};

std::vector<int> values(OdArray<Fragile> const& array)
{
    std::vector<int> result;
    for (Fragile const& element : array) {
        result.push_back(element.value());
    }
    return result;
}

TEST(OdArray, IsOnePointerThatIsNullWhileEmpty)
{
    EXPECT_EQ(sizeof(OdArray<int>), sizeof(void*));
    OdArray<int> const empty;
    EXPECT_TRUE(empty.isEmpty());
    EXPECT_EQ(empty.length(), 0U);
    EXPECT_EQ(empty.getPtr(), nullptr);
    EXPECT_EQ(empty.begin(), empty.end());
}

TEST(OdArray, SharesOneBufferUntilACopyIsChanged)
{
    OdArray<int> const original = {1, 2, 3};
    OdArray<int> copy = original;
    EXPECT_EQ(copy.getPtr(), original.getPtr());
    copy[1] = 20;
    EXPECT_EQ(contents(original), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(contents(copy), (std::vector<int>{1, 20, 3}));
}

TEST(OdArray, GetsItsOwnBufferForMutableAccess)
{
    OdArray<int> const original = {1, 2};
    OdArray<int> array = original;
    EXPECT_NE(array.begin(), original.begin());
    array = original;
    EXPECT_NE(array.asArrayPtr(), original.asArrayPtr());
    array = original;
    EXPECT_NE(&array.first(), &original.first());
    array = original;
    EXPECT_NE(&array.last(), &original.last());
    array = original;
    EXPECT_NE(&array.at(0), &original.at(0));
}

TEST(OdArray, KeepsItsBufferWhileNobodySharesIt)
{
    OdArray<int> array = {1, 2};
    int const* const buffer = array.getPtr();
    array[0] = 5;
    EXPECT_EQ(array.getPtr(), buffer);
    OdArray<int> const moved = std::move(array);
    EXPECT_EQ(moved.getPtr(), buffer);
}

TEST(OdArrayIndex, ThrowsPastTheEnd)
{
    OdArray<int> array = {1, 2};
    OdArray<int> const& constant = array;
    EXPECT_THROW((void)array[2], OdError_InvalidIndex);
    EXPECT_THROW((void)constant[2], OdError_InvalidIndex);
    EXPECT_THROW((void)array.at(2), OdError_InvalidIndex);
    EXPECT_THROW((void)constant.getAt(2), OdError_InvalidIndex);
    EXPECT_THROW(array.setAt(2, 0), OdError_InvalidIndex);
    EXPECT_THROW(array.insertAt(3, 0), OdError_InvalidIndex);
    EXPECT_THROW(array.removeAt(2), OdError_InvalidIndex);
    EXPECT_THROW(array.removeSubArray(0, 2), OdError_InvalidIndex);
    EXPECT_THROW(array.removeSubArray(2, 2), OdError_InvalidIndex);
    EXPECT_THROW(array.swap(0, 2), OdError_InvalidIndex);
    EXPECT_THROW((void)array[static_cast<unsigned>(-1)], OdError_InvalidIndex);
    EXPECT_EQ(contents(array), (std::vector<int>{1, 2}));
}

TEST(OdArrayIndex, ThrowsForTheEndsOfAnEmptyArray)
{
    OdArray<int> array;
    OdArray<int> const& constant = array;
    EXPECT_THROW((void)array.first(), OdError_InvalidIndex);
    EXPECT_THROW((void)array.last(), OdError_InvalidIndex);
    EXPECT_THROW((void)constant.first(), OdError_InvalidIndex);
    EXPECT_THROW((void)constant.last(), OdError_InvalidIndex);
    EXPECT_THROW(array.removeFirst(), OdError_InvalidIndex);
    EXPECT_THROW(array.removeLast(), OdError_InvalidIndex);
}

TEST(OdArrayRange, RefusesAnEndInFrontOfItsStart)
{
    OdArray<int> array = {1, 2, 3};
    EXPECT_EQ(thrownCode([&] { array.removeSubArray(2, 1); }), kOdInvalidInput);
    int const other[] = {1, 2};
    EXPECT_EQ(thrownCode([&] { array.append(other + 2, other); }), kOdInvalidInput);
    int const* const begin = array.cbegin();
    EXPECT_EQ(thrownCode([&] { array.erase(begin + 2, begin + 1); }), kOdInvalidInput);
    EXPECT_EQ(thrownCode([&] { array.setGrowLength(-1); }), kOdInvalidInput);
    EXPECT_EQ(array.size(), 3U);
}

TEST(OdArrayIterator, RefusesOneThatIsNotOfTheArray)
{
    OdArray<int> array = {1, 2, 3};
    OdArray<int> const other = {1, 2, 3};
    EXPECT_EQ(thrownCode([&] { array.insert(other.begin(), 5); }), kOdInvalidIterator);
    EXPECT_EQ(thrownCode([&] { array.insert(array.cend() + 1, 5); }), kOdInvalidIterator);
    EXPECT_EQ(thrownCode([&] { array.erase(array.cend()); }), kOdInvalidIterator);
    EXPECT_EQ(thrownCode([&] { array.erase(array.cbegin(), array.cend() + 1); }),
              kOdInvalidIterator);
    EXPECT_EQ(array.size(), 3U);
}

TEST(OdArrayMemory, RefusesWhatCanNotBeAllocated)
{
    struct Large
    {
        char bytes[1U << 20];
    };
    OdArray<Large> array;
    EXPECT_EQ(thrownCode([&] { array.reserve(0xFFFFFFFFU); }), kOdOutOfMemory);
    EXPECT_EQ(thrownCode([] { (void)OdArrayBuffer::make(2, SIZE_MAX / 2, 0); }), kOdOutOfMemory);
    EXPECT_TRUE(array.isEmpty());
}

TEST(OdArrayMemory, ReturnsEveryBlock)
{
    std::int64_t const before = odrxLiveBlocks();
    {
        OdArray<OdString> array;
        for (int i = 0; i < 100; ++i) {
            array.append(OdString().format(L"%d", i));
        }
        OdArray<OdString> copy = array;
        copy.removeSubArray(10, 50);
        array.clear();
    }
    EXPECT_EQ(odrxLiveBlocks(), before);
}

TEST(OdArrayResize, FillsWithZero)
{
    OdArray<int> array = {1, 2, 3};
    array.resize(1).resize(3);
    EXPECT_EQ(contents(array), (std::vector<int>{1, 0, 0}));
    OdArray<bool> flags;
    flags.resize(2);
    EXPECT_FALSE(flags[0] || flags[1]);
    OdBinaryData bytes;
    bytes.resize(3, 7);
    bytes.resize(4);
    EXPECT_EQ(contents(bytes), (std::vector<unsigned char>{7, 7, 7, 0}));
    OdArray<double, OdMemoryAllocator<double>> reals;
    EXPECT_EQ(reals.resize(1)[0], 0.0);
}

TEST(OdArrayResize, TakesItsOwnElementAsValue)
{
    OdArray<OdString> array = {L"a", L"b"};
    array.resize(5, array.getAt(1));
    EXPECT_EQ(array[4], L"b");
}

TEST(OdArrayGrow, KeepsRoomForTheStep)
{
    OdArray<int> array;
    array.setGrowLength(8);
    EXPECT_EQ(array.growLength(), 8);
    array.append(1);
    EXPECT_EQ(array.capacity(), 8U);
    array.append({2, 3, 4, 5, 6, 7, 8});
    array.append(9);
    EXPECT_EQ(array.capacity(), 16U);
}

TEST(OdArrayGrow, IsCheapForLongArraysWhateverTheStep)
{
    for (int const step : {0, 1, 8}) {
        OdArray<int> array(0, step);
        int moves = 0;
        int const* buffer = nullptr;
        for (int i = 0; i < 100000; ++i) {
            array.append(i);
            moves += static_cast<int>(array.getPtr() != buffer);
            buffer = array.getPtr();
        }
        EXPECT_LT(moves, 60) << step;
    }
}

TEST(OdArrayGrow, TakesNoSpareRoomForTheFirstElement)
{
    OdArray<int> array;
    array.append(1);
    EXPECT_EQ(array.capacity(), 1U);
}

TEST(OdArrayReserve, MakesRoomOnce)
{
    OdArray<int> array;
    array.reserve(100);
    int const* const buffer = array.getPtr();
    for (int i = 0; i < 100; ++i) {
        array.append(i);
    }
    EXPECT_EQ(array.getPtr(), buffer);
    array.reserve(10);
    EXPECT_EQ(array.capacity(), 100U);
}

TEST(OdArrayClear, KeepsStepAndBuffer)
{
    OdArray<int> array(10, 8);
    array.append(1);
    int const* const buffer = array.getPtr();
    array.clear();
    EXPECT_TRUE(array.isEmpty());
    EXPECT_EQ(array.getPtr(), buffer);

    array.append(1);
    OdArray<int> const copy = array;
    array.clear();
    EXPECT_EQ(copy.size(), 1U);
    EXPECT_TRUE(array.isEmpty());
    EXPECT_EQ(array.growLength(), 8);
}

TEST(OdArrayAppend, TakesItsOwnElements)
{
    OdArray<OdString> array = {L"a", L"b"};
    for (int i = 0; i < 20; ++i) {
        array.append(array.getAt(0));
        array.insertAt(1, array.getAt(array.size() - 1));
    }
    EXPECT_EQ(array.size(), 42U);
    EXPECT_EQ(array.last(), L"a");
    array.append(array);
    EXPECT_EQ(array.size(), 84U);
    EXPECT_EQ(array[42], L"a");
}

TEST(OdArrayAppend, SharesTheBufferWhenItHadNone)
{
    OdArray<int> const source = {1, 2};
    OdArray<int> array;
    array.append(source);
    EXPECT_EQ(array.getPtr(), source.getPtr());
}

TEST(OdArrayInsert, TakesRangesOfEveryKind)
{
    OdArray<int> array = {1, 5};
    std::list<int> const list = {2, 3};
    auto const* const inserted = array.insert(array.cbegin() + 1, list.begin(), list.end());
    EXPECT_EQ(*inserted, 2);
    std::istringstream stream("4");
    array.insert(array.cbegin() + 3, std::istream_iterator<int>(stream),
                 std::istream_iterator<int>());
    EXPECT_EQ(contents(array), (std::vector<int>{1, 2, 3, 4, 5}));
    array.insert(array.cbegin(), array.cbegin(), array.cend());
    EXPECT_EQ(contents(array), (std::vector<int>{1, 2, 3, 4, 5, 1, 2, 3, 4, 5}));
    array.insert(array.cend(), 2U, array.getAt(0));
    EXPECT_EQ(array.size(), 12U);
    EXPECT_EQ(array.last(), 1);
    EXPECT_EQ(array.insert(array.cbegin(), list.begin(), list.begin()), array.cbegin());
}

TEST(OdArrayFind, SearchesFromAnIndexOn)
{
    OdArray<int> const array = {1, 2, 1};
    unsigned index = 77;
    EXPECT_TRUE(array.find(1, index));
    EXPECT_EQ(index, 0U);
    EXPECT_TRUE(array.find(1, index, 1));
    EXPECT_EQ(index, 2U);
    EXPECT_FALSE(array.find(1, index, 3));
    EXPECT_FALSE(array.find(1, index, 300));
    EXPECT_FALSE(array.find(9, index));
    EXPECT_EQ(index, 2U);
    EXPECT_TRUE(array.contains(2));
    EXPECT_FALSE(array.contains(2, 2));
}

TEST(OdArrayRemove, TakesTheFirstEqualElement)
{
    OdArray<int> array = {1, 2, 1};
    EXPECT_TRUE(array.remove(1, 1));
    EXPECT_EQ(contents(array), (std::vector<int>{1, 2}));
    EXPECT_FALSE(array.remove(9));
    EXPECT_TRUE(array.remove(array.getAt(0)));
    EXPECT_EQ(contents(array), (std::vector<int>{2}));
}

TEST(OdArrayRemove, LeavesSharersAlone)
{
    OdArray<OdString> const original = {L"a", L"b", L"c"};
    OdArray<OdString> array = original;
    array.removeSubArray(0, 1);
    EXPECT_EQ(contents(array), (std::vector<OdString>{L"c"}));
    EXPECT_EQ(original.size(), 3U);
    array = original;
    EXPECT_EQ(*array.erase(array.cbegin()), L"b");
    auto const* const behind = array.erase(array.cbegin(), array.cend());
    EXPECT_EQ(behind, array.cend());
    EXPECT_TRUE(array.isEmpty());
}

TEST(OdArrayOrder, ReversesAndSwaps)
{
    OdArray<int> const original = {1, 2, 3};
    OdArray<int> array = original;
    array.reverse().swap(0, 1);
    EXPECT_EQ(contents(array), (std::vector<int>{2, 3, 1}));
    EXPECT_EQ(original[0], 1);
    EXPECT_TRUE(OdArray<int>().reverse().isEmpty());
    OdArray<int> other = {9};
    other.swap(array);
    EXPECT_EQ(array[0], 9);
}

TEST(OdArrayEquality, ComparesContents)
{
    OdArray<int> const array = {1, 2};
    EXPECT_EQ(array, (OdArray<int>{1, 2}));
    EXPECT_NE(array, (OdArray<int>{1, 3}));
    EXPECT_NE(array, (OdArray<int>{1}));
    EXPECT_EQ(OdArray<int>(), OdArray<int>(5));
}

TEST(OdArrayOfBool, IsAPlainArray)
{
    OdArray<bool> flags = {true, false};
    bool* const data = flags.asArrayPtr();
    data[1] = true;
    EXPECT_TRUE(flags.getAt(1));
}

/// Runs one operation with copies failing from the first, the second, ... on until it succeeds.
template <class Operation>
void failAtEachCopy(bool shared, Operation operation)
{
    for (int copies = 0;; ++copies) {
        ASSERT_EQ(Fragile::s_alive, 0) << copies;
        Fragile::s_copiesLeft = -1;
        OdArray<Fragile> array;
        array.reserve(6);
        for (int i = 0; i < 5; ++i) {
            array.append(Fragile(i));
        }
        OdArray<Fragile> const sharer = shared ? array : OdArray<Fragile>();
        std::vector<int> const before = values(array);
        Fragile::s_copiesLeft = copies;
        try {
            operation(array);
            Fragile::s_copiesLeft = -1;
            return;
        } catch (std::runtime_error const&) {
            ASSERT_EQ(values(array), before) << copies;
        }
        ASSERT_LT(copies, 100);
    }
}

TEST(OdArrayFailure, LeavesTheArrayAsItWas)
{
    for (bool const shared : {false, true}) {
        failAtEachCopy(shared, [](OdArray<Fragile>& a) { a.append(Fragile(9)); });
        failAtEachCopy(shared, [](OdArray<Fragile>& a) { a.append(a); });
        failAtEachCopy(shared, [](OdArray<Fragile>& a) { a.insertAt(1, Fragile(9)); });
        failAtEachCopy(shared, [](OdArray<Fragile>& a) { a.insert(a.cbegin(), 3U, Fragile(9)); });
        failAtEachCopy(shared, [](OdArray<Fragile>& a) { a.removeAt(1); });
        failAtEachCopy(shared, [](OdArray<Fragile>& a) { a.removeSubArray(0, 2); });
        failAtEachCopy(shared, [](OdArray<Fragile>& a) { a.resize(2); });
        failAtEachCopy(shared, [](OdArray<Fragile>& a) { a.resize(20, Fragile(9)); });
        failAtEachCopy(shared, [](OdArray<Fragile>& a) { a.reserve(100); });
        failAtEachCopy(shared, [](OdArray<Fragile>& a) { a.setAt(1, Fragile(9)); });
        failAtEachCopy(shared, [](OdArray<Fragile>& a) { (void)a.begin(); });
        failAtEachCopy(shared, [](OdArray<Fragile>& a) { a.clear(); });
    }
    EXPECT_EQ(Fragile::s_alive, 0);
}

TEST(OdArrayThreads, MayChangeTheirOwnCopies)
{
    OdArray<OdString> const original = {L"a", L"b"};
    auto const work = [copy = original]() mutable {
        for (int i = 0; i < 5000; ++i) {
            OdArray<OdString> mine = copy;
            mine.append(L"c");
            EXPECT_EQ(mine.size(), 3U);
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    EXPECT_EQ(original.size(), 2U);
}

template <class T>
T valueOf(int number);
template <>
int valueOf<int>(int number)
{
    return number;
}
template <>
std::string valueOf<std::string>(int number)
{
    return std::to_string(number) + " with text too long for the object itself";
}

/// One random change of an array and its model.
template <class T, class A>
void changeBoth(OdArray<T, A>& array, std::vector<T>& model)
{
    auto const size = static_cast<unsigned>(model.size());
    auto const index = *rc::gen::inRange<unsigned>(0, size + 1);
    auto const end = *rc::gen::inRange<unsigned>(index, size + 1);
    T const value = valueOf<T>(*rc::gen::inRange(0, 5));
    auto const at = model.begin() + index;
    switch (*rc::gen::inRange(0, 12)) {
    case 0:
        array.append(value);
        model.push_back(value);
        break;
    case 1:
        array.insertAt(index, value);
        model.insert(at, value);
        break;
    case 2: {
        std::vector<T> const range(3, value);
        array.insert(array.cbegin() + index, range.begin(), range.end());
        model.insert(at, range.begin(), range.end());
        break;
    }
    case 3:
        array.erase(array.cbegin() + index, array.cbegin() + end);
        model.erase(at, model.begin() + end);
        break;
    case 4:
        array.resize(end);
        model.resize(end);
        break;
    case 5:
        array.resize(size + 2, value);
        model.resize(size + 2, value);
        break;
    case 6: {
        auto const found = std::find(at, model.end(), value);
        RC_ASSERT(array.remove(value, index) == (found != model.end()));
        if (found != model.end()) {
            model.erase(found);
        }
        break;
    }
    case 7:
        array.reverse();
        std::reverse(model.begin(), model.end());
        break;
    case 8:
        if (index < size) {
            array[index] = value;
            model[index] = value;
        }
        break;
    case 9: {
        array.append(array);
        std::vector<T> const copy = model;
        model.insert(model.end(), copy.begin(), copy.end());
        break;
    }
    case 10:
        if (end > index) {
            array.insertAt(index, array.getAt(end - 1));
            model.insert(at, T(model[end - 1]));
        }
        break;
    default:
        array.reserve(end * 2);
        break;
    }
}

/// Several sharers change in turn; each one keeps equal to its own model.
template <class T, class A>
void actLikeVectors()
{
    std::vector<OdArray<T, A>> arrays(3);
    std::vector<std::vector<T>> models(3);
    auto const steps = *rc::gen::inRange(1, 30);
    for (int step = 0; step < steps; ++step) {
        auto const i = *rc::gen::inRange<std::size_t>(0, arrays.size());
        if (*rc::gen::inRange(0, 4) == 0) {
            auto const j = *rc::gen::inRange<std::size_t>(0, arrays.size());
            arrays[i] = arrays[j];
            models[i] = models[j];
        } else if (models[i].size() < 200) {
            changeBoth(arrays[i], models[i]);
        }
        for (std::size_t k = 0; k < arrays.size(); ++k) {
            RC_ASSERT(contents(arrays[k]) == models[k]);
        }
    }
}

RC_GTEST_PROP(OdArrayProperties, ActsLikeAVectorWithObjects, ())
{
    actLikeVectors<std::string, OdObjectsAllocator<std::string>>();
}

RC_GTEST_PROP(OdArrayProperties, ActsLikeAVectorWithBytes, ())
{
    actLikeVectors<int, OdMemoryAllocator<int>>();
}

}  // namespace

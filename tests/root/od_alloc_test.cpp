#include "root/od_alloc.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

class Alloc : public testing::Test
{
protected:
    Alloc() : m_before(odrxLiveBlocks()) {}
    std::int64_t blocks() const { return odrxLiveBlocks() - m_before; }

private:
    std::int64_t m_before;
};

TEST_F(Alloc, GivesBlocksThatCanBeWrittenAndCounted)
{
    auto* block = static_cast<unsigned char*>(odrxAlloc(100));
    ASSERT_NE(block, nullptr);
    std::memset(block, 0xA5, 100);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0U);
    EXPECT_EQ(blocks(), 1);
    odrxFree(block);
    EXPECT_EQ(blocks(), 0);
}

TEST_F(Alloc, GivesUniqueBlocksForNoBytes)
{
    void* first = odrxAlloc(0);
    void* second = odrxAlloc(0);
    EXPECT_NE(first, nullptr);
    EXPECT_NE(first, second);
    odrxFree(first);
    odrxFree(second);
}

TEST_F(Alloc, FreesNothingHarmlessly)
{
    odrxFree(nullptr);
    EXPECT_EQ(blocks(), 0);
}

TEST_F(Alloc, AnswersNullWhenThereIsNoMemory)
{
    EXPECT_EQ(odrxAlloc(std::numeric_limits<std::size_t>::max() / 2), nullptr);
    EXPECT_EQ(odrxAllocAligned(std::numeric_limits<std::size_t>::max(), 64), nullptr);
    EXPECT_EQ(odrxAllocAligned(std::numeric_limits<std::size_t>::max() - 10, 64), nullptr);
    EXPECT_EQ(blocks(), 0);
}

TEST_F(Alloc, AlignsAsAsked)
{
    for (std::size_t alignment :
         {std::size_t{1}, std::size_t{8}, std::size_t{64}, std::size_t{4096}}) {
        for (std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{65}}) {
            void* block = odrxAllocAligned(size, alignment);
            ASSERT_NE(block, nullptr);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignment, 0U);
            std::memset(block, 1, size);
            odrxFree(block);
        }
    }
    EXPECT_EQ(blocks(), 0);
}

TEST_F(Alloc, ResizesAndKeepsTheBytesThatFit)
{
    auto* block = static_cast<char*>(odrxRealloc(nullptr, 4, 0));
    ASSERT_NE(block, nullptr);
    std::memcpy(block, "abcd", 4);
    block = static_cast<char*>(odrxRealloc(block, 1000, 4));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(std::memcmp(block, "abcd", 4), 0);
    block = static_cast<char*>(odrxRealloc(block, 2, 1000));
    EXPECT_EQ(std::memcmp(block, "ab", 2), 0);
    block = static_cast<char*>(odrxRealloc(block, 0, 2));
    EXPECT_NE(block, nullptr);
    EXPECT_EQ(blocks(), 1);
    odrxFree(block);
    EXPECT_EQ(blocks(), 0);
}

TEST_F(Alloc, LeavesABlockThatCannotGrow)
{
    auto* block = static_cast<char*>(odrxAlloc(4));
    std::memcpy(block, "abcd", 4);
    EXPECT_EQ(odrxRealloc(block, std::numeric_limits<std::size_t>::max() / 2, 4), nullptr);
    EXPECT_EQ(std::memcmp(block, "abcd", 4), 0);
    EXPECT_EQ(blocks(), 1);
    odrxFree(block);
}

TEST_F(Alloc, GoesTogetherWithTheProcessesOwnAllocator)
{
    std::free(odrxAlloc(50));
    odrxFree(std::malloc(50));
    EXPECT_EQ(blocks(), 0);
}

}  // namespace

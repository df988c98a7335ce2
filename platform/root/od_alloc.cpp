#include "root/od_alloc.h"

#include <atomic>
#include <cstdlib>

namespace {

// Counted beside the blocks, since a header in front of them would break `free`.
std::atomic<std::int64_t> g_liveBlocks{0};

void* counted(void* block) noexcept
{
    if (block != nullptr) {
        g_liveBlocks.fetch_add(1, std::memory_order_relaxed);
    }
    return block;
}

}  // namespace

void* odrxAlloc(std::size_t size) noexcept
{
    return counted(std::malloc(size != 0 ? size : 1));
}

void* odrxAllocAligned(std::size_t size, std::size_t alignment) noexcept
{
    if (alignment <= alignof(std::max_align_t)) {
        return odrxAlloc(size);
    }
    const std::size_t rounded = (size + alignment - 1) & ~(alignment - 1);
    if (rounded < size) {
        return nullptr;
    }
    return counted(std::aligned_alloc(alignment, rounded != 0 ? rounded : alignment));
}

void* odrxRealloc(void* block, std::size_t newSize, std::size_t /*oldSize*/) noexcept
{
    if (block == nullptr) {
        return odrxAlloc(newSize);
    }
    return std::realloc(block, newSize != 0 ? newSize : 1);
}

void odrxFree(void* block) noexcept
{
    if (block == nullptr) {
        return;
    }
    g_liveBlocks.fetch_sub(1, std::memory_order_relaxed);
    std::free(block);
}

std::int64_t odrxLiveBlocks() noexcept
{
    return g_liveBlocks.load(std::memory_order_relaxed);
}

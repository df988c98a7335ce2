// The platform's allocator: every module allocates here, so memory may be freed on either side.

#pragma once

#include <cstddef>
#include <cstdint>

/// Allocates `size` bytes, aligned for any object without extended alignment.
///
/// The block carries no header and may be given to `free` as well: code inlined into a module
/// frees blocks that the standard library's own file has allocated, and the other way round.
///
/// \param size  Bytes; 0 gives a unique block that is not null.
/// \return The block, or null if there is no memory. Freed by `odrxFree`.
void* odrxAlloc(std::size_t size) noexcept;

/// Allocates `size` bytes at a multiple of `alignment`, a power of two; freed by `odrxFree`.
void* odrxAllocAligned(std::size_t size, std::size_t alignment) noexcept;

/// Changes the size of a block; the first min(newSize, oldSize) bytes are kept.
///
/// \param block    From `odrxAlloc`, or null for a new block.
/// \param newSize  Bytes wanted; 0 gives a unique block that is not null.
/// \param oldSize  Bytes that the block was asked for with.
/// \return The block, perhaps elsewhere; null if there is no memory, and `block` is then as before.
void* odrxRealloc(void* block, std::size_t newSize, std::size_t oldSize) noexcept;

/// Frees a block of the three functions above; null is allowed.
void odrxFree(void* block) noexcept;

/// Blocks given out by the allocator less blocks taken back by it, for leak tests.
///
/// Blocks that cross to `malloc` or `free` are counted on one side only, so the number may drift
/// where the standard library's own file is involved; equal calls drift equally.
std::int64_t odrxLiveBlocks() noexcept;

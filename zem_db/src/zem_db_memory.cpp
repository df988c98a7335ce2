// The module's own allocation functions: all memory of the module comes from the platform.
//
// The linker keeps them local to the module's file. Every form is here, also the sized and aligned
// ones that a compiler may choose, so that no block of the module takes another way.

#include "root/od_alloc.h"

#include <new>

namespace {

void* orThrow(void* block)
{
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void* allocate(std::size_t size, std::align_val_t alignment) noexcept
{
    return odrxAllocAligned(size, static_cast<std::size_t>(alignment));
}

void freeBlock(void* block) noexcept
{
    if (block != nullptr) {
        odrxFree(block);
    }
}

}  // namespace

void* operator new(std::size_t size)
{
    return orThrow(odrxAlloc(size));
}

void* operator new[](std::size_t size)
{
    return orThrow(odrxAlloc(size));
}

void* operator new(std::size_t size, std::nothrow_t const& /*tag*/) noexcept
{
    return odrxAlloc(size);
}

void* operator new[](std::size_t size, std::nothrow_t const& /*tag*/) noexcept
{
    return odrxAlloc(size);
}

void* operator new(std::size_t size, std::align_val_t alignment)
{
    return orThrow(allocate(size, alignment));
}

void* operator new[](std::size_t size, std::align_val_t alignment)
{
    return orThrow(allocate(size, alignment));
}

void* operator new(std::size_t size, std::align_val_t alignment,
                   std::nothrow_t const& /*tag*/) noexcept
{
    return allocate(size, alignment);
}

void* operator new[](std::size_t size, std::align_val_t alignment,
                     std::nothrow_t const& /*tag*/) noexcept
{
    return allocate(size, alignment);
}

void operator delete(void* block) noexcept
{
    freeBlock(block);
}

void operator delete[](void* block) noexcept
{
    freeBlock(block);
}

void operator delete(void* block, std::nothrow_t const& /*tag*/) noexcept
{
    freeBlock(block);
}

void operator delete[](void* block, std::nothrow_t const& /*tag*/) noexcept
{
    freeBlock(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept
{
    freeBlock(block);
}

void operator delete[](void* block, std::size_t /*size*/) noexcept
{
    freeBlock(block);
}

void operator delete(void* block, std::align_val_t /*alignment*/) noexcept
{
    freeBlock(block);
}

void operator delete[](void* block, std::align_val_t /*alignment*/) noexcept
{
    freeBlock(block);
}

void operator delete(void* block, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept
{
    freeBlock(block);
}

void operator delete[](void* block, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept
{
    freeBlock(block);
}

void operator delete(void* block, std::align_val_t /*alignment*/,
                     std::nothrow_t const& /*tag*/) noexcept
{
    freeBlock(block);
}

void operator delete[](void* block, std::align_val_t /*alignment*/,
                       std::nothrow_t const& /*tag*/) noexcept
{
    freeBlock(block);
}

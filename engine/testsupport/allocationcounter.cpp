#include "engine/testsupport/allocationcounter.h"

#include <cstddef>
#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QEL_HOOK_MALLOC 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QEL_HOOK_MALLOC 0
#endif
#endif
#ifndef QEL_HOOK_MALLOC
#define QEL_HOOK_MALLOC 1
#endif

namespace
{

// Constant-initialised, so that reading them inside an allocation never allocates itself.
thread_local bool counting = false;
thread_local int64_t allocationCount = 0;
thread_local int64_t freeCount = 0;

inline void countAllocation()
{
    if (counting)
        ++allocationCount;
}

inline void countFree(void* pointer)
{
    if (counting && pointer)
        ++freeCount;
}

void* allocate(std::size_t size)
{
    countAllocation();
    if (void* pointer = std::malloc(size ? size : 1))
        return pointer;
    throw std::bad_alloc();
}

void* allocateAligned(std::size_t size, std::align_val_t alignment)
{
    countAllocation();
    const std::size_t align = static_cast<std::size_t>(alignment);
    const std::size_t rounded = ((size ? size : 1) + align - 1) / align * align;
    if (void* pointer = std::aligned_alloc(align, rounded))
        return pointer;
    throw std::bad_alloc();
}

void release(void* pointer)
{
    countFree(pointer);
    std::free(pointer);
}

} // namespace

#if QEL_HOOK_MALLOC
extern "C"
{
    void* __libc_malloc(std::size_t);
    void* __libc_calloc(std::size_t, std::size_t);
    void* __libc_realloc(void*, std::size_t);
    void __libc_free(void*);

    // The operator new above calls malloc, so one new counts twice; the counter only has to
    // be zero where it matters.
    void* malloc(std::size_t size)
    {
        countAllocation();
        return __libc_malloc(size);
    }
    void* calloc(std::size_t count, std::size_t size)
    {
        countAllocation();
        return __libc_calloc(count, size);
    }
    void* realloc(void* pointer, std::size_t size)
    {
        countAllocation();
        return __libc_realloc(pointer, size);
    }
    void free(void* pointer)
    {
        countFree(pointer);
        __libc_free(pointer);
    }
}
#endif

void* operator new(std::size_t size)
{
    return allocate(size);
}
void* operator new[](std::size_t size)
{
    return allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    try
    {
        return allocate(size);
    }
    catch (...)
    {
        return nullptr;
    }
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    try
    {
        return allocate(size);
    }
    catch (...)
    {
        return nullptr;
    }
}
void* operator new(std::size_t size, std::align_val_t alignment)
{
    return allocateAligned(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment)
{
    return allocateAligned(size, alignment);
}
void operator delete(void* pointer) noexcept
{
    release(pointer);
}
void operator delete[](void* pointer) noexcept
{
    release(pointer);
}
void operator delete(void* pointer, std::size_t) noexcept
{
    release(pointer);
}
void operator delete[](void* pointer, std::size_t) noexcept
{
    release(pointer);
}
void operator delete(void* pointer, std::align_val_t) noexcept
{
    release(pointer);
}
void operator delete[](void* pointer, std::align_val_t) noexcept
{
    release(pointer);
}
void operator delete(void* pointer, std::size_t, std::align_val_t) noexcept
{
    release(pointer);
}
void operator delete[](void* pointer, std::size_t, std::align_val_t) noexcept
{
    release(pointer);
}

namespace Quillmark::testing
{

void AllocationCounter::start()
{
    allocationCount = 0;
    freeCount = 0;
    counting = true;
}

void AllocationCounter::stop()
{
    counting = false;
}

int64_t AllocationCounter::allocations()
{
    return allocationCount;
}

int64_t AllocationCounter::frees()
{
    return freeCount;
}

bool AllocationCounter::countsMalloc()
{
    return QEL_HOOK_MALLOC != 0;
}

} // namespace Quillmark::testing

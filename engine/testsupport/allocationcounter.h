// Counts the heap allocations and frees of one thread, so that a test can prove that the audio
// thread renders without touching the heap. Linking this library into a test program replaces
// operator new and delete for the whole program, and, outside sanitizer builds (whose runtime
// owns malloc), malloc, calloc, realloc and free as well. Counting is per thread and off until a
// thread turns it on.
#pragma once

#include <cstdint>

namespace Quillmark::testing
{

class AllocationCounter
{
public:
    /** Starts counting on the calling thread from zero. */
    static void start();
    /** Stops counting on the calling thread. */
    static void stop();
    /** Allocations (new, malloc, calloc, realloc) since start on the calling thread. */
    static int64_t allocations();
    /** Frees (delete, free) since start on the calling thread. */
    static int64_t frees();
    /** Whether the C allocation functions are counted too, not only new and delete. */
    static bool countsMalloc();
};

/** Counts the calling thread's allocations for the life of the object. */
class CountAllocations
{
public:
    CountAllocations() { AllocationCounter::start(); }
    ~CountAllocations() { AllocationCounter::stop(); }
    CountAllocations(const CountAllocations&) = delete;
    CountAllocations& operator=(const CountAllocations&) = delete;
    int64_t allocations() const { return AllocationCounter::allocations(); }
    int64_t frees() const { return AllocationCounter::frees(); }
};

} // namespace Quillmark::testing

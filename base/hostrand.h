// The host's rand(): 0 to 32767, never seeded, the same sequence on every platform, so a
// pattern randomised here is the one a user of the original sees. The C library's rand is
// 31-bit on Linux and is not used.
#pragma once

#include "qel3/funknown.h"

#include <atomic>

namespace Quillmark
{

inline constexpr int32 kHostRandMax = 32767;

/** The next number of the process-wide sequence (a linear congruential generator). */
inline int32 hostRand()
{
    static std::atomic<uint32> state{1};
    uint32 current = state.load(std::memory_order_relaxed);
    uint32 next = 0;
    do
        next = current * 214013u + 2531011u;
    while (!state.compare_exchange_weak(current, next, std::memory_order_relaxed));
    return int32((next >> 16) & 0x7FFF);
}

} // namespace Quillmark

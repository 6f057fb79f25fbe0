// The random numbers of the conformity tests: one process-wide, never seeded sequence of 0 to
// 32767, so that a run draws the same numbers each time the program starts and a failure can be
// repeated. Used on the test thread only.
#pragma once

#include "qel3/qeltypes.h"

namespace Quillmark
{
namespace Qel
{

inline constexpr int32 kTestRandomMax = 32767;

/** The next number of the sequence, 0 to kTestRandomMax. */
inline int32 testRandom()
{
    // A linear congruential generator with the classic constants and 15 bits taken from the
    // upper half: the range and the repeatability of a runtime's rand, the same on every
    // platform.
    static uint32 state = 1;
    state = state * 214013u + 2531011u;
    return int32((state >> 16) & 0x7FFF);
}

} // namespace Qel
} // namespace Quillmark

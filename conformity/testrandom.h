// The random numbers of the conformity tests: one process-wide sequence of 0 to 32767 that starts
// at the same place in every run, so that a run draws the same numbers each time the program
// starts and a failure can be repeated. Its state is the whole of its position: a run reads it
// to tell where a test began, and sets it to repeat that test alone. Used on the test thread
// only.
#pragma once

#include "qel3/qeltypes.h"

namespace Quillmark
{
namespace Qel
{

inline constexpr int32 kTestRandomMax = 32767;
/** The state of a sequence that was never seeded. */
inline constexpr uint32 kTestRandomStart = 1;

/** The sequence's state; set it to go on from a position read before. */
inline uint32& testRandomState()
{
    static uint32 state = kTestRandomStart;
    return state;
}

/** The next number of the sequence, 0 to kTestRandomMax. */
inline int32 testRandom()
{
    // A linear congruential generator with the classic constants and 15 bits taken from the
    // upper half: the range and the repeatability of a runtime's rand, the same on every
    // platform.
    uint32& state = testRandomState();
    state = state * 214013u + 2531011u;
    return int32((state >> 16) & 0x7FFF);
}

} // namespace Qel
} // namespace Quillmark

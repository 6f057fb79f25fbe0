// The numbers a render draws: noise, note times, parameter moves. One seed gives one sequence on
// every machine, so a failure found with a seed comes back with it. A plain value.
#pragma once

#include <cstdint>

namespace Quillmark
{

class RandomSequence
{
public:
    explicit RandomSequence(uint64_t seed) : state(seed) {}

    /** The next 64 bits (splitmix64). */
    uint64_t next()
    {
        uint64_t z = (state += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    /** A number in [0, 1). */
    double uniform() { return double(next() >> 11) * 0x1.0p-53; }
    /** A whole number in [0, count), for a count above 0. */
    int64_t below(int64_t count) { return int64_t(next() % uint64_t(count)); }

private:
    uint64_t state;
};

} // namespace Quillmark

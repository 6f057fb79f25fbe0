// The monotonic clocks of the host.
#pragma once

#include <cstdint>

namespace Quillmark::platform
{

/** Milliseconds of the monotonic clock as a wrapping 32-bit value. */
uint32_t milliseconds();
/** Nanoseconds of the monotonic clock. */
int64_t nanoseconds();
/** Seconds of the monotonic clock. */
inline double seconds()
{
    return double(nanoseconds()) * 1e-9;
}

} // namespace Quillmark::platform

#include "base/platform/clock.h"

#include <time.h>

namespace Quillmark::platform
{

int64_t nanoseconds()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t(now.tv_sec) * 1000000000 + now.tv_nsec;
}

uint32_t milliseconds()
{
    return uint32_t(uint64_t(nanoseconds() / 1000000));
}

} // namespace Quillmark::platform

#include "midi/taptempo.h"

#include <cstdlib>

namespace Quillmark
{

void TapTempo::firstTap(int64 timeMs)
{
    tapCount = 1;
    lastTap = timeMs;
    changed = true;
}

void TapTempo::tap(int64 timeMs)
{
    if (tapCount == 0)
    {
        firstTap(timeMs);
        return;
    }
    int64 d = timeMs - lastTap;
    if (d < kShortestInterval || d > kLongestInterval)
    {
        changed = false;
        tapCount = 0;
        tempo = -1.0f;
        firstTap(timeMs);
        return;
    }
    if (tapCount >= 2 && std::llabs(d - intervals[(tapCount - 2) % 3]) > kLargestJump)
    {
        intervals[0] = d;
        tapCount = 2;
    }
    else
    {
        intervals[(tapCount - 1) % 3] = d;
        ++tapCount;
    }
    lastTap = timeMs;
    changed = true;
}

void TapTempo::update()
{
    if (tapCount < 2)
    {
        changed = false;
        return;
    }
    if (tapCount == 2)
        tempo = 60000.0f / float(intervals[0]);
    else if (tapCount == 3)
        tempo = 60000.0f / (float(intervals[0] + intervals[1]) / 2.0f);
    else
        tempo = 60000.0f / float((intervals[0] + intervals[1] + intervals[2]) / 3);
}

} // namespace Quillmark

// Sets the tempo by hand: the user taps, and the mean of the last intervals gives the beats per
// minute. Taps further apart than 1.5 s or closer than 250 ms start over; a sudden change of
// more than 250 ms starts the averaging anew. Lives on the user interface thread.
#pragma once

#include "base/fobject.h"

namespace Quillmark
{

class TapTempo : public FObject
{
public:
    static constexpr int64 kShortestInterval = 250;
    static constexpr int64 kLongestInterval = 1500;
    static constexpr int64 kLargestJump = 250;

    /** One tap at `timeMs` on a millisecond clock. */
    void tap(int64 timeMs);
    using FObject::update;
    /** Works the taps so far into the tempo; called regularly. */
    void update();

    /** Beats per minute, or -1 while there is none. */
    float getTempo() const { return tempo; }
    int32 getTapCount() const { return tapCount; }
    bool hasChanged() const { return changed; }
    void clearChanged() { changed = false; }

    QEL_DECLARE_CLASS(TapTempo, FObject)

private:
    void firstTap(int64 timeMs);

    int32 tapCount = 0;
    int64 intervals[3] = {0, 0, 0};
    int64 lastTap = 0;
    float tempo = -1.0f;
    bool changed = false;
};

} // namespace Quillmark

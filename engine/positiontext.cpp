#include "engine/positiontext.h"

#include <cmath>

namespace Quillmark::MiniEngine
{

String formatTimePosition(double seconds)
{
    if (!(seconds > 0.0))
        seconds = 0.0;
    const int64 tenths = int64(seconds * 10.0);
    const int64 whole = tenths / 10;
    return String::format("%02d:%02d:%02d.%01d", int32((whole / 3600) % 24),
                          int32((whole / 60) % 60), int32(whole % 60), int32(tenths % 10));
}

String formatBarPosition(double quarterNotes, int32 numerator, int32 denominator)
{
    if (numerator <= 0 || denominator <= 0 || !std::isfinite(quarterNotes))
        return String();
    const double barLength = double(numerator) / double(denominator) * 4.0;
    const double bar = std::floor(quarterNotes / barLength);
    const double beatValue = (quarterNotes - bar * barLength) * denominator * 0.25;
    const int32 beat = int32(beatValue);
    const int32 sixteenth = int32((beatValue - std::floor(beatValue)) * 16.0 / denominator) + 1;
    if (quarterNotes >= 0.0)
    {
        const char8* format = numerator < 10 ? "%03d.  %d. %d" : "%03d. %02d. %d";
        return String::format(format, int32(bar) + 1, beat + 1, sixteenth);
    }
    // The count-in runs over the last two bars before the start: 2, then 1.
    const int32 barsLeft = 2 - int32(((int64(bar) % 2) + 2) % 2);
    if (numerator < 10)
        return String::format(">  %d.  %d  <", barsLeft, numerator - beat);
    return String::format(">  %d. %02d.  <", barsLeft, numerator - beat);
}

String formatPosition(int32 format, double quarterNotes, double seconds, int32 numerator,
                      int32 denominator)
{
    if (format == kPositionBars || quarterNotes < 0.0)
        return formatBarPosition(quarterNotes, numerator, denominator);
    return formatTimePosition(seconds);
}

} // namespace Quillmark::MiniEngine

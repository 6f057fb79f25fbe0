// The transport's position as the main window shows it: a clock ("00:01:02.5") or bars, beats
// and sixteenths ("002.  3. 1"), and a count-down during a count-in (">  2.  4  <"). Plain
// functions of the position, so any thread can format without touching the player.
#pragma once

#include "base/fstring.h"

namespace Quillmark::MiniEngine
{

enum PositionFormat : int32
{
    kPositionTime = 0,
    kPositionBars = 1,
};

/** Hours (modulo 24), minutes, seconds and tenths of `seconds`. */
String formatTimePosition(double seconds);

/** Bar, beat and sixteenth of `quarterNotes` in a signature of `numerator` / `denominator`;
    a negative position is a count-in and counts the bars and beats down. */
String formatBarPosition(double quarterNotes, int32 numerator, int32 denominator);

/** The text of the "time" display: a count-in is always shown as such. */
String formatPosition(int32 format, double quarterNotes, double seconds, int32 numerator,
                      int32 denominator);

} // namespace Quillmark::MiniEngine

// The report of --list-devices for the audio side: every driver the device library lists, opened
// one after the other, with its format and its ports, or the reason it could not be opened.
#pragma once

#include <iosfwd>

namespace Quillmark
{

class PBaiosManager;

/** Prints the drivers of `manager`, which must have no device open; leaves none open. Lines:
    "NAME<TAB>RATE Hz<TAB>SIZE samples" or "NAME<TAB>unavailable<TAB>REASON", then per port
    "<TAB>capture|playback<TAB>NAME<TAB>UNIQUE NAME". Answers the drivers that opened. */
int printAudioDevices(PBaiosManager& manager, std::ostream& out);

} // namespace Quillmark

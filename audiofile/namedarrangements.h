// The named speaker arrangements ("Stereo", "5.1", ...) with their speakers in channel order,
// and the plug-in standard's own pairs of arrangement name and speaker label string. Constant
// tables; only the displayed arrangement names follow the program's language.
#pragma once

#include "qel3/funknown.h"

namespace Quillmark
{

/** An arrangement type is what classification gives and names are looked up by; the set code
    that fills a list is always the type plus one, and set code 0 stands for no speakers. The
    two numberings stay apart on purpose. */
constexpr int32 kArrangementTypeCount = 41;
constexpr int32 kArrangementSetCodeCount = kArrangementTypeCount + 1;
/** The result of classification when the speakers have no name. */
constexpr int32 kNoArrangementType = -1;
/** A type that stands for nothing: it has no name and no speakers. */
constexpr int32 kUnusedArrangementType = 37;

constexpr int32 arrangementSetCode(int32 type)
{
    return type + 1;
}

constexpr int32 kMaxNamedArrangementSpeakers = 14;

struct ANamedArrangement
{
    int32 type;
    /** The untranslated name, or null for the unused type. */
    const char8* name;
    int32 speakerCount;
    /** Speaker numbers in channel order. */
    int32 speakers[kMaxNamedArrangementSpeakers];
};

/** The arrangement of `type` (0 to 40), or null. */
const ANamedArrangement* getNamedArrangement(int32 type);
/** The displayed name of `type`; null above 40 (so also for negative types) and for the
    unused type 37. */
const char8* getArrangementName(int32 type);

/** The plug-in standard's name of an arrangement with its speaker labels, in the standard's
    own order and wording ("LFE", "Sl", "S"). */
struct AStandardArrangementString
{
    const char8* name;
    const char8* speakers;
};

int32 getStandardArrangementStringCount();
/** The pair at `index`, or null. */
const AStandardArrangementString* getStandardArrangementString(int32 index);
/** The speaker labels of the standard arrangement named exactly `name`, or null. */
const char8* findStandardSpeakerString(const char8* name);

} // namespace Quillmark

// The fixed table of loudspeakers: each speaker number with its names, the role word stored in
// files, the plug-in speaker bit and the Wave channel bit. Constant data in a fixed row order;
// only the displayed long names change, once, when the program is localised.
#pragma once

#include "base/fstring.h"
#include "qel3/qeltypes.h"

#include <functional>

namespace Quillmark
{

/** Speaker numbers. A negative number is an unassigned channel and has no row. */
enum ASpeakerId : int32
{
    kSpeakerMono = 0,
    kSpeakerL = 1,
    kSpeakerR = 2,
    kSpeakerC = 3,
    kSpeakerLfe = 4,
    kSpeakerLs = 5,
    kSpeakerRs = 6,
    kSpeakerLc = 7,
    kSpeakerRc = 8,
    kSpeakerCs = 9,
    kSpeakerSl = 10, // short name "Lss"
    kSpeakerSr = 11, // short name "Rss"
    kSpeakerTm = 12,
    kSpeakerTfl = 13,
    kSpeakerTfc = 14,
    kSpeakerTfr = 15,
    kSpeakerTrl = 16,
    kSpeakerTrc = 17,
    kSpeakerTrr = 18,
    kSpeakerLfe2 = 19,
    kSpeakerW = 20,
    kSpeakerX = 21,
    kSpeakerY = 22,
    kSpeakerZ = 23,
    kSpeakerTsl = 24,
    kSpeakerTsr = 25,
    kSpeakerLcs = 26,
    kSpeakerRcs = 27,
    kSpeakerUndefined = 0x7FFFFFFF,
};

/** One row of the speaker table. */
struct ASpeakerInfo
{
    int32 id;
    /** The untranslated long name; it is the key of the translation. */
    const char8* longName;
    const char8* shortName;
    /** A second short name, or null. */
    const char8* alias;
    /** The lower-case word that files store for the speaker. */
    const char8* role;
    Qel::Speaker speakerBit;
    /** 0 when a Wave channel mask has no bit for the speaker. */
    uint32 waveBit;
};

/** 29 rows; the mask conversions walk them in this order. */
int32 getSpeakerTableSize();
/** The row at `index` in table order, or null. */
const ASpeakerInfo* getSpeakerInfo(int32 index);
/** The row whose number is exactly `id` (0 is Mono, not Left), or null. */
const ASpeakerInfo* findSpeakerInfo(int32 id);
/** The first row whose role equals `role`, ignoring case, or null. */
const ASpeakerInfo* findSpeakerByRole(const ConstString& role);

/** The translation of one text of the program; answers the text itself when it knows none. */
using ATranslationLookup = std::function<String(const char8* text)>;

/** Replaces the displayed long name of every speaker and the name of every named arrangement
    by its translation. Meant to run once at start-up, before any name is handed out: texts
    given out earlier lose their memory. */
void localizeSpeakerNames(const ATranslationLookup& translate);
/** The displayed long name of the speaker numbered exactly `id`, or null without a row. */
const char8* getSpeakerName(int32 id);

} // namespace Quillmark

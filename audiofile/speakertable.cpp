#include "audiofile/speakertable.h"

namespace Quillmark
{

namespace
{

// Mono stands after Left and Right on purpose: a mask walk meets the stereo pair first.
constexpr ASpeakerInfo kSpeakers[] = {
    {kSpeakerL, "Left", "L", nullptr, "left", 0x1, 0x1},
    {kSpeakerR, "Right", "R", nullptr, "right", 0x2, 0x2},
    {kSpeakerMono, "Mono", "M", nullptr, "mono", 0x80000, 0x80000},
    {kSpeakerC, "Center", "C", nullptr, "center", 0x4, 0x4},
    {kSpeakerLfe, "Lfe", "Lfe", nullptr, "lfe", 0x8, 0x8},
    {kSpeakerLs, "Left Surround", "Ls", nullptr, "left surround", 0x10, 0x10},
    {kSpeakerRs, "Right Surround", "Rs", nullptr, "right surround", 0x20, 0x20},
    {kSpeakerLc, "Left of Center", "Lc", nullptr, "left of center", 0x40, 0x40},
    {kSpeakerRc, "Right of Center", "Rc", nullptr, "right of center", 0x80, 0x80},
    {kSpeakerCs, "Center Surround", "Cs", nullptr, "center surround", 0x100, 0x100},
    {kSpeakerSl, "Side Left", "Lss", "Sl", "side left", 0x200, 0x200},
    {kSpeakerSr, "Side Right", "Rss", "Sr", "side right", 0x400, 0x400},
    {kSpeakerTm, "Top Middle", "Tm", nullptr, "top middle", 0x800, 0x800},
    {kSpeakerTfl, "Top Front Left", "Tfl", nullptr, "top front left", 0x1000, 0x1000},
    {kSpeakerTfc, "Top Front Center", "Tfc", nullptr, "top front center", 0x2000, 0x2000},
    {kSpeakerTfr, "Top Front Right", "Tfr", nullptr, "top front right", 0x4000, 0x4000},
    {kSpeakerTrl, "Top Rear Left", "Trl", nullptr, "top rear left", 0x8000, 0x8000},
    {kSpeakerTrc, "Top Rear Center", "Trc", nullptr, "top rear center", 0x10000, 0x10000},
    {kSpeakerTrr, "Top Rear Right", "Trr", nullptr, "top rear right", 0x20000, 0x20000},
    {kSpeakerLfe2, "Lfe2", "Lfe2", nullptr, "lfe2", 0x40000, 0x40000},
    {kSpeakerW, "W", "W", nullptr, "b-w", 0x100000, 0},
    {kSpeakerX, "X", "X", nullptr, "b-x", 0x200000, 0},
    {kSpeakerY, "Y", "Y", nullptr, "b-y", 0x400000, 0},
    {kSpeakerZ, "Z", "Z", nullptr, "b-z", 0x800000, 0},
    {kSpeakerTsl, "Top Side Left", "Tsl", nullptr, "top side left", 0x1000000, 0},
    {kSpeakerTsr, "Top Side Right", "Tsr", nullptr, "top side right", 0x2000000, 0},
    {kSpeakerLcs, "Left of Center Surround", "Lcs", nullptr, "left of cs", 0x4000000, 0},
    {kSpeakerRcs, "Right of Center Surround", "Rcs", nullptr, "right of cs", 0x8000000, 0},
    {kSpeakerUndefined, "Undefined", "U", nullptr, "undefined", 0, 0},
};

constexpr int32 kSpeakerCount = int32(sizeof(kSpeakers) / sizeof(kSpeakers[0]));
static_assert(kSpeakerCount == 29);

} // namespace

int32 getSpeakerTableSize()
{
    return kSpeakerCount;
}

const ASpeakerInfo* getSpeakerInfo(int32 index)
{
    return index >= 0 && index < kSpeakerCount ? &kSpeakers[index] : nullptr;
}

const ASpeakerInfo* findSpeakerInfo(int32 id)
{
    for (const ASpeakerInfo& row : kSpeakers)
        if (row.id == id)
            return &row;
    return nullptr;
}

const ASpeakerInfo* findSpeakerByRole(const ConstString& role)
{
    for (const ASpeakerInfo& row : kSpeakers)
        if (role.compare(row.role, false) == 0)
            return &row;
    return nullptr;
}

} // namespace Quillmark

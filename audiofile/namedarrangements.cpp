#include "audiofile/namedarrangements.h"

#include "audiofile/speakertable.h"

#include <cstring>

namespace Quillmark
{

namespace
{

constexpr int32 L = kSpeakerL, R = kSpeakerR, M = kSpeakerMono, C = kSpeakerC, Lfe = kSpeakerLfe,
                Ls = kSpeakerLs, Rs = kSpeakerRs, Lc = kSpeakerLc, Rc = kSpeakerRc, Cs = kSpeakerCs,
                Sl = kSpeakerSl, Sr = kSpeakerSr, Tm = kSpeakerTm, Tfl = kSpeakerTfl,
                Tfc = kSpeakerTfc, Tfr = kSpeakerTfr, Trl = kSpeakerTrl, Trc = kSpeakerTrc,
                Trr = kSpeakerTrr, Lfe2 = kSpeakerLfe2, W = kSpeakerW, X = kSpeakerX, Y = kSpeakerY,
                Z = kSpeakerZ;

// Indexed by type. The speakers stand in the channel order of the data, which is not always the
// order of the standard's label strings below.
constexpr ANamedArrangement kArrangements[kArrangementTypeCount] = {
    {0, "Mono", 1, {M}},
    {1, "Stereo", 2, {L, R}},
    {2, "Stereo (Ls Rs)", 2, {Ls, Rs}},
    {3, "Stereo (Lc Rc)", 2, {Lc, Rc}},
    {4, "Stereo (Sl Sr)", 2, {Sl, Sr}},
    {5, "Stereo (C Lfe)", 2, {C, Lfe}},
    {6, "LRC", 3, {L, C, R}},
    {7, "LRS", 3, {L, R, Cs}},
    {8, "LRC+Lfe", 4, {L, C, R, Lfe}},
    {9, "LRS+Lfe", 4, {L, R, Cs, Lfe}},
    {10, "LRCS", 4, {L, C, R, Cs}},
    {11, "Quadro", 4, {L, R, Ls, Rs}},
    {12, "LRCS+Lfe", 5, {L, C, R, Cs, Lfe}},
    {13, "Quadro+Lfe", 5, {L, R, Ls, Rs, Lfe}},
    {14, "5.0", 5, {L, R, Ls, Rs, C}},
    {15, "5.1", 6, {L, R, Ls, Rs, C, Lfe}},
    {16, "6.0 Cine", 6, {L, R, Ls, Rs, C, Cs}},
    {17, "6.0 Music", 6, {L, R, Sl, Sr, Ls, Rs}},
    {18, "6.1 Cine", 7, {L, R, Ls, Rs, C, Cs, Lfe}},
    {19, "6.1 Music", 7, {L, R, Sl, Sr, Ls, Rs, Lfe}},
    {20, "7.0 Cine", 7, {L, R, Lc, Rc, Ls, Rs, C}},
    {21, "7.0 Music", 7, {L, R, Sl, Sr, Ls, Rs, C}},
    {22, "7.1 Cine", 8, {L, R, Lc, Rc, Ls, Rs, C, Lfe}},
    {23, "7.1 Music", 8, {L, R, Sl, Sr, Ls, Rs, C, Lfe}},
    {24, "8.0 Cine", 8, {L, R, Lc, Rc, Ls, Rs, C, Cs}},
    {25, "8.0 Music", 8, {L, R, Sl, Sr, Ls, Rs, C, Cs}},
    {26, "8.1 Cine", 9, {L, R, Lc, Rc, Ls, Rs, C, Cs, Lfe}},
    {27, "8.1 Music", 9, {L, R, Sl, Sr, Ls, Rs, C, Cs, Lfe}},
    {28, "10.2", 12, {L, R, Ls, Rs, C, Lfe, Tfl, Tfc, Tfr, Trl, Trr, Lfe2}},
    {29, "9.0 Auro", 9, {L, R, C, Ls, Rs, Tfl, Tfr, Trl, Trr}},
    {30, "9.1 Auro", 10, {L, R, C, Lfe, Ls, Rs, Tfl, Tfr, Trl, Trr}},
    {31, "10.0 Auro", 10, {L, R, C, Ls, Rs, Tm, Tfl, Tfr, Trl, Trr}},
    {32, "10.1 Auro", 11, {L, R, C, Lfe, Ls, Rs, Tm, Tfl, Tfr, Trl, Trr}},
    {33, "11.0 Auro", 11, {L, R, C, Ls, Rs, Tm, Tfl, Tfc, Tfr, Trl, Trr}},
    {34, "11.1 Auro", 12, {L, R, C, Lfe, Ls, Rs, Tm, Tfl, Tfc, Tfr, Trl, Trr}},
    {35, "13.0 Auro", 13, {L, R, C, Ls, Rs, Cs, Tm, Tfl, Tfc, Tfr, Trl, Trc, Trr}},
    {36, "13.1 Auro", 14, {L, R, C, Lfe, Ls, Rs, Cs, Tm, Tfl, Tfc, Tfr, Trl, Trc, Trr}},
    {kUnusedArrangementType, nullptr, 0, {}},
    {38, "12.2", 14, {L, R, Ls, Rs, Lc, Rc, C, Lfe, Tfl, Tfc, Tfr, Trl, Trr, Lfe2}},
    {39, "8.0 Cube", 8, {L, R, Ls, Rs, Tfl, Tfr, Trl, Trr}},
    {40, "BFormat", 4, {W, X, Y, Z}},
};

constexpr bool typesMatchIndexes()
{
    for (int32 i = 0; i < kArrangementTypeCount; ++i)
        if (kArrangements[i].type != i)
            return false;
    return true;
}
static_assert(typesMatchIndexes());

// The standard's wording stays as it is, including its two rows that repeat a label.
constexpr AStandardArrangementString kStandardStrings[] = {
    {"Mono", "M"},
    {"Stereo", "L R"},
    {"Stereo (Ls Rs)", "Ls Rs"},
    {"Stereo (Lc Rc)", "Lc Rc"},
    {"Stereo (Sl Sr)", "Sl Sr"},
    {"Stereo (C LFE)", "C LFE"},
    {"LRC", "L R C"},
    {"LRS", "L R S"},
    {"LRC+LFE", "L R C LFE"},
    {"LRS+LFE", "L R LFE S"},
    {"LRCS", "L R C S"},
    {"Quadro", "L R Ls Rs"},
    {"LRCS+LFE", "L R C LFE S"},
    {"Quadro+LFE", "L R LFE Ls Rs"},
    {"5.0", "L R C Ls Rs"},
    {"5.1", "L R C LFE Ls Rs"},
    {"6.0 Cine", "L R C Ls Rs Cs"},
    {"6.0 Music", "L R Ls Rs Sl Sr"},
    {"6.1 Cine", "L R C LFE Ls Rs Cs"},
    {"6.1 Music", "L R LFE Ls Rs Sl Sr"},
    {"7.0 Cine", "L R C Ls Rs Lc Rc"},
    {"7.0 Music", "L R C Ls Rs Sl Sr"},
    {"7.1 Cine", "L R C LFE Ls Rs Lc Rc"},
    {"7.1 Music", "L R C LFE Ls Rs Sl Sr"},
    {"7.1 Cine Top Center", "L R C LFE Ls Rs Cs Tm"},
    {"7.1 Cine Center High", "L R C LFE Ls Rs Cs Tfc"},
    {"7.1 Cine Front High", "L R C LFE Ls Rs Tfl Tfl"},
    {"7.1 Cine Side High", "L R C LFE Ls Rs Tsl Tsl"},
    {"7.1 Cine Full Rear", "L R C LFE Ls Rs Lcs Rcs"},
    {"8.0 Cine", "L R C Ls Rs Lc Rc Cs"},
    {"8.0 Music", "L R C Ls Rs Cs Sl Sr"},
    {"8.0 Cube", "L R Ls Rs Tfl Tfr Trl Trr"},
    {"8.1 Cine", "L R C LFE Ls Rs Lc Rc Cs"},
    {"8.1 Music", "L R C LFE Ls Rs Cs Sl Sr"},
    {"10.2", "L R C LFE Ls Rs Tfl Tfc Tfr Trl Trr LFE2"},
    {"12.2", "L R C LFE Ls Rs Lc Rc Tfl Tfc Tfr Trl Trr LFE2"},
    {"9.0", "L R C Ls Rs Tfl Tfr Trl Trr"},
    {"9.1", "L R C LFE Ls Rs Tfl Tfr Trl Trr"},
    {"10.0", "L R C Ls Rs Tm Tfl Tfr Trl Trr"},
    {"10.1", "L R C LFE Ls Rs Tm Tfl Tfr Trl Trr"},
    {"11.0", "L R C Ls Rs Tm Tfl Tfc Tfr Trl Trr"},
    {"11.1", "L R C LFE Ls Rs Tm Tfl Tfc Tfr Trl Trr"},
    {"13.0", "L R C Ls Rs Cs Tm Tfl Tfc Tfr Trl Trc Trr"},
    {"13.1", "L R C LFE Ls Rs Cs Tm Tfl Tfc Tfr Trl Trc Trr"},
    {"BFormat", "W X Y Z"},
};

constexpr int32 kStandardStringCount =
    int32(sizeof(kStandardStrings) / sizeof(kStandardStrings[0]));

} // namespace

const ANamedArrangement* getNamedArrangement(int32 type)
{
    return type >= 0 && type < kArrangementTypeCount ? &kArrangements[type] : nullptr;
}

int32 getStandardArrangementStringCount()
{
    return kStandardStringCount;
}

const AStandardArrangementString* getStandardArrangementString(int32 index)
{
    return index >= 0 && index < kStandardStringCount ? &kStandardStrings[index] : nullptr;
}

const char8* findStandardSpeakerString(const char8* name)
{
    if (!name)
        return nullptr;
    for (const AStandardArrangementString& row : kStandardStrings)
        if (std::strcmp(row.name, name) == 0)
            return row.speakers;
    return nullptr;
}

} // namespace Quillmark

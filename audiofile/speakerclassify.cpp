// The guess of a named arrangement from a speaker list: by channel count, then by the presence
// of a few key speakers. Presence uses findSpeaker, so Left is also found as Mono.
#include "audiofile/namedarrangements.h"
#include "audiofile/speakerarrangement.h"

namespace Quillmark
{

int32 ASpeakerArrangement::classifyArrangement() const
{
    auto has = [this](int32 id) { return findSpeaker(id) >= 0; };
    const bool l = has(kSpeakerL);
    const bool c = has(kSpeakerC);
    const bool lfe = has(kSpeakerLfe);
    const bool sl = has(kSpeakerSl);
    const bool tfl = has(kSpeakerTfl);

    switch (count())
    {
    case 1:
        return 0;
    case 2:
        // The right channel is not looked at: any pair with a left is stereo.
        if (l)
            return 1;
        if (has(kSpeakerLs))
            return 2;
        if (has(kSpeakerLc))
            return 3;
        if (sl)
            return 4;
        if (lfe)
            return 5;
        return kNoArrangementType;
    case 3:
        if (l && c)
            return 6;
        if (l && has(kSpeakerCs))
            return 7;
        return kNoArrangementType;
    case 4:
        if (lfe)
            return c ? 8 : 9;
        if (has(kSpeakerW))
            return 40;
        return c ? 10 : 11;
    case 5:
        if (lfe)
            return c ? 12 : 13;
        if (c && has(kSpeakerLs))
            return 14;
        return kNoArrangementType;
    case 6:
        if (c)
            return lfe ? 15 : 16;
        if (sl)
            return 17;
        return kNoArrangementType;
    case 7:
        if (tfl)
            return kNoArrangementType;
        if (lfe && sl)
            return 19;
        if (lfe && c)
            return 18;
        if (lfe)
            return kNoArrangementType;
        if (c && sl)
            return 21;
        if (c)
            return 20;
        return kNoArrangementType;
    case 8:
        if (c && tfl)
            return kNoArrangementType;
        if (c && lfe && sl)
            return 23;
        if (c && lfe)
            return 22;
        if (c && sl)
            return 25;
        if (c)
            return 24;
        if (tfl)
            return 39;
        return kNoArrangementType;
    case 9:
        if (lfe && tfl)
            return kNoArrangementType;
        if (lfe)
            return sl ? 27 : 26;
        return 29;
    case 10:
        return lfe ? 30 : 31;
    case 11:
        return lfe ? 32 : 33;
    case 12:
        return has(kSpeakerLfe2) ? 28 : 34;
    case 13:
        return 35;
    case 14:
        // 12.2 holds an Lfe too and so reads as 13.1 Auro; 12.2 only comes back without one.
        return lfe ? 36 : 38;
    default:
        return kNoArrangementType;
    }
}

} // namespace Quillmark

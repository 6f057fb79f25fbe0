// The conversions of ASpeakerArrangement to and from Wave channel masks and plug-in speaker
// masks.
#include "audiofile/speakerarrangement.h"

namespace Quillmark
{

void ASpeakerArrangement::setFromWaveMask(uint32 mask)
{
    removeAll();
    // Some writers mark a single channel with the first or the second bit alone.
    if (mask == 0x1 || mask == 0x2)
    {
        addSpeaker(kSpeakerMono);
        changed();
        return;
    }
    for (int32 i = 0; i < getSpeakerTableSize() && mask != 0; ++i)
    {
        const ASpeakerInfo* row = getSpeakerInfo(i);
        if (row->waveBit != 0 && (mask & row->waveBit) != 0)
        {
            addSpeaker(row->id);
            mask &= ~row->waveBit;
        }
    }
    changed();
}

uint32 ASpeakerArrangement::getWaveMask() const
{
    if (count() == 1 && idAt(0) == kSpeakerMono)
        return 0x1;
    uint32 mask = 0;
    for (const ASpeakerProperty* speaker : speakers)
    {
        int32 id = speaker->getId();
        if (id >= 0)
        {
            if (const ASpeakerInfo* row = findSpeakerInfo(id == kSpeakerMono ? kSpeakerL : id))
                mask |= row->waveBit;
        }
        else
        {
            // Unassigned channel n sits at bit n + 1; stored files hold exactly this.
            mask |= uint32(1) << ((1 - int64(id)) % 32);
        }
    }
    // L R C Lfe with a single surround channel on Ls or Rs is read as LRCS+Lfe.
    if (mask == 0x1F || mask == 0x2F)
        mask = 0x10F;
    return mask;
}

void ASpeakerArrangement::setFromSpeakerMask(Qel::SpeakerArrangement mask)
{
    removeAll();
    for (int32 bit = 0; bit < 64 && mask != 0; ++bit)
    {
        Qel::Speaker speakerBit = Qel::Speaker(1) << bit;
        if ((mask & speakerBit) == 0)
            continue;
        mask &= ~speakerBit;
        for (int32 i = 0; i < getSpeakerTableSize(); ++i)
        {
            const ASpeakerInfo* row = getSpeakerInfo(i);
            if (row->speakerBit == speakerBit)
            {
                addSpeaker(row->id);
                break;
            }
        }
    }
    changed();
}

Qel::SpeakerArrangement ASpeakerArrangement::getSpeakerMask() const
{
    Qel::SpeakerArrangement mask = 0;
    for (const ASpeakerProperty* speaker : speakers)
        if (const ASpeakerInfo* row = findSpeakerInfo(speaker->getId()))
            mask |= row->speakerBit;
    return mask;
}

} // namespace Quillmark

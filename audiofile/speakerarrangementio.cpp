// The stored forms of ASpeakerArrangement, and the reduction of a read list to the channel
// layouts that this program version supports.
#include "audiofile/namedarrangements.h"
#include "audiofile/speakerarrangement.h"

#include "base/fattributes.h"
#include "base/fcapabilities.h"
#include "base/fstreamer.h"

#include <cstring>
#include <new>

namespace Quillmark
{

bool ASpeakerArrangement::write(FStreamer& streamer) const
{
    if (!streamer.writeInt32(count()))
        return false;
    for (const ASpeakerProperty* speaker : speakers)
        if (!speaker->write(streamer))
            return false;
    return true;
}

bool ASpeakerArrangement::read(FStreamer& streamer)
{
    removeAll();
    int32 storedCount = 0;
    bool ok = streamer.readInt32(storedCount);
    for (int32 i = 0; ok && i < storedCount; ++i)
    {
        auto* speaker = new (std::nothrow) ASpeakerProperty;
        if (!speaker)
            break;
        ok = speaker->read(streamer);
        if (ok)
            append(speaker);
        else
            speaker->release();
    }
    reduceToCapabilities(storedCount);
    return ok;
}

// The attribute tree keeps one value per name, so the repeated "Type" is held as one integer
// list of that name, in list order; a single integer "Type" reads as a list of one.
void ASpeakerArrangement::storeAttributes(FAttributes& attributes) const
{
    // One "Type" per speaker, in list order; what was stored before goes first.
    while (attributes.contains(kTypeAttribute))
        attributes.remove(kTypeAttribute);
    for (const ASpeakerProperty* speaker : speakers)
        attributes.appendInt(kTypeAttribute, int64(speaker->getId()));
}

void ASpeakerArrangement::restoreAttributes(const FAttributes& attributes)
{
    removeAll();
    for (int32 index = 0; index < attributes.count(); ++index)
    {
        if (std::strcmp(attributes.nameAt(index), kTypeAttribute) != 0)
            continue;
        // A value that is not a number stands for a speaker all the same.
        int64 id = kSpeakerMono;
        attributes.getIntAt(index, id);
        append(int32(id));
    }
    reduceToCapabilities(count());
}

void ASpeakerArrangement::reduceToCapabilities(int32 storedCount)
{
    FCapabilities* capabilities = FCapabilities::instance();
    if (!capabilities)
        return;
    if (!capabilities->isOn(kSurroundCapability))
    {
        if (storedCount > 2)
        {
            removeAll();
            setArrangement(arrangementSetCode(1)); // Stereo
            capabilities->warnOnce(kSurroundCapability, kSurroundWarning);
        }
        return;
    }
    if (capabilities->isOn(kSixChannelsMaxCapability) && storedCount > 6)
    {
        bool hadLfe = findSpeaker(kSpeakerLfe) >= 0;
        bool hadCenter = findSpeaker(kSpeakerC) >= 0;
        removeAll();
        if (hadLfe)
            setArrangement(arrangementSetCode(15)); // 5.1
        else if (hadCenter)
            setArrangement(arrangementSetCode(16)); // 6.0 Cine
        else
            setArrangement(arrangementSetCode(17)); // 6.0 Music
    }
}

} // namespace Quillmark

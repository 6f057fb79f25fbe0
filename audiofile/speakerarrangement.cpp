#include "audiofile/speakerarrangement.h"

#include "audiofile/namedarrangements.h"

#include <cassert>
#include <new>

namespace Quillmark
{

ASpeakerArrangement::ASpeakerArrangement(const ASpeakerArrangement& other) : FObject(other)
{
    *this = other;
}

ASpeakerArrangement& ASpeakerArrangement::operator=(const ASpeakerArrangement& other)
{
    if (&other == this)
        return *this;
    removeAll();
    speakers.reserve(other.speakers.size());
    for (const ASpeakerProperty* speaker : other.speakers)
        append(speaker->getId());
    return *this;
}

ASpeakerArrangement::~ASpeakerArrangement()
{
    removeAll();
}

ASpeakerProperty* ASpeakerArrangement::at(int32 index) const
{
    return index >= 0 && index < count() ? speakers[size_t(index)] : nullptr;
}

int32 ASpeakerArrangement::idAt(int32 index) const
{
    const ASpeakerProperty* speaker = at(index);
    return speaker ? speaker->getId() : kSpeakerUndefined;
}

bool ASpeakerArrangement::reserveOneMore()
{
    if (speakers.size() < speakers.capacity())
        return true;
    try
    {
        speakers.reserve(speakers.capacity() + kGrowthStep);
    }
    catch (const std::bad_alloc&)
    {
        return false;
    }
    return true;
}

bool ASpeakerArrangement::append(int32 id)
{
    auto* speaker = new (std::nothrow) ASpeakerProperty(id);
    return speaker && append(speaker);
}

bool ASpeakerArrangement::append(ASpeakerProperty* speaker)
{
    if (!speaker)
        return false;
    if (!reserveOneMore())
    {
        speaker->release();
        return false;
    }
    speakers.push_back(speaker);
    return true;
}

void ASpeakerArrangement::removeAll()
{
    std::vector<ASpeakerProperty*> old;
    old.swap(speakers);
    for (ASpeakerProperty* speaker : old)
        speaker->release();
}

void ASpeakerArrangement::setArrangement(int32 setCode)
{
    assert(setCode >= 0 && setCode < kArrangementSetCodeCount && "not a set code");
    const ANamedArrangement* named = getNamedArrangement(setCode - 1);
    if (!named)
        return;
    for (int32 i = 0; i < named->speakerCount; ++i)
        addSpeaker(named->speakers[i]);
}

void ASpeakerArrangement::addSpeaker(int32 id)
{
    if (findSpeaker(id) < 0)
        append(id);
    changed();
}

int32 ASpeakerArrangement::findSpeaker(int32 id) const
{
    int64 wanted = ASpeakerProperty::normalize(id);
    for (int32 i = 0; i < count(); ++i)
        if (ASpeakerProperty::normalize(speakers[size_t(i)]->getId()) == wanted)
            return i;
    return -1;
}

void ASpeakerArrangement::setUnassignedChannels(int32 channelCount)
{
    removeAll();
    changed();
    int32 id = -1;
    for (int32 i = 0; i < channelCount; ++i, --id)
    {
        // Five channels would otherwise put their fourth on the Lfe bit of a Wave mask.
        if (channelCount == 5 && id == -4)
            --id;
        if (!append(id))
            return;
    }
    changed();
}

void defaultArrangementForChannels(int32 channelCount, ASpeakerArrangement& arrangement)
{
    arrangement.removeAll();
    switch (channelCount)
    {
    case 1:
        arrangement.setArrangement(arrangementSetCode(0)); // Mono
        break;
    case 2:
        arrangement.setArrangement(arrangementSetCode(1)); // Stereo
        break;
    case 4:
        arrangement.setArrangement(arrangementSetCode(11)); // Quadro
        break;
    case 5:
        arrangement.setArrangement(arrangementSetCode(14)); // 5.0
        break;
    case 6:
        arrangement.setArrangement(arrangementSetCode(15)); // 5.1
        break;
    case 8:
        arrangement.setArrangement(arrangementSetCode(22)); // 7.1 Cine
        break;
    default:
        arrangement.setUnassignedChannels(channelCount);
        break;
    }
}

} // namespace Quillmark

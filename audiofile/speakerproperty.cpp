#include "audiofile/speakerproperty.h"

#include "base/fattributes.h"
#include "base/fstreamer.h"

namespace Quillmark
{

int64 ASpeakerProperty::normalize(int32 id)
{
    // Widened first: the absolute value of the lowest 32-bit number does not fit 32 bits.
    int64 value = id < 0 ? -int64(id) : int64(id);
    return value == 0 ? 1 : value;
}

bool ASpeakerProperty::isEqual(const FObject* other) const
{
    const auto* speaker = FCast<ASpeakerProperty>(other);
    return speaker && normalize(id) == normalize(speaker->id);
}

int32 ASpeakerProperty::compare(const FObject* other) const
{
    const auto* speaker = FCast<ASpeakerProperty>(other);
    if (!speaker)
        return 0;
    int64 a = normalize(id);
    int64 b = normalize(speaker->id);
    if (a == b)
        return 0;
    if (a == kSpeakerUndefined)
        return -1;
    if (b == kSpeakerUndefined)
        return 1;
    return a < b ? -1 : 1;
}

bool ASpeakerProperty::write(FStreamer& streamer) const
{
    return streamer.writeInt32(id);
}

bool ASpeakerProperty::read(FStreamer& streamer)
{
    return streamer.readInt32(id);
}

void ASpeakerProperty::writeRole(FAttributes& attributes) const
{
    if (id == kSpeakerUndefined)
        return;
    const ASpeakerInfo* row = findSpeakerInfo(id);
    attributes.setString(kRoleAttribute, row ? row->role : "");
}

bool ASpeakerProperty::readRole(const FAttributes& attributes)
{
    String role;
    if (!attributes.getString(kRoleAttribute, role))
        return false;
    const ASpeakerInfo* row = findSpeakerByRole(role);
    if (!row)
        return false;
    id = row->id;
    return true;
}

} // namespace Quillmark

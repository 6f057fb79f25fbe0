#include "midi/pmidievents.h"

#include "base/fattributes.h"
#include "base/fattrvalues.h"
#include "base/fstreamer.h"

#include <algorithm>
#include <cmath>

namespace Quillmark
{

void PSysexChunk::append(const uint8* data, int32 count)
{
    if (count <= 0)
        return;
    size_t needed = bytes.size() + size_t(count);
    if (needed > bytes.capacity())
        bytes.reserve((needed + kGrowthStep - 1) / kGrowthStep * kGrowthStep);
    bytes.insert(bytes.end(), data, data + count);
}

bool PSysexChunk::write(IBStream* stream) const
{
    FStreamer s(stream);
    return s.writeInt32(size()) && s.writeInt32(0) && s.writeRaw(bytes.data(), size()) == size();
}

bool PSysexChunk::read(IBStream* stream)
{
    FStreamer s(stream);
    int32 count = 0;
    int32 unused = 0;
    if (!s.readInt32(count) || !s.readInt32(unused) || count < 0)
        return false;
    // Read in pieces, so a damaged size cannot ask for gigabytes the stream does not hold.
    std::vector<uint8> incoming;
    uint8 piece[4096];
    for (int32 left = count; left > 0;)
    {
        int32 want = std::min<int32>(left, int32(sizeof(piece)));
        if (s.readRaw(piece, want) != want)
            return false;
        incoming.insert(incoming.end(), piece, piece + want);
        left -= want;
    }
    bytes = std::move(incoming);
    return true;
}

void PSysexChunk::store(FAttributes& attributes) const
{
    attributes.setInt("ChunkSize0", size());
    attributes.setBuffer("Chunk0", bytes.data(), size());
}

void PSysexChunk::restore(const FAttributes& attributes)
{
    int64 counter = 1;
    attributes.getInt("ChunkCounter", counter);
    for (int64 n = 0; n < counter; ++n)
    {
        // One character per index, as the writers of these attributes numbered them.
        char digit[2] = {char('0' + n), 0};
        std::string sizeName = std::string("ChunkSize") + digit;
        std::string chunkName = std::string("Chunk") + digit;
        int64 chunkSize = 0;
        attributes.getInt(sizeName.c_str(), chunkSize);
        const FAttrBuffer* buffer = attributes.getBuffer(chunkName.c_str());
        if (!buffer)
            continue;
        int64 count = std::clamp<int64>(chunkSize, 0, buffer->size());
        append(buffer->data(), int32(count));
    }
}

PSysexEvent::PSysexEvent(const PSysexEvent& other) : PMidiEvent(other), chunk(other.chunk)
{
    if (chunk)
        chunk->addRef();
}

PSysexEvent::~PSysexEvent()
{
    if (chunk)
        chunk->release();
}

PSysexChunk* PSysexEvent::makeChunk()
{
    if (!chunk)
        chunk = new PSysexChunk;
    return chunk;
}

void PSysexEvent::setData(const uint8* bytes)
{
    int32 count = 0;
    while (bytes[count] != 0xF7)
        ++count;
    ++count;
    makeChunk()->clear();
    chunk->append(bytes, count);
}

void PSysexEvent::append(uint8 byte)
{
    makeChunk()->append(byte);
}

void PSysexEvent::append(const uint8* bytes, int32 count)
{
    makeChunk()->append(bytes, count);
}

PSmfEvent::PSmfEvent(uint8 type, const uint8* data, int32 size) : type(type)
{
    if (data && size > 0)
        bytes.assign(data, data + size);
}

PDynamic::PDynamic(uint8 status) : PMidiEvent(status, 0, 0)
{
    switch (getMessageType())
    {
    case 0xA0:
    case 0xB0:
        data2 = 60;
        break;
    case 0xC0:
    case 0xD0:
        data1 = 60;
        break;
    default:
        data1 = 60;
        data2 = 0;
        break;
    }
}

PChordEvent::PChordEvent(const PChordEvent& other) : PEvent(other)
{
    setChord(other.chord);
}

PChordEvent::~PChordEvent()
{
    setChord(nullptr);
}

void PChordEvent::setChord(FUnknown* c)
{
    if (c == chord)
        return;
    if (c)
        c->addRef();
    if (chord)
        chord->release();
    chord = c;
}

PNoteChangeEvent::PNoteChangeEvent(int32 kind, double value, uint8 changeStatus)
    : kind(kind), value(value), changeStatus(changeStatus)
{
}

bool PNoteChangeEvent::applyChange()
{
    float normal = std::clamp(float(value), 0.0f, 1.0f);
    uint8 channel = getChannel();
    uint8 type = changeStatus & 0xF0;
    if (changeStatus == 0 || data1 == 0xFF)
    {
        type = 0xB0;
        switch (kind)
        {
        case kVolume:
            data1 = 7;
            break;
        case kPan:
            data1 = 10;
            break;
        case kModulation:
            data1 = 1;
            break;
        case kExpression:
            data1 = 11;
            break;
        case kTimbre:
            data1 = 71;
            break;
        case kPitchBend:
            type = 0xE0;
            break;
        default:
            data1 = uint8(kind & 0x7F);
            break;
        }
    }
    switch (type)
    {
    case 0xA0:
    case 0xB0:
        data2 = uint8(normal * 127.0f);
        break;
    case 0xD0:
        data1 = uint8(normal * 127.0f);
        break;
    case 0xE0:
    {
        auto bend = int32(normal * 16383.0f + 0.5f);
        data1 = uint8(bend & 0x7F);
        data2 = uint8((bend >> 7) & 0x7F);
        break;
    }
    default:
        return false;
    }
    setStatus(uint8(type | channel));
    return true;
}

bool NoteContextInfo::write(IBStream* stream) const
{
    FStreamer s(stream);
    return s.writeInt8u(bytes[0]) && s.writeInt8u(bytes[1]) && s.writeInt8u(bytes[2]) &&
           s.writeInt8u(bytes[5]) && s.writeInt16u(word) && s.writeInt64u(wide);
}

bool NoteContextInfo::read(IBStream* stream)
{
    FStreamer s(stream);
    return s.readInt8u(bytes[0]) && s.readInt8u(bytes[1]) && s.readInt8u(bytes[2]) &&
           s.readInt8u(bytes[5]) && s.readInt16u(word) && s.readInt64u(wide);
}

} // namespace Quillmark

#include "midi/midifilereader.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace Quillmark
{

namespace
{
constexpr size_t kBufferSize = 64 * 1024;

// Names in files are UTF-8 from newer programs and Latin-1 from older ones.
String textToString(const uint8* data, int32 size)
{
    auto* text = reinterpret_cast<const char8*>(data);
    uint32 pos = 0;
    char32_t cp = 0;
    bool valid = true;
    while (pos < uint32(size) && valid)
        valid = Unicode::decodeUtf8(text, uint32(size), &pos, &cp);
    if (valid)
        return String(text, uint32(size));
    std::u16string wide;
    for (int32 i = 0; i < size; ++i)
        wide.push_back(char16(data[i]));
    return String(wide);
}
} // namespace

void MidiFileHeader::setDivision(uint16 division)
{
    if (division & 0x8000)
    {
        smpte = 1;
        ticks = int16(division & 0xFF);
        smpteFrames = int16(int8(division >> 8));
    }
    else
    {
        smpte = 0;
        ticks = int16(division);
        smpteFrames = 0;
    }
}

bool MidiFileReader::fill()
{
    if (bufferPos < bufferEnd)
        return true;
    bufferStart += int64(bufferEnd);
    bufferPos = bufferEnd = 0;
    int32 got = 0;
    if (stream->read(buffer.data(), int32(buffer.size()), &got) != kResultOk || got <= 0)
        return false;
    bufferEnd = size_t(got);
    return true;
}

bool MidiFileReader::readByte(uint8& value)
{
    if (bufferPos >= bufferEnd && !fill())
        return false;
    value = buffer[bufferPos++];
    --budget;
    return true;
}

bool MidiFileReader::readBytes(uint8* out, int64 count)
{
    if (count > streamSize - position())
        return false;
    while (count > 0)
    {
        if (bufferPos >= bufferEnd && !fill())
            return false;
        size_t n = std::min<size_t>(size_t(count), bufferEnd - bufferPos);
        std::memcpy(out, buffer.data() + bufferPos, n);
        bufferPos += n;
        out += n;
        count -= int64(n);
        budget -= int64(n);
    }
    return true;
}

bool MidiFileReader::readWord(uint32& value)
{
    uint8 b[4];
    if (!readBytes(b, 4))
        return false;
    value = uint32(b[0]) << 24 | uint32(b[1]) << 16 | uint32(b[2]) << 8 | b[3];
    return true;
}

bool MidiFileReader::readShort(uint16& value)
{
    uint8 b[2];
    if (!readBytes(b, 2))
        return false;
    value = uint16(b[0] << 8 | b[1]);
    return true;
}

bool MidiFileReader::readVarLen(uint64& value)
{
    // Read on past the usual four bytes until a byte without the top bit: some writers
    // pad deltas with 0x80 bytes.
    value = 0;
    uint8 b = 0;
    do
    {
        if (!readByte(b))
            return false;
        value = (value << 7) | (b & 0x7F);
    } while (b & 0x80);
    return true;
}

bool MidiFileReader::seekTo(int64 offset)
{
    int64 reached = 0;
    if (stream->seek(offset, IBStream::kIBSeekSet, &reached) != kResultOk || reached != offset)
        return false;
    bufferStart = offset;
    bufferPos = bufferEnd = 0;
    return true;
}

bool MidiFileReader::skip(int64 count)
{
    if (count <= 0)
        return true;
    if (count > streamSize - position())
        return false;
    budget -= count;
    if (count <= int64(bufferEnd - bufferPos))
    {
        bufferPos += size_t(count);
        return true;
    }
    return seekTo(position() + count);
}

bool MidiFileReader::stop(const char* reason)
{
    if (stopReason.empty())
    {
        stopReason = reason;
        stopOffset = position();
    }
    return false;
}

MidiFileReader::Track MidiFileReader::trackFor(int32 channel)
{
    if (splitChannels && header.format == 0 && channel >= 0)
    {
        Track& slot = channelTracks[channel & 0x0F];
        if (!slot)
            slot = getTrack(channel);
        currentTrack = slot;
        return slot;
    }
    if (!currentTrack)
        currentTrack = getTrack(channel);
    return currentTrack;
}

void MidiFileReader::nameTrack(const uint8* data, int32 size, bool fromText)
{
    if (fromText)
    {
        // A plain text stands in as the name only until a real name comes.
        if (trackNamed)
            return;
        trackName = textToString(data, size);
        trackNamed = true;
        nameFromText = true;
        return;
    }
    if (trackNamed && !nameFromText)
        return;
    trackName = textToString(data, size);
    trackNamed = true;
    nameFromText = false;
    if (header.format == 0)
    {
        std::u16string wide = trackName.toUtf16();
        size_t n = std::min<size_t>(wide.size(), MidiFileHeader::kNameLength - 1);
        std::fill(std::begin(header.name), std::end(header.name), char16(0));
        std::copy_n(wide.begin(), n, header.name);
    }
}

bool MidiFileReader::readFile(IBStream* input)
{
    stream = input;
    buffer.resize(kBufferSize);
    bufferPos = bufferEnd = 0;
    bufferStart = 0;
    header = MidiFileHeader();
    stopReason.clear();
    stopOffset = -1;
    tracksRead = 0;
    headerRead = false;
    currentTrack = nullptr;
    std::fill(std::begin(channelTracks), std::end(channelTracks), nullptr);
    runningStatus = 0;
    runningDataBytes = 0;

    streamSize = std::numeric_limits<int64>::max();
    int64 end = 0;
    if (stream->seek(0, IBStream::kIBSeekEnd, &end) == kResultOk)
        streamSize = end;
    if (!seekTo(0))
        return stop("the file cannot be read");

    uint32 tag = 0;
    uint32 headerSize = 0;
    if (!readWord(tag) || tag != kHeaderTag)
        return stop("not a Standard MIDI File (no MThd header)");
    uint16 format = 0, trackCount = 0, division = 0;
    if (!readWord(headerSize) || !readShort(format) || !readShort(trackCount) ||
        !readShort(division))
        return stop("the header is cut short");
    header.format = int16(format);
    header.trackCount = int16(trackCount);
    header.setDivision(division);
    if (headerSize > 6 && !skip(int64(headerSize) - 6))
        return stop("the header is cut short");
    if (!onHeader(header))
        return stop("the header was refused");
    headerRead = true;

    bool complete = true;
    int32 parsed = 0;
    while (parsed < int32(trackCount))
    {
        uint32 size = 0;
        if (!readWord(tag) || !readWord(size))
        {
            complete = stop("the file ends before all its tracks");
            break;
        }
        if (tag != kTrackTag)
        {
            // Chunks of other programs are no tracks and do not count as one.
            if (!skip(size))
            {
                complete = stop("a foreign chunk runs past the end of the file");
                break;
            }
            continue;
        }
        ++parsed;
        if (!readTrack(size))
        {
            complete = false;
            break;
        }
    }

    if (complete && header.format == 0)
    {
        // Some writers append a second track to a format 0 file; read it too when it is there.
        int64 resume = position();
        uint32 size = 0;
        if (readWord(tag) && tag == kTrackTag && readWord(size))
            complete = readTrack(size);
        else
            seekTo(resume);
    }

    onEnd();
    return complete;
}

bool MidiFileReader::readTrack(int64 size)
{
    ++tracksRead;
    int64 chunkEnd = position() + size;
    budget = size;
    if (header.format != 0)
        runningStatus = 0;
    currentTrack = nullptr;
    std::fill(std::begin(channelTracks), std::end(channelTracks), nullptr);
    trackNamed = false;
    nameFromText = false;
    trackName = String();

    uint64 tick = 0;
    bool ended = false;
    bool ok = true;
    auto closeAll = [&]
    {
        auto finish = [&](Track t)
        {
            if (trackNamed)
                setTrackName(t, trackName);
            closeTrack(t, int64(tick));
        };
        if (splitChannels && header.format == 0)
        {
            for (Track& t : channelTracks)
                if (t)
                    finish(t);
        }
        else if (currentTrack)
            finish(currentTrack);
        currentTrack = nullptr;
    };

    while (budget > 0 && !ended)
    {
        uint64 delta = 0;
        uint8 status = 0;
        if (!readVarLen(delta) || !readByte(status))
        {
            ok = stop("a track ends before its last event");
            break;
        }
        tick += delta;
        auto at = int64(tick);

        if (status < 0x80)
        {
            if (runningStatus == 0)
                continue; // data without a status to run on
            uint8 data2 = 0;
            if (runningDataBytes == 2 && !readByte(data2))
            {
                ok = stop("a track ends inside an event");
                break;
            }
            onMidiEvent(trackFor(runningStatus & 0x0F), at, runningStatus, status, data2);
            continue;
        }
        uint8 high = status & 0xF0;
        if (high < 0xF0)
        {
            int32 count = (high == 0xC0 || high == 0xD0) ? 1 : 2;
            uint8 data[2] = {0, 0};
            if (!readBytes(data, count))
            {
                ok = stop("a track ends inside an event");
                break;
            }
            runningStatus = status;
            runningDataBytes = count;
            onMidiEvent(trackFor(status & 0x0F), at, status, data[0], data[1]);
            continue;
        }
        if (status == 0xF0 || status == 0xF7)
        {
            uint64 length = 0;
            if (!readVarLen(length) || length > uint64(streamSize - position()))
            {
                ok = stop("a system exclusive message runs past the end of the file");
                break;
            }
            // The length counts the closing 0xF7; the last byte becomes one whatever it was.
            scratch.resize(size_t(length) + 1);
            scratch[0] = 0xF0;
            if (!readBytes(scratch.data() + 1, int64(length)))
            {
                ok = stop("a system exclusive message runs past the end of the file");
                break;
            }
            scratch[size_t(length)] = 0xF7;
            Track track = currentTrack ? currentTrack : trackFor(-1);
            onSysex(track, at, scratch.data(), int32(length + 1));
            continue;
        }
        if (status != 0xFF)
            continue; // system common and real-time bytes carry nothing here

        uint8 type = 0;
        uint64 length = 0;
        if (!readByte(type) || !readVarLen(length) || length > uint64(streamSize - position()))
        {
            ok = stop("a meta event runs past the end of the file");
            break;
        }
        scratch.resize(size_t(length));
        if (!readBytes(scratch.data(), int64(length)))
        {
            ok = stop("a meta event runs past the end of the file");
            break;
        }
        const uint8* data = scratch.data();
        auto size32 = int32(length);
        auto meta = [&]
        {
            if (currentTrack)
                onMeta(currentTrack, at, type, size32, data);
            else
                onMetaUnassigned(at, type, size32, data);
        };
        switch (type)
        {
        case 0x01:
            meta();
            nameTrack(data, size32, true);
            break;
        case 0x03:
            nameTrack(data, size32, false);
            break;
        case 0x05:
            meta();
            break;
        case 0x06:
            if (!onMarker(at, type, size32, data))
                meta();
            break;
        case 0x2F:
            ended = true;
            break;
        case 0x51:
            if (size32 >= 3)
            {
                uint32 micro = uint32(data[0]) << 16 | uint32(data[1]) << 8 | data[2];
                onTempo(at, float(double(micro) * 1e-06));
            }
            break;
        case 0x58:
            // A denominator beyond 2^30 is damage, not music.
            if (size32 >= 2 && data[1] <= 30)
                onSignature(at, data[0], int32(1) << data[1]);
            break;
        default:
            meta();
            break;
        }
    }
    closeAll();
    if (!ok)
        return false;

    if (ended && budget > 0)
    {
        // Behind an early end of track: go on at the next track if one starts right here,
        // otherwise trust the chunk size.
        int64 here = position();
        uint32 tag = 0;
        if (!(readWord(tag) && tag == kTrackTag && seekTo(here)))
        {
            if (!seekTo(std::min(chunkEnd, streamSize)))
                return stop("the file cannot be read");
        }
    }
    return true;
}

} // namespace Quillmark

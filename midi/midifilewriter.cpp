#include "midi/midifilewriter.h"

#include "midi/miditrackdata.h"
#include "midi/minitempotrack.h"

#include <cmath>

namespace Quillmark
{

int32 MidiFileWriter::encodeVarLen(uint32 value, uint8 out[4])
{
    value &= 0x0FFFFFFF;
    int32 count = 1;
    while (count < 4 && (value >> (7 * count)) != 0)
        ++count;
    for (int32 i = 0; i < count; ++i)
    {
        auto b = uint8((value >> (7 * (count - 1 - i))) & 0x7F);
        out[i] = i < count - 1 ? uint8(b | 0x80) : b;
    }
    return count;
}

void MidiFileWriter::setRange(int64 start, int64 end)
{
    startTick = start;
    endTick = end;
}

bool MidiFileWriter::writeBytes(const void* data, int32 size)
{
    int32 written = 0;
    if (stream->write(const_cast<void*>(data), size, &written) != kResultOk || written != size)
        return false;
    trackBytes += uint32(size);
    return true;
}

bool MidiFileWriter::writeWord(uint32 value)
{
    uint8 b[4] = {uint8(value >> 24), uint8(value >> 16), uint8(value >> 8), uint8(value)};
    return writeBytes(b, 4);
}

bool MidiFileWriter::writeVarLen(uint32 value)
{
    uint8 b[4];
    return writeBytes(b, encodeVarLen(value, b));
}

bool MidiFileWriter::writeDelta(int64 tick)
{
    int64 delta = tick - lastTick;
    lastTick = tick;
    return writeVarLen(uint32(delta));
}

bool MidiFileWriter::writeHeader()
{
    trackCount = 0;
    const uint8 header[14] = {'M',
                              'T',
                              'h',
                              'd',
                              0,
                              0,
                              0,
                              6,
                              0,
                              1,
                              0,
                              1,
                              uint8(kTicksPerQuarter >> 8),
                              uint8(kTicksPerQuarter & 0xFF)};
    return writeBytes(header, 14);
}

bool MidiFileWriter::beginTrack()
{
    lastTick = 0;
    runningStatus = 0;
    int64 at = -1;
    trackStart = stream->tell(&at) == kResultOk ? at + 4 : -1;
    if (!writeWord(0x4D54726B) || !writeWord(0))
        return false;
    trackBytes = 0;
    return true;
}

bool MidiFileWriter::writeTempo(int64 tick, double bpm)
{
    if (bpm <= 0)
        return true;
    auto micro = uint32(60000000.0 / bpm);
    const uint8 meta[6] = {0xFF, 0x51, 0x03, uint8(micro >> 16), uint8(micro >> 8), uint8(micro)};
    runningStatus = 0;
    return writeDelta(tick) && writeBytes(meta, 6);
}

bool MidiFileWriter::writeSignature(int64 tick, int32 numerator, int32 denominator)
{
    uint8 power = 0;
    while (power < 30 && (int32(1) << (power + 1)) <= denominator)
        ++power;
    const uint8 meta[7] = {0xFF, 0x58, 0x04, uint8(numerator), power, 24, 8};
    runningStatus = 0;
    return writeDelta(tick) && writeBytes(meta, 7);
}

bool MidiFileWriter::writeEvent(const PMidiEvent& event, int64 tick)
{
    uint8 type = event.getMessageType();
    if (type < 0x80 || type > 0xE0)
        return true;
    if (tick - lastTick < 0 || tick < startTick || tick > endTick)
        return true;
    if (!writeDelta(tick))
        return false;
    uint8 bytes[3];
    int32 count = 0;
    if (event.getStatus() != runningStatus)
        bytes[count++] = event.getStatus();
    runningStatus = event.getStatus();
    bytes[count++] = event.getData1() & 0x7F;
    if (type != 0xC0 && type != 0xD0)
        bytes[count++] = event.getData2() & 0x7F;
    return writeBytes(bytes, count);
}

bool MidiFileWriter::endTrack()
{
    const uint8 end[4] = {0x00, 0xFF, 0x2F, 0x00};
    if (!writeBytes(end, 4))
        return false;
    ++trackCount;
    if (trackStart < 0)
        return true;
    int64 back = 0;
    if (stream->tell(&back) != kResultOk)
        return false;
    uint32 size = trackBytes;
    uint8 b[4] = {uint8(size >> 24), uint8(size >> 16), uint8(size >> 8), uint8(size)};
    int32 written = 0;
    return stream->seek(trackStart, IBStream::kIBSeekSet) == kResultOk &&
           stream->write(b, 4, &written) == kResultOk && written == 4 &&
           stream->seek(back, IBStream::kIBSeekSet) == kResultOk;
}

bool MidiFileWriter::finish()
{
    int64 back = 0;
    if (stream->tell(&back) != kResultOk)
        return false;
    uint8 b[2] = {uint8(trackCount >> 8), uint8(trackCount)};
    int32 written = 0;
    return stream->seek(10, IBStream::kIBSeekSet) == kResultOk &&
           stream->write(b, 2, &written) == kResultOk && written == 2 &&
           stream->seek(back, IBStream::kIBSeekSet) == kResultOk;
}

bool MidiFileWriter::save(const MidiTrackData& track, const MiniTempoTrack& tempo)
{
    if (!writeHeader() || !beginTrack() || !writeTempo(0, tempo.getTempo()) ||
        !writeSignature(0, tempo.getNumerator(), tempo.getDenominator()))
        return false;
    for (PEvent* p = track.getEvents().getFirstEvent(); p; p = p->getNextEvent())
    {
        auto tick = int64(p->getTime() * kTicksPerQuarter);
        if (!writeEvent(*static_cast<PMidiEvent*>(p), tick))
            return false;
    }
    return endTrack() && finish();
}

} // namespace Quillmark

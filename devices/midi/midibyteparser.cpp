#include "devices/midi/midibyteparser.h"

namespace Quillmark
{

MidiByteParser::MidiByteParser()
{
    sysex.reserve(256);
}

void MidiByteParser::reset()
{
    sysex.clear();
    inSysex = false;
    sysexOverflow = false;
    runningStatus = 0;
    have = 0;
    need = 0;
}

int32 MidiByteParser::dataBytesOf(uint8 status)
{
    if (status < 0x80)
        return -1;
    if (status < 0xF0)
    {
        const uint8 type = status & 0xF0;
        return type == 0xC0 || type == 0xD0 ? 1 : 2;
    }
    switch (status)
    {
    case 0xF1:
    case 0xF3:
        return 1;
    case 0xF2:
        return 2;
    case 0xF0:
        return -1;
    default:
        return 0;
    }
}

void MidiByteParser::parse(const uint8* data, size_t size, Sink& sink)
{
    for (size_t i = 0; i < size; ++i)
        parseByte(data[i], sink);
}

void MidiByteParser::parseByte(uint8 byte, Sink& sink)
{
    if (byte >= 0xF8)
    {
        // Real-time bytes may fall between any two bytes and interrupt nothing.
        sink.midiMessage(&byte, 1);
        return;
    }
    if (inSysex)
    {
        if (byte < 0x80)
        {
            if (int32(sysex.size()) < kMaxSysexSize)
                sysex.push_back(byte);
            else
                sysexOverflow = true;
            return;
        }
        const bool complete = byte == 0xF7;
        if (complete && !sysexOverflow && int32(sysex.size()) < kMaxSysexSize)
        {
            sysex.push_back(0xF7);
            sink.midiMessage(sysex.data(), int32(sysex.size()));
        }
        inSysex = false;
        sysexOverflow = false;
        sysex.clear();
        if (complete)
            return;
        // Any other status ends the data unfinished, and then counts as itself.
    }
    if (byte == 0xF0)
    {
        inSysex = true;
        sysexOverflow = false;
        sysex.clear();
        sysex.push_back(0xF0);
        runningStatus = 0;
        need = 0;
        have = 0;
        return;
    }
    if (byte >= 0x80)
    {
        const int32 count = dataBytesOf(byte);
        if (byte >= 0xF0)
        {
            runningStatus = 0;
            if (byte == 0xF4 || byte == 0xF5 || byte == 0xF7)
            {
                need = 0; // undefined or a stray end byte: nothing to pass on
                have = 0;
                return;
            }
            if (count == 0)
            {
                sink.midiMessage(&byte, 1);
                need = 0;
                have = 0;
                return;
            }
        }
        else
        {
            runningStatus = byte;
        }
        message[0] = byte;
        have = 1;
        need = count;
        return;
    }
    // A data byte.
    if (have == 0)
    {
        if (runningStatus == 0)
            return; // no status to belong to
        message[0] = runningStatus;
        have = 1;
        need = dataBytesOf(runningStatus);
    }
    message[have++] = byte;
    if (have == need + 1)
    {
        sink.midiMessage(message, have);
        have = 0;
        if (message[0] >= 0xF0)
            need = 0;
    }
}

} // namespace Quillmark

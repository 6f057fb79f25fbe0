// Turns a raw stream of MIDI bytes, as a JACK port or a sequencer decoder hands them over, into
// whole messages: running status, real-time bytes between the bytes of another message, and
// system exclusive data collected up to its end byte. Owned by one input thread; not shared.
#pragma once

#include "qel3/qeltypes.h"

#include <vector>

namespace Quillmark
{

class MidiByteParser
{
public:
    /** System exclusive data longer than this is dropped whole rather than kept growing. */
    static constexpr int32 kMaxSysexSize = 65536;

    /** Receives each complete message: 1 to 3 bytes, or a system exclusive message from 0xF0
        up to and including 0xF7. The bytes are valid for the call only. */
    class Sink
    {
    public:
        virtual void midiMessage(const uint8* bytes, int32 size) = 0;

    protected:
        ~Sink() = default;
    };

    MidiByteParser();

    void parse(const uint8* data, size_t size, Sink& sink);
    /** Forgets running status and any system exclusive data begun. */
    void reset();

    /** The number of data bytes that follow a status byte; -1 for 0xF0 and bytes that are
        not a status. */
    static int32 dataBytesOf(uint8 status);

private:
    void parseByte(uint8 byte, Sink& sink);

    std::vector<uint8> sysex;
    bool inSysex = false;
    bool sysexOverflow = false;
    uint8 runningStatus = 0;
    uint8 message[3] = {};
    int32 have = 0;
    int32 need = 0;
};

} // namespace Quillmark

// A push parser for Standard MIDI Files: it walks the chunks and tracks and hands every event
// to a virtual operation. It tolerates what sequencers write (running status, odd header sizes,
// foreign chunks, deltas longer than four bytes) and keeps whatever was handed on before a
// damaged or short file ends the read. Runs on the user interface thread.
#pragma once

#include "base/fstring.h"
#include "qel3/ibstream.h"

#include <string>
#include <vector>

namespace Quillmark
{

/** What the header chunk says, handed on as a whole. */
struct MidiFileHeader
{
    static constexpr int32 kNameLength = 256;

    int16 format = 0;
    int16 trackCount = 0;
    char16 name[kNameLength] = {}; // the song name of a format 0 file, zero-filled
    int32 smpte = 0;               // 1 when the division is in SMPTE frames
    int16 ticks = 0;               // per quarter note; the ticks per frame for SMPTE
    int16 smpteFrames = 0;         // negative frames per second for SMPTE, else 0

    /** Reads the division word of the file. SMPTE time is not converted: its ticks are
        used as if they were per quarter note. */
    void setDivision(uint16 division);
};

class MidiFileReader
{
public:
    using Track = void*; // whatever the subclass uses to stand for a track

    static constexpr uint32 kHeaderTag = 0x4D546864; // "MThd"
    static constexpr uint32 kTrackTag = 0x4D54726B;  // "MTrk"

    virtual ~MidiFileReader() = default;

    /** Reads the whole stream from its start. False when the header is not a MIDI file's or
        the read stopped early; everything handed on before that stays handed on. */
    bool readFile(IBStream* stream);

    const MidiFileHeader& getHeader() const { return header; }
    /** Why and where the last read stopped early; empty after a complete read. */
    const std::string& getStopReason() const { return stopReason; }
    int64 getStopOffset() const { return stopOffset; }
    /** True once the last read got past the header. */
    bool wasHeaderRead() const { return headerRead; }
    /** MTrk chunks read in whole or in part by the last read. */
    int32 getTracksRead() const { return tracksRead; }

    /** In format 0, makes every new channel start a track of its own. Off in this host. */
    void setSplitChannels(bool state) { splitChannels = state; }

protected:
    /** False stops the read. */
    virtual bool onHeader(const MidiFileHeader& header) { return true; }
    virtual void onEnd() {}
    /** The track that takes the events of `channel`; called before the first event of a
        track, and in split mode before the first event of each channel. */
    virtual Track getTrack(int32 channel) { return nullptr; }
    virtual void setTrackName(Track track, const String& name) {}
    virtual void closeTrack(Track track, int64 tick) {}
    virtual void onMidiEvent(Track track, int64 tick, uint8 status, uint8 data1, uint8 data2) {}
    /** `bytes` starts with 0xF0 and ends with 0xF7. */
    virtual void onSysex(Track track, int64 tick, const uint8* bytes, int32 size) {}
    virtual void onMeta(Track track, int64 tick, uint8 type, int32 size, const uint8* data) {}
    /** A text or unknown meta event in a track that has no track object yet. */
    virtual void onMetaUnassigned(int64 tick, uint8 type, int32 size, const uint8* data) {}
    virtual void onTempo(int64 tick, float secondsPerQuarter) {}
    virtual void onSignature(int64 tick, int32 numerator, int32 denominator) {}
    /** True when the marker is consumed; otherwise it goes on to onMeta. */
    virtual bool onMarker(int64 tick, uint8 type, int32 size, const uint8* data) { return false; }

private:
    // Buffered big-endian input over the stream; every byte taken counts down `budget`.
    bool fill();
    bool readByte(uint8& value);
    bool readBytes(uint8* out, int64 count);
    bool readWord(uint32& value);
    bool readShort(uint16& value);
    bool readVarLen(uint64& value);
    bool skip(int64 count);
    int64 position() const { return bufferStart + int64(bufferPos); }
    bool seekTo(int64 offset);
    bool stop(const char* reason);

    bool readTrack(int64 size);
    Track trackFor(int32 channel);
    void nameTrack(const uint8* data, int32 size, bool fromText);

    IBStream* stream = nullptr;
    std::vector<uint8> buffer;
    size_t bufferPos = 0;
    size_t bufferEnd = 0;
    int64 bufferStart = 0;
    int64 streamSize = 0;
    int64 budget = 0;

    MidiFileHeader header;
    bool splitChannels = false;
    std::string stopReason;
    int64 stopOffset = -1;
    int32 tracksRead = 0;
    bool headerRead = false;

    // State of the track being read.
    Track currentTrack = nullptr;
    Track channelTracks[16] = {};
    uint8 runningStatus = 0;
    int32 runningDataBytes = 0;
    bool trackNamed = false;
    bool nameFromText = false;
    String trackName;
    std::vector<uint8> scratch;
};

} // namespace Quillmark

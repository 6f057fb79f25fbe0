// Reads and writes RIFF Wave in all its forms: plain, wave-extensible, Broadcast Wave, RF64
// and Ambisonic B-format. The reader tolerates what other programs get wrong (padding or not,
// unfinished recordings, stray chunks); the writer leaves room for a later switch to RF64 and
// edits the header of an existing file in place.
#pragma once

#include "audiofile/audiofilehandler.h"

#include <string>
#include <vector>

namespace Quillmark
{

class AudioFileTypes;

class WaveFileHandler : public AudioFileHandler
{
public:
    static constexpr const char* kWaveType = "Wave File";
    static constexpr const char* kBroadcastType = "Broadcast Wave File";
    static constexpr const char* kRF64Type = "RF64 Wave File";
    static constexpr const char* kRF64BroadcastType = "RF64 Broadcast Wave File";
    static constexpr const char* kAmbisonicType = "Ambisonic Wave File";
    static constexpr int32 kBextSize = 602;

    explicit WaveFileHandler(AudioFile& file) : AudioFileHandler(file) {}

    static AudioFileHandler* create(AudioFile& file) { return new WaveFileHandler(file); }
    /** The type named by a file's first bytes: "RIFF....WAVEfmt", "...WAVEbext", "RF64" with
        "ds64"; empty for anything else. */
    static std::string sniff(const uint8* bytes, int32 size);
    /** Registers the five Wave types with the registry. */
    static void registerTypes(AudioFileTypes& types);

    bool readHeader(IBStream* stream, bool& found) override;
    bool writeHeader(IBStream* stream) override;
    bool updateHeader(IBStream* stream) override;
    AudioAccessStream* createFile(int32 mode) override;
    void onFormatChanged() override;
    void copyAttributes(const FAttributes& source) override;
    void rescaleMarkers(double oldRate, double newRate) override;
    int64 getMaxFrameCount() const override;

    /** The result of one structure walk, for tests of the padding decision. */
    struct Walk
    {
        int32 result = 0; // 2: not a Wave file at all
        int32 known = 0;
        int32 bad = 0;
    };
    static Walk walkStructure(IBStream* stream, int64 fileSize, int32 alignment);

    /** The data of a `bext` chunk from the file's tree; a history size below 0 takes the
        whole coding history, at least 200 bytes. AIFF carries the same data. */
    std::vector<uint8> renderBroadcast(int64 historySize) const;
    /** Reads a `bext` chunk's data into the file's tree; AIFF carries the same data. */
    void readBroadcast(IBStream* stream, int64 position, uint32 size);

    QEL_DECLARE_CLASS(WaveFileHandler, AudioFileHandler)

private:
    bool readFormat(IBStream* stream, int64 position, uint32 size);
    void readAcid(IBStream* stream, int64 position, uint32 size);
    void readStructure(IBStream* stream, int64 position, uint32 size);
    struct Chunk
    {
        uint32 tag;
        int64 position;
        int64 size;
    };
    /** Writes the iXML text into the smallest filler that holds it, or behind the last
        chunk; the old text becomes a filler. */
    bool placeIXML(IBStream* stream, std::vector<Chunk>& chunks, int64& end);
    void updateFileType();

    int32 blockAlign = 1;
    uint16 formatTag = 1;
    bool broadcast = false;
    bool rf64 = false;
};

} // namespace Quillmark

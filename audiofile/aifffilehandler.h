// Reads and writes AIFF and AIFF-C (big-endian, and the little-endian `sowt`), with markers,
// loops, Broadcast Wave and iXML data, and reads the slices of REX files, which are AIFF files
// with an application chunk. 32-bit float is written as AIFF-C.
#pragma once

#include <vector>

#include "audiofile/audiofilehandler.h"

#include <string>

namespace Quillmark
{

class AudioFileTypes;

class AIFFFileHandler : public AudioFileHandler
{
public:
    static constexpr const char* kAIFFType = "AIFF File";
    static constexpr const char* kAIFCType = "AIFC File";
    static constexpr const char* kREXType = "REX File";

    explicit AIFFFileHandler(AudioFile& file) : AudioFileHandler(file) {}
    static AudioFileHandler* create(AudioFile& file) { return new AIFFFileHandler(file); }
    static std::string sniff(const uint8* bytes, int32 size);
    static void registerTypes(AudioFileTypes& types);

    bool readHeader(IBStream* stream, bool& found) override;
    bool writeHeader(IBStream* stream) override;
    bool updateHeader(IBStream* stream) override;
    AudioAccessStream* createFile(int32 mode) override;
    void copyAttributes(const FAttributes& source) override;
    void rescaleMarkers(double oldRate, double newRate) override;
    int64 getMaxFrameCount() const override;

    /** The 80-bit extended number of a sample rate, and back. */
    static double readExtended(const uint8* bytes);
    static void writeExtended(double value, uint8* bytes);

    QEL_DECLARE_CLASS(AIFFFileHandler, AudioFileHandler)

private:
    void readApplication(IBStream* stream, int64 position, int64 size, bool& cqel, bool seenComm);
    /** The marker and instrument chunk bodies for the file's loops; both empty without any. */
    void renderLoops(std::vector<uint8>& mark, std::vector<uint8>& inst) const;
    void readREX(IBStream* stream, int64 position, int64 size);
    bool aifc = false;
};

} // namespace Quillmark

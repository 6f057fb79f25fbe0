// The base of the format handlers: opens the file for its header and its samples and leaves
// the container's bytes to the format (WaveFileHandler, AIFFFileHandler). A handler belongs to
// its AudioFile.
#pragma once

#include "audiofile/audioaccessstream.h"
#include "base/fobject.h"

namespace Quillmark
{

class AudioFile;
class FAttributes;

/** Open modes: bit masks. */
enum AudioFileMode : int32
{
    kAudioModeRead = 5,
    kAudioModeReadWrite = 15,
    kAudioModeWriteBit = 2,
    kAudioModeBuffered = 0x20,
};

class AudioFileHandler : public CmObject
{
public:
    explicit AudioFileHandler(AudioFile& file) : file(file) {}

    /** Buffered reading (0x20 without write bits) gets the shared block cache; anything else a
        direct stream. Null when the file cannot be opened. */
    virtual AudioAccessStream* createAccessStream(int32 mode);
    /** Creates the file, writes a new header and answers a stream for the samples. */
    virtual AudioAccessStream* createFile(int32 mode);
    /** Reads the header into the file's attributes. */
    virtual bool readInfo();
    /** Opens the file for update and rewrites the header in place. */
    virtual bool updateFile();
    virtual bool readHeader(IBStream* stream, bool& found) = 0;
    virtual bool writeFileInfo() { return true; }
    virtual bool writeHeader(IBStream* stream) = 0;
    virtual bool updateHeader(IBStream* stream) = 0;
    /** Takes the format's metadata from another file's tree. */
    virtual void copyAttributes(const FAttributes& source);
    /** Drops metadata the new format cannot hold. */
    virtual void onFormatChanged() {}
    virtual int64 getDataOffset() const { return dataOffset; }
    virtual void rescaleMarkers(double oldRate, double newRate) {}
    /** Frames that still fit the container. */
    virtual int64 getMaxFrameCount() const = 0;
    /** Whether the handler itself is content with the file; false gives status 8. */
    virtual bool getStatus() const { return true; }

    QEL_DECLARE_CLASS(AudioFileHandler, CmObject)

protected:
    /** Opens the file's path: mode 5 reads, 15 reads and writes, create makes a new file. */
    IBStream* openStream(int32 mode, bool create = false) const;

    AudioFile& file;
    int64 dataOffset = 0;
};

} // namespace Quillmark

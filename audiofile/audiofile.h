// A sound file on disk, opened lazily. Everything known about it lives in one attribute tree
// under the keys of audiofilekeys.h; a format handler, chosen by the path's extension or the
// file's first bytes, parses and writes the container. The file owns its handler.
#pragma once

#include "audiofile/audiofilehandler.h"
#include "audiofile/speakerarrangement.h"
#include "base/fattributes.h"

#include <string>
#include <vector>

namespace Quillmark
{

class AudioAccessor;
class FLock;
class FStreamer;

class AudioFile : public CmObject
{
public:
    enum State : uint16
    {
        kHeaderKnown = 0x0001,
        kDirty = 0x0002,
        kUnavailable = 0x0004,
        kTemporary = 0x0008,
        kUnrecognised = 0x0010,
        kHandlerReading = 0x0020,
        kFirstMarkerTwice = 0x0040,
        kCodecData = 0x0080,
        kRestored = 0x0200,
    };
    enum FileStatus : int32
    {
        kStatusOk = 0,
        kStatusNoHandler = 1,
        kStatusUnreadable = 2,
        kStatusMissing = 4,
        kStatusHandlerRefused = 8,
    };
    static constexpr uint32 kUserReadOnly = 0x4;

    explicit AudioFile(const std::string& path = {});
    ~AudioFile() override;

    /** The one lock that serialises the header reads of all audio files. */
    static FLock& headerLock();

    // Path and handler.
    void setPath(const std::string& path);
    const std::string& getPath() const { return path; }
    AudioFileHandler* getHandler();
    /** The type of the handler found, or null. */
    const std::string& getFileTypeName() const { return handlerType; }
    bool isReadOnly() const { return (userFlags & kUserReadOnly) != 0; }
    void setUserReadOnly(bool on)
    {
        userFlags = on ? (userFlags | kUserReadOnly) : (userFlags & ~kUserReadOnly);
    }
    /** Repairs found while reading a header are written back to the file at once, unless
        this is off: a tool that only looks at files never changes them. */
    void setRepairOnRead(bool on) { repairOnRead = on; }
    bool getRepairOnRead() const { return repairOnRead; }

    /** The attribute tree; unless the header is known, "MediaType" is set to "Audio". */
    FAttributes& getAttributes();
    const FAttributes& attributes() const { return attrs; }

    // Getters read the header first, with the fallbacks of a file that has no such key.
    int32 getFrameFormat();
    int32 getFrameSize();
    int32 getByteOrder();
    int32 getChannelCount();
    double getSampleRate();
    int64 getFrameCount();
    int32 getSampleFormat();
    int32 getSampleSize();
    double getBitRate();

    // Setters mark the header dirty on a real change, unless the handler is reading.
    void setSampleFormat(int32 format);
    void setSampleSize(int32 bits);
    void setChannelCount(int32 channels);
    void setSampleRate(double rate);
    void setFrameCount(int64 frames);
    void setSpeakerArrangement(const ASpeakerArrangement& arrangement);
    void getSpeakerArrangement(ASpeakerArrangement& arrangement);

    /** Reads the header once; false when the file is missing or unreadable. */
    bool ensureHeader();
    bool isValid();
    int32 getFileStatus();
    /** Derives origin time and duration once the header is read. */
    void finishHeader();

    /** A new file: header written, a stream for the samples, or null. */
    AudioAccessStream* createFile(int32 mode = kAudioModeReadWrite);
    /** A stream over the existing samples, or null. */
    AudioAccessStream* openFile(int32 mode = kAudioModeRead);
    /** A converting reader over the samples (mode 5, or 0x25 for the block cache); null when
        the file cannot be opened. The caller owns it. */
    AudioAccessor* createAccessor(int32 mode = kAudioModeRead);

    // Kept in a project: what the file was, so the project opens even when the file is gone.
    // Reading takes the header from the file itself when it can; the stored values stand in
    // only for a file that is missing or unreadable.
    bool write(FStreamer& streamer);
    bool read(FStreamer& streamer);
    void storeAttributes(FAttributes& tree);
    void restoreAttributes(const FAttributes& tree);

    // State word.
    uint16 getState() const { return state; }
    bool hasState(uint16 bits) const { return (state & bits) != 0; }
    void setState(uint16 bits, bool on);
    /** Marks the header dirty unless the handler is reading. */
    void markDirty();

    /** Loop points from the file: pairs of start and end frames. With kFirstMarkerTwice set,
        the first pair goes in twice (a sustain loop that is also the release loop). */
    void addMarkerPair(int64 start, int64 end);
    const std::vector<std::pair<int64, int64>>& getMarkerPairs() const { return markerPairs; }
    void clearMarkerPairs() { markerPairs.clear(); }

    /** Repairs made while reading the header, in words for the user. */
    const std::vector<std::string>& getRepairs() const { return repairs; }
    void addRepair(const std::string& text) { repairs.push_back(text); }
    void clearRepairs() { repairs.clear(); }

    /** Clears the tree for a new header, keeping "archivePath" and setting the path keys. */
    void resetAttributes();
    /** Writes the usual defaults of a new file. */
    void setDefaultAttributes();

    QEL_DECLARE_CLASS(AudioFile, CmObject)

private:
    void chooseHandler();
    void restore(const std::string& newPath, int64 frames, int64 sampleSize, int64 frameSize,
                 int64 channels, double rate, int64 format, int64 byteOrder);
    void recomputeFrameSize();
    int64 intOr(const char* key, int64 fallback) const;

    uint32 userFlags = 0;
    bool repairOnRead = true;
    AudioFileHandler* handler = nullptr;
    std::string handlerType;
    uint16 state = 0;
    FAttributes attrs;
    std::string path;
    std::vector<std::string> repairs;
    std::vector<std::pair<int64, int64>> markerPairs;
};

} // namespace Quillmark

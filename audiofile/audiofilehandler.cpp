#include "audiofile/audiofilehandler.h"

#include "audiofile/audioblockbuffers.h"
#include "audiofile/audiofile.h"
#include "audiofile/audiofilekeys.h"
#include "base/fstreams.h"

namespace Quillmark
{

IBStream* AudioFileHandler::openStream(int32 mode, bool create) const
{
    const char* how = create ? "w+b" : (mode & kAudioModeWriteBit) ? "r+b" : "rb";
    return FFileStream::open(file.getPath().c_str(), how);
}

AudioAccessStream* AudioFileHandler::createAccessStream(int32 mode)
{
    const bool cached = (mode & kAudioModeBuffered) && !(mode & (kAudioModeWriteBit | 8));
    IBStream* stream = openStream(mode & ~kAudioModeBuffered);
    if (!stream)
        return nullptr;
    if (cached)
        return new AudioBlockAccessStream(file, stream, getDataOffset(), file.getFrameSize());
    return new AudioFileAccessStream(file, stream, getDataOffset(), file.getFrameSize());
}

AudioAccessStream* AudioFileHandler::createFile(int32 mode)
{
    IBStream* stream = openStream(mode & ~kAudioModeBuffered, true);
    if (!stream)
        return nullptr;
    file.getAttributes().setInt(AudioKeys::kFrameCount, 0);
    if (!writeHeader(stream))
    {
        stream->release();
        return nullptr;
    }
    return new AudioFileAccessStream(file, stream, getDataOffset(), file.getFrameSize());
}

bool AudioFileHandler::readInfo()
{
    IBStream* stream = openStream(kAudioModeRead);
    if (!stream)
        return false;
    const bool wasDirty = file.hasState(AudioFile::kDirty);
    file.setState(AudioFile::kHandlerReading, true);
    bool found = false;
    bool ok = readHeader(stream, found);
    file.setState(AudioFile::kHandlerReading, false);
    if (!ok)
        file.setState(AudioFile::kUnrecognised, true);
    stream->release();
    if (ok)
        file.finishHeader();
    if (ok && !wasDirty && file.hasState(AudioFile::kDirty))
    {
        if (file.getRepairOnRead())
            updateFile();
        file.setState(AudioFile::kDirty, false);
    }
    return ok;
}

bool AudioFileHandler::updateFile()
{
    IBStream* stream = openStream(kAudioModeReadWrite);
    if (!stream)
        return false;
    bool ok = updateHeader(stream);
    stream->release();
    return ok;
}

void AudioFileHandler::copyAttributes(const FAttributes& source)
{
    using namespace AudioKeys;
    static const char* const keys[] = {
        kChunkBroadcast, kOriginTime, kAuthor,           kRecordDate, kNotes,     kProjectName,
        kBWFDescription, kBWFOrigRef, kBWFCodingHistory, kFrameSize,  kByteOrder, kFrameFormat,
        kSampleFormat,   kChannels,   kSampleSize,       kSampleRate};
    FAttributes& target = file.getAttributes();
    for (const char* key : keys)
    {
        int64 i;
        double f;
        String text;
        switch (source.getType(key))
        {
        case FAttrType::kInt:
            source.getInt(key, i);
            target.setInt(key, i);
            break;
        case FAttrType::kFloat:
            source.getFloat(key, f);
            target.setFloat(key, f);
            break;
        case FAttrType::kString:
            source.getString(key, text);
            target.setString(key, text);
            break;
        default:
            break;
        }
    }
}

} // namespace Quillmark

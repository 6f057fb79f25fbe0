#include "audiofile/audiofile.h"

#include "audiofile/audioaccessor.h"
#include "audiofile/audioblockbuffers.h"
#include "audiofile/audiofilekeys.h"
#include "audiofile/audiofiletypes.h"
#include "base/flock.h"
#include "base/fstreamer.h"
#include "base/fstreams.h"
#include "base/platform/files.h"

#include <cmath>
#include <random>

namespace Quillmark
{

using namespace AudioKeys;

AudioFile::AudioFile(const std::string& path)
{
    if (!path.empty())
        setPath(path);
}

AudioFile::~AudioFile()
{
    // Every cached stream holds a reference, so the file's block cache is unused by now.
    AudioBlockBuffers::forget(this);
    if (handler)
        handler->release();
    if (hasState(kTemporary) && !hasState(kRestored) && !hasState(kUnavailable) && !path.empty())
        std::remove(path.c_str());
}

FLock& AudioFile::headerLock()
{
    static FLock* lock = new FLock("FLock");
    return *lock;
}

void AudioFile::setPath(const std::string& newPath)
{
    path = newPath;
    if (handler)
    {
        handler->release();
        handler = nullptr;
    }
    handlerType.clear();
    state &= uint16(~(kHeaderKnown | kUnavailable | kUnrecognised));
    attrs.setString(kFileName, platform::fileName(path).c_str());
    chooseHandler();
}

void AudioFile::chooseHandler()
{
    AudioFileTypes& types = AudioFileTypes::instance();
    const AudioFileType* byExtension = types.typeForExtension(platform::extensionOf(path));
    auto walk = [&](const std::string& typeName, bool usePredicates)
    {
        for (AMetaHandler* meta : types.handlers())
        {
            bool match = !typeName.empty() && meta->fileType.name == typeName;
            if (!match && usePredicates && meta->predicate)
                match = meta->predicate(path);
            if (!match)
                continue;
            if (AudioFileHandler* made = meta->factory(*this))
            {
                handler = made;
                handlerType = meta->fileType.name;
                if (meta->flags & kAudioTypeWritable)
                    userFlags &= ~kUserReadOnly;
                else
                    userFlags |= kUserReadOnly;
                return true;
            }
        }
        return false;
    };
    if (walk(byExtension ? byExtension->name : std::string(), true))
        return;

    // The extension said nothing useful: the file's first bytes decide.
    uint8 head[64] = {};
    int32 got = 0;
    if (FFileStream* stream = FFileStream::open(path.c_str(), "rb"))
    {
        stream->read(head, sizeof(head), &got);
        stream->release();
    }
    std::string sniffed = types.sniff(head, got);
    if (sniffed.empty() || !walk(sniffed, false))
        return;
    if (platform::extensionOf(path).empty())
    {
        if (const AudioFileType* type = types.typeNamed(sniffed))
        {
            path += "." + type->extension;
            attrs.setString(kFileName, platform::fileName(path).c_str());
        }
    }
}

AudioFileHandler* AudioFile::getHandler()
{
    if (!handler && !path.empty())
        chooseHandler();
    return handler;
}

FAttributes& AudioFile::getAttributes()
{
    if (!hasState(kHeaderKnown))
        attrs.setString(kMediaType, "Audio");
    return attrs;
}

void AudioFile::setState(uint16 bits, bool on)
{
    state = on ? uint16(state | bits) : uint16(state & ~bits);
}

void AudioFile::markDirty()
{
    if (!hasState(kHandlerReading))
        setState(kDirty, true);
}

void AudioFile::resetAttributes()
{
    FObject* archive = nullptr;
    if (FXmlObject* kept = attrs.getObject(kArchivePath))
    {
        archive = kept;
        archive->addRef();
    }
    attrs.clear();
    if (archive)
    {
        attrs.setObject(kArchivePath, static_cast<FXmlObject*>(archive));
        archive->release();
    }
    attrs.setString(kMediaType, "Audio");
    attrs.setString(kFilePath, path.c_str());
    attrs.setString(kFileName, platform::fileName(path).c_str());
    markDirty();
}

void AudioFile::setDefaultAttributes()
{
    attrs.setString(kMediaType, "Audio");
    attrs.setInt(kByteOrder, 0);
    attrs.setInt(kFrameCount, 0);
    attrs.setFloat(kSampleRate, 44100);
    attrs.setInt(kFrameFormat, 0);
    attrs.setInt(kFrameSize, 2);
    attrs.setInt(kSampleFormat, 1);
    attrs.setInt(kSampleSize, 16);
    attrs.setInt(kChannels, 1);
}

int64 AudioFile::intOr(const char* key, int64 fallback) const
{
    int64 value;
    return attrs.getInt(key, value) ? value : fallback;
}

bool AudioFile::ensureHeader()
{
    if (hasState(kUnavailable))
        return false;
    if (hasState(kHeaderKnown))
        return true;
    FGuard guard(headerLock());
    if (!getHandler())
        return false;
    if (!hasState(kHandlerReading | kHeaderKnown | kUnavailable | kDirty))
    {
        if (!handler->readInfo())
        {
            setState(kUnavailable, true);
            return false;
        }
        setState(kHeaderKnown, true);
        recomputeFrameSize();
    }
    return true;
}

void AudioFile::recomputeFrameSize()
{
    int64 channels = intOr(kChannels, 1);
    int64 bits = 0;
    if (!attrs.getInt(kSampleSize, bits))
        return;
    int64 frameSize = channels * ((bits + 7) / 8);
    int64 present = -1;
    // A 24-bit sample in a 32-bit container keeps its wider frame.
    if (attrs.getInt(kFrameSize, present) && bits == 24 && present == channels * 4)
        return;
    if (present != frameSize)
        attrs.setInt(kFrameSize, frameSize);
}

void AudioFile::finishHeader()
{
    double rate = 0;
    if (!attrs.getFloat(kSampleRate, rate) || rate <= 0)
        return;
    int64 originSamples;
    if (attrs.getInt(kOriginTimeSamples, originSamples))
    {
        attrs.setFloat(kOriginTime, double(originSamples) / rate);
        attrs.remove(kOriginTimeSamples);
    }
    attrs.setFloat(kDuration, double(intOr(kFrameCount, 0)) / rate);
}

int32 AudioFile::getFrameFormat()
{
    ensureHeader();
    return int32(intOr(kFrameFormat, 0));
}

int32 AudioFile::getFrameSize()
{
    ensureHeader();
    return int32(intOr(kFrameSize, 2));
}

int32 AudioFile::getByteOrder()
{
    ensureHeader();
    return int32(intOr(kByteOrder, 0));
}

int32 AudioFile::getChannelCount()
{
    ensureHeader();
    return int32(intOr(kChannels, 1));
}

double AudioFile::getSampleRate()
{
    ensureHeader();
    double rate;
    return attrs.getFloat(kSampleRate, rate) ? rate : 44100;
}

int64 AudioFile::getFrameCount()
{
    ensureHeader();
    return intOr(kFrameCount, 0);
}

int32 AudioFile::getSampleFormat()
{
    ensureHeader();
    return int32(intOr(kSampleFormat, 1));
}

int32 AudioFile::getSampleSize()
{
    ensureHeader();
    int64 bits;
    if (attrs.getInt(kSampleSize, bits))
        return int32(bits);
    int64 channels = intOr(kChannels, 1);
    return channels > 0 ? int32(intOr(kFrameSize, 2) / channels * 8) : 0;
}

double AudioFile::getBitRate()
{
    ensureHeader();
    double rate;
    if (attrs.getFloat(kBitRate, rate))
        return rate;
    return getSampleRate() * getFrameSize() * 8;
}

void AudioFile::setSampleFormat(int32 format)
{
    if (intOr(kSampleFormat, -1) == format)
        return;
    attrs.setInt(kSampleFormat, format);
    markDirty();
}

void AudioFile::setSampleSize(int32 bits)
{
    if (intOr(kSampleSize, -1) != bits)
    {
        attrs.setInt(kSampleSize, bits);
        markDirty();
    }
    recomputeFrameSize();
}

void AudioFile::setChannelCount(int32 channels)
{
    if (channels < 1 && attrs.contains(kChannels))
    {
        recomputeFrameSize();
        return;
    }
    attrs.remove(kChannelList);
    if (intOr(kChannels, -1) != channels)
    {
        attrs.setInt(kChannels, channels);
        markDirty();
    }
    recomputeFrameSize();
}

void AudioFile::setSampleRate(double rate)
{
    double old = 0;
    bool had = attrs.getFloat(kSampleRate, old);
    if (had && old == rate)
        return;
    if (had && handler && old > 0)
        handler->rescaleMarkers(old, rate);
    attrs.setFloat(kSampleRate, rate);
    markDirty();
}

void AudioFile::setFrameCount(int64 frames)
{
    if (intOr(kFrameCount, -1) == frames)
        return;
    attrs.setInt(kFrameCount, frames);
    markDirty();
}

void AudioFile::getSpeakerArrangement(ASpeakerArrangement& arrangement)
{
    ensureHeader();
    arrangement.removeAll();
    if (FSubList* list = attrs.getSubList(kChannelList))
    {
        for (int32 i = 0; i < list->count(); ++i)
        {
            int64 type;
            if (!list->at(i)->getInt(kChannelType, type))
            {
                arrangement.removeAll();
                break;
            }
            arrangement.append(int32(type));
        }
        if (arrangement.count() > 0)
            return;
    }
    if (getChannelCount() <= kMaxSpeakerChannels)
        defaultArrangementForChannels(getChannelCount(), arrangement);
}

void AudioFile::setSpeakerArrangement(const ASpeakerArrangement& arrangement)
{
    ASpeakerArrangement present;
    if (FSubList* list = attrs.getSubList(kChannelList))
        for (int32 i = 0; i < list->count(); ++i)
        {
            int64 type;
            if (list->at(i)->getInt(kChannelType, type))
                present.append(int32(type));
        }
    bool same = present.count() == arrangement.count();
    for (int32 i = 0; same && i < arrangement.count(); ++i)
        same = present.findSpeaker(arrangement.idAt(i)) >= 0;
    if (same)
        return;
    attrs.setInt(kChannels, arrangement.count());
    FSubList* list = attrs.setSubList(kChannelList);
    for (int32 i = 0; i < arrangement.count(); ++i)
        list->add()->setInt(kChannelType, arrangement.idAt(i));
    markDirty();
}

void AudioFile::addMarkerPair(int64 start, int64 end)
{
    markerPairs.emplace_back(start, end);
    if (hasState(kFirstMarkerTwice) && markerPairs.size() == 1)
        markerPairs.emplace_back(start, end);
    markDirty();
}

void AudioFile::restore(const std::string& newPath, int64 frames, int64 sampleSize, int64 frameSize,
                        int64 channels, double rate, int64 format, int64 byteOrder)
{
    setPath(newPath);
    ensureHeader();
    if (hasState(kUnavailable | kUnrecognised))
    {
        attrs.setInt(kFrameCount, frames);
        attrs.setInt(kSampleSize, sampleSize);
        attrs.setInt(kFrameSize, frameSize);
        attrs.setInt(kChannels, channels);
        attrs.setFloat(kSampleRate, rate);
        attrs.setInt(kSampleFormat, format >> 16);
        attrs.setInt(kFrameFormat, format & 0xFFFF);
        attrs.setInt(kByteOrder, byteOrder);
    }
    setState(kDirty, false);
    setState(kRestored, true);
}

bool AudioFile::write(FStreamer& streamer)
{
    return streamer.writeInt64(getFrameCount()) && streamer.writeInt16(int16(getSampleSize())) &&
           streamer.writeInt16(int16(getFrameSize())) &&
           streamer.writeInt16(int16(getChannelCount())) &&
           streamer.writeFloat(float(getSampleRate())) && streamer.writeString8(path.c_str());
}

bool AudioFile::read(FStreamer& streamer)
{
    int64 frames = 0;
    int16 sampleSize = 16, frameSize = 2, channels = 1;
    float rate = 44100;
    String storedPath;
    if (!streamer.readInt64(frames) || !streamer.readInt16(sampleSize) ||
        !streamer.readInt16(frameSize) || !streamer.readInt16(channels) ||
        !streamer.readFloat(rate) || !streamer.readString8(storedPath))
        return false;
    restore(storedPath.toUtf8(), frames, sampleSize, frameSize, channels, rate,
            int64(sampleSize > 8 ? 1 : 0) << 16, 0);
    return true;
}

void AudioFile::storeAttributes(FAttributes& tree)
{
    tree.setString("FPath", path.c_str());
    tree.setInt("FrameCount", getFrameCount());
    tree.setInt("Sample Size", getSampleSize());
    tree.setInt("Frame Size", getFrameSize());
    if (attrs.contains(kChannelList))
    {
        ASpeakerArrangement arrangement;
        getSpeakerArrangement(arrangement);
        arrangement.storeAttributes(*tree.setList("SpeakerArr"));
    }
    else
        tree.setInt("Channels", getChannelCount());
    tree.setFloat("Rate", getSampleRate());
    tree.setInt("Format", int64(getSampleFormat()) * 65536 + getFrameFormat());
    tree.setInt("ByteOrder", getByteOrder());
    tree.setInt("DataOffset", handler ? handler->getDataOffset() : 0);
}

void AudioFile::restoreAttributes(const FAttributes& tree)
{
    String storedPath;
    tree.getString("FPath", storedPath);
    int64 frames = 0, sampleSize = 16, frameSize = 2, channels = 1, format = 1 << 16, order = 0;
    double rate = 44100;
    tree.getInt("FrameCount", frames);
    tree.getInt("Sample Size", sampleSize);
    tree.getInt("Frame Size", frameSize);
    if (FAttrList* speakers = tree.getList("SpeakerArr"))
    {
        ASpeakerArrangement arrangement;
        arrangement.restoreAttributes(*speakers);
        channels = arrangement.count();
    }
    else
        tree.getInt("Channels", channels);
    tree.getFloat("Rate", rate);
    tree.getInt("Format", format);
    tree.getInt("ByteOrder", order);
    restore(storedPath.toUtf8(), frames, sampleSize, frameSize, channels, rate, format, order);
}

bool AudioFile::isValid()
{
    if (hasState(kUnrecognised | kUnavailable))
        return false;
    if (!platform::fileInfo(path).exists || !getHandler() || !ensureHeader())
        return false;
    return getFrameSize() > 0 && getSampleSize() >= 8;
}

int32 AudioFile::getFileStatus()
{
    if (!platform::fileInfo(path).exists)
        return kStatusMissing;
    if (!getHandler())
        return kStatusNoHandler;
    if (!ensureHeader() || hasState(kUnrecognised))
        return kStatusUnreadable;
    if (!handler->getStatus())
        return kStatusHandlerRefused;
    return kStatusOk;
}

AudioAccessStream* AudioFile::createFile(int32 mode)
{
    if (!getHandler())
        return nullptr;
    setState(kHeaderKnown, true);
    recomputeFrameSize();
    setState(kDirty | kUnavailable, false);
    if (!attrs.contains(kMUID))
    {
        // A unique material identifier: 32 random hexadecimal digits.
        std::random_device device;
        std::string text;
        static const char digits[] = "0123456789ABCDEF";
        for (int i = 0; i < 32; ++i)
            text += digits[device() & 15];
        attrs.setString(kMUID, text.c_str());
    }
    return handler->createFile(mode);
}

AudioAccessStream* AudioFile::openFile(int32 mode)
{
    if (!getHandler() || (isReadOnly() && (mode & kAudioModeWriteBit)))
        return nullptr;
    setState(kUnavailable, false);
    if (!ensureHeader())
        return nullptr;
    AudioAccessStream* stream = handler->createAccessStream(mode);
    if (!stream)
    {
        setState(kUnavailable, true);
        return nullptr;
    }
    setState(kDirty, false);
    recomputeFrameSize();
    return stream;
}

AudioAccessor* AudioFile::createAccessor(int32 mode)
{
    AudioAccessStream* stream = openFile(mode);
    if (!stream)
        return nullptr;
    return new AudioAccessor(*this, stream);
}

} // namespace Quillmark

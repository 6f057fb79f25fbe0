#include "audiofile/wavefilehandler.h"

#include "audiofile/aixmlhandler.h"
#include "audiofile/audiofile.h"
#include "audiofile/audiofilekeys.h"
#include "audiofile/audiofiletypes.h"
#include "audiofile/bytestreamio.h"
#include "audiofile/namedarrangements.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace Quillmark
{

using namespace AudioKeys;
using namespace ByteIO;

namespace
{

constexpr uint32 kRIFF = tagLE("RIFF"), kRF64 = tagLE("RF64"), kWAVE = tagLE("WAVE"),
                 kDS64 = tagLE("ds64"), kFMT = tagLE("fmt "), kDATA = tagLE("data"),
                 kBEXT = tagLE("bext"), kJUNK = tagLE("JUNK"), kFAKE = tagLE("Fake"),
                 kACID = tagLE("acid"), kSTRC = tagLE("strc"), kIXML = tagLE("iXML");

const uint32 kKnownTags[] = {kRIFF,         kRF64,         kDS64,         kFMT,
                             kDATA,         tagLE("cue "), tagLE("elm1"), kJUNK,
                             tagLE("Junk"), kIXML,         kSTRC,         kACID,
                             tagLE("umid"), kFAKE,         tagLE("minf"), tagLE("ovwf"),
                             tagLE("smpl"), tagLE("regn"), tagLE("inst"), kBEXT};

bool isKnown(uint32 tag)
{
    return std::find(std::begin(kKnownTags), std::end(kKnownTags), tag) != std::end(kKnownTags);
}

bool printableTag(uint32 tag)
{
    for (int i = 0; i < 4; ++i)
    {
        uint8 c = uint8(tag >> (8 * i));
        if (c < 0x20 || c > 0x7F)
            return false;
    }
    return true;
}

const uint8 kSubFormatPCM[16] = {1, 0, 0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
const uint8 kSubFormatFloat[16] = {3,    0, 0, 0,    0, 0,    0x10, 0,
                                   0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
const uint8 kSubFormatAmbiPCM[16] = {1,    0,    0,    0,    0x21, 7, 0xD3, 0x11,
                                     0x86, 0x44, 0xC8, 0xC1, 0xCA, 0, 0,    0};
const uint8 kSubFormatAmbiFloat[16] = {3,    0,    0,    0,    0x21, 7, 0xD3, 0x11,
                                       0x86, 0x44, 0xC8, 0xC1, 0xCA, 0, 0,    0};

constexpr int16 kLoudnessEmpty = 0x7FFF;

int64 getIntOr(const FAttributes& a, const char* key, int64 fallback)
{
    int64 v;
    return a.getInt(key, v) ? v : fallback;
}

double getFloatOr(const FAttributes& a, const char* key, double fallback)
{
    double v;
    return a.getFloat(key, v) ? v : fallback;
}

std::string getText(const FAttributes& a, const char* key)
{
    String text;
    return a.getString(key, text) ? text.toUtf8() : std::string();
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Types and sniffing

std::string WaveFileHandler::sniff(const uint8* b, int32 size)
{
    if (size >= 15 && le32(b) == kRIFF && le32(b + 8) == kWAVE &&
        std::memcmp(b + 12, "fmt", 3) == 0)
        return kWaveType;
    if (size >= 16 && le32(b) == kRIFF && le32(b + 8) == kWAVE && le32(b + 12) == kBEXT)
        return kBroadcastType;
    if (size >= 16 && le32(b) == kRF64 && le32(b + 8) == kWAVE && le32(b + 12) == kDS64)
        return kRF64Type;
    return {};
}

void WaveFileHandler::registerTypes(AudioFileTypes& types)
{
    for (const char* name : {kWaveType, kBroadcastType, kRF64Type, kRF64BroadcastType})
        types.addKnownType({name, "wav", "audio/wav"});
    types.addKnownType({kAmbisonicType, "amb", "audio/amb"});
    types.registerAudioFileType({kWaveType, "wav", "audio/wav"}, &WaveFileHandler::create, 7);
    types.registerAudioFileType({kAmbisonicType, "amb", "audio/amb"}, &WaveFileHandler::create, 7);
    // Broadcast and RF64 files carry the extension "wav" too; the sniffer's names reach the
    // same handler.
    for (const char* name : {kBroadcastType, kRF64Type, kRF64BroadcastType})
        types.registerAudioFileType({name, "wav", "audio/wav"}, &WaveFileHandler::create, 4);
    types.registerSniffer(&WaveFileHandler::sniff);
}

void WaveFileHandler::updateFileType()
{
    const char* type = rf64 ? (broadcast ? kRF64BroadcastType : kRF64Type)
                            : (broadcast ? kBroadcastType : kWaveType);
    if (file.getFileTypeName() == kAmbisonicType && !rf64 && !broadcast)
        type = kAmbisonicType;
    file.getAttributes().setString(kFileType, type);
}

// ---------------------------------------------------------------------------------------------
// Reading

WaveFileHandler::Walk WaveFileHandler::walkStructure(IBStream* stream, int64 fileSize,
                                                     int32 alignment)
{
    Walk walk;
    int64 position = 0;
    int64 ds64DataSize = -1;
    for (int32 n = 0; n < 100; ++n)
    {
        if (alignment > 1)
            position = (position + alignment - 1) / alignment * alignment;
        uint8 header[8];
        if (!readAt(stream, position, header, 8))
            return walk;
        const uint32 tag = le32(header);
        int64 size = le32(header + 4);
        if (isKnown(tag))
        {
            ++walk.known;
            if (tag == kDS64 && size >= 24)
            {
                uint8 body[24];
                if (readAt(stream, position + 8, body, 24))
                    ds64DataSize = int64(le32(body + 8)) | int64(le32(body + 12)) << 32;
            }
            if (tag == kRIFF || tag == kRF64)
                size = 4;
            if (tag == kDATA && ds64DataSize >= 0)
                size = ds64DataSize;
        }
        else if (position == 0)
        {
            walk.result = 2;
            return walk;
        }
        else if (!(size != 0 && position + 8 + size <= fileSize && printableTag(tag)))
            ++walk.bad;
        position += 8 + size;
    }
    return walk;
}

bool WaveFileHandler::readHeader(IBStream* stream, bool& found)
{
    found = false;
    FAttributes& a = file.getAttributes();
    file.clearRepairs();
    file.resetAttributes();
    a.setInt(kByteOrder, 0);
    a.setInt(kFrameFormat, 0);
    file.setState(AudioFile::kCodecData, false);
    a.remove(kRF64FileFormat);
    blockAlign = 1;
    formatTag = 1;
    broadcast = rf64 = false;
    dataOffset = 0;

    const int64 fileSize = streamSize(stream);
    if (fileSize < 12)
        return false;
    const Walk aligned = walkStructure(stream, fileSize, 2);
    const Walk unaligned = walkStructure(stream, fileSize, 1);
    if (aligned.result == 2 || unaligned.result == 2)
        return false;
    const bool padded = !(unaligned.known > aligned.known ||
                          (unaligned.known == aligned.known && unaligned.bad < aligned.bad));
    if (padded)
        a.setInt(kWAVForceAlignment, 1);

    bool seenRiff = false, seenFmt = false, seenData = false, seenBext = false, seenAcid = false,
         seenDs64 = false;
    int64 ds64DataSize = -1;
    int64 headerFrames = 0;
    int32 knownAfter = 0, unknownAfter = 0;
    bool damaged = false;
    int64 position = 0;
    for (int32 n = 0; n < 100000; ++n)
    {
        uint8 header[8];
        if (!readAt(stream, position, header, 8))
            break;
        const uint32 tag = le32(header);
        int64 size = le32(header + 4);
        const int64 body = position + 8;
        if (seenRiff && seenFmt && seenData && tag != kDATA)
        {
            if (isKnown(tag))
                ++knownAfter;
            else if (++unknownAfter >= 20)
            {
                damaged = headerFrames == 0;
                break;
            }
        }
        if (tag == kRIFF || tag == kRF64)
        {
            uint8 form[4];
            if (!seenRiff)
            {
                if (!readAt(stream, body, form, 4) || le32(form) != kWAVE)
                    return false;
                seenRiff = true;
                if (tag == kRF64)
                {
                    rf64 = true;
                    a.setInt(kRF64FileFormat, 1);
                }
            }
            position = body + 4;
            continue;
        }
        if (tag == kDS64)
        {
            if (seenDs64 || !rf64)
                return false;
            seenDs64 = true;
            uint8 values[28] = {};
            if (readAt(stream, body, values, int32(std::min<int64>(size, 28))))
                ds64DataSize = int64(le32(values + 8)) | int64(le32(values + 12)) << 32;
            updateFileType();
        }
        else if (tag == kFMT && !seenFmt)
        {
            seenFmt = true;
            if (!readFormat(stream, body, uint32(size)))
                return false;
        }
        else if (tag == kDATA && !seenData)
        {
            seenData = true;
            if (ds64DataSize >= 0)
                size = ds64DataSize;
            if (blockAlign > 0)
                headerFrames = size / blockAlign;
            dataOffset = body;
        }
        else if (tag == kDATA && ds64DataSize >= 0)
            size = 0; // a second data chunk of an RF64 file: its size field means nothing
        else if (tag == kBEXT)
        {
            if (!seenBext)
            {
                seenBext = true;
                readBroadcast(stream, body, uint32(size));
                a.setInt(kChunkBroadcast, 1);
                broadcast = true;
                updateFileType();
            }
        }
        else if (tag == kACID)
        {
            seenAcid = true;
            readAcid(stream, body, uint32(size));
        }
        else if (tag == kSTRC && seenAcid)
            readStructure(stream, body, uint32(size));
        else if (tag == kIXML)
        {
            std::vector<uint8> text(size_t(std::min<int64>(size, 1 << 20)));
            if (!text.empty() && readAt(stream, body, text.data(), int32(text.size())))
            {
                // Writers pad the text with zeros or spaces; the parser sees the document.
                size_t length = text.size();
                while (length > 0 && (text[length - 1] == 0 || text[length - 1] == ' '))
                    --length;
                if (!AIXmlHandler::import(text.data(), length, a))
                    file.addRepair("iXML text damaged; read as far as it goes");
                a.setInt(kChunkIXML, 1); // kept when the header is written again
            }
        }
        position = body + size + (padded && (size & 1) ? 1 : 0);
    }
    if (!(seenRiff && seenFmt && seenData))
        return false;
    found = true;

    // The frames really present decide where the header and the file disagree.
    int64 frames = headerFrames;
    if (fileSize > 0 && blockAlign > 0)
    {
        const int64 available = std::max<int64>(0, (fileSize - dataOffset) / blockAlign);
        if (available < headerFrames)
        {
            frames = available;
            file.addRepair("frame count cut from " + std::to_string(headerFrames) + " to the " +
                           std::to_string(available) + " frames present");
        }
        else if (damaged && available > 0)
        {
            frames = available;
            file.addRepair("damaged chunk list: frame count taken from the data, " +
                           std::to_string(available) + " frames");
        }
        else if (headerFrames == 0 && available > 0 && knownAfter == 0)
        {
            frames = available;
            file.addRepair("unfinished recording: frame count taken from the data, " +
                           std::to_string(available) + " frames");
        }
    }
    a.setInt(kFrameCount, frames);
    if (frames != headerFrames)
        file.setState(AudioFile::kDirty, true);
    if (padded && unaligned.known != aligned.known)
        file.addRepair("odd chunks are padded");
    updateFileType();
    return true;
}

bool WaveFileHandler::readFormat(IBStream* stream, int64 position, uint32 size)
{
    FAttributes& a = file.getAttributes();
    uint8 f[16] = {};
    const int32 fixed = int32(std::min<uint32>(size, 16));
    if (fixed < 14 || !readAt(stream, position, f, fixed))
        return false;
    formatTag = le16(f);
    const int32 channels = le16(f + 2);
    const uint32 rate = le32(f + 4);
    blockAlign = le16(f + 12);
    int32 bits = formatTag == 0 ? 8 : (fixed >= 16 ? le16(f + 14) : 8);
    if (bits > 64)
    {
        file.addRepair(std::to_string(bits) + " bits per sample is not a sample size");
        return false;
    }

    uint16 extraSize = 0;
    std::vector<uint8> extra;
    if ((formatTag > 1 || formatTag == 0xFFFE) && size >= 18)
    {
        uint8 e[2];
        if (readAt(stream, position + 16, e, 2))
            extraSize = le16(e);
        const uint32 available = size - 18;
        extra.resize(std::min<uint32>(extraSize, available));
        if (!extra.empty() && !readAt(stream, position + 18, extra.data(), int32(extra.size())))
            extra.clear();
    }

    bool floatSub = false;
    uint32 mask = 0;
    bool haveMask = false;
    if (formatTag == 0xFFFE && extraSize >= 1 && extraSize <= 64 && extra.size() >= 22)
    {
        mask = le32(extra.data() + 2);
        haveMask = true;
        const uint8* sub = extra.data() + 6;
        bool ambisonic = false;
        if (std::memcmp(sub, kSubFormatFloat, 16) == 0)
            floatSub = true;
        else if (std::memcmp(sub, kSubFormatAmbiFloat, 16) == 0)
            floatSub = ambisonic = true;
        else if (std::memcmp(sub, kSubFormatAmbiPCM, 16) == 0)
            ambisonic = true;
        // Anything else counts as PCM.
        if (mask == 0x1F || mask == 0x2F)
            mask = 0x10F; // L R C Lfe with one surround is read as L R C Lfe Cs
        if (ambisonic)
        {
            mask = channels == 4 ? 0x33 : 0;
            char info[64];
            std::snprintf(info, sizeof(info), "B-Format %d channels", channels);
            a.setString(kInfo, info);
        }
    }

    ASpeakerArrangement arrangement;
    if (channels > kMaxSpeakerChannels)
    {
        // No speaker layout names this many channels; the list would only cost time.
        a.setInt(kChannels, channels);
    }
    else if (haveMask)
    {
        arrangement.setFromWaveMask(mask);
        if (arrangement.count() == channels)
        {
            // A layout without a name of its own gets no line.
            const char8* name = getArrangementName(arrangement.classifyArrangement());
            if (!a.contains(kInfo) && name)
                a.setString(kInfo, (std::string("Configuration: ") + name).c_str());
        }
        else
            arrangement.setUnassignedChannels(channels);
    }
    else
        defaultArrangementForChannels(channels, arrangement);
    if (channels <= kMaxSpeakerChannels)
    {
        a.setInt(kChannels, channels);
        file.setSpeakerArrangement(arrangement);
    }

    if (formatTag != 1 && formatTag != 3 && formatTag != 0xFFFE)
    {
        // A codec the handler does not decode: its description is kept byte for byte so the
        // file can be written back unchanged.
        file.setState(AudioFile::kCodecData, true);
        FAttrList* codec = a.setList(kCodecAttributes);
        codec->setInt("FormatTag", formatTag);
        codec->setInt("BlockAlign", blockAlign);
        codec->setInt("BytesPerSecond", le32(f + 8));
        codec->setInt("ExtraSize", extraSize);
        if (!extra.empty())
            codec->setBuffer("Extra", extra.data(), int64(extra.size()));
    }
    a.setFloat(kSampleRate, double(rate));
    if (bits <= 8)
        a.setInt(kSampleFormat, 0);
    else if (bits == 32 && (formatTag == 3 || (formatTag == 0xFFFE && floatSub)))
        a.setInt(kSampleFormat, 2);
    else
        a.setInt(kSampleFormat, 1);
    a.setInt(kFrameSize, channels * ((bits + 7) / 8));
    a.setInt(kSampleSize, (bits + 7) / 8 * 8);
    return true;
}

void WaveFileHandler::readBroadcast(IBStream* stream, int64 position, uint32 size)
{
    FAttributes& a = file.getAttributes();
    std::vector<uint8> b(kBextSize, 0);
    // Loudness reads as empty and the version as 2 unless the chunk says otherwise.
    for (int i = 0; i < 5; ++i)
        putLE16(b.data() + 412 + 2 * i, uint16(kLoudnessEmpty));
    putLE16(b.data() + 346, 2);
    readAt(stream, position, b.data(), int32(std::min<uint32>(size, kBextSize)));
    const int32 version = le16(b.data() + 346);

    auto text = [&](int32 offset, int32 length, const char* key)
    {
        std::string value = fieldText(b.data() + offset, length);
        if (!value.empty())
            a.setString(key, value.c_str());
    };
    text(0, 256, kBWFDescription);
    text(256, 32, kAuthor);
    text(288, 32, kBWFOrigRef);

    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    std::string date = fieldText(b.data() + 320, 10);
    std::string time = fieldText(b.data() + 330, 8);
    bool haveDate = std::sscanf(date.c_str(), "%d:%d:%d", &year, &month, &day) == 3 ||
                    std::sscanf(date.c_str(), "%d-%d-%d", &year, &month, &day) == 3;
    bool haveTime = std::sscanf(time.c_str(), "%d:%d:%d", &hour, &minute, &second) == 3 ||
                    std::sscanf(time.c_str(), "%d-%d-%d", &hour, &minute, &second) == 3;
    if (haveDate || haveTime)
    {
        std::tm tm = {};
        tm.tm_year = haveDate ? year - 1900 : 70;
        tm.tm_mon = haveDate ? month - 1 : 0;
        tm.tm_mday = haveDate ? day : 1;
        tm.tm_hour = haveTime ? hour : 0;
        tm.tm_min = haveTime ? minute : 0;
        tm.tm_sec = haveTime ? second : 0;
        a.setInt(kRecordDate, int64(timegm(&tm)));
    }

    const uint64 reference = uint64(le32(b.data() + 338)) | uint64(le32(b.data() + 342)) << 32;
    if (reference != 0)
    {
        double rate = 0;
        if (a.getFloat(kSampleRate, rate) && rate > 0)
            a.setFloat(kOriginTime, double(reference) / rate);
        else
            a.setInt(kOriginTimeSamples, int64(reference));
    }

    if (version >= 1)
    {
        int32 length = 0;
        for (int32 i = 0; i < 64; ++i)
            if (b[size_t(348 + i)])
                length = i + 1;
        if (length > 0)
        {
            length = std::max(length, 16);
            static const char digits[] = "0123456789ABCDEF";
            std::string hex;
            for (int32 i = 0; i < length; ++i)
            {
                hex += digits[b[size_t(348 + i)] >> 4];
                hex += digits[b[size_t(348 + i)] & 15];
            }
            a.setString(kMUID, hex.c_str());
        }
    }
    if (version >= 2)
    {
        const char* keys[] = {kBWFLoudnessValue, kBWFLoudnessRange, kBWFMaxTruePeak,
                              kBWFMaxMomentary, kBWFMaxShortTerm};
        for (int i = 0; i < 5; ++i)
        {
            const int16 raw = int16(le16(b.data() + 412 + 2 * i));
            if (raw == kLoudnessEmpty)
                continue;
            // The range test is made on the raw value times 100, so only 0 passes it.
            const double hundredfold = double(raw) * 100;
            const bool range = i == 1;
            if (hundredfold > 99.99 || hundredfold < (range ? 0 : -99.99))
                continue;
            a.setFloat(keys[i], raw * 0.01);
        }
    }
    if (size > uint32(kBextSize))
    {
        std::vector<uint8> history(std::min<uint32>(size - kBextSize, 1 << 20));
        if (readAt(stream, position + kBextSize, history.data(), int32(history.size())))
        {
            std::string value = fieldText(history.data(), int32(history.size()));
            if (!value.empty())
                a.setString(kBWFCodingHistory, value.c_str());
        }
    }
}

void WaveFileHandler::readAcid(IBStream* stream, int64 position, uint32 size)
{
    FAttributes& a = file.getAttributes();
    a.setInt(kTempoSync, 1);
    uint8 c[24] = {};
    readAt(stream, position, c, int32(std::min<uint32>(size, 24)));
    const uint32 flags = le32(c);
    const int32 root = le16(c + 4);
    const int32 fieldBeats = int32(le32(c + 12));
    const int32 denominator = le16(c + 16);
    const int32 numerator = le16(c + 18);
    float tempo;
    std::memcpy(&tempo, c + 20, 4);
    if (flags & 2)
        a.setInt(kRootKey, root < 60 ? root - 48 : root - 60);
    char signature[32];
    std::snprintf(signature, sizeof(signature), "%d/%d", numerator == 0 ? 4 : numerator,
                  numerator == 0 ? 4 : denominator);
    a.setString(kSignature, signature);
    const double wideBeats = numerator == 0 ? double(fieldBeats) : denominator * 0.25 * fieldBeats;
    const int32 beats = wideBeats > 0 && wideBeats < 2147483647.0 ? int32(wideBeats) : 0;
    if (beats > 0)
        a.setInt(kBeats, beats);
    double shownTempo = 120;
    if ((flags & 4) && tempo >= 1.f && tempo <= 300.f)
    {
        a.setFloat(kTempo, tempo);
        shownTempo = tempo;
    }
    const int32 bars = numerator ? beats / numerator : 0;
    const int32 rest = numerator ? beats % numerator : 0;
    char info[128];
    std::snprintf(info, sizeof(info), "ACID: %d/%d - %g bpm", numerator, denominator, shownTempo);
    std::string line = info;
    if (bars == 1)
        line += "- 1 bar";
    else if (bars > 1)
    {
        std::snprintf(info, sizeof(info), "- %d bars", bars);
        line += info;
    }
    if (rest > 0)
    {
        std::snprintf(info, sizeof(info), "+ %d beats", rest);
        line += info;
    }
    a.setString(kInfo, line.c_str());
}

void WaveFileHandler::readStructure(IBStream* stream, int64 position, uint32 size)
{
    uint8 head[28];
    if (size < 28 || !readAt(stream, position, head, 28))
        return;
    const uint32 entries = std::min<uint32>(le32(head + 4), (size - 28) / 32);
    FSubList* list = nullptr;
    for (uint32 i = 0; i < entries; ++i)
    {
        uint8 e[32];
        if (!readAt(stream, position + 28 + int64(i) * 32, e, 32))
            break;
        const uint32 type = le32(e);
        const uint32 start = le32(e + 8);
        const uint32 length = le32(e + 16);
        if (length == 0 || type == 1)
            continue;
        if (!list)
            list = new FSubList;
        FAttrList* marker = list->add();
        marker->setInt(kMarkerStart, start);
        marker->setInt(kMarkerEnd, -1);
        marker->setFloat(kMarkerWeight, 0.5);
    }
    if (list)
    {
        file.getAttributes().setSubList(kHitpointList, list);
        list->release();
    }
}

// ---------------------------------------------------------------------------------------------
// Writing

std::vector<uint8> WaveFileHandler::renderBroadcast(int64 historySize) const
{
    const FAttributes& a = file.attributes();
    const std::string history = getText(a, kBWFCodingHistory);
    if (historySize < 0)
        historySize = std::max<int64>(200, int64(history.size()));
    std::vector<uint8> b(size_t(kBextSize + historySize), 0);
    auto put = [&](int32 offset, int32 length, const std::string& text)
    { std::memcpy(b.data() + offset, text.data(), std::min<size_t>(text.size(), size_t(length))); };
    put(0, 256, getText(a, kBWFDescription));
    put(256, 32, getText(a, kAuthor));
    put(288, 32, getText(a, kBWFOrigRef));
    int64 date;
    if (a.getInt(kRecordDate, date))
    {
        std::time_t t = std::time_t(date);
        std::tm tm = {};
        gmtime_r(&t, &tm);
        char text[32];
        std::snprintf(text, sizeof(text), "%04d:%02d:%02d", tm.tm_year + 1900, tm.tm_mon + 1,
                      tm.tm_mday);
        put(320, 10, text);
        std::snprintf(text, sizeof(text), "%02d:%02d:%02d", tm.tm_hour, tm.tm_min, tm.tm_sec);
        put(330, 8, text);
    }
    const double rate = getFloatOr(a, kSampleRate, 44100);
    const uint64 reference = uint64(std::llround(rate * getFloatOr(a, kOriginTime, 0)));
    putLE32(b.data() + 338, uint32(reference));
    putLE32(b.data() + 342, uint32(reference >> 32));
    putLE16(b.data() + 346, 2);
    const std::string umid = getText(a, kMUID);
    for (size_t i = 0; i + 1 < umid.size() && i / 2 < 64; i += 2)
        b[348 + i / 2] = uint8(std::stoi(umid.substr(i, 2), nullptr, 16));
    const char* keys[] = {kBWFLoudnessValue, kBWFLoudnessRange, kBWFMaxTruePeak, kBWFMaxMomentary,
                          kBWFMaxShortTerm};
    for (int i = 0; i < 5; ++i)
    {
        double value;
        int16 stored = kLoudnessEmpty;
        if (a.getFloat(keys[i], value))
            stored = int16(std::lround(value * 100));
        putLE16(b.data() + 412 + 2 * i, uint16(stored));
    }
    std::memcpy(b.data() + kBextSize, history.data(),
                std::min<size_t>(history.size(), size_t(historySize)));
    return b;
}

bool WaveFileHandler::writeHeader(IBStream* stream)
{
    FAttributes& a = file.getAttributes();
    a.setInt(kByteOrder, 0);
    a.setInt(kFrameFormat, 0);
    const int32 channels = int32(getIntOr(a, kChannels, 1));
    const int32 bits = int32(getIntOr(a, kSampleSize, 16));
    const int32 frameSize = int32(getIntOr(a, kFrameSize, channels * ((bits + 7) / 8)));
    const double rate = getFloatOr(a, kSampleRate, 44100);

    uint16 tag = 1;
    uint32 bytesPerSecond = uint32(std::llround(frameSize * rate));
    uint16 align = uint16(frameSize);
    std::vector<uint8> extra;
    if (FAttrList* codec = a.getList(kCodecAttributes))
    {
        tag = uint16(getIntOr(*codec, "FormatTag", 1));
        align = uint16(getIntOr(*codec, "BlockAlign", align));
        bytesPerSecond = uint32(getIntOr(*codec, "BytesPerSecond", bytesPerSecond));
        extra.assign(size_t(getIntOr(*codec, "ExtraSize", 0)), 0);
        if (FAttrBuffer* bytes = codec->getBuffer("Extra"))
            std::memcpy(extra.data(), bytes->data(),
                        std::min<size_t>(extra.size(), size_t(bytes->size())));
    }
    if (bits == 32)
    {
        // 32-bit integers are written with the float tag as well; the reader then sees float.
        tag = 3;
        if (getIntOr(a, kSampleFormat, 1) != 2)
            a.setInt(kSampleFormat, 1);
    }
    if (file.getFileTypeName() == kAmbisonicType)
    {
        // B-format: the ambisonic sub-format, and no speaker mask, for the channels are no
        // speakers but the components of a sound field.
        tag = 0xFFFE;
        extra.assign(22, 0);
        putLE16(extra.data(), uint16(bits));
        std::memcpy(extra.data() + 6, bits == 32 ? kSubFormatAmbiFloat : kSubFormatAmbiPCM, 16);
    }
    else if (channels > 2 && !a.contains(kNoWaveExtensible))
    {
        ASpeakerArrangement arrangement;
        file.getSpeakerArrangement(arrangement);
        tag = 0xFFFE;
        extra.assign(22, 0);
        putLE16(extra.data(), uint16(bits));
        putLE32(extra.data() + 2, arrangement.getWaveMask());
        std::memcpy(extra.data() + 6, bits == 32 ? kSubFormatFloat : kSubFormatPCM, 16);
    }

    const bool withJunk = !a.contains(kNoWaveRF64Lower);
    const bool withBext = getIntOr(a, kChunkBroadcast, 0) != 0;
    std::vector<uint8> bext;
    if (withBext)
        bext = renderBroadcast(-1);
    int64 sum = tag == 1 ? 36 : int64(extra.size()) + 38;
    if (withJunk)
        sum += 36;
    if (withBext)
        sum += 8 + int64(bext.size());
    int64 fake = 0;
    if (sum % 4 != 0)
        fake = 8 + (4 - sum % 4);
    sum += fake;

    std::vector<uint8> h;
    auto put32 = [&](uint32 v)
    {
        uint8 b[4];
        putLE32(b, v);
        h.insert(h.end(), b, b + 4);
    };
    auto put16 = [&](uint32 v)
    {
        uint8 b[2];
        putLE16(b, v);
        h.insert(h.end(), b, b + 2);
    };
    put32(kRIFF);
    put32(uint32(sum));
    put32(kWAVE);
    if (withJunk)
    {
        put32(kJUNK);
        put32(28);
        h.insert(h.end(), 28, 0);
    }
    if (withBext)
    {
        put32(kBEXT);
        put32(uint32(bext.size()));
        h.insert(h.end(), bext.begin(), bext.end());
    }
    if (fake)
    {
        put32(kFAKE);
        put32(uint32(fake - 8));
        h.insert(h.end(), size_t(fake - 8), 0);
    }
    put32(kFMT);
    put32(tag == 1 ? 16 : uint32(18 + extra.size()));
    put16(tag);
    put16(uint32(channels));
    put32(uint32(std::llround(rate)));
    put32(bytesPerSecond);
    put16(align);
    put16(uint32(bits));
    if (tag != 1)
    {
        put16(uint32(extra.size()));
        h.insert(h.end(), extra.begin(), extra.end());
    }
    put32(kDATA);
    put32(0);
    dataOffset = int64(h.size());
    blockAlign = align;
    formatTag = tag;
    broadcast = withBext;
    rf64 = false;
    updateFileType();
    return writeAt(stream, 0, h.data(), int32(h.size()));
}

bool WaveFileHandler::updateHeader(IBStream* stream)
{
    FAttributes& a = file.getAttributes();
    const bool padded = getIntOr(a, kWAVForceAlignment, 0) == 1;
    a.remove(kRF64FileFormat);
    const int64 fileSize = streamSize(stream);
    const int32 channels = int32(getIntOr(a, kChannels, 1));
    const int32 bits = int32(getIntOr(a, kSampleSize, 16));
    const int32 frameSize = int32(getIntOr(a, kFrameSize, channels * ((bits + 7) / 8)));
    const int64 frames = getIntOr(a, kFrameCount, 0);
    const uint64 dataBytes = uint64(frameSize) * uint64(frames);
    const bool needsRF64 = dataBytes >= (uint64(1) << 32);
    const bool rf64Allowed = !a.contains(kNoWaveRF64) && !a.contains(kNoWaveRF64Lower);

    bool seenRiff = false, seenFmt = false, seenData = false;
    int64 ds64Position = -1;
    int64 end = 0;
    int64 position = 0;
    std::vector<Chunk> chunks;
    rf64 = false;
    for (int32 n = 0; n < 100000; ++n)
    {
        uint8 header[8];
        if (!readAt(stream, position, header, 8))
            break;
        uint32 tag = le32(header);
        int64 size = le32(header + 4);
        const int64 body = position + 8;
        if (tag == 0 && size == 0)
            break; // the tail of the file is free
        if (tag == kRIFF || tag == kRF64)
        {
            uint8 form[4];
            if (!readAt(stream, body, form, 4) || le32(form) != kWAVE)
                return false;
            if (tag == kRF64)
            {
                rf64 = true;
                a.setInt(kRF64FileFormat, 1);
            }
            seenRiff = true;
            position = body + 4;
            continue;
        }
        if (tag == kDS64)
            ds64Position = position;
        if (tag == kJUNK && ds64Position < 0 && needsRF64 && rf64Allowed && size >= 28)
        {
            // The switch to RF64: the room left when the file was made takes the 64-bit sizes,
            // so no sample moves.
            uint8 ds64[8];
            putLE32(ds64, kDS64);
            putLE32(ds64 + 4, 28);
            if (!writeAt(stream, position, ds64, 8))
                return false;
            ds64Position = position;
            rf64 = true;
            size = 28;
        }
        else if (tag == kFMT && !seenFmt)
        {
            seenFmt = true;
            uint8 f[16];
            if (!readAt(stream, body, f, 16))
                return false;
            putLE16(f + 2, uint32(channels));
            putLE32(f + 4, uint32(std::llround(getFloatOr(a, kSampleRate, 44100))));
            const uint16 tagFound = le16(f);
            if (tagFound == 1 || tagFound == 3 || tagFound == 0xFFFE)
            {
                putLE32(f + 8, uint32(std::llround(frameSize * getFloatOr(a, kSampleRate, 44100))));
                putLE16(f + 12, uint32(frameSize));
                putLE16(f + 14, uint32(bits));
            }
            if (!writeAt(stream, body, f, 16))
                return false;
        }
        else if (tag == kDATA && !seenData)
        {
            seenData = true;
            uint8 s[4];
            if (!needsRF64)
            {
                putLE32(s, uint32(dataBytes));
                size = int64(dataBytes);
            }
            else if (ds64Position >= 0)
            {
                putLE32(s, 0xFFFFFFFF);
                size = int64(dataBytes);
            }
            else
            {
                // No room for 64-bit sizes: the size becomes 0 and nothing more is touched.
                putLE32(s, 0);
                writeAt(stream, position + 4, s, 4);
                return false;
            }
            if (!writeAt(stream, position + 4, s, 4))
                return false;
        }
        else if (tag == kBEXT && getIntOr(a, kChunkBroadcast, 0))
        {
            std::vector<uint8> bext = renderBroadcast(size - kBextSize);
            if (size >= kBextSize && !writeAt(stream, body, bext.data(), int32(size)))
                return false;
        }
        chunks.push_back({tag, position, size});
        if (body + size > fileSize && seenRiff && seenFmt && seenData)
        {
            end = fileSize;
            break;
        }
        end = body + size;
        position = end + (padded && (size & 1) ? 1 : 0);
    }
    if (!(seenRiff && seenFmt && seenData))
        return false;
    if (getIntOr(a, kChunkIXML, 0) && !placeIXML(stream, chunks, end))
        return false;

    uint8 word[4];
    const uint64 riffSize = uint64(std::max<int64>(end, 8) - 8);
    if (ds64Position >= 0 && rf64)
    {
        uint8 values[24];
        putLE32(values, uint32(riffSize));
        putLE32(values + 4, uint32(riffSize >> 32));
        putLE32(values + 8, uint32(dataBytes));
        putLE32(values + 12, uint32(dataBytes >> 32));
        putLE32(values + 16, uint32(frames));
        putLE32(values + 20, uint32(uint64(frames) >> 32));
        if (!writeAt(stream, ds64Position + 8, values, 24))
            return false;
        putLE32(word, kRF64);
        if (!writeAt(stream, 0, word, 4))
            return false;
        putLE32(word, 0xFFFFFFFF);
        a.setInt(kRF64FileFormat, 1);
    }
    else
        putLE32(word, uint32(riffSize));
    bool ok = writeAt(stream, 4, word, 4);
    updateFileType();
    return ok;
}

bool WaveFileHandler::placeIXML(IBStream* stream, std::vector<Chunk>& chunks, int64& end)
{
    std::string text = AIXmlHandler::render(file.attributes());
    if (text.size() & 1)
        text += ' '; // whole chunks stay at even offsets for readers that expect padding

    // The old text becomes a filler of spaces, free for the new one or for later ones.
    for (Chunk& chunk : chunks)
    {
        if (chunk.tag != kIXML)
            continue;
        uint8 header[4];
        putLE32(header, kFAKE);
        if (!writeAt(stream, chunk.position, header, 4) ||
            !fillAt(stream, chunk.position + 8, chunk.size, ' ', streamSize(stream)))
            return false;
        chunk.tag = kFAKE;
    }
    // Neighbouring fillers merge into one.
    for (size_t i = 0; i + 1 < chunks.size();)
    {
        Chunk& a = chunks[i];
        const Chunk& b = chunks[i + 1];
        if (a.tag == kFAKE && b.tag == kFAKE && a.position + 8 + a.size == b.position)
        {
            a.size += 8 + b.size;
            uint8 size[4];
            putLE32(size, uint32(a.size));
            if (!writeAt(stream, a.position + 4, size, 4))
                return false;
            chunks.erase(chunks.begin() + std::ptrdiff_t(i + 1));
        }
        else
            ++i;
    }
    const int64 needed = int64(text.size());
    Chunk* best = nullptr;
    for (Chunk& chunk : chunks)
        if (chunk.tag == kFAKE && chunk.size >= needed && (!best || chunk.size < best->size))
            best = &chunk;

    std::vector<uint8> bytes(8 + text.size());
    putLE32(bytes.data(), kIXML);
    std::memcpy(bytes.data() + 8, text.data(), text.size());
    if (best)
    {
        int64 left = best->size - needed;
        // A rest too small for a filler's header stays inside the text chunk as zeros.
        int64 chunkSize = left >= 8 ? needed : best->size;
        bytes.resize(size_t(8 + chunkSize), 0);
        putLE32(bytes.data() + 4, uint32(chunkSize));
        if (!writeAt(stream, best->position, bytes.data(), int32(bytes.size())))
            return false;
        if (left >= 8)
        {
            uint8 filler[8];
            putLE32(filler, kFAKE);
            putLE32(filler + 4, uint32(left - 8));
            if (!writeAt(stream, best->position + 8 + chunkSize, filler, 8))
                return false;
        }
        return true;
    }
    // No filler holds it: behind the last chunk, after a pad byte that an odd chunk needs.
    int64 at = end;
    if (at & 1)
    {
        uint8 zero = 0;
        if (!writeAt(stream, at, &zero, 1))
            return false;
        ++at;
    }
    putLE32(bytes.data() + 4, uint32(text.size()));
    if (!writeAt(stream, at, bytes.data(), int32(bytes.size())))
        return false;
    end = at + int64(bytes.size());
    return true;
}

AudioAccessStream* WaveFileHandler::createFile(int32 mode)
{
    FAttributes& a = file.getAttributes();
    const bool broadcastType =
        file.getFileTypeName() == kBroadcastType || file.getFileTypeName() == kRF64BroadcastType;
    if (broadcastType && !a.contains(kChunkBroadcast))
        a.setInt(kChunkBroadcast, 1);
    return AudioFileHandler::createFile(mode);
}

void WaveFileHandler::onFormatChanged()
{
    FAttributes& a = file.getAttributes();
    if (getIntOr(a, kChannels, 1) < 3)
        a.remove(kCodecAttributes);
    const std::string type = getText(a, kFileType);
    if (type != kBroadcastType && type != kRF64BroadcastType)
    {
        a.remove(kChunkBroadcast);
        for (const char* key :
             {kBWFDescription, kBWFOrigRef, kBWFCodingHistory, kBWFLoudnessValue, kBWFLoudnessRange,
              kBWFMaxTruePeak, kBWFMaxMomentary, kBWFMaxShortTerm})
            a.remove(key);
    }
}

void WaveFileHandler::copyAttributes(const FAttributes& source)
{
    AudioFileHandler::copyAttributes(source);
    FAttributes& target = file.getAttributes();
    // The loop keys, and the iXML keys with the switch that writes them, so a converted
    // recording keeps its slate.
    for (const char* key : {kChunkBroadcast, kSignature, kBeats, kTempo, kRootKey, kTempoSync,
                            kChunkIXML, "AudioScene", "AudioTake", "AudioReel", "AudioIXMLUser",
                            "AudioIXMLFamilyUID", "MediaFrameRate"})
    {
        int64 i;
        double f;
        String text;
        if (source.getType(key) == FAttrType::kInt && source.getInt(key, i))
            target.setInt(key, i);
        else if (source.getType(key) == FAttrType::kFloat && source.getFloat(key, f))
            target.setFloat(key, f);
        else if (source.getString(key, text))
            target.setString(key, text);
    }
    if (FAttrList* codec = source.getList(kCodecAttributes))
    {
        FAttrList* copy = target.setList(kCodecAttributes);
        copy->copyFrom(*codec);
    }
}

void WaveFileHandler::rescaleMarkers(double oldRate, double newRate)
{
    FSubList* list = file.getAttributes().getSubList(kHitpointList);
    if (!list || oldRate <= 0)
        return;
    for (int32 i = 0; i < list->count(); ++i)
    {
        FAttrList* marker = list->at(i);
        int64 start, end;
        if (marker->getInt(kMarkerStart, start))
            marker->setInt(kMarkerStart, int64(double(start) * newRate / oldRate));
        if (marker->getInt(kMarkerEnd, end) && end >= 0)
            marker->setInt(kMarkerEnd, int64(double(end) * newRate / oldRate));
    }
}

int64 WaveFileHandler::getMaxFrameCount() const
{
    const FAttributes& a = file.attributes();
    const int64 frameSize = std::max<int64>(1, getIntOr(a, kFrameSize, 2));
    if (a.contains(kNoWaveRF64Lower))
        return (int64(0xFFFFFFFF) - dataOffset) / frameSize;
    return int64((~uint64(0) - uint64(dataOffset)) / uint64(frameSize));
}

} // namespace Quillmark

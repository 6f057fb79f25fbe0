#include "audiofile/aifffilehandler.h"

#include "audiofile/aixmlhandler.h"
#include "audiofile/audiofile.h"
#include "audiofile/audiofilekeys.h"
#include "audiofile/audiofiletypes.h"
#include "audiofile/bytestreamio.h"
#include "audiofile/wavefilehandler.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <vector>

namespace Quillmark
{

using namespace AudioKeys;
using namespace ByteIO;

namespace
{

constexpr uint32 kFORM = tagBE("FORM"), kAIFF = tagBE("AIFF"), kAIFC = tagBE("AIFC"),
                 kCOMM = tagBE("COMM"), kSSND = tagBE("SSND"), kMARK = tagBE("MARK"),
                 kINST = tagBE("INST"), kAPPL = tagBE("APPL"), kANNO = tagBE("ANNO"),
                 kIXML = tagBE("iXML"), kREX = tagBE("REX "), kCQEL = tagBE("CQel"),
                 kCQEL2 = tagBE("Cqel"), kBEXT = tagBE("bext"), kNONE = tagBE("NONE"),
                 kTWOS = tagBE("twos"), kSOWT = tagBE("sowt"), kIN24 = tagBE("in24"),
                 kIN32 = tagBE("in32"), kFL32 = tagBE("fl32"), kFL32U = tagBE("FL32");
constexpr uint32 kREXMagic = 0xD1D1D1DA;

bool printable(const uint8* tag)
{
    for (int i = 0; i < 4; ++i)
        if (tag[i] < 0x20 || tag[i] > 0x7F)
            return false;
    return true;
}

int64 intOr(const FAttributes& a, const char* key, int64 fallback)
{
    int64 v;
    return a.getInt(key, v) ? v : fallback;
}

} // namespace

double AIFFFileHandler::readExtended(const uint8* b)
{
    const int32 exponent = ((b[0] & 0x7F) << 8) | b[1];
    uint64 mantissa = 0;
    for (int i = 0; i < 8; ++i)
        mantissa = (mantissa << 8) | b[2 + i];
    if (exponent == 0 && mantissa == 0)
        return 0;
    if (exponent == 0x7FFF)
        return 0; // infinity or NaN: no rate
    double value = std::ldexp(double(mantissa), exponent - 16383 - 63);
    return (b[0] & 0x80) ? -value : value;
}

void AIFFFileHandler::writeExtended(double value, uint8* b)
{
    std::memset(b, 0, 10);
    if (value <= 0 || !std::isfinite(value))
        return;
    int exponent = 0;
    double fraction = std::frexp(value, &exponent); // value = fraction × 2^exponent, 0.5 ≤ f < 1
    const uint64 mantissa = uint64(std::ldexp(fraction, 64));
    const int32 stored = exponent - 1 + 16383;
    b[0] = uint8(stored >> 8);
    b[1] = uint8(stored);
    for (int i = 0; i < 8; ++i)
        b[2 + i] = uint8(mantissa >> (56 - 8 * i));
}

std::string AIFFFileHandler::sniff(const uint8* b, int32 size)
{
    if (size < 12 || be32(b) != kFORM)
        return {};
    if (be32(b + 8) == kAIFF)
        return kAIFFType;
    if (be32(b + 8) == kAIFC)
        return kAIFCType;
    return {};
}

void AIFFFileHandler::registerTypes(AudioFileTypes& types)
{
    types.addKnownType({kAIFFType, "aif", "audio/aiff"});
    types.registerAudioFileType({kAIFFType, "aiff", "audio/aiff"}, &AIFFFileHandler::create, 7);
    types.registerAudioFileType({kAIFCType, "aifc", "audio/x-aifc"}, &AIFFFileHandler::create, 15);
    types.registerAudioFileType({kREXType, "rex", "audio/x-rex"}, &AIFFFileHandler::create, 2);
    types.registerSniffer(&AIFFFileHandler::sniff);
}

bool AIFFFileHandler::readHeader(IBStream* stream, bool& found)
{
    found = false;
    FAttributes& a = file.getAttributes();
    file.clearRepairs();
    file.clearMarkerPairs();
    file.resetAttributes();
    a.setInt(kByteOrder, 1);
    a.setInt(kFrameFormat, 0);
    a.setInt(kSampleFormat, 1);
    dataOffset = 0;
    aifc = false;

    const int64 fileSize = streamSize(stream);
    bool seenForm = false, seenComm = false, seenSsnd = false, seenMark = false, seenInst = false;
    bool cqel = false, damaged = false;
    int32 others = 0;
    int64 frames = 0;
    int32 bits = 16, channels = 1;
    std::map<int32, int64> markers;
    struct Loop
    {
        int32 begin = 0, end = 0;
        bool used = false;
    } sustain, release;
    int64 position = 0;
    bool previousOdd = false;
    for (int32 n = 0; n < 100000; ++n)
    {
        uint8 header[8];
        if (previousOdd && !cqel)
        {
            // One pad byte is expected; a writer that does not pad shows as an unprintable tag.
            if (readAt(stream, position + 1, header, 8) && printable(header))
                position += 1;
            else if (!readAt(stream, position, header, 8))
                break;
        }
        else if (!readAt(stream, position, header, 8))
            break;
        else if ((position & 1) && !printable(header))
        {
            if (!readAt(stream, position + 1, header, 8))
                break;
            position += 1;
        }
        const uint32 tag = be32(header);
        int64 size = int32(be32(header + 4));
        const int64 body = position + 8;
        if (size < 0)
            break;
        if (tag == kFORM && !seenForm)
        {
            uint8 form[4];
            if (!readAt(stream, body, form, 4) || (be32(form) != kAIFF && be32(form) != kAIFC))
                return false;
            seenForm = true;
            aifc = be32(form) == kAIFC;
            position = body + 4;
            previousOdd = false;
            continue;
        }
        if (!seenForm)
            return false;
        if (tag == kCOMM && !seenComm)
        {
            seenComm = true;
            uint8 c[26] = {};
            const int32 want = int32(std::min<int64>(size, 26));
            if (want < 18 || !readAt(stream, body, c, want))
                return false;
            channels = be16(c);
            frames = be32(c + 2);
            bits = be16(c + 6);
            if (bits < 1 || bits > 32)
            {
                file.addRepair(std::to_string(bits) + " bits per sample is not a sample size");
                return false;
            }
            a.setInt(kChannels, channels);
            a.setFloat(kSampleRate, readExtended(c + 8));
            if (aifc && want >= 22)
            {
                a.setString(kFileType, kAIFCType);
                const uint32 compression = be32(c + 18);
                if (compression == kSOWT)
                    a.setInt(kByteOrder, 0);
                else if (compression == kFL32 || compression == kFL32U)
                    a.setInt(kSampleFormat, 2);
                else if (compression == kIN24)
                    bits = 24;
                else if (compression == kIN32)
                    bits = 32;
                else if (compression != kNONE && compression != kTWOS)
                {
                    char name[5] = {char(c[18]), char(c[19]), char(c[20]), char(c[21]), 0};
                    file.addRepair(std::string("compression '") + name + "' is not supported");
                    return false;
                }
            }
            if (cqel && bits == 32)
                a.setInt(kSampleFormat, 2);
            a.setInt(kFrameSize, channels * ((bits + 7) / 8));
            a.setInt(kSampleSize, (bits + 7) / 8 * 8);
            if (channels <= kMaxSpeakerChannels)
            {
                ASpeakerArrangement arrangement;
                defaultArrangementForChannels(channels, arrangement);
                file.setSpeakerArrangement(arrangement);
            }
        }
        else if (tag == kSSND && !seenSsnd)
        {
            seenSsnd = true;
            uint8 s[8] = {};
            readAt(stream, body, s, 8);
            uint32 offset = be32(s);
            if (offset > 0x7FFFFFFF)
                offset = 0;
            dataOffset = body + 8 + offset;
            if (size == 0 && frames == 0)
            {
                damaged = true;
                break;
            }
        }
        else if (tag == kMARK && !seenMark)
        {
            seenMark = true;
            uint8 countBytes[2];
            if (readAt(stream, body, countBytes, 2))
            {
                int64 at = body + 2;
                for (int32 i = 0; i < be16(countBytes) && at < body + size; ++i)
                {
                    uint8 m[7];
                    if (!readAt(stream, at, m, 7))
                        break;
                    const int32 id = int16(be16(m));
                    const int64 where = be32(m + 2);
                    const int32 length = m[6];
                    // The count byte, the text, and a pad byte when the count is even.
                    at += 7 + length + ((length % 2 == 0) ? 1 : 0);
                    if (id > 0)
                        markers[id] = where;
                }
            }
        }
        else if (tag == kINST && !seenInst)
        {
            seenInst = true;
            uint8 inst[20];
            if (size >= 20 && readAt(stream, body, inst, 20))
            {
                for (int loop = 0; loop < 2; ++loop)
                {
                    const uint8* l = inst + 8 + 6 * loop;
                    Loop& target = loop == 0 ? sustain : release;
                    target.begin = int16(be16(l + 2));
                    target.end = int16(be16(l + 4));
                    target.used = be16(l) != 0 && target.begin > 0 && target.end > 0;
                }
            }
        }
        else if (tag == kAPPL)
            readApplication(stream, body, size, cqel, seenComm);
        else if (tag == kIXML)
        {
            std::vector<uint8> text(size_t(std::min<int64>(size, 1 << 20)));
            if (!text.empty() && readAt(stream, body, text.data(), int32(text.size())))
            {
                size_t length = text.size();
                while (length > 0 && (text[length - 1] == 0 || text[length - 1] == ' '))
                    --length;
                AIXmlHandler::import(text.data(), length, a);
                a.setInt(kChunkIXML, 1);
            }
        }
        else if (tag != kANNO && tag != tagBE("Fake") && tag != tagBE("FVER") && ++others >= 20)
        {
            damaged = frames == 0;
            break;
        }
        position = body + size;
        previousOdd = (size & 1) != 0;
    }
    if (!seenForm || !seenComm || !seenSsnd)
        return false;
    found = true;

    const int64 frameSize = intOr(a, kFrameSize, 0);
    if (fileSize < dataOffset)
        return false;
    if (frameSize > 0)
    {
        const int64 available = (fileSize - dataOffset) / frameSize;
        if (available < frames || (damaged && available > 0))
        {
            file.addRepair("frame count " + std::to_string(frames) + " set to the " +
                           std::to_string(available) + " frames present");
            frames = available;
            file.setState(AudioFile::kDirty, true);
        }
    }
    a.setInt(kFrameCount, frames);
    if (!a.contains(kFileType))
        a.setString(kFileType, file.getFileTypeName() == kREXType ? kREXType : kAIFFType);

    // Loops into marker pairs.
    auto positionOf = [&](int32 id, int64& where)
    {
        auto it = markers.find(id);
        if (it == markers.end())
            return false;
        where = it->second;
        return true;
    };
    if (!sustain.used && !release.used)
    {
        if (!markers.empty() && markers.size() % 4 == 0)
        {
            std::vector<int64> positions;
            for (auto& [id, where] : markers)
                positions.push_back(where);
            for (size_t i = 0; i + 1 < positions.size(); i += 2)
                file.addMarkerPair(positions[i], positions[i + 1]);
        }
    }
    else
    {
        int64 sb = 0, se = 0, rb = 0, re = 0;
        const bool haveSustain =
            sustain.used && positionOf(sustain.begin, sb) && positionOf(sustain.end, se);
        const bool haveRelease =
            release.used && positionOf(release.begin, rb) && positionOf(release.end, re);
        if (haveSustain && !haveRelease)
            file.addMarkerPair(sb, se);
        else if (haveSustain && haveRelease && sb == rb && se == re)
        {
            file.setState(AudioFile::kFirstMarkerTwice, true);
            file.addMarkerPair(sb, se);
        }
        else if (haveSustain && haveRelease)
        {
            file.addMarkerPair(sb, se);
            file.addMarkerPair(rb, re);
        }
    }
    return true;
}

void AIFFFileHandler::readApplication(IBStream* stream, int64 position, int64 size, bool& cqel,
                                      bool seenComm)
{
    uint8 signature[4];
    if (size < 4 || !readAt(stream, position, signature, 4))
        return;
    const uint32 tag = be32(signature);
    FAttributes& a = file.getAttributes();
    if (tag == kREX)
        readREX(stream, position + 4, size - 4);
    else if (tag == kCQEL || tag == kCQEL2)
    {
        cqel = true;
        // Written by a program of this family: a 32-bit file is float.
        if (seenComm && intOr(a, kSampleSize, 0) == 32)
            a.setInt(kSampleFormat, 2);
    }
    else if (tag == kBEXT)
    {
        WaveFileHandler broadcast(file);
        broadcast.readBroadcast(stream, position + 4, uint32(std::max<int64>(0, size - 4)));
        a.setInt(kChunkBroadcast, 1);
    }
}

void AIFFFileHandler::readREX(IBStream* stream, int64 position, int64 size)
{
    uint8 head[12];
    if (size < 12 || !readAt(stream, position, head, 12) || be32(head) != kREXMagic)
        return;
    const int32 version = be16(head + 4);
    const int32 slices = be16(head + 10);
    FAttributes& a = file.getAttributes();
    a.setInt(kChunkREX, 1);
    if (slices == 0)
        return;
    uint8 values[8];
    int64 at = position + 12;
    if (!readAt(stream, at, values, 8))
        return;
    a.setFloat(kTempo, double(be32(values)) / 1000.0);
    int64 ppq = 960;
    if (version == 999)
    {
        ppq = be32(values + 4);
        at += 8 + 996;
    }
    else
        at += 4 + 1000;
    a.setInt(kPPQBase, ppq);
    FSubList* list = new FSubList;
    for (int32 i = 0; i < slices && at + 12 <= position + size; ++i, at += 12)
    {
        uint8 slice[12];
        if (!readAt(stream, at, slice, 12))
            break;
        FAttrList* marker = list->add();
        marker->setInt(kMarkerStart, be32(slice));
        marker->setInt(kMarkerEnd, be32(slice + 4));
        marker->setInt(kMarkerRefTime, be32(slice + 8));
    }
    a.setSubList(kREXSliceList, list);
    list->release();
}

AudioAccessStream* AIFFFileHandler::createFile(int32 mode)
{
    FAttributes& a = file.getAttributes();
    a.setInt(kByteOrder, 1);
    if (intOr(a, kSampleFormat, 0) == 0)
        a.setInt(kSampleFormat, intOr(a, kSampleSize, 16) == 32 ? 2 : 1);
    return AudioFileHandler::createFile(mode);
}

bool AIFFFileHandler::writeHeader(IBStream* stream)
{
    FAttributes& a = file.getAttributes();
    a.setInt(kByteOrder, 1);
    a.setInt(kFrameFormat, 0);
    const int32 channels = int32(intOr(a, kChannels, 1));
    const int32 bits = int32(intOr(a, kSampleSize, 16));
    double rate = 44100;
    a.getFloat(kSampleRate, rate);
    const bool isFloat = intOr(a, kSampleFormat, 1) == 2 && bits == 32;
    aifc = isFloat;
    const std::string name = isFloat ? "32-bit Floating Point" : "not compressed";

    std::vector<uint8> comm(18);
    putBE16(comm.data(), uint32(channels));
    putBE32(comm.data() + 2, uint32(intOr(a, kFrameCount, 0)));
    putBE16(comm.data() + 6, uint32(bits));
    writeExtended(rate, comm.data() + 8);
    if (aifc)
    {
        uint8 type[4];
        putBE32(type, kFL32);
        comm.insert(comm.end(), type, type + 4);
        comm.push_back(uint8(name.size()));
        comm.insert(comm.end(), name.begin(), name.end());
        if (comm.size() & 1)
            comm.push_back(0);
    }
    // AIFF-C readers expect the format version chunk; its one value is fixed by the format.
    const int64 fver = aifc ? 12 : 0;
    std::vector<uint8> bext;
    if (intOr(a, kChunkBroadcast, 0))
    {
        WaveFileHandler broadcast(file);
        bext = broadcast.renderBroadcast(-1);
    }
    const int64 bextChunk = bext.empty() ? 0 : 8 + 4 + int64(bext.size()) + (bext.size() & 1);
    // Slices travel in the REX application chunk: a fixed head, then three numbers a slice.
    std::vector<uint8> rex;
    if (FSubList* slices = a.getSubList(kREXSliceList))
    {
        const int32 count = std::min<int32>(slices->count(), 0xFFFF);
        rex.assign(size_t(4 * (3 * count + 255)), 0);
        putBE32(rex.data(), kREXMagic);
        putBE16(rex.data() + 4, 999);
        putBE16(rex.data() + 10, uint32(count));
        double tempo = 120, ppq = 960;
        a.getFloat(kTempo, tempo);
        a.getFloat(kPPQBase, ppq);
        putBE32(rex.data() + 12, uint32(std::llround(tempo * 1000)));
        putBE32(rex.data() + 16, uint32(ppq + 0.5));
        for (int32 i = 0; i < count; ++i)
        {
            uint8* slice = rex.data() + 12 + 8 + 996 + 12 * i;
            FAttrList* marker = slices->at(i);
            putBE32(slice, uint32(intOr(*marker, kMarkerStart, 0)));
            putBE32(slice + 4, uint32(intOr(*marker, kMarkerEnd, 0)));
            putBE32(slice + 8, uint32(intOr(*marker, kMarkerRefTime, 0)));
        }
        rex.resize(size_t(12 + 8 + 996 + 12 * count));
        file.setUserReadOnly(false);
    }
    const int64 rexChunk = rex.empty() ? 0 : 8 + 4 + int64(rex.size());
    std::vector<uint8> mark, inst;
    renderLoops(mark, inst);
    const int64 loopChunks =
        (mark.empty() ? 0 : 8 + int64(mark.size())) + (inst.empty() ? 0 : 8 + int64(inst.size()));
    int64 sum = 12 + fver + 8 + int64(comm.size()) + loopChunks + rexChunk + bextChunk + 16;
    int64 anno = 0;
    if (sum % 4 != 0)
        anno = 8 + (4 - sum % 4);
    sum += anno;

    std::vector<uint8> h;
    auto tag = [&](uint32 t, uint32 size)
    {
        uint8 b[8];
        putBE32(b, t);
        putBE32(b + 4, size);
        h.insert(h.end(), b, b + 8);
    };
    tag(kFORM, uint32(sum - 8));
    uint8 form[4];
    putBE32(form, aifc ? kAIFC : kAIFF);
    h.insert(h.end(), form, form + 4);
    if (aifc)
    {
        tag(tagBE("FVER"), 4);
        uint8 version[4];
        putBE32(version, 0xA2805140);
        h.insert(h.end(), version, version + 4);
    }
    tag(kCOMM, uint32(comm.size()));
    h.insert(h.end(), comm.begin(), comm.end());
    if (!mark.empty())
    {
        tag(kMARK, uint32(mark.size()));
        h.insert(h.end(), mark.begin(), mark.end());
        tag(kINST, uint32(inst.size()));
        h.insert(h.end(), inst.begin(), inst.end());
    }
    if (anno)
    {
        tag(kANNO, uint32(anno - 8));
        h.insert(h.end(), size_t(anno - 8), 0);
    }
    if (!rex.empty())
    {
        tag(kAPPL, uint32(4 + rex.size()));
        uint8 signature[4];
        putBE32(signature, kREX);
        h.insert(h.end(), signature, signature + 4);
        h.insert(h.end(), rex.begin(), rex.end());
    }
    if (!bext.empty())
    {
        tag(kAPPL, uint32(4 + bext.size()));
        uint8 signature[4];
        putBE32(signature, kBEXT);
        h.insert(h.end(), signature, signature + 4);
        h.insert(h.end(), bext.begin(), bext.end());
        if (bext.size() & 1)
            h.push_back(0);
    }
    tag(kSSND, 8);
    h.insert(h.end(), 8, 0);
    dataOffset = int64(h.size());
    a.setString(kFileType, aifc ? kAIFCType : kAIFFType);
    return writeAt(stream, 0, h.data(), int32(h.size()));
}

void AIFFFileHandler::renderLoops(std::vector<uint8>& mark, std::vector<uint8>& inst) const
{
    // Each loop is two markers, numbered from 1 in loop order. The instrument chunk plays the
    // first loop as the sustain loop and the second as the release loop; a file whose sustain
    // loop is also its release loop holds that loop twice, and both point at its markers.
    // Further loops keep their markers, which the instrument chunk has no place for.
    const auto& pairs = file.getMarkerPairs();
    if (pairs.empty())
        return;
    const bool sameTwice = file.hasState(AudioFile::kFirstMarkerTwice) && pairs.size() >= 2;
    const size_t loops = std::min<size_t>(sameTwice ? pairs.size() - 1 : pairs.size(), 0x3FFF);
    mark.assign(2, 0);
    putBE16(mark.data(), uint32(2 * loops));
    for (size_t loop = 0; loop < loops; ++loop)
    {
        const auto& [start, end] = pairs[sameTwice && loop > 0 ? loop + 1 : loop];
        for (int side = 0; side < 2; ++side)
        {
            const std::string name =
                "Loop " + std::to_string(loop + 1) + (side == 0 ? " Start" : " End");
            uint8 head[7];
            putBE16(head, uint32(2 * loop + 1 + side));
            putBE32(head + 2, uint32(std::max<int64>(0, side == 0 ? start : end)));
            head[6] = uint8(name.size());
            mark.insert(mark.end(), head, head + 7);
            mark.insert(mark.end(), name.begin(), name.end());
            if (name.size() % 2 == 0) // the count byte and the text take an even room
                mark.push_back(0);
        }
    }
    // Root key, detune, key and velocity range, gain; then the two loops: mode (1 forward),
    // begin marker, end marker.
    inst.assign(20, 0);
    inst[0] = uint8(std::clamp<int64>(intOr(file.getAttributes(), kRootKey, 60), 0, 127));
    inst[3] = 127;
    inst[4] = 1;
    inst[5] = 127;
    auto loop = [&](uint8* at, uint32 first)
    {
        putBE16(at, 1);
        putBE16(at + 2, first);
        putBE16(at + 4, first + 1);
    };
    loop(inst.data() + 8, 1);
    if (sameTwice)
        loop(inst.data() + 14, 1);
    else if (loops >= 2)
        loop(inst.data() + 14, 3);
}

bool AIFFFileHandler::updateHeader(IBStream* stream)
{
    FAttributes& a = file.getAttributes();
    int64 frames, frameSize, bits, format;
    double rate;
    if (!a.getInt(kFrameCount, frames) || !a.getInt(kFrameSize, frameSize) ||
        !a.getInt(kSampleSize, bits) || !a.getInt(kSampleFormat, format) ||
        !a.getFloat(kSampleRate, rate))
        return false;
    const uint32 storedFrames = frames > 0xFFFFFFFFll ? 0 : uint32(frames);
    int64 position = 0, end = 0;
    bool previousOdd = false;
    uint32 formType = 0;
    struct Chunk
    {
        uint32 tag;
        int64 position;
        int64 size;
    };
    std::vector<Chunk> chunks;
    for (int32 n = 0; n < 100000; ++n)
    {
        uint8 header[8];
        if (previousOdd && readAt(stream, position + 1, header, 8) && printable(header))
            position += 1;
        else if (!readAt(stream, position, header, 8))
            break;
        const uint32 tag = be32(header);
        const int64 size = int32(be32(header + 4));
        const int64 body = position + 8;
        if (size < 0)
            break;
        if (tag == kFORM)
        {
            uint8 form[4];
            if (!readAt(stream, body, form, 4))
                return false;
            formType = be32(form);
            position = body + 4;
            continue;
        }
        if (tag == kCOMM && size >= 18)
        {
            // The fields up to the compression type; a longer chunk keeps the rest as it is.
            std::vector<uint8> c(static_cast<size_t>(std::min<int64>(size, 22)));
            if (!readAt(stream, body, c.data(), int32(c.size())))
                return false;
            putBE16(c.data(), uint32(intOr(a, kChannels, 1)));
            putBE32(c.data() + 2, storedFrames);
            putBE16(c.data() + 6, uint32(bits));
            writeExtended(rate, c.data() + 8);
            if (formType == kAIFC && c.size() >= 22)
            {
                const uint32 compression = be32(c.data() + 18);
                if (compression == kSOWT || compression == kTWOS)
                    putBE32(c.data() + 18, intOr(a, kByteOrder, 1) == 0 ? kSOWT : kTWOS);
                else if (!(format == 2 && (compression == kFL32 || compression == kFL32U)))
                    putBE32(c.data() + 18, kNONE);
            }
            if (!writeAt(stream, body, c.data(), int32(c.size())))
                return false;
        }
        else if (tag == kSSND)
        {
            uint8 s[4];
            const int64 ssndSize = frames * frameSize + 8;
            putBE32(s, uint32(ssndSize));
            if (!writeAt(stream, position + 4, s, 4))
                return false;
            end = body + ssndSize;
            position = end;
            previousOdd = (ssndSize & 1) != 0;
            continue;
        }
        chunks.push_back({tag, position, size});
        end = body + size;
        position = end;
        previousOdd = (size & 1) != 0;
    }
    if (intOr(a, kChunkIXML, 0))
    {
        // The old text becomes a filler of spaces; the new one goes into the first filler
        // that holds it, or behind the last chunk.
        std::string text = AIXmlHandler::render(a);
        if (text.size() & 1)
            text += ' ';
        const int64 needed = int64(text.size());
        int64 place = -1, room = 0;
        for (const auto& [chunkTag, chunkPosition, chunkSize] : chunks)
        {
            if (chunkTag == kIXML)
            {
                uint8 fake[4];
                putBE32(fake, tagBE("Fake"));
                if (!writeAt(stream, chunkPosition, fake, 4) ||
                    !fillAt(stream, chunkPosition + 8, chunkSize, ' ', streamSize(stream)))
                    return false;
            }
            if ((chunkTag == kIXML || chunkTag == tagBE("Fake")) && place < 0 &&
                (chunkSize == needed || chunkSize >= needed + 8))
            {
                place = chunkPosition;
                room = chunkSize;
            }
        }
        std::vector<uint8> bytes(8 + text.size());
        putBE32(bytes.data(), kIXML);
        putBE32(bytes.data() + 4, uint32(needed));
        std::memcpy(bytes.data() + 8, text.data(), text.size());
        if (place < 0)
        {
            place = end + (end & 1);
            end = place + 8 + needed;
        }
        if (!writeAt(stream, place, bytes.data(), int32(bytes.size())))
            return false;
        if (room > needed)
        {
            uint8 filler[8];
            putBE32(filler, tagBE("Fake"));
            putBE32(filler + 4, uint32(room - needed - 8));
            if (!writeAt(stream, place + 8 + needed, filler, 8))
                return false;
        }
    }
    uint8 total[4];
    putBE32(total, uint32(std::max<int64>(end, 8) - 8));
    return writeAt(stream, 4, total, 4);
}

void AIFFFileHandler::copyAttributes(const FAttributes& source)
{
    AudioFileHandler::copyAttributes(source);
    FAttributes& target = file.getAttributes();
    for (const char* key : {kSignature, kBeats, kTempo, kRootKey, kTempoSync})
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
}

void AIFFFileHandler::rescaleMarkers(double oldRate, double newRate)
{
    FSubList* list = file.getAttributes().getSubList(kREXSliceList);
    if (!list || oldRate <= 0)
        return;
    for (int32 i = 0; i < list->count(); ++i)
    {
        FAttrList* marker = list->at(i);
        int64 start, end;
        if (marker->getInt(kMarkerStart, start))
            marker->setInt(kMarkerStart, int64(double(start) * newRate / oldRate));
        if (marker->getInt(kMarkerEnd, end))
            marker->setInt(kMarkerEnd, int64(double(end) * newRate / oldRate));
    }
}

int64 AIFFFileHandler::getMaxFrameCount() const
{
    return 0x7FFFFFFF / std::max<int64>(1, intOr(file.attributes(), kFrameSize, 2));
}

} // namespace Quillmark

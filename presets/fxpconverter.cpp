#include "presets/fxpconverter.h"

#include "base/fstreams.h"
#include "base/platform/atomicfile.h"
#include "base/platform/files.h"
#include "presets/presetfile.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace Quillmark
{
namespace Qel
{
namespace FxpConverter
{

namespace
{

constexpr int32 kNameSize = 28;
constexpr int32 kFutureSize = 128;

// Appends the bytes of a chunk of the source file, in pieces, so a large state needs no
// second copy of its own.
bool copyChunk(IBStream* from, const PresetFile::Entry& entry, std::vector<uint8>& out)
{
    int64 reached = -1;
    if (from->seek(entry.offset, IBStream::kIBSeekSet, &reached) != kResultOk ||
        reached != entry.offset)
        return false;
    uint8 piece[65536];
    for (int64 left = entry.size; left > 0;)
    {
        int32 wanted = int32(std::min<int64>(left, sizeof(piece)));
        int32 got = 0;
        tresult result = from->read(piece, wanted, &got);
        if ((result != kResultOk && result != kNotImplemented) || got != wanted)
            return false;
        out.insert(out.end(), piece, piece + got);
        left -= got;
    }
    return true;
}

void putBig32(std::vector<uint8>& out, uint32 value)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(uint8(value >> shift));
}

void putLittle64(std::vector<uint8>& out, uint64 value)
{
    for (int shift = 0; shift < 64; shift += 8)
        out.push_back(uint8(value >> shift));
}

void putID(std::vector<uint8>& out, const char* id)
{
    out.insert(out.end(), id, id + 4);
}

} // namespace

int32 makeUniqueId(const std::string& text)
{
    uint32 value = 0;
    for (size_t i = 0; i < 4; ++i)
        value = (value << 8) | (i < text.size() ? uint8(text[i]) : 0u);
    return int32(value);
}

bool convert(PresetFile& preset, IBStream* out, Form form, int32 uniqueId,
             const std::string& programName)
{
    const PresetFile::Entry* component = preset.getEntry(kComponentState);
    const PresetFile::Entry* controller = preset.getEntry(kControllerState);
    if (!out || !component || component->size <= 0 || !preset.isInside(*component) ||
        (controller && !preset.isInside(*controller)))
        return false;
    int64 controllerSize = controller ? controller->size : 0;
    int64 dataSize = component->size + controllerSize + 16;
    // The old format counts its sizes in 32 bits.
    if (controllerSize < 0 || dataSize > INT32_MAX - 1024)
        return false;

    std::vector<uint8> bytes;
    bytes.reserve(size_t(dataSize) + 256);
    putID(bytes, "CcnK");
    putBig32(bytes, 0); // byte size, patched below
    putID(bytes, form == Form::kProgram ? "FPCh" : "FBCh");
    putBig32(bytes, 1); // format version
    putBig32(bytes, uint32(uniqueId));
    putBig32(bytes, 1); // plug-in version
    putBig32(bytes, 1); // programs in the file
    if (form == Form::kProgram)
    {
        char name[kNameSize] = {};
        std::memcpy(name, programName.data(), std::min<size_t>(programName.size(), kNameSize - 1));
        bytes.insert(bytes.end(), name, name + kNameSize);
    }
    else
        bytes.insert(bytes.end(), kFutureSize, 0);
    putBig32(bytes, uint32(dataSize));
    putLittle64(bytes, uint64(component->size));
    putLittle64(bytes, uint64(controllerSize));
    if (!copyChunk(preset.getStream(), *component, bytes))
        return false;
    if (controller && !copyChunk(preset.getStream(), *controller, bytes))
        return false;
    uint32 byteSize = uint32(bytes.size() - 8);
    for (int i = 0; i < 4; ++i)
        bytes[4 + size_t(i)] = uint8(byteSize >> (24 - 8 * i));

    int32 written = 0;
    tresult result = out->write(bytes.data(), int32(bytes.size()), &written);
    return (result == kResultOk || result == kNotImplemented) && written == int32(bytes.size());
}

int convertFolder(const std::string& sourceFolder, const std::string& destFolder, Form form,
                  int32 uniqueId, std::string* problems)
{
    auto complain = [&](const std::string& text)
    {
        if (problems)
            *problems += text + "\n";
    };
    std::vector<std::string> names;
    std::string error;
    if (!platform::listFolder(sourceFolder, names, &error))
    {
        complain("cannot read the folder " + sourceFolder + ": " + error);
        return 0;
    }
    std::sort(names.begin(), names.end());
    int converted = 0;
    for (const std::string& name : names)
    {
        std::string path = platform::joinPath(sourceFolder, name);
        if (platform::extensionOf(name) != "qelpreset" || !platform::fileInfo(path).isFile)
            continue;
        FFileStream* source = FFileStream::open(path.c_str(), "rb");
        if (!source)
        {
            complain(path + ": cannot be opened");
            continue;
        }
        PresetFile preset(source);
        source->release();
        preset.readChunkList();
        const PresetFile::Entry* component = preset.getEntry(kComponentState);
        if (!component || component->size <= 0)
        {
            complain(path + ": no component state, not converted");
            continue;
        }
        std::string base = platform::baseName(name);
        FMemoryStream* out = new FMemoryStream;
        bool ok = convert(preset, out, form, uniqueId, base);
        // Written whole or not at all, so a failure never leaves a cut-off file behind.
        std::string target =
            platform::joinPath(destFolder, base + (form == Form::kProgram ? ".fxp" : ".fxb"));
        if (ok && !platform::writeFileAtomically(target, out->data(), size_t(out->size()), &error))
        {
            complain(target + ": " + error);
            ok = false;
        }
        else if (!ok)
            complain(path + ": damaged, not converted");
        out->release();
        if (ok)
            ++converted;
    }
    return converted;
}

} // namespace FxpConverter
} // namespace Qel
} // namespace Quillmark

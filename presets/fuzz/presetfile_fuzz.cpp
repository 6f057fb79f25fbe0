// Feeds bytes as a preset file through what the program does with one: the chunk list, the
// meta information, a chunk window read to its end, the in-place update and the conversion.
#include "base/fstreams.h"
#include "presets/fxpconverter.h"
#include "presets/metainfo.h"
#include "presets/presetfile.h"
#include "presets/readonlybstream.h"

#include <cstddef>
#include <cstdint>
#include <vector>

using namespace Quillmark;
using namespace Quillmark::Qel;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FMemoryStream* stream = new FMemoryStream(data, int64(size));
    {
        PresetFile file(stream);
        file.readChunkList();
        int32 infoSize = 0;
        if (file.readMetaInfo(nullptr, infoSize) && infoSize < (1 << 20))
        {
            std::vector<char> xml(static_cast<size_t>(infoSize));
            if (file.readMetaInfo(xml.data(), infoSize))
            {
                MediaAttributeList attributes;
                MetaInfoParser(attributes).parse(xml.data(), size_t(infoSize));
            }
        }
        if (const PresetFile::Entry* entry = file.getEntry(kComponentState))
        {
            ReadOnlyBStream* window = new ReadOnlyBStream(stream, entry->offset, entry->size);
            char buffer[256];
            int32 got = 0;
            for (int i = 0;
                 i < 64 && window->read(buffer, sizeof(buffer), &got) == kResultOk && got > 0; ++i)
                ;
            window->release();
        }
        FMemoryStream* out = new FMemoryStream;
        FxpConverter::convert(file, out, FxpConverter::Form::kProgram, 1, "fuzz");
        out->release();
        if (file.prepareMetaInfoUpdate())
        {
            file.writeMetaInfo("<MetaInfo/>", -1, true);
            file.writeChunkList();
        }
    }
    stream->release();
    return 0;
}

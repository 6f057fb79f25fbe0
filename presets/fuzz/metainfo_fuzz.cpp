// Feeds bytes as the meta information of a preset, then writes what was read back out.
#include "presets/metainfo.h"

#include <cstddef>
#include <cstdint>

using namespace Quillmark::Qel;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    MediaAttributeList attributes;
    MetaInfoParser(attributes).parse(data, size);
    std::string xml = writeMetaInfoXml(attributes);
    MediaAttributeList again;
    MetaInfoParser(again).parse(xml.data(), xml.size());
    return 0;
}

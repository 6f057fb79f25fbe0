// Feeds bytes as a representation document, shows every layer and writes the tree again.
#include "presets/representation.h"

#include <cstddef>
#include <cstdint>

using namespace Quillmark;
using namespace Quillmark::Qel;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    RepresentationRootBase root;
    PiperParser(root).parse(data, size);
    for (int32 p = 0; p < root.getPageCount(); ++p)
        for (const auto& cell : root.getPage(p)->cells)
            for (const auto& layer : cell->layers)
                root.describeLayer(*layer);
    std::string written = root.write();
    RepresentationRootBase again;
    PiperParser(again).parse(written.data(), written.size());
    return 0;
}

// Feeds bytes as the XML form of a medium's attribute tree, reads the media attributes from it,
// and takes them through the tree and the meta information once more.
#include "presets/pattributes.h"

#include <cstddef>
#include <cstdint>

using namespace Quillmark;
using namespace Quillmark::QmMedia;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    auto* tree = new FAttributes;
    tree->readXml(data, size);
    auto* attributes = new PAttributes;
    attributes->load(*tree);
    auto* again = new FAttributes;
    attributes->store(*again);
    Qel::MediaAttributeList meta;
    attributes->toMediaAttributeList(meta);
    attributes->fromMediaAttributeList(meta);
    again->release();
    attributes->release();
    tree->release();
    return 0;
}

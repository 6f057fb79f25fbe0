// Attribute trees in their XML form, read as the preference store and every saved document
// read them; a tree that was read writes out and reads back equal.
#include "base/fattributes.h"
#include "base/fstreams.h"

using namespace Quillmark;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    auto* attributes = new FAttributes;
    std::string error;
    if (attributes->readXml(data, size, &error))
    {
        auto* stream = new FMemoryStream;
        if (!attributes->writeXml(stream))
            __builtin_trap();
        auto* copy = new FAttributes;
        stream->seek(0, IBStream::kIBSeekSet, nullptr);
        if (!copy->readXml(stream, &error) || !copy->isEqual(attributes))
            __builtin_trap();
        copy->release();
        stream->release();
    }
    attributes->release();
    return 0;
}

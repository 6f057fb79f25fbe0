// Feeds bytes to the iXML reader as the Wave and AIFF readers hand it a chunk's text, then
// writes the resulting tree out again, as a header update would.
#include "audiofile/aixmlhandler.h"

#include <cstdint>

using namespace Quillmark;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    auto* tree = new FAttributes;
    tree->setInt("AudioChannels", 2);
    AIXmlHandler::import(data, size, *tree);
    AIXmlHandler::render(*tree);
    tree->release();
    return 0;
}

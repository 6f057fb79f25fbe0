// The Wave family reader, fed through a file with the extension "wav".
#include "fuzzaudiofile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return Quillmark::fuzzAudioFile(data, size, "wav");
}

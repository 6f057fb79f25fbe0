// Feeds bytes to the Wave reader the way the program meets a file: as a file on disk, opened by
// path, its header read (with repairs written back, as on a normal open) and every frame read
// through an accessor as float.
#include "audiofile/audioaccessor.h"
#include "audiofile/audiofile.h"
#include "base/optimaudio/audiokernels.h"

#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

using namespace Quillmark;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string path = "/tmp/wave_fuzz_" + std::to_string(getpid()) + ".wav";
    static bool installed = (installAudioKernels(), true);
    (void)installed;
    if (FILE* out = std::fopen(path.c_str(), "wb"))
    {
        std::fwrite(data, 1, size, out);
        std::fclose(out);
    }
    auto* file = new AudioFile(path);
    if (file->ensureHeader())
    {
        file->getAttributes();
        if (AudioAccessor* accessor = file->createAccessor(kAudioModeRead | kAudioModeBuffered))
        {
            accessor->setSampleFormat(2);
            accessor->setSampleSize(32);
            const int32 channels = accessor->getChannelCount();
            if (channels > 0 && channels <= 64)
            {
                std::vector<float> block(size_t(256 * channels));
                for (int rounds = 0; rounds < 64; ++rounds)
                    if (accessor->read(256, block.data()) <= 0)
                        break;
            }
            accessor->release();
        }
    }
    file->release();
    return 0;
}

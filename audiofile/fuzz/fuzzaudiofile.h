// Feeds bytes to a file reader the way the program meets a file: as a file on disk, opened by
// path (whose extension picks the handler), its header read (with repairs written back, as on
// a normal open) and every frame read through an accessor as float.
#pragma once

#include "audiofile/audioaccessor.h"
#include "audiofile/audiofile.h"
#include "base/optimaudio/audiokernels.h"

#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

namespace Quillmark
{

inline int fuzzAudioFile(const uint8_t* data, size_t size, const char* extension)
{
    static const std::string path =
        "/tmp/audio_fuzz_" + std::to_string(getpid()) + "." + extension;
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

} // namespace Quillmark

// Speed of the audio file layer beside libsndfile and libsamplerate doing the same work in the
// same run, and beside memcpy of the same bytes. Prints frames per second and the ratios.
#include "audiofile/audioaccessor.h"
#include "audiofile/audiofile.h"
#include "base/optimaudio/alsamplerateconverter.h"
#include "base/optimaudio/audiokernels.h"
#include "base/optimaudio/intfloatconverter.h"
#include "base/optimaudio/optaudioprimitives.h"

#include <samplerate.h>
#include <sndfile.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

using namespace Quillmark;

namespace
{

constexpr int kRate = 44100;
constexpr int kChannels = 2;
constexpr int64 kFrames = int64(kRate) * 600; // ten minutes
constexpr int kBlock = 4096;

/** The best of three runs, in seconds. */
double timeBest(const std::function<void()>& work)
{
    double best = 1e30;
    for (int i = 0; i < 3; ++i)
    {
        auto start = std::chrono::steady_clock::now();
        work();
        std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        best = std::min(best, took.count());
    }
    return best;
}

void report(const char* what, double frames, double ours, double sndfile, double copy)
{
    std::printf("%-34s %12.0f frames/s   libsndfile %12.0f   memcpy %13.0f   "
                "vs libsndfile %5.2f   vs memcpy %5.3f\n",
                what, frames / ours, frames / sndfile, frames / copy, sndfile / ours, copy / ours);
}

std::string makeSource(const std::string& folder, int format, const char* name)
{
    std::string path = folder + "/" + name;
    SF_INFO info = {};
    info.samplerate = kRate;
    info.channels = kChannels;
    info.format = SF_FORMAT_WAV | format;
    SNDFILE* out = sf_open(path.c_str(), SFM_WRITE, &info);
    std::vector<float> block(size_t(kBlock * kChannels));
    std::mt19937 random(1);
    std::uniform_real_distribution<float> value(-0.9f, 0.9f);
    for (auto& s : block)
        s = value(random);
    for (int64 done = 0; done < kFrames; done += kBlock)
        sf_writef_float(out, block.data(), std::min<int64>(kBlock, kFrames - done));
    sf_close(out);
    return path;
}

void readBenchmark(const std::string& path, const char* label, int bytesPerSample)
{
    std::vector<float> block(size_t(kBlock * kChannels));
    double ours = timeBest(
        [&]
        {
            auto* file = new AudioFile(path);
            AudioAccessor* accessor = file->createAccessor(kAudioModeRead | kAudioModeBuffered);
            accessor->setSampleFormat(2);
            accessor->setSampleSize(32);
            while (accessor->read(kBlock, block.data()) > 0)
            {
            }
            accessor->release();
            file->release();
        });
    double reference = timeBest(
        [&]
        {
            SF_INFO info = {};
            SNDFILE* in = sf_open(path.c_str(), SFM_READ, &info);
            while (sf_readf_float(in, block.data(), kBlock) > 0)
            {
            }
            sf_close(in);
        });
    const size_t bytes = size_t(kFrames) * kChannels * size_t(bytesPerSample);
    std::vector<uint8> from(bytes, 1), to(bytes);
    double copy = timeBest([&] { std::memcpy(to.data(), from.data(), bytes); });
    report(label, double(kFrames), ours, reference, copy);
}

void writeBenchmark(const std::string& folder)
{
    std::vector<float> block(size_t(kBlock * kChannels));
    for (size_t i = 0; i < block.size(); ++i)
        block[i] = float(std::sin(double(i) * 0.01) * 0.8);
    const std::string ourPath = folder + "/ours24.wav", theirPath = folder + "/theirs24.wav";
    double ours = timeBest(
        [&]
        {
            auto* file = new AudioFile(ourPath);
            file->setDefaultAttributes();
            file->setChannelCount(kChannels);
            file->setSampleSize(24);
            file->setSampleRate(kRate);
            AudioAccessor accessor(*file, file->createFile());
            accessor.setSampleFormat(2);
            accessor.setSampleSize(32);
            for (int64 done = 0; done < kFrames; done += kBlock)
                accessor.write(std::min<int64>(kBlock, kFrames - done), block.data());
            accessor.close();
            file->release();
        });
    double reference = timeBest(
        [&]
        {
            SF_INFO info = {};
            info.samplerate = kRate;
            info.channels = kChannels;
            info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_24;
            SNDFILE* out = sf_open(theirPath.c_str(), SFM_WRITE, &info);
            for (int64 done = 0; done < kFrames; done += kBlock)
                sf_writef_float(out, block.data(), std::min<int64>(kBlock, kFrames - done));
            sf_close(out);
        });
    const size_t bytes = size_t(kFrames) * kChannels * 3;
    std::vector<uint8> from(bytes, 1), to(bytes);
    double copy = timeBest([&] { std::memcpy(to.data(), from.data(), bytes); });
    report("write float to 24-bit WAV", double(kFrames), ours, reference, copy);
    std::remove(ourPath.c_str());
    std::remove(theirPath.c_str());
}

/** The kernels over the samples of the whole ten-minute stereo file, block by block as the
    accessor calls them, so neither side stays in the cache. The reference copies the stored
    bytes of the same samples with memcpy, in the same blocks, between buffers of the same size. */
void kernelBenchmark(const char* label)
{
    const int64 samples = kFrames * kChannels;
    constexpr int32 blockSamples = kBlock * kChannels;
    std::vector<uint8> stored(size_t(samples) * 4), copyTarget(size_t(samples) * 4);
    std::vector<float> floats(static_cast<size_t>(samples)), right(static_cast<size_t>(samples));
    std::mt19937 random(2);
    for (auto& b : stored)
        b = uint8(random());
    std::uniform_real_distribution<float> value(-1.f, 1.f);
    for (auto& f : floats)
        f = value(random);
    struct Case
    {
        const char* name;
        SampleCoding coding;
        bool toFloat;
        bool split;
    } cases[] = {{"int16 -> float", SampleCoding::kInt16LE, true, false},
                 {"int24 -> float", SampleCoding::kInt24LE, true, false},
                 {"int32 -> float", SampleCoding::kInt32LE, true, false},
                 {"float -> int16", SampleCoding::kInt16LE, false, false},
                 {"float -> int24", SampleCoding::kInt24LE, false, false},
                 {"float -> int32", SampleCoding::kInt32LE, false, false},
                 {"int16 -> float, split stereo", SampleCoding::kInt16LE, true, true},
                 {"int24 -> float, split stereo", SampleCoding::kInt24LE, true, true},
                 {"float -> int16, join stereo", SampleCoding::kInt16LE, false, true},
                 {"float -> int24, join stereo", SampleCoding::kInt24LE, false, true}};
    std::printf("kernels over ten minutes of stereo, %s (%s)\n", label,
                sIntFloatConverter->getName());
    for (const Case& c : cases)
    {
        const int64 size = bytesPerSample(c.coding);
        double t = timeBest(
            [&]
            {
                for (int64 at = 0; at < samples; at += blockSamples)
                {
                    const int32 n = int32(std::min<int64>(blockSamples, samples - at));
                    uint8* bytes = stored.data() + at * size;
                    if (c.split && c.toFloat)
                        sIntFloatConverter->toFloatStereo(c.coding, bytes, floats.data() + at / 2,
                                                          right.data() + at / 2, n / 2, 1.f);
                    else if (c.split)
                        sIntFloatConverter->fromFloatStereo(c.coding, floats.data() + at / 2,
                                                            right.data() + at / 2, bytes, n / 2,
                                                            FromFloatGain{});
                    else if (c.toFloat)
                        sIntFloatConverter->toFloat(c.coding, bytes, floats.data() + at, n, 1.f);
                    else
                        sIntFloatConverter->fromFloat(c.coding, floats.data() + at, bytes, n,
                                                      FromFloatGain{});
                    asm volatile("" ::"r"(floats.data()), "r"(stored.data()) : "memory");
                }
            });
        double copy = timeBest(
            [&]
            {
                for (int64 at = 0; at < samples; at += blockSamples)
                {
                    const int64 n = std::min<int64>(blockSamples, samples - at);
                    std::memcpy(copyTarget.data() + at * size, stored.data() + at * size,
                                size_t(n * size));
                    asm volatile("" ::"r"(copyTarget.data()) : "memory");
                }
            });
        const double frames = double(kFrames);
        std::printf("  %-32s %12.0f frames/s   memcpy %12.0f frames/s   vs memcpy %5.3f\n", c.name,
                    frames / t, frames / copy, copy / t);
    }
}

void rateBenchmark()
{
    constexpr int64 frames = int64(kRate) * 20;
    std::vector<float> left(frames), right(frames), interleaved(size_t(frames) * 2);
    for (int64 i = 0; i < frames; ++i)
    {
        left[size_t(i)] = float(std::sin(double(i) * 0.05));
        right[size_t(i)] = float(std::cos(double(i) * 0.031));
        interleaved[size_t(2 * i)] = left[size_t(i)];
        interleaved[size_t(2 * i + 1)] = right[size_t(i)];
    }
    const int64 outCapacity = frames * 48000 / 44100 + 1000;
    std::vector<float> outL(static_cast<size_t>(outCapacity)),
        outR(static_cast<size_t>(outCapacity));
    std::vector<float> outInterleaved(static_cast<size_t>(outCapacity) * 2);
    double ours = timeBest(
        [&]
        {
            ALSampleRateConverter converter(2, 3);
            converter.setRates(44100, 48000);
            int64 written = 0;
            for (int64 at = 0; at < frames; at += kBlock)
            {
                const float* in[] = {left.data() + at, right.data() + at};
                float* out[] = {outL.data() + written, outR.data() + written};
                written += converter.process(in, int32(std::min<int64>(kBlock, frames - at)), out,
                                             int32(outCapacity - written), false);
            }
        });
    double reference = timeBest(
        [&]
        {
            int error = 0;
            SRC_STATE* state = src_new(SRC_SINC_BEST_QUALITY, 2, &error);
            SRC_DATA data = {};
            data.src_ratio = 48000.0 / 44100.0;
            int64 written = 0;
            for (int64 at = 0; at < frames; at += kBlock)
            {
                data.data_in = interleaved.data() + 2 * at;
                data.input_frames = long(std::min<int64>(kBlock, frames - at));
                data.data_out = outInterleaved.data() + 2 * written;
                data.output_frames = long(outCapacity - written);
                data.end_of_input = at + kBlock >= frames;
                src_process(state, &data);
                written += data.output_frames_gen;
            }
            src_delete(state);
        });
    std::printf("%-34s %12.0f frames/s   libsamplerate best %12.0f frames/s   "
                "vs libsamplerate %5.2f\n",
                "rate 44.1 -> 48 kHz, stereo", double(frames) / ours, double(frames) / reference,
                reference / ours);
}

} // namespace

int main(int argc, char** argv)
{
    // --generic-kernels also times the kernels forced to the generic loops, for comparison.
    const bool alsoGeneric = argc > 1 && std::strcmp(argv[1], "--generic-kernels") == 0;
    installAudioKernels();
    std::printf("kernels: %s / %s\n", sAudioPrimitives->getName(), sIntFloatConverter->getName());
    char pattern[] = "/tmp/qelbenchXXXXXX";
    std::string folder = mkdtemp(pattern);
    const std::string s16 = makeSource(folder, SF_FORMAT_PCM_16, "ten16.wav");
    const std::string s24 = makeSource(folder, SF_FORMAT_PCM_24, "ten24.wav");
    readBenchmark(s16, "read 16-bit WAV to float", 2);
    readBenchmark(s24, "read 24-bit WAV to float", 3);
    writeBenchmark(folder);
    kernelBenchmark("fastest for this processor");
    if (alsoGeneric)
    {
        installAudioKernels(KernelChoice::kGeneric);
        kernelBenchmark("forced generic");
        installAudioKernels();
    }
    rateBenchmark();
    std::remove(s16.c_str());
    std::remove(s24.c_str());
    rmdir(folder.c_str());
    return 0;
}

// The test signals: the sine's frequency, noise from the host's own 15-bit sequence, files read
// from disk (made by sox) cut at 240 seconds, and the aux signal that writes over the main one.
#include "engine/graphtestsupport.h"

#include "base/hostrand.h"

#include <cmath>
#include <numbers>

namespace Quillmark::MiniEngine
{
namespace
{

using Signals = testing::GraphFixture;

TEST(SignalGenerator, SineIsAThousandHertzOnEveryChannel)
{
    auto* generator = new SignalGenerator;
    generator->setSampleRate(48000.0);
    float left[96], right[96];
    float* outputs[2] = {left, right};
    generator->render(nullptr, outputs, 96, 2, SignalGenerator::kSine);
    for (int32 s = 0; s < 96; ++s)
    {
        EXPECT_NEAR(left[s], std::sin(2.0 * std::numbers::pi * 1000.0 * s / 48000.0), 1e-4) << s;
        EXPECT_EQ(left[s], right[s]);
    }
    // 48 samples are one period: the phase wraps and the next block continues it.
    generator->setGain(0.5f);
    generator->render(nullptr, outputs, 12, 2, SignalGenerator::kSine);
    EXPECT_NEAR(left[0], 0.5 * std::sin(2.0 * std::numbers::pi * 96 / 48.0), 1e-4);
    EXPECT_NEAR(left[11], 0.5 * std::sin(2.0 * std::numbers::pi * 107 / 48.0), 1e-4);
    generator->release();
}

TEST(SignalGenerator, NoiseIsMadeOfFifteenBitNumbers)
{
    auto* generator = new SignalGenerator;
    float left[256], right[256];
    float* outputs[2] = {left, right};
    generator->render(nullptr, outputs, 256, 2, SignalGenerator::kNoise);
    double sum = 0.0;
    int32 distinct = 0;
    for (int32 s = 0; s < 256; ++s)
        for (float value : {left[s], right[s]})
        {
            // Each value is one number r of 0 to 32767 scaled to -1..1.
            const double r = (double(value) + 1.0) / 2.0 / 3.051851e-05;
            ASSERT_NEAR(r, std::round(r), 0.02) << value;
            ASSERT_GE(std::round(r), 0.0);
            ASSERT_LE(std::round(r), 32767.0);
            sum += value;
            distinct += value != left[0];
        }
    EXPECT_NEAR(sum / 512.0, 0.0, 0.15);
    EXPECT_GT(distinct, 500);
    EXPECT_NE(left[0], right[0]) << "a new number for each channel";
    generator->release();
}

TEST(SignalGenerator, FileModeStopsAtTheEndAndOtherKindsWriteZeros)
{
    auto* generator = new SignalGenerator;
    float left[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    float* outputs[2] = {left, nullptr};
    // Nothing loaded: the file writes nothing at all.
    generator->render(nullptr, outputs, 8, 1, SignalGenerator::kAudioFile);
    EXPECT_EQ(left[0], 9.0f);
    generator->render(nullptr, outputs, 8, 1, SignalGenerator::kSilence);
    EXPECT_EQ(left[7], 0.0f);
    float input[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    float* inputs[2] = {input, nullptr};
    generator->setGain(2.0f);
    generator->render(inputs, outputs, 8, 1, SignalGenerator::kDeviceInput);
    EXPECT_EQ(left[3], 8.0f);
    generator->render(nullptr, nullptr, 8, 1, SignalGenerator::kSine); // no outputs: no-op
    generator->release();
}

TEST_F(Signals, FilesAreReadAsTwoChannelsAndCutAtFourMinutes)
{
    auto* generator = new SignalGenerator;
    const std::string mono = makeWave("mono.wav", "0.01 sine 1000", 1);
    ASSERT_TRUE(generator->load(mono));
    EXPECT_EQ(generator->getLength(), 480);
    EXPECT_EQ(generator->getFileSampleRate(), 48000.0);
    EXPECT_NEAR(generator->getChannel(0)[12], 1.0f, 1e-3);
    EXPECT_EQ(generator->getChannel(0)[12], generator->getChannel(1)[12]);

    float left[64], right[64];
    float* outputs[2] = {left, right};
    generator->setPosition(470);
    std::fill_n(left, 64, 5.0f);
    generator->render(nullptr, outputs, 64, 2, SignalGenerator::kAudioFile);
    EXPECT_EQ(left[9], generator->getChannel(0)[479]);
    EXPECT_EQ(left[10], 5.0f) << "past the end nothing is written";

    // 241 seconds at 8 kHz: the last second is cut.
    const std::string path = temp.file("long.wav");
    const std::string command =
        std::string(SOX_PROGRAM) + " -q -n -r 8000 -c 1 -b 16 " + path + " synth 241 sine 100";
    ASSERT_EQ(std::system(command.c_str()), 0);
    ASSERT_TRUE(generator->load(path));
    EXPECT_EQ(generator->getLength(), 240 * 8000);

    std::string problem;
    const std::string broken = temp.file("broken.wav");
    FILE* file = std::fopen(broken.c_str(), "wb");
    std::fputs("RIFF\x04\x00\x00\x00WAVEjunk", file);
    std::fclose(file);
    EXPECT_FALSE(generator->load(broken, &problem));
    EXPECT_EQ(generator->getLength(), 0);
    EXPECT_FALSE(problem.empty());
    generator->release();
}

TEST_F(Signals, TheAuxSignalWritesOverTheMainOutputAndItsOwnPinsStaySilent)
{
    start();
    InputOperator* input = graph->getInputOperator();
    // Sinks of the test's own on both pairs of outputs.
    auto* sink = new testing::TestDevice(*ports, 4096);
    for (int32 c = 0; c < 2; ++c)
    {
        input->getOutputPin(c)->connect(sink->playbacks[size_t(c)]);
        input->getOutputPin(2 + c)->connect(device->playbacks[size_t(c)]);
    }
    input->setInputSignal(SignalGenerator::kSilence);
    input->setAuxInputSignal(SignalGenerator::kSine);
    graph->setPlaying(true);
    run(1);
    EXPECT_NEAR(sink->out(0, 6), std::sin(2.0 * std::numbers::pi * 1000.0 * 6 / testing::kRate),
                1e-4);
    for (int32 s = 0; s < testing::kBlock; ++s)
        ASSERT_EQ(device->out(0, s), 0.0f) << s;
    for (int32 c = 0; c < 4; ++c)
        input->getOutputPin(c)->disconnectAll();
    delete sink;
}

} // namespace
} // namespace Quillmark::MiniEngine

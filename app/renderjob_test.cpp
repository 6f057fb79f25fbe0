// --render from the outside: the real program renders the example plug-ins over files made by
// sox and MIDI files made by mido, and the output is read back by sox.
#include "app/commandline.h"
#include "app/programtestsupport.h"
#include "examples/QelGain/qelgaindefs.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>

namespace Quillmark
{
namespace
{

using testing::runProgram;
using testing::shellQuote;

class Render : public ::testing::Test
{
protected:
    /** Runs a shell command; the test fails when it does not succeed. */
    static void shell(const std::string& command)
    {
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    }

    /** The samples of a 32-bit float WAV file, interleaved, read straight from its "data"
        chunk (sox itself keeps samples as 32-bit integers, which rounds small floats). */
    static std::vector<float> samplesOf(const std::string& path)
    {
        std::ifstream in(path, std::ios::binary);
        std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
        auto le32 = [&](size_t at)
        {
            uint32_t v = 0;
            std::memcpy(&v, bytes.data() + at, 4);
            return v;
        };
        std::vector<float> samples;
        if (bytes.size() < 12 || std::string(bytes.data(), 4) != "RIFF")
            return samples;
        bool isFloat = false;
        for (size_t at = 12; at + 8 <= bytes.size();)
        {
            const std::string id(bytes.data() + at, 4);
            const size_t size = le32(at + 4);
            if (id == "fmt ")
            {
                uint16_t tag = 0, bits = 0;
                std::memcpy(&tag, bytes.data() + at + 8, 2);
                std::memcpy(&bits, bytes.data() + at + 22, 2);
                isFloat = (tag == 3 || tag == 0xFFFE) && bits == 32;
            }
            else if (id == "data" && isFloat && at + 8 + size <= bytes.size())
            {
                samples.resize(size / 4);
                std::memcpy(samples.data(), bytes.data() + at + 8, samples.size() * 4);
                return samples;
            }
            at += 8 + size + (size & 1);
        }
        return samples;
    }

    testing::ProgramRun render(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), {"--render", QEL_MODULE_DIR});
        return runProgram(temp, temp.folder("config"), arguments);
    }

    testing::TempFolder temp;
};

TEST_F(Render, ArgumentsAreReadAndWrongOnesNamed)
{
    const char* good[] = {"host",  "--render",      "--class", "Qel Gain", "m",
                          "--set", "0=0.25@1.5",    "--set",   "1=1",      "--block-size",
                          "64",    "--sample-rate", "44100",   "--output", "o.wav"};
    CommandLine line = CommandLine::parse(15, good);
    ASSERT_EQ(line.error, "");
    EXPECT_EQ(line.job, CommandLine::Job::kRender);
    EXPECT_EQ(line.render.folders, std::vector<std::string>{"m"});
    ASSERT_EQ(line.render.settings.size(), 2u);
    EXPECT_EQ(line.render.settings[0].id, 0);
    EXPECT_EQ(line.render.settings[0].value, 0.25);
    EXPECT_EQ(line.render.settings[0].seconds, 1.5);
    EXPECT_EQ(line.render.settings[1].seconds, 0.0);
    EXPECT_EQ(line.render.blockSize, 64);
    EXPECT_EQ(line.render.sampleRate, 44100.0);

    struct Bad
    {
        std::vector<const char*> args;
        std::string error;
    };
    const Bad bad[] = {
        {{"host", "--render", "--output", "o.wav"}, "--render needs --class NAME-OR-CID"},
        {{"host", "--render", "--class", "x"}, "--render needs --output FILE.wav"},
        {{"host", "--render", "--class", "x", "--set", "3=1.5", "--output", "o"},
         "--set needs PARAM-ID=NORMALIZED (0 to 1), not: 3=1.5"},
        {{"host", "--render", "--class", "x", "--set", "3", "--output", "o"},
         "--set needs PARAM-ID=NORMALIZED (0 to 1), not: 3"},
        {{"host", "--render", "--class", "x", "--block-size", "0", "--output", "o"},
         "--block-size needs a whole number of 1 to 8192, not: 0"},
        {{"host", "--render", "--class", "x", "--seconds", "-2", "--output", "o"},
         "--seconds needs a number above 0, not: -2"},
        {{"host", "--render", "--class", "x", "--loud", "--output", "o"},
         "unknown option for --render: --loud"},
        {{"host", "--render", "--class"}, "--class needs a value"},
    };
    for (const Bad& b : bad)
        EXPECT_EQ(CommandLine::parse(int(b.args.size()), b.args.data()).error, b.error);
}

TEST_F(Render, AUnityGainGivesABitExactCopyAndReportsWhatItDid)
{
    const std::string in = temp.file("in.wav"), out = temp.file("out.wav");
    shell("sox -q -n -r 44100 -c 2 -b 32 -e float " + shellQuote(in) + " synth 2.3 whitenoise");
    const testing::ProgramRun run =
        render({"--class", "Qel Gain", "--input", in, "--block-size", "100", "--output", out});
    ASSERT_EQ(run.status, 0) << run.err;
    // 2.3 s at the input's own rate, in blocks of 100 with the last one partly used; long
    // enough that the file is written in more than one piece, and one block straddles two.
    EXPECT_NE(run.out.find("Frames\t101430\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("Blocks\t1015\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("SampleRate\t44100\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("x real time\n"), std::string::npos) << run.out;
    const std::vector<float> source = samplesOf(in), result = samplesOf(out);
    ASSERT_EQ(source.size(), 101430u * 2);
    ASSERT_EQ(result.size(), source.size());
    EXPECT_TRUE(result == source);
    EXPECT_NE(result[2], result[0]) << "the copy is of sound, not of silence";
}

TEST_F(Render, AGainSetBeforeTheStartAndOneAtATimeScaleByThePlugInsOwnFactor)
{
    const std::string in = temp.file("in.wav"), out = temp.file("out.wav");
    shell("sox -q -n -r 48000 -c 2 -b 32 -e float " + shellQuote(in) + " synth 1 sine 220");
    // 0.512 s is the start of block 96 at 256 frames.
    const testing::ProgramRun run = render({"--class", "Qel Gain", "--input", in, "--set", "0=0.3",
                                            "--set", "0=0.9@0.512", "--output", out});
    ASSERT_EQ(run.status, 0) << run.err;
    const std::vector<float> source = samplesOf(in), result = samplesOf(out);
    ASSERT_EQ(result.size(), source.size());
    const float first = float(Qel::Examples::Gain::gainFactor(0.3));
    const float second = float(Qel::Examples::Gain::gainFactor(0.9));
    ASSERT_NE(first, 1.0f);
    ASSERT_NE(first, second);
    const size_t change = 24576 * 2;
    for (size_t i = 0; i < result.size(); ++i)
        ASSERT_EQ(result[i], source[i] * (i < change ? first : second)) << i;
}

TEST_F(Render, QelSynthIsSilentBeforeTheFirstNoteAndSoundsFromItsSample)
{
    const std::string midi = temp.file("song.mid"), out = temp.file("out.wav");
    const std::string script = temp.file("make.py");
    // One quarter note of rest at 120 beats per minute, then a note of one quarter note.
    std::ofstream(script) << "import mido\n"
                             "f = mido.MidiFile(ticks_per_beat=480)\n"
                             "t = mido.MidiTrack(); f.tracks.append(t)\n"
                             "t.append(mido.MetaMessage('set_tempo', tempo=500000, time=0))\n"
                             "t.append(mido.Message('note_on', note=69, velocity=100, time=480))\n"
                             "t.append(mido.Message('note_off', note=69, velocity=0, time=480))\n"
                             "f.save('"
                          << midi << "')\n";
    shell("/usr/bin/python3 " + shellQuote(script));
    const testing::ProgramRun run =
        render({"--class", "Qel Synth", "--midi", midi, "--sample-rate", "48000", "--output", out});
    ASSERT_EQ(run.status, 0) << run.err;
    const std::vector<float> result = samplesOf(out);
    // The song ends after two quarter notes, one second; the synth's release comes behind.
    ASSERT_GE(result.size() / 2, 48000u);
    size_t firstSound = result.size();
    for (size_t i = 0; i < result.size(); ++i)
        if (result[i] != 0.0f)
        {
            firstSound = i / 2;
            break;
        }
    // The note is due at 0.5 s, sample 24000, inside block 93 of 256 frames.
    EXPECT_GE(firstSound, 23999u);
    EXPECT_LE(firstSound, 24002u);
    float peak = 0.0f;
    for (size_t i = 24000 * 2; i < 26000 * 2; ++i)
        peak = std::max(peak, std::fabs(result[i]));
    EXPECT_GT(peak, 0.01f);
}

TEST_F(Render, BadInputChangesNothingAndSaysWhy)
{
    const std::string out = temp.file("out.wav"), broken = temp.file("broken.wav");
    std::ofstream(broken) << "RIFF\x04\x00\x00\x00WAVEjunk";
    testing::ProgramRun run =
        render({"--class", "Qel Gain", "--input", broken, "--seconds", "1", "--output", out});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find(broken), std::string::npos) << run.err;
    run = render(
        {"--class", "No Such Plug-in", "--input", "sine", "--seconds", "1", "--output", out});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("no class found named No Such Plug-in"), std::string::npos) << run.err;
    run = render({"--class", "Qel Gain", "--input", "sine", "--output", out});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("needs --seconds"), std::string::npos) << run.err;
    FILE* file = std::fopen(out.c_str(), "rb");
    EXPECT_EQ(file, nullptr) << "no output was written";
    if (file)
        std::fclose(file);
}

} // namespace
} // namespace Quillmark

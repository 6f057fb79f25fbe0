// The audio file modes, run as a user runs them, on files made by sox and checked by
// libsndfile's sndfile-info.
#include "app/programtestsupport.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>

using namespace Quillmark::testing;

namespace
{

class AudioCommands : public ::testing::Test
{
protected:
    std::string sox(const std::string& name, const std::string& options)
    {
        std::string path = temp.file(name);
        int status = std::system(("sox -D -n " + options + " " + shellQuote(path) +
                                  " synth 0.5 sine 440 sine 660 vol 0.5 2>/dev/null")
                                     .c_str());
        EXPECT_EQ(0, status);
        return path;
    }
    ProgramRun run(const std::vector<std::string>& arguments)
    {
        return runProgram(temp, temp.file("config"), arguments);
    }
    /** key -> value of the lines of one file's block. */
    static std::map<std::string, std::string> keys(const std::string& text)
    {
        std::map<std::string, std::string> result;
        for (const std::string& line : splitLines(text))
        {
            auto tab = line.find('\t');
            if (tab != std::string::npos)
                result.emplace(line.substr(0, tab), line.substr(tab + 1));
        }
        return result;
    }
    TempFolder temp;
};

TEST_F(AudioCommands, InfoPrintsTheTypeAndEveryAttribute)
{
    auto path = sox("tone.wav", "-r 48000 -c 2 -b 24");
    ProgramRun result = run({"--audio-info", path});
    ASSERT_EQ(0, result.status) << result.err;
    auto k = keys(result.out);
    EXPECT_EQ(path, k["File"]);
    EXPECT_EQ("Wave File", k["FileType"]);
    EXPECT_EQ("48000", k["AudioSampleRate"]);
    EXPECT_EQ("24000", k["MediaFrameCount"]);
    EXPECT_EQ("2", k["AudioChannels"]);
    EXPECT_EQ("24", k["AudioSampleSize"]);
    EXPECT_EQ("6", k["AudioFrameSize"]);
    EXPECT_EQ("0.5", k["MediaDuration"]);
    EXPECT_EQ("Configuration: Stereo", k["AudioInfo"]);
    EXPECT_EQ(0u, k.count("Repair"));
}

TEST_F(AudioCommands, InfoReportsRepairsAndUnreadableFilesWithoutWritingThem)
{
    auto good = sox("good.wav", "-r 44100 -c 1 -b 16");
    auto bytes = readFile(good);
    bytes.resize(bytes.size() - 1000); // a recording cut short
    auto cut = temp.file("cut.wav");
    writeFile(cut, bytes);
    auto damaged = temp.file("damaged.wav");
    writeFile(damaged, "RIFXjunkWAVEjunk and more junk");

    ProgramRun result = run({"--audio-info", cut, damaged});
    EXPECT_EQ(1, result.status);
    auto k = keys(result.out);
    EXPECT_EQ(std::to_string(22050 - 500), k["MediaFrameCount"]);
    EXPECT_NE(std::string::npos, k["Repair"].find("frame count cut")) << result.out;
    EXPECT_NE(std::string::npos, result.err.find(damaged)) << result.err;
    EXPECT_NE(std::string::npos, result.err.find("damaged")) << result.err;
    EXPECT_EQ(bytes, readFile(cut)) << "--audio-info must not repair the file it looks at";

    result = run({"--audio-info", temp.file("absent.wav")});
    EXPECT_EQ(1, result.status);
    EXPECT_NE(std::string::npos, result.err.find("does not exist")) << result.err;
}

TEST_F(AudioCommands, ConvertWritesTheFormatAskedForAndLeavesTheInputAlone)
{
    auto in = sox("in.wav", "-r 44100 -c 2 -b 16");
    const std::string before = readFile(in);
    auto out = temp.file("out.wav");
    ProgramRun result =
        run({"--audio-convert", in, out, "--sample-size", "24", "--sample-rate", "48000"});
    ASSERT_EQ(0, result.status) << result.err;
    EXPECT_EQ(before, readFile(in));

    std::string info = temp.file("info.txt");
    ASSERT_EQ(0,
              std::system(("sndfile-info " + shellQuote(out) + " >" + shellQuote(info)).c_str()));
    std::string text = readFile(info);
    EXPECT_NE(std::string::npos, text.find("Sample Rate : 48000")) << text;
    EXPECT_NE(std::string::npos, text.find("Frames      : 24000")) << text;
    EXPECT_NE(std::string::npos, text.find("Bit Width     : 24")) << text;

    // The converted tone keeps its level: sox measures the same peak within a fraction of a
    // decibel on both files.
    auto peak = [&](const std::string& path)
    {
        std::string stats = temp.file("stats.txt");
        std::system(("sox " + shellQuote(path) + " -n stat 2>" + shellQuote(stats)).c_str());
        for (const std::string& line : splitLines(readFile(stats)))
            if (line.rfind("Maximum amplitude:", 0) == 0)
                return std::atof(line.substr(18).c_str());
        return -1.0;
    };
    EXPECT_NEAR(peak(in), peak(out), 0.01);

    auto floats = temp.file("float.wav");
    result = run({"--audio-convert", in, floats, "--sample-format", "float"});
    ASSERT_EQ(0, result.status) << result.err;
    ASSERT_EQ(
        0, std::system(("sndfile-info " + shellQuote(floats) + " >" + shellQuote(info)).c_str()));
    EXPECT_NE(std::string::npos, readFile(info).find("IEEE_FLOAT")) << readFile(info);
}

TEST_F(AudioCommands, ConvertBetweenWaveAndAiff)
{
    auto in = sox("float.aifc", "-r 48000 -c 2 -b 32 -e floating-point");
    auto out = temp.file("out.aiff");
    ProgramRun result = run({"--audio-convert", in, out, "--sample-size", "24"});
    ASSERT_EQ(0, result.status) << result.err;
    std::string info = temp.file("info.txt");
    ASSERT_EQ(0,
              std::system(("sndfile-info " + shellQuote(out) + " >" + shellQuote(info)).c_str()));
    std::string text = readFile(info);
    EXPECT_NE(std::string::npos, text.find("AIFF")) << text;
    EXPECT_NE(std::string::npos, text.find("Sample Size : 24")) << text;
    EXPECT_NE(std::string::npos, text.find("Frames      : 24000")) << text;

    result = run({"--audio-info", out});
    ASSERT_EQ(0, result.status) << result.err;
    auto k = keys(result.out);
    EXPECT_EQ("AIFF File", k["FileType"]);
    EXPECT_EQ("1", k["AudioByteOrder"]);
}

TEST_F(AudioCommands, ConvertRefusesWhatItCannotDo)
{
    auto in = sox("in.wav", "-r 44100 -c 1 -b 16");
    auto out = temp.file("out.wav");
    ProgramRun result = run({"--audio-convert", in, out, "--sample-size", "12"});
    EXPECT_EQ(2, result.status);
    EXPECT_NE(std::string::npos, result.err.find("--sample-size")) << result.err;

    result = run({"--audio-convert", in, out, "--file-type", "Sound Designer"});
    EXPECT_EQ(2, result.status);
    EXPECT_NE(std::string::npos, result.err.find("unknown file type")) << result.err;

    result = run({"--audio-convert", in, in});
    EXPECT_EQ(2, result.status);

    auto adpcm = temp.file("adpcm.wav");
    ASSERT_EQ(0, std::system(("sox -n -r 8000 -c 1 -e ms-adpcm " + shellQuote(adpcm) +
                              " synth 0.1 sine 300 2>/dev/null")
                                 .c_str()));
    result = run({"--audio-convert", adpcm, out});
    EXPECT_EQ(1, result.status);
    EXPECT_NE(std::string::npos, result.err.find("compressed (format tag 0x0002)")) << result.err;

    auto notAudio = temp.file("notes.wav");
    writeFile(notAudio, "these are my notes, not a sound");
    result = run({"--audio-convert", notAudio, out});
    EXPECT_EQ(1, result.status);
    EXPECT_NE(std::string::npos, result.err.find(notAudio)) << result.err;
    EXPECT_EQ("these are my notes, not a sound", readFile(notAudio));
}

} // namespace

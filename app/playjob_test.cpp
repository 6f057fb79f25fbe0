// --play from the outside: the real program plays through the Null driver and through a JACK
// server of the test's own, whose output a JACK client of the test reads back, and records the
// notes a JACK MIDI client of the test plays into a file that mido reads back.
#include "app/commandline.h"
#include "app/programtestsupport.h"
#include "base/testsupport.h"
#include "devices/testsupport/jacktestsupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <spawn.h>
#include <sys/wait.h>

namespace Quillmark
{
using Quillmark::testing::runProgram;
using Quillmark::testing::shellQuote;

namespace
{

/** The "Name<TAB>value" lines of a --play report. */
std::map<std::string, std::string> reportOf(const std::string& out)
{
    std::map<std::string, std::string> result;
    for (const std::string& line : Quillmark::testing::splitLines(out))
    {
        const size_t tab = line.find('\t');
        if (tab != std::string::npos)
            result[line.substr(0, tab)] = line.substr(tab + 1);
    }
    return result;
}

/** The program started in the background with JACK_DEFAULT_SERVER set, its output in files. */
class BackgroundProgram
{
public:
    BackgroundProgram(const Quillmark::testing::TempFolder& temp, const std::string& jackServer,
                      const std::vector<std::string>& arguments)
        : outPath(temp.file("play-out.txt")), errPath(temp.file("play-err.txt"))
    {
        std::string command = "JACK_DEFAULT_SERVER=" + shellQuote(jackServer) + " exec " +
                              Quillmark::testing::programCommand(temp.folder("config"), arguments) +
                              " </dev/null >" + shellQuote(outPath) + " 2>" + shellQuote(errPath);
        const char* argv[] = {"/bin/sh", "-c", command.c_str(), nullptr};
        if (posix_spawn(&pid, "/bin/sh", nullptr, nullptr, const_cast<char* const*>(argv),
                        environ) != 0)
            pid = -1;
    }
    ~BackgroundProgram()
    {
        if (pid > 0)
        {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
    }
    bool isRunning() const { return pid > 0; }
    /** Waits for the end; the exit status, or -1. */
    int wait()
    {
        int raw = 0;
        if (pid <= 0 || waitpid(pid, &raw, 0) != pid)
            return -1;
        pid = -1;
        return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    }
    std::string out() const { return Quillmark::testing::readFile(outPath); }
    std::string err() const { return Quillmark::testing::readFile(errPath); }

private:
    std::string outPath, errPath;
    pid_t pid = -1;
};

/** A program and a server take longer than the foundation's threads. */
constexpr double kProgramSeconds = 10.0;

class Play : public ::testing::Test
{
protected:
    Quillmark::testing::ProgramRun play(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), {"--play", QEL_MODULE_DIR});
        return runProgram(temp, temp.folder("config"), arguments);
    }

    Quillmark::testing::TempFolder temp;
};

TEST_F(Play, ArgumentsAreReadAndWrongOnesNamed)
{
    const char* argv[] = {"x",    "--play",    "/m",   "--class",  "Qel Gain", "--driver",
                          "JACK", "--input",   "sine", "--midi",   "song.mid", "--midi-in",
                          "a:b",  "--seconds", "2.5",  "--record", "out.mid"};
    CommandLine line = CommandLine::parse(int(std::size(argv)), argv);
    ASSERT_TRUE(line.error.empty()) << line.error;
    EXPECT_EQ(line.job, CommandLine::Job::kPlay);
    EXPECT_EQ(line.play.folders, std::vector<std::string>{"/m"});
    EXPECT_EQ(line.play.className, "Qel Gain");
    EXPECT_EQ(line.play.driver, "JACK");
    EXPECT_EQ(line.play.input, "sine");
    EXPECT_EQ(line.play.midi, "song.mid");
    EXPECT_EQ(line.play.midiIn, "a:b");
    EXPECT_DOUBLE_EQ(line.play.seconds, 2.5);
    EXPECT_EQ(line.play.record, "out.mid");

    const char* noClass[] = {"x", "--play", "/m"};
    EXPECT_NE(CommandLine::parse(3, noClass).error.find("--class"), std::string::npos);
    const char* badSeconds[] = {"x", "--play", "--class", "A", "--seconds", "-1"};
    EXPECT_NE(CommandLine::parse(6, badSeconds).error.find("--seconds"), std::string::npos);
    const char* unknown[] = {"x", "--play", "--class", "A", "--output", "f.wav"};
    EXPECT_NE(CommandLine::parse(6, unknown).error.find("--output"), std::string::npos);

    Quillmark::testing::ProgramRun help = runProgram(temp, temp.folder("config"), {"--help"});
    EXPECT_NE(help.out.find("--play --class NAME-OR-CID"), std::string::npos);
    EXPECT_NE(help.out.find("--midi-in PORT"), std::string::npos);
}

TEST_F(Play, TheNullDriverPlaysInRealTimeWithoutSoundHardware)
{
    const auto started = std::chrono::steady_clock::now();
    Quillmark::testing::ProgramRun run =
        play({"--class", "Qel Gain", "--driver", "Null Audio Driver", "--input", "sine",
              "--seconds", "1"});
    const double wall =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    ASSERT_EQ(run.status, 0) << run.err;
    auto report = reportOf(run.out);
    EXPECT_EQ(report["Driver"], "Null Audio Driver");
    EXPECT_EQ(report["SampleRate"], "48000");
    EXPECT_EQ(report["BlockSize"], "256");
    // The class is loaded while the driver already plays; a block or two may fall in that.
    EXPECT_LE(std::atoi(report["BlocksSkipped"].c_str()), 4) << run.out;
    EXPECT_EQ(report["Xruns"], "0");
    // Real time, loosely: a second of play renders about a second of audio, not a burst.
    const double audio = std::atof(report["BlocksRendered"].c_str()) * 256.0 / 48000.0;
    EXPECT_GT(audio, 0.6) << run.out;
    EXPECT_LT(audio, 1.6) << run.out;
    EXPECT_GE(wall, 0.9);
}

TEST_F(Play, AClassThatIsNotThereOrADriverThatIsNotThereFails)
{
    Quillmark::testing::ProgramRun run = play({"--class", "No Such Class", "--seconds", "1"});
    EXPECT_EQ(run.status, kExitUsage);
    EXPECT_NE(run.err.find("No Such Class"), std::string::npos) << run.err;
    run = play({"--class", "Qel Gain", "--driver", "No Such Driver", "--seconds", "1"});
    EXPECT_EQ(run.status, kExitFailure);
    EXPECT_NE(run.err.find("Failed to open TARN Driver!"), std::string::npos) << run.err;
    EXPECT_TRUE(run.out.empty()) << run.out;
}

TEST_F(Play, TheOutputReachesAJackPortAndRecordedNotesReachAMidiFile)
{
    Quillmark::testing::JackServer server("play");
    ASSERT_TRUE(server.start()) << "jackd did not start as " << server.name();
    Quillmark::testing::TestJackClient keys(server.name(), "keys");
    ASSERT_TRUE(keys.isOpen());
    Quillmark::testing::JackReader reader(server.name(), "reader");
    ASSERT_TRUE(reader.isOpen());

    const std::string recorded = temp.file("recorded.mid");
    BackgroundProgram program(temp, server.name(),
                              {"--play", QEL_MODULE_DIR, "--class", "Qel Gain", "--driver", "JACK",
                               "--input", "sine", "--midi-in", keys.outputName(), "--record",
                               recorded, "--seconds", "4"});
    ASSERT_TRUE(program.isRunning());
    // The program's ports appear once its driver is open; its MIDI input once it listens.
    ASSERT_TRUE(Quillmark::testing::eventually(
        [&] { return reader.connectFrom("Qel3PluginTestHost:out_1"); }, kProgramSeconds))
        << program.err();
    jack_port_t* keysOut = jack_port_by_name(reader.client, keys.outputName().c_str());
    ASSERT_NE(keysOut, nullptr);
    ASSERT_TRUE(Quillmark::testing::eventually([&] { return jack_port_connected(keysOut) > 0; },
                                               kProgramSeconds))
        << program.err();
    ASSERT_TRUE(
        Quillmark::testing::eventually([&] { return reader.peak() > 0.1f; }, kProgramSeconds))
        << "the sine through Qel Gain never reached the port; loudest " << reader.peak();

    ASSERT_TRUE(keys.settle());
    keys.play({{0, {0x90, 60, 100}}, {100, {0x90, 64, 90}}});
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    keys.play({{0, {0x80, 60, 0}}, {100, {0x80, 64, 0}}});
    EXPECT_EQ(program.wait(), 0) << program.err();
    auto report = reportOf(program.out());
    EXPECT_EQ(report["Driver"], "JACK") << program.out();
    EXPECT_EQ(report["SampleRate"], "48000");
    EXPECT_EQ(report["BlockSize"], std::to_string(Quillmark::testing::JackServer::kPeriod));
    EXPECT_GT(std::atoi(report["BlocksRendered"].c_str()), 100) << program.out();

    // mido reads what the program wrote: the notes in the order they were played.
    const std::string script =
        "import mido,sys\n"
        "f=mido.MidiFile(sys.argv[1])\n"
        "print(' '.join('%s:%d'%(m.type,m.note) for t in f.tracks for m in t "
        "if m.type in ('note_on','note_off')))\n";
    const std::string scriptPath = temp.file("read.py");
    Quillmark::testing::writeFile(scriptPath, script);
    const std::string listing = temp.file("notes.txt");
    ASSERT_EQ(std::system(("/usr/bin/python3 " + shellQuote(scriptPath) + " " +
                           shellQuote(recorded) + " >" + shellQuote(listing))
                              .c_str()),
              0);
    const std::string notes = Quillmark::testing::readFile(listing);
    // The keys in the order they were pressed. (What the recorder makes of the releases is the
    // recorder's business: only the starts are checked here.)
    std::vector<std::string> starts;
    for (size_t at = 0; (at = notes.find("note_on:", at)) != std::string::npos; at += 8)
        starts.push_back(notes.substr(at + 8, 2));
    ASSERT_GE(starts.size(), 2u) << notes;
    EXPECT_EQ(starts[0], "60") << notes;
    EXPECT_EQ(starts[1], "64") << notes;
}

} // namespace
} // namespace Quillmark

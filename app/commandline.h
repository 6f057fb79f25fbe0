// The command-line mode of the program: what the arguments ask for, the exit codes and the
// usage text. Results go to stdout, diagnostics to stderr.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Quillmark
{

/** What --render was asked to do; read from the arguments after the option. */
struct RenderOptions
{
    struct Setting
    {
        int64_t id = 0;
        double value = 0.0;
        double seconds = 0.0; // when the value is set; 0 before the first block
    };
    static constexpr double kDefaultSampleRate = 48000.0;
    static constexpr int kDefaultBlockSize = 256;
    static constexpr int kMaxBlockSize = 8192;
    /** A tail longer than this, or an infinite one, is cut here. */
    static constexpr double kMaxTailSeconds = 30.0;

    std::string className;
    std::vector<std::string> folders;
    std::string input;    // a file, "sine", "noise", "silence", or empty
    std::string auxInput; // a file
    std::string midi;
    std::string preset;
    std::vector<Setting> settings;
    double sampleRate = 0.0; // 0: the input file's, else kDefaultSampleRate
    int blockSize = kDefaultBlockSize;
    double seconds = -1.0; // -1: where the input or the MIDI file ends, plus the tail
    std::string output;
    bool verbose = false;
    std::string configFolder;

    /** Reads the arguments that follow --render; the result is empty, or a usage error. */
    static std::string parse(const std::vector<std::string>& arguments, RenderOptions& options);
};

/** What --play was asked to do; read from the arguments after the option. */
struct PlayOptions
{
    std::string className;
    std::vector<std::string> folders;
    std::string driver;    // empty: the driver of the last run, else the fallback
    std::string input;     // a file, "sine", "noise", "silence", or empty (silence)
    std::string midi;      // a Standard MIDI File played from the start
    std::string midiIn;    // a MIDI port ("client:port") as the only live input
    double seconds = -1.0; // -1: until the song ends, or Ctrl-C without a song
    std::string record;    // where the notes that came in are written as a MIDI file
    bool verbose = false;
    std::string configFolder;
    /** Reads the arguments that follow --play; the result is empty, or a usage error. */
    static std::string parse(const std::vector<std::string>& arguments, PlayOptions& options);
};

struct CommandLine
{
    enum class Job
    {
        kNone,
        kHelp,
        kVersion,
        kList,
        kTest,
        kListTests,    // the tests a run would run, without making an instance
        kTestSettings, // --enable / --disable: change the stored enabled flags
        kInfo,         // the information page of each class
        kMidiInfo,
        kAudioInfo,
        kAudioConvert,
        kPreset,
        kCheckRealtime, // --check-realtime: render one class and check it for real-time faults
        kRender,
        kListDevices, // the audio drivers and their ports, the MIDI devices and theirs
        kPlay,        // one class live through an audio driver
    };

    Job job = Job::kNone;
    std::vector<std::string> folders;
    bool verbose = false;
    std::string configFolder;
    // --test: the class to test (name or identifier), the nodes to run, the log file.
    std::string testClass;
    std::vector<std::string> selections;
    std::string logFile;
    // --test --isolate: each class in a process of its own, killed after `timeoutSeconds`
    // without progress; --junit: the report for CI.
    bool isolate = false;
    double timeoutSeconds = kDefaultTimeoutSeconds;
    std::string junitFile;
    // --test: where the random sequence starts, for the whole run (--seed) or for the first
    // test (--random-state: to repeat one test with the numbers it drew in a full run), how
    // many rounds to run, and whether a failing round ends them.
    std::optional<uint32_t> seed;
    std::optional<uint32_t> randomState;
    int repeat = 1;
    bool stopOnFailure = false;
    // --enable PATH / --disable PATH, in order: true enables.
    std::vector<std::pair<std::string, bool>> enableChanges;
    // Given by an isolating run to its test processes only: what to run and where to report.
    std::string childUnit;
    int reportFd = -1;
    // --info: also the parameters as the generic editor shows them.
    bool generic = false;
    // --audio-convert: the options of the target format, by option name ("--sample-rate").
    std::vector<std::pair<std::string, std::string>> audioOptions;
    // The preset modes: the mode's option and everything after it, read by the preset job.
    std::vector<std::string> presetArguments;
    // --check-realtime: how long to render, over all formats.
    double seconds = kDefaultCheckSeconds;
    // --render: everything after the option.
    RenderOptions render;
    // --play: everything after the option.
    PlayOptions play;
    std::string error; // a usage error, naming the wrong argument

    static constexpr double kDefaultTimeoutSeconds = 150.0;
    static constexpr double kDefaultCheckSeconds = 20.0;

    /** The data folder of a mode that reads its own arguments: the one given after the
        mode's option, else the one given before it. */
    const std::string& dataFolderFor(const std::string& modeFolder) const
    {
        return modeFolder.empty() ? configFolder : modeFolder;
    }

    /** True for an option that starts one of the preset modes, which read the arguments
        after it themselves. */
    static bool isPresetJobOption(const std::string& argument);

    /** Reads the arguments; on a usage error `error` is set. */
    static CommandLine parse(int argc, const char* const argv[]);
};

/** Exit codes. */
enum ExitCode : int
{
    kExitOk = 0,
    kExitFailure = 1,
    kExitUsage = 2,
    kExitInterrupted = 130, // a run stopped by Ctrl-C, as shells report SIGINT
};

void printUsage(std::ostream& out);

} // namespace Quillmark

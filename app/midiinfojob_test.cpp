// Runs the real program on MIDI files made by csvmidi and by hand, as a user would.
#include "midi/miditestsupport.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

using namespace Quillmark::miditest;

namespace
{

struct ProgramRun
{
    int status = -1;
    std::string out;
    std::string err;
};

class MidiInfoCommand : public ::testing::Test
{
protected:
    ProgramRun run(const std::vector<std::string>& files)
    {
        std::string command = quote(QEL_PROGRAM) + " --midi-info";
        for (const std::string& f : files)
            command += " " + quote(f);
        std::string out = temp.file("out.txt"), err = temp.file("err.txt");
        command += " </dev/null >" + quote(out) + " 2>" + quote(err);
        ProgramRun result;
        int raw = std::system(command.c_str());
        result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
        result.out = readText(out);
        result.err = readText(err);
        return result;
    }

    std::string csvFile(const std::string& name, const std::string& csv)
    {
        std::string csvPath = temp.file(name + ".csv"), path = temp.file(name + ".mid");
        std::ofstream(csvPath) << csv;
        std::string command = "csvmidi " + quote(csvPath) + " " + quote(path);
        EXPECT_EQ(std::system(command.c_str()), 0);
        return path;
    }

    TempFolder temp;
};

} // namespace

TEST_F(MidiInfoCommand, PrintsHeaderMapsTracksAndEvents)
{
    std::string path = csvFile("song", "0, 0, Header, 1, 3, 96\n"
                                       "1, 0, Start_track\n"
                                       "1, 0, Tempo, 500000\n"
                                       "1, 0, Time_signature, 6, 3, 24, 8\n"
                                       "1, 192, Tempo, 250000\n"
                                       "1, 192, End_track\n"
                                       "2, 0, Start_track\n"
                                       "2, 0, Title_t, \"Lead\"\n"
                                       "2, 0, Note_on_c, 0, 60, 100\n"
                                       "2, 48, Note_off_c, 0, 60, 0\n"
                                       "2, 96, Program_c, 1, 12\n"
                                       "2, 96, End_track\n"
                                       "3, 0, Start_track\n"
                                       "3, 24, Control_c, 15, 7, 99\n"
                                       "3, 24, End_track\n"
                                       "0, 0, End_of_file\n");
    ProgramRun r = run({path});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, "File: " + path +
                         "\n"
                         "Format: 1\n"
                         "Division: 96 ticks per quarter note\n"
                         "Tracks in header: 3\n"
                         "Tempo: 0.000000\t120.000 bpm\n"
                         "Tempo: 2.000000\t240.000 bpm\n"
                         "Signature: 0.000000\t6/8\n"
                         "Track 2: \"Lead\", 3 events\n"
                         "  0.000000\t90\t60\t100\n"
                         "  0.500000\t80\t60\t0\n"
                         "  1.000000\tC1\t12\n"
                         "Track 3: \"\", 1 events\n"
                         "  0.250000\tBF\t7\t99\n");
}

TEST_F(MidiInfoCommand, DamagedFilesShowWhatWasReadAndFailOnlyWhenNothingWas)
{
    std::string path = csvFile("whole", "0, 0, Header, 0, 1, 480\n"
                                        "1, 0, Start_track\n"
                                        "1, 0, Title_t, \"Cut\"\n"
                                        "1, 0, Note_on_c, 2, 64, 90\n"
                                        "1, 480, Note_off_c, 2, 64, 0\n"
                                        "1, 480, End_track\n"
                                        "0, 0, End_of_file\n");
    std::string whole = readText(path);
    // Cut inside the note-off: the note-on stays.
    std::string cutPath = temp.file("cut.mid");
    std::vector<uint8_t> cut(whole.begin(), whole.end() - 6);
    writeBytes(cutPath, cut);
    ProgramRun r = run({cutPath});
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("Song name: Cut\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("  0.000000\t92\t64\t90\n"), std::string::npos) << r.out;
    EXPECT_EQ(r.out.find("\t82\t"), std::string::npos) << r.out;
    std::string where = "Stopped at byte " + std::to_string(cut.size());
    EXPECT_NE(r.out.find(where), std::string::npos) << r.out;
    EXPECT_NE(r.err.find("reading stopped at byte"), std::string::npos) << r.err;

    // Not MIDI at all, and a file that is not there: exit 1, still reporting the good one.
    std::string wave = temp.file("not.mid");
    writeBytes(wave, {'R', 'I', 'F', 'F', 4, 0, 0, 0, 'W', 'A', 'V', 'E'});
    ProgramRun bad = run({wave, path, temp.file("missing.mid")});
    EXPECT_EQ(bad.status, 1);
    EXPECT_NE(bad.out.find("File: " + path), std::string::npos);
    EXPECT_NE(bad.err.find(wave + ": not a Standard MIDI File"), std::string::npos) << bad.err;
    EXPECT_NE(bad.err.find("missing.mid: cannot be opened"), std::string::npos) << bad.err;

    ProgramRun none = run({});
    EXPECT_EQ(none.status, 2);
}

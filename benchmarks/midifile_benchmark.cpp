// Reads a Standard MIDI File of one million events and prints events per second. The file is
// made by csvmidi, an independent writer. Beside the host's reader stand two references of
// the same run: reading the bytes alone (the floor any reader pays) and, when python3-mido is
// there, mido parsing the same file. Target: the host reads the million in under 100 ms.
#include "base/fstreams.h"
#include "midi/midisong.h"
#include "midi/minitempotrack.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

using namespace Quillmark;
using Clock = std::chrono::steady_clock;

namespace
{

constexpr int kEvents = 1000000;
constexpr int kRounds = 5;

double seconds(Clock::time_point since)
{
    return std::chrono::duration<double>(Clock::now() - since).count();
}

bool makeFile(const std::string& csv, const std::string& midi)
{
    std::ofstream out(csv);
    out << "0, 0, Header, 1, 2, 480\n1, 0, Start_track\n1, 0, Tempo, 500000\n"
           "1, 0, Time_signature, 4, 2, 24, 8\n1, 0, End_track\n2, 0, Start_track\n";
    long tick = 0;
    for (int i = 0; i < kEvents; ++i)
    {
        int channel = i % 16;
        switch (i % 4)
        {
        case 0:
            out << "2, " << tick << ", Note_on_c, " << channel << ", " << 36 + i % 48 << ", 100\n";
            break;
        case 1:
            out << "2, " << tick << ", Control_c, " << channel << ", 7, " << i % 128 << "\n";
            break;
        case 2:
            out << "2, " << tick << ", Pitch_bend_c, " << channel << ", " << i % 16384 << "\n";
            break;
        default:
            out << "2, " << tick << ", Note_off_c, " << channel << ", " << 36 + i % 48 << ", 0\n";
            break;
        }
        tick += i % 3 == 0 ? 0 : 60;
    }
    out << "2, " << tick << ", End_track\n0, 0, End_of_file\n";
    out.close();
    std::string command = "csvmidi '" + csv + "' '" + midi + "'";
    return std::system(command.c_str()) == 0;
}

} // namespace

int main()
{
    char folder[] = "/tmp/qel-midi-bench-XXXXXX";
    if (!::mkdtemp(folder))
        return 1;
    std::string csv = std::string(folder) + "/million.csv";
    std::string midi = std::string(folder) + "/million.mid";
    if (!makeFile(csv, midi))
    {
        std::fprintf(stderr, "csvmidi could not make the file\n");
        return 1;
    }

    double hostBest = 1e9, bytesBest = 1e9;
    int32 events = 0;
    for (int round = 0; round < kRounds; ++round)
    {
        auto start = Clock::now();
        std::ifstream in(midi, std::ios::binary);
        std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
        bytesBest = std::min(bytesBest, seconds(start));

        MiniTempoTrack tempo;
        MidiSongData song;
        start = Clock::now();
        FFileStream* stream = FFileStream::open(midi.c_str(), "rb");
        MidiSongReader reader(song, &tempo);
        bool ok = stream && reader.readFile(stream);
        if (stream)
            stream->release();
        hostBest = std::min(hostBest, seconds(start));
        events = 0;
        for (int32 i = 0; i < song.getTrackCount(); ++i)
            events += song.getTrackAt(i)->getEventCount();
        if (!ok || events != kEvents)
        {
            std::fprintf(stderr, "read %d events of %d\n", events, kEvents);
            return 1;
        }
    }
    std::printf("file: %d events\n", events);
    std::printf("host reader:       %8.1f ms  %12.0f events/s  (best of %d)\n", hostBest * 1e3,
                events / hostBest, kRounds);
    std::printf("bytes alone:       %8.1f ms\n", bytesBest * 1e3);

    std::string script = std::string(folder) + "/parse_with_mido.py";
    std::ofstream(script) << "import mido, time, sys\n"
                             "s = time.perf_counter()\n"
                             "f = mido.MidiFile(sys.argv[1])\n"
                             "n = sum(1 for t in f.tracks for m in t if not m.is_meta)\n"
                             "print('%.1f %d' % ((time.perf_counter() - s) * 1000, n))\n";
    std::fflush(stdout);
    std::string command = "/usr/bin/python3 '" + script + "' '" + midi + "'";
    if (FILE* pipe = ::popen(command.c_str(), "r"))
    {
        double ms = 0;
        int count = 0;
        if (std::fscanf(pipe, "%lf %d", &ms, &count) == 2 && ms > 0)
            std::printf("mido (reference):  %8.1f ms  %12.0f events/s\n", ms, count / (ms / 1e3));
        ::pclose(pipe);
    }
    std::printf("target: under 100 ms for the million: %s\n", hostBest < 0.1 ? "met" : "NOT met");
    std::string clean = std::string("rm -rf '") + folder + "'";
    return std::system(clean.c_str()) == 0 ? 0 : 1;
}

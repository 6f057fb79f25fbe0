// --list-devices through the command line's own parsing and dispatch, in this process, with a
// JACK server of the test's own as the default server.
#include "app/commandline.h"
#include "app/jobdispatch.h"
#include "devices/testsupport/jacktestsupport.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

using namespace Quillmark;

namespace
{

int run(std::vector<const char*> arguments, std::string& out, std::string& err)
{
    arguments.insert(arguments.begin(), "Qel3PluginTestHost");
    std::ostringstream outStream;
    std::ostringstream errStream;
    const int status = runCommandLine(CommandLine::parse(int(arguments.size()), arguments.data()),
                                      outStream, errStream);
    out = outStream.str();
    err = errStream.str();
    return status;
}

TEST(ListDevices, PrintsTheNullDriverAndTheDefaultJackServersPorts)
{
    Quillmark::testing::JackServer server("listjob");
    ASSERT_TRUE(server.start());
    const char* before = std::getenv("JACK_DEFAULT_SERVER");
    const std::string saved = before ? before : "";
    setenv("JACK_DEFAULT_SERVER", server.name().c_str(), 1);
    std::string out;
    std::string err;
    const int status = run({"--list-devices"}, out, err);
    if (before)
        setenv("JACK_DEFAULT_SERVER", saved.c_str(), 1);
    else
        unsetenv("JACK_DEFAULT_SERVER");
    EXPECT_EQ(status, 0) << err;
    EXPECT_EQ(out.rfind("Audio drivers:\nNull Audio Driver\t48000 Hz\t256 samples\n", 0), 0u)
        << out;
    EXPECT_NE(out.find("\tplayback\tOut 2\tnull:playback_2\n"), std::string::npos) << out;
    EXPECT_NE(out.find("JACK\t48000 Hz\t256 samples\n"), std::string::npos) << out;
    EXPECT_NE(out.find("\tcapture\tIn 1\tsystem:capture_1\n"), std::string::npos) << out;
    // The MIDI interfaces follow the audio drivers: JACK MIDI reaches the same server.
    const size_t midi = out.find("MIDI devices:\n");
    ASSERT_NE(midi, std::string::npos) << out;
    EXPECT_GT(midi, out.find("JACK\t48000 Hz")) << out;
    EXPECT_NE(out.find("MIDI: JACK MIDI\n", midi), std::string::npos) << out;
    EXPECT_NE(out.find("MIDI: ALSA MIDI", midi), std::string::npos) << out;
    EXPECT_TRUE(err.empty()) << err;
}

TEST(ListDevices, TakesNoFoldersAndNoSecondJob)
{
    std::string out;
    std::string err;
    EXPECT_EQ(run({"--list-devices", "/tmp"}, out, err), kExitUsage);
    EXPECT_NE(err.find("/tmp"), std::string::npos) << err;
    EXPECT_EQ(run({"--list-devices", "--list"}, out, err), kExitUsage);
    EXPECT_NE(err.find("only one job"), std::string::npos) << err;
    EXPECT_EQ(run({"--help"}, out, err), kExitOk);
    EXPECT_NE(out.find("--list-devices"), std::string::npos);
}

} // namespace

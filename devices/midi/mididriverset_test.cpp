// The MIDI boot step: what is there opens, what is missing is reported and found later, and
// every input joins "All MIDI Inputs"; the settings go back at the end.
#include "devices/midi/mididevicetestsupport.h"
#include "devices/midi/mididriverset.h"
#include "devices/ports/pportregistry.h"
#include "devices/testsupport/jacktestsupport.h"

#include "base/fdefaults.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace Quillmark
{
namespace
{

using testing::JackServer;
using testing::MidiReceiver;
using testing::TestJackClient;

TEST(MidiDriverSet, AServerThatComesLaterIsFoundAndItsInputsJoinAllMidiInputs)
{
    JackServer server("driverset");
    MidiDriverOptions options;
    options.jackServerName = server.name();
    options.enableEmulated = true;
    PPortRegistry registry;
    auto* receiver = new MidiReceiver;
    {
        MidiDriverSet set(options, &registry);
        std::vector<std::string> problems;
        set.start(nullptr, &problems);
        ASSERT_FALSE(problems.empty());
        EXPECT_EQ(problems.back().rfind("JACK MIDI: no JACK server is running", 0), 0u)
            << problems.back();
        EXPECT_EQ(problems.size(), PAlsaMidiDevice::isSequencerPresent() ? 1u : 2u);
        ASSERT_TRUE(set.getMerged()->getMergedOutput()->connect(receiver->getPort()));

        set.checkDevices(); // still nobody there
        EXPECT_FALSE(set.getJack()->isServerRunning());

        ASSERT_TRUE(server.start());
        TestJackClient client(server.name(), "late-keys");
        ASSERT_TRUE(client.isOpen());
        set.checkDevices();
        ASSERT_TRUE(set.getJack()->isServerRunning());
        PHWMidiInSocket* socket = set.getJack()->findInputSocket(client.outputName().c_str());
        ASSERT_NE(socket, nullptr);
        EXPECT_TRUE(socket->isConnectedTo(set.getMerged()->getMergedInput()));
        EXPECT_TRUE(socket->isActive());

        ASSERT_TRUE(client.settle());
        client.play({{0, {0x90, 48, 100}}});
        ASSERT_TRUE(receiver->waitFor(1));
        EXPECT_EQ(receiver->received()[0].data1, 48);
        set.stop(nullptr);
        EXPECT_FALSE(set.getJack()->isServerRunning());
    }
    receiver->release();
}

TEST(MidiDriverSet, SettingsAreReadAtTheStartAndWrittenAtTheEnd)
{
    char folder[] = "/tmp/qelmidi-set-XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    const std::string path = std::string(folder) + "/Defaults";
    auto* pool = new FDefaultPool(path);
    pool->lookup("JACK MIDI")->setInt("Use System Timestamp", 1);
    pool->lookup("ALSA MIDI")->setInt("Use System Timestamp", 7); // true only when 1
    MidiDriverOptions options;
    options.jackServerName = "qelmidi-absent-" + std::to_string(getpid());
    PPortRegistry registry;
    {
        MidiDriverSet set(options, &registry);
        set.start(pool);
        EXPECT_TRUE(set.getJack()->usesSystemTimestamp());
        EXPECT_FALSE(set.getAlsa()->usesSystemTimestamp());
        EXPECT_TRUE(set.getOpenInterfaces().size() <= 1u);
        set.getJack()->setUseSystemTimestamp(false);
        set.getAlsa()->setUseSystemTimestamp(true);
        set.stop(pool);
    }
    int64 value = -1;
    EXPECT_TRUE(pool->lookup("JACK MIDI")->getInt("Use System Timestamp", value));
    EXPECT_EQ(value, 0);
    EXPECT_TRUE(pool->lookup("ALSA MIDI")->getInt("Use System Timestamp", value));
    EXPECT_EQ(value, 1);
    pool->release();
    std::remove(path.c_str());
    rmdir(folder);
}

} // namespace
} // namespace Quillmark

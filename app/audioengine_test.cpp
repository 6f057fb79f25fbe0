// The live engine in this process against a JACK server of the test's own: the probe plug-in's
// output read back by a JACK client, notes of a JACK MIDI client arriving at the plug-in in order,
// and the rack and settings the engine leaves in the preferences at its end.
#include "app/audioengine.h"
#include "base/fdefaults.h"
#include "devices/audio/baioshandler.h"
#include "devices/audio/nullaudiodriver.h"
#include "devices/audio/pbaiosdevice.h"
#include "devices/audio/pbaiosmanager.h"
#include "devices/midi/mididriverset.h"
#include "devices/ports/pstudio.h"
#include "devices/testsupport/jacktestsupport.h"
#include "engine/probetestsupport.h"
#include "engine/qelplayer.h"
#include "engine/qelrack.h"
#include "engine/qelslot.h"
#include "engine/qelslotoperator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>

using namespace Quillmark;
using namespace Quillmark::Qel::Probe;

namespace
{

/** Runs the main loop until `done` or ten seconds have passed. */
bool pumpUntil(const std::function<bool()>& done)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!done())
    {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        FMainLoop::instance()->dispatchWithin(5);
        FMainLoop::instance()->runIdlePass();
    }
    return true;
}

IProbe* probeOf(MiniEngine::QelSlot* slot)
{
    IProbe* result = nullptr;
    slot->getOperator()->getComponent()->queryInterface(IProbe::iid.bytes, (void**)&result);
    if (result)
        result->release(); // the slot keeps the plug-in alive
    return result;
}

/** Sets an environment variable for the life of the object. */
class ScopedEnvironment
{
public:
    ScopedEnvironment(const char* name, const std::string& value) : name(name)
    {
        const char* before = std::getenv(name);
        had = before != nullptr;
        saved = before ? before : "";
        setenv(name, value.c_str(), 1);
    }
    ~ScopedEnvironment()
    {
        if (had)
            setenv(name, saved.c_str(), 1);
        else
            unsetenv(name);
    }

private:
    const char* name;
    std::string saved;
    bool had = false;
};

class LiveEngine : public Quillmark::testing::ProbeTest
{
protected:
    void SetUp() override
    {
        ProbeTest::SetUp();
        preferences = new FDefaultPool(temp.file("Defaults"));
    }
    void TearDown() override
    {
        engine.reset();
        preferences->release();
        ProbeTest::TearDown();
    }

    std::unique_ptr<AudioEngine> makeEngine()
    {
        return std::make_unique<AudioEngine>(*registry, preferences);
    }

    FDefaultPool* preferences = nullptr;
    std::unique_ptr<AudioEngine> engine;
};

TEST_F(LiveEngine, PlaysThroughJackAndTakesJackMidiInOrder)
{
    Quillmark::testing::JackServer server("engine");
    ASSERT_TRUE(server.start()) << "jackd did not start as " << server.name();
    ScopedEnvironment defaultServer("JACK_DEFAULT_SERVER", server.name());
    Quillmark::testing::TestJackClient keys(server.name(), "keys");
    ASSERT_TRUE(keys.isOpen());

    engine = makeEngine();
    AudioEngine::Options options;
    options.driver = "JACK";
    options.midiOptions.jackServerName = server.name();
    options.midiOptions.enableEmulated = true; // the test's client is a program, not hardware
    std::string problem;
    ASSERT_TRUE(engine->open(options, &problem)) << problem;
    EXPECT_EQ(engine->getDriverName(), "JACK");
    EXPECT_EQ(engine->getHandler()->getSampleRate(), 48000.0);

    MiniEngine::QelSlot* slot = engine->getPlayer()->loadPlugin(FUID(kSynthCid), 0, &problem);
    ASSERT_NE(slot, nullptr) << problem;
    IProbe* probe = probeOf(slot);
    ASSERT_NE(probe, nullptr);
    PPort* source = engine->findMidiSource(keys.outputName());
    ASSERT_NE(source, nullptr) << keys.outputName() << " is not a MIDI source of the engine";
    EXPECT_EQ(engine->findMidiSource("nobody:nothing"), nullptr);
    engine->connectMidi(slot, source);

    // The synth's only output goes to the first playback channel by default; its samples are
    // its level, so every sample the reader sees is that level.
    Quillmark::testing::JackReader reader(server.name(), "reader");
    ASSERT_TRUE(reader.isOpen());
    ASSERT_TRUE(reader.connectFrom("Qel3PluginTestHost:out_1"));
    probe->setLevel(0.25f);
    reader.expect(0.25f);
    EXPECT_TRUE(pumpUntil([&] { return reader.matchingBlocks() >= 20; }))
        << "blocks of the plug-in's level seen: " << reader.matchingBlocks() << ", loudest sample "
        << reader.peak();

    // The driver connects its socket to the client in the server; notes before that are lost.
    jack_port_t* keysOut = jack_port_by_name(reader.client, keys.outputName().c_str());
    ASSERT_NE(keysOut, nullptr);
    ASSERT_TRUE(pumpUntil([&] { return jack_port_connected(keysOut) > 0; }))
        << "the engine never listened to " << keys.outputName();
    ASSERT_TRUE(keys.settle());
    probe->reset();
    keys.play({{0, {0x90, 60, 100}}, {10, {0x90, 64, 90}}, {20, {0x90, 67, 80}}});
    keys.play({{0, {0x80, 67, 0}}, {1, {0x80, 64, 0}}, {2, {0x80, 60, 0}}});
    std::vector<ReceivedEvent> events;
    EXPECT_TRUE(pumpUntil(
        [&]
        {
            events.clear();
            ReceivedEvent e{};
            for (int32 i = 0; probe->getEvent(i, e); ++i)
                events.push_back(e);
            return events.size() >= 6;
        }));
    ASSERT_EQ(events.size(), 6u);
    const int16 pitches[] = {60, 64, 67, 67, 64, 60};
    for (size_t i = 0; i < 6; ++i)
    {
        const bool on = i < 3;
        EXPECT_EQ(events[i].event.type, on ? Qel::Event::kNoteOnEvent : Qel::Event::kNoteOffEvent)
            << i;
        EXPECT_EQ(on ? events[i].event.noteOn.pitch : events[i].event.noteOff.pitch, pitches[i])
            << i;
        if (i > 0)
        {
            EXPECT_GE(events[i].block, events[i - 1].block) << "in the order played, " << i;
        }
    }
    EXPECT_NEAR(events[0].event.noteOn.velocity, 100.0 / 127.0, 1e-3);
    EXPECT_GT(engine->getHandler()->getBlocksRendered(), 20);

    engine->close();
    EXPECT_FALSE(engine->isOpen());
    EXPECT_EQ(BaiosHandler::instance(), nullptr);
    engine->close(); // twice is harmless
    String stored;
    ASSERT_TRUE(preferences->lookup("BAIOS")->getString("DeviceName", stored))
        << "the driver of this run is the next run's choice";
    EXPECT_EQ(stored.toUtf8(), "JACK");
}

TEST_F(LiveEngine, TheRackIsStoredInOrderAndReadBackToTheFirstBadEntry)
{
    engine = makeEngine();
    AudioEngine::Options options;
    options.driver = Baios::NullAudioDevice::kIdentifier;
    options.midi = false;
    std::string problem;
    ASSERT_TRUE(engine->open(options, &problem)) << problem;
    EXPECT_EQ(engine->getMidi(), nullptr);
    MiniEngine::QelPlayer* player = engine->getPlayer();
    ASSERT_NE(player->loadPlugin(FUID(kSynthCid), -1, &problem), nullptr) << problem;
    ASSERT_NE(player->loadPlugin(FUID(kEffectCid), -1, &problem), nullptr) << problem;
    ASSERT_EQ(engine->rackClasses().size(), 2u);

    engine->saveRack(*preferences);
    FDefaults* rack = preferences->lookup("Plugin Rack");
    EXPECT_EQ(rack->getInt("Slot Count", -1), 2);
    String first;
    ASSERT_TRUE(rack->getString("UID Slot 1", first));
    EXPECT_EQ(first.toUtf8(), FUID(kSynthCid).toString());
    std::vector<FUID> back = AudioEngine::storedRack(*preferences);
    ASSERT_EQ(back.size(), 2u);
    EXPECT_EQ(back[0], FUID(kSynthCid));
    EXPECT_EQ(back[1], FUID(kEffectCid));

    // A damaged entry ends the list there, even when later ones would parse.
    rack->setInt("Slot Count", 3);
    rack->setString("UID Slot 2", String("not a class"));
    rack->setString("UID Slot 3", String(FUID(kEffectCid).toString().c_str()));
    back = AudioEngine::storedRack(*preferences);
    ASSERT_EQ(back.size(), 1u);
    EXPECT_EQ(back[0], FUID(kSynthCid));

    // The player writes its settings at the end, before anything it reads goes away.
    player->valueOf(MiniEngine::QelPlayer::kTempo)->setFloat(137.0);
    engine->close();
    double tempo = 0.0;
    ASSERT_TRUE(preferences->lookup("Player")->getFloat("Tempo", tempo));
    EXPECT_DOUBLE_EQ(tempo, 137.0);
}

TEST_F(LiveEngine, TheStudioKnowsTheDriversDeviceAndTheMidiDevicesWithTheirPorts)
{
    engine = makeEngine();
    AudioEngine::Options options;
    options.driver = Baios::NullAudioDevice::kIdentifier;
    std::vector<std::string> midiProblems; // no MIDI interface need open here
    std::string problem;
    ASSERT_TRUE(engine->open(options, &problem, &midiProblems)) << problem;
    PStudio* studio = engine->getStudio();
    ASSERT_NE(studio, nullptr);
    EXPECT_TRUE(studio->isStarted());
    EXPECT_EQ(studio->getPortRegistry(), engine->getPorts());

    const std::vector<PDevice*> devices = studio->collectDevices();
    auto known = [&](PDevice* device)
    { return device && std::find(devices.begin(), devices.end(), device) != devices.end(); };
    EXPECT_TRUE(known(engine->getManager()));
    PBaiosDevice* driver = engine->getManager()->getDevice(0);
    ASSERT_TRUE(known(driver)) << studio->describe();
    EXPECT_GT(driver->countInputs(), 0) << "the playback channels";
    EXPECT_TRUE(known(engine->getMidi()->getMerged()));
    EXPECT_TRUE(known(engine->getMidi()->getJack()));
    EXPECT_TRUE(known(engine->getMidi()->getAlsa()));
    String first;
    driver->getInput(0)->getName(first);
    EXPECT_NE(studio->describe().find("  in  " + first.toUtf8() + "\n"), std::string::npos)
        << studio->describe();

    engine->close();
    EXPECT_EQ(engine->getStudio(), nullptr);
}

TEST_F(LiveEngine, ADriverThatDoesNotOpenLeavesNothingBehind)
{
    engine = makeEngine();
    AudioEngine::Options options;
    options.driver = "No Such Driver";
    std::string problem;
    EXPECT_FALSE(engine->open(options, &problem));
    EXPECT_NE(problem.find("No Such Driver"), std::string::npos) << problem;
    EXPECT_FALSE(engine->isOpen());
    EXPECT_EQ(engine->getManager(), nullptr);
    EXPECT_EQ(BaiosHandler::instance(), nullptr);
}

} // namespace

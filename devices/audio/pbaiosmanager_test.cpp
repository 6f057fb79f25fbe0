#include "devices/audio/pbaiosmanager.h"

#include "devices/audio/audiodevicestestsupport.h"

#include <thread>

namespace Quillmark
{
namespace
{

using testing::AudioSystemTest;

/** A peer of the device's channels, as a pin of the engine would be. */
PPort* makePeer(const char8* name)
{
    return new PPort(nullptr, name, "audio", "virtual", 0);
}

class Manager : public AudioSystemTest
{
protected:
    void TearDown() override
    {
        for (PPort* peer : peers)
            peer->release();
        AudioSystemTest::TearDown();
    }

    /** Two peers feeding the open device's playback channels. */
    void connectPeers()
    {
        PBaiosDevice* device = manager->getDevice(0);
        ASSERT_NE(device, nullptr);
        for (int32 i = 0; i < 2; ++i)
        {
            peers.push_back(makePeer(i == 0 ? "Left" : "Right"));
            ASSERT_TRUE(peers.back()->connect(device->getPlaybackPort(i)));
        }
    }

    PPort* portOf(const char8* device, const char8* name) const
    {
        return ports->findPort(PPortID(true, String(device), String(name)));
    }

    std::vector<PPort*> peers;
};

TEST_F(Manager, ComesFromTheClassRegistryAndListsTheDrivers)
{
    EXPECT_FALSE(manager->isFailed());
    EXPECT_EQ(manager->getName(), ConstString(PBaiosManager::kName));
    EXPECT_EQ(PBaiosManager::instance(), manager);
    FComponentDescription* description = classes->findByCategoryAndName(
        String(Baios::DeviceManager::kCategory), String(Baios::DeviceManager::kName));
    ASSERT_NE(description, nullptr);
    EXPECT_EQ(Baios::DeviceManager::registerClass(*classes), description) << "entered once";
    ASSERT_GE(manager->getDriverCount(), 1);
    EXPECT_EQ(manager->getDriverIdentifier(0), Baios::NullAudioDevice::kIdentifier);
    EXPECT_EQ(manager->getDriverName(0), ConstString("Null Audio Driver"));
    for (int32 i = 0; i < manager->getDriverCount(); ++i)
        EXPECT_NE(manager->getDriverIdentifier(i), Baios::NullAudioDevice::kOfflineIdentifier)
            << "the offline form is opened by name only";
    EXPECT_EQ(manager->getDriverIdentifier(manager->getDriverCount()), "");
    // No device yet: the library's answers and the manager's defaults.
    EXPECT_EQ(manager->getSampleRate(), 44100.0);
    EXPECT_EQ(manager->getBlockSize(), 0);
    EXPECT_FALSE(manager->start()) << "nothing to start";
}

TEST_F(Manager, SelectingADriverBuildsRegisteredSystemPorts)
{
    String error;
    PBaiosDevice* device = manager->selectDevice(Baios::NullAudioDevice::kIdentifier, error);
    ASSERT_NE(device, nullptr) << error.toUtf8();
    EXPECT_EQ(manager->countDevices(), 1);
    EXPECT_EQ(device->getName(), ConstString("Null Audio Driver"));
    EXPECT_EQ(device->countInputs(), 2) << "the playback channels are the device's sinks";
    EXPECT_EQ(device->countOutputs(), 2);
    PPort* out1 = portOf("Null Audio Driver", "Out 1");
    ASSERT_NE(out1, nullptr);
    EXPECT_EQ(out1, device->getPlaybackPort(0));
    EXPECT_TRUE(out1->isSubtype("system"));
    EXPECT_TRUE(out1->isInactive());
    EXPECT_EQ(device->getPlaybackPort(1)->getRole(), 1);
    EXPECT_NE(device->getPlaybackPort(0)->getAudioBuffer(), nullptr);
    EXPECT_EQ(manager->getSampleRate(), 48000.0);
    EXPECT_EQ(manager->getBlockSize(), 256);

    // The driver hears which channels are in use.
    PPort* peer = makePeer("Left");
    peers.push_back(peer);
    ASSERT_TRUE(peer->connect(out1));
    EXPECT_TRUE(device->getPlaybackPort(0)->isUsed());
    peer->disconnect(out1);
    EXPECT_FALSE(device->getPlaybackPort(0)->isUsed());

    EXPECT_EQ(manager->selectDevice(Baios::NullAudioDevice::kIdentifier, error), device)
        << "selecting the open driver again does nothing";
    EXPECT_EQ(manager->getDeviceManager()->getOpenDeviceCount(), 1);
}

TEST_F(Manager, FailedSwitchKeepsTheOldDevicePlaying)
{
    String error;
    ASSERT_NE(manager->selectDevice(Baios::NullAudioDevice::kIdentifier, error), nullptr);
    connectPeers();
    ASSERT_TRUE(manager->start());
    PBaiosDevice* before = manager->getDevice(0);
    EXPECT_EQ(manager->selectDevice("No Such Driver", error), nullptr);
    EXPECT_NE(error.toUtf8().find("No Such Driver"), std::string::npos) << error.toUtf8();
    ASSERT_EQ(manager->getDevice(0), before);
    ASSERT_NE(before->getDriver(), nullptr) << "the old driver was opened again";
    EXPECT_TRUE(peers[0]->isConnectedTo(before->getPlaybackPort(0)));
    EXPECT_TRUE(manager->getDeviceManager()->isStarted());
    auto* driver = Baios::NullAudioDevice::fromDevice(before->getDriver());
    ASSERT_NE(driver, nullptr);
    const int64 blocks = driver->getBlocksRendered();
    EXPECT_TRUE(testing::eventually([&] { return driver->getBlocksRendered() > blocks + 2; }));
}

TEST_F(Manager, SwitchingDriversMovesTheConnections)
{
    String error;
    ASSERT_NE(manager->selectDevice(Baios::NullAudioDevice::kIdentifier, error), nullptr);
    connectPeers();
    // A recorder on the second capture channel: sources move to sources only.
    PPort* recorder = new PPort(nullptr, "Rec", "audio", "virtual", PPort::kInputPin);
    peers.push_back(recorder);
    ASSERT_TRUE(recorder->connect(manager->getDevice(0)->getOutput(1)));
    PBaiosDevice* offline =
        manager->selectDevice(Baios::NullAudioDevice::kOfflineIdentifier, error);
    ASSERT_NE(offline, nullptr) << error.toUtf8();
    EXPECT_EQ(manager->countDevices(), 1);
    EXPECT_EQ(manager->getDevice(0), offline);
    EXPECT_TRUE(peers[0]->isConnectedTo(offline->getPlaybackPort(0)));
    EXPECT_TRUE(peers[1]->isConnectedTo(offline->getPlaybackPort(1)));
    EXPECT_EQ(peers[0]->getConnectionCount(), 1);
    EXPECT_TRUE(recorder->isConnectedTo(offline->getOutput(1)));
    EXPECT_EQ(recorder->getConnectionCount(), 1);
    EXPECT_EQ(portOf("Null Audio Driver", "Out 1"), nullptr) << "the old device is gone";
    EXPECT_EQ(ports->getAliasCount(), 0) << "nothing had to wait on an alias";
    EXPECT_EQ(manager->getDeviceManager()->getOpenDeviceCount(), 1);
}

TEST_F(Manager, NoDeviceKeepsConnectionsOnAliasesUntilItComesBack)
{
    String error;
    ASSERT_NE(manager->selectDevice(Baios::NullAudioDevice::kIdentifier, error), nullptr);
    connectPeers();
    EXPECT_EQ(manager->selectDevice("null", error), nullptr);
    EXPECT_EQ(manager->countDevices(), 0);
    EXPECT_EQ(manager->getDeviceManager()->getOpenDeviceCount(), 0);
    ASSERT_EQ(ports->getAliasCount(), 2);
    ASSERT_EQ(peers[0]->getConnectionCount(), 1);
    EXPECT_TRUE(peers[0]->getConnection(0)->isSubtype("alias"));
    EXPECT_EQ(manager->selectDevice(nullptr, error), nullptr) << "none stays none";

    PBaiosDevice* again = manager->selectDevice(Baios::NullAudioDevice::kIdentifier, error);
    ASSERT_NE(again, nullptr);
    EXPECT_TRUE(peers[0]->isConnectedTo(again->getPlaybackPort(0)));
    EXPECT_TRUE(peers[1]->isConnectedTo(again->getPlaybackPort(1)));
}

TEST_F(Manager, UnpluggedDeviceKeepsItsPortsAndReturnsOnTheTimer)
{
    String error;
    PBaiosDevice* device = manager->selectDevice(Baios::NullAudioDevice::kIdentifier, error);
    ASSERT_NE(device, nullptr);
    connectPeers();
    ASSERT_TRUE(manager->start());
    std::vector<std::string> asked;
    manager->setUnplugQuestion(
        [&](const String& text, const std::vector<std::string>& drivers, int32 attempt)
        {
            asked.push_back(text.toUtf8());
            EXPECT_FALSE(drivers.empty());
            return std::string(); // cancel: wait for the device to come back
        });
    auto* driver = Baios::NullAudioDevice::fromDevice(device->getDriver());
    ASSERT_NE(driver, nullptr);
    // The driver reports from its own thread; the manager acts on the main thread only.
    std::thread([driver] { driver->sendMessage("deviceWasRemoved"); }).join();
    EXPECT_NE(device->getDriver(), nullptr);
    pump();
    EXPECT_EQ(device->getDriver(), nullptr);
    EXPECT_EQ(asked,
              (std::vector<std::string>{"[TARN MESSAGE: Device Null Audio Driver removed]"}));
    EXPECT_EQ(manager->getDevice(0), device) << "the device stays, without a driver";
    EXPECT_EQ(device->getPlaybackPort(0)->getAudioBuffer(), nullptr);
    EXPECT_TRUE(peers[0]->isConnectedTo(device->getPlaybackPort(0)));
    EXPECT_EQ(manager->getDeviceManager()->getOpenDeviceCount(), 0);

    // The return timer finds the driver again.
    ASSERT_TRUE(testing::eventually(
        [&]
        {
            FMainLoop::instance()->fireTimers();
            return device->getDriver() != nullptr;
        }));
    EXPECT_NE(device->getPlaybackPort(0)->getAudioBuffer(), nullptr);
    EXPECT_TRUE(peers[0]->isConnectedTo(device->getPlaybackPort(0)));
    EXPECT_TRUE(device->getPlaybackPort(0)->isUsed()) << "the new driver knows the channel is used";
    EXPECT_TRUE(manager->getDeviceManager()->isStarted()) << "it plays again";
}

TEST_F(Manager, UnplugAnswerCanChooseAnotherDriver)
{
    String error;
    PBaiosDevice* device = manager->selectDevice(Baios::NullAudioDevice::kIdentifier, error);
    ASSERT_NE(device, nullptr);
    connectPeers();
    int32 attempts = 0;
    manager->setUnplugQuestion(
        [&](const String&, const std::vector<std::string>&, int32 attempt)
        {
            ++attempts;
            // The first answer names a driver that does not exist: the question comes again.
            return std::string(attempt == 0 ? "Gone Driver"
                                            : Baios::NullAudioDevice::kOfflineIdentifier);
        });
    Baios::NullAudioDevice::fromDevice(device->getDriver())->sendMessage("deviceWasRemoved");
    pump();
    EXPECT_EQ(attempts, 2);
    PBaiosDevice* now = manager->getDevice(0);
    ASSERT_NE(now, nullptr);
    ASSERT_NE(now->getDriver(), nullptr);
    EXPECT_STREQ(now->getDriver()->getIdentifier(), Baios::NullAudioDevice::kOfflineIdentifier);
    EXPECT_TRUE(peers[0]->isConnectedTo(now->getPlaybackPort(0)));
}

TEST_F(Manager, InitialDeviceFollowsTheSettingsAndFallsBack)
{
    FDefaults* values = preferences->lookup(PBaiosManager::kSettingsSection);
    values->setString("DeviceName", String("null"));
    manager->openInitialDevice();
    EXPECT_EQ(manager->countDevices(), 0) << "\"null\" means no device";

    values->setString("DeviceName", String("Vanished Card"));
    values->setString("KnownDevices", String("Null Audio Driver"));
    manager->openInitialDevice();
    ASSERT_EQ(manager->countDevices(), 1);
    const PDeviceSelectAdvisor& advisor = manager->getAdvisor();
    EXPECT_EQ(advisor.lastName, ConstString("Vanished Card"));
    EXPECT_EQ(advisor.opened, PBaiosManager::kFallbackDriver);
    EXPECT_EQ(advisor.drivers.size(), size_t(manager->getDriverCount()));
    EXPECT_EQ(advisor.newDrivers.size(), advisor.drivers.size() - 1) << "Null was known";
    manager->openInitialDevice();
    EXPECT_EQ(manager->countDevices(), 1) << "nothing when a device is open already";

    manager->setProcessLevel(1);
    manager->saveSettings(*preferences);
    String stored;
    ASSERT_TRUE(values->getString("DeviceName", stored));
    EXPECT_EQ(stored, ConstString("Null Audio Driver"));
    EXPECT_EQ(values->getInt("ProcessLevel", -1), 1);
    ASSERT_TRUE(values->getString("KnownDevices", stored));
    EXPECT_EQ(stored.toUtf8().rfind("Null Audio Driver", 0), 0u);
    FDefaults* own = preferences->lookup("Null Audio Driver", 1, false);
    ASSERT_NE(own, nullptr) << "each device keeps a section of its own";
    EXPECT_EQ(own->getInt("DirectMonitor", -1), 0);
    EXPECT_EQ(own->getInt("ClockSourceIndex", -1), 0);
}

TEST_F(Manager, OlderDeviceSectionIsReadOnceAndDeleted)
{
    preferences->lookup("QelAudioDevice\\Null Audio Driver")->setInt("DirectMonitor", 1);
    String error;
    ASSERT_NE(manager->selectDevice(Baios::NullAudioDevice::kIdentifier, error), nullptr);
    EXPECT_EQ(preferences->lookup("QelAudioDevice\\Null Audio Driver", 1, false), nullptr);
}

TEST_F(Manager, BroadcastsReachListenersThroughTheMainLoop)
{
    auto* listener = new testing::HeardMessages;
    manager->addListener(listener);
    manager->addListener(listener);
    std::thread([this] { manager->broadcast("LockProcess"); }).join();
    manager->broadcast("NewDevice", String("JACK"));
    EXPECT_TRUE(listener->heard.empty());
    pump();
    EXPECT_EQ(listener->heard, (std::vector<std::string>{"LockProcess", "NewDevice"}));
    EXPECT_EQ(listener->devices, (std::vector<std::string>{"JACK"}));
    manager->broadcast("UnLockProcess");
    manager->removeListener(listener);
    pump();
    EXPECT_EQ(listener->heard.size(), 2u) << "a removed listener hears nothing queued";
    listener->release();
}

TEST(ManagerWithoutLibrary, AnswersWithDefaultsAndRefusesToSelect)
{
    auto* ports = new PPortRegistry;
    auto* classes = new FComponentRegistry; // "Device Manager" not entered
    auto* manager = new PBaiosManager(ports, nullptr);
    EXPECT_FALSE(manager->initialize(classes));
    EXPECT_TRUE(manager->isFailed());
    EXPECT_EQ(manager->getDriverCount(), 0);
    String error;
    EXPECT_EQ(manager->selectDevice(Baios::NullAudioDevice::kIdentifier, error), nullptr);
    EXPECT_EQ(error, ConstString(PBaiosManager::kFailedText));
    manager->openInitialDevice();
    EXPECT_EQ(manager->countDevices(), 0);
    manager->release();
    classes->release();
    ports->release();
}

} // namespace
} // namespace Quillmark

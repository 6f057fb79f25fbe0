#include "devices/ports/pstudio.h"

#include "devices/ports/pdevice.h"
#include "devices/ports/pportregistry.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Quillmark;

namespace
{

/** A device that says when it goes. */
class WatchedDevice : public PDevice
{
public:
    WatchedDevice(const char8* name, PPortRegistry* registry, bool& gone)
        : PDevice(String(name), false, registry), gone(gone)
    {
    }
    ~WatchedDevice() override { gone = true; }
    bool& gone;
};

std::vector<std::string> namesOf(const std::vector<PDevice*>& devices)
{
    std::vector<std::string> names;
    for (PDevice* device : devices)
        names.push_back(device->getName().toUtf8());
    return names;
}

} // namespace

TEST(PStudio, KnowsEveryDeviceOfTheTreeAsItIsNowWithItsPorts)
{
    auto* studio = new PStudio;
    PPortRegistry* ports = studio->getPortRegistry();
    bool systemGone = false, driverGone = false, midiGone = false;
    auto* system = new WatchedDevice("Audio System", ports, systemGone);
    auto* midi = new WatchedDevice("JACK MIDI", ports, midiGone);
    midi->addPort(String("keys"), false, "midi");
    ASSERT_TRUE(studio->addDevice(system));
    ASSERT_TRUE(studio->addDevice(midi));
    studio->start();
    EXPECT_TRUE(studio->isStarted());

    // A driver's device that appears below the audio system later is found where it is.
    auto* driver = new WatchedDevice("Null Audio Driver", ports, driverGone);
    driver->addPort(String("Out 1"), true);
    driver->addPort(String("In 1"), false);
    ASSERT_TRUE(system->addChild(driver));
    EXPECT_EQ(namesOf(studio->collectDevices()),
              (std::vector<std::string>{"Audio System", "Null Audio Driver", "JACK MIDI"}));
    EXPECT_EQ(studio->countDevices(), 2);
    EXPECT_EQ(studio->getDevice(1), midi);
    EXPECT_EQ(studio->getDevice(2), nullptr);
    EXPECT_EQ(studio->findDevice(String("Null Audio Driver")), driver);
    EXPECT_EQ(studio->findDevice(String("null audio driver")), nullptr);
    EXPECT_EQ(studio->describe(), "Audio System\n"
                                  "Null Audio Driver\n"
                                  "  in  Out 1\n"
                                  "  out In 1\n"
                                  "JACK MIDI\n"
                                  "  out keys\n");
    EXPECT_GE(ports->getPortCount(), 3);

    // Nothing twice, nothing that stands in another tree, and no null.
    EXPECT_FALSE(studio->addDevice(midi));
    EXPECT_FALSE(studio->addDevice(driver));
    EXPECT_FALSE(studio->addDevice(nullptr));
    EXPECT_EQ(studio->countDevices(), 2);

    // The owners let go first: the studio still holds the devices until it stops.
    system->release();
    midi->release();
    EXPECT_FALSE(systemGone || driverGone || midiGone);
    studio->stop();
    EXPECT_TRUE(systemGone && driverGone && midiGone);
    EXPECT_FALSE(studio->isStarted());
    EXPECT_TRUE(studio->collectDevices().empty());
    EXPECT_EQ(studio->describe(), "");
    studio->release();
}

TEST(PStudio, ARemovedDeviceGoesWithItsOwnerAndTheStudioGoesWithoutItsDevices)
{
    auto* studio = new PStudio;
    bool gone = false, kept = false;
    auto* removed = new WatchedDevice("ALSA MIDI", studio->getPortRegistry(), gone);
    // Without ports of the studio's registry: that registry goes with the studio.
    auto* held = new WatchedDevice("All MIDI Inputs", nullptr, kept);
    ASSERT_TRUE(studio->addDevice(removed));
    ASSERT_TRUE(studio->addDevice(held));
    EXPECT_TRUE(studio->removeDevice(removed));
    EXPECT_FALSE(studio->removeDevice(removed));
    EXPECT_EQ(removed->getParent(), nullptr);
    removed->release();
    EXPECT_TRUE(gone);
    // The studio's end lets go of the devices it still holds; their owner keeps its own.
    studio->release();
    EXPECT_FALSE(kept);
    EXPECT_EQ(held->getParent(), nullptr);
    held->release();
    EXPECT_TRUE(kept);
}

#include "devices/audio/devicemanager.h"

#include "devices/audio/nullaudiodriver.h"

#include <gtest/gtest.h>

namespace Quillmark::Baios
{
namespace
{

class CountingProcessor : public IProcessor
{
public:
    tresult queryInterface(const TUID, void** obj) override
    {
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 addRef() override { return 1; }
    uint32 release() override { return 1; }
    void process(const ProcessRecord&) override { ++blocks; }
    int32 blocks = 0;
};

DeviceManager* twoNullDrivers()
{
    std::vector<std::unique_ptr<AudioDriver>> drivers;
    drivers.push_back(std::make_unique<NullAudioDriver>());
    drivers.push_back(std::make_unique<NullAudioDriver>(NullAudioDevice::kOffline));
    return new DeviceManager(std::move(drivers));
}

TEST(DeviceManager, CreatedThroughTheClassRegistry)
{
    auto* registry = new FComponentRegistry;
    FComponentDescription* description = DeviceManager::registerClass(*registry);
    ASSERT_NE(description, nullptr);
    EXPECT_EQ(description->category, ConstString("Baios"));
    EXPECT_EQ(description->name, ConstString("Device Manager"));
    FUnknown* object = description->createInstance();
    ASSERT_NE(object, nullptr);
    IDeviceManager* manager = nullptr;
    ASSERT_EQ(object->queryInterface(IDeviceManager::iid.bytes, reinterpret_cast<void**>(&manager)),
              kResultOk);
    EXPECT_STREQ(manager->getDriverIdentifier(0), NullAudioDevice::kIdentifier);
    EXPECT_EQ(manager->getDriverName(manager->getDriverCount()), nullptr);
    manager->release();
    object->release();
    registry->release();
}

TEST(DeviceManager, OpensClosesAndRefusesWhatIsNotItsOwn)
{
    DeviceManager* manager = twoNullDrivers();
    char8 error[64] = {};
    EXPECT_EQ(manager->openDevice("Nothing", error, int32(sizeof(error))), nullptr);
    EXPECT_STREQ(error, "No audio driver named \"Nothing\".");
    char8 tiny[8] = {};
    EXPECT_EQ(manager->openDevice("Nothing", tiny, int32(sizeof(tiny))), nullptr);
    EXPECT_STREQ(tiny, "No audi") << "a short buffer gets a cut, terminated text";
    EXPECT_EQ(manager->start(), kResultFalse) << "nothing to start";
    EXPECT_EQ(manager->getSampleRate(), 0.0);
    EXPECT_EQ(manager->getBlockSize(), 0);
    EXPECT_FALSE(manager->canSampleRate(48000.0));

    CountingProcessor processor;
    manager->setProcessor(&processor);
    IDevice* first = manager->openDevice(NullAudioDevice::kIdentifier, error, 64);
    IDevice* second = manager->openDevice(NullAudioDevice::kOfflineIdentifier, error, 64);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(manager->getOpenDeviceCount(), 2);
    EXPECT_EQ(manager->getOpenDevice(1), second);

    // A device made elsewhere is not the manager's to close.
    auto* stranger = new NullAudioDevice;
    EXPECT_EQ(manager->closeDevice(stranger), kInvalidArgument);
    stranger->release();

    // The processor set before opening reaches the device.
    EXPECT_EQ(NullAudioDevice::fromDevice(second)->runBlocks(3), 3);
    EXPECT_EQ(processor.blocks, 3);

    EXPECT_EQ(manager->closeDevice(first), kResultOk);
    EXPECT_EQ(manager->getOpenDeviceCount(), 1);
    EXPECT_EQ(manager->getOpenDevice(0), second) << "indices close up";
    EXPECT_EQ(manager->closeDevice(first), kInvalidArgument) << "closed once only";
    first->release();
    manager->setProcessor(nullptr);
    EXPECT_EQ(NullAudioDevice::fromDevice(second)->runBlocks(1), 1);
    EXPECT_EQ(processor.blocks, 3) << "a cleared processor is not called";
    second->release();
    manager->release(); // closes what is still open
}

TEST(DeviceManager, RateChangesReachEveryOpenDevice)
{
    DeviceManager* manager = twoNullDrivers();
    char8 error[64] = {};
    IDevice* device = manager->openDevice(NullAudioDevice::kIdentifier, error, 64);
    ASSERT_NE(device, nullptr);
    EXPECT_TRUE(manager->canSampleRate(96000.0));
    EXPECT_EQ(manager->setSampleRate(12345.0), kResultFalse);
    EXPECT_EQ(manager->setSampleRate(96000.0), kResultOk);
    EXPECT_EQ(manager->getSampleRate(), 96000.0);
    EXPECT_EQ(manager->start(), kResultOk);
    EXPECT_TRUE(manager->isStarted());
    EXPECT_EQ(manager->stop(true), kResultOk);
    EXPECT_FALSE(manager->isStarted());
    device->release();
    manager->release();
}

} // namespace
} // namespace Quillmark::Baios

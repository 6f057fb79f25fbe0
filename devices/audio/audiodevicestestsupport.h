// Shared pieces of the device layer's tests: a port registry, preferences in a temporary
// folder, the class registry with "Device Manager" in it, and the manager built on them.
#pragma once

#include "base/fdefaults.h"
#include "base/fmainloop.h"
#include "base/fmessage.h"
#include "base/testsupport.h"
#include "devices/audio/alsaaudiodriver.h"
#include "devices/audio/devicemanager.h"
#include "devices/audio/nullaudiodriver.h"
#include "devices/audio/pbaiosmanager.h"
#include "devices/ports/pportregistry.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/testsupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Quillmark::testing
{

/** Keeps the names of the messages that reach it, in order. */
class HeardMessages : public CmObject
{
public:
    void notify(FMessage* message) override
    {
        heard.push_back(message->getName().toUtf8());
        String device;
        if (message->getString("device", device))
            devices.push_back(device.toUtf8());
    }
    std::vector<std::string> heard;
    std::vector<std::string> devices;
};

class AudioSystemTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        preferences = new FDefaultPool(temp.file("Defaults"));
        classes = new FComponentRegistry;
        Baios::DeviceManager::registerClass(*classes);
        ports = new PPortRegistry;
        manager = new PBaiosManager(ports, preferences);
        ASSERT_TRUE(manager->initialize(classes));
    }
    void TearDown() override
    {
        manager->terminate();
        FMainLoop::instance()->cancel(manager);
        manager->release();
        ports->release();
        classes->release();
        preferences->release();
    }

    /** Delivers everything the main loop has queued now. */
    static void pump() { FMainLoop::instance()->dispatchDue(); }

    /** Opens the offline Null driver and answers its device. */
    Baios::NullAudioDevice* selectOffline()
    {
        String error;
        PBaiosDevice* device =
            manager->selectDevice(Baios::NullAudioDevice::kOfflineIdentifier, error);
        EXPECT_NE(device, nullptr) << error.toUtf8();
        return device ? Baios::NullAudioDevice::fromDevice(device->getDriver()) : nullptr;
    }

    TempFolder temp;
    FDefaultPool* preferences = nullptr;
    FComponentRegistry* classes = nullptr;
    PPortRegistry* ports = nullptr;
    PBaiosManager* manager = nullptr;
};

} // namespace Quillmark::testing

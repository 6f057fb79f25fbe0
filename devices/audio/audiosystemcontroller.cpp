#include "devices/audio/audiosystemcontroller.h"

#include "base/fdefaults.h"
#include "base/fmessage.h"
#include "base/values/uintvalues.h"
#include "base/values/ustringvalue.h"
#include "devices/audio/pbaiosmanager.h"

#include <cstdio>

namespace Quillmark
{

namespace
{
constexpr double kRates[] = {16000.0, 22050.0, 24000.0,  32000.0,  44100.0,  48000.0, 64000.0,
                             88200.0, 96000.0, 128000.0, 176400.0, 192000.0, 384000.0};

std::string format(const char8* pattern, double value)
{
    char text[64];
    std::snprintf(text, sizeof(text), pattern, value);
    return text;
}
} // namespace

void PBaiosDeviceValue::sync(PBaiosManager& manager)
{
    removeAll();
    int32 chosen = 0;
    std::string open;
    if (PBaiosDevice* device = manager.getDevice(0))
        if (device->getDriver())
            open = device->getDriver()->getIdentifier();
    for (int32 i = 0; i < manager.getDriverCount(); ++i)
    {
        addEntry(manager.getDriverName(i), i);
        if (manager.getDriverIdentifier(i) == open)
            chosen = i;
    }
    entriesChanged();
    setIndex(chosen, false);
}

AudioSystemController::AudioSystemController(PBaiosManager* manager, FDefaultPool* preferences)
    : UValueContainer(nullptr), manager(manager), preferences(preferences)
{
    setHandler(this);
    adopt(new PBaiosDeviceValue("tarnDriver", kTarnDriver));
    adopt(new UIntValue("releaseHardware", kReleaseHardware));
    adopt(new UStringValue("inputLatency", kInputLatency));
    adopt(new UStringValue("outputLatency", kOutputLatency));
    auto* clocked = adopt(new UIntValue("externallyClocked", kExternallyClocked));
    clocked->setEnabled(false); // shown only
    adopt(new UMenuValue("sampleRate", kSampleRate));
    auto* priority = adopt(new UMenuValue("audioPriority", kAudioPriority));
    priority->addEntry("Normal", 0);
    priority->addEntry("Boost", 1);
    priority->entriesChanged();
    adopt(new UIntValue("disableCpuEnergySaving", kDisableCpuEnergySaving));
    energyNoticeShown = flagStored("DisableCPUEnergySaving");
    refresh();
}

AudioSystemController::~AudioSystemController()
{
    setHandler(nullptr);
}

bool AudioSystemController::flagStored(const char8* key) const
{
    if (!preferences)
        return false;
    FDefaults* values = preferences->lookup(kApplicationSection, 1, false);
    return values && values->getInt(key, 0) == 1;
}

void AudioSystemController::storeFlag(const char8* key, bool state)
{
    if (preferences)
        if (FDefaults* values = preferences->lookup(kApplicationSection))
            values->setInt(key, state ? 1 : 0);
}

std::vector<double> AudioSystemController::offeredRates() const
{
    std::vector<double> rates;
    for (double rate : kRates)
        if (manager->canSampleRate(rate))
            rates.push_back(rate);
    return rates;
}

void AudioSystemController::refresh()
{
    refreshing = true;
    find<PBaiosDeviceValue>("tarnDriver")->sync(*manager);
    find<UIntValue>("releaseHardware")->setValue(flagStored("ReleaseHardware") ? 1 : 0, false);
    find<UIntValue>("disableCpuEnergySaving")
        ->setValue(flagStored("DisableCPUEnergySaving") ? 1 : 0, false);
    PBaiosDevice* device = manager->getDevice(0);
    find<UIntValue>("externallyClocked")
        ->setValue(device && device->isExternallyClocked() ? 1 : 0, false);
    find<UMenuValue>("audioPriority")->setIndex(manager->getProcessLevel() > 0 ? 1 : 0, false);
    updateRates();
    updateLatencies();
    refreshing = false;
}

void AudioSystemController::updateRates()
{
    auto* menu = find<UMenuValue>("sampleRate");
    menu->removeAll();
    for (double rate : offeredRates())
        menu->addEntry(String(format("%.3f kHz", rate / 1000.0).c_str()), int32(rate));
    menu->entriesChanged();
    const int32 index = menu->indexOfTag(int32(manager->getSampleRate()));
    if (index >= 0)
        menu->setIndex(index, false);
}

void AudioSystemController::updateLatencies()
{
    std::string input = "(Multiple Devices)";
    std::string output = input;
    if (manager->getDeviceManager() && manager->getDeviceManager()->getOpenDeviceCount() <= 1)
    {
        int32 inSamples = 0;
        int32 outSamples = 0;
        PBaiosDevice* device = manager->getDevice(0);
        if (device && device->getDriver())
            device->getDriver()->getLatencies(inSamples, outSamples);
        const double perMs = manager->getSampleRate() * manager->getRateFactor() / 1000.0;
        input = format("%4.3f ms", inSamples / perMs);
        output = format("%4.3f ms", outSamples / perMs);
    }
    find<UStringValue>("inputLatency")->setValue(String(input.c_str()), !refreshing);
    find<UStringValue>("outputLatency")->setValue(String(output.c_str()), !refreshing);
}

void AudioSystemController::notify(FMessage* message)
{
    if (message && message->is("Idle"))
        updateLatencies();
}

void AudioSystemController::onValueChanged(UValue* value)
{
    if (refreshing || !value)
        return;
    switch (value->getTag())
    {
    case kTarnDriver:
        switchDriver();
        break;
    case kSampleRate:
        changeSampleRate();
        break;
    case kAudioPriority:
        manager->setProcessLevel(value->getInt());
        break;
    case kReleaseHardware:
        storeFlag("ReleaseHardware", value->getInt() == 1);
        break;
    case kDisableCpuEnergySaving:
        if (value->getInt() == 1 && !energyNoticeShown)
        {
            energyNoticeShown = true;
            if (question)
                question(kEnergyNotice, {"OK"});
        }
        // The power profile itself is the platform's; here the choice is kept.
        storeFlag("DisableCPUEnergySaving", value->getInt() == 1);
        break;
    default:
        break;
    }
}

void AudioSystemController::switchDriver()
{
    auto* menu = find<PBaiosDeviceValue>("tarnDriver");
    const UMenuEntry* item = menu->getSelectedItem();
    if (!item)
        return;
    const std::string identifier = manager->getDriverIdentifier(item->getTag());
    const int32 answer = question ? question(kSwitchQuestion, {"Switch", "Keep"}) : 0;
    if (answer == 0)
    {
        if (stopTransport)
            stopTransport();
        String error;
        if (manager->selectDevice(identifier.c_str(), error))
            manager->broadcast("NewDevice", String(identifier.c_str()));
        else if (notice)
        {
            std::string text = error.toUtf8();
            if (text.empty())
            {
                text = kSwitchError;
                text.replace(text.find("%s"), 2, identifier);
            }
            notice(text);
        }
    }
    refresh();
}

void AudioSystemController::changeSampleRate()
{
    auto* menu = find<UMenuValue>("sampleRate");
    const UMenuEntry* item = menu->getSelectedItem();
    if (!item)
        return;
    const double rate = double(item->getTag());
    if (rate == manager->getSampleRate())
        return;
    if (stopTransport)
        stopTransport();
    // A rate the device cannot take is refused here, before the engine is locked.
    if (!manager->canSampleRate(rate))
    {
        refresh();
        return;
    }
    manager->broadcast("LockProcess");
    PBaiosDevice* device = manager->getDevice(0);
    bool done = device && device->getDriver() && device->getDriver()->setRateFactor(1.0);
    done = done && manager->setSampleRate(rate);
    // After a failure the value shows the device's rate again. The engine stays locked until
    // the driver's next reset message unlocks it.
    if (!done)
        refresh();
}

} // namespace Quillmark

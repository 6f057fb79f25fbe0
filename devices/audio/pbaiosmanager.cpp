#include "devices/audio/pbaiosmanager.h"

#include "base/fdefaults.h"
#include "base/fmainloop.h"
#include "base/fmessage.h"
#include "devices/audio/baioshandler.h"
#include "devices/audio/devicemanager.h"
#include "devices/ports/pportregistry.h"
#include "hosting/fcomponentregistry.h"

#include <algorithm>
#include <cstdio>
#include <mutex>

namespace Quillmark
{

namespace
{
PBaiosManager* gBaiosManager = nullptr;
std::mutex gListenerMutex;

constexpr const char8* kDeviceRemoved = "deviceWasRemoved";
constexpr const char8* kDeviceArrived = "registeredDeviceArrived";
constexpr const char8* kBaiosStopped = "baiosStopped";
constexpr const char8* kDeviceReset = "deviceWasReset";
constexpr const char8* kExcludedDriver = "TARN DirectX Full Duplex Driver";
constexpr char kListSeparator = '\n';

std::vector<std::string> splitList(const std::string& text)
{
    std::vector<std::string> items;
    size_t start = 0;
    while (start < text.size())
    {
        size_t end = text.find(kListSeparator, start);
        if (end == std::string::npos)
            end = text.size();
        if (end > start)
            items.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return items;
}
} // namespace

/** The library's messages arrive on driver threads; this posts each to the main loop, where the
    manager handles it. */
class PBaiosManager::MessageForwarder : public Baios::IMessageHandler
{
public:
    explicit MessageForwarder(PBaiosManager* owner) : owner(owner) {}
    virtual ~MessageForwarder() = default;

    tresult queryInterface(const TUID iid, void** obj) override
    {
        QEL_QUERY_INTERFACE(iid, obj, FUnknown)
        QEL_QUERY_INTERFACE(iid, obj, Baios::IMessageHandler)
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 addRef() override { return 1; }
    uint32 release() override { return 1; }

    void baiosMessage(const char8* name, Baios::IDevice* device, int32 deviceIndex) override
    {
        FMainLoop* loop = FMainLoop::instance();
        if (!loop || !name)
            return;
        auto* message = new FMessage(name);
        message->setInt("devicePointer", int64(reinterpret_cast<intptr_t>(device)));
        message->setInt("deviceIndex", deviceIndex);
        loop->post(owner, message);
        message->release();
    }

private:
    PBaiosManager* owner;
};

PBaiosManager::PBaiosManager(PPortRegistry* registry, FDefaultPool* preferences)
    : PDevice(kName, false, registry), portRegistry(registry), preferences(preferences)
{
    managerHandler = new MessageForwarder(this);
}

PBaiosManager::~PBaiosManager()
{
    terminate();
    if (FMainLoop* loop = FMainLoop::instance())
        loop->cancel(this);
    delete managerHandler;
    if (gBaiosManager == this)
        gBaiosManager = nullptr;
}

PBaiosManager* PBaiosManager::instance()
{
    return gBaiosManager;
}

bool PBaiosManager::initialize(FComponentRegistry* classes)
{
    Baios::IDeviceManager* library = nullptr;
    if (classes)
        if (FComponentDescription* description = classes->findByCategoryAndName(
                String(Baios::DeviceManager::kCategory), String(Baios::DeviceManager::kName)))
            if (FUnknown* object = description->createInstance())
            {
                void* queried = nullptr;
                if (object->queryInterface(Baios::IDeviceManager::iid.bytes, &queried) == kResultOk)
                    library = static_cast<Baios::IDeviceManager*>(queried);
                object->release();
                factory = description;
            }
    const bool result = initialize(library);
    if (library)
        library->release();
    return result;
}

bool PBaiosManager::initialize(Baios::IDeviceManager* library)
{
    gBaiosManager = this;
    if (!library)
        return false;
    if (library->initialize(nullptr) != kResultOk)
        return false;
    library->addRef();
    deviceManager = library;
    deviceManager->setHandler(managerHandler);
    return true;
}

void PBaiosManager::terminate()
{
    if (returnTimer)
    {
        returnTimer->release();
        returnTimer = nullptr;
    }
    removeAllDevices();
    if (deviceManager)
    {
        deviceManager->setHandler(nullptr);
        deviceManager->setProcessor(nullptr);
        deviceManager->terminate();
        deviceManager->release();
        deviceManager = nullptr;
    }
}

int32 PBaiosManager::getDriverCount() const
{
    return deviceManager ? deviceManager->getDriverCount() : 0;
}

std::string PBaiosManager::getDriverIdentifier(int32 index) const
{
    const char8* identifier = deviceManager ? deviceManager->getDriverIdentifier(index) : nullptr;
    return identifier ? identifier : "";
}

String PBaiosManager::getDriverName(int32 index) const
{
    const char16* name = deviceManager ? deviceManager->getDriverName(index) : nullptr;
    return name ? String(name) : String();
}

String PBaiosManager::lookupDisplayName(const std::string& identifier) const
{
    for (int32 i = 0; i < getDriverCount(); ++i)
        if (getDriverIdentifier(i) == identifier)
            return getDriverName(i);
    return String(identifier.c_str());
}

PBaiosDevice* PBaiosManager::getDevice(int32 index) const
{
    return index >= 0 && index < int32(devices.size()) ? devices[size_t(index)] : nullptr;
}

PBaiosDevice* PBaiosManager::findDevice(Baios::IDevice* driver) const
{
    if (!driver)
        return nullptr;
    for (PBaiosDevice* device : devices)
        if (device->getDriver() == driver)
            return device;
    return nullptr;
}

void PBaiosManager::addDevice(PBaiosDevice* device)
{
    devices.push_back(device);
    addChild(device); // takes over the reference
}

void PBaiosManager::removeDevice(PBaiosDevice* device)
{
    auto found = std::find(devices.begin(), devices.end(), device);
    if (found == devices.end())
        return;
    devices.erase(found);
    // The tree holds the device's reference; taking it out releases the device, whose ports
    // leave their connections on aliases.
    removeChild(device);
}

bool PBaiosManager::closeDriver(PBaiosDevice* device)
{
    Baios::IDevice* driver = device->getDriver();
    if (!driver)
        return true;
    if (deviceManager && deviceManager->closeDevice(driver) != kResultOk)
        return false;
    device->unplug();
    return true;
}

void PBaiosManager::removeAllDevices()
{
    if (deviceManager)
        deviceManager->stop(true);
    while (!devices.empty())
    {
        PBaiosDevice* device = devices.back();
        closeDriver(device);
        removeDevice(device);
    }
}

bool PBaiosManager::start()
{
    started = true;
    if (!deviceManager || devices.empty())
        return false;
    if (deviceManager->start() != kResultOk)
        return false;
    sendToHandler("Baios Started");
    return true;
}

bool PBaiosManager::stop()
{
    started = false;
    if (!deviceManager)
        return false;
    deviceManager->stop(true);
    sendToHandler("Baios Stopped");
    return true;
}

void PBaiosManager::sendToHandler(const char8* name)
{
    if (!handler)
        return;
    auto* message = new FMessage(name);
    handler->notify(message);
    message->release();
}

PBaiosDevice* PBaiosManager::openAsDevice(const std::string& identifier, String& errorText)
{
    char8 error[512] = {};
    Baios::IDevice* driver =
        deviceManager->openDevice(identifier.c_str(), error, int32(sizeof(error)));
    if (!driver)
    {
        errorText = String(error);
        return nullptr;
    }
    auto* device = new PBaiosDevice(lookupDisplayName(identifier), driver, portRegistry);
    driver->release();
    if (preferences)
        device->restoreSettings(*preferences);
    return device;
}

PBaiosDevice* PBaiosManager::selectDevice(const char8* identifier, String& errorText)
{
    const std::string wanted = identifier ? identifier : "";
    const bool wantNone = wanted.empty() || wanted == "null";
    PBaiosDevice* old = getDevice(0);
    if (!deviceManager)
    {
        errorText = String(kFailedText);
        return nullptr;
    }
    if (old && old->getDriver() && wanted == old->getDriver()->getIdentifier())
        return old;
    if (!old && wantNone)
        return nullptr;

    const double oldRate = getSampleRate();
    const double oldFactor = getRateFactor();
    std::string oldIdentifier;
    if (old)
    {
        if (old->getDriver())
            oldIdentifier = old->getDriver()->getIdentifier();
        if (preferences)
            old->saveSettings(*preferences);
        deviceManager->stop(true);
        if (!closeDriver(old))
        {
            errorText = String("The audio driver could not be closed.");
            if (started)
                deviceManager->start();
            return nullptr;
        }
    }

    PBaiosDevice* result = nullptr;
    if (wantNone)
    {
        // The connections wait on alias ports for a device to come.
        removeDevice(old);
    }
    else
    {
        result = openAsDevice(wanted, errorText);
        if (!result)
        {
            if (old && !oldIdentifier.empty())
            {
                char8 ignored[256] = {};
                if (Baios::IDevice* again = deviceManager->openDevice(
                        oldIdentifier.c_str(), ignored, int32(sizeof(ignored))))
                {
                    old->setDriver(again);
                    again->release();
                }
            }
            finishChange();
            updateReturnTimer();
            return nullptr;
        }
        if (old)
        {
            // Sinks pair with sinks and sources with sources.
            auto sinks = [](PBaiosDevice* device)
            {
                std::vector<PPort*> list;
                for (int32 i = 0; i < device->countInputs(); ++i)
                    list.push_back(device->getInput(i));
                return list;
            };
            auto sources = [](PBaiosDevice* device)
            {
                std::vector<PPort*> list;
                for (int32 i = 0; i < device->countOutputs(); ++i)
                    list.push_back(device->getOutput(i));
                return list;
            };
            PPortRegistry::moveConnections(sinks(old), sinks(result));
            PPortRegistry::moveConnections(sources(old), sources(result));
            removeDevice(old);
        }
        addDevice(result);
    }

    if (getSampleRate() != oldRate || getRateFactor() != oldFactor || !old)
        sendToHandler("Sample Rate to be set");
    finishChange();
    updateReturnTimer();
    return result;
}

void PBaiosManager::finishChange()
{
    if (deviceManager)
        deviceManager->updateChannels();
    sendToHandler("Update Monitoring Activation");
    if (started)
    {
        sendToHandler("blockSizeChanged");
        if (deviceManager && !devices.empty())
            deviceManager->start();
    }
}

std::vector<std::string> PBaiosManager::knownDevices() const
{
    if (!preferences)
        return {};
    FDefaults* values = preferences->lookup(kSettingsSection, 1, false);
    String stored;
    if (!values || !values->getString("KnownDevices", stored))
        return {};
    return splitList(stored.toUtf8());
}

void PBaiosManager::openInitialDevice()
{
    if (getDriverCount() == 0 || !devices.empty())
        return;
    String lastName;
    bool hasLastName = false;
    if (preferences)
        if (FDefaults* values = preferences->lookup(kSettingsSection, 1, false))
            hasLastName = values->getString("DeviceName", lastName);
    const std::vector<std::string> known = knownDevices();
    advisor = PDeviceSelectAdvisor();
    advisor.lastName = lastName;
    for (int32 i = 0; i < getDriverCount(); ++i)
    {
        const std::string identifier = getDriverIdentifier(i);
        if (identifier == kExcludedDriver)
            continue;
        advisor.drivers.push_back(identifier);
        if (std::find(known.begin(), known.end(), identifier) == known.end())
            advisor.newDrivers.push_back(identifier);
    }
    if (hasLastName && lastName == ConstString("null"))
        return;

    std::vector<std::string> candidates;
    if (hasLastName && !lastName.isEmpty())
        candidates.push_back(lastName.toUtf8());
    candidates.push_back(kFallbackDriver);
    for (size_t i = 0; i < advisor.drivers.size() && i < 2; ++i)
        candidates.push_back(advisor.drivers[i]);
    for (const std::string& candidate : candidates)
    {
        String error;
        if (selectDevice(candidate.c_str(), error))
        {
            advisor.opened = candidate;
            return;
        }
    }
}

int32 PBaiosManager::reopenMissingDevices()
{
    if (!deviceManager)
        return 0;
    int32 returned = 0;
    for (PBaiosDevice* device : devices)
    {
        if (device->getDriver())
            continue;
        char8 error[256] = {};
        // The device's name is its driver's display name; find the identifier behind it.
        std::string identifier = device->getName().toUtf8();
        for (int32 i = 0; i < getDriverCount(); ++i)
            if (getDriverName(i) == device->getName())
                identifier = getDriverIdentifier(i);
        Baios::IDevice* driver =
            deviceManager->openDevice(identifier.c_str(), error, int32(sizeof(error)));
        if (!driver)
            continue;
        // Streaming devices never see their port lists change: stop first.
        deviceManager->stop(true);
        device->setDriver(driver);
        driver->release();
        if (preferences)
            device->restoreSettings(*preferences);
        ++returned;
    }
    if (returned > 0)
    {
        deviceManager->updateChannels();
        sendToHandler("Update Monitoring Activation");
        sendToHandler("blockSizeChanged");
        if (started)
            deviceManager->start();
    }
    updateReturnTimer();
    return returned;
}

void PBaiosManager::deviceRemoved(PBaiosDevice* device)
{
    if (!device || !device->getDriver())
        return;
    deviceManager->stop(true);
    closeDriver(device);
    sendToHandler("blockSizeChanged");
    updateReturnTimer();
    if (device->getName().isEmpty() || !unplugQuestion)
        return;
    char text[512];
    std::snprintf(text, sizeof(text), "[TARN MESSAGE: Device %s removed]",
                  device->getName().toUtf8().c_str());
    std::vector<std::string> drivers;
    for (int32 i = 0; i < getDriverCount(); ++i)
        drivers.push_back(getDriverIdentifier(i));
    for (int32 attempt = 0;; ++attempt)
    {
        const std::string choice = unplugQuestion(String(text), drivers, attempt);
        if (choice.empty() || device->getDriver())
            return;
        if (lookupDisplayName(choice) == device->getName())
        {
            if (reopenMissingDevices() > 0)
                return;
        }
        else
        {
            String error;
            if (selectDevice(choice.c_str(), error))
                return;
        }
    }
}

void PBaiosManager::updateReturnTimer()
{
    const bool missing = std::any_of(devices.begin(), devices.end(),
                                     [](PBaiosDevice* device) { return !device->getDriver(); });
    if (missing && !returnTimer)
        returnTimer = new Timer(this, kReturnPollMs);
    else if (!missing && returnTimer)
    {
        returnTimer->release();
        returnTimer = nullptr;
    }
}

void PBaiosManager::onTimer(Timer*)
{
    reopenMissingDevices();
}

void PBaiosManager::notify(FMessage* message)
{
    if (!message)
        return;
    ++messagesHandled;
    int64 pointer = 0;
    int64 index = -1;
    message->getInt("devicePointer", pointer);
    message->getInt("deviceIndex", index);
    if (message->is(kDeviceRemoved))
    {
        deviceRemoved(findDevice(reinterpret_cast<Baios::IDevice*>(intptr_t(pointer))));
        return;
    }
    if (message->is(kDeviceArrived))
    {
        reopenMissingDevices();
        return;
    }
    if (message->is(kBaiosStopped))
    {
        if (started && deviceManager && !deviceManager->isStarted())
            deviceManager->start();
    }
    else if (message->is(kDeviceReset))
    {
        if (deviceManager)
            if (Baios::IDevice* driver = deviceManager->getOpenDevice(int32(index)))
                if (PBaiosDevice* device = findDevice(driver))
                {
                    const bool wasStarted = deviceManager->isStarted();
                    deviceManager->stop(true);
                    device->rebuildPorts();
                    if (wasStarted)
                        deviceManager->start();
                }
        updateChannels();
        sendToHandler("Update Monitoring Activation");
    }
    if (handler)
        handler->notify(message);
}

void PBaiosManager::setProcessor(Baios::IProcessor* processor)
{
    if (deviceManager)
        deviceManager->setProcessor(processor);
}

void PBaiosManager::setProcessLevel(int32 level)
{
    if (deviceManager)
        deviceManager->setProcessLevel(level);
}

int32 PBaiosManager::getProcessLevel() const
{
    return deviceManager ? deviceManager->getProcessLevel() : 0;
}

double PBaiosManager::getSampleRate() const
{
    if (!deviceManager)
        return 44100.0;
    const double rate = deviceManager->getSampleRate();
    return rate > 0.0 ? rate : 44100.0;
}

int32 PBaiosManager::getBlockSize() const
{
    return deviceManager ? deviceManager->getBlockSize() : 0;
}

double PBaiosManager::getRateFactor() const
{
    PBaiosDevice* device = getDevice(0);
    return device && device->getDriver() ? device->getDriver()->getRateFactor() : 1.0;
}

bool PBaiosManager::canSampleRate(double rate) const
{
    return deviceManager && deviceManager->canSampleRate(rate);
}

bool PBaiosManager::setSampleRate(double rate)
{
    return deviceManager && deviceManager->setSampleRate(rate) == kResultOk;
}

void PBaiosManager::updateChannels()
{
    if (deviceManager)
        deviceManager->updateChannels();
}

void PBaiosManager::addListener(CmObject* listener)
{
    std::lock_guard<std::mutex> guard(gListenerMutex);
    if (listener && std::find(listeners.begin(), listeners.end(), listener) == listeners.end())
        listeners.push_back(listener);
}

void PBaiosManager::removeListener(CmObject* listener)
{
    std::lock_guard<std::mutex> guard(gListenerMutex);
    listeners.erase(std::remove(listeners.begin(), listeners.end(), listener), listeners.end());
    if (FMainLoop* loop = FMainLoop::instance())
    {
        loop->cancel(listener, "NewDevice");
        loop->cancel(listener, "LockProcess");
        loop->cancel(listener, "UnLockProcess");
    }
}

void PBaiosManager::broadcast(const char8* name, const ConstString& device)
{
    FMainLoop* loop = FMainLoop::instance();
    if (!loop)
        return;
    std::lock_guard<std::mutex> guard(gListenerMutex);
    for (CmObject* listener : listeners)
    {
        auto* message = new FMessage(name);
        if (!device.isEmpty())
            message->setString("device", device);
        loop->post(listener, message);
        message->release();
    }
}

void PBaiosManager::saveSettings(FDefaultPool& pool) const
{
    FDefaults* values = pool.lookup(kSettingsSection);
    if (!values)
        return;
    PBaiosDevice* device = getDevice(0);
    std::string name = "null";
    if (device && device->getDriver())
        name = device->getDriver()->getIdentifier();
    else if (device)
        name = device->getName().toUtf8();
    values->setString("DeviceName", String(name.c_str()));
    values->setInt("ProcessLevel", getProcessLevel());
    std::string known;
    for (int32 i = 0; i < getDriverCount(); ++i)
    {
        if (!known.empty())
            known += kListSeparator;
        known += getDriverIdentifier(i);
    }
    values->setString("KnownDevices", String(known.c_str()));
    for (PBaiosDevice* each : devices)
        each->saveSettings(pool);
}

} // namespace Quillmark

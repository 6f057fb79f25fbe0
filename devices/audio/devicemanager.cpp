#include "devices/audio/devicemanager.h"

#include "devices/audio/alsaaudiodriver.h"
#include "devices/audio/jackaudiodriver.h"
#include "devices/audio/nullaudiodriver.h"

#include "base/fobject.h"
#include "base/fstring.h"

#include <algorithm>
#include <cstring>

namespace Quillmark::Baios
{

namespace
{
const FUID kDeviceManagerCid(0x2B7D05E3, 0xC4914A6F, 0x9E38D1A2, 0x6F05B87C);

std::u16string widen(const std::string& text)
{
    return Unicode::utf8ToUtf16(text.c_str(), uint32(text.size()));
}

void writeError(char8* errorText, int32 errorSize, const std::string& text)
{
    if (!errorText || errorSize <= 0)
        return;
    const size_t length = std::min(text.size(), size_t(errorSize - 1));
    std::memcpy(errorText, text.data(), length);
    errorText[length] = 0;
}
} // namespace

DeviceManager::DeviceManager() : systemList(true)
{
    setDrivers(systemDrivers());
}

DeviceManager::DeviceManager(std::vector<std::unique_ptr<AudioDriver>> list)
{
    setDrivers(std::move(list));
}

DeviceManager::~DeviceManager()
{
    terminate();
}

FComponentDescription* DeviceManager::registerClass(FComponentRegistry& registry)
{
    if (FComponentDescription* known = registry.findByCid(kDeviceManagerCid))
        return known;
    return registry.addCompiledInClass(String(kCategory), String(kName), 1, create, nullptr,
                                       kDeviceManagerCid);
}

FUnknown* DeviceManager::create(void*)
{
    return static_cast<IDeviceManager*>(new DeviceManager);
}

tresult DeviceManager::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, FUnknown)
    QEL_QUERY_INTERFACE(iid, obj, IDeviceManager)
    *obj = nullptr;
    return kNoInterface;
}

uint32 DeviceManager::addRef()
{
    return uint32(++refCount);
}

uint32 DeviceManager::release()
{
    const int32 count = --refCount;
    if (count == 0)
        delete this;
    return uint32(count);
}

void DeviceManager::setDrivers(std::vector<std::unique_ptr<AudioDriver>> list)
{
    drivers.clear();
    hiddenDrivers.clear();
    for (auto& driver : list)
    {
        Entry entry;
        entry.identifier = driver->getIdentifier();
        entry.name = widen(driver->getName());
        entry.driver = std::move(driver);
        drivers.push_back(std::move(entry));
    }
    hiddenDrivers.push_back(std::make_unique<NullAudioDriver>(NullAudioDevice::kOffline));
}

void DeviceManager::rescanDrivers()
{
    if (systemList)
        setDrivers(systemDrivers());
}

void DeviceManager::terminate()
{
    stop(true);
    while (!openDevices.empty())
        closeDevice(openDevices.back());
    processor = nullptr;
    handler = nullptr;
}

tresult DeviceManager::start()
{
    if (openDevices.empty())
        return kResultFalse;
    for (DriverDevice* device : openDevices)
    {
        std::string error;
        if (!device->start(error))
        {
            for (DriverDevice* other : openDevices)
                other->stop();
            started = false;
            return kResultFalse;
        }
    }
    started = true;
    return kResultOk;
}

tresult DeviceManager::stop(bool)
{
    for (DriverDevice* device : openDevices)
        device->stop();
    started = false;
    return kResultOk;
}

const char16* DeviceManager::getDriverName(int32 index)
{
    if (index < 0 || index >= int32(drivers.size()))
        return nullptr;
    return reinterpret_cast<const char16*>(drivers[size_t(index)].name.c_str());
}

const char8* DeviceManager::getDriverIdentifier(int32 index)
{
    if (index < 0 || index >= int32(drivers.size()))
        return nullptr;
    return drivers[size_t(index)].identifier.c_str();
}

AudioDriver* DeviceManager::findDriver(const std::string& identifier) const
{
    for (const Entry& entry : drivers)
        if (entry.identifier == identifier)
            return entry.driver.get();
    for (const auto& driver : hiddenDrivers)
        if (driver->getIdentifier() == identifier)
            return driver.get();
    return nullptr;
}

IDevice* DeviceManager::openDevice(const char8* identifier, char8* errorText, int32 errorSize)
{
    const std::string wanted = identifier ? identifier : "";
    AudioDriver* driver = findDriver(wanted);
    if (!driver && openDevices.empty())
    {
        // A card that was away is back in the system's list only after a new look at it.
        rescanDrivers();
        driver = findDriver(wanted);
    }
    if (!driver)
    {
        writeError(errorText, errorSize, "No audio driver named \"" + wanted + "\".");
        return nullptr;
    }
    std::string error;
    DriverDevice* device = driver->open(error);
    if (!device)
    {
        writeError(errorText, errorSize,
                   error.empty() ? "The driver \"" + wanted + "\" could not be opened." : error);
        return nullptr;
    }
    device->setProcessor(processor);
    device->setMessageHandler(handler);
    device->setProcessLevel(processLevel);
    openDevices.push_back(device);
    renumber();
    device->addRef();
    return device;
}

DriverDevice* DeviceManager::findOpen(IDevice* device) const
{
    for (DriverDevice* open : openDevices)
        if (static_cast<IDevice*>(open) == device)
            return open;
    return nullptr;
}

tresult DeviceManager::closeDevice(IDevice* device)
{
    DriverDevice* open = findOpen(device);
    if (!open)
        return kInvalidArgument;
    open->stop();
    open->setProcessor(nullptr);
    open->setMessageHandler(nullptr);
    open->close();
    openDevices.erase(std::find(openDevices.begin(), openDevices.end(), open));
    renumber();
    if (openDevices.empty())
        started = false;
    open->release();
    return kResultOk;
}

IDevice* DeviceManager::getOpenDevice(int32 index)
{
    if (index < 0 || index >= int32(openDevices.size()))
        return nullptr;
    return openDevices[size_t(index)];
}

void DeviceManager::renumber()
{
    for (size_t i = 0; i < openDevices.size(); ++i)
        openDevices[i]->setDeviceIndex(int32(i));
}

void DeviceManager::updateChannels()
{
    for (DriverDevice* device : openDevices)
        device->updateChannels();
}

void DeviceManager::setProcessor(IProcessor* newProcessor)
{
    processor = newProcessor;
    for (DriverDevice* device : openDevices)
        device->setProcessor(newProcessor);
}

void DeviceManager::setProcessLevel(int32 level)
{
    processLevel = level;
    for (DriverDevice* device : openDevices)
        device->setProcessLevel(level);
}

void DeviceManager::setHandler(IMessageHandler* newHandler)
{
    handler = newHandler;
    for (DriverDevice* device : openDevices)
        device->setMessageHandler(newHandler);
}

int32 DeviceManager::getBlockSize()
{
    return openDevices.empty() ? 0 : openDevices.front()->getBlockSize();
}

bool DeviceManager::canSampleRate(double rate)
{
    if (openDevices.empty())
        return false;
    for (DriverDevice* device : openDevices)
        if (!device->canSampleRate(rate))
            return false;
    return true;
}

double DeviceManager::getSampleRate()
{
    return openDevices.empty() ? 0.0 : openDevices.front()->getSampleRate();
}

tresult DeviceManager::setSampleRate(double rate)
{
    if (!canSampleRate(rate))
        return kResultFalse;
    for (DriverDevice* device : openDevices)
        if (!device->setSampleRate(rate))
            return kResultFalse;
    return kResultOk;
}

std::vector<std::unique_ptr<AudioDriver>> DeviceManager::systemDrivers()
{
    std::vector<std::unique_ptr<AudioDriver>> list;
    list.push_back(std::make_unique<NullAudioDriver>());
    list.push_back(std::make_unique<JackAudioDriver>());
    for (auto& card : AlsaAudioDriver::listCards())
        list.push_back(std::move(card));
    return list;
}

} // namespace Quillmark::Baios

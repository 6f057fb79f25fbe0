// The host's own audio device library: the class "Device Manager" of category "Baios". It lists
// the drivers of this machine (the Null driver always, JACK when its library can reach a
// server, one ALSA driver per sound card), opens them as devices, starts and stops them
// together, and hands their messages to one handler. Created through the class registry; owns
// its drivers and one reference to each open device.
#pragma once

#include "devices/audio/audiodriver.h"
#include "hosting/fcomponentregistry.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Quillmark::Baios
{

class DeviceManager : public IDeviceManager
{
public:
    static constexpr const char8* kCategory = "Baios";
    static constexpr const char8* kName = "Device Manager";

    /** The driver list of this machine: the Null driver first, then JACK, then ALSA cards. */
    DeviceManager();
    /** A manager with exactly these drivers. */
    explicit DeviceManager(std::vector<std::unique_ptr<AudioDriver>> drivers);
    DeviceManager(const DeviceManager&) = delete;
    DeviceManager& operator=(const DeviceManager&) = delete;

    /** Enters the class into `registry`, with an identifier of the host's own. */
    static FComponentDescription* registerClass(FComponentRegistry& registry);
    static FUnknown* create(void* userData);

    // FUnknown
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override;
    uint32 release() override;

    // IDeviceManager
    tresult initialize(FUnknown* context) override { return kResultOk; }
    void terminate() override;
    tresult start() override;
    tresult stop(bool wait) override;
    bool isStarted() override { return started; }
    void setMonitoringActive(bool state) override { monitoring = state; }
    int32 getDriverCount() override { return int32(drivers.size()); }
    const char16* getDriverName(int32 index) override;
    const char8* getDriverIdentifier(int32 index) override;
    IDevice* openDevice(const char8* identifier, char8* errorText, int32 errorSize) override;
    tresult closeDevice(IDevice* device) override;
    int32 getOpenDeviceCount() override { return int32(openDevices.size()); }
    IDevice* getOpenDevice(int32 index) override;
    void updateChannels() override;
    void setProcessor(IProcessor* processor) override;
    void setProcessLevel(int32 level) override;
    int32 getProcessLevel() override { return processLevel; }
    void setHandler(IMessageHandler* handler) override;
    int32 getBlockSize() override;
    bool canSampleRate(double rate) override;
    double getSampleRate() override;
    tresult setSampleRate(double rate) override;

    /** The drivers that can be opened by identifier without being listed (the offline Null
        driver). */
    int32 countHiddenDrivers() const { return int32(hiddenDrivers.size()); }
    /** Builds the system's list again, for cards that came or went; open devices stay. A
        manager made with a list of its own keeps it. */
    void rescanDrivers();

private:
    virtual ~DeviceManager();

    struct Entry
    {
        std::unique_ptr<AudioDriver> driver;
        std::string identifier;
        std::u16string name;
    };

    static std::vector<std::unique_ptr<AudioDriver>> systemDrivers();
    void setDrivers(std::vector<std::unique_ptr<AudioDriver>> list);
    AudioDriver* findDriver(const std::string& identifier) const;
    DriverDevice* findOpen(IDevice* device) const;
    void renumber();

    std::atomic<int32> refCount{1};
    std::vector<Entry> drivers;
    std::vector<std::unique_ptr<AudioDriver>> hiddenDrivers;
    std::vector<DriverDevice*> openDevices; // one reference each
    IProcessor* processor = nullptr;
    IMessageHandler* handler = nullptr;
    int32 processLevel = 0;
    bool started = false;
    bool monitoring = false;
    bool systemList = false;
};

} // namespace Quillmark::Baios

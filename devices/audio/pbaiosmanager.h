// The audio system as a device of the studio ("Baios Manager", shown as "QEL Audio System"):
// it creates the device library through the class registry, owns the open device as a
// PBaiosDevice, chooses and switches drivers, brings a device back when it returns, and hands
// the library's messages, which come from driver threads, to the main loop. One per
// application, kept in a global.
#pragma once

#include "base/timer.h"
#include "devices/audio/pbaiosdevice.h"
#include "qelhost/ibaios.h"

#include <functional>
#include <string>
#include <vector>

namespace Quillmark
{

class FComponentRegistry;
class FDefaultPool;
class FMessage;
class BaiosHandler;

/** What the start-up choice of a driver knew and did. */
struct PDeviceSelectAdvisor
{
    String lastName;                     // "DeviceName" as stored
    std::vector<std::string> drivers;    // every driver identifier
    std::vector<std::string> newDrivers; // those not in "KnownDevices"
    std::string opened;                  // the identifier that was opened, or empty
};

class PBaiosManager : public PDevice, public ITimerTarget
{
    QEL_DECLARE_CLASS(PBaiosManager, PDevice)
public:
    static constexpr const char8* kName = "Baios Manager";
    static constexpr const char8* kTitle = "QEL Audio System";
    static constexpr const char8* kSettingsSection = "BAIOS";
    static constexpr const char8* kFailedText = "BAIOS-Failed (is the baios.dll present?)";
    /** Stands in for the generic low-latency driver as the fallback. */
    static constexpr const char8* kFallbackDriver = "Null Audio Driver";
    /** How often a missing device is looked for. */
    static constexpr uint32 kReturnPollMs = 500;

    /** The answer to "a device was removed": an identifier to try, or empty to keep the device
        without a driver until it comes back. Asked again while a try fails; `attempt` counts. */
    using UnplugQuestion = std::function<std::string(
        const String& text, const std::vector<std::string>& drivers, int32 attempt)>;

    /** `registry` (ports) and `preferences` are borrowed and may be null. */
    PBaiosManager(PPortRegistry* registry, FDefaultPool* preferences);
    ~PBaiosManager() override;

    /** The global manager, or null. */
    static PBaiosManager* instance();

    /** Creates "Device Manager" of category "Baios" from the class registry; without it the
        manager stays in its failed state and answers with defaults. Becomes the global. */
    bool initialize(FComponentRegistry* classes);
    /** The same with a library object given directly (a reference is taken). */
    bool initialize(Baios::IDeviceManager* library);
    /** Closes every device and drops the library. */
    void terminate();
    bool isFailed() const { return deviceManager == nullptr; }
    Baios::IDeviceManager* getDeviceManager() const { return deviceManager; }

    // Driver list
    int32 getDriverCount() const;
    std::string getDriverIdentifier(int32 index) const;
    String getDriverName(int32 index) const;
    /** The display name of a driver identifier, or the identifier itself. */
    String lookupDisplayName(const std::string& identifier) const;

    // Devices
    int32 countDevices() const { return int32(devices.size()); }
    PBaiosDevice* getDevice(int32 index) const;
    /** The open device whose driver is `driver`, or null. */
    PBaiosDevice* findDevice(Baios::IDevice* driver) const;
    /** Stops and closes every device and removes it; connections go to aliases. */
    void removeAllDevices();

    /** Starts streaming; remembered, so a switch of driver plays on. */
    bool start();
    bool stop();
    bool isStarted() const { return started; }

    /** Switches to the driver `identifier` (null or "null" for none). The open device when
        it is that driver already; null with `errorText` on failure, which leaves the old
        device playing as before. */
    PBaiosDevice* selectDevice(const char8* identifier, String& errorText);
    /** The start-up choice: the stored driver, else the fallback, else the first two. */
    void openInitialDevice();
    const PDeviceSelectAdvisor& getAdvisor() const { return advisor; }

    /** Finds devices that have no driver and opens them again; what the library's
        "registeredDeviceArrived" and the return timer do. Answers how many came back. */
    int32 reopenMissingDevices();

    void setHandler(BaiosHandler* newHandler) { handler = newHandler; }
    BaiosHandler* getHandler() const { return handler; }
    void setProcessor(Baios::IProcessor* processor);
    void setProcessLevel(int32 level);
    int32 getProcessLevel() const;
    void setUnplugQuestion(UnplugQuestion question) { unplugQuestion = std::move(question); }

    // Format, with the defaults of the failed state
    double getSampleRate() const;
    int32 getBlockSize() const;
    double getRateFactor() const;
    bool canSampleRate(double rate) const;
    bool setSampleRate(double rate);
    void updateChannels();

    /** Receivers of "NewDevice", "LockProcess" and "UnLockProcess", which are always
        delivered through the main loop. Borrowed; remove before they go. */
    void addListener(CmObject* listener);
    void removeListener(CmObject* listener);
    /** Posts a message of that name to every listener; `device` becomes the attribute
        "device" when given. Any thread. */
    void broadcast(const char8* name, const ConstString& device = ConstString());

    /** "DeviceName", "ProcessLevel", "KnownDevices" and each device's own section. */
    void saveSettings(FDefaultPool& pool) const;

    /** The library's messages, delivered on the main thread. */
    void notify(FMessage* message) override;
    void onTimer(Timer* timer) override;

    /** Messages handled so far, by the main thread; for the curious and for tests. */
    int32 getMessagesHandled() const { return messagesHandled; }

private:
    class MessageForwarder;

    PBaiosDevice* openAsDevice(const std::string& identifier, String& errorText);
    void addDevice(PBaiosDevice* device);
    void removeDevice(PBaiosDevice* device);
    bool closeDriver(PBaiosDevice* device);
    void finishChange();
    void sendToHandler(const char8* name);
    void deviceRemoved(PBaiosDevice* device);
    void updateReturnTimer();
    std::vector<std::string> knownDevices() const;

    MessageForwarder* managerHandler = nullptr;
    Baios::IDeviceManager* deviceManager = nullptr; // one reference
    FUnknown* factory = nullptr;                    // not owned: the registry entry it came from
    BaiosHandler* handler = nullptr;                // not owned
    bool started = false;
    bool inControlPanel = false;
    PPortRegistry* portRegistry;
    FDefaultPool* preferences;
    std::vector<PBaiosDevice*> devices; // the device tree (children) holds the references
    std::vector<CmObject*> listeners;
    PDeviceSelectAdvisor advisor;
    UnplugQuestion unplugQuestion;
    Timer* returnTimer = nullptr;
    int32 messagesHandled = 0;
};

} // namespace Quillmark

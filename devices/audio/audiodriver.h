// The common part of every driver behind the device manager: a driver lists itself and opens
// a device; a device owns its ports, calls the processor on its own thread for every block, and
// tells the manager's message handler what happened. The manager owns the drivers and holds one
// reference to each open device.
#pragma once

#include "qelhost/ibaios.h"

#include <atomic>
#include <memory>
#include <semaphore.h>
#include <string>
#include <thread>
#include <vector>

namespace Quillmark::Baios
{

/** A channel with sample memory of its own, allocated once for the largest block, so that its
    address never changes while the device is open. */
class DriverPort : public IDevicePort
{
public:
    DriverPort(std::string name, std::string uniqueName, int32 role, int32 capacity);
    virtual ~DriverPort() = default;

    // FUnknown
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override;
    uint32 release() override;

    // IDevicePort
    void setActive(bool state) override { active.store(state, std::memory_order_relaxed); }
    bool isActive() const override { return active.load(std::memory_order_relaxed); }
    const char8* getName() const override { return name.c_str(); }
    const char8* getUniqueName() const override { return uniqueName.c_str(); }
    int32 getRole() const override { return role; }
    float* getBuffer() override { return buffer.get(); }

    int32 getCapacity() const { return capacity; }

private:
    std::atomic<int32> refCount{1};
    std::string name;
    std::string uniqueName;
    int32 role;
    int32 capacity;
    std::unique_ptr<float[]> buffer;
    std::atomic<bool> active{false};
};

class DriverDevice : public IDevice
{
public:
    explicit DriverDevice(std::string identifier);
    DriverDevice(const DriverDevice&) = delete;
    DriverDevice& operator=(const DriverDevice&) = delete;

    // FUnknown
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override;
    uint32 release() override;

    // IDevice
    int32 getPortCount(int32 direction) override;
    IDevicePort* getPort(int32 direction, int32 index) override;
    void getLatencies(int32& input, int32& output) override;
    int32 getClockSourceCount() override { return 1; }
    const char8* getClockSource(int32 index) override { return index == 0 ? "Internal" : nullptr; }
    tresult setClockSource(int32 index) override { return index == 0 ? kResultOk : kResultFalse; }
    bool getDirectMonitor() override { return false; }
    tresult setDirectMonitor(bool state) override { return state ? kResultFalse : kResultOk; }
    tresult openControlPanel() override { return kResultFalse; }
    bool isExternallyClocked() override { return false; }
    double getRateFactor() override { return 1.0; }
    bool setRateFactor(double factor) override { return factor == 1.0; }
    const char8* getIdentifier() const override { return identifier.c_str(); }

    /** Begins calling the processor; false with a reason when the device cannot run. */
    virtual bool start(std::string& error) = 0;
    /** Once this returns no block runs until the next start. */
    virtual void stop() = 0;
    virtual bool isRunning() const = 0;
    virtual int32 getBlockSize() const = 0;
    virtual double getSampleRate() const = 0;
    virtual bool canSampleRate(double rate) const = 0;
    /** A device that cannot make the change refuses it before anything else changes. */
    virtual bool setSampleRate(double rate) = 0;
    /** Closes what the device holds of the system; the device is stopped already. */
    virtual void close() {}
    /** A boosted driver thread asks for the higher real-time priority. */
    virtual void setProcessLevel(int32 level) { processLevel.store(level); }
    /** The manager's view of which ports are used changed. */
    virtual void updateChannels() {}

    void setProcessor(IProcessor* newProcessor) { processor.store(newProcessor); }
    void setMessageHandler(IMessageHandler* handler) { messageHandler.store(handler); }
    void setDeviceIndex(int32 index) { deviceIndex = index; }
    int32 getDeviceIndex() const { return deviceIndex; }
    /** Blocks handed to the processor since the device was opened. */
    int64 getBlocksRendered() const { return blocksRendered.load(std::memory_order_relaxed); }
    /** Passes a message to the manager's handler, if there is one; never on the render path. */
    void sendMessage(const char8* message);

    /** What a driver thread may report without allocating or blocking; the notifier thread
        turns each into a message. */
    enum Pending : uint32
    {
        kOverload = 1u << 0,       // "overloadDetected"
        kLatencyChanged = 1u << 1, // "latencyChanged"
        kRateChanged = 1u << 2,    // "sampleRateChanged"
        kSizeChanged = 1u << 3,    // "blockSizeChanged"
        kRemoved = 1u << 4,        // "deviceWasRemoved"
    };
    /** Any thread, the rendering one included: never allocates, never blocks. */
    void raise(uint32 pending);
    /** Overloads reported since the device was opened. */
    int64 getOverloadCount() const { return overloads.load(std::memory_order_relaxed); }

protected:
    virtual ~DriverDevice();

    /** The thread that delivers raised reports; runs from open to close. */
    void startNotifier();
    void stopNotifier();

    /** Zeroes `numSamples` of every playback port, then calls the processor once. On the driver's
        thread: nothing here allocates or blocks. */
    void renderBlock(int32 numSamples, double sampleRate);
    /** Moves the calling thread into the real-time class if the system allows it; a refusal
        leaves the thread as it was and changes nothing else. */
    void enterRealtime();
    DriverPort* addPort(int32 direction, std::string name, std::string uniqueName, int32 role,
                        int32 capacity);
    void removeAllPorts();

    std::vector<DriverPort*> inputs;  // capture channels, one reference each
    std::vector<DriverPort*> outputs; // playback channels, one reference each
    int32 inputLatency = 0;
    int32 outputLatency = 0;
    std::atomic<int32> processLevel{0};

private:
    std::atomic<int32> refCount{1};
    std::string identifier;
    std::atomic<IProcessor*> processor{nullptr};
    std::atomic<IMessageHandler*> messageHandler{nullptr};
    int32 deviceIndex = -1;
    int64 samplePosition = 0;
    std::atomic<int64> blocksRendered{0};
    std::atomic<int64> overloads{0};
    std::atomic<uint32> pendingReports{0};
    std::atomic<bool> notifierQuit{false};
    sem_t notifierWake;
    std::thread notifier;
};

/** One entry of the driver list. */
class AudioDriver
{
public:
    virtual ~AudioDriver() = default;
    /** Stored in the settings. */
    virtual std::string getIdentifier() const = 0;
    /** Shown to the user. */
    virtual std::string getName() const { return getIdentifier(); }
    /** A new device with one reference for the caller, or null with a reason. */
    virtual DriverDevice* open(std::string& error) = 0;
};

} // namespace Quillmark::Baios

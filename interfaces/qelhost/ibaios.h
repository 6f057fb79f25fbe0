// The audio device library: a device manager that lists drivers, opens them as devices, and
// calls one processor for every block. These interfaces belong to this host, not to the plug-in
// standard; their identifiers and the order of their operations are the host's own, fixed here,
// and the host ships the only implementation ("Device Manager" of category "Baios").
#pragma once

#include "qel3/funknown.h"

namespace Quillmark::Baios
{

/** Port directions of a device: capture channels and playback channels. */
enum Direction : int32
{
    kInput = 0,
    kOutput = 1,
};

/** What the device passes with every block. */
struct ProcessRecord
{
    int32 numSamples = 0;     // samples of this block in every port buffer
    double sampleRate = 0.0;  // the device's rate
    int64 samplePosition = 0; // samples rendered since the device was started
    int64 systemTime = 0;     // nanoseconds of the monotonic clock when the block began
};

/** Called on the driver's thread, once per block. Never allocates, never blocks. */
class IProcessor : public FUnknown
{
public:
    virtual void process(const ProcessRecord& record) = 0;

    QEL_INTERFACE_IID(0x3D1F6A52, 0x8E2B4C07, 0xA54910BE, 0x77C2D6F3);
};

/** One channel of a device. Its buffer is valid on the driver's thread during a block; its
    address stays the same while the device is open. */
class IDevicePort : public FUnknown
{
public:
    /** A port that nothing uses may be skipped by the driver. */
    virtual void setActive(bool state) = 0;
    virtual bool isActive() const = 0;
    /** The name shown to the user, such as "Out 1". */
    virtual const char8* getName() const = 0;
    /** A name that stays the same between runs, such as "system:playback_1". */
    virtual const char8* getUniqueName() const = 0;
    /** The speaker role of the channel, 0x7fffffff for none. */
    virtual int32 getRole() const = 0;
    /** The samples of the current block, or null while the device has none. */
    virtual float* getBuffer() = 0;

    QEL_INTERFACE_IID(0x6B0E93C4, 0x21D84F55, 0x9C3A7E10, 0x4F8B2A69);
};

/** An open driver. */
class IDevice : public FUnknown
{
public:
    virtual int32 getPortCount(int32 direction) = 0;
    /** Borrowed; lives as long as the device. */
    virtual IDevicePort* getPort(int32 direction, int32 index) = 0;
    /** In samples. */
    virtual void getLatencies(int32& input, int32& output) = 0;
    virtual int32 getClockSourceCount() = 0;
    virtual const char8* getClockSource(int32 index) = 0;
    virtual tresult setClockSource(int32 index) = 0;
    virtual bool getDirectMonitor() = 0;
    virtual tresult setDirectMonitor(bool state) = 0;
    /** kResultFalse when the driver has no panel of its own. */
    virtual tresult openControlPanel() = 0;
    virtual bool isExternallyClocked() = 0;
    virtual double getRateFactor() = 0;
    virtual bool setRateFactor(double factor) = 0;
    /** The driver identifier the device was opened with. */
    virtual const char8* getIdentifier() const = 0;

    QEL_INTERFACE_IID(0x0A9C4E27, 0xB36F4D81, 0x85E1F02C, 0x9D47B3E8);
};

/** Receives the library's messages ("deviceWasRemoved", "registeredDeviceArrived",
    "baiosStopped", "deviceWasReset", "overloadDetected", "sampleRateChanged",
    "blockSizeChanged", "latencyChanged"). Called on any thread but the one that renders;
    the receiver hands them to its own main thread. */
class IMessageHandler : public FUnknown
{
public:
    /** `device` is borrowed for the call and may be null; `deviceIndex` is -1 when it does not
        apply. */
    virtual void baiosMessage(const char8* message, IDevice* device, int32 deviceIndex) = 0;

    QEL_INTERFACE_IID(0xE4725B19, 0x5CA04E3B, 0xB0D8196F, 0x2E63A7C5);
};

/** The library's entry object. */
class IDeviceManager : public FUnknown
{
public:
    virtual tresult initialize(FUnknown* context) = 0;
    virtual void terminate() = 0;
    /** Starts every open device; 0 for success. */
    virtual tresult start() = 0;
    /** Stops every open device; once it returns no block runs. 0 for success. */
    virtual tresult stop(bool wait) = 0;
    virtual bool isStarted() = 0;
    virtual void setMonitoringActive(bool state) = 0;
    virtual int32 getDriverCount() = 0;
    /** Shown to the user; null past the end. */
    virtual const char16* getDriverName(int32 index) = 0;
    /** Stored in the settings; null past the end. */
    virtual const char8* getDriverIdentifier(int32 index) = 0;
    /** A new reference, or null with a reason in `errorText` (`errorSize` bytes, terminated). */
    virtual IDevice* openDevice(const char8* identifier, char8* errorText, int32 errorSize) = 0;
    /** Stops and closes a device opened here; the caller still releases its reference. */
    virtual tresult closeDevice(IDevice* device) = 0;
    virtual int32 getOpenDeviceCount() = 0;
    /** Borrowed; null past the end. */
    virtual IDevice* getOpenDevice(int32 index) = 0;
    /** The ports' activity changed; a driver may drop or add channels. */
    virtual void updateChannels() = 0;
    /** Borrowed; the caller clears it before the processor goes. */
    virtual void setProcessor(IProcessor* processor) = 0;
    /** 0 for normal, above 0 for a boosted priority of the driver's thread. */
    virtual void setProcessLevel(int32 level) = 0;
    virtual int32 getProcessLevel() = 0;
    /** Borrowed; the caller clears it before the handler goes. */
    virtual void setHandler(IMessageHandler* handler) = 0;
    virtual int32 getBlockSize() = 0;
    virtual bool canSampleRate(double rate) = 0;
    virtual double getSampleRate() = 0;
    virtual tresult setSampleRate(double rate) = 0;

    QEL_INTERFACE_IID(0x91C5D80B, 0x4F2A4B69, 0xA7E3C614, 0x58D0E29A);
};

} // namespace Quillmark::Baios

// The values behind the audio system's page of the preferences: the driver, the sample rate,
// the latencies, the priority of the driver's thread and two stored flags. A view binds to them
// by name; every change comes to one handler that switches on the tag. Questions and messages
// go through callbacks the user interface (or a command-line mode) provides. Owned by whoever
// shows the page; the manager is borrowed and outlives the controller.
#pragma once

#include "base/values/umenuvalue.h"
#include "base/values/uvaluecontainer.h"

#include <functional>
#include <string>
#include <vector>

namespace Quillmark
{

class FDefaultPool;
class FMessage;
class PBaiosManager;

/** The drivers of the device library as a menu; the item's tag is the driver's index. */
class PBaiosDeviceValue : public UMenuValue
{
    QEL_DECLARE_CLASS(PBaiosDeviceValue, UMenuValue)
public:
    PBaiosDeviceValue(const ConstString& name, int32 tag) : UMenuValue(name, tag) {}
    /** Lists the drivers again and chooses the open one, without telling anyone. */
    void sync(PBaiosManager& manager);
};

class AudioSystemController : public UValueContainer
{
    QEL_DECLARE_CLASS(AudioSystemController, UValueContainer)
public:
    enum Tags : int32
    {
        kTarnDriver = 100,
        kReleaseHardware = 101,
        kInputLatency = 102,
        kOutputLatency = 103,
        kExternallyClocked = 104,
        kSampleRate = 105,
        kAudioPriority = 106,
        kDisableCpuEnergySaving = 107,
    };

    static constexpr const char8* kApplicationSection = "Application";
    static constexpr const char8* kSwitchQuestion = "Do you want to switch the TARN driver?";
    static constexpr const char8* kSwitchError = "Audio Engine Error: Could not activate TARN "
                                                 "Driver %s.";
    static constexpr const char8* kEnergyNotice =
        "By disabling the CPU Energy Saving scheme, the Quillmark Audio Power Scheme becomes "
        "active.";

    /** Answers a question with the index of the chosen button. */
    using Question =
        std::function<int32(const std::string& text, const std::vector<std::string>& buttons)>;
    /** Shows a message that needs no answer. */
    using Notice = std::function<void(const std::string& text)>;

    /** `preferences` may be null. */
    AudioSystemController(PBaiosManager* manager, FDefaultPool* preferences);
    ~AudioSystemController() override;

    /** Without a question callback every question gets its first button. */
    void setQuestion(Question callback) { question = std::move(callback); }
    void setNotice(Notice callback) { notice = std::move(callback); }
    /** Presses the transport's "Stop" before a switch of driver or rate. */
    void setStopTransport(std::function<void()> callback) { stopTransport = std::move(callback); }

    /** Brings every value up to date with the manager, without reporting changes. */
    void refresh();
    /** "Idle" refreshes the latency texts. */
    void notify(FMessage* message) override;
    void onValueChanged(UValue* value) override;

    /** The rates of the menu that the device accepts, in Hz. */
    std::vector<double> offeredRates() const;

private:
    void switchDriver();
    void changeSampleRate();
    void updateLatencies();
    void updateRates();
    bool flagStored(const char8* key) const;
    void storeFlag(const char8* key, bool state);

    PBaiosManager* manager;
    FDefaultPool* preferences;
    Question question;
    Notice notice;
    std::function<void()> stopTransport;
    bool energyNoticeShown = false;
    bool refreshing = false;
};

} // namespace Quillmark

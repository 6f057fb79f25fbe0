#include "devices/audio/audiosystemcontroller.h"

#include "base/values/uintvalues.h"
#include "base/values/ustringvalue.h"
#include "devices/audio/audiodevicestestsupport.h"

namespace Quillmark
{
namespace
{

class Controller : public ::testing::Test
{
protected:
    void SetUp() override
    {
        preferences = new FDefaultPool(temp.file("Defaults"));
        std::vector<std::unique_ptr<Baios::AudioDriver>> drivers;
        drivers.push_back(std::make_unique<Baios::NullAudioDriver>());
        drivers.push_back(
            std::make_unique<Baios::NullAudioDriver>(Baios::NullAudioDevice::kOffline));
        drivers.push_back(std::make_unique<Baios::AlsaAudioDriver>("Gone", "plughw:CARD=QelGone"));
        auto* library = new Baios::DeviceManager(std::move(drivers));
        ports = new PPortRegistry;
        manager = new PBaiosManager(ports, preferences);
        ASSERT_TRUE(manager->initialize(library));
        library->release();
        String error;
        ASSERT_NE(manager->selectDevice(Baios::NullAudioDevice::kIdentifier, error), nullptr);
        manager->addListener(listener);
        controller = new AudioSystemController(manager, preferences);
        controller->setQuestion(
            [this](const std::string& text, const std::vector<std::string>& buttons)
            {
                questions.push_back(text);
                return answer;
            });
        controller->setNotice([this](const std::string& text) { notices.push_back(text); });
        controller->setStopTransport([this] { ++transportStops; });
    }
    void TearDown() override
    {
        controller->release();
        manager->removeListener(listener);
        listener->release();
        manager->terminate();
        FMainLoop::instance()->cancel(manager);
        manager->release();
        ports->release();
        preferences->release();
    }

    template <class T> T* value(const char8* name) { return controller->find<T>(name); }

    testing::TempFolder temp;
    FDefaultPool* preferences = nullptr;
    PPortRegistry* ports = nullptr;
    PBaiosManager* manager = nullptr;
    AudioSystemController* controller = nullptr;
    testing::HeardMessages* listener = new testing::HeardMessages;
    std::vector<std::string> questions;
    std::vector<std::string> notices;
    int32 answer = 0;
    int32 transportStops = 0;
};

TEST_F(Controller, ValuesByNameAndTagShowTheOpenDevice)
{
    const std::pair<const char8*, int32> table[] = {
        {"tarnDriver", 100},    {"releaseHardware", 101},       {"inputLatency", 102},
        {"outputLatency", 103}, {"externallyClocked", 104},     {"sampleRate", 105},
        {"audioPriority", 106}, {"disableCpuEnergySaving", 107}};
    for (const auto& [name, tag] : table)
    {
        UValue* found = controller->findValue(name);
        ASSERT_NE(found, nullptr) << name;
        EXPECT_EQ(found->getTag(), tag) << name;
        EXPECT_EQ(controller->findValueByTag(tag), found);
    }
    auto* drivers = value<PBaiosDeviceValue>("tarnDriver");
    ASSERT_EQ(drivers->countItems(), 3);
    String text;
    drivers->getText(text);
    EXPECT_EQ(text, ConstString("Null Audio Driver"));
    auto* rates = value<UMenuValue>("sampleRate");
    EXPECT_EQ(rates->countItems(), 13) << "the Null driver takes every rate of the menu";
    rates->getText(text);
    EXPECT_EQ(text, ConstString("48.000 kHz"));
    EXPECT_EQ(rates->getItem(1)->getTitle(), ConstString("22.050 kHz"));
    value<UStringValue>("outputLatency")->getText(text);
    EXPECT_EQ(text, ConstString("0.000 ms"));
    EXPECT_FALSE(value<UIntValue>("externallyClocked")->isEnabled()) << "shown only";
    String priority;
    value<UMenuValue>("audioPriority")->getText(priority);
    EXPECT_EQ(priority, ConstString("Normal"));
}

TEST_F(Controller, SwitchingTheDriverAsksStopsTheTransportAndAnnounces)
{
    auto* drivers = value<PBaiosDeviceValue>("tarnDriver");
    answer = 1; // "Keep"
    drivers->setIndex(1);
    EXPECT_EQ(questions, (std::vector<std::string>{"Do you want to switch the TARN driver?"}));
    EXPECT_STREQ(manager->getDevice(0)->getDriver()->getIdentifier(),
                 Baios::NullAudioDevice::kIdentifier);
    EXPECT_EQ(drivers->getIndex(), 0) << "the menu shows the driver that stayed";
    EXPECT_EQ(transportStops, 0);

    answer = 0; // "Switch"
    drivers->setIndex(1);
    EXPECT_EQ(transportStops, 1);
    EXPECT_STREQ(manager->getDevice(0)->getDriver()->getIdentifier(),
                 Baios::NullAudioDevice::kOfflineIdentifier);
    EXPECT_EQ(drivers->getIndex(), 1);
    FMainLoop::instance()->dispatchDue();
    EXPECT_EQ(listener->heard, (std::vector<std::string>{"NewDevice"}));
    EXPECT_EQ(listener->devices, (std::vector<std::string>{"Null Audio Driver (Offline)"}));

    drivers->setIndex(2); // a card that is not there
    ASSERT_EQ(notices.size(), 1u);
    EXPECT_NE(notices[0].find("QelGone"), std::string::npos) << notices[0];
    EXPECT_EQ(drivers->getIndex(), 1) << "the old driver plays on";
    FMainLoop::instance()->dispatchDue();
    EXPECT_EQ(listener->heard.size(), 1u) << "no announcement for a failed switch";
}

TEST_F(Controller, SampleRateLocksTheEngineAndTheDeviceTakesTheRate)
{
    auto* rates = value<UMenuValue>("sampleRate");
    const int32 index = rates->indexOfTag(44100);
    ASSERT_GE(index, 0);
    rates->setIndex(index);
    EXPECT_EQ(transportStops, 1);
    EXPECT_EQ(manager->getSampleRate(), 44100.0);
    FMainLoop::instance()->dispatchDue();
    ASSERT_FALSE(listener->heard.empty());
    EXPECT_EQ(listener->heard.front(), "LockProcess");
    EXPECT_GE(manager->getMessagesHandled(), 1) << "the driver's reset message came";
}

TEST_F(Controller, PriorityAndFlagsGoWhereTheyBelong)
{
    value<UMenuValue>("audioPriority")->setIndex(1);
    EXPECT_EQ(manager->getProcessLevel(), 1);
    value<UIntValue>("releaseHardware")->setValue(1);
    FDefaults* application = preferences->lookup("Application", 1, false);
    ASSERT_NE(application, nullptr);
    EXPECT_EQ(application->getInt("ReleaseHardware", 0), 1);

    auto* energy = value<UIntValue>("disableCpuEnergySaving");
    energy->setValue(1);
    energy->setValue(0);
    energy->setValue(1);
    EXPECT_EQ(questions.size(), 1u) << "the notice comes the first time only";
    EXPECT_EQ(questions.front().rfind("By disabling the CPU Energy Saving scheme", 0), 0u);
    EXPECT_EQ(application->getInt("DisableCPUEnergySaving", 0), 1);

    // A new page reads the stored flags.
    auto* again = new AudioSystemController(manager, preferences);
    EXPECT_EQ(again->find<UIntValue>("releaseHardware")->getValue(), 1);
    EXPECT_EQ(again->find<UIntValue>("disableCpuEnergySaving")->getValue(), 1);
    String priority;
    again->find<UMenuValue>("audioPriority")->getText(priority);
    EXPECT_EQ(priority, ConstString("Boost"));
    again->release();
}

} // namespace
} // namespace Quillmark

#include "devices/audio/devicelisting.h"

#include "devices/audio/alsaaudiodriver.h"
#include "devices/audio/audiodevicestestsupport.h"
#include "devices/audio/jackaudiodriver.h"
#include "devices/testsupport/jacktestsupport.h"

#include <sstream>

namespace Quillmark
{
namespace
{

TEST(DeviceListing, ShowsEachDriverWithItsPortsOrWhyItIsUnavailable)
{
    testing::JackServer server("list");
    ASSERT_TRUE(server.start());
    std::vector<std::unique_ptr<Baios::AudioDriver>> drivers;
    drivers.push_back(std::make_unique<Baios::NullAudioDriver>());
    drivers.push_back(std::make_unique<Baios::JackAudioDriver>(server.name(), "QelList"));
    drivers.push_back(
        std::make_unique<Baios::AlsaAudioDriver>("Gone", "plughw:CARD=QelNoSuchCard,DEV=0"));
    auto* library = new Baios::DeviceManager(std::move(drivers));
    auto* ports = new PPortRegistry;
    auto* manager = new PBaiosManager(ports, nullptr);
    ASSERT_TRUE(manager->initialize(library));
    library->release();

    std::ostringstream out;
    EXPECT_EQ(printAudioDevices(*manager, out), 2);
    EXPECT_EQ(manager->countDevices(), 0) << "nothing stays open";
    EXPECT_EQ(manager->getDeviceManager()->getOpenDeviceCount(), 0);
    const std::string text = out.str();
    EXPECT_NE(text.find("Null Audio Driver\t48000 Hz\t256 samples\n"
                        "\tcapture\tIn 1\tnull:capture_1\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("\tplayback\tOut 2\tnull:playback_2\n"), std::string::npos) << text;
    EXPECT_NE(text.find("JACK\t48000 Hz\t256 samples\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\tplayback\tOut 1\tsystem:playback_1\n"), std::string::npos) << text;
    EXPECT_NE(text.find("ALSA: Gone\tunavailable\tThe sound card"), std::string::npos) << text;

    manager->terminate();
    manager->release();
    ports->release();
}

} // namespace
} // namespace Quillmark

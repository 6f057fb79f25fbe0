#include "conformity/scan/qelkeyswitchtest.h"

#include "conformity/scan/scansupport.h"
#include "qel3/icomponent.h"
#include "qel3/ikeyswitch.h"

namespace Quillmark
{
namespace Qel
{

bool QelKeyswitchTest::run(ITestResult* result)
{
    if (!plug || !result)
        return false;
    addBanner(result);

    if (!controller)
    {
        addMessage(result, "No Edit Controller supplied!");
        return true;
    }
    Queried<IKeyswitchController> keyswitches(controller);
    if (!keyswitches)
    {
        addMessage(result, "No Keyswitch interface supplied!");
        return true;
    }

    const int32 busCount = plug->getBusCount(kEvent, kInput);
    for (int32 bus = 0; bus < busCount; ++bus)
    {
        BusInfo busInfo{};
        plug->getBusInfo(kEvent, kInput, bus, busInfo);
        for (int32 channel = 0; channel < busInfo.channelCount; ++channel)
        {
            const auto channel16 = static_cast<int16>(channel);
            const int32 count = keyswitches->getKeyswitchCount(bus, channel16);
            if (count <= 0)
                continue;
            addMessage(result, String::format("Keyswitch support bus[%d], channel[%d]: %d", bus,
                                              channel, count));
            // Only that each counted key switch can be described is checked, not what it says.
            for (int32 index = 0; index < count; ++index)
            {
                KeyswitchInfo info{};
                if (keyswitches->getKeyswitchInfo(bus, channel16, index, info) != kResultOk)
                {
                    addError(result, String::format("Keyswitch getKeyswitchInfo (%d, %d, %d) "
                                                    "return kResultFalse!",
                                                    bus, channel, index));
                    return false;
                }
            }
        }
    }
    return true;
}

} // namespace Qel
} // namespace Quillmark

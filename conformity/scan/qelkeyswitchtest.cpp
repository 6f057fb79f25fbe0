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

    auto keyswitches = controllerFeature<IKeyswitchController>(controller, result,
                                                               "No Keyswitch interface supplied!");
    if (!keyswitches)
        return true;

    return forEachEventInputChannel(
        *plug,
        [&](int32 bus, int16 channel)
        {
            const int32 count = keyswitches->getKeyswitchCount(bus, channel);
            if (count <= 0)
                return true;
            addMessage(result, String::format("Keyswitch support bus[%d], channel[%d]: %d", bus,
                                              channel, count));
            // Only that each counted key switch can be described is checked, not what it says.
            for (int32 index = 0; index < count; ++index)
            {
                KeyswitchInfo info{};
                if (keyswitches->getKeyswitchInfo(bus, channel, index, info) != kResultOk)
                {
                    addError(result, String::format("Keyswitch getKeyswitchInfo (%d, %d, %d) "
                                                    "return kResultFalse!",
                                                    bus, channel, index));
                    return false;
                }
            }
            return true;
        });
}

} // namespace Qel
} // namespace Quillmark

#include "conformity/state/qelbusactivationtest.h"

#include "base/fstring.h"

#include <cstring>

namespace Quillmark
{
namespace Qel
{

QelBusActivationTest::QelBusActivationTest(IPlugProvider* provider) : QelTestBase(provider) {}

bool QelBusActivationTest::run(ITestResult* result)
{
    if (!plug || !result)
        return false;
    addBanner(result);
    int32 failures = 0;
    for (MediaType type : {kAudio, kEvent})
    {
        const int32 inputs = plug->getBusCount(type, kInput);
        const int32 outputs = plug->getBusCount(type, kOutput);
        if (!toggleBusses(*result, type, kInput, inputs, failures) ||
            !toggleBusses(*result, type, kOutput, outputs, failures))
            return false;
    }
    // One report however many calls were refused.
    if (failures > 0)
    {
        result->addErrorMessage("Bus activation failed.");
        return false;
    }
    return true;
}

bool QelBusActivationTest::toggleBusses(ITestResult& result, MediaType type, BusDirection direction,
                                        int32 count, int32& failures)
{
    for (int32 index = 0; index < count; ++index)
    {
        BusInfo info;
        std::memset(&info, 0, sizeof info);
        if (plug->getBusInfo(type, direction, index, info) != kResultOk)
        {
            result.addErrorMessage("IComponent::getBusInfo (..) failed.");
            return false;
        }
        result.addMessage(String::format("   Bus Activation: %s %s Bus (%d) (%s)",
                                         direction == kInput ? "Input" : "Output",
                                         type == kAudio ? "Audio" : "Event", index,
                                         info.busType == kMain ? "kMain" : "kAux")
                              .toUtf8()
                              .c_str());
        // Away from the default state and back, so every bus ends as it started.
        const bool defaultActive = (info.flags & BusInfo::kDefaultActive) != 0;
        if (plug->activateBus(type, direction, index, !defaultActive) != kResultOk)
            ++failures;
        if (plug->activateBus(type, direction, index, defaultActive) != kResultOk)
            ++failures;
    }
    return true;
}

} // namespace Qel
} // namespace Quillmark

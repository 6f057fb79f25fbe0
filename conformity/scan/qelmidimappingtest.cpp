#include "conformity/scan/qelmidimappingtest.h"

#include "conformity/scan/scansupport.h"
#include "qel3/icomponent.h"

namespace Quillmark
{
namespace Qel
{

bool QelMidiMappingTest::run(ITestResult* result)
{
    if (!plug || !result)
        return false;
    addBanner(result);

    auto mapping =
        controllerFeature<IMidiMapping>(controller, result, "No MIDI Mapping interface supplied!");
    if (!mapping)
        return true;

    const int32 parameterCount = controller->getParameterCount();
    const int32 busCount = plug->getBusCount(kEvent, kInput);
    auto isParameter = [&](ParamID id)
    {
        for (int32 index = 0; index < parameterCount; ++index)
        {
            ParameterInfo info{};
            if (controller->getParameterInfo(index, info) == kResultOk && info.id == id)
                return true;
        }
        return false;
    };

    // The walk goes one bus past the last and one number past the last controller on purpose:
    // a mapping that answers there answers for anything and is reported.
    bool stop = false;
    BusInfo busInfo{};
    for (int32 bus = 0; bus <= busCount && !stop; ++bus)
    {
        const bool pastTheEnd = bus == busCount;
        // Past the end the call fails, and the record of the last bus stays in use.
        plug->getBusInfo(kEvent, kInput, bus, busInfo);
        for (int32 channel = 0; channel < busInfo.channelCount && !stop; ++channel)
        {
            int32 assignments = 0;
            for (int32 number = 0; number <= kCountCtrlNumber; ++number)
            {
                ParamID id = 0;
                if (mapping->getMidiControllerAssignment(bus, static_cast<int16>(channel),
                                                         static_cast<CtrlNumber>(number),
                                                         id) != kResultOk)
                {
                    if (pastTheEnd)
                        stop = true;
                    continue;
                }
                if (pastTheEnd)
                {
                    addMessage(result, "MIDI Mapping supplied for an unknown event bus");
                    stop = true;
                    break;
                }
                if (number == kCountCtrlNumber)
                {
                    addMessage(result, "MIDI Mapping supplied for an wrong ControllerNumbers value "
                                       "(bigger than the max)");
                    break;
                }
                if (!isParameter(id))
                {
                    addError(result,
                             String::format("Unknown ParamID [%d] returned for MIDI Mapping",
                                            static_cast<int32>(id)));
                    return false;
                }
                ++assignments;
            }
            if (assignments == 0 && !pastTheEnd)
                addMessage(result, String::format("MIDI Mapping getMidiControllerAssignment (%d, "
                                                  "%d) : no assignment available!",
                                                  bus, channel));
        }
    }
    return true;
}

} // namespace Qel
} // namespace Quillmark

#include "conformity/scan/qelscanbussestest.h"

#include "conformity/scan/scansupport.h"

namespace Quillmark
{
namespace Qel
{

bool QelScanBussesTest::run(ITestResult* result)
{
    if (!plug || !result)
        return false;
    addBanner(result);

    int32 total = 0;
    for (MediaType mediaType : {kAudio, kEvent})
    {
        const int32 inputs = plug->getBusCount(mediaType, kInput);
        const int32 outputs = plug->getBusCount(mediaType, kOutput);
        total += inputs + outputs;
        // Audio alone may be absent (an event filter); only no bus of any kind is wrong.
        if (mediaType == kEvent && total == 0)
        {
            addError(result, "This component does not export any busses!!!");
            return false;
        }
        addMessage(result,
                   String::format("=> %s Busses: [%d In(s) => %d Out(s)]",
                                  mediaType == kAudio ? "Audio" : "Event", inputs, outputs));

        for (BusDirection direction : {kInput, kOutput})
        {
            const int32 count = direction == kInput ? inputs : outputs;
            for (int32 index = 0; index < count; ++index)
            {
                BusInfo info{};
                if (plug->getBusInfo(mediaType, direction, index, info) != kResultOk)
                    return false;
                if (isEmptyField(info.name))
                {
                    addError(result, String::format("Bus %d has no name!!!", index));
                    return false;
                }
                // The last word stands for every bus: the line does not show the flag.
                addMessage(result, String::format("     %s[%d]: \"%s\" (%s-%s) ",
                                                  direction == kInput ? "In " : "Out", index,
                                                  fieldText(info.name).c_str(),
                                                  info.busType == kMain ? "Main" : "Aux",
                                                  "Default Active"));
            }
        }
    }
    return true;
}

} // namespace Qel
} // namespace Quillmark

#include "conformity/state/qelcheckaudiobusarrangementtest.h"

#include "base/fstring.h"

#include <bit>
#include <cstring>

namespace Quillmark
{
namespace Qel
{

QelCheckAudioBusArrangementTest::QelCheckAudioBusArrangementTest(IPlugProvider* provider)
    : QelTestBase(provider)
{
}

bool QelCheckAudioBusArrangementTest::run(ITestResult* result)
{
    if (!plug || !result)
        return false;
    addBanner(result);
    const int32 inputs = plug->getBusCount(kAudio, kInput);
    const int32 outputs = plug->getBusCount(kAudio, kOutput);
    void* answer = nullptr;
    if (plug->queryInterface(IAudioProcessor::iid.bytes, &answer) != kResultOk || !answer)
        return true;
    auto* processor = static_cast<IAudioProcessor*>(answer);
    int32 failures = 0;
    const bool readable = checkBusses(*result, *processor, kInput, inputs, failures) &&
                          checkBusses(*result, *processor, kOutput, outputs, failures);
    processor->release();
    return readable && failures == 0;
}

bool QelCheckAudioBusArrangementTest::checkBusses(ITestResult& result, IAudioProcessor& processor,
                                                  BusDirection direction, int32 count,
                                                  int32& failures)
{
    for (int32 index = 0; index < count; ++index)
    {
        result.addMessage(String::format("   Check %s Audio Bus Arrangement (%d)",
                                         direction == kInput ? "Input" : "Output", index)
                              .toUtf8()
                              .c_str());
        BusInfo info;
        std::memset(&info, 0, sizeof info);
        if (plug->getBusInfo(kAudio, direction, index, info) != kResultOk)
        {
            result.addErrorMessage("IComponent::getBusInfo (..) failed!");
            return false;
        }
        SpeakerArrangement arrangement = 0;
        if (processor.getBusArrangement(direction, index, arrangement) != kResultOk)
        {
            result.addErrorMessage("IAudioProcessor::getBusArrangement (..) failed!");
            return false;
        }
        // One channel per speaker; a mismatch is reported and the next bus still checked.
        if (std::popcount(arrangement) != info.channelCount)
        {
            result.addErrorMessage("channelCount is inconsistent!");
            ++failures;
        }
    }
    return true;
}

} // namespace Qel
} // namespace Quillmark

#include "conformity/process/qelspeakerarrangementtest.h"

#include "audiofile/speakerarrangementstring.h"

#include <bit>
#include <cstring>
#include <vector>

namespace Quillmark
{
namespace Qel
{

namespace
{

int32 channelsOf(SpeakerArrangement arrangement)
{
    return std::popcount(arrangement);
}

/** The short name of a mask, or null when it has none. */
const char8* knownName(SpeakerArrangement arrangement)
{
    const char8* text = getSpeakerArrangementString(arrangement);
    return text && std::strcmp(text, "Unknown") != 0 ? text : nullptr;
}

std::string buildName(SpeakerArrangement input, SpeakerArrangement output)
{
    const char8* inName = knownName(input);
    const char8* outName = knownName(output);
    if (!inName || !outName)
        return "error";
    return String::format("In: %s: %d Channels, Out: %s: %d Channels", inName, channelsOf(input),
                          outName, channelsOf(output))
        .toUtf8();
}

} // namespace

QelSpeakerArrangementTest::QelSpeakerArrangementTest(IPlugProvider* provider,
                                                     int32 symbolicSampleSize,
                                                     SpeakerArrangement input,
                                                     SpeakerArrangement output)
    : QelProcessTest(provider, symbolicSampleSize), inputArrangement(input),
      outputArrangement(output), name(buildName(input, output))
{
}

bool QelSpeakerArrangementTest::prepareProcessing()
{
    if (!plug || !audioEffect)
        return false;
    int32 inputCount = plug->getBusCount(kAudio, kInput);
    int32 outputCount = plug->getBusCount(kAudio, kOutput);
    std::vector<SpeakerArrangement> inputs(size_t(inputCount > 0 ? inputCount : 0),
                                           inputArrangement);
    std::vector<SpeakerArrangement> outputs(size_t(outputCount > 0 ? outputCount : 0),
                                            outputArrangement);
    bool arranged =
        audioEffect->setBusArrangements(inputs.data(), int32(inputs.size()), outputs.data(),
                                        int32(outputs.size())) == kResultOk;
    bool prepared = QelProcessTest::prepareProcessing();
    return arranged && prepared;
}

bool QelSpeakerArrangementTest::checkBusses(ITestResult* result, BusDirection direction)
{
    const bool input = direction == kInput;
    const int32 count = input ? data().numInputs : data().numOutputs;
    const SpeakerArrangement wanted = input ? inputArrangement : outputArrangement;
    for (int32 index = 0; index < count; ++index)
    {
        SpeakerArrangement taken = 0;
        if (audioEffect->getBusArrangement(direction, index, taken) != kResultOk)
        {
            result->addErrorMessage("IAudioProcessor::getBusArrangement (..) failed.");
            return false;
        }
        // A plug-in may offer another arrangement instead: worth saying, not a failure.
        if (taken != wanted)
            result->addMessage(
                String::format(
                    "    %s %sSpeakerArrangement is not supported. Plug-in suggests: %s.",
                    getSpeakerArrangementString(wanted), input ? "Input-" : "Output-",
                    getSpeakerArrangementString(taken))
                    .toUtf8()
                    .c_str());
        BusInfo info;
        std::memset(&info, 0, sizeof(info));
        if (plug->getBusInfo(kAudio, direction, index, info) != kResultOk)
        {
            result->addErrorMessage("IComponent::getBusInfo (..) failed.");
            return false;
        }
        if (taken == wanted && channelsOf(taken) != info.channelCount)
        {
            result->addErrorMessage(
                "SpeakerArrangement mismatch (BusInfo::channelCount inconsistency).");
            return false;
        }
    }
    return true;
}

bool QelSpeakerArrangementTest::run(ITestResult* result)
{
    if (!isReady(result) || !plug)
        return false;
    addBanner(result);
    if (!checkBusses(result, kInput) || !checkBusses(result, kOutput))
        return false;
    return QelProcessTest::run(result);
}

} // namespace Qel
} // namespace Quillmark

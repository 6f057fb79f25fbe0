#include "conformity/process/qelsilenceflagstest.h"

#include "base/fstring.h"

namespace Quillmark
{
namespace Qel
{

int32 QelSilenceFlagsTest::topCombination(int32 channels)
{
    // Unsigned arithmetic: 31 channels give 0x7FFFFFFF without overflow, 32 give 0.
    return int32((uint32(1) << (uint32(channels) & 31u)) - 1u);
}

bool QelSilenceFlagsTest::run(ITestResult* result)
{
    if (!isReady(result))
        return false;
    if (!canProcess(result))
        return true;
    addBanner(result);

    ProcessData& processData = data();
    if (!processData.inputs)
    {
        if (processData.numInputs > 0)
        {
            result->addErrorMessage(
                "ProcessData::inputs are 0 but ProcessData::numInputs are nonzero.");
            return false;
        }
    }
    else
    {
        audioEffect->setProcessing(true);
        for (int32 bus = 0; bus < processData.numInputs; ++bus)
        {
            const int64 top = topCombination(processData.inputs[bus].numChannels);
            for (int64 flags = 0; flags <= top; ++flags)
            {
                processData.inputs[bus].silenceFlags = uint64(flags);
                if (audioEffect->process(processData) != kResultOk)
                    return stopProcessing(
                        result, String::format("The component failed to process bus %i with "
                                               "silence flag combination %x!",
                                               bus, uint32(flags))
                                    .toUtf8()
                                    .c_str());
            }
        }
    }
    audioEffect->setProcessing(false);
    return true;
}

} // namespace Qel
} // namespace Quillmark

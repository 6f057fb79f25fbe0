#include "conformity/process/qelvariableblocksizetest.h"

#include "conformity/testrandom.h"

namespace Quillmark
{
namespace Qel
{

bool QelVariableBlockSizeTest::run(ITestResult* result)
{
    if (!isReady(result))
        return false;
    if (!canProcess(result))
        return true;
    addBanner(result);

    audioEffect->setProcessing(true);
    for (int32 pass = 0; pass < kPasses; ++pass)
    {
        const int32 size = testRandom() % processSetup.maxSamplesPerBlock;
        // An empty block is legal but its result means nothing, so it is not judged.
        data().numSamples = pass == 0 ? 0 : size;
        if (audioEffect->process(data()) != kResultOk && pass > 0)
            return stopProcessing(
                result,
                String::format("The component failed to process an audioblock of size %i", size)
                    .toUtf8()
                    .c_str());
    }
    audioEffect->setProcessing(false);
    return true;
}

} // namespace Qel
} // namespace Quillmark

#include "conformity/automation/automationtests.h"

#include "conformity/automation/qelautomationtest.h"

namespace Quillmark
{
namespace Qel
{

void addAutomationTests(FTestNode& group, IPlugProvider* provider, int32 symbolicSampleSize,
                        bool sampleAccuracy)
{
    constexpr int32 kParameterCounts[] = {1, 2, 10, -1}; // -1: all parameters
    constexpr int32 kChangeIntervals[] = {100, 50, 1};
    for (int32 numParams : kParameterCounts)
        for (int32 everyNSamples : kChangeIntervals)
        {
            auto* test = new QelAutomationTest(provider, symbolicSampleSize, everyNSamples,
                                               numParams, sampleAccuracy);
            group.addLeaf(test->getName(), test);
            test->release();
        }
}

} // namespace Qel
} // namespace Quillmark

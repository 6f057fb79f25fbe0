// Checks that a plug-in takes a process call without any audio buffers, the way a host flushes
// parameter changes while nothing plays: no samples, no busses, the changes of one parameter.
// A test node owns it.
#pragma once

#include "conformity/automation/qelautomationtest.h"

namespace Quillmark
{
namespace Qel
{

class QelFlushParamTest : public QelAutomationTest
{
public:
    /** Block accuracy, one parameter, changes every 100 samples (of which none fit). */
    QelFlushParamTest(IPlugProvider* provider, int32 symbolicSampleSize);

    const char8* getName() const override { return "Parameters Flush (no Buffer)"; }

    /** One process call with no samples and no busses; fails when the plug-in refuses it. */
    bool run(ITestResult* result) override;
};

} // namespace Qel
} // namespace Quillmark

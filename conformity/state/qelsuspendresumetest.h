// Checks that a plug-in can be set up for processing and switched on and off three times in a
// row, as a host does when it suspends and resumes it. Owned by its test node.
#pragma once

#include "conformity/qeltestbase.h"

namespace Quillmark
{
namespace Qel
{

class QelSuspendResumeTest : public QelTestEnh
{
public:
    QelSuspendResumeTest(IPlugProvider* provider, int32 symbolicSampleSize);

    const char8* getName() const override { return "Suspend/Resume"; }
    bool run(ITestResult* result) override;

private:
    /** Picks a sample size the plug-in accepts, 32-bit first, and sets processing up with it;
        false with an error when either fails. */
    bool setupProcessing(ITestResult& result);
};

} // namespace Qel
} // namespace Quillmark

#include "conformity/state/qelterminateinitializetest.h"

namespace Quillmark
{
namespace Qel
{

QelTerminateInitializeTest::QelTerminateInitializeTest(IPlugProvider* provider)
    : QelTestBase(provider)
{
}

bool QelTerminateInitializeTest::run(ITestResult* result)
{
    if (!plug || !result)
        return false;
    addBanner(result);
    bool passed = true;
    if (plug->terminate() != kResultOk)
    {
        result->addErrorMessage("IPluginBase::terminate () failed.");
        passed = false;
    }
    // Made even after a failed terminate, so that teardown meets an initialized plug-in.
    if (plug->initialize(getHostContext()) != kResultOk)
    {
        result->addErrorMessage("IPluginBase::initialize (..) failed.");
        passed = false;
    }
    return passed;
}

} // namespace Qel
} // namespace Quillmark

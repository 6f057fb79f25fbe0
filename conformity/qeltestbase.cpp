#include "conformity/qeltestbase.h"

#include "base/fstring.h"

namespace Quillmark
{
namespace Qel
{

QelTestBase::QelTestBase(IPlugProvider* provider) : provider(provider)
{
    if (provider)
        provider->addRef();
}

QelTestBase::~QelTestBase()
{
    // A teardown that failed may have kept the plug-in: it goes back now, with the test.
    if (provider && (plug || controller))
        provider->releasePlugIn(plug, controller);
    if (provider)
        provider->release();
}

bool QelTestBase::setup()
{
    if (!provider)
        return false;
    plug = provider->getComponent();
    controller = provider->getController();
    if (!plug)
        return false;
    // Results are not looked at: a plug-in without such a bus is still tested.
    plug->activateBus(kAudio, kInput, 0, true);
    plug->activateBus(kAudio, kOutput, 0, true);
    return true;
}

bool QelTestBase::teardown()
{
    if (plug)
    {
        plug->activateBus(kAudio, kInput, 0, false);
        plug->activateBus(kAudio, kOutput, 0, false);
        provider->releasePlugIn(plug, controller);
    }
    else if (controller && provider)
        provider->releasePlugIn(nullptr, controller);
    plug = nullptr;
    controller = nullptr;
    return true;
}

void QelTestBase::addBanner(ITestResult* result) const
{
    if (result)
        result->addMessage(String::format("===%s ====================================", getName())
                               .toUtf8()
                               .c_str());
}

tresult QelTestBase::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, ITest)
    return FObject::queryInterface(iid, obj);
}

QelTestEnh::QelTestEnh(IPlugProvider* provider, int32 symbolicSampleSize)
    : QelTestBase(provider), processSetup{kRealtime, symbolicSampleSize, 8192, 44100.0}
{
}

QelTestEnh::~QelTestEnh()
{
    if (audioEffect)
        audioEffect->release();
}

bool QelTestEnh::setup()
{
    bool base = QelTestBase::setup();
    if (plug)
    {
        void* answer = nullptr;
        if (plug->queryInterface(IAudioProcessor::iid.bytes, &answer) == kResultOk)
            audioEffect = static_cast<IAudioProcessor*>(answer);
    }
    return base && audioEffect;
}

bool QelTestEnh::teardown()
{
    bool hadProcessor = audioEffect != nullptr;
    if (audioEffect)
    {
        audioEffect->release();
        audioEffect = nullptr;
    }
    QelTestBase::teardown();
    return hadProcessor;
}

} // namespace Qel
} // namespace Quillmark

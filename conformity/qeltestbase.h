// The base of the host's built-in tests over one plug-in class: it takes the component and the
// controller from the provider of its branch for each run and gives them back afterwards.
// QelTestEnh adds the audio processor and the process setup. A test node owns its test.
#pragma once

#include "base/fobject.h"
#include "hosting/iplugprovider.h"
#include "qel3/iaudioprocessor.h"
#include "qel3/icomponent.h"
#include "qel3/ieditcontroller.h"
#include "qel3/itest.h"

namespace Quillmark
{
namespace Qel
{

class QelTestBase : public FObject, public ITest
{
public:
    /** `provider` gets a reference of the test's own; it may be null. */
    explicit QelTestBase(IPlugProvider* provider);
    ~QelTestBase() override;
    QelTestBase(const QelTestBase&) = delete;
    QelTestBase& operator=(const QelTestBase&) = delete;

    /** Takes the two halves and activates the first audio input and output bus; false
        without a component. */
    bool setup() override;
    /** Deactivates the two buses and hands the halves back. */
    bool teardown() override;
    const char8* getDescription() override { return nullptr; }
    /** The display name of the test. */
    virtual const char8* getName() const = 0;

    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

    /** The host context that tests hand to `initialize`; the tree builder stores it. */
    static FUnknown* getHostContext() { return hostContext; }
    static void setHostContext(FUnknown* context) { hostContext = context; }

protected:
    /** Adds the first message of a test that reports one: a line with the test's name. */
    void addBanner(ITestResult* result) const;

    IPlugProvider* provider = nullptr;
    IComponent* plug = nullptr;
    IEditController* controller = nullptr;

private:
    static inline FUnknown* hostContext = nullptr;
};

class QelTestEnh : public QelTestBase
{
public:
    QelTestEnh(IPlugProvider* provider, int32 symbolicSampleSize);
    ~QelTestEnh() override;

    /** The base setup, then the audio processor; false when either is missing. */
    bool setup() override;
    /** Releases the processor, then acts as the base; false when there was no processor. */
    bool teardown() override;

protected:
    IAudioProcessor* audioEffect = nullptr;
    ProcessSetup processSetup;
};

} // namespace Qel
} // namespace Quillmark

#include "qelgaintests.h"

#include "common/classentry.h"
#include "qelgaincontroller.h"

#include <cmath>
#include <cstdio>
#include <new>

namespace Quillmark
{
namespace Qel
{
namespace Examples
{

namespace
{

/** Checks, through IEditController alone, that the controller's gain parameter maps the dB range
    onto 0 to 1 both ways and that the bypass parameter is flagged as such. */
class GainMappingTest : public PluginObject<ITest>
{
public:
    explicit GainMappingTest(FUnknown* context) : context(context)
    {
        if (context)
            context->addRef();
    }

    bool setup() override
    {
        FUnknown* object = createObject<QelGainController>();
        if (!object)
            return false;
        void* answer = nullptr;
        object->queryInterface(IEditController::iid.bytes, &answer);
        object->release();
        controller = static_cast<IEditController*>(answer);
        return controller && controller->initialize(context) == kResultOk;
    }

    bool run(ITestResult* result) override
    {
        if (!controller || !result)
            return false;
        bool ok = true;
        auto fail = [&](const char* format, double a, double b)
        {
            char text[200];
            std::snprintf(text, sizeof text, format, a, b);
            result->addErrorMessage(text);
            ok = false;
        };
        if (controller->getParameterCount() != 2)
            fail("expected %.0f parameters, the controller has %.0f", 2.0,
                 double(controller->getParameterCount()));
        const double checks[][2] = {{-60.0, 0.0}, {0.0, 60.0 / 72.0}, {12.0, 1.0}};
        for (const auto& check : checks)
        {
            double normalized = controller->plainParamToNormalized(kQelGainGainParamId, check[0]);
            if (std::fabs(normalized - check[1]) > 1e-9)
                fail("%g dB gives %g", check[0], normalized);
            double plain = controller->normalizedParamToPlain(kQelGainGainParamId, normalized);
            if (std::fabs(plain - check[0]) > 1e-9)
                fail("%g dB comes back as %g dB", check[0], plain);
        }
        ParameterInfo info{};
        if (controller->getParameterInfo(kQelGainBypassParamId, info) != kResultOk ||
            (info.flags & ParameterInfo::kIsBypass) == 0 || info.stepCount != 1)
            fail("the bypass parameter is not a two-step bypass (flags %.0f, steps %.0f)",
                 double(info.flags), double(info.stepCount));
        char summary[100];
        std::snprintf(summary, sizeof summary, "checked %d gain values", int(std::size(checks)));
        result->addMessage(summary);
        return ok;
    }

    bool teardown() override
    {
        bool ok = true;
        if (controller)
        {
            ok = controller->terminate() == kResultOk;
            controller->release();
            controller = nullptr;
        }
        return ok;
    }

    const char8* getDescription() override { return nullptr; }

private:
    ~GainMappingTest() override
    {
        if (controller)
            controller->release();
        if (context)
            context->release();
    }

    FUnknown* context = nullptr;
    IEditController* controller = nullptr;
};

} // namespace

tresult QelGainTestFactory::createTests(FUnknown* context, ITestSuite* parentSuite)
{
    if (!parentSuite)
        return kInvalidArgument;
    auto* test = new (std::nothrow) GainMappingTest(context);
    if (!test)
        return kResultFalse;
    tresult result = parentSuite->addTest("Gain Parameter Mapping", test);
    test->release();
    return result;
}

} // namespace Examples
} // namespace Qel
} // namespace Quillmark

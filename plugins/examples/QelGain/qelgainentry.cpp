// The entry points of the Qel Gain example module: its factory with three classes, and InitDll
// and ExitDll, which a module may export for work at load and unload time.
#include "common/exampleids.h"
#include "common/pluginfactory.h"
#include "qelgaincontroller.h"
#include "qelgainprocessor.h"
#include "qelgaintests.h"

#include <new>
#include <type_traits>

using namespace Quillmark;
using namespace Quillmark::Qel;

namespace
{

constexpr FactoryDescription kFactoryDescription{
    .vendor = Examples::kExampleVendor,
    .url = "https://quillmark.example/qel3/examples",
    .email = "examples@quillmark.example",
    .flags = PFactoryInfo::kUnicode,
};

// Neither class names a vendor, so the host shows the factory's for both.
constexpr ClassEntry kClasses[] = {
    {
        .cid = Examples::kQelGainCid,
        .cardinality = PClassInfo::kManyInstances,
        .category = kAudioModuleClass,
        .name = u"Qel Gain",
        .subCategories = "Fx|Dynamics",
        .version = u"1.0.0",
        .sdkVersion = u"Qel 3.0.0",
        .create = createObject<Examples::QelGainProcessor>,
    },
    {
        .cid = Examples::kQelGainControllerCid,
        .cardinality = PClassInfo::kManyInstances,
        .category = kComponentControllerClass,
        .name = u"Qel Gain Controller",
        .version = u"1.0.0",
        .sdkVersion = u"Qel 3.0.0",
        .create = createObject<Examples::QelGainController>,
    },
    {
        .cid = Examples::kQelGainTestsCid,
        .cardinality = PClassInfo::kManyInstances,
        .category = kTestClass,
        .name = u"Qel Gain Tests",
        .version = u"1.0.0",
        .sdkVersion = u"Qel 3.0.0",
        .create = createObject<Examples::QelGainTestFactory>,
    },
};

} // namespace

/** Runs once after the host has loaded the library. Nothing here needs setting up, and
    answering false would make the host unload the module again at once. */
QEL_EXPORT bool InitDll()
{
    return true;
}

/** Runs once before the host unloads the library, after it has released the factory. */
QEL_EXPORT bool ExitDll()
{
    return true;
}

/** Each call makes a new factory; the caller owns its one reference. */
QEL_EXPORT IPluginFactory* GetPluginFactory()
{
    return new (std::nothrow) PluginFactory(kFactoryDescription, kClasses);
}

// The exports must keep the exact signatures a host looks them up with.
static_assert(std::is_same_v<decltype(&GetPluginFactory), GetFactoryProc>);
static_assert(std::is_same_v<decltype(&InitDll), InitModuleProc>);
static_assert(std::is_same_v<decltype(&ExitDll), ExitModuleProc>);

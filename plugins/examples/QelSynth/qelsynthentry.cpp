// The entry point of the Qel Synth example module: a factory with one instrument class that is
// component and edit controller in one object.
#include "common/exampleids.h"
#include "common/pluginfactory.h"
#include "qelsynth.h"

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

// No controller class: the host finds the controller by asking the component for it.
constexpr ClassEntry kClasses[] = {
    {
        .cid = Examples::kQelSynthCid,
        .cardinality = PClassInfo::kManyInstances,
        .category = kAudioModuleClass,
        .name = u"Qel Synth",
        .subCategories = "Instrument|Synth",
        .version = u"1.0.0",
        .sdkVersion = u"Qel 3.0.0",
        .create = createObject<Examples::QelSynth>,
    },
};

} // namespace

/** Each call makes a new factory; the caller owns its one reference. */
QEL_EXPORT IPluginFactory* GetPluginFactory()
{
    return new (std::nothrow) PluginFactory(kFactoryDescription, kClasses);
}

static_assert(std::is_same_v<decltype(&GetPluginFactory), GetFactoryProc>);

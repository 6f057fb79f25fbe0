// The entry point of the Qel Tone example module. It shows the oldest form of module: a factory
// that answers only IPluginFactory, 8-bit class records, and no InitDll or ExitDll. The class
// itself is a complete generator.
#include "common/exampleids.h"
#include "common/pluginfactory.h"
#include "qeltone.h"

#include <new>

using namespace Quillmark;
using namespace Quillmark::Qel;

namespace
{

// Flags 0: the texts are 8-bit, so the host checks the categories against the ones it accepts.
constexpr FactoryDescription kFactoryDescription{
    .vendor = Examples::kExampleVendor,
    .url = "https://quillmark.example/qel3/examples",
    .email = "examples@quillmark.example",
    .flags = PFactoryInfo::kNoFlags,
};

// Through IPluginFactory the host sees only cid, cardinality, category and name.
constexpr ClassEntry kClasses[] = {
    {
        .cid = Examples::kQelToneCid,
        .cardinality = PClassInfo::kManyInstances,
        .category = kAudioModuleClass,
        .name = u"Qel Tone",
        .subCategories = "Generator",
        .version = u"1.0.0",
        .create = createObject<Examples::QelTone>,
    },
};

} // namespace

QEL_EXPORT IPluginFactory* GetPluginFactory()
{
    return new (std::nothrow) PluginFactory(kFactoryDescription, kClasses, FactoryLevel::kFactory);
}

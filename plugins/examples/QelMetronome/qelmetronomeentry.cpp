// The entry point of the Metronome example module: one class that clicks along with the host's
// transport, which the host's player finds by its name.
#include "common/exampleids.h"
#include "common/pluginfactory.h"
#include "qelmetronome.h"

#include <new>

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

constexpr ClassEntry kClasses[] = {
    {
        .cid = Examples::kMetronomeCid,
        .cardinality = PClassInfo::kManyInstances,
        .category = kAudioModuleClass,
        .name = u"Metronome",
        .subCategories = "Generator",
        .version = u"1.0.0",
        .create = createObject<Examples::QelMetronome>,
    },
};

} // namespace

QEL_EXPORT IPluginFactory* GetPluginFactory()
{
    return new (std::nothrow) PluginFactory(kFactoryDescription, kClasses, FactoryLevel::kFactory3);
}

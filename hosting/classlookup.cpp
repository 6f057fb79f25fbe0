#include "classlookup.h"

#include "fpluginwrapper.h"
#include "qel3/ipluginfactory.h"

namespace Quillmark
{

bool matchesClass(const FComponentDescription& description, const std::string& nameOrCid)
{
    if (nameOrCid.empty() || description.getName().toUtf8() == nameOrCid)
        return true;
    std::string plain;
    for (char c : nameOrCid)
        if (c != '{' && c != '}' && c != '-')
            plain += c;
    FUID cid;
    return cid.fromString(plain.c_str()) && cid == description.getCid();
}

FComponentDescription* findAudioModuleClass(FComponentRegistry& registry,
                                            const std::string& nameOrCid)
{
    for (int32 index = 0; index < registry.countDescriptions(); ++index)
    {
        FComponentDescription* description = registry.getDescription(index);
        if (description->available && FCast<FPluginComponent>(description) &&
            description->getCategory() == ConstString(kAudioModuleClass) &&
            matchesClass(*description, nameOrCid))
            return description;
    }
    return nullptr;
}

std::string noClassFoundText(const std::string& nameOrCid)
{
    return "Qel3PluginTestHost: no class found" + (nameOrCid.empty() ? "" : " named " + nameOrCid) +
           "\n";
}

} // namespace Quillmark

#include "app/listjob.h"

#include "app/commandline.h"
#include "app/hostsession.h"
#include "hosting/fcomponentregistry.h"

#include <ostream>

namespace Quillmark
{

void printClassList(const FComponentRegistry& registry, std::ostream& out)
{
    for (int32 index = 0; index < registry.countDescriptions(); ++index)
    {
        FComponentDescription* description = registry.getDescription(index);
        std::string location = description->location.toUtf8();
        if (auto* component = FCast<FPluginComponent>(description))
            location = component->getModulePath();
        out << description->getCategory().toUtf8() << '\t' << description->getName().toUtf8()
            << '\t' << description->getCid().toRegistryString() << '\t'
            << description->getVendor().toUtf8() << '\t' << description->getVersion().toUtf8()
            << '\t' << description->subCategories.toUtf8() << '\t' << location << '\n';
    }
}

int runListJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err)
{
    HostSession session(err, commandLine.verbose);
    session.scan(commandLine.folders);
    printClassList(session.getRegistry(), out);
    out.flush();
    if (session.getRegistry().countDescriptions() == 0)
    {
        err << "Qel3PluginTestHost: no class found\n";
        return kExitFailure;
    }
    return kExitOk;
}

} // namespace Quillmark

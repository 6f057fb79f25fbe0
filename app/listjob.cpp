#include "app/listjob.h"

#include "app/commandline.h"
#include "app/hostsession.h"
#include "hosting/classlookup.h"
#include "hosting/fcomponentregistry.h"

#include <ostream>

namespace Quillmark
{

int printClassList(const FComponentRegistry& registry, std::ostream& out)
{
    // The program's own compiled-in classes are not what a module declares: only module
    // classes are listed.
    int listed = 0;
    for (int32 index = 0; index < registry.countDescriptions(); ++index)
    {
        auto* component = FCast<FPluginComponent>(registry.getDescription(index));
        if (!component)
            continue;
        FComponentDescription* description = component;
        std::string location = component->getModulePath();
        ++listed;
        out << description->getCategory().toUtf8() << '\t' << description->getName().toUtf8()
            << '\t' << description->getCid().toRegistryString() << '\t'
            << description->getVendor().toUtf8() << '\t' << description->getVersion().toUtf8()
            << '\t' << description->subCategories.toUtf8() << '\t' << location << '\n';
    }
    return listed;
}

int runListJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err)
{
    HostSession session(err, commandLine.verbose, commandLine.configFolder);
    session.scan(commandLine.folders);
    int listed = printClassList(session.getRegistry(), out);
    out.flush();
    if (listed == 0)
    {
        err << noClassFoundText({});
        return kExitFailure;
    }
    return kExitOk;
}

} // namespace Quillmark

#include "app/infojob.h"

#include "app/commandline.h"
#include "app/directmodules.h"
#include "app/hostsession.h"
#include "app/info/genericeditor.h"
#include "app/info/infopage.h"
#include "app/info/infoprinter.h"
#include "hosting/classlookup.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/plugprovider.h"
#include "qel3/ipluginfactory.h"

#include <ostream>

namespace Quillmark
{

namespace
{

/** Prints one class's page; false when the class could not be brought to life. */
bool printClass(FComponentRegistry& registry, FComponentDescription& description, bool generic,
                std::ostream& out, std::ostream& err)
{
    auto* provider = new Qel::PlugProvider(&registry, description.getCid(), true);
    bool created = provider->createPlugIn();
    for (const std::string& problem : provider->getProblems())
        err << "Qel3PluginTestHost: " << problem << "\n";
    if (!created)
    {
        err << "Qel3PluginTestHost: the class \"" << description.getName().toUtf8() << "\" ("
            << description.getCid().toRegistryString() << ") could not be created"
            << (description.lastError.empty() ? std::string() : ": " + description.lastError)
            << "\n";
        provider->release();
        return false;
    }
    provider->clearProblems();
    Qel::QelEditController* controller = provider->getControllerWrapper();
    {
        auto* page = new InfoPage(provider->getComponentWrapper(), controller);
        printInfoPage(*page, out, &err);
        page->release();
    }
    if (generic && controller && controller->getController())
    {
        auto* editor =
            new GenericEditor(controller->getController(), controller->getComponentHandler(), false,
                              controller->getClassName());
        printGenericEditor(*editor, out);
        for (const std::string& problem : editor->getProblems())
            err << "Qel3PluginTestHost: " << problem << "\n";
        editor->release();
    }
    else if (generic)
        out << "\nGeneric Editor\n" << InfoPage::kNoEditorText << "\n";
    for (const std::string& problem : provider->getProblems())
        err << "Qel3PluginTestHost: " << problem << "\n";
    provider->destroyPlugIn();
    provider->release();
    return true;
}

} // namespace

int runInfoJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err)
{
    DirectModules direct;
    std::vector<std::string> folders;
    std::string problem;
    if (!direct.sort(commandLine.folders, folders, problem))
    {
        err << "Qel3PluginTestHost: " << problem << "\n";
        return kExitUsage;
    }
    HostSession session(err, commandLine.verbose, commandLine.configFolder);
    session.scan(folders);
    FComponentRegistry& registry = session.getRegistry();

    int shown = 0, failed = 0;
    for (int32 index = 0; index < registry.countDescriptions(); ++index)
    {
        // Only what a module declares: the program's own compiled-in classes are left out.
        auto* description = FCast<FPluginComponent>(registry.getDescription(index));
        if (!description || description->getCategory() != ConstString(kAudioModuleClass) ||
            !matchesClass(*description, commandLine.testClass))
            continue;
        if (shown + failed > 0)
            out << "\n";
        if (printClass(registry, *description, commandLine.generic, out, err))
            ++shown;
        else
            ++failed;
        out.flush();
    }
    if (shown + failed == 0)
    {
        err << noClassFoundText(commandLine.testClass);
        return kExitFailure;
    }
    return failed == 0 ? kExitOk : kExitFailure;
}

} // namespace Quillmark

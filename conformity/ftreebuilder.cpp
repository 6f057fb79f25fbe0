#include "conformity/ftreebuilder.h"

#include "conformity/qeltestbase.h"
#include "hosting/classlookup.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/plugprovider.h"
#include "hosting/qelhostcontext.h"

namespace Quillmark
{

namespace
{

constexpr const char8* kAudioModuleCategory = "Audio Module Class";

std::vector<std::string> splitPath(const std::string& path)
{
    std::vector<std::string> names;
    for (size_t start = 0;;)
    {
        size_t slash = path.find('/', start);
        names.push_back(path.substr(start, slash - start));
        if (slash == std::string::npos)
            return names;
        start = slash + 1;
    }
}

} // namespace

FTreeBuilder::FTreeBuilder(FComponentRegistry& registry, std::vector<TestGroup> groups)
    : registry(registry), groups(std::move(groups))
{
}

bool FTreeBuilder::accepts(const FComponentDescription& description) const
{
    if (!description.available)
        return false;
    return matchesClass(description, classFilter);
}

void FTreeBuilder::initialize(FTester&, FTestNode& root)
{
    struct Kind
    {
        const char8* name;
        bool global;
    };
    constexpr Kind kKinds[] = {{"Global Instance", true}, {"Local Instances", false}};

    std::vector<FComponentDescription*> classes;
    registry.collectCategory(kAudioModuleCategory, classes);
    for (const Kind& kind : kKinds)
    {
        auto* top = new FTestNode(kind.name);
        root.addChild(top);
        for (FComponentDescription* description : classes)
        {
            if (!description || !accepts(*description))
                continue;
            auto* classGroup = new FTestNode(description->getName());
            auto* provider =
                new Qel::PlugProvider(&registry, description->getCid(), kind.global, kind.name);
            classGroup->addChild(provider);
            buildProvider(*provider);
            top->addChild(classGroup);
        }
    }
    Qel::QelTestBase::setHostContext(
        static_cast<Qel::IHostApplication*>(Qel::QelHostContext::instance()));
}

void FTreeBuilder::buildProvider(Qel::PlugProvider& provider) const
{
    for (const char8* category : kCategories)
        provider.addChild(new FTestNode(category));
    for (const TestGroup& group : groups)
    {
        std::vector<std::string> names = splitPath(group.path);
        FTestNode* parent = &provider;
        for (size_t index = 0; index + 1 < names.size(); ++index)
            parent = parent->findOrAddGroup(String(names[index]));
        auto* node = new FTestNode(String(names.back()));
        parent->addChild(node);
        if (group.fill)
            group.fill(*node, provider);
    }
}

} // namespace Quillmark

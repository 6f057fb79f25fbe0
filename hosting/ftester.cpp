#include "hosting/ftester.h"

#include "base/fattributes.h"
#include "base/fstreams.h"
#include "base/platform/atomicfile.h"
#include "base/platform/clock.h"
#include "base/platform/paths.h"
#include "base/singleton.h"

#include <fstream>
#include <iterator>

namespace Quillmark
{

namespace
{

constexpr const char8* kTreeKey = "FTester-Tests";
constexpr const char8* kNameKey = "IDString";
constexpr const char8* kFlagsKey = "TestNodeFlags";
constexpr const char8* kChildrenKey = "Children";

void storeNode(const FTestNode& node, FAttributes& into)
{
    into.setString(kNameKey, node.getName());
    into.setInt(kFlagsKey, node.isEnabled() ? 1 : 0);
    if (node.countChildren() == 0)
        return;
    FSubList* children = into.setSubList(kChildrenKey);
    for (int32 index = 0; index < node.countChildren(); ++index)
        if (const auto* child = FCast<FTestNode>(static_cast<const FObject*>(node.getChild(index))))
            storeNode(*child, *children->add());
}

void restoreNode(FTestNode& node, const FAttributes& from)
{
    int64 flags = 0;
    if (from.getInt(kFlagsKey, flags))
        node.setEnabled(flags == 1);
    FSubList* children = from.getSubList(kChildrenKey);
    for (int32 index = 0; children && index < children->count(); ++index)
    {
        FAttrList* item = children->at(index);
        String name;
        if (!item || !item->getString(kNameKey, name))
            continue;
        // A node of the file that the tree no longer has is passed over.
        if (FTestNode* child = node.findTestChild(name))
            restoreNode(*child, *item);
    }
}

} // namespace

FTester::FTester() = default;

FTester::~FTester()
{
    if (root)
    {
        root->dropTests();
        root->release();
    }
}

FTester* FTester::instance()
{
    return singletonInstance<FTester>();
}

void FTester::addInitializer(std::unique_ptr<FTestInitializer> initializer)
{
    if (initializer)
        initializers.push_back(std::move(initializer));
}

void FTester::open()
{
    if (root)
    {
        root->dropTests();
        root->release();
    }
    lastNode = nullptr;
    root = new FTestNode("Root");
    for (auto& initializer : initializers)
        initializer->initialize(*this, *root);
    if (rememberSettings)
        readSettings();
}

void FTester::close()
{
    if (!root)
        return;
    if (rememberSettings)
        writeSettings();
    lastNode = nullptr;
    root->dropTests();
    root->release();
    root = nullptr;
}

void FTester::runAll()
{
    if (root && (root->countChildren() > 0 || root->getTest()))
        runNode(root);
}

void FTester::runWithParents(FTestNode* node)
{
    if (!node)
        return;
    std::vector<FTestNode*> ancestors; // nearest first
    for (FNode* parent = node->getParent(); parent; parent = parent->getParent())
        if (auto* testNode = FCast<FTestNode>(parent))
            ancestors.push_back(testNode);
    for (auto it = ancestors.rbegin(); it != ancestors.rend(); ++it)
        (*it)->setup();
    runNode(node);
    for (FTestNode* ancestor : ancestors)
        ancestor->teardown();
}

void FTester::runNode(FTestNode* node)
{
    if (!node || !node->isEnabled() || (observer && observer->cancelled()))
        return;
    node->setStatus(FTestNode::kReset);
    node->changed();
    node->clearResults();

    const double start = platform::seconds();
    int32 status = FTestNode::kSetupFailed;
    if (node->setup())
        status = node->run() ? FTestNode::kPassed : FTestNode::kFailed;
    if (!node->teardown())
        status = FTestNode::kTeardownFailed;

    node->setSeconds(platform::seconds() - start);
    node->setStatus(status);
    node->changed();
    lastNode = node;
    changed();
    if (observer)
        observer->testerChanged(*this);
}

FTestNode* FTester::addPathTest(const ConstString& path, Qel::ITest* test)
{
    if (!root || !test)
        return nullptr;
    std::vector<std::string> names;
    std::string text = path.toUtf8();
    for (size_t start = 0;;)
    {
        size_t slash = text.find('/', start);
        names.push_back(text.substr(start, slash - start));
        if (slash == std::string::npos)
            break;
        start = slash + 1;
    }
    FTestNode* group = root;
    for (size_t index = 0; index + 1 < names.size(); ++index)
    {
        group = group->findOrAddGroup(String(names[index]));
        // A leaf on the way becomes a group of the same name; its own test moves under it.
        if (group->getTest() && group->countChildren() == 0)
            group->moveTestToSelf();
    }
    return group->addLeaf(String(names.back()), test);
}

FTestNode* FTester::findPath(const ConstString& path) const
{
    if (!root)
        return nullptr;
    std::string text = path.toUtf8();
    std::string prefix = root->getName().toUtf8() + "/";
    if (text.rfind(prefix, 0) == 0)
        text = text.substr(prefix.size());
    return findBelow(root, text);
}

FTestNode* FTester::findBelow(FTestNode* node, const std::string& rest)
{
    // Names may hold "/" themselves ("Suspend/Resume"), so a child matches a whole name, the
    // longest first, and the walk goes back when what follows it leads nowhere.
    FTestNode* best = nullptr;
    size_t bestLength = 0;
    for (int32 index = 0; index < node->countChildren(); ++index)
    {
        auto* child = FCast<FTestNode>(node->getChild(index));
        if (!child)
            continue;
        std::string name = child->getName().toUtf8();
        if (name.size() <= bestLength || rest.compare(0, name.size(), name) != 0)
            continue;
        FTestNode* found = nullptr;
        if (rest.size() == name.size())
            found = child;
        else if (rest[name.size()] == '/')
            found = findBelow(child, rest.substr(name.size() + 1));
        if (found)
        {
            best = found;
            bestLength = name.size();
        }
    }
    return best;
}

std::string FTester::getSettingsPath() const
{
    return settingsPath.empty() ? platform::userDataFolder() + "/TestSettings.bin" : settingsPath;
}

bool FTester::readSettings()
{
    if (!root)
        return false;
    std::ifstream in(getSettingsPath(), std::ios::binary);
    if (!in)
        return false;
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    auto* archive = new FAttributes;
    bool ok = archive->readXml(bytes.data(), bytes.size());
    FAttrList* tree = ok ? archive->getList(kTreeKey) : nullptr;
    String name;
    if (tree && tree->getString(kNameKey, name) && name == root->getName())
        restoreNode(*root, *tree);
    archive->release();
    return tree != nullptr;
}

bool FTester::writeSettings(std::string* error) const
{
    if (!root)
        return false;
    auto* archive = new FAttributes;
    storeNode(*root, *archive->setList(kTreeKey));
    auto* stream = new FMemoryStream;
    bool ok = archive->writeXml(stream) &&
              platform::writeFileAtomically(getSettingsPath(), stream->data(),
                                            size_t(stream->size()), error);
    stream->release();
    archive->release();
    return ok;
}

} // namespace Quillmark

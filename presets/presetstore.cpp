#include "presets/presetstore.h"

#include "base/fstreamer.h"
#include "base/fstreams.h"
#include "base/fxmlparser.h"
#include "base/platform/files.h"
#include "base/platform/paths.h"
#include "base/singleton.h"
#include "presets/presetio.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace Quillmark
{

// Banks

PPresetBank::PPresetBank(const ConstString& name) : FNode(name), bankName(name) {}

PPresetBank::~PPresetBank()
{
    for (FAttributes* preset : presets)
        preset->release();
}

FAttributes* PPresetBank::getPreset(int32 index) const
{
    return index >= 0 && index < getPresetCount() ? presets[size_t(index)] : nullptr;
}

bool PPresetBank::addPreset(FAttributes* preset)
{
    if (!preset)
        return false;
    preset->addRef();
    presets.push_back(preset);
    return true;
}

bool PPresetBank::removePreset(FAttributes* preset)
{
    auto it = std::find(presets.begin(), presets.end(), preset);
    if (it == presets.end())
        return false;
    (*it)->release();
    presets.erase(it);
    return true;
}

bool PPresetBank::storePreset(int32 index, const FAttributes& preset)
{
    FAttributes* target = getPreset(index);
    if (!target)
        return false;
    target->copyFrom(preset);
    return true;
}

bool PPresetBank::renamePreset(int32 index, const ConstString& newName)
{
    FAttributes* target = getPreset(index);
    if (!target)
        return false;
    target->setString("Name", newName);
    return true;
}

namespace
{

std::string serialise(const FAttributes& attributes)
{
    FMemoryStream* stream = new FMemoryStream;
    attributes.writeXml(stream);
    std::string bytes(stream->data(), size_t(stream->size()));
    stream->release();
    return bytes;
}

} // namespace

int32 PPresetBank::findPreset(const FAttributes& attributes) const
{
    std::string wanted = serialise(attributes);
    for (int32 i = 0; i < getPresetCount(); ++i)
        if (serialise(*presets[size_t(i)]) == wanted)
            return i;
    return -1;
}

bool PPresetBank::removePresets(const std::vector<FAttributes*>& list)
{
    if (list.empty())
        return false;
    bool all = true;
    for (FAttributes* preset : list)
        all = removePreset(preset) && all;
    return all;
}

void PPresetBank::storeAttributes(FAttributes& attributes) const
{
    attributes.setString("PresetBankName", bankName);
}

bool PPresetBank::restoreAttributes(const FAttributes& attributes)
{
    String text;
    if (!attributes.getString("PresetBankName", text) && !attributes.getString("IDString", text))
        return false;
    bankName = text;
    return true;
}

bool PHostPresets::write(IBStream* stream) const
{
    FStreamer streamer(stream);
    return streamer.writeInt32(kVersion) && streamer.writeString8(bankName) &&
           streamer.writeInt32(storageType) && streamer.writeString8(bankID);
}

bool PHostPresets::read(IBStream* stream)
{
    FStreamer streamer(stream);
    int32 version = 0;
    String name, id;
    int32 type = -1;
    if (!streamer.readInt32(version) || version > kVersion || !streamer.readString8(name) ||
        !streamer.readInt32(type) || !streamer.readString8(id))
        return false;
    bankName = name;
    storageType = type;
    bankID = id;
    return true;
}

void PHostPresets::storeAttributes(FAttributes& attributes) const
{
    attributes.setString("Bank Name", bankName);
    attributes.setInt("Storage Type", storageType);
    attributes.setString("Bank ID", bankID);
}

bool PHostPresets::restoreAttributes(const FAttributes& attributes)
{
    String name, id;
    int64 type = -1;
    if (!attributes.getString("Bank Name", name))
        return false;
    attributes.getInt("Storage Type", type);
    attributes.getString("Bank ID", id);
    bankName = name;
    storageType = int32(type);
    bankID = id;
    return true;
}

bool PHostPresets::openStorage(const PresetManager& manager)
{
    if (!storage)
    {
        std::unique_ptr<IPresetStorage> opened = manager.open(bankID.toUtf8(), 2);
        if (!opened)
            return false;
        storage = std::move(opened);
    }
    fillFrom(*storage);
    return true;
}

void PHostPresets::fillFrom(const IPresetStorage& source)
{
    for (int32 i = getPresetCount() - 1; i >= 0; --i)
        removePreset(getPreset(i));
    removeAll();
    for (int32 i = 0; i < source.countPresets(); ++i)
    {
        auto* preset = new FAttributes;
        if (source.readPreset(i, *preset))
            addPreset(preset);
        preset->release();
    }
    for (int32 i = 0; i < source.countSubBanks(); ++i)
    {
        std::unique_ptr<IPresetStorage> sub = source.openSubBank(i);
        if (!sub)
            continue;
        auto* child = new PHostPresets(sub->getName().c_str());
        child->storageType = storageType;
        child->bankID = bankID;
        child->storage = std::move(sub);
        child->fillFrom(*child->storage);
        if (!addChild(child))
            child->release();
    }
}

bool PHostPresets::loadPreset(FAttributes& target, int32 index) const
{
    return storage && storage->readPreset(index, target);
}

// The choice control

PPresetChoice::Form PPresetChoice::chooseForm(const PPresetBank& top, int32 bankCount)
{
    if (bankCount > 1 || top.countChildren() > 0 || top.getPresetCount() > kMaxMenuPresets)
        return Form::kBrowser;
    return Form::kMenu;
}

std::vector<std::string> PPresetChoice::menuRows(const PPresetBank& top, int32 current)
{
    std::vector<std::string> rows;
    for (int32 i = 0; i < top.getPresetCount(); ++i)
    {
        String name;
        top.getPreset(i)->getString("Name", name);
        rows.push_back((i == current ? "* " : "") + name.toUtf8());
    }
    return rows;
}

std::vector<FAttributes*> PPresetChoice::filter(const PPresetBank& top, const std::string& text)
{
    std::vector<FAttributes*> found;
    for (int32 i = 0; i < top.getPresetCount(); ++i)
    {
        String name;
        top.getPreset(i)->getString("Name", name);
        if (name.toUtf8().find(text) != std::string::npos)
            found.push_back(top.getPreset(i));
    }
    for (int32 i = 0; i < top.countChildren(); ++i)
        if (auto* bank = FCast<PPresetBank>(top.getChild(i)))
            for (FAttributes* preset : filter(*bank, text))
                found.push_back(preset);
    return found;
}

// Resource trees

int64 FXmlTreeNode::field(const std::string& key, int64 fallback) const
{
    auto it = fields.find(key);
    return it == fields.end() ? fallback : it->second;
}

const FXmlTreeNode* FXmlTreeNode::findChild(const std::string& childName) const
{
    for (const auto& child : children)
        if (child->name == childName)
            return child.get();
    return nullptr;
}

namespace
{

// Reads the generic object form: <obj class=.. ID=..> elements nested in <list name="Children">,
// each with <string name="String" value=..> for its text and <int name=.. value=..> fields.
class TreeReader : public FXmlParser::Handler
{
public:
    explicit TreeReader(FXmlTreeNode& root) : stack{&root} {}

    void startElement(const char* element, const char** attributes) override
    {
        std::string tag = element;
        ++depth;
        const char* name = FXmlParser::findAttribute(attributes, "name");
        const char* value = FXmlParser::findAttribute(attributes, "value");
        if (tag == "obj")
        {
            auto node = std::make_unique<FXmlTreeNode>();
            const char* className = FXmlParser::findAttribute(attributes, "class");
            node->className = className ? className : "";
            FXmlTreeNode* added = node.get();
            stack.back()->children.push_back(std::move(node));
            stack.push_back(added);
            objectDepths.push_back(depth);
        }
        else if (tag == "string" && name && value && std::string(name) == "String")
            stack.back()->name = value;
        else if (tag == "int" && name && value)
            stack.back()->fields[name] = std::strtoll(value, nullptr, 10);
    }

    void endElement(const char*) override
    {
        if (!objectDepths.empty() && objectDepths.back() == depth)
        {
            objectDepths.pop_back();
            stack.pop_back();
        }
        --depth;
    }

private:
    std::vector<FXmlTreeNode*> stack;
    std::vector<int> objectDepths;
    int depth = 0;
};

std::string upper(std::string text)
{
    for (char& c : text)
        c = char(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

} // namespace

FXmlTree::FXmlTree(const std::string& name, const std::string& folder)
{
    root.name = "root";
    if (name.empty())
        return;
    std::string path =
        platform::joinPath(folder.empty() ? resourceFolder() : folder, upper(name) + ".XML");
    std::string bytes;
    if (!Qel::readWholeFile(path, bytes))
        return;
    FXmlTreeNode loaded;
    TreeReader reader(loaded);
    FXmlParser parser(reader);
    if (parser.parse(bytes.data(), bytes.size(), true))
        root = std::move(loaded);
    root.name = "root";
}

std::string FXmlTree::resourceFolder()
{
    std::string beside = platform::joinPath(platform::executableFolder(), "resources");
    if (platform::fileInfo(beside).isFolder)
        return beside;
    return platform::joinPath(platform::executableFolder(),
                              "../share/qel3plugintesthost/resources");
}

void FXmlTree::fillMenu(std::vector<MenuItem>& menu, const FXmlTreeNode& node, bool leavesOnly,
                        const Translate& translate)
{
    for (const auto& child : node.children)
    {
        std::string title = translate ? translate(child->name) : child->name;
        if (child->children.empty() || !leavesOnly)
            menu.push_back({title, {}});
        if (!child->children.empty())
        {
            MenuItem sub{title, {}};
            fillMenu(sub.subMenu, *child, leavesOnly, translate);
            menu.push_back(std::move(sub));
        }
    }
}

FCategoryTree* FCategoryTree::instance()
{
    return singletonInstance<FCategoryTree>();
}

FCharacterTree* FCharacterTree::instance()
{
    return singletonInstance<FCharacterTree>();
}

FStyleTree* FStyleTree::instance()
{
    return singletonInstance<FStyleTree>();
}

} // namespace Quillmark

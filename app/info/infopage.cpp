#include "app/info/infopage.h"

#include "app/info/recordtext.h"
#include "base/values/ustringvalue.h"
#include "hosting/fcomponentdescription.h"
#include "hosting/qelcomponent.h"
#include "hosting/qeleditcontroller.h"
#include "qel3/iaudioprocessor.h"
#include "qel3/iunitinfo.h"

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <set>

namespace Quillmark
{

using namespace Qel;

namespace
{

// The MIDI controllers a page looks at: 16 busses of 16 channels of 128 controllers.
constexpr int32 kMappedBusses = 16;
constexpr int32 kMappedChannels = 16;
constexpr int32 kMappedControllers = 128;
using MappingTable =
    std::array<std::array<std::array<int32, kMappedControllers>, kMappedChannels>, kMappedBusses>;

std::string fileNameOf(const std::string& path)
{
    size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

/** Releases a root that stayed empty; the member then stays null, so the tree has no view. */
void dropIfEmpty(QelNodeFolder*& root)
{
    if (root && root->countChildren() == 0)
    {
        root->release();
        root = nullptr;
    }
}

} // namespace

InfoPage::InfoPage(QelComponent* component, QelEditController* controller)
    : component(component), controller(controller), values(new UValueContainer(this))
{
    readValues();
    if (IComponent* plug = component ? component->getComponent() : nullptr)
        component->guarded("getBusCount",
                           [&] { eventBusCount = plug->getBusCount(kEvent, kInput); });
    buildBusTree();
    buildParameterTree();
    INoteExpressionController* expressions = controller ? controller->getNoteExpression() : nullptr;
    String className = component ? component->getClassName() : String();
    noteChangeRoot = buildEventTree(
        "NoteChangeRoot", expressions,
        [&](int32 bus, int16 channel) { return expressions->getNoteExpressionCount(bus, channel); },
        [&](QelNodeFolder& folder, int32 bus, int16 channel, int32 index)
        {
            NoteExpressionTypeInfo info{};
            tresult result = kResultFalse;
            controller->guarded(
                "getNoteExpressionInfo",
                [&] { result = expressions->getNoteExpressionInfo(bus, channel, index, info); });
            if (result == kResultOk)
                folder.addChild(new QelNoteExpressionDisplayData(info, index, int16(bus), channel,
                                                                 expressions, className));
        });
    IKeyswitchController* keyswitches = controller ? controller->getKeyswitch() : nullptr;
    keySwitchRoot = buildEventTree(
        "KeySwitchRoot", keyswitches,
        [&](int32 bus, int16 channel) { return keyswitches->getKeyswitchCount(bus, channel); },
        [&](QelNodeFolder& folder, int32 bus, int16 channel, int32 index)
        {
            KeyswitchInfo info{};
            tresult result = kResultFalse;
            controller->guarded(
                "getKeyswitchInfo",
                [&] { result = keyswitches->getKeyswitchInfo(bus, channel, index, info); });
            if (result == kResultOk)
                folder.addChild(new QelKeyswitchDisplayData(info, index, int16(bus), channel));
        });
}

InfoPage::~InfoPage()
{
    for (QelNodeFolder* root : {busRoot, parameterRoot, noteChangeRoot, keySwitchRoot})
        if (root)
            root->release();
    values->setHandler(nullptr);
    values->release();
}

void InfoPage::addText(const char8* name, const ConstString& text)
{
    values->adopt(new UStringValue(name, 0, text));
}

void InfoPage::readValues()
{
    FComponentDescription* description = component ? component->getDescription() : nullptr;
    if (!description)
    {
        addText("classId", String());
        addText("name", String());
        addText("subCategories", String());
    }
    else
    {
        addText("classId", String(description->getCid().toRegistryString()));
        addText("name", description->getName());
        addText("subCategories", description->subCategories);
    }
    FComponentDescription* editor = controller ? controller->getDescription() : nullptr;
    if (controller && editor)
        addText("editorClass", String(editor->getCid().toRegistryString()));
    else
        addText("editorClass", String(kNoEditorText));
    if (!description)
        return;
    auto* plugin = FCast<FPluginComponent>(description);
    addText("vendor", description->getVendor());
    addText("vendorUrl", plugin ? plugin->url : String());
    addText("vendorContact", plugin ? plugin->email : String());
    std::string path = plugin ? plugin->getModulePath() : std::string();
    addText("filename", String(fileNameOf(path)));
    addText("fullpath", String(path));
    addText("sdkVersion", description->sdkVersion);
    addText("version", description->getVersion());
    addText("folder", description->location);
}

void InfoPage::buildBusTree()
{
    busRoot = new QelNodeFolder("root");
    auto* inputs = new QelNodeFolder("Inputs");
    auto* outputs = new QelNodeFolder("Outputs");
    IComponent* plug = component ? component->getComponent() : nullptr;
    IAudioProcessor* processor = component ? component->query<IAudioProcessor>(plug) : nullptr;
    for (MediaType type : {kAudio, kEvent})
    {
        if (!plug)
            break;
        int32 inputCount = 0, outputCount = 0;
        component->guarded("getBusCount",
                           [&]
                           {
                               inputCount = plug->getBusCount(type, kInput);
                               outputCount = plug->getBusCount(type, kOutput);
                           });
        inputCount = std::max(inputCount, 0);
        outputCount = std::max(outputCount, 0);
        for (int64 walk = 0; walk < int64(inputCount) + outputCount; ++walk)
        {
            bool input = walk < inputCount;
            BusDirection direction = input ? kInput : kOutput;
            int32 index = int32(input ? walk : walk - inputCount);
            BusInfo info{};
            tresult result = kResultFalse;
            component->guarded("getBusInfo",
                               [&] { result = plug->getBusInfo(type, direction, index, info); });
            if (result != kResultOk)
                continue;
            FNode* row = nullptr;
            if (type == kAudio)
            {
                SpeakerArrangement arrangement = 0;
                if (processor)
                {
                    SpeakerArrangement answered = 0;
                    tresult asked = kResultFalse;
                    component->guarded(
                        "getBusArrangement",
                        [&] { asked = processor->getBusArrangement(direction, index, answered); });
                    if (asked == kResultOk)
                        arrangement = answered;
                }
                row = new QelAudioBusDisplayData(info, index, arrangement);
            }
            else
                row = new QelBusDisplayData(info, index);
            (input ? inputs : outputs)->addChild(row);
        }
    }
    if (component)
        component->releaseInterface(processor);
    for (QelNodeFolder* folder : {inputs, outputs})
    {
        if (folder->countChildren() == 0)
            folder->release();
        else
            busRoot->addChild(folder);
    }
}

int32 InfoPage::eventInputChannels(int32 bus)
{
    IComponent* plug = component ? component->getComponent() : nullptr;
    if (!plug)
        return -1;
    BusInfo info{};
    tresult result = kResultFalse;
    component->guarded("getBusInfo", [&] { result = plug->getBusInfo(kEvent, kInput, bus, info); });
    return result == kResultOk ? info.channelCount : -1;
}

void InfoPage::buildParameterTree()
{
    IEditController* edit = controller ? controller->getController() : nullptr;
    if (!edit)
        return;
    parameterRoot = new QelNodeFolder("root", kRootUnitId);

    // Which parameter each MIDI controller drives. The mapping interface is asked afresh for
    // every cell, as a plug-in may answer it only while it has something mapped.
    auto table = std::make_unique<MappingTable>();
    for (auto& channels : *table)
        for (auto& controllers : channels)
            controllers.fill(-1);
    for (int32 bus = 0; bus < std::min(kMappedBusses, eventBusCount); ++bus)
    {
        int32 channels = eventInputChannels(bus);
        for (int32 channel = 0; channel < std::min(kMappedChannels, channels); ++channel)
            for (int32 number = 0; number < kMappedControllers; ++number)
            {
                auto* mapping = controller->query<IMidiMapping>(edit);
                if (!mapping)
                    continue;
                ParamID id = 0;
                tresult result = kResultFalse;
                controller->guarded("getMidiControllerAssignment",
                                    [&] {
                                        result = mapping->getMidiControllerAssignment(
                                            bus, int16(channel), CtrlNumber(number), id);
                                    });
                if (result == kResultOk)
                    (*table)[size_t(bus)][size_t(channel)][size_t(number)] = int32(id);
                controller->releaseInterface(mapping);
            }
    }

    IUnitInfo* units = controller->getUnitInfo();
    if (units)
    {
        std::map<UnitID, UnitInfo> known;
        std::vector<UnitID> order;
        int32 unitCount = 0;
        controller->guarded("getUnitCount", [&] { unitCount = units->getUnitCount(); });
        for (int32 index = 0; index < unitCount; ++index)
        {
            UnitInfo info{};
            tresult result = kResultFalse;
            controller->guarded("getUnitInfo", [&] { result = units->getUnitInfo(index, info); });
            if (result != kResultOk)
                continue;
            if (known.emplace(info.id, info).second)
                order.push_back(info.id);
        }
        // Makes the folder of a unit below the folder of its parent, the parent first. A
        // parent the plug-in never named, or a chain that comes back to itself, ends at the
        // root, so every unit read has a place.
        std::set<UnitID> making;
        auto ensure = [&](auto& self, UnitID id) -> QelNodeFolder*
        {
            if (QelNodeFolder* found = parameterRoot->findFolder(id))
                return found;
            auto entry = known.find(id);
            if (entry == known.end() || !making.insert(id).second)
                return parameterRoot;
            UnitID parentId = entry->second.parentUnitId;
            QelNodeFolder* parent =
                parentId == kNoParentUnitId ? parameterRoot : self(self, parentId);
            making.erase(id);
            if (QelNodeFolder* made = parameterRoot->findFolder(id))
                return made;
            auto* folder = new QelNodeFolder(recordText(entry->second.name), id);
            parent->addChild(folder);
            return folder;
        };
        for (UnitID id : order)
            ensure(ensure, id);
    }

    int32 parameterCount = 0;
    controller->guarded("getParameterCount", [&] { parameterCount = edit->getParameterCount(); });
    for (int32 index = 0; index < parameterCount; ++index)
    {
        ParameterInfo info{};
        tresult result = kResultFalse;
        controller->guarded("getParameterInfo",
                            [&] { result = edit->getParameterInfo(index, info); });
        if (result != kResultOk)
            continue;
        // One parameter shows one assignment: the last bus and channel that map it, with the
        // lowest controller there.
        MidiAssignment assignment;
        for (int32 bus = 0; bus < kMappedBusses; ++bus)
            for (int32 channel = 0; channel < kMappedChannels; ++channel)
            {
                const auto& controllers = (*table)[size_t(bus)][size_t(channel)];
                for (int32 number = 0; number < kMappedControllers; ++number)
                    if (controllers[size_t(number)] == int32(info.id))
                    {
                        assignment = {int16(bus), int16(channel), number};
                        break;
                    }
            }
        QelNodeFolder* folder = units ? parameterRoot->findFolder(info.unitId) : parameterRoot;
        if (folder)
            folder->addChild(new QelParameterDisplayData(info, index, assignment));
    }
}

template <class Interface, class Count, class Read>
QelNodeFolder* InfoPage::buildEventTree(const char8* rootName, Interface* entries, Count&& count,
                                        Read&& read)
{
    auto* root = new QelNodeFolder(rootName);
    if (entries)
    {
        for (int32 bus = 0; bus < eventBusCount; ++bus)
        {
            // A channel is a 16-bit number in every call that names one.
            int32 channels = std::min(eventInputChannels(bus), 0x7FFF);
            QelNodeFolder* busFolder = nullptr;
            for (int32 channel = 0; channel < channels; ++channel)
            {
                int32 entryCount = 0;
                controller->guarded("count", [&] { entryCount = count(bus, int16(channel)); });
                if (entryCount <= 0)
                    continue;
                if (!busFolder)
                {
                    busFolder = root;
                    if (eventBusCount != 1)
                    {
                        busFolder = new QelNodeFolder(String::format("Event Bus %d", bus + 1));
                        root->addChild(busFolder);
                    }
                }
                QelNodeFolder* channelFolder = busFolder;
                if (channels != 1)
                {
                    channelFolder = new QelNodeFolder(String::format("Channel %d", channel + 1));
                    busFolder->addChild(channelFolder);
                }
                for (int32 index = 0; index < entryCount; ++index)
                    read(*channelFolder, bus, int16(channel), index);
            }
        }
    }
    dropIfEmpty(root);
    return root;
}

bool InfoPage::getTreeView(const ConstString& name, TreeView& view) const
{
    struct Entry
    {
        const char8* name;
        const char8* title;
        QelNodeFolder* root;
        GTreeInformer* (*make)();
    };
    const Entry entries[] = {
        {"busTree", "Bus Tree", busRoot, []() -> GTreeInformer* { return new QelBusInformer; }},
        {"parameterTree", "Parameter Tree", parameterRoot,
         []() -> GTreeInformer* { return new QelParameterInformer; }},
        {"noteChangeTree", "NoteChange Tree", noteChangeRoot,
         []() -> GTreeInformer* { return new QelNoteExpressionInformer; }},
        {"keySwitchTree", "keySwitch Tree", keySwitchRoot,
         []() -> GTreeInformer* { return new QelKeySwitchInformer; }},
    };
    for (const Entry& entry : entries)
        if (name == ConstString(entry.name))
        {
            if (!entry.root)
                return false;
            view.title = String(entry.title);
            view.root = entry.root;
            view.informer = entry.make();
            return true;
        }
    return false;
}

} // namespace Quillmark

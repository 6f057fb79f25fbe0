#include "app/presetjob.h"

#include "app/commandline.h"
#include "app/hostsession.h"
#include "app/presetactions.h"
#include "base/fstreams.h"
#include "base/platform/files.h"
#include "base/platform/paths.h"
#include "conformity/automation/paramchanges.h"
#include "conformity/processbuffers.h"
#include "hosting/classlookup.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/plugprovider.h"
#include "presets/fxpconverter.h"
#include "presets/metainfo.h"
#include "presets/paramstructure.h"
#include "presets/presetfile.h"
#include "presets/presetio.h"
#include "presets/qelpresetmedium.h"
#include "presets/representation.h"
#include "qel3/iaudioprocessor.h"
#include "qel3/iunitinfo.h"
#include "qel3ext/iprogramdata.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <ostream>
#include <vector>

namespace Quillmark
{

using namespace Qel;

namespace
{

constexpr const char* kProgram = "Qel3PluginTestHost: ";

struct ParameterSetting
{
    ParamID id = 0;
    double value = 0;
};

struct PresetOptions
{
    std::string mode;
    std::string className;
    std::vector<std::string> positional;
    std::vector<ParameterSetting> settings;
    std::string uid;
    bool uidGiven = false;
    std::string newName;
    bool nameGiven = false;
    int32 programIndex = 0;
    bool programIndexGiven = false;
    int form = 0; // 1 bank, 2 program
    bool verbose = false;
    std::string configFolder;
    std::string error;
};

PresetOptions parseOptions(const std::vector<std::string>& arguments)
{
    PresetOptions options;
    for (size_t i = 0; i < arguments.size() && options.error.empty(); ++i)
    {
        const std::string& argument = arguments[i];
        auto value = [&](std::string& into)
        {
            if (i + 1 >= arguments.size())
            {
                options.error = argument + " needs a value";
                return false;
            }
            into = arguments[++i];
            return true;
        };
        if (i == 0)
            options.mode = argument;
        else if (argument == "--class")
            value(options.className);
        else if (argument == "--set")
        {
            std::string text;
            if (!value(text))
                break;
            size_t equals = text.find('=');
            char* end = nullptr;
            ParameterSetting setting;
            bool ok = equals != std::string::npos && equals > 0;
            if (ok)
            {
                std::string id = text.substr(0, equals);
                unsigned long long number = std::strtoull(id.c_str(), &end, 10);
                ok = std::isdigit(static_cast<unsigned char>(id[0])) && *end == '\0' &&
                     number <= 0xFFFFFFFFull;
                setting.id = ParamID(number);
            }
            if (ok)
            {
                std::string normalized = text.substr(equals + 1);
                setting.value = std::strtod(normalized.c_str(), &end);
                ok = !normalized.empty() && *end == '\0' && setting.value >= 0.0 &&
                     setting.value <= 1.0;
            }
            if (!ok)
                options.error =
                    "--set needs PARAM-ID=NORMALIZED with a value from 0 to 1, not: " + text;
            else
                options.settings.push_back(setting);
        }
        else if (argument == "--uid")
            options.uidGiven = value(options.uid);
        else if (argument == "--name")
            options.nameGiven = value(options.newName);
        else if (argument == "--program-index")
        {
            std::string text;
            if (!value(text))
                break;
            char* end = nullptr;
            long index = std::strtol(text.c_str(), &end, 10);
            if (text.empty() || *end != '\0' || index < 0 || index > 0x7FFFFFFF)
                options.error = "--program-index needs a program number from 0, not: " + text;
            options.programIndex = int32(index);
            options.programIndexGiven = true;
        }
        else if (argument == "--bank")
            options.form = 1;
        else if (argument == "--program")
            options.form = 2;
        else if (argument == "--verbose" || argument == "-v")
            options.verbose = true;
        else if (argument == "--config-dir")
        {
            value(options.configFolder);
        }
        else if (!argument.empty() && argument[0] == '-')
            options.error = "unknown option for " + options.mode + ": " + argument;
        else
            options.positional.push_back(argument);
    }
    return options;
}

std::string describeParameterText(IEditController* controller, ParamID id, double value)
{
    String128 text = {};
    if (controller->getParamStringByValue(id, value, text) != kResultOk)
        return "";
    text[127] = 0;
    return String(text).toUtf8();
}

std::string formatValue(double value)
{
    char text[32];
    std::snprintf(text, sizeof(text), "%.6f", value);
    return text;
}

/** Hands parameter values to a component in a process call, as the engine would: the only
    way the processing side learns of them. */
class SettingChanges : public IParameterChanges
{
public:
    explicit SettingChanges(const std::vector<ParameterSetting>& settings) : queues(settings.size())
    {
        for (size_t i = 0; i < settings.size(); ++i)
        {
            queues[i].init(settings[i].id, 1);
            queues[i].storePoint(0, 0, settings[i].value);
        }
    }
    int32 getParameterCount() override { return int32(queues.size()); }
    IParamValueQueue* getParameterData(int32 index) override
    {
        return index >= 0 && index < int32(queues.size()) ? &queues[size_t(index)] : nullptr;
    }
    IParamValueQueue* addParameterData(const ParamID&, int32& index) override
    {
        index = -1;
        return nullptr;
    }
    tresult queryInterface(const TUID iid, void** obj) override
    {
        if (iidEqual(iid, IParameterChanges::iid.bytes) || iidEqual(iid, FUnknown::iid.bytes))
        {
            *obj = static_cast<IParameterChanges*>(this);
            return kResultOk;
        }
        *obj = nullptr;
        return kNoInterface;
    }
    // Lives on the stack of the job for the one call.
    uint32 addRef() override { return 1; }
    uint32 release() override { return 1; }

private:
    std::vector<ParamChanges> queues;
};

bool sendToComponent(IComponent* component, const std::vector<ParameterSetting>& settings,
                     std::string& problem)
{
    IAudioProcessor* processor = nullptr;
    if (component->queryInterface(IAudioProcessor::iid.bytes,
                                  reinterpret_cast<void**>(&processor)) != kResultOk ||
        !processor)
    {
        problem = "the component is no audio processor, so --set cannot reach it";
        return false;
    }
    constexpr int32 kBlock = 64;
    ProcessSetup setup{kOffline, kSample32, kBlock, 44100.0};
    bool ok = processor->setupProcessing(setup) == kResultOk;
    ProcessBuffers buffers(kSample32);
    if (ok)
    {
        buffers.prepare(*component, kSample32, kBlock);
        ok = component->setActive(true) == kResultOk;
    }
    if (ok)
    {
        ProcessData& data = buffers.data();
        data.processMode = kOffline;
        data.numSamples = kBlock;
        processor->setProcessing(true);
        // One block per value, so they take effect in the order given even where one
        // parameter moves others (a program change).
        for (const ParameterSetting& setting : settings)
        {
            SettingChanges changes({setting});
            data.inputParameterChanges = &changes;
            ok = processor->process(data) == kResultOk && ok;
        }
        processor->setProcessing(false);
        data.inputParameterChanges = nullptr;
        component->setActive(false);
    }
    processor->release();
    if (!ok)
        problem = "the component refused the block that carries the --set values";
    return ok;
}

/** A plug-in instance for one class; the provider tears it down. */
struct Instance
{
    PlugProvider* provider = nullptr;
    IComponent* component = nullptr;
    IEditController* controller = nullptr;
    ~Instance()
    {
        if (provider)
        {
            // The references getComponent and getController handed out go back first.
            provider->releasePlugIn(component, controller);
            provider->destroyPlugIn();
            provider->release();
        }
    }
};

bool makeInstance(HostSession& session, const PresetOptions& options,
                  const std::vector<std::string>& folders, Instance& instance,
                  FComponentDescription*& description, std::ostream& err)
{
    if (options.className.empty())
    {
        err << kProgram << options.mode << " needs --class NAME-OR-CID\n";
        return false;
    }
    description = session.scanForClass(folders, options.className);
    if (!description)
        return false;
    instance.provider = new PlugProvider(&session.getRegistry(), description->getCid(), true);
    if (!instance.provider->createPlugIn())
    {
        err << kProgram << "the class " << options.className << " could not be created\n";
        return false;
    }
    instance.component = instance.provider->getComponent();
    instance.controller = instance.provider->getController();
    if (!instance.controller)
    {
        err << kProgram << "the class " << options.className << " has no edit controller\n";
        return false;
    }
    return true;
}

PresetPlugIn plugInOf(const Instance& instance, FComponentDescription& description)
{
    PresetPlugIn plugIn;
    plugIn.classId = description.getCid();
    plugIn.className = description.getName().toUtf8();
    plugIn.vendor = description.getVendor().toUtf8();
    plugIn.subCategories = description.subCategories.toUtf8();
    plugIn.component = instance.component;
    plugIn.controller = instance.controller;
    return plugIn;
}

void printParameters(IEditController* controller, std::ostream& out)
{
    int32 count = controller->getParameterCount();
    for (int32 index = 0; index < count; ++index)
    {
        ParameterInfo info{};
        if (controller->getParameterInfo(index, info) != kResultOk)
            continue;
        info.title[127] = 0;
        double value = controller->getParamNormalized(info.id);
        out << info.id << '\t' << String(info.title).toUtf8() << '\t' << formatValue(value) << '\t'
            << describeParameterText(controller, info.id, value) << '\n';
    }
}

/** Opens and checks a preset file; on damage tells why on `err`. The list is read. */
bool openPreset(const std::string& path, std::string& bytes, FMemoryStream*& stream,
                std::unique_ptr<PresetFile>& file, std::ostream& err)
{
    if (!readWholeFile(path, bytes))
    {
        err << kProgram << path << ": cannot be read\n";
        return false;
    }
    if (bytes.size() < 4 || bytes.compare(0, 4, "QEL3") != 0)
    {
        err << kProgram << path << ": not a preset file (no \"QEL3\" header)\n";
        return false;
    }
    stream = new FMemoryStream(bytes.data(), int64(bytes.size()));
    file = std::make_unique<PresetFile>(stream);
    stream->release();
    if (!file->readChunkList() || file->getEntryCount() == 0)
    {
        err << kProgram << path << ": the chunk list is damaged or missing\n";
        return false;
    }
    for (int32 i = 0; i < file->getEntryCount(); ++i)
    {
        const PresetFile::Entry& entry = file->at(i);
        if (entry.offset < PresetFile::kHeaderSize || entry.size < 0 ||
            entry.offset > int64(bytes.size()) || entry.size > int64(bytes.size()) - entry.offset)
        {
            err << kProgram << path << ": chunk " << std::string(entry.id, 4)
                << " lies outside the file (offset " << entry.offset << ", size " << entry.size
                << ")\n";
            return false;
        }
    }
    return true;
}

int presetSave(const PresetOptions& options, const CommandLine& commandLine, std::ostream& out,
               std::ostream& err)
{
    if (options.positional.empty())
    {
        err << kProgram << "--preset-save needs the preset FILE last\n";
        return kExitUsage;
    }
    std::vector<std::string> folders(options.positional.begin(), options.positional.end() - 1);
    const std::string& path = options.positional.back();
    HostSession session(err, options.verbose || commandLine.verbose,
                        commandLine.dataFolderFor(options.configFolder));
    Instance instance;
    FComponentDescription* description = nullptr;
    if (!makeInstance(session, options, folders, instance, description, err))
        return kExitFailure;
    try
    {
        for (const ParameterSetting& setting : options.settings)
            if (instance.controller->setParamNormalized(setting.id, setting.value) != kResultOk)
            {
                err << kProgram << "the plug-in refused --set " << setting.id << "\n";
                return kExitFailure;
            }
        std::string problem;
        // Also a class that is its own controller keeps the processing side's values apart.
        if (!options.settings.empty() &&
            !sendToComponent(instance.component, options.settings, problem))
        {
            err << kProgram << problem << "\n";
            return kExitFailure;
        }
        if (!PresetActions::save(path, plugInOf(instance, *description),
                                 options.programIndexGiven ? options.programIndex : -1, problem))
        {
            err << kProgram << path << ": " << problem << "\n";
            return kExitFailure;
        }
    }
    catch (const std::exception& exception)
    {
        err << kProgram << "the plug-in threw: " << exception.what() << "\n";
        return kExitFailure;
    }
    out << path << "\n";
    return kExitOk;
}

int presetInfo(const PresetOptions& options, std::ostream& out, std::ostream& err)
{
    if (options.positional.size() != 1)
    {
        err << kProgram << "--preset-info needs exactly one FILE\n";
        return kExitUsage;
    }
    std::string bytes;
    FMemoryStream* stream = nullptr;
    std::unique_ptr<PresetFile> file;
    if (!openPreset(options.positional[0], bytes, stream, file, err))
        return kExitFailure;
    out << "class\t" << file->getClassID().toString() << '\n';
    for (int32 i = 0; i < file->getEntryCount(); ++i)
    {
        const PresetFile::Entry& entry = file->at(i);
        out << "chunk\t" << std::string(entry.id, 4) << '\t' << entry.offset << '\t' << entry.size
            << '\n';
    }
    int32 size = 0;
    if (file->readMetaInfo(nullptr, size))
    {
        std::vector<char> xml(static_cast<size_t>(size));
        file->readMetaInfo(xml.data(), size);
        MediaAttributeList attributes;
        MetaInfoParser parser(attributes);
        std::string error;
        if (!parser.parse(xml.data(), size_t(size), &error))
            err << kProgram << options.positional[0] << ": meta information damaged: " << error
                << "\n";
        for (const auto& attribute : attributes.all())
        {
            const char* type = attribute.kind == MediaAttributeList::Kind::kInt     ? "int"
                               : attribute.kind == MediaAttributeList::Kind::kFloat ? "float"
                                                                                    : "string";
            out << "attribute\t" << attribute.id << '\t' << type << '\t' << attribute.valueText()
                << '\t' << MetaInfoParser::flagsText(attribute.flags) << '\n';
        }
    }
    return kExitOk;
}

int presetLoad(const PresetOptions& options, const CommandLine& commandLine, std::ostream& out,
               std::ostream& err)
{
    if (options.positional.empty())
    {
        err << kProgram << "--preset-load needs the preset FILE last\n";
        return kExitUsage;
    }
    std::vector<std::string> folders(options.positional.begin(), options.positional.end() - 1);
    const std::string& path = options.positional.back();
    std::string bytes;
    FMemoryStream* stream = nullptr;
    std::unique_ptr<PresetFile> file;
    // The file is checked before any plug-in is made for it.
    if (!openPreset(path, bytes, stream, file, err))
        return kExitFailure;
    HostSession session(err, options.verbose || commandLine.verbose,
                        commandLine.dataFolderFor(options.configFolder));
    Instance instance;
    FComponentDescription* description = nullptr;
    if (!makeInstance(session, options, folders, instance, description, err))
        return kExitFailure;
    PresetPlugIn plugIn = plugInOf(instance, *description);
    plugIn.className = options.className;
    std::string problem, note;
    if (!PresetActions::load(path, plugIn, problem, &note))
    {
        err << kProgram << path << ": " << problem << "\n";
        return kExitFailure;
    }
    if (!note.empty())
        err << kProgram << path << ": " << note << "\n";
    try
    {
        printParameters(instance.controller, out);
    }
    catch (const std::exception& exception)
    {
        err << kProgram << "the plug-in threw: " << exception.what() << "\n";
        return kExitFailure;
    }
    return kExitOk;
}

int convertPresets(const PresetOptions& options, std::ostream& out, std::ostream& err)
{
    if (options.positional.size() != 2)
    {
        err << kProgram << "--convert-presets needs SRC-FOLDER and DEST-FOLDER\n";
        return kExitUsage;
    }
    if (!options.uidGiven || options.uid.empty())
    {
        err << kProgram
            << "--convert-presets needs --uid ABCD (the answer to \"Enter QEL 2 UID "
               "(4 characters)\")\n";
        return kExitUsage;
    }
    if (options.form == 0)
    {
        err << kProgram
            << "--convert-presets needs --bank or --program (the answer to \"Save "
               "QEL2 presets as bank (fxb) or program (fxp)?\")\n";
        return kExitUsage;
    }
    std::string problems;
    PresetActions::ConversionRequest request;
    request.sourceFolder = options.positional[0];
    request.destFolder = options.positional[1];
    request.uid = options.uid;
    request.bank = options.form == 1;
    int converted = PresetActions::convertFolder(request, problems);
    err << problems;
    if (converted < 0)
        return kExitFailure;
    out << PresetActions::convertedMessage(converted) << "\n";
    return problems.empty() ? kExitOk : kExitFailure;
}

int paramStructure(const PresetOptions& options, std::ostream& out, std::ostream& err)
{
    if (options.positional.size() != 1)
    {
        err << kProgram << "--param-structure needs exactly one FILE-OR-MODULE\n";
        return kExitUsage;
    }
    HostParamStructure structure;
    if (!structure.loadForModule(options.positional[0]))
    {
        err << kProgram << structure.getError() << "\n";
        return kExitFailure;
    }
    char mask[32];
    std::snprintf(mask, sizeof(mask), "%llx",
                  static_cast<unsigned long long>(structure.getCategoryMask()));
    out << "category\t" << mask << '\n';
    for (const std::string& group : structure.getGroups())
        out << "group\t" << group << '\n';
    for (const QELParamStructure& param : structure.getParameters())
        out << "param\t" << param.id << '\t' << param.groupPath << '\t' << param.label << '\t'
            << param.shortName << '\t' << param.type << '\t' << param.numberOfStates << '\t'
            << formatValue(param.defaultValue) << '\t' << param.name << '\n';
    for (const QELValueType& type : structure.getValueTypes())
    {
        out << "valuetype\t" << type.name << '\t' << type.label;
        for (const auto& entry : type.entries)
            out << '\t' << entry.name << '=' << formatValue(entry.minimum) << ','
                << formatValue(entry.maximum) << (entry.maximumInclusive ? "]" : "[");
        out << '\n';
    }
    for (const std::string& warning : structure.getWarnings())
        err << warning << '\n';
    return kExitOk;
}

int representation(const PresetOptions& options, std::ostream& out, std::ostream& err)
{
    if (options.positional.size() != 1)
    {
        err << kProgram << "--representation needs exactly one FILE\n";
        return kExitUsage;
    }
    const std::string& path = options.positional[0];
    std::string xml;
    if (!readWholeFile(path, xml))
    {
        err << kProgram << path << ": cannot be read\n";
        return kExitFailure;
    }
    RepresentationRootBase root;
    PiperParser parser(root);
    std::string error;
    bool parsed = parser.parse(xml.data(), xml.size(), &error);
    if (!root.hasRepresentation)
    {
        err << kProgram << path << ": no representation"
            << (parsed ? std::string() : " (" + error + ")") << "\n";
        return kExitFailure;
    }
    if (root.plugin.present)
        out << "plugin\t" << root.plugin.classID << '\t' << root.plugin.name << '\t'
            << root.plugin.vendor << '\t' << root.plugin.category << '\n';
    out << "representation\t" << root.name << '\t' << root.vendor << '\t' << root.version << '\t'
        << root.host << '\n';
    for (int32 p = 0; p < root.getPageCount(); ++p)
    {
        const RepresentationPage& page = *root.getPage(p);
        out << "page\t" << page.getDisplayName(p) << "\tunit " << page.unitID << '\n';
        for (size_t c = 0; c < page.cells.size(); ++c)
        {
            const RepresentationCell& cell = *page.cells[c];
            out << "\tcell\t" << cell.getDisplayName(int32(c));
            if (cell.layers.empty())
                out << "\tEmpty";
            out << '\n';
            for (size_t l = 0; l < cell.layers.size(); ++l)
            {
                const RepresentationLayer& layer = *cell.layers[l];
                out << "\t\tlayer\t" << layer.getDisplayName(int32(l)) << '\t'
                    << root.describeLayer(layer);
                if (layer.parameterID != -1)
                    out << "\tparameter " << layer.parameterID;
                out << '\n';
            }
        }
    }
    if (!parsed)
    {
        // What came before the damage is shown, but the file is still reported as damaged.
        err << kProgram << path << ": damaged: " << error << "\n";
        return kExitFailure;
    }
    return kExitOk;
}

int overwritePluginName(const PresetOptions& options, std::ostream& out, std::ostream& err)
{
    if (options.positional.size() != 1)
    {
        err << kProgram << "--overwrite-plugin-name needs exactly one FOLDER\n";
        return kExitUsage;
    }
    if (!options.nameGiven || options.newName.empty())
    {
        err << kProgram
            << "--overwrite-plugin-name needs --name NAME (the answer to \"Enter the new Name\")\n";
        return kExitUsage;
    }
    std::string problems;
    int changed =
        PresetActions::overwritePluginName(options.positional[0], options.newName, problems);
    err << problems;
    if (changed < 0)
        return kExitFailure;
    out << PresetActions::convertedMessage(changed) << "\n";
    return problems.empty() ? kExitOk : kExitFailure;
}

} // namespace

int runPresetJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err)
{
    PresetOptions options = parseOptions(commandLine.presetArguments);
    if (!options.error.empty())
    {
        err << kProgram << options.error << "\n";
        return kExitUsage;
    }
    if (options.mode == "--preset-save")
        return presetSave(options, commandLine, out, err);
    if (options.mode == "--preset-info")
        return presetInfo(options, out, err);
    if (options.mode == "--preset-load")
        return presetLoad(options, commandLine, out, err);
    if (options.mode == "--param-structure")
        return paramStructure(options, out, err);
    if (options.mode == "--representation")
        return representation(options, out, err);
    if (options.mode == "--overwrite-plugin-name")
        return overwritePluginName(options, out, err);
    return convertPresets(options, out, err);
}

} // namespace Quillmark

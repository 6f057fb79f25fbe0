#include "app/editedplugin.h"

#include "app/info/genericeditor.h"
#include "app/presetactions.h"
#include "base/fstreams.h"
#include "engine/audiooperatorlist.h"
#include "engine/pendingparameterchanges.h"
#include "engine/qelslotoperator.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/plugprovider.h"
#include "presets/presetfile.h"
#include "presets/presetio.h"
#include "qel3/iunitinfo.h"

#include <cstdio>
#include <memory>

namespace Quillmark
{

using namespace Qel;

class EditedPlugin::Handler : public CmObject, public IComponentHandler
{
public:
    explicit Handler(EditedPlugin* owner) : owner(owner) {}
    /** The owner goes; whatever the plug-in still signals falls on the floor. */
    void detach() { owner = nullptr; }

    tresult beginEdit(ParamID id) override { return owner ? owner->beginEdit(id) : kResultFalse; }
    tresult performEdit(ParamID id, ParamValue value) override
    {
        return owner ? owner->performEdit(id, value) : kResultFalse;
    }
    tresult endEdit(ParamID id) override { return owner ? owner->endEdit(id) : kResultFalse; }
    tresult restartComponent(int32 flags) override
    {
        return owner ? owner->restartComponent(flags) : kResultFalse;
    }

    tresult queryInterface(const TUID iid, void** obj) override
    {
        QEL_QUERY_INTERFACE(iid, obj, IComponentHandler)
        return CmObject::queryInterface(iid, obj);
    }
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

private:
    EditedPlugin* owner;
};

EditedPlugin::EditedPlugin(FComponentRegistry& registry, const FUID& classId)
    : registry(registry), classId(classId)
{
    FComponentDescription* description = registry.findByCid(classId);
    className = description ? description->getName().toUtf8() : classId.toString();
}

EditedPlugin::~EditedPlugin()
{
    close();
}

EditedPlugin* EditedPlugin::create(FComponentRegistry& registry, const FUID& classId,
                                   std::string& error)
{
    auto* plugin = new EditedPlugin(registry, classId);
    if (!plugin->open(error))
    {
        plugin->release();
        return nullptr;
    }
    return plugin;
}

bool EditedPlugin::open(std::string& error)
{
    provider = new PlugProvider(&registry, classId, true);
    if (!provider->createPlugIn() || !provider->getControllerWrapper())
    {
        error = "\"" + className + "\" could not be created with its controller";
        return false;
    }
    QelEditController* wrapper = provider->getControllerWrapper();
    // Edits of this host go to the processor, not to the test provider, which ignores them.
    handler = new Handler(this);
    wrapper->setComponentHandler(handler);
    editor = static_cast<GenericEditor*>(wrapper->getGenericEditor(
        [](QelEditController& owner) -> CmObject* { return makeGenericEditor(owner); }));
    if (!editor)
    {
        error = "\"" + className + "\" has no parameters to edit";
        return false;
    }

    slot = new MiniEngine::QelSlotOperator;
    if (!slot->attach(provider->getComponentWrapper()->getComponent(), String(className.c_str())))
    {
        error = "\"" + className + "\" " + slot->getProblem();
        slot->release();
        slot = nullptr;
        return false;
    }
    slot->setupController(wrapper->getController());
    pending = new MiniEngine::PendingParameterChanges(wrapper->getController());
    pending->start();
    slot->setParamListener(pending);
    graph = new MiniEngine::AudioOperatorRoot;
    slot->addRef(); // the graph takes one reference; this object keeps its own
    graph->addOperator(slot);
    MiniEngine::OperatorSetup setup;
    setup.blockSize = kBlockSize;
    setup.sampleRate = kSampleRate;
    graph->setupProcessing(setup);
    graph->prepareBuffers(kBlockSize);
    graph->resume();
    graph->setProcessing(true);
    return true;
}

void EditedPlugin::close()
{
    // The listener goes under the graph's lock, so while the graph still stands; the slot
    // leaves the graph before the graph goes, so that it never reaches a parent that is gone.
    if (slot)
        slot->setParamListener(nullptr);
    if (graph)
    {
        graph->setProcessing(false);
        graph->suspend();
        if (slot && graph->removeOperator(slot))
            slot->release(); // the graph's reference, handed back
        graph->release();
        graph = nullptr;
    }
    if (slot)
    {
        slot->release();
        slot = nullptr;
    }
    if (pending)
    {
        pending->stop();
        pending->release();
        pending = nullptr;
    }
    editor = nullptr; // the controller wrapper keeps it and ends it
    if (provider)
    {
        if (QelEditController* wrapper = provider->getControllerWrapper())
            wrapper->setComponentHandler(provider);
        provider->destroyPlugIn();
        provider->release();
        provider = nullptr;
    }
    if (handler)
    {
        handler->detach();
        handler->release();
        handler = nullptr;
    }
}

IComponent* EditedPlugin::getComponent() const
{
    return provider && provider->getComponentWrapper()
               ? provider->getComponentWrapper()->getComponent()
               : nullptr;
}

IEditController* EditedPlugin::getController() const
{
    return provider && provider->getControllerWrapper()
               ? provider->getControllerWrapper()->getController()
               : nullptr;
}

bool EditedPlugin::processBlock()
{
    if (!graph)
        return false;
    ProcessContext context{};
    context.sampleRate = kSampleRate;
    context.projectTimeSamples = blocks * kBlockSize;
    MiniEngine::OperatorBuffers buffers;
    buffers.numSamples = kBlockSize;
    buffers.context = &context;
    const bool rendered = graph->renderBlock(buffers);
    ++blocks;
    return rendered;
}

std::string EditedPlugin::componentState() const
{
    IComponent* component = getComponent();
    if (!component)
        return {};
    auto* stream = new FMemoryStream;
    std::string bytes;
    try
    {
        if (component->getState(stream) == kResultOk)
            bytes.assign(stream->data(), size_t(stream->size()));
    }
    catch (...)
    {
        bytes.clear();
    }
    stream->release();
    return bytes;
}

PresetPlugIn EditedPlugin::presetPlugIn()
{
    PresetPlugIn plugIn;
    plugIn.classId = classId;
    plugIn.className = className;
    if (FComponentDescription* description = registry.findByCid(classId))
    {
        plugIn.vendor = description->getVendor().toUtf8();
        plugIn.subCategories = description->subCategories.toUtf8();
    }
    plugIn.component = getComponent();
    plugIn.controller = getController();
    return plugIn;
}

bool EditedPlugin::savePreset(const std::string& path, std::string& error)
{
    return PresetActions::save(path, presetPlugIn(), -1, error);
}

bool EditedPlugin::loadPreset(const std::string& path, std::string& error)
{
    // The block path must not run while the component takes its new state.
    graph->setProcessing(false);
    const bool good = PresetActions::load(path, presetPlugIn(), error);
    graph->setProcessing(true);
    if (!good)
        error = path + ": " + error;
    if (editor)
        editor->refresh();
    return good;
}

tresult EditedPlugin::beginEdit(ParamID id)
{
    editLog.push_back("begin " + std::to_string(id));
    return kResultOk;
}

tresult EditedPlugin::performEdit(ParamID id, ParamValue valueNormalized)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", valueNormalized);
    editLog.push_back("perform " + std::to_string(id) + " " + text);
    if (slot)
        slot->queueParameter(int32(id), valueNormalized);
    return kResultOk;
}

tresult EditedPlugin::endEdit(ParamID id)
{
    editLog.push_back("end " + std::to_string(id));
    return kResultOk;
}

tresult EditedPlugin::restartComponent(int32 flags)
{
    if (!editor)
        return kResultOk;
    if (flags & kParamTitlesChanged)
        editor->rebuild();
    else if (flags & kParamValuesChanged)
        editor->refresh();
    return kResultOk;
}

} // namespace Quillmark

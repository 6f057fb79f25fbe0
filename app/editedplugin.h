// One plug-in class brought to life to be edited on its own, before the rack exists: a component
// and controller joined as the test provider joins them, its processor running in an operator
// graph of its own, and the host's component handler that carries every edit of the generic
// editor into the processor's next block. Windows borrow its generic editor; whoever opens the
// editor owns this object (reference counted).
#pragma once

#include "app/presetactions.h"
#include "app/presettarget.h"
#include "base/fobject.h"
#include "base/fuid.h"
#include "qel3/icomponenthandler.h"

#include <string>
#include <vector>

namespace Quillmark
{

class FComponentRegistry;
class GenericEditor;

namespace MiniEngine
{
class AudioOperatorRoot;
class QelSlotOperator;
class PendingParameterChanges;
} // namespace MiniEngine

namespace Qel
{
class PlugProvider;
class IComponent;
class IEditController;
} // namespace Qel

class EditedPlugin : public CmObject, public IPresetTarget
{
    QEL_DECLARE_CLASS(EditedPlugin, CmObject)
public:
    static constexpr int32 kBlockSize = 256;
    static constexpr double kSampleRate = 48000.0;

    /** Null, with `error` set, when the class cannot be made or cannot process. */
    static EditedPlugin* create(FComponentRegistry& registry, const FUID& classId,
                                std::string& error);

    /** The generic editor of the plug-in's controller (borrowed; lives as long as this). */
    GenericEditor* getEditor() const { return editor; }
    Qel::IComponent* getComponent() const;
    Qel::IEditController* getController() const;
    const FUID& getClassId() const { return classId; }

    /** Renders one block of silence through the plug-in: what the handler queued reaches the
        processor, and what the processor reports waits for the next "Idle". */
    bool processBlock();
    /** The component's state as the plug-in writes it; empty when it refuses. */
    std::string componentState() const;

    // IPresetTarget
    std::string getPresetTargetName() const override { return className; }
    bool savePreset(const std::string& path, std::string& error) override;
    bool loadPreset(const std::string& path, std::string& error) override;

    // What the plug-in's controller signals through the component handler.
    tresult beginEdit(Qel::ParamID id);
    tresult performEdit(Qel::ParamID id, Qel::ParamValue valueNormalized);
    tresult endEdit(Qel::ParamID id);
    tresult restartComponent(int32 flags);

    /** Edits the handler saw, in order, as "begin ID", "perform ID VALUE", "end ID". */
    const std::vector<std::string>& getEditLog() const { return editLog; }

protected:
    ~EditedPlugin() override;

private:
    /** The component handler the plug-in holds. A plug-in keeps a reference to its handler
        until it terminates, so the handler is an object of its own: were it this object, the
        plug-in's reference would keep its owner alive for ever. */
    class Handler;

    EditedPlugin(FComponentRegistry& registry, const FUID& classId);
    bool open(std::string& error);
    void close();
    /** The plug-in as the preset work sees it. */
    PresetPlugIn presetPlugIn();

    FComponentRegistry& registry;
    FUID classId;
    std::string className;
    Qel::PlugProvider* provider = nullptr;
    Handler* handler = nullptr;
    MiniEngine::AudioOperatorRoot* graph = nullptr;
    MiniEngine::QelSlotOperator* slot = nullptr;
    MiniEngine::PendingParameterChanges* pending = nullptr;
    GenericEditor* editor = nullptr;
    int64 blocks = 0;
    std::vector<std::string> editLog;
};

} // namespace Quillmark

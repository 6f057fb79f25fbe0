// The host's wrapper around the controller half of a plug-in: its IEditController and the
// smaller interfaces beside it, queried once, and the component handler it was given. The
// provider or slot that created the wrapper owns it. A wrapper around the controller of a united
// object shares that object with the component wrapper and never terminates it.
#pragma once

#include "hosting/plugininstance.h"
#include "qel3/ieditcontroller.h"

#include <functional>

namespace Quillmark
{

class FComponentRegistry;

namespace Qel
{

class IConnectionPoint;
class IUnitInfo;
class INoteExpressionController;
class IKeyswitchController;
class IPlugView;

class QelEditController : public PlugInstance
{
    QEL_DECLARE_CLASS(QelEditController, PlugInstance)
public:
    /** Around an object the registry made for a separate controller class: queries
        IEditController from it, then the further interfaces from that. The caller initializes. */
    QelEditController(FUnknown* instance, FComponentDescription* description,
                      ProblemHandler onProblem = {});
    ~QelEditController() override;

    /** Creates the separate controller class `cid` through `registry` and initializes it. Null
        when the class is unknown, cannot be made, has no IEditController or refuses to
        initialize; the object is then released again. */
    static QelEditController* create(FComponentRegistry& registry, const FUID& cid,
                                     ProblemHandler onProblem = {});

    /** Around the controller of a united object, which was initialized as component: the
        wrapper adds its own reference to `existing`, has no instance, is not initialized and
        terminates nothing. It holds no use of the module, so it goes before the component
        wrapper that does. */
    static QelEditController* wrapExisting(IEditController* existing,
                                           FComponentDescription* description,
                                           ProblemHandler onProblem = {});

    bool checkInterfaces() override { return controller != nullptr; }

    /** Keeps `handler`, borrowed, and hands it to the plug-in; true on kResultOk. */
    bool setComponentHandler(IComponentHandler* handler);
    IComponentHandler* getComponentHandler() const { return handler; }

    /** The IEditController2 operations: true exactly when the plug-in answers kResultOk; false
        as well when it does not have the interface. */
    bool setKnobMode(KnobMode mode);
    bool openHelp(bool onlyCheck);
    bool openAboutBox(bool onlyCheck);

    /** The display mode under which the host always shows the generic editor. */
    static constexpr int32 kGenericDisplayMode = 5;
    /** The frame of the generic editor: it starts this size and never grows higher; a taller
        template scrolls inside it. */
    static constexpr int32 kGenericEditorWidth = 550;
    static constexpr int32 kGenericEditorHeight = 400;

    /** Makes the host's generic editor for a wrapper, with one reference for the caller. It
        lives above this layer; the application hands over how to make it. */
    using GenericEditorMaker = std::function<CmObject*(QelEditController& wrapper)>;

    struct EditorRequest
    {
        bool forceGeneric = false;
        /** The application's display mode; kGenericDisplayMode always gives the generic one. */
        int32 displayMode = 0;
        /** Handed to the plug-in before it is asked for its view. */
        KnobMode knobMode = kCircularMode;
        /** Puts the plug-in's view into a window; false when it cannot, and the generic editor
            is shown instead. Empty: every view is taken. */
        std::function<bool(IPlugView* view)> wrapView;
        GenericEditorMaker makeGenericEditor;
        /** The height of the generic editor's template, to know whether it must scroll. */
        int32 genericTemplateHeight = kGenericEditorHeight;
    };

    struct EditorChoice
    {
        /** The plug-in's own view with a reference for the caller, or null. */
        IPlugView* view = nullptr;
        /** The generic editor (borrowed: the wrapper keeps it), or null. */
        CmObject* genericEditor = nullptr;
        int32 width = 0;
        int32 height = 0;
        /** The generic template is taller than its frame and sits in a scroll view. */
        bool scrolls = false;
    };

    /** The plug-in's own view unless the generic editor is forced, the display mode asks for
        it, the plug-in has none, or the view cannot be wrapped. Nothing without a controller. */
    EditorChoice createEditor(const EditorRequest& request);
    /** Whether the window of the last createEditor may be resized. */
    bool getCanResize() const { return canResize; }
    /** The generic editor, made by `make` on first demand and kept for the wrapper's life;
        null when it cannot be made. */
    CmObject* getGenericEditor(const GenericEditorMaker& make);

    // All borrowed; each may be null.
    IEditController* getController() const { return controller; }
    IConnectionPoint* getConnectionPoint() const { return connectionPoint; }
    IUnitInfo* getUnitInfo() const { return unitInfo; }
    IEditControllerHostEditing* getHostEditing() const { return hostEditing; }
    INoteExpressionController* getNoteExpression() const { return noteExpression; }
    IKeyswitchController* getKeyswitch() const { return keyswitch; }

private:
    struct Existing
    {
    };
    QelEditController(Existing, IEditController* existing, FComponentDescription* description,
                      ProblemHandler onProblem);

    /** The interfaces beside IEditController, asked of the controller itself. */
    void queryFurtherInterfaces();
    /** Calls one IEditController2 operation; true on kResultOk. */
    template <class Call> bool callController2(const char8* what, Call&& call);

    IComponentHandler* handler = nullptr;
    CmObject* genericEditor = nullptr;
    bool canResize = false;
    IUnitInfo* unitInfo = nullptr;
    IEditController* controller = nullptr;
    IConnectionPoint* connectionPoint = nullptr;
    IEditControllerHostEditing* hostEditing = nullptr;
    INoteExpressionController* noteExpression = nullptr;
    IKeyswitchController* keyswitch = nullptr;
};

} // namespace Qel
} // namespace Quillmark

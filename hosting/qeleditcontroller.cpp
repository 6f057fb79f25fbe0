#include "hosting/qeleditcontroller.h"

#include "hosting/fcomponentregistry.h"
#include "qel3/iconnectionpoint.h"
#include "qel3/ikeyswitch.h"
#include "qel3/inoteexpression.h"
#include "qel3/iplugview.h"
#include "qel3/iunitinfo.h"

namespace Quillmark
{
namespace Qel
{

QelEditController::QelEditController(FUnknown* instance, FComponentDescription* description,
                                     ProblemHandler onProblem)
    : PlugInstance(instance, description, std::move(onProblem))
{
    controller = query<IEditController>(instance);
    queryFurtherInterfaces();
}

QelEditController::QelEditController(Existing, IEditController* existing,
                                     FComponentDescription* description, ProblemHandler onProblem)
    : PlugInstance(nullptr, description, std::move(onProblem))
{
    if (existing && guarded("addRef", [existing] { existing->addRef(); }))
        controller = existing;
    queryFurtherInterfaces();
}

QelEditController::~QelEditController()
{
    // The generic editor holds an interface of the plug-in: it goes first.
    if (genericEditor)
        genericEditor->release();
    releaseInterface(keyswitch);
    releaseInterface(noteExpression);
    releaseInterface(hostEditing);
    releaseInterface(connectionPoint);
    releaseInterface(unitInfo);
    releaseInterface(controller);
}

void QelEditController::queryFurtherInterfaces()
{
    if (!controller)
        return;
    unitInfo = query<IUnitInfo>(controller);
    connectionPoint = query<IConnectionPoint>(controller);
    hostEditing = query<IEditControllerHostEditing>(controller);
    noteExpression = query<INoteExpressionController>(controller);
    keyswitch = query<IKeyswitchController>(controller);
}

QelEditController* QelEditController::create(FComponentRegistry& registry, const FUID& cid,
                                             ProblemHandler onProblem)
{
    FComponentDescription* description = nullptr;
    FUnknown* object = createObject(registry, cid, description, onProblem);
    if (!object)
        return nullptr;
    auto* wrapper = new QelEditController(object, description, std::move(onProblem));
    if (!wrapper->initialize())
    {
        wrapper->release();
        wrapper = nullptr;
    }
    object->release();
    return wrapper;
}

QelEditController* QelEditController::wrapExisting(IEditController* existing,
                                                   FComponentDescription* description,
                                                   ProblemHandler onProblem)
{
    return new QelEditController(Existing{}, existing, description, std::move(onProblem));
}

bool QelEditController::setComponentHandler(IComponentHandler* newHandler)
{
    handler = newHandler;
    if (!controller)
        return false;
    tresult result = kResultFalse;
    guarded("setComponentHandler", [&] { result = controller->setComponentHandler(newHandler); });
    return result == kResultOk;
}

template <class Call> bool QelEditController::callController2(const char8* what, Call&& call)
{
    // Asked anew on each call: the answer is not worth keeping for calls this rare.
    auto* controller2 = query<IEditController2>(controller);
    if (!controller2)
        return false;
    tresult result = kResultFalse;
    guarded(what, [&] { result = call(controller2); });
    releaseInterface(controller2);
    return result == kResultOk;
}

bool QelEditController::setKnobMode(KnobMode mode)
{
    return callController2("setKnobMode",
                           [mode](IEditController2* c) { return c->setKnobMode(mode); });
}

bool QelEditController::openHelp(bool onlyCheck)
{
    return callController2("openHelp",
                           [onlyCheck](IEditController2* c) { return c->openHelp(onlyCheck); });
}

bool QelEditController::openAboutBox(bool onlyCheck)
{
    return callController2("openAboutBox",
                           [onlyCheck](IEditController2* c) { return c->openAboutBox(onlyCheck); });
}

CmObject* QelEditController::getGenericEditor(const GenericEditorMaker& make)
{
    if (!genericEditor && make && controller)
        genericEditor = make(*this);
    return genericEditor;
}

QelEditController::EditorChoice QelEditController::createEditor(const EditorRequest& request)
{
    EditorChoice choice;
    canResize = false;
    if (!controller)
        return choice;
    if (!request.forceGeneric && request.displayMode != kGenericDisplayMode)
    {
        setKnobMode(request.knobMode);
        IPlugView* view = nullptr;
        guarded("createView", [&] { view = controller->createView("editor"); });
        if (view)
        {
            tresult resizable = kResultFalse;
            ViewRect size;
            guarded("canResize",
                    [&]
                    {
                        resizable = view->canResize();
                        view->getSize(&size);
                    });
            if (!request.wrapView || request.wrapView(view))
            {
                canResize = resizable == kResultOk;
                choice.view = view;
                choice.width = size.getWidth();
                choice.height = size.getHeight();
                return choice;
            }
            releaseInterface(view);
        }
    }
    choice.genericEditor = getGenericEditor(request.makeGenericEditor);
    if (!choice.genericEditor)
        return choice;
    choice.width = kGenericEditorWidth;
    choice.height = kGenericEditorHeight;
    choice.scrolls = request.genericTemplateHeight > kGenericEditorHeight;
    canResize = true;
    return choice;
}

} // namespace Qel
} // namespace Quillmark

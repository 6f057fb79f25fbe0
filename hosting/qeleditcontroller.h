// The host's wrapper around the controller half of a plug-in: its IEditController and the
// smaller interfaces beside it, queried once, and the component handler it was given. The
// provider or slot that created the wrapper owns it. A wrapper around the controller of a united
// object shares that object with the component wrapper and never terminates it.
#pragma once

#include "hosting/plugininstance.h"
#include "qel3/ieditcontroller.h"

namespace Quillmark
{

class FComponentRegistry;

namespace Qel
{

class IConnectionPoint;
class IUnitInfo;
class INoteExpressionController;
class IKeyswitchController;

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
    IUnitInfo* unitInfo = nullptr;
    IEditController* controller = nullptr;
    IConnectionPoint* connectionPoint = nullptr;
    IEditControllerHostEditing* hostEditing = nullptr;
    INoteExpressionController* noteExpression = nullptr;
    IKeyswitchController* keyswitch = nullptr;
};

} // namespace Qel
} // namespace Quillmark

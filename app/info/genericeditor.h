// The generic editor: a plug-in's parameter list turned into values that a skin template binds
// to by name ("param0", "title0", "ParamID7", ...), with edits carried back to the plug-in's
// controller and to the host's component handler. The controller wrapper that makes it keeps
// it; the editor borrows the plug-in's controller, which outlives it.
#pragma once

#include "base/values/uvaluecontainer.h"
#include "base/values/uvalueproxy.h"
#include "qel3/icomponenthandler.h"
#include "qel3/ieditcontroller.h"

#include <string>
#include <vector>

namespace Quillmark
{

class GenericEditor;

namespace Qel
{
class QelEditController;
}

/** A shown parameter as a control sees it: it stands for the value the editor made from the
    parameter, and survives a rebuild of the editor. Its tag is the parameter id; its text is
    the plug-in's own. */
class ParamValueProxy : public UValueProxy
{
    QEL_DECLARE_CLASS(ParamValueProxy, UValueProxy)
public:
    ParamValueProxy(const ConstString& name, Qel::ParamID id, IValue* target, int32 parameterFlags)
        : UValueProxy(name, int32(id), target), parameterFlags(parameterFlags)
    {
    }

    Qel::ParamID getParamId() const { return Qel::ParamID(getTag()); }
    /** The `flags` of the parameter's ParameterInfo. */
    int32 getParameterFlags() const { return parameterFlags; }
    void setParameterFlags(int32 flags) { parameterFlags = flags; }

    /** With a GenericEditor as owner, the plug-in's text for the present value. */
    void getText(String& text) const override;
    /** With a GenericEditor as owner, the plug-in reads the text; otherwise as any proxy. */
    tresult setText(const ConstString& text) override;

private:
    int32 parameterFlags;
};

class GenericEditor : public FController
{
    QEL_DECLARE_CLASS(GenericEditor, FController)
public:
    /** Builds at once. `controller` is borrowed and must outlive the editor; `handler` (may be
        null) hears performEdit for every edit; `className` names the plug-in in the message
        of a call that throws. */
    GenericEditor(Qel::IEditController* controller, Qel::IComponentHandler* handler,
                  bool withoutTexts = false, const ConstString& className = ConstString());
    ~GenericEditor() override;

    /** Makes a value for every parameter but program change and bypass, numbered densely from
        0. With `reuse` the proxies at the same numbers stay and point at the new values. */
    void build(bool withoutTexts, bool reuse);
    /** The plug-in's parameters changed: new values behind the same proxies. */
    void rebuild();
    /** Every proxy reads its parameter's value from the plug-in again. */
    void refresh();
    /** A change from the plug-in's side; an unknown id does nothing. */
    void setParamValue(Qel::ParamID id, double normalized);

    int32 getParamCount() const { return paramCount; }
    /** The proxy of the n-th shown parameter (borrowed), or null. */
    ParamValueProxy* getProxy(int32 number) const;
    /** The proxy of the parameter `id` (borrowed), or null; remembered for the next search. */
    ParamValueProxy* findProxy(Qel::ParamID id);
    const UValueContainer& getValues() const { return *values; }

    /** "title%d", "unit%d", "param%d", and "ParamID" with a decimal id. */
    UValue* findValue(const ConstString& path) const override;
    /** "hasParam", "isToggle", "isDiscrete", "isReadOnly" and "isList", each with a decimal
        number of a shown parameter. */
    bool testCondition(const ConstString& name) const override;

    /** The plug-in's text for `normalized` of parameter `id`; false when it gives none. */
    bool paramText(Qel::ParamID id, double normalized, String& text) const;
    /** The plug-in's reading of `text` for parameter `id`; false when it does not read it. */
    bool paramValueOf(Qel::ParamID id, const ConstString& text, double& normalized) const;

    /** A value of this editor changed: the edit goes to the handler and the controller. */
    void onValueChanged(UValue* value) override;
    /** "BeginEdit" and "EndEdit" of a value become the host's edit gesture for the plug-in. */
    void notify(FMessage* message) override;

    /** The messages of exceptions caught in calls into the plug-in, oldest first. */
    const std::vector<std::string>& getProblems() const { return problems; }

private:
    template <class Call> bool call(const char8* what, Call&& call) const;

    Qel::IEditController* controller;
    Qel::IComponentHandler* handler;
    Qel::IEditControllerHostEditing* hostEditing = nullptr;
    ParamValueProxy* lastProxy = nullptr;
    UValueContainer* values;
    std::vector<ParamValueProxy*> proxies;
    int32 paramCount = 0;
    bool withoutTexts;
    /** Set while values follow the plug-in, so that its own values are not sent back. */
    bool followingPlugin = false;
    String className;
    mutable std::vector<std::string> problems;
};

/** The generic editor of a controller wrapper, with its component handler: what the wrapper
    makes on first demand (QelEditController::getGenericEditor). One reference for the caller;
    null when the wrapper has no controller. */
GenericEditor* makeGenericEditor(Qel::QelEditController& wrapper);

} // namespace Quillmark

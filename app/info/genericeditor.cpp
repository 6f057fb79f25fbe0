#include "app/info/genericeditor.h"

#include "app/info/recordtext.h"
#include "base/fmessage.h"
#include "base/values/ufloatvalues.h"
#include "base/values/uintvalues.h"
#include "base/values/ustringvalue.h"
#include "hosting/fpluginexception.h"
#include "hosting/qeleditcontroller.h"

#include <cstdlib>
#include <cstring>

namespace Quillmark
{

using namespace Qel;

namespace
{

/** The decimal number behind `prefix` in `name`; false when the name has another start or no
    number follows. */
bool numberAfter(const ConstString& name, const char8* prefix, int64& number)
{
    std::string text = name.toUtf8();
    size_t length = std::strlen(prefix);
    if (text.compare(0, length, prefix) != 0 || text.size() == length)
        return false;
    const char8* start = text.c_str() + length;
    char8* end = nullptr;
    long long parsed = std::strtoll(start, &end, 10);
    if (end == start || *end != '\0')
        return false;
    number = parsed;
    return true;
}

} // namespace

// --- ParamValueProxy -------------------------------------------------------------------------

void ParamValueProxy::getText(String& text) const
{
    auto* editor = FCast<GenericEditor>(getOwner());
    if (!editor)
        return UValueProxy::getText(text);
    if (!editor->paramText(getParamId(), getNormalized(), text))
        UValueProxy::getText(text);
}

tresult ParamValueProxy::setText(const ConstString& text)
{
    auto* editor = FCast<GenericEditor>(getOwner());
    if (!editor)
        return UValueProxy::setText(text);
    double normalized = 0.0;
    if (!editor->paramValueOf(getParamId(), text, normalized))
        return kResultFalse;
    return setNormalized(normalized);
}

// --- GenericEditor ---------------------------------------------------------------------------

GenericEditor::GenericEditor(IEditController* controller, IComponentHandler* handler,
                             bool withoutTexts, const ConstString& className)
    : controller(controller), handler(handler), values(new UValueContainer(this)),
      withoutTexts(withoutTexts), className(className)
{
    if (controller)
    {
        void* object = nullptr;
        tresult result = kNoInterface;
        call("queryInterface",
             [&] {
                 result =
                     controller->queryInterface(IEditControllerHostEditing::iid.bytes, &object);
             });
        if (result == kResultOk)
            hostEditing = static_cast<IEditControllerHostEditing*>(object);
    }
    build(withoutTexts, false);
}

GenericEditor::~GenericEditor()
{
    values->setHandler(nullptr);
    values->release();
    for (ParamValueProxy* proxy : proxies)
    {
        if (auto* value = FCast<UValue>(proxy->getTarget()))
            value->setOwner(nullptr);
        proxy->setOwner(nullptr);
        proxy->release();
    }
    if (hostEditing)
        call("release", [&] { hostEditing->release(); });
}

template <class Call> bool GenericEditor::call(const char8* what, Call&& work) const
{
    std::string problem;
    PluginCallGuard guard(className, &problem);
    if (guard.run(what, std::forward<Call>(work)))
        return true;
    problems.push_back(problem);
    return false;
}

void GenericEditor::build(bool noTexts, bool reuse)
{
    withoutTexts = noTexts;
    paramCount = 0;
    if (!controller)
        return;
    int32 count = 0;
    call("getParameterCount", [&] { count = controller->getParameterCount(); });
    followingPlugin = true;
    for (int32 index = 0; index < count; ++index)
    {
        ParameterInfo info{};
        tresult result = kResultFalse;
        call("getParameterInfo", [&] { result = controller->getParameterInfo(index, info); });
        if (result != kResultOk)
            continue;
        // Program changes and the bypass have their own places in the host; on the editor
        // they take no number.
        if (info.flags & (ParameterInfo::kIsProgramChange | ParameterInfo::kIsBypass))
            continue;
        if (!withoutTexts)
        {
            values->adopt(
                new UStringValue(String::format("title%d", paramCount), 0, recordText(info.title)));
            values->adopt(
                new UStringValue(String::format("unit%d", paramCount), 0, recordText(info.units)));
        }
        String name = String::format("param%d", paramCount);
        UValue* value = nullptr;
        if (info.stepCount < 1)
            value = new UFloatValue(name, int32(info.id), 0.0, 1.0, info.defaultNormalizedValue);
        else
        {
            auto* steps = new UIntValue(name, int32(info.id), 0, info.stepCount,
                                        int32(info.stepCount * info.defaultNormalizedValue));
            steps->setStyle(info.stepCount == 1 ? UValue::kStyleToggle : UValue::kStyleDiscrete);
            value = steps;
        }
        value->setEnabled(!(info.flags & ParameterInfo::kIsReadOnly));
        value->setWrapAround((info.flags & ParameterInfo::kIsWrapAround) != 0);
        value->setReportEdits(!value->isEditing() && value->isEnabled() && hostEditing);
        value->setOwner(this);

        ParamValueProxy* proxy = nullptr;
        if (reuse && size_t(paramCount) < proxies.size())
        {
            proxy = proxies[size_t(paramCount)];
            proxy->setTarget(value);
            proxy->setParameterFlags(info.flags);
        }
        else
        {
            proxy = new ParamValueProxy(name, info.id, value, info.flags);
            proxies.push_back(proxy);
        }
        value->release(); // the proxy holds it
        proxy->setOwner(this);
        double current = 0.0;
        call("getParamNormalized", [&] { current = controller->getParamNormalized(info.id); });
        proxy->setNormalized(current);
        values->addValue(proxy, name);
        ++paramCount;
    }
    followingPlugin = false;
}

void GenericEditor::rebuild()
{
    // A proxy that lets go of its value announces a change; that is no edit of the user's.
    followingPlugin = true;
    for (ParamValueProxy* proxy : proxies)
    {
        if (auto* value = FCast<UValue>(proxy->getTarget()))
            value->setOwner(nullptr);
        proxy->setTarget(nullptr);
    }
    values->removeAll();
    lastProxy = nullptr;
    build(withoutTexts, true);
}

void GenericEditor::refresh()
{
    if (!controller)
        return;
    followingPlugin = true;
    for (int32 number = 0; number < paramCount; ++number)
    {
        ParamValueProxy* proxy = proxies[size_t(number)];
        double current = 0.0;
        if (call("getParamNormalized",
                 [&] { current = controller->getParamNormalized(proxy->getParamId()); }))
            proxy->setNormalized(current);
    }
    followingPlugin = false;
}

ParamValueProxy* GenericEditor::getProxy(int32 number) const
{
    if (number < 0 || number >= paramCount)
        return nullptr;
    return proxies[size_t(number)];
}

ParamValueProxy* GenericEditor::findProxy(ParamID id)
{
    if (lastProxy && lastProxy->getParamId() == id)
        return lastProxy;
    for (int32 number = 0; number < paramCount; ++number)
        if (proxies[size_t(number)]->getParamId() == id)
            return lastProxy = proxies[size_t(number)];
    return nullptr;
}

void GenericEditor::setParamValue(ParamID id, double normalized)
{
    ParamValueProxy* proxy = findProxy(id);
    if (!proxy)
        return;
    followingPlugin = true;
    proxy->setNormalized(normalized);
    followingPlugin = false;
}

UValue* GenericEditor::findValue(const ConstString& path) const
{
    int64 id = 0;
    if (numberAfter(path, "ParamID", id))
    {
        if (id < 0 || id > 0xFFFFFFFFll)
            return nullptr;
        return const_cast<GenericEditor*>(this)->findProxy(ParamID(id));
    }
    return values->findValue(path);
}

bool GenericEditor::testCondition(const ConstString& name) const
{
    struct Condition
    {
        const char8* prefix;
        bool (*test)(const ParamValueProxy& proxy);
    };
    static constexpr Condition kConditions[] = {
        {"hasParam", [](const ParamValueProxy&) { return true; }},
        {"isToggle",
         [](const ParamValueProxy& proxy) { return proxy.getStyle() == UValue::kStyleToggle; }},
        {"isDiscrete",
         [](const ParamValueProxy& proxy) { return proxy.getStyle() == UValue::kStyleDiscrete; }},
        {"isReadOnly",
         [](const ParamValueProxy& proxy)
         {
             auto* value = FCast<UValue>(proxy.getTarget());
             return value && !value->isEnabled();
         }},
        // A list is a parameter whose flags are the list flag alone, or a discrete one of a
        // small span: a list that can also be automated passes only by its span.
        {"isList",
         [](const ParamValueProxy& proxy)
         {
             return proxy.getParameterFlags() == ParameterInfo::kIsList ||
                    (proxy.getStyle() == UValue::kStyleDiscrete &&
                     proxy.getMax() - proxy.getMin() < 10);
         }},
    };
    for (const Condition& condition : kConditions)
    {
        int64 number = 0;
        if (!numberAfter(name, condition.prefix, number))
            continue;
        if (number < 0 || number >= paramCount)
            return false;
        return condition.test(*proxies[size_t(number)]);
    }
    return false;
}

bool GenericEditor::paramText(ParamID id, double normalized, String& text) const
{
    if (!controller)
        return false;
    RecordTextBuffer buffer;
    tresult result = kResultFalse;
    if (!call("getParamStringByValue",
              [&] { result = controller->getParamStringByValue(id, normalized, buffer.units); }) ||
        result != kResultOk)
        return false;
    text = buffer.text();
    return true;
}

bool GenericEditor::paramValueOf(ParamID id, const ConstString& text, double& normalized) const
{
    if (!controller)
        return false;
    // The plug-in gets a terminated text of its own to read, never the host's storage.
    std::u16string units = text.toUtf16();
    tresult result = kResultFalse;
    ParamValue answer = 0.0;
    if (!call("getParamValueByString",
              [&] { result = controller->getParamValueByString(id, units.data(), answer); }) ||
        result != kResultOk)
        return false;
    normalized = answer;
    return true;
}

void GenericEditor::onValueChanged(UValue* value)
{
    auto* proxy = FCast<ParamValueProxy>(value);
    if (!proxy || followingPlugin || !controller)
        return;
    ParamID id = proxy->getParamId();
    // The value travels in single precision, the precision a control's value is kept in.
    float normalized = float(proxy->getNormalized());
    if (handler)
        call("performEdit", [&] { handler->performEdit(id, normalized); });
    call("setParamNormalized", [&] { controller->setParamNormalized(id, normalized); });
}

void GenericEditor::notify(FMessage* message)
{
    if (!message || !hostEditing)
        return FController::notify(message);
    bool begin = message->is("BeginEdit");
    if (!begin && !message->is("EndEdit"))
        return FController::notify(message);
    auto* value = FCast<UValue>(message->getObject("Value"));
    if (!value)
        return;
    auto id = ParamID(value->getTag());
    if (begin)
        call("beginEditFromHost", [&] { hostEditing->beginEditFromHost(id); });
    else
        call("endEditFromHost", [&] { hostEditing->endEditFromHost(id); });
}

GenericEditor* makeGenericEditor(QelEditController& wrapper)
{
    if (!wrapper.getController())
        return nullptr;
    return new GenericEditor(wrapper.getController(), wrapper.getComponentHandler(), false,
                             wrapper.getClassName());
}

} // namespace Quillmark

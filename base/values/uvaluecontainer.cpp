#include "base/values/uvaluecontainer.h"

#include "base/fdefaults.h"
#include "base/updatehandler.h"
#include "base/values/ufloatvalues.h"
#include "base/values/ustringvalue.h"

#include <algorithm>
#include <limits>

namespace Quillmark
{

namespace
{
constexpr size_t kInitialRoom = 10;
} // namespace

UValueContainer::UValueContainer(IHostController* handler) : handler(handler)
{
    values.reserve(kInitialRoom);
    names.reserve(kInitialRoom);
}

UValueContainer::~UValueContainer()
{
    removeAll();
    for (FControllerEntry& entry : controllers)
        entry.controller->release();
}

bool UValueContainer::addValue(UValue* value, const ConstString& name)
{
    if (!value || std::find(values.begin(), values.end(), value) != values.end())
        return false;
    value->addRef();
    values.push_back(value);
    names.emplace_back(name.isEmpty() ? value->getName() : String(name));
    if (UpdateHandler* updates = UpdateHandler::instance())
        updates->addDependent(value->unknown(), this);
    return true;
}

void UValueContainer::forget(size_t index, bool releaseValue)
{
    UValue* value = values[index];
    values.erase(values.begin() + std::ptrdiff_t(index));
    names.erase(names.begin() + std::ptrdiff_t(index));
    if (UpdateHandler* updates = UpdateHandler::instance())
        updates->removeDependent(value->unknown(), this);
    if (releaseValue)
        value->release();
}

bool UValueContainer::removeValue(UValue* value)
{
    auto it = std::find(values.begin(), values.end(), value);
    if (it == values.end())
        return false;
    forget(size_t(it - values.begin()), true);
    return true;
}

void UValueContainer::removeAll()
{
    while (!values.empty())
        forget(values.size() - 1, true);
}

UValue* UValueContainer::valueAt(int32 index) const
{
    return index >= 0 && index < countValues() ? values[size_t(index)] : nullptr;
}

String UValueContainer::nameAt(int32 index) const
{
    return index >= 0 && index < countValues() ? names[size_t(index)] : String();
}

int32 UValueContainer::indexOf(const ConstString& name) const
{
    for (size_t i = 0; i < names.size(); ++i)
        if (names[i] == name)
            return int32(i);
    return -1;
}

UValue* UValueContainer::findValueByTag(int32 tag) const
{
    for (UValue* value : values)
        if (value->getTag() == tag)
            return value;
    return nullptr;
}

void UValueContainer::press(int32 tag)
{
    UValue* value = findValueByTag(tag);
    if (!value)
        return;
    if (value->getInt() == 1)
        onValueChanged(value);
    else
        value->setInt(1);
}

UValue* UValueContainer::findValue(const ConstString& path) const
{
    if (!dottedPaths)
        return valueAt(indexOf(path));
    std::string text = path.toUtf8();
    size_t lastDot = text.rfind('.');
    if (lastDot == std::string::npos)
        return valueAt(indexOf(path));
    // Every component before the last names a child of the controller reached so far.
    const FController* current = this;
    size_t start = 0;
    while (start <= lastDot)
    {
        size_t dot = text.find('.', start);
        current = current->findController(String(text.substr(start, dot - start)));
        if (!current)
            return nullptr;
        start = dot + 1;
    }
    return current->findValue(String(text.substr(lastDot + 1)));
}

bool UValueContainer::addController(const ConstString& name, FController* controller)
{
    if (!controller || findController(name))
        return false;
    controller->addRef();
    controllers.push_back({String(name), controller});
    return true;
}

bool UValueContainer::removeController(const ConstString& name)
{
    for (auto it = controllers.begin(); it != controllers.end(); ++it)
    {
        if (it->name == name)
        {
            FController* controller = it->controller;
            controllers.erase(it);
            controller->release();
            return true;
        }
    }
    return false;
}

FController* UValueContainer::findController(const ConstString& name) const
{
    for (const FControllerEntry& entry : controllers)
        if (entry.name == name)
            return entry.controller;
    return nullptr;
}

void UValueContainer::storeValues(FDefaults& section) const
{
    for (size_t i = 0; i < values.size(); ++i)
    {
        std::string key = names[i].toUtf8();
        if (key.empty())
            continue;
        UValue* value = values[i];
        if (FCast<UStringValue>(static_cast<FObject*>(value)))
        {
            String text;
            value->getText(text);
            section.setString(key.c_str(), text);
        }
        else if (FCast<UFloatValue>(static_cast<FObject*>(value)))
            section.setFloat(key.c_str(), value->getFloat());
        else
            section.setInt(key.c_str(), value->getInt());
    }
}

void UValueContainer::restoreValues(const FDefaults& section)
{
    // A value's dependents may change the container while it restores, so each step takes a
    // reference and looks the entry up afresh.
    for (size_t i = 0; i < values.size(); ++i)
    {
        UValue* value = values[i];
        std::string key = names[i].toUtf8();
        if (key.empty())
            continue;
        value->addRef();
        if (FCast<UStringValue>(static_cast<FObject*>(value)))
        {
            String text;
            if (section.getString(key.c_str(), text))
                value->setText(text);
        }
        else if (FCast<UFloatValue>(static_cast<FObject*>(value)))
        {
            double number = 0;
            if (section.getFloat(key.c_str(), number))
                value->setFloat(number);
        }
        else
        {
            int64 number = 0;
            if (section.getInt(key.c_str(), number))
                value->setInt(int32(std::clamp<int64>(number, std::numeric_limits<int32>::min(),
                                                      std::numeric_limits<int32>::max())));
        }
        value->release();
    }
}

void UValueContainer::update(FObject* sender, int32 message)
{
    auto* value = FCast<UValue>(sender);
    if (!value)
        return;
    if (message == kDestroyed)
    {
        // Only a value that was never counted can end while the container holds it; its
        // count must not be touched any more.
        auto it = std::find(values.begin(), values.end(), value);
        if (it != values.end())
            forget(size_t(it - values.begin()), false);
        return;
    }
    if (message != kChanged)
        return;
    if (handler)
        handler->valueChanged(value);
    else
        onValueChanged(value);
}

} // namespace Quillmark

#include "base/values/uvaluelinker.h"

#include "base/values/ufloatvalues.h"
#include "base/updatehandler.h"
#include "base/values/ustringvalue.h"

#include <algorithm>

namespace Quillmark
{

UValueLinker::UValueLinker(Mode mode) : mode(mode) {}

UValueLinker::~UValueLinker()
{
    removeAll();
}

bool UValueLinker::addValue(UValue* value)
{
    if (!value || std::find(values.begin(), values.end(), value) != values.end())
        return false;
    value->addRef();
    values.push_back(value);
    if (UpdateHandler* updates = UpdateHandler::instance())
        updates->addDependent(value->unknown(), this);
    if (values.size() > 1)
    {
        propagating = true;
        copyValue(values.front(), value);
        propagating = false;
    }
    return true;
}

void UValueLinker::forget(size_t index, bool releaseValue)
{
    UValue* value = values[index];
    values.erase(values.begin() + std::ptrdiff_t(index));
    if (UpdateHandler* updates = UpdateHandler::instance())
        updates->removeDependent(value->unknown(), this);
    if (releaseValue)
        value->release();
}

bool UValueLinker::removeValue(UValue* value)
{
    auto it = std::find(values.begin(), values.end(), value);
    if (it == values.end())
        return false;
    forget(size_t(it - values.begin()), true);
    return true;
}

void UValueLinker::removeAll()
{
    while (!values.empty())
        forget(values.size() - 1, true);
}

UValue* UValueLinker::valueAt(int32 index) const
{
    return index >= 0 && index < countValues() ? values[size_t(index)] : nullptr;
}

void UValueLinker::copyValue(UValue* source, UValue* target) const
{
    if (mode == Mode::kNormalized)
        target->setNormalized(source->getNormalized());
    else if (FCast<UStringValue>(static_cast<FObject*>(source)))
    {
        String text;
        source->getText(text);
        target->setText(text);
    }
    else if (FCast<UFloatValue>(static_cast<FObject*>(source)))
        target->setFloat(source->getFloat());
    else
        target->setInt(source->getInt());
}

void UValueLinker::update(FObject* sender, int32 message)
{
    auto* source = FCast<UValue>(sender);
    auto it = std::find(values.begin(), values.end(), source);
    if (!source || it == values.end())
        return;
    if (message == kDestroyed)
    {
        // Only a value that was never counted can end while linked; leave its count alone.
        forget(size_t(it - values.begin()), false);
        return;
    }
    if (message != kChanged || propagating)
        return;
    propagating = true;
    source->addRef();
    // A copy, since a dependent of a target may unlink values meanwhile; each target is kept
    // alive by its own reference while it is set.
    std::vector<UValue*> targets = values;
    for (UValue* target : targets)
        target->addRef();
    for (UValue* target : targets)
    {
        if (target != source)
            copyValue(source, target);
        target->release();
    }
    source->release();
    propagating = false;
}

} // namespace Quillmark

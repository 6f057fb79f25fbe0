#include "base/fcapabilities.h"

#include "base/singleton.h"

#include <cstdio>

namespace Quillmark
{

namespace
{

std::string keyText(const char8* key)
{
    return key ? key : "";
}

} // namespace

FCapabilities* FCapabilities::instance()
{
    return singletonInstance<FCapabilities>();
}

void FCapabilities::setValue(const char8* key, int64 value)
{
    FGuard guard(lock);
    values[keyText(key)] = value;
}

void FCapabilities::removeValue(const char8* key)
{
    FGuard guard(lock);
    values.erase(keyText(key));
}

int64 FCapabilities::getValue(const char8* key) const
{
    FGuard guard(lock);
    auto it = values.find(keyText(key));
    return it == values.end() ? 0 : it->second;
}

bool FCapabilities::warnOnce(const char8* key, const char8* text)
{
    WarningHandler show;
    {
        FGuard guard(lock);
        if (!warned.insert(keyText(key)).second)
            return false;
        show = handler;
    }
    // Called without the lock, so a handler may itself ask the table.
    if (show)
        show(key, text ? text : "");
    else
        std::fprintf(stderr, "%s\n", text ? text : "");
    return true;
}

void FCapabilities::setWarningHandler(WarningHandler newHandler)
{
    FGuard guard(lock);
    handler = std::move(newHandler);
}

void FCapabilities::clear()
{
    FGuard guard(lock);
    values.clear();
    warned.clear();
}

} // namespace Quillmark

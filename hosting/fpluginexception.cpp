#include "hosting/fpluginexception.h"

namespace Quillmark
{

std::string PluginCallGuard::message(const std::string& className)
{
    return std::string(kPluginExceptionText) + className;
}

void PluginCallGuard::report(const char8* what, const char8* detail)
{
    exceptionCaught = true;
    if (!problem)
        return;
    *problem = message(className);
    *problem += " (";
    *problem += what;
    if (detail)
    {
        *problem += ": ";
        *problem += detail;
    }
    *problem += ")";
}

} // namespace Quillmark

// Runs calls into plug-in code so that a C++ exception never crosses into the host: it is caught
// at the module border and turned into the message the user sees, naming the class.
#pragma once

#include "base/fstring.h"

#include <exception>
#include <string>

namespace Quillmark
{

/** The text shown when a call into a plug-in ended in an exception; the class name follows. */
inline constexpr const char8* kPluginExceptionText =
    "An exception occurred. Save your work and restart the application.\nThe exception was "
    "thrown because of the plug-in :";

class PluginCallGuard
{
public:
    /** `problem`, when given, receives the message of a caught exception. */
    PluginCallGuard(const ConstString& className, std::string* problem)
        : className(className.toUtf8()), problem(problem)
    {
    }

    /** Runs `call`; true when it returned normally. */
    template <class Call> bool run(const char8* what, Call&& call)
    {
        try
        {
            call();
            return true;
        }
        catch (const std::exception& e)
        {
            report(what, e.what());
        }
        catch (...)
        {
            report(what, nullptr);
        }
        return false;
    }

    bool caught() const { return exceptionCaught; }

    /** The user's message for an exception from the plug-in class `className`. */
    static std::string message(const std::string& className);

private:
    void report(const char8* what, const char8* detail);

    std::string className;
    std::string* problem;
    bool exceptionCaught = false;
};

} // namespace Quillmark

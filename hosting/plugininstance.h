// The host's side of one living plug-in object: it keeps the object the registry made and the
// description of its class, initializes the object with the host context and terminates it when
// the last host reference goes. Whoever creates a wrapper owns it by reference.
#pragma once

#include "base/fobject.h"
#include "hosting/fcomponentdescription.h"
#include "hosting/fpluginexception.h"

#include <functional>
#include <string>
#include <utility>

namespace Quillmark
{
class FComponentRegistry;
namespace Qel
{

class PlugInstance : public CmObject
{
    QEL_DECLARE_CLASS(PlugInstance, CmObject)
public:
    /** Receives the user's message for an exception caught in a call into the plug-in. */
    using ProblemHandler = std::function<void(const std::string& message)>;

    /** Holds references of its own to both. A null `instance` makes a wrapper around an object
        that someone else initialized: it never initializes or terminates anything. */
    PlugInstance(FUnknown* instance, FComponentDescription* description,
                 ProblemHandler onProblem = {});
    /** Terminates the object through IPluginBase, then lets go of it and of the description. */
    ~PlugInstance() override;
    PlugInstance(const PlugInstance&) = delete;
    PlugInstance& operator=(const PlugInstance&) = delete;

    /** checkInterfaces, then IPluginBase::initialize with the host context; true when that
        answers kResultOk, and true for an object without IPluginBase. */
    virtual bool initialize();
    /** Whether the object offers what this kind of wrapper needs. */
    virtual bool checkInterfaces() { return true; }

    FComponentDescription* getDescription() const { return description; }
    /** The object the registry made; null for a wrapper around an existing object. */
    FUnknown* getInstance() const { return instance; }
    /** The class's name, as messages about the plug-in show it. */
    String getClassName() const;

    /** The message of the last exception caught in a call into this plug-in, or empty. */
    const std::string& getLastProblem() const { return lastProblem; }
    void setProblemHandler(ProblemHandler handler) { problemHandler = std::move(handler); }

    /** Runs `call`, a call into the plug-in, so that no exception leaves it: a caught one is
        reported by the class's name and the answer is false. */
    template <class Call> bool guarded(const char8* what, Call&& call)
    {
        std::string problem;
        PluginCallGuard guard(getClassName(), &problem);
        if (guard.run(what, std::forward<Call>(call)))
            return true;
        reportProblem(problem);
        return false;
    }

    /** Interface `I` of `from`, with a reference for the caller, or null. */
    template <class I> I* query(FUnknown* from)
    {
        if (!from)
            return nullptr;
        void* object = nullptr;
        tresult result = kNoInterface;
        guarded("queryInterface", [&] { result = from->queryInterface(iidOf<I>(), &object); });
        // A refusal that still fills the pointer is not trusted with a release.
        return result == kResultOk ? static_cast<I*>(object) : nullptr;
    }

    /** Releases an interface of the plug-in and clears the pointer. */
    template <class I> void releaseInterface(I*& pointer)
    {
        if (!pointer)
            return;
        I* held = pointer;
        pointer = nullptr;
        guarded("release", [held] { held->release(); });
    }

protected:
    void reportProblem(const std::string& message);

    /** Asks the registry for a new object of class `cid` (one reference for the caller) and
        its description. When creation failed because the factory threw, `onProblem` hears the
        user's message. */
    static FUnknown* createObject(FComponentRegistry& registry, const FUID& cid,
                                  FComponentDescription*& description,
                                  const ProblemHandler& onProblem);

private:
    FComponentDescription* description;
    FUnknown* instance;
    ProblemHandler problemHandler;
    std::string lastProblem;
};

} // namespace Qel
} // namespace Quillmark

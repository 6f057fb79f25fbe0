// The host's wrapper around the processing half of a plug-in: the object's IComponent and its
// connection point, queried once when the wrapper is made. The provider or slot that created
// the wrapper owns it; the wrapper owns the plug-in object.
#pragma once

#include "hosting/plugininstance.h"
#include "qel3/icomponent.h"

#include <atomic>

namespace Quillmark
{

class FComponentRegistry;

namespace Qel
{

class IConnectionPoint;

class QelComponent : public PlugInstance
{
    QEL_DECLARE_CLASS(QelComponent, PlugInstance)
public:
    /** Queries IComponent and IConnectionPoint from `instance`; either may be missing. */
    QelComponent(FUnknown* instance, FComponentDescription* description,
                 ProblemHandler onProblem = {});
    ~QelComponent() override;

    /** Creates class `cid` through `registry` and initializes it. Null when the class cannot be
        made, has no IComponent or refuses to initialize; the object is then released again.
        On success the wrapper holds the only host reference to the object. */
    static QelComponent* create(FComponentRegistry& registry, const FUID& cid,
                                ProblemHandler onProblem = {});

    /** The number of wrappers alive in the process. */
    static int32 liveCount() { return live.load(); }

    bool checkInterfaces() override { return component != nullptr; }

    /** Borrowed; null when the object is no component. */
    IComponent* getComponent() const { return component; }
    /** Borrowed; null when the object cannot be connected. */
    IConnectionPoint* getConnectionPoint() const { return connectionPoint; }

private:
    IComponent* component = nullptr;
    IConnectionPoint* connectionPoint = nullptr;

    static std::atomic<int32> live;
};

} // namespace Qel
} // namespace Quillmark

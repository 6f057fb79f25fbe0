// Carries the parameter values a plug-in reports from its process call to its edit controller.
// The audio thread only stores them and raises a flag; the next "Idle" message on the main
// thread hands them to IEditController::setParamNormalized. So a controller is never called
// from the audio thread. Owned by the slot of the plug-in; listens while started.
#pragma once

#include "engine/parameterchanges.h"
#include "qel3/ieditcontroller.h"
#include "qelhost/ieventreceiver.h"

#include <atomic>

namespace Quillmark
{
namespace MiniEngine
{

class PendingParameterChanges : public CmObject, public IParamListener
{
    QEL_DECLARE_CLASS(PendingParameterChanges, CmObject)
public:
    /** At most this many different parameters wait between two "Idle" messages. */
    static constexpr int32 kMaxPending = 64;

    /** `controller` gets a reference of its own; its parameter count sizes the queue. */
    explicit PendingParameterChanges(Qel::IEditController* controller);
    ~PendingParameterChanges() override;

    /** Registers for "Idle" with the main loop, and leaves again. */
    void start();
    void stop();
    bool hasPending() const { return pendingFlag.load(std::memory_order_acquire); }

    // IParamListener, on the audio thread
    void parameterChanged(int32 id, double value) override;

    /** "Idle": each waiting value goes to the controller, and its queue is freed. */
    void notify(FMessage* message) override;

    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

private:
    Qel::IEditController* controller;
    MultiParameterChange pendingChanges;
    std::atomic<bool> pendingFlag{false};
    bool started = false;
};

} // namespace MiniEngine
} // namespace Quillmark

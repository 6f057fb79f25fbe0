// Renders one plug-in offline through the engine's own pieces: an operator root with a signal
// source at the plug-in's inputs, the plug-in in a slot operator, and a sink at its outputs.
// Each format gets its share of the time; inputs alternate noise and silence, notes go through
// the slot's event ring, every automatable parameter moves through the slot's queues at random
// times, all drawn from one seed. The rendering runs on a thread of its own, where the
// observer hears of every block. Owned by the caller; the plug-in's two interfaces are borrowed.
#pragma once

#include "qel3/icomponent.h"
#include "qel3/ieditcontroller.h"
#include "rtcheck/renderobserver.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Quillmark
{

struct RenderPlan
{
    std::vector<RenderFormat> formats;
    double seconds = 20.0; // over all formats
    uint64_t seed = 1;
    bool watch = true; // false: the same render with no call watched

    /** The formats of a check: small and large blocks at the common rates. */
    static std::vector<RenderFormat> standardFormats();
};

/** A parameter that the render moves. */
struct MovedParameter
{
    Qel::ParamID id = 0;
    std::string title;
};

class OfflineRender
{
public:
    /** `name` names the plug-in in the engine. */
    OfflineRender(Qel::IComponent* component, Qel::IEditController* controller, std::string name);

    /** Renders the plan; false with `problem` set when the engine cannot take the plug-in. */
    bool run(const RenderPlan& plan, RenderObserver& observer, std::string& problem);

    /** The automatable parameters, in the order of the values in each block. */
    const std::vector<MovedParameter>& getParameters() const { return parameters; }
    /** "Title=0.6250 (text)" for each value, as the controller shows it; main thread only. */
    std::string describe(const std::vector<double>& values) const;
    /** Whether the plug-in had an event input, so notes were played. */
    bool playedNotes() const { return notes; }
    /** Whether the plug-in had audio inputs, so noise and silence were fed. */
    bool fedInputs() const { return inputs; }

private:
    Qel::IComponent* component;
    Qel::IEditController* controller;
    std::string name;
    std::vector<MovedParameter> parameters;
    bool notes = false;
    bool inputs = false;
};

} // namespace Quillmark

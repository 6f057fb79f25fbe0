// "All MIDI Inputs": one source that carries what every MIDI input of the studio plays, so a
// new slot finds one source that hears every keyboard. Its sink takes the inputs that the user
// has not left out; its source hands their events on. Owned by whoever starts the MIDI devices.
#pragma once

#include "devices/midi/pmidiports.h"
#include "devices/ports/pdevice.h"

#include <string>
#include <vector>

namespace Quillmark
{

class FAttributes;

class PMergedMidiInput : public PDevice
{
    QEL_DECLARE_CLASS(PMergedMidiInput, PDevice)
public:
    static constexpr const char8* kName = "All MIDI Inputs";

    explicit PMergedMidiInput(PPortRegistry* registry);
    ~PMergedMidiInput() override;

    /** The sink that the inputs connect to. */
    PMidiInput* getMergedInput() const { return mergedInput; }
    /** The source that slots connect to. */
    PMidiOutput* getMergedOutput() const { return mergedOutput; }

    /** Connects every source port of type "midi" among `sources` that is not excluded and not
        merged itself (so no merged port ever feeds itself); answers how many were connected
        now. */
    int32 addInputs(const std::vector<PPort*>& sources);
    /** Leaves a source out (disconnecting it) or takes it back in. */
    void setExcluded(PPort* source, bool excluded);
    bool isExcluded(const PPort* source) const;

    /** "Excluded" with the attribute "PortIDs": the unique names of the sources left out. */
    void store(FAttributes& attributes) const;
    void restore(const FAttributes& attributes);

private:
    class MergedInput;

    PMidiInput* mergedInput = nullptr;
    PMidiOutput* mergedOutput = nullptr;
    std::vector<std::string> excluded; // unique names
};

} // namespace Quillmark

// The MIDI side of the studio's start ("MIDI Device" at boot): the two interfaces of this system,
// "ALSA MIDI" and "JACK MIDI", with their settings, and "All MIDI Inputs" fed by every input
// they offer. A missing interface is reported and looked for again on the studio's timer; it
// never stops the start. Owned by the studio; its devices live as long as it does.
#pragma once

#include "devices/midi/palsamididevice.h"
#include "devices/midi/pjackmididevice.h"
#include "devices/midi/pmergedmidiinput.h"

#include <string>
#include <vector>

namespace Quillmark
{

class MidiDriverSet
{
public:
    MidiDriverSet(const MidiDriverOptions& options, PPortRegistry* registry);
    /** Closes every socket, as at the end of the program. */
    ~MidiDriverSet();
    MidiDriverSet(const MidiDriverSet&) = delete;
    MidiDriverSet& operator=(const MidiDriverSet&) = delete;

    /** Opens what this system has, applies the settings of `pool` (may be null), and connects
        every input to "All MIDI Inputs". What is missing is added to `problems` (may be null)
        as one line per interface. */
    void start(FDefaultPool* pool, std::vector<std::string>* problems = nullptr);
    /** Writes the settings to `pool` (may be null) and closes every socket. */
    void stop(FDefaultPool* pool);
    /** On a timer of the main loop: a JACK server that went away, or was never there, is
        looked for again; the inputs it brings join "All MIDI Inputs". */
    void checkDevices();

    /** The filter every input obeys; borrowed, null lets everything pass. */
    void setFilter(MidiSupport::PMidiFilterSetup* filter);

    PAlsaMidiDevice* getAlsa() const { return alsa; }
    PJackMidiDevice* getJack() const { return jack; }
    PMergedMidiInput* getMerged() const { return merged; }
    /** The interfaces that are open now. */
    std::vector<PMidiInterface*> getOpenInterfaces() const;

private:
    void collectInputs(PMidiInterface* device);

    PAlsaMidiDevice* alsa;
    PJackMidiDevice* jack;
    PMergedMidiInput* merged;
    bool alsaOpen = false;
    MidiSupport::PMidiFilterSetup* filter = nullptr;
};

} // namespace Quillmark

// "ALSA MIDI": the ports of the ALSA sequencer as sockets of the studio. Each input that is in
// use has a sequencer connection and a thread of its own that waits for its events; the outputs
// share one connection of the device, with one port of ours per output, and play from the
// device's scheduling thread. Created and owned by whoever starts the studio's MIDI devices.
#pragma once

#include "devices/midi/pmidiinterface.h"

#include <string>

typedef struct _snd_seq snd_seq_t;

namespace Quillmark
{

class PAlsaMidiDevice : public PMidiInterface
{
    QEL_DECLARE_CLASS(PAlsaMidiDevice, PMidiInterface)
public:
    static constexpr const char8* kName = "ALSA MIDI";
    static constexpr const char8* kSettingsSection = "ALSA MIDI";
    static constexpr const char8* kClientName = "Qel3PluginTestHost";

    PAlsaMidiDevice(const MidiDriverOptions& options, PPortRegistry* registry);
    ~PAlsaMidiDevice() override;

    /** True when this system has a sequencer to talk to. */
    static bool isSequencerPresent();

    /** Opens the sequencer, makes a socket for every port of the other clients that can be
        read from or written to, and starts the scheduling thread. False with a reason when
        there is no sequencer. */
    bool open(std::string* problem = nullptr);
    void close() override;
    /** Our client number in the sequencer, -1 while closed. */
    int32 getClientId() const;

private:
    class InSocket;
    class OutSocket;

    void createSockets();

    MidiDriverOptions options;
    snd_seq_t* seq = nullptr;             // the outputs' connection, also used to list the ports
    FLock outputLock{"ALSA MIDI output"}; // the sequencer connection is not thread safe
    std::vector<InSocket*> inSockets;
    std::vector<OutSocket*> outSockets;
};

} // namespace Quillmark

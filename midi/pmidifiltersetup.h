// Which MIDI messages, channels and controllers the host lets through from its inputs. One
// process-wide instance; the host only stores the switches and hands them to the drivers.
#pragma once

#include "base/fobject.h"

namespace Quillmark
{

class FAttributes;

namespace MidiSupport
{

class PMidiFilterSetup : public FObject
{
public:
    static constexpr uint32 kInitialFilterStates = 0x2040;
    static constexpr int32 kControllerCount = 128;
    static constexpr int32 kStateCount = 123;

    /** The process-wide instance; null once the process has started ending. */
    static PMidiFilterSetup* instance();

    PMidiFilterSetup();

    uint32 getFilterStates() const { return filterStates; }
    void setFilterStates(uint32 states) { filterStates = states; }
    uint32 getChannelStates() const { return channelStates; }
    void setChannelStates(uint32 states) { channelStates = states; }
    bool isControllerOn(int32 controller) const;
    void setControllerOn(int32 controller, bool state);
    /** One byte per message kind of the filter dialog; 0 outside the array. */
    uint8 getState(int32 index) const
    {
        return index >= 0 && index < kStateCount ? states[index] : 0;
    }
    void setState(int32 index, uint8 value)
    {
        if (index >= 0 && index < kStateCount)
            states[index] = value;
    }

    /** Writes "filterStates", "channelStates" and "Controllers". */
    void store(FAttributes& attributes) const;
    /** Reads what is there; missing keys keep their values. */
    void restore(const FAttributes& attributes);

    QEL_DECLARE_CLASS(PMidiFilterSetup, FObject)

private:
    uint32 filterStates = kInitialFilterStates;
    uint32 channelStates = 0;
    bool controllers[kControllerCount] = {};
    uint8 states[kStateCount] = {};
};

} // namespace MidiSupport
} // namespace Quillmark

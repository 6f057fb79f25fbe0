#include "engine/qeleventinput.h"

#include "midi/pevent.h"
#include "qel3/iunitinfo.h"

#include <algorithm>
#include <vector>

namespace Quillmark
{
namespace MiniEngine
{

using namespace Qel;

namespace
{

/** Holds the lock if a single try got it. */
class TryGuard
{
public:
    explicit TryGuard(FLock& lock) : lock(lock), held(lock.trylock()) {}
    ~TryGuard()
    {
        if (held)
            lock.unlock();
    }
    TryGuard(const TryGuard&) = delete;
    TryGuard& operator=(const TryGuard&) = delete;
    bool isHeld() const { return held; }

private:
    FLock& lock;
    bool held;
};

} // namespace

QelEventInput::QelEventInput(int32 busIndex, bool legacyOutput)
    : busIndex(busIndex), legacyOutput(legacyOutput)
{
    std::fill(std::begin(programParams), std::end(programParams), -1);
    std::fill(std::begin(programCounts), std::end(programCounts), 0);
    for (auto& map : controllerMaps)
    {
        map = std::make_unique<int32[]>(kMapSize);
        std::fill_n(map.get(), kMapSize, -1);
    }
}

void QelEventInput::receive(const MidiMessage& message)
{
    const uint8 type = messageType(message.status);
    if (type < 0x80 || type >= 0xf0)
        return;
    const int32 channel = message.status & 0x0f;
    if (channelFilter != -1 && channel != channelFilter)
        return;
    FGuard guard(lock);
    switch (type)
    {
    case 0x80:
        noteEvents.add(message);
        heldNotes[channel][message.data1 & 0x7f] = 0;
        break;
    case 0x90:
        noteEvents.add(message);
        if (message.data2 == 0)
            heldNotes[channel][message.data1 & 0x7f] = 0;
        else
            ++heldNotes[channel][message.data1 & 0x7f];
        break;
    case 0xa0:
        noteEvents.add(message);
        break;
    default: // 0xb0 to 0xe0
        if (legacyOutput)
            noteEvents.add(message);
        else
        {
            controllerEvents.add(message);
            recordControllerEvents.add(message);
        }
        break;
    }
}

bool QelEventInput::toMessage(PEvent* event, MidiMessage& message)
{
    auto* midi = FCast<PMidiEvent>(static_cast<FObject*>(event));
    if (!midi)
        return false;
    message.status = midi->getStatus();
    message.data1 = midi->getData1();
    message.data2 = midi->getData2();
    message.live = (midi->getFlags() & kLiveFlag) != 0;
    message.hasDetune = false; // the event carries no detune value of its own
    message.detune = 0.0f;
    message.time = midi->getTime();
    message.length = midi->getLength();
    message.noteId = midi->getNoteId();
    return true;
}

void QelEventInput::receive(PEvent* event)
{
    MidiMessage message;
    if (toMessage(event, message))
        receive(message);
}

void QelEventInput::releaseHeldNotes()
{
    for (int32 channel = 0; channel < kChannels; ++channel)
        for (int32 pitch = 0; pitch < 128; ++pitch)
        {
            int32 held = 0;
            {
                FGuard guard(lock);
                held = heldNotes[channel][pitch];
            }
            if (held <= 0)
                continue;
            MidiMessage off;
            off.status = uint8(0x80 | channel);
            off.data1 = uint8(pitch);
            off.data2 = 0;
            off.live = true;
            receive(off);
        }
}

void QelEventInput::fillEvents(EventList& list, const OperatorBuffers& buffers, double sampleRate)
{
    TryGuard guard(lock);
    if (!guard.isHeld())
        return; // the events wait for the next block
    for (int32 i = 0; i < noteEvents.count; ++i)
    {
        const MidiMessage& message = noteEvents.items[size_t(i)];
        const uint8 type = messageType(message.status);
        const bool note = type == 0x80 || type == 0x90 || type == 0xa0;
        if (!note && !(legacyOutput && type >= 0xb0 && type <= 0xe0))
            continue;
        Event event{};
        if (convertMidiMessage(message, busIndex, legacyOutput, buffers, sampleRate, event))
            list.addEvent(event);
    }
    noteEvents.count = 0;
}

void QelEventInput::fillParameterChanges(MultiParameterChange& changes)
{
    TryGuard guard(lock);
    if (!guard.isHeld())
        return;
    for (int32 i = 0; i < controllerEvents.count; ++i)
    {
        const MidiMessage& message = controllerEvents.items[size_t(i)];
        const int32 channel = message.status & 0x0f;
        const int32* map = controllerMaps[channel].get();
        int32 id = -1;
        double value = 0.0;
        switch (messageType(message.status))
        {
        case 0xb0:
            id = map[message.data1 & 0x7f];
            value = MidiScale::controller(message.data2);
            break;
        case 0xc0:
            id = programParams[channel];
            value = MidiScale::program(message.data1);
            break;
        case 0xd0:
            id = map[0x80];
            value = MidiScale::controller(message.data1);
            break;
        case 0xe0:
            id = map[0x81];
            value = MidiScale::pitchBend(message.data1, message.data2);
            break;
        default:
            break;
        }
        if (id >= 0)
            changes.add(id, value);
    }
    controllerEvents.count = 0;
}

void QelEventInput::fillRecordEvents(EventList& list, const OperatorBuffers& buffers,
                                     double sampleRate)
{
    TryGuard guard(lock);
    if (!guard.isHeld())
        return;
    for (int32 i = 0; i < recordControllerEvents.count; ++i)
    {
        const MidiMessage& message = recordControllerEvents.items[size_t(i)];
        const uint8 type = messageType(message.status);
        if (type != 0xb0 && type != 0xd0 && type != 0xe0)
            continue;
        Event event{};
        if (convertMidiMessage(message, busIndex, false, buffers, sampleRate, event))
            list.addEvent(event);
    }
    recordControllerEvents.count = 0;
}

int32 QelEventInput::updateMidiMapping(IMidiMapping* mapping)
{
    int32 mapped = 0;
    FGuard guard(lock);
    for (int32 channel = 0; channel < kChannels; ++channel)
    {
        int32* map = controllerMaps[channel].get();
        std::fill_n(map, kMapSize, -1);
        if (!mapping)
            continue;
        for (int32 number = 0; number < kMapSize; ++number)
        {
            ParamID id = kNoParamId;
            tresult result = kResultFalse;
            try
            {
                result = mapping->getMidiControllerAssignment(busIndex, int16(channel),
                                                              CtrlNumber(number), id);
            }
            catch (...)
            {
                result = kResultFalse;
            }
            // Numbers behind the first one without an assignment stay unmapped.
            if (result != kResultOk)
                break;
            map[number] = int32(id);
            ++mapped;
        }
    }
    return mapped;
}

void QelEventInput::updateProgramParams(IEditController* controller)
{
    std::fill(std::begin(programParams), std::end(programParams), -1);
    std::fill(std::begin(programCounts), std::end(programCounts), 0);
    if (!controller)
        return;
    IUnitInfo* units = nullptr;
    try
    {
        controller->queryInterface(IUnitInfo::iid.bytes, (void**)&units);
        if (!units)
            return;
        // The parameters that change programs, with their units.
        std::vector<ParameterInfo> programParameters;
        for (int32 i = 0, n = controller->getParameterCount(); i < n; ++i)
        {
            ParameterInfo info{};
            if (controller->getParameterInfo(i, info) == kResultOk &&
                (info.flags & ParameterInfo::kIsProgramChange))
                programParameters.push_back(info);
        }
        for (int32 channel = 0; channel < kChannels; ++channel)
        {
            UnitID unitId = kRootUnitId;
            if (units->getUnitByBus(kEvent, kInput, busIndex, channel, unitId) != kResultOk)
                continue;
            bool hasList = false;
            for (int32 u = 0, n = units->getUnitCount(); u < n && !hasList; ++u)
            {
                UnitInfo unit{};
                hasList = units->getUnitInfo(u, unit) == kResultOk && unit.id == unitId &&
                          unit.programListId != kNoProgramListId;
            }
            if (!hasList)
                continue;
            for (const ParameterInfo& info : programParameters)
                if (info.unitId == unitId && info.stepCount > 0)
                {
                    programParams[channel] = int32(info.id);
                    programCounts[channel] = info.stepCount + 1;
                    break;
                }
        }
    }
    catch (...)
    {
        // A controller that throws leaves the channels without program changes.
    }
    if (units)
        units->release();
}

int32 QelEventInput::getMappedParameter(int32 channel, int32 number) const
{
    if (channel < 0 || channel >= kChannels || number < 0 || number >= kMapSize)
        return -1;
    return controllerMaps[channel][number];
}

int32 QelEventInput::getProgramParam(int32 channel) const
{
    return channel >= 0 && channel < kChannels ? programParams[channel] : -1;
}

int32 QelEventInput::getProgramCount(int32 channel) const
{
    return channel >= 0 && channel < kChannels ? programCounts[channel] : 0;
}

int32 QelEventInput::getHeldNotes(int32 channel, int32 pitch) const
{
    if (channel < 0 || channel >= kChannels || pitch < 0 || pitch >= 128)
        return 0;
    return heldNotes[channel][pitch];
}

} // namespace MiniEngine
} // namespace Quillmark

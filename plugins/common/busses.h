// The busses of a component: what getBusCount, getBusInfo, activateBus and the speaker
// arrangement calls answer. The component owns one BusList, fills it in its constructor and
// changes it only on the main thread.
#pragma once

#include "common/plugintext.h"
#include "qel3/icomponent.h"

#include <bit>
#include <cstring>
#include <utility>
#include <vector>

namespace Quillmark
{
namespace Qel
{

/** Speaker arrangements the examples use: one bit per speaker, channels in bit order. */
namespace SpeakerArr
{
inline constexpr SpeakerArrangement kEmpty = 0;
inline constexpr SpeakerArrangement kMono = 0x80000;
inline constexpr SpeakerArrangement kStereo = 0x3; // left, right
} // namespace SpeakerArr

/** The number of channels of an arrangement: one per speaker bit. */
constexpr int32 channelCountOf(SpeakerArrangement arrangement)
{
    return std::popcount(arrangement);
}

class BusList
{
public:
    /** An audio bus; its channel count follows the arrangement. `name` is borrowed. */
    void addAudio(BusDirection direction, const char16* name, SpeakerArrangement arrangement,
                  BusType type = kMain, uint32 flags = BusInfo::kDefaultActive)
    {
        busses.push_back({kAudio, direction, name, channelCountOf(arrangement), arrangement, type,
                          flags, (flags & BusInfo::kDefaultActive) != 0});
    }

    /** An event bus with `channels` MIDI-like channels. */
    void addEvent(BusDirection direction, const char16* name, int32 channels, BusType type = kMain,
                  uint32 flags = BusInfo::kDefaultActive)
    {
        busses.push_back({kEvent, direction, name, channels, SpeakerArr::kEmpty, type, flags,
                          (flags & BusInfo::kDefaultActive) != 0});
    }

    int32 count(MediaType type, BusDirection direction) const
    {
        int32 result = 0;
        for (const Bus& bus : busses)
            if (bus.mediaType == type && bus.direction == direction)
                ++result;
        return result;
    }

    /** The record of a bus, zero-filled behind the name, as a host that compares records byte
        for byte expects. */
    tresult info(MediaType type, BusDirection direction, int32 index, BusInfo& info) const
    {
        const Bus* bus = find(type, direction, index);
        if (!bus)
            return kInvalidArgument;
        std::memset(&info, 0, sizeof info);
        info.mediaType = bus->mediaType;
        info.direction = bus->direction;
        info.channelCount = bus->channelCount;
        copyText(info.name, bus->name);
        info.busType = bus->busType;
        info.flags = bus->flags;
        return kResultOk;
    }

    tresult activate(MediaType type, BusDirection direction, int32 index, bool state)
    {
        Bus* bus = find(type, direction, index);
        if (!bus)
            return kInvalidArgument;
        bus->active = state;
        return kResultOk;
    }

    bool isActive(MediaType type, BusDirection direction, int32 index) const
    {
        const Bus* bus = find(type, direction, index);
        return bus && bus->active;
    }

    tresult arrangement(BusDirection direction, int32 index, SpeakerArrangement& result) const
    {
        const Bus* bus = find(kAudio, direction, index);
        if (!bus)
            return kInvalidArgument;
        result = bus->arrangement;
        return kResultOk;
    }

    /** Changes an audio bus's arrangement and with it the channel count. */
    tresult setArrangement(BusDirection direction, int32 index, SpeakerArrangement arrangement)
    {
        Bus* bus = find(kAudio, direction, index);
        if (!bus)
            return kInvalidArgument;
        bus->arrangement = arrangement;
        bus->channelCount = channelCountOf(arrangement);
        return kResultOk;
    }

private:
    struct Bus
    {
        MediaType mediaType;
        BusDirection direction;
        const char16* name;
        int32 channelCount;
        SpeakerArrangement arrangement;
        BusType busType;
        uint32 flags;
        bool active;
    };

    /** The `index`-th bus of that media type and direction, or null. */
    const Bus* find(MediaType type, BusDirection direction, int32 index) const
    {
        for (const Bus& bus : busses)
            if (bus.mediaType == type && bus.direction == direction && index-- == 0)
                return &bus;
        return nullptr;
    }
    Bus* find(MediaType type, BusDirection direction, int32 index)
    {
        return const_cast<Bus*>(std::as_const(*this).find(type, direction, index));
    }

    std::vector<Bus> busses;
};

} // namespace Qel
} // namespace Quillmark

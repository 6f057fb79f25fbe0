// Helpers for process(): channel pointers in either sample size, silence bits, and the walkers
// BlockAutomation and BlockEvents over the changes and events of one block. Nothing here
// allocates or locks; the processor owns its walkers and uses them on the audio thread.
#pragma once

#include "qel3/iaudioprocessor.h"

#include <array>
#include <cstddef>
#include <limits>

namespace Quillmark
{
namespace Qel
{

/** The channel pointers of a bus as Sample32 or Sample64; null when the bus has none. */
template <class Sample> Sample** channelBuffers(const AudioBusBuffers& bus);

template <> inline Sample32** channelBuffers<Sample32>(const AudioBusBuffers& bus)
{
    return bus.channelBuffers32;
}

template <> inline Sample64** channelBuffers<Sample64>(const AudioBusBuffers& bus)
{
    return bus.channelBuffers64;
}

/** The silence bits of the first `channels` channels. */
constexpr uint64 silenceMask(int32 channels)
{
    if (channels <= 0)
        return 0;
    return channels >= 64 ? ~uint64{0} : (uint64{1} << channels) - 1;
}

/** Whether channel `channel` of a bus is flagged silent. */
constexpr bool isSilent(const AudioBusBuffers& bus, int32 channel)
{
    return channel < 64 && (bus.silenceFlags >> channel & 1) != 0;
}

/** Walks the points of the parameters `ids` in one block, in sample order, so that a plug-in
    can cut its block where a value changes and so read every point (sample accurate):

        automation.begin(data.inputParameterChanges);
        for (int32 pos = 0; pos < numSamples;)
        {
            automation.takeUpTo(pos, apply);   // every point at or before pos
            const int32 end = std::min(numSamples, automation.nextOffset());
            render(pos, end);
            pos = end;
        }
        automation.takeUpTo(kEndOfBlock, apply);   // points at or past the end, and flushes

    `apply(ParamID, ParamValue)` gets each point once. Parameters a plug-in does not know are not
    looked at. */
template <std::size_t N> class BlockAutomation
{
public:
    static constexpr int32 kEndOfBlock = std::numeric_limits<int32>::max();

    explicit constexpr BlockAutomation(const std::array<ParamID, N>& ids) : ids(ids) {}

    /** Finds the queue of each parameter among the changes (null: none). Some hosts hand out
        queues by place with free places between them, so the walk goes on while the host
        answers a queue, up to a bound, rather than stopping at getParameterCount. */
    void begin(IParameterChanges* changes)
    {
        cursors = {};
        if (!changes)
            return;
        const int32 count = changes->getParameterCount();
        const int32 limit = count > kQueueScanLimit ? count : kQueueScanLimit;
        for (int32 place = 0; place < limit; ++place)
        {
            IParamValueQueue* queue = changes->getParameterData(place);
            if (!queue)
                break;
            const ParamID id = queue->getParameterId();
            for (std::size_t i = 0; i < N; ++i)
                if (ids[i] == id && !cursors[i].queue)
                    cursors[i].start(queue);
        }
    }

    /** The sample offset of the earliest point not taken yet, or kEndOfBlock. */
    int32 nextOffset() const
    {
        int32 result = kEndOfBlock;
        for (const Cursor& cursor : cursors)
            if (cursor.nextOffset < result)
                result = cursor.nextOffset;
        return result;
    }

    /** Hands every point at or before `sample` to `apply`, parameter by parameter. */
    template <class Apply> void takeUpTo(int32 sample, Apply&& apply)
    {
        for (std::size_t i = 0; i < N; ++i)
        {
            Cursor& cursor = cursors[i];
            while (cursor.queue && cursor.nextOffset <= sample)
            {
                apply(ids[i], cursor.nextValue);
                cursor.advance();
            }
        }
    }

private:
    static constexpr int32 kQueueScanLimit = 256;

    struct Cursor
    {
        IParamValueQueue* queue = nullptr;
        int32 pointCount = 0;
        int32 next = 0;
        int32 nextOffset = kEndOfBlock;
        ParamValue nextValue = 0.0;

        void start(IParamValueQueue* q)
        {
            queue = q;
            pointCount = q->getPointCount();
            next = 0;
            read();
        }
        void advance()
        {
            ++next;
            read();
        }
        /** Reads point `next`; a point the queue refuses is skipped. A point before the start
            of the block counts as at its start. */
        void read()
        {
            for (; next < pointCount; ++next)
            {
                int32 offset = 0;
                if (queue->getPoint(next, offset, nextValue) == kResultOk)
                {
                    nextOffset = offset < 0 ? 0 : offset;
                    return;
                }
            }
            queue = nullptr;
            nextOffset = kEndOfBlock;
        }
    };

    std::array<ParamID, N> ids;
    std::array<Cursor, N> cursors{};
};

/** Walks the events of one block in order of their sample offsets, beside BlockAutomation:
    `takeUpTo(pos, handle)` hands `handle(const Event&)` every event at or before `pos`, and
    `nextOffset` tells where the block must be cut for the next one. Events are expected in
    order, as hosts deliver them; one out of order is handled as soon as it is met. */
class BlockEvents
{
public:
    static constexpr int32 kEndOfBlock = std::numeric_limits<int32>::max();

    explicit BlockEvents(IEventList* events)
        : list(events), count(events ? events->getEventCount() : 0)
    {
        read();
    }

    int32 nextOffset() const { return nextOffsetValue; }

    template <class Handle> void takeUpTo(int32 sample, Handle&& handle)
    {
        while (index < count && nextOffsetValue <= sample)
        {
            handle(static_cast<const Event&>(next));
            ++index;
            read();
        }
    }

private:
    /** Reads event `index`; one the list refuses is skipped. */
    void read()
    {
        for (; index < count; ++index)
            if (list->getEvent(index, next) == kResultOk)
            {
                nextOffsetValue = next.sampleOffset < 0 ? 0 : next.sampleOffset;
                return;
            }
        nextOffsetValue = kEndOfBlock;
    }

    IEventList* list;
    int32 count;
    int32 index = 0;
    int32 nextOffsetValue = kEndOfBlock;
    Event next{};
};

} // namespace Qel
} // namespace Quillmark

// The host's reusable audio buffers for the process calls of the conformity tests: one
// ProcessData record with its bus arrays and channel memory, kept between preparations while the
// plug-in's bus layout and the sample size stay the same. Owned by one processing test.
#pragma once

#include "qel3/iaudioprocessor.h"
#include "qel3/icomponent.h"

#include <memory>
#include <vector>

namespace Quillmark
{
namespace Qel
{

class ProcessBuffers
{
public:
    /** numSamples 64, no busses, no parameter changes, no events, no context. */
    explicit ProcessBuffers(int32 symbolicSampleSize);

    ProcessData& data() { return processData; }
    const ProcessData& data() const { return processData; }

    /** Lays out the busses of `component` for `symbolicSampleSize`, each channel holding
        `maxSamples` zeroed samples, and sets the silence flags of default-active busses.
        Buffers of an unchanged layout are kept. */
    void prepare(IComponent& component, int32 symbolicSampleSize, int32 maxSamples);
    /** Frees the channel memory and the bus arrays; the record keeps no bus. */
    void release();

    /** The channel pointers of a bus as 32- or 64-bit samples (whichever the size is). */
    static void* channel(const AudioBusBuffers& bus, int32 index);
    int32 getMaxSamples() const { return maxSamples; }

private:
    struct Direction
    {
        std::vector<AudioBusBuffers> busses;
        std::vector<std::vector<void*>> channelPointers;
        std::vector<std::unique_ptr<double[]>> memory; // one per channel, 8 bytes per sample
    };

    bool layoutMatches(IComponent& component, int32 symbolicSampleSize) const;
    void allocate(IComponent& component, BusDirection direction, Direction& target);
    void fill(IComponent& component, BusDirection direction, Direction& target);
    void publish();

    ProcessData processData{};
    bool externallyOwned = false; // buffers lent by someone else are never kept
    int32 maxSamples = 0;
    Direction inputs;
    Direction outputs;
};

} // namespace Qel
} // namespace Quillmark

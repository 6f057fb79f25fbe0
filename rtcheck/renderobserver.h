// What a render of a plug-in hands to whoever checks it, block by block: the outputs exactly as
// the plug-in left them, what its process call cost and did, and the parameter values in force.
// This is the whole seam between the checks and the engine that renders; a renderer over the
// full audio graph would feed the same records.
#pragma once

#include "qel3/iaudioprocessor.h"
#include "rtcheck/callwatch.h"

#include <vector>

namespace Quillmark
{

/** A sample rate and a block size that the plug-in is rendered at. */
struct RenderFormat
{
    double sampleRate = 48000.0;
    int32 blockSize = 512;
    /** The time one block has on a real-time thread, in nanoseconds. */
    double budgetNanoseconds() const { return blockSize / sampleRate * 1e9; }
};

/** Where a block stands in a render. */
struct BlockPlace
{
    int format = 0;   // index into the render's formats
    int64 block = 0;  // counted from 0 in that format
    int64 sample = 0; // its first sample, counted from 0 in that format
};

struct RenderedBlock
{
    BlockPlace place;
    const RenderFormat* format = nullptr;
    /** The record given to process; its outputs as the plug-in left them. */
    const Qel::ProcessData* data = nullptr;
    /** Per output bus: whether the host has it switched on (only those are heard). */
    const std::vector<bool>* activeOutputs = nullptr;
    /** Thread CPU time of the process call alone. */
    int64 cpuNanoseconds = 0;
    /** What the call did; empty when the render does not watch. */
    const CallRecord* calls = nullptr;
    /** The normalized value of every moved parameter, in the order of the render's list. */
    const std::vector<double>* parameterValues = nullptr;
    /** The call threw; nothing crossed the border. */
    bool threw = false;
};

/** Told of the render on the rendering thread; must not block it for long. */
class RenderObserver
{
public:
    virtual ~RenderObserver() = default;
    /** Before the first block of a format, with the number of blocks that follow. */
    virtual void formatStarted(int format, const RenderFormat& renderFormat, int64 blocks) {}
    virtual void blockRendered(const RenderedBlock& block) = 0;
};

} // namespace Quillmark

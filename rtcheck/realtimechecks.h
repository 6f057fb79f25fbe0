// The real-time checks over a render: heap traffic and blocking calls inside process, NaN and
// infinity, denormal samples, output that stays above 0 dBFS, silence flags that claim silence
// over sound, and the cost of a block. Listens to the render on the rendering thread, keeping
// counts and the first evidence of each fault; gives its verdicts on the main thread afterwards.
// Owned by the job that runs the render.
#pragma once

#include "rtcheck/renderobserver.h"
#include "rtcheck/stacksymbolizer.h"

#include <string>
#include <vector>

namespace Quillmark
{

class OfflineRender;

struct CheckResult
{
    std::string name;
    bool passed = true;
    std::string summary;               // one line, the verdict's reason
    std::vector<std::string> evidence; // further lines: where, stacks, figures
};

class RealtimeChecks : public RenderObserver
{
public:
    static constexpr const char* kAllocation = "Allocation";
    static constexpr const char* kBlocking = "Blocking Calls";
    static constexpr const char* kNotFinite = "NaN and Infinity";
    static constexpr const char* kDenormals = "Denormals";
    static constexpr const char* kLoud = "Above 0 dBFS";
    static constexpr const char* kSilenceFlags = "Silence Flags";
    static constexpr const char* kCost = "Block Cost";

    /** Output that stays above full scale this long fails. */
    static constexpr double kLoudMilliseconds = 10.0;
    /** A channel flagged silent must stay at or below this level (-80 dBFS). */
    static constexpr float kSilenceLevel = 1.0e-4f;

    explicit RealtimeChecks(std::vector<RenderFormat> formats);

    void formatStarted(int format, const RenderFormat& renderFormat, int64 blocks) override;
    void blockRendered(const RenderedBlock& block) override;

    /** The verdicts, in a fixed order; `render` names the parameter values. */
    std::vector<CheckResult> results(const OfflineRender& render);

    int64 countBlocks() const { return blocks; }

private:
    /** The first sign of one fault: where, which channel and sample, what value, and the
        parameter values in force. */
    struct Finding
    {
        bool found = false;
        BlockPlace place;
        int32 bus = 0;
        int32 channel = 0;
        int32 sample = 0;
        double value = 0.0;
        std::vector<double> parameters;
    };
    struct FirstCall
    {
        CallRecord::FirstCall call;
        BlockPlace place;
    };
    struct ChannelRun
    {
        int64 length = 0; // samples above full scale in a row, so far
        BlockPlace start;
        int32 startSample = 0;
    };

    void note(Finding& finding, const RenderedBlock& block, int32 bus, int32 channel, int32 sample,
              double value);
    void checkSignal(const RenderedBlock& block);
    void checkCalls(const RenderedBlock& block);
    std::string where(const BlockPlace& place) const;
    std::string where(const Finding& finding) const;
    std::string parameters(const OfflineRender& render, const std::vector<double>& values) const;

    std::vector<RenderFormat> formats;
    int64 blocks = 0;
    int64 threw = 0;
    bool watched = false;

    CallRecord totals;
    FirstCall firstHeap;
    FirstCall firstBlocking;

    Finding notFinite, denormal, lyingFlags;
    int64 notFiniteSamples = 0, denormalSamples = 0, lyingBlocks = 0;
    std::vector<ChannelRun> runs; // per output channel, over the buses in order
    ChannelRun longestRun;
    double longestLoudMilliseconds = 0.0;
    int32 longestLoudChannel = 0;

    std::vector<std::vector<int64>> costs; // per format, per block
    double worstShare = -1.0;
    Finding worstBlock;
    StackSymbolizer symbolizer;
};

} // namespace Quillmark

#include "rtcheck/realtimechecks.h"

#include "rtcheck/offlinerender.h"
#include "rtcheck/watchingprocessor.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace Quillmark
{

using namespace Qel;

namespace
{

std::string formatted(const char* format, double a, double b = 0.0, double c = 0.0)
{
    char text[160];
    std::snprintf(text, sizeof text, format, a, b, c);
    return text;
}

CheckResult named(const char* name)
{
    CheckResult result;
    result.name = name;
    return result;
}

std::string number(int64 value)
{
    return std::to_string(value);
}

} // namespace

RealtimeChecks::RealtimeChecks(std::vector<RenderFormat> formats)
    : formats(std::move(formats)), costs(this->formats.size())
{
}

void RealtimeChecks::formatStarted(int format, const RenderFormat&, int64 blockCount)
{
    if (format >= 0 && size_t(format) < costs.size())
        costs[size_t(format)].reserve(size_t(blockCount));
    for (ChannelRun& run : runs)
        run = ChannelRun();
}

void RealtimeChecks::blockRendered(const RenderedBlock& block)
{
    ++blocks;
    if (block.threw)
        ++threw;
    checkCalls(block);
    checkSignal(block);

    const double share = double(block.cpuNanoseconds) / block.format->budgetNanoseconds();
    if (block.place.format >= 0 && size_t(block.place.format) < costs.size())
        costs[size_t(block.place.format)].push_back(block.cpuNanoseconds);
    if (share > worstShare)
    {
        worstShare = share;
        note(worstBlock, block, 0, 0, 0, double(block.cpuNanoseconds));
    }
}

void RealtimeChecks::note(Finding& finding, const RenderedBlock& block, int32 bus, int32 channel,
                          int32 sample, double value)
{
    finding.found = true;
    finding.place = block.place;
    finding.bus = bus;
    finding.channel = channel;
    finding.sample = sample;
    finding.value = value;
    if (block.parameterValues)
        finding.parameters = *block.parameterValues;
}

void RealtimeChecks::checkCalls(const RenderedBlock& block)
{
    if (!block.calls)
        return;
    watched = true;
    const CallRecord& calls = *block.calls;
    for (int kind = 0; kind < int(WatchedCall::kCount); ++kind)
        totals.counts[kind] += calls.counts[kind];
    if (calls.firstHeapCall.seen() && !firstHeap.call.seen())
        firstHeap = {calls.firstHeapCall, block.place};
    if (calls.firstBlockingCall.seen() && !firstBlocking.call.seen())
        firstBlocking = {calls.firstBlockingCall, block.place};
}

void RealtimeChecks::checkSignal(const RenderedBlock& block)
{
    const ProcessData& data = *block.data;
    if (!data.outputs || data.numSamples <= 0)
        return;
    const int64 loudLimit = int64(std::ceil(kLoudMilliseconds / 1000.0 * block.format->sampleRate));
    size_t runIndex = 0;
    for (int32 bus = 0; bus < data.numOutputs; ++bus)
    {
        const AudioBusBuffers& out = data.outputs[bus];
        const bool heard = block.activeOutputs && size_t(bus) < block.activeOutputs->size() &&
                           (*block.activeOutputs)[size_t(bus)];
        for (int32 channel = 0; channel < out.numChannels; ++channel, ++runIndex)
        {
            if (runs.size() <= runIndex)
                runs.resize(runIndex + 1);
            const float* samples = out.channelBuffers32 ? out.channelBuffers32[channel] : nullptr;
            if (!heard || !samples)
                continue;
            const bool flaggedSilent = channel < 64 && (out.silenceFlags >> channel) & 1u;
            float loudestFlagged = 0.0f;
            int32 loudestAt = 0;
            ChannelRun& run = runs[runIndex];
            for (int32 s = 0; s < data.numSamples; ++s)
            {
                const float x = samples[s];
                if (!std::isfinite(x))
                {
                    if (notFiniteSamples++ == 0)
                        note(notFinite, block, bus, channel, s, x);
                    run.length = 0;
                    continue;
                }
                if (std::fpclassify(x) == FP_SUBNORMAL && denormalSamples++ == 0)
                    note(denormal, block, bus, channel, s, x);
                const float magnitude = std::fabs(x);
                if (flaggedSilent && magnitude > loudestFlagged)
                {
                    loudestFlagged = magnitude;
                    loudestAt = s;
                }
                if (magnitude > 1.0f)
                {
                    if (run.length++ == 0)
                    {
                        run.start = block.place;
                        run.startSample = s;
                    }
                    const double milliseconds = run.length * 1000.0 / block.format->sampleRate;
                    if (run.length >= loudLimit && milliseconds > longestLoudMilliseconds)
                    {
                        longestLoudMilliseconds = milliseconds;
                        longestRun = run;
                        longestLoudChannel = int32(runIndex);
                    }
                }
                else
                    run.length = 0;
            }
            if (loudestFlagged > kSilenceLevel && lyingBlocks++ == 0)
                note(lyingFlags, block, bus, channel, loudestAt, loudestFlagged);
        }
    }
}

std::string RealtimeChecks::where(const BlockPlace& place) const
{
    const RenderFormat& format = formats[size_t(place.format)];
    return formatted("%.0f Hz, %.0f-sample blocks", format.sampleRate, format.blockSize) +
           ", block " + number(place.block) + " (sample " + number(place.sample) + ")";
}

std::string RealtimeChecks::where(const Finding& finding) const
{
    return where(finding.place) + ", bus " + number(finding.bus) + " channel " +
           number(finding.channel) + " sample " + number(finding.sample);
}

std::string RealtimeChecks::parameters(const OfflineRender& render,
                                       const std::vector<double>& values) const
{
    const std::string text = render.describe(values);
    return text.empty() ? "no automatable parameters" : text;
}

std::vector<CheckResult> RealtimeChecks::results(const OfflineRender& render)
{
    std::vector<CheckResult> results;
    const std::string calls = number(blocks) + " process calls";
    auto stack = [&](const FirstCall& first, std::vector<std::string>& lines)
    {
        lines.push_back("first: " + std::string(first.call.function) + " in " + where(first.place));
        int index = 0;
        for (const std::string& frame : symbolizer.describe(first.call.frames, first.call.depth,
                                                            WatchingProcessor::kCallerFrame))
            lines.push_back("  #" + number(index++) + " " + frame);
    };

    CheckResult heap = named(kAllocation);
    const int64 allocations = totals.count(WatchedCall::kAllocation);
    const int64 frees = totals.count(WatchedCall::kFree);
    if (!watched)
        heap.summary = "not watched";
    else if (allocations + frees == 0)
        heap.summary = "no allocation or free in " + calls;
    else
    {
        heap.passed = false;
        heap.summary =
            number(allocations) + " allocations and " + number(frees) + " frees in " + calls;
        stack(firstHeap, heap.evidence);
    }
    heap.evidence.push_back(std::string("watched by ") + CallWatch::heapMethod());
    results.push_back(heap);

    CheckResult blocking = named(kBlocking);
    if (!watched)
        blocking.summary = "not watched";
    else if (totals.blockingCalls() == 0)
        blocking.summary = "no blocking call in " + calls;
    else
    {
        blocking.passed = false;
        std::string kinds;
        auto add = [&](WatchedCall kind, const char* what)
        {
            if (totals.count(kind) == 0)
                return;
            kinds += (kinds.empty() ? "" : ", ") + number(totals.count(kind)) + " " + what;
        };
        add(WatchedCall::kBlockingLock, "waits for a lock held elsewhere");
        add(WatchedCall::kWait, "condition waits or joins");
        add(WatchedCall::kSleep, "sleeps");
        add(WatchedCall::kFile, "file calls");
        add(WatchedCall::kSocket, "socket calls");
        blocking.summary = kinds + " in " + calls;
        stack(firstBlocking, blocking.evidence);
    }
    // A lock that happened to be free did not wait this time; it is told, not failed.
    if (totals.count(WatchedCall::kUncontendedLock) > 0)
        blocking.evidence.push_back(
            "warning: " + number(totals.count(WatchedCall::kUncontendedLock)) +
            " locks taken while free; any of them can wait next time");
    results.push_back(blocking);

    // A fault of single samples: how many there were, and the first with the parameters then.
    auto sampleCheck = [&](const char* name, int64 count, const Finding& first,
                           const std::string& clean, const std::string& fault)
    {
        CheckResult check = named(name);
        if (count == 0)
            check.summary = clean;
        else
        {
            check.passed = false;
            check.summary = number(count) + fault;
            check.evidence.push_back("first: " + formatted("%g", first.value) + " at " +
                                     where(first));
            check.evidence.push_back("parameters: " + parameters(render, first.parameters));
        }
        results.push_back(check);
    };
    sampleCheck(kNotFinite, notFiniteSamples, notFinite, "every output sample is a finite number",
                " output samples are NaN or infinite");
    sampleCheck(kDenormals, denormalSamples, denormal, "no denormal output sample",
                " output samples are denormal");

    CheckResult loud = named(kLoud);
    if (longestLoudMilliseconds == 0.0)
        loud.summary =
            "no output stays above 0 dBFS for " + formatted("%.0f", kLoudMilliseconds) + " ms";
    else
    {
        loud.passed = false;
        loud.summary = "output channel " + number(longestLoudChannel) + " stays above 0 dBFS for " +
                       formatted("%.1f", longestLoudMilliseconds) + " ms";
        loud.evidence.push_back("from sample " + number(longestRun.startSample) + " of " +
                                where(longestRun.start));
    }
    results.push_back(loud);

    CheckResult flags = named(kSilenceFlags);
    if (lyingBlocks == 0)
        flags.summary = "no channel flagged silent carries sound";
    else
    {
        flags.passed = false;
        flags.summary = number(lyingBlocks) + " times a channel flagged silent carries sound";
        flags.evidence.push_back("first: a peak of " + formatted("%g", lyingFlags.value) + " at " +
                                 where(lyingFlags));
    }
    results.push_back(flags);

    CheckResult cost = named(kCost);
    for (size_t f = 0; f < formats.size() && f < costs.size(); ++f)
    {
        std::vector<int64> sorted = costs[f];
        if (sorted.empty())
            continue;
        std::sort(sorted.begin(), sorted.end());
        const double budget = formats[f].budgetNanoseconds();
        auto figure = [&](const char* label, int64 nanoseconds)
        {
            return std::string(label) + " " +
                   formatted("%.1f us (%.1f%%)", nanoseconds / 1000.0,
                             100.0 * nanoseconds / budget);
        };
        const size_t n = sorted.size();
        const size_t p99 = std::min(n - 1, size_t(std::ceil(0.99 * double(n))) - 1);
        cost.evidence.push_back(
            formatted("%.0f Hz, %.0f samples: ", formats[f].sampleRate, formats[f].blockSize) +
            figure("median", sorted[(n - 1) / 2]) + ", " + figure("99th percentile", sorted[p99]) +
            ", " + figure("maximum", sorted.back()));
    }
    if (worstBlock.found)
    {
        cost.evidence.push_back("worst block: " + where(worstBlock.place) + ", " +
                                formatted("%.1f us", worstBlock.value / 1000.0));
        cost.evidence.push_back("parameters at the worst block: " +
                                parameters(render, worstBlock.parameters));
    }
    cost.passed = worstShare <= 1.0;
    cost.summary =
        (cost.passed ? "every block within its real-time budget, the worst at " : "a block took ") +
        formatted("%.1f%%", 100.0 * std::max(worstShare, 0.0)) +
        (cost.passed ? "" : " of its real-time budget") + " (thread CPU time)";
    results.push_back(cost);

    if (threw > 0)
        for (CheckResult& result : results)
            result.evidence.push_back("note: " + number(threw) + " process calls threw");
    return results;
}

} // namespace Quillmark

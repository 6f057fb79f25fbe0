// The audio half of a component: bus arrangements, sample sizes, latency and tail, the
// processing set-up, and the process call with its block data and transport.
#pragma once

#include "qel3/ievents.h"
#include "qel3/iparameterchanges.h"
#include "qel3/qeltypes.h"

namespace Quillmark
{
namespace Qel
{

enum ProcessModes : int32
{
    kRealtime = 0,
    kPrefetch = 1,
    kOffline = 2,
};

enum SymbolicSampleSizes : int32
{
    kSample32 = 0,
    kSample64 = 1,
};

inline constexpr uint32 kNoTail = 0;
inline constexpr uint32 kInfiniteTail = 0xFFFFFFFF;

struct ProcessSetup
{
    int32 processMode;
    int32 symbolicSampleSize;
    int32 maxSamplesPerBlock;
    SampleRate sampleRate;
};

static_assert(sizeof(ProcessSetup) == 24);
static_assert(offsetof(ProcessSetup, sampleRate) == 16);

/** The channels of one bus for one block. */
struct AudioBusBuffers
{
    int32 numChannels;
    uint64 silenceFlags; // bit n: channel n is silent
    union
    {
        Sample32** channelBuffers32;
        Sample64** channelBuffers64;
    };
};

static_assert(sizeof(AudioBusBuffers) == 24);
static_assert(offsetof(AudioBusBuffers, silenceFlags) == 8);
static_assert(offsetof(AudioBusBuffers, channelBuffers32) == 16);

/** The transport at the start of a block. A field counts only when its flag is in `state`. */
struct ProcessContext
{
    enum StatesAndFlags : uint32
    {
        kPlaying = 1 << 1,
        kCycleActive = 1 << 2,
        kRecording = 1 << 3,
        kSystemTimeValid = 1 << 8,
        kProjectTimeMusicValid = 1 << 9,
        kTempoValid = 1 << 10,
        kBarPositionValid = 1 << 11,
        kCycleValid = 1 << 12,
        kTimeSigValid = 1 << 13,
        kSmpteValid = 1 << 14,
        kClockValid = 1 << 15,
        kContTimeValid = 1 << 17,
        kChordValid = 1 << 18,
    };

    uint32 state;
    SampleRate sampleRate;
    TSamples projectTimeSamples;
    int64 systemTime; // nanoseconds
    TSamples continousTimeSamples;
    TQuarterNotes projectTimeMusic;
    TQuarterNotes barPositionMusic;
    TQuarterNotes cycleStartMusic;
    TQuarterNotes cycleEndMusic;
    double tempo; // beats per minute
    int32 timeSigNumerator;
    int32 timeSigDenominator;
    int32 smpteOffsetSubframes;
    int32 frameRate;
    int32 frameRateFlags;
    int32 samplesToNextClock;
};

static_assert(sizeof(ProcessContext) == 104);
static_assert(offsetof(ProcessContext, sampleRate) == 8);
static_assert(offsetof(ProcessContext, tempo) == 72);
static_assert(offsetof(ProcessContext, timeSigNumerator) == 80);

/** Everything one process call works on. */
struct ProcessData
{
    int32 processMode;
    int32 symbolicSampleSize;
    int32 numSamples;
    int32 numInputs;
    int32 numOutputs;
    AudioBusBuffers* inputs;
    AudioBusBuffers* outputs;
    IParameterChanges* inputParameterChanges;
    IParameterChanges* outputParameterChanges;
    IEventList* inputEvents;
    IEventList* outputEvents;
    ProcessContext* processContext;
};

static_assert(offsetof(ProcessData, numOutputs) == 16);
static_assert(offsetof(ProcessData, inputs) == 24);
static_assert(offsetof(ProcessData, processContext) == 72);
static_assert(sizeof(ProcessData) == 80);

class IAudioProcessor : public FUnknown
{
public:
    virtual tresult setBusArrangements(SpeakerArrangement* inputs, int32 numIns,
                                       SpeakerArrangement* outputs, int32 numOuts) = 0;
    virtual tresult getBusArrangement(BusDirection dir, int32 index,
                                      SpeakerArrangement& arrangement) = 0;
    virtual tresult canProcessSampleSize(int32 symbolicSampleSize) = 0;
    virtual uint32 getLatencySamples() = 0;
    virtual tresult setupProcessing(ProcessSetup& setup) = 0;
    virtual tresult setProcessing(TBool state) = 0;
    virtual tresult process(ProcessData& data) = 0;
    virtual uint32 getTailSamples() = 0;

    QEL_INTERFACE_IID(0x42043F99, 0xB7DA453C, 0xA569E79D, 0x9AAEC33D);
};

} // namespace Qel
} // namespace Quillmark

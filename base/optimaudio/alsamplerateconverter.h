// A windowed-sinc rate converter for one stream of planar float channels. One converter serves
// one conversion from start to end, because it keeps the tail of the input as history. The
// filter table is built when the ratio changes, never while processing.
#pragma once

#include "base/fobject.h"

#include <vector>

namespace Quillmark
{

class ALSampleRateConverter : public CmObject
{
public:
    static constexpr int32 kTableResolution = 512;
    static constexpr double kKaiserBeta = 8.96;
    static constexpr int32 kBufferSize = 65536;

    /** quality below 1 means 16 zero crossings on a side; from 1 on 16 × 2^(quality - 1). A
        new converter asked for quality 1 or more uses 3. */
    explicit ALSampleRateConverter(int32 channels = 2, int32 quality = 3);

    /** A rate of 0, or a ratio outside 0.01 to 100, leaves the ratio 0: "not set", and no
        sample passes. */
    void setRates(double inputRate, double outputRate);
    double getRatio() const { return ratio; }
    int32 getChannels() const { return channels; }
    int32 getTaps() const { return taps; }
    int32 getQuality() const { return quality; }

    /** Clears the history: the next input starts a new stream. */
    void reset();

    /** Consumes every input frame and writes at most maxOutput frames per channel; answers the
        frames written. With flush, the end of the stream is reached: the history is played
        out as if silence followed. Input beyond what fits the history in one call is taken in
        pieces, so any count is accepted. */
    int32 process(const float* const* input, int32 inputFrames, float* const* output,
                  int32 maxOutput, bool flush);

    /** The output frames that `inputFrames` more input can produce at most. */
    int32 maxOutputFor(int32 inputFrames) const;

    /** The table of one side of the filter (entry 0 is the centre), for tests. */
    const std::vector<float>& getTable() const { return table; }

    /** Modified Bessel function I0 by its series. */
    static double besselI0(double x);

    QEL_DECLARE_CLASS(ALSampleRateConverter, CmObject)

private:
    void buildTable();
    int32 produce(float* const* output, int32 offset, int32 maxOutput);
    void append(const float* const* input, int32 offset, int32 frames);
    void discardConsumed();

    double inputRate = 44100;
    double outputRate = 48000;
    double ratio = 0;
    int32 channels;
    int32 quality;
    int32 taps;
    float outputGain = 1.f;
    std::vector<std::vector<float>> history; // per channel
    int32 filled = 0;                        // frames in the history
    // The next output lies at outputs × ratio frames after the stream's first frame; counted
    // from the start, so the block size never changes where an output falls.
    int64 outputs = 0;
    int64 discarded = 0; // frames dropped from the front of the history
    // Whole rates (the usual case) place outputs exactly, as a fraction of the output rate.
    int64 wholeInputRate = 0;
    int64 wholeOutputRate = 0;
    /** The next output's frame in the history and its fraction beyond it. */
    void position(int64& frame, double& fraction) const;
    std::vector<float> table;
    std::vector<float> differences;
    std::vector<float> coefficients; // the filter of the output being made
};

} // namespace Quillmark

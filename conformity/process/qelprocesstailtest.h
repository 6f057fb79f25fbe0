// Checks that an effect falls silent once its declared tail has sounded: eleven blocks of noise,
// then silent input, and any output past the tail fails. Instruments and generators are not
// checked. A test node owns its test.
#pragma once

#include "conformity/qelprocesstest.h"

#include <bit>
#include <vector>

namespace Quillmark
{
namespace Qel
{

class QelProcessTailTest : public QelProcessTest
{
public:
    /** Output at or above this, widened to double, is sound (1e-07, fixed by its bits). */
    static constexpr double kSoundThreshold = std::bit_cast<double>(uint64(0x3E7AD7F29ABCAF48));
    /** Blocks processed, and the last one that carries noise. */
    static constexpr int32 kPasses = 60;
    static constexpr int32 kLastNoisePass = 10;

    using QelProcessTest::QelProcessTest;

    const char8* getName() const override { return "Check Tail processing"; }

    /** The base setup; then the declared tail, and whether the class is an instrument or a
        generator, which are left untested. */
    bool setup() override;
    bool run(ITestResult* result) override;

    /** Noise into the input in the noise blocks, silence after; the output is cleared. */
    bool preProcess(ITestResult* result) override;
    /** In silent blocks, fails on sound past the tail. */
    bool postProcess(ITestResult* result) override;

private:
    template <class Sample> void serve(std::vector<Sample>& noise);
    template <class Sample> bool checkTail(ITestResult* result, int32 start);

    uint32 tailSamples = 0;
    uint32 samplesSinceSilence = 0;
    std::vector<Sample32> noise32;
    std::vector<Sample64> noise64;
    bool inputSilent = false;
    bool doNotTest = false;
};

} // namespace Qel
} // namespace Quillmark

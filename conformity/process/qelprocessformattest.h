// Checks that a plug-in can be set up for, and processes at, a list of sample rates from the
// usual to the odd. A rate it refuses is listed as an error, but does not fail the test. A test
// node owns its test.
#pragma once

#include "conformity/qelprocesstest.h"

#include <array>

namespace Quillmark
{
namespace Qel
{

class QelProcessFormatTest : public QelProcessTest
{
public:
    /** The rates offered, in order. */
    static constexpr std::array<SampleRate, 11> kSampleRates = {
        22050.0,  32000.0,   44100.0,   48000.0,   88200.0,  96000.0,
        192000.0, 1234.5678, 12345.678, 123456.78, 1234567.8};

    using QelProcessTest::QelProcessTest;

    const char8* getName() const override { return "Process Format"; }
    bool run(ITestResult* result) override;

private:
    /** One rate, with the plug-in inactive before and after; false when it refuses to change
        its activation. */
    bool processAt(ITestResult* result, SampleRate rate);
};

} // namespace Qel
} // namespace Quillmark

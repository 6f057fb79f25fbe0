// Checks that a plug-in processes with a given pair of speaker arrangements on all of its audio
// busses, or at least says which arrangement it wants instead, and that its bus records agree
// with the arrangement it takes. A test node owns its test.
#pragma once

#include "conformity/qelprocesstest.h"

#include <array>
#include <string>

namespace Quillmark
{
namespace Qel
{

class QelSpeakerArrangementTest : public QelProcessTest
{
public:
    /** The arrangements the tree tests, in tree order: every one as input and as output.
        Wider formats ("51" and up) are left out on purpose. */
    static constexpr std::array<SpeakerArrangement, 15> kTestedArrangements = {
        0x80000, 0x3,   0x30,  0xC0, 0x600, 0xC,  0x7, 0x103,
        0xF,     0x10B, 0x107, 0x33, 0x10F, 0x3B, 0x37};

    /** `input` goes to every audio input bus, `output` to every audio output bus. */
    QelSpeakerArrangementTest(IPlugProvider* provider, int32 symbolicSampleSize,
                              SpeakerArrangement input, SpeakerArrangement output);

    /** "In: <name>: <channels> Channels, Out: <name>: <channels> Channels", or "error" when
        an arrangement has no short name. */
    const char8* getName() const override { return name.c_str(); }

    /** Asks for the two arrangements, then prepares as every processing test does; false when
        either step is refused. */
    bool prepareProcessing() override;
    /** Reports the arrangements the plug-in took instead of the wanted ones, fails on bus
        records that disagree with them, then processes as the base test does. */
    bool run(ITestResult* result) override;

    SpeakerArrangement getInputArrangement() const { return inputArrangement; }
    SpeakerArrangement getOutputArrangement() const { return outputArrangement; }

private:
    bool checkBusses(ITestResult* result, BusDirection direction);

    SpeakerArrangement inputArrangement;
    SpeakerArrangement outputArrangement;
    // Built once: the node copies it when the test is added, and it never changes.
    std::string name;
};

} // namespace Qel
} // namespace Quillmark

// Checks that a plug-in processes every combination of silence flags on each of its audio input
// busses, one bus at a time, with the other busses keeping what they have. A test node owns its
// test.
#pragma once

#include "conformity/qelprocesstest.h"

namespace Quillmark
{
namespace Qel
{

class QelSilenceFlagsTest : public QelProcessTest
{
public:
    using QelProcessTest::QelProcessTest;

    const char8* getName() const override { return "Silence Flags"; }
    bool run(ITestResult* result) override;

    /** The highest combination tried on a bus of `channels` channels: all channel bits set,
        counted in signed 32 bits with the shift taken modulo 32, as the suite always has. */
    static int32 topCombination(int32 channels);
};

} // namespace Qel
} // namespace Quillmark

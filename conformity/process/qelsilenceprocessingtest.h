// Checks that a plug-in given silent input flags its output channels silent exactly when they
// are: a wrong flag is reported, but does not fail the test. A test node owns its test.
#pragma once

#include "conformity/qelprocesstest.h"

#include <bit>

namespace Quillmark
{
namespace Qel
{

class QelSilenceProcessingTest : public QelProcessTest
{
public:
    /** The loudest sample that still counts as silence, about 0.000132184039, fixed by its
        bits in each precision: the two are not the same number. */
    static constexpr float kThreshold32 = std::bit_cast<float>(uint32(0x390A9AE2));
    static constexpr double kThreshold64 = std::bit_cast<double>(uint64(0x3F21535C3FC61744));

    using QelProcessTest::QelProcessTest;

    const char8* getName() const override { return "Silence Processing"; }
    bool run(ITestResult* result) override;

private:
    void silenceInputs();
    void flagOutputs();
    void checkOutputs(ITestResult* result);
};

} // namespace Qel
} // namespace Quillmark

// Checks that the channel count of each audio bus of a plug-in agrees with the number of
// speakers of the bus's arrangement. Owned by its test node.
#pragma once

#include "conformity/qeltestbase.h"

namespace Quillmark
{
namespace Qel
{

class QelCheckAudioBusArrangementTest : public QelTestBase
{
public:
    explicit QelCheckAudioBusArrangementTest(IPlugProvider* provider);

    const char8* getName() const override { return "Check Audio Bus Arrangement"; }
    bool run(ITestResult* result) override;

private:
    /** Checks the audio busses of one direction; adds a mismatch to `failures` and goes on.
        False with an error when a bus or its arrangement cannot be read. */
    bool checkBusses(ITestResult& result, IAudioProcessor& processor, BusDirection direction,
                     int32 count, int32& failures);
};

} // namespace Qel
} // namespace Quillmark

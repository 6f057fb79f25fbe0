// Asks the controller's MIDI mapping for every controller number of every event input channel
// and fails when a mapping names a parameter the controller does not have.
// A node of the test tree owns it.
#pragma once

#include "conformity/qeltestbase.h"

namespace Quillmark
{
namespace Qel
{

class QelMidiMappingTest : public QelTestBase
{
public:
    explicit QelMidiMappingTest(IPlugProvider* provider) : QelTestBase(provider) {}

    const char8* getName() const override { return "MIDI Mapping"; }
    bool run(ITestResult* result) override;
};

} // namespace Qel
} // namespace Quillmark

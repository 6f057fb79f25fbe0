// Counts the key switches of every event input channel and fails when the controller cannot
// describe one it counted.
// A node of the test tree owns it.
#pragma once

#include "conformity/qeltestbase.h"

namespace Quillmark
{
namespace Qel
{

class QelKeyswitchTest : public QelTestBase
{
public:
    explicit QelKeyswitchTest(IPlugProvider* provider) : QelTestBase(provider) {}

    const char8* getName() const override { return "Keyswitch"; }
    bool run(ITestResult* result) override;
};

} // namespace Qel
} // namespace Quillmark

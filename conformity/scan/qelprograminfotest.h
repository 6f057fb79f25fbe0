// Lists the program lists with their programs, instruments and pitch names, and fails on a
// list with a bad, repeated or missing id or name, or a program without a name.
// A node of the test tree owns it.
#pragma once

#include "conformity/qeltestbase.h"

namespace Quillmark
{
namespace Qel
{

class QelProgramInfoTest : public QelTestBase
{
public:
    explicit QelProgramInfoTest(IPlugProvider* provider) : QelTestBase(provider) {}

    const char8* getName() const override { return "Scan Programs"; }
    bool run(ITestResult* result) override;
};

} // namespace Qel
} // namespace Quillmark

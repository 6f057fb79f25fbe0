// Tells how the component reaches its edit controller (one object, or a controller class) and
// fails when the controller class identifier it gives is all zero.
// A node of the test tree owns it.
#pragma once

#include "conformity/qeltestbase.h"

namespace Quillmark
{
namespace Qel
{

class QelEditorClassesTest : public QelTestBase
{
public:
    explicit QelEditorClassesTest(IPlugProvider* provider) : QelTestBase(provider) {}

    const char8* getName() const override { return "Scan Editor Classes"; }
    bool run(ITestResult* result) override;
};

} // namespace Qel
} // namespace Quillmark

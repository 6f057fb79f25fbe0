// What a class of category "Test Class" offers: the host creates it, asks it for this interface
// and lets it add its tests to a group of the host's test tree.
#pragma once

#include "qel3/itest.h"

namespace Quillmark
{
namespace Qel
{

class ITestFactory : public FUnknown
{
public:
    /** Adds the module's tests under `parentSuite` (borrowed). `context` is the host context
        the module's objects are initialized with. */
    virtual tresult createTests(FUnknown* context, ITestSuite* parentSuite) = 0;

    QEL_INTERFACE_IID(0xF80B90F7, 0x4BD74A0D, 0xA3723D2F, 0x7AB9AA14);
};

} // namespace Qel
} // namespace Quillmark

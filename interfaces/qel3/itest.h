// The tests a host runs over a plug-in, and the tree they hang in. A module may add tests of its
// own (see itestfactory.h); the host's built-in tests implement the same interfaces. Texts are
// zero-terminated UTF-8.
#pragma once

#include "qel3/funknown.h"

namespace Quillmark
{
namespace Qel
{

/** Where a running test reports. Errors and messages are kept in two separate lists. */
class ITestResult : public FUnknown
{
public:
    /** A problem that makes the test fail; as a rule the test then returns false. */
    virtual void addErrorMessage(const char8* text) = 0;
    /** A remark that does not fail the test. */
    virtual void addMessage(const char8* text) = 0;

    QEL_INTERFACE_IID(0xEE82DF19, 0xA99C4501, 0xAE79143D, 0xA5ABB5AA);
};

class ITest : public FUnknown
{
public:
    /** Prepares the test; false skips run and marks the test as not set up. */
    virtual bool setup() = 0;
    /** True is a pass. */
    virtual bool run(ITestResult* result) = 0;
    virtual bool teardown() = 0;
    /** A text shown with the test, or null. */
    virtual const char8* getDescription() = 0;

    QEL_INTERFACE_IID(0x6FC4E8EF, 0xA9E94D17, 0x83AC12CE, 0x906B7748);
};

/** A group of tests in the host's tree. */
class ITestSuite : public FUnknown
{
public:
    /** Adds `test` under a new node of that name; the suite takes its own reference. */
    virtual tresult addTest(const char8* name, ITest* test) = 0;
    /** Adds the group behind `suite` under this one, by that name; -1 when `suite` is not a
        group of the host's tree. */
    virtual tresult addTestSuite(const char8* name, ITestSuite* suite) = 0;
    /** The test whose setup and teardown frame every run of this group; replaces the last. */
    virtual tresult setEnvironment(ITest* environment) = 0;

    QEL_INTERFACE_IID(0xA8BAFA15, 0x53C3411B, 0xB9F35E5A, 0x1FA19126);
};

} // namespace Qel
} // namespace Quillmark

// The result of one test as a front end reports it: verdict, messages, errors and time, whether
// the test ran in this process or in a child. Made by the runners, read by the reporters, the
// log and the JUnit writer; a plain value.
#pragma once

#include "base/fstring.h"

#include <optional>
#include <string>
#include <vector>

namespace Quillmark
{

class FTestNode;

struct TestOutcome
{
    std::string path;  // full path from "Root"
    std::string suite; // the provider, or the top group of a module's tests, holding the test
    int32 status = 0;  // the node's own status (FTestNode::Status)
    int32 summary = 0; // the node's summary status
    bool leaf = true;  // false: a group whose setup or teardown failed, or that crashed
    bool ran = true;   // false: planned, but its process ended before it could start
    std::vector<std::string> messages;
    std::vector<std::string> errors;
    std::string note; // a short reason behind the verdict line, such as "setup failed"
    double seconds = 0.0;
    /** Where the random sequence stood when the test began, for a test that drew from it:
        a run that starts the test there draws the same numbers. */
    std::optional<uint32> randomState;

    bool passed() const;

    /** The outcome of `node` after its run, without time. */
    static TestOutcome of(const FTestNode& node);
    /** The path of the provider above `node` or, for a module's own tests, of the group below
        the root; `node`'s own path when neither exists. */
    static std::string suiteOf(const FTestNode& node);
};

} // namespace Quillmark

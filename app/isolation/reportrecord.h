// The records a test process sends its parent over a pipe, one line each: what it plans to run,
// each node that starts and ends, a test's messages and errors, a fatal note and the end of the
// run. Fields are separated by tabs; backslash escapes keep every text on its line.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace Quillmark
{

struct ReportRecord
{
    enum Kind : char
    {
        kPlan = 'P',     // path, suite: a test that will run, in order
        kBegin = 'B',    // path: a node (test or group) starts
        kMessage = 'M',  // text: a message of the test that ends next
        kError = 'E',    // text: an error of the test that ends next
        kResult = 'R',   // path, suite, status, summary, leaf (0/1), milliseconds, and the
                         // random sequence's state at the test's start and end
        kGroupEnd = 'G', // path: a group has finished
        kFatal = 'F',    // text: what is ending the process
        kDone = 'D',     // random state: the run is over and the process ends by itself
    };

    Kind kind = kDone;
    std::vector<std::string> fields;

    /** One line, newline included. */
    std::string encode() const;
    /** The record of one line (without its newline), or nothing when it is not one. */
    static std::optional<ReportRecord> decode(const std::string& line);

    static std::string escape(const std::string& text);
    static std::string unescape(const std::string& text);
};

} // namespace Quillmark

// Writes the outcomes of a run as a JUnit XML report, the form CI servers read: one test suite
// per provider (or per module's own test group), one test case per test, with its messages as
// system-out and its errors as the failure text. A plain function object, used once per run.
#pragma once

#include "conformity/testoutcome.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace Quillmark
{

class JUnitWriter
{
public:
    /** `timestamp` is the start of the run, as ISO 8601 local time without a zone. */
    explicit JUnitWriter(std::string timestamp = currentTimestamp());

    void write(std::ostream& out, const std::vector<TestOutcome>& outcomes) const;
    /** False with `error` set when the file cannot be written. */
    bool writeFile(const std::string& path, const std::vector<TestOutcome>& outcomes,
                   std::string& error) const;

    /** Text for an attribute or element: markup characters escaped, characters that XML 1.0
        does not allow and bytes that are no UTF-8 replaced by U+FFFD; in an attribute, line ends
        and tabs as character references so that they survive. */
    static std::string escape(const std::string& text, bool attribute = false);
    static std::string currentTimestamp();

private:
    std::string timestamp;
};

} // namespace Quillmark

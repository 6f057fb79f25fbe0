// The real-time check from the command line: renders one class offline through the engine at
// several formats, with the calls it makes inside process watched, and prints one verdict per
// check with its evidence; also writes a log and, when asked, a JUnit report.
#pragma once

#include <iosfwd>

namespace Quillmark
{

struct CommandLine;

int runRealtimeCheckJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err);

} // namespace Quillmark

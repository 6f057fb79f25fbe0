// The class listing: scans folders into a registry and prints one line per class.
#pragma once

#include <iosfwd>

namespace Quillmark
{

struct CommandLine;
class FComponentRegistry;

int runListJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err);

/** Prints the registry, one tab-separated line per class, in registry order. */
int printClassList(const FComponentRegistry& registry, std::ostream& out);

} // namespace Quillmark

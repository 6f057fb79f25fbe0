// Finding a plug-in class by what a user types on a command line: its name, or its identifier
// in either text form. Every mode that takes `--class` asks here, so they all agree.
#pragma once

#include "fcomponentregistry.h"

#include <string>

namespace Quillmark
{

/** True when `nameOrCid` is empty, the class's name, or its identifier, plain or in registry
    form (braces and dashes), in either case. */
bool matchesClass(const FComponentDescription& description, const std::string& nameOrCid);

/** The first available class of category "Audio Module Class" in a module (not compiled in)
    that matches, or null: the classes a slot, a preset or a render can bring to life. */
FComponentDescription* findAudioModuleClass(FComponentRegistry& registry,
                                            const std::string& nameOrCid);

/** "Qel3PluginTestHost: no class found", naming the filter when there is one; ends in a newline. */
std::string noClassFoundText(const std::string& nameOrCid);

} // namespace Quillmark

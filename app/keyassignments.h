// The program's key assignments: which key runs which command of the command table. The menus
// show them beside their items and the key-command window lists them. Keys are written in the
// portable text form that toolkits read ("Ctrl+W", "F5").
#pragma once

#include <string>
#include <vector>

namespace Quillmark
{

struct KeyAssignment
{
    std::string category;
    std::string name;
    std::string key;
};

/** Every assignment, in menu order. No key runs two commands. */
const std::vector<KeyAssignment>& defaultKeyAssignments();

/** The key of a command, or empty when it has none. */
std::string keyFor(const std::string& category, const std::string& name);

} // namespace Quillmark

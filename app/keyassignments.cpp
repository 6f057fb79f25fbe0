#include "app/keyassignments.h"

namespace Quillmark
{

const std::vector<KeyAssignment>& defaultKeyAssignments()
{
    // Close on Ctrl+W is the stock assignment; the others follow the habits of desktop programs
    // and leave the space bar and plain letters to the focused widget.
    static const std::vector<KeyAssignment> table{
        {"File", "Close", "Ctrl+W"},
        {"File", "Load Preset", "Ctrl+O"},
        {"File", "Save Preset", "Ctrl+S"},
        {"File", "Load MIDI File", "Ctrl+Shift+O"},
        {"File", "Save MIDI File", "Ctrl+Shift+S"},
        {"File", "Key Commands", "Ctrl+K"},
        {"File", "Preferences", "Ctrl+,"},
        {"File", "Plug-In Preferences", "Ctrl+Shift+,"},
        {"File", "Quit", "Ctrl+Q"},
        {"View", "Plugin Information", "Ctrl+I"},
        {"View", "Plugin Unit Tests", "Ctrl+T"},
        {"View", "Preset Editor", "Ctrl+E"},
        {"View", "Step Pattern", "Ctrl+P"},
        {"View", "Show/Hide Parameter Popup", "Ctrl+Shift+P"},
        {"Transport", "Play", "F5"},
        {"Transport", "PlayStop", "Ctrl+Space"},
        {"Transport", "Stop", "F6"},
        {"Transport", "Loop", "Ctrl+L"},
        {"Transport", "Return to Zero", "Ctrl+Home"},
        {"Transport", "Record", "F9"},
    };
    return table;
}

std::string keyFor(const std::string& category, const std::string& name)
{
    for (const KeyAssignment& assignment : defaultKeyAssignments())
        if (assignment.category == category && assignment.name == name)
            return assignment.key;
    return {};
}

} // namespace Quillmark

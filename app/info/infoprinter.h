// The information page and the generic editor as plain text, for the command line and for
// anything else that wants a page in a file: tab-separated cells, one line per value, node or
// parameter.
#pragma once

#include <iosfwd>

namespace Quillmark
{

class InfoPage;
class GenericEditor;

/** The values as "name<TAB>value" in the order they were made, then each tree that exists: a
    blank line, its title, a line naming its columns, and one line per node with the first cell
    indented two blanks per depth. A call into the plug-in that threw while a cell was made
    is told on `problems`, when given, once per row. */
void printInfoPage(const InfoPage& page, std::ostream& out, std::ostream* problems = nullptr);

/** The shown parameters: number, id, title, unit, style (float, toggle, discrete or list),
    default, current value and the plug-in's text for it, after a blank line, the title
    "Generic Editor" and a line naming the columns. */
void printGenericEditor(GenericEditor& editor, std::ostream& out);

} // namespace Quillmark

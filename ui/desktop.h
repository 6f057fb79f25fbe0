// The program with windows: the application started and run in its fixed order, with Qt's
// event loop driving the host's main loop, the main window and the test window. Called by main
// when no command-line mode is given and a display is there.
#pragma once

namespace Quillmark
{

struct CommandLine;

/** Answers the exit status. */
int runDesktop(int argc, char* argv[], const CommandLine& commandLine);

} // namespace Quillmark

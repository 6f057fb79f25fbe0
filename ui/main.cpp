#include "app/commandline.h"
#include "app/jobdispatch.h"
#include "ui/desktop.h"

#include <cstdlib>
#include <iostream>

namespace
{

bool hasDisplay()
{
    const char* x11 = std::getenv("DISPLAY");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    return (x11 && *x11) || (wayland && *wayland);
}

} // namespace

int main(int argc, char* argv[])
{
    std::ios::sync_with_stdio(true);
    Quillmark::CommandLine commandLine = Quillmark::CommandLine::parse(argc, argv);
    // Without a mode the program opens its windows; the modes never need a display.
    if (commandLine.job == Quillmark::CommandLine::Job::kNone && commandLine.error.empty() &&
        hasDisplay())
        return Quillmark::runDesktop(argc, argv, commandLine);
    return Quillmark::runCommandLine(commandLine, std::cout, std::cerr);
}

#include "app/commandline.h"
#include "app/jobdispatch.h"

#include <iostream>

int main(int argc, char* argv[])
{
    std::ios::sync_with_stdio(true);
    Quillmark::CommandLine commandLine = Quillmark::CommandLine::parse(argc, argv);
    return Quillmark::runCommandLine(commandLine, std::cout, std::cerr);
}

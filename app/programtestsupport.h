// For tests: runs the real program (QEL_PROGRAM) with a configuration folder of the test's own
// and collects its exit status, stdout and stderr.
#pragma once

#include "hosting/testsupport.h"

#include <sstream>
#include <string>
#include <sys/wait.h>
#include <vector>

namespace Quillmark::testing
{

inline std::string shellQuote(const std::string& text)
{
    std::string quoted = "'";
    for (char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

inline std::vector<std::string> splitLines(const std::string& text)
{
    std::vector<std::string> result;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        result.push_back(line);
    return result;
}

struct ProgramRun
{
    int status = -1; // the exit status; -1 when the program did not exit by itself
    std::string out;
    std::string err;
};

/** The command line that runs the program with `arguments`, its config in `config`. */
inline std::string programCommand(const std::string& config,
                                  const std::vector<std::string>& arguments)
{
    std::string command = shellQuote(QEL_PROGRAM) + " --config-dir " + shellQuote(config);
    for (const std::string& argument : arguments)
        command += " " + shellQuote(argument);
    return command;
}

/** Runs the program with stdout and stderr into files of `temp`. */
inline ProgramRun runProgram(const TempFolder& temp, const std::string& config,
                             const std::vector<std::string>& arguments)
{
    std::string out = temp.file("out.txt"), err = temp.file("err.txt");
    std::string command = programCommand(config, arguments) + " </dev/null >" + shellQuote(out) +
                          " 2>" + shellQuote(err);
    ProgramRun result;
    int raw = std::system(command.c_str());
    result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    result.out = readFile(out);
    result.err = readFile(err);
    return result;
}

} // namespace Quillmark::testing

// Child processes as the isolating run watches them: records and output arrive, and every way
// of ending (exit status, a fatal signal, a hang past the time limit) is told apart. The
// children are forked copies of this test program.
#include "app/isolation/childprocess.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <string>
#include <unistd.h>

using namespace Quillmark;

namespace
{

struct Seen
{
    std::vector<std::string> lines;
    std::string output;
    ChildProcess::Handlers handlers()
    {
        ChildProcess::Handlers result;
        result.line = [this](const std::string& line) { lines.push_back(line); };
        result.output = [this](const std::string& chunk) { output += chunk; };
        return result;
    }
};

void say(int fd, const std::string& text)
{
    [[maybe_unused]] ssize_t ignored = ::write(fd, text.data(), text.size());
}

} // namespace

TEST(ChildProcess, ReportLinesAndOutputArriveAndTheExitStatusIsKept)
{
    ChildProcess child;
    std::string error;
    ASSERT_TRUE(child.startFunction(
        [](int reportFd)
        {
            say(reportFd, "first\nsec");
            std::fputs("to stdout\n", stdout);
            std::fflush(stdout);
            say(STDERR_FILENO, "to stderr\n");
            say(reportFd, "ond\nno newline at the end");
            return 7;
        },
        error))
        << error;
    Seen seen;
    ProcessEnd end = child.supervise(60.0, seen.handlers());
    EXPECT_EQ(end.kind, ProcessEnd::kExited);
    EXPECT_EQ(end.code, 7);
    EXPECT_EQ(seen.lines, (std::vector<std::string>{"first", "second"}));
    EXPECT_NE(seen.output.find("to stdout\n"), std::string::npos);
    EXPECT_NE(seen.output.find("to stderr\n"), std::string::npos);
}

TEST(ChildProcess, AFatalSignalIsNamed)
{
    ChildProcess child;
    std::string error;
    ASSERT_TRUE(child.startFunction(
        [](int)
        {
            std::signal(SIGSEGV, SIG_DFL); // no sanitizer's handler in between
            std::raise(SIGSEGV);
            return 0;
        },
        error));
    Seen seen;
    ProcessEnd end = child.supervise(60.0, seen.handlers());
    EXPECT_EQ(end.kind, ProcessEnd::kSignalled);
    EXPECT_EQ(end.signal, SIGSEGV);
}

TEST(ChildProcess, AChildWithoutProgressIsKilledAtTheLimit)
{
    ChildProcess child;
    std::string error;
    ASSERT_TRUE(child.startFunction(
        [](int reportFd)
        {
            say(reportFd, "started\n");
            for (;;)
                ::pause();
            return 0;
        },
        error));
    Seen seen;
    ProcessEnd end = child.supervise(0.5, seen.handlers());
    EXPECT_EQ(end.kind, ProcessEnd::kTimedOut);
    EXPECT_DOUBLE_EQ(end.timeLimit, 0.5);
    EXPECT_EQ(seen.lines, std::vector<std::string>{"started"});
    EXPECT_EQ(child.getPid(), -1) << "the killed child has been reaped";
}

TEST(ChildProcess, AStopRequestEndsAChildThatKeepsReporting)
{
    // Busy for half a minute, with a report every 100 ms: only the stop request can end it
    // before it exits with 5.
    ChildProcess child;
    std::string error;
    ASSERT_TRUE(child.startFunction(
        [](int reportFd)
        {
            for (int index = 0; index < 300; ++index)
            {
                say(reportFd, "busy\n");
                ::usleep(100 * 1000);
            }
            return 5;
        },
        error));
    Seen seen;
    ChildProcess::Handlers handlers = seen.handlers();
    handlers.stopRequested = [&] { return !seen.lines.empty(); };
    ProcessEnd end = child.supervise(600.0, handlers);
    EXPECT_EQ(end.kind, ProcessEnd::kTimedOut);
}

TEST(ChildProcess, AProgramThatCannotRunExitsWith127)
{
    ChildProcess child;
    std::string error;
    ASSERT_TRUE(child.start({"/nonexistent/program", "--flag"}, error)) << error;
    Seen seen;
    ProcessEnd end = child.supervise(60.0, seen.handlers());
    EXPECT_EQ(end.kind, ProcessEnd::kExited);
    EXPECT_EQ(end.code, 127);
    EXPECT_NE(seen.output.find("cannot start"), std::string::npos);

    ChildProcess empty;
    EXPECT_FALSE(empty.start({}, error));
}

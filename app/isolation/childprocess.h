// A child process that reports over a pipe: started from a program's arguments (or, for tests,
// from a function), watched until it ends, and killed when it stops making progress. Its
// output, stdout and stderr together, is handed on as it comes. Owned by the caller.
#pragma once

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace Quillmark
{

/** How a child process ended. */
struct ProcessEnd
{
    enum Kind
    {
        kExited,    // `code` is its exit status
        kSignalled, // `signal` ended it
        kTimedOut,  // no record for `timeLimit` seconds: it was killed
        kNotStarted,
    };
    Kind kind = kNotStarted;
    int code = 0;
    int signal = 0;
    double timeLimit = 0.0;
};

class ChildProcess
{
public:
    /** The descriptor the report pipe has in a child started from arguments. */
    static constexpr int kReportFd = 3;

    ChildProcess() = default;
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /** Runs `arguments[0]` with the arguments, stdin from /dev/null, the report pipe as
        descriptor kReportFd. False with `error` set when it cannot start. */
    bool start(const std::vector<std::string>& arguments, std::string& error);
    /** Runs `body` in a forked copy of this process, given the report pipe's descriptor; its
        answer is the exit status. */
    bool startFunction(const std::function<int(int reportFd)>& body, std::string& error);

    struct Handlers
    {
        std::function<void(const std::string& line)> line;    // one report line, no newline
        std::function<void(const std::string& chunk)> output; // what it wrote to stdout/stderr
        std::function<void()> tick;                           // about once a second
        /** Polled often; once true, the child has kStopGrace seconds to end by itself. */
        std::function<bool()> stopRequested;
    };

    static constexpr double kStopGrace = 2.0;

    /** Reads until the child has ended, restarting the clock at every report line; when the
        clock passes `timeLimit` seconds the child is killed. So is a child that has not ended
        kStopGrace seconds after a stop was requested; that end counts as kTimedOut too. */
    ProcessEnd supervise(double timeLimit, const Handlers& handlers);

    pid_t getPid() const { return pid; }

private:
    bool makePipes(std::string& error);
    void closeChildEnds();

    pid_t pid = -1;
    int reportPipe[2] = {-1, -1};
    int outputPipe[2] = {-1, -1};
};

} // namespace Quillmark

#include "app/isolation/childprocess.h"
#include "base/platform/clock.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Quillmark
{

namespace
{

void closeFd(int& fd)
{
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}

ProcessEnd endOf(int status)
{
    ProcessEnd end;
    if (WIFSIGNALED(status))
    {
        end.kind = ProcessEnd::kSignalled;
        end.signal = WTERMSIG(status);
    }
    else
    {
        end.kind = ProcessEnd::kExited;
        end.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    return end;
}

/** In the forked child: the pipes onto the standard descriptors and kReportFd, with
    close-on-exec cleared. Only calls that are safe after fork. */
void wireChild(int reportFd, int outputFd)
{
    int devNull = ::open("/dev/null", O_RDONLY);
    if (devNull >= 0)
        ::dup2(devNull, STDIN_FILENO);
    ::dup2(outputFd, STDOUT_FILENO);
    ::dup2(outputFd, STDERR_FILENO);
    ::dup2(reportFd, ChildProcess::kReportFd);
    for (int fd = 0; fd <= ChildProcess::kReportFd; ++fd)
        ::fcntl(fd, F_SETFD, 0);
}

} // namespace

ChildProcess::~ChildProcess()
{
    if (pid > 0)
    {
        ::kill(pid, SIGKILL);
        int status = 0;
        ::waitpid(pid, &status, 0);
    }
    for (int* fd : {&reportPipe[0], &reportPipe[1], &outputPipe[0], &outputPipe[1]})
        closeFd(*fd);
}

bool ChildProcess::makePipes(std::string& error)
{
    if (::pipe2(reportPipe, O_CLOEXEC) != 0 || ::pipe2(outputPipe, O_CLOEXEC) != 0)
    {
        error = std::string("cannot make a pipe: ") + std::strerror(errno);
        return false;
    }
    return true;
}

void ChildProcess::closeChildEnds()
{
    closeFd(reportPipe[1]);
    closeFd(outputPipe[1]);
    ::fcntl(reportPipe[0], F_SETFL, O_NONBLOCK);
    ::fcntl(outputPipe[0], F_SETFL, O_NONBLOCK);
}

bool ChildProcess::start(const std::vector<std::string>& arguments, std::string& error)
{
    if (arguments.empty() || pid > 0 || !makePipes(error))
    {
        if (error.empty())
            error = "nothing to start";
        return false;
    }
    // Everything the child needs is made before fork: after it only exec-safe calls remain.
    std::vector<char*> argv;
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    static constexpr char kExecFailed[] = "cannot start the test process\n";

    pid = ::fork();
    if (pid < 0)
    {
        error = std::string("cannot start a process: ") + std::strerror(errno);
        return false;
    }
    if (pid == 0)
    {
        wireChild(reportPipe[1], outputPipe[1]);
        ::execv(argv[0], argv.data());
        [[maybe_unused]] ssize_t ignored =
            ::write(STDERR_FILENO, kExecFailed, sizeof kExecFailed - 1);
        ::_exit(127);
    }
    closeChildEnds();
    return true;
}

bool ChildProcess::startFunction(const std::function<int(int reportFd)>& body, std::string& error)
{
    if (pid > 0 || !makePipes(error))
        return false;
    pid = ::fork();
    if (pid < 0)
    {
        error = std::string("cannot start a process: ") + std::strerror(errno);
        return false;
    }
    if (pid == 0)
    {
        wireChild(reportPipe[1], outputPipe[1]);
        ::_exit(body(kReportFd));
    }
    closeChildEnds();
    return true;
}

ProcessEnd ChildProcess::supervise(double timeLimit, const Handlers& handlers)
{
    ProcessEnd end;
    if (pid <= 0)
        return end;
    std::string pending;
    char buffer[65536];

    double deadline = platform::seconds() + timeLimit;
    double nextTick = platform::seconds() + 1.0;
    double stopDeadline = -1.0; // set once a stop is requested
    // Reads what is there; answers false at the end of the pipe.
    auto readFrom = [&](int& fd, bool report) -> bool
    {
        for (;;)
        {
            ssize_t count = ::read(fd, buffer, sizeof buffer);
            if (count < 0 && errno == EINTR)
                continue;
            if (count <= 0)
            {
                if (count == 0 || (errno != EAGAIN && errno != EWOULDBLOCK))
                {
                    closeFd(fd);
                    return false;
                }
                return true;
            }
            if (!report)
            {
                if (handlers.output)
                    handlers.output(std::string(buffer, size_t(count)));
                continue;
            }
            pending.append(buffer, size_t(count));
            for (size_t newline; (newline = pending.find('\n')) != std::string::npos;)
            {
                std::string line = pending.substr(0, newline);
                pending.erase(0, newline + 1);
                deadline = platform::seconds() + timeLimit;
                if (handlers.line)
                    handlers.line(line);
            }
        }
    };
    auto drain = [&]
    {
        if (reportPipe[0] >= 0)
            readFrom(reportPipe[0], true);
        if (outputPipe[0] >= 0)
            readFrom(outputPipe[0], false);
    };

    for (;;)
    {
        int status = 0;
        if (::waitpid(pid, &status, WNOHANG) == pid)
        {
            pid = -1;
            drain();
            end = endOf(status);
            break;
        }
        double now = platform::seconds();
        if (stopDeadline < 0.0 && handlers.stopRequested && handlers.stopRequested())
            stopDeadline = now + kStopGrace;
        if (now >= deadline || (stopDeadline >= 0.0 && now >= stopDeadline))
        {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, &status, 0);
            pid = -1;
            drain();
            end.kind = ProcessEnd::kTimedOut;
            end.timeLimit = timeLimit;
            break;
        }
        if (now >= nextTick)
        {
            if (handlers.tick)
                handlers.tick();
            nextTick = now + 1.0;
        }
        // Short waits, so that a child whose pipes stay open (a process it started holds
        // them) is still seen to end.
        double wait = std::min({deadline - now, nextTick - now, 0.25});
        pollfd fds[2];
        nfds_t count = 0;
        for (int fd : {reportPipe[0], outputPipe[0]})
            if (fd >= 0)
                fds[count++] = {fd, POLLIN, 0};
        int ready = ::poll(fds, count, std::max(1, int(wait * 1000.0)));
        if (ready <= 0)
            continue; // a time-out, or a signal such as Ctrl-C: look again
        drain();
    }
    closeFd(reportPipe[0]);
    closeFd(outputPipe[0]);
    return end;
}

} // namespace Quillmark

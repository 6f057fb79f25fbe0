// Ctrl-C for a command-line job: caught for the life of the object, so that a run can stop
// between two tests; the handler before it is restored afterwards. Owned by the job.
#pragma once

#include <csignal>

namespace Quillmark
{

class InterruptCatcher
{
public:
    InterruptCatcher();
    ~InterruptCatcher();
    InterruptCatcher(const InterruptCatcher&) = delete;
    InterruptCatcher& operator=(const InterruptCatcher&) = delete;

    /** Whether SIGINT arrived since the catcher was made. */
    static bool interrupted();

private:
    static struct sigaction& previous();
};

} // namespace Quillmark

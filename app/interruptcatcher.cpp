#include "app/interruptcatcher.h"

namespace Quillmark
{

namespace
{

volatile std::sig_atomic_t& interruptFlag()
{
    static volatile std::sig_atomic_t flag = 0;
    return flag;
}

void onInterrupt(int)
{
    interruptFlag() = 1;
}

} // namespace

InterruptCatcher::InterruptCatcher()
{
    interruptFlag() = 0;
    struct sigaction action = {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &previous());
}

InterruptCatcher::~InterruptCatcher()
{
    sigaction(SIGINT, &previous(), nullptr);
}

struct sigaction& InterruptCatcher::previous()
{
    static struct sigaction saved = {};
    return saved;
}

bool InterruptCatcher::interrupted()
{
    return interruptFlag() != 0;
}

} // namespace Quillmark

// Helpers for tests of the foundation that wait on other threads.
#pragma once

#include <chrono>
#include <thread>

namespace Quillmark::testing
{

/** Waits until `condition` holds, for at most five seconds; answers whether it held. */
template <class Condition> bool eventually(Condition condition)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!condition())
    {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace Quillmark::testing

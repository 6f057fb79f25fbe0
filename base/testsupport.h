// Helpers for tests of the foundation that wait on other threads.
#pragma once

#include <chrono>
#include <thread>

namespace Quillmark::testing
{

/** Waits until `condition` holds, for at most `seconds`; answers whether it held. */
template <class Condition> bool eventually(Condition condition, double seconds = 5.0)
{
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                              std::chrono::duration<double>(seconds));
    while (!condition())
    {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace Quillmark::testing

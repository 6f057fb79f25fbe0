#include "base/singleton.h"

#include <vector>

namespace Quillmark
{

namespace
{

struct SingletonRegistry
{
    std::recursive_mutex mutex;
    std::vector<FObject**> slots;
    bool terminated = false;

    ~SingletonRegistry() { SingletonList::releaseAll(); }
};

// Constructed before and destroyed after every other static object of the program, so the
// singletons outlive all code that may still ask for them.
SingletonRegistry gRegistry __attribute__((init_priority(101)));

} // namespace

void SingletonList::add(FObject** slot)
{
    std::lock_guard<std::recursive_mutex> guard(gRegistry.mutex);
    gRegistry.slots.push_back(slot);
}

bool SingletonList::isTerminated()
{
    return gRegistry.terminated;
}

std::recursive_mutex& SingletonList::mutex()
{
    return gRegistry.mutex;
}

void SingletonList::releaseAll()
{
    std::vector<FObject**> slots;
    {
        std::lock_guard<std::recursive_mutex> guard(gRegistry.mutex);
        gRegistry.terminated = true;
        slots.swap(gRegistry.slots);
    }
    for (auto it = slots.rbegin(); it != slots.rend(); ++it)
    {
        FObject* object = **it;
        **it = nullptr;
        if (object)
            object->release();
    }
}

} // namespace Quillmark

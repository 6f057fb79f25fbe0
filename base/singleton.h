// Global services created on first use. Each is entered in one list that is released at
// process end, after the program's own static destructors; a request after that gives null.
#pragma once

#include "base/fobject.h"

#include <mutex>

namespace Quillmark
{

class SingletonList
{
public:
    /** Enters a slot; the object in it is released and the slot cleared at process end. */
    static void add(FObject** slot);
    /** True once the list is being or has been released. */
    static bool isTerminated();
    /** Releases every entered object now, newest first; used at the end of the process. */
    static void releaseAll();
    static std::recursive_mutex& mutex();
};

/** The singleton of class T, created with `new T` on first use. */
template <class T> T* singletonInstance()
{
    static T* instance = nullptr;
    std::lock_guard<std::recursive_mutex> guard(SingletonList::mutex());
    if (SingletonList::isTerminated())
        return nullptr;
    if (!instance)
    {
        instance = new T;
        SingletonList::add(reinterpret_cast<FObject**>(&instance));
    }
    return instance;
}

} // namespace Quillmark

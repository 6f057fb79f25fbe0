// A counted reference to an interface, for the objects a plug-in keeps beyond one call (the host
// context, mostly). The holder owns one reference and gives it back when it lets go.
#pragma once

#include "qel3/funknown.h"

#include <utility>

namespace Quillmark
{
namespace Qel
{

template <class I> class IPtr
{
public:
    IPtr() = default;
    /** Shares `pointer`: the holder adds its own reference, the caller keeps its one. */
    explicit IPtr(I* pointer) : ptr(pointer)
    {
        if (ptr)
            ptr->addRef();
    }
    /** Takes over the one reference the caller holds, as from createInstance or queryInterface:
        no reference is added. */
    static IPtr adopt(I* pointer)
    {
        IPtr result;
        result.ptr = pointer;
        return result;
    }
    IPtr(const IPtr& other) : IPtr(other.ptr) {}
    IPtr(IPtr&& other) noexcept : ptr(std::exchange(other.ptr, nullptr)) {}
    ~IPtr() { reset(); }

    IPtr& operator=(IPtr other) noexcept
    {
        std::swap(ptr, other.ptr);
        return *this;
    }

    /** Lets go of the held interface and shares `pointer` instead. */
    void reset(I* pointer = nullptr)
    {
        if (pointer)
            pointer->addRef();
        I* old = std::exchange(ptr, pointer);
        if (old)
            old->release();
    }

    I* get() const { return ptr; }
    I* operator->() const { return ptr; }
    explicit operator bool() const { return ptr != nullptr; }

private:
    I* ptr = nullptr;
};

} // namespace Qel
} // namespace Quillmark

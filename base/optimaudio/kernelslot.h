// The holder of a global kernel table such as sAudioPrimitives. It is filled once at start-up;
// a use before that stops the program with the holder's name, because running the audio path
// without its kernels would otherwise crash far from the cause.
#pragma once

namespace Quillmark
{

/** Prints "Assertion failed: <name>" to stderr and aborts. */
[[noreturn]] void kernelSlotAssert(const char* name);

template <class T> class KernelSlot
{
public:
    explicit constexpr KernelSlot(const char* name) : name(name) {}

    const T* operator->() const { return &get(); }
    const T& operator*() const { return get(); }
    const T& get() const
    {
        if (!table)
            kernelSlotAssert(name);
        return *table;
    }
    bool isInstalled() const { return table != nullptr; }
    const char* getName() const { return name; }

    /** Used by the installer only; the table stays owned by whoever made it. */
    void set(const T* newTable) { table = newTable; }

private:
    const char* name;
    const T* table = nullptr;
};

} // namespace Quillmark

// A ring of fixed capacity between one producer and one consumer that run on the same thread
// (both on the audio thread, in the block the graph drives), so the indices are plain integers.
// The full test does not wrap: with the reader at 0 the writer can run all the way round, and
// the ring then looks empty again. Callers rely on exactly this behaviour.
#pragma once

#include "qel3/funknown.h"

#include <memory>

namespace Quillmark
{
namespace MiniEngine
{

template <class T> class TRingBuffer
{
public:
    explicit TRingBuffer(int32 capacity)
        : items(capacity > 0 ? new T[size_t(capacity)]() : nullptr),
          capacity(capacity > 0 ? capacity : 0)
    {
    }

    int32 getCapacity() const { return capacity; }
    bool isEmpty() const { return writeIndex == readIndex; }
    /** False, storing nothing, when the writer stands just behind the reader. */
    bool put(const T& item)
    {
        if (capacity == 0 || writeIndex == readIndex - 1)
            return false;
        items[size_t(writeIndex)] = item;
        writeIndex = writeIndex + 1 == capacity ? 0 : writeIndex + 1;
        return true;
    }
    /** The next item without taking it; unguarded, so only meaningful when not empty. */
    const T& peek() const { return items[size_t(readIndex)]; }
    /** Takes the next item; false when the ring is empty. */
    bool get(T& item)
    {
        if (isEmpty())
            return false;
        item = items[size_t(readIndex)];
        readIndex = readIndex + 1 == capacity ? 0 : readIndex + 1;
        return true;
    }
    void clear() { writeIndex = readIndex = 0; }

private:
    std::unique_ptr<T[]> items;
    int32 capacity;
    int32 writeIndex = 0;
    int32 readIndex = 0;
};

} // namespace MiniEngine
} // namespace Quillmark

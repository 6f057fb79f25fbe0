// Hands what the audio thread records over to the thread that builds the recorded track: a ring
// of fixed capacity with one writer (the audio thread) and one reader (the user interface), so
// neither side allocates, frees or waits. A full ring drops the newest entry. Owned by the graph.
#pragma once

#include "qel3/ievents.h"

#include <atomic>
#include <memory>

namespace Quillmark
{
namespace MiniEngine
{

struct RecordedEvent
{
    enum Kind : int32
    {
        kNote = 0,       // a note-on or note-off of `event`
        kController = 1, // a legacy controller event: 0-127, 128 pressure, 129 bend
    };
    Qel::Event event{};
    double position = 0.0; // quarter notes
    int32 kind = kNote;
};

class RecordedEventRing
{
public:
    explicit RecordedEventRing(int32 capacity)
        : items(new RecordedEvent[size_t(capacity > 1 ? capacity : 2)]),
          capacity(capacity > 1 ? capacity : 2)
    {
    }

    int32 getCapacity() const { return capacity - 1; }

    /** The writer's side; false when the ring is full and the entry was dropped. */
    bool put(const RecordedEvent& item)
    {
        const int32 write = writeIndex.load(std::memory_order_relaxed);
        const int32 next = write + 1 == capacity ? 0 : write + 1;
        if (next == readIndex.load(std::memory_order_acquire))
            return false;
        items[size_t(write)] = item;
        writeIndex.store(next, std::memory_order_release);
        return true;
    }

    /** The reader's side; false when there is nothing. */
    bool get(RecordedEvent& item)
    {
        const int32 read = readIndex.load(std::memory_order_relaxed);
        if (read == writeIndex.load(std::memory_order_acquire))
            return false;
        item = items[size_t(read)];
        readIndex.store(read + 1 == capacity ? 0 : read + 1, std::memory_order_release);
        return true;
    }

    bool isEmpty() const
    {
        return readIndex.load(std::memory_order_acquire) ==
               writeIndex.load(std::memory_order_acquire);
    }

private:
    std::unique_ptr<RecordedEvent[]> items;
    int32 capacity;
    std::atomic<int32> writeIndex{0};
    std::atomic<int32> readIndex{0};
};

} // namespace MiniEngine
} // namespace Quillmark

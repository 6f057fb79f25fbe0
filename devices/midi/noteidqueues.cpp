#include "devices/midi/noteidqueues.h"

namespace Quillmark
{

NoteIdQueues::NoteIdQueues()
{
    queues.reserve(size_t(kChannels * kPitches));
    for (int32 i = 0; i < kChannels * kPitches; ++i)
        queues.emplace_back(size_t(kCapacity));
}

boost::circular_buffer<int32>* NoteIdQueues::queueOf(int32 channel, int32 pitch)
{
    if (channel < 0 || channel >= kChannels || pitch < 0 || pitch >= kPitches)
        return nullptr;
    return &queues[size_t(channel * kPitches + pitch)];
}

void NoteIdQueues::noteOn(int32 channel, int32 pitch, int32 noteId)
{
    if (auto* queue = queueOf(channel, pitch))
        queue->push_back(noteId);
}

int32 NoteIdQueues::noteOff(int32 channel, int32 pitch)
{
    auto* queue = queueOf(channel, pitch);
    if (!queue || queue->empty())
        return -1;
    const int32 id = queue->front();
    queue->pop_front();
    return id;
}

int32 NoteIdQueues::openNotes(int32 channel, int32 pitch) const
{
    if (channel < 0 || channel >= kChannels || pitch < 0 || pitch >= kPitches)
        return 0;
    return int32(queues[size_t(channel * kPitches + pitch)].size());
}

void NoteIdQueues::clear()
{
    for (auto& queue : queues)
        queue.clear();
}

} // namespace Quillmark

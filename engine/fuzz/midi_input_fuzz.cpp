// Feeds bytes to a plug-in's MIDI event input as a port would deliver them: every three bytes
// are one message (status, data1, data2), the fourth a flag byte (live, detune), then the
// queued messages are taken into a block as events and parameter values.
#include "engine/qeleventinput.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

using namespace Quillmark;
using namespace Quillmark::MiniEngine;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    auto* input = new QelEventInput(0, (data[0] & 1) != 0);
    input->setChannelFilter((data[0] >> 1) % 17 - 1);
    auto* list = new EventList;
    auto* changes = new MultiParameterChange;
    changes->setMaxParameters(8);
    Qel::ProcessContext context{};
    context.tempo = (data[0] & 0x80) ? 0.0 : 120.0;
    context.sampleRate = 44100.0;
    OperatorBuffers buffers;
    buffers.numSamples = 1 + data[0] % 64;
    buffers.context = &context;
    for (size_t pos = 1; pos + 4 <= size; pos += 4)
    {
        MidiMessage message;
        message.status = data[pos];
        message.data1 = data[pos + 1];
        message.data2 = data[pos + 2];
        message.live = (data[pos + 3] & 1) != 0;
        message.hasDetune = (data[pos + 3] & 2) != 0;
        message.detune = float(int8_t(data[pos + 3]));
        message.time = double(data[pos + 3]) * 0.01 - 0.5;
        message.length = double(data[pos + 1]) * 0.1;
        input->receive(message);
        if (data[pos + 3] == 0xff)
            input->releaseHeldNotes();
    }
    input->fillEvents(*list, buffers, 44100.0);
    input->fillParameterChanges(*changes);
    input->fillRecordEvents(*list, buffers, 44100.0);
    changes->release();
    list->release();
    input->release();
    return 0;
}

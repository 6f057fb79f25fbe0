// Raw bytes of a MIDI cable or a JACK port, split at arbitrary places: every message that comes
// out must be whole and well formed, whatever the stream held.
#include "devices/midi/midibyteparser.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace Quillmark;

namespace
{
class CheckingSink : public MidiByteParser::Sink
{
public:
    void midiMessage(const uint8* bytes, int32 size) override
    {
        if (size < 1 || bytes[0] < 0x80)
            std::abort();
        if (bytes[0] == 0xF0)
        {
            if (size < 2 || bytes[size - 1] != 0xF7 || size > MidiByteParser::kMaxSysexSize)
                std::abort();
            for (int32 i = 1; i < size - 1; ++i)
                if (bytes[i] >= 0x80)
                    std::abort();
            return;
        }
        if (size != MidiByteParser::dataBytesOf(bytes[0]) + 1)
            std::abort();
        for (int32 i = 1; i < size; ++i)
            if (bytes[i] >= 0x80)
                std::abort();
    }
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    MidiByteParser parser;
    CheckingSink sink;
    // The first byte says where the stream is cut, as ring records would cut it.
    const size_t cut = size > 1 ? 1 + data[0] % (size - 1) : 1;
    parser.parse(data + 1, cut - 1, sink);
    parser.parse(data + cut, size - cut, sink);
    return 0;
}

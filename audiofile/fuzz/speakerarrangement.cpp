// The stored forms of a speaker arrangement, as projects and settings keep them: the first byte
// picks the binary form (a count, then the speakers) or the tree form (an XML attribute tree
// with "Type" once per speaker); the rest is the stored bytes. Whatever is read must classify,
// give a mask, and store and read back to the same speakers.
#include "audiofile/speakerarrangement.h"
#include "base/fattributes.h"
#include "base/fcapabilities.h"
#include "base/fstreamer.h"
#include "base/fstreams.h"

using namespace Quillmark;

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    // Everything that the program plays is allowed, as in the application.
    FCapabilities::instance()->setValue("SURROUND", 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const bool treeForm = data[0] & 1;
    ASpeakerArrangement arrangement;
    if (treeForm)
    {
        auto* attributes = new FAttributes;
        if (attributes->readXml(data + 1, size - 1))
            arrangement.restoreAttributes(*attributes);
        attributes->release();
    }
    else
    {
        auto* stream = new FMemoryStream(data + 1, int64(size - 1));
        FStreamer streamer(stream);
        arrangement.read(streamer);
        stream->release();
    }
    arrangement.classifyArrangement();
    arrangement.getSpeakerMask();

    auto* stream = new FMemoryStream;
    FStreamer writer(stream);
    if (!arrangement.write(writer))
        __builtin_trap();
    stream->seek(0, IBStream::kIBSeekSet, nullptr);
    ASpeakerArrangement copy;
    FStreamer reader(stream);
    if (!copy.read(reader) || copy.getSpeakerMask() != arrangement.getSpeakerMask())
        __builtin_trap();
    stream->release();
    return 0;
}

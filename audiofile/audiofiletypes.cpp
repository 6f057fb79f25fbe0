#include "audiofile/audiofiletypes.h"

#include "audiofile/aifffilehandler.h"
#include "audiofile/wavefilehandler.h"

#include <algorithm>
#include <cctype>

namespace Quillmark
{

AudioFileTypes::AudioFileTypes() = default;

AudioFileTypes& AudioFileTypes::instance()
{
    // Registered on first use rather than by static constructors, which a static library
    // would drop when nothing refers to their file; the first use may come from any thread.
    static AudioFileTypes* types = []
    {
        auto* made = new AudioFileTypes;
        WaveFileHandler::registerTypes(*made);
        AIFFFileHandler::registerTypes(*made);
        return made;
    }();
    return *types;
}

void AudioFileTypes::registerAudioFileType(const AudioFileType& type, AudioHandlerFactory factory,
                                           int32 flags, AudioPathPredicate predicate)
{
    auto* meta = new AMetaHandler;
    meta->fileType = type;
    meta->factory = factory;
    meta->flags = flags;
    meta->predicate = predicate;
    if (flags & kAudioTypeAtHead)
        list.insert(list.begin(), meta);
    else
        list.push_back(meta);
    addKnownType(type);
}

void AudioFileTypes::addKnownType(const AudioFileType& type)
{
    // A type may go by several extensions ("aif", "aiff"): one entry per extension.
    for (const auto& known : types)
        if (known.name == type.name && known.extension == type.extension)
            return;
    types.push_back(type);
}

void AudioFileTypes::registerSniffer(AudioSniffer sniffer)
{
    sniffers.push_back(sniffer);
}

const AudioFileType* AudioFileTypes::typeForExtension(const std::string& extension) const
{
    std::string lower = extension;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    for (const auto& type : types)
        if (!lower.empty() && type.extension == lower)
            return &type;
    return nullptr;
}

const AudioFileType* AudioFileTypes::typeNamed(const std::string& name) const
{
    for (const auto& type : types)
        if (type.name == name)
            return &type;
    return nullptr;
}

std::string AudioFileTypes::sniff(const uint8* bytes, int32 size) const
{
    for (AudioSniffer sniffer : sniffers)
    {
        std::string name = sniffer(bytes, size);
        if (!name.empty())
            return name;
    }
    return {};
}

} // namespace Quillmark

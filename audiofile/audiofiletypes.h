// The registry of audio file types: which handler serves which type, in what order they are
// asked, which can be written, and how a file's first bytes tell its type when the extension
// does not.
#pragma once

#include "base/fobject.h"

#include <string>
#include <vector>

namespace Quillmark
{

class AudioFile;
class AudioFileHandler;

struct AudioFileType
{
    std::string name;      // display name, "Wave File"
    std::string extension; // without the dot
    std::string mimeType;
};

using AudioHandlerFactory = AudioFileHandler* (*)(AudioFile& file);
using AudioPathPredicate = bool (*)(const std::string& path);
/** Looks at the first bytes of a file and answers the type name, or empty. */
using AudioSniffer = std::string (*)(const uint8* bytes, int32 size);

enum AudioTypeFlags : int32
{
    kAudioTypeAtHead = 1,
    kAudioTypeWritable = 4,
};

/** One registered format. */
class AMetaHandler : public CmObject
{
public:
    AudioFileType fileType;
    AudioHandlerFactory factory = nullptr;
    int32 flags = 0;
    AudioPathPredicate predicate = nullptr;

    QEL_DECLARE_CLASS(AMetaHandler, CmObject)
};

class AudioFileTypes
{
public:
    /** The registry, with the built-in formats registered. */
    static AudioFileTypes& instance();

    void registerAudioFileType(const AudioFileType& type, AudioHandlerFactory factory, int32 flags,
                               AudioPathPredicate predicate = nullptr);
    /** Every type name the formats know, with its extension, for lookups by name. */
    void addKnownType(const AudioFileType& type);
    void registerSniffer(AudioSniffer sniffer);

    /** The type a path's extension stands for (the first known with it), or null. */
    const AudioFileType* typeForExtension(const std::string& extension) const;
    const AudioFileType* typeNamed(const std::string& name) const;
    /** The type named by a file's first bytes, or empty. */
    std::string sniff(const uint8* bytes, int32 size) const;
    const std::vector<AMetaHandler*>& handlers() const { return list; }
    const std::vector<AudioFileType>& knownTypes() const { return types; }

private:
    AudioFileTypes();
    std::vector<AMetaHandler*> list;
    std::vector<AudioFileType> types;
    std::vector<AudioSniffer> sniffers;
};

} // namespace Quillmark

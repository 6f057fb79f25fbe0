#include "presets/presetio.h"

#include "base/fstreams.h"
#include "base/platform/atomicfile.h"
#include "presets/metainfo.h"
#include "presets/presetfile.h"

#include <fstream>
#include <iterator>

namespace Quillmark
{
namespace Qel
{

namespace
{

struct StreamRef
{
    FMemoryStream* stream = new FMemoryStream;
    ~StreamRef() { stream->release(); }
};

} // namespace

bool readWholeFile(const std::string& path, std::string& bytes)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

bool savePresetFile(const std::string& path, const PresetSource& source, std::string& error)
{
    StreamRef memory;
    PresetFile file(memory.stream);
    file.setClassID(source.classId);
    if (!file.writeHeader())
    {
        error = "the header could not be written";
        return false;
    }
    if (!file.storeComponentState(source.component))
    {
        error = "the component did not give its state";
        return false;
    }
    if (source.controller && !file.storeControllerState(source.controller))
    {
        error = "the edit controller did not give its state";
        return false;
    }
    if (source.programData && source.programList != -1 &&
        !file.storeProgramData(source.programData, source.programList, source.programIndex))
    {
        error = "the plug-in did not give its program data";
        return false;
    }
    if (source.metaInfo)
    {
        std::string xml = writeMetaInfoXml(*source.metaInfo);
        if (!file.writeMetaInfo(xml.data(), int32(xml.size())))
        {
            error = "the meta information could not be written";
            return false;
        }
    }
    if (!file.writeChunkList())
    {
        error = "the chunk list could not be written";
        return false;
    }
    return platform::writeFileAtomically(path, memory.stream->data(), size_t(memory.stream->size()),
                                         &error);
}

bool updateMetaInfo(const std::string& path, const MediaAttributeList& metaInfo, std::string& error)
{
    std::string bytes;
    if (!readWholeFile(path, bytes))
    {
        error = "cannot be read";
        return false;
    }
    StreamRef memory;
    memory.stream->write(bytes.data(), int32(bytes.size()));
    PresetFile file(memory.stream);
    if (!file.readChunkList())
    {
        error = "not a preset file, or its chunk list is damaged";
        return false;
    }
    if (!file.prepareMetaInfoUpdate())
    {
        error = "its meta information is not the last chunk, so it cannot be replaced";
        return false;
    }
    std::string xml = writeMetaInfoXml(metaInfo);
    if (!file.writeMetaInfo(xml.data(), int32(xml.size()), true) || !file.writeChunkList())
    {
        error = "the new meta information could not be written";
        return false;
    }
    int64 end = 0;
    memory.stream->tell(&end);
    memory.stream->setSize(end);
    return platform::writeFileAtomically(path, memory.stream->data(), size_t(memory.stream->size()),
                                         &error);
}

} // namespace Qel
} // namespace Quillmark

#include "presets/qelpresetmedium.h"

#include "base/fstreams.h"
#include "base/platform/files.h"
#include "hosting/fcomponentregistry.h"
#include "presets/metainfo.h"
#include "presets/presetfile.h"
#include "presets/presetio.h"

#include <vector>

namespace Quillmark
{
namespace Qel
{

namespace
{

bool hasPart(const std::string& list, const std::string& word)
{
    size_t start = 0;
    while (start <= list.size())
    {
        size_t end = list.find('|', start);
        if (end == std::string::npos)
            end = list.size();
        if (list.compare(start, end - start, word) == 0)
            return true;
        start = end + 1;
    }
    return false;
}

} // namespace

bool QelPresetMedium::scan(const FComponentRegistry* registry)
{
    using Flags = MediaAttributeList::Flags;
    attributes.clear();
    attributes.setString("MediaType", "QelPreset", Flags::kWriteProtected);
    attributes.setString("FilePath", path, Flags::kWriteProtected | Flags::kTransient);

    FFileStream* stream = FFileStream::open(path.c_str(), "rb");
    if (!stream)
        return false;
    PresetFile file(stream);
    stream->release();
    if (!file.readChunkList())
        return false;

    const int32 shown = Flags::kHidden | Flags::kWriteProtected;
    if (file.contains(kProgramData))
        attributes.setString("QEL3UnitTypePath", "program", shown);
    attributes.setString("QEL3UniqueID", file.getClassID().toString(), shown);

    if (FComponentDescription* description =
            registry ? registry->findByCid(file.getClassID()) : nullptr)
    {
        std::string name = description->getName().toUtf8();
        std::string subCategories = description->subCategories.toUtf8();
        attributes.setString("PlugInCategory", subCategories, Flags::kWriteProtected);
        attributes.setString("PlugInName", name, Flags::kWriteProtected);
        attributes.setString("PlugInVendor", description->getVendor().toUtf8(),
                             Flags::kWriteProtected);
        if (hasPart(subCategories, "Instrument"))
            attributes.setString("MusicalMidiInstrument", name, Flags::kWriteProtected);
    }
    attributes.setString("FileName", platform::fileName(path), Flags::kTransient);

    int32 size = 0;
    if (file.readMetaInfo(nullptr, size))
    {
        std::vector<char> xml(static_cast<size_t>(size));
        if (file.readMetaInfo(xml.data(), size))
        {
            MetaInfoParser parser(attributes);
            parser.parse(xml.data(), size_t(size));
        }
    }
    return true;
}

bool QelPresetMedium::commit(std::string& error) const
{
    return updateMetaInfo(path, attributes, error);
}

} // namespace Qel
} // namespace Quillmark

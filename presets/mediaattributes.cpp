#include "presets/mediaattributes.h"

#include "base/fxmlwriter.h"

namespace Quillmark
{
namespace Qel
{

std::string MediaAttributeList::Attribute::valueText() const
{
    switch (kind)
    {
    case Kind::kInt:
        return FXmlWriter::formatInt(intValue);
    case Kind::kFloat:
        return FXmlWriter::formatFloat(floatValue);
    case Kind::kString:
        break;
    }
    return text;
}

MediaAttributeList::Attribute& MediaAttributeList::set(const std::string& id, Kind kind,
                                                       int32 flags)
{
    for (Attribute& attribute : attributes)
        if (attribute.id == id)
        {
            attribute = Attribute{};
            attribute.id = id;
            attribute.kind = kind;
            attribute.flags = flags;
            return attribute;
        }
    attributes.push_back(Attribute{id, kind, 0, 0, {}, flags});
    return attributes.back();
}

void MediaAttributeList::setString(const std::string& id, const std::string& value, int32 flags)
{
    set(id, Kind::kString, flags).text = value;
}

void MediaAttributeList::setInt(const std::string& id, int64 value, int32 flags)
{
    set(id, Kind::kInt, flags).intValue = value;
}

void MediaAttributeList::setFloat(const std::string& id, double value, int32 flags)
{
    set(id, Kind::kFloat, flags).floatValue = value;
}

bool MediaAttributeList::remove(const std::string& id)
{
    for (auto it = attributes.begin(); it != attributes.end(); ++it)
        if (it->id == id)
        {
            attributes.erase(it);
            return true;
        }
    return false;
}

const MediaAttributeList::Attribute* MediaAttributeList::find(const std::string& id) const
{
    for (const Attribute& attribute : attributes)
        if (attribute.id == id)
            return &attribute;
    return nullptr;
}

std::string MediaAttributeList::getString(const std::string& id) const
{
    const Attribute* attribute = find(id);
    return attribute && attribute->kind == Kind::kString ? attribute->text : std::string();
}

} // namespace Qel
} // namespace Quillmark

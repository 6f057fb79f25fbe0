#include "presets/metainfo.h"

#include "base/fstreams.h"
#include "base/fxmlwriter.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace Quillmark
{
namespace Qel
{

namespace
{

const char* typeText(MediaAttributeList::Kind kind)
{
    switch (kind)
    {
    case MediaAttributeList::Kind::kInt:
        return "int";
    case MediaAttributeList::Kind::kFloat:
        return "float";
    case MediaAttributeList::Kind::kString:
        break;
    }
    return "string";
}

bool parseInteger(const std::string& text, int64& value)
{
    const char* begin = text.data();
    const char* end = begin + text.size();
    if (begin != end && *begin == '+')
        ++begin;
    auto [stop, error] = std::from_chars(begin, end, value);
    return error == std::errc() && stop == end && begin != end;
}

bool parseFloat(const std::string& text, double& value)
{
    // strtod follows the C locale, which the program never changes from "C".
    if (text.empty())
        return false;
    char* stop = nullptr;
    errno = 0;
    double parsed = std::strtod(text.c_str(), &stop);
    if (stop != text.c_str() + text.size() || !std::isfinite(parsed))
        return false;
    value = parsed;
    return true;
}

} // namespace

std::string writeMetaInfoXml(const MediaAttributeList& attributes)
{
    FMemoryStream* stream = new FMemoryStream;
    {
        FXmlWriter writer(stream);
        writer.writeHeader();
        writer.startElement("MetaInfo");
        for (const auto& attribute : attributes.all())
        {
            if (attribute.flags & MediaAttributeList::kTransient)
                continue;
            writer.startElement("Attribute");
            writer.addAttribute("id", attribute.id);
            writer.addAttribute("value", attribute.valueText());
            writer.addAttribute("type", typeText(attribute.kind));
            writer.addAttribute("flags", MetaInfoParser::flagsText(attribute.flags));
            writer.endElement();
        }
        writer.finish();
    }
    std::string text(stream->data(), size_t(stream->size()));
    stream->release();
    return text;
}

int32 MetaInfoParser::parseFlags(const std::string& text)
{
    if (text == "hidden")
        return MediaAttributeList::kHidden;
    if (text == "writeProtected")
        return MediaAttributeList::kWriteProtected;
    if (text == "hidden|writeProtected")
        return MediaAttributeList::kHidden | MediaAttributeList::kWriteProtected;
    return 0;
}

const char* MetaInfoParser::flagsText(int32 flags)
{
    bool hidden = flags & MediaAttributeList::kHidden;
    bool writeProtected = flags & MediaAttributeList::kWriteProtected;
    if (hidden && writeProtected)
        return "hidden|writeProtected";
    if (hidden)
        return "hidden";
    if (writeProtected)
        return "writeProtected";
    return "";
}

bool MetaInfoParser::parse(const void* data, size_t size, std::string* error)
{
    FXmlParser parser(*this);
    bool ok = parser.parse(data, size, true);
    if (!ok && error)
        *error = parser.getError();
    return ok;
}

void MetaInfoParser::startElement(const char* name, const char** xmlAttributes)
{
    if (std::string(name) != "Attribute")
        return;
    auto take = [&](const char* key)
    {
        const char* value = FXmlParser::findAttribute(xmlAttributes, key);
        return std::string(value ? value : "");
    };
    std::string id = take("id");
    std::string value = take("value");
    std::string type = take("type");
    int32 flags = parseFlags(take("flags"));
    if (id.empty() || value.empty())
        return;
    if (type.empty() || type == "string")
        attributes.setString(id, value, flags);
    else if (type == "int")
    {
        int64 number = 0;
        if (parseInteger(value, number))
            attributes.setInt(id, number, flags);
    }
    else if (type == "float")
    {
        double number = 0;
        if (parseFloat(value, number))
            attributes.setFloat(id, number, flags);
    }
}

} // namespace Qel
} // namespace Quillmark

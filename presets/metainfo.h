// The meta information of a preset: a small UTF-8 XML document, root "MetaInfo", one empty
// "Attribute" element per attribute with its id, value, type and flags. The writer leaves out
// transient attributes; the parser skips whatever it cannot take rather than failing.
#pragma once

#include "base/fxmlparser.h"
#include "presets/mediaattributes.h"

#include <string>

namespace Quillmark
{
namespace Qel
{

/** The document for `attributes`, transient ones left out. */
std::string writeMetaInfoXml(const MediaAttributeList& attributes);

/** Fills a borrowed attribute list from a meta information document. */
class MetaInfoParser : public FXmlParser::Handler
{
public:
    explicit MetaInfoParser(MediaAttributeList& attributes) : attributes(attributes) {}

    /** Parses the document; attributes read before damage stay. False on malformed XML. */
    bool parse(const void* data, size_t size, std::string* error = nullptr);

    void startElement(const char* name, const char** xmlAttributes) override;
    void endElement(const char*) override {}

    /** "hidden" 1, "writeProtected" 2, "hidden|writeProtected" 3, anything else 0. */
    static int32 parseFlags(const std::string& text);
    static const char* flagsText(int32 flags);

private:
    MediaAttributeList& attributes;
};

} // namespace Qel
} // namespace Quillmark

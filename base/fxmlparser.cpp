#include "base/fxmlparser.h"

#include <expat.h>

#include <algorithm>
#include <climits>
#include <cstring>

namespace Quillmark
{

struct FXmlParserCallbacks
{
    static void XMLCALL start(void* user, const XML_Char* name, const XML_Char** attributes)
    {
        auto* self = static_cast<FXmlParser*>(user);
        // Expat may still deliver an event or two after a stop; the handler never sees them.
        if (!self->failed)
            self->handler.startElement(name, attributes);
    }

    static void XMLCALL end(void* user, const XML_Char* name)
    {
        auto* self = static_cast<FXmlParser*>(user);
        if (!self->failed)
            self->handler.endElement(name);
    }

    static void XMLCALL text(void* user, const XML_Char* s, int length)
    {
        auto* self = static_cast<FXmlParser*>(user);
        if (!self->failed)
            self->handler.characterData(s, length);
    }

    static void XMLCALL doctype(void* user, const XML_Char*, const XML_Char*, const XML_Char*, int)
    {
        // Entity declarations are the way to blow a small file up into a huge one; the host's
        // documents never need them.
        static_cast<FXmlParser*>(user)->stop("document type declarations are not accepted");
    }
};

FXmlParser::FXmlParser(Handler& handler) : handler(handler)
{
    XML_Parser p = XML_ParserCreate("UTF-8");
    parser = p;
    if (p)
    {
        XML_SetUserData(p, this);
        XML_SetElementHandler(p, FXmlParserCallbacks::start, FXmlParserCallbacks::end);
        XML_SetCharacterDataHandler(p, FXmlParserCallbacks::text);
        XML_SetStartDoctypeDeclHandler(p, FXmlParserCallbacks::doctype);
    }
}

FXmlParser::~FXmlParser()
{
    if (parser)
        XML_ParserFree(static_cast<XML_Parser>(parser));
}

int64 FXmlParser::currentLine() const
{
    return parser ? int64(XML_GetCurrentLineNumber(static_cast<XML_Parser>(parser))) : 0;
}

int64 FXmlParser::currentColumn() const
{
    return parser ? int64(XML_GetCurrentColumnNumber(static_cast<XML_Parser>(parser))) + 1 : 0;
}

void FXmlParser::fail(const std::string& reason)
{
    failed = true;
    errorLine = currentLine();
    errorColumn = currentColumn();
    error = reason + " at line " + std::to_string(errorLine) + ", column " +
            std::to_string(errorColumn);
}

void FXmlParser::stop(const std::string& reason)
{
    if (failed || !stopReason.empty())
        return;
    stopReason = reason;
    // The position is taken now: once stopped, Expat no longer reports where the event was.
    fail(reason);
    XML_StopParser(static_cast<XML_Parser>(parser), XML_FALSE);
}

bool FXmlParser::parse(const void* data, size_t size, bool isFinal)
{
    if (failed)
        return false;
    if (!parser)
    {
        failed = true;
        error = "the XML parser could not be created";
        return false;
    }
    auto* p = static_cast<XML_Parser>(parser);
    const char* bytes = static_cast<const char*>(data);
    do
    {
        int piece = int(std::min<size_t>(size, INT_MAX / 2));
        bool last = isFinal && size_t(piece) == size;
        if (XML_Parse(p, bytes, piece, last) != XML_STATUS_OK)
        {
            if (!failed)
                fail(XML_ErrorString(XML_GetErrorCode(p)));
            return false;
        }
        if (failed)
            return false;
        bytes += piece;
        size -= size_t(piece);
    } while (size > 0);
    return true;
}

bool FXmlParser::parse(IBStream* stream)
{
    if (!stream)
    {
        failed = true;
        error = "no stream to read";
        return false;
    }
    char buffer[16 * 1024];
    for (;;)
    {
        int32 got = 0;
        stream->read(buffer, int32(sizeof(buffer)), &got);
        if (got < 0)
            got = 0;
        if (!parse(buffer, size_t(got), got == 0))
            return false;
        if (got == 0)
            return true;
    }
}

const char* FXmlParser::findAttribute(const char** attributes, const char* name)
{
    if (!attributes)
        return nullptr;
    for (int i = 0; attributes[i]; i += 2)
    {
        if (std::strcmp(attributes[i], name) == 0)
            return attributes[i + 1];
    }
    return nullptr;
}

} // namespace Quillmark

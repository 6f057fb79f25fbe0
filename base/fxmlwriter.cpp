#include "base/fxmlwriter.h"

#include "base/fstring.h"

#include <charconv>

namespace Quillmark
{

bool FXmlWriter::isXmlChar(char32_t c)
{
    if (c < 0x20)
        return c == 0x09 || c == 0x0A || c == 0x0D;
    if (c >= 0xD800 && c <= 0xDFFF)
        return false;
    return c != 0xFFFE && c != 0xFFFF && c <= 0x10FFFF;
}

FXmlWriter::FXmlWriter(IBStream* stream) : stream(stream)
{
    ok = stream != nullptr;
}

FXmlWriter::~FXmlWriter()
{
    finish();
}

void FXmlWriter::writeHeader()
{
    buffer += "<?xml version=\"1.0\" encoding=\"utf-8\"?>";
}

void FXmlWriter::newLine(size_t depth)
{
    buffer += '\n';
    buffer.append(depth, '\t');
}

void FXmlWriter::closeStartTag()
{
    if (startTagOpen)
    {
        buffer += '>';
        startTagOpen = false;
    }
}

void FXmlWriter::startElement(const char* tag)
{
    closeStartTag();
    if (!open.empty())
        open.back().hasChildren = true;
    newLine(open.size());
    buffer += '<';
    buffer += tag;
    open.push_back(Open{tag});
    startTagOpen = true;
}

void FXmlWriter::addAttribute(const char* name, const std::string& value)
{
    if (!startTagOpen)
        return;
    buffer += ' ';
    buffer += name;
    buffer += "=\"";
    appendEscaped(buffer, value, true);
    buffer += '"';
}

void FXmlWriter::addAttribute(const char* name, const char* value)
{
    addAttribute(name, std::string(value ? value : ""));
}

void FXmlWriter::addAttributeInt(const char* name, int64 value)
{
    addAttribute(name, formatInt(value));
}

void FXmlWriter::addAttributeUInt(const char* name, uint64 value)
{
    char digits[24];
    auto result = std::to_chars(digits, digits + sizeof(digits), value);
    addAttribute(name, std::string(digits, result.ptr));
}

void FXmlWriter::addAttributeFloat(const char* name, double value)
{
    addAttribute(name, formatFloat(value));
}

void FXmlWriter::writeText(const std::string& text)
{
    if (open.empty() || text.empty())
        return;
    closeStartTag();
    open.back().hasText = true;
    appendEscaped(buffer, text, false);
    flushIfLarge();
}

void FXmlWriter::endElement()
{
    if (open.empty())
        return;
    Open element = std::move(open.back());
    open.pop_back();
    if (startTagOpen)
    {
        buffer += "/>";
        startTagOpen = false;
    }
    else
    {
        // Text content stays on the line of its start tag, so no white space joins it.
        if (element.hasChildren && !element.hasText)
            newLine(open.size());
        buffer += "</";
        buffer += element.tag;
        buffer += '>';
    }
    flushIfLarge();
}

bool FXmlWriter::finish()
{
    while (!open.empty())
        endElement();
    if (!buffer.empty() && buffer.back() != '\n')
        buffer += '\n';
    return flushBuffer();
}

void FXmlWriter::flushIfLarge()
{
    if (buffer.size() >= 64 * 1024)
        flushBuffer();
}

bool FXmlWriter::flushBuffer()
{
    if (!stream)
    {
        buffer.clear();
        return false;
    }
    size_t done = 0;
    while (ok && done < buffer.size())
    {
        int32 chunk = int32(std::min<size_t>(buffer.size() - done, 1 << 30));
        int32 written = 0;
        stream->write(buffer.data() + done, chunk, &written);
        if (written <= 0)
            ok = false;
        done += size_t(std::max(written, 0));
    }
    buffer.clear();
    return ok;
}

void FXmlWriter::appendEscaped(std::string& out, const std::string& text, bool inAttribute)
{
    const uint32 length = uint32(std::min<size_t>(text.size(), ConstString::kMaxLength));
    for (uint32 pos = 0; pos < length;)
    {
        uint32 start = pos;
        char32_t c;
        if (!Unicode::decodeUtf8(text.data(), length, &pos, &c) || !isXmlChar(c))
        {
            Unicode::appendUtf8(out, Unicode::kReplacement);
            continue;
        }
        switch (c)
        {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += inAttribute ? "&quot;" : "\"";
            break;
        case '\t':
            out += inAttribute ? "&#9;" : "\t";
            break;
        case '\n':
            out += inAttribute ? "&#10;" : "\n";
            break;
        case '\r':
            out += "&#13;";
            break;
        default:
            out.append(text, start, pos - start);
            break;
        }
    }
}

bool FXmlWriter::isXmlSafe(const std::string& text)
{
    const uint32 length = uint32(std::min<size_t>(text.size(), ConstString::kMaxLength));
    for (uint32 pos = 0; pos < length;)
    {
        char32_t c;
        if (!Unicode::decodeUtf8(text.data(), length, &pos, &c) || !isXmlChar(c))
            return false;
    }
    return true;
}

std::string FXmlWriter::formatInt(int64 value)
{
    char digits[24];
    auto result = std::to_chars(digits, digits + sizeof(digits), value);
    return std::string(digits, result.ptr);
}

std::string FXmlWriter::formatFloat(double value)
{
    char digits[128];
    auto result =
        std::to_chars(digits, digits + sizeof(digits), value, std::chars_format::general, 50);
    return std::string(digits, result.ptr);
}

} // namespace Quillmark

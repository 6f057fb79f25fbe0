// Writes an XML document in UTF-8 to a borrowed IBStream: elements, escaped attributes and
// text, indented with tabs. Owned by whoever writes the document; lives for one document.
#pragma once

#include "qel3/ibstream.h"

#include <string>
#include <vector>

namespace Quillmark
{

class FXmlWriter
{
public:
    explicit FXmlWriter(IBStream* stream);
    ~FXmlWriter();
    FXmlWriter(const FXmlWriter&) = delete;
    FXmlWriter& operator=(const FXmlWriter&) = delete;

    /** The head line: <?xml version="1.0" encoding="utf-8"?> */
    void writeHeader();
    void startElement(const char* tag);
    /** An attribute of the element just started; `value` is UTF-8 and gets escaped. */
    void addAttribute(const char* name, const std::string& value);
    void addAttribute(const char* name, const char* value);
    void addAttributeInt(const char* name, int64 value);
    void addAttributeUInt(const char* name, uint64 value);
    void addAttributeFloat(const char* name, double value);
    /** Character data inside the current element, escaped. */
    void writeText(const std::string& text);
    /** Closes the innermost element: "/>" when it is empty, otherwise its end tag. */
    void endElement();

    /** Closes every open element and hands all bytes to the stream. */
    bool finish();
    /** False once a write to the stream came up short. */
    bool isOk() const { return ok; }

    /** XML escaping of UTF-8 text. In attributes also the quote, tab, line feed and carriage
        return are written as references, so that they survive the reader's normalisation.
        Characters that XML 1.0 cannot carry at all (most control characters, U+FFFE, U+FFFF,
        invalid UTF-8) become U+FFFD. */
    static void appendEscaped(std::string& out, const std::string& text, bool inAttribute);
    /** True for a code point that XML 1.0 allows in a document. */
    static bool isXmlChar(char32_t codePoint);
    /** True when every character of the UTF-8 text can stand in an XML 1.0 document. */
    static bool isXmlSafe(const std::string& text);
    /** "%lld" */
    static std::string formatInt(int64 value);
    /** "%.50g" without regard to the C locale: enough digits that the value reads back
        exactly. */
    static std::string formatFloat(double value);

private:
    struct Open
    {
        std::string tag;
        bool hasChildren = false;
        bool hasText = false;
    };

    void closeStartTag();
    void newLine(size_t depth);
    void flushIfLarge();
    bool flushBuffer();

    IBStream* stream;
    std::string buffer;
    std::vector<Open> open;
    bool startTagOpen = false;
    bool ok = true;
};

} // namespace Quillmark

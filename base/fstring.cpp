#include "base/fstring.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace Quillmark
{

namespace Unicode
{

bool decodeUtf8(const char8* text, uint32 length, uint32* pos, char32_t* codePoint)
{
    const auto* s = reinterpret_cast<const uint8*>(text);
    uint32 i = *pos;
    uint8 lead = s[i];
    if (lead < 0x80)
    {
        *codePoint = lead;
        *pos = i + 1;
        return true;
    }
    uint32 extra = 0;
    char32_t value = 0;
    char32_t minimum = 0;
    if (lead >= 0xC2 && lead <= 0xDF)
    {
        extra = 1;
        value = lead & 0x1F;
        minimum = 0x80;
    }
    else if (lead >= 0xE0 && lead <= 0xEF)
    {
        extra = 2;
        value = lead & 0x0F;
        minimum = 0x800;
    }
    else if (lead >= 0xF0 && lead <= 0xF4)
    {
        extra = 3;
        value = lead & 0x07;
        minimum = 0x10000;
    }
    if (extra == 0 || i + extra >= length)
    {
        // A byte that cannot start a sequence, or a sequence cut by the end of the text.
        *codePoint = kReplacement;
        *pos = i + 1;
        return false;
    }
    for (uint32 k = 1; k <= extra; ++k)
    {
        uint8 c = s[i + k];
        if ((c & 0xC0) != 0x80)
        {
            *codePoint = kReplacement;
            *pos = i + 1;
            return false;
        }
        value = (value << 6) | (c & 0x3F);
    }
    if (value < minimum || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF))
    {
        *codePoint = kReplacement;
        *pos = i + 1;
        return false;
    }
    *codePoint = value;
    *pos = i + 1 + extra;
    return true;
}

bool decodeUtf16(const char16* text, uint32 length, uint32* pos, char32_t* codePoint)
{
    uint32 i = *pos;
    char16 unit = text[i];
    if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < length)
    {
        char16 low = text[i + 1];
        if (low >= 0xDC00 && low <= 0xDFFF)
        {
            *codePoint = 0x10000 + ((char32_t(unit) - 0xD800) << 10) + (char32_t(low) - 0xDC00);
            *pos = i + 2;
            return true;
        }
    }
    *codePoint = unit;
    *pos = i + 1;
    return unit < 0xD800 || unit > 0xDFFF;
}

void appendUtf8(std::string& out, char32_t cp)
{
    if ((cp >= 0xD800 && cp <= 0xDFFF) || cp > 0x10FFFF)
        cp = kReplacement;
    if (cp < 0x80)
    {
        out.push_back(char8(cp));
    }
    else if (cp < 0x800)
    {
        out.push_back(char8(0xC0 | (cp >> 6)));
        out.push_back(char8(0x80 | (cp & 0x3F)));
    }
    else if (cp < 0x10000)
    {
        out.push_back(char8(0xE0 | (cp >> 12)));
        out.push_back(char8(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(char8(0x80 | (cp & 0x3F)));
    }
    else
    {
        out.push_back(char8(0xF0 | (cp >> 18)));
        out.push_back(char8(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(char8(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(char8(0x80 | (cp & 0x3F)));
    }
}

void appendUtf16(std::u16string& out, char32_t cp)
{
    if (cp > 0x10FFFF)
        cp = kReplacement;
    if (cp < 0x10000)
    {
        out.push_back(char16(cp));
        return;
    }
    cp -= 0x10000;
    out.push_back(char16(0xD800 + (cp >> 10)));
    out.push_back(char16(0xDC00 + (cp & 0x3FF)));
}

std::string utf16ToUtf8(const char16* text, uint32 length)
{
    std::string out;
    out.reserve(length);
    for (uint32 pos = 0; pos < length;)
    {
        char32_t cp;
        if (!decodeUtf16(text, length, &pos, &cp))
            cp = kReplacement;
        appendUtf8(out, cp);
    }
    return out;
}

std::u16string utf8ToUtf16(const char8* text, uint32 length)
{
    std::u16string out;
    out.reserve(length);
    for (uint32 pos = 0; pos < length;)
    {
        char32_t cp;
        decodeUtf8(text, length, &pos, &cp);
        appendUtf16(out, cp);
    }
    return out;
}

char32_t foldCase(char32_t c)
{
    if (c < 0x80)
        return (c >= 'A' && c <= 'Z') ? c + 32 : c;
    if (c >= 0xC0 && c <= 0xDE && c != 0xD7)
        return c + 32;
    // Latin Extended-A pairs capitals and small letters as even/odd neighbours, except for the
    // dotted/dotless i and the stretch 0x0139-0x0148, which pairs odd/even.
    if (c >= 0x0100 && c <= 0x0137 && c != 0x0130)
        return c | 1;
    if (c >= 0x0139 && c <= 0x0148)
        return (c & 1) ? c + 1 : c;
    if (c >= 0x014A && c <= 0x0177)
        return c | 1;
    if (c >= 0x0391 && c <= 0x03AB && c != 0x03A2)
        return c + 32;
    if (c >= 0x0410 && c <= 0x042F)
        return c + 32;
    if (c >= 0x0400 && c <= 0x040F)
        return c + 80;
    return c;
}

} // namespace Unicode

namespace
{

/** Walks the code points of a text of either width. Bytes that are not valid UTF-8 read as
    values above the Unicode range, so that two different damaged texts never compare equal. */
struct CodePointReader
{
    explicit CodePointReader(const ConstString& s, uint32 start = 0)
        : text(s), pos(start), end(s.length())
    {
    }

    bool atEnd() const { return pos >= end; }

    char32_t next()
    {
        char32_t cp;
        if (text.isWide())
        {
            Unicode::decodeUtf16(text.text16(), end, &pos, &cp);
            return cp;
        }
        uint32 before = pos;
        if (!Unicode::decodeUtf8(text.text8(), end, &pos, &cp))
            cp = 0x110000 + uint8(text.text8()[before]);
        return cp;
    }

    const ConstString& text;
    uint32 pos;
    uint32 end;
};

uint32 clampLength(size_t length)
{
    return uint32(std::min<size_t>(length, ConstString::kMaxLength));
}

size_t length16(const char16* text)
{
    size_t n = 0;
    while (text[n])
        ++n;
    return n;
}

} // namespace

ConstString::ConstString(const char8* text) : buffer(text)
{
    if (text)
        setState(clampLength(std::strlen(text)), false);
}

ConstString::ConstString(const char16* text) : buffer(text)
{
    setState(text ? clampLength(length16(text)) : 0, true);
}

ConstString::ConstString(const char8* text, uint32 count) : buffer(text)
{
    setState(text ? std::min(count, kMaxLength) : 0, false);
}

ConstString::ConstString(const char16* text, uint32 count) : buffer(text)
{
    setState(text ? std::min(count, kMaxLength) : 0, true);
}

const char8* ConstString::text8() const
{
    return buffer && !isWide() ? static_cast<const char8*>(buffer) : "";
}

const char16* ConstString::text16() const
{
    return buffer && isWide() ? static_cast<const char16*>(buffer) : u"";
}

int32 ConstString::compare(const ConstString& other, bool caseSensitive) const
{
    CodePointReader a(*this), b(other);
    while (!a.atEnd() && !b.atEnd())
    {
        char32_t ca = a.next(), cb = b.next();
        if (!caseSensitive)
        {
            ca = Unicode::foldCase(ca);
            cb = Unicode::foldCase(cb);
        }
        if (ca != cb)
            return ca < cb ? -1 : 1;
    }
    if (a.atEnd() && b.atEnd())
        return 0;
    return a.atEnd() ? -1 : 1;
}

std::string ConstString::toUtf8() const
{
    if (isWide())
        return Unicode::utf16ToUtf8(text16(), length());
    return std::string(text8(), length());
}

std::u16string ConstString::toUtf16() const
{
    if (isWide())
        return std::u16string(text16(), length());
    return Unicode::utf8ToUtf16(text8(), length());
}

bool ConstString::matchesAt(const ConstString& sub, uint32 pos, bool caseSensitive) const
{
    if (sub.length() > length() || pos > length() - sub.length())
        return false;
    if (caseSensitive)
    {
        if (isWide())
            return std::memcmp(text16() + pos, sub.text16(), sub.length() * sizeof(char16)) == 0;
        return std::memcmp(text8() + pos, sub.text8(), sub.length()) == 0;
    }
    CodePointReader a(*this, pos), b(sub);
    while (!b.atEnd())
    {
        if (a.atEnd() || Unicode::foldCase(a.next()) != Unicode::foldCase(b.next()))
            return false;
    }
    return true;
}

int32 ConstString::findFirst(const ConstString& sub, int32 start, bool caseSensitive) const
{
    if (start < 0)
        start = 0;
    if (uint32(start) > length())
        return -1;
    // Search in this text's own width so that the index is in its own characters.
    String converted;
    const ConstString* needle = &sub;
    if (sub.isWide() != isWide() && !sub.isEmpty())
    {
        converted.assign(sub);
        if (isWide())
            converted.toWideString();
        else
            converted.toMultiByte();
        needle = &converted;
    }
    for (uint32 pos = uint32(start); pos <= length(); ++pos)
    {
        if (caseSensitive && needle->length() > length() - pos)
            break;
        if (matchesAt(*needle, pos, caseSensitive))
            return int32(pos);
    }
    return -1;
}

bool ConstString::startsWith(const ConstString& sub, bool caseSensitive) const
{
    CodePointReader a(*this), b(sub);
    while (!b.atEnd())
    {
        if (a.atEnd())
            return false;
        char32_t ca = a.next(), cb = b.next();
        if (!caseSensitive)
        {
            ca = Unicode::foldCase(ca);
            cb = Unicode::foldCase(cb);
        }
        if (ca != cb)
            return false;
    }
    return true;
}

bool ConstString::endsWith(const ConstString& sub, bool caseSensitive) const
{
    String converted;
    const ConstString* needle = &sub;
    if (sub.isWide() != isWide() && !sub.isEmpty())
    {
        converted.assign(sub);
        if (isWide())
            converted.toWideString();
        else
            converted.toMultiByte();
        needle = &converted;
    }
    if (needle->length() > length())
        return false;
    return matchesAt(*needle, length() - needle->length(), caseSensitive);
}

// --- String -------------------------------------------------------------------------------

String::String(const char8* text)
{
    if (text)
        set8(text, std::strlen(text));
}

String::String(const char16* text)
{
    if (text)
        set16(text, length16(text));
    else
        setState(0, true);
}

String::String(const char8* text, uint32 count)
{
    set8(text, text ? count : 0);
}

String::String(const char16* text, uint32 count)
{
    set16(text, text ? count : 0);
}

String::String(const ConstString& text)
{
    assign(text);
}

String::String(const std::string& text)
{
    set8(text.data(), text.size());
}

String::String(const std::u16string& text)
{
    set16(text.data(), text.size());
}

String::String(const String& other) : ConstString()
{
    assign(other);
}

String::String(String&& other) noexcept : ConstString()
{
    buffer = other.buffer;
    state = other.state;
    other.buffer = nullptr;
    other.state = 0;
}

String& String::operator=(const String& other)
{
    return assign(other);
}

String& String::operator=(String&& other) noexcept
{
    if (this != &other)
    {
        std::free(const_cast<void*>(buffer));
        buffer = other.buffer;
        state = other.state;
        other.buffer = nullptr;
        other.state = 0;
    }
    return *this;
}

String& String::operator=(const char8* text)
{
    // set8 copies before it frees, so `text` may point into this very text.
    set8(text, text ? std::strlen(text) : 0);
    return *this;
}

String::~String()
{
    std::free(const_cast<void*>(buffer));
}

void String::takeOver(void* memory, uint32 newLength, bool wide)
{
    std::free(const_cast<void*>(buffer));
    buffer = memory;
    setState(newLength, wide);
}

void String::set8(const char8* text, size_t count)
{
    uint32 n = clampLength(count);
    if (n == 0)
    {
        takeOver(nullptr, 0, false);
        return;
    }
    auto* memory = static_cast<char8*>(std::malloc(n + 1));
    if (!memory)
        throw std::bad_alloc();
    std::memcpy(memory, text, n);
    memory[n] = 0;
    takeOver(memory, n, false);
}

void String::set16(const char16* text, size_t count)
{
    uint32 n = clampLength(count);
    if (n == 0)
    {
        takeOver(nullptr, 0, true);
        return;
    }
    auto* memory = static_cast<char16*>(std::malloc((size_t(n) + 1) * sizeof(char16)));
    if (!memory)
        throw std::bad_alloc();
    std::memcpy(memory, text, n * sizeof(char16));
    memory[n] = 0;
    takeOver(memory, n, true);
}

String& String::assign(const ConstString& text)
{
    if (&text == this)
        return *this;
    // set8/set16 copy before they free, so the source may be a view into this text.
    if (text.isWide())
        set16(text.text16(), text.length());
    else
        set8(text.text8(), text.length());
    return *this;
}

String& String::append(const ConstString& text)
{
    if (text.isEmpty())
        return *this;
    if (isEmpty())
        return assign(String(text)); // through a copy: `text` may be this very object
    if (isWide())
    {
        std::u16string tail = text.toUtf16();
        std::u16string joined(text16(), length());
        joined += tail;
        set16(joined.data(), joined.size());
    }
    else
    {
        std::string joined(text8(), length());
        joined += text.toUtf8();
        set8(joined.data(), joined.size());
    }
    return *this;
}

String& String::append(char8 c)
{
    if (isWide())
    {
        char16 unit = char16(uint8(c));
        return append(ConstString(&unit, 1));
    }
    return append(ConstString(&c, 1));
}

namespace
{

std::string formatV(const char8* format, va_list args)
{
    va_list copy;
    va_copy(copy, args);
    char8 small[256];
    int n = std::vsnprintf(small, sizeof(small), format, copy);
    va_end(copy);
    if (n < 0)
        return {};
    if (size_t(n) < sizeof(small))
        return std::string(small, size_t(n));
    std::string out(size_t(n) + 1, '\0');
    std::vsnprintf(out.data(), out.size(), format, args);
    out.resize(size_t(n));
    return out;
}

} // namespace

String& String::printf(const char8* format, ...)
{
    va_list args;
    va_start(args, format);
    std::string text = formatV(format, args);
    va_end(args);
    set8(text.data(), text.size());
    return *this;
}

String String::format(const char8* format, ...)
{
    va_list args;
    va_start(args, format);
    std::string text = formatV(format, args);
    va_end(args);
    return String(text);
}

bool String::toWideString()
{
    if (isWide())
        return true;
    std::u16string wide = Unicode::utf8ToUtf16(text8(), length());
    set16(wide.data(), wide.size());
    return true;
}

bool String::toMultiByte()
{
    if (!isWide())
        return true;
    std::string narrow = Unicode::utf16ToUtf8(text16(), length());
    set8(narrow.data(), narrow.size());
    return true;
}

void String::copyTo8(char8* dst, uint32 capacity) const
{
    if (!dst || capacity == 0)
        return;
    std::string utf8 = toUtf8();
    size_t n = std::min<size_t>(utf8.size(), capacity - 1);
    // Step back over continuation bytes so that the cut falls before a whole sequence.
    if (n < utf8.size())
    {
        while (n > 0 && (uint8(utf8[n]) & 0xC0) == 0x80)
            --n;
    }
    std::memcpy(dst, utf8.data(), n);
    dst[n] = 0;
}

void String::copyTo16(char16* dst, uint32 capacity) const
{
    if (!dst || capacity == 0)
        return;
    std::u16string utf16 = toUtf16();
    size_t n = std::min<size_t>(utf16.size(), capacity - 1);
    if (n > 0 && n < utf16.size() && utf16[n - 1] >= 0xD800 && utf16[n - 1] <= 0xDBFF &&
        utf16[n] >= 0xDC00 && utf16[n] <= 0xDFFF)
        --n;
    std::memcpy(dst, utf16.data(), n * sizeof(char16));
    dst[n] = 0;
}

void String::clear()
{
    takeOver(nullptr, 0, false);
}

} // namespace Quillmark

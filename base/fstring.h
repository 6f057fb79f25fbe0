// The host's text type. ConstString is a read-only view of 8-bit (UTF-8) or 16-bit (UTF-16)
// characters that it does not own; String owns its characters and can change its width in
// place. A null pointer reads as the empty text.
#pragma once

#include "qel3/funknown.h"

#include <string>

namespace Quillmark
{

/** Code point helpers shared by the text and XML classes. Invalid input never stops a
    conversion: what cannot be decoded becomes U+FFFD. */
namespace Unicode
{

/** The character that stands for anything that cannot be decoded. */
constexpr char32_t kReplacement = 0xFFFD;

/** Decodes one UTF-8 sequence at `text[*pos]` (strict: no overlong forms, no surrogates, nothing
    above U+10FFFF) and advances `*pos`. Returns false for an invalid byte, which is skipped. */
bool decodeUtf8(const char8* text, uint32 length, uint32* pos, char32_t* codePoint);
/** Decodes one UTF-16 unit or surrogate pair; a lone surrogate is returned as itself with
    false. */
bool decodeUtf16(const char16* text, uint32 length, uint32* pos, char32_t* codePoint);
/** Appends the UTF-8 form of a code point; surrogates and values above U+10FFFF give U+FFFD. */
void appendUtf8(std::string& out, char32_t codePoint);
/** Appends the UTF-16 form of a code point; values above U+10FFFF give U+FFFD. */
void appendUtf16(std::u16string& out, char32_t codePoint);

std::string utf16ToUtf8(const char16* text, uint32 length);
std::u16string utf8ToUtf16(const char8* text, uint32 length);

/** Simple case folding for comparisons without case: ASCII, Latin-1, Latin Extended-A, Greek
    and Cyrillic capitals map to their small letters. */
char32_t foldCase(char32_t codePoint);

} // namespace Unicode

class ConstString
{
public:
    /** The longest text: the length shares a 32-bit word with the width flag. */
    static constexpr uint32 kMaxLength = (1u << 30) - 1;

    ConstString() = default;
    ConstString(const char8* text);  // NOLINT: texts convert where a ConstString is asked for
    ConstString(const char16* text); // NOLINT
    /** A view of `length` characters that need not be zero-terminated. */
    ConstString(const char8* text, uint32 length);
    ConstString(const char16* text, uint32 length);

    uint32 length() const { return state & kLengthMask; }
    bool isEmpty() const { return length() == 0; }
    bool isWide() const { return (state & kWideBit) != 0; }

    /** The 8-bit characters; "" when null; only meaningful when !isWide(). */
    const char8* text8() const;
    /** The 16-bit units; u"" when null; only meaningful when isWide(). */
    const char16* text16() const;

    /** Compares code point by code point across widths: negative, 0 or positive. */
    int32 compare(const ConstString& other, bool caseSensitive = true) const;
    bool operator==(const ConstString& other) const { return compare(other) == 0; }
    bool operator!=(const ConstString& other) const { return compare(other) != 0; }
    bool operator<(const ConstString& other) const { return compare(other) < 0; }

    /** The text as UTF-8, from either width. */
    std::string toUtf8() const;
    /** The text as UTF-16, from either width. */
    std::u16string toUtf16() const;

    /** Index, in this text's own characters, of the first occurrence of `sub` at or after
        `start`; -1 when there is none. */
    int32 findFirst(const ConstString& sub, int32 start = 0, bool caseSensitive = true) const;
    bool startsWith(const ConstString& sub, bool caseSensitive = true) const;
    bool endsWith(const ConstString& sub, bool caseSensitive = true) const;

protected:
    static constexpr uint32 kLengthMask = kMaxLength;
    static constexpr uint32 kWideBit = 1u << 30;
    /** Not part of the length or the width; no operation here sets or reads it. */
    static constexpr uint32 kReservedBit = 1u << 31;

    void setState(uint32 newLength, bool wide)
    {
        state = (state & kReservedBit) | (newLength & kLengthMask) | (wide ? kWideBit : 0);
    }
    /** True when `sub`, already in this text's width, stands at `pos`. */
    bool matchesAt(const ConstString& sub, uint32 pos, bool caseSensitive) const;

    const void* buffer = nullptr;
    uint32 state = 0;
};

class String : public ConstString
{
public:
    String() = default;
    String(const char8* text);          // NOLINT
    String(const char16* text);         // NOLINT
    String(const ConstString& text);    // NOLINT
    String(const std::string& text);    // NOLINT
    String(const std::u16string& text); // NOLINT
    String(const char8* text, uint32 length);
    String(const char16* text, uint32 length);
    String(const String& other);
    String(String&& other) noexcept;
    String& operator=(const String& other);
    String& operator=(String&& other) noexcept;
    String& operator=(const char8* text);
    ~String();

    /** Copies `text` with its width. */
    String& assign(const ConstString& text);
    /** Keeps this text's width and converts `text` to it; an empty text takes the width of what
        is appended. */
    String& append(const ConstString& text);
    /** One 8-bit character; on a 16-bit text it is taken as the code point of that byte. */
    String& append(char8 c);

    /** Replaces the content with the formatted 8-bit text. */
    String& printf(const char8* format, ...) __attribute__((format(printf, 2, 3)));
    static String format(const char8* format, ...) __attribute__((format(printf, 1, 2)));

    /** UTF-8 to UTF-16 in place; true when the text is 16-bit afterwards. */
    bool toWideString();
    /** UTF-16 to UTF-8 in place; true when the text is 8-bit afterwards. */
    bool toMultiByte();

    /** Zero-terminated UTF-8 copy, cut to fit without splitting a sequence. */
    void copyTo8(char8* dst, uint32 capacity) const;
    /** Zero-terminated UTF-16 copy in units, cut to fit without splitting a surrogate pair. */
    void copyTo16(char16* dst, uint32 capacity) const;

    void clear();

private:
    void takeOver(void* memory, uint32 newLength, bool wide);
    void set8(const char8* text, size_t count);
    void set16(const char16* text, size_t count);
};

} // namespace Quillmark

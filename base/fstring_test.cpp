#include "base/fstring.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace Quillmark;

namespace
{

// "Grüße €" followed by U+1D11E (musical G clef), which needs a surrogate pair in UTF-16.
const char8* kMixed8 = "Gr\xC3\xBC\xC3\x9F"
                       "e \xE2\x82\xAC\xF0\x9D\x84\x9E";
const char16* kMixed16 = u"Gr\u00FC\u00DFe \u20AC\U0001D11E";

} // namespace

TEST(String, NullAndEmptyReadAsTheEmptyText)
{
    ConstString null8(static_cast<const char8*>(nullptr));
    ConstString null16(static_cast<const char16*>(nullptr));
    EXPECT_TRUE(null8.isEmpty());
    EXPECT_STREQ(null8.text8(), "");
    EXPECT_EQ(null16.text16()[0], u'\0');
    EXPECT_EQ(null8, null16);
    EXPECT_EQ(null8.toUtf8(), "");

    String empty;
    EXPECT_TRUE(empty.toWideString());
    EXPECT_TRUE(empty.isWide());
    EXPECT_EQ(empty.text16()[0], u'\0');
    EXPECT_TRUE(empty.toMultiByte());
    EXPECT_FALSE(empty.isWide());
    EXPECT_STREQ(empty.text8(), "");
}

TEST(String, WidthChangesInPlaceAndBack)
{
    String text(kMixed8);
    ASSERT_FALSE(text.isWide());
    EXPECT_EQ(text.length(), std::strlen(kMixed8));

    ASSERT_TRUE(text.toWideString());
    EXPECT_TRUE(text.isWide());
    EXPECT_EQ(text.length(), 9u); // 7 units in the BMP plus a surrogate pair
    EXPECT_EQ(std::u16string(text.text16(), text.length()), std::u16string(kMixed16));
    EXPECT_EQ(text.text16()[text.length()], u'\0');

    ASSERT_TRUE(text.toMultiByte());
    EXPECT_FALSE(text.isWide());
    EXPECT_STREQ(text.text8(), kMixed8);

    String wide(kMixed16);
    EXPECT_TRUE(wide.isWide());
    EXPECT_EQ(wide.toUtf8(), std::string(kMixed8));
    EXPECT_EQ(ConstString(kMixed8).toUtf16(), std::u16string(kMixed16));
}

TEST(String, DamagedTextConvertsToReplacementCharacters)
{
    // A stray continuation byte, an overlong form, an encoded surrogate and a cut sequence.
    String bad("a\x80"
               "b\xC0\xAF"
               "c\xED\xA0\x80"
               "d\xE2\x82");
    bad.toWideString();
    EXPECT_EQ(std::u16string(bad.text16(), bad.length()),
              u"a\uFFFDb\uFFFD\uFFFDc\uFFFD\uFFFD\uFFFDd\uFFFD\uFFFD");

    // A lone surrogate in 16-bit text cannot be UTF-8.
    const char16 lone[] = {u'x', char16(0xD800), u'y', 0};
    String wide(lone);
    wide.toMultiByte();
    EXPECT_STREQ(wide.text8(), "x\xEF\xBF\xBDy");
}

TEST(String, CompareWorksAcrossWidthsByCodePoint)
{
    EXPECT_EQ(ConstString("abc"), ConstString(u"abc"));
    EXPECT_EQ(ConstString(kMixed8).compare(kMixed16), 0);
    EXPECT_LT(ConstString("abc").compare(u"abd"), 0);
    EXPECT_GT(ConstString(u"abd").compare("abc"), 0);
    EXPECT_LT(ConstString("ab").compare(u"abc"), 0);
    EXPECT_GT(ConstString(u"abc").compare("ab"), 0);

    // U+FF5E sorts below U+1F600 by code point, although its UTF-16 unit is above the
    // surrogates that encode U+1F600.
    EXPECT_LT(ConstString(u"\uFF5E").compare(u"\U0001F600"), 0);
    EXPECT_LT(ConstString("\xEF\xBD\x9E").compare(u"\U0001F600"), 0);
    EXPECT_GT(ConstString(u"\U0001F600").compare("\xEF\xBD\x9E"), 0);
    EXPECT_TRUE(ConstString(u"\uFF5E") < ConstString("\xF0\x9F\x98\x80"));

    // Without case: ASCII, Latin-1, Greek and Cyrillic.
    EXPECT_NE(ConstString("HeLLo"), ConstString(u"hello"));
    EXPECT_EQ(ConstString("HeLLo").compare(u"hello", false), 0);
    EXPECT_EQ(ConstString("\xC3\x84pfel").compare(u"\u00E4PFEL", false), 0);
    EXPECT_EQ(ConstString(u"\u03A3\u039F\u03A6\u0399\u0391")
                  .compare(u"\u03C3\u03BF\u03C6\u03B9\u03B1", false),
              0);
    EXPECT_EQ(ConstString(u"\u041C\u0418\u0420").compare("\xD0\xBC\xD0\xB8\xD1\x80", false), 0);
    EXPECT_NE(ConstString("a").compare("b", false), 0);

    // Two different damaged texts never compare equal.
    EXPECT_NE(ConstString("\xFE"), ConstString("\xFF"));
}

TEST(String, FindAndAffixesCountInTheTextsOwnCharacters)
{
    // a, ä (2 bytes), b, ä, c
    ConstString narrow("a\xC3\xA4"
                       "b\xC3\xA4"
                       "c");
    EXPECT_EQ(narrow.findFirst("\xC3\xA4"), 1);
    EXPECT_EQ(narrow.findFirst(u"\u00E4"), 1);
    EXPECT_EQ(narrow.findFirst(u"\u00E4", 2), 4);
    EXPECT_EQ(narrow.findFirst(u"\u00C4", 0, true), -1);
    EXPECT_EQ(narrow.findFirst(u"\u00C4B", 0, false), 1);
    EXPECT_EQ(narrow.findFirst("c", 7), -1);
    EXPECT_EQ(narrow.findFirst("", 3), 3);
    EXPECT_EQ(narrow.findFirst("", 8), -1);

    ConstString wide(u"a\u00E4b\U0001D11Ec");
    EXPECT_EQ(wide.findFirst("b"), 2);
    EXPECT_EQ(wide.findFirst("\xF0\x9D\x84\x9E"), 3);
    EXPECT_EQ(wide.findFirst("C", 0, false), 5);
    EXPECT_EQ(wide.findFirst("cx"), -1);

    EXPECT_TRUE(wide.startsWith("a\xC3\xA4"));
    EXPECT_TRUE(wide.startsWith("A\xC3\x84", false));
    EXPECT_FALSE(wide.startsWith("A\xC3\x84"));
    EXPECT_TRUE(wide.endsWith("\xF0\x9D\x84\x9E"
                              "c"));
    EXPECT_TRUE(narrow.endsWith(u"\u00C4C", false));
    EXPECT_FALSE(narrow.endsWith(u"\u00C4C"));
    EXPECT_FALSE(ConstString("ab").endsWith("xab"));
    EXPECT_TRUE(narrow.startsWith(""));
    EXPECT_TRUE(narrow.endsWith(u""));
}

TEST(String, CopiesAreCutWithoutSplittingACharacter)
{
    String text("a\xC3\xA9\xE2\x82\xAC"); // a, é (2 bytes), € (3 bytes)
    char8 out[8];
    std::memset(out, 'x', sizeof(out));
    text.copyTo8(out, 4);
    EXPECT_STREQ(out, "a\xC3\xA9");
    text.copyTo8(out, 6); // room for 5 bytes: € does not fit whole
    EXPECT_STREQ(out, "a\xC3\xA9");
    text.copyTo8(out, 7);
    EXPECT_STREQ(out, text.text8());
    text.copyTo8(out, 2);
    EXPECT_STREQ(out, "a");
    text.copyTo8(out, 1);
    EXPECT_STREQ(out, "");
    out[0] = 'x';
    text.copyTo8(out, 0);
    EXPECT_EQ(out[0], 'x');

    // From 16-bit text the copy is UTF-8 as well.
    String wide(u"\u00E9\U0001D11E");
    wide.copyTo8(out, 6);
    EXPECT_STREQ(out, "\xC3\xA9");
    wide.copyTo8(out, 7);
    EXPECT_STREQ(out, "\xC3\xA9\xF0\x9D\x84\x9E");

    char16 units[6];
    String pair(u"a\U0001D11Eb");
    pair.copyTo16(units, 3); // room for 2 units: the pair does not fit whole
    EXPECT_EQ(std::u16string(units), u"a");
    pair.copyTo16(units, 4);
    EXPECT_EQ(std::u16string(units), u"a\U0001D11E");
    pair.copyTo16(units, 6);
    EXPECT_EQ(std::u16string(units), u"a\U0001D11Eb");
    String("x\xC3\xA9").copyTo16(units, 6);
    EXPECT_EQ(std::u16string(units), u"x\u00E9");
}

TEST(String, AssignAppendAndFormat)
{
    String text("abc");
    String copy(text);
    String moved(std::move(copy));
    EXPECT_EQ(moved, text);
    EXPECT_TRUE(copy.isEmpty()); // NOLINT: a moved-from text is empty

    text = text; // NOLINT: self-assignment keeps the text
    EXPECT_STREQ(text.text8(), "abc");
    text = text.text8() + 1; // a tail of the text itself
    EXPECT_STREQ(text.text8(), "bc");
    text.append(text);
    EXPECT_STREQ(text.text8(), "bcbc");

    // Appending keeps the width of the text; an empty text takes the other's width.
    String narrow("x");
    narrow.append(u"\u20AC");
    EXPECT_FALSE(narrow.isWide());
    EXPECT_STREQ(narrow.text8(), "x\xE2\x82\xAC");
    String wide(u"y");
    wide.append("\xE2\x82\xAC").append('!');
    EXPECT_TRUE(wide.isWide());
    EXPECT_EQ(std::u16string(wide.text16()), u"y\u20AC!");
    String empty;
    empty.append(u"w");
    EXPECT_TRUE(empty.isWide());

    String assigned;
    assigned.assign(ConstString(u"wide"));
    EXPECT_TRUE(assigned.isWide());

    EXPECT_EQ(String::format("%d-%s-%.1f", 42, "x", 0.5), ConstString("42-x-0.5"));
    std::string longText(1000, 'q');
    String formatted = String::format("<%s>", longText.c_str());
    EXPECT_EQ(formatted.length(), 1002u);
    EXPECT_EQ(formatted.toUtf8(), "<" + longText + ">");
    wide.printf("%s", "now 8-bit");
    EXPECT_FALSE(wide.isWide());
    EXPECT_STREQ(wide.text8(), "now 8-bit");

    // Embedded zeros count as characters when the length is given.
    String withZero(std::string("a\0b", 3));
    EXPECT_EQ(withZero.length(), 3u);
    withZero.clear();
    EXPECT_TRUE(withZero.isEmpty());
}

#include "base/fuid.h"

#include "base/idependent.h"
#include "qel3/ipluginfactory.h"

#include <gtest/gtest.h>

using namespace Quillmark;

TEST(FUID, TextFormsOfAKnownIdentifier)
{
    FUID id(IDependent::iid);
    EXPECT_EQ(id.toString(), "F52B7AAEDE72416D8AF18ACE9DD7BD5E");
    EXPECT_EQ(id.toRegistryString(), "{F52B7AAE-DE72-416D-8AF1-8ACE9DD7BD5E}");
    // Bytes 0-3, 4-5 and 6-7 are little-endian numbers; the last eight stand in order.
    const auto* b = reinterpret_cast<const uint8*>(id.bytes());
    EXPECT_EQ(b[0], 0xAE);
    EXPECT_EQ(b[3], 0xF5);
    EXPECT_EQ(b[4], 0x72);
    EXPECT_EQ(b[5], 0xDE);
    EXPECT_EQ(b[6], 0x6D);
    EXPECT_EQ(b[7], 0x41);
    EXPECT_EQ(b[8], 0x8A);
    EXPECT_EQ(b[15], 0x5E);

    char text[128];
    id.print(text, FUID::kInlineUID);
    EXPECT_STREQ(text, "INLINE_UID (0xF52B7AAE, 0xDE72416D, 0x8AF18ACE, 0x9DD7BD5E)");
    id.print(text, FUID::kDeclareUID);
    EXPECT_STREQ(text, "DECLARE_UID (0xF52B7AAE, 0xDE72416D, 0x8AF18ACE, 0x9DD7BD5E)");
    id.print(text, FUID::kFUID);
    EXPECT_STREQ(text, "FUID (0xF52B7AAE, 0xDE72416D, 0x8AF18ACE, 0x9DD7BD5E)");
    id.print(text, 7);
    EXPECT_STREQ(text,
                 "DECLARE_CLASS_IID (Interface, 0xF52B7AAE, 0xDE72416D, 0x8AF18ACE, 0x9DD7BD5E)");
}

TEST(FUID, PlainTextParsesBackToTheSameBytes)
{
    FUID parsed;
    ASSERT_TRUE(parsed.fromString("F52B7AAEDE72416D8AF18ACE9DD7BD5E"));
    EXPECT_TRUE(parsed == FUID(IDependent::iid));
    EXPECT_EQ(std::memcmp(parsed.bytes(), IDependent::iid.bytes, 16), 0);

    FUID root;
    ASSERT_TRUE(root.fromString("0000000000000000C000000000000046"));
    EXPECT_TRUE(root == FUID(FUnknown::iid));
    EXPECT_EQ(FUID(FUnknown::iid).toRegistryString(), "{00000000-0000-0000-C000-000000000046}");
}

TEST(FUID, ParserRejectsEveryOtherLengthAndKeepsTheValue)
{
    FUID id(IPluginFactory::iid);
    EXPECT_FALSE(id.fromString(""));
    EXPECT_FALSE(id.fromString(nullptr));
    EXPECT_FALSE(id.fromString("F52B7AAEDE72416D8AF18ACE9DD7BD5"));   // 31
    EXPECT_FALSE(id.fromString("F52B7AAEDE72416D8AF18ACE9DD7BD5E0")); // 33
    EXPECT_FALSE(id.fromString("{F52B7AAE-DE72-416D-8AF1-8ACE9DD7BD5E}"));
    EXPECT_TRUE(id == FUID(IPluginFactory::iid));
}

TEST(FUID, NonHexCharactersKeepWhatTheFieldReaderAccepted)
{
    FUID id;
    // The first field stops at 'G': "12" is read; the rest parses as usual.
    ASSERT_TRUE(id.fromString("12G45678000100020304050607080910"));
    EXPECT_EQ(id.getLong1(), 0x12u);
    EXPECT_EQ(id.getLong2(), 0x00010002u);
    EXPECT_EQ(id.getLong3(), 0x03040506u);
    EXPECT_EQ(id.getLong4(), 0x07080910u);
}

TEST(FUID, ValidityAndOrdering)
{
    EXPECT_FALSE(FUID().isValid());
    EXPECT_TRUE(FUID(0, 0, 0, 1).isValid());

    FUID a(0, 0, 0, 1), b(0, 0, 0, 2), c(1, 0, 0, 0);
    EXPECT_EQ(a.compare(a), 0);
    EXPECT_LT(a.compare(b), 0);
    EXPECT_GT(b.compare(a), 0);
    // The first 64-bit word decides before the second.
    EXPECT_LT(b.compare(c), 0);
    // Unsigned: a high bit makes a word larger, not negative.
    EXPECT_GT(FUID(0x80000000, 0, 0, 0).compare(c), 0);

    FUID g1, g2;
    g1.generate();
    g2.generate();
    EXPECT_TRUE(g1.isValid());
    EXPECT_NE(g1, g2);
}

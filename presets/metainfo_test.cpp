#include "presets/metainfo.h"

#include <gtest/gtest.h>

using namespace Quillmark::Qel;
using Kind = MediaAttributeList::Kind;

namespace
{

MediaAttributeList parse(const std::string& xml, bool expectOk = true)
{
    MediaAttributeList attributes;
    MetaInfoParser parser(attributes);
    std::string error;
    EXPECT_EQ(parser.parse(xml.data(), xml.size(), &error), expectOk) << error;
    return attributes;
}

std::string document(const std::string& body)
{
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?><MetaInfo>" + body + "</MetaInfo>";
}

} // namespace

TEST(MetaInfoParsing, KindsFlagsAndSkippedElements)
{
    MediaAttributeList list = parse(document(
        "<Attribute id=\"Name\" value=\"Warm Pad\" type=\"string\" flags=\"hidden\"/>"
        "<Attribute id=\"NoType\" value=\"plain\"/>"
        "<Attribute id=\"Count\" value=\"-12\" type=\"int\" flags=\"writeProtected\"/>"
        "<Attribute id=\"Level\" value=\"0.375\" type=\"float\" flags=\"hidden|writeProtected\"/>"
        "<Attribute id=\"Reversed\" value=\"x\" flags=\"writeProtected|hidden\"/>"
        "<Attribute id=\"Empty\" value=\"\" type=\"string\"/>"
        "<Attribute value=\"no id\"/>"
        "<Attribute id=\"BadInt\" value=\"12abc\" type=\"int\"/>"
        "<Attribute id=\"BadFloat\" value=\"one\" type=\"float\"/>"
        "<Attribute id=\"Blob\" value=\"AAAA\" type=\"binary\"/>"
        "<Other id=\"NotAnAttribute\" value=\"1\"/>"));

    ASSERT_EQ(list.count(), 5);
    EXPECT_EQ(list.at(0).id, "Name");
    EXPECT_EQ(list.at(0).text, "Warm Pad");
    EXPECT_EQ(list.at(0).flags, MediaAttributeList::kHidden);
    EXPECT_EQ(list.at(1).kind, Kind::kString);
    EXPECT_EQ(list.at(1).flags, 0);
    EXPECT_EQ(list.at(2).kind, Kind::kInt);
    EXPECT_EQ(list.at(2).intValue, -12);
    EXPECT_EQ(list.at(2).flags, MediaAttributeList::kWriteProtected);
    EXPECT_EQ(list.at(3).kind, Kind::kFloat);
    EXPECT_DOUBLE_EQ(list.at(3).floatValue, 0.375);
    EXPECT_EQ(list.at(3).flags, 3);
    // The two words in the other order are not a flag text the format knows.
    EXPECT_EQ(list.at(4).id, "Reversed");
    EXPECT_EQ(list.at(4).flags, 0);
}

TEST(MetaInfoParsing, DamagedXmlKeepsWhatCameBefore)
{
    MediaAttributeList list =
        parse("<MetaInfo><Attribute id=\"A\" value=\"1\" type=\"int\"/><Attribute id=", false);
    ASSERT_EQ(list.count(), 1);
    EXPECT_EQ(list.at(0).intValue, 1);
}

TEST(MetaInfoRoundTrip, ValuesSurviveAndTransientOnesStayBehind)
{
    MediaAttributeList original;
    original.setString("PlugInName", "Qel \"Gain\" <&> \xC3\xA9t\xC3\xA9", 2);
    original.setString("FilePath", "/tmp/x.qelpreset", 2 | 8);
    original.setInt("Rating", 4, 0);
    original.setFloat("Tempo", 0.1, 1);
    original.setString("Comment", "", 0);

    std::string xml = writeMetaInfoXml(original);
    EXPECT_EQ(xml.find("FilePath"), std::string::npos);
    EXPECT_NE(xml.find("<MetaInfo>"), std::string::npos);

    MediaAttributeList back = parse(xml);
    // The empty comment vanishes on the way through, as the parser skips empty values.
    ASSERT_EQ(back.count(), 3);
    EXPECT_EQ(back.at(0).text, original.at(0).text);
    EXPECT_EQ(back.at(0).flags, 2);
    EXPECT_EQ(back.at(1).kind, Kind::kInt);
    EXPECT_EQ(back.at(1).intValue, 4);
    EXPECT_EQ(back.at(2).kind, Kind::kFloat);
    EXPECT_EQ(back.at(2).floatValue, 0.1); // written with digits enough to read back exactly
    EXPECT_EQ(back.at(2).flags, 1);
}

TEST(MetaInfoWriting, AttributesAppearInTheirOrderWithFixedAttributeOrder)
{
    MediaAttributeList list;
    list.setInt("B", 2, 3);
    list.setString("A", "x");
    list.setInt("B", 5, 2); // replaces in place
    std::string xml = writeMetaInfoXml(list);
    size_t b = xml.find("id=\"B\" value=\"5\" type=\"int\" flags=\"writeProtected\"");
    size_t a = xml.find("id=\"A\" value=\"x\" type=\"string\" flags=\"\"");
    EXPECT_NE(b, std::string::npos) << xml;
    EXPECT_NE(a, std::string::npos) << xml;
    EXPECT_LT(b, a);
}

#include "base/fattributes.h"

#include "base/classfactory.h"
#include "base/fstreams.h"
#include "base/fxmlwriter.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

using namespace Quillmark;

namespace
{

std::string toXml(const FAttributes& attributes)
{
    FMemoryStream stream;
    EXPECT_TRUE(attributes.writeXml(&stream));
    return std::string(stream.data(), size_t(stream.size()));
}

/** Reads `xml` into a new tree; `ok` and `error` tell how it went. */
FAttributes* fromXml(const std::string& xml, bool* ok = nullptr, std::string* error = nullptr)
{
    auto* attributes = new FAttributes;
    FMemoryStream stream(xml.data(), int64(xml.size()));
    bool result = attributes->readXml(&stream, error);
    if (ok)
        *ok = result;
    return attributes;
}

/** A live object that keeps itself in a tree, registered so that it can be created by name. */
class TestPoint : public FXmlObject
{
public:
    bool storeXml(FAttributes& attributes) const override
    {
        attributes.setInt("x", x);
        attributes.setInt("y", y);
        return true;
    }
    bool restoreXml(const FAttributes& attributes) override
    {
        return attributes.getInt("x", x) && attributes.getInt("y", y);
    }
    QEL_DECLARE_CLASS(TestPoint, FXmlObject)

    int64 x = 0;
    int64 y = 0;
};

QEL_META_CLASS(TestPoint, FUID(0x7E57A77B, 0x00000001, 0x00000002, 0x00000003));

const double kAwkwardDoubles[] = {
    0.1,
    1e-300,
    std::numeric_limits<double>::denorm_min(),
    2.2250738585072009e-308, // the largest denormal
    -0.0,
    0.0,
    DBL_MAX,
    -DBL_MAX,
    DBL_MIN,
    1.0 / 3.0,
    123456789012345678.0,
    -2.5e-5,
    std::numeric_limits<double>::infinity(),
    -std::numeric_limits<double>::infinity(),
    std::nextafter(1.0, 2.0),
};

bool sameBits(double a, double b)
{
    return std::memcmp(&a, &b, sizeof(double)) == 0;
}

/** A tree with every kind of value, nested. */
FAttributes* makeRichTree()
{
    auto* tree = new FAttributes;
    tree->setInt("small", -5);
    tree->setInt("min", std::numeric_limits<int64>::min());
    tree->setInt("max", std::numeric_limits<int64>::max());
    tree->setFloat("tenth", 0.1);
    tree->setString("plain", "hello");
    tree->setString("wide", u"\u65E5\u672C\U0001D11E");
    tree->setString("empty", "");
    tree->setString("long", String(std::string(300, 'L').c_str()));
    tree->setString("lines", "one\ntwo\r\nthree\tfour");

    FAttrList* member = tree->setList("member");
    member->setInt("depth", 1);
    FAttrList* deeper = member->setList("deeper");
    deeper->setString("leaf", u"w\u00FCrze");
    deeper->setList("emptyList");

    auto* instance = new FXmlInstance("Widget", 17);
    instance->getAttributes().setFloat("gain", -0.0);
    instance->getAttributes().setReference("partner", 17);
    tree->setObject("widget", instance);
    member->setObject("inner", instance); // the same object in two places
    instance->release();

    std::vector<uint8> bytes(256);
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = uint8(i);
    tree->setBuffer("bytes", bytes.data(), int64(bytes.size()));
    tree->setBuffer("noBytes", nullptr, 0);

    FIntList* ints = tree->setIntList("ints");
    ints->add(1);
    ints->add(-1);
    ints->add(std::numeric_limits<int64>::min());
    FFloatList* floats = tree->setFloatList("floats");
    for (double value : kAwkwardDoubles)
        floats->add(value);
    FStringList* strings = tree->setStringList("strings");
    strings->add("a&b");
    strings->add(u"\u00E9\u20AC");
    strings->add("tab\there");
    strings->add("");
    FObjectList* objects = tree->setObjectList("objects");
    objects->add(17);
    objects->add(std::numeric_limits<uint64>::max());
    FSubList* sub = tree->setSubList("sub");
    sub->add()->setInt("first", 1);
    sub->add();
    sub->add()->setList("nested")->setString("s", "t");
    tree->setReference("ref", 17);
    return tree;
}

} // namespace

TEST(FAttributes, EntriesKeepTheirOrderAndKind)
{
    FAttributes tree;
    tree.setInt("b", 1);
    tree.setString("a", "text");
    tree.setFloat("c", 2.5);
    ASSERT_EQ(tree.count(), 3);
    EXPECT_STREQ(tree.nameAt(0), "b");
    EXPECT_STREQ(tree.nameAt(1), "a");
    EXPECT_STREQ(tree.nameAt(2), "c");
    EXPECT_EQ(tree.nameAt(3), nullptr);

    // A set on an existing name replaces the value in its place, even with another kind.
    tree.setFloat("b", 0.5);
    EXPECT_STREQ(tree.nameAt(0), "b");
    EXPECT_EQ(tree.typeAt(0), FAttrType::kFloat);
    int64 i = 99;
    EXPECT_FALSE(tree.getInt("b", i));
    EXPECT_EQ(i, 99);
    double d = 0;
    EXPECT_TRUE(tree.getFloat("b", d));
    EXPECT_EQ(d, 0.5);
    tree.setInt("n", 7);
    EXPECT_TRUE(tree.getFloat("n", d)); // an integer reads as floating point too
    EXPECT_EQ(d, 7.0);
    String s;
    EXPECT_FALSE(tree.getString("n", s));
    EXPECT_EQ(tree.getList("a"), nullptr);

    EXPECT_TRUE(tree.remove("a"));
    EXPECT_FALSE(tree.remove("a"));
    EXPECT_EQ(tree.count(), 3);
    EXPECT_EQ(tree.indexOf("c"), 1);

    // Setting a string from its own stored text, or a list onto its own name, is safe.
    tree.setString("self", "value");
    String stored;
    tree.getString("self", stored);
    tree.setString("self", stored);
    FAttrList* list = tree.setList("list");
    EXPECT_EQ(tree.setList("list", list), list);
    EXPECT_EQ(list->setList("loop", list), nullptr);
    tree.clear();
    EXPECT_EQ(tree.count(), 0);
}

TEST(FAttributes, CopiesAreDeepAndEqualityLooksAtValues)
{
    FAttributes* original = makeRichTree();
    FAttributes copy;
    copy.copyFrom(*original);
    EXPECT_TRUE(copy.isEqual(original));
    copy.getList("member")->getList("deeper")->setInt("changed", 1);
    EXPECT_FALSE(copy.isEqual(original));
    EXPECT_FALSE(original->getList("member")->getList("deeper")->contains("changed"));

    // The width of a text is part of its value, and floats compare by their bits.
    FAttributes a, b;
    a.setString("t", "x");
    b.setString("t", u"x");
    EXPECT_FALSE(a.isEqual(&b));
    a.setFloat("t", 0.0);
    b.setFloat("t", -0.0);
    EXPECT_FALSE(a.isEqual(&b));
    original->release();
}

TEST(FAttributesXml, RichTreeRoundTrips)
{
    FAttributes* tree = makeRichTree();
    std::string xml = toXml(*tree);
    bool ok = false;
    std::string error;
    FAttributes* back = fromXml(xml, &ok, &error);
    ASSERT_TRUE(ok) << error;
    EXPECT_TRUE(error.empty());
    EXPECT_TRUE(back->isEqual(tree)) << xml;

    // Writing what was read gives the same document again.
    EXPECT_EQ(toXml(*back), xml);

    auto* widget = FCast<FXmlInstance>(back->getObject("widget"));
    ASSERT_NE(widget, nullptr);
    EXPECT_STREQ(widget->getXmlClass(), "Widget");
    EXPECT_EQ(widget->getXmlID(), 17u);
    EXPECT_EQ(back->getReference("ref")->getID(), 17u);
    FAttrBuffer* bytes = back->getBuffer("bytes");
    ASSERT_NE(bytes, nullptr);
    ASSERT_EQ(bytes->size(), 256);
    EXPECT_EQ(bytes->data()[255], 255);
    EXPECT_EQ(back->getBuffer("noBytes")->size(), 0);
    String wide;
    ASSERT_TRUE(back->getString("wide", wide));
    EXPECT_TRUE(wide.isWide());
    back->release();
    tree->release();
}

TEST(FAttributesXml, WritesTheDocumentForm)
{
    FAttributes tree;
    tree.setInt("count", -42);
    tree.setFloat("gain", 0.1);
    tree.setString("name", "Bus");
    tree.setString("title", u"T\u00EEtle");
    tree.setString("long", String(std::string(200, 'x')));
    auto* object = new FXmlInstance("Thing");
    object->getAttributes().setInt("inside", 1);
    tree.setObject("top", object);
    tree.setList("members")->setObject("nested", object);
    object->release();
    tree.setBuffer("blob", "\x00\xFF", 2);
    tree.setIntList("numbers")->add(3);
    tree.setObjectList("refs")->add(1);
    tree.setStringList("texts")->add("a");
    std::string xml = toXml(tree);

    EXPECT_EQ(xml.rfind("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<rootObjects>", 0), 0u) << xml;
    EXPECT_NE(xml.find("<int name=\"count\" value=\"-42\"/>"), std::string::npos);
    EXPECT_NE(
        xml.find(
            "<float name=\"gain\" value=\"0.1000000000000000055511151231257827021181583404541\"/>"),
        std::string::npos);
    EXPECT_NE(xml.find("<string name=\"name\" value=\"Bus\"/>"), std::string::npos);
    EXPECT_NE(xml.find("<string name=\"title\" value=\"T\xC3\xAEtle\" wide=\"true\"/>"),
              std::string::npos);
    EXPECT_NE(xml.find("<string name=\"long\">" + std::string(200, 'x') + "</string>"),
              std::string::npos);
    EXPECT_NE(xml.find("<root name=\"top\" ID=\"1\">\n\t\t<obj class=\"Thing\" ID=\"1\">"),
              std::string::npos);
    EXPECT_NE(xml.find("<member name=\"members\">"), std::string::npos);
    EXPECT_NE(xml.find("<obj name=\"nested\" class=\"Thing\" ID=\"1\">"), std::string::npos);
    EXPECT_NE(xml.find("<bin name=\"blob\">AP8=</bin>"), std::string::npos);
    EXPECT_NE(xml.find("<list name=\"numbers\" type=\"int\">\n\t\t<item value=\"3\"/>"),
              std::string::npos);
    EXPECT_NE(xml.find("<list name=\"refs\" type=\"obj\">"), std::string::npos);
    EXPECT_NE(xml.find("<list name=\"texts\" type=\"string\">"), std::string::npos);
    EXPECT_EQ(xml.substr(xml.size() - 15), "</rootObjects>\n");
}

TEST(FAttributesXml, DoublesKeepEveryBit)
{
    FAttributes tree;
    int index = 0;
    for (double value : kAwkwardDoubles)
        tree.setFloat(std::to_string(index++).c_str(), value);
    tree.setFloat("nan", std::numeric_limits<double>::quiet_NaN());
    tree.setFloat("negativeNan", -std::numeric_limits<double>::quiet_NaN());

    bool ok = false;
    FAttributes* back = fromXml(toXml(tree), &ok);
    ASSERT_TRUE(ok);
    index = 0;
    for (double value : kAwkwardDoubles)
    {
        double read = 1234;
        ASSERT_TRUE(back->getFloat(std::to_string(index++).c_str(), read));
        EXPECT_TRUE(sameBits(read, value)) << value << " came back as " << read;
    }
    double nan = 0;
    ASSERT_TRUE(back->getFloat("nan", nan));
    EXPECT_TRUE(std::isnan(nan));
    EXPECT_FALSE(std::signbit(nan));
    ASSERT_TRUE(back->getFloat("negativeNan", nan));
    EXPECT_TRUE(std::isnan(nan));
    EXPECT_TRUE(std::signbit(nan));
    back->release();

    // The text is that of "%.50g" in the C locale.
    for (double value : kAwkwardDoubles)
    {
        if (std::isinf(value))
            continue;
        char expected[128];
        std::snprintf(expected, sizeof(expected), "%.50g", value);
        EXPECT_EQ(FXmlWriter::formatFloat(value), expected);
    }
}

TEST(FAttributesXml, AnyTextRoundTrips)
{
    const char16 loneSurrogates[] = {u'a', char16(0xD800), u'b', char16(0xDC00), 0};
    const std::string allBytes = []
    {
        std::string s;
        for (int c = 1; c < 256; ++c)
            s.push_back(char8(c));
        return s;
    }();
    const std::vector<String> texts = {
        String("<tag attr=\"v\"> & 'quote' </tag>"),
        String("]]> and -->"),
        String("\t\n\r leading and trailing \r\n\t"),
        String("control \x01\x02\x1F and DEL \x7F"),
        String(std::string("zero\0byte", 9)),
        String("back\\slash \\x41 \\u0041 \\"),
        String("bad UTF-8 \xFF\xC0\xAF\xED\xA0\x80"),
        String(u"wide \u0001 \\ \uFFFE \uFFFF \U0001F600"),
        String(loneSurrogates),
        String(allBytes),
        String(std::string(500, '\x01')),
    };
    FAttributes tree;
    FStringList* list = tree.setStringList("list");
    for (size_t i = 0; i < texts.size(); ++i)
    {
        tree.setString(("text" + std::to_string(i)).c_str(), texts[i]);
        list->add(texts[i]);
    }
    // Names take any text as well.
    tree.setInt("name with \"quotes\" & <angles>", 1);
    tree.setInt("name\x01with\\control", 2);
    tree.setList("member\nname")->setInt("\xFF", 3);

    std::string xml = toXml(tree);
    bool ok = false;
    std::string error;
    FAttributes* back = fromXml(xml, &ok, &error);
    ASSERT_TRUE(ok) << error << "\n" << xml;
    for (size_t i = 0; i < texts.size(); ++i)
    {
        String read;
        ASSERT_TRUE(back->getString(("text" + std::to_string(i)).c_str(), read));
        EXPECT_EQ(read.isWide(), texts[i].isWide()) << i;
        EXPECT_TRUE(read.toUtf16() == texts[i].toUtf16() && read.toUtf8() == texts[i].toUtf8() &&
                    read.length() == texts[i].length())
            << "text " << i;
    }
    EXPECT_TRUE(back->isEqual(&tree)) << xml;
    back->release();
}

TEST(FAttributesXml, LiveObjectsAreWrittenFromTheirStateAndCreatedAgain)
{
    FAttributes tree;
    auto* point = new TestPoint;
    point->x = 3;
    point->y = -4;
    tree.setObject("point", point);
    point->release();

    bool ok = false;
    FAttributes* back = fromXml(toXml(tree), &ok);
    ASSERT_TRUE(ok);
    auto* instance = FCast<FXmlInstance>(back->getObject("point"));
    ASSERT_NE(instance, nullptr);
    EXPECT_STREQ(instance->getXmlClass(), "TestPoint");
    FXmlObject* created = instance->createObject();
    ASSERT_NE(created, nullptr);
    auto* restored = FCast<TestPoint>(created);
    ASSERT_NE(restored, nullptr);
    EXPECT_EQ(restored->x, 3);
    EXPECT_EQ(restored->y, -4);
    created->release();

    FXmlInstance unknown("NoSuchClass");
    EXPECT_EQ(unknown.createObject(), nullptr);
    back->release();
}

TEST(FAttributesXml, ParseErrorsTellWhereAndWhy)
{
    struct Case
    {
        std::string xml;
        std::string reason;
        int64 line;
    };
    const Case cases[] = {
        {"", "no element found", 1},
        {"not xml at all", "syntax error", 1},
        {"<rootObjects>\n<int name=\"a\" value=\"1\"/>\n<<", "not well-formed (invalid token)", 3},
        {"<rootObjects><int name=\"a\" value=\"1\"/>", "no element found", 1},
        {"<other/>", "not an attribute document: the root element is <other>", 1},
        {"<rootObjects>\n\n<int name=\"a\" value=\"12x\"/></rootObjects>",
         "bad value of <int>: \"12x\"", 3},
        {"<rootObjects><float name=\"a\"/></rootObjects>", "bad value of <float>: \"\"", 1},
        {"<rootObjects><bin name=\"b\">@@@@</bin></rootObjects>",
         "bad binary data in <bin name=\"b\">", 1},
        {"<?xml version=\"1.0\"?><!DOCTYPE r [<!ENTITY a \"aaaa\">]><rootObjects/>",
         "document type declarations are not accepted", 1},
    };
    for (const Case& c : cases)
    {
        bool ok = true;
        std::string error;
        FAttributes* tree = fromXml(c.xml, &ok, &error);
        EXPECT_FALSE(ok) << c.xml;
        EXPECT_EQ(error.rfind(c.reason + " at line " + std::to_string(c.line) + ", column ", 0), 0u)
            << "for " << c.xml << " got: " << error;
        tree->release();
    }
}

TEST(FAttributesXml, UnknownElementsAreSkipped)
{
    const std::string xml = "<rootObjects>"
                            "<int name=\"a\" value=\"1\"/>"
                            "<future name=\"x\"><int name=\"hidden\" value=\"9\"/></future>"
                            "<list name=\"l\" type=\"matrix\"><item value=\"1\"/></list>"
                            "<member name=\"m\"><int name=\"b\" value=\"2\"/><what/></member>"
                            "</rootObjects>";
    bool ok = false;
    FAttributes* tree = fromXml(xml, &ok);
    ASSERT_TRUE(ok);
    EXPECT_EQ(tree->count(), 2);
    EXPECT_FALSE(tree->contains("hidden"));
    EXPECT_FALSE(tree->contains("l"));
    int64 b = 0;
    EXPECT_TRUE(tree->getList("m")->getInt("b", b));
    EXPECT_EQ(b, 2);
    tree->release();
}

TEST(FAttributesXml, DamageKeepsTheCompleteTopLevelEntries)
{
    FAttributes* tree = makeRichTree();
    const std::string xml = toXml(*tree);
    const size_t end = xml.find("</rootObjects>");
    ASSERT_NE(end, std::string::npos);

    // What a cut document may give back: the first n entries of the tree, for each n.
    std::vector<FAttributes*> prefixes;
    for (int32 n = 0; n <= tree->count(); ++n)
    {
        auto* prefix = new FAttributes;
        prefix->copyFrom(*tree);
        while (prefix->count() > n)
            prefix->remove(prefix->nameAt(prefix->count() - 1));
        prefixes.push_back(prefix);
    }

    // Cut the document at every byte: what comes back is always a run of whole entries from
    // the start, and the run never shrinks as the cut moves on.
    int32 previous = 0;
    for (size_t cut = 0; cut < end; ++cut)
    {
        bool ok = true;
        std::string error;
        FAttributes* part = fromXml(xml.substr(0, cut), &ok, &error);
        ASSERT_FALSE(ok) << cut;
        ASSERT_NE(error.find(" at line "), std::string::npos) << error;
        ASSERT_GE(part->count(), previous) << cut;
        previous = part->count();
        EXPECT_TRUE(part->isEqual(prefixes[size_t(part->count())])) << "cut at " << cut;
        part->release();
    }
    for (FAttributes* prefix : prefixes)
        prefix->release();
    EXPECT_EQ(previous, tree->count()); // just before the end tag everything is complete

    // Damage in the middle keeps what came before it.
    std::string damaged = xml;
    size_t at = damaged.find("<string name=\"plain\"");
    damaged.replace(at, 1, "&");
    bool ok = true;
    FAttributes* part = fromXml(damaged, &ok);
    EXPECT_FALSE(ok);
    EXPECT_EQ(part->count(), tree->indexOf("plain"));
    part->release();
    tree->release();
}

TEST(FAttributesRepeated, ARepeatedIntegerKeepsEveryValueInOrderThroughXml)
{
    FAttributes attributes;
    attributes.appendInt("Type", 2);
    attributes.setString("Name", "x");
    attributes.appendInt("Type", -3);
    attributes.appendInt("Type", 2);
    int64 first = 0;
    ASSERT_TRUE(attributes.getInt("Type", first));
    EXPECT_EQ(first, 2);

    FMemoryStream xml;
    ASSERT_TRUE(attributes.writeXml(&xml));
    FAttributes reread;
    ASSERT_TRUE(reread.readXml(xml.data(), size_t(xml.size())));
    std::vector<std::pair<std::string, int64>> entries;
    for (int32 index = 0; index < reread.count(); ++index)
    {
        int64 value = 0;
        entries.emplace_back(reread.nameAt(index), reread.getIntAt(index, value) ? value : 99);
    }
    EXPECT_EQ(entries, (std::vector<std::pair<std::string, int64>>{
                           {"Type", 2}, {"Name", 99}, {"Type", -3}, {"Type", 2}}));
}

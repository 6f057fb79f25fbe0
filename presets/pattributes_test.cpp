#include "presets/pattributes.h"

#include "base/fstreams.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace Quillmark;
using namespace Quillmark::QmMedia;

namespace
{

/** Through the XML form of the attribute tree and back. */
bool throughXml(const PAttributes& attributes, PAttributes& result)
{
    auto* tree = new FAttributes;
    attributes.store(*tree);
    auto* stream = new FMemoryStream;
    bool ok = tree->writeXml(stream);
    tree->release();
    int64 size = 0;
    stream->seek(0, IBStream::kIBSeekEnd, &size);
    stream->seek(0, IBStream::kIBSeekSet, nullptr);
    auto* back = new FAttributes;
    ok = ok && back->readXml(stream) && result.load(*back);
    back->release();
    stream->release();
    return ok && size > 0;
}

TEST(PAttributes, EachValueIsKeptUnderTypeFlagsAndTheKeyOfItsKind)
{
    PAttributes attributes;
    attributes.set("PlugInName")->setString("Qel Gain");
    attributes.find("PlugInName")->setFlags(2);
    attributes.set("Rating")->setLong(-4);
    attributes.set("Tempo")->setFloat(0.1);
    auto* nested = new FAttributes;
    nested->setString("Author", "Ann");
    attributes.set("Origin")->setObject(nested);
    nested->release();

    auto* tree = new FAttributes;
    attributes.store(*tree);
    ASSERT_EQ(tree->count(), 4);
    EXPECT_STREQ(tree->nameAt(0), "PlugInName");
    FAttrList* name = tree->getList("PlugInName");
    ASSERT_NE(name, nullptr);
    int64 value = -1;
    EXPECT_TRUE(name->getInt("Type", value));
    EXPECT_EQ(value, PStringIDMediaAttribute::kString);
    EXPECT_TRUE(name->getInt("Flags", value));
    EXPECT_EQ(value, 2);
    String text;
    EXPECT_TRUE(name->getString("String", text));
    EXPECT_EQ(text.toUtf8(), "Qel Gain");
    EXPECT_EQ(name->count(), 3); // nothing under the keys of the other kinds

    EXPECT_TRUE(tree->getList("Rating")->getInt("Long", value));
    EXPECT_EQ(value, -4);
    double number = 0;
    EXPECT_TRUE(tree->getList("Tempo")->getFloat("Float", number));
    EXPECT_EQ(number, 0.1);
    FAttrList* origin = tree->getList("Origin")->getList("Object");
    ASSERT_NE(origin, nullptr);
    EXPECT_TRUE(origin->getString("Author", text));
    EXPECT_EQ(text.toUtf8(), "Ann");
    tree->release();
}

TEST(PAttributes, SurviveTheXmlFormWithOrderKindsFlagsAndExactNumbers)
{
    PAttributes attributes;
    attributes.set("b")->setFloat(std::nextafter(1.0, 2.0));
    attributes.set("a")->setLong(int64(1) << 40);
    attributes.set("c")->setString("R\xC3\xA9sum\xC3\xA9 <&\">");
    attributes.find("c")->setFlags(1 | 8);
    attributes.set("d")->setObject(nullptr);

    PAttributes back;
    ASSERT_TRUE(throughXml(attributes, back));
    ASSERT_EQ(back.count(), 4);
    EXPECT_EQ(back.at(0)->getID(), "b");
    EXPECT_EQ(back.at(1)->getID(), "a");
    double number = 0;
    EXPECT_TRUE(back.at(0)->getFloat(number));
    EXPECT_EQ(number, std::nextafter(1.0, 2.0));
    int64 integer = 0;
    EXPECT_FALSE(back.at(1)->getFloat(number)); // an integer stays an integer
    EXPECT_TRUE(back.at(1)->getLong(integer));
    EXPECT_EQ(integer, int64(1) << 40);
    String text;
    EXPECT_TRUE(back.find("c")->getString(text));
    EXPECT_EQ(text.toUtf8(), "R\xC3\xA9sum\xC3\xA9 <&\">");
    EXPECT_EQ(back.find("c")->getFlags(), 9);
    ASSERT_NE(back.find("d")->getObject(), nullptr);
    EXPECT_EQ(back.find("d")->getObject()->count(), 0);
}

TEST(PAttributes, ADamagedEntryIsSkippedAndTheRestKept)
{
    auto* tree = new FAttributes;
    FAttrList* good = tree->setList("Good");
    good->setInt("Type", PStringIDMediaAttribute::kLong);
    good->setInt("Long", 7);
    tree->setList("UnknownType")->setInt("Type", 9);
    FAttrList* noValue = tree->setList("NoValue");
    noValue->setInt("Type", PStringIDMediaAttribute::kString);
    noValue->setInt("Long", 3); // the value under the key of another kind
    tree->setInt("Plain", 1);   // not an attribute tree at all
    FAttrList* noFlags = tree->setList("NoFlags");
    noFlags->setInt("Type", PStringIDMediaAttribute::kFloat);
    noFlags->setInt("Float", 2); // a whole number where a float is expected reads too

    PAttributes attributes;
    attributes.set("Old")->setLong(1);
    EXPECT_FALSE(attributes.load(*tree));
    tree->release();
    ASSERT_EQ(attributes.count(), 2);
    int64 integer = 0;
    EXPECT_TRUE(attributes.find("Good")->getLong(integer));
    EXPECT_EQ(integer, 7);
    double number = 0;
    EXPECT_TRUE(attributes.find("NoFlags")->getFloat(number));
    EXPECT_EQ(number, 2.0);
    EXPECT_EQ(attributes.find("NoFlags")->getFlags(), 0);
    EXPECT_EQ(attributes.find("Old"), nullptr); // a load replaces what was there

    // A failed load of one attribute leaves its value alone.
    PStringIDMediaAttribute single("x");
    single.setString("keep");
    auto* broken = new FAttributes;
    broken->setInt("Type", PStringIDMediaAttribute::kObject);
    EXPECT_FALSE(single.load(*broken));
    broken->release();
    String text;
    EXPECT_TRUE(single.getString(text));
    EXPECT_EQ(text.toUtf8(), "keep");
}

TEST(PAttributes, CarryThePresetMetaInformationBothWays)
{
    Qel::MediaAttributeList meta;
    meta.setString("PlugInName", "Qel Synth", Qel::MediaAttributeList::kWriteProtected);
    meta.setInt("MusicalRating", 3);
    meta.setFloat("Tempo", 120.5, Qel::MediaAttributeList::kHidden);

    PAttributes attributes;
    attributes.fromMediaAttributeList(meta);
    ASSERT_EQ(attributes.count(), 3);
    EXPECT_EQ(attributes.at(0)->getType(), PStringIDMediaAttribute::kString);
    EXPECT_EQ(attributes.at(0)->getFlags(), Qel::MediaAttributeList::kWriteProtected);
    EXPECT_EQ(attributes.at(1)->getType(), PStringIDMediaAttribute::kLong);
    EXPECT_EQ(attributes.at(2)->getType(), PStringIDMediaAttribute::kFloat);

    // Setting an id again changes its value in place; an object has no place in the meta
    // information and stays behind.
    attributes.set("MusicalRating")->setLong(5);
    attributes.set("Picture")->setObject(nullptr);
    Qel::MediaAttributeList back;
    back.setString("Stale", "x");
    attributes.toMediaAttributeList(back);
    ASSERT_EQ(back.count(), 3);
    EXPECT_EQ(back.getString("PlugInName"), "Qel Synth");
    EXPECT_EQ(back.find("PlugInName")->flags, Qel::MediaAttributeList::kWriteProtected);
    EXPECT_EQ(back.find("MusicalRating")->intValue, 5);
    EXPECT_EQ(back.find("Tempo")->floatValue, 120.5);
    EXPECT_EQ(back.find("Tempo")->flags, Qel::MediaAttributeList::kHidden);
    EXPECT_EQ(back.find("Stale"), nullptr);
    EXPECT_TRUE(attributes.remove("Picture"));
    EXPECT_FALSE(attributes.remove("Picture"));
}

} // namespace

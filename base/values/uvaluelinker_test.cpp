#include "base/values/uvaluekinds.h"
#include "base/values/uvaluelinker.h"
#include "base/values/uvaluetesting.h"

#include <gtest/gtest.h>

using namespace Quillmark;
using Quillmark::testing::ChangeRecorder;

TEST(UValueLinker, LinkedValuesFollowEachOther)
{
    auto* a = new UIntValue("a", 1, 0, 10, 3);
    auto* b = new UIntValue("b", 2, 0, 10, 7);
    auto* c = new UIntValue("c", 3, 0, 5, 0);
    auto* linker = new UValueLinker;
    EXPECT_TRUE(linker->addValue(a));
    EXPECT_TRUE(linker->addValue(b));
    EXPECT_FALSE(linker->addValue(b));
    EXPECT_FALSE(linker->addValue(nullptr));
    EXPECT_EQ(b->getValue(), 3); // takes the value of the first at once
    linker->addValue(c);

    ChangeRecorder recorderA(a->unknown());
    b->setInt(4);
    EXPECT_EQ(a->getValue(), 4);
    EXPECT_EQ(c->getValue(), 4);
    EXPECT_EQ(recorderA.count(IDependent::kChanged), 1); // no echo back to the source
    a->setInt(9);
    EXPECT_EQ(b->getValue(), 9);
    EXPECT_EQ(c->getValue(), 5); // each value clips on its own

    EXPECT_TRUE(linker->removeValue(c));
    EXPECT_EQ(c->getRefCount(), 1);
    a->setInt(1);
    EXPECT_EQ(c->getValue(), 5);
    recorderA.detach();

    linker->release();
    EXPECT_EQ(a->getRefCount(), 1);
    a->setInt(2); // the linker is gone from the dependents
    EXPECT_EQ(b->getValue(), 1);
    a->release();
    b->release();
    c->release();
}

TEST(UValueLinker, PlainModeCarriesEachKindInItsOwnForm)
{
    auto* name = new UStringValue("name", 1, "first");
    auto* copy = new UStringValue("copy", 2);
    auto* tempo = new UFloatValue("tempo", 3, 1.0, 300.0, 120.5);
    auto* shown = new UFloatValue("shown", 4, 1.0, 300.0, 1.0);
    UValueLinker linker;
    linker.addValue(name);
    linker.addValue(copy);
    String text;
    copy->getText(text);
    EXPECT_EQ(text, ConstString("first"));

    UValueLinker floats;
    floats.addValue(tempo);
    floats.addValue(shown);
    EXPECT_DOUBLE_EQ(shown->getValue(), 120.5); // not rounded through an integer
    shown->setFloat(99.75);
    EXPECT_DOUBLE_EQ(tempo->getValue(), 99.75);

    floats.removeAll();
    linker.removeAll();
    for (UValue* value : std::initializer_list<UValue*>{name, copy, tempo, shown})
        value->release();
}

TEST(UValueLinker, NormalisedModeBridgesDifferentRanges)
{
    auto* percent = new UIntValue("percent", 1, 0, 100, 50);
    auto* gain = new UFloatValue("gain", 2, 0.0, 2.0, 0.0);
    auto* linker = new UValueLinker(UValueLinker::Mode::kNormalized);
    linker->addValue(percent);
    linker->addValue(gain);
    EXPECT_DOUBLE_EQ(gain->getValue(), 1.0);
    gain->setFloat(0.5);
    EXPECT_EQ(percent->getValue(), 25);
    linker->release();
    percent->release();
    gain->release();
}

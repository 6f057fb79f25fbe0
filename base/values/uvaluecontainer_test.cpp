#include "base/fdefaults.h"
#include "base/values/uvaluecontainer.h"
#include "base/values/uvaluekinds.h"
#include "base/values/uvaluetesting.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <limits>
#include <string>

using namespace Quillmark;
using Quillmark::testing::ChangeRecorder;

namespace
{

/** A controller that records the tags its handler sees. */
class TagRecorder : public FController
{
public:
    void onValueChanged(UValue* value) override { tags.push_back(value->getTag()); }
    std::vector<int32> tags;
};

/** A container that handles its own changes. */
class SelfHandlingContainer : public UValueContainer
{
public:
    void onValueChanged(UValue* value) override { tags.push_back(value->getTag()); }
    std::vector<int32> tags;
};

/** A container of the kinds the preference store tells apart. */
UValueContainer* makePlayerValues()
{
    auto* values = new UValueContainer;
    values->adopt(new UStringValue("midiFileName", 112, "song.mid"), "Midifile");
    values->adopt(new UFloatValue("tempo", 4026, 1.0, 300.0, 120.0, 1), "Tempo");
    values->adopt(new UFloatDefValue("volume", 115, 0.0, 1.0, 0.5), "Gain");
    values->adopt(new UIntValue("timeFormat", 4025, 0, 1, 1), "TimeFormat");
    values->adopt(new URationalValue("signature", 4027, 4, 4));
    auto* mode = values->adopt(new UStringListValue("recordMode", 122), "RecordMode");
    for (const char8* text : {"Direct", "MIDI", "Count In 1", "Count In 2"})
        mode->addString(text);
    return values;
}

class UValueContainerStore : public ::testing::Test
{
protected:
    FDefaultPool pool{"/nonexistent/qel-value-tests/Defaults"};
    FDefaults& section = *pool.lookup("Player");
};

} // namespace

TEST(UValueContainer, FindsValuesByTheirContainerNameExactly)
{
    UValueContainer* values = makePlayerValues();
    EXPECT_EQ(values->countValues(), 6);
    EXPECT_EQ(values->findValue("Tempo")->getTag(), 4026);
    EXPECT_EQ(values->findValue("tempo"), nullptr); // known by "Tempo" only, with case
    EXPECT_EQ(values->findValue("signature")->getTag(), 4027);
    EXPECT_EQ(values->nameAt(5), ConstString("RecordMode"));
    EXPECT_TRUE(values->nameAt(6).isEmpty());
    EXPECT_EQ(values->indexOf("Gain"), 2);
    EXPECT_EQ(values->findValueByTag(115), values->valueAt(2));
    EXPECT_EQ(values->findValueByTag(999), nullptr);
    EXPECT_NE(values->find<UStringListValue>("RecordMode"), nullptr);
    EXPECT_EQ(values->find<UFloatValue>("RecordMode"), nullptr);
    EXPECT_NE(values->find<UFloatValue>("Gain"), nullptr); // kinds of a kind count
    values->release();
}

TEST(UValueContainer, DottedPathsWalkChildControllers)
{
    auto* root = new UValueContainer;
    auto* slot = new UValueContainer;
    auto* routing = new UValueContainer;
    root->adopt(new UIntValue("play", 1));
    slot->adopt(new UIntValue("onOff", 2));
    slot->adopt(new UIntValue("port", 3));
    routing->adopt(new UIntValue("port", 4));
    EXPECT_TRUE(root->addController("slot", slot));
    EXPECT_TRUE(slot->addController("routing", routing));
    EXPECT_FALSE(root->addController("slot", routing)); // the name is taken
    EXPECT_FALSE(root->addController("none", nullptr));
    root->setDottedPaths(true);

    EXPECT_EQ(root->findValue("play")->getTag(), 1);
    EXPECT_EQ(root->findValue("slot.onOff")->getTag(), 2);
    EXPECT_EQ(root->findValue("slot.routing.port")->getTag(), 4);
    // A missing middle component ends the walk, although "slot" has a "port" of its own.
    EXPECT_EQ(root->findValue("slot.missing.port"), nullptr);
    EXPECT_EQ(root->findValue("missing.onOff"), nullptr);
    EXPECT_EQ(root->findValue("Slot.onOff"), nullptr);
    EXPECT_EQ(root->findValue("slot."), nullptr);
    EXPECT_EQ(root->findValue(".play"), nullptr);
    EXPECT_EQ(root->findValue("slot.routing"), nullptr); // a controller is not a value

    root->setDottedPaths(false);
    EXPECT_EQ(root->findValue("slot.onOff"), nullptr);
    root->adopt(new UIntValue("a.b", 5));
    EXPECT_EQ(root->findValue("a.b")->getTag(), 5);

    EXPECT_TRUE(root->removeController("slot"));
    EXPECT_FALSE(root->removeController("slot"));
    routing->release();
    slot->release();
    root->release();
}

TEST(UValueContainer, ViewsGetCountedReferences)
{
    auto* values = new UValueContainer;
    auto* child = new UValueContainer;
    auto* tempo = values->adopt(new UFloatValue("tempo", 1));
    values->addController("child", child);

    IController* asController = values;
    IValue* found = nullptr;
    ASSERT_EQ(asController->getValue("tempo", &found), kResultOk);
    EXPECT_EQ(found, static_cast<IValue*>(tempo));
    EXPECT_EQ(tempo->getRefCount(), 2);
    found->release();
    EXPECT_EQ(asController->getValue("nothing", &found), kResultFalse);
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(asController->getValue("tempo", nullptr), kInvalidArgument);

    IController* foundController = nullptr;
    ASSERT_EQ(asController->getController("child", &foundController), kResultOk);
    EXPECT_EQ(child->getRefCount(), 3); // the caller, the container and this answer
    foundController->release();
    EXPECT_EQ(asController->getController("other", &foundController), kResultFalse);
    EXPECT_FALSE(asController->checkCondition("hasBypass"));
    child->release();
    values->release();
}

TEST(UValueContainer, HoldsOneReferencePerValue)
{
    auto* values = new UValueContainer;
    auto* value = new UIntValue("x", 1);
    EXPECT_TRUE(values->addValue(value));
    EXPECT_FALSE(values->addValue(value));
    EXPECT_FALSE(values->addValue(nullptr));
    EXPECT_EQ(value->getRefCount(), 2);
    EXPECT_TRUE(values->removeValue(value));
    EXPECT_FALSE(values->removeValue(value));
    EXPECT_EQ(value->getRefCount(), 1);
    values->addValue(value);
    values->release();
    EXPECT_EQ(value->getRefCount(), 1);
    value->setInt(1); // the container is no longer a dependent
    value->release();
}

TEST(UValueContainer, ChangesGoToTheHandler)
{
    TagRecorder controller;
    auto* values = new UValueContainer(&controller);
    auto* play = values->adopt(new UIntValue("play", 102));
    auto* tempo = values->adopt(new UFloatValue("tempo", 4026, 1.0, 300.0, 120.0));
    play->setInt(1);
    play->setInt(1);
    tempo->setFloat(90.0);
    tempo->setEnabled(false); // not a change of the value
    tempo->setFloatValue(91.0, false);
    EXPECT_EQ(controller.tags, (std::vector<int32>{102, 4026}));

    values->removeValue(tempo);
    tempo = nullptr;
    play->setInt(0);
    EXPECT_EQ(controller.tags, (std::vector<int32>{102, 4026, 102}));
    values->release();

    auto* self = new SelfHandlingContainer;
    self->adopt(new UIntValue("loop", 103))->setInt(1);
    EXPECT_EQ(self->tags, std::vector<int32>{103});
    self->release();
}

TEST(UValueContainer, APressIsHandledEvenWhenTheButtonAlreadyStandsAtOne)
{
    auto* self = new SelfHandlingContainer;
    UValue* stop = self->adopt(new UIntValue("stop", 4016));
    self->press(4016);
    EXPECT_EQ(stop->getInt(), 1);
    self->press(4016); // a second press of a button nobody reset: a setInt(1) would be no change
    EXPECT_EQ(self->tags, (std::vector<int32>{4016, 4016}));
    self->press(999); // no such value
    EXPECT_EQ(self->tags.size(), 2u);
    self->release();
}

TEST_F(UValueContainerStore, EachKindIsStoredInItsOwnForm)
{
    UValueContainer* values = makePlayerValues();
    values->find<UFloatValue>("Tempo")->setFloat(97.25);
    values->find<URationalValue>("signature")->setRational(7, 8);
    values->find<UStringListValue>("RecordMode")->setInt(2);
    values->storeValues(section);

    const FAttrList& stored = section.getValues();
    EXPECT_EQ(stored.getType("Midifile"), FAttrType::kString);
    EXPECT_EQ(stored.getType("Tempo"), FAttrType::kFloat);
    EXPECT_EQ(stored.getType("Gain"), FAttrType::kFloat);
    EXPECT_EQ(stored.getType("TimeFormat"), FAttrType::kInt);
    EXPECT_EQ(stored.getType("signature"), FAttrType::kInt);
    EXPECT_EQ(stored.getType("RecordMode"), FAttrType::kInt);
    EXPECT_FALSE(section.contains("volume")); // the container's name is the key
    double tempo = 0;
    EXPECT_TRUE(section.getFloat("Tempo", tempo));
    EXPECT_DOUBLE_EQ(tempo, 97.25);
    values->release();

    UValueContainer* restored = makePlayerValues();
    restored->restoreValues(section);
    EXPECT_DOUBLE_EQ(restored->find<UFloatValue>("Tempo")->getValue(), 97.25);
    EXPECT_EQ(restored->find<URationalValue>("signature")->getNumerator(), 7);
    EXPECT_EQ(restored->find<URationalValue>("signature")->getDenominator(), 8);
    EXPECT_EQ(restored->find<UStringListValue>("RecordMode")->getValue(), 2);
    String text;
    restored->findValue("Midifile")->getText(text);
    EXPECT_EQ(text, ConstString("song.mid"));
    restored->release();
}

TEST_F(UValueContainerStore, MissingKeysLeaveTheValuesAsTheyAre)
{
    section.setFloat("Tempo", 140.0);
    UValueContainer* values = makePlayerValues();
    auto* gain = values->find<UFloatValue>("Gain");
    gain->setFloat(0.8);
    ChangeRecorder recorder(gain->unknown());
    values->restoreValues(section);
    EXPECT_DOUBLE_EQ(values->find<UFloatValue>("Tempo")->getValue(), 140.0);
    EXPECT_DOUBLE_EQ(gain->getValue(), 0.8);
    EXPECT_EQ(values->find<UIntValue>("TimeFormat")->getValue(), 1);
    String text;
    values->findValue("Midifile")->getText(text);
    EXPECT_EQ(text, ConstString("song.mid"));
    EXPECT_TRUE(recorder.messages.empty());
    recorder.detach();
    values->release();
}

TEST_F(UValueContainerStore, RestoreClipsAndTellsTheHandler)
{
    section.setFloat("Tempo", 1000.0);
    section.setInt("TimeFormat", 0);
    section.setInt("RecordMode", int64(1) << 40); // beyond 32 bits and beyond the list
    section.setString("Tempo2", "ignored");
    TagRecorder controller;
    UValueContainer* values = makePlayerValues();
    values->setHandler(&controller);
    values->restoreValues(section);
    EXPECT_DOUBLE_EQ(values->find<UFloatValue>("Tempo")->getValue(), 300.0);
    EXPECT_EQ(values->find<UIntValue>("TimeFormat")->getValue(), 0);
    EXPECT_EQ(values->find<UStringListValue>("RecordMode")->getValue(), 3);
    EXPECT_EQ(controller.tags, (std::vector<int32>{4026, 4025, 122}));

    // A float stored as an integer still reads; a text under a number's key does not.
    section.setInt("Tempo", 60);
    section.setString("TimeFormat", "1");
    values->restoreValues(section);
    EXPECT_DOUBLE_EQ(values->find<UFloatValue>("Tempo")->getValue(), 60.0);
    EXPECT_EQ(values->find<UIntValue>("TimeFormat")->getValue(), 0);
    values->release();
}

TEST(UValueContainerFile, StoredValuesSurviveTheFileBitForBit)
{
    const char* base = std::getenv("TMPDIR");
    std::string folder = std::string(base && *base ? base : "/tmp") + "/qel-values-XXXXXX";
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    std::string path = folder + "/Defaults";
    const double tempo = 0.1 + 0.2 + 100.0; // not a short decimal

    {
        FDefaultPool pool(path);
        UValueContainer* values = makePlayerValues();
        values->find<UFloatValue>("Tempo")->setFloat(tempo);
        values->storeValues(*pool.lookup("Player"));
        std::string problem;
        ASSERT_TRUE(pool.save(&problem)) << problem;
        // Storing the same values again changes nothing that would need saving.
        values->storeValues(*pool.lookup("Player"));
        EXPECT_FALSE(pool.isDirty());
        values->find<UFloatValue>("Tempo")->setFloat(tempo + 1.0);
        values->storeValues(*pool.lookup("Player"));
        EXPECT_TRUE(pool.isDirty());
        values->release();
    }

    FDefaultPool pool(path);
    ASSERT_TRUE(pool.load());
    UValueContainer* values = makePlayerValues();
    values->restoreValues(*pool.lookup("Player"));
    EXPECT_EQ(values->find<UFloatValue>("Tempo")->getValue(), tempo);
    values->release();
    std::filesystem::remove_all(folder);
}

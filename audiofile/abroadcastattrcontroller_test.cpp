#include "audiofile/abroadcastattrcontroller.h"
#include "audiofile/audiofilekeys.h"

#include <gtest/gtest.h>

using namespace Quillmark;
namespace Keys = Quillmark::AudioKeys;

namespace
{

std::string text(const FAttributes& tree, const char* key)
{
    String value;
    return tree.getString(key, value) ? value.toUtf8() : std::string("<none>");
}

TEST(ABroadcastAttrController, FillsFromDefaultsAndWritesEachEditToItsKey)
{
    auto* tree = new FAttributes;
    tree->setString(Keys::kAuthor, "Kept Author");
    const int64 now = 1700000000; // 2023-11-14 22:13:20 UTC
    auto* controller = new ABroadcastAttrController(*tree, "Default text", "Default Org", now);

    EXPECT_EQ("Default text", text(*tree, Keys::kBWFDescription));
    EXPECT_EQ("Kept Author", text(*tree, Keys::kAuthor)) << "a value already there stays";
    // The reference pattern with the time of day in its HHMMSS field.
    EXPECT_EQ("CCOOONNNNNNNNNNNN221320RRRRRRRRR", text(*tree, Keys::kBWFOrigRef));
    int64 date = 0;
    EXPECT_TRUE(tree->getInt(Keys::kRecordDate, date));
    EXPECT_EQ(now, date);
    EXPECT_EQ("2023-11-14",
              controller->value(ABroadcastAttrController::kDate)->getValue().toUtf8());
    EXPECT_EQ("22:13:20", controller->value(ABroadcastAttrController::kTime)->getValue().toUtf8());

    controller->value(ABroadcastAttrController::kDescription)->setValue("Scene 5");
    EXPECT_EQ("Scene 5", text(*tree, Keys::kBWFDescription));

    // A new time moves the record date and the reference's time field with it.
    controller->value(ABroadcastAttrController::kTime)->setValue("07:08:09");
    tree->getInt(Keys::kRecordDate, date);
    EXPECT_EQ(1699945689, date); // 2023-11-14 07:08:09
    EXPECT_EQ("CCOOONNNNNNNNNNNN070809RRRRRRRRR", text(*tree, Keys::kBWFOrigRef));

    controller->value(ABroadcastAttrController::kDate)->setValue("2024-02-29");
    tree->getInt(Keys::kRecordDate, date);
    EXPECT_EQ(1709190489, date); // 2024-02-29 07:08:09

    // Text that is no date changes nothing and shows the stored date again.
    controller->value(ABroadcastAttrController::kDate)->setValue("tomorrow");
    tree->getInt(Keys::kRecordDate, date);
    EXPECT_EQ(1709190489, date);
    EXPECT_EQ("2024-02-29",
              controller->value(ABroadcastAttrController::kDate)->getValue().toUtf8());

    // A reference of another length is the user's own: the time is not stamped into it.
    controller->value(ABroadcastAttrController::kOriginatorReference)->setValue("MYREF");
    controller->value(ABroadcastAttrController::kTime)->setValue("10:00:00");
    EXPECT_EQ("MYREF", text(*tree, Keys::kBWFOrigRef));

    controller->release();
    tree->release();
}

} // namespace

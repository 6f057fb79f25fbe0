#include "base/fcapabilities.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using namespace Quillmark;

namespace
{

/** Starts every test from an empty table whose warnings are collected. */
class FCapabilitiesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        table = FCapabilities::instance();
        ASSERT_NE(table, nullptr);
        table->clear();
        table->setWarningHandler([this](const char8* key, const char8* text)
                                 { shown.emplace_back(key, text); });
    }
    void TearDown() override
    {
        table->clear();
        table->setWarningHandler(nullptr);
    }

    FCapabilities* table = nullptr;
    std::vector<std::pair<std::string, std::string>> shown;
};

} // namespace

TEST_F(FCapabilitiesTest, KeyIsOffWhenAbsentOrZero)
{
    EXPECT_FALSE(table->isOn("SURROUND"));
    EXPECT_EQ(table->getValue("SURROUND"), 0);

    table->setValue("SURROUND", 0);
    EXPECT_FALSE(table->isOn("SURROUND"));

    table->setValue("SURROUND", -3);
    EXPECT_TRUE(table->isOn("SURROUND"));
    EXPECT_EQ(table->getValue("SURROUND"), -3);
    EXPECT_FALSE(table->isOn("surround")) << "keys are compared exactly";

    table->removeValue("SURROUND");
    EXPECT_FALSE(table->isOn("SURROUND"));

    table->setValue(nullptr, 5);
    EXPECT_TRUE(table->isOn(""));
    EXPECT_EQ(FCapabilities::instance(), table) << "one table per process";
}

TEST_F(FCapabilitiesTest, WarnsOncePerKey)
{
    EXPECT_TRUE(table->warnOnce("SURROUND", "first"));
    EXPECT_FALSE(table->warnOnce("SURROUND", "second"));
    EXPECT_TRUE(table->warnOnce("SURROUND_6CH_MAX", "other key"));

    ASSERT_EQ(shown.size(), 2u);
    EXPECT_EQ(shown[0], std::make_pair(std::string("SURROUND"), std::string("first")));
    EXPECT_EQ(shown[1].first, "SURROUND_6CH_MAX");

    table->clear();
    EXPECT_TRUE(table->warnOnce("SURROUND", "after clear"));
    EXPECT_EQ(shown.size(), 3u);
}

TEST_F(FCapabilitiesTest, DefaultHandlerWritesTheTextToStderr)
{
    table->setWarningHandler(nullptr);
    ::testing::internal::CaptureStderr();
    table->warnOnce("SURROUND", "Surround is not available.");
    std::string written = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(written, "Surround is not available.\n");
    EXPECT_TRUE(shown.empty());
}

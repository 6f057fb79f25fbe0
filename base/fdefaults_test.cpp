#include "base/fdefaults.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

using namespace Quillmark;
namespace fs = std::filesystem;

namespace
{

class FDefaultsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const char* base = std::getenv("TMPDIR");
        std::string pattern = std::string(base && *base ? base : "/tmp") + "/qel-defaults-XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder = pattern;
        path = (folder / "config" / "Defaults").string();
    }
    void TearDown() override { fs::remove_all(folder); }

    static std::string read(const std::string& file)
    {
        std::ifstream in(file, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    static void write(const std::string& file, const std::string& content)
    {
        std::ofstream out(file, std::ios::binary | std::ios::trunc);
        out << content;
    }

    /** Saves groups A, B and C twice: the alternate copy holds value 1 in each, the file 2. */
    void saveTwoGenerations()
    {
        FDefaultPool pool(path);
        for (int generation = 1; generation <= 2; ++generation)
        {
            pool.lookup("A")->setInt("value", generation);
            pool.lookup("B", 3)->setInt("value", generation);
            pool.lookup("C")->setInt("value", generation);
            pool.lookup("C")->setString("text", u"\u00E9t\u00E9");
            std::string problem;
            ASSERT_TRUE(pool.save(&problem)) << problem;
        }
    }

    static int64 valueOf(FDefaultPool& pool, const char8* group, int32 version = 1)
    {
        FDefaults* defaults = pool.lookup(group, version, false);
        return defaults ? defaults->getInt("value", int64(-1)) : -1;
    }

    fs::path folder;
    std::string path;
};

} // namespace

TEST_F(FDefaultsTest, GroupKeepsValuesInOrderAndMarksThePoolDirty)
{
    FDefaultPool pool(path);
    EXPECT_FALSE(pool.isDirty());
    FDefaults* player = pool.lookup("Player");
    ASSERT_NE(player, nullptr);
    EXPECT_TRUE(pool.isDirty());
    EXPECT_EQ(player->getName(), ConstString("Player"));
    EXPECT_EQ(player->getVersion(), 1);
    EXPECT_EQ(pool.lookup("Player"), player);

    player->setInt("Loop", 1);
    player->setString("File", u"/home/\u00FCser/take.wav");
    FUID id(0x12345678, 0x9ABCDEF0, 0x0F1E2D3C, 0x4B5A6978);
    player->setFUID("Class", id);
    EXPECT_EQ(player->countValues(), 3);
    EXPECT_STREQ(player->keyAt(0), "Loop");
    EXPECT_STREQ(player->keyAt(2), "Class");
    EXPECT_EQ(player->keyAt(3), nullptr);

    int64 loop = 0;
    EXPECT_TRUE(player->getInt("Loop", loop));
    EXPECT_EQ(loop, 1);
    EXPECT_EQ(player->getInt("Missing", int64(7)), 7);
    EXPECT_EQ(player->getInt("File", int64(7)), 7); // a text is no integer
    FUID read;
    EXPECT_TRUE(player->getFUID("Class", read));
    EXPECT_EQ(read, id);
    String text;
    EXPECT_TRUE(player->getString("Class", text));
    EXPECT_EQ(text, ConstString(id.toString().c_str()));
    EXPECT_FALSE(player->getFUID("Loop", read));

    ASSERT_TRUE(pool.save());
    EXPECT_FALSE(pool.isDirty());
    player->setInt("Loop", 1); // the same value again is no change
    player->setString("File", u"/home/\u00FCser/take.wav");
    EXPECT_FALSE(pool.isDirty());
    player->setInt("Loop", 0);
    EXPECT_TRUE(pool.isDirty());
    ASSERT_TRUE(pool.save());
    EXPECT_TRUE(player->remove("Loop"));
    EXPECT_FALSE(player->remove("Loop"));
    EXPECT_TRUE(pool.isDirty());
    ASSERT_TRUE(pool.save());
    player->clear();
    EXPECT_TRUE(pool.isDirty());
    EXPECT_EQ(player->countValues(), 0);
    EXPECT_FALSE(player->contains("File"));
}

TEST_F(FDefaultsTest, AnotherVersionCountsAsAbsent)
{
    FDefaultPool pool(path);
    pool.lookup("Rack")->setInt("value", 5);
    pool.lookup("After")->setInt("value", 6);
    EXPECT_EQ(pool.lookup("Rack", 2, false), nullptr);
    FDefaults* replaced = pool.lookup("Rack", 2);
    ASSERT_NE(replaced, nullptr);
    EXPECT_EQ(replaced->getVersion(), 2);
    EXPECT_EQ(replaced->countValues(), 0);
    EXPECT_EQ(pool.groupAt(0), replaced); // in the place of the old one
    EXPECT_EQ(pool.countGroups(), 2);
    EXPECT_EQ(pool.groupAt(2), nullptr);
    EXPECT_TRUE(pool.removeGroup("Rack"));
    EXPECT_FALSE(pool.removeGroup("Rack"));
    EXPECT_EQ(pool.countGroups(), 1);
}

TEST_F(FDefaultsTest, SaveAndLoadRoundTrip)
{
    {
        FDefaultPool pool(path);
        std::string problem;
        EXPECT_TRUE(pool.load(&problem)); // no file yet is fine
        EXPECT_TRUE(problem.empty());
        EXPECT_EQ(pool.countGroups(), 0);
        pool.lookup("Application")->setInt("First Start", 1);
        pool.lookup("Location", 2)->setString("Shared Components Path", "/usr/local/share");
        FDefaults* wide = pool.lookup("Wide \"group\" & <more>");
        wide->setString("Text", u"\u65E5\u672C\U0001F3B5");
        wide->setInt("Big", std::numeric_limits<int64>::min());
        ASSERT_TRUE(pool.save(&problem)) << problem;
        EXPECT_EQ(pool.getFilePath(), path);
    }
    const std::string content = read(path);
    EXPECT_NE(content.find("<obj class=\"FDefaults\""), std::string::npos) << content;
    EXPECT_NE(content.find("<string name=\"Group\" value=\"Location\"/>"), std::string::npos);
    EXPECT_NE(content.find("<int name=\"Version\" value=\"2\"/>"), std::string::npos);
    EXPECT_NE(content.find("<member name=\"Values\">"), std::string::npos);

    FDefaultPool pool(path);
    std::string problem;
    ASSERT_TRUE(pool.load(&problem)) << problem;
    EXPECT_FALSE(pool.isDirty());
    ASSERT_EQ(pool.countGroups(), 3);
    EXPECT_EQ(pool.groupAt(0)->getName(), ConstString("Application"));
    EXPECT_EQ(pool.groupAt(1)->getVersion(), 2);
    FDefaults* wide = pool.lookup("Wide \"group\" & <more>", 1, false);
    ASSERT_NE(wide, nullptr);
    String text;
    ASSERT_TRUE(wide->getString("Text", text));
    EXPECT_TRUE(text.isWide());
    EXPECT_EQ(text, ConstString(u"\u65E5\u672C\U0001F3B5"));
    EXPECT_EQ(wide->getInt("Big", int64(0)), std::numeric_limits<int64>::min());
    EXPECT_EQ(pool.lookup("Location", 1, false), nullptr);
}

TEST_F(FDefaultsTest, DoNotSaveWritesNothing)
{
    FDefaultPool pool(path);
    pool.setDoNotSave(true);
    EXPECT_TRUE(pool.isDoNotSave());
    pool.lookup("Player")->setInt("value", 1);
    EXPECT_TRUE(pool.save());
    EXPECT_FALSE(fs::exists(path));
    EXPECT_TRUE(pool.isDirty());
}

TEST_F(FDefaultsTest, SaveKeepsThePreviousFileAsTheAlternateCopy)
{
    saveTwoGenerations();
    FDefaultPool file(path), alternate(path);
    ASSERT_TRUE(file.load());
    EXPECT_EQ(valueOf(file, "B", 3), 2);
    fs::copy_file(file.getAlternatePath(), folder / "copy");
    FDefaultPool old((folder / "copy").string());
    ASSERT_TRUE(old.load());
    EXPECT_EQ(valueOf(old, "A"), 1);
    EXPECT_EQ(valueOf(old, "C"), 1);
}

TEST_F(FDefaultsTest, TruncatedFileKeepsCompleteGroupsAndFillsInFromTheAlternate)
{
    saveTwoGenerations();
    const std::string good = read(path);
    const std::string alternate = read(path + ".bak");
    // Where each group's root element ends in the newest file.
    std::vector<size_t> ends;
    for (size_t at = good.find("</root>"); at != std::string::npos;
         at = good.find("</root>", at + 1))
        ends.push_back(at + 7);
    ASSERT_EQ(ends.size(), 3u);

    const size_t cuts[] = {0,           1,           40,      ends[0] - 1,    ends[0],
                           ends[1] - 3, ends[1] + 2, ends[2], good.size() - 5};
    const char8* groups[] = {"A", "B", "C"};
    const int32 versions[] = {1, 3, 1};
    for (size_t cut : cuts)
    {
        write(path, good.substr(0, cut));
        FDefaultPool pool(path);
        std::string problem;
        EXPECT_FALSE(pool.load(&problem)) << cut;
        EXPECT_TRUE(pool.isDirty());
        EXPECT_EQ(problem.find('\n'), std::string::npos);
        EXPECT_EQ(problem.rfind("Defaults: ", 0), 0u) << problem;
        EXPECT_NE(problem.find(" at line "), std::string::npos) << problem;
        EXPECT_NE(problem.find("alternate copy used"), std::string::npos) << problem;

        // Every group is there: the newest value when its element was complete, otherwise the
        // value of the alternate copy.
        ASSERT_EQ(pool.countGroups(), 3) << "cut " << cut << ": " << problem;
        size_t complete = 0;
        for (size_t g = 0; g < 3; ++g)
        {
            int64 expected = cut >= ends[g] ? 2 : 1;
            complete += cut >= ends[g] ? 1 : 0;
            EXPECT_EQ(valueOf(pool, groups[g], versions[g]), expected)
                << "cut " << cut << " group " << groups[g];
        }
        EXPECT_NE(problem.find("recovered " + std::to_string(complete) + " group"),
                  std::string::npos)
            << problem;

        // The next save writes a whole file and leaves the good alternate copy alone.
        ASSERT_TRUE(pool.save());
        EXPECT_EQ(read(path + ".bak"), alternate) << cut;
        FDefaultPool reread(path);
        EXPECT_TRUE(reread.load());
        EXPECT_EQ(reread.countGroups(), 3);
        write(path, good);
    }
}

TEST_F(FDefaultsTest, GarbageEmptyAndForeignFilesFallBackToTheAlternate)
{
    saveTwoGenerations();
    const std::string alternate = read(path + ".bak");
    std::string binary;
    for (int i = 0; i < 512; ++i)
        binary.push_back(char8((i * 151 + 7) & 0xFF));
    const std::string contents[] = {
        "", "this is not XML", binary, "<?xml version=\"1.0\"?><settings/>", std::string(100, '\0'),
    };
    for (const std::string& content : contents)
    {
        write(path, content);
        FDefaultPool pool(path);
        std::string problem;
        EXPECT_FALSE(pool.load(&problem));
        EXPECT_NE(problem.find("recovered 0 groups, alternate copy used"), std::string::npos)
            << problem;
        EXPECT_EQ(valueOf(pool, "A"), 1);
        EXPECT_EQ(valueOf(pool, "B", 3), 1);
        EXPECT_EQ(valueOf(pool, "C"), 1);
        String text;
        EXPECT_TRUE(pool.lookup("C")->getString("text", text));
        EXPECT_EQ(text, ConstString(u"\u00E9t\u00E9"));
    }

    // A pool that never loaded does not push the good copy out with a damaged file either.
    FDefaultPool fresh(path);
    fresh.lookup("New")->setInt("value", 9);
    ASSERT_TRUE(fresh.save());
    EXPECT_EQ(read(path + ".bak"), alternate);
}

TEST_F(FDefaultsTest, DamagedFileWithoutAGoodAlternate)
{
    saveTwoGenerations();
    const std::string good = read(path);
    const size_t firstEnd = good.find("</root>") + 7;

    fs::remove(path + ".bak");
    write(path, good.substr(0, firstEnd + 10));
    FDefaultPool pool(path);
    std::string problem;
    EXPECT_FALSE(pool.load(&problem));
    EXPECT_NE(problem.find("recovered 1 group, no alternate copy"), std::string::npos) << problem;
    EXPECT_EQ(pool.countGroups(), 1);
    EXPECT_EQ(valueOf(pool, "A"), 2);

    // Both damaged: the complete groups of both are kept.
    write(path + ".bak", good.substr(0, good.rfind("</root>") - 1));
    write(path, "<<<");
    EXPECT_FALSE(pool.load(&problem));
    EXPECT_NE(problem.find("alternate copy damaged too"), std::string::npos) << problem;
    EXPECT_EQ(pool.countGroups(), 2);
    EXPECT_EQ(valueOf(pool, "B", 3), 2);

    // The pool stays usable and saves.
    pool.lookup("D")->setInt("value", 4);
    ASSERT_TRUE(pool.save(&problem)) << problem;
    FDefaultPool reread(path);
    ASSERT_TRUE(reread.load());
    EXPECT_EQ(reread.countGroups(), 3);
}

TEST_F(FDefaultsTest, SaveReportsWhyItFailed)
{
    fs::create_directories(folder / "config");
    write((folder / "config" / "plain").string(), "x");
    FDefaultPool pool((folder / "config" / "plain" / "Defaults").string());
    pool.lookup("A")->setInt("value", 1);
    std::string problem;
    EXPECT_FALSE(pool.save(&problem));
    EXPECT_EQ(problem.rfind("Defaults: ", 0), 0u) << problem;
    EXPECT_TRUE(pool.isDirty());
}

TEST_F(FDefaultsTest, AttributeGroupsSurviveTheFile)
{
    {
        FDefaultPool pool(path);
        FAttributes filter;
        filter.setInt("filterStates", 0x2040);
        filter.setInt("channelStates", 5);
        FAttrList* list = filter.setList("Controllers");
        list->appendInt("on", 123);
        pool.lookup("Player")->setAttributes("MIDIFilter", filter);
        EXPECT_TRUE(pool.isDirty());
        std::string problem;
        ASSERT_TRUE(pool.save(&problem)) << problem;
        // The same content again changes nothing.
        pool.lookup("Player")->setAttributes("MIDIFilter", filter);
        EXPECT_FALSE(pool.isDirty());
    }
    FDefaultPool pool(path);
    ASSERT_TRUE(pool.load());
    FDefaults* player = pool.lookup("Player", 1, false);
    ASSERT_NE(player, nullptr);
    FAttributes read;
    ASSERT_TRUE(player->getAttributes("MIDIFilter", read));
    int64 value = 0;
    ASSERT_TRUE(read.getInt("channelStates", value));
    EXPECT_EQ(value, 5);
    ASSERT_NE(read.getList("Controllers"), nullptr);
    ASSERT_TRUE(read.getList("Controllers")->getIntAt(0, value));
    EXPECT_EQ(value, 123);
    FAttributes untouched;
    untouched.setInt("keep", 1);
    EXPECT_FALSE(player->getAttributes("Missing", untouched));
    EXPECT_TRUE(untouched.contains("keep"));
}

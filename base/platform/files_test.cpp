#include "base/platform/files.h"
#include "base/platform/paths.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

using namespace Quillmark::platform;
namespace fs = std::filesystem;

TEST(PlatformPaths, PathPieces)
{
    EXPECT_EQ(joinPath("/a/b", "c.so"), "/a/b/c.so");
    EXPECT_EQ(joinPath("/a/b/", "c.so"), "/a/b/c.so");
    EXPECT_EQ(fileName("/a/b/Gain.qel3/"), "Gain.qel3");
    EXPECT_EQ(folderOf("/a/b/c.so"), "/a/b");
    EXPECT_EQ(folderOf("/c.so"), "/");
    EXPECT_EQ(folderOf("c.so"), "");
    EXPECT_EQ(baseName("/x/My.Tool.so"), "My.Tool");
    EXPECT_EQ(extensionOf("/x/My.Tool.so"), "so");
    EXPECT_EQ(extensionOf("/x/.hidden"), "");
    EXPECT_EQ(extensionOf("/x.y/plain"), "");
}

TEST(PlatformPaths, ModuleFoldersFollowTheSearchOrder)
{
    const char* saved = std::getenv("QEL3_PATH");
    std::string keep = saved ? saved : "";
    setenv("QEL3_PATH", "/first:/second::/third", 1);
    std::vector<std::string> folders = systemModuleFolders();
    ASSERT_GE(folders.size(), 6u);
    EXPECT_EQ(folders[0], "/first");
    EXPECT_EQ(folders[1], "/second");
    EXPECT_EQ(folders[2], "/third");
    EXPECT_EQ(fileName(folders[3]), ".qel3");
    EXPECT_EQ(folders[4], "/usr/local/lib/qel3");
    EXPECT_EQ(folders[5], "/usr/lib/qel3");
    if (saved)
        setenv("QEL3_PATH", keep.c_str(), 1);
    else
        unsetenv("QEL3_PATH");

    EXPECT_EQ(programModuleFolder(), executableFolder() + "/QEL3");
    EXPECT_EQ(programComponentsFolder(), executableFolder() + "/Components");
}

TEST(PlatformPaths, UserDataFolderFollowsTheEnvironment)
{
    const char* saved = std::getenv("XDG_CONFIG_HOME");
    std::string keep = saved ? saved : "";
    setenv("XDG_CONFIG_HOME", "/somewhere", 1);
    EXPECT_EQ(userDataFolder(), "/somewhere/Qel3PluginTestHost");
    setenv("XDG_CONFIG_HOME", "", 1);
    EXPECT_EQ(userDataFolder(), std::string(std::getenv("HOME")) + "/.config/Qel3PluginTestHost");
    if (saved)
        setenv("XDG_CONFIG_HOME", keep.c_str(), 1);
    else
        unsetenv("XDG_CONFIG_HOME");
}

TEST(PlatformFiles, InfoListingAndLinks)
{
    std::string pattern = temporaryFolder() + "/qel-files-XXXXXX";
    std::string root = mkdtemp(pattern.data());
    std::ofstream(root + "/file.so") << "x";
    fs::create_directory(root + "/Pack.qel3");
    fs::create_symlink(root + "/file.so", root + "/link.so");
    fs::create_symlink(root + "/none.so", root + "/dangling.so");

    FileInfo file = fileInfo(root + "/file.so");
    EXPECT_TRUE(file.exists && file.isFile && !file.isLink);
    EXPECT_EQ(file.size, 1);
    EXPECT_GT(file.modified, 0);
    EXPECT_TRUE(fileInfo(root + "/Pack.qel3").isFolder);
    FileInfo link = fileInfo(root + "/link.so");
    EXPECT_TRUE(link.isLink && link.exists && link.isFile);
    FileInfo dangling = fileInfo(root + "/dangling.so");
    EXPECT_TRUE(dangling.isLink);
    EXPECT_FALSE(dangling.exists);
    EXPECT_EQ(resolveLink(root + "/link.so"), fs::canonical(root + "/file.so").string());
    EXPECT_EQ(resolveLink(root + "/dangling.so"), "");

    std::vector<std::string> names;
    ASSERT_TRUE(listFolder(root, names));
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"Pack.qel3", "dangling.so", "file.so", "link.so"}));
    std::string error;
    EXPECT_FALSE(listFolder(root + "/missing", names, &error));
    EXPECT_FALSE(error.empty());

    EXPECT_TRUE(makeFolders(root + "/a/b/c"));
    EXPECT_TRUE(fileInfo(root + "/a/b/c").isFolder);
    fs::remove_all(root);
}

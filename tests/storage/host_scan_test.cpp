// SPDX-License-Identifier: MIT
#include <dirent.h>

#include <algorithm>
#include <set>

#include "tests/storage/storage_case.h"

namespace {

using namespace storagetest;

class HostScan : public StorageCase {
protected:
    // The entries of a directory in the order in which the host tells them.
    static std::vector<std::string> entries(const std::string& folder)
    {
        std::vector<std::string> names;
        DIR* directory = opendir(folder.c_str());
        while (const dirent* entry = readdir(directory)) { names.emplace_back(entry->d_name); }
        closedir(directory);
        return names;
    }
    // All that a scan finds, one call for each.
    std::vector<std::string> scanAll(const char* name, u8 mode = 0)
    {
        std::vector<std::string> found;
        for (scan = {0, mode}; FileIncrementSearch(name, &scan, out) == 0; ++scan.index) {
            found.emplace_back(out);
        }
        return found;
    }
    static size_t numberOf(const std::vector<std::string>& names, const std::string& name)
    {
        return static_cast<size_t>(std::find(names.begin(), names.end(), name) - names.begin());
    }

    FileScanState scan = {};
    char out[BXD_PATH_SIZE] = "untouched";
};

}  // namespace

TEST_F(HostScan, AStarFindsEveryEntryTheDirectoryAndItsParentToo)
{
    for (const char* name : {"F0:A.BOX", "F0:B.IDX", "F0:.hidden"}) { home.write(name, "x"); }
    std::vector<std::string> all = entries(home.folder());
    for (std::string& name : all) { name = home.folder() + "/" + name; }
    ASSERT_EQ(all.size(), 5u);
    EXPECT_EQ(scanAll("F0:*.*"), all);
    EXPECT_EQ(scanAll("F1:*"), all);
    EXPECT_EQ(scanAll("F0:*NOT.LOOKED.AT"), all);
    EXPECT_EQ(scanAll("F0:*.*", 0x80), all);
    EXPECT_EQ(std::count(all.begin(), all.end(), home.folder() + "/."), 1);
    EXPECT_EQ(std::count(all.begin(), all.end(), home.folder() + "/.."), 1);
}

TEST_F(HostScan, ANameThatEndsInASlashScansTheWholeDirectory)
{
    home.write("F0:A.BOX", "x");
    ASSERT_EQ(mkdir(home.path("F0:sub").c_str(), 0755), 0);
    home.write("F0:sub/inside", "x");
    EXPECT_EQ(scanAll("F0:").size(), 4u);
    std::vector<std::string> below = scanAll("F0:sub/");
    std::sort(below.begin(), below.end());
    EXPECT_EQ(below, (std::vector<std::string>{home.folder() + "/sub/.", home.folder() + "/sub/..",
                                               home.folder() + "/sub/inside"}));
    EXPECT_EQ(scanAll((home.folder() + "/").c_str()).size(), 4u);
}

TEST_F(HostScan, ANameFindsTheEntryOfExactlyThisName)
{
    for (const char* name : {"F0:A.BOX", "F0:AA.BOX", "F0:a.box"}) { home.write(name, "x"); }
    EXPECT_EQ(scanAll("F0:A.BOX"), std::vector<std::string>{home.path("F0:A.BOX")});
    EXPECT_EQ(scanAll("F0:A.*"), std::vector<std::string>{});
    EXPECT_EQ(scanAll("F0:?.BOX"), std::vector<std::string>{});
}

TEST_F(HostScan, AMatchStoresTheNumberOfTheEntry)
{
    for (const char* name : {"F0:A.BOX", "F0:B.BOX", "F0:C.BOX"}) { home.write(name, "x"); }
    const std::vector<std::string> all = entries(home.folder());
    for (const char* name : {"A.BOX", "B.BOX", "C.BOX"}) {
        scan = {0, 0};
        EXPECT_EQ(FileIncrementSearch((std::string("F0:") + name).c_str(), &scan, out), 0);
        EXPECT_EQ(scan.index, numberOf(all, name));
        EXPECT_EQ(FileIncrementSearch((std::string("F0:") + name).c_str(), &scan, out), 0)
            << "it is found again";
        ++scan.index;
        EXPECT_EQ(FileIncrementSearch((std::string("F0:") + name).c_str(), &scan, out), BXD_HOST_NOTFOUND);
    }
}

TEST_F(HostScan, TheEndOfTheDirectoryChangesNothing)
{
    scan = {2, 0};
    EXPECT_EQ(FileIncrementSearch("F0:*", &scan, out), BXD_HOST_NOTFOUND);
    scan = {60000, 0};
    EXPECT_EQ(FileIncrementSearch("F0:*", &scan, out), BXD_HOST_NOTFOUND);
    EXPECT_EQ(scan.index, 60000);
    EXPECT_STREQ(out, "untouched");
}

TEST_F(HostScan, BackwardGivesTheBareNameFromTheNumberDown)
{
    for (const char* name : {"F0:A.BOX", "F0:B.BOX", "F0:C.BOX"}) { home.write(name, "x"); }
    const std::vector<std::string> all = entries(home.folder());
    for (u8 mode : {u8{1}, u8{0x81}}) {
        scan = {static_cast<u16>(all.size() - 1), mode};
        EXPECT_EQ(FileIncrementSearch("F0:B.BOX", &scan, out), 0);
        EXPECT_STREQ(out, "B.BOX");
        EXPECT_EQ(scan.index, numberOf(all, "B.BOX"));
    }
}

TEST_F(HostScan, BackwardEndsAtTheFirstEntry)
{
    home.write("F0:A.BOX", "x");
    const std::vector<std::string> all = entries(home.folder());
    scan = {2, 1};
    EXPECT_EQ(FileIncrementSearch("F0:NONE", &scan, out), BXD_HOST_NOTFOUND);
    EXPECT_EQ(scan.index, 2);
    EXPECT_STREQ(out, "untouched");
    for (u16 from : {u16{0}, u16{1}, u16{2}}) {
        scan = {from, 1};
        EXPECT_EQ(FileIncrementSearch(("F0:" + all[0]).c_str(), &scan, out), 0) << from;
        EXPECT_EQ(out, all[0]);
        EXPECT_EQ(scan.index, 0);
    }
}

TEST_F(HostScan, BackwardKnowsNoStar)
{
    scan = {1, 1};
    EXPECT_EQ(FileIncrementSearch("F0:*", &scan, out), BXD_HOST_NOTFOUND);
}

TEST_F(HostScan, BackwardBehindTheEndFindsNothing)
{
    home.write("F0:A.BOX", "x");
    scan = {3, 1};
    EXPECT_EQ(FileIncrementSearch("F0:A.BOX", &scan, out), BXD_HOST_NOTFOUND);
}

TEST_F(HostScan, OtherModesFindNothing)
{
    for (u8 mode : {u8{2}, u8{3}, u8{0x7F}, u8{0x82}, u8{0xFF}}) {
        scan = {0, mode};
        EXPECT_EQ(FileIncrementSearch("F0:*", &scan, out), BXD_HOST_NOTFOUND) << unsigned{mode};
    }
}

TEST_F(HostScan, ADirectoryThatIsNotThereIsToldOnStandardError)
{
    i32 result = 0;
    EXPECT_EQ(Told([&] { result = FileIncrementSearch("F0:none/*", &scan, out); }),
              "opendir: No such file or directory\n");
    EXPECT_EQ(result, BXD_HOST_NODIR);
    home.write("F0:A.BOX", "x");
    EXPECT_EQ(Told([&] { result = FileIncrementSearch("F0:A.BOX/*", &scan, out); }),
              "opendir: Not a directory\n");
    EXPECT_EQ(result, BXD_HOST_NODIR);
}

TEST_F(HostScan, ANameWithoutASlashLooksIntoHomeAsItIs)
{
    home.write("top.box", "x");
    scan = {};
    EXPECT_EQ(FileIncrementSearch("top.box", &scan, out), 0);
    EXPECT_EQ(out, home.home() + "top.box");
    setenv("HOME", (home.home() + "/").c_str(), 1);
    scan = {};
    EXPECT_EQ(FileIncrementSearch("top.box", &scan, out), 0);
    EXPECT_EQ(out, home.path("top.box"));
    scan = {};
    EXPECT_EQ(FileIncrementSearch("/tmp", &scan, out), BXD_HOST_NOTFOUND)
        << "a slash in the first place belongs to the pattern";
}

TEST_F(HostScan, EntriesWhosePathDoesNotFitArePassedOver)
{
    const std::string folder = home.home() + "/" + std::string(240 - home.home().size() - 1, 'd');
    ASSERT_EQ(mkdir(folder.c_str(), 0755), 0);
    const std::string fits(14, 'f');
    const std::string over(15, 'o');
    for (const std::string& name : {fits, over}) { home.write(folder + "/" + name, "x"); }
    std::set<std::string> found;
    for (const std::string& path : scanAll((folder + "/").c_str())) { found.insert(path); }
    EXPECT_EQ(found, (std::set<std::string>{folder + "/.", folder + "/..", folder + "/" + fits}));
    EXPECT_EQ((folder + "/" + fits).size(), 255u);
}

TEST_F(HostScan, AStringOfAnyFormDoesNoHarm)
{
    for (const char* name : {"", "/", "//", ":", ":/", "F0:/", "F0://", "*", "F0:*/*"}) {
        for (u8 mode : {u8{0}, u8{1}}) {
            (void)Told([&] { scanAll(name, mode); });
        }
    }
}

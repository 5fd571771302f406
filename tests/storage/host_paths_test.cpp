// SPDX-License-Identifier: MIT
#include "tests/storage/storage_case.h"

namespace {

using namespace storagetest;

class HostPaths : public StorageCase {
protected:
    // Makes HOME a directory whose path has `length` characters, below the scratch home.
    void setLongHome(size_t length)
    {
        longHome = home.home();
        while (longHome.size() < length) {
            const size_t left = length - longHome.size() - 1;
            const size_t part = left > 100 ? 99 : left;
            longHome += "/" + std::string(part, 'd');
        }
        ASSERT_EQ(longHome.size(), length);
        std::filesystem::create_directories(longHome + "/Applications");
        setenv("HOME", longHome.c_str(), 1);
    }

    char out[BXD_PATH_SIZE] = "unset";
    std::string longHome;
};

constexpr size_t kFolderLength = sizeof "/Applications/bxd/" - 1;

}  // namespace

TEST_F(HostPaths, ADriveNameStandsForTheFolderInHome)
{
    EXPECT_EQ(ConvPath(out, "F0:A.BOX"), out);
    EXPECT_EQ(out, home.home() + "/Applications/bxd/A.BOX");
}

TEST_F(HostPaths, BothDrivesAndAnyOtherAreOneFolder)
{
    for (const char* name : {"F1:A.BOX", "Z:A.BOX", ":A.BOX", "a/long/drive:A.BOX"}) {
        ConvPath(out, name);
        EXPECT_EQ(out, home.home() + "/Applications/bxd/A.BOX") << name;
    }
}

TEST_F(HostPaths, TheFirstColonEndsTheDriveName)
{
    ConvPath(out, "F0:sub/a:b");
    EXPECT_EQ(out, home.home() + "/Applications/bxd/sub/a:b");
    ConvPath(out, "F0:");
    EXPECT_EQ(out, home.home() + "/Applications/bxd/");
}

TEST_F(HostPaths, ANameWithoutAColonIsItsOwnPath)
{
    ConvPath(out, "dir/A.BOX");
    EXPECT_STREQ(out, "dir/A.BOX");
    ConvPath(out, "");
    EXPECT_STREQ(out, "");
}

TEST_F(HostPaths, TheApplicationsPathIsTheSame)
{
    EXPECT_EQ(FileGetRealPath(out, "F1:A.BOX"), out);
    EXPECT_EQ(out, home.home() + "/Applications/bxd/A.BOX");
}

TEST_F(HostPaths, HomeIsReadAnewForEveryName)
{
    setenv("HOME", "/somewhere", 1);
    ConvPath(out, "F0:A.BOX");
    EXPECT_STREQ(out, "/somewhere/Applications/bxd/A.BOX");
    setenv("HOME", "", 1);
    ConvPath(out, "F0:A.BOX");
    EXPECT_STREQ(out, "/Applications/bxd/A.BOX");
}

TEST_F(HostPaths, WithoutHomeADriveNameHasNoPathAndAPlainOneHas)
{
    unsetenv("HOME");
    ConvPath(out, "F0:A.BOX");
    EXPECT_STREQ(out, "");
    ConvPath(out, "dir/A.BOX");
    EXPECT_STREQ(out, "dir/A.BOX");
    GetBuiltinStorageBxdPath(out);
    EXPECT_STREQ(out, "");
}

TEST_F(HostPaths, WithoutHomeDriveNamesAreRefusedInEachCallsOwnWay)
{
    unsetenv("HOME");
    EXPECT_EQ(FileOpen("F0:A.BOX", 3), -1);
    EXPECT_EQ(FileCreate("F0:A.BOX", 0), -1);
    EXPECT_EQ(FileDelete("F0:A.BOX"), -1);
    EXPECT_EQ(FileSearch("F0:A.BOX"), BXD_HOST_NOTFOUND);
    EXPECT_EQ(FileMakeDir("F0:sub"), BXD_HOST_DIRFAIL);
    EXPECT_EQ(FileRemoveDir("F0:sub"), BXD_HOST_NODIR);
    EXPECT_EQ(BxdFileOpen("F0:A.BOX", BXD_MODE_WRITE), -3);
    EXPECT_EQ(BxdFileCreate("F0:A.BOX", 0), -1);
    EXPECT_EQ(BxdFileSearch("F0:A.BOX", 0, 0), 64u);
    EXPECT_EQ(BxdFileDelete("F0:A.BOX"), 71u);
    FileScanState scan = {};
    i32 result = 0;
    const std::string told = Told([&] { result = FileIncrementSearch("F0:*", &scan, out); });
    EXPECT_EQ(result, BXD_HOST_NODIR);
    EXPECT_EQ(told, "opendir: No such file or directory\n");
}

TEST_F(HostPaths, WithoutHomeAPlainNameStillMakesAFile)
{
    const std::string path = home.path("plain.box");
    unsetenv("HOME");
    const i32 h = FileCreate(path.c_str(), 0);
    ASSERT_EQ(h, 1);
    EXPECT_EQ(FileClose(1), 0);
    EXPECT_TRUE(home.exists("plain.box"));
}

TEST_F(HostPaths, APlainPathMayHave255Characters)
{
    const std::string fits = pathOfLength(255);
    const std::string over = pathOfLength(256);
    EXPECT_STREQ(ConvPath(out, fits.c_str()), fits.c_str());
    EXPECT_STREQ(ConvPath(out, over.c_str()), "");
}

TEST_F(HostPaths, AMappedPathMayHave255Characters)
{
    const size_t room = 255 - home.home().size() - kFolderLength;
    const std::string fits = "F0:" + std::string(room, 'n');
    EXPECT_EQ(strlen(ConvPath(out, fits.c_str())), 255u);
    EXPECT_STREQ(ConvPath(out, (fits + "n").c_str()), "");
}

TEST_F(HostPaths, ALongHomeLeavesAsMuchRoomAsThereIs)
{
    setLongHome(255 - kFolderLength - 5);
    const i32 fid = BxdFileCreate("F0:A.BOX", 0);
    ASSERT_EQ(fid, 0);
    EXPECT_EQ(BxdFileClose(0), 0u);
    EXPECT_EQ(BxdFileSearch("F0:A.BOX", 0, 0), 0u);
    EXPECT_EQ(BxdFileCreate("F0:AB.BOX", 0), -1);
    EXPECT_EQ(BxdFileOpen("F0:AB.BOX", BXD_MODE_WRITE), -3);
}

TEST_F(HostPaths, AHomeOfAnyLengthOverflowsNothing)
{
    for (size_t length : {237u, 238u, 239u, 254u, 255u, 256u, 4000u}) {
        setenv("HOME", std::string(length, '/').c_str(), 1);
        ConvPath(out, "F0:A.BOX");
        EXPECT_STREQ(out, "") << length;
        EXPECT_EQ(FileCreate("F0:A.BOX", 0), -1) << length;
        GetBuiltinStorageBxdPath(out);
        EXPECT_EQ(strlen(out), length + kFolderLength - 1 <= 255 ? length + kFolderLength - 1 : 0u) << length;
    }
}

TEST_F(HostPaths, ANameOfAnyLengthOverflowsNothing)
{
    for (size_t length : {256u, 257u, 1000u, 100000u}) {
        const std::string name = "F0:" + std::string(length - 3, 'n');
        EXPECT_EQ(FileOpen(name.c_str(), 3), -1);
        EXPECT_EQ(FileOpenUseCache(name.c_str(), 3), -1);
        EXPECT_EQ(FileCreate(name.c_str(), 0), -1);
        EXPECT_EQ(FileDelete(name.c_str()), -1);
        EXPECT_EQ(FileSearch(name.c_str()), BXD_HOST_NOTFOUND);
        EXPECT_EQ(FileMakeDir(name.c_str()), BXD_HOST_DIRFAIL);
        EXPECT_EQ(FileRemoveDir(name.c_str()), BXD_HOST_NODIR);
        FileScanState scan = {};
        EXPECT_EQ(FileIncrementSearch(name.c_str(), &scan, out), BXD_HOST_NOTFOUND);
        EXPECT_EQ(GetNewFileHandle(), 1);
    }
}

TEST_F(HostPaths, TheStorageFoldersAreHandedOut)
{
    EXPECT_EQ(GetBuiltinStorageBxdPath(out), out);
    EXPECT_EQ(out, home.home() + "/Applications/bxd");
    memset(out, '#', sizeof out);
    EXPECT_EQ(GetExternalStorageBxdPath(out), out);
    EXPECT_STREQ(out, "/QtPalmtop/bxd");
    EXPECT_EQ(out[15], '#');
}

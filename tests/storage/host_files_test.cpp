// SPDX-License-Identifier: MIT
#include "tests/storage/storage_case.h"

namespace {

using namespace storagetest;

class HostFiles : public StorageCase {
protected:
    u8 buf[64] = {};
    u32 len = 0;
};

}  // namespace

// --- handles --------------------------------------------------------------------------------------------

TEST_F(HostFiles, TheEleventhOpenAndCreateFailAndTheLowestFreeRowIsTakenNext)
{
    home.write("F0:A.BOX", "abc");
    for (i32 h = 1; h <= 10; ++h) { EXPECT_EQ(FileOpen("F0:A.BOX", 1), h); }
    EXPECT_EQ(GetNewFileHandle(), 0);
    EXPECT_EQ(FileOpen("F0:A.BOX", 1), -1);
    EXPECT_EQ(FileCreate("F0:B.BOX", 0), -1);
    EXPECT_FALSE(home.exists("F0:B.BOX"));

    EXPECT_EQ(FileClose(7), 0);
    EXPECT_EQ(FileClose(3), 0);
    EXPECT_EQ(FileOpen("F0:A.BOX", 1), 3);
    EXPECT_EQ(FileCreate("F0:B.BOX", 0), 7);
    EXPECT_EQ(FileOpen("F0:A.BOX", 1), -1);
    for (u8 h = 1; h <= 10; ++h) { EXPECT_EQ(FileClose(h), 0); }
}

TEST_F(HostFiles, AModeWithoutReadAndWriteIsRefusedAndLeavesTheRowFree)
{
    home.write("F0:A.BOX", "abc");
    for (u8 mode : {u8{0}, u8{4}, u8{64}, u8{0xFC}}) { EXPECT_EQ(FileOpen("F0:A.BOX", mode), -1); }
    EXPECT_EQ(GetNewFileHandle(), 1);
}

TEST_F(HostFiles, OnlyTheLowTwoBitsOfTheModeCount)
{
    home.write("F0:A.BOX", "abc");
    const u8 reader = mustOpenHost("F0:A.BOX", 65);
    const u8 writer = mustOpenHost("F0:A.BOX", 66);
    len = 1;
    EXPECT_EQ(FileOfsWrite(reader, 0, "X", &len), -1);
    EXPECT_EQ(FileOfsWrite(writer, 0, "X", &len), 0);
    EXPECT_EQ(FileOfsRead(writer, 0, buf, &len), 0);
    EXPECT_EQ(home.readText("F0:A.BOX"), "Xbc");
    FileClose(reader);
    FileClose(writer);
}

TEST_F(HostFiles, AFileThatIsNotThereIsNotOpened)
{
    EXPECT_EQ(FileOpen("F0:NONE.BOX", 1), -1);
    EXPECT_EQ(FileOpen("F0:NONE.BOX", 3), -1);
    EXPECT_FALSE(home.exists("F0:NONE.BOX"));
}

TEST_F(HostFiles, HandlesThatAreNotOpenAreRefused)
{
    for (u8 h : {u8{0}, u8{1}, u8{10}, u8{11}, u8{12}, u8{255}}) {
        len = 4;
        EXPECT_EQ(FileClose(h), -1);
        EXPECT_EQ(FileInfoRead(h, 0, buf), -1);
        EXPECT_EQ(FileInfoRead(h, 1, buf), -1);
        EXPECT_EQ(FileLockForWrite(h), -1);
        EXPECT_EQ(FileOfsRead(h, 0, buf, &len), -1);
        EXPECT_EQ(FileOfsWrite(h, 0, buf, &len), -1);
        EXPECT_EQ(FileBlockRead(h, 0, buf, &len), -1);
        EXPECT_EQ(FileBlockWrite(h, buf, &len), -1);
        EXPECT_EQ(FileByteRead(h, 0, buf), -1);
        EXPECT_EQ(FileByteWrite(h, 1), -1);
        EXPECT_EQ(FileNdRead(h, 0, buf), -1);
        EXPECT_EQ(FileHdlToFile(h), nullptr);
        EXPECT_EQ(len, 4u);
    }
}

TEST_F(HostFiles, ARowHoldsItsStreamAndPath)
{
    home.write("F0:A.BOX", "abc");
    const u8 h = mustOpenHost("F0:A.BOX");
    EXPECT_EQ(FileHdlToFile(h), fileHandleTbl[h - 1].stream);
    EXPECT_EQ(FileHdlToFName(h), home.path("F0:A.BOX"));
    EXPECT_EQ(FileClose(h), 0);
    EXPECT_EQ(FileHdlToFile(h), nullptr);
}

TEST_F(HostFiles, NamesOfRowsThatAreNoneAreNull)
{
    EXPECT_EQ(FileHdlToFName(0), nullptr);
    EXPECT_EQ(FileHdlToFName(11), nullptr);
    EXPECT_EQ(FileHdlToFName(255), nullptr);
}

TEST_F(HostFiles, RowsAreFilledAndClearedByHand)
{
    LockFileHandle(0, stdin, "none");
    LockFileHandle(11, stdin, "none");
    ReleaseFileHandle(0);
    ReleaseFileHandle(11);
    EXPECT_EQ(GetNewFileHandle(), 1);

    const std::string longPath(300, 'p');
    LockFileHandle(1, stdin, longPath.c_str());
    EXPECT_EQ(FileHdlToFile(1), stdin);
    EXPECT_EQ(FileHdlToFName(1), longPath.substr(0, 255));
    EXPECT_EQ(GetNewFileHandle(), 2);
    ReleaseFileHandle(1);
    EXPECT_EQ(GetNewFileHandle(), 1);
}

// --- create, delete, search -----------------------------------------------------------------------------

TEST_F(HostFiles, CreateMakesTheFolderFirst)
{
    ASSERT_EQ(rmdir(home.folder().c_str()), 0);
    EXPECT_EQ(FileCreate("F0:A.BOX", 0), 1);
    EXPECT_EQ(FileClose(1), 0);
    struct stat info = {};
    ASSERT_EQ(stat(home.folder().c_str(), &info), 0);
    EXPECT_TRUE(S_ISDIR(info.st_mode));
    EXPECT_TRUE(home.exists("F0:A.BOX"));
}

TEST_F(HostFiles, CreateMakesTheFolderAlsoForAPlainName)
{
    ASSERT_EQ(rmdir(home.folder().c_str()), 0);
    EXPECT_EQ(FileCreate(home.path("plain.box").c_str(), 0), 1);
    EXPECT_EQ(FileClose(1), 0);
    EXPECT_TRUE(home.exists("Applications/bxd"));
}

TEST_F(HostFiles, CreateMakesTheFolderEvenWhenNoRowIsFree)
{
    home.write("a.box", "");
    ASSERT_EQ(rmdir(home.folder().c_str()), 0);
    for (i32 h = 1; h <= 10; ++h) { EXPECT_EQ(FileOpen(home.path("a.box").c_str(), 1), h); }
    EXPECT_EQ(FileCreate("F0:B.BOX", 0), -1);
    EXPECT_TRUE(home.exists("Applications/bxd"));
    for (u8 h = 1; h <= 10; ++h) { EXPECT_EQ(FileClose(h), 0); }
}

TEST_F(HostFiles, CreateMakesNoMoreThanOneFolder)
{
    ASSERT_EQ(rmdir(home.folder().c_str()), 0);
    ASSERT_EQ(rmdir(home.path("Applications").c_str()), 0);
    EXPECT_EQ(FileCreate("F0:A.BOX", 0), -1);
    EXPECT_EQ(GetNewFileHandle(), 1);
}

TEST_F(HostFiles, CreateEmptiesAFileAndItsHandleOnlyWrites)
{
    home.write("F0:A.BOX", "former contents");
    EXPECT_EQ(FileCreate("F0:A.BOX", 0xFF), 1);
    EXPECT_EQ(home.readText("F0:A.BOX"), "");
    len = 3;
    EXPECT_EQ(FileOfsWrite(1, 0, "new", &len), 0);
    EXPECT_EQ(FileOfsRead(1, 0, buf, &len), -1);
    EXPECT_EQ(FileClose(1), 0);
    EXPECT_EQ(home.readText("F0:A.BOX"), "new");
}

TEST_F(HostFiles, RootForATimeGivesFolderAndFileToItsUser)
{
    if (geteuid() != 0) { GTEST_SKIP() << "only root can act for another user"; }
    ASSERT_EQ(rmdir(home.folder().c_str()), 0);
    ASSERT_EQ(setregid(kNobody, 0), 0);
    ASSERT_EQ(setreuid(kNobody, 0), 0);
    const i32 h = FileCreate("F0:A.BOX", 0);
    EXPECT_EQ(setreuid(0, 0), 0);
    EXPECT_EQ(setregid(0, 0), 0);
    ASSERT_EQ(h, 1);
    EXPECT_EQ(FileClose(1), 0);
    for (const std::string& path : {home.folder(), home.path("F0:A.BOX")}) {
        struct stat info = {};
        ASSERT_EQ(stat(path.c_str(), &info), 0);
        EXPECT_EQ(info.st_uid, kNobody) << path;
        EXPECT_EQ(info.st_gid, kNobody) << path;
    }
}

TEST_F(HostFiles, DeleteAndSearchGoByTheMappedName)
{
    home.write("F0:A.BOX", "abc");
    EXPECT_EQ(FileSearch("F1:A.BOX"), 0);
    EXPECT_EQ(FileDelete("F1:A.BOX"), 0);
    EXPECT_EQ(FileSearch("F0:A.BOX"), BXD_HOST_NOTFOUND);
    EXPECT_EQ(FileDelete("F0:A.BOX"), -1);
}

TEST_F(HostFiles, DirectoriesAreMadeAndRemoved)
{
    EXPECT_EQ(FileMakeDir("F0:sub"), 0);
    struct stat info = {};
    ASSERT_EQ(stat(home.path("F0:sub").c_str(), &info), 0);
    const mode_t mask = umask(0);
    umask(mask);
    EXPECT_EQ(info.st_mode & 0777, 0755u & ~mask);
    EXPECT_EQ(FileMakeDir("F0:sub"), BXD_HOST_DIRFAIL);
    home.write("F0:sub/inside", "x");
    EXPECT_EQ(FileRemoveDir("F0:sub"), BXD_HOST_DIRFAIL);
    EXPECT_EQ(FileDelete("F0:sub/inside"), 0);
    EXPECT_EQ(FileRemoveDir("F0:sub"), 0);
    EXPECT_EQ(FileRemoveDir("F0:sub"), BXD_HOST_NODIR);
}

TEST_F(HostFiles, RenameNeverHappens) { EXPECT_EQ(FileRename(), -1); }

TEST_F(HostFiles, TheDefaultOfTheFlashDeviceIsNothing) { EXPECT_EQ(FlashDevDefaultFree(), 0); }

// --- positioned transfer --------------------------------------------------------------------------------

TEST_F(HostFiles, ReadsAtAPosition)
{
    home.write("F0:A.BOX", "0123456789");
    const u8 h = mustOpenHost("F0:A.BOX");
    len = 4;
    EXPECT_EQ(FileOfsRead(h, 3, buf, &len), 0);
    EXPECT_EQ(std::string(buf, buf + 4), "3456");
    EXPECT_EQ(len, 4u);
    FileClose(h);
}

TEST_F(HostFiles, AReadOverTheEndIsShortAndOneBehindItFails)
{
    home.write("F0:A.BOX", "0123456789");
    const u8 h = mustOpenHost("F0:A.BOX");
    len = 20;
    EXPECT_EQ(FileOfsRead(h, 8, buf, &len), 0);
    EXPECT_EQ(len, 2u);
    len = 20;
    EXPECT_EQ(FileOfsRead(h, 10, buf, &len), -1);
    EXPECT_EQ(len, 20u);
    EXPECT_EQ(FileOfsRead(h, 1000, buf, &len), -1);
    EXPECT_EQ(len, 20u);
    len = 2;
    EXPECT_EQ(FileOfsRead(h, 0, buf, &len), 0) << "a read behind the end spoils nothing";
    FileClose(h);
}

TEST_F(HostFiles, ReadingNothingSucceedsAnywhere)
{
    home.write("F0:A.BOX", "0123456789");
    const u8 h = mustOpenHost("F0:A.BOX");
    for (i32 offset : {0, 5, 10, 1000000}) {
        len = 0;
        EXPECT_EQ(FileOfsRead(h, offset, buf, &len), 0);
        EXPECT_EQ(len, 0u);
    }
    FileClose(h);
}

TEST_F(HostFiles, AFailedSeekOfAReadIsTriedOnceMoreAndTold)
{
    home.write("F0:A.BOX", "0123456789");
    const u8 h = mustOpenHost("F0:A.BOX");
    len = 1;
    i32 result = 0;
    const std::string told = Told([&] { result = FileOfsRead(h, -5, buf, &len); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(len, 1u);
    EXPECT_EQ(told, "FileOfsRead: fseek Error -1 22 -5\nFileOfsRead: fseek again -1 22 -5 0\n");
    FileClose(h);
}

TEST_F(HostFiles, AFailedSeekOfAWriteFailsInSilence)
{
    home.write("F0:A.BOX", "0123456789");
    const u8 h = mustOpenHost("F0:A.BOX");
    i32 result = 0;
    for (u32 count : {0u, 1u}) {
        len = count;
        EXPECT_EQ(Told([&] { result = FileOfsWrite(h, -5, buf, &len); }), "");
        EXPECT_EQ(result, -1);
        EXPECT_EQ(len, count);
    }
    EXPECT_EQ(home.readText("F0:A.BOX"), "0123456789");
    FileClose(h);
}

TEST_F(HostFiles, WritesAtAPositionAndBehindTheEnd)
{
    home.write("F0:A.BOX", "0123456789");
    const u8 h = mustOpenHost("F0:A.BOX");
    len = 3;
    EXPECT_EQ(FileOfsWrite(h, 4, "abc", &len), 0);
    EXPECT_EQ(FileOfsWrite(h, 12, "xyz", &len), 0);
    EXPECT_EQ(home.readText("F0:A.BOX"), std::string("0123abc789\0\0xyz", 15));
    FileClose(h);
}

TEST_F(HostFiles, WritingNothingSetsTheSize)
{
    home.write("F0:A.BOX", "0123456789");
    const u8 h = mustOpenHost("F0:A.BOX");
    len = 0;
    EXPECT_EQ(FileOfsWrite(h, 4, nullptr, &len), 0);
    EXPECT_EQ(home.readText("F0:A.BOX"), "0123");
    EXPECT_EQ(FileOfsWrite(h, 6, nullptr, &len), 0);
    EXPECT_EQ(home.readText("F0:A.BOX"), std::string("0123\0\0", 6));
    EXPECT_EQ(FileOfsWrite(h, 0, nullptr, &len), 0);
    EXPECT_EQ(home.readText("F0:A.BOX"), "");
    FileClose(h);
}

TEST_F(HostFiles, AReaderCannotSetTheSize)
{
    home.write("F0:A.BOX", "0123456789");
    const u8 h = mustOpenHost("F0:A.BOX", 1);
    len = 0;
    EXPECT_EQ(FileOfsWrite(h, 4, nullptr, &len), -1);
    EXPECT_EQ(home.readText("F0:A.BOX"), "0123456789");
    FileClose(h);
}

TEST_F(HostFiles, APartialWriteFailsAndTellsItsCount)
{
    home.write("F0:A.BOX", "");
    const u8 h = mustOpenHost("F0:A.BOX");
    const std::string data = Pattern(1000);
    {
        const FileSizeLimit limit(600);
        len = 1000;
        EXPECT_EQ(FileOfsWrite(h, 0, data.data(), &len), -1);
        EXPECT_EQ(len, 600u);
        len = 10;
        EXPECT_EQ(FileOfsWrite(h, 600, data.data(), &len), -1);
        EXPECT_EQ(len, 10u) << "nothing was written";
    }
    EXPECT_EQ(home.readText("F0:A.BOX"), data.substr(0, 600));
    FileClose(h);
}

TEST_F(HostFiles, AFullDeviceTakesNothing)
{
    std::filesystem::create_symlink("/dev/full", home.path("F0:FULL.BOX"));
    const u8 h = mustOpenHost("F0:FULL.BOX");
    len = 10;
    EXPECT_EQ(FileOfsWrite(h, 0, "0123456789", &len), -1);
    EXPECT_EQ(len, 10u);
    EXPECT_EQ(FileByteWrite(h, 1), -1);
    FileClose(h);
}

// --- transfer at the present position -------------------------------------------------------------------

TEST_F(HostFiles, BlocksFollowEachOther)
{
    home.write("F0:A.BOX", "0123456789");
    const u8 h = mustOpenHost("F0:A.BOX");
    len = 4;
    EXPECT_EQ(FileBlockRead(h, 0, buf, &len), 0);
    EXPECT_EQ(std::string(buf, buf + 4), "0123");
    EXPECT_EQ(FileBlockRead(h, 0, buf, &len), 0);
    EXPECT_EQ(std::string(buf, buf + 4), "4567");
    EXPECT_EQ(FileBlockRead(h, 0, buf, &len), 0);
    EXPECT_EQ(len, 2u);
    EXPECT_EQ(std::string(buf, buf + 2), "89");
    EXPECT_EQ(FileBlockRead(h, 0, buf, &len), -1);
    EXPECT_EQ(len, 2u);
    FileClose(h);
}

TEST_F(HostFiles, BlocksAreWrittenBehindEachOther)
{
    EXPECT_EQ(FileCreate("F0:A.BOX", 0), 1);
    len = 3;
    EXPECT_EQ(FileBlockWrite(1, "abc", &len), 0);
    EXPECT_EQ(FileByteWrite(1, 'd'), 0);
    EXPECT_EQ(home.readText("F0:A.BOX"), "abcd");
    FileClose(1);
}

TEST_F(HostFiles, APartialBlockWriteSucceedsWithItsCount)
{
    EXPECT_EQ(FileCreate("F0:A.BOX", 0), 1);
    const std::string data = Pattern(1000);
    {
        const FileSizeLimit limit(600);
        len = 1000;
        EXPECT_EQ(FileBlockWrite(1, data.data(), &len), 0);
        EXPECT_EQ(len, 600u);
        EXPECT_EQ(FileBlockWrite(1, data.data(), &len), -1);
        EXPECT_EQ(len, 600u);
        EXPECT_EQ(FileByteWrite(1, 0), -1);
    }
    FileClose(1);
}

TEST_F(HostFiles, ABlockOfNoBytesMovesNothing)
{
    home.write("F0:A.BOX", "0123");
    const u8 h = mustOpenHost("F0:A.BOX");
    len = 0;
    EXPECT_EQ(FileBlockRead(h, 0, buf, &len), -1);
    EXPECT_EQ(FileBlockWrite(h, buf, &len), -1);
    EXPECT_EQ(home.readText("F0:A.BOX"), "0123");
    FileClose(h);
}

TEST_F(HostFiles, BytesAreReadAndLookedAt)
{
    home.write("F0:A.BOX", "ab");
    const u8 h = mustOpenHost("F0:A.BOX");
    EXPECT_EQ(FileNdRead(h, 0, buf), 0);
    EXPECT_EQ(buf[0], 'a');
    u32 words[2] = {};
    EXPECT_EQ(FileInfoRead(h, 0, words), 0);
    EXPECT_EQ(words[1], 0u) << "the position stays";
    EXPECT_EQ(FileByteRead(h, 0, buf), 0);
    EXPECT_EQ(buf[0], 'a');
    EXPECT_EQ(FileByteRead(h, 0, buf), 0);
    EXPECT_EQ(buf[0], 'b');
    EXPECT_EQ(FileNdRead(h, 0, buf), -1);
    EXPECT_EQ(FileByteRead(h, 0, buf), -1);
    FileClose(h);
}

TEST_F(HostFiles, ALookAtAByteDoesNotOutliveTheNextPositionedRead)
{
    home.write("F0:A.BOX", "ab");
    const u8 h = mustOpenHost("F0:A.BOX");
    EXPECT_EQ(FileNdRead(h, 0, buf), 0);
    home.write("F0:A.BOX", "xy");
    len = 1;
    EXPECT_EQ(FileOfsRead(h, 0, buf, &len), 0);
    EXPECT_EQ(buf[0], 'x');
    FileClose(h);
}

// --- facts ----------------------------------------------------------------------------------------------

TEST_F(HostFiles, InfoTellsSizeAndPositionOrPath)
{
    home.write("F0:A.BOX", "0123456789");
    const u8 h = mustOpenHost("F0:A.BOX");
    len = 4;
    EXPECT_EQ(FileOfsRead(h, 2, buf, &len), 0);
    u32 words[2] = {};
    EXPECT_EQ(FileInfoRead(h, 0, words), 0);
    EXPECT_EQ(words[0], 10u);
    EXPECT_EQ(words[1], 6u);
    char path[BXD_PATH_SIZE];
    EXPECT_EQ(FileInfoRead(h, 1, path), 0);
    EXPECT_EQ(path, home.path("F0:A.BOX"));
    EXPECT_EQ(FileInfoRead(h, 2, path), -1);
    EXPECT_EQ(FileInfoRead(h, 255, path), -1);
    FileClose(h);
}

TEST_F(HostFiles, ASizeBeyondTheWordIsTheLargest)
{
    home.write("F0:BIG.BOX", "");
    std::error_code failed;
    std::filesystem::resize_file(home.path("F0:BIG.BOX"), (1ull << 32) + 10, failed);
    if (failed) { GTEST_SKIP() << "the host has no files of this size"; }
    const u8 h = mustOpenHost("F0:BIG.BOX");
    EXPECT_EQ(FileSize(h), 0xFFFFFFFFu);
    FileClose(h);
}

TEST_F(HostFiles, SizeIsAskedOfTheHostAndFailsToZero)
{
    home.write("F0:A.BOX", "0123");
    const u8 h = mustOpenHost("F0:A.BOX", 1);
    EXPECT_EQ(FileSize(h), 4u);
    home.write("F0:A.BOX", "012345");
    EXPECT_EQ(FileSize(h), 6u);
    FileClose(h);
    u32 size = 1;
    EXPECT_EQ(Told([&] { size = FileSize(h); }), "FileSize: error in FileInfoRead\n");
    EXPECT_EQ(size, 0u);
}

// --- coherence ------------------------------------------------------------------------------------------

TEST_F(HostFiles, EveryOpenSeesAtOnceWhatAnotherHasWritten)
{
    home.write("F0:A.BOX", std::string(8192, '.'));
    const u8 one = mustOpenHost("F0:A.BOX");
    const u8 two = mustOpenHost("F1:A.BOX");
    for (i32 offset : {0, 1, 4095, 4096, 8000}) {
        len = 2;
        EXPECT_EQ(FileOfsRead(two, offset, buf, &len), 0);
        EXPECT_EQ(FileOfsWrite(one, offset, "ab", &len), 0);
        EXPECT_EQ(FileOfsRead(two, offset, buf, &len), 0);
        EXPECT_EQ(std::string(buf, buf + 2), "ab") << offset;
        EXPECT_EQ(FileOfsWrite(two, offset, "cd", &len), 0);
        EXPECT_EQ(FileOfsRead(one, offset, buf, &len), 0);
        EXPECT_EQ(std::string(buf, buf + 2), "cd") << offset;
    }
    FileClose(one);
    FileClose(two);
}

TEST_F(HostFiles, WhatWasWrittenIsSafeWhenTheProcessDies)
{
    home.write("F0:A.BOX", "0123456789");
    const int state = InOtherProcess([] {
        const i32 h = FileOpen("F0:A.BOX", 3);
        u32 count = 3;
        if (h <= 0 || FileOfsWrite(static_cast<u8>(h), 2, "abc", &count) != 0) { return 1; }
        return FileBlockWrite(static_cast<u8>(h), "def", &count) == 0 ? 0 : 2;
    });
    EXPECT_EQ(state, 0);
    EXPECT_EQ(home.readText("F0:A.BOX"), "01abcdef89");
}

// --- results --------------------------------------------------------------------------------------------

TEST(HostResults, BecomeStatuses)
{
    EXPECT_EQ(BxdSetErrorCode(0), 0u);
    EXPECT_EQ(BxdSetErrorCode(BXD_HOST_NOSPACE), 68u);
    EXPECT_EQ(BxdSetErrorCode(BXD_HOST_NOTFOUND), 64u);
    EXPECT_EQ(BxdSetErrorCode(BXD_HOST_NOFILE2), 64u);
    EXPECT_EQ(BxdSetErrorCode(BXD_HOST_PASS), 254u);
    for (i32 other : {-1, -2, -3, BXD_HOST_NODIR, BXD_HOST_NOMEDIA, BXD_HOST_DIRFAIL, BXD_HOST_BOXGONE}) {
        EXPECT_EQ(BxdSetErrorCode(other), 71u) << other;
    }
}

TEST(HostResults, HaveTheirNumbers)
{
    EXPECT_EQ(static_cast<u32>(BXD_HOST_NOTFOUND), 0xEEFC0002u);
    EXPECT_EQ(static_cast<u32>(BXD_HOST_NODIR), 0xEEFC0003u);
    EXPECT_EQ(static_cast<u32>(BXD_HOST_NOMEDIA), 0xEEFC0008u);
    EXPECT_EQ(static_cast<u32>(BXD_HOST_NOFILE2), 0xEEFC000Au);
    EXPECT_EQ(static_cast<u32>(BXD_HOST_NOSPACE), 0xEEFC000Cu);
    EXPECT_EQ(static_cast<u32>(BXD_HOST_DIRFAIL), 0xEEFC000Eu);
    EXPECT_EQ(static_cast<u32>(BXD_HOST_BOXGONE), 0xEEFC0023u);
    EXPECT_EQ(static_cast<u32>(BXD_HOST_PASS), 0xEEFC00FEu);
}

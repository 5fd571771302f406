// SPDX-License-Identifier: MIT
// A process loses its lock on a file with any of its descriptors on that file. The host layer keeps it.
#include "tests/storage/storage_case.h"

namespace {

using namespace storagetest;

constexpr const char* kName = "F0:A.BOX";

class HostLocks : public StorageCase {
protected:
    HostLocks()
    {
        home.write(kName, "0123456789");
        path = home.path(kName);
    }
    // Opens a file that the process holds locked in a second way and closes it again.
    static void openAndClose(const char* name, u8 mode)
    {
        const u8 h = mustOpenHost(name, mode);
        EXPECT_EQ(FileClose(h), 0);
    }
    static void createAndClose(const char* name)
    {
        const i32 h = FileCreate(name, 0);
        ASSERT_GT(h, 0);
        EXPECT_EQ(FileClose(static_cast<u8>(h)), 0);
    }
    static u8 mustLock(const char* name)
    {
        const u8 h = mustOpenHost(name);
        EXPECT_EQ(FileLockForWrite(h), 0);
        return h;
    }

    std::string path;
};

}  // namespace

TEST_F(HostLocks, KeepOtherProcessesOutUntilTheClose)
{
    const u8 h = mustOpenHost(kName);
    EXPECT_FALSE(IsLockedForOthers(path));
    EXPECT_EQ(FileLockForWrite(h), 0);
    EXPECT_TRUE(IsLockedForOthers(path));
    EXPECT_EQ(FileLockForWrite(h), 0) << "a second time changes nothing";
    EXPECT_EQ(FileClose(h), 0);
    EXPECT_FALSE(IsLockedForOthers(path));
}

TEST_F(HostLocks, AreRefusedWhileAnotherProcessHasOne)
{
    int ready[2];
    int done[2];
    ASSERT_EQ(pipe(ready), 0);
    ASSERT_EQ(pipe(done), 0);
    const pid_t child = fork();
    if (child == 0) {
        close(done[1]);
        const i32 h = FileOpen(kName, 3);
        char byte = h > 0 && FileLockForWrite(static_cast<u8>(h)) == 0 ? 'y' : 'n';
        (void)!write(ready[1], &byte, 1);
        (void)!read(done[0], &byte, 1);
        _exit(0);
    }
    char byte = 0;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    EXPECT_EQ(byte, 'y');
    const u8 h = mustOpenHost(kName);
    EXPECT_EQ(FileLockForWrite(h), -1);
    const u8 fid = mustOpen(kName);
    u32 status = 0;
    EXPECT_EQ(Told([&] { status = BxdFileLock(fid); }), "failed locking F0:A.BOX for writing.\n");
    EXPECT_EQ(status, 255u);
    for (int end : {ready[0], ready[1], done[0], done[1]}) { close(end); }
    waitpid(child, nullptr, 0);
    EXPECT_EQ(FileLockForWrite(h), 0) << "it went with the process";
    EXPECT_EQ(BxdFileClose(fid), 0u);
    EXPECT_EQ(FileClose(h), 0);
}

TEST_F(HostLocks, NeedWriteAccess)
{
    const u8 h = mustOpenHost(kName, 1);
    EXPECT_EQ(FileLockForWrite(h), -1);
    EXPECT_FALSE(IsLockedForOthers(path));
    EXPECT_EQ(FileClose(h), 0);
}

TEST_F(HostLocks, SurviveTheCloseOfAnotherHandleOnTheFile)
{
    const u8 h = mustLock(kName);
    for (u8 mode : {u8{1}, u8{3}}) {
        openAndClose(kName, mode);
        EXPECT_TRUE(IsLockedForOthers(path)) << unsigned{mode};
        openAndClose("F1:A.BOX", mode);
        EXPECT_TRUE(IsLockedForOthers(path)) << unsigned{mode};
        openAndClose(path.c_str(), mode);
        EXPECT_TRUE(IsLockedForOthers(path)) << unsigned{mode};
    }
    createAndClose(kName);
    EXPECT_TRUE(IsLockedForOthers(path));
    EXPECT_EQ(FileClose(h), 0);
    EXPECT_FALSE(IsLockedForOthers(path));
}

TEST_F(HostLocks, SurviveUnderEveryNameOfTheFile)
{
    ASSERT_EQ(link(path.c_str(), home.path("F0:HARD.BOX").c_str()), 0);
    ASSERT_EQ(symlink(path.c_str(), home.path("F0:SOFT.BOX").c_str()), 0);
    const u8 h = mustLock(kName);
    openAndClose("F0:HARD.BOX", 3);
    openAndClose("F0:SOFT.BOX", 1);
    EXPECT_TRUE(IsLockedForOthers(path));
    EXPECT_EQ(FileClose(h), 0);
    EXPECT_FALSE(IsLockedForOthers(path));
}

TEST_F(HostLocks, SurviveTheCloseOfHandlesThatWereOpenBefore)
{
    const u8 before = mustOpenHost(kName, 1);
    const u8 h = mustLock(kName);
    EXPECT_EQ(FileClose(before), 0);
    EXPECT_TRUE(IsLockedForOthers(path));
    EXPECT_EQ(FileClose(h), 0);
}

TEST_F(HostLocks, OfTwoHandlesHoldUntilTheLastGoes)
{
    const u8 one = mustLock(kName);
    const u8 two = mustLock(kName);
    EXPECT_EQ(FileClose(one), 0);
    EXPECT_TRUE(IsLockedForOthers(path));
    EXPECT_EQ(FileClose(two), 0);
    EXPECT_FALSE(IsLockedForOthers(path));
}

TEST_F(HostLocks, OfOneFileDoNotTouchAnother)
{
    home.write("F0:B.BOX", "b");
    const u8 h = mustLock(kName);
    const size_t descriptors = OpenDescriptors();
    openAndClose("F0:B.BOX", 3);
    EXPECT_EQ(OpenDescriptors(), descriptors) << "another file is closed at once";
    EXPECT_FALSE(IsLockedForOthers(home.path("F0:B.BOX")));
    EXPECT_EQ(FileClose(h), 0);
}

TEST_F(HostLocks, TheStreamsPutAsideAreBoundedAndGoWithTheLock)
{
    const size_t before = OpenDescriptors();
    const u8 h = mustLock(kName);
    for (int round = 0; round < 100; ++round) {
        openAndClose(kName, 1);
        openAndClose(kName, 3);
    }
    createAndClose(kName);
    createAndClose(kName);
    EXPECT_EQ(OpenDescriptors(), before + 4) << "the locked one, and one for each way to open";
    EXPECT_EQ(FileClose(h), 0);
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(HostLocks, AreTakenAnewWhenNoMoreStreamsCanBePutAside)
{
    home.write("F0:B.BOX", "b");
    const size_t before = OpenDescriptors();
    const u8 a = mustLock(kName);
    const u8 b = mustLock("F0:B.BOX");
    auto openEightAndClose = [](const char* name, u8 mode) {
        std::vector<u8> handles;
        for (int i = 0; i < 8; ++i) { handles.push_back(mustOpenHost(name, mode)); }
        for (u8 h : handles) { EXPECT_EQ(FileClose(h), 0); }
    };
    for (const char* name : {kName, "F0:B.BOX"}) {
        for (u8 mode : {u8{1}, u8{3}}) {
            openEightAndClose(name, mode);
            EXPECT_TRUE(IsLockedForOthers(path));
            EXPECT_TRUE(IsLockedForOthers(home.path("F0:B.BOX")));
        }
    }
    EXPECT_LE(OpenDescriptors(), before + 2 + 30);
    EXPECT_EQ(FileClose(a), 0);
    EXPECT_FALSE(IsLockedForOthers(path));
    EXPECT_TRUE(IsLockedForOthers(home.path("F0:B.BOX")));
    EXPECT_EQ(FileClose(b), 0);
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(HostLocks, AStreamTakenBackStandsAtTheStart)
{
    const u8 h = mustLock(kName);
    u8 other = mustOpenHost(kName, 1);
    u8 buf[16];
    u32 len = 16;
    EXPECT_EQ(FileBlockRead(other, 0, buf, &len), 0);
    EXPECT_EQ(len, 10u);
    EXPECT_EQ(FileByteRead(other, 0, buf), -1);
    EXPECT_EQ(FileClose(other), 0);
    other = mustOpenHost(kName, 1);
    EXPECT_EQ(FileByteRead(other, 0, buf), 0);
    EXPECT_EQ(buf[0], '0');
    EXPECT_EQ(FileHdlToFName(other), path);
    EXPECT_EQ(FileClose(other), 0);
    EXPECT_EQ(FileClose(h), 0);
}

TEST_F(HostLocks, AStreamTakenBackForCreationIsEmpty)
{
    const u8 h = mustLock(kName);
    createAndClose(kName);
    u32 len = 3;
    EXPECT_EQ(FileOfsWrite(h, 0, "new", &len), 0);
    EXPECT_EQ(home.readText(kName), "new");
    createAndClose(kName);
    EXPECT_EQ(home.readText(kName), "");
    EXPECT_EQ(FileClose(h), 0);
}

TEST_F(HostLocks, AStreamTakenBackCanDoWhatItWasOpenedFor)
{
    const u8 h = mustLock(kName);
    openAndClose(kName, 1);
    openAndClose(kName, 3);
    const u8 reader = mustOpenHost(kName, 1);
    const u8 writer = mustOpenHost(kName, 3);
    u32 len = 1;
    EXPECT_EQ(FileOfsWrite(reader, 0, "X", &len), -1);
    EXPECT_EQ(FileOfsWrite(writer, 0, "X", &len), 0);
    EXPECT_EQ(home.readText(kName), "X123456789");
    EXPECT_EQ(FileClose(reader), 0);
    EXPECT_EQ(FileClose(writer), 0);
    EXPECT_EQ(FileClose(h), 0);
}

TEST_F(HostLocks, AStreamPutAsideIsNotTakenForANewFileOfTheName)
{
    const u8 h = mustLock(kName);
    openAndClose(kName, 3);
    ASSERT_EQ(FileDelete(kName), 0);
    home.write(kName, "another file");
    const u8 other = mustOpenHost(kName, 3);
    EXPECT_EQ(FileSize(other), 12u);
    EXPECT_EQ(FileClose(other), 0);
    EXPECT_EQ(FileClose(h), 0);
}

TEST_F(HostLocks, AStreamPutAsideDoesNotOpenWhatTheHostHasComeToRefuse)
{
    openUp();
    ASSERT_EQ(chmod(path.c_str(), 0666), 0);
    const u8 h = mustLock(kName);
    openAndClose(kName, 3);
    openAndClose(kName, 1);
    ASSERT_EQ(chmod(path.c_str(), 0444), 0);
    {
        const WithoutRoot plain;
        EXPECT_EQ(FileOpen(kName, 3), -1);
        openAndClose(kName, 1);
    }
    ASSERT_EQ(chmod(path.c_str(), 0666), 0);
    EXPECT_TRUE(IsLockedForOthers(path));
    EXPECT_EQ(FileClose(h), 0);
}

TEST_F(HostLocks, OfAFileIdSurviveCallsByName)
{
    const u8 fid = mustOpen(kName);
    EXPECT_EQ(BxdFileLock(fid), 0u);
    for (u8 mode : {u8{BXD_MODE_READ}, u8{BXD_MODE_WRITE}}) {
        const u8 other = mustOpen(kName, mode);
        EXPECT_NE(other, fid);
        EXPECT_EQ(BxdFileClose(other), 0u);
        EXPECT_TRUE(IsLockedForOthers(path));
    }
    const i32 created = BxdFileCreate(kName, 0);
    ASSERT_GE(created, 0);
    EXPECT_EQ(BxdFileClose(static_cast<u8>(created)), 0u);
    EXPECT_TRUE(IsLockedForOthers(path));
    EXPECT_EQ(BxdFileClose(fid), 0u);
    EXPECT_FALSE(IsLockedForOthers(path));
}

TEST_F(HostLocks, OfAFileIdNeedAnIdThatIsOpenForWriting)
{
    EXPECT_EQ(BxdFileLock(9), 64u);
    const u8 fid = mustOpen(kName, BXD_MODE_READ);
    u32 status = 0;
    EXPECT_EQ(Told([&] { status = BxdFileLock(fid); }), "failed locking F0:A.BOX for writing.\n");
    EXPECT_EQ(status, 255u);
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

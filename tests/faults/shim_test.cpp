// SPDX-License-Identifier: MIT
// The shim itself: what it counts, fails, tears and records.
#include <cerrno>

#include "storage/heapwrapper.h"
#include "tests/faults/fault_runner.h"

namespace {

using namespace faults;

class ShimTest : public FaultTest {
protected:
    void SetUp() override
    {
        FaultTest::SetUp();
        Shim().watch(home().c_str());
    }

    std::string path() const { return pathOf("FILE"); }

    void make(const std::string& bytes) const { putFiles({{"FILE", bytes}}); }
    std::string content() const
    {
        Files files = takeFiles();
        return files.count("FILE") != 0 ? files["FILE"] : "absent";
    }

    // Ends by `action` in a child at the k-th change of writing, cutting and unlinking; gives its exit code.
    int cutAt(uint32_t k, uint32_t action) const
    {
        make("0123456789");
        pid_t pid = fork();
        if (pid == 0) {
            Shim().watch(home().c_str());
            Shim().plan(kFaultChange, k, false, action);
            FILE* file = fopen(path().c_str(), "r+");
            setvbuf(file, nullptr, _IONBF, 0);
            fwrite("abcd", 1, 4, file);
            (void)!ftruncate(fileno(file), 8);
            fclose(file);
            unlink(path().c_str());
            _exit(0);
        }
        int status = 0;
        waitpid(pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

TEST_F(ShimTest, CallsAreCountedByKind)
{
    make("0123456789");
    Shim().watch(home().c_str());
    char buf[4];
    FILE* file = fopen(path().c_str(), "r+");
    ASSERT_NE(file, nullptr);
    setvbuf(file, nullptr, _IONBF, 0);
    EXPECT_EQ(fseek(file, 2, SEEK_SET), 0);
    EXPECT_EQ(fread(buf, 1, 4, file), 4u);
    EXPECT_EQ(fread(buf, 1, 4, file), 4u);
    EXPECT_EQ(fread(buf, 1, 0, file), 0u);
    EXPECT_EQ(fseek(file, 5, SEEK_SET), 0);
    EXPECT_EQ(fwrite("xyz", 1, 3, file), 3u);
    EXPECT_EQ(fwrite("", 1, 0, file), 0u);
    EXPECT_EQ(ftruncate(fileno(file), 7), 0);
    EXPECT_EQ(fclose(file), 0);
    EXPECT_EQ(unlink(path().c_str()), 0);
    EXPECT_EQ(Counts().counts[kFaultOpen], 1u);
    EXPECT_EQ(Counts().counts[kFaultSeek], 2u);
    EXPECT_EQ(Counts().counts[kFaultRead], 2u);
    EXPECT_EQ(Counts().counts[kFaultWrite], 1u);
    EXPECT_EQ(Counts().counts[kFaultTruncate], 1u);
    EXPECT_EQ(Counts().counts[kFaultClose], 1u);
    EXPECT_EQ(Counts().counts[kFaultDelete], 1u);
    ASSERT_EQ(Counts().changes, 3u);
    EXPECT_EQ(Counts().log[0].offset, 5u);
    EXPECT_EQ(Counts().log[0].length, 3u);
    EXPECT_EQ(std::string(Counts().log[0].file), "FILE");
    EXPECT_EQ(Counts().log[1].offset, 7u);
}

TEST_F(ShimTest, FilesElsewhereAndCallsAtRestDoNotCount)
{
    make("0123456789");
    Shim().watch((home() + "/elsewhere").c_str());
    Shim().plan(kFaultOpen, 1, true, kFaultFail);
    FILE* file = fopen(path().c_str(), "r");
    ASSERT_NE(file, nullptr);
    fclose(file);
    Shim().rest();
    FILE* other = fopen(path().c_str(), "r");
    ASSERT_NE(other, nullptr);
    fclose(other);
    EXPECT_EQ(Counts().counts[kFaultOpen], 0u);
}

TEST_F(ShimTest, FailureOnceOrFromThenOn)
{
    make("0123456789");
    for (bool lasting : {false, true}) {
        Shim().watch(home().c_str());
        Shim().plan(kFaultOpen, 2, lasting, kFaultFail);
        bool opened[3];
        for (bool& done : opened) {
            FILE* file = fopen(path().c_str(), "r");
            done = file != nullptr;
            if (done) { fclose(file); }
        }
        EXPECT_TRUE(opened[0]);
        EXPECT_FALSE(opened[1]);
        EXPECT_EQ(opened[2], !lasting);
        EXPECT_EQ(Counts().fired, lasting ? 2u : 1u);
    }
}

TEST_F(ShimTest, ShortWriteReachesTheFileInPart)
{
    make("");
    Shim().watch(home().c_str());
    Shim().plan(kFaultWrite, 1, false, kFaultShort);
    FILE* file = fopen(path().c_str(), "r+");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(fwrite("abcdef", 1, 6, file), 3u);
    EXPECT_EQ(errno, ENOSPC);
    fclose(file);
    EXPECT_EQ(content(), "abc");
}

TEST_F(ShimTest, CutBeforeACallEndsTheProcessWithoutIt)
{
    EXPECT_EQ(cutAt(1, kFaultCutBefore), kFaultExitCode);
    EXPECT_EQ(content(), "0123456789");
    EXPECT_EQ(cutAt(2, kFaultCutBefore), kFaultExitCode);
    EXPECT_EQ(content(), "abcd456789");
    EXPECT_EQ(cutAt(3, kFaultCutBefore), kFaultExitCode);
    EXPECT_EQ(content(), "abcd4567");
}

TEST_F(ShimTest, CutAfterACallEndsTheProcessWithIt)
{
    EXPECT_EQ(cutAt(1, kFaultCutAfter), kFaultExitCode);
    EXPECT_EQ(content(), "abcd456789");
    EXPECT_EQ(cutAt(3, kFaultCutAfter), kFaultExitCode);
    EXPECT_EQ(content(), "absent");
    EXPECT_EQ(cutAt(4, kFaultCutAfter), 0) << "there is no fourth change";
}

TEST_F(ShimTest, TornWritesReachTheFileInPart)
{
    EXPECT_EQ(cutAt(1, kFaultTornOne), kFaultExitCode);
    EXPECT_EQ(content(), "a123456789");
    EXPECT_EQ(cutAt(1, kFaultTornHalf), kFaultExitCode);
    EXPECT_EQ(content(), "ab23456789");
    EXPECT_EQ(cutAt(1, kFaultTornButOne), kFaultExitCode);
    EXPECT_EQ(content(), "abc3456789");
}

TEST_F(ShimTest, AllocationsOfTheLibraryAreCountedAndRefused)
{
    Shim().watch(home().c_str());
    void** handle = NewHeapHandle(100);
    if (Counts().counts[kFaultAlloc] == 0) {
        DisposeHeapHandle(handle);
        GTEST_SKIP() << "a run-time library linked into the executable has the allocations";
    }
    EXPECT_NE(handle, nullptr);
    EXPECT_EQ(Shim().blocks(), 1u);
    DisposeHeapHandle(handle);
    EXPECT_EQ(Shim().blocks(), 0u);
    std::string own(100, 'x');  // the tests' own do not count
    EXPECT_EQ(Counts().counts[kFaultAlloc], 1u);
    Shim().plan(kFaultAlloc, 2, false, kFaultFail);
    EXPECT_EQ(NewHeapHandle(100), nullptr);
    handle = NewHeapHandle(100);
    EXPECT_NE(handle, nullptr);
    DisposeHeapHandle(handle);
}

TEST_F(ShimTest, BlocksAboveALimitAreRefusedUntilTheShimRests)
{
    Shim().watch(home().c_str());
    void** handle = NewHeapHandle(1);
    bool counted = Counts().counts[kFaultAlloc] != 0;
    DisposeHeapHandle(handle);
    if (!counted) { GTEST_SKIP() << "a run-time library linked into the executable has the allocations"; }
    Shim().memory(50 + sizeof(void*));
    handle = NewHeapHandle(50);
    EXPECT_NE(handle, nullptr);
    DisposeHeapHandle(handle);
    EXPECT_EQ(NewHeapHandle(51), nullptr);
    Shim().rest();
    handle = NewHeapHandle(51);
    EXPECT_NE(handle, nullptr);
    DisposeHeapHandle(handle);
}

TEST_F(ShimTest, SleepAndSystemOnlyLeaveARecord)
{
    EXPECT_EQ(sleep(1000), 0u);
    EXPECT_NE(system("touch nothing"), 0);
    EXPECT_EQ(Counts().sleeps, 1000u);
    ASSERT_EQ(Counts().commands, 1u);
    EXPECT_EQ(std::string(Counts().command[0]), "touch nothing");
}

const char* TwoFigures(uint32_t statistic, uint32_t question, uint32_t)
{
    return statistic != 0 ? nullptr : question == 1 ? "1000000" : "2000000";
}

TEST_F(ShimTest, StatisticsComeFromTheSourceUntilTheStorageIsFull)
{
    Shim().statistics(TwoFigures);
    Shim().plan(kFaultSpace, 3, true, kFaultFull);
    EXPECT_EQ(BxdFileGetFsAvail(), 1000000u);
    EXPECT_EQ(BxdFileGetFsAvail(), 2000000u);
    EXPECT_EQ(BxdFileGetFsAvail(), 0u);
    EXPECT_EQ(BxdFileGetFsAvail(), 0u);
    EXPECT_EQ(BxdFileGetFsGcingBlocks(), 0u);
    EXPECT_EQ(Counts().counts[kFaultSpace], 4u);
    EXPECT_EQ(Counts().counts[kFaultCollector], 1u);
}

}  // namespace

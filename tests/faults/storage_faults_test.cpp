// SPDX-License-Identifier: MIT
// Failing calls one at a time below the store: what is tried again, what is said, what falls back to less
// memory, and what is left.
#include "box/bxd_box_handle.h"
#include "storage/bxd_data.h"
#include "storage/bxd_file_errors.h"
#include "storage/heapwrapper.h"
#include "tests/faults/fault_box.h"

namespace {

using namespace faults;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

constexpr const char* kFile = "F0:DATA";

#define REQUIRE_ALLOCATIONS_COUNTED()                                                                        \
    do {                                                                                                     \
        Shim().watch(home().c_str());                                                                        \
        DisposeHeapHandle(NewHeapHandle(1));                                                                 \
        if (Counts().counts[kFaultAlloc] == 0) {                                                             \
            GTEST_SKIP() << "a run-time library linked into the executable has the allocations";             \
        }                                                                                                    \
    } while (false)

class StorageFaults : public BoxFaults {
protected:
    void TearDown() override
    {
        if (fid_ != kNoFile) { EXPECT_EQ(BxdFileClose(fid_), 0u); }
        BoxFaults::TearDown();
    }

    // The file with this content, open for writing.
    void make(const std::string& bytes)
    {
        Shim().rest();
        if (fid_ != kNoFile) { ASSERT_EQ(BxdFileClose(fid_), 0u); }
        putFiles({{"DATA", bytes}});
        i32 opened = BxdFileOpen(kFile, BXD_MODE_WRITE);
        ASSERT_GE(opened, 0);
        fid_ = static_cast<u8>(opened);
        Shim().watch(home().c_str());
    }

    std::string content() const { return takeFiles()["DATA"]; }
    u8 host() const { return gBxdFINFOTable[fid_]->host; }
    u32 refusals() const { return Counts().fired; }

    u8 fid_ = kNoFile;
};

// --- reading and writing ----------------------------------------------------------------------------------

TEST_F(StorageFaults, FailedSeekOfAReadIsTriedOnceAgain)
{
    make("0123456789");
    Shim().plan(kFaultSeek, 1, false, kFaultFail);
    char buf[4] = {};
    u32 len = 4;
    CaptureStderr();
    EXPECT_EQ(FileOfsRead(host(), 3, buf, &len), 0);
    std::string text = GetCapturedStderr();
    EXPECT_EQ(std::string(buf, 4), "3456");
    EXPECT_EQ(text, "FileOfsRead: fseek Error -1 5 3\nFileOfsRead: fseek again 0 5 3 3\n");
    EXPECT_EQ(Counts().counts[kFaultSeek], 2u);
}

TEST_F(StorageFaults, SeekOfAReadThatFailsTwiceFailsTheRead)
{
    make("0123456789");
    Shim().plan(kFaultSeek, 1, true, kFaultFail);
    char buf[4] = {};
    u32 len = 4;
    CaptureStderr();
    EXPECT_EQ(FileOfsRead(host(), 3, buf, &len), -1);
    std::string text = GetCapturedStderr();
    EXPECT_EQ(len, 4u);
    EXPECT_EQ(text.substr(0, text.find('\n')), "FileOfsRead: fseek Error -1 5 3");
    EXPECT_NE(text.find("FileOfsRead: fseek again -1 5 3 "), std::string::npos) << text;
    EXPECT_EQ(Counts().counts[kFaultSeek], 2u) << "one retry";
    EXPECT_EQ(Counts().counts[kFaultRead], 0u);
}

TEST_F(StorageFaults, RetriedSeekCountsOnlyWhereThePositionAgrees)
{
    make("0123456789");
    Shim().plan(kFaultSeek, 1, false, kFaultFail);
    char buf[4] = {};
    u32 len = 4;
    CaptureStderr();
    EXPECT_EQ(FileOfsRead(host(), 3, buf, &len), 0);
    GetCapturedStderr();
    uint32_t tells = Counts().counts[kFaultTell];
    EXPECT_EQ(tells, 1u) << "the position is asked after the retry only";
}

TEST_F(StorageFaults, FailedSeekOfAWriteFailsAtOnceWithoutAWord)
{
    make("0123456789");
    Shim().plan(kFaultSeek, 1, false, kFaultFail);
    u32 len = 2;
    CaptureStderr();
    EXPECT_EQ(FileOfsWrite(host(), 3, "xy", &len), -1);
    EXPECT_EQ(GetCapturedStderr(), "");
    EXPECT_EQ(Counts().counts[kFaultSeek], 1u);
    EXPECT_EQ(len, 2u);
    EXPECT_EQ(content(), "0123456789");
}

TEST_F(StorageFaults, ShortWriteIsAFailureThatTellsTheCount)
{
    make("0123456789");
    Shim().plan(kFaultWrite, 1, false, kFaultShort);
    u32 len = 4;
    EXPECT_EQ(FileOfsWrite(host(), 3, "wxyz", &len), -1);
    EXPECT_EQ(len, 2u);
    EXPECT_EQ(content(), "012wx56789");
}

TEST_F(StorageFaults, WriteOfNothingLeavesTheCountAlone)
{
    make("0123456789");
    Shim().plan(kFaultWrite, 1, false, kFaultFail);
    u32 len = 4;
    EXPECT_EQ(FileOfsWrite(host(), 3, "wxyz", &len), -1);
    EXPECT_EQ(len, 4u);
    EXPECT_EQ(content(), "0123456789");
}

TEST_F(StorageFaults, FailedCutIsAFailure)
{
    make("0123456789");
    Shim().plan(kFaultTruncate, 1, false, kFaultFail);
    u32 len = 0;
    EXPECT_EQ(FileOfsWrite(host(), 3, "", &len), -1);
    EXPECT_EQ(content(), "0123456789");
}

TEST_F(StorageFaults, FailedReadSpeaksAndKeepsTheId)
{
    make("0123456789");
    Shim().plan(kFaultRead, 1, false, kFaultFail);
    char buf[4];
    CaptureStderr();
    EXPECT_EQ(BxdFileRead(fid_, 0, buf, 4), -1);
    EXPECT_EQ(GetCapturedStderr(), "BxdFileRead: error in FileOfsRead ffffffff\n");
    EXPECT_EQ(BxdFileRead(fid_, 0, buf, 4), 4);
    u32 len = 4;
    Shim().plan(kFaultRead, 3, false, kFaultFail);
    CaptureStderr();
    EXPECT_EQ(DataReadFromFile(fid_, 0, buf, &len) & 0xFFFF, 71u);
    GetCapturedStderr();
}

TEST_F(StorageFaults, UnknownIdSpeaks)
{
    char buf[4];
    CaptureStderr();
    EXPECT_EQ(BxdFileRead(200, 0, buf, 4), -2);
    EXPECT_EQ(BxdFileWrite(200, 0, buf, 4), -2);
    EXPECT_EQ(GetCapturedStderr(),
              "BxdFileRead: invalid file table c8\nBxdFileWrite: invalid file table c8\n");
}

TEST_F(StorageFaults, FailedWriteSpeaksAndKeepsTheSize)
{
    make("0123456789");
    Shim().plan(kFaultWrite, 1, false, kFaultShort);
    CaptureStderr();
    EXPECT_EQ(BxdFileWrite(fid_, 8, "wxyz", 4), -1);
    EXPECT_EQ(GetCapturedStderr(), "BxdFileWrite: error in FileOfsWrite ffffffff F0:DATA\n");
    EXPECT_EQ(BxdFileSize(fid_), 10u);
    EXPECT_EQ(content(), "01234567wx") << "the first half came into the file";
}

TEST_F(StorageFaults, FailedCutSpeaksAndKeepsTheSize)
{
    make("0123456789");
    Shim().plan(kFaultTruncate, 1, false, kFaultFail);
    CaptureStderr();
    EXPECT_EQ(BxdFileCut(fid_, 5) & 0xFFFF, 71u);
    EXPECT_EQ(GetCapturedStderr(), "BxdFileCut: error in FileOfsWrite ffffffff\n");
    EXPECT_EQ(BxdFileSize(fid_), 10u);
}

// --- opening ----------------------------------------------------------------------------------------------

TEST_F(StorageFaults, OpenThatFailsAnywhereLeavesNothing)
{
    REQUIRE_ALLOCATIONS_COUNTED();
    putFiles({{"DATA", "0123456789"}});
    for (uint32_t kind : {kFaultAlloc, kFaultOpen}) {
        for (uint32_t k = 1; k <= 4; k++) {
            Shim().watch(home().c_str());
            Shim().plan(kind, k, true, kFaultFail);
            i32 opened = BxdFileOpen(kFile, BXD_MODE_READ);
            uint32_t met = refusals();
            if (opened >= 0) { EXPECT_EQ(BxdFileClose(static_cast<u8>(opened)), 0u); }
            EXPECT_EQ(opened < 0, met != 0);
            if (met != 0) { EXPECT_EQ(opened, -3); }
            EXPECT_EQ(Shim().blocks(), 0u);
            EXPECT_EQ(fileHandleTbl[0].stream, nullptr);
            EXPECT_EQ(gBxdFINFOTable[0], nullptr);
        }
    }
}

TEST_F(StorageFaults, CreateThatFailsAnywhereLeavesNoEntry)
{
    REQUIRE_ALLOCATIONS_COUNTED();
    for (uint32_t kind : {kFaultAlloc, kFaultOpen, kFaultCreate}) {
        Shim().watch(home().c_str());
        Shim().plan(kind, 1, true, kFaultFail);
        EXPECT_LT(BxdFileCreate(kFile, 0), 0);
        EXPECT_GE(refusals(), 1u);
        EXPECT_EQ(Shim().blocks(), 0u);
        EXPECT_EQ(fileHandleTbl[0].stream, nullptr);
        EXPECT_EQ(gBxdFINFOTable[0], nullptr);
    }
}

TEST_F(StorageFaults, FileThatOpensOnlyForReadingSaysSo)
{
    putFiles({{"DATA", "0123456789"}});
    Shim().watch(home().c_str());
    Shim().plan(kFaultOpen, 1, false, kFaultFail);
    i32 opened = BxdFileOpen(kFile, BXD_MODE_WRITE);
    ASSERT_GE(opened, 0);
    fid_ = static_cast<u8>(opened);
    EXPECT_EQ(BxdFileOpenMode(fid_), 65u);
    EXPECT_EQ(BxdFileCut(fid_, 3) & 0xFFFF, 65u);
    EXPECT_EQ(BxdFileWrite(fid_, 0, "x", 1), -2);
}

TEST_F(StorageFaults, RefusedLockIsToldWithTheName)
{
    make("0123456789");
    Shim().plan(kFaultLock, 1, false, kFaultFail);
    CaptureStderr();
    EXPECT_EQ(BxdFileLock(fid_) & 0xFFFF, 255u);
    EXPECT_EQ(GetCapturedStderr(), "failed locking F0:DATA for writing.\n");
}

TEST_F(StorageFaults, RegistryEntryWithoutMemoryIsRefused)
{
    REQUIRE_ALLOCATIONS_COUNTED();
    u32 before = BxdGetErrorFileNum();
    for (uint32_t k = 1; k <= 2; k++) {
        Shim().watch(home().c_str());
        Shim().plan(kFaultAlloc, k, false, kFaultFail);
        CaptureStderr();
        EXPECT_EQ(BxdSetErrorFileName(kFile, 130, 1, "%s\n", "bad") & 0xFFFF, 71u) << k;
        EXPECT_EQ(GetCapturedStderr(), "bad\n");
        EXPECT_EQ(BxdGetErrorFileNum(), before);
        EXPECT_EQ(Shim().blocks(), 0u);
    }
}

// --- moving bytes with little memory ----------------------------------------------------------------------

class Transfers : public StorageFaults {
protected:
    // Moves by FlashTransferF with every allocation from the k-th on refused; gives the file's content.
    std::string moved(const std::string& bytes, u32 src, u32 dst, u32 count, const std::string& data,
                      uint32_t k)
    {
        make(bytes);
        if (k != 0) { Shim().plan(kFaultAlloc, k, true, kFaultFail); }
        EXPECT_EQ(FlashTransferF(fid_, src, dst, count, data.data(), static_cast<u32>(data.size())), 0u);
        EXPECT_EQ(Shim().blocks(), 0u);
        return content();
    }

    static std::string expected(const std::string& bytes, u32 src, u32 dst, u32 count,
                                const std::string& data)
    {
        bool up = src < dst;
        u32 dataAt = up ? dst - static_cast<u32>(data.size()) : dst + count;
        size_t end = std::max<size_t>(dst + count, data.empty() ? 0 : dataAt + data.size());
        std::string result = bytes;
        if (result.size() < end) { result.resize(end, '\xFF'); }
        result.replace(dst, count, bytes.substr(src, count));
        return result.replace(dataAt, data.size(), data);
    }
};

TEST_F(Transfers, MoveWithoutMemoryGoesInPiecesOf512)
{
    REQUIRE_ALLOCATIONS_COUNTED();
    std::string bytes = Pattern(6000, 1);
    struct Case {
        u32 src, dst, count;
        const char* data;
    };
    const Case cases[] = {{100, 300, 5000, ""}, {300, 100, 5000, ""},      {100, 5000, 900, ""},
                          {5000, 100, 900, ""}, {100, 300, 5000, "datum"}, {300, 100, 5000, "datum"},
                          {0, 2000, 4000, ""},  {0, 2001, 4000, "datum"},  {100, 101, 600, ""},
                          {101, 100, 600, ""}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << c.src << " to " << c.dst << ", " << c.count << " bytes, " << c.data);
        std::string want = expected(bytes, c.src, c.dst, c.count, c.data);
        EXPECT_TRUE(moved(bytes, c.src, c.dst, c.count, c.data, 0) == want);
        EXPECT_TRUE(moved(bytes, c.src, c.dst, c.count, c.data, 1) == want);
        EXPECT_TRUE(moved(bytes, c.src, c.dst, c.count, c.data, 2) == want);
    }
}

TEST_F(Transfers, BufferIsHalvedUntilItIsHad)
{
    REQUIRE_ALLOCATIONS_COUNTED();
    make(Pattern(6000, 1));
    Shim().plan(kFaultAlloc, 1, true, kFaultFail);
    EXPECT_EQ(FlashTransferF(fid_, 0, 100, 4096, nullptr, 0), 0u);
    EXPECT_EQ(Counts().counts[kFaultAlloc], 3u) << "4096, 2048, 1024";
    make(Pattern(6000, 1));
    Shim().plan(kFaultAlloc, 1, false, kFaultFail);
    EXPECT_EQ(FlashTransferF(fid_, 0, 100, 4096, nullptr, 0), 0u);
    EXPECT_EQ(Counts().counts[kFaultAlloc], 2u);
    EXPECT_EQ(Counts().counts[kFaultWrite], 2u) << "two pieces of 2048";
}

TEST_F(Transfers, SmallMoveTakesNoMemory)
{
    REQUIRE_ALLOCATIONS_COUNTED();
    make(Pattern(6000, 1));
    EXPECT_EQ(FlashTransferF(fid_, 0, 100, 512, nullptr, 0), 0u);
    EXPECT_EQ(Counts().counts[kFaultAlloc], 0u);
    EXPECT_EQ(FlashTransferF(fid_, 0, 100, 513, nullptr, 0), 0u);
    EXPECT_EQ(Counts().counts[kFaultAlloc], 1u);
}

TEST_F(Transfers, FailedReadOrWriteEndsAMoveAndFreesItsBuffer)
{
    for (uint32_t kind : {kFaultRead, kFaultWrite}) {
        make(Pattern(6000, 1));
        Shim().plan(kind, 1, false, kFaultFail);
        CaptureStderr();
        EXPECT_EQ(FlashTransferF(fid_, 0, 100, 4096, nullptr, 0) & 0xFFFF, 71u);
        GetCapturedStderr();
        EXPECT_EQ(Shim().blocks(), 0u);
        EXPECT_EQ(content(), Pattern(6000, 1));
    }
}

TEST_F(Transfers, ShortReadInTheMiddleEndsAMove)
{
    make(Pattern(6000, 1));
    Shim().plan(kFaultRead, 1, false, kFaultShort);
    EXPECT_EQ(FlashTransferF(fid_, 0, 100, 4096, nullptr, 0) & 0xFFFF, 71u);
    EXPECT_EQ(Shim().blocks(), 0u);
}

TEST_F(Transfers, FullStorageRefusesAMoveBeforeAByteMoves)
{
    make(Pattern(6000, 1));
    Shim().plan(kFaultSpace, 1, true, kFaultFull);
    EXPECT_EQ(FlashTransferF(fid_, 0, 3000, 6000, nullptr, 0) & 0xFFFF, 68u);
    EXPECT_EQ(ExtendTransfer(fid_, 100, 1) & 0xFFFF, 68u);
    EXPECT_EQ(PreWriteOneByte(fid_, 6000) & 0xFFFF, 68u);
    EXPECT_EQ(PreWriteEndMark(fid_, 6000) & 0xFFFF, 68u);
    EXPECT_EQ(Counts().changes, 0u);
    EXPECT_EQ(content(), Pattern(6000, 1));
}

TEST_F(Transfers, CopyBetweenFilesWithoutMemory)
{
    REQUIRE_ALLOCATIONS_COUNTED();
    for (uint32_t k : {0u, 1u, 2u, 3u}) {
        make("target");
        putFiles({{"DATA", "target"}, {"SRC", Pattern(5000, 3)}});
        i32 source = BxdFileOpen("F0:SRC", BXD_MODE_READ);
        ASSERT_GE(source, 0);
        Shim().watch(home().c_str());
        if (k != 0) { Shim().plan(kFaultAlloc, k, true, kFaultFail); }
        EXPECT_EQ(DataReadAndWriteFile(static_cast<u8>(source), fid_, 5000, 3), 0u);
        EXPECT_EQ(Counts().counts[kFaultAlloc], k == 1 ? 4u : 1u) << "5000, 2500, 1250, 625";
        EXPECT_EQ(content(), "tar" + Pattern(5000, 3));
        EXPECT_EQ(BxdFileClose(static_cast<u8>(source)), 0u);
    }
}

// --- the image of the card under edit ---------------------------------------------------------------------

TEST_F(StorageFaults, ImageTakesHalfAsMuchUntilItIsHad)
{
    REQUIRE_ALLOCATIONS_COUNTED();
    MakeBox();
    for (bool lasting : {false, true}) {
        BoxHandle box = _BoxOpen(kBox);
        ASSERT_NE(box, nullptr);
        Shim().watch(home().c_str());
        Shim().plan(kFaultAlloc, 1, lasting, kFaultFail);
        u16 id = TMP_SYSTEM_CARD_ID;
        EXPECT_EQ(_CardCreate(box, &id) & 0xFFFF, lasting ? 71u : 0u);
        EXPECT_EQ(Counts().counts[kFaultAlloc], lasting ? 4u : 2u) << "10240, 5120, 2560, 1280";
        Shim().rest();
        // The half image spills where the whole one would not.
        if (!lasting) { EXPECT_EQ(Write(box, id, "TEXT", Pattern(6000, 1)), 0u); }
        EXPECT_EQ((*box)->tmpCardState, lasting ? kTmpCardNone : kTmpCardInFile);
        EXPECT_EQ(_BoxClose(box), 0u);
    }
}

}  // namespace

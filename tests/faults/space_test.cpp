// SPDX-License-Identifier: MIT
// The room on the flash: how its statistics are read, what an operation is held to need, and the two ways
// of making room, which wait in seconds that the shim only counts.
#include "tests/faults/fault_box.h"

namespace {

using namespace faults;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

constexpr u32 kUnknown = 0x7FFFFFFF;
constexpr const char* kFile = "F0:X.BOX";

// The statistics: a text each, and what replaces it later. The free bytes change at the second question; the
// collector is busy from its second question on, or always.
std::string gFree;
std::string gFreeLater;
std::string gBlocks;
std::string gSignal;
bool gAbsent[kFaultStatistics];
bool gIdleFirst;

const char* Statistic(uint32_t statistic, uint32_t question, uint32_t)
{
    if (gAbsent[statistic]) { return nullptr; }
    if (statistic == 0) { return question > 1 && !gFreeLater.empty() ? gFreeLater.c_str() : gFree.c_str(); }
    if (gIdleFirst && question == 1) { return "0"; }
    return statistic == 1 ? gBlocks.c_str() : gSignal.c_str();
}

const char* Unreadable(uint32_t, uint32_t, uint32_t) { return Shim().unreadable; }

class Space : public BoxFaults {
protected:
    void SetUp() override
    {
        BoxFaults::SetUp();
        gFree = gBlocks = gSignal = "0";
        gFreeLater.clear();
        gIdleFirst = false;
        std::fill(gAbsent, gAbsent + kFaultStatistics, false);
        Shim().statistics(Statistic);
        Shim().watch(home().c_str());
    }

    static void setFree(u32 bytes) { gFree = std::to_string(bytes); }

    static u32 availOf(const std::string& text)
    {
        gFree = text;
        return BxdFileGetFsAvail();
    }
};

// --- reading a figure -----------------------------------------------------------------------------------

TEST_F(Space, AbsentStatisticsArePlentyOfRoomAndAnIdleCollector)
{
    std::fill(gAbsent, gAbsent + kFaultStatistics, true);
    EXPECT_EQ(BxdFileGetFsAvail(), kUnknown);
    EXPECT_EQ(BxdFileGetFsGcingBlocks(), 0u);
    EXPECT_EQ(BxdFileGetFsGcingSig(), 0u);
}

TEST_F(Space, UnknownRoomIsEnoughForAnything)
{
    gAbsent[0] = true;
    EXPECT_TRUE(BxdFileCheckFsSpace(0, 20, 0x7FFFFFFF));
    EXPECT_TRUE(BxdFileCheckFsSpace(0, 0xFFFFFFFF, 0xFFFFFFFF));
    EXPECT_TRUE(BxdFileCheckFsSpace(0, 20, 693000000));  // needs more than the figure for unknown room
}

TEST_F(Space, EmptyStatisticIsNoRoom)
{
    EXPECT_EQ(availOf(""), 0u);
    EXPECT_FALSE(BxdFileCheckFsSpace(1, 0, 0));
}

TEST_F(Space, FigureIsTheDigitsAtTheStart)
{
    EXPECT_EQ(availOf("123456"), 123456u);
    EXPECT_EQ(availOf("123456\n"), 123456u);
    EXPECT_EQ(availOf("98 blocks"), 98u);
    EXPECT_EQ(availOf("4x5"), 4u);
    EXPECT_EQ(availOf("0"), 0u);
}

TEST_F(Space, FigureBehindBlanksOrASignIsNone)
{
    EXPECT_EQ(availOf(" 123456"), 0u);
    EXPECT_EQ(availOf("\t7"), 0u);
    EXPECT_EQ(availOf("-5"), 0u);
    EXPECT_EQ(availOf("\n"), 0u);
}

TEST_F(Space, OnlyTheFirst32BytesOfAFigureCount)
{
    EXPECT_EQ(availOf(std::string(31, '0') + "5"), 5u);
    EXPECT_EQ(availOf(std::string(31, '0') + "57"), 5u);
    EXPECT_EQ(availOf(std::string(32, '0') + "57"), 0u);
    EXPECT_EQ(availOf("77" + std::string(60, ' ')), 77u);
}

TEST_F(Space, UnreadableStatisticsAreAnnouncedAndCountAsAbsent)
{
    Shim().statistics(Unreadable);
    CaptureStderr();
    EXPECT_EQ(BxdFileGetFsAvail(), kUnknown);
    EXPECT_EQ(BxdFileGetFsGcingBlocks(), 0u);
    EXPECT_EQ(BxdFileGetFsGcingSig(), 0u);
    EXPECT_EQ(GetCapturedStderr(), "BxdFileGetFsAvail: read len is not avail -1\n"
                                   "BxdFileGetFsGcingBlocks: read len is not avail -1\n"
                                   "BxdFileGetFsGcingSig: read len is not avail -1\n");
}

TEST_F(Space, CollectorsFiguresAreReadLikeTheFreeBytes)
{
    gBlocks = "12 blocks";
    gSignal = " 3";
    EXPECT_EQ(BxdFileGetFsGcingBlocks(), 12u);
    EXPECT_EQ(BxdFileGetFsGcingSig(), 0u);
    gSignal = "3";
    EXPECT_EQ(BxdFileGetFsGcingSig(), 3u);
}

TEST_F(Space, FiguresLeaveNoDescriptorOpen)
{
    int before = dup(0);
    close(before);
    for (int n = 0; n < 5; n++) {
        (void)BxdFileGetFsAvail();
        (void)BxdFileGetFsGcingBlocks();
        (void)BxdFileGetFsGcingSig();
    }
    Shim().statistics(Unreadable);
    CaptureStderr();
    (void)BxdFileGetFsAvail();
    GetCapturedStderr();
    int after = dup(0);
    close(after);
    EXPECT_EQ(after, before);
}

TEST_F(Space, EveryQuestionReadsTheFigureAfreshAndAllocatesNothing)
{
    Shim().watch(home().c_str());
    for (int n = 0; n < 3; n++) { (void)BxdFileCheckFsSpace(0, 20, 1); }
    EXPECT_EQ(Counts().questions[0], 3u);
    EXPECT_EQ(Counts().counts[kFaultAlloc], 0u);
}

// --- the estimate ---------------------------------------------------------------------------------------

TEST_F(Space, NeedOfAnOperation)
{
    EXPECT_EQ(BxdFileGetFsOneTimeNeed(), 794u);
    EXPECT_EQ(BxdFileCalcFsAvailNeed(0, 0, 0), 163840u);
    EXPECT_EQ(BxdFileCalcFsAvailNeed(1, 0, 0), 16384u);
    EXPECT_EQ(BxdFileCalcFsAvailNeed(7, 0, 0), 16384u);
    EXPECT_EQ(BxdFileCalcFsAvailNeed(0, 20, 127), 179720u);
    EXPECT_EQ(BxdFileCalcFsAvailNeed(1, 20, 128), 32660u);
    EXPECT_EQ(BxdFileCalcFsAvailNeed(1, 20, 255), 32660u);
    EXPECT_EQ(BxdFileCalcFsAvailNeed(1, 20, 256), 33056u);
    EXPECT_EQ(BxdFileCalcFsAvailNeed(0, 60, 1000), 163840u + 60 * 794 + 7 * 396);
}

TEST_F(Space, RoomIsEnoughFromTheNeedOn)
{
    setFree(179720);
    EXPECT_TRUE(BxdFileCheckFsSpace(0, 20, 127));
    setFree(179719);
    EXPECT_FALSE(BxdFileCheckFsSpace(0, 20, 127));
    EXPECT_TRUE(BxdFileCheckFsSpace(1, 20, 127));
    setFree(32659);
    EXPECT_FALSE(BxdFileCheckFsSpace(1, 20, 128));
}

// --- making room ----------------------------------------------------------------------------------------

class MakeSpace : public Space {
protected:
    void SetUp() override
    {
        Space::SetUp();
        i32 opened = BxdFileCreate(kFile, 0);
        ASSERT_GE(opened, 0);
        fid_ = static_cast<u8>(opened);
        Shim().watch(home().c_str());
    }
    void TearDown() override
    {
        if (fid_ != kNoFile) { EXPECT_EQ(BxdFileClose(fid_), 0u); }
        Space::TearDown();
    }

    // Makes room; what it prints stands in text_.
    bool dyn()
    {
        CaptureStderr();
        bool made = BxdFileMakeFsSpaceDyn(&fid_) != 0;
        text_ = GetCapturedStderr();
        return made;
    }
    bool fix(u32 need)
    {
        CaptureStderr();
        bool made = BxdFileMakeFsSpaceFix(&fid_, need) != 0;
        text_ = GetCapturedStderr();
        return made;
    }

    // Seconds of the second wait with a collector that is busy from then on and so many bytes free.
    u32 secondWait(u32 free)
    {
        Shim().watch(home().c_str());
        setFree(1000);
        gFreeLater = std::to_string(free);
        gIdleFirst = true;
        gBlocks = "1";
        (void)dyn();
        return Counts().sleeps - 1;
    }

    u8 fid_ = kNoFile;
    std::string text_;
};

TEST_F(MakeSpace, NothingIsDoneWhileEnoughIsFree)
{
    setFree(327680);
    u8 before = fid_;
    EXPECT_TRUE(dyn());
    EXPECT_EQ(fid_, before);
    EXPECT_EQ(Counts().commands, 0u);
    EXPECT_EQ(Counts().sleeps, 0u);
    EXPECT_EQ(Counts().counts[kFaultClose], 0u);
    EXPECT_EQ(text_, "");
}

TEST_F(MakeSpace, FileIsMergedClosedAndReopenedBelowThat)
{
    setFree(327679);
    EXPECT_TRUE(dyn());
    ASSERT_EQ(Counts().commands, 1u);
    EXPECT_EQ(std::string(Counts().command[0]), "/usr/sbin/nodemerge.jffs2 " + pathOf("X.BOX"));
    EXPECT_EQ(Counts().counts[kFaultClose], 1u);
    EXPECT_EQ(Counts().counts[kFaultOpen], 1u);
    EXPECT_EQ(Counts().counts[kFaultLock], 1u);
    EXPECT_EQ(Counts().sleeps, 1u);
    EXPECT_EQ(text_, "MakeFsSpace: Making! avail=327679\nMakeFsSpace: Made! avail=327679 times=0\n");
    EXPECT_EQ(BxdFileOpenMode(fid_), 3u);
}

TEST_F(MakeSpace, FileIsClosedWhileTheToolRuns)
{
    setFree(0);
    ASSERT_EQ(BxdFileClose(fid_), 0u);
    i32 opened = BxdFileOpen(kFile, BXD_MODE_READ);
    ASSERT_GE(opened, 0);
    fid_ = static_cast<u8>(opened);
    Shim().watch(home().c_str());
    EXPECT_FALSE(dyn());
    EXPECT_EQ(BxdFileOpenMode(fid_), 65u);
    EXPECT_EQ(Counts().counts[kFaultLock], 0u) << "a file for reading needs no lock";
    EXPECT_EQ(text_, "MakeFsSpace: Making! avail=0\nMakeFsSpace: ERROR! Can not make! avail=0 times=0\n");
}

TEST_F(MakeSpace, LockIsTakenAgain)
{
    setFree(20000);
    ASSERT_EQ(BxdFileLock(fid_), 0u);
    EXPECT_TRUE(dyn());
    pid_t pid = fork();
    if (pid == 0) {
        Shim().rest();
        i32 other = FileOpen(kFile, 3);
        _exit(other > 0 && FileLockForWrite(static_cast<u8>(other)) == -1 ? 0 : 1);
    }
    int status = -1;
    waitpid(pid, &status, 0);
    EXPECT_EQ(status, 0) << "another process could lock the file";
}

TEST_F(MakeSpace, FileThatDoesNotReopenIsLost)
{
    setFree(1000);
    Shim().plan(kFaultOpen, 1, true, kFaultFail);
    EXPECT_FALSE(dyn());
    EXPECT_EQ(fid_, kNoFile);
    EXPECT_NE(text_.find("MakeFsSpace: ERROR! Can not reopen!\n"), std::string::npos) << text_;
    EXPECT_EQ(Counts().sleeps, 0u);
}

TEST_F(MakeSpace, FileThatDoesNotReopenIsLostForAKnownNeedToo)
{
    Shim().plan(kFaultOpen, 1, true, kFaultFail);
    EXPECT_FALSE(fix(0));
    EXPECT_EQ(fid_, kNoFile);
    EXPECT_EQ(text_, "MakeFsSpaceFix: ERROR! Can not reopen!\n");
}

TEST_F(MakeSpace, LeastRoomThatCountsAsMade)
{
    setFree(16384);
    EXPECT_TRUE(dyn());
    setFree(16383);
    EXPECT_FALSE(dyn());
    EXPECT_EQ(text_,
              "MakeFsSpace: Making! avail=16383\nMakeFsSpace: ERROR! Can not make! avail=16383 times=0\n");
}

TEST_F(MakeSpace, UnknownRoomNeedsNoMaking)
{
    gAbsent[0] = true;
    EXPECT_TRUE(dyn());
    EXPECT_EQ(Counts().commands, 0u);
}

TEST_F(MakeSpace, FirstWaitEndsAfter301Seconds)
{
    setFree(500000);
    gBlocks = "2";
    gSignal = "5";
    EXPECT_TRUE(fix(0x68000));
    EXPECT_EQ(Counts().sleeps, 1u + 301u);
    EXPECT_EQ(text_, "MakeFsSpaceFix: long gcing... gcing_blocks=2 gcing_sig=5 times=301\n"
                     "MakeFsSpaceFix: Made! avail=500000 times=301\n");
}

TEST_F(MakeSpace, CollectorIsBusyWhileItsSignalIsOdd)
{
    setFree(500000);
    gSignal = "7";
    EXPECT_TRUE(fix(0));
    EXPECT_EQ(Counts().sleeps, 302u);
    EXPECT_EQ(text_.substr(0, text_.find('\n')),
              "MakeFsSpaceFix: long gcing... gcing_blocks=0 gcing_sig=7 times=301");
    Shim().watch(home().c_str());
    gSignal = "8";
    EXPECT_TRUE(fix(0));
    EXPECT_EQ(Counts().sleeps, 1u);
}

TEST_F(MakeSpace, LongestWaitOfAll)
{
    setFree(16384);
    gBlocks = "1";
    EXPECT_TRUE(dyn());
    EXPECT_EQ(Counts().sleeps, 1u + 301u + 600u);
    EXPECT_EQ(text_, "MakeFsSpace: Making! avail=16384\n"
                     "MakeFsSpace: long gcing... gcing_blocks=1 gcing_sig=0 times=301\n"
                     "MakeFsSpace: Made! avail=16384 times=600\n");
}

TEST_F(MakeSpace, LongerWaitsAskForLessRoom)
{
    EXPECT_EQ(secondWait(425984), 0u);
    EXPECT_EQ(secondWait(425983), 10u);
    EXPECT_EQ(secondWait(327680), 10u);
    EXPECT_EQ(secondWait(327679), 180u);
    EXPECT_EQ(secondWait(114688), 180u);
    EXPECT_EQ(secondWait(114687), 360u);
    EXPECT_EQ(secondWait(49152), 360u);
    EXPECT_EQ(secondWait(49151), 420u);
    EXPECT_EQ(secondWait(32768), 420u);
    EXPECT_EQ(secondWait(32767), 600u);
    EXPECT_EQ(secondWait(0), 600u);
    EXPECT_EQ(text_,
              "MakeFsSpace: Making! avail=1000\nMakeFsSpace: ERROR! Can not make! avail=0 times=600\n");
}

TEST_F(MakeSpace, IdleCollectorEndsTheSecondWaitAtOnce)
{
    setFree(20000);
    EXPECT_TRUE(dyn());
    EXPECT_EQ(Counts().sleeps, 1u);
}

TEST_F(MakeSpace, KnownNeedIsMergedForWhateverIsFree)
{
    setFree(5000000);
    EXPECT_TRUE(fix(5000000));
    EXPECT_EQ(Counts().commands, 1u);
    EXPECT_EQ(text_, "MakeFsSpaceFix: Made! avail=5000000 times=0\n");
    EXPECT_FALSE(fix(5000001));
    EXPECT_EQ(text_, "MakeFsSpaceFix: ERROR! Can not make! avail=5000000 times=0\n");
}

// What a shell makes of the recorded command's argument.
std::string ShellArgument(const std::string& command)
{
    const std::string tool = "/usr/sbin/nodemerge.jffs2 ";
    EXPECT_EQ(command.substr(0, tool.size()), tool);
    std::string text;
    FILE* pipe = popen(("printf '[%s]' " + command.substr(tool.size())).c_str(), "r");
    if (pipe == nullptr) { return text; }
    for (int c = fgetc(pipe); c != EOF; c = fgetc(pipe)) { text += static_cast<char>(c); }
    pclose(pipe);
    return text;
}

TEST_F(MakeSpace, NameThatAShellWouldReadReachesTheToolAsItIs)
{
    for (const char* file :
         {"it's.BOX", "a b.BOX", "$HOME.BOX", "x;echo y.BOX", "`id`.BOX", "a\"b.BOX", "n\nl.BOX", "*.BOX"}) {
        i32 opened = BxdFileCreate((std::string("F0:") + file).c_str(), 0);
        ASSERT_GE(opened, 0) << file;
        auto fid = static_cast<u8>(opened);
        Shim().watch(home().c_str());
        CaptureStderr();
        (void)BxdFileMakeFsSpaceFix(&fid, 0);
        GetCapturedStderr();
        ASSERT_EQ(Counts().commands, 1u) << file;
        EXPECT_EQ(ShellArgument(Counts().command[0]), "[" + pathOf(file) + "]") << file;
        EXPECT_EQ(BxdFileClose(fid), 0u);
    }
}

// --- the question of the applications -------------------------------------------------------------------

TEST_F(Space, OperationOtherThanDeletingAllIsAlwaysPossible)
{
    setFree(0);
    EXPECT_TRUE(BxdIsEnoughStorageForOperation(nullptr, 2));
    EXPECT_TRUE(BxdIsEnoughStorageForOperation(nullptr, 0));
    EXPECT_FALSE(BxdIsEnoughStorageForOperation(nullptr, 1));
}

TEST_F(Space, DeletingAllNeedsTheBoxAgainOrAmpleRoom)
{
    gAbsent[0] = true;
    MakeBox();
    Fill({158000});
    gAbsent[0] = false;
    BoxHandle box = _BoxOpen(kBox);
    ASSERT_NE(box, nullptr);
    auto size = static_cast<u32>(boxBytes().bytes().size());
    u32 need = BxdFileCalcFsAvailNeed(1, 20, size + 8192);
    ASSERT_GT(need, 524288u);
    setFree(need);
    EXPECT_TRUE(BxdIsEnoughStorageForOperation(box, 1));
    setFree(524288);
    EXPECT_TRUE(BxdIsEnoughStorageForOperation(box, 1));
    setFree(524287);
    EXPECT_FALSE(BxdIsEnoughStorageForOperation(box, 1));
    EXPECT_TRUE(BxdIsEnoughStorageForOperation(box, 2));
    EXPECT_EQ(_BoxClose(box), 0u);
    EXPECT_FALSE(BxdIsEnoughStorageForOperation(box, 1)) << "a closed box";
}

TEST_F(Space, SmallBoxIsDeletedWithLessThanAmpleRoom)
{
    gAbsent[0] = true;
    MakeBox();
    Fill({10});
    gAbsent[0] = false;
    BoxHandle box = _BoxOpen(kBox);
    ASSERT_NE(box, nullptr);
    u32 need = BxdFileCalcFsAvailNeed(1, 20, static_cast<u32>(boxBytes().bytes().size()) + 8192);
    setFree(need);
    EXPECT_TRUE(BxdIsEnoughStorageForOperation(box, 1));
    setFree(need - 1);
    EXPECT_FALSE(BxdIsEnoughStorageForOperation(box, 1));
    EXPECT_EQ(_BoxClose(box), 0u);
}

}  // namespace

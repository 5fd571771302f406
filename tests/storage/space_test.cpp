// SPDX-License-Identifier: MIT
// Room on the flash, on a host that keeps no statistics of it.
#include "storage/bxd_file_space.h"

#include "tests/storage/storage_case.h"

namespace {

using namespace storagetest;

constexpr const char* kStatistics = "/proc/fs/jffs2";

class Space : public StorageCase {
protected:
    void SetUp() override
    {
        if (access(kStatistics, F_OK) == 0) { GTEST_SKIP() << "this host keeps statistics of a flash"; }
    }
};

}  // namespace

TEST_F(Space, WithoutStatisticsThereIsPlentyAndTheCollectorIsIdle)
{
    EXPECT_EQ(Told([] {
                  EXPECT_EQ(BxdFileGetFsAvail(), 0x7FFFFFFFu);
                  EXPECT_EQ(BxdFileGetFsGcingBlocks(), 0u);
                  EXPECT_EQ(BxdFileGetFsGcingSig(), 0u);
              }),
              "");
}

TEST_F(Space, WithoutStatisticsEverythingFits)
{
    for (u32 low : {0u, 1u}) {
        for (u32 bytes : {0u, 1u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
            for (u32 nodes : {0u, 20u, 0xFFFFFFFFu}) {
                EXPECT_EQ(BxdFileCheckFsSpace(low, nodes, bytes), 1u) << nodes << " " << bytes;
                EXPECT_EQ(bxd::RequireSpace(low, nodes, bytes), 0u);
            }
        }
    }
}

TEST(SpaceNeed, OneNodeOperationIs794Bytes) { EXPECT_EQ(BxdFileGetFsOneTimeNeed(), 794u); }

TEST(SpaceNeed, IsNodesAndDataAndTheReserve)
{
    EXPECT_EQ(BxdFileCalcFsAvailNeed(0, 20, 127), 179720u);
    EXPECT_EQ(BxdFileCalcFsAvailNeed(1, 20, 128), 32660u);
    EXPECT_EQ(BxdFileCalcFsAvailNeed(0, 0, 0), 163840u);
    EXPECT_EQ(BxdFileCalcFsAvailNeed(1, 0, 0), 16384u);
    EXPECT_EQ(BxdFileCalcFsAvailNeed(0xFFFFFFFF, 0, 0), 16384u);
    EXPECT_EQ(BxdFileCalcFsAvailNeed(1, 60, 255), 16384u + 60 * 794 + 396);
    EXPECT_EQ(BxdFileCalcFsAvailNeed(1, 60, 256), 16384u + 60 * 794 + 2 * 396);
}

TEST_F(Space, NothingIsMadeWhileThereIsEnough)
{
    home.write("F0:A.BOX", "abc");
    u8 fid = mustOpen("F0:A.BOX");
    const BxdFINFO* record = gBxdFINFOTable[fid];
    EXPECT_EQ(Told([&] { EXPECT_EQ(BxdFileMakeFsSpaceDyn(&fid), 1u); }), "");
    EXPECT_EQ(fid, 0);
    EXPECT_EQ(gBxdFINFOTable[fid], record) << "the file stays open";
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(Space, AKnownNeedIsAlwaysMadeAndTheFileComesBackLocked)
{
    home.write("F0:A B.BOX", "abc");
    u8 fid = mustOpen("F0:A B.BOX");
    EXPECT_EQ(BxdFileLock(fid), 0u);
    const std::string told = Told([&] { EXPECT_EQ(BxdFileMakeFsSpaceFix(&fid, 0x68000), 1u); });
    EXPECT_NE(told.find("MakeFsSpaceFix: Made! avail=2147483647 times=0\n"), std::string::npos) << told;
    EXPECT_EQ(fid, 0);
    EXPECT_EQ(BxdFileOpenMode(fid), BXD_MODE_WRITE);
    EXPECT_TRUE(IsLockedForOthers(home.path("F0:A B.BOX")));
    EXPECT_EQ(home.readText("F0:A B.BOX"), "abc");
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(Space, ANeedAboveWhatIsFreeIsNotMade)
{
    home.write("F0:A.BOX", "abc");
    u8 fid = mustOpen("F0:A.BOX", BXD_MODE_READ);
    const std::string told = Told([&] { EXPECT_EQ(BxdFileMakeFsSpaceFix(&fid, 0x80000000), 0u); });
    EXPECT_NE(told.find("MakeFsSpaceFix: ERROR! Can not make! avail=2147483647 times=0\n"),
              std::string::npos);
    EXPECT_EQ(BxdFileOpenMode(fid), BXD_MODE_READ);
    EXPECT_FALSE(IsLockedForOthers(home.path("F0:A.BOX"))) << "a reader takes no lock";
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(Space, AFileThatDoesNotComeBackIsClosed)
{
    home.write("F0:A.BOX", "abc");
    u8 fid = mustOpen("F0:A.BOX");
    EXPECT_EQ(FileDelete("F0:A.BOX"), 0);
    const std::string told = Told([&] { EXPECT_EQ(BxdFileMakeFsSpaceFix(&fid, 0), 0u); });
    EXPECT_TRUE(told.ends_with("MakeFsSpaceFix: ERROR! Can not reopen!\n")) << told;
    EXPECT_EQ(fid, kNoFile);
}

TEST_F(Space, AnIdThatIsNotOpenHasNothingToMerge)
{
    u8 fid = 9;
    EXPECT_EQ(Told([&] { EXPECT_EQ(BxdFileMakeFsSpaceFix(&fid, 0), 0u); }),
              "BxdFileClose: this file Id is not in open table\nMakeFsSpaceFix: ERROR! Can not reopen!\n");
    EXPECT_EQ(fid, kNoFile);
}

TEST(SpaceForAnOperation, IsNeverWantingForOthersThanTheFirst)
{
    EXPECT_EQ(BxdIsEnoughStorageForOperation(nullptr, 1), 0u);
    EXPECT_EQ(BxdIsEnoughStorageForOperation(nullptr, 2), 1u);
    EXPECT_EQ(BxdIsEnoughStorageForOperation(nullptr, 0), 1u);
    EXPECT_EQ(BxdIsEnoughStorageForOperation(nullptr, -1), 1u);
}

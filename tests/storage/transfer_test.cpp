// SPDX-License-Identifier: MIT
#include "tests/storage/storage_case.h"

namespace {

using namespace storagetest;

constexpr const char* kName = "F0:A.BOX";

class Transfer : public StorageCase {
protected:
    Transfer() { home.write(kName, "0123456789"); }

    u8 buf[64] = {};
    u32 len = 0;
};

}  // namespace

TEST_F(Transfer, AReadGivesItsCountWhichTheEndMakesSmaller)
{
    const u8 fid = mustOpen(kName);
    EXPECT_EQ(BxdFileRead(fid, 2, buf, 4), 4);
    EXPECT_EQ(std::string(buf, buf + 4), "2345");
    EXPECT_EQ(BxdFileRead(fid, 8, buf, 4), 2);
    EXPECT_EQ(BxdFileRead(fid, 8, buf, 0), 0);
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(Transfer, AReadThatFailsIsTold)
{
    const u8 fid = mustOpen(kName);
    i32 result = 0;
    EXPECT_EQ(Told([&] { result = BxdFileRead(fid, 10, buf, 4); }),
              "BxdFileRead: error in FileOfsRead ffffffff\n");
    EXPECT_EQ(result, -1);
    EXPECT_EQ(Told([&] { result = BxdFileRead(77, 0, buf, 4); }), "BxdFileRead: invalid file table 4d\n");
    EXPECT_EQ(result, -2);
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(Transfer, AReadWithAStatusTellsItsCount)
{
    const u8 fid = mustOpen(kName);
    len = 4;
    EXPECT_EQ(DataReadFromFile(fid, 8, buf, &len), 0u);
    EXPECT_EQ(len, 2u) << "a short read is none of its failures";
    len = 4;
    (void)Told([&] { EXPECT_EQ(DataReadFromFile(fid, 10, buf, &len), 71u); });
    EXPECT_EQ(len, 4u);
    (void)Told([&] { EXPECT_EQ(DataReadFromFile(77, 0, buf, &len), 71u); });
    len = 0;
    EXPECT_EQ(DataReadFromFile(fid, 10, buf, &len), 0u);
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(Transfer, AWriteRaisesTheSizeWhenItPassesIt)
{
    const u8 fid = mustOpen(kName);
    EXPECT_EQ(BxdFileWrite(fid, 2, "abc", 3), 3);
    EXPECT_EQ(BxdFileSize(fid), 10u);
    EXPECT_EQ(BxdFileWrite(fid, 8, "xyz", 3), 3);
    EXPECT_EQ(BxdFileSize(fid), 11u);
    len = 2;
    EXPECT_EQ(DataWriteToFile(fid, 11, "12", &len), 0u);
    EXPECT_EQ(len, 2u);
    EXPECT_EQ(BxdFileSize(fid), 13u);
    EXPECT_EQ(home.readText(kName), "01abc567xyz12");
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(Transfer, AWriteToAnIdThatIsNotOpenIsTold)
{
    i32 result = 0;
    for (i32 count : {4, 0}) {
        EXPECT_EQ(Told([&] { result = BxdFileWrite(0x1F, 0, buf, count); }),
                  "BxdFileWrite: invalid file table 1f\n");
        EXPECT_EQ(result, -2);
    }
}

TEST_F(Transfer, AWriteThatFailsIsToldAndLeavesTheSize)
{
    std::filesystem::create_symlink("/dev/full", home.path("F0:FULL.BOX"));
    const u8 fid = mustOpen("F0:FULL.BOX");
    i32 result = 0;
    EXPECT_EQ(Told([&] { result = BxdFileWrite(fid, 0, "0123", 4); }),
              "BxdFileWrite: error in FileOfsWrite ffffffff F0:FULL.BOX\n");
    EXPECT_EQ(result, -1);
    EXPECT_EQ(BxdFileSize(fid), 0u);
    len = 4;
    (void)Told([&] { EXPECT_EQ(DataWriteToFile(fid, 0, "0123", &len), 71u); });
    EXPECT_EQ(len, 4u);
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(Transfer, APartialWriteLeavesTheSizeBehindTheFile)
{
    const u8 fid = mustOpen(kName);
    const std::string data = Pattern(1000);
    {
        const FileSizeLimit limit(600);
        (void)Told([&] { EXPECT_EQ(BxdFileWrite(fid, 0, data.data(), 1000), -1); });
    }
    EXPECT_EQ(BxdFileSize(fid), 10u);
    EXPECT_EQ(home.readText(kName), data.substr(0, 600)) << "nothing is taken back";
    EXPECT_EQ(BxdFileWrite(fid, 2, "ab", 2), 2) << "the id stays good";
    EXPECT_EQ(BxdFileCut(fid, 4), 0u);
    EXPECT_EQ(home.readText(kName), data.substr(0, 2) + "ab");
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(Transfer, ANegativeCountIsNoWrite)
{
    const u8 fid = mustOpen(kName);
    (void)Told([&] { EXPECT_EQ(BxdFileWrite(fid, 0, buf, -1), -1); });
    len = 0x80000000;
    (void)Told([&] { EXPECT_EQ(DataWriteToFile(fid, 0, buf, &len), 71u); });
    EXPECT_EQ(home.readText(kName), "0123456789");
    EXPECT_EQ(BxdFileSize(fid), 10u);
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(Transfer, PositionsBeyond31BitsAreRefused)
{
    const u8 fid = mustOpen(kName);
    for (u32 offset : {0x80000000u, 0xFFFFFFFFu}) {
        (void)Told([&] {
            EXPECT_EQ(BxdFileWrite(fid, offset, "X", 1), -1);
            EXPECT_EQ(BxdFileRead(fid, static_cast<i32>(offset), buf, 1), -1);
            EXPECT_EQ(BxdFileCut(fid, offset), 71u);
        });
    }
    EXPECT_EQ(BxdFileSize(fid), 10u);
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(Transfer, AWriteOfNothingIsACut)
{
    const u8 fid = mustOpen(kName);
    EXPECT_EQ(BxdFileWrite(fid, 4, buf, 0), 0);
    EXPECT_EQ(home.readText(kName), "0123");
    EXPECT_EQ(BxdFileSize(fid), 4u);
    len = 0;
    EXPECT_EQ(DataWriteToFile(fid, 2, buf, &len), 0u);
    EXPECT_EQ(home.readText(kName), "01");
    (void)Told([&] { EXPECT_EQ(BxdFileWrite(fid, 0xFFFFFFFF, buf, 0), -2); });
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(Transfer, ACutSetsTheSizeUpAndDown)
{
    const u8 fid = mustOpen(kName);
    EXPECT_EQ(BxdFileCut(fid, 4), 0u);
    EXPECT_EQ(BxdFileSize(fid), 4u);
    EXPECT_EQ(home.readText(kName), "0123");
    EXPECT_EQ(BxdFileCut(fid, 6), 0u);
    EXPECT_EQ(BxdFileSize(fid), 6u);
    EXPECT_EQ(home.readText(kName), std::string("0123\0\0", 6));
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(Transfer, ACutNeedsAnIdThatIsOpenForWriting)
{
    EXPECT_EQ(BxdFileCut(9, 0), 64u);
    const u8 fid = mustOpen(kName, BXD_MODE_READ);
    EXPECT_EQ(BxdFileCut(fid, 0), 65u);
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(Transfer, ACutThatTheHostRefusesIsTold)
{
    std::filesystem::create_symlink("/dev/full", home.path("F0:FULL.BOX"));
    const u8 fid = mustOpen("F0:FULL.BOX");
    u32 status = 0;
    EXPECT_EQ(Told([&] { status = BxdFileCut(fid, 4); }), "BxdFileCut: error in FileOfsWrite ffffffff\n");
    EXPECT_EQ(status, 71u);
    EXPECT_EQ(BxdFileSize(fid), 0u);
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

// --- whole transfers ------------------------------------------------------------------------------------

TEST_F(Transfer, WholeReadsTellShortOnesByTheStatusAskedFor)
{
    const u8 fid = mustOpen(kName);
    EXPECT_EQ(bxd::ReadExactly(fid, 6, buf, 4), 0u);
    EXPECT_EQ(bxd::ReadExactly(fid, 6, buf, 5), 71u);
    EXPECT_EQ(bxd::ReadExactly(fid, 6, buf, 5, BXD_ERR_NOTFOUND), 66u);
    (void)Told([&] { EXPECT_EQ(bxd::ReadExactly(fid, 10, buf, 1, BXD_ERR_NOTFOUND), 71u); });
    EXPECT_EQ(bxd::ReadExactly(fid, 10, buf, 0), 0u);
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(Transfer, AWholeWriteOfNothingIsNoCut)
{
    const u8 fid = mustOpen(kName);
    EXPECT_EQ(bxd::WriteAll(fid, 4, buf, 0), 0u);
    EXPECT_EQ(home.readText(kName), "0123456789");
    EXPECT_EQ(bxd::WriteAll(fid, 4, "ab", 2), 0u);
    EXPECT_EQ(home.readText(kName), "0123ab6789");
    (void)Told([&] { EXPECT_EQ(bxd::WriteAll(77, 0, "ab", 2), 71u); });
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(Transfer, WordsOfAFileAreLittleEndian)
{
    home.write(kName, std::string("\x11\x22\x33\x44\x55\x66", 6));
    const u8 fid = mustOpen(kName);
    u32 word = 7;
    u16 half = 7;
    EXPECT_EQ(bxd::ReadWord(fid, 1, &word), 0u);
    EXPECT_EQ(word, 0x55443322u);
    EXPECT_EQ(bxd::ReadHalf(fid, 4, &half), 0u);
    EXPECT_EQ(half, 0x6655u);
    EXPECT_EQ(bxd::ReadWord(fid, 3, &word), 71u) << "three bytes are no word";
    EXPECT_EQ(word, 0x55443322u);
    EXPECT_EQ(bxd::ReadHalf(fid, 5, &half), 71u);
    EXPECT_EQ(half, 0x6655u);
    EXPECT_EQ(bxd::WriteWord(fid, 6, 0xA1B2C3D4), 0u);
    EXPECT_EQ(bxd::WriteHalf(fid, 0, 0xE5F6), 0u);
    EXPECT_EQ(home.readText(kName), "\xF6\xE5\x33\x44\x55\x66\xD4\xC3\xB2\xA1");
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

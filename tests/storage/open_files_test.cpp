// SPDX-License-Identifier: MIT
#include "tests/storage/storage_case.h"

namespace {

using namespace storagetest;

constexpr const char* kName = "F0:A.BOX";

class OpenFiles : public StorageCase {
protected:
    OpenFiles() { home.write(kName, "0123456789"); }

    u8 buf[64] = {};
    u32 len = 0;
};

}  // namespace

// --- open -----------------------------------------------------------------------------------------------

TEST_F(OpenFiles, ARecordTellsTheFile)
{
    const u8 fid = mustOpen(kName);
    const BxdFINFO* record = gBxdFINFOTable[fid];
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->size, 10u);
    EXPECT_STREQ(record->name, kName);
    EXPECT_EQ(record->nameSize, 9);
    EXPECT_EQ(record->refs, 1);
    EXPECT_EQ(record->host, 1);
    EXPECT_EQ(record->fid, fid);
    EXPECT_EQ(record->mode, 67);
    EXPECT_EQ(BxdFileClose(fid), 0u);
    EXPECT_EQ(gBxdFINFOTable[fid], nullptr);
    EXPECT_EQ(fileHandleTbl[0].stream, nullptr);
}

TEST_F(OpenFiles, OneNameOpenedTwiceHasTwoIdsAndStreams)
{
    const u8 one = mustOpen(kName);
    const u8 two = mustOpen(kName);
    EXPECT_EQ(one, 0);
    EXPECT_EQ(two, 1);
    EXPECT_NE(gBxdFINFOTable[one]->host, gBxdFINFOTable[two]->host);
    EXPECT_EQ(gBxdFINFOTable[one]->refs, 1);
    EXPECT_EQ(gBxdFINFOTable[two]->refs, 1);
    EXPECT_EQ(BxdFileClose(one), 0u);
    len = 2;
    EXPECT_EQ(DataReadFromFile(two, 0, buf, &len), 0u) << "the other stays open";
    EXPECT_EQ(BxdFileClose(two), 0u);
}

TEST_F(OpenFiles, ALookUpNeverFindsARecord)
{
    const u8 fid = mustOpen(kName);
    EXPECT_EQ(SearchBxdFINFOFromFID(kName), nullptr);
    EXPECT_EQ(SearchBxdFINFOFromFID("F0:NONE.BOX"), nullptr);
    EXPECT_EQ(SearchBxdFINFOFromFID(std::string(300, 'n').c_str()), nullptr);
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(OpenFiles, TenAreOpenAndTheNextIsRefused)
{
    for (i32 fid = 0; fid < 10; ++fid) { EXPECT_EQ(BxdFileOpen(kName, BXD_MODE_READ), fid); }
    EXPECT_EQ(BxdFileOpen(kName, BXD_MODE_READ), -3);
    EXPECT_EQ(BxdFileOpen(kName, BXD_MODE_WRITE), -3);
    EXPECT_EQ(BxdFileCreate("F0:B.BOX", 0), -1);
    EXPECT_EQ(GetBxdFID(), 10) << "no row is taken";
    for (u8 fid = 0; fid < 10; ++fid) { EXPECT_EQ(BxdFileClose(fid), 0u); }
}

TEST_F(OpenFiles, TheLowestFreeIdIsTaken)
{
    for (u8 fid = 0; fid < 5; ++fid) { EXPECT_EQ(mustOpen(kName), fid); }
    EXPECT_EQ(BxdFileClose(3), 0u);
    EXPECT_EQ(BxdFileClose(1), 0u);
    EXPECT_EQ(mustOpen(kName), 1);
    EXPECT_EQ(mustOpen(kName), 3);
    for (u8 fid = 0; fid < 5; ++fid) { EXPECT_EQ(BxdFileClose(fid), 0u); }
}

TEST_F(OpenFiles, AFullTableGivesRow252)
{
    BxdFINFO other = {};
    for (BxdFINFO*& row : gBxdFINFOTable) { row = &other; }
    EXPECT_EQ(GetBxdFID(), 252);
    const i32 fid = BxdFileOpen(kName, BXD_MODE_READ);
    EXPECT_EQ(fid, 252);
    EXPECT_NE(gBxdFINFOTable[252], &other);
    EXPECT_EQ(BxdFileClose(252), 0u);
    EXPECT_EQ(GetBxdFID(), 252);
    for (BxdFINFO*& row : gBxdFINFOTable) { row = nullptr; }
}

TEST_F(OpenFiles, AReaderAndAWriterKeepTheirModes)
{
    const u8 reader = mustOpen(kName, BXD_MODE_READ);
    const u8 writer = mustOpen(kName, BXD_MODE_WRITE);
    EXPECT_EQ(BxdFileOpenMode(reader), 65);
    EXPECT_EQ(BxdFileOpenMode(writer), 67);
    i32 result = 0;
    EXPECT_EQ(Told([&] { result = BxdFileWrite(reader, 0, "X", 1); }), "") << "refused without a word";
    EXPECT_EQ(result, -2);
    len = 1;
    EXPECT_EQ(DataWriteToFile(reader, 0, "X", &len), 71u);
    EXPECT_EQ(BxdFileWrite(writer, 0, "X", 1), 1);
    EXPECT_EQ(home.readText(kName), "X123456789");
    EXPECT_EQ(BxdFileClose(reader), 0u);
    EXPECT_EQ(BxdFileClose(writer), 0u);
}

TEST_F(OpenFiles, AFileThatCannotBeWrittenOpensForReading)
{
    openUp();
    ASSERT_EQ(chmod(home.path(kName).c_str(), 0444), 0);
    const WithoutRoot plain;
    for (auto [asked, given] : {std::pair{BXD_MODE_WRITE, 65}, std::pair{BXD_MODE_CREATED, 1}}) {
        const u8 fid = mustOpen(kName, static_cast<u8>(asked));
        EXPECT_EQ(BxdFileOpenMode(fid), given);
        EXPECT_EQ(BxdFileSize(fid), 10u);
        EXPECT_EQ(BxdFileCut(fid, 5), 65u);
        EXPECT_EQ(BxdFileWrite(fid, 0, "X", 1), -2);
        EXPECT_EQ(BxdFileWrite(fid, 0, "", 0), -2) << "a cut";
        EXPECT_EQ(BxdFileClose(fid), 0u);
    }
    EXPECT_EQ(home.readText(kName), "0123456789");
}

TEST_F(OpenFiles, WritingAloneIsNotGivenUpForNothing)
{
    openUp();
    ASSERT_EQ(chmod(home.path(kName).c_str(), 0444), 0);
    const WithoutRoot plain;
    EXPECT_EQ(BxdFileOpen(kName, 2), -3) << "without the write bit the mode asks for nothing";
}

TEST_F(OpenFiles, AFailedOpenLeavesNoTrace)
{
    const size_t descriptors = OpenDescriptors();
    EXPECT_EQ(BxdFileOpen("F0:NONE.BOX", BXD_MODE_WRITE), -3);
    EXPECT_EQ(_BxdFileOpen("F0:NONE.BOX", BXD_MODE_WRITE), -3);
    EXPECT_EQ(BxdFileOpen(kName, 64), -3);
    EXPECT_EQ(GetBxdFID(), 0);
    EXPECT_EQ(GetNewFileHandle(), 1);
    EXPECT_EQ(OpenDescriptors(), descriptors);
    EXPECT_FALSE(home.exists("F0:NONE.BOX"));
}

TEST_F(OpenFiles, ANameMayHave255Characters)
{
    const std::string fits = pathOfLength(255);
    const std::string over = pathOfLength(256);
    const i32 fid = BxdFileCreate(fits.c_str(), 0);
    ASSERT_EQ(fid, 0);
    char name[BXD_PATH_SIZE];
    EXPECT_EQ(BxdFileName(0, name), 0u);
    EXPECT_EQ(name, fits);
    EXPECT_EQ(gBxdFINFOTable[0]->nameSize, 256);
    EXPECT_EQ(BxdFileClose(0), 0u);
    EXPECT_EQ(BxdFileSearch(fits.c_str(), 0, 0), 0u);
    EXPECT_EQ(BxdFileDelete(fits.c_str()), 0u);

    home.write(over, "there, but not to be named");
    EXPECT_EQ(BxdFileCreate(over.c_str(), 0), -3);
    EXPECT_EQ(BxdFileOpen(over.c_str(), BXD_MODE_WRITE), -3);
    EXPECT_EQ(_BxdFileOpen(over.c_str(), BXD_MODE_WRITE), -3);
    EXPECT_EQ(BxdFileSearch(over.c_str(), 0, 0), 64u);
    EXPECT_EQ(BxdFileDelete(over.c_str()), 71u);
    EXPECT_EQ(BxdFileRename(over.c_str(), kName), 71u);
    EXPECT_EQ(BxdFileRename(kName, over.c_str()), 71u);
    EXPECT_EQ(home.readText(over), "there, but not to be named");
    EXPECT_EQ(GetBxdFID(), 0);
}

// --- close ----------------------------------------------------------------------------------------------

TEST_F(OpenFiles, AnIdThatIsNotOpenCannotBeClosed)
{
    u32 status = 0;
    for (u32 (*close)(u8) : {BxdFileClose, BxdFileForceClose}) {
        EXPECT_EQ(Told([&] { status = close(5); }), "BxdFileClose: this file Id is not in open table\n");
        EXPECT_EQ(status, 64u);
    }
}

TEST_F(OpenFiles, ACloseCountsTheOpensDown)
{
    const u8 fid = mustOpen(kName);
    gBxdFINFOTable[fid]->refs = 2;
    EXPECT_EQ(BxdFileClose(fid), 0u);
    EXPECT_EQ(gBxdFINFOTable[fid]->refs, 1);
    gBxdFINFOTable[fid]->refs = 0;
    EXPECT_EQ(BxdFileClose(fid), 0u);
    ASSERT_NE(gBxdFINFOTable[fid], nullptr) << "no opens, nothing to close";
    EXPECT_EQ(gBxdFINFOTable[fid]->refs, 0);
    EXPECT_EQ(BxdFileForceClose(fid), 0u);
    EXPECT_EQ(gBxdFINFOTable[fid], nullptr);
}

TEST_F(OpenFiles, AForcedCloseDoesNotCount)
{
    const u8 fid = mustOpen(kName);
    gBxdFINFOTable[fid]->refs = 7;
    EXPECT_EQ(BxdFileCloseCore(fid, 1), 0u);
    EXPECT_EQ(gBxdFINFOTable[fid], nullptr);
    EXPECT_EQ(GetNewFileHandle(), 1);
}

TEST_F(OpenFiles, AFailedCloseClearsTheRowAllTheSame)
{
    const u8 fid = mustOpen(kName);
    EXPECT_EQ(FileClose(gBxdFINFOTable[fid]->host), 0);
    u32 status = 0;
    EXPECT_EQ(Told([&] { status = BxdFileClose(fid); }), "BxdFileClose: failed to close file\n");
    EXPECT_EQ(status, 71u);
    EXPECT_EQ(gBxdFINFOTable[fid], nullptr);
}

TEST_F(OpenFiles, AnOwnerClosesItsFile)
{
    {
        bxd::OpenFile owner(mustOpen(kName));
        EXPECT_EQ(owner.fid(), 0);
        owner.reset(mustOpen(kName));
        EXPECT_EQ(owner.fid(), 1);
        EXPECT_EQ(gBxdFINFOTable[0], nullptr);
    }
    EXPECT_EQ(gBxdFINFOTable[1], nullptr);
    bxd::OpenFile none;
    EXPECT_EQ(none.fid(), kNoFile);
    EXPECT_EQ(none.close(), 0u);
}

// --- create ---------------------------------------------------------------------------------------------

TEST_F(OpenFiles, CreateGivesAnEmptyFileForReadingAndWriting)
{
    const i32 fid = BxdFileCreate(kName, 0xFF);
    ASSERT_EQ(fid, 0);
    EXPECT_EQ(BxdFileOpenMode(0), 3);
    EXPECT_EQ(BxdFileSize(0), 0u);
    EXPECT_EQ(home.readText(kName), "");
    EXPECT_EQ(BxdFileWrite(0, 0, "abc", 3), 3);
    EXPECT_EQ(BxdFileRead(0, 0, buf, 3), 3);
    EXPECT_EQ(gBxdFINFOTable[0]->host, 1) << "one stream, the second of the two";
    EXPECT_EQ(GetNewFileHandle(), 2);
    EXPECT_EQ(BxdFileClose(0), 0u);
}

TEST_F(OpenFiles, CreateBesideAnOpenFileMakesARecordOfItsOwn)
{
    const u8 old = mustOpen(kName);
    const i32 fid = BxdFileCreate(kName, 0);
    EXPECT_EQ(fid, 1);
    EXPECT_EQ(BxdFileSize(old), 10u) << "the other's figure stays its own";
    EXPECT_EQ(BxdFileClose(old), 0u);
    EXPECT_EQ(BxdFileClose(1), 0u);
}

TEST_F(OpenFiles, CreateGivesTheHostsRefusal)
{
    EXPECT_EQ(BxdFileCreate("F0:none/A.BOX", 0), -1);
    EXPECT_EQ(GetBxdFID(), 0);
}

// --- scratch files --------------------------------------------------------------------------------------

TEST_F(OpenFiles, ScratchFilesTakeTheFirstFreeNumber)
{
    char name[16];
    memset(name, '#', sizeof name);
    EXPECT_EQ(BxdFileOpenTmp(name), 0);
    EXPECT_STREQ(name, "F0:TMPBXDV1.000");
    EXPECT_EQ(BxdFileOpenMode(0), 3);
    EXPECT_EQ(BxdFileOpenTmp(name), 1);
    EXPECT_STREQ(name, "F0:TMPBXDV1.001");
    EXPECT_EQ(BxdFileClose(0), 0u);
    EXPECT_EQ(BxdFileOpenTmp(name), 0) << "a name that exists is not used again";
    EXPECT_STREQ(name, "F0:TMPBXDV1.002");
    EXPECT_EQ(BxdFileDelete("F0:TMPBXDV1.001"), 0u);
    EXPECT_EQ(BxdFileOpenTmp(name), 2);
    EXPECT_STREQ(name, "F0:TMPBXDV1.001");
    for (u8 fid = 0; fid < 3; ++fid) { EXPECT_EQ(BxdFileClose(fid), 0u); }
}

TEST_F(OpenFiles, TheHundredAndFirstScratchFileIsRefused)
{
    char name[16];
    for (int number = 0; number < 100; ++number) {
        const i32 fid = BxdFileOpenTmp(name);
        ASSERT_EQ(fid, 0);
        EXPECT_EQ(BxdFileClose(0), 0u);
    }
    EXPECT_STREQ(name, "F0:TMPBXDV1.099");
    EXPECT_EQ(BxdFileOpenTmp(name), -1);
    EXPECT_FALSE(home.exists("F0:TMPBXDV1.100"));
}

TEST_F(OpenFiles, AScratchFileNeedsAFreeStreamAndLeavesNothingWithoutOne)
{
    for (i32 fid = 0; fid < 10; ++fid) { EXPECT_EQ(BxdFileOpen(kName, BXD_MODE_READ), fid); }
    char name[16];
    EXPECT_EQ(BxdFileOpenTmp(name), -1);
    for (u8 fid = 0; fid < 10; ++fid) { EXPECT_EQ(BxdFileClose(fid), 0u); }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(home.folder()), {}), 1);
}

TEST_F(OpenFiles, AScratchFileThatCannotBeOpenedAgainIsNotLeftBehind)
{
    openUp();
    ASSERT_EQ(chmod(home.folder().c_str(), 0777), 0);
    const mode_t mask = umask(0777);
    {
        const WithoutRoot plain;
        char name[16];
        EXPECT_EQ(BxdFileOpenTmp(name), -1);
    }
    umask(mask);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(home.folder()), {}), 1);
}

// --- facts ----------------------------------------------------------------------------------------------

TEST_F(OpenFiles, EachIdHasItsOwnFigureOfTheSize)
{
    const u8 one = mustOpen(kName);
    const u8 two = mustOpen(kName);
    EXPECT_EQ(BxdFileWrite(one, 10, "abc", 3), 3);
    EXPECT_EQ(BxdFileSize(one), 13u);
    EXPECT_EQ(BxdFileSize(two), 10u);
    EXPECT_EQ(BxdFileRead(two, 10, buf, 3), 3) << "the contents are seen all the same";
    EXPECT_EQ(std::string(buf, buf + 3), "abc");
    EXPECT_EQ(BxdFileClose(one), 0u);
    EXPECT_EQ(BxdFileClose(two), 0u);
}

TEST_F(OpenFiles, TheSizeIsNotAskedOfTheHostAgain)
{
    const u8 fid = mustOpen(kName);
    home.write(kName, "");
    EXPECT_EQ(BxdFileSize(fid), 10u);
    EXPECT_EQ(FileClose(gBxdFINFOTable[fid]->host), 0);
    EXPECT_EQ(BxdFileSize(fid), 10u) << "not even with no stream under it";
    (void)Told([&] { EXPECT_EQ(BxdFileClose(fid), 71u); });
}

TEST_F(OpenFiles, OneIdSeesAtOnceWhatAnotherHasChanged)
{
    const u8 one = mustOpen(kName);
    const u8 two = mustOpen("F1:A.BOX");
    EXPECT_EQ(BxdFileRead(two, 0, buf, 10), 10);
    EXPECT_EQ(BxdFileWrite(one, 3, "##", 2), 2);
    EXPECT_EQ(BxdFileRead(two, 0, buf, 10), 10);
    EXPECT_EQ(std::string(buf, buf + 10), "012##56789");
    EXPECT_EQ(BxdFileClose(one), 0u);
    EXPECT_EQ(BxdFileRead(two, 0, buf, 10), 10);
    EXPECT_EQ(std::string(buf, buf + 10), "012##56789");
    EXPECT_EQ(BxdFileClose(two), 0u);
}

TEST_F(OpenFiles, InfoHasTenBytesOrTheName)
{
    const u8 fid = mustOpen("F1:A.BOX", BXD_MODE_READ);
    memset(buf, '#', sizeof buf);
    EXPECT_EQ(BxdFileInfoRead(fid, 0, buf), 0u);
    const u8 expected[11] = {10, 0, 0, 0, 0, 0, 0, 0, 0, 65, '#'};
    EXPECT_EQ(memcmp(buf, expected, sizeof expected), 0);
    char name[BXD_PATH_SIZE];
    EXPECT_EQ(BxdFileInfoRead(fid, 1, name), 0u);
    EXPECT_STREQ(name, "F1:A.BOX");
    EXPECT_EQ(BxdFileName(fid, name), 0u);
    EXPECT_STREQ(name, "F1:A.BOX");
    EXPECT_EQ(BxdFileInfoRead(fid, 2, buf), 71u);
    EXPECT_EQ(BxdFileInfoRead(fid, 255, buf), 71u);
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(OpenFiles, AnIdThatIsNotOpenHasNoFacts)
{
    for (u8 kind : {u8{0}, u8{1}, u8{2}}) { EXPECT_EQ(BxdFileInfoRead(kNoFile, kind, buf), 64u); }
    char name[4] = "abc";
    EXPECT_EQ(BxdFileName(kNoFile, name), 64u);
    EXPECT_STREQ(name, "abc");
    EXPECT_EQ(BxdFileSize(kNoFile), 0u);
    EXPECT_EQ(BxdFileOpenMode(kNoFile), 0);
}

TEST_F(OpenFiles, TheFirstOpenRowIsTold)
{
    EXPECT_EQ(Told([] { CheckFINFO(); }), "CheckFINFO ok\n");
    EXPECT_EQ(mustOpen(kName), 0);
    EXPECT_EQ(mustOpen(kName), 1);
    EXPECT_EQ(BxdFileClose(0), 0u);
    char expected[100];
    snprintf(expected, sizeof expected, "CheckFINFO bxdfinfo %x %x 1\n",
             static_cast<unsigned>(reinterpret_cast<uintptr_t>(gBxdFINFOTable)),
             static_cast<unsigned>(reinterpret_cast<uintptr_t>(gBxdFINFOTable[1])));
    EXPECT_EQ(Told([] { CheckFINFO(); }), expected);
    EXPECT_EQ(BxdFileClose(1), 0u);
}

// --- files by name --------------------------------------------------------------------------------------

TEST_F(OpenFiles, AFileIsSearchedByItsName)
{
    EXPECT_EQ(BxdFileSearch(kName, 0, 0), 0u);
    EXPECT_EQ(BxdFileSearch("F1:A.BOX", 1, 2), 0u);
    EXPECT_EQ(BxdFileSearch("F0:NONE.BOX", 0, 0), 64u);
}

TEST_F(OpenFiles, DeletingAFileThatIsOpenGoesThrough)
{
    const u8 fid = mustOpen(kName);
    EXPECT_EQ(BxdFileDelete(kName), 0u);
    EXPECT_FALSE(home.exists(kName));
    EXPECT_EQ(BxdFileRead(fid, 0, buf, 10), 10) << "who has it open keeps its contents";
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(OpenFiles, DeletingAFileThatIsNotThereFails) { EXPECT_EQ(BxdFileDelete("F0:NONE.BOX"), 71u); }

TEST_F(OpenFiles, RenamingFailsAlways)
{
    const u8 fid = mustOpen(kName);
    EXPECT_EQ(BxdFileRename(kName, "F0:B.BOX"), 71u);
    EXPECT_EQ(BxdFileRename("F0:NONE.BOX", "F0:B.BOX"), 71u);
    EXPECT_TRUE(home.exists(kName));
    EXPECT_FALSE(home.exists("F0:B.BOX"));
    char name[BXD_PATH_SIZE];
    EXPECT_EQ(BxdFileName(fid, name), 0u);
    EXPECT_STREQ(name, kName);
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

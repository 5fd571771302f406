// SPDX-License-Identifier: MIT
#include "tests/storage/storage_case.h"

namespace {

using namespace storagetest;

class BadFiles : public StorageCase {
protected:
    ~BadFiles() override { (void)DeleteDriveErrorFile(""); }

    // Registers a file in silence.
    static u32 enter(const char* name, u16 status = 130, u8 level = 1)
    {
        return BxdSetErrorFileName(name, status, level, nullptr);
    }
    // The registered names in their order, read by number; the links are tested on the way.
    static std::vector<std::string> names()
    {
        std::vector<std::string> all;
        const BxdErrorFile* before = nullptr;
        for (const BxdErrorFile* e = gBxdFirstErrorFile; e != nullptr; before = e, e = e->next) {
            EXPECT_EQ(e->prev, before);
            EXPECT_EQ(e->nameSize, strlen(e->name) + 1);
            char name[BXD_PATH_SIZE];
            EXPECT_EQ(BxdGetErrorFileName(static_cast<u32>(all.size()) + 1, name), 0u);
            EXPECT_STREQ(name, e->name);
            all.emplace_back(name);
        }
        EXPECT_EQ(BxdGetErrorFileNum(), all.size());
        return all;
    }

    using Names = std::vector<std::string>;
};

}  // namespace

TEST_F(BadFiles, AreListedInOrderOfArrival)
{
    EXPECT_EQ(names(), Names{});
    for (const char* name : {"F0:B.BOX", "F0:A.BOX", "F1:C.BOX"}) { EXPECT_EQ(enter(name), 0u); }
    EXPECT_EQ(names(), (Names{"F0:B.BOX", "F0:A.BOX", "F1:C.BOX"}));
}

TEST_F(BadFiles, AMessageIsToldWithItsArgumentsAndKeptWithout)
{
    u32 status = 1;
    EXPECT_EQ(
        Told([&] { status = BxdSetErrorFileName("F0:A.BOX", 128, 2, "version %x of %s\n", 0x45, "A"); }),
        "version 45 of A\n");
    EXPECT_EQ(status, 0u);
    u8 level = 0;
    char message[64];
    EXPECT_EQ(BxdGetErrorFileInf("F0:A.BOX", &level, message), 128u);
    EXPECT_EQ(level, 2);
    EXPECT_STREQ(message, "version %x of %s\n");
}

TEST_F(BadFiles, ASecondEntryOfANameReplacesTheFirst)
{
    EXPECT_EQ(enter("F0:A.BOX", 128, 1), 0u);
    EXPECT_EQ(enter("F0:B.BOX", 130, 1), 0u);
    EXPECT_EQ(Told([] { EXPECT_EQ(BxdSetErrorFileName("F0:A.BOX", 134, 3, "again\n"), 67u); }), "again\n");
    EXPECT_EQ(names(), (Names{"F0:A.BOX", "F0:B.BOX"}));
    u8 level = 0;
    char message[64];
    EXPECT_EQ(BxdGetErrorFileInf("F0:A.BOX", &level, message), 134u);
    EXPECT_EQ(level, 3);
    EXPECT_STREQ(message, "again\n");
}

TEST_F(BadFiles, WithoutAMessageTheTextIsEmpty)
{
    EXPECT_EQ(Told([] { EXPECT_EQ(enter("F0:A.BOX", 130, 4), 0u); }), "");
    u8 level = 0;
    char message[8] = "before";
    EXPECT_EQ(BxdGetErrorFileInf("F0:A.BOX", &level, message), 130u);
    EXPECT_EQ(level, 4);
    EXPECT_STREQ(message, "");
}

TEST_F(BadFiles, OneThatIsNotRegisteredHasStatusZero)
{
    EXPECT_EQ(enter("F0:A.BOX"), 0u);
    u8 level = 9;
    char message[8] = "before";
    EXPECT_EQ(BxdGetErrorFileInf("F0:B.BOX", &level, message), 0u);
    EXPECT_EQ(level, 9);
    EXPECT_STREQ(message, "before");
}

TEST_F(BadFiles, NumbersRunFromOneToTheCount)
{
    char name[BXD_PATH_SIZE] = "before";
    EXPECT_EQ(BxdGetErrorFileName(0, name), 66u);
    EXPECT_EQ(BxdGetErrorFileName(1, name), 66u);
    EXPECT_EQ(enter("F0:A.BOX"), 0u);
    EXPECT_EQ(enter("F0:B.BOX"), 0u);
    EXPECT_EQ(BxdGetErrorFileName(0, name), 66u);
    EXPECT_EQ(BxdGetErrorFileName(3, name), 66u);
    EXPECT_EQ(BxdGetErrorFileName(0xFFFFFFFF, name), 66u);
    EXPECT_STREQ(name, "before");
    EXPECT_EQ(BxdGetErrorFileName(2, name), 0u);
    EXPECT_STREQ(name, "F0:B.BOX");
}

TEST_F(BadFiles, AWalkThatEndsBeforeTheCountFindsNothing)
{
    EXPECT_EQ(enter("F0:A.BOX"), 0u);
    ++gBxdGlobal;
    char name[BXD_PATH_SIZE];
    EXPECT_EQ(BxdGetErrorFileName(2, name), 66u);
    --gBxdGlobal;
}

TEST_F(BadFiles, ARegisteredNameIsAlwaysFound)
{
    // From however deep a call: the key comes of the name alone.
    EXPECT_EQ(enter("F0:A.BOX"), 0u);
    const std::function<bool(int)> deep = [&deep](int depth) {
        volatile char room[997] = {};
        room[depth] = 1;
        return depth == 0 ? IsErrorFile("F0:A.BOX") != nullptr : deep(depth - 1) && room[depth] == 1;
    };
    for (int depth = 0; depth < 70; ++depth) { EXPECT_TRUE(deep(depth)); }
}

TEST_F(BadFiles, NamesOfOneLengthAreTold)
{
    EXPECT_EQ(enter("F0:A.BOX"), 0u);
    EXPECT_EQ(IsErrorFile("F0:B.BOX"), nullptr);
    EXPECT_EQ(IsErrorFile("F1:A.BOX"), nullptr);
    EXPECT_EQ(IsErrorFile("F0:A.BO"), nullptr);
    EXPECT_EQ(IsErrorFile("F0:A.BOX"), gBxdFirstErrorFile);
}

TEST_F(BadFiles, EntriesGoFromAnyPlaceOfTheList)
{
    for (const char* name : {"1", "2", "3", "4"}) { EXPECT_EQ(enter(name), 0u); }
    EXPECT_EQ(DeleteErrorFile("2"), 0u);
    EXPECT_EQ(names(), (Names{"1", "3", "4"}));
    EXPECT_EQ(DeleteErrorFile("1"), 0u);
    EXPECT_EQ(DeleteErrorFile("4"), 0u);
    EXPECT_EQ(names(), Names{"3"});
    EXPECT_EQ(DeleteErrorFile("1"), 66u);
    EXPECT_EQ(DeleteErrorFile("3"), 0u);
    EXPECT_EQ(names(), Names{});
    EXPECT_EQ(DeleteErrorFile("3"), 66u);
    EXPECT_EQ(enter("5"), 0u);
    EXPECT_EQ(names(), Names{"5"});
}

TEST_F(BadFiles, ADrivesEntriesGoTogether)
{
    for (const char* name : {"F0:A", "F1:A", "F0:B", "F0:C", "F1:B", "plain"}) { EXPECT_EQ(enter(name), 0u); }
    EXPECT_STREQ(FindErrorDriveFile("F1:")->name, "F1:A");
    EXPECT_EQ(DeleteDriveErrorFile("F0:"), 0u);
    EXPECT_EQ(names(), (Names{"F1:A", "F1:B", "plain"}));
    EXPECT_EQ(DeleteDriveErrorFile("F0:"), 66u);
    EXPECT_EQ(FindErrorDriveFile("F0:"), nullptr);
    EXPECT_EQ(DeleteDriveErrorFile("F1:"), 0u);
    EXPECT_EQ(names(), Names{"plain"});
}

TEST_F(BadFiles, ANameMayHave255Characters)
{
    const std::string fits(255, 'n');
    const std::string over(256, 'n');
    EXPECT_EQ(enter(fits.c_str()), 0u);
    EXPECT_EQ(names(), Names{fits});
    EXPECT_NE(IsErrorFile(fits.c_str()), nullptr);
    u32 status = 0;
    EXPECT_EQ(Told([&] { status = BxdSetErrorFileName(over.c_str(), 130, 1, "told\n"); }), "told\n");
    EXPECT_EQ(status, 71u);
    EXPECT_EQ(names(), Names{fits}) << "no entry is left";
    EXPECT_EQ(IsErrorFile(over.c_str()), nullptr);
    EXPECT_EQ(DeleteErrorFile(over.c_str()), 66u);
}

TEST_F(BadFiles, AreRefusedByTheOpenButNotByTheChecks)
{
    home.write("F0:A.BOX", "abc");
    EXPECT_EQ(enter("F0:A.BOX", 130), 0u);
    EXPECT_EQ(BxdFileOpen("F0:A.BOX", BXD_MODE_READ), -3);
    EXPECT_EQ(BxdFileOpen("F0:A.BOX", BXD_MODE_WRITE), -3);
    EXPECT_EQ(GetNewFileHandle(), 1) << "the file is not touched";
    const i32 fid = _BxdFileOpen("F0:A.BOX", BXD_MODE_WRITE);
    ASSERT_EQ(fid, 0);
    EXPECT_EQ(BxdFileClose(0), 0u);
    const i32 other = BxdFileOpen("F1:A.BOX", BXD_MODE_READ);
    EXPECT_EQ(other, 0) << "another name of the file is not barred";
    EXPECT_EQ(BxdFileClose(0), 0u);
}

TEST_F(BadFiles, OneRegisteredAsOpenableOpens)
{
    home.write("F0:A.BOX", "abc");
    EXPECT_EQ(enter("F0:A.BOX", BXD_ERRFILE_OPENABLE), 0u);
    EXPECT_EQ(BxdFileOpen("F0:A.BOX", BXD_MODE_WRITE), 0);
    EXPECT_EQ(_BxdFileOpen("F0:A.BOX", BXD_MODE_WRITE), 1);
    EXPECT_EQ(BxdFileClose(0), 0u);
    EXPECT_EQ(BxdFileClose(1), 0u);
}

TEST_F(BadFiles, AreGoodAgainWhenCreatedAnew)
{
    EXPECT_EQ(enter("F0:A.BOX"), 0u);
    const i32 fid = BxdFileCreate("F0:A.BOX", 0);
    ASSERT_EQ(fid, 0);
    EXPECT_EQ(BxdFileClose(0), 0u);
    EXPECT_EQ(names(), Names{});
}

TEST_F(BadFiles, AreGoodAgainWhenDeleted)
{
    home.write("F0:A.BOX", "abc");
    EXPECT_EQ(enter("F0:A.BOX"), 0u);
    EXPECT_EQ(BxdFileDelete("F0:A.BOX"), 0u);
    EXPECT_EQ(names(), Names{});
    EXPECT_EQ(enter("F0:A.BOX"), 0u);
    EXPECT_EQ(BxdFileDelete("F0:A.BOX"), 71u) << "there is none, and the entry goes all the same";
    EXPECT_EQ(names(), Names{});
}

TEST_F(BadFiles, TakeANewNameFromARenamingThatFails)
{
    home.write("F0:A.BOX", "abc");
    EXPECT_EQ(enter("F0:A.BOX", 134, 2), 0u);
    EXPECT_EQ(BxdFileRename("F0:A.BOX", "F0:LONGER.BOX"), 71u);
    EXPECT_EQ(names(), Names{"F0:LONGER.BOX"});
    EXPECT_EQ(IsErrorFile("F0:A.BOX"), nullptr);
    EXPECT_NE(IsErrorFile("F0:LONGER.BOX"), nullptr);
    EXPECT_TRUE(home.exists("F0:A.BOX"));
    EXPECT_FALSE(home.exists("F0:LONGER.BOX"));
    EXPECT_EQ(BxdFileRename("F0:LONGER.BOX", std::string(256, 'n').c_str()), 71u);
    EXPECT_EQ(names(), Names{"F0:LONGER.BOX"});
}

// SPDX-License-Identifier: MIT
#include "storage/bxd_file_names.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

std::string Stripped(std::string name) { return BxdStripDriveName(name.data()); }

std::string Base(std::string name)
{
    const char* base = BxdGetBaseNamePtr(name.data());
    return base == nullptr ? "(null)" : base;
}

// What AddDriveName makes, with a '|' where the copied name begins.
std::string Added(std::string reference, const std::string& name)
{
    char dst[BXD_PATH_SIZE];
    const char* const begin = AddDriveName(dst, reference.data(), name.c_str());
    return std::string(dst, static_cast<size_t>(begin - dst)) + "|" + begin;
}

}  // namespace

TEST(FileNames, AreEqualLetterByLetter)
{
    EXPECT_TRUE(BxdCheckFileName("F0:A.BOX", "F0:A.BOX"));
    EXPECT_TRUE(BxdCheckFileName("", ""));
    EXPECT_FALSE(BxdCheckFileName("F0:A.BOX", "F1:A.BOX"));
    EXPECT_FALSE(BxdCheckFileName("F0:A.BOX", "F0:a.box"));
    EXPECT_FALSE(BxdCheckFileName("F0:A", "F0:A.BOX"));
}

TEST(FileNames, LoseTheirDriveAtTheFirstColon)
{
    EXPECT_EQ(Stripped("F0:A.BOX"), "A.BOX");
    EXPECT_EQ(Stripped("F0:A:B"), "A:B");
    EXPECT_EQ(Stripped("F0:"), "");
    EXPECT_EQ(Stripped("A.BOX"), "A.BOX");
    EXPECT_EQ(Stripped(""), "");
}

TEST(FileNames, HaveTheirBaseBehindTheLastSlashElseTheFirstColon)
{
    EXPECT_EQ(Base("F0:A.BOX"), "A.BOX");
    EXPECT_EQ(Base("F0:sub/A.BOX"), "A.BOX");
    EXPECT_EQ(Base("/a/b/c.box"), "c.box");
    EXPECT_EQ(Base("/a/b/x:c.box"), "x:c.box");
    EXPECT_EQ(Base("F0:a:b"), "a:b");
    EXPECT_EQ(Base("/a/b/"), "");
    EXPECT_EQ(Base("A.BOX"), "(null)");
    EXPECT_EQ(Base(""), "(null)");
}

TEST(AddDriveName, PutsANameBesideItsReference)
{
    EXPECT_EQ(Added("F0:A.BOX", "A.IDX"), "F0:|A.IDX");
    EXPECT_EQ(Added("F0:A.BOX", "F1:A.IDX"), "F0:|A.IDX");
    EXPECT_EQ(Added("/home/u/A.BOX", "F1:A.IDX"), "/home/u/|A.IDX");
    EXPECT_EQ(Added("F0:sub/A.BOX", "A.IDX"), "F0:sub/|A.IDX");
    EXPECT_EQ(Added("F0:A.BOX", "F1:x:y"), "F0:|x:y");
    EXPECT_EQ(Added("F0:", ""), "F0:|");
}

TEST(AddDriveName, AReferenceWithoutABaseGivesNoPrefix)
{
    EXPECT_EQ(Added("A.BOX", "A.IDX"), "|A.IDX");
    EXPECT_EQ(Added("A.BOX", "F0:A.IDX"), "|A.IDX");
}

TEST(AddDriveName, ANameThatWouldBeTooLongBecomesNone)
{
    const std::string fits(252, 'n');
    EXPECT_EQ(Added("F0:A.BOX", fits), "F0:|" + fits);
    EXPECT_EQ(Added("F0:A.BOX", fits + "n"), "|");
    EXPECT_EQ(Added("A.BOX", fits + "nnn"), "|" + fits + "nnn");
    EXPECT_EQ(Added("A.BOX", fits + "nnnn"), "|");
    EXPECT_EQ(Added(std::string(300, 'd') + "/A", "B"), "|");
}

TEST(TrimBlank, CopiesANameAsItIs)
{
    char dst[BXD_PATH_SIZE];
    EXPECT_EQ(TrimBlank(dst, "  F0:A B.BOX  "), dst);
    EXPECT_STREQ(dst, "  F0:A B.BOX  ");
    const std::string longest(255, 'n');
    EXPECT_EQ(TrimBlank(dst, longest.c_str()), longest);
}

TEST(NameKey, LiesAbove16BitsAndHasTheNamesSizeInThem)
{
    char work[BXD_PATH_SIZE];
    EXPECT_EQ(bxd::NameKey(work, "F0:A.BOX"), 0x10009u);
    EXPECT_STREQ(work, "F0:A.BOX");
    EXPECT_EQ(bxd::NameKey(work, ""), 0x10001u);
    EXPECT_EQ(bxd::NameKey(work, std::string(255, 'n').c_str()), 0x10100u);
}

TEST(NameFits, Upto255Characters)
{
    EXPECT_TRUE(bxd::NameFits(""));
    EXPECT_TRUE(bxd::NameFits(std::string(255, 'n').c_str()));
    EXPECT_FALSE(bxd::NameFits(std::string(256, 'n').c_str()));
    EXPECT_FALSE(bxd::NameFits(std::string(100000, 'n').c_str()));
}

TEST(CopyName, GivesABlockOfItsOwn)
{
    char* copy = bxd::CopyName("F0:A.BOX", 9);
    ASSERT_NE(copy, nullptr);
    EXPECT_STREQ(copy, "F0:A.BOX");
    free(copy);
}

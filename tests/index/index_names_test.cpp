// SPDX-License-Identifier: MIT
// How box and index name each other.
#include "index/bxd_indx_names.h"

#include <gtest/gtest.h>

#include <bxd/bxd.h>

#include <string>

namespace {

std::string OrNull(const char* s) { return s == nullptr ? "(null)" : s; }

TEST(IndexNames, PartsOfAName)
{
    struct Case {
        const char *name, *drive, *path, *base;
    };
    const char* const none = "(null)";
    for (const Case& c :
         {Case{"F0:/dir/A.BOX", "F0:/dir/A.BOX", "/dir/A.BOX", "A.BOX"},
          Case{"F0:A.BOX", "F0:A.BOX", none, "A.BOX"}, Case{"F0:dir/A.BOX", "F0:dir/A.BOX", none, "A.BOX"},
          Case{"/dir/A.BOX", none, "/dir/A.BOX", "A.BOX"},
          Case{"\\dir\\A.BOX", none, "\\dir\\A.BOX", "A.BOX"},
          Case{"F0:\\dir/A.BOX", "F0:\\dir/A.BOX", "\\dir/A.BOX", "dir/A.BOX"},
          Case{"dir/A.BOX", none, none, "A.BOX"}, Case{"A.BOX", none, none, "A.BOX"},
          Case{"F0:", "F0:", none, ""}, Case{"", none, none, ""}}) {
        EXPECT_EQ(OrNull(DriveNamePtr(c.name)), c.drive) << c.name;
        EXPECT_EQ(OrNull(PathNamePtr(c.name)), c.path) << c.name;
        EXPECT_EQ(OrNull(BaseNamePtr(c.name)), c.base) << c.name;
    }
}

TEST(IndexNames, TheFormTellsHowMuchOfTheNameIsShared)
{
    struct Case {
        const char *target, *reference;
        int form;
    };
    for (const Case& c : {Case{"A.BOX", "F0:/x/A.IDX", 1},         //
                          Case{"F0:/x/A.BOX", "F0:/x/A.IDX", 1},   //
                          Case{"F0:/y/A.BOX", "F0:/x/A.IDX", 2},   //
                          Case{"F1:/x/A.BOX", "F0:/x/A.IDX", 3},   //
                          Case{"F0:A.BOX", "F0:A.IDX", 1},         //
                          Case{"F1:A.BOX", "F0:A.IDX", 3},         //
                          Case{"F0:A.BOX", "A.IDX", 3},            //
                          Case{"F0:A.BOX", "F0", 3},               //
                          Case{"F0:A.BOX", "", 3},                 //
                          Case{"F0:/x/A.BOX", "F0:A.IDX", 2},      //
                          Case{"F0:/x/A.BOX", "F0:/x", 2},         //
                          Case{"F0:/x/A.BOX", "F0:", 2},           //
                          Case{"F0:/x/A.BOX", "F0:/xy/A.IDX", 2},  //
                          Case{"/x/A.BOX", "/x/A.IDX", 1},         //
                          Case{"/x/A.BOX", "/y/A.IDX", 2},         //
                          Case{"/x/A.BOX", "F0:/x/A.IDX", 1},      //
                          Case{"/x/A.BOX", "A.IDX", 2},            //
                          Case{"x/A.BOX", "y/A.IDX", 1},           //
                          Case{"\\x\\A.BOX", "\\x\\A.IDX", 1},     //
                          Case{"", "", 1}}) {
        EXPECT_EQ(GetNameType(c.target, c.reference), c.form) << c.target << " beside " << c.reference;
    }
}

TEST(IndexNames, TheComparisonEndsWithTheDirectoryOfTheTarget)
{
    EXPECT_EQ(GetNameType("F0:/x/A.BOX", "F0:/x/deeper/A.IDX"), 1);
    EXPECT_EQ(GetNameType("F0:A.BOX", "F0:/x/A.IDX"), 1);
    EXPECT_EQ(GetNameType("F0:/x/deeper/A.BOX", "F0:/x/A.IDX"), 2);
}

// The full name of what is stored beside a reference, by both procedures.
std::string Full(const char* reference, const char* stored, u8 form)
{
    char box[256];
    char index[256];
    std::string text = std::to_string(GetFullPathBoxName(box, reference, stored, form));
    EXPECT_EQ(text, std::to_string(GetFullPathIndexName(index, stored, reference, form)));
    EXPECT_STREQ(box, index);
    return text + " " + box;
}

TEST(IndexNames, FullNamesOfTheThreeForms)
{
    EXPECT_EQ(Full("F0:/x/A.IDX", "B.BOX", 1), "0 F0:/x/B.BOX");
    EXPECT_EQ(Full("F0:/x/A.IDX", "F1:/y/B.BOX", 1), "0 F0:/x/B.BOX");
    EXPECT_EQ(Full("A.IDX", "B.BOX", 1), "0 B.BOX");
    EXPECT_EQ(Full("F0:/x/A.IDX", "/y/B.BOX", 2), "0 F0:/y/B.BOX");
    EXPECT_EQ(Full("F0:/x/A.IDX", "F1:/y/B.BOX", 2), "0 F0:/y/B.BOX");
    EXPECT_EQ(Full("F0:/x/A.IDX", "F1:y/B.BOX", 2), "0 F0:B.BOX");
    EXPECT_EQ(Full("/x/A.IDX", "/y/B.BOX", 2), "0 /y/B.BOX");  // no drive, no prefix
    EXPECT_EQ(Full("F0:/x/A.IDX", "F1:/y/B.BOX", 3), "0 F1:/y/B.BOX");
    for (const u8 form : {u8{0}, u8{4}, u8{255}}) { EXPECT_EQ(Full("F0:A.IDX", "B.BOX", form), "0 "); }
}

TEST(IndexNames, ANameThatDoesNotFitIsRefused)
{
    const std::string directory = "F0:/" + std::string(240, 'd') + "/";
    const std::string name(255 - directory.size(), 'n');
    EXPECT_EQ(Full(directory.c_str(), name.c_str(), 1), "0 " + directory + name);
    EXPECT_EQ(Full(directory.c_str(), (name + "n").c_str(), 1), "71 ");
    const std::string path = "/" + std::string(251, 'n');
    EXPECT_EQ(Full("F0:A", path.c_str(), 2), "0 F0:" + path);
    EXPECT_EQ(Full("F0:A", (path + "n").c_str(), 2), "71 ");
    EXPECT_EQ(Full("A", std::string(255, 'n').c_str(), 3), "0 " + std::string(255, 'n'));
    EXPECT_EQ(Full("A", std::string(256, 'n').c_str(), 3), "71 ");
    EXPECT_EQ(Full("A", std::string(5000, 'n').c_str(), 1), "71 ");
}

}  // namespace

// SPDX-License-Identifier: MIT
// The language of the process: its name, and which languages pass for each other.
#include <bxd/language.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "match/bxd_sort_code.h"

namespace {

// Each test begins as a process does.
class Language : public ::testing::Test {
protected:
    Language() { memset(gLang, 0, sizeof gLang); }
    ~Language() override { memset(gLang, 0, sizeof gLang); }

    static std::string Name()
    {
        char out[BXD_LANGUAGE_SIZE];
        memset(out, '#', sizeof out);
        BxdGetLanguage(out);
        return out;
    }
};

}  // namespace

TEST(LanguageOfAProcess, IsEnglishAtItsStartAndHasTheJapaneseTables)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // another start of this program
    EXPECT_EXIT(
        {
            char name[BXD_LANGUAGE_SIZE] = {};
            BxdGetLanguage(name);
            const bool english = strcmp(name, "en") == 0;
            const bool matches = BxdIsLanguageMatch("JA") == 0 && BxdIsLanguageMatch("en") == 1;
            const bool tables = SortConvCharUtf8Lang == SortConvCharUtf8Ja &&
                                SearchCodeConverterUtf8 == SearchCodeFromSortCodeUtf8Ja;
            BxdSetLanguage("Ja");
            const bool japanese = BxdIsLanguageMatch("ja") == 1;
            exit((english ? 0 : 1) | (matches ? 0 : 2) | (tables ? 0 : 4) | (japanese ? 0 : 8));
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(Language, IsEnglishBeforeOneIsSet)
{
    EXPECT_EQ(Name(), "en");
    EXPECT_EQ(gLang[0], '\0') << "asking sets nothing";
    EXPECT_EQ(BxdIsLanguageMatch("JA"), 0);
    EXPECT_EQ(BxdIsLanguageMatch("en"), 1);
}

TEST_F(Language, NamesOfJapaneseMatchInAnyCase)
{
    for (const char* set : {"ja", "Ja", "jA", "JA"}) {
        BxdSetLanguage(set);
        EXPECT_EQ(Name(), set) << "the name stays as it was given";
        for (const char* asked : {"ja", "Ja", "jA", "JA"}) {
            EXPECT_EQ(BxdIsLanguageMatch(asked), 1) << asked;
        }
        for (const char* asked : {"en", "", "j", "a", "jap", "ja_JP", "ja ", " ja"}) {
            EXPECT_EQ(BxdIsLanguageMatch(asked), 0) << asked;
        }
    }
}

TEST_F(Language, LanguagesOtherThanJapaneseMatchEachOther)
{
    for (const char* set : {"en", "de", "fr_F", "ja_J", "jap", "j", ""}) {
        BxdSetLanguage(set);
        for (const char* asked : {"en", "zh", "", "japanese", "ja-JP", "j", "*a"}) {
            EXPECT_EQ(BxdIsLanguageMatch(asked), 1) << set << " " << asked;
        }
        EXPECT_EQ(BxdIsLanguageMatch("ja"), 0) << set;
    }
}

TEST_F(Language, NamesAreKeptUpToFourCharacters)
{
    BxdSetLanguage("english");
    EXPECT_EQ(Name(), "engl");
    BxdSetLanguage("ja_JP.UTF-8");
    EXPECT_EQ(Name(), "ja_J");
    EXPECT_EQ(BxdIsLanguageMatch("ja"), 0);
}

TEST_F(Language, AShorterNameReplacesALongerOne)
{
    BxdSetLanguage("engl");
    BxdSetLanguage("d");
    EXPECT_EQ(Name(), "d");
    BxdSetLanguage("engl");
    BxdSetLanguage("ja");
    EXPECT_EQ(Name(), "ja");
    BxdSetLanguage("");
    EXPECT_EQ(Name(), "en");
}

TEST_F(Language, ANameTakesNoMoreThanFiveBytes)
{
    char out[BXD_LANGUAGE_SIZE];
    for (const char* set : {"engl", "ja", ""}) {
        BxdSetLanguage(set);
        memset(out, '#', sizeof out);
        BxdGetLanguage(out);
        EXPECT_EQ(std::string(out + 5, 3), "###");
        EXPECT_EQ(std::string(gLang + 4, 4), std::string(4, '\0'));
    }
}

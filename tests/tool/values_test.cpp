// SPDX-License-Identifier: MIT
// Values of every item type: what is accepted, how it is shown again, and what bytes stand in the card.
#include "tests/tool/tool_run.h"

namespace {

using namespace tool_test;

class ToolValues : public ToolTest {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        RunOk({"create", "v.box",           "--item", "TEXT:text",  "--item", "SJIS:sjis",
               "--item", "DATE:datetime",   "--item", "SPAN:span",  "--item", "WEEK:weekdate",
               "--item", "BYTE:u8",         "--item", "HALF:u16",   "--item", "LONG:u32",
               "--item", "CATS:categories", "--item", "FLAG:flags", "--item", "BLOB:200"});
        RunOk({"import", "v.box", "-", "--format", "csv"}, "TEXT\nx\n");
    }

    // What the item shows after it was set to `text`.
    Json RoundTrip(const std::string& item, const std::string& text) const
    {
        RunOk({"set", "v.box", "1", item, "--", text});
        return RunJson({"show", "v.box", "1", "--json"})["items"][item];
    }

    void ExpectStored(const std::string& bytes) const
    {
        EXPECT_NE(ReadFile(Path("v.box")).find(bytes), std::string::npos);
    }

    void ExpectRefused(const std::string& item, const std::string& text, const std::string& words) const
    {
        ExpectFailure(1, "the value for " + item + ": " + words, {"set", "v.box", "1", item, "--", text});
    }
};

TEST_F(ToolValues, TextIsUtf8)
{
    EXPECT_EQ(RoundTrip("TEXT", "日本語, \"quoted\" 🙂"), "日本語, \"quoted\" 🙂");
    ExpectStored("日本語, \"quoted\" 🙂");
    for (const char* broken : {"\x80", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE3\x81"}) {
        ExpectRefused("TEXT", broken, "the text is not valid UTF-8");
    }
}

TEST_F(ToolValues, ShiftJisIsConverted)
{
    EXPECT_EQ(RoundTrip("SJIS", "日本"), "日本");
    ExpectStored("\x93\xFA\x96\x7B");
    ExpectRefused("SJIS", "🙂", "the text has a character that Shift-JIS does not have");
}

TEST_F(ToolValues, DatesArePackedIntoFiveBytes)
{
    EXPECT_EQ(RoundTrip("DATE", "2024-05-17 08:30:15"), "2024-05-17 08:30:15");
    ExpectStored(std::string("\x0F\x1E\x8A\xC5\x07", 5));
    EXPECT_EQ(RoundTrip("DATE", "2024-05-17T08:30"), "2024-05-17 08:30:00");
    EXPECT_EQ(RoundTrip("DATE", "2024-05-17"), "2024-05-17");
    EXPECT_EQ(RoundTrip("DATE", "*-12-*"), "*-12-*");
    EXPECT_EQ(RoundTrip("DATE", "1900-01-01 *:00:*"), "1900-01-01 *:00:*");
    for (const char* broken : {"1899-01-01", "2140-01-01", "2024-13-01", "2024-00-01", "2024-01-32",
                               "2024-01", "yesterday", "2024-01-01 25:00", "2024-01-01 1:2:3x"}) {
        ExpectRefused("DATE", broken, "a date looks like");
    }
}

TEST_F(ToolValues, SpansHaveASign)
{
    EXPECT_EQ(RoundTrip("SPAN", "-3d 04:30:00"), "-3d 04:30:00");
    ExpectStored(std::string("\x00\x1E\x19\x00\x80", 5));
    EXPECT_EQ(RoundTrip("SPAN", "1048575d"), "1048575d 00:00:00");
    ExpectRefused("SPAN", "1048576d", "a span of time looks like");
    ExpectRefused("SPAN", "*d", "a span of time looks like");
    ExpectRefused("SPAN", "3", "a span of time looks like");
}

TEST_F(ToolValues, WeekDatesNameAWeekOfAMonth)
{
    EXPECT_EQ(RoundTrip("WEEK", "2004-03 w2 d2"), "2004-03 w2 d2");
    ExpectStored("\x22\x83\x06");
    EXPECT_EQ(RoundTrip("WEEK", "*-* w* d0"), "*-* w* d0");
    ExpectRefused("WEEK", "2004-03 w7 d2", "a week date looks like");
}

TEST_F(ToolValues, NumbersKeepTheirRange)
{
    EXPECT_EQ(RoundTrip("BYTE", "255"), 255);
    EXPECT_EQ(RoundTrip("HALF", "65535"), 65535);
    EXPECT_EQ(RoundTrip("LONG", "4294967295"), 4294967295u);
    EXPECT_EQ(RoundTrip("LONG", "305419896"), 0x12345678);
    ExpectStored("\x78\x56\x34\x12");
    ExpectRefused("BYTE", "256", "a number from 0 to 255 is expected");
    ExpectRefused("HALF", "65536", "a number from 0 to 65535 is expected");
    ExpectRefused("LONG", "4294967296", "a number from 0 to 4294967295 is expected");
    ExpectRefused("BYTE", "-1", "a number from 0 to 255 is expected");
    ExpectRefused("BYTE", "1x", "a number from 0 to 255 is expected");
}

TEST_F(ToolValues, CategoriesAreAList)
{
    EXPECT_EQ(RoundTrip("CATS", "1,5,254"), Json::parse("[1, 5, 254]"));
    for (const char* broken : {"0", "255", "1,", ",1", "1;2"}) {
        ExpectRefused("CATS", broken, "categories are numbers from 1 to 254");
    }
}

TEST_F(ToolValues, OtherTypesAreHexadecimalBytes)
{
    EXPECT_EQ(RoundTrip("FLAG", "0x4f"), "0x4F");
    EXPECT_EQ(RoundTrip("BLOB", "0x00FF10"), "0x00FF10");
    for (const char* broken : {"0x", "0x1", "12", "0xGG"}) {
        ExpectRefused("BLOB", broken, "bytes are expected");
    }
}

TEST_F(ToolValues, EmptyIsNoValueOfEveryType)
{
    RunOk({"set", "v.box", "1", "LONG", "5"});
    EXPECT_EQ(RoundTrip("LONG", ""), nullptr);
    EXPECT_EQ(RoundTrip("DATE", ""), nullptr);
    EXPECT_EQ(RoundTrip("TEXT", ""), "");
}

}  // namespace

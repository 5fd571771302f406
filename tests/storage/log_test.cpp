// SPDX-License-Identifier: MIT
#include "storage/bxd_log.h"

#include "tests/storage/storage_case.h"

namespace {

using namespace storagetest;

class Log : public StorageCase {
protected:
    ~Log() override { BxdCloseLog(); }
    std::string path = home.path("log.txt");
};

}  // namespace

TEST_F(Log, MessagesGoToStandardErrorAlways)
{
    EXPECT_EQ(Told([] { BxdDebug("BoxClose: bad boxHandle\n"); }), "BoxClose: bad boxHandle\n");
    EXPECT_EQ(Told([] { BxdDebug("%x %d %s %c", 255u, -1, "text", 'c'); }), "ff -1 text c");
}

TEST_F(Log, WithoutOneNothingHappens)
{
    EXPECT_EQ(logFile, nullptr);
    BxdLog("nobody %d", 1);
    BxdLogBin("nobody", 6);
    BxdCloseLog();
    EXPECT_EQ(logFile, nullptr);
}

TEST_F(Log, KeepsTextAndBytesInTheirOrder)
{
    FILE* stream = BxdOpenLog(path.c_str());
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(logFile, stream);
    BxdLog("card %d of %s\n", 7, "A.BOX");
    BxdLogBin("\0\xFFz", 3);
    EXPECT_EQ(home.readText(path), std::string("card 7 of A.BOX\n\0\xFFz", 19)) << "it is there at once";
    BxdCloseLog();
    EXPECT_EQ(logFile, nullptr);
    BxdLog("too late");
    EXPECT_EQ(home.readText(path).size(), 19u);
}

TEST_F(Log, ANewOneTakesThePlaceOfTheOld)
{
    home.write("second.txt", "former contents");
    ASSERT_NE(BxdOpenLog(path.c_str()), nullptr);
    BxdLog("first");
    ASSERT_NE(BxdOpenLog(home.path("second.txt").c_str()), nullptr);
    BxdLog("second");
    BxdCloseLog();
    EXPECT_EQ(home.readText("log.txt"), "first");
    EXPECT_EQ(home.readText("second.txt"), "second");
}

TEST_F(Log, ThatCannotBeOpenedClosesTheOldAllTheSame)
{
    ASSERT_NE(BxdOpenLog(path.c_str()), nullptr);
    EXPECT_EQ(BxdOpenLog(home.path("none/log.txt").c_str()), nullptr);
    EXPECT_EQ(logFile, nullptr);
    BxdLog("nowhere");
    EXPECT_EQ(home.readText("log.txt"), "");
}

TEST_F(Log, ItsStreamCanBeReadBack)
{
    FILE* stream = BxdOpenLog(path.c_str());
    ASSERT_NE(stream, nullptr);
    BxdLog("abc");
    char text[4] = {};
    ASSERT_EQ(fseek(stream, 0, SEEK_SET), 0);
    EXPECT_EQ(fread(text, 1, 3, stream), 3u);
    EXPECT_STREQ(text, "abc");
}

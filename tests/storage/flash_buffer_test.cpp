// SPDX-License-Identifier: MIT
#include "storage/bxd_data.h"

#include "tests/storage/storage_case.h"

namespace {

using namespace storagetest;

constexpr const char* kName = "F0:A.BOX";

class FlashBuffer : public StorageCase {
protected:
    ~FlashBuffer() override { closeFile(); }
    void closeFile()
    {
        if (b.fid != kNoFile) { EXPECT_EQ(BxdFileClose(b.fid), 0u); }
        b.fid = kNoFile;
    }
    // A file of these contents, and an empty buffer of `size` bytes that is written to `filePos`.
    void start(const std::string& contents, u32 size, u32 filePos, u32 skip = 0)
    {
        closeFile();
        home.write(kName, contents);
        block.assign(size, '#');
        b.fid = mustOpen(kName);
        b.base = reinterpret_cast<u8*>(block.data());
        b.cur = b.base + skip;
        b.filePos = filePos;
        b.room = size - skip;
        b.size = size;
        b.skip = skip;
    }
    u32 put(const std::string& bytes)
    {
        return BxdFileFlashBufferOut(&b, bytes.data(), static_cast<u32>(bytes.size()));
    }
    std::string file() const { return home.readText(kName); }
    void expectEmpty(u32 filePos) const
    {
        EXPECT_EQ(b.cur, b.base);
        EXPECT_EQ(b.room, b.size);
        EXPECT_EQ(b.skip, 0u);
        EXPECT_EQ(b.filePos, filePos);
    }

    std::string block;
    BxdFlashBuffer b = {nullptr, nullptr, 0, 0, 0, 0, kNoFile};
};

}  // namespace

TEST_F(FlashBuffer, GathersUntilItIsFull)
{
    start("0123456789", 4, 2);
    EXPECT_EQ(put("abc"), 0u);
    EXPECT_EQ(file(), "0123456789");
    EXPECT_EQ(b.room, 1u);
    EXPECT_EQ(b.cur, b.base + 3);
    EXPECT_EQ(put("d"), 0u);
    EXPECT_EQ(file(), "0123456789") << "a full buffer waits for more to come";
    EXPECT_EQ(b.room, 0u);
    EXPECT_EQ(put("e"), 0u);
    EXPECT_EQ(file(), "01abcd6789");
    EXPECT_EQ(b.filePos, 6u);
    EXPECT_EQ(b.room, 3u);
    EXPECT_EQ(BxdFlashAll(&b), 0u);
    EXPECT_EQ(file(), "01abcde789");
    expectEmpty(7);
}

TEST_F(FlashBuffer, TheFirstBlockIsShorterByWhatIsSkipped)
{
    start("0123456789", 4, 3, 3);
    EXPECT_EQ(put("abcdefg"), 0u);
    EXPECT_EQ(file(), "012abcde89") << "a write of one byte and one of four";
    EXPECT_EQ(b.filePos, 8u);
    EXPECT_EQ(b.skip, 0u);
    EXPECT_EQ(BxdFlashAll(&b), 0u);
    EXPECT_EQ(file(), "012abcdefg");
}

TEST_F(FlashBuffer, FullBlocksEndOnPagesOfTheFile)
{
    start(std::string(20000, '.'), 2 * kFlashPage, 5000, 5000 & 0xFFF);
    EXPECT_EQ(put(Pattern(12000)), 0u);
    EXPECT_EQ(b.filePos % kFlashPage, 0u);
    EXPECT_EQ(b.filePos, 12288u);
    EXPECT_EQ(put(Pattern(5000, 2)), 0u);
    EXPECT_EQ(b.filePos % kFlashPage, 0u);
    EXPECT_EQ(BxdFlashAll(&b), 0u);
    EXPECT_TRUE(file() == std::string(5000, '.') + Pattern(12000) + Pattern(5000, 2));
}

TEST_F(FlashBuffer, NothingGatheredChangesNothing)
{
    start("0123456789", 4, 2);
    EXPECT_EQ(BxdFlashAll(&b), 0u);
    EXPECT_EQ(put(""), 0u);
    EXPECT_EQ(file(), "0123456789");
    expectEmpty(2);
    start("0123456789", 4, 2, 3);
    EXPECT_EQ(BxdFlashAll(&b), 0u);
    EXPECT_EQ(b.skip, 3u);
    EXPECT_EQ(b.room, 1u);
    EXPECT_EQ(b.cur, b.base + 3);
    EXPECT_EQ(file(), "0123456789");
}

TEST_F(FlashBuffer, TheEndIsWrittenFromBehindWhatIsSkipped)
{
    start("0123456789", 8, 2, 3);
    EXPECT_EQ(put("abc"), 0u);
    EXPECT_EQ(BxdFlashAll(&b), 0u);
    EXPECT_EQ(file(), "01abc56789");
    expectEmpty(5);
}

TEST_F(FlashBuffer, LongDataPassInAsManyBlocksAsTheyNeed)
{
    for (u32 size : {1u, 2u, 3u, 7u, 64u}) {
        for (u32 skip = 0; skip < size && skip < 3; ++skip) {
            start("", size, 0, skip);
            const std::string data = Pattern(1000);
            EXPECT_EQ(put(data.substr(0, 333)), 0u);
            EXPECT_EQ(put(data.substr(333)), 0u);
            EXPECT_EQ(BxdFlashAll(&b), 0u);
            EXPECT_EQ(file(), data) << size << " " << skip;
        }
    }
}

TEST_F(FlashBuffer, AFailedWriteOfAFullBlockLosesTheBlock)
{
    start("0123456789", 4, 8);
    const FileSizeLimit limit(10);
    (void)Told([&] { EXPECT_EQ(put("abcdefgh"), 71u); });
    expectEmpty(8);
    EXPECT_EQ(file(), "01234567ab");
}

TEST_F(FlashBuffer, AFailedWriteOfTheRestKeepsIt)
{
    start("0123456789", 4, 8);
    EXPECT_EQ(put("abc"), 0u);
    {
        const FileSizeLimit limit(10);
        (void)Told([&] { EXPECT_EQ(BxdFlashAll(&b), 71u); });
    }
    EXPECT_EQ(b.room, 1u);
    EXPECT_EQ(b.filePos, 8u);
    EXPECT_EQ(BxdFlashAll(&b), 0u);
    EXPECT_EQ(file(), "01234567abc");
}

TEST_F(FlashBuffer, ABlockWithoutRoomIsRefused)
{
    start("0123456789", 0, 0);
    EXPECT_EQ(put("a"), 71u);
    EXPECT_EQ(put(""), 0u);
    EXPECT_EQ(CopyCardPartial(&b, 0, 1), 71u);
    EXPECT_EQ(BxdFlashAll(&b), 0u);
    start("0123456789", 4, 0, 4);
    EXPECT_EQ(CopyCardPartial(&b, 0, 1), 71u);
    EXPECT_EQ(file(), "0123456789") << "and no write of nothing cuts the file";
}

// --- copying within the file ----------------------------------------------------------------------------

TEST_F(FlashBuffer, CopiesFromTheFileItself)
{
    start("0123456789", 4, 10);
    EXPECT_EQ(CopyCardPartial(&b, 1, 3), 0u);
    EXPECT_EQ(file(), "0123456789");
    EXPECT_EQ(b.room, 1u);
    EXPECT_EQ(BxdFlashAll(&b), 0u);
    EXPECT_EQ(file(), "0123456789123");
}

TEST_F(FlashBuffer, ABufferThatACopyFillsIsEmptied)
{
    start("0123456789", 4, 10);
    EXPECT_EQ(CopyCardPartial(&b, 1, 4), 0u);
    EXPECT_EQ(file(), "01234567891234");
    expectEmpty(14);
    EXPECT_EQ(CopyCardPartial(&b, 1, 8), 0u);
    EXPECT_EQ(file(), "0123456789123412345678");
    expectEmpty(22);
    EXPECT_EQ(CopyCardPartial(&b, 1, 0), 0u);
    expectEmpty(22);
}

TEST_F(FlashBuffer, ACopyWithoutItsSourceFails)
{
    start("0123456789", 4, 10);
    EXPECT_EQ(CopyCardPartial(&b, 8, 3), 71u);
    (void)Told([&] { EXPECT_EQ(CopyCardPartial(&b, 10, 1), 71u); });
    EXPECT_EQ(file(), "0123456789");
}

TEST_F(FlashBuffer, WhatIsNotReadYetIsNotOverwritten)
{
    // The rewritten part grows by "ab" in front: the buffer must keep two bytes back.
    start("0123456789", 4, 2);
    EXPECT_EQ(put("ab"), 0u);
    EXPECT_EQ(CopyCardPartial(&b, 2, 2), 0u);
    EXPECT_EQ(file(), "01ab456789") << "up to the read position and no further";
    EXPECT_EQ(b.filePos, 4u);
    EXPECT_EQ(b.cur, b.base + 2);
    EXPECT_EQ(b.room, 2u);
    EXPECT_EQ(CopyCardPartial(&b, 4, 6), 0u);
    EXPECT_EQ(BxdFlashAll(&b), 0u);
    EXPECT_EQ(file(), "01ab23456789");
}

TEST_F(FlashBuffer, RoomAfterAPartialFlushCountsWhatWasSkipped)
{
    start("0123456789", 6, 2, 2);
    EXPECT_EQ(put("ab"), 0u);
    EXPECT_EQ(CopyCardPartial(&b, 2, 2), 0u);
    EXPECT_EQ(file(), "01ab456789");
    EXPECT_EQ(b.room, 4u);
    EXPECT_EQ(b.skip, 0u);
    EXPECT_EQ(std::string(b.base, b.cur), "23");
}

TEST_F(FlashBuffer, RewritesAFileOntoItselfWithMoreInFront)
{
    const std::string contents = Pattern(400);
    for (u32 size : {8u, 16u, 100u}) {
        for (u32 skip : {0u, 1u, 5u}) {
            for (u32 more = 0; more + skip < size && more < 20; ++more) {
                for (u32 n : {0u, 1u, 7u, 8u, 50u, 200u}) {
                    start(contents, size, 100, skip);
                    ASSERT_EQ(put(Pattern(more, 9)), 0u);
                    ASSERT_EQ(CopyCardPartial(&b, 100, n), 0u);
                    ASSERT_EQ(BxdFlashAll(&b), 0u);
                    std::string expected = contents;
                    expected.replace(100, more + n, Pattern(more, 9) + contents.substr(100, n));
                    ASSERT_EQ(file(), expected) << size << " " << skip << " " << more << " " << n;
                }
            }
        }
    }
}

TEST_F(FlashBuffer, RewritesAFileOntoItselfWithLess)
{
    const std::string contents = Pattern(400);
    for (u32 size : {1u, 3u, 16u, 100u}) {
        for (u32 less : {1u, 2u, 50u}) {
            start(contents, size, 100);
            ASSERT_EQ(CopyCardPartial(&b, 100 + less, 200), 0u);
            ASSERT_EQ(BxdFlashAll(&b), 0u);
            std::string expected = contents;
            expected.replace(100, 200, contents.substr(100 + less, 200));
            ASSERT_EQ(file(), expected) << size << " " << less;
        }
    }
}

TEST_F(FlashBuffer, AFailedWriteEndsACopy)
{
    start("0123456789", 4, 10);
    const FileSizeLimit limit(10);
    (void)Told([&] { EXPECT_EQ(CopyCardPartial(&b, 0, 6), 71u); });
    EXPECT_EQ(file(), "0123456789");
}

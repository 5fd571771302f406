// SPDX-License-Identifier: MIT
// Reading ahead: the same bytes come, from memory, for as long as the file does not change.
#include "storage/bxd_file_ahead.h"

#include <memory>

#include "tests/support/box_case.h"

namespace {

using namespace boxtest;

constexpr const char* kFile = "F0:DATA.BIN";

class ReadAheadTest : public BoxCase {
protected:
    void start(size_t size)
    {
        bytes_ = Pattern(size);
        put(bytes_, kFile);
        file_ = std::make_unique<Fid>(kFile);
        ASSERT_TRUE(file_->ok());
    }
    u8 fid() const { return file_->id(); }
    // What a read gives, cut to what it says.
    Bytes read(u32 offset, u32 length) const
    {
        Bytes out(length, 0xCC);
        const i32 count = BxdFileRead(fid(), static_cast<i32>(offset), out.data(), length);
        if (count < 0) { return {}; }
        out.resize(static_cast<size_t>(count));
        return out;
    }
    // Changes the file behind the library's back.
    void changeUnder(u32 offset, u8 value)
    {
        const int fd = open(path(kFile).c_str(), O_WRONLY | O_CLOEXEC);
        ASSERT_EQ(pwrite(fd, &value, 1, offset), 1);
        ASSERT_EQ(close(fd), 0);
    }

    Bytes bytes_;
    std::unique_ptr<Fid> file_;
};

TEST_F(ReadAheadTest, GivesTheBytesOfTheFileWhereverARangeLies)
{
    const u32 size = 3 * bxd::kAheadBlock + 1000;
    start(size);
    bxd::ReadAhead ahead(fid());
    const u32 block = bxd::kAheadBlock;
    for (const auto& [offset, length] : std::vector<std::pair<u32, u32>>{
             {0, 1}, {block - 1, 2}, {block, block}, {5, 3 * block}, {size - 1, 1}, {0, size}}) {
        EXPECT_EQ(read(offset, length), Slice(bytes_, offset, length)) << offset;
    }
}

TEST_F(ReadAheadTest, AnswersFromMemoryAndOnlyForItsFile)
{
    start(5000);
    Fid other(kFile, BXD_MODE_READ);
    {
        bxd::ReadAhead ahead(fid());
        EXPECT_EQ(read(10, 4), Slice(bytes_, 10, 4));
        changeUnder(11, static_cast<u8>(bytes_[11] + 1));
        EXPECT_EQ(read(10, 4), Slice(bytes_, 10, 4));
        u8 seen = 0;
        EXPECT_EQ(BxdFileRead(other.id(), 11, &seen, 1), 1);
        EXPECT_EQ(seen, static_cast<u8>(bytes_[11] + 1));
        EXPECT_EQ(bxd::ReadAhead::of(other.id()), nullptr);
    }
    EXPECT_EQ(read(11, 1)[0], static_cast<u8>(bytes_[11] + 1));
    EXPECT_EQ(bxd::ReadAhead::of(fid()), nullptr);
}

TEST_F(ReadAheadTest, EndsWithAChangeOfTheFile)
{
    for (const bool cut : {false, true}) {
        start(5000);
        bxd::ReadAhead ahead(fid());
        EXPECT_EQ(read(10, 4), Slice(bytes_, 10, 4));
        if (cut) {
            EXPECT_EQ(BxdFileCut(fid(), 12), 0u);
            EXPECT_EQ(read(10, 4), Slice(bytes_, 10, 2));
        } else {
            const u8 value = static_cast<u8>(bytes_[11] + 1);
            EXPECT_EQ(BxdFileWrite(fid(), 11, &value, 1), 1);
            EXPECT_EQ(read(11, 1)[0], value);
        }
        file_.reset();
    }
}

TEST_F(ReadAheadTest, BehindTheEndIsAsEver)
{
    start(100);
    bxd::ReadAhead ahead(fid());
    EXPECT_EQ(read(98, 10), Slice(bytes_, 98, 2));
    changeUnder(150, 7);  // the file grows under another open
    EXPECT_EQ(read(150, 1), Bytes{7});
    Captured messages;
    EXPECT_EQ(read(0xFFFFFFFF, 4), Bytes{});
    EXPECT_EQ(read(0x7FFFFFFF, 4), Bytes{});
}

TEST_F(ReadAheadTest, OfAnEmptyFileAndASecondOneDoNothing)
{
    start(0);
    bxd::ReadAhead none(fid());
    EXPECT_EQ(bxd::ReadAhead::of(fid()), nullptr);
    put(Pattern(50), "F0:MORE.BIN");
    Fid more("F0:MORE.BIN");
    bxd::ReadAhead first(more.id());
    EXPECT_EQ(bxd::ReadAhead::of(more.id()), &first);
    {
        bxd::ReadAhead second(more.id());
        EXPECT_EQ(bxd::ReadAhead::of(more.id()), &first);
    }
    EXPECT_EQ(bxd::ReadAhead::of(more.id()), &first);
}

TEST_F(ReadAheadTest, BeyondWhatIsKeptTheFileIsRead)
{
    const u32 size = (bxd::kAheadMost + 2) * bxd::kAheadBlock;
    const int fd = open(path(kFile).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    ASSERT_EQ(ftruncate(fd, size), 0);
    const u8 last = 0x5A;
    ASSERT_EQ(pwrite(fd, &last, 1, size - 1), 1);
    ASSERT_EQ(close(fd), 0);
    file_ = std::make_unique<Fid>(kFile);
    bxd::ReadAhead ahead(fid());
    for (u32 n = 0; n < bxd::kAheadMost; ++n) { ASSERT_EQ(read(n * bxd::kAheadBlock, 1), Bytes{0}); }
    EXPECT_EQ(read(size - 1, 1), Bytes{last});
    changeUnder(size - 1, 0x66);
    EXPECT_EQ(read(size - 1, 1), Bytes{0x66});
}

}  // namespace

// SPDX-License-Identifier: MIT
// The memory of small reads: the same bytes come, some of them from memory, as the file is for whoever
// changes it by the same id.
#include "storage/bxd_file_memo.h"

#include <memory>

#include "tests/support/box_case.h"

namespace {

using namespace boxtest;

constexpr const char* kFile = "F0:DATA.BIN";

class ReadMemoTest : public BoxCase {
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
    void write(u32 offset, u8 value)
    {
        ASSERT_EQ(BxdFileWrite(fid(), offset, &value, 1), 1);
        if (offset >= bytes_.size()) { bytes_.resize(offset + 1, 0); }
        bytes_[offset] = value;
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

TEST_F(ReadMemoTest, GivesTheBytesOfTheFileWhereverARangeLies)
{
    const u32 size = 60 * bxd::kMemoWindow + 100;
    start(size);
    bxd::ReadMemo memo(fid());
    u32 offset = 1;
    for (u32 n = 0; n < 4000; ++n) {
        offset = (offset * 1103515245 + 12345) % size;
        const u32 length = 1 + (offset >> 3) % (bxd::kMemoWindow + 50);
        ASSERT_EQ(read(offset, length), Slice(bytes_, offset, length)) << offset << " " << length;
    }
}

TEST_F(ReadMemoTest, RemembersWhatIsNearARead)
{
    start(5000);
    bxd::ReadMemo memo(fid());
    EXPECT_EQ(read(1000, 4), Slice(bytes_, 1000, 4));
    const u32 first = 1000 - 1000 % bxd::kMemoAlign;
    const u32 last = first + bxd::kMemoWindow - 1;
    changeUnder(first, static_cast<u8>(bytes_[first] + 1));
    changeUnder(last, static_cast<u8>(bytes_[last] + 1));
    changeUnder(last + 1, 0x77);
    EXPECT_EQ(read(first, 1)[0], bytes_[first]);
    EXPECT_EQ(read(last, 1)[0], bytes_[last]);
    EXPECT_EQ(read(last + 1, 1)[0], 0x77);
}

TEST_F(ReadMemoTest, TheWindowReadFirstGivesWay)
{
    start((bxd::kMemoWindows + 2) * bxd::kMemoWindow);
    bxd::ReadMemo memo(fid());
    for (u32 n = 0; n < bxd::kMemoWindows; ++n) { (void)read(n * bxd::kMemoWindow, 1); }
    changeUnder(0, static_cast<u8>(bytes_[0] + 1));
    EXPECT_EQ(read(0, 1)[0], bytes_[0]);
    (void)read(bxd::kMemoWindows * bxd::kMemoWindow, 1);
    EXPECT_EQ(read(0, 1)[0], static_cast<u8>(bytes_[0] + 1));
}

TEST_F(ReadMemoTest, FollowsWritesAndCutsOfItsFile)
{
    start(3000);
    bxd::ReadMemo memo(fid());
    EXPECT_EQ(read(100, 50), Slice(bytes_, 100, 50));
    EXPECT_EQ(read(2900, 50), Slice(bytes_, 2900, 50));
    write(120, 1);
    EXPECT_EQ(read(100, 50), Slice(bytes_, 100, 50));
    // Behind the end of what was read, where the file was shorter.
    write(3010, 2);
    EXPECT_EQ(read(3005, 6), Slice(bytes_, 3005, 6));
    ASSERT_EQ(BxdFileCut(fid(), 2910), 0u);
    EXPECT_EQ(read(2900, 50), Slice(bytes_, 2900, 10));
    EXPECT_EQ(read(2950, 5), Bytes{});
    EXPECT_EQ(read(100, 50), Slice(bytes_, 100, 50));
}

TEST_F(ReadMemoTest, EachFileHasItsOwnAndOneOnly)
{
    start(2000);
    put(Pattern(500, 7), "F0:MORE.BIN");
    Fid more("F0:MORE.BIN");
    bxd::ReadMemo first(fid());
    {
        bxd::ReadMemo other(more.id());
        bxd::ReadMemo second(fid());
        EXPECT_EQ(bxd::ReadMemo::of(fid()), &first);
        EXPECT_EQ(bxd::ReadMemo::of(more.id()), &other);
        EXPECT_EQ(read(7, 9), Slice(bytes_, 7, 9));
        u8 seen[9];
        EXPECT_EQ(BxdFileRead(more.id(), 7, seen, 9), 9);
        EXPECT_EQ(Bytes(seen, seen + 9), Slice(Pattern(500, 7), 7, 9));
    }
    EXPECT_EQ(bxd::ReadMemo::of(fid()), &first);
    EXPECT_EQ(bxd::ReadMemo::of(more.id()), nullptr);
}

TEST_F(ReadMemoTest, BehindTheEndIsAsEver)
{
    start(100);
    bxd::ReadMemo memo(fid());
    EXPECT_EQ(read(98, 10), Slice(bytes_, 98, 2));
    changeUnder(150, 7);  // the file grows under another open
    EXPECT_EQ(read(150, 1), Bytes{7});
    Captured messages;
    EXPECT_EQ(read(0xFFFFFFFF, 4), Bytes{});
    EXPECT_EQ(read(0x7FFFFFFF, 4), Bytes{});
}

}  // namespace

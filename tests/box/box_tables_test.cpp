// SPDX-License-Identifier: MIT
// A box opened by its name for one operation, and its tables.
#include "tests/box/box_whole_case.h"

#include "storage/bxd_file_errors.h"
#include "storage/heapwrapper.h"
#include "storage/stdiohst.h"

using namespace boxtest;

namespace {

// Of a status reached by the number of a file's bytes.
struct SizeAndStatus {
    size_t size;
    u32 status;
};

class BoxTables : public BoxCase {};

// --- opening by name for one operation ---------------------------------------------------------------------

TEST_F(BoxTables, SeekFileIderGivesKindAndVersion)
{
    put({0xFF, 0x12, 0x1B, 0x37});
    Fid file(kBox);
    u8 out[4] = {0xAA, 0xAA, 0xAA, 0xAA};
    EXPECT_EQ(SeekFileIder(file.id(), out), 0u);
    EXPECT_EQ(out[0], 0x1B);
    EXPECT_EQ(out[1], 0x37);
    EXPECT_EQ(out[2], 0xAA);
}

TEST_F(BoxTables, SeekFileIderRefusesWhatIsNoFileOfTheSystem)
{
    u8 out[2] = {7, 7};
    put({0xFE, 0x00, 0x10, 0x31});
    {
        EXPECT_EQ(SeekFileIder(Fid(kBox).id(), out), 64u);
    }
    for (const SizeAndStatus& c :
         {SizeAndStatus{0, 71}, SizeAndStatus{1, 66}, SizeAndStatus{2, 66}, SizeAndStatus{3, 66}}) {
        put(Bytes(c.size, 0xFF));
        EXPECT_EQ(SeekFileIder(Fid(kBox).id(), out), c.status) << c.size;
    }
    EXPECT_EQ(out[0], 7);
}

TEST_F(BoxTables, CheckFileBoxLeavesASoundBoxOpen)
{
    put(NewBoxImage("TEST"));
    for (u32 readOnly : {0u, 1u}) {
        u8 fid = 0;
        ASSERT_EQ(CheckFileBox(kBox, &fid, readOnly), 0u);
        EXPECT_EQ(BxdFileOpenMode(fid), readOnly != 0 ? 65 : 67);
        EXPECT_EQ(BxdFileClose(fid), 0u);
    }
}

TEST_F(BoxTables, CheckFileBoxClosesWhatIsNoBox)
{
    const Bytes bad[] = {{0xFE, 0, 16, 0x31}, {0xFF, 0, 27, 0x31}, {0xFF, 0, 16, 0x21}, {0xFF, 0, 16}, {}};
    const u32 want[] = {64, 64, 64, 66, 71};
    for (int n = 0; n < 5; n++) {
        put(bad[n]);
        u8 fid = 0;
        EXPECT_EQ(CheckFileBox(kBox, &fid, 0), want[n]) << n;
        EXPECT_EQ(fid, 255) << n;
        EXPECT_EQ(OpenFiles(), 0u) << n;
    }
    u8 fid = 0;
    EXPECT_EQ(CheckFileBox("F0:NOPE.BOX", &fid, 1), 64u);
    EXPECT_EQ(fid, 255);
}

TEST_F(BoxTables, CheckFileBoxExReadsTheHeader)
{
    const Bytes file = NewBoxImage("TEST");
    put(file);
    u8 fid = 0;
    Bytes header(72);
    ASSERT_EQ(CheckFileBoxEx(kBox, &fid, header.data()), 0u);
    EXPECT_EQ(BxdFileOpenMode(fid), 67);
    EXPECT_EQ(BxdFileClose(fid), 0u);
    EXPECT_TRUE(SameBytes(Slice(file, 0, 72), header));

    ASSERT_EQ(CheckFileBoxExRwMode(kBox, &fid, header.data(), 1), 0u);
    EXPECT_EQ(BxdFileOpenMode(fid), 65);
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(BoxTables, CheckFileBoxExClosesAFileShorterThanAHeader)
{
    Bytes header(72);
    for (size_t size : {4u, 5u, 71u}) {
        put(Slice(NewBoxImage("TEST"), 0, size));
        u8 fid = 0;
        EXPECT_EQ(CheckFileBoxEx(kBox, &fid, header.data()), 66u) << size;
        EXPECT_EQ(fid, 255);
        EXPECT_EQ(OpenFiles(), 0u);
    }
}

u32 ItemTableStatus(Bytes* out = nullptr)
{
    Fid file(kBox);
    u8* table = nullptr;
    u32 size = 0;
    const u32 status = ReadItemTable(file.id(), &table, &size);
    if (status == 0 && out != nullptr) { out->assign(table, table + size); }
    if (status == 0) { free(table); }
    return status;
}

TEST_F(BoxTables, ReadItemTableGivesTheWholeTable)
{
    put(PlainBox());
    Bytes table;
    ASSERT_EQ(ItemTableStatus(&table), 0u);
    EXPECT_TRUE(SameBytes(EncodeItemTable(NumberedItems(6)), table));
}

TEST_F(BoxTables, ReadItemTableTellsMissingFromDamaged)
{
    const Bytes sound = PlainBox();
    const u32 size = static_cast<u32>(sound.size());
    const u32 tableSize = GetField(sound, hd::itemSize);
    struct Case {
        u32 offset, bytes, status;
    };
    for (const Case& c :
         {Case{kNone, 10, 66}, Case{kNone - 1, 10, 66}, Case{kNone - 2, 10, 71}, Case{size, 10, 71},
          Case{2120, tableSize + 1, 71}, Case{2120, kNone, 71}, Case{2120, 0x7FFFFFFF, 71}}) {
        Bytes file = sound;
        SetField(file, hd::itemOffset, c.offset);
        SetField(file, hd::itemSize, c.bytes);
        put(file);
        EXPECT_EQ(ItemTableStatus(), c.status) << c.offset << " " << c.bytes;
    }
}

u32 IndexTableStatus(Bytes* out = nullptr, u32 size = 0)
{
    Fid file(kBox);
    u8 unused = 0;
    u8* table = &unused;
    const u32 status = ReadIndexTable(file.id(), &table);
    if (status != 0) {
        EXPECT_EQ(table, nullptr);
        return status;
    }
    if (out != nullptr) { out->assign(table, table + size); }
    free(table);
    return status;
}

TEST_F(BoxTables, ReadIndexTableGivesTheCardWithItsHead)
{
    BoxBuilder box = UsedBox();
    const u32 pos = box.indexTable({{"ONE.IDX"}, {"TWO.IDX"}});
    const Bytes file = box.build();
    put(file);
    Bytes table;
    ASSERT_EQ(IndexTableStatus(&table, 518), 0u);
    EXPECT_TRUE(SameBytes(Slice(file, pos, 518), table));
}

TEST_F(BoxTables, ReadIndexTableTellsMissingFromDamaged)
{
    BoxBuilder box = UsedBox();
    const u32 pos = box.indexTable({{"ONE.IDX"}});
    const Bytes sound = box.build();
    const u32 size = static_cast<u32>(sound.size());
    struct Case {
        u32 offset, bytes, status;
    };
    for (const Case& c : {Case{kNone, kNone, 66}, Case{kNone - 1, 518, 66}, Case{kNone - 2, 518, 71},
                          Case{size, 518, 71}, Case{pos, 5180, 71}, Case{pos, kNone, 71}}) {
        Bytes file = sound;
        SetField(file, hd::indexTable, c.offset);
        SetField(file, hd::indexTableSize, c.bytes);
        put(file);
        EXPECT_EQ(IndexTableStatus(), c.status) << c.offset << " " << c.bytes;
    }
}

TEST_F(BoxTables, ReadOffsetTableGivesPlaceAndWords)
{
    BoxBuilder box = UsedBox();
    const u32 second = box.card(7);
    put(box.build());
    Fid file(kBox);
    u32 pos = 0;
    u32 words[512] = {};
    EXPECT_EQ(ReadOffsetTable(file.id(), &pos, 2048, words), 0u);
    EXPECT_EQ(pos, 72u);
    EXPECT_EQ(words[17], second);
    EXPECT_EQ(words[18], kNone);
    EXPECT_EQ(words[511], kNone);
}

TEST_F(BoxTables, ReadOffsetTableTakesEitherPointerAsNull)
{
    put(PlainBox());
    Fid file(kBox);
    u32 pos = 0;
    u32 words[12];
    std::memset(words, 0x55, sizeof words);
    EXPECT_EQ(ReadOffsetTable(file.id(), &pos, 44, nullptr), 0u);
    EXPECT_EQ(pos, 72u);
    EXPECT_EQ(ReadOffsetTable(file.id(), nullptr, 44, words), 0u);
    EXPECT_EQ(words[10], kNone);
    EXPECT_EQ(words[11], 0x55555555u);  // 44 bytes and no more
    EXPECT_EQ(ReadOffsetTable(file.id(), nullptr, 0, words), 0u);
}

}  // namespace

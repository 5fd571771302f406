// SPDX-License-Identifier: MIT
// Records of an index by name, and what the box is told of them.
#include "index/bxd_indx_info.h"
#include "index/bxd_indx_lifecycle.h"
#include "index/bxd_indx_registry.h"
#include "tests/support/index_case.h"

namespace {

using namespace boxtest;

class IndexRecords : public IndexCase {
protected:
    void putBound(const std::vector<IndexEntry>& entries = {}) const
    {
        put(box({1, 2, 3}));
        IndexBuilder index;
        index.created().record(1, kBox);
        if (!entries.empty()) { index.entries(entries); }
        put(index.build(), kIndex);
    }
    // Reads with a room of `room` bytes: status, length told, and what was read.
    static std::string read(u16 tag, u16 room, const char* name = kIndex)
    {
        std::string buffer(room + size_t{8}, '.');
        u16 length = room;
        const u32 status = _IndexInfoRead(name, tag, buffer.data(), &length);
        EXPECT_EQ(buffer.substr(room), "........");
        return std::to_string(status) + " " + std::to_string(length) + " " +
               buffer.substr(0, std::min(room, length));
    }
};

// --- writing ---------------------------------------------------------------------------------------------

TEST_F(IndexRecords, EveryTagIsWrittenAndReadBack)
{
    putBound({{1}, {2}});
    IndexBuilder want;
    want.created().record(1, kBox);
    for (u32 tag = 1; tag <= 255; tag++) {
        if (tag == 1 || tag == 33 || tag == 34) { continue; }
        const std::string value = tag == 4 || tag == 32 ? "\x02" : "value " + std::to_string(tag);
        ASSERT_EQ(Write(kIndex, static_cast<u16>(tag), value), 0u) << tag;
        want.record(static_cast<u8>(tag), value);
        ASSERT_EQ(read(static_cast<u16>(tag), 40), "0 " + std::to_string(value.size()) + " " + value);
    }
    want.entries({{1}, {2}});
    EXPECT_TRUE(SameBytes(want.build(), get(kIndex)));
}

TEST_F(IndexRecords, TypeAndModeAreToldToTheBox)
{
    putBound();
    ASSERT_EQ(Write(kIndex, IDXINF_BOX_NAME, kBox), 0u);
    ASSERT_EQ(Bind("F0:SECOND.IDX"), 0u);
    ASSERT_EQ(WriteByte(kIndex, IDXINF_TYPE, 0x83), 0u);
    // To register again moves the entry to the end.
    EXPECT_EQ(registered(), (std::vector<std::string>{"SECOND.IDX", "TEST.IDX"}));
    ASSERT_EQ(WriteByte(kIndex, IDXINF_UPDATE_MODE, 1), 0u);
    EXPECT_EQ(table().entries[1].flags, 0x83);
    EXPECT_EQ(table().entries[1].flags2, 1);
    EXPECT_EQ(table().entries[0].flags, 0);
    // The name written again takes what the records say.
    ASSERT_EQ(Write("F0:SECOND.IDX", IDXINF_BOX_NAME, kBox), 0u);
    ASSERT_EQ(Write(kIndex, IDXINF_BOX_NAME, "TEST.BOX"), 0u);
    EXPECT_EQ(registered(), (std::vector<std::string>{"SECOND.IDX", "TEST.IDX"}));
    EXPECT_EQ(table().entries[1].flags, 0x83);
    EXPECT_EQ(table().entries[1].flags2, 1);
    // Other lengths: the first byte is told, none is 0.
    ASSERT_EQ(Write(kIndex, IDXINF_TYPE, "\x05\x06"), 0u);
    EXPECT_EQ(table().entries[1].flags, 5);
    ASSERT_EQ(Write(kIndex, IDXINF_TYPE, ""), 0u);
    EXPECT_EQ(table().entries[1].flags, 0);
    EXPECT_EQ(registered().size(), 2u);
}

TEST_F(IndexRecords, AnIndexWithoutABoxTellsNobody)
{
    put(box({1}));
    const Bytes before = get();
    for (const Bytes& index : {IndexBuilder().created().build(), IndexBuilder().build()}) {
        put(index, kIndex);
        EXPECT_EQ(WriteByte(kIndex, IDXINF_TYPE, 2), 0u);
        EXPECT_EQ(WriteByte(kIndex, IDXINF_UPDATE_MODE, 2), 0u);
        EXPECT_EQ(_IndexInfoDelete(kIndex, IDXINF_TYPE), 0u);
        EXPECT_EQ(_IndexInfoDelete(kIndex, IDXINF_UPDATE_MODE), 0u);
        EXPECT_TRUE(SameBytes(before, get()));
    }
    put(IndexBuilder().created().record(1, "").build(), kIndex);
    EXPECT_EQ(WriteByte(kIndex, IDXINF_TYPE, 2), 71u);
    EXPECT_EQ(view().record(4), Bytes{2});  // the record stays
}

TEST_F(IndexRecords, ARecordStaysThoughTheBoxIsNotReached)
{
    put(IndexBuilder().created().build(), kIndex);
    EXPECT_EQ(Write(kIndex, IDXINF_BOX_NAME, "F0:NONE.BOX"), 64u);
    EXPECT_EQ(view().record(1), B("F0:NONE.BOX"));
    EXPECT_EQ(WriteByte(kIndex, IDXINF_TYPE, 2), 64u);
    EXPECT_EQ(view().record(4), Bytes{2});
    EXPECT_EQ(_IndexInfoDelete(kIndex, IDXINF_TYPE), 64u);
    EXPECT_EQ(view().record(4), std::nullopt);
    EXPECT_EQ(Write(kIndex, IDXINF_BOX_NAME, ""), 71u);
    EXPECT_EQ(view().record(1), Bytes{});
    for (const size_t length : {size_t{256}, size_t{300}, size_t{32764}}) {
        EXPECT_EQ(Write(kIndex, IDXINF_BOX_NAME, std::string(length, 'n')), 71u);
        EXPECT_EQ(view().record(1), Bytes{});  // no name of a box is so long
    }
    EXPECT_EQ(Write(kIndex, IDXINF_BOX_NAME, std::string(255, 'n')), 71u);  // too long behind "F0:"
    EXPECT_EQ(Write(kIndex, IDXINF_BOX_NAME, "F0:" + std::string(252, 'n')), 64u);
}

TEST_F(IndexRecords, TheNameIsTakenByItsLength)
{
    put(box({1}));
    put(box({1}), "F0:TEST.BO");
    put(IndexBuilder().created().build(), kIndex);
    ASSERT_EQ(_IndexInfoWrite(kIndex, 1, Data("F0:TEST.BOX"), 10), 0u);
    EXPECT_EQ(view().record(1), B("F0:TEST.BO"));
    EXPECT_EQ(registered("F0:TEST.BO"), std::vector<std::string>{"TEST.IDX"});
    EXPECT_EQ(GetField(get(), hd::indexTable), kNone);
}

TEST_F(IndexRecords, TheBoxThatAnIndexLeavesKeepsItsName)
{
    put(box({1}), "F0:OLD.BOX");
    put(box({1}));
    ASSERT_EQ(Bind(kIndex, "F0:OLD.BOX"), 0u);
    ASSERT_EQ(Write(kIndex, IDXINF_BOX_NAME, kBox), 0u);
    EXPECT_EQ(registered("F0:OLD.BOX").size(), 1u);
    EXPECT_EQ(registered().size(), 1u);
}

TEST_F(IndexRecords, WhatCannotBeWrittenChangesNothing)
{
    putBound({{1}});
    const Bytes before = get(kIndex);
    const std::string data(40000, 'x');
    for (const auto write : {_IndexInfoWrite, _IndexInfoWriteWithCheck}) {
        EXPECT_EQ(write(kIndex, 0, Data(data), 3), 71u);
        EXPECT_EQ(write(kIndex, 256, Data(data), 3), 71u);
        EXPECT_EQ(write(kIndex, 257, Data(data), 3), 71u);
        EXPECT_EQ(write(kIndex, 200, Data(data), 32765), 71u);
        EXPECT_EQ(write(kIndex, 200, Data(data), 40000), 71u);
        EXPECT_EQ(write(kIndex, 200, nullptr, 1), 71u);
        EXPECT_EQ(write("F0:NONE.IDX", 200, Data(data), 3), 64u);
        EXPECT_EQ(write(kBox, 200, Data(data), 3), 64u);
        EXPECT_EQ(write("", 200, Data(data), 3), 64u);
        EXPECT_EQ(write(std::string(300, 'n').c_str(), 200, Data(data), 3), 64u);
    }
    EXPECT_TRUE(SameBytes(before, get(kIndex)));
    EXPECT_EQ(Write(kIndex, 200, data.substr(0, 32764)), 0u);
    EXPECT_EQ(view().record(200)->size(), 32764u);
}

TEST_F(IndexRecords, AStoredRecordThatIsTooLongIsDamage)
{
    const Bytes before = IndexBuilder().created().record(200, std::string(32765, 'x')).entry(1).build();
    put(before, kIndex);
    EXPECT_EQ(Write(kIndex, 200, "new"), 71u);
    EXPECT_EQ(_IndexInfoDelete(kIndex, 200), 71u);
    EXPECT_EQ(read(200, 10).substr(0, 3), "71 ");
    EXPECT_TRUE(SameBytes(before, get(kIndex)));
    EXPECT_EQ(Write(kIndex, 201, "new"), 0u);  // the others are sound
}

// --- reading ---------------------------------------------------------------------------------------------

TEST_F(IndexRecords, ReadingGivesWhatFitsAndTheWholeLength)
{
    put(IndexBuilder().created().record(200, "0123456789").record(201, "").build(), kIndex);
    EXPECT_EQ(read(200, 10), "0 10 0123456789");
    EXPECT_EQ(read(200, 11), "0 10 0123456789");
    EXPECT_EQ(read(200, 65535), "0 10 0123456789");
    EXPECT_EQ(read(200, 9), "0 10 012345678");
    EXPECT_EQ(read(200, 1), "0 10 0");
    u16 length = 0;
    EXPECT_EQ(_IndexInfoRead(kIndex, 200, nullptr, &length), 0u);
    EXPECT_EQ(length, 10);
    EXPECT_EQ(read(201, 10), "0 0 ");
    EXPECT_EQ(read(202, 10).substr(0, 3), "66 ");
    EXPECT_EQ(read(0, 10).substr(0, 3), "66 ");
    EXPECT_EQ(read(256 + 200, 10).substr(0, 3), "66 ");
    EXPECT_EQ(read(200, 10, "F0:NONE.IDX").substr(0, 3), "64 ");
    put(box(), "F0:NONE.IDX");
    EXPECT_EQ(read(200, 10, "F0:NONE.IDX").substr(0, 3), "64 ");
    put(IndexBuilder().build(), kIndex);
    EXPECT_EQ(read(200, 10).substr(0, 3), "71 ");
}

// --- removing --------------------------------------------------------------------------------------------

TEST_F(IndexRecords, ARecordIsRemovedAndTheOthersStay)
{
    putBound({{1}, {2}});
    ASSERT_EQ(Write(kIndex, 200, "application"), 0u);
    const Bytes before = get();
    ASSERT_EQ(_IndexInfoDelete(kIndex, 33), 0u);
    IndexBuilder want;
    want.record(34, Bytes{1}).record(1, kBox).record(200, "application").entries({{1}, {2}});
    EXPECT_TRUE(SameBytes(want.build(), get(kIndex)));
    for (const u16 tag : {u16{33}, u16{99}, u16{0}, u16{256 + 34}}) {
        EXPECT_EQ(_IndexInfoDelete(kIndex, tag), 0u) << tag;
    }
    EXPECT_TRUE(SameBytes(want.build(), get(kIndex)));
    EXPECT_TRUE(SameBytes(before, get()));
    EXPECT_EQ(_IndexInfoDelete("F0:NONE.IDX", 33), 64u);
    EXPECT_EQ(_IndexInfoDelete(kBox, 33), 64u);
}

TEST_F(IndexRecords, WithoutATypeEntriesOfDeadAndDischargedCardsGo)
{
    // 70 is bits 1, 2 and 6; an entry with none of them goes. A hidden one stays, unless the one that went
    // was the entry before it: then it comes to light, and is looked at like the others.
    putBound({{1, 0x47},
              {2, 0x01},
              {3, 0x02},
              {4, 0x04},
              {6, 0xB9},
              {5, 0x40},
              {7, 0x00, 1},
              {8, 0x01},
              {9, 0x00, 1}});
    ASSERT_EQ(WriteByte(kIndex, IDXINF_TYPE, 0x82), 0u);
    ASSERT_EQ(WriteByte(kIndex, IDXINF_UPDATE_MODE, 2), 0u);
    ASSERT_EQ(_IndexInfoDelete(kIndex, IDXINF_TYPE), 0u);
    EXPECT_EQ(view().cardIds(), (std::vector<u32>{1, 3, 4, 5, 7}));
    EXPECT_EQ(view().record(4), std::nullopt);
    EXPECT_EQ(table().entries[0].flags, 0);
    EXPECT_EQ(table().entries[0].flags2, 2);
    // Also where there was no record.
    putBound({{1, 0x47}, {2, 0x01}});
    ASSERT_EQ(_IndexInfoDelete(kIndex, IDXINF_TYPE), 0u);
    EXPECT_EQ(view().cardIds(), std::vector<u32>{1});
    EXPECT_EQ(registered().size(), 1u);
}

TEST_F(IndexRecords, WithoutAModeTheDoublyEntriesStay)
{
    putBound({{1, 0x47}, {2, 0x47, 1}});
    ASSERT_EQ(WriteByte(kIndex, IDXINF_TYPE, 2), 0u);
    ASSERT_EQ(WriteByte(kIndex, IDXINF_UPDATE_MODE, 1), 0u);
    ASSERT_EQ(_IndexInfoDelete(kIndex, IDXINF_UPDATE_MODE), 0u);
    EXPECT_EQ(view().entries(), (std::vector<IndexEntry>{{1, 0x47}, {2, 0x47, 1}}));
    EXPECT_EQ(table().entries[0].flags, 2);
    EXPECT_EQ(table().entries[0].flags2, 0);
}

TEST_F(IndexRecords, WithoutANameTheBoxKeepsTheIndex)
{
    putBound();
    ASSERT_EQ(Write(kIndex, IDXINF_BOX_NAME, kBox), 0u);
    const Bytes before = get();
    ASSERT_EQ(_IndexInfoDelete(kIndex, IDXINF_BOX_NAME), 0u);
    EXPECT_TRUE(SameBytes(before, get()));
    EXPECT_EQ(view().record(1), std::nullopt);
}

// --- from an index to its box ----------------------------------------------------------------------------

TEST_F(IndexRecords, TheBoxOfAnIndexIsTheOpenOneOrIsOpened)
{
    putBound();
    put(box(), "F0:OTHER.BOX");
    Fid index(kIndex);
    u32 same = 9;
    i32 fid = SearchIndexToBox(index.id(), kIndex, nullptr, &same);
    ASSERT_GE(fid, 0);
    EXPECT_EQ(same, 0u);
    EXPECT_EQ(BxdFileOpenMode(static_cast<u8>(fid)), BXD_MODE_WRITE);
    EXPECT_EQ(BxdFileClose(static_cast<u8>(fid)), 0u);

    OpenBox mine(kBox);
    OpenBox other("F0:OTHER.BOX");
    fid = SearchIndexToBox(index.id(), kIndex, mine.handle(), &same);
    EXPECT_EQ(fid, mine.fid());
    EXPECT_EQ(same, 1u);
    fid = SearchIndexToBox(index.id(), kIndex, other.handle(), &same);
    ASSERT_GE(fid, 0);
    EXPECT_EQ(same, 0u);
    EXPECT_NE(fid, other.fid());
    EXPECT_EQ(BxdFileClose(static_cast<u8>(fid)), 0u);
    // The name decides, not the file behind it.
    OpenBox alias("F1:TEST.BOX");
    fid = SearchIndexToBox(index.id(), kIndex, alias.handle(), &same);
    ASSERT_GE(fid, 0);
    EXPECT_EQ(same, 0u);
    EXPECT_EQ(BxdFileClose(static_cast<u8>(fid)), 0u);
    BoxRecord* nobody = nullptr;
    EXPECT_EQ(SearchIndexToBox(index.id(), kIndex, &nobody, &same), BXD_HOST_NOTFOUND);
}

TEST_F(IndexRecords, AnIndexWithoutABoxIsToldFromOneWhoseBoxIsGone)
{
    const std::pair<Bytes, i32> cases[] = {
        {IndexBuilder().build(), BXD_HOST_NOTFOUND},
        {IndexBuilder().created().build(), BXD_HOST_NOTFOUND},
        {IndexBuilder().created().record(1, "").build(), BXD_HOST_NOTFOUND},
        {IndexBuilder().created().record(1, kBox).build(), BXD_HOST_BOXGONE},
        {IndexBuilder().created().record(1, kIndex).build(), BXD_HOST_BOXGONE},
        {IndexBuilder().created().record(1, std::string(254, 'n')).build(), BXD_HOST_BOXGONE},
        {IndexBuilder().created().record(1, std::string(300, 'n')).build(), BXD_HOST_BOXGONE},
        {Slice(IndexBuilder().created().record(1, kBox).build(), 0, 40), BXD_HOST_BOXGONE}};
    for (const auto& [file, want] : cases) {
        put(file, kIndex);
        Fid index(kIndex);
        u32 same = 9;
        EXPECT_EQ(SearchIndexToBox(index.id(), kIndex, nullptr, &same), want);
        EXPECT_EQ(same, 0u);
        EXPECT_EQ(OpenFiles(), 1u);
    }
}

}  // namespace

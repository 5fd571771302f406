// SPDX-License-Identifier: MIT
// The marks of a synchronisation in the entries of an index, read and set through a handle on the index.
#include "index/bxd_indx_delete.h"
#include "index/bxd_indx_sync.h"
#include "tests/support/box_case.h"
#include "tests/support/index_builder.h"

namespace {

using boxtest::Bytes;
using boxtest::IndexBuilder;
using boxtest::IndexEntry;
using boxtest::IndexView;
using boxtest::SameBytes;
namespace ix = boxtest::ix;

constexpr u8 kPresent = 0x47;
constexpr u8 kHidden = 1;  // the doubly bit

class IndexMarks : public boxtest::BoxCase {
protected:
    static constexpr const char* kName = "F0:MARKS.TDX";

    ~IndexMarks() override
    {
        if (handle_ != nullptr) { EXPECT_EQ(BXD_OK, _BxdIndexClose(handle_)); }
    }
    void start(const std::vector<IndexEntry>& entries)
    {
        IndexBuilder b(28);
        b.created().entries(entries);
        startFile(b.build());
    }
    void startFile(const Bytes& file)
    {
        put(file, kName);
        handle_ = _BxdIndexOpen(kName);
        ASSERT_NE(nullptr, handle_);
    }
    u32 mark(u16 number)
    {
        u8 attr = 99;
        const u32 status = _BxdGetIndexSyncAttrPMSC(handle_, number, &attr);
        if (status != BXD_OK) { EXPECT_EQ(0, attr); }
        return status == BXD_OK ? attr : 1000 + status;
    }
    std::vector<IndexEntry> entries() const { return IndexView(get(kName)).entries(); }

    BxdIndexHandle handle_ = nullptr;
};

TEST_F(IndexMarks, TheHandleBeginsWithTheFileId)
{
    const u32 before = boxtest::OpenFiles();
    start({{1}});
    EXPECT_EQ(before + 1, boxtest::OpenFiles());
    EXPECT_EQ(BXD_MODE_WRITE, BxdFileOpenMode(**handle_));
    char name[BXD_PATH_SIZE] = {};
    EXPECT_EQ(BXD_OK, BxdFileName(**handle_, name));
    EXPECT_STREQ(kName, name);
    EXPECT_EQ(BXD_OK, _BxdIndexClose(handle_));
    handle_ = nullptr;
    EXPECT_EQ(before, boxtest::OpenFiles());
}

TEST_F(IndexMarks, WhatCannotBeOpenedHasNoHandle)
{
    EXPECT_EQ(nullptr, _BxdIndexOpen("F0:NO.TDX"));
    EXPECT_FALSE(exists("F0:NO.TDX"));
    EXPECT_EQ(BXD_ERR_FAIL, _BxdIndexClose(nullptr));
    u8 attr = 99;
    EXPECT_EQ(BXD_ERR_NOTFOUND, _BxdGetIndexSyncAttrPMSC(nullptr, 1, &attr));
    EXPECT_EQ(0, attr);
    EXPECT_EQ(BXD_ERR_NOTFOUND, _BxdSetIndexSyncAttrPMSC(nullptr, 1, 15, 0));
}

TEST_F(IndexMarks, TheLowNibbleOfAnEntryIsItsMark)
{
    start({{7, 0xF7}, {9, 0x48, kHidden}, {3, 0x30}, {65279, 0xFF}});
    EXPECT_EQ(7u, mark(1));
    EXPECT_EQ(8u, mark(2)) << "hidden entries count";
    EXPECT_EQ(0u, mark(3));
    EXPECT_EQ(15u, mark(4));
}

TEST_F(IndexMarks, AnEntryThatIsNotThereIsTold)
{
    start({{7, 0xF7}, {9, 0x48}});
    const Bytes before = get(kName);
    for (const u16 number : {u16{0}, u16{3}, u16{65534}, u16{65535}}) {
        EXPECT_EQ(1000u + 66, mark(number)) << number;
        EXPECT_EQ(BXD_ERR_NOTFOUND, _BxdSetIndexSyncAttrPMSC(handle_, number, 15, 0)) << number;
    }
    EXPECT_TRUE(SameBytes(before, get(kName)));
}

TEST_F(IndexMarks, AnIndexWithoutATableHasNoEntries)
{
    startFile(IndexBuilder(28).created().build());
    EXPECT_EQ(1000u + 66, mark(1));
    EXPECT_EQ(BXD_ERR_NOTFOUND, _BxdSetIndexSyncAttrPMSC(handle_, 1, 15, 0));
}

TEST_F(IndexMarks, DamageIsAnEntryThatIsNotThere)
{
    Bytes cut = IndexBuilder(28).created().entries({{7, 0xF7}, {9, 0x48}}).build();
    cut.resize(cut.size() - 4);
    startFile(cut);
    EXPECT_EQ(7u, mark(1));
    EXPECT_EQ(1000u + 66, mark(2));
    EXPECT_EQ(BXD_ERR_NOTFOUND, _BxdSetIndexSyncAttrPMSC(handle_, 2, 15, 0));
    for (const u32 pos : {0u, 4u, 0x7FFFFFFFu, 0xFFFFFFFEu}) {
        Bytes wild = cut;
        boxtest::SetField(wild, ix::tablePos, pos);
        put(wild, kName);
        EXPECT_EQ(1000u + 66, mark(1)) << pos;
        EXPECT_EQ(BXD_ERR_NOTFOUND, _BxdSetIndexSyncAttrPMSC(handle_, 1, 15, 0)) << pos;
        EXPECT_TRUE(SameBytes(wild, get(kName)));
    }
}

TEST_F(IndexMarks, TheMaskChoosesTheBitsThatChange)
{
    start({{5, 0xF7, kHidden}, {9, 0x48}});
    Bytes want = get(kName);
    const size_t attrAt = boxtest::GetField(want, ix::tablePos) + 2 + 4 + 2;  // of the second entry
    const auto set = [&](u8 mask, u8 value, u8 attr) {
        EXPECT_EQ(BXD_OK, _BxdSetIndexSyncAttrPMSC(handle_, 2, mask, value));
        want[attrAt] = attr;
        EXPECT_TRUE(SameBytes(want, get(kName))) << unsigned{mask} << ", " << unsigned{value};
    };
    set(0x13, 0xFF, 0x4B);  // bits 0 and 1 alone
    set(0x13, 0x00, 0x48);
    set(0xFF, 0x07, 0x47);  // never the high nibble
    set(0xFF, 0xB0, 0x40);
    set(0xF0, 0xFF, 0x40);
    set(0x00, 0xFF, 0x40);
    set(0x0F, 0xFA, 0x4A);
    set(0x01, 0x0F, 0x4B);
    set(0x06, 0x04, 0x4D);
}

TEST_F(IndexMarks, EveryMaskAndValueOnEveryAttribute)
{
    start({{5, 0}});
    const u32 attrAt = boxtest::GetField(get(kName), ix::tablePos) + 2 + 2;
    for (u32 attr = 0; attr < 256; attr += 5) {
        for (u32 mask = 0; mask < 16; mask++) {
            const u8 byte = static_cast<u8>(attr);
            const u8 value = static_cast<u8>(attr * 7 + mask * 3);
            ASSERT_EQ(BXD_OK, bxd::WriteAll(**handle_, attrAt, &byte, 1));
            ASSERT_EQ(BXD_OK, _BxdSetIndexSyncAttrPMSC(handle_, 1, static_cast<u8>(mask), value));
            u32 want = attr;
            for (u32 bit = 1; bit <= 8; bit <<= 1) {
                if ((mask & bit) != 0) { want = (value & bit) != 0 ? want | bit : want & ~bit; }
            }
            EXPECT_EQ(want, entries()[0].attr) << attr << ", " << mask << ", " << unsigned{value};
            EXPECT_EQ(want & 15, mark(1));
        }
    }
}

TEST_F(IndexMarks, AHandleSeesWhatTheBoxDoesMeanwhile)
{
    start({{5, kPresent}});
    {
        const boxtest::Fid other(kName);
        ASSERT_EQ(BXD_OK,
                  ModifyAttrPimDischarge(other.id(), boxtest::GetField(get(kName), ix::tablePos) + 4));
    }
    EXPECT_EQ(1u, mark(1));
}

}  // namespace

// SPDX-License-Identifier: MIT
// The index file byte by byte: header, records, and the card table that moves along with them.
#include "index/bxd_indx_info.h"
#include "index/bxd_indx_lifecycle.h"

#include "tests/support/index_case.h"

namespace {

using namespace boxtest;

class IndexInfo : public IndexCase {
protected:
    struct Found {
        u32 status, length, pos;
        bool operator==(const Found&) const = default;
    };
    Found search(u8 tag) const
    {
        Fid file(kIndex);
        Found found{0, 777, 777};
        found.status = SearchIndexInformation(file.id(), tag, &found.length, &found.pos);
        return found;
    }
    u8 byteOf(u16 tag) const
    {
        Fid file(kIndex);
        return GetIndexInfo(file.id(), tag);
    }
    u32 write(u16 tag, const Bytes& data) const
    {
        Fid file(kIndex);
        return IndexInfoWriteSub(file.id(), tag, data.data(), static_cast<u16>(data.size()));
    }
    // Writes, and gives the growth that is told.
    u32 make(u16 tag, const Bytes& data, i16* growth) const
    {
        Fid file(kIndex);
        *growth = static_cast<i16>(data.size());
        return MakeIndexInfo(file.id(), tag, data.data(), growth);
    }
    // Three entries behind three records.
    static IndexBuilder threeCards(const Bytes& middle)
    {
        IndexBuilder index;
        index.record(33, "en").record(100, middle).record(34, Bytes{1});
        return index.entries({{7, 0x47}, {9, 0x57}, {300, 0x07}});
    }
};

TEST_F(IndexInfo, TheTemplatesAreTheHeadersOfNewIndexes)
{
    EXPECT_EQ(Bytes(index_file_header, index_file_header + 24), IndexHeader(27));
    EXPECT_EQ(Bytes(tdx_file_header, tdx_file_header + 24), IndexHeader(28));
}

// --- opening ---------------------------------------------------------------------------------------------

TEST_F(IndexInfo, BothKindsOpenAndTellTheirIdentifier)
{
    for (const u8 kind : {kMasterKind, kListKind}) {
        put(IndexBuilder(kind).created().build(), kIndex);
        u8 told = 0;
        const i32 fid = IndexOpenCheck(kIndex, &told, 1);
        ASSERT_GE(fid, 0);
        EXPECT_EQ(told, kind);
        EXPECT_EQ(BxdFileOpenMode(static_cast<u8>(fid)), 1);
        EXPECT_EQ(BxdFileClose(static_cast<u8>(fid)), 0u);
    }
}

TEST_F(IndexInfo, OnlyTheHighNibbleOfTheVersionCounts)
{
    for (u32 version = 0; version < 256; version++) {
        put(IndexBuilder().created().setField(ix::fileVersion, version).build(), kIndex);
        u8 kind = 0;
        const i32 fid = IndexOpenCheck(kIndex, &kind, 3);
        EXPECT_EQ(fid >= 0, version >> 4 == 3) << version;
        if (fid < 0) {
            EXPECT_EQ(fid, BXD_HOST_NOTFOUND);
        } else {
            EXPECT_EQ(BxdFileClose(static_cast<u8>(fid)), 0u);
        }
    }
}

TEST_F(IndexInfo, WhatIsNoIndexIsClosedAgain)
{
    u8 kind = 99;
    for (const Bytes& file :
         {box(), B("no index"), Bytes{}, Bytes{0xFF, 0, 27},
          IndexBuilder().setField(ix::fileMark, 0xFE).build(),
          IndexBuilder().setField(ix::fileId, 29).build(), IndexBuilder().setField(ix::fileId, 26).build()}) {
        put(file, kIndex);
        EXPECT_EQ(IndexOpenCheck(kIndex, &kind, 3), BXD_HOST_NOTFOUND);
        EXPECT_EQ(OpenFiles(), 0u);
    }
    EXPECT_EQ(kind, 99);
    EXPECT_EQ(IndexOpenCheck("F0:NONE.IDX", &kind, 3), -3);
}

// --- looking up ------------------------------------------------------------------------------------------

TEST_F(IndexInfo, ARecordIsFoundWithLengthAndPlace)
{
    put(IndexBuilder().created().record(255, "last").record(7, "").build(), kIndex);
    EXPECT_EQ(search(33), (Found{0, 2, 27}));
    EXPECT_EQ(search(34), (Found{0, 1, 32}));
    EXPECT_EQ(search(255), (Found{0, 4, 36}));
    EXPECT_EQ(search(7), (Found{0, 0, 43}));
    Fid file(kIndex);
    EXPECT_EQ(SearchIndexInformation(file.id(), 33, nullptr, nullptr), 0u);
}

TEST_F(IndexInfo, AMissingTagGivesTheEndRecord)
{
    put(IndexBuilder().created().build(), kIndex);
    EXPECT_EQ(search(1), (Found{66, 0, 33}));
    // The two bytes behind the end are told as its length, whatever they are.
    put(IndexBuilder().created().entry(1).entry(2).build(), kIndex);
    EXPECT_EQ(search(1), (Found{66, 2, 33}));
}

TEST_F(IndexInfo, AnIndexWithoutAreaIsToldFromOneWithoutTheTag)
{
    put(IndexBuilder().build(), kIndex);
    EXPECT_EQ(search(1), (Found{255, 777, 777}));
    put(IndexBuilder().area().build(), kIndex);
    EXPECT_EQ(search(1), (Found{66, 0, 24}));
    put(Slice(IndexBuilder().created().build(), 0, 11), kIndex);
    EXPECT_EQ(search(1).status, 255u);
}

TEST_F(IndexInfo, ARecordThatLeavesTheFileIsDamage)
{
    Bytes file = IndexBuilder().created().record(9, "abc").build();
    Put16(file, 34, 5);
    put(file, kIndex);
    EXPECT_EQ(search(9).status, 71u);
    EXPECT_EQ(search(34).status, 0u);
    EXPECT_EQ(search(10).status, 71u);  // the walk leaves the file
    put(IndexBuilder().record(9, Bytes(32764, 1)).record(10, Bytes(32765, 1)).record(11, "x").build(),
        kIndex);
    EXPECT_EQ(search(9).status, 0u);
    EXPECT_EQ(search(10).status, 71u);
    EXPECT_EQ(search(11).status, 0u);
}

TEST_F(IndexInfo, TheOneByteOfARecord)
{
    put(IndexBuilder().created().record(4, Bytes{0x82}).record(5, Bytes{0}).record(6, "").build(), kIndex);
    EXPECT_EQ(byteOf(4), 0x82);
    EXPECT_EQ(byteOf(34), 1);
    EXPECT_EQ(byteOf(5), 0);   // a record that holds 0
    EXPECT_EQ(byteOf(6), 0);   // an empty one
    EXPECT_EQ(byteOf(7), 0);   // none
    EXPECT_EQ(byteOf(33), 0);  // one of two bytes
    EXPECT_EQ(byteOf(0), 0);
    EXPECT_EQ(byteOf(256 + 4), 0);
    put(IndexBuilder().build(), kIndex);
    EXPECT_EQ(byteOf(4), 0);
}

// --- writing ---------------------------------------------------------------------------------------------

TEST_F(IndexInfo, TheFirstRecordBeginsTheArea)
{
    put(IndexBuilder().build(), kIndex);
    i16 growth = 0;
    EXPECT_EQ(make(33, B("en"), &growth), 0u);
    EXPECT_EQ(growth, 5);  // the end byte does not count
    EXPECT_TRUE(SameBytes(IndexBuilder().record(33, "en").build(), get(kIndex)));
}

TEST_F(IndexInfo, ANewRecordGoesBehindTheOthers)
{
    put(IndexBuilder().record(33, "en").build(), kIndex);
    i16 growth = 0;
    EXPECT_EQ(make(34, {1}, &growth), 0u);
    EXPECT_EQ(growth, 4);
    EXPECT_TRUE(SameBytes(IndexBuilder().created().build(), get(kIndex)));
    EXPECT_EQ(write(255, B("application")), 0u);
    EXPECT_EQ(write(200, {}), 0u);
    EXPECT_TRUE(
        SameBytes(IndexBuilder().created().record(255, "application").record(200, "").build(), get(kIndex)));
}

TEST_F(IndexInfo, ARecordOfTheSameLengthIsWrittenOver)
{
    put(threeCards(B("abc")).build(), kIndex);
    i16 growth = 0;
    EXPECT_EQ(make(100, B("xyz"), &growth), 0u);
    EXPECT_EQ(growth, 0);
    EXPECT_TRUE(SameBytes(threeCards(B("xyz")).build(), get(kIndex)));
}

TEST_F(IndexInfo, TheTableMovesAlongWithTheRecords)
{
    // Longer, much longer than a buffer of the transfer, shorter, empty; a new one; and back.
    Bytes value = B("abc");
    put(threeCards(value).build(), kIndex);
    for (const size_t length : {size_t{13}, size_t{14}, size_t{16}, size_t{5000}, size_t{4999}, size_t{32764},
                                size_t{1}, size_t{0}, size_t{700}, size_t{3}}) {
        value = Pattern(length);
        ASSERT_EQ(write(100, value), 0u) << length;
        ASSERT_TRUE(SameBytes(threeCards(value).build(), get(kIndex))) << length;
    }
}

TEST_F(IndexInfo, MakeIndexInfoLeavesThePointerToItsCaller)
{
    put(threeCards(B("abc")).build(), kIndex);
    Bytes want = threeCards(B("abcdefghij")).build();
    SetField(want, ix::tablePos, GetField(want, ix::tablePos) - 7);
    i16 growth = 0;
    EXPECT_EQ(make(100, B("abcdefghij"), &growth), 0u);
    EXPECT_EQ(growth, 7);
    EXPECT_TRUE(SameBytes(want, get(kIndex)));

    put(threeCards(B("abc")).build(), kIndex);
    want = threeCards(B("a")).build();
    SetField(want, ix::tablePos, GetField(want, ix::tablePos) + 2);
    EXPECT_EQ(make(100, B("a"), &growth), 0u);
    EXPECT_EQ(growth, -2);
    EXPECT_TRUE(SameBytes(want, get(kIndex)));
}

TEST_F(IndexInfo, WhatNoRecordCanHaveIsRefused)
{
    const Bytes before = threeCards(B("abc")).build();
    put(before, kIndex);
    const Bytes data(40000, 1);
    Fid file(kIndex);
    for (const u16 tag : {u16{0}, u16{256}, u16{257}, u16{65535}}) {
        i16 length = 3;
        EXPECT_EQ(MakeIndexInfo(file.id(), tag, data.data(), &length), 71u) << tag;
        EXPECT_EQ(length, 0);
        EXPECT_EQ(IndexInfoWriteSub(file.id(), tag, data.data(), 3), 71u) << tag;
    }
    for (const u16 length : {u16{32765}, u16{32767}, u16{32768}, u16{40000}}) {
        EXPECT_EQ(IndexInfoWriteSub(file.id(), 100, data.data(), length), 71u) << length;
    }
    i16 negative = -1;
    EXPECT_EQ(MakeIndexInfo(file.id(), 100, data.data(), &negative), 71u);
    EXPECT_EQ(IndexInfoWriteSub(file.id(), 100, nullptr, 1), 71u);
    EXPECT_EQ(IndexInfoWriteSub(file.id(), 100, nullptr, 0), 0u);
    EXPECT_TRUE(SameBytes(threeCards({}).build(), get(kIndex)));
}

TEST_F(IndexInfo, DamageIsNotWrittenOver)
{
    const Bytes sound = threeCards(B("abc")).build();
    std::vector<Bytes> damaged;
    const auto with = [&](const Field& f, u32 value) {
        damaged.push_back(sound);
        SetField(damaged.back(), f, value);
    };
    with(ix::infoPos, kNone);  // a table without an area
    for (const u32 infoPos : {0u, 1u, 23u, 25u, 1000u, 0x7FFFFFFFu, 0x80000000u}) {
        with(ix::infoPos, infoPos);
    }
    for (const u32 tablePos : {0u, 3u, 24u, 30u, 38u}) { with(ix::tablePos, tablePos); }  // in the records
    with(ix::tablePos, static_cast<u32>(sound.size()) + 1);
    with(ix::tablePos, 0x7FFFFFFF);
    with(ix::tablePos, 0xFFFFFFFE);
    damaged.push_back(sound);
    Put16(damaged.back(), 30, 0x8000);  // the record of tag 100 itself
    damaged.push_back(sound);
    Put16(damaged.back(), 30, 4);  // one byte too long: the end is missed
    for (size_t n = 0; n < damaged.size(); n++) {
        put(damaged[n], kIndex);
        EXPECT_EQ(write(100, B("longer than before")), 71u) << n;
        EXPECT_EQ(write(200, B("new")), 71u) << n;
        {
            Fid file(kIndex);
            EXPECT_EQ(bxd::CutIndexInfo(file.id(), 100), 71u) << n;
        }
        EXPECT_TRUE(SameBytes(damaged[n], get(kIndex))) << n;
    }
    put(Slice(IndexBuilder().build(), 0, 20), kIndex);  // a header cut short
    EXPECT_EQ(write(200, B("new")), 71u);
    EXPECT_EQ(get(kIndex).size(), 20u);
}

TEST_F(IndexInfo, AReadOnlyIndexIsNotWritten)
{
    const Bytes before = threeCards(B("abc")).build();
    put(before, kIndex);
    Fid file(kIndex, BXD_MODE_READ);
    for (const Bytes& value : {B("xyz"), B("longer"), B("")}) {
        EXPECT_NE(IndexInfoWriteSub(file.id(), 100, value.data(), static_cast<u16>(value.size())), 0u);
    }
    EXPECT_TRUE(SameBytes(before, get(kIndex)));
}

// --- what follows from a record --------------------------------------------------------------------------

TEST_F(IndexInfo, TheModeThatLeavesFilteredTakesTheDoublyEntriesAlong)
{
    const std::vector<IndexEntry> all = {{1, 0x47, 0}, {2, 0x47, 1}, {3, 0x47, 1}, {4, 0x47, 0}};
    const std::vector<IndexEntry> visible = {all[0], all[3]};
    struct Case {
        Bytes before, after;
        bool removes;
    };
    for (const Case& c : {Case{{1}, {0}, true}, Case{{1}, {2}, true}, Case{{1}, {}, true},
                          Case{{1}, {1}, false}, Case{{2}, {0}, false}, Case{{1}, {1, 2}, false},
                          Case{{1, 1}, {0}, false}, Case{{1}, {3, 1}, true}}) {
        put(IndexBuilder().created().record(32, c.before).entries(all).build(), kIndex);
        EXPECT_EQ(write(32, c.after), 0u);
        EXPECT_TRUE(
            SameBytes(IndexBuilder().created().record(32, c.after).entries(c.removes ? visible : all).build(),
                      get(kIndex)));
    }
    // Only the record of the update mode does so.
    put(IndexBuilder().created().record(32, Bytes{1}).entries(all).build(), kIndex);
    EXPECT_EQ(write(31, {0}), 0u);
    EXPECT_EQ(view().entries(), all);
}

TEST_F(IndexInfo, ARecordIsCutOutWithTheTableBehindIt)
{
    put(threeCards(Pattern(700)).build(), kIndex);
    Fid file(kIndex);
    EXPECT_EQ(bxd::CutIndexInfo(file.id(), 100), 0u);
    const Bytes want = IndexBuilder().created().entries({{7, 0x47}, {9, 0x57}, {300, 0x07}}).build();
    EXPECT_TRUE(SameBytes(want, get(kIndex)));
    EXPECT_EQ(bxd::CutIndexInfo(file.id(), 100), 0u);
    EXPECT_EQ(bxd::CutIndexInfo(file.id(), 0), 0u);
    EXPECT_EQ(bxd::CutIndexInfo(file.id(), 256 + 33), 0u);
    EXPECT_TRUE(SameBytes(want, get(kIndex)));
}

TEST_F(IndexInfo, TheNameOfTheBox)
{
    const std::pair<Bytes, std::string> cases[] = {
        {IndexBuilder().created().record(1, "F0:A.BOX").build(), "0 F0:A.BOX"},
        {IndexBuilder().created().record(1, "").build(), "0 "},
        {IndexBuilder().created().record(1, std::string(255, 'n')).build(), "0 " + std::string(255, 'n')},
        {IndexBuilder().created().record(1, std::string(256, 'n')).build(), "71 "},
        {IndexBuilder().created().build(), "66 "},
        {IndexBuilder().build(), "255 "}};
    for (const auto& [file, want] : cases) {
        put(file, kIndex);
        Fid index(kIndex);
        char name[256];
        std::memset(name, 'x', sizeof name);
        const u32 status = bxd::ReadIndexBoxName(index.id(), name);
        EXPECT_EQ(std::to_string(status) + " " + name, want);
    }
}

}  // namespace

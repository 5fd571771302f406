// SPDX-License-Identifier: MIT
// Names in the index table of a box: those of indexes that cannot be opened are taken out by a check; and how
// many entries an index has.
#include "diag/bxd_diag_box.h"
#include "tests/support/diag_case.h"

namespace {

using namespace boxtest;

class DiagIndexNames : public DiagCase {
protected:
    void putIndex(const std::string& name) { put(IndexBuilder().created().entry(1).build(), name); }
    // The names that a check leaves in the table.
    std::vector<std::string> left(const std::vector<IndexEntrySpec>& entries, u8 level = 3)
    {
        BoxBuilder builder;
        builder.card(1);
        builder.indexTable(entries);
        builder.card(2);
        put(builder.build());
        EXPECT_EQ(check(level).status, 0u);
        EXPECT_TRUE(IsSound(get()));
        const NameTable table = TakeIndexTableApart(get());
        EXPECT_EQ(table.fault, "");
        return table.names();
    }
    using Names = std::vector<std::string>;
};

TEST_F(DiagIndexNames, ThoseThatOpenStay)
{
    putIndex("F0:A.IDX");
    putIndex("F0:B.TDX");
    for (const u8 level : {u8{3}, u8{2}, u8{255}}) {
        EXPECT_EQ(left({{"A.IDX"}, {"B.TDX"}}, level), (Names{"A.IDX", "B.TDX"}));
    }
}

TEST_F(DiagIndexNames, ThoseOfMissingFilesGo)
{
    putIndex("F0:B.IDX");
    for (const u8 level : {u8{3}, u8{2}, u8{255}, u8{0}}) {
        EXPECT_EQ(left({{"A.IDX"}, {"B.IDX"}, {"C.IDX"}, {"D.IDX"}}, level), (Names{"B.IDX"}));
    }
    EXPECT_EQ(left({{"A.IDX"}}), Names{});
    EXPECT_EQ(left({{"A.IDX", 1, 27, 0x82}}), Names{}) << "a discharge index too";
}

TEST_F(DiagIndexNames, ThoseOfFilesThatAreNoIndexGo)
{
    put(NewBoxImage("TEST"), "F0:A.IDX");
    put({}, "F0:B.IDX");
    EXPECT_EQ(left({{"A.IDX"}, {"B.IDX"}}), Names{});
}

TEST_F(DiagIndexNames, ThoseOfBarredFilesGo)
{
    putIndex("F0:A.IDX");
    putIndex("F0:B.IDX");
    (void)BxdSetErrorFileName("F0:A.IDX", 130, 3, "%s", "");
    (void)BxdSetErrorFileName("F0:B.IDX", 178, 3, "%s", "");
    EXPECT_EQ(left({{"A.IDX"}, {"B.IDX"}}), (Names{"B.IDX"}));
}

TEST_F(DiagIndexNames, DamageInAnIndexIsNotThatOfItsBox)
{
    IndexBuilder index;
    Bytes file = index.created().entry(1).build();
    SetField(file, ix::tablePos, 0x7FFFFFFF);
    put(file, "F0:A.IDX");
    put({0xFF, 0, 27, 0x30}, "F0:B.IDX");
    EXPECT_EQ(left({{"A.IDX"}, {"B.IDX"}}), (Names{"A.IDX", "B.IDX"}));
}

TEST_F(DiagIndexNames, AllFormsOfNamesAreFollowed)
{
    putIndex("F0:A.IDX");
    const std::string other = "F1:B.IDX";
    putIndex(other);
    EXPECT_EQ(left({{"A.IDX", 1}, {other, 3}, {"F1:C.IDX", 3}}), (Names{"A.IDX", other}));
}

TEST_F(DiagIndexNames, WithoutRepairAllNamesStay)
{
    BoxBuilder builder;
    builder.card(1);
    builder.indexTable({{"A.IDX"}});
    const Bytes file = builder.build();
    put(file);
    const Fid fid(kBox);
    EXPECT_EQ(BoxFileDiag(fid.id(), 3, 0), 0u);
    EXPECT_TRUE(SameBytes(file, get()));
}

TEST_F(DiagIndexNames, ATableThatIsFullToTheBrimIsWalkedToItsEnd)
{
    // 512 bytes of body: 19 entries of 26 bytes and one of 18.
    BoxBuilder builder;
    builder.card(1);
    Bytes body;
    std::vector<std::string> want;
    for (u32 n = 0; n < 19; n++) {
        const std::string name = "INDEX" + std::to_string(100 + n) + ".IDX";
        body = body + EncodeIndexEntry({name});
        if (n % 2 == 0) {
            putIndex("F0:" + name);
            want.push_back(name);
        }
    }
    body = body + EncodeIndexEntry({"A.IDX"});
    ASSERT_EQ(body.size(), 512u);
    const u32 pos = builder.raw(EncodeHead(kIndexTableId, 512) + body);
    builder.setField(hd::indexTable, pos);
    builder.setField(hd::indexTableSize, 518);
    put(builder.build());
    EXPECT_EQ(check(3).status, 0u);
    EXPECT_EQ(TakeIndexTableApart(get()).names(), want);
}

// --- the count of an index --------------------------------------------------------------------------------

TEST_F(DiagIndexNames, TheCountOfAnIndexIsThatOfItsTable)
{
    const auto count = [&](const Bytes& file) {
        put(file, kDiagIndex);
        const i32 result = IndexCardCounter(kDiagIndex);
        EXPECT_EQ(OpenFiles(), 0u);
        return result;
    };
    const Bytes sound = IndexBuilder().created().entries({{1}, {2, 0x47, 1}, {3}}).build();
    EXPECT_EQ(count(sound), 3) << "hidden entries count";
    EXPECT_EQ(count(IndexBuilder().created().setCount(65535).build()), 65535);
    EXPECT_EQ(count(IndexBuilder().created().build()), 0);
    EXPECT_EQ(count(IndexBuilder().build()), 0);
    Bytes file = sound;
    SetField(file, ix::infoPos, kNone);
    EXPECT_EQ(count(file), 0) << "without records the table does not count";
    for (const u32 pos : {static_cast<u32>(sound.size()), static_cast<u32>(sound.size()) - 1, 0x80000000u}) {
        file = sound;
        SetField(file, ix::tablePos, pos);
        Captured quiet;
        EXPECT_EQ(count(file), -2) << pos;
    }
    Captured quiet;
    for (const size_t n : {size_t{4}, size_t{6}, size_t{10}}) { EXPECT_EQ(count(Slice(sound, 0, n)), -2); }
    EXPECT_EQ(count(Slice(sound, 0, 3)), -3);
    EXPECT_EQ(count(NewBoxImage("TEST")), -3);
    EXPECT_EQ(IndexCardCounter("F0:GONE.IDX"), -3);
    EXPECT_EQ(IndexCardCounter(""), -3);
}

}  // namespace

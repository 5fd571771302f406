// SPDX-License-Identifier: MIT
// What changes of cards do to the indexes of their box.
#include "index/bxd_indx_upkeep.h"

#include "tests/support/index_case.h"

namespace {

using namespace boxtest;

class IndexUpkeep : public IndexCase {
protected:
    // Three cards and an index that has the second and third; `spec` is its entry in the box's table.
    void putBoth(const IndexEntrySpec& spec, const std::vector<IndexRecord>& records = {}) const
    {
        BoxBuilder builder(DefaultItems() + std::vector<Item>{{1, 0, "NAME", "name"}});
        for (u32 id = 1; id <= 3; id++) { builder.card(id, builder.row({{"NAME", B("card")}})); }
        builder.indexTable({spec});
        put(builder.build());
        IndexBuilder index;
        index.created().record(1, kBox);
        for (const IndexRecord& record : records) { index.record(record.tag, record.data); }
        put(index.entries({{3, 0x46}, {2, 0x48, 1}}).build(), kIndex);
    }
    static u32 writeItem(u32 id, const char* tag, const std::string& value)
    {
        OpenBox open(kBox);
        const CardDescriptor key = Key(id, tag);
        return _CardWrite(open.handle(), &key, Data(value), static_cast<i32>(value.size()));
    }
    // A card under edit goes to this id.
    static u32 copyTo(u32 id, const std::string& attr = "")
    {
        OpenBox open(kBox);
        u16 edit = TMP_SYSTEM_CARD_ID;
        u32 status = _CardCreate(open.handle(), &edit);
        const CardDescriptor key = Key(edit, "ATTR");
        if (status == 0 && !attr.empty()) { status = _CardWrite(open.handle(), &key, Data(attr), 1); }
        u16 target = static_cast<u16>(id);
        return status == 0 ? _CardCopy(open.handle(), edit, &target) : status;
    }
    std::vector<IndexEntry> entries() const { return view().entries(); }
};

TEST_F(IndexUpkeep, AnItemThatIsWrittenLeavesAnOrdinaryIndexAlone)
{
    for (const u8 type : {u8{0}, u8{2}, u8{0x80}, u8{0x81}, u8{1}}) {
        putBoth({"TEST.IDX", 1, 27, type});
        const Bytes before = get(kIndex);
        EXPECT_EQ(writeItem(2, "NAME", "same"), 0u);
        EXPECT_EQ(writeItem(2, "NAME", "longer than before"), 0u);
        EXPECT_EQ(writeItem(1, "NAME", "not in the index"), 0u);
        EXPECT_TRUE(SameBytes(before, get(kIndex)));
    }
}

TEST_F(IndexUpkeep, ADischargeIndexIsToldThatACardWasWritten)
{
    for (const u8 type : {u8{0x82}, u8{0x83}, u8{0xFF}}) {
        putBoth({"TEST.IDX", 1, 27, type});
        EXPECT_EQ(writeItem(2, "NAME", "changed"), 0u);
        EXPECT_EQ(entries(), (std::vector<IndexEntry>{{3, 0x46}, {2, 0x49, 1}}));
        EXPECT_EQ(writeItem(2, "NAME", "changed"), 0u);
        EXPECT_EQ(writeItem(1, "NAME", "not in the index"), 0u);
        EXPECT_EQ(entries(), (std::vector<IndexEntry>{{3, 0x46}, {2, 0x49, 1}}));
    }
}

TEST_F(IndexUpkeep, TheHighNibbleOfAnAttributeFollows)
{
    putBoth({"TEST.IDX", 1, 27, 0});
    EXPECT_EQ(writeItem(3, "ATTR", "\xA5"), 0u);  // stored as E5
    EXPECT_EQ(entries(), (std::vector<IndexEntry>{{3, 0xE6}, {2, 0x48, 1}}));
    putBoth({"TEST.IDX", 1, 27, 0x82});
    EXPECT_EQ(writeItem(3, "ATTR", "\xA5"), 0u);
    EXPECT_EQ(entries(), (std::vector<IndexEntry>{{3, 0xE7}, {2, 0x48, 1}}));
}

TEST_F(IndexUpkeep, EveryIndexOfTheBoxIsTold)
{
    put(box({1, 2}));
    for (const char* name : {"F0:A.IDX", "F0:B.IDX", "F0:C.IDX"}) {
        put(IndexBuilder().created().record(4, Bytes{0x82}).entry(2, 0x46).build(), name);
        ASSERT_EQ(Write(name, IDXINF_BOX_NAME, kBox), 0u);
    }
    put(IndexBuilder().build(), "F0:B.IDX");  // one without a table is passed over
    EXPECT_EQ(writeItem(2, "NAME", "changed"), 0u);
    EXPECT_EQ(view("F0:A.IDX").entries()[0].attr, 0x47);
    EXPECT_EQ(view("F0:C.IDX").entries()[0].attr, 0x47);
    EXPECT_TRUE(SameBytes(IndexBuilder().build(), get("F0:B.IDX")));

    // The walk ends at one that cannot be opened; the value is written.
    put(IndexBuilder().created().record(4, Bytes{0x82}).entry(2, 0x46).build(), "F0:A.IDX");
    put(IndexBuilder().created().record(4, Bytes{0x82}).entry(2, 0x46).build(), "F0:C.IDX");
    ASSERT_EQ(unlink(path("F0:B.IDX").c_str()), 0);
    EXPECT_EQ(writeItem(2, "NAME", "once more"), 71u);
    EXPECT_EQ(view("F0:A.IDX").entries()[0].attr, 0x47);
    EXPECT_EQ(view("F0:C.IDX").entries()[0].attr, 0x46);
    EXPECT_EQ(Text(BoxView(get()).value(2, "NAME")), "once more");
}

TEST_F(IndexUpkeep, TheThreeFormsOfANameLeadToTheIndex)
{
    folder("F0:/x");
    folder("F0:/y");
    put(box({1, 2}), "F0:/x/A.BOX");
    for (const char* name : {"F0:/x/A.IDX", "F0:/y/B.IDX", "F1:/y/C.IDX"}) {
        put(IndexBuilder().created().record(4, Bytes{0x82}).entry(2, 0x46).build(), name);
        ASSERT_EQ(Write(name, IDXINF_BOX_NAME, "F0:/x/A.BOX"), 0u);
    }
    EXPECT_EQ(table("F0:/x/A.BOX").entries[2].nameType, 3);
    OpenBox open("F0:/x/A.BOX");
    const CardDescriptor key = Key(2, "NAME");
    EXPECT_EQ(_CardWrite(open.handle(), &key, Data("new"), 3), 0u);
    for (const char* name : {"F0:/x/A.IDX", "F0:/y/B.IDX", "F1:/y/C.IDX"}) {
        EXPECT_EQ(view(name).entries()[0].attr, 0x47) << name;
    }
}

TEST_F(IndexUpkeep, ANewCardComesIntoTheIndexesThatTakeIt)
{
    struct Case {
        u8 type, mode;
        bool comesIn;
    };
    // A filtered index without a condition takes none.
    for (const Case& c :
         {Case{0, 0, true}, Case{0, 1, false}, Case{0, 2, false}, Case{0x80, 0, false}, Case{0x82, 1, false},
          Case{0x81, 0, true}, Case{0x83, 1, false}, Case{0x02, 3, true}, Case{0x81, 2, false}}) {
        putBoth({"TEST.IDX", 1, 27, c.type, c.mode});
        const Bytes before = get(kIndex);
        EXPECT_EQ(copyTo(0), 0u) << int{c.type} << " " << int{c.mode};
        if (c.comesIn) {
            ASSERT_FALSE(entries().empty());
            EXPECT_EQ(entries().back(), (IndexEntry{4, 0x47}));
        } else {
            EXPECT_TRUE(SameBytes(before, get(kIndex)));
        }
        const BoxView view(get());
        EXPECT_EQ(view.field(hd::cardCount), 4u);
        EXPECT_NE(view.find(4), 0u);
    }
}

TEST_F(IndexUpkeep, AnIndexThatTakesNoNewCardsNeedNotBeThere)
{
    putBoth({"TEST.IDX", 1, 27, 0, 2});
    ASSERT_EQ(unlink(path(kIndex).c_str()), 0);
    EXPECT_EQ(copyTo(0), 0u);
    EXPECT_EQ(copyTo(2), 71u);  // a card that replaces one looks for its entry
}

TEST_F(IndexUpkeep, ACardThatReplacesOneKeepsItsPlaceWhereThereIsNoOrder)
{
    const std::string attr = "\x90";  // stored as D0
    struct Case {
        u8 type, mode;
        std::vector<IndexRecord> records;
        u32 id;
        std::vector<IndexEntry> after;
    };
    const std::vector<IndexEntry> moved = {{3, 0xD6}, {2, 0x48, 1}};
    const std::vector<IndexEntry> marked = {{3, 0xD7}, {2, 0x48, 1}};
    const std::vector<IndexEntry> same = {{3, 0x46}, {2, 0x48, 1}};
    const std::vector<IndexEntry> gone = {{2, 0x48, 0}};
    const std::vector<IndexEntry> joined = {{3, 0x46}, {2, 0x48, 1}, {1, 0xD7}};
    for (const Case& c : {Case{0, 0, {}, 3, moved},                 //
                          Case{0, 2, {}, 3, moved},                 //
                          Case{0x82, 0, {}, 3, marked},             //
                          Case{0, 0, {{2, B("abc")}}, 3, moved},    // too short to order
                          Case{0, 0, {{2, B("abcd")}}, 3, moved},   // no order can be made of these
                          Case{0, 0, {{129, B("abc")}}, 3, moved},  //
                          Case{0, 1, {}, 3, gone},                  // no condition lets it stay
                          Case{0, 0, {}, 1, joined},                // it comes in
                          Case{0, 2, {}, 1, same},                  // by hand only
                          Case{0x80, 0, {}, 1, same}}) {
        putBoth({"TEST.IDX", 1, 27, c.type, c.mode}, c.records);
        EXPECT_EQ(copyTo(c.id, attr), 0u) << int{c.type} << " " << int{c.mode} << " " << c.id;
        EXPECT_EQ(entries(), c.after);
        EXPECT_EQ(BoxView(get()).field(hd::cardCount), 3u);
    }
}

// A lost power has taken the card, and its slot and its entries have stayed.
TEST_F(IndexUpkeep, ACardThatReplacesADeadOneDoesNotComeInTwice)
{
    for (const u8 mode : {u8{0}, u8{2}}) {
        putBoth({"TEST.IDX", 1, 27, 0x82, mode});
        Bytes file = get();
        Put16(file, BoxView(file).find(3), 0);
        put(file);
        EXPECT_EQ(copyTo(3, "\x90"), 0u);
        EXPECT_EQ(entries(), (std::vector<IndexEntry>{{3, 0xD7}, {2, 0x48, 1}}));
        EXPECT_EQ(BoxView(get()).field(hd::cardCount), 3u);
    }
}

TEST_F(IndexUpkeep, WhatOneIndexCannotReadDoesNotStopTheOthers)
{
    put(box({1, 2}));
    put(IndexBuilder().created().record(32, Bytes{1}).entry(2, 0x46).build(), "F0:A.IDX");
    put(IndexBuilder().created().record(4, Bytes{0x82}).entry(2, 0x46).build(), "F0:B.IDX");
    ASSERT_EQ(Write("F0:A.IDX", IDXINF_BOX_NAME, kBox), 0u);
    ASSERT_EQ(Write("F0:B.IDX", IDXINF_BOX_NAME, kBox), 0u);
    EXPECT_EQ(copyTo(2), 0u);
    EXPECT_TRUE(view("F0:A.IDX").entries().empty());
    EXPECT_EQ(view("F0:B.IDX").entries()[0].attr, 0x47);
}

TEST_F(IndexUpkeep, ATableThatIsDamagedOrEmpty)
{
    putBoth({"TEST.IDX", 1, 27, 0x82});
    Bytes file = get();
    Put16(file, GetField(file, hd::indexTable) + 6, 0);
    put(file);
    EXPECT_EQ(writeItem(2, "NAME", "new"), 0u);
    EXPECT_EQ(copyTo(0), 0u);
    Put16(file, GetField(file, hd::indexTable) + 6, 1000);
    put(file);
    EXPECT_EQ(writeItem(2, "NAME", "next"), 71u);
    EXPECT_EQ(copyTo(0), 71u);
    EXPECT_EQ(BoxView(get()).field(hd::cardCount), 4u);
}

TEST_F(IndexUpkeep, ANewCardThatNoIndexCouldTakeLeavesASoundBox)
{
    putBoth({"TEST.IDX", 1, 27, 0});
    put({}, kIndex);
    EXPECT_EQ(copyTo(0), 71u);
    EXPECT_TRUE(IsSound(get()));
    EXPECT_EQ(GetField(get(), hd::maxCardID), 4u);
    EXPECT_EQ(GetField(get(), hd::cardCount), 4u);
}

}  // namespace

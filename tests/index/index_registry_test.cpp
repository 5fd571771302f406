// SPDX-License-Identifier: MIT
// The table of a box that names its indexes: entries, growth by moving, bytes given back.
#include "index/bxd_indx_registry.h"

#include "box/bxd_garb.h"
#include "tests/support/index_case.h"

namespace {

using namespace boxtest;

constexpr u32 kBlock = 518;  // of a new table

class IndexRegistry : public IndexCase {
protected:
    u32 add(const std::string& name, u8 type = 0, u8 fileId = 27, u8 mode = 0, u8 form = 1) const
    {
        Fid file(kBox);
        return AddIndexName(file.id(), name.c_str(), type, fileId, mode, form);
    }
    u32 remove(const std::string& name) const
    {
        Fid file(kBox);
        return DeleteIndexName(file.id(), name.c_str());
    }
    // Names of nine characters.
    static std::string nine(u32 n) { return "N" + std::to_string(1000 + n) + ".IDX"; }
    void addNines(u32 from, u32 to) const
    {
        for (u32 n = from; n <= to; n++) { ASSERT_EQ(add("F0:" + nine(n)), 0u) << n; }
    }
    Bytes boxWithTable(const std::vector<IndexEntrySpec>& entries, bool cardBehind = false) const
    {
        BoxBuilder builder(DefaultItems() + std::vector<Item>{{1, 0, "NAME", "name"}});
        builder.card(1, builder.row({{"NAME", B("card")}}));
        builder.indexTable(entries);
        if (cardBehind) { builder.card(2, builder.row({{"NAME", B("behind")}})); }
        return builder.build();
    }
    static std::vector<IndexEntrySpec> nines(u32 from, u32 to)
    {
        std::vector<IndexEntrySpec> out;
        for (u32 n = from; n <= to; n++) { out.push_back({nine(n), 1, 27}); }
        return out;
    }
};

// --- the first table -------------------------------------------------------------------------------------

TEST_F(IndexRegistry, TheFirstNameMakesTheTableOverTheEndMark)
{
    const Bytes before = box({1, 2});
    put(before);
    ASSERT_EQ(add("F0:TEST.IDX", 0x82, 28, 2), 0u);
    Bytes want = Slice(before, 0, before.size() - 2);
    const u32 pos = static_cast<u32>(want.size());
    SetField(want, hd::indexTable, pos);
    SetField(want, hd::indexTableSize, kBlock);
    want = want + Bytes{0xF1, 0xFF, 0x00, 0x02, 0x00, 0x00};
    want = want + Bytes{20, 0, 1, 28, 0x82, 2} + Bytes(6, 0xFF) + B("TEST.IDX") + Bytes{0, 0xFF, 0, 0};
    want.resize(pos + kBlock + 2, 0xFF);
    EXPECT_TRUE(SameBytes(want, get()));
    EXPECT_TRUE(IsSound(get()));
}

TEST_F(IndexRegistry, InABoxWithoutCardsTheTableBeginsTheChain)
{
    const Bytes before = box();
    put(before);
    ASSERT_EQ(add("F0:TEST.IDX"), 0u);
    const Bytes file = get();
    EXPECT_EQ(file.size(), before.size() + kBlock + 2);
    EXPECT_EQ(GetField(file, hd::cardOffset), before.size());
    EXPECT_EQ(table().pos, before.size());
    EXPECT_EQ(registered(), std::vector<std::string>{"TEST.IDX"});
    // The first card goes behind it.
    OpenBox open(kBox);
    ASSERT_TRUE(open.ok());
    u16 edit = TMP_SYSTEM_CARD_ID;
    u16 id = 0;
    EXPECT_EQ(_CardCreate(open.handle(), &edit), 0u);
    EXPECT_EQ(_CardCopy(open.handle(), edit, &id), 71u);  // its index is not there
    EXPECT_EQ(id, 1);
    CheckRules rules;
    rules.maxCardID = false;
    rules.hint = false;
    EXPECT_TRUE(IsSound(get(), rules));
    EXPECT_EQ(WalkChain(get()).links.size(), 2u);
}

TEST_F(IndexRegistry, AFileThatCanOnlyBeReadStaysAsItIs)
{
    put(box());
    const Bytes before = get();
    Fid file(kBox, BXD_MODE_READ);
    EXPECT_NE(AddIndexName(file.id(), "F0:TEST.IDX", 0, 27, 0, 1), 0u);
    EXPECT_TRUE(SameBytes(before, get()));
}

// --- entries ---------------------------------------------------------------------------------------------

TEST_F(IndexRegistry, TheEntryLengthIsTheNameAndTwelveRoundedDownToEven)
{
    put(box({1}));
    std::vector<std::string> names;
    for (u32 length = 1; length <= 12; length++) {
        names.emplace_back(length, static_cast<char>('a' + length));
        ASSERT_EQ(add(names.back()), 0u);
    }
    const Bytes file = get();
    u32 at = table().pos + 6;
    for (u32 length = 1; length <= 12; length++) {
        EXPECT_EQ(Get16(file, at), (length + 12) & ~1u);
        at += 2 + Get16(file, at);
    }
    EXPECT_EQ(Get16(file, at), 0u);
    EXPECT_EQ(registered(), names);
}

TEST_F(IndexRegistry, ANameOfNineCharactersTakes22BytesAndTwoForTheEnd)
{
    put(box({1}));
    ASSERT_EQ(add("F0:" + nine(1)), 0u);
    EXPECT_EQ(Get16(get(), table().pos + 6), 20u);
    EXPECT_EQ(table().end, 6u + 22u);
    const Bytes file = get();
    EXPECT_EQ(Slice(file, table().pos + 6 + 22, 3), (Bytes{0, 0, 0xFF}));
}

TEST_F(IndexRegistry, TheFormTellsWhatOfTheNameIsStored)
{
    put(box({1}));
    const char* const name = "F0:/dir/A.IDX";
    for (const u8 form : {u8{1}, u8{2}, u8{3}, u8{7}}) { ASSERT_EQ(add(name, 0, 27, 0, form), 0u); }
    ASSERT_EQ(add("F0:dir.IDX", 0, 27, 0, 2), 0u);
    EXPECT_EQ(registered(),
              (std::vector<std::string>{"A.IDX", "/dir/A.IDX", "F0:/dir/A.IDX", "A.IDX", "dir.IDX"}));
    EXPECT_EQ(table().entries[3].nameType, 7);
}

TEST_F(IndexRegistry, ANameThatIsTooLongIsRefused)
{
    put(box({1}));
    const Bytes before = get();
    EXPECT_EQ(add(std::string(256, 'n')), 71u);
    EXPECT_EQ(add("F0:/" + std::string(252, 'n'), 0, 27, 0, 3), 71u);
    EXPECT_TRUE(SameBytes(before, get()));
    const std::string longest(255, 'n');
    EXPECT_EQ(add(longest), 0u);
    EXPECT_EQ(add("X" + std::string(254, 'n')), 0u);  // 270 and 268 bytes do not both fit
    EXPECT_EQ(registered(), (std::vector<std::string>{longest, "X" + std::string(254, 'n')}));
    EXPECT_EQ(table().body, 1024u);
}

// --- growth ----------------------------------------------------------------------------------------------

TEST_F(IndexRegistry, TwentyThreeNamesFillABlockAndTheNextMovesIt)
{
    put(box({1, 2}));
    addNines(1, 23);
    const NameTable full = table();
    EXPECT_EQ(full.body, 512u);
    EXPECT_EQ(full.end, 6u + 506u);
    const Bytes before = get();
    addNines(24, 24);
    const NameTable moved = table();
    EXPECT_EQ(moved.body, 1024u);
    EXPECT_EQ(moved.entries.size(), 24u);
    // The new block was written over the old end mark, and the old one is dead.
    EXPECT_EQ(moved.pos, before.size() - 2);
    const BoxView view(get());
    EXPECT_EQ(view.deadBytes(), kBlock);
    EXPECT_EQ(view.field(hd::garbageSize), kBlock);
    EXPECT_EQ(view.field(hd::indexTableSize), 1030u);
    EXPECT_EQ(get().size(), moved.pos + 1030u + 2u);
    EXPECT_EQ(Slice(get(), moved.pos, 6), (Bytes{0xF1, 0xFF, 0x00, 0x04, 0x00, 0x00}));
    EXPECT_EQ(Slice(get(), moved.pos + 6, 506), Slice(before, full.pos + 6, 506));
    // The reserved bytes of the new entry are erased.
    EXPECT_EQ(Slice(get(), moved.pos + 6 + 506, 26), (EncodeIndexEntry({nine(24), 1, 27}) + Bytes(4, 0)));
}

TEST_F(IndexRegistry, ATableAtTheEndOfTheChainMovesBehindItself)
{
    put(boxWithTable(nines(1, 23)));
    ASSERT_EQ(add("F0:" + nine(24)), 0u);
    EXPECT_EQ(table().entries.size(), 24u);
    EXPECT_EQ(BoxView(get()).deadBytes(), kBlock);
}

TEST_F(IndexRegistry, ThreeHundredIndexesInOneBox)
{
    put(box({1, 2, 3}));
    std::vector<std::string> names;
    for (u32 n = 1; n <= 300; n++) {
        names.push_back(nine(n));
        ASSERT_EQ(add("F0:" + names.back(), 0, n % 50 == 0 ? 27 : 28), 0u) << n;
    }
    EXPECT_EQ(registered(), names);
    EXPECT_EQ(table().body, 13 * 512u);  // 300 * 22 + 2 bytes
    char name[256];
    EXPECT_EQ(_GetMasterIndex(kBox, name), 0u);
    EXPECT_STREQ(name, nine(50).c_str());
    u32 isMaster = 9;
    EXPECT_EQ(_GetIndexName(kBox, 300, name, sizeof name, &isMaster), 0u);
    EXPECT_EQ(std::string(name), "F0:" + nine(300));
    EXPECT_EQ(isMaster, 1u);
    EXPECT_EQ(_GetIndexName(kBox, 301, name, sizeof name, &isMaster), 66u);

    for (u32 n = 1; n <= 300; n++) { ASSERT_EQ(remove("F0:" + nine(n)), 0u) << n; }
    EXPECT_TRUE(registered().empty());
    EXPECT_EQ(table().body, 1024u);  // 1024 unused bytes are not more than 1024
}

// --- removal ---------------------------------------------------------------------------------------------

TEST_F(IndexRegistry, TheOnlyNameLeavesAnEmptyTable)
{
    const Bytes before = boxWithTable(nines(1, 1));
    put(before);
    ASSERT_EQ(remove("F0:" + nine(1)), 0u);
    Bytes want = before;
    Put16(want, GetField(want, hd::indexTable) + 6, 0);
    EXPECT_TRUE(SameBytes(want, get()));
    EXPECT_TRUE(registered().empty());
}

TEST_F(IndexRegistry, TheLastNameGetsALengthOfZero)
{
    const Bytes before = boxWithTable(nines(1, 5));
    put(before);
    ASSERT_EQ(remove("F0:" + nine(5)), 0u);
    Bytes want = before;
    Put16(want, GetField(want, hd::indexTable) + 6 + 4 * 22, 0);
    EXPECT_TRUE(SameBytes(want, get()));
}

TEST_F(IndexRegistry, NamesBehindOneMoveDownOverIt)
{
    const Bytes before = boxWithTable(nines(1, 5));
    put(before);
    ASSERT_EQ(remove("F0:" + nine(2)), 0u);
    Bytes want = before;
    const u32 pos = GetField(want, hd::indexTable) + 6;
    const Bytes moved = Slice(before, pos + 44, 66) + Bytes{0, 0};
    std::copy(moved.begin(), moved.end(), want.begin() + pos + 22);
    EXPECT_TRUE(SameBytes(want, get()));
    EXPECT_EQ(registered(), (std::vector<std::string>{nine(1), nine(3), nine(4), nine(5)}));
}

TEST_F(IndexRegistry, AnUnknownNameOrABoxWithoutTableIsNoFailure)
{
    for (const Bytes& before : {boxWithTable(nines(1, 3)), boxWithTable({}), box(), box({1})}) {
        put(before);
        EXPECT_EQ(remove("F0:OTHER.IDX"), 0u);
        EXPECT_EQ(remove("F0:n1001.idx"), 0u);  // the case counts
        EXPECT_TRUE(SameBytes(before, get()));
    }
}

TEST_F(IndexRegistry, NamesAreComparedInFull)
{
    put(boxWithTable({{"A.IDX", 1}, {"/dir/A.IDX", 2}, {"F1:/dir/A.IDX", 3}}));
    ASSERT_EQ(remove("F1:/dir/B.IDX"), 0u);
    EXPECT_EQ(registered().size(), 3u);
    ASSERT_EQ(remove("F1:/dir/A.IDX"), 0u);  // the base name is the first that leads there
    EXPECT_EQ(registered(), (std::vector<std::string>{"/dir/A.IDX", "F1:/dir/A.IDX"}));
    ASSERT_EQ(remove("F1:/dir/A.IDX"), 0u);
    ASSERT_EQ(remove("F1:/dir/A.IDX"), 0u);
    EXPECT_TRUE(registered().empty());
}

TEST_F(IndexRegistry, ATableFilledToTheBrimLosesANameAndKeepsItsEnd)
{
    // 21 entries of 22 bytes and one of 50 are the 512 bytes of the body, with no word behind them.
    std::vector<IndexEntrySpec> entries = nines(1, 21);
    entries.push_back({std::string(37, 'x'), 1, 27});
    BoxBuilder builder;
    Bytes body;
    for (const IndexEntrySpec& entry : entries) { body = body + EncodeIndexEntry(entry); }
    ASSERT_EQ(body.size(), 512u);
    const u32 pos = builder.raw(EncodeHead(kIndexTableId, 512) + body);
    builder.setField(hd::indexTable, pos);
    builder.setField(hd::indexTableSize, kBlock);
    const Bytes before = builder.build();
    put(before);
    ASSERT_EQ(remove("F0:" + nine(21)), 0u);
    EXPECT_EQ(registered().size(), 21u);
    EXPECT_EQ(registered().back(), std::string(37, 'x'));
    EXPECT_EQ(get().size(), before.size());
    put(before);
    ASSERT_EQ(add("F0:NEW.IDX"), 0u);
    EXPECT_EQ(registered().size(), 23u);
    EXPECT_EQ(table().body, 1024u);
}

// --- giving bytes back -----------------------------------------------------------------------------------

TEST_F(IndexRegistry, MoreThan1024UnusedBytesGiveBack512AtTheEndOfTheFile)
{
    put(boxWithTable(nines(1, 46)));  // a body of 1024 bytes, 1012 used
    const u32 pos = table().pos;
    ASSERT_EQ(table().body, 1024u);
    // Whatever is removed, at most 1024 bytes of this block lie behind what is written.
    for (u32 n = 46; n >= 1; n--) { ASSERT_EQ(remove("F0:" + nine(n)), 0u); }
    EXPECT_EQ(table().body, 1024u);
    EXPECT_EQ(get().size(), pos + 1030u + 2u);

    put(boxWithTable(nines(1, 47)));
    ASSERT_EQ(table().body, 1536u);
    for (u32 n = 47; n >= 25; n--) { ASSERT_EQ(remove("F0:" + nine(n)), 0u); }
    EXPECT_EQ(table().body, 1536u);
    ASSERT_EQ(remove("F0:" + nine(24)), 0u);  // the closing word now ends at 514 of 1542 bytes
    EXPECT_EQ(table().body, 1024u);
    EXPECT_EQ(BoxView(get()).field(hd::indexTableSize), 1030u);
    // It was the last card: the file is shorter, and nothing is dead.
    EXPECT_EQ(get().size(), table().pos + 1030u + 2u);
    EXPECT_EQ(BoxView(get()).deadBytes(), 0u);
    EXPECT_EQ(table().entries.size(), 23u);
}

TEST_F(IndexRegistry, BeforeAnotherCardTheBytesGivenBackAreADeadOne)
{
    const Bytes before = boxWithTable(nines(1, 47), true);
    put(before);
    const u32 ram = garbage_size_buf;
    ASSERT_EQ(remove("F0:" + nine(1)), 0u);
    EXPECT_EQ(table().body, 1536u);
    for (u32 n = 2; n <= 25; n++) { ASSERT_EQ(remove("F0:" + nine(n)), 0u); }
    const BoxView view(get());
    EXPECT_EQ(table().body, 1024u);
    EXPECT_EQ(get().size(), before.size());
    EXPECT_EQ(view.deadBytes(), 512u);
    EXPECT_EQ(view.field(hd::garbageSize), 512u);
    EXPECT_EQ(garbage_size_buf, ram + 512);
    const u32 filler = table().pos + 1030;
    EXPECT_EQ(Slice(get(), filler, 6), (Bytes{0, 0, 0xFA, 0x01, 0x00, 0x00}));
    EXPECT_EQ(Text(view.value(2, "NAME")), "behind");
}

TEST_F(IndexRegistry, EveryRemovalGivesBackOneStepAtMost)
{
    put(boxWithTable(nines(1, 200)));  // 4402 bytes in a body of 4608
    ASSERT_EQ(table().body, 4608u);
    u32 body = 4608;
    for (u32 n = 200; n >= 1; n--) {
        ASSERT_EQ(remove("F0:" + nine(n)), 0u);
        const NameTable now = table();
        EXPECT_TRUE(now.body == body || now.body == body - 512);
        body = now.body;
        ASSERT_LE(now.body + 6 - (now.end + 2), 1024u);
        ASSERT_EQ(get().size(), now.pos + now.body + 6u + 2u);
    }
    EXPECT_EQ(body, 1024u);
}

// --- what a lost power leaves ----------------------------------------------------------------------------

TEST_F(IndexRegistry, AChainThatWasNeverBegunIsBegun)
{
    Bytes file = box();
    const Bytes items = file;
    SetField(file, hd::cardOffset, static_cast<u32>(file.size()));
    put(file);
    ASSERT_EQ(add("F0:TEST.IDX"), 0u);
    EXPECT_EQ(registered(), std::vector<std::string>{"TEST.IDX"});
    EXPECT_TRUE(SameBytes(Slice(items, 72, items.size() - 72), Slice(get(), 72, items.size() - 72)));
    // The same with the room for the table made, and nothing in it.
    put(file + Bytes(kBlock, 0) + Bytes{0xFF, 0xFF});
    ASSERT_EQ(add("F0:TEST.IDX"), 0u);
    EXPECT_EQ(table().pos, file.size());
    EXPECT_EQ(registered(), std::vector<std::string>{"TEST.IDX"});
}

TEST_F(IndexRegistry, ABlockThatWasNeverWrittenIsWritten)
{
    // The header names it, its room is there, and its place holds the old end mark, zeros or a part of it.
    for (const Bytes& start : {Bytes{0xFF, 0xFF}, Bytes{0, 0}, Bytes{0xF1, 0xFF}}) {
        Bytes file = box({1});
        file.resize(file.size() - 2);
        const u32 pos = static_cast<u32>(file.size());
        SetField(file, hd::indexTable, pos);
        SetField(file, hd::indexTableSize, kBlock);
        file = file + start + Bytes(516, 0) + Bytes{0xFF, 0xFF};
        put(file);
        EXPECT_EQ(remove("F0:TEST.IDX"), 0u);
        EXPECT_TRUE(registered().empty());
        put(file);
        ASSERT_EQ(add("F0:TEST.IDX"), 0u);
        EXPECT_EQ(table().pos, pos);
        EXPECT_EQ(registered(), std::vector<std::string>{"TEST.IDX"});
    }
}

TEST_F(IndexRegistry, ADeadBlockIsMovedByTheNextName)
{
    Bytes file = boxWithTable(nines(1, 3), true);
    const u32 old = GetField(file, hd::indexTable);
    Put16(file, old, 0);
    SetField(file, hd::garbageSize, kBlock);
    put(file);
    ASSERT_EQ(remove("F0:" + nine(2)), 0u);
    ASSERT_EQ(add("F0:NEW.IDX"), 0u);
    EXPECT_NE(table().pos, old);
    EXPECT_EQ(registered(), (std::vector<std::string>{nine(1), nine(3), "NEW.IDX"}));
    EXPECT_EQ(BoxView(get()).deadBytes(), kBlock);
}

TEST_F(IndexRegistry, AFileThatOutlastsItsChainLosesNothingBehindIt)
{
    const Bytes outside = EncodeCard(9, {{0x40}, {}, {}, {}, B("outside the chain")});
    const auto stands = [&](u32 at) { return Slice(get(), at, outside.size()) == outside; };
    // The table is the last card of the chain, and its old block must not take the rest of the file along.
    Bytes file = boxWithTable(nines(1, 23));
    u32 at = static_cast<u32>(file.size());
    u32 pos = GetField(file, hd::indexTable);
    put(file + outside + Bytes{0xFF, 0xFF});
    ASSERT_EQ(add("F0:" + nine(24)), 0u);
    EXPECT_TRUE(stands(at));
    EXPECT_EQ(Get16(get(), pos), 0u);
    EXPECT_EQ(GetField(get(), hd::indexTable), at + outside.size());
    EXPECT_EQ(GetField(get(), hd::garbageSize), kBlock);
    EXPECT_EQ(TakeIndexTableApart(get()).entries.size(), 24u);
    // Nor is a block shortened at the end of such a chain.
    file = boxWithTable(nines(1, 47));
    at = static_cast<u32>(file.size());
    put(file + outside + Bytes{0xFF, 0xFF});
    for (u32 n = 47; n >= 20; n--) { ASSERT_EQ(remove("F0:" + nine(n)), 0u); }
    EXPECT_TRUE(stands(at));
    EXPECT_EQ(TakeIndexTableApart(get()).body, 1536u);
    EXPECT_EQ(TakeIndexTableApart(get()).entries.size(), 19u);
}

TEST_F(IndexRegistry, AHeaderThatHasNotFollowedItsBlockFollows)
{
    // The bytes given back are a card, dead or alive, or cut off with the end of the file.
    for (const int state : {0, 1, 2}) {
        Bytes file = boxWithTable(nines(1, 24), state != 2);
        const u32 pos = GetField(file, hd::indexTable);
        ASSERT_EQ(Get32(file, pos + 2), 1024u);
        file.insert(file.begin() + pos + 1030, 512, 0);
        Put16(file, pos + 1030, state == 0 ? 0xFFF1 : 0);
        Put32(file, pos + 1032, 506);
        if (state == 2) { file.erase(file.begin() + pos + 1030, file.begin() + pos + 1542); }
        SetField(file, hd::indexTableSize, 1542);
        if (state != 2) { Put32(file, DefaultWordAt(12), Get32(file, DefaultWordAt(12)) + 512); }
        for (const bool adds : {true, false}) {
            put(file);
            char name[256];
            u32 isMaster = 0;
            EXPECT_EQ(_GetIndexName(kBox, 24, name, sizeof name, &isMaster), 0u);
            EXPECT_EQ(adds ? add("F0:NEW.IDX") : remove("F0:" + nine(24)), 0u);
            EXPECT_EQ(GetField(get(), hd::indexTableSize), 1030u);
            EXPECT_EQ(TakeIndexTableApart(get()).entries.size(), adds ? 25u : 23u);
        }
    }
}

TEST_F(IndexRegistry, ADamagedTableIsNotWritten)
{
    const Bytes sound = boxWithTable(nines(1, 3), true);
    const u32 pos = GetField(sound, hd::indexTable);
    std::vector<Bytes> damaged(11, sound);
    Put16(damaged[0], pos, 5);                              // the id of another card
    Put16(damaged[1], pos, 0xFFFF);                         // the end mark
    Put32(damaged[2], pos + 2, 0x7FFFFFFF);                 // a body beyond the file
    Put32(damaged[3], pos + 2, 511);                        // one that is not the header's
    Put32(damaged[4], pos + 2, 0);                          // none, and a card behind
    Put16(damaged[5], pos + 6, 600);                        // an entry that leaves the block
    Put16(damaged[6], pos + 6 + 22, 0xFFFE);                //
    Put16(damaged[7], pos + 6, 4);                          // one without a name
    SetField(damaged[8], hd::indexTableSize, 5);            // a block without a head
    SetField(damaged[9], hd::indexTable, 0x7FFFFFF0);       // a block beyond the file
    SetField(damaged[10], hd::indexTableSize, kBlock - 2);  // a header that tells less
    for (size_t n = 0; n < damaged.size(); n++) {
        put(damaged[n]);
        EXPECT_EQ(add("F0:NEW.IDX"), 71u) << n;
        EXPECT_EQ(remove("F0:" + nine(1)), 71u) << n;
        EXPECT_TRUE(SameBytes(damaged[n], get())) << n;
    }
}

}  // namespace

// SPDX-License-Identifier: MIT
// From an id to the place of its card: with the tables in hand, without them, and with a cursor.
#include "box/bxd_card_read.h"
#include "box/bxd_card_slots.h"
#include "tests/box/card_read_case.h"

using namespace boxtest;

namespace {

class SlotLookup : public BoxCase {};
class SlotCursor : public BoxCase {};

// --- slots -------------------------------------------------------------------------------------------------

TEST_F(SlotLookup, OfOneIdGivesTheCardsPlace)
{
    BoxBuilder builder = NumberedBox(800);
    builder.killSlot(7);
    builder.killSlot(700);
    const Bytes file = builder.build();
    put(file);
    const BoxView view(file);
    Fid fid(kBox);
    for (u32 id : {1u, 2u, 499u, 500u, 501u, 502u, 627u, 628u, 629u, 756u, 757u, 800u}) {
        u32 pos = 0;
        EXPECT_EQ(GetFilePtrWithoutOffsetTable(fid.id(), static_cast<u16>(id), &pos), 0u) << id;
        EXPECT_EQ(pos, view.find(id)) << id;
    }
    for (u32 id : {7u, 700u, 801u, 884u}) {  // killed, and never used within a table
        u32 pos = 99;
        EXPECT_EQ(GetFilePtrWithoutOffsetTable(fid.id(), static_cast<u16>(id), &pos), 0u) << id;
        EXPECT_EQ(pos, 0u) << id;
    }
    u32 pos = 0;
    EXPECT_EQ(GetFilePtrWithoutOffsetTable(fid.id(), 885, &pos), 71u);
    EXPECT_EQ(GetFilePtrWithoutOffsetTable(fid.id(), 65279, &pos), 71u);
    EXPECT_EQ(GetFilePtrWithoutOffsetTable(77, 1, &pos), 71u);
}

// The default table of a file as words.
std::vector<u32> DefaultTable(const Bytes& file)
{
    std::vector<u32> words(512);
    for (u32 n = 0; n < 512; n++) { words[n] = Get32(file, DefaultWordAt(n)); }
    return words;
}

TEST_F(SlotLookup, WithTheTableInHandReadsNoFileUpToFiveHundred)
{
    BoxBuilder builder = NumberedBox(3);
    const Bytes file = builder.build();
    std::vector<u32> table = DefaultTable(file);
    const std::vector<u32> before = table;
    const BoxView view(file);
    u32 pos = 99, tablePos = 98;
    EXPECT_EQ(GetFilePtr(77, 3, table.data(), &pos, &tablePos), 0u);  // no file has this id
    EXPECT_EQ(pos, view.find(3));
    EXPECT_EQ(GetFilePtr(77, 4, table.data(), &pos, &tablePos), 0u);
    EXPECT_EQ(pos, 0u);
    EXPECT_EQ(GetFilePtr(77, 500, table.data(), &pos, &tablePos), 0u);
    EXPECT_EQ(pos, 0u);
    EXPECT_EQ(table, before);
}

TEST_F(SlotLookup, WithTheTableInHandBringsTheAppendTable)
{
    BoxBuilder builder = NumberedBox(800);
    builder.killSlot(700);
    const Bytes file = builder.build();
    put(file);
    const BoxView view(file);
    Fid fid(kBox);
    for (u32 id : {501u, 628u, 629u, 700u, 757u, 801u}) {
        std::vector<u32> table = DefaultTable(file);
        const std::vector<u32> before = table;
        u32 pos = 99, tablePos = 0;
        EXPECT_EQ(GetFilePtr(fid.id(), static_cast<u16>(id), table.data(), &pos, &tablePos), 0u) << id;
        EXPECT_EQ(pos, view.find(id)) << id;
        const u32 owner = builder.appendTable(AppendGroupOf(id));
        EXPECT_EQ(tablePos, owner) << id;
        for (u32 n = 0; n < 129; n++) {
            ASSERT_EQ(table[n], Get32(file, owner + 6 + 4 * n)) << id << " " << n;
        }
        EXPECT_TRUE(std::equal(table.begin() + 129, table.end(), before.begin() + 129)) << id;
    }
}

TEST_F(SlotLookup, WithTheTableInHandNeedsAnAppendTable)
{
    BoxBuilder builder = NumberedBox(629);
    const Bytes file = builder.build();
    put(file);
    Fid fid(kBox);
    u32 pos = 0, tablePos = 0;
    for (u32 word : {0u, kNone}) {
        std::vector<u32> table = DefaultTable(file);
        table[511] = word;
        EXPECT_EQ(GetFilePtr(fid.id(), 501, table.data(), &pos, &tablePos), 71u);
        EXPECT_EQ(GetFilePtr(fid.id(), 629, table.data(), &pos, &tablePos), 0u);  // by the offset card
    }
    std::vector<u32> table = DefaultTable(file);
    EXPECT_EQ(GetFilePtr(fid.id(), 757, table.data(), &pos, &tablePos), 71u);
    table = DefaultTable(file);
    EXPECT_EQ(GetFilePtr(fid.id(), 65279, table.data(), &pos, &tablePos), 71u);
    table = DefaultTable(file);
    table[511] = static_cast<u32>(file.size()) + 7;
    EXPECT_EQ(GetFilePtr(fid.id(), 501, table.data(), &pos, &tablePos), 71u);
}

CardSlotCursor NewCursor()
{
    CardSlotCursor cursor;
    std::memset(&cursor, 0x5A, sizeof cursor);
    cursor.valid = kCursorNew;
    return cursor;
}

TEST_F(SlotCursor, FindsEveryCard)
{
    BoxBuilder builder = NumberedBox(800);
    const Bytes file = builder.build();
    put(file);
    const BoxView view(file);
    Fid fid(kBox);
    CardSlotCursor cursor = NewCursor();
    for (u32 id = 1; id <= 800; id++) {
        ASSERT_EQ(BoxSearchCheck(fid.id(), id, &cursor), 0u) << id;
        ASSERT_EQ(cursor.cardPos, view.find(id)) << id;
        ASSERT_EQ(cursor.slotPos, builder.slotAt(id)) << id;
    }
    for (u32 id : {800u, 1u, 629u, 628u, 757u, 2u, 501u}) {  // to and fro
        ASSERT_EQ(BoxSearchCheck(fid.id(), id, &cursor), 0u) << id;
        ASSERT_EQ(cursor.cardPos, view.find(id)) << id;
    }
}

TEST_F(SlotCursor, KeepsWhatItHasRead)
{
    BoxBuilder builder = NumberedBox(800);
    const Bytes file = builder.build();
    put(file);
    Fid fid(kBox);
    CardSlotCursor cursor = NewCursor();
    ASSERT_EQ(BoxSearchCheck(fid.id(), 3, &cursor), 0u);
    EXPECT_EQ(cursor.valid, kCursorInUse);
    EXPECT_EQ(cursor.offsetTable, 72u);
    EXPECT_EQ(cursor.offsetCard, 0u);
    EXPECT_EQ(cursor.group, kNoGroup);
    ASSERT_EQ(BoxSearchCheck(fid.id(), 700, &cursor), 0u);
    EXPECT_EQ(cursor.group, 1);
    EXPECT_EQ(cursor.appendTable, builder.appendTable(1));
    EXPECT_EQ(cursor.offsetCard, GetField(file, hd::offsetCard));
    EXPECT_EQ(cursor.offsetCardSize, GetField(file, hd::offsetCardSize));
}

TEST_F(SlotCursor, DoesNotReadTheTablesOfTablesAgain)
{
    BoxBuilder builder = NumberedBox(800);
    const Bytes file = builder.build();
    put(file);
    Fid fid(kBox);
    CardSlotCursor cursor = NewCursor();
    ASSERT_EQ(BoxSearchCheck(fid.id(), 1, &cursor), 0u);
    ASSERT_EQ(BoxSearchCheck(fid.id(), 650, &cursor), 0u);
    Bytes damaged = file;
    for (const Field& f : {hd::offsetTable, hd::offsetCard, hd::offsetCardSize}) {
        SetField(damaged, f, kNone);
    }
    Put32(damaged, GetField(file, hd::offsetCard) + 6 + 4, kNone);  // the word of group 1
    put(damaged);
    EXPECT_EQ(BoxSearchCheck(fid.id(), 2, &cursor), 0u);
    EXPECT_EQ(BoxSearchCheck(fid.id(), 700, &cursor), 0u);
    EXPECT_EQ(BoxSearchCheck(fid.id(), 800, &cursor), 0u);   // group 2, its word is read now
    EXPECT_EQ(BoxSearchCheck(fid.id(), 700, &cursor), 71u);  // and group 1 again
}

TEST_F(SlotCursor, TellsFreeKilledAndWrongSlotsApart)
{
    BoxBuilder builder = NumberedBox(3);
    builder.killSlot(4);
    builder.card(501);
    builder.killSlot(502);
    builder.setSlot(6, builder.slotAt(1));                          // in the header's tables, not a card
    builder.setSlot(7, Get32(builder.build(), builder.slotAt(1)));  // another card
    builder.setSlot(8, 1u << 30);
    builder.setSlot(9, static_cast<u32>(builder.build().size()) - 1);
    put(builder.build());
    Fid fid(kBox);
    for (const auto& [id, status] : {std::pair<u32, u32>{3, 0},
                                     {4, 71},
                                     {5, 66},
                                     {6, 71},
                                     {7, 71},
                                     {8, 71},
                                     {9, 71},
                                     {501, 0},
                                     {502, 71},
                                     {503, 66}}) {
        CardSlotCursor cursor = NewCursor();
        EXPECT_EQ(BoxSearchCheck(fid.id(), id, &cursor), status) << id;
    }
}

TEST_F(SlotCursor, AboveFiveHundredNeedsTheOffsetCardsWord)
{
    BoxBuilder builder = NumberedBox(629);
    const Bytes sound = builder.build();
    const u32 words = GetField(sound, hd::offsetCard) + 6;
    std::vector<Bytes> damaged(6, sound);
    SetField(damaged[0], hd::offsetCard, 0);
    SetField(damaged[1], hd::offsetCard, kNone);
    SetField(damaged[2], hd::offsetCardSize, 13);
    Put32(damaged[3], words + 4, 0);
    Put32(damaged[4], words + 4, kNone);
    SetField(damaged[5], hd::offsetCard, static_cast<u32>(sound.size()));
    for (const Bytes& file : damaged) {
        put(file);
        Fid fid(kBox);
        CardSlotCursor cursor = NewCursor();
        EXPECT_EQ(BoxSearchCheck(fid.id(), 629, &cursor), 71u);
        EXPECT_EQ(BoxSearchCheck(fid.id(), 5, &cursor), 0u);
    }
    put(sound);
    Fid fid(kBox);
    CardSlotCursor cursor = NewCursor();
    for (u32 id : {757u, 500u + 64 * 128, 501u + 64 * 128, 65279u}) {
        EXPECT_EQ(BoxSearchCheck(fid.id(), id, &cursor), 71u) << id;
    }
    EXPECT_EQ(BoxSearchCheck(fid.id(), 629, &cursor), 0u);
}

TEST_F(SlotCursor, OfABoxWithoutCardsFindsNothing)
{
    put(BoxBuilder(NumberedItems(6)).build());
    Fid fid(kBox);
    for (u16 id : {u16{1}, u16{501}, u16{60000}}) {
        CardSlotCursor cursor = NewCursor();
        EXPECT_EQ(BoxSearchCheckInit(fid.id(), id, &cursor), 66u) << id;
    }
    put(NumberedBox(1).build());
    CardSlotCursor cursor = NewCursor();
    EXPECT_EQ(BoxSearchCheckInit(fid.id(), 1, &cursor), 0u);
    EXPECT_EQ(cursor.cardPos, BoxView(get()).find(1));
    EXPECT_EQ(BoxSearchCheckInit(fid.id(), 2, &cursor), 66u);
    EXPECT_EQ(BoxSearchCheckInit(77, 1, &cursor), 71u);
}

TEST_F(SlotCursor, ReadsACardBehindItsSlot)
{
    BoxBuilder builder = NumberedBox(3);
    builder.killSlot(4);
    put(builder.build());
    Fid fid(kBox);
    CardSlotCursor cursor = NewCursor();
    cursor.slotPos = builder.slotAt(2);
    EXPECT_EQ(read_card_ptr(fid.id(), 2, &cursor), 0u);
    EXPECT_EQ(cursor.cardPos, BoxView(get()).find(2));
    EXPECT_EQ(read_card_ptr(fid.id(), 3, &cursor), 71u);
    cursor.slotPos = builder.slotAt(4);
    EXPECT_EQ(read_card_ptr(fid.id(), 4, &cursor), 71u);
    cursor.slotPos = builder.slotAt(5);
    EXPECT_EQ(read_card_ptr(fid.id(), 5, &cursor), 66u);
}

TEST_F(SlotCursor, AKilledSlotIsNotFollowedIntoTheHeader)
{
    BoxBuilder builder = NumberedBox(1);
    builder.killSlot(255);
    Bytes file = builder.build();
    put(file);  // its first two bytes are 0xFF 0x00: id 255
    Fid fid(kBox);
    CardSlotCursor cursor = NewCursor();
    EXPECT_EQ(BoxSearchCheck(fid.id(), 255, &cursor), 71u);
}

}  // namespace

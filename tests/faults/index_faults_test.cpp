// SPDX-License-Identifier: MIT
// Lost power and failing calls while entries are moved, appended and taken out. A table that comes out of it
// otherwise than it was before or should be after is a window of the act, with its cause beside it.
#include "index/bxd_indx_entries.h"
#include "tests/faults/fault_index.h"

namespace {

using namespace faults;

// Neighbours differ in every byte but the flags, so that a torn entry is seen.
constexpr uint32_t Id(uint32_t n) { return n * 213; }

TableEntries Numbered(uint32_t count)
{
    TableEntries entries;
    for (uint32_t n = 1; n <= count; n++) { entries.push_back({Id(n), 0x40 | (n * 5 & 0x3F), 0}); }
    return entries;
}

u32 Move(u16 from, u16 to) { return _MoveIndexNo(kIndexName, from, &to); }

u32 Remove(const std::vector<uint32_t>& numbers)
{
    std::vector<u16> cards;
    for (uint32_t n : numbers) { cards.push_back(static_cast<u16>(Id(n))); }
    return _IndexNoDeleteWithNum(kIndexName, cards.data(), static_cast<u16>(cards.size()));
}

// Work on the open index; the closing counts too.
u32 WithIndex(const std::function<u32(u8)>& work)
{
    i32 fid = BxdFileOpen(kIndexName, 3);
    if (fid < 0) { return BXD_ERR_NOFILE; }
    u32 status = work(static_cast<u8>(fid));
    u32 closed = BxdFileClose(static_cast<u8>(fid));
    return status != 0 ? status : closed;
}

class IndexFaults : public IndexFaultTest {
protected:
    void endure(const IndexTable& table, const std::function<u32()>& act, const Windows& windows)
    {
        endureIndex(text(table.build()), act, windows);
    }
};

// --- moving -----------------------------------------------------------------------------------------------

// The entries and what lies between go out in one write: nothing but a tear of that write shows.
const Windows kOneWrite = {.cut = {}, .failed = {}, .torn = {kTwice, kEntryLost, kEntryMixed}};

TEST_F(IndexFaults, AMoveDownIsOneWrite)
{
    endure(
        IndexTable::Of(Numbered(9)), [] { return Move(2, 65535); }, kOneWrite);
}

TEST_F(IndexFaults, AMoveUpIsOneWrite)
{
    endure(
        IndexTable::Of(Numbered(9)), [] { return Move(8, 2); }, kOneWrite);
}

// Without memory for the whole the entries go 512 bytes at a time: between two writes some stand twice, and
// the moved entry, which comes last, nowhere.
const Windows kPieces = {.cut = {kTwice, kEntryLost}, .failed = {}, .torn = {kEntryMixed}};

TEST_F(IndexFaults, AMoveDownInPiecesWritesTheMovedEntryLast)
{
    endure(
        IndexTable::Of(Numbered(300)),
        [] {
            Shim().memory(100);
            return Move(2, 65535);
        },
        kPieces);
}

TEST_F(IndexFaults, AMoveUpInPiecesDoesToo)
{
    endure(
        IndexTable::Of(Numbered(300)),
        [] {
            Shim().memory(100);
            return Move(300, 3);
        },
        kPieces);
}

// --- removal by number ------------------------------------------------------------------------------------

// The tail moves, the file is cut, the count and the doubly bit follow: until the cut the file is too long,
// until the count's write it tells one entry too many, and until the last write the follower stays hidden.
const Windows kRemoval = {.cut = {kAhead, kLonger, kStillHidden}, .failed = {}, .torn = {kEntryMixed}};

TEST_F(IndexFaults, ARemovalCutsBeforeItCounts)
{
    IndexTable table = IndexTable::Of(Numbered(9));
    table.entries[3].flags = 1;
    endure(
        table, [] { return _IndexNoDelete(kIndexName, 3); }, kRemoval);
}

TEST_F(IndexFaults, ARemovalOfTheOnlyEntryMovesTheEndMark)
{
    // The tail is the end mark, and half of it in place of an id is another id.
    endure(IndexTable::Of(Numbered(1)), [] { return _IndexNoDelete(kIndexName, 1); },
           {.cut = {kAhead, kLonger}, .failed = {}, .torn = {kEntryMixed}});
}

TEST_F(IndexFaults, ARemovalInPiecesMovesTheTailFromItsHead)
{
    // The pieces go forward: what is moved stands twice until the next piece covers it.
    endure(IndexTable::Of(Numbered(300)),
           [] {
               Shim().memory(100);
               return _IndexNoDelete(kIndexName, 2);
           },
           {.cut = {kAhead, kLonger, kTwice}, .failed = {}, .torn = {kEntryMixed}});
}

// --- removal by cards -------------------------------------------------------------------------------------

TEST_F(IndexFaults, ARemovalByCardsIsOneWriteAndACut)
{
    // With the count, the entries and the end mark in one write only the rest of the old table stays behind
    // it. A tear leaves the new count with old entries.
    endure(IndexTable::Of(Numbered(30)),
           [] {
               return Remove({1, 7, 8, 29});
           },
           {.cut = {kLonger}, .failed = {}, .torn = {kBehind, kTwice, kEntryMixed}});
}

TEST_F(IndexFaults, ARemovalByCardsInPiecesDoublesEntriesUntilItsEndMark)
{
    // Entries close up piece by piece, and the moved ones stand twice until the end mark; the count comes
    // last but for the cut.
    endure(IndexTable::Of(Numbered(60)),
           [] {
               Shim().memory(64);
               return Remove({1, 7, 8, 29, 60});
           },
           {.cut = {kAhead, kLonger, kTwice}, .failed = {}, .torn = {kEntryMixed}});
}

TEST_F(IndexFaults, ARemovalOfAllCardsIsTheCount)
{
    endure(IndexTable::Of(Numbered(3)),
           [] {
               return Remove({1, 2, 3});
           },
           {.cut = {kLonger}, .failed = {}, .torn = {kBehind, kEntryMixed}});
}

// --- append -----------------------------------------------------------------------------------------------

TEST_F(IndexFaults, AnAppendCountsBeforeItsEntryStands)
{
    // The next append puts the count right.
    endure(IndexTable::Of(Numbered(5)),
           [] { return WithIndex([](u8 fid) { return AddLastIndex(fid, 900, 0xC7); }); },
           {.cut = {kAhead}, .failed = {}, .torn = {kNoEnd}});
}

TEST_F(IndexFaults, TheFirstEntryIsThereBeforeTheHeaderLeadsToIt)
{
    IndexTable table;
    table.table = false;
    endure(table, [] { return WithIndex([](u8 fid) { return AddLastIndex(fid, 900, 0xC7); }); },
           {.cut = {kUnreached}, .failed = {}, .torn = {kWildTable}});
}

// --- passes -----------------------------------------------------------------------------------------------

TEST_F(IndexFaults, APassOverHiddenEntriesEndsCutsAndCounts)
{
    IndexTable table = IndexTable::Of(Numbered(20));
    for (size_t n : {3u, 4u, 11u}) { table.entries[n].flags = 1; }
    // Until the end mark the last entries stand twice; the count comes last.
    endure(table, [] { return WithIndex(DeleteDoublyCardData); },
           {.cut = {kAhead, kLonger, kTwice}, .failed = {}, .torn = {kEntryMixed}});
}

TEST_F(IndexFaults, APassByAttributeEndsCutsAndCounts)
{
    IndexTable table = IndexTable::Of(Numbered(20));
    for (size_t n : {3u, 4u, 11u}) { table.entries[n].attr = 0x07; }
    endure(table, [] { return WithIndex([](u8 fid) { return DeleteAttrIndex(fid, 0x40, 0, 0); }); },
           {.cut = {kAhead, kLonger, kTwice}, .failed = {}, .torn = {kEntryMixed}});
}

// --- walks ------------------------------------------------------------------------------------------------

struct Walk {
    const char* name;
    u16 wanted;
    std::function<u32(u16*)> run;
};

const std::vector<Walk>& Walks()
{
    static const std::vector<Walk> walks = {
        {"_IndexNoToCardID", Id(7), [](u16* out) { return _IndexNoToCardID(kIndexName, 7, out); }},
        {"_CardIDToIndexNo", 200, [](u16* out) { return _CardIDToIndexNo(kIndexName, Id(200), out); }},
        {"_NextIndexNo", 201,
         [](u16* out) {
             *out = 200;
             return _NextIndexNo(kIndexName, 0, 0, 0, out);
         }},
        {"_PrevIndexNo", 300,
         [](u16* out) {
             *out = 65535;
             return _PrevIndexNo(kIndexName, 0, 0, 0, out);
         }},
        {"_NumberToIndexNo", 150,
         [](u16* out) {
             *out = 250;
             return _NumberToIndexNo(kIndexName, 1, 0, 0, 0, out, 100);
         }},
        // From the start, where a count without memory is the same.
        {"_IndexNoToNumber", 300,
         [](u16* out) { return _IndexNoToNumber(kIndexName, 0, 0, 0, 0, 65535, out); }}};
    return walks;
}

TEST_F(IndexFaults, AFailingCallOfAWalkIsToldOrMadeGood)
{
    const std::string bytes = text(IndexTable::Of(Numbered(300)).build());
    for (const Walk& walk : Walks()) {
        endureIndex(bytes,
                    [&] {
                        u16 out = 0;
                        u32 status = walk.run(&out);
                        bool known = status == 64 || status == 66 || status == 71;
                        if (status == 0 ? out != walk.wanted : !known) { abort(); }  // died: a finding
                        return status;
                    },
                    {});
        EXPECT_EQ(Counts().changes, 0u) << walk.name;
    }
}

// --- the room on the storage ------------------------------------------------------------------------------

std::string gFreeBytes;
const char* FreeBytes(uint32_t statistic, uint32_t, uint32_t)
{
    return statistic == 0 ? gFreeBytes.c_str() : nullptr;
}

TEST_F(IndexFaults, ChangesAskForRoomByTheSizeOfTheFile)
{
    struct Asked {
        u32 lowReserve;
        u32 more;
        std::function<u32()> act;
    };
    const std::vector<Asked> all = {{0, 512, [] { return Move(2, 65535); }},
                                    {1, 0, [] { return _IndexNoDelete(kIndexName, 3); }},
                                    {1, 0, [] {
                                         return Remove({1, 2});
                                     }}};
    for (const Asked& asked : all) {
        IndexTable table = IndexTable::Of(Numbered(400));
        const auto size = static_cast<u32>(table.build().size());
        const u32 need = BxdFileCalcFsAvailNeed(asked.lowReserve, 20, size + asked.more);
        putIndex(table);
        Shim().statistics(FreeBytes);
        gFreeBytes = std::to_string(need - 1);
        EXPECT_EQ(asked.act(), 68u);
        EXPECT_EQ(indexFile(), text(table.build()));
        gFreeBytes = std::to_string(need);
        EXPECT_EQ(asked.act(), 0u);
        EXPECT_NE(indexFile(), text(table.build()));
    }
}

TEST_F(IndexFaults, NoEntryIsRefusedForWantOfRoom)
{
    Shim().statistics(FreeBytes);
    gFreeBytes = "0";
    putIndex(IndexTable::Of(Numbered(3)));
    EXPECT_EQ(Move(9, 1), 68u) << "the room is asked for first";
    EXPECT_EQ(_IndexNoDelete(kIndexName, 9), 68u);
    EXPECT_EQ(Remove({9}), 68u);
    putIndex(IndexTable{});
    EXPECT_EQ(Remove({9}), 0u) << "but not for a table without entries";
}

// --- what mends itself ------------------------------------------------------------------------------------

TEST_F(IndexFaults, AnAppendAfterALostOneLeavesASoundTable)
{
    auto append = [] { return WithIndex([](u8 fid) { return AddLastIndex(fid, 900, 0xC7); }); };
    Scenario scenario{.prepare = {}, .act = append};
    scenario_ = &scenario;
    prepared_ = {{kIndexFile, text(IndexTable::Of(Numbered(5)).build())}};
    ASSERT_EQ(run(nullptr), 0);
    uint32_t changes = Counts().changes;
    ASSERT_EQ(changes, 3u) << "count, entry, cut";
    for (uint32_t action :
         {kFaultCutBefore, kFaultCutAfter, kFaultTornOne, kFaultTornHalf, kFaultTornButOne}) {
        Fault fault{kFaultChange, 2, false, action};
        ASSERT_EQ(run(&fault), kFaultExitCode);
        ASSERT_EQ(append(), 0u);
        // Where the entry was whole already it stands there twice now.
        bool whole = action == kFaultCutAfter || action == kFaultTornButOne;
        IndexTable wanted = IndexTable::Of(Numbered(5));
        for (int n = 0; n < (whole ? 2 : 1); n++) { wanted.entries.push_back({900, 0xC7, 0}); }
        EXPECT_EQ(indexFile(), text(wanted.build())) << action;
    }
}

}  // namespace

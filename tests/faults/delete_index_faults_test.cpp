// SPDX-License-Identifier: MIT
// Faults in the indexes of a box while its cards are deleted, and the removal of an entry where memory is
// short.
#include <fstream>

#include "index/bxd_indx_delete.h"
#include "tests/faults/fault_box.h"
#include "tests/faults/fault_index.h"
#include "tests/support/index_builder.h"

namespace {

using namespace faults;

// Neighbours differ in every byte but the flags.
constexpr uint32_t Id(uint32_t n) { return n * 213; }

IndexTable Numbered(uint32_t count, const std::vector<uint32_t>& hidden = {})
{
    TableEntries entries;
    for (uint32_t n = 1; n <= count; n++) { entries.push_back({Id(n), 0x40u | (n * 5 & 0x3F), 0}); }
    for (uint32_t n : hidden) { entries[n - 1].flags = 1; }
    return IndexTable::Of(entries);
}

u32 WithIndex(const std::function<u32(u8)>& work)
{
    i32 fid = BxdFileOpen(kIndexName, BXD_MODE_WRITE);
    if (fid < 0) { return BXD_ERR_NOFILE; }
    u32 status = work(static_cast<u8>(fid));
    u32 closed = BxdFileClose(static_cast<u8>(fid));
    return status != 0 ? status : closed;
}

// --- one index ---------------------------------------------------------------------------------------------

class EntryFaults : public IndexFaultTest {
protected:
    void endure(const IndexTable& table, const std::function<u32(u8)>& work, const Windows& windows)
    {
        endureIndex(
            text(table.build()), [work] { return WithIndex(work); }, windows);
    }
    static std::function<u32(u8)> remove(uint32_t n, uint32_t memory = UINT32_MAX)
    {
        return [=](u8 fid) {
            if (memory != UINT32_MAX) { Shim().memory(memory); }
            return CardidDeleteFromIndex(fid, static_cast<u16>(Id(n)));
        };
    }
};

// Count, entries and end mark go out in one write: the rest of the old table waits for the cut. A tear leaves
// the new count with old entries.
const Windows kOneWrite = {.cut = {kLonger}, .failed = {}, .torn = {kBehind, kTwice, kEntryMixed}};

TEST_F(EntryFaults, ARemovalIsOneWriteAndACut) { endure(Numbered(30, {8}), remove(7), kOneWrite); }

TEST_F(EntryFaults, TheLastEntryIsCoveredByTheEndMark)
{
    endure(Numbered(30), remove(30), {.cut = {kLonger}, .failed = {}, .torn = {kBehind, kEntryMixed}});
}

// Without memory for the file the count falls first, then the tail moves, then the follower comes to light,
// then the file is cut.
TEST_F(EntryFaults, ARemovalInTheFileCountsFirst)
{
    endure(Numbered(9, {4}), remove(3, 70),
           {.cut = {kBehind, kLonger, kStillHidden}, .failed = {}, .torn = {kEntryMixed}});
}

// The pieces of a tail that is moved end within entries.
TEST_F(EntryFaults, ARemovalInTheFileInPieces)
{
    endure(Numbered(300), remove(2, 600),
           {.cut = {kBehind, kLonger, kEntryMixed}, .failed = {}, .torn = {kTwice}});
}

// Entries are marked where they stand: each is as it was or as it should be.
TEST_F(EntryFaults, EntriesAreMarkedInOneWrite)
{
    endure(Numbered(30, {8, 9}), [](u8 fid) { return SetPimDiscIndex(fid, 0x40, 0x40, 0); },
           {.cut = {}, .failed = {}, .torn = {kOtherBytes}});
}

TEST_F(EntryFaults, EntriesAreMarkedInPieces)
{
    endure(Numbered(30),
           [](u8 fid) {
               Shim().memory(40);
               return SetPimDiscIndex(fid, 0x40, 0x40, 0);
           },
           {.cut = {kOtherBytes}});
}

// --- where memory is short ---------------------------------------------------------------------------------

class EntryMemory : public EntryFaults {
protected:
    void SetUp() override
    {
        EntryFaults::SetUp();
        Shim().watch(home().c_str());
        DisposeHeapHandle(NewHeapHandle(1));
        if (Counts().counts[kFaultAlloc] == 0) {
            GTEST_SKIP() << "a run-time library linked into the executable has the allocations";
        }
        Shim().rest();
    }
    u32 within(uint32_t largest, const std::function<u32(u8)>& work)
    {
        return WithIndex([&](u8 fid) {
            Shim().watch(home().c_str());
            Shim().memory(largest);
            u32 status = work(fid);
            EXPECT_EQ(Shim().blocks(), 0u);
            Shim().rest();
            return status;
        });
    }
    TableEntries entries() const { return IndexRemains::Of(indexFile()).entries; }
};

TEST_F(EntryMemory, ARemovalInTheFileGivesTheSame)
{
    for (uint32_t n : {1u, 2u, 150u, 300u}) {
        const IndexTable table = Numbered(300, {151});
        putIndex(table);
        ASSERT_EQ(WithIndex(remove(n)), 0u);
        const std::string wanted = indexFile();
        for (uint32_t largest : {6u, 100u, 1000u}) {
            putIndex(table);
            EXPECT_EQ(within(largest, remove(n)), 0u);
            EXPECT_TRUE(indexFile() == wanted) << n << " with " << largest;
        }
    }
}

TEST_F(EntryMemory, ARemovalInTheFileShowsTheFollowerOfAHiddenEntryToo)
{
    putIndex(Numbered(9, {4, 5}));
    EXPECT_EQ(within(50, remove(4)), 0u);
    EXPECT_EQ(entries()[3].flags, 0u);
    putIndex(Numbered(9, {4, 5}));
    EXPECT_EQ(WithIndex(remove(4)), 0u);
    EXPECT_EQ(entries()[3].flags, 1u);
}

TEST_F(EntryMemory, ACardThatIsNotThereIsToldInTheFileOnly)
{
    putIndex(Numbered(9));
    EXPECT_EQ(within(50, remove(77)), BXD_ERR_NOTFOUND);
    EXPECT_EQ(WithIndex(remove(77)), 0u);
    EXPECT_EQ(within(50, [](u8 fid) { return FastDeleteCardID(fid, Id(3)); }), BXD_ERR_FAIL);
    EXPECT_EQ(entries().size(), 9u);
}

TEST_F(EntryMemory, WithoutAnyNothingIsRemovedOrMarked)
{
    const IndexTable table = Numbered(9);
    putIndex(table);
    EXPECT_EQ(within(0, remove(3)), BXD_ERR_FAIL);
    EXPECT_EQ(within(3, [](u8 fid) { return SetPimDiscIndex(fid, 0, 0, 0); }), BXD_ERR_FAIL);
    EXPECT_TRUE(indexFile() == text(table.build()));
}

TEST_F(EntryMemory, MarkingInPiecesLeavesTheFirstEntryOfAPieceHidden)
{
    putIndex(Numbered(8, {3, 5}));
    EXPECT_EQ(within(16, [](u8 fid) { return SetPimDiscIndex(fid, 0, 0, 0); }), 0u);  // four at a time
    const TableEntries left = entries();
    for (uint32_t n = 1; n <= 8; n++) {
        const uint32_t attr = 0x40u | (n * 5 & 0x3F);
        EXPECT_EQ(left[n - 1].attr, n == 5 ? attr : attr & 0xF9) << n;
        EXPECT_EQ(left[n - 1].flags, n == 5 ? 1u : 0u) << n;
    }
}

// --- a box and its indexes ---------------------------------------------------------------------------------

class BoxIndexFaults : public BoxFaults {
protected:
    static constexpr const char* kList = "T.TDX";
    static constexpr const char* kDischarge = "D.TDX";

    // Cards 1 to 4, of which 1 and 3 bear a mark, in a list and in a discharge index.
    void prepare(bool sync) const
    {
        boxOf({10, 20, 30, 40})();
        ASSERT_EQ(WithBox([](BoxHandle box) {
                      return Write(box, 1, "ATTR", "\x10") + Write(box, 3, "ATTR", "\x10");
                  }),
                  0u);
        putIndex(kList);
        putIndex(kDischarge);
        patch([sync](std::string& bytes, const BoxBytes& box) {
            using boxtest::operator+;
            boxtest::Bytes table = boxtest::EncodeHead(boxtest::kIndexTableId, 512) +
                                   boxtest::EncodeIndexEntry({kList, 1, 28, 0, 0}) +
                                   boxtest::EncodeIndexEntry({kDischarge, 1, 28, 130, 0});
            table.resize(518, 0xFF);
            put(bytes, 28, box.endMark(), 4);
            put(bytes, 32, 518, 4);
            boxtest::Add16(table, boxtest::kEndMark);
            bytes.replace(box.endMark(), 2, std::string(table.begin(), table.end()));
            if (sync) { bytes[44] = 0; }
        });
    }
    void putIndex(const char* name) const
    {
        boxtest::IndexBuilder index(28);
        index.area();
        for (u32 id = 1; id <= 4; id++) { index.entry(id, id % 2 == 1 ? 0x57 : 0x47); }
        const boxtest::Bytes file = index.build();
        std::ofstream out(pathOf(name), std::ios::binary);
        out.write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
    }

    // An index is as it was or as it should be; else its own kinds of findings are told by the tests above.
    Findings judge() override
    {
        Findings findings = BoxFaults::judge();
        Files now = takeFiles();
        for (const char* name : {kList, kDischarge}) {
            if (now[name] == prepared_.at(name) || now[name] == full_.at(name)) { continue; }
            findings.insert(now[name].size() > full_.at(name).size() ? kLonger : kOtherBytes);
        }
        return findings;
    }
    bool done() const override
    {
        Files now = takeFiles();
        return BoxFaults::done() && now[kList] == full_.at(kList) && now[kDischarge] == full_.at(kDischarge);
    }
    std::string nameOf(int finding) const override { return IndexFindingName(finding); }

    void endureOn(bool sync, const std::function<u32(BoxHandle)>& work, const Windows& windows)
    {
        endure({.prepare = [=, this] { prepare(sync); },
                .act = [work] { return WithBox(work); },
                .windows = windows});
    }
};

TEST_F(BoxIndexFaults, ACardAndItsEntries)
{
    endureOn(false, [](BoxHandle box) { return _CardDelete(box, 2); }, {.cut = {kDeadSlot, kLonger}});
}

TEST_F(BoxIndexFaults, ATombstoneAndItsEntries)
{
    endureOn(true, [](BoxHandle box) { return _CardDelete(box, 2); }, {.cut = {kLonger}});
}

TEST_F(BoxIndexFaults, ACardAndItsEntriesInDischargeIndexes)
{
    endureOn(false, [](BoxHandle box) { return _CardDeletePMSCWithIndex(box, 2); },
             // The entry is discharged first, and then it goes.
             {.cut = {kDeadSlot, kLonger, kEntriesLost}});
}

TEST_F(BoxIndexFaults, ACardThroughItsLastIndex)
{
    endure(
        {.prepare =
             [this] {
                 prepare(false);
                 boxtest::IndexBuilder index(28);
                 const boxtest::Bytes none = index.area().table().build();
                 std::ofstream out(pathOf(kDischarge), std::ios::binary);
                 out.write(reinterpret_cast<const char*>(none.data()),
                           static_cast<std::streamsize>(none.size()));
             },
         .act = [] { return WithBox([](BoxHandle box) { return _IndexNoDeletePMSC("F0:T.TDX", 2, box); }); },
         // The entry has gone, and is still counted.
         .windows = {.cut = {kDeadSlot, kLonger, kOtherBytes, kIndexDamaged, kEntriesLost}}});
}

TEST_F(BoxIndexFaults, AllMarkedCardsAsTombstonesAndTheirEntries)
{
    endureOn(true, [](BoxHandle box) { return _CardAllDelete(box, 0x10, 0x10, 0); },
             {.cut = {kLonger, kOtherBytes, kIndexDamaged, kEntriesLost}});
}

TEST_F(BoxIndexFaults, AllMarkedCardsAndTheirEntries)
{
    // The pass over the list counts last.
    endureOn(false, [](BoxHandle box) { return _CardAllDelete(box, 0x10, 0x10, 0); },
             {.cut = {kDeadSlot, kLonger, kOtherBytes, kIndexDamaged, kEntriesLost}});
}

}  // namespace

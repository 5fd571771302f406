// SPDX-License-Identifier: MIT
// Faults while the order of an index is made or kept, and while it is filled.
//
// The writes of each change, in their order:
//   append            the count, the entry with its end mark, the cut; then the table once, sorted
//   full sort         the table once
//   without memory    an entry at a time, each by a transfer
//   filling           the cut, the entries in blocks, the end mark, the count, the cut
//   a move            two flags bytes, then a transfer
#include <algorithm>
#include <random>

#include "index/bxd_indx_sort.h"
#include "index/bxd_indx_sort_file.h"
#include "tests/faults/index_faults.h"

namespace {

using namespace faults;
using namespace sorttest;

std::vector<u32> Keys(u32 n)
{
    std::vector<u32> keys = IdsTo(n);
    std::minstd_rand random(n);
    std::shuffle(keys.begin(), keys.end(), random);
    return keys;
}

class IndexSortFaults : public IndexFaults {
protected:
    static IndexBuilder indexOf(const std::vector<u32>& ids)
    {
        IndexBuilder index;
        index.created().record(1, "TEST.BOX").record(129, kByReading);
        if (!ids.empty()) { index.entries(EntriesOf(ids)); }
        return index;
    }
    static Bytes boxOf(const std::vector<u32>& keys) { return BoxOf(Readings(keys)).build(); }
    static u32 append(u16 card)
    {
        u16 position = 0;
        return _IndexNoAppend(kIndex, nullptr, card, &position);
    }
};

// Half of a table or of a transfer in the file: entries of both states stand side by side.
const IndexFindingSet kHalfWritten = {kEntryLost, kEntryTwice, kOtherEntry};

// The count goes up before the entry is there, and the entry is there before it is placed.
TEST_F(IndexSortFaults, AnAppendedCardIsPlaced)
{
    endureIndex({.box = boxOf({10, 20, 40, 30, 50}),
                 .index = indexOf({1, 2, 3, 5}).build(),
                 .act = [] { return append(4); },
                 .cut = {kSizeFault, kOtherOrder},
                 .torn = kHalfWritten + IndexFindingSet{kNoEndMark}});
}

// tablePos is the last to be written.
TEST_F(IndexSortFaults, TheFirstCardMakesTheTable)
{
    endureIndex({.box = boxOf({10}),
                 .index = indexOf({}).build(),
                 .act = [] { return append(1); },
                 .torn = {kLostTable}});
}

// A card that cannot be read for a moment ends a step of the quicksort like one that is equal, so that it may
// come to stand elsewhere. Without memory the entries go to their places one by one, and a failure leaves the
// order that was reached.
TEST_F(IndexSortFaults, AFullSortOf40)
{
    const std::vector<u32> keys = Keys(40);
    endureIndex({.box = boxOf(keys),
                 .index = indexOf(IdsTo(40)).build(),
                 .act = [] { return _IndexSort(kIndex, nullptr); },
                 .failed = {kOtherOrder, kIndexSilent},
                 .torn = kHalfWritten});
}

TEST_F(IndexSortFaults, AFullSortOf5)
{
    endureIndex({.box = boxOf({5, 3, 4, 1, 2}),
                 .index = indexOf(IdsTo(5)).build(),
                 .act = [] { return _IndexSort(kIndex, nullptr); },
                 .torn = kHalfWritten});
}

// With no memory at all: one transfer for each entry that moves.
TEST_F(IndexSortFaults, AFullSortOnTheFile)
{
    endureIndex({.box = boxOf({5, 3, 4, 1, 2}),
                 .index = indexOf(IdsTo(5)).build(),
                 .act =
                     [] {
                         i32 box = BxdFileOpen(kBox, BXD_MODE_READ);
                         i32 index = BxdFileOpen(kIndex, BXD_MODE_WRITE);
                         u32 status = 1000;
                         bxd::SortKeys sortKeys;
                         u32 pos = 0;
                         if (box >= 0 && index >= 0) {
                             const u8 fid = static_cast<u8>(index);
                             status = bxd::ReadCompiledSort(fid, &sortKeys);
                             if (status == 0) { status = bxd::ReadWord(fid, 4, &pos); }
                             if (status == 0 && bxd::SortOnFile(static_cast<u8>(box), fid, 5, sortKeys.keys,
                                                                pos, 0, 0, 0) == 0) {
                                 status = 71;
                             }
                         }
                         if (index >= 0) { (void)BxdFileClose(static_cast<u8>(index)); }
                         if (box >= 0) { (void)BxdFileClose(static_cast<u8>(box)); }
                         return status;
                     },
                 .cut = {kOtherOrder},
                 .torn = kHalfWritten});
}

// The entry goes to the end before it is placed.
TEST_F(IndexSortFaults, AChangedCardMoves)
{
    endureIndex({.box = boxOf({10, 20, 30, 40, 50, 25}),
                 .index = indexOf({1, 6, 2, 3, 4, 5}).build(),
                 .act =
                     [] {
                         BoxHandle box = _BoxOpen(kBox);
                         if (box == nullptr) { return u32{1000}; }
                         u32 status = 1000;
                         i32 fid = BxdFileOpen(kIndex, BXD_MODE_WRITE);
                         IndexCardPos where{};
                         if (fid >= 0 && SearchIndexCardID(static_cast<u8>(fid), 6, &where) == 0) {
                             where.attr = 0x55;
                             status = OneDataIndexSort((*box)->fid, static_cast<u8>(fid), *box, &where, 0);
                         }
                         if (fid >= 0) { (void)BxdFileClose(static_cast<u8>(fid)); }
                         u32 closed = _BoxClose(box);
                         return status != 0 ? status : closed;
                     },
                 .cut = {kOtherOrder},
                 .torn = kHalfWritten});
}

// The old table goes first. Until the count and the end mark are there the index has no table that counts,
// and another call makes it.
TEST_F(IndexSortFaults, ABoxFillsAnIndex)
{
    endureIndex({.box = boxOf(Keys(700)),
                 .index = indexOf({1, 2, 3}).build(),
                 .act = [] { return _IndexUnGroup(kIndex, nullptr); },
                 .cut = {kLostTable, kSizeFault, kNoEndMark},
                 .again = true});
}

// An update mode that cannot be read is none, and then nothing is carried.
TEST_F(IndexSortFaults, AMoveCarriesTheFlags)
{
    IndexBuilder index = indexOf({});
    index.record(32, Bytes{1});
    for (u32 id = 1; id <= 4; ++id) { index.entry(id, static_cast<u8>(id), id == 1 ? 0 : 1); }
    endureIndex({.box = boxOf({7, 7, 7, 7}),
                 .index = index.build(),
                 .act =
                     [] {
                         u16 to = 4;
                         return _MoveIndexNo(kIndex, 1, &to);
                     },
                 .failed = {kIndexSilent},
                 .torn = kHalfWritten});
}

// --- without memory --------------------------------------------------------------------------------------

TEST_F(IndexSortFaults, WithoutMemoryASortIsMadeOnTheFileAndSaysWhy)
{
    const std::vector<u32> keys = Keys(30);
    const Bytes index = indexOf(IdsTo(30)).build();
    const auto text = [](const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); };
    std::vector<u32> want = IdsTo(30);
    std::sort(want.begin(), want.end(), [&](u32 a, u32 b) { return keys[a - 1] < keys[b - 1]; });

    std::string said;
    for (const bool lasting : {false, true}) {
        for (u32 k = 1; k <= 40; ++k) {
            putFiles({{"TEST.BOX", text(boxOf(keys))}, {"TEST.IDX", text(index)}});
            BoxHandle box = _BoxOpen(kBox);
            ASSERT_NE(box, nullptr);
            ::testing::internal::CaptureStderr();
            Shim().watch(home().c_str());
            Shim().plan(kFaultAlloc, k, lasting, kFaultFail);
            const u32 status = _IndexSort(kIndex, box);
            Shim().rest();
            said += ::testing::internal::GetCapturedStderr();
            ASSERT_EQ(_BoxClose(box), 0u);
            const std::string now = takeFiles()["TEST.IDX"];
            const IndexView view(Bytes(now.begin(), now.end()));
            if (status == 0) {
                EXPECT_EQ(view.cardIds(), want) << k;
            } else {
                EXPECT_EQ(status, 64u) << "the index does not open";
                EXPECT_EQ(now, text(index));
            }
        }
    }
    EXPECT_NE(said.find("FastSort: unexpected NULL trans_ptr\n"), std::string::npos);
    EXPECT_NE(said.find("FastSort: could not allocate memory for offset table\n"), std::string::npos);
}

}  // namespace

// SPDX-License-Identifier: MIT
// Index files cut at every length and with every field wrong, under every function that walks or changes the
// card table. What counts is that each call comes back with a status that it knows, leaves no file open, and
// that those which only read leave the file alone, and the others let it grow by one entry and a count at
// most.
#include "index/bxd_indx_entries.h"
#include "index/bxd_indx_walk.h"

#include <set>

#include "tests/support/index_table.h"

namespace {

using namespace boxtest;

constexpr std::size_t kEntries = 9;

class DamagedIndex : public TableCase {
protected:
    // One use of the file; `writes` tells whether it may change it.
    struct Call {
        const char* name;
        bool writes;
        std::function<u32()> run;
    };

    static u32 onFile(const std::function<u32(u8)>& work)
    {
        Fid index(kIndex, 3);
        return index.ok() ? work(index.id()) : 64;
    }

    std::vector<Call> calls()
    {
        std::vector<Call> all;
        for (u16 n : {u16{0}, u16{1}, u16{5}, u16{9}, u16{10}, u16{1000}, u16{65534}, u16{65535}}) {
            all.push_back(
                {"_IndexNoToCardID", false, [=, this] { return _IndexNoToCardID(kIndex, n, &out_); }});
            all.push_back({"_NextIndexNo", false, [=, this] {
                               out_ = n;
                               return _NextIndexNo(kIndex, 0x40, 0, 0, &out_);
                           }});
            all.push_back({"_PrevIndexNo", false, [=, this] {
                               out_ = n;
                               return _PrevIndexNo(kIndex, 0, 0, 1, &out_);
                           }});
            for (u32 backward : {0u, 1u}) {
                all.push_back({"_NumberToIndexNo", false, [=, this] {
                                   out_ = n;
                                   return _NumberToIndexNo(kIndex, backward, 0, 0, 0, &out_, 4);
                               }});
            }
            for (u16 to : {u16{1}, u16{9}, u16{10}, u16{65535}}) {
                all.push_back({"_IndexNoToNumber", false,
                               [=, this] { return _IndexNoToNumber(kIndex, 0, 0, 0, n, to, &out_); }});
                all.push_back({"_MoveIndexNo", true, [=, this] {
                                   out_ = to;
                                   return _MoveIndexNo(kIndex, n, &out_);
                               }});
            }
            all.push_back({"_IndexNoDelete", true, [=] { return _IndexNoDelete(kIndex, n); }});
        }
        for (u16 id : {u16{0}, u16{1}, u16{8}, u16{57}, u16{0xFFFF}}) {
            all.push_back(
                {"_CardIDToIndexNo", false, [=, this] { return _CardIDToIndexNo(kIndex, id, &out_); }});
            all.push_back({"_IndexNoDeleteWithNum", true, [=, this] {
                               ids_[0] = id;
                               return _IndexNoDeleteWithNum(kIndex, ids_, 2);
                           }});
        }
        all.push_back(
            {"AddLastIndex", true, [] { return onFile([](u8 f) { return AddLastIndex(f, 99, 0x47); }); }});
        all.push_back({"DeleteDoublyCardData", true, [] { return onFile(DeleteDoublyCardData); }});
        all.push_back({"DeleteAttrIndex", true,
                       [] { return onFile([](u8 f) { return DeleteAttrIndex(f, 0x40, 0, 0); }); }});
        all.push_back({"DecIndexCount", true, [] { return onFile(DecIndexCount); }});
        return all;
    }

    void endure(const Bytes& bytes, const std::string& what)
    {
        static const std::set<u32> known = {0, 1, 35, 64, 66, 71, 255};
        for (const Call& call : calls()) {
            put(bytes, kIndex);
            Captured messages;
            const u32 status = call.run();
            (void)messages.text();
            ASSERT_EQ(known.count(status), 1u) << call.name << " gives " << status << ", " << what;
            ASSERT_LE(file().size(), bytes.size() + 8) << call.name << ", " << what;
            if (!call.writes || status == 64) { ASSERT_TRUE(SameBytes(bytes, file())) << call.name << what; }
            ASSERT_EQ(OpenFiles(), 0u) << call.name << ", " << what;
        }
    }

    IndexTable sound() const
    {
        IndexTable table = IndexTable::Of(SomeEntries(kEntries));
        table.mode = 0;
        return table;
    }

    u16 out_ = 0;
    u16 ids_[2] = {0, 15};
};

TEST_F(DamagedIndex, CutAtEveryLengthItIsEndured)
{
    const Bytes whole = sound().build();
    for (std::size_t length = 0; length <= whole.size(); length++) {
        ASSERT_NO_FATAL_FAILURE(
            endure(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)),
                   "cut at " + std::to_string(length)));
    }
}

TEST_F(DamagedIndex, EveryByteMayBeWrong)
{
    const Bytes whole = sound().build();
    for (std::size_t at = 0; at < whole.size(); at++) {
        for (std::uint8_t value :
             {std::uint8_t{0}, std::uint8_t{1}, std::uint8_t{0x7F}, std::uint8_t{0xFF}}) {
            Bytes wrong = whole;
            wrong[at] = value;
            ASSERT_NO_FATAL_FAILURE(
                endure(wrong, "byte " + std::to_string(at) + " is " + std::to_string(value)));
        }
    }
}

TEST_F(DamagedIndex, ATableBeyondTheFileIsNoTable)
{
    const Bytes whole = sound().build();
    const auto size = static_cast<u32>(whole.size());
    for (u32 pos : {0u, 1u, 24u, size - 3, size - 2, size - 1, size, size + 1, 0x7FFFFFF0u, 0x7FFFFFFFu,
                    0x80000000u, 0xFFFFFFF0u, 0xFFFFFFFDu, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
        Bytes wrong = whole;
        PutAt(wrong, kTablePosAt, pos, 4);
        ASSERT_NO_FATAL_FAILURE(endure(wrong, "table at " + std::to_string(pos)));
    }
}

TEST_F(DamagedIndex, EveryCountIsEndured)
{
    const IndexTable table = sound();
    for (u32 count : {0u, 1u, 8u, 10u, 11u, 127u, 128u, 129u, 0x7FFFu, 0x8000u, 65534u, 65535u}) {
        Bytes wrong = table.build();
        PutAt(wrong, table.tablePos(), count, 2);
        ASSERT_NO_FATAL_FAILURE(endure(wrong, "count " + std::to_string(count)));
    }
}

TEST_F(DamagedIndex, InformationThatLeadsNowhereIsEndured)
{
    for (u32 pos : {0u, 4u, 23u, 200u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFF0u, 0xFFFFFFFFu}) {
        Bytes wrong = sound().build();
        PutAt(wrong, 8, pos, 4);
        ASSERT_NO_FATAL_FAILURE(endure(wrong, "information at " + std::to_string(pos)));
    }
}

// --- what each function says ------------------------------------------------------------------------------

class TableWithoutEnd : public DamagedIndex {
protected:
    // A table of `size` visible entries that ends with its last entry.
    void SetUp() override { putOpen(kEntries); }
    void putOpen(std::size_t size)
    {
        Bytes bytes = IndexTable::Of(SomeEntries(size, 0)).build();
        bytes.resize(bytes.size() - 2);
        put(bytes, kIndex);
    }
};

TEST_F(TableWithoutEnd, AWalkThatReachesTheEndFails)
{
    u16 n = 9;
    EXPECT_EQ(_NextIndexNo(kIndex, 0, 0, 0, &n), 71u);
    EXPECT_EQ(n, 9u);
    n = 0;
    EXPECT_EQ(_NextIndexNo(kIndex, 0, 0, 1, &n), 71u);
    EXPECT_EQ(_NextIndexNo(kIndex, 0, 0, 0, &n), 0u) << "what is there is found";
    putOpen(128);
    n = 0;
    EXPECT_EQ(_NextIndexNo(kIndex, 0, 0, 1, &n), 71u) << "also where a piece ends with the file";
}

TEST_F(TableWithoutEnd, CountingToTheEndFails)
{
    u16 n = 3;
    EXPECT_EQ(_NumberToIndexNo(kIndex, 0, 0, 0, 0, &n, 7), 71u);
    EXPECT_EQ(_NumberToIndexNo(kIndex, 0, 0, 0, 0, &n, 6), 0u);
    EXPECT_EQ(n, 9u);
    EXPECT_EQ(_IndexNoToNumber(kIndex, 0, 0, 0, 0, 65535, &n), 71u);
    EXPECT_EQ(_IndexNoToNumber(kIndex, 0, 0, 0, 0, 9, &n), 0u);
    EXPECT_EQ(n, 9u);
}

TEST_F(TableWithoutEnd, APassOverAllEntriesNeedsNoEndAndWritesOne)
{
    const u16 id = 1;
    ASSERT_EQ(_IndexNoDeleteWithNum(kIndex, &id, 1), 0u);
    EXPECT_EQ(index().count, 8u);
    EXPECT_EQ(entries().size(), 8u);
}

TEST_F(TableWithoutEnd, TheLastEntryIsNotRemovedByNumber)
{
    const Bytes before = file();
    EXPECT_EQ(_IndexNoDelete(kIndex, 9), 71u);
    EXPECT_TRUE(SameBytes(before, file()));
}

class CountAhead : public DamagedIndex {
protected:
    // As a lost power leaves it: the count is `ahead` higher than there are entries.
    void putAhead(u32 ahead)
    {
        Bytes bytes = IndexTable::Of(SomeEntries(kEntries, 0)).build();
        PutAt(bytes, IndexTable{}.tablePos(), kEntries + ahead, 2);
        put(bytes, kIndex);
    }
};

TEST_F(CountAhead, TheEntriesThatAreThereAreFound)
{
    putAhead(1);
    u16 n = 8;
    EXPECT_EQ(_NextIndexNo(kIndex, 0, 0, 0, &n), 0u);
    EXPECT_EQ(_NextIndexNo(kIndex, 0, 0, 0, &n), 66u);
    EXPECT_EQ(_PrevIndexNo(kIndex, 0, 0, 0, &n), 0u);
    EXPECT_EQ(n, 8u);
    EXPECT_EQ(_IndexNoToNumber(kIndex, 0, 0, 0, 0, 65535, &n), 0u);
    EXPECT_EQ(n, 9u);
    EXPECT_EQ(_CardIDToIndexNo(kIndex, 40000, &n), 66u);
}

TEST_F(CountAhead, AWalkBackFromBehindMeetsTheEndMark)
{
    putAhead(1);
    u16 n = 65535;
    EXPECT_EQ(_PrevIndexNo(kIndex, 0, 0, 0, &n), 66u);
    EXPECT_EQ(n, 11u);
    putAhead(2);
    n = 65535;
    EXPECT_EQ(_PrevIndexNo(kIndex, 0, 0, 0, &n), 71u) << "or the end of the file";
}

TEST_F(CountAhead, APassTellsTheCountOfWhatItKept)
{
    for (u32 ahead : {1u, 2u, 5000u}) {
        putAhead(ahead);
        const u16 id = 1;
        ASSERT_EQ(_IndexNoDeleteWithNum(kIndex, &id, 1), 0u);
        TableEntries left = SomeEntries(kEntries, 0);
        left.erase(left.begin());
        EXPECT_TRUE(SameBytes(IndexTable::Of(left).build(), file()));
    }
}

TEST_F(DamagedIndex, NoNumberComesFromBeyondAFullTable)
{
    // No end mark anywhere: 65,536 entries and more follow one another.
    IndexTable table = IndexTable::Of(TableEntries(65535, TableEntry{7, 0x00}));
    Bytes bytes = table.build();
    bytes.resize(bytes.size() - 2);
    for (int n = 0; n < 300; n++) { bytes = bytes + Bytes{7, 0, 0x40, 0}; }
    put(bytes, kIndex);
    u16 n = 65534;
    EXPECT_EQ(_NextIndexNo(kIndex, 0x40, 0, 0, &n), 71u);
    EXPECT_EQ(n, 65534u);
    EXPECT_EQ(_NumberToIndexNo(kIndex, 0, 0x40, 0, 0, &n, 1), 71u);
    EXPECT_EQ(n, 65534u);
}

}  // namespace

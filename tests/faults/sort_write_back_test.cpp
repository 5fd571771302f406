// SPDX-License-Identifier: MIT
// A sort and its index file: what the table is written back with, what a write that fails leaves, and which
// status the reads before it give.
#include <algorithm>

#include "tests/faults/index_faults.h"

namespace {

using namespace faults;
using namespace sorttest;

std::string Whole(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

// Keys that a sort turns round.
std::vector<u32> Falling(u32 n)
{
    std::vector<u32> keys = IdsTo(n);
    std::reverse(keys.begin(), keys.end());
    return keys;
}

class SortWriteBack : public FaultTest {
protected:
    static IndexBuilder indexBy(const Bytes& compiled)
    {
        IndexBuilder index;
        index.created().record(1, "TEST.BOX");
        if (!compiled.empty()) { index.record(129, compiled); }
        return index;
    }
    void start(u32 cards, const IndexBuilder& index)
    {
        box_ = Whole(BoxOf(Readings(Falling(cards))).build());
        index_ = index.build();
        putBack();
    }
    void start(u32 cards) { start(cards, indexBy(kByReading).entries(EntriesOf(IdsTo(cards)))); }

    void putBack() const { putFiles({{"TEST.BOX", box_}, {"TEST.IDX", Whole(index_)}}); }

    Bytes file() const
    {
        const std::string text = takeFiles()["TEST.IDX"];
        return Bytes(text.begin(), text.end());
    }

    // A call with the k-th call of a kind, or it and all later ones, disturbed; what it says is kept.
    template <typename Call>
    u32 disturbed(const Fault& fault, Call call)
    {
        ::testing::internal::CaptureStderr();
        Shim().watch(home().c_str());
        Shim().plan(fault.kind, fault.k, fault.lasting, fault.action);
        const u32 status = call();
        Shim().rest();
        said_ = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(Shim().blocks(), 0u);
        return status;
    }
    u32 sort(const Fault& fault)
    {
        return disturbed(fault, [] { return _IndexSort(kIndex, nullptr); });
    }
    bool says(const char* message) const { return said_.find(message) != std::string::npos; }

    // The table with the first `bytes` of it as they are after the sort.
    Bytes halfSorted(u32 cards, u32 bytes) const
    {
        Bytes want = index_;
        const u32 first = GetField(want, ix::tablePos) + 2;
        const std::vector<IndexEntry> sorted = EntriesOf(Falling(cards));
        for (u32 n = 0; n < bytes; ++n) {
            const IndexEntry& entry = sorted[n / 4];
            const u8 whole[] = {static_cast<u8>(entry.cardId), static_cast<u8>(entry.cardId >> 8), entry.attr,
                                0};
            want[first + n] = whole[n % 4];
        }
        return want;
    }

    std::string box_;
    Bytes index_;
    std::string said_;
};

TEST_F(SortWriteBack, IsOneWriteOfTheEntriesAndNothingElse)
{
    for (const u32 cards : {2u, 8u, 9u, 40u}) {
        start(cards);
        EXPECT_EQ(sort({kFaultWrite, 100, false, kFaultFail}), 0u);
        ASSERT_EQ(Counts().changes, 1u) << cards;
        const FaultCall& call = Counts().log[0];
        EXPECT_EQ(call.kind, kFaultWrite);
        EXPECT_EQ(call.offset, GetField(index_, ix::tablePos) + 2);
        EXPECT_EQ(call.length, cards * 4);
        EXPECT_EQ(file(), halfSorted(cards, cards * 4));
    }
}

TEST_F(SortWriteBack, AWriteThatFailsOnceIsMadeAgain)
{
    for (const u32 cards : {5u, 40u}) {
        for (const u32 action : {kFaultFail, kFaultShort}) {
            start(cards);
            EXPECT_EQ(sort({kFaultWrite, 1, false, action}), 0u);
            EXPECT_EQ(Counts().counts[kFaultWrite], 2u);
            EXPECT_EQ(file(), halfSorted(cards, cards * 4));
        }
    }
}

// Half of the table is in the file, so that some entries stand there twice: the way on the file, which keeps
// whatever it finds, must not begin.
TEST_F(SortWriteBack, AWriteThatFailsTwiceEndsTheSort)
{
    for (const u32 cards : {5u, 8u, 9u, 40u}) {
        for (const u32 action : {kFaultFail, kFaultShort}) {
            start(cards);
            EXPECT_EQ(sort({kFaultWrite, 1, true, action}), 71u);
            EXPECT_EQ(Counts().counts[kFaultWrite], 2u) << cards;
            EXPECT_EQ(Counts().changes, 2u) << cards;
            EXPECT_EQ(file(), halfSorted(cards, action == kFaultShort ? cards * 4 / 2 : 0)) << cards;
            EXPECT_EQ(says("FastSort: could not write card id table\n"), cards <= 8) << said_;
        }
    }
}

TEST_F(SortWriteBack, APlacedCardIsWrittenTheSameWay)
{
    start(5, indexBy(kByReading).entries(EntriesOf({5, 4, 3, 2})));
    const auto append = [] {
        u16 position = 0;
        return _IndexNoAppend(kIndex, nullptr, 1, &position);
    };
    EXPECT_EQ(disturbed({kFaultWrite, 100, false, kFaultFail}, append), 0u);
    const u32 writes = Counts().counts[kFaultWrite];
    EXPECT_EQ(IndexView(file()).cardIds(), Falling(5));

    // That card was in its place: the writes are those of the append. One that moves costs one more.
    start(5, indexBy(kByReading).entries(EntriesOf({4, 3, 2, 1})));
    const auto front = [] {
        u16 position = 0;
        return _IndexNoAppend(kIndex, nullptr, 5, &position);
    };
    EXPECT_EQ(disturbed({kFaultWrite, writes + 1, true, kFaultFail}, front), 71u);
    EXPECT_EQ(Counts().counts[kFaultWrite], writes + 2) << "twice, and no other way";
    EXPECT_TRUE(says("FastSort: could not write card id table\n")) << said_;
    EXPECT_EQ(IndexView(file()).cardIds(), (std::vector<u32>{4, 3, 2, 1, 5})) << "it is the last";
}

TEST_F(SortWriteBack, TheOffsetArrayHasRoomForTheTablesUpToTheHighestCard)
{
    struct Case {
        u32 highest;
        u32 bytes;
    };
    for (const Case c : {Case{500, 2004}, Case{501, 2516}, Case{628, 2516}, Case{629, 3028}}) {
        for (const bool enough : {false, true}) {
            start(c.highest, indexBy(kByReading).entries(EntriesOf({1, c.highest})));
            BoxHandle box = _BoxOpen("F0:TEST.BOX");
            ASSERT_NE(box, nullptr);
            Shim().memory(enough ? c.bytes : c.bytes - 1);
            EXPECT_EQ(
                disturbed({kFaultAlloc, 1000, false, kFaultFail}, [&] { return _IndexSort(kIndex, box); }),
                0u);
            ASSERT_EQ(_BoxClose(box), 0u);
            EXPECT_EQ(says("FastSort: could not allocate memory for offset table\n"), !enough) << c.highest;
            EXPECT_EQ(IndexView(file()).cardIds(), (std::vector<u32>{c.highest, 1}));
        }
    }
}

// --- statuses of the reads before ------------------------------------------------------------------------

// The statuses that a call gives when one of its reads fails, each in turn.
class SortReads : public SortWriteBack {
protected:
    template <typename Call>
    std::set<u32> statuses(Call call)
    {
        std::set<u32> seen;
        (void)disturbed({kFaultRead, 10000, false, kFaultFail}, call);
        const u32 reads = Counts().counts[kFaultRead];
        for (const bool lasting : {false, true}) {
            for (u32 k = 1; k <= reads; ++k) {
                putBack();
                seen.insert(disturbed({kFaultRead, k, lasting, kFaultFail}, call));
            }
        }
        putBack();
        return seen;
    }
};

TEST_F(SortReads, AConditionThatCannotBeReadIsNotTakenForNone)
{
    start(12, indexBy(kByReading).entries(EntriesOf(IdsTo(12))));
    const auto sort = [] { return _IndexSort(kIndex, nullptr); };
    for (const u32 status : statuses(sort)) {
        EXPECT_TRUE(status == 0 || status == 64 || status == 71) << status;
    }

    // The other form alone: 69, whichever record cannot be looked for.
    start(12, indexBy({}).record(2, kByReadingText).entries(EntriesOf(IdsTo(12))));
    EXPECT_EQ(sort(), 69u);
    for (const u32 status : statuses(sort)) {
        EXPECT_TRUE(status == 69 || status == 64 || status == 71) << status;
    }
}

TEST_F(SortReads, AFillingThatFailsGives71AndSaysWhere)
{
    start(505, indexBy(kByReading).entries(EntriesOf({1, 2, 3})));
    const auto fill = [] { return _IndexUnGroup(kIndex, nullptr); };
    std::string said;
    for (const u32 kind : {kFaultRead, kFaultWrite, kFaultTruncate, kFaultSeek, kFaultTell, kFaultAlloc}) {
        putBack();
        (void)disturbed({kind, 10000, false, kFaultFail}, fill);
        const u32 calls = Counts().counts[kind];
        for (u32 k = 1; k <= calls; ++k) {
            putBack();
            const u32 status = disturbed({kind, k, true, kFaultFail}, fill);
            EXPECT_TRUE(status == 0 || status == 64 || status == 71) << kind << ' ' << k << ' ' << status;
            said += said_;
        }
    }
    for (const char* message :
         {"IndexUnGroup: DataReadFromFile or BxdFileCut error\n", "IndexUnGroup: DataReadFromFile error\n",
          "IndexUnGroup: reading offset table error\n"}) {
        EXPECT_NE(said.find(message), std::string::npos) << message;
    }
}

// --- the writes of a filling -----------------------------------------------------------------------------

class FillingWrites : public SortWriteBack {
protected:
    struct Change {
        u32 kind;
        u32 offset;
        u32 length;

        bool operator==(const Change&) const = default;
    };

    std::vector<Change> changesOf(u32 want)
    {
        EXPECT_EQ(
            disturbed({kFaultWrite, 10000, false, kFaultFail}, [] { return _IndexUnGroup(kIndex, nullptr); }),
            want);
        std::vector<Change> out;
        for (u32 n = 0; n < Counts().changes; ++n) {
            const FaultCall& call = Counts().log[n];
            out.push_back({call.kind, call.offset, call.kind == kFaultWrite ? call.length : 0});
        }
        return out;
    }
    static u32 sizeOf(const IndexBuilder& index) { return static_cast<u32>(index.build().size()); }
};

// 2000 bytes of the default table fill the buffer, which goes out before the first append table comes in.
TEST_F(FillingWrites, TheOldTableGoesFirstAndTheCountComesLast)
{
    const u32 table = sizeOf(indexBy(kByReading));
    const std::vector<Change> entries = {{kFaultWrite, table + 2, 2000},
                                         {kFaultWrite, table + 2002, 800},
                                         {kFaultWrite, table + 2802, 2},
                                         {kFaultWrite, table, 2},
                                         {kFaultTruncate, table + 2804, 0}};
    start(700, indexBy(kByReading).entries(EntriesOf({1, 2, 3})));
    std::vector<Change> want = {{kFaultTruncate, table, 0}};
    want.insert(want.end(), entries.begin(), entries.end());
    EXPECT_EQ(changesOf(0), want);

    // Where there was none, its place is written before it is filled.
    start(700, indexBy(kByReading));
    want[0] = {kFaultWrite, 4, 4};
    EXPECT_EQ(changesOf(0), want);
}

TEST_F(FillingWrites, WithoutCardsThePlaceOfTheTableIsTakenBack)
{
    const u32 table = sizeOf(indexBy(kByReading));
    start(0, indexBy(kByReading).entries(EntriesOf({1, 2, 3})));
    EXPECT_EQ(changesOf(225), (std::vector<Change>{{kFaultTruncate, table, 0}, {kFaultWrite, 4, 4}}));
    start(0, indexBy(kByReading));
    EXPECT_EQ(changesOf(225), (std::vector<Change>{{kFaultWrite, 4, 4}, {kFaultWrite, 4, 4}}));
    EXPECT_EQ(file(), index_);
}

}  // namespace

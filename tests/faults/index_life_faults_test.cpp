// SPDX-License-Identifier: MIT
// Faults while indexes are made, bound, changed and deleted, and while their box's table grows and shrinks.
#include "tests/faults/fault_box.h"

namespace {

using namespace faults;
using boxtest::IndexBuilder;

const char* const kIndex = "F0:T.IDX";

u32 WriteRecord(u16 tag, const std::string& data, const char* index = kIndex)
{
    return _IndexInfoWrite(index, tag, reinterpret_cast<const u8*>(data.data()),
                           static_cast<u16>(data.size()));
}

u32 Register(const char* index = kIndex) { return WriteRecord(IDXINF_BOX_NAME, "T.BOX", index); }

// Names of nine characters.
std::string Nine(u32 n) { return "N" + std::to_string(1000 + n) + ".IDX"; }

// A longer or shorter record moves the card table: the transfer, the record, the pointer. Between two of them
// the records or the pointer are wrong, and nothing tells how they should be.
const Windows kRecordMoves = {.cut = {kIndexDamaged, kEntriesLost}};
// A new record at the end leaves the others as they are.
const Windows kRecordAppended = {.cut = {kIndexDamaged, kEntriesLost}};
// To register again is to take the entry out and to append it.
const Windows kOutAndIn = {.cut = {kUnregistered}, .failed = {kSilent}};
// Where the host refuses to open the box for writing, it is open for reading, and is not told.
const Findings kBoxNotWritable = {kSilent};
// What goes wrong with the table does not keep an index from being deleted; nor does a full storage.
const Findings kNameMayStay = {kSilent, kNotRefused};

class IndexLifeFaults : public BoxFaults {
protected:
    void putIndex(const std::string& name, const IndexBuilder& index) const
    {
        const std::string bytes = boxtest::Text(index.build());
        std::ofstream file(pathOf(name), std::ios::binary | std::ios::trunc);
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    // An index with a record of `length` bytes between others, and a card table.
    static IndexBuilder filled(size_t length)
    {
        IndexBuilder index;
        index.created().record(1, "T.BOX").record(200, Pattern(length, 3)).record(201, "behind");
        for (u32 id = 1; id <= 40; id++) { index.entry(id); }
        return index;
    }
    // A box of two cards, or of none, and an index that is not bound.
    std::function<void()> unbound(std::vector<size_t> cards = {10, 20}) const
    {
        return [this, cards] {
            MakeBox();
            Fill(cards);
            putIndex("T.IDX", IndexBuilder().created().entry(1).entry(2));
        };
    }
    // A box whose table has the indexes 1 to `count`, then a card if told so, and T.IDX, unbound.
    std::function<void()> tableOf(u32 count, bool cardBehind) const
    {
        return [this, count, cardBehind] {
            unbound()();
            for (u32 n = 1; n <= count; n++) {
                putIndex(Nine(n), IndexBuilder().created().record(32, boxtest::Bytes{2}));
                ASSERT_EQ(Register(("F0:" + Nine(n)).c_str()), 0u);
            }
            if (cardBehind) { Fill({30}); }
            // What is not needed is not read and compared a thousand times.
            for (u32 n = 2; n + 2 < count; n++) { ASSERT_EQ(::unlink(pathOf(Nine(n)).c_str()), 0); }
        };
    }
    // Where the index has been deleted from a table of `count`, one by one from the end down to `last`.
    std::function<void()> tableCutTo(u32 count, u32 last, bool cardBehind) const
    {
        return [this, count, last, cardBehind] {
            tableOf(count, cardBehind)();
            for (u32 n = count; n > last; n--) {
                putIndex(Nine(n), IndexBuilder().created().record(1, "T.BOX"));
                ASSERT_EQ(_IndexDelete(("F0:" + Nine(n)).c_str()), 0u);
            }
            putIndex(Nine(last), IndexBuilder().created().record(1, "T.BOX"));
        };
    }
};

// --- files -------------------------------------------------------------------------------------------------

TEST_F(IndexLifeFaults, CreatingAnIndex)
{
    endure({.prepare = boxOf({10}),
            .act = [] { return _IndexCreate(kIndex, BXD_INDEX_LIST); },
            .windows = {.cut = {kIndexDamaged, kRecordsMixed}}});
}

// An index that is refused leaves no file that would stand in the way of the next attempt.
TEST_F(IndexLifeFaults, AnIndexThatCannotBeMadeLeavesNoFile)
{
    for (uint32_t kind : {kFaultAlloc, kFaultOpen, kFaultCreate, kFaultWrite, kFaultRead, kFaultSeek}) {
        for (uint32_t k = 1; k <= 9; k++) {
            Shim().watch(home().c_str());
            Shim().plan(kind, k, true, kFaultFail);
            ::testing::internal::CaptureStderr();
            u32 status = _IndexCreate(kIndex, BXD_INDEX_MASTER);
            ::testing::internal::GetCapturedStderr();
            Shim().rest();
            EXPECT_EQ(takeFiles().count("T.IDX"), status == 0 ? 1u : 0u) << "kind " << kind << ", call " << k;
            putFiles({});
        }
    }
}

TEST_F(IndexLifeFaults, CopyingAnIndex)
{
    endure({.prepare =
                [this] {
                    unbound()();
                    putIndex("T.IDX", filled(20));
                },
            .act = [] { return _IndexCopy(kIndex, "F0:COPY.IDX", 200, nullptr, 0); },
            .windows = {.cut = {kIndexDamaged, kEntriesLost, kRecordsMixed, kNoTable},
                        .failed = kBoxNotWritable}});
}

// --- records -----------------------------------------------------------------------------------------------

class IndexRecordFaults : public IndexLifeFaults {
protected:
    void change(size_t from, const std::function<u32()>& act, const Windows& windows)
    {
        endure({.prepare =
                    [this, from] {
                        unbound()();
                        putIndex("T.IDX", filled(from));
                    },
                .act = act,
                .windows = windows});
    }
};

TEST_F(IndexRecordFaults, ARecordThatGrows)
{
    change(
        20, [] { return WriteRecord(200, Pattern(50, 9)); }, kRecordMoves);
}

TEST_F(IndexRecordFaults, ARecordThatGrowsByAByte)
{
    change(
        20, [] { return WriteRecord(200, Pattern(21, 9)); }, kRecordMoves);
}

TEST_F(IndexRecordFaults, ARecordThatShrinks)
{
    change(
        50, [] { return WriteRecord(200, Pattern(20, 9)); }, kRecordMoves);
}

TEST_F(IndexRecordFaults, ARecordOfTheSameLength)
{
    change(20, [] { return WriteRecord(200, Pattern(20, 9)); }, {});
}

TEST_F(IndexRecordFaults, ANewRecord)
{
    change(
        20, [] { return WriteRecord(202, Pattern(20, 9)); }, kRecordAppended);
}

TEST_F(IndexRecordFaults, ARecordThatGoes)
{
    change(
        20, [] { return _IndexInfoDelete(kIndex, 200); }, kRecordMoves);
}

// --- the box's table ---------------------------------------------------------------------------------------

class IndexTableFaults : public IndexLifeFaults {};

TEST_F(IndexTableFaults, TheFirstIndexOfABox)
{
    endure({.prepare =
                [this] {
                    unbound()();
                    putIndex("T.IDX", IndexBuilder().created().record(1, "T.BOX"));
                },
            .act = [] { return Register(); },
            .windows = {.cut = {kNoTable}, .failed = kBoxNotWritable},
            .mends = true});
}

TEST_F(IndexTableFaults, TheFirstIndexOfABoxWithoutCards)
{
    endure({.prepare =
                [this] {
                    unbound({})();
                    putIndex("T.IDX", IndexBuilder().created().record(1, "T.BOX"));
                },
            .act = [] { return Register(); },
            .windows = {.cut = {kNoTable, kBrokenChain}, .failed = {kSilent, kNotMended}},
            .mends = true});
}

TEST_F(IndexTableFaults, ANameBehindOthers)
{
    endure({.prepare =
                [this] {
                    tableOf(3, true)();
                    putIndex("T.IDX", IndexBuilder().created().record(1, "T.BOX"));
                },
            .act = [] { return Register(); },
            .windows = {.failed = kBoxNotWritable},
            .mends = true});
}

TEST_F(IndexTableFaults, ATableThatMoves)
{
    for (bool cardBehind : {true, false}) {
        SCOPED_TRACE(cardBehind);
        putFiles({});
        endure({.prepare =
                    [this, cardBehind] {
                        tableOf(23, cardBehind)();
                        putIndex("T.IDX", IndexBuilder().created().record(1, "T.BOX"));
                    },
                .act = [] { return Register(); },
                .windows = {.cut = {kDeadTable}, .failed = kBoxNotWritable},
                .mends = true});
    }
}

TEST_F(IndexTableFaults, RegisteringAgain)
{
    endure({.prepare =
                [this] {
                    tableOf(3, true)();
                    putIndex(Nine(2), IndexBuilder().created().record(1, "T.BOX"));
                },
            .act = [] { return Register(("F0:" + Nine(2)).c_str()); },
            .windows = kOutAndIn,
            .mends = true});
}

TEST_F(IndexTableFaults, AnIndexThatGoes)
{
    for (u32 n : {1u, 3u}) {
        SCOPED_TRACE(n);
        putFiles({});
        endure({.prepare =
                    [this, n] {
                        tableOf(3, true)();
                        putIndex(Nine(n), IndexBuilder().created().record(1, "T.BOX"));
                    },
                .act = [n] { return _IndexDelete(("F0:" + Nine(n)).c_str()); },
                .windows = {.failed = kNameMayStay}});
    }
}

TEST_F(IndexTableFaults, ATableThatGivesBytesBack)
{
    for (bool cardBehind : {true, false}) {
        SCOPED_TRACE(cardBehind);
        putFiles({});
        endure({.prepare = tableCutTo(47, 24, cardBehind),
                .act = [] { return _IndexDelete(("F0:" + Nine(24)).c_str()); },
                .windows = {.failed = kNameMayStay}});
    }
}

// --- cards -------------------------------------------------------------------------------------------------

TEST_F(IndexLifeFaults, AnItemOfACardInADischargeIndex)
{
    endure(
        {.prepare =
             [this] {
                 MakeBox();
                 Fill({10, 20});
                 putIndex("T.IDX", IndexBuilder().created().record(4, boxtest::Bytes{0x82}).entry(2, 0x46));
                 ASSERT_EQ(Register(), 0u);
             },
         .act = [] { return WithBox([](BoxHandle box) { return Write(box, 2, "TEXT", Pattern(20, 7)); }); }});
}

}  // namespace

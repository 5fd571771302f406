// SPDX-License-Identifier: MIT
// The host calls of each exported call: on flash every write costs, so none may creep in.
//
// The expected text names the calls that change a file, in their order: "create", "w" and the length of a
// write, "cut", "delete". Behind it stand the limits of all host calls on files and of allocations.
#include "tests/faults/fault_box.h"
#include "tests/support/index_builder.h"

namespace {

using namespace faults;

class CallCounts : public BoxFaults {
protected:
    void TearDown() override
    {
        Shim().rest();
        if (box_ != nullptr) { EXPECT_EQ(_BoxClose(box_), 0u); }
        BoxFaults::TearDown();
    }

    void openBox(std::vector<size_t> lengths)
    {
        Shim().rest();
        if (box_ != nullptr) { ASSERT_EQ(_BoxClose(box_), 0u); }
        putFiles({});
        MakeBox();
        if (!lengths.empty()) { Fill(lengths); }
        reopen();
    }
    void reopen()
    {
        box_ = _BoxOpen(kBox);
        ASSERT_NE(box_, nullptr);
    }
    void close()
    {
        ASSERT_EQ(_BoxClose(box_), 0u);
        box_ = nullptr;
    }

    static std::string Changes()
    {
        std::string text;
        for (uint32_t n = 0; n < Counts().changes; n++) {
            const FaultCall& call = Counts().log[n];
            text += text.empty() ? "" : " ";
            switch (call.kind) {
            case kFaultWrite: text += "w" + std::to_string(call.length); break;
            case kFaultTruncate: text += "cut"; break;
            case kFaultCreate: text += "create"; break;
            default: text += "delete";
            }
        }
        return text;
    }

    static uint32_t HostCalls()
    {
        uint32_t calls = 0;
        for (uint32_t kind = 0; kind < kFaultKinds; kind++) {
            calls += kind != kFaultAlloc ? Counts().counts[kind] : 0;
        }
        return calls;
    }

    void expectCalls(const std::function<u32()>& work, const std::string& changes, uint32_t calls,
                     uint32_t allocations)
    {
        Shim().watch(home().c_str());
        EXPECT_EQ(work(), 0u);
        EXPECT_EQ(Changes(), changes);
        EXPECT_LE(HostCalls(), calls);
        EXPECT_LE(Counts().counts[kFaultAlloc], allocations);
        if (getenv("BXD_FAULT_REPORT") != nullptr) {
            const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
            printf("%s: %s; %u host calls, %u allocations\n", test->name(), Changes().c_str(), HostCalls(),
                   Counts().counts[kFaultAlloc]);
        }
        Shim().rest();
    }

    void startSync() const
    {
        patch([](std::string& bytes, const BoxBytes&) { bytes[44] = 0; });
    }

    // A list of the cards 1 to 3, which the box knows with this type.
    void addIndex(u8 type) const
    {
        const boxtest::IndexBuilder index = boxtest::IndexBuilder(28).area().entry(1).entry(2).entry(3);
        const boxtest::Bytes file = index.build();
        std::ofstream out(pathOf("T.TDX"), std::ios::binary);
        out.write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
        patch([type](std::string& bytes, const BoxBytes& box) {
            using boxtest::operator+;
            boxtest::Bytes table = boxtest::EncodeHead(boxtest::kIndexTableId, 512) +
                                   boxtest::EncodeIndexEntry({"T.TDX", 1, 28, type, 0});
            table.resize(518, 0xFF);
            put(bytes, 28, box.endMark(), 4);
            put(bytes, 32, 518, 4);
            boxtest::Add16(table, boxtest::kEndMark);
            bytes.replace(box.endMark(), 2, std::string(table.begin(), table.end()));
        });
    }

    BoxHandle box_ = nullptr;
};

TEST_F(CallCounts, CreatingABox)
{
    expectCalls([] { return _BoxCreate(kBox, 1); }, "create w2120", 12, 3);
}

TEST_F(CallCounts, FirstItems)
{
    ASSERT_EQ(_BoxCreate(kBox, 1), 0u);
    static const ItemRecord items[1] = {{17, 0, {'N', 'A', 'M', 'E'}, "name"}};
    u32 rewritten = 0;
    expectCalls([&] { return _BoxItemAppend(kBox, items, 1, &rewritten); }, "w86 w8", 16, 3);
}

TEST_F(CallCounts, OpeningAndClosing)
{
    openBox({10});
    close();
    expectCalls([&] { return (box_ = _BoxOpen(kBox)) == nullptr ? 1u : 0u; }, "w1", 13, 3);
    expectCalls(
        [&] {
            BoxHandle box = box_;
            box_ = nullptr;
            return _BoxClose(box);
        },
        "", 1, 0);
}

TEST_F(CallCounts, OpeningForReading)
{
    openBox({10});
    close();
    expectCalls([&] { return (box_ = _BoxOpenRwMode(kBox, 1)) == nullptr ? 1u : 0u; }, "", 9, 3);
}

TEST_F(CallCounts, ReadingAnItem)
{
    openBox(std::vector<size_t>(700, 8));
    u8 buf[64];
    for (u32 id : {1u, 500u, 501u, 700u}) {
        expectCalls(
            [&] {
                CardDescriptor key = Key(id, "TEXT");
                u32 length = sizeof buf;
                return _CardRead(box_, &key, buf, &length);
            },
            "", id <= 500 ? 6 : 8, 0);
    }
}

TEST_F(CallCounts, BeginningACard)
{
    openBox({10});
    expectCalls(
        [&] {
            u16 id = TMP_SYSTEM_CARD_ID;
            return _CardCreate(box_, &id);
        },
        "w1", 5, 1);
    expectCalls([&] { return Write(box_, TMP_SYSTEM_CARD_ID, "TEXT", Pattern(100, 1)); }, "", 1, 0);
}

TEST_F(CallCounts, FirstCard)
{
    openBox({});
    ASSERT_EQ(Edit(box_, 50), 0u);
    expectCalls([&] { return Copy(box_, TMP_SYSTEM_CARD_ID); }, "w2 w2 w72 w4 w4 w2 w2", 22, 0);
}

TEST_F(CallCounts, NewCard)
{
    openBox({10, 20});
    ASSERT_EQ(Edit(box_, 50), 0u);
    expectCalls([&] { return Copy(box_, TMP_SYSTEM_CARD_ID); }, "w2 w2 w72 w4 w2 w2", 20, 0);
}

TEST_F(CallCounts, NewCardInAnAppendTable)
{
    openBox(std::vector<size_t>(600, 8));
    ASSERT_EQ(Edit(box_, 50), 0u);
    expectCalls([&] { return Copy(box_, TMP_SYSTEM_CARD_ID); }, "w4 w2 w72 w4 w2", 22, 0);
}

TEST_F(CallCounts, NewCardInAKilledSlot)
{
    openBox({10, 20, 30});
    close();
    kill(2);
    reopen();
    ASSERT_EQ(Edit(box_, 50), 0u);
    expectCalls([&] { return Copy(box_, TMP_SYSTEM_CARD_ID); }, "w2 w2 w72 w2048 w2", 18, 0);
}

TEST_F(CallCounts, FirstAppendTable)
{
    openBox(std::vector<size_t>(500, 8));
    ASSERT_EQ(Edit(box_, 50), 0u);
    expectCalls([&] { return Copy(box_, TMP_SYSTEM_CARD_ID); }, "w524 w2 w262 w8 w4 w2 w2 w2 w72 w4 w2", 43,
                1);
}

TEST_F(CallCounts, FurtherAppendTable)
{
    openBox(std::vector<size_t>(628, 8));
    ASSERT_EQ(Edit(box_, 50), 0u);
    expectCalls([&] { return Copy(box_, TMP_SYSTEM_CARD_ID); }, "w524 w4 w4 w2 w2 w2 w72 w4 w2", 36, 0);
}

TEST_F(CallCounts, EqualLength)
{
    openBox({10, 20, 30});
    expectCalls([&] { return Write(box_, 2, "TEXT", Pattern(20, 5)); }, "w20", 13, 0);
    expectCalls([&] { return Write(box_, 2, "TEXT", "", 20); }, "", 9, 0);
    expectCalls([&] { return Write(box_, 2, "ATTR", "\x10"); }, "w1", 15, 0);
}

TEST_F(CallCounts, ShorterOnTheLastCard)
{
    openBox({10, 20, 30});
    expectCalls([&] { return Write(box_, 3, "TEXT", Pattern(12, 5)); }, "w36 cut", 25, 1);
}

TEST_F(CallCounts, LongerValue)
{
    openBox({10, 20, 30});
    expectCalls([&] { return Write(box_, 2, "TEXT", Pattern(40, 5)); }, "w2 w62 w2 w4 w4", 36, 1);
}

TEST_F(CallCounts, ValueFromAFile)
{
    openBox({10, 20, 30});
    makeSource(100);
    expectCalls([&] { return writeFromSource(box_, 2); }, "w2 w10 w6 w1 w5 w100 w2 w4 w4", 51, 2);
}

TEST_F(CallCounts, OutForEditing)
{
    openBox({10, 20, 30});
    expectCalls([&] { return Copy(box_, 2, TMP_SYSTEM_CARD_ID); }, "w1", 14, 1);
}

TEST_F(CallCounts, OverACardOfTheSameTotal)
{
    openBox({10, 50, 30});
    ASSERT_EQ(Edit(box_, 50), 0u);
    expectCalls([&] { return Copy(box_, TMP_SYSTEM_CARD_ID, 2); }, "w70", 13, 0);
}

TEST_F(CallCounts, OverALargerCard)
{
    openBox({10, 50, 30});
    ASSERT_EQ(Edit(box_, 20), 0u);
    expectCalls([&] { return Copy(box_, TMP_SYSTEM_CARD_ID, 2); }, "w46 w4", 17, 0);
}

TEST_F(CallCounts, OverASmallerCard)
{
    openBox({10, 50, 30});
    ASSERT_EQ(Edit(box_, 90), 0u);
    expectCalls([&] { return Copy(box_, TMP_SYSTEM_CARD_ID, 2); }, "w2 w112 w4 w2 w4", 31, 0);
}

TEST_F(CallCounts, CopyToANewId)
{
    openBox({10, 50, 30});
    expectCalls([&] { return Copy(box_, 2, 0); }, "w2 w2 w72 w4 w2 w2", 28, 0);
}

TEST_F(CallCounts, SpillAndCopyInPlace)
{
    openBox({10, 50, 30});
    ASSERT_EQ(Edit(box_, 10), 0u);
    expectCalls([&] { return Write(box_, TMP_SYSTEM_CARD_ID, "TEXT", Pattern(12000, 1)); }, "w2 w23 w12000",
                12, 0);
    expectCalls([&] { return Copy(box_, TMP_SYSTEM_CARD_ID); }, "w2 w2 w4 w2 w2", 21, 0);
}

TEST_F(CallCounts, DeletingACard)
{
    openBox({10, 20, 30, 40});
    expectCalls([&] { return _CardDelete(box_, 2); }, "w2 w4 w4 w2 w2", 33, 0);
    expectCalls([&] { return _CardDelete(box_, 4); }, "w2 cut w4 w2", 29, 0);
    expectCalls([&] { return _CardDelete(box_, 3); }, "w2 cut w4 w2", 29, 0);
}

TEST_F(CallCounts, DeletingACardOfAnAppendTable)
{
    openBox(std::vector<size_t>(640, 8));
    expectCalls([&] { return _CardDelete(box_, 635); }, "w2 w4 w4 w2 w2", 43, 0);
}

TEST_F(CallCounts, MakingATombstone)
{
    openBox({10, 4000, 30});
    startSync();
    expectCalls([&] { return _CardDelete(box_, 3); }, "w1 w2 w2", 25, 0);
    // The attribute, the items before the large one, the head of the dead card, this card's head and table.
    expectCalls([&] { return _CardDelete(box_, 2); }, "w1 w5 w6 w17 w4 w2 w2", 37, 0);
}

TEST_F(CallCounts, DeletingACardOfAnIndex)
{
    openBox({10, 20, 30});
    close();
    addIndex(0);
    reopen();
    expectCalls([&] { return _CardDelete(box_, 2); }, "w2 w4 w4 w2 w37 cut w2", 54, 4);
    expectCalls([&] { return _CardDelete(box_, 1); }, "w2 w4 w4 w2 w33 cut w2", 56, 4);
}

TEST_F(CallCounts, DeletingACardOfADischargeIndex)
{
    openBox({10, 20, 30});
    close();
    addIndex(130);
    reopen();
    startSync();
    expectCalls([&] { return _CardDelete(box_, 2); }, "w1 w2 w1 w2", 50, 4);
    expectCalls([&] { return _CardDelete(box_, 2); }, "w1 w2", 38, 4);  // marked once
}

TEST_F(CallCounts, DeletingAllCards)
{
    openBox(std::vector<size_t>(3, 8));
    expectCalls([&] { return _CardAllDelete(box_, 0, 0, 0); }, "w2 w4 w2 w4 w2 cut w2048 w2 w2 w2 cut w4",
                580, 3);
}

TEST_F(CallCounts, SmallFields)
{
    openBox({10});
    close();
    expectCalls([] { return _WriteAplName(kBox, "ABCD"); }, "w4", 10, 2);
    expectCalls([] { return _SetFileInfo(kBox, 3); }, "w1", 8, 2);
    expectCalls([] { return _WriteSystemcardSizeL(kBox, 20000); }, "w4", 10, 2);
    u32 name = 0;
    expectCalls([&] { return _ReadAplName(kBox, &name); }, "", 8, 2);
}

TEST_F(CallCounts, StartingASynchronisation)
{
    openBox({10});
    close();
    expectCalls([] { return _BoxSyncStart(kBox); }, "w1", 12, 3);
    expectCalls([] { return _BoxSyncStart(kBox); }, "", 12, 3);  // it runs
    u32 running = 0;
    expectCalls([&] { return _BoxSyncCheck(kBox, &running); }, "", 12, 3);
    expectCalls([] { return _BoxSyncClear(kBox); }, "w1", 12, 3);
    expectCalls([] { return _BoxSyncClear(kBox); }, "", 12, 3);  // none runs
}

TEST_F(CallCounts, ClearingASynchronisation)
{
    openBox({10, 20, 30});
    close();
    addIndex(130);
    startSync();
    reopen();
    ASSERT_EQ(_CardDelete(box_, 1), 0u);
    ASSERT_EQ(_CardDelete(box_, 3), 0u);
    close();
    // The flag, each card and its slot, the index, its name, the dead bytes.
    expectCalls([] { return _BoxSyncClear(kBox); }, "w1 w2 w4 w2 w4 delete w2 w4", 90, 8);
}

TEST_F(CallCounts, TheMarksOfASynchronisation)
{
    openBox({10});
    addIndex(130);
    BxdIndexHandle index = nullptr;
    expectCalls([&] { return (index = _BxdIndexOpen("F0:T.TDX")) == nullptr ? 1u : 0u; }, "", 8, 4);
    u8 attr = 0;
    expectCalls([&] { return _BxdGetIndexSyncAttrPMSC(index, 3, &attr); }, "", 12, 0);
    expectCalls([&] { return _BxdSetIndexSyncAttrPMSC(index, 3, 1, 0); }, "w1", 14, 0);
    expectCalls([&] { return _BxdIndexClose(index); }, "", 4, 0);
    expectCalls([&] { return BxdUpdateSyncId(box_); }, "w4", 8, 0);
    u16 id = 0;
    expectCalls([&] { return _ExpectNewCardID(box_, &id); }, "", 12, 0);
}

}  // namespace

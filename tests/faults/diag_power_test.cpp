// SPDX-License-Identifier: MIT
// A lost power at every write of a change to cards, in a box with three indexes: what the deep check finds
// then, what it mends, and what a collection makes of the rest.
//
// The cut comes before or after each call that changes a file. Box and indexes pass, or have one of the
// faults listed beside the change, each of which follows from its order of writes. A collection leaves a box
// that passes, but for the faults listed as lasting.
#include "storage/bxd_file_errors.h"
#include "tests/faults/fault_box.h"

namespace {

using namespace faults;

const char* const kNormalText = "カードチェインで数えた通常カード数がオフセットテーブル上と違う\n";
const char* const kLiveText = "カードチェインで数えた有効カード数がヘッダ上と違う\n";
const char* const kHintText = "未使用カードIDが異常\n";
const char* const kCountText = "インデックスファイルのサイズ異常\n";
const char* const kFirstChainText = "最初の追加オフセットチェインがオフセット情報カードと違う\n";

using Found = std::set<std::string>;  // messages

class DiagPower : public BoxFaults {
protected:
    void SetUp() override
    {
        BoxFaults::SetUp();
        (void)_BxdnInit();
    }
    void TearDown() override
    {
        (void)_BxdnInit();
        BoxFaults::TearDown();
    }

    // A box with these cards, in an index of all cards, one that is sorted, and one that is kept by hand.
    void makeBox(const std::vector<size_t>& lengths)
    {
        MakeBox();
        makeIndex("F0:A.IDX", 0);
        makeIndex("F0:B.IDX", 0);
        makeIndex("F0:C.IDX", BXD_INDEX_BY_HAND);
        ASSERT_EQ(_IndexInfoWriteWithCheck("F0:B.IDX", IDXINF_SORT_EXP,
                                           reinterpret_cast<const u8*>("TEXT\xFE\x82"), 6),
                  0u);
        Fill(lengths);
    }
    static void makeIndex(const char* name, u8 mode)
    {
        ASSERT_EQ(_IndexCreate(name, BXD_INDEX_MASTER), 0u);
        ASSERT_EQ(_IndexInfoWrite(name, IDXINF_UPDATE_MODE, &mode, 1), 0u);
        ASSERT_EQ(_IndexInfoWrite(name, IDXINF_BOX_NAME, reinterpret_cast<const u8*>(kBox), 8), 0u);
    }

    // The message of a check, empty where it finds nothing.
    static std::string find(const char* name, u8 level)
    {
        testing::internal::CaptureStderr();
        const u32 status = BXDFileCheckSub(name, level, 0);
        (void)testing::internal::GetCapturedStderr();
        const BxdErrorFile* entry = IsErrorFile(name);
        EXPECT_EQ(status == 0, entry == nullptr);
        return entry == nullptr ? "" : entry->message;
    }

    struct Wanted {
        Found found = {};
        Found lasting = {};
        Found indexes = {};
    };

    void cutAndCheck(const std::function<u32()>& act, const Wanted& wanted)
    {
        const Scenario scenario = {.prepare = [] {}, .act = act};
        scenario_ = &scenario;
        prepared_ = takeFiles();
        ASSERT_EQ(run(nullptr), 0);
        ASSERT_EQ(outcome_->status, 0u);
        calls_ = Counts();
        EXPECT_EQ(find(kBox, 255), "");
        Wanted seen;
        for (uint32_t k = 1; k <= calls_.changes; k++) {
            for (const uint32_t action : {kFaultCutBefore, kFaultCutAfter}) {
                const Fault fault = {kFaultChange, k, false, action};
                ASSERT_EQ(run(&fault), kFaultExitCode);
                SCOPED_TRACE(describe(fault));
                look(&seen);
            }
        }
        EXPECT_EQ(seen.found, wanted.found);
        EXPECT_EQ(seen.lasting, wanted.lasting);
        EXPECT_EQ(seen.indexes, wanted.indexes);
    }

    void look(Wanted* seen)
    {
        (void)_BxdnInit();
        for (const char* index : {"F0:A.IDX", "F0:B.IDX", "F0:C.IDX"}) {
            const std::string bad = find(index, 255);
            if (!bad.empty()) { seen->indexes.insert(bad); }
            (void)_BxdnInit();
        }
        const std::string message = find(kBox, 255);
        (void)_BxdnInit();
        if (message.empty()) { return; }
        seen->found.insert(message);
        testing::internal::CaptureStderr();
        const u32 status = _BoxGarbageCollect(kBox);
        (void)testing::internal::GetCapturedStderr();
        EXPECT_EQ(status, 0u) << message;
        const std::string rest = find(kBox, 255);
        if (!rest.empty()) { seen->lasting.insert(rest); }
        (void)_BxdnInit();
    }
};

// The hint for a free id is raised before the card, and the highest id last; an index counts an entry before
// it has it.
TEST_F(DiagPower, ANewCard)
{
    makeBox({10, 20, 30});
    cutAndCheck([] { return WithBox([](BoxHandle box) { return AddCard(box, 40); }); },
                {.found = {kHintText}, .lasting = {kHintText}, .indexes = {kCountText}});
}

// The old card dies before the slot leads to the new one.
TEST_F(DiagPower, ALongerValue)
{
    makeBox({10, 20, 30});
    cutAndCheck([] { return WithBox([](BoxHandle box) { return Write(box, 2, "TEXT", Pattern(90, 4)); }); },
                {.found = {kNormalText}});
}

// The card dies before its slot, and the count falls last.
TEST_F(DiagPower, ADeletion)
{
    makeBox({10, 20, 30});
    cutAndCheck([] { return WithBox([](BoxHandle box) { return _CardDelete(box, 2); }); },
                {.found = {kNormalText, kLiveText}, .lasting = {kLiveText}});
}

TEST_F(DiagPower, AReplacement)
{
    makeBox({10, 20, 30});
    cutAndCheck([] { return WithBox([](BoxHandle box) { return AddCard(box, 40, 1, 2); }); },
                {.found = {kNormalText}});
}

// The offset card knows the table before the chain does. With the counters raised along with the table, a
// card shows in the chain before it shows in its slot, and there before it counts.
TEST_F(DiagPower, TheFirstCardOfAnAppendTable)
{
    makeBox({10, 20, 30});
    patch([](std::string& bytes, const BoxBytes&) {
        put(bytes, 54, 501, 2);  // the hint, and the highest id
        put(bytes, 56, 500, 2);
    });
    cutAndCheck([] { return WithBox([](BoxHandle box) { return AddCard(box, 40); }); },
                {.found = {kFirstChainText, kNormalText, kLiveText},
                 .lasting = {kFirstChainText, kNormalText, kLiveText},
                 .indexes = {kCountText}});
}

}  // namespace

// SPDX-License-Identifier: MIT
// Boxes to be collected under the shim, and the ways to the second way: no memory for the image of the file,
// or no room for it at the first question.
#pragma once

#include "box/bxd_garb_measure.h"
#include "tests/faults/fault_box.h"
#include "tests/support/collect_model.h"

namespace faults {

using boxtest::BoxBuilder;
using boxtest::BoxView;
using boxtest::Bytes;
using boxtest::CollectModel;
namespace hd = boxtest::hd;

// The answers to the questions for room: none at these questions, counted from 1 since the watch began, and
// plenty at all others.
inline std::set<uint32_t> gNoRoomAt;
inline const char* RoomBut(uint32_t statistic, uint32_t question, uint32_t)
{
    if (statistic != 0) { return nullptr; }
    return gNoRoomAt.count(question) != 0 ? "0" : "2000000000";
}

class CollectFaults : public BoxFaults {
protected:
    static constexpr uint32_t kImageBlock = 3;  // the allocation of the first way, behind two of the open

    void SetUp() override
    {
        BoxFaults::SetUp();
        gNoRoomAt.clear();
    }

    void putBox(const Bytes& bytes) const { putFiles({{"T.BOX", boxtest::Text(bytes)}}); }
    Bytes getBox() const { return boxtest::B(takeFiles()["T.BOX"]); }

    // Collects without memory for the image of the file.
    u32 collectInFile()
    {
        Shim().watch(home().c_str());
        Shim().plan(kFaultAlloc, kImageBlock, false, kFaultFail);
        u32 status = _BoxGarbageCollect(kBox);
        EXPECT_EQ(Counts().fired, 1u);
        EXPECT_FALSE(wroteAll()) << "this was the first way";
        EXPECT_EQ(Shim().blocks(), 0u);
        Shim().rest();
        return status;
    }
    static bool wroteAll()
    {
        for (uint32_t n = 0; n < std::min(Counts().changes, kFaultLogMax); n++) {
            const FaultCall& call = Counts().log[n];
            if (call.kind == kFaultWrite && call.offset == 0) { return true; }
        }
        return false;
    }
    // The same, and no room for the card of that number, counted from 1 in the order of the file.
    u32 collectWithoutRoomFor(uint32_t card)
    {
        gNoRoomAt = {card + 1};
        Shim().statistics(RoomBut);
        u32 status = collectInFile();
        Shim().statistics(nullptr);
        return status;
    }

    static ::testing::AssertionResult sameBytes(const Bytes& want, const Bytes& got)
    {
        if (want == got) { return ::testing::AssertionSuccess(); }
        size_t at = 0;
        while (at < want.size() && at < got.size() && want[at] == got[at]) { at++; }
        return ::testing::AssertionFailure()
               << "sizes " << want.size() << " and " << got.size() << ", first difference at " << at;
    }
    static ::testing::AssertionResult isSound(const Bytes& file, const boxtest::CheckRules& rules = {})
    {
        const std::string fault = boxtest::FirstFault(file, rules);
        if (fault.empty()) { return ::testing::AssertionSuccess(); }
        return ::testing::AssertionFailure() << fault;
    }

    // Every card that can be found by its id has its old values; those of `but` may be gone.
    static void expectSameCards(const Bytes& before, const Bytes& after)
    {
        const BoxView was(before);
        const BoxView is(after);
        for (const boxtest::Link& link : was.links()) {
            if (link.id == 0 || link.id == boxtest::kEditId || link.id >= boxtest::kAppendTableId) {
                continue;
            }
            if (was.find(link.id) != link.pos) { continue; }
            ASSERT_EQ(was.valuesAt(link.pos), is.values(link.id)) << link.id;
        }
        ASSERT_EQ(boxtest::Slice(before, was.word(0), 40).empty(),
                  boxtest::Slice(after, is.word(0), 40).empty());
    }

    // What a collection may give.
    static bool isStatus(u32 status)
    {
        return status == 0 || status == 64 || status == 66 || status == 68 || status == 71;
    }

    // Whatever is left of a box: it opens or does not, its cards are read or are not, and it is measured and
    // collected by either way. Nothing of it may end in anything but a status.
    static bool worksOnWhatIsLeft()
    {
        BoxHandle box = _BoxOpen(kBox);
        u8 value[64];
        for (u32 id : {0u, 1u, 2u, 3u, 4u, 5u, 500u, 501u, 502u, 503u, 640u, 900u, 65280u, 65300u, 65301u}) {
            if (box == nullptr) { break; }
            CardDescriptor key = Key(id, "I000");
            u32 length = sizeof value;
            (void)_CardRead(box, &key, value, &length);
        }
        if (box != nullptr) { (void)_BoxClose(box); }
        for (u32 way = 0; way < 2; way++) {
            gNoRoomAt = way == 0 ? std::set<uint32_t>{1} : std::set<uint32_t>{};
            Shim().statistics(RoomBut);
            Shim().watch("/nowhere");
            u32 status = _BoxGarbageCollect(kBox);
            if (!isStatus(status)) { return false; }
        }
        i32 fid = BxdFileOpen(kBox, BXD_MODE_WRITE);
        if (fid < 0) { return false; }
        u32 status = UpdateBoxGarbageSize(static_cast<u8>(fid), 0);
        (void)BxdFileClose(static_cast<u8>(fid));
        return status == 0 || status == 71;
    }
};

}  // namespace faults

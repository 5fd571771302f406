// SPDX-License-Identifier: MIT
// The bytes are a search condition: as an application gives it, to a search and to an index; and compiled, as
// an index of unknown origin may hold it.
#include "fuzz/fuzz_case.h"

#include "box/bxd_box_handle.h"
#include "match/bxd_cond_items.h"
#include "match/bxd_srch_cond.h"
#include "match/bxd_srch_format.h"

namespace {

using namespace fuzz;

// Only files make records longer than this.
constexpr std::size_t kRecordMax = BXD_INDEX_RECORD_MAX;

void Compile(const Bytes& whole, u32 budget)
{
    std::vector<u8> out(budget);
    u8 flags = 0;
    BoxHandle box = _BoxOpenRwMode(kSoundBox, 1);
    Demand(box != nullptr, "the sound box cannot be opened");
    (void)SearchConvCondition(whole.data(), out.data(), (*box)->itemTable, budget, &flags);
    (void)_BoxClose(box);
}

void Search(const Bytes& whole)
{
    for (const u8 backward : {u8{0}, u8{1}}) {
        u16 number = backward != 0 ? u16{65535} : u16{0};
        for (u16 step = 0; step < kSoundCards + 1; ++step) {
            const u16 from = number;
            if (_IndexSearch(kIndex, nullptr, whole.data(), backward, 0, 0, 0, from, &number) != BXD_OK) {
                return;
            }
            Demand(backward != 0 ? number < from : number > from, "a search goes back");
        }
        Demand(false, "a search finds more than there is");
    }
}

// A card that the index takes or not, and one that it may let go.
void ChangeCards()
{
    BoxHandle box = _BoxOpen(kSoundBox);
    Demand(box != nullptr, "the sound box cannot be opened");
    const u16 added = AddCard(box, "READ", "b c");
    WriteText(box, 3, "READ", "c");
    (void)_CardDelete(box, 1);
    (void)_CardDelete(box, added);
    (void)_BoxClose(box);
}

void Keep(u16 tag, const std::uint8_t* data, std::size_t size)
{
    static const Bytes filteredBox = SoundBox(BXD_INDEX_FILTERED);
    Put(kSoundBox, filteredBox);
    const Bytes index =
        SoundIndex().record(static_cast<u8>(tag), Bytes(data, data + size)).record(32, Bytes{1}).build();
    Put(kIndex, index);
    ChangeCards();
    (void)_IndexSort(kIndex, nullptr);
    ChangeCards();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Bytes soundBox = SoundBox();
    static const Bytes soundIndex = SoundIndex().record(2, Bytes{'R', 'E', 'A', 'D', 0xFE, 0x80, 0}).build();
    (void)Home();
    (void)_BxdnInit();
    if (size > kRecordMax) { return 0; }
    Put(kSoundBox, soundBox);
    Put(kIndex, soundIndex);
    Demand(_IndexSort(kIndex, nullptr) == BXD_OK, "a sound index cannot be sorted");

    const Bytes whole = Bytes(data, data + size) + Bytes(kConditionSlack, 0);
    Compile(whole, kConditionCodeMax);
    Compile(whole, static_cast<u32>(size % 64) + 1);
    Search(whole);
    (void)_IndexInfoWriteWithCheck(kIndex, IDXINF_SEARCH_EXP, data, static_cast<u16>(size));
    ChangeCards();
    Keep(IDXINF_SEARCH_EXP, data, size);
    Keep(IDXINF_SEARCH_CODE, data, size);
    return 0;
}

// SPDX-License-Identifier: MIT
// The bytes are a sort condition: as an application gives it, and compiled, as an index of unknown origin may
// hold it. A sort may fail, but loses no entry.
#include "fuzz/fuzz_case.h"

namespace {

using namespace fuzz;

constexpr u8 kFromA[] = {'R', 'E', 'A', 'D', BXD_OP_MARK, BXD_OP_AT_LEAST, BXD_VALUE_UTF8, 'a', 0};

void SortAndPlace()
{
    const u32 status = _IndexSort(kIndex, nullptr);
    if (status == 254) { return; }  // the index is barred
    for (u16 id = 1; id <= kSoundCards; ++id) {
        u16 number = 0;
        Demand(_CardIDToIndexNo(kIndex, id, &number) == BXD_OK, "a sort loses an entry");
    }
    u16 number = 0;
    (void)_IndexSearch(kIndex, nullptr, kFromA, 0, 0, 0, 0, 0, &number);
    BoxHandle box = _BoxOpen(kSoundBox);
    Demand(box != nullptr, "the sound box cannot be opened");
    const u16 added = AddCard(box, "READ", "b c");
    WriteText(box, 3, "READ", "c");
    (void)_CardDelete(box, 1);
    (void)_IndexNoDeleteWithNum(kIndex, &added, 1);
    (void)_IndexNoAppend(kIndex, box, 2, &number);
    (void)_IndexNoDelete(kIndex, 1);
    (void)_IndexNoAppend(kIndex, box, added, &number);
    (void)_BoxClose(box);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Bytes soundBox = SoundBox();
    static const Bytes soundIndex = SoundIndex().build();
    (void)Home();
    (void)_BxdnInit();
    if (size > BXD_INDEX_RECORD_MAX) { return 0; }
    const Bytes bytes(data, data + size);

    Put(kSoundBox, soundBox);
    Put(kIndex, soundIndex);
    (void)_IndexInfoWriteWithCheck(kIndex, IDXINF_SORT_EXP, data, static_cast<u16>(size));
    SortAndPlace();

    Put(kSoundBox, soundBox);
    Put(kIndex, SoundIndex(bytes).build());
    SortAndPlace();

    // Both forms, and hidden cards of equal keys.
    static const Bytes filteredBox = SoundBox(BXD_INDEX_FILTERED);
    Put(kSoundBox, filteredBox);
    const Bytes newKeys{BXD_OP_MARK, BXD_OP_NEW_KEYS, 1, 0};
    Put(kIndex, SoundIndex(bytes).record(2, bytes).record(3, newKeys).record(32, Bytes{1}).build());
    SortAndPlace();
    return 0;
}

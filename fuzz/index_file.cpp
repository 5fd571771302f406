// SPDX-License-Identifier: MIT
// The bytes are an index, which a sound box knows of: it is checked, walked, searched, sorted and changed,
// and cards of the box are.
#include "fuzz/fuzz_case.h"

namespace {

using namespace fuzz;

constexpr u8 kAllWanted[] = {'N', 'U', 'M', 'B', BXD_OP_MARK, BXD_OP_AT_LEAST, BXD_VALUE_HALF, 0, 0, 0};
constexpr u8 kKeyWanted[] = {'R', 'E', 'A', 'D', BXD_OP_MARK, BXD_OP_BEGINS, BXD_VALUE_UTF8, 'a', 0};

void ReadRecords()
{
    u8 record[64];
    constexpr u16 kTags[] = {1, 2, 3, 4, 32, 33, 34, 128, 129, 200};
    for (const u16 tag : kTags) {
        u16 length = sizeof record;
        (void)_IndexInfoRead(kIndex, tag, record, &length);
    }
}

void Walk()
{
    u16 number = 0;
    for (int step = 0; step < 8 && _NextIndexNo(kIndex, 0, 0, 0, &number) == BXD_OK; ++step) {
        u16 card = 0;
        (void)_IndexNoToCardID(kIndex, number, &card);
        (void)_CardIDToIndexNo(kIndex, card, &card);
    }
    number = 65535;
    for (int step = 0; step < 4 && _PrevIndexNo(kIndex, 0x40, 0x40, 0, &number) == BXD_OK;) { ++step; }
    number = 0;
    (void)_NumberToIndexNo(kIndex, 0, 0, 0, 0, &number, 3);
    (void)_IndexNoToNumber(kIndex, 0, 0, 0, 0, 65535, &number);
}

void Search()
{
    for (const u8* condition : {kAllWanted, kKeyWanted}) {
        for (const u8 backward : {u8{0}, u8{1}}) {
            u16 number = backward != 0 ? u16{65535} : u16{0};
            for (int step = 0; step < 4; ++step) {
                const u16 from = number;
                if (_IndexSearch(kIndex, nullptr, condition, backward, 0, 0, 0, from, &number) != BXD_OK) {
                    break;
                }
            }
        }
    }
}

void ChangeEntries()
{
    u16 number = 1;
    (void)_IndexNoAppend(kIndex, nullptr, 2, &number);
    number = 1;
    (void)_MoveIndexNo(kIndex, 3, &number);
    (void)_IndexNoDelete(kIndex, 2);
    const u16 cards[] = {1, 4};
    (void)_IndexNoDeleteWithNum(kIndex, cards, 2);
}

void ChangeCards()
{
    BoxHandle box = _BoxOpen(kSoundBox);
    Demand(box != nullptr, "the sound box cannot be opened");
    const u16 added = AddCard(box, "READ", "b");
    WriteText(box, 5, "READ", "written");
    (void)_IndexNoDeletePMSC(kIndex, 1, box);
    if (added != 0) { (void)_CardDelete(box, added); }
    (void)_BoxClose(box);
}

void ChangeRecords()
{
    const u8 byKey[] = {'N', 'U', 'M', 'B', BXD_OP_MARK, 0x81, 0};
    (void)_IndexInfoWrite(kIndex, IDXINF_SORT_EXP, byKey, sizeof byKey);
    const u8 mode = BXD_INDEX_BY_HAND;
    (void)_IndexInfoWrite(kIndex, IDXINF_UPDATE_MODE, &mode, 1);
    (void)_IndexInfoDelete(kIndex, IDXINF_TYPE);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Bytes soundBox = SoundBox();
    (void)Home();
    (void)_BxdnInit();
    Put(kSoundBox, soundBox);
    Put(kIndex, Bytes(data, data + size));
    const bool sound = _BXDFileCheck(kIndex) == BXD_OK;
    if (sound) { Demand(_BXDFileCheck(kIndex) == BXD_OK, "a sound index is not sound a second time"); }
    (void)_BxdnInit();
    ReadRecords();
    Walk();
    Search();
    (void)_IndexSort(kIndex, nullptr);
    ChangeEntries();
    ChangeCards();
    (void)_BoxSyncStart(kSoundBox);
    (void)_BoxSyncClear(kSoundBox);
    ChangeRecords();
    (void)_IndexUnGroup(kIndex, nullptr);
    (void)_IndexSort(kIndex, nullptr);
    (void)_BxdnInit();
    Demand(BXDFileCheckSub(kSoundBox, BXD_CHECK_CARDS, 0) == BXD_OK, "an index damages its box");
    return 0;
}

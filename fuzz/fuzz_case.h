// SPDX-License-Identifier: MIT
// What the fuzzing targets share: a scratch HOME with the files of one run, a sound box to set beside bytes
// of unknown origin, and the calls that every program makes.
//
// A target must come through any bytes: what counts is that nothing is read or written that is not the
// library's, that every call ends, and what the target itself demands (Demand).
#pragma once

#include <bxd/bxd.h>

#include "tests/support/box_builder.h"
#include "tests/support/index_builder.h"
#include "tests/support/scratch_home.h"

// A target's one procedure: those of a search machine and of fuzz/replay.cpp both call it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

using boxtest::B;
using boxtest::Bytes;
using boxtest::operator+;

constexpr const char* kBox = "F0:BYTES.BOX";
constexpr const char* kIndex = "F0:BYTES.IDX";
constexpr const char* kSoundBox = "F0:SOUND.BOX";
constexpr u16 kSoundCards = 6;

// The directory of all runs of a process.
inline const boxtest::ScratchHome& Home()
{
    static const boxtest::ScratchHome home;
    return home;
}

inline void Put(const char* name, const Bytes& bytes) { Home().write(name, bytes); }

// Ends the process where the library contradicts itself.
inline void Demand(bool holds, const char* what)
{
    if (holds) { return; }
    (void)std::fprintf(stderr, "fuzz: %s\n", what);
    std::abort();
}

// Items of every type that conditions tell apart.
inline std::vector<boxtest::Item> Items()
{
    return boxtest::DefaultItems() +
           std::vector<boxtest::Item>{
               {1, 0, "NAME", "name"},        {17, 0, "READ", "reading"},    {8, 0, "NUMB", "number"},
               {5, 0, "SPAN", "span"},        {7, 0, "WEEK", "week"},        {11, 0, "BYTE", "byte"},
               {12, 0, "CATS", "categories"}, {16, 0, "NAM2", "other text"}, {18, 0, "WORD", "word"}};
}

// A box of six cards that registers the index of a run, which has this update mode.
inline Bytes SoundBox(std::uint8_t updateMode = BXD_INDEX_ALL)
{
    const char* const readings[] = {"a", "あい", "アイ", "b c", "", "かがみ"};
    boxtest::BoxBuilder box(Items());
    box.indexTable({{"BYTES.IDX", 1, boxtest::kMasterKind, 0, updateMode}});
    for (std::uint8_t id = 1; id <= kSoundCards; ++id) {
        const std::vector<Bytes> values =
            box.row({{"cTTM", {id, 0, 9, 0xB1, 7}},
                     {"NAME", boxtest::Slice(Bytes{0x82, 0xA0, 0xB6, 0xDE, 'x', 0x83}, 0, id)},
                     {"READ", B(readings[id - 1])},
                     {"NUMB", {id, 1}},
                     {"SPAN", {id, 0, 0, 0, 0}},
                     {"WEEK", {id, 0x71, 7}},
                     {"BYTE", {id}},
                     {"CATS", boxtest::Slice(Bytes{1, 2, 3, 4, 5}, 0, id)},
                     {"NAM2", Bytes(id, 'z')},
                     {"WORD", {id, 2, 3, 4}}});
        box.card(id, values);
    }
    return box.build();
}

// The records of an index of it, and an entry for each card, not in the order of any item.
inline boxtest::IndexBuilder SoundIndex(const Bytes& sortCode = {17, 6, 0x80})
{
    boxtest::IndexBuilder index;
    index.created().record(1, "SOUND.BOX").record(129, sortCode);
    for (const std::uint32_t id : {3u, 1u, 6u, 2u, 5u, 4u}) { index.entry(id); }
    return index;
}

inline CardDescriptor Key(u16 id, const u8* tag)
{
    CardDescriptor key = {};
    key.cardId = id;
    std::copy_n(tag, 4, key.itemNameId);
    return key;
}

inline void WriteText(BoxHandle box, u16 id, const char* tag, const std::string& text)
{
    const CardDescriptor key = Key(id, reinterpret_cast<const u8*>(tag));
    (void)_CardWrite(box, &key, reinterpret_cast<const u8*>(text.data()), static_cast<i32>(text.size()));
}

// A new card through the card under edit; 0 where it could not be made.
inline u16 AddCard(BoxHandle box, const char* tag, const std::string& text)
{
    u16 edit = TMP_SYSTEM_CARD_ID;
    u16 id = 0;
    if (_CardCreate(box, &edit) != BXD_OK) { return 0; }
    WriteText(box, edit, tag, text);
    return _CardCopy(box, edit, &id) == BXD_OK ? id : u16{0};
}

// All items of a card, whole and from the middle.
inline void ReadCard(BoxHandle box, u16 id, const std::vector<CardDescriptor>& items)
{
    u8 buffer[64];
    for (CardDescriptor key : items) {
        key.cardId = id;
        u32 length = sizeof buffer;
        (void)_CardRead(box, &key, buffer, &length);
        length = sizeof buffer;
        (void)_CardOffsetRead(box, &key, buffer, &length, 3);
        u32 count = sizeof buffer;
        (void)_CardCategoryRead(box, &key, buffer, &count);
    }
}

}  // namespace fuzz

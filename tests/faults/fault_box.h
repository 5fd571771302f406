// SPDX-License-Identifier: MIT
// Boxes for the fault tests, made with the library, and changes that they need byte by byte.
//
// The box is "F0:T.BOX" with the items NAME, READ and TEXT behind the four that every box has.
#pragma once

#include "tests/faults/fault_runner.h"

namespace faults {

inline const char* const kBox = "F0:T.BOX";
// Windows that follow from the order of writes.

// An item is written anew, or an image: the old card dies before the slot leads to the new one.
inline const Windows kDiesBeforeItsSlot = {.cut = {kDeadSlot, kCardLost}};
inline const Windows kSystemCardDiesBeforeItsSlot = {.cut = {kStaleSlot, kCardLost}};
// A system card is moved or replaced: the slot of what was there is cleared last.
inline const Windows kSlotOutlivesTheMove = {.cut = {kStaleSlot}};
// A card is changed where it stands, in more than one write.
inline const Windows kChangedInPlace = {.cut = {kCardMixed}};
// The offset card knows an append table before the chain of tables does.
inline const Windows kTableBeforeItsLink = {.cut = {kTables}};

constexpr u32 kNoBox = 1000;  // "status" of an act whose box does not open

inline void MakeBox(const char* name = kBox)
{
    static const ItemRecord items[3] = {{17, 0, {'N', 'A', 'M', 'E'}, "name"},
                                        {17, 0, {'R', 'E', 'A', 'D'}, "reading"},
                                        {17, 0, {'T', 'E', 'X', 'T'}, "text"}};
    u32 rewritten = 0;
    ASSERT_EQ(_BoxCreate(name, 0x4C504241), 0u);
    ASSERT_EQ(_BoxItemAppend(name, items, 3, &rewritten), 0u);
}

inline std::string Pattern(size_t length, unsigned seed)
{
    std::string text(length, '\0');
    for (size_t n = 0; n < length; n++) { text[n] = static_cast<char>('a' + (n * 7 + n / 26 + seed) % 26); }
    return text;
}

inline CardDescriptor Key(u32 id, const char* tag)
{
    CardDescriptor key{};
    key.cardId = static_cast<u16>(id);
    for (int n = 0; n < 4; n++) { key.itemNameId[n] = static_cast<u8>(tag[n]); }
    return key;
}

inline u32 Write(BoxHandle box, u32 id, const char* tag, const std::string& value, u32 offset = 0)
{
    CardDescriptor key = Key(id, tag);
    return _CardOffsetWrite(box, &key, reinterpret_cast<const u8*>(value.data()),
                            static_cast<u32>(value.size()), offset);
}

// A card under edit with a TEXT of `length` bytes.
inline u32 Edit(BoxHandle box, size_t length, unsigned seed = 1, u32 id = TMP_SYSTEM_CARD_ID)
{
    auto edit = static_cast<u16>(id);
    u32 status = _CardCreate(box, &edit);
    if (status == 0) { status = Write(box, id, "NAME", "name"); }
    return status == 0 ? Write(box, id, "TEXT", Pattern(length, seed)) : status;
}

// Copies `source` to `target`, 0 for the next free id.
inline u32 Copy(BoxHandle box, u32 source, u32 target = 0)
{
    auto id = static_cast<u16>(target);
    return _CardCopy(box, static_cast<u16>(source), &id);
}

// A stored card with a TEXT of `length` bytes.
inline u32 AddCard(BoxHandle box, size_t length, unsigned seed = 1, u32 target = 0)
{
    u32 status = Edit(box, length, seed);
    return status == 0 ? Copy(box, TMP_SYSTEM_CARD_ID, target) : status;
}

// Work on the open box; the status of the first step that failed, the closing included.
template <typename Work>
u32 WithBox(Work work, const char* name = kBox)
{
    BoxHandle box = _BoxOpen(name);
    if (box == nullptr) { return kNoBox; }
    u32 status = work(box);
    u32 closed = _BoxClose(box);
    return status != 0 ? status : closed;
}

// Cards of these TEXT lengths, with ids from 1.
inline void Fill(const std::vector<size_t>& lengths)
{
    ASSERT_EQ(WithBox([&](BoxHandle box) {
                  unsigned seed = 0;
                  for (size_t length : lengths) {
                      if (u32 status = AddCard(box, length, seed++)) { return status; }
                  }
                  return u32{0};
              }),
              0u);
}

class BoxFaults : public FaultTest {
protected:
    BoxBytes boxBytes(const std::string& file = "T.BOX") const { return BoxBytes::Load(pathOf(file)); }

    void patch(const std::function<void(std::string&, const BoxBytes&)>& change) const
    {
        BoxBytes box = boxBytes();
        std::string bytes = box.bytes();
        change(bytes, box);
        std::ofstream file(pathOf("T.BOX"), std::ios::binary | std::ios::trunc);
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }

    static void put(std::string& bytes, size_t at, uint32_t value, int size)
    {
        for (int n = 0; n < size; n++) {
            bytes[at + static_cast<size_t>(n)] = static_cast<char>(value >> (8 * n));
        }
    }

    // As a deletion leaves it: a dead card, a killed slot, counters and hint.
    void kill(uint32_t id) const
    {
        patch([&](std::string& bytes, const BoxBytes& box) {
            uint32_t pos = box.cardAt(id);
            put(bytes, pos, 0, 2);
            put(bytes, box.slotOf(id), 0, 4);
            put(bytes, 48, box.word(48) + box.word(pos + 2) + 6, 4);
            put(bytes, 52, box.half(52) - 1, 2);
            put(bytes, 54, std::min(box.half(54), id), 2);
        });
    }

    void setHint(uint32_t id) const
    {
        patch([&](std::string& bytes, const BoxBytes&) { put(bytes, 54, id, 2); });
    }

    // A file that is a value.
    void makeSource(size_t length, unsigned seed = 9) const
    {
        std::ofstream file(pathOf("VALUE.TXT"), std::ios::binary | std::ios::trunc);
        std::string bytes = Pattern(length, seed);
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }

    static u32 writeFromSource(BoxHandle box, u32 id)
    {
        CardDescriptor key = Key(id, "TEXT");
        return _CardWriteFromFile(box, "F0:VALUE.TXT", &key);
    }

    std::function<void()> boxOf(std::vector<size_t> lengths) const
    {
        return [lengths] {
            MakeBox();
            Fill(lengths);
        };
    }
};

}  // namespace faults

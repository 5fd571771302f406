// SPDX-License-Identifier: MIT
// The way from a card of the file to its items.
//
//   card     [ head ][ lengthTableSize ][ l1 l2 l3 .. ][ item 1 ][ item 2 ] ..
//            <------- the first read, 264 bytes -------------->
//
// The first read takes the card's head along with the window, so that the walk knows where the card ends and
// never leaves it. Short cards lie in the window whole: their items cost no read of their own.
#pragma once

#include <cstring>

#include "box/bxd_card_format.h"

namespace bxd {

class LengthWalk {
public:
    LengthWalk(u8 fid, u32 cardOffset) : fid_(fid), cardOffset_(cardOffset) {}

    // The read of the head; false where no card is to be read.
    bool open()
    {
        if (!fetch(0, kLengthTableSizeAt + kWindow) || held_ < kItemCardHead) { return false; }
        cardEnd_ = static_cast<uint64_t>(GET_4BYTES(window_ + kCardLengthAt)) + kCardHead;
        dataStart_ = kItemCardHead + GET_2BYTES(window_ + kLengthTableSizeAt);
        return dataStart_ <= cardEnd_ && cardOffset_ + cardEnd_ <= kFilePositionMax;
    }

    // The place of an item, counted from 1; false for number 0, and where the table or the card ends before.
    bool find(u32 number, CardItemPlace* place)
    {
        if (number == 0) { return false; }
        if (number <= passed_) { rewind(); }
        while (passed_ < number) {
            if (!next(place)) { return false; }
        }
        return true;
    }

    // `count` bytes of the item at `place`, or null where they do not all lie in the window. Good until the
    // next find.
    const u8* peek(const CardItemPlace& place, u32 count) const
    {
        u32 at = place.dataOffset - cardOffset_;
        bool inside = at >= start_ && static_cast<u64>(at) + count <= static_cast<u64>(start_) + held_;
        return inside ? held(at) : nullptr;
    }

    // The first `count` bytes of the item at `place`, from the window where they lie in it.
    bool deliver(const CardItemPlace& place, u32 count, void* buf) const
    {
        const u8* bytes = peek(place, count);
        if (bytes == nullptr) { return ReadExactly(fid_, place.dataOffset, buf, count) == BXD_OK; }
        std::memcpy(buf, bytes, count);
        return true;
    }

private:
    using u64 = uint64_t;

    static constexpr u32 kWindow = 256;  // bytes from lengthTableSize on that one read fetches

    const u8* held(u32 at) const { return window_ + (at - start_); }

    void rewind()
    {
        at_ = kItemCardHead;
        sum_ = 0;
        passed_ = 0;
    }

    // Decodes the field of the next item.
    bool next(CardItemPlace* place)
    {
        if (at_ >= dataStart_ || !hold(at_, 1)) { return false; }
        u32 fieldSize = LengthFieldSizeAt(*held(at_));
        if (at_ + fieldSize > dataStart_ || !hold(at_, fieldSize)) { return false; }

        const u8* cursor = held(at_);
        u64 dataAt = dataStart_ + sum_;
        place->dataLength = GetCardItemLength(&cursor);
        if (dataAt + place->dataLength > cardEnd_) { return false; }
        place->dataOffset = cardOffset_ + static_cast<u32>(dataAt);
        place->lengthSize = fieldSize;
        place->lengthOffset = cardOffset_ + at_;
        at_ += fieldSize;
        sum_ += place->dataLength;
        ++passed_;
        return true;
    }

    bool fetch(u32 at, u32 count)
    {
        start_ = at;
        held_ = count;
        if (DataReadFromFile(fid_, static_cast<i32>(cardOffset_ + at), window_, &held_) == BXD_OK) {
            return true;
        }
        held_ = 0;
        return false;
    }
    bool hold(u32 at, u32 count)
    {
        if (at >= start_ && at + count <= start_ + held_) { return true; }
        return fetch(at, kWindow) && held_ >= count;
    }

    u8 fid_;
    u32 cardOffset_;
    u64 cardEnd_ = 0;         // offsets in the card from here on
    u32 dataStart_ = 0;       // where the length table ends
    u32 at_ = kItemCardHead;  // the next field
    u64 sum_ = 0;             // lengths of the items passed
    u32 passed_ = 0;          // and their number
    u32 start_ = 0;           // what the window holds
    u32 held_ = 0;
    u8 window_[kLengthTableSizeAt + kWindow];
};

}  // namespace bxd

// SPDX-License-Identifier: MIT
#include "match/bxd_sort_cmp_text.h"

#include <algorithm>
#include <cstring>

#include "storage/bxd_file.h"
#include "storage/heapwrapper.h"

namespace {

using bxd::CompareCodes;
using bxd::CompareEmpty;

constexpr u32 kLocalRest = 512;     // the rest of a card's text that needs no block of the heap
constexpr u8 kAfterLastByte = 'A';  // stands in behind the last byte of a Shift-JIS range

u32 PivotLength(const SortKey* key) { return std::min(key->len, kSortValueMax); }
u32 CardLength(i32 len) { return len > 0 ? std::min(static_cast<u32>(len), kSortValueMax) : 0; }
u32 InHead(u32 length) { return std::min(length, kSortHeadSize); }

// The order of equal beginnings, by what either side has left.
u32 CompareLeft(u32 card, u32 pivot, u32 equal)
{
    if (card != 0 && pivot != 0) { return BXD_CMP_EQUAL; }
    return card == pivot ? equal : CompareEmpty(card, pivot);
}

void NoteTie(u16* tie, u16 a, u16 b)
{
    if (*tie == BXD_CMP_EQUAL) { *tie = static_cast<u16>(CompareCodes(a, b)); }
}

// How the characters of a UTF-8 text are ordered.
struct LanguageOrder {
    static u16 code(const u8* s, u32 left, u16* used) { return bxd::SortCodeUtf8(s, left, used); }
    static u16 primary(u16 code) { return bxd::SearchCodeUtf8(code); }
};
struct BinaryOrder {
    static u16 code(const u8* s, u32 left, u16* used) { return bxd::CodePointUtf8(s, left, used); }
    static u16 primary(u16 code) { return code; }
};

// The range ends within the character at s, and goes on elsewhere.
bool IsCut(const u8* s, u32 left, bool more)
{
    return more && left < bxd::kUtf8Longest && GetBytesUtf8(static_cast<signed char>(*s)) > left;
}

// The size of a character of one or three bytes that both texts begin with: equal bytes need no codes. 0
// where they have to be looked up.
u16 SameCharacter(const u8* a, const u8* b, u32 left)
{
    if (*a != *b) { return 0; }
    if (*a < 0x80) { return 1; }
    bool three = (*a & 0xF0) == 0xE0 && left >= 3;
    return three && a[1] == b[1] && a[2] == b[2] ? 3 : 0;
}

// SortStrCmpExUtf8 for ranges that may go on elsewhere: a character that is cut there stays.
template <typename Order>
u32 CompareUtf8(const u8* a, const u8* b, u32* lenA, u32* lenB, bool moreA, bool moreB, u16* tie)
{
    u32 leftA = *lenA;
    u32 leftB = *lenB;
    while (leftA != 0 && leftB != 0) {
        u16 usedA = SameCharacter(a, b, std::min(leftA, leftB));
        u16 usedB = usedA;
        if (usedA == 0) {
            if (IsCut(a, leftA, moreA) || IsCut(b, leftB, moreB)) { break; }
            u16 codeA = Order::code(a, leftA, &usedA);
            u16 codeB = Order::code(b, leftB, &usedB);
            if (codeA != codeB) {
                NoteTie(tie, codeA, codeB);
                u32 result = CompareCodes(Order::primary(codeA), Order::primary(codeB));
                if (result != BXD_CMP_EQUAL) { return result; }
            }
        }
        a += usedA;
        b += usedB;
        leftA -= usedA;
        leftB -= usedB;
    }
    *lenA = leftA;
    *lenB = leftB;
    return BXD_CMP_EQUAL;
}

// The two kinds of text, for the compare by language.
struct Sjis {
    static u16 first(u8 code, const u8* text, u32 length) { return bxd::FirstOfSjis(code, text, length); }
    static u16 primary(u16 code) { return bxd::SearchCodeSjis(code); }
    // The first byte of a pair stays at the end of any range.
    static u32 compare(const u8* a, const u8* b, u32* lenA, u32* lenB, bool, bool, u16* tie)
    {
        return SortStrCmpEx(a, b, lenA, lenB, tie);
    }
    static u32 byLanguage(u8 boxId, u32 itemAddr, u16 len, SortKey* key, const u8* head)
    {
        return SortCmpStrSub(boxId, itemAddr, len, key, head);
    }
    static u32 binary(u8 boxId, u32 itemAddr, i32 len, const u8* head, SortKey* key)
    {
        return SortBinCmpStrSub(boxId, itemAddr, len, head, key);
    }
};
struct Utf8 {
    static u16 first(u8 code, const u8* text, u32 length) { return bxd::FirstOfUtf8(code, text, length); }
    static u16 primary(u16 code) { return bxd::SearchCodeUtf8(code); }
    static u32 compare(const u8* a, const u8* b, u32* lenA, u32* lenB, bool moreA, bool moreB, u16* tie)
    {
        return CompareUtf8<LanguageOrder>(a, b, lenA, lenB, moreA, moreB, tie);
    }
    static u32 byLanguage(u8 boxId, u32 itemAddr, u16 len, SortKey* key, const u8* head)
    {
        return SortCmpStrSubUtf8(boxId, itemAddr, len, key, head);
    }
    static u32 binary(u8 boxId, u32 itemAddr, i32 len, const u8* head, SortKey* key)
    {
        return SortBinCmpStrSubUtf8(boxId, itemAddr, len, head, key);
    }
};

// Puts the `total` bytes of a text that are left to dst: `left` bytes of its head, then what follows the head
// in the file.
bool Gather(u8 boxId, u32 itemAddr, const u8* unused, u32 left, u32 total, u8* dst)
{
    std::memcpy(dst, unused, left);
    return total == left ||
           bxd::ReadExactly(boxId, itemAddr + kSortHeadSize, dst + left, total - left) == BXD_OK;
}

// What the first stage has left of a text.
struct Rest {
    u32 addr;          // of the whole text
    const u8* unused;  // in the head
    u32 left;          // bytes there
    u32 total;         // bytes there and beyond
};

Rest RestOf(u32 addr, const u8* head, u32 length, u32 left)
{
    u32 used = InHead(length) - left;
    return {addr, head + used, left, length - used};
}

// The second stage: both rests are gathered in memory, the pivot's as its new tail.
template <typename Text>
u32 CompareRests(u8 boxId, const Rest& card, const Rest& pivot, SortKey* key, u16* tie)
{
    u8 local[kLocalRest];
    bxd::HeapBlock block;
    u8* cardRest = local;
    if (card.total > sizeof local) {
        block.reset(static_cast<u8*>(std::malloc(card.total)));
        cardRest = block.data();
    }
    bool gathered =
        cardRest != nullptr && Gather(boxId, card.addr, card.unused, card.left, card.total, cardRest);

    // The old tail goes before memory is asked for the new one; after a failure there is none.
    std::free(key->tail);
    key->tail = nullptr;
    if (!gathered) { return 0; }
    bxd::HeapBlock tail(pivot.total);
    if (!tail || !Gather(boxId, pivot.addr, pivot.unused, pivot.left, pivot.total, tail.data())) { return 0; }
    key->tail = tail.release();

    u32 cardLeft = card.total;
    u32 pivotLeft = pivot.total;
    u32 result = Text::compare(cardRest, key->tail, &cardLeft, &pivotLeft, false, false, tie);
    return result != BXD_CMP_EQUAL ? result : CompareLeft(cardLeft, pivotLeft, *tie);
}

template <typename Text>
u32 CompareByLanguage(u8 boxId, u32 itemAddr, u32 len, SortKey* key, const u8* head)
{
    u32 pivotLen = PivotLength(key);
    if (len == 0 || pivotLen == 0) { return CompareEmpty(len, pivotLen); }

    u32 left = InHead(len);
    u32 pivotLeft = InHead(pivotLen);
    bool more = len > kSortHeadSize;
    bool pivotMore = pivotLen > kSortHeadSize;
    u16 tie = BXD_CMP_EQUAL;
    u32 result = Text::compare(head, key->head, &left, &pivotLeft, more, pivotMore, &tie);
    if (result != BXD_CMP_EQUAL) { return result; }

    Rest card = RestOf(itemAddr, head, len, left);
    Rest pivot = RestOf(key->addr, key->head, pivotLen, pivotLeft);
    bool allSeen = !more && !pivotMore;
    if (allSeen || card.total == 0 || pivot.total == 0) { return CompareLeft(card.total, pivot.total, tie); }
    return CompareRests<Text>(boxId, card, pivot, key, &tie);
}

// The first character decides most compares; it is in memory on both sides.
template <typename Text>
u32 CompareText(u8 boxId, u32 itemAddr, SortKey* key, u16 len, const u8* head)
{
    u32 result = BXD_CMP_EQUAL;
    if (len == 0 || key->len == 0) {
        result = CompareEmpty(len, key->len);
    } else {
        u16 first = Text::first(key->code, head, len);
        u16 pivotFirst = GET_2BYTES(key->first);
        if (bxd::IsBinaryOrder(key->code)) {
            result = CompareCodes(first, pivotFirst);
            if (result == BXD_CMP_EQUAL) { result = Text::binary(boxId, itemAddr, len, head, key); }
        } else {
            result = CompareCodes(Text::primary(first), Text::primary(pivotFirst));
            if (result == BXD_CMP_EQUAL) { result = Text::byLanguage(boxId, itemAddr, len, key, head); }
        }
    }
    bool down = bxd::IsDownwards(key->code) || key->code == kSortBinTextDown;
    return down ? bxd::Turned(result) : result;
}

// The pivot's rest lies in two pieces, the unused end of its head and its tail. The first is compared along
// with as much of the second as the last character that begins in it may need.
u32 CompareWithPieces(const u8* card, u32 cardLeft, const Rest& pivot, const u8* tail)
{
    constexpr u32 kReach = bxd::kUtf8Longest - 1;
    u32 tailLen = pivot.total - pivot.left;
    u32 reach = std::min(tailLen, kReach);
    u8 joint[kSortHeadSize + kReach];
    std::memcpy(joint, pivot.unused, pivot.left);
    if (reach != 0) { std::memcpy(joint + pivot.left, tail, reach); }

    u32 left = cardLeft;
    u32 jointLeft = pivot.left + reach;
    u16 tie = BXD_CMP_EQUAL;
    u32 result = CompareUtf8<BinaryOrder>(card, joint, &left, &jointLeft, false, tailLen > reach, &tie);
    if (result != BXD_CMP_EQUAL) { return result; }
    u32 used = pivot.left + reach - jointLeft;
    if (left == 0 || used == pivot.total) { return CompareEmpty(left, pivot.total - used); }

    // All that began in the head has been used.
    u32 usedOfTail = used - pivot.left;
    return SortBinStrCmpUtf8(card + (cardLeft - left), tail + usedOfTail, left, tailLen - usedOfTail);
}

}  // namespace

extern "C" {

u32 SortCmpString(u8 boxId, u32 itemAddr, SortKey* key, u16 len, const u8* head)
{
    return CompareText<Sjis>(boxId, itemAddr, key, len, head);
}

u32 SortCmpStringUtf8(u8 boxId, u32 itemAddr, SortKey* key, u16 len, const u8* head)
{
    return CompareText<Utf8>(boxId, itemAddr, key, len, head);
}

u32 SortCmpStrSub(u8 boxId, u32 itemAddr, u16 len, SortKey* key, const u8* head)
{
    return CompareByLanguage<Sjis>(boxId, itemAddr, len, key, head);
}

u32 SortCmpStrSubUtf8(u8 boxId, u32 itemAddr, u16 len, SortKey* key, const u8* head)
{
    return CompareByLanguage<Utf8>(boxId, itemAddr, len, key, head);
}

u32 SortBinCmpStrSub(u8 boxId, u32 itemAddr, i32 len, const u8* head, SortKey* key)
{
    u32 cardLen = CardLength(len);
    u32 pivotLen = PivotLength(key);
    if (cardLen == 0 || pivotLen == 0) { return CompareEmpty(cardLen, pivotLen); }
    u32 result = SortBinStrCmp(head, key->head, InHead(cardLen), InHead(pivotLen));
    bool bothFull = cardLen >= kSortHeadSize && pivotLen >= kSortHeadSize;
    if (result != BXD_CMP_EQUAL || !bothFull) { return result; }

    u32 rest = cardLen - kSortHeadSize;
    u32 pivotRest = pivotLen - kSortHeadSize;
    if (rest == 0 || pivotRest == 0) { return CompareEmpty(rest, pivotRest); }
    bxd::HeapBlock block(rest);
    if (!block || key->tail == nullptr ||
        bxd::ReadExactly(boxId, itemAddr + kSortHeadSize, block.data(), rest) != BXD_OK) {
        return 0;
    }
    return SortBinStrCmp(block.data(), key->tail, rest, pivotRest);
}

u32 SortBinCmpStrSubUtf8(u8 boxId, u32 itemAddr, i32 len, const u8* head, SortKey* key)
{
    u32 cardLen = CardLength(len);
    u32 pivotLen = PivotLength(key);
    if (cardLen == 0 || pivotLen == 0) { return CompareEmpty(cardLen, pivotLen); }
    u32 left = InHead(cardLen);
    u32 pivotLeft = InHead(pivotLen);
    bool more = cardLen > kSortHeadSize;
    bool pivotMore = pivotLen > kSortHeadSize;
    u16 tie = BXD_CMP_EQUAL;
    u32 result = CompareUtf8<BinaryOrder>(head, key->head, &left, &pivotLeft, more, pivotMore, &tie);
    if (result != BXD_CMP_EQUAL) { return result; }

    Rest card = RestOf(itemAddr, head, cardLen, left);
    Rest pivot = RestOf(key->addr, key->head, pivotLen, pivotLeft);
    if (card.total == 0 || pivot.total == 0) { return CompareEmpty(card.total, pivot.total); }
    if (pivotMore && key->tail == nullptr) { return 0; }
    if (!more) { return CompareWithPieces(card.unused, card.total, pivot, key->tail); }
    bxd::HeapBlock block(card.total);
    if (!block || !Gather(boxId, itemAddr, card.unused, card.left, card.total, block.data())) { return 0; }
    return CompareWithPieces(block.data(), card.total, pivot, key->tail);
}

u32 SortBinStrCmp(const u8* a, const u8* b, u32 lenA, u32 lenB)
{
    u32 common = std::min(lenA, lenB);
    int order = common != 0 ? std::memcmp(a, b, common) : 0;
    if (order != 0) { return order < 0 ? BXD_CMP_BELOW : BXD_CMP_ABOVE; }
    return CompareCodes(lenA, lenB);
}

u32 SortBinStrCmpUtf8(const u8* a, const u8* b, u32 lenA, u32 lenB)
{
    u16 tie = BXD_CMP_EQUAL;
    u32 result = CompareUtf8<BinaryOrder>(a, b, &lenA, &lenB, false, false, &tie);
    return result != BXD_CMP_EQUAL ? result : CompareEmpty(lenA, lenB);
}

u32 SortStrCmpEx(const u8* a, const u8* b, u32* lenA, u32* lenB, u16* tie)
{
    u32 leftA = *lenA;
    u32 leftB = *lenB;
    u16 usedA = 1;
    u16 usedB = 1;
    u32 result = BXD_CMP_EQUAL;
    while (leftA >= 2 && leftB >= 2) {
        usedA = usedB = 1;
        if (*a != *b || *a >= 0x80) {
            u16 codeA = static_cast<u16>(SortConvChar(a, &usedA));
            u16 codeB = codeA;
            if (*a == *b && a[1] == b[1]) {
                usedB = usedA;
            } else {
                codeB = static_cast<u16>(SortConvChar(b, &usedB));
            }
            if (codeA != codeB) {
                NoteTie(tie, codeA, codeB);
                result = CompareCodes(bxd::SearchCodeSjis(codeA), bxd::SearchCodeSjis(codeB));
                if (result != BXD_CMP_EQUAL) { return result; }
            }
        }
        a += usedA;
        b += usedB;
        leftA -= usedA;
        leftB -= usedB;
    }
    if (leftA != 0 && leftB != 0) {
        u16 codeA = bxd::SortCodeSjis(a, leftA, kAfterLastByte, &usedA);
        u16 codeB = bxd::SortCodeSjis(b, leftB, kAfterLastByte, &usedB);
        // A cut pair counts for the tie, with the byte that stands in for its second.
        NoteTie(tie, codeA, codeB);
        if (usedA <= leftA && usedB <= leftB) {
            result = CompareCodes(bxd::SearchCodeSjis(codeA), bxd::SearchCodeSjis(codeB));
            leftA -= usedA;
            leftB -= usedB;
        }
    }
    *lenA = leftA;
    *lenB = leftB;
    return result;
}

u32 SortStrCmpExUtf8(const u8* a, const u8* b, u32* lenA, u32* lenB, u16* tie)
{
    return CompareUtf8<LanguageOrder>(a, b, lenA, lenB, false, false, tie);
}
}

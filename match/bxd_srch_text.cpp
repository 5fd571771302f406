// SPDX-License-Identifier: MIT
#include "match/bxd_srch_text.h"

#include <bxd/status.h>

#include <cstring>

#include "match/bxd_sort_code.h"
#include "match/bxd_srch_walk.h"
#include "match/bxd_text_char.h"
#include "storage/bxd_log.h"

namespace {

constexpr u16 kCodeCr = 0x100D;
constexpr u16 kCodeLf = 0x100A;
constexpr u8 kLf = 0x0A;
constexpr u32 kCodeSize = 2;

constexpr u32 kPlainBytes = 0x80;  // bytes that are a character each in both encodings

// The search codes of these bytes, by which a scan passes over most of a western text. They are made anew
// when another language's converters have been set.
class PlainUtf8 {
public:
    static const u16* codes()
    {
        if (sortCode_ != SortConvCharUtf8Lang || searchCode_ != SearchCodeConverterUtf8) { make(); }
        return codes_;
    }

private:
    static void make()
    {
        sortCode_ = SortConvCharUtf8Lang;
        searchCode_ = SearchCodeConverterUtf8;
        for (u32 c = 0; c < kPlainBytes; ++c) {
            codes_[c] = bxd::SearchCodeUtf8(static_cast<u16>(sortCode_(c)));
        }
    }

    static u32 (*sortCode_)(u32 codePoint);
    static BxdSearchCodeConverter searchCode_;
    static u16 codes_[kPlainBytes];
};
u32 (*PlainUtf8::sortCode_)(u32 codePoint) = nullptr;
BxdSearchCodeConverter PlainUtf8::searchCode_ = nullptr;
u16 PlainUtf8::codes_[kPlainBytes] = {};

class PlainSjis {
public:
    static const u16* codes()
    {
        static const PlainSjis plain;
        return plain.codes_;
    }

private:
    PlainSjis()
    {
        for (u32 c = 0; c < kPlainBytes; ++c) {
            const u8 byte = static_cast<u8>(c);
            u16 used = 0;
            codes_[c] = bxd::SearchCodeSjis(static_cast<u16>(bxd::SortCodeAt(&byte, sizeof byte, &used)));
        }
    }

    u16 codes_[kPlainBytes];
};

// How the families read. `isEnd` is the test for the end of the condition once the card has ended, `plain`
// the table of search codes, or null where bytes do not stand for themselves.
struct Sjis {
    static const u16* plain() { return PlainSjis::codes(); }
    static u16 code(const u8* s, u32 left, u16* used)
    {
        return static_cast<u16>(bxd::SortCodeAt(s, left, used));
    }
    static u16 primary(u16 code) { return bxd::SearchCodeSjis(code); }
    // No sort code of this family has a low byte of 0.
    static bool isEnd(const u8* value) { return value[0] == 0; }
    static void skipInText(u16, const u8**, u16*) {}
    static void skipInValue(u16, const u8**) {}
};

struct SjisCrLf : Sjis {
    static const u16* plain() { return nullptr; }
    static void skipInText(u16 code, const u8** text, u16* remaining) { SkipLfStr(code, text, remaining); }
    static void skipInValue(u16 code, const u8** value) { SkipLfCode(code, value); }
};

struct Utf8 : Sjis {
    static const u16* plain() { return PlainUtf8::codes(); }
    static u16 code(const u8* s, u32 left, u16* used)
    {
        return static_cast<u16>(bxd::SortCodeAtUtf8(s, left, used));
    }
    static u16 primary(u16 code) { return bxd::SearchCodeUtf8(code); }
    static bool isEnd(const u8* value) { return GET_2BYTES(value) == 0; }
};

// The card's text, character by character.
template <typename Family>
struct Text {
    const u8* at;
    u16 left;

    u16 next()
    {
        u16 used = 0;
        u16 code = Family::code(at, left, &used);
        at += used;
        left = static_cast<u16>(left - used);
        Family::skipInText(code, &at, &left);
        return code;
    }
};

// The next code of the condition; 0 at its end.
template <typename Family>
u16 NextCode(const u8** value)
{
    u16 code = GET_2BYTES(*value);
    *value += kCodeSize;
    Family::skipInValue(code, value);
    return code;
}

// Shapes A and C.
template <typename Family, bool kTie>
u32 Compare(const u8* text, const u8* value, u16 len)
{
    Text<Family> card = {text, len};
    u32 equal = BXD_CMP_EQUAL;
    while (card.left != 0) {
        u16 code = card.next();
        u16 wanted = NextCode<Family>(&value);
        if (wanted == 0) { return BXD_CMP_ABOVE; }
        if (wanted == code) { continue; }
        u16 primary = Family::primary(code);
        u16 wantedPrimary = Family::primary(wanted);
        if (wantedPrimary != primary) {
            return wantedPrimary > primary ? BXD_CMP_FAR_BELOW : BXD_CMP_FAR_ABOVE;
        }
        if (kTie && equal == BXD_CMP_EQUAL) { equal = wanted > code ? BXD_CMP_BELOW : BXD_CMP_ABOVE; }
    }
    return Family::isEnd(value) ? equal : static_cast<u32>(BXD_CMP_BELOW);
}

enum class Found { kYes, kNo, kCardEnded };

// Whether the card goes on as the condition does.
template <typename Family>
Found Follow(Text<Family> card, const u8* value)
{
    while (card.left != 0) {
        u16 code = card.next();
        u16 wanted = NextCode<Family>(&value);
        if (wanted == 0) { return Found::kYes; }
        if (wanted != code && Family::primary(wanted) != Family::primary(code)) { return Found::kNo; }
    }
    return Family::isEnd(value) ? Found::kYes : Found::kCardEnded;
}

// Shape B. Where the card ends before the condition does, no later place in it can be better.
template <typename Family>
u32 Contains(const u8* text, const u8* value, u16 len)
{
    if (Family::isEnd(value)) { return 1; }
    Text<Family> card = {text, len};
    u16 first = Family::primary(NextCode<Family>(&value));
    const u16* plain = Family::plain();
    while (card.left != 0) {
        if (plain != nullptr && *card.at < kPlainBytes) {
            u16 code = plain[*card.at];
            ++card.at;
            --card.left;
            if (code != first) { continue; }
        } else if (Family::primary(card.next()) != first) {
            continue;
        }
        Found found = Follow(card, value);
        if (found != Found::kNo) { return found == Found::kYes ? 1 : 0; }
    }
    return 0;
}

typedef u32 (*Shape)(const u8* text, const u8* value, u16 len);

struct Shapes {
    Shape equal;
    Shape contains;
    Shape order;
};
constexpr Shapes kSjis = {SearchCmpStringSubA, SearchCmpStringSubB, SearchCmpStringSubC};
constexpr Shapes kUtf8 = {SearchCmpStringSubAUtf8, SearchCmpStringSubBUtf8, SearchCmpStringSubCUtf8};
constexpr Shapes kCrLf = {SearchCrLfCmpStringSubA, SearchCrLfCmpStringSubB, SearchCrLfCmpStringSubC};
constexpr Shapes kBinary = {SearchBinCmpStringSubA, SearchBinCmpStringSubB, SearchBinCmpStringSubA};

u8 OperatorOf(const u8* value) { return value[-4]; }
u8 TypeOf(const u8* value) { return value[-3]; }

// 1, 0, or kNoOperator.
constexpr u32 kNoOperator = 2;
u32 Answer(const Shapes& shapes, u8 op, const u8* text, const u8* value, u16 len)
{
    bool holds = false;
    switch (op) {
    case BXD_OP_EQUAL: holds = shapes.equal(text, value, len) == BXD_CMP_EQUAL; break;
    case BXD_OP_BEGINS: {
        u32 result = shapes.equal(text, value, len);
        holds = result == BXD_CMP_EQUAL || result == BXD_CMP_ABOVE;
        break;
    }
    case BXD_OP_CONTAINS: holds = shapes.contains(text, value, len) != 0; break;
    case BXD_OP_UP_TO: holds = shapes.order(text, value, len) <= BXD_CMP_ABOVE; break;
    case BXD_OP_AT_LEAST: holds = shapes.order(text, value, len) >= BXD_CMP_EQUAL; break;
    case BXD_OP_ABOVE: holds = shapes.order(text, value, len) > BXD_CMP_EQUAL; break;
    case BXD_OP_AT_MOST: holds = shapes.order(text, value, len) <= BXD_CMP_EQUAL; break;
    case BXD_OP_BELOW: holds = shapes.order(text, value, len) < BXD_CMP_EQUAL; break;
    default: return kNoOperator;
    }
    return holds ? 1 : 0;
}

}  // namespace

extern "C" {

u32 SearchCmpStringSubA(const u8* text, const u8* value, u16 len)
{
    return Compare<Sjis, false>(text, value, len);
}
u32 SearchCmpStringSubB(const u8* text, const u8* value, u16 len) { return Contains<Sjis>(text, value, len); }
u32 SearchCmpStringSubC(const u8* text, const u8* value, u16 len)
{
    return Compare<Sjis, true>(text, value, len);
}

u32 SearchCmpStringSubAUtf8(const u8* text, const u8* value, u16 len)
{
    return Compare<Utf8, false>(text, value, len);
}
u32 SearchCmpStringSubBUtf8(const u8* text, const u8* value, u16 len)
{
    return Contains<Utf8>(text, value, len);
}
u32 SearchCmpStringSubCUtf8(const u8* text, const u8* value, u16 len)
{
    return Compare<Utf8, false>(text, value, len);
}

u32 SearchCrLfCmpStringSubA(const u8* text, const u8* value, u16 len)
{
    return Compare<SjisCrLf, false>(text, value, len);
}
u32 SearchCrLfCmpStringSubB(const u8* text, const u8* value, u16 len)
{
    return Contains<SjisCrLf>(text, value, len);
}
u32 SearchCrLfCmpStringSubC(const u8* text, const u8* value, u16 len)
{
    return Compare<SjisCrLf, true>(text, value, len);
}

u32 SearchBinCmpStringSubA(const u8* text, const u8* value, u16 len)
{
    for (u32 i = 0; i < len; ++i) {
        if (value[i] == 0) { return BXD_CMP_ABOVE; }
        if (value[i] != text[i]) { return value[i] > text[i] ? BXD_CMP_FAR_BELOW : BXD_CMP_FAR_ABOVE; }
    }
    return value[len] == 0 ? BXD_CMP_EQUAL : BXD_CMP_BELOW;
}

u32 SearchBinCmpStringSubB(const u8* text, const u8* value, u16 len)
{
    if (value[0] == 0 || len == 0) { return 1; }
    size_t wanted = std::strlen(reinterpret_cast<const char*>(value));
    const u8* end = text + len;
    while (static_cast<size_t>(end - text) >= wanted) {
        size_t places = static_cast<size_t>(end - text) - wanted + 1;
        text = static_cast<const u8*>(std::memchr(text, value[0], places));
        if (text == nullptr) { return 0; }
        if (std::memcmp(text, value, wanted) == 0) { return 1; }
        ++text;
    }
    return 0;
}

u32 SearchCmpString(const u8* text, const u8* value, u16 len)
{
    u8 op = OperatorOf(value);
    u32 answer = Answer(TypeOf(value) == kItemTextUtf8 ? kUtf8 : kSjis, op, text, value, len);
    if (answer != kNoOperator) { return answer; }
    BxdDebug("SearchCmpString: unknown search code %x\n", op);
    return 0;
}

u32 SearchCrLfCmpString(const u8* text, const u8* value, u16 len)
{
    u32 answer = Answer(kCrLf, OperatorOf(value), text, value, len);
    return answer != kNoOperator ? answer : 0;
}

u32 SearchBinCmpString(const u8* text, const u8* value, u16 len)
{
    // In bytes "up to and beginning with" does not take what begins with the text: it is "at most".
    u8 op = OperatorOf(value);
    if (op == BXD_OP_UP_TO) { op = BXD_OP_AT_MOST; }
    u32 answer = Answer(kBinary, op, text, value, len);
    return answer != kNoOperator ? answer : 0;
}

void SkipLfStr(u16 code, const u8** text, u16* remaining)
{
    if (code != kCodeCr || *remaining == 0 || **text != kLf) { return; }
    ++*text;
    --*remaining;
}

void SkipLfCode(u16 code, const u8** value)
{
    if (code == kCodeCr && GET_2BYTES(*value) == kCodeLf) { *value += kCodeSize; }
}
}

// SPDX-License-Identifier: MIT
// What the tests of texts against conditions share: the families with their shapes, and a plain model of each
// shape over arrays of codes.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "match/bxd_srch_text.h"
#include "tests/support/search_builder.h"

namespace searchtest {

using ShapeCall = u32 (*)(const u8* text, const u8* value, u16 len);

struct TextFamily {
    const char* name;
    ShapeCall a;
    ShapeCall b;
    ShapeCall c;
    ShapeCall dispatch;
    u8 kind;
    u8 type;
    bool crLf;
    bool tie;
    bool utf8() const { return type == kUtf8Value; }
};

inline const TextFamily kSjisFamily = {"Shift-JIS",
                                       SearchCmpStringSubA,
                                       SearchCmpStringSubB,
                                       SearchCmpStringSubC,
                                       SearchCmpString,
                                       kLanguage,
                                       1,
                                       false,
                                       true};
inline const TextFamily kSjis2Family = {"Shift-JIS 16",
                                        SearchCmpStringSubA,
                                        SearchCmpStringSubB,
                                        SearchCmpStringSubC,
                                        SearchCmpString,
                                        kLanguage,
                                        16,
                                        false,
                                        true};
inline const TextFamily kUtf8Family = {"UTF-8",
                                       SearchCmpStringSubAUtf8,
                                       SearchCmpStringSubBUtf8,
                                       SearchCmpStringSubCUtf8,
                                       SearchCmpString,
                                       kLanguage,
                                       17,
                                       false,
                                       false};
inline const TextFamily kCrLfFamily = {"CR LF",
                                       SearchCrLfCmpStringSubA,
                                       SearchCrLfCmpStringSubB,
                                       SearchCrLfCmpStringSubC,
                                       SearchCrLfCmpString,
                                       kLanguage,
                                       16,
                                       true,
                                       true};
inline const TextFamily kBinaryFamily = {"binary",
                                         SearchBinCmpStringSubA,
                                         SearchBinCmpStringSubB,
                                         SearchBinCmpStringSubA,
                                         SearchBinCmpString,
                                         kBinary,
                                         1,
                                         false,
                                         false};
inline const std::vector<TextFamily> kLanguageFamilies = {kSjisFamily, kSjis2Family, kUtf8Family,
                                                          kCrLfFamily};

// Both sides in blocks of their very size, so that a sanitizer sees every byte too many.
inline u32 CallShape(ShapeCall shape, const TextFamily& family, const Bytes& card, const Bytes& data,
                     u8 op = kEquals)
{
    Bytes test = TextTest(family.kind, op, family.type, data);
    test.shrink_to_fit();
    Bytes text = card;
    text.shrink_to_fit();
    const u8* at = text.empty() ? nullptr : text.data();
    return shape(at, test.data() + kTextTestHead, static_cast<u16>(text.size()));
}
inline u32 CallText(ShapeCall shape, const TextFamily& family, const Bytes& card, const Bytes& cond,
                    u8 op = kEquals)
{
    return CallShape(shape, family, card, TextData(family.kind, family.type, cond), op);
}
inline bool Ask(const TextFamily& family, u8 op, const Bytes& card, const Bytes& cond)
{
    const u32 answer = CallText(family.dispatch, family, card, cond, op);
    EXPECT_LE(answer, 1u);
    return answer == 1;
}

// --- the model -------------------------------------------------------------------------------------------

inline u32 PrimaryOf(const TextFamily& family, u16 code)
{
    if (family.kind == kBinary) { return code; }
    return family.utf8() ? SearchCodeConverterUtf8(code) : code & mask_code_table[code >> 12];
}

// A text as the family sees it.
inline Codes Seen(const TextFamily& family, const Bytes& text)
{
    if (family.kind == kBinary) { return Codes(text.begin(), text.end()); }
    Codes out;
    bool behindCr = false;
    for (u16 code : CodesOf(text, family.utf8())) {
        if (family.crLf && behindCr && code == 0x100A) {
            behindCr = false;
            continue;
        }
        behindCr = code == 0x100D;
        out.push_back(code);
    }
    return out;
}

inline u32 ModelCompare(const TextFamily& family, const Codes& card, const Codes& cond, bool tie)
{
    u32 equal = 128;
    for (size_t i = 0; i < card.size(); ++i) {
        if (i == cond.size()) { return 129; }
        const u32 a = PrimaryOf(family, card[i]);
        const u32 b = PrimaryOf(family, cond[i]);
        if (a != b) { return a < b ? 126 : 130; }
        if (tie && equal == 128 && card[i] != cond[i]) { equal = card[i] < cond[i] ? 127 : 129; }
    }
    return cond.size() > card.size() ? 127 : equal;
}

inline u32 ModelContains(const TextFamily& family, const Codes& card, const Codes& cond)
{
    if (family.kind == kBinary && card.empty()) { return 1; }
    const auto same = [&family](u16 a, u16 b) { return PrimaryOf(family, a) == PrimaryOf(family, b); };
    const auto found = std::search(card.begin(), card.end(), cond.begin(), cond.end(), same);
    return cond.empty() || found != card.end() ? 1 : 0;
}

// What an operator says; `order` and `prefix` are the results of shapes C and A.
inline bool ModelAnswer(const TextFamily& family, u8 op, u32 prefix, u32 contains, u32 order)
{
    switch (op) {
    case kEquals: return prefix == 128;
    case kBegins: return prefix == 128 || prefix == 129;
    case kContains: return contains == 1;
    case kUpTo: return order <= (family.kind == kBinary ? 128u : 129u);
    case kAtLeast: return order >= 128;
    case kAbove: return order > 128;
    case kAtMost: return order <= 128;
    case kBelow: return order < 128;
    default: return false;
    }
}

// Everything that can be asked of two texts.
inline void ExpectAsModel(const TextFamily& family, const Bytes& card, const Bytes& cond)
{
    const Codes seenCard = Seen(family, card);
    const Codes seenCond = Seen(family, cond);
    const u32 prefix = ModelCompare(family, seenCard, seenCond, false);
    const u32 order = ModelCompare(family, seenCard, seenCond, family.tie);
    const u32 contains = ModelContains(family, seenCard, seenCond);
    const auto told = [&] {
        return std::string(family.name) + ": " + ::testing::PrintToString(card) + " against " +
               ::testing::PrintToString(cond);
    };
    EXPECT_EQ(CallText(family.a, family, card, cond), prefix) << told();
    EXPECT_EQ(CallText(family.b, family, card, cond), contains) << told();
    EXPECT_EQ(CallText(family.c, family, card, cond), order) << told();
    for (u8 op : {kEquals, kBegins, kContains, kUpTo, kAtLeast, kAbove, kAtMost, kBelow}) {
        EXPECT_EQ(Ask(family, op, card, cond), ModelAnswer(family, op, prefix, contains, order))
            << told() << " operator " << unsigned{op};
    }
}

using Alphabet = std::vector<Bytes>;

inline Bytes RandomText(std::mt19937& random, const Alphabet& alphabet, u32 most)
{
    Bytes out;
    for (auto left = random() % (most + 1); left != 0; --left) {
        out = out + alphabet[random() % alphabet.size()];
    }
    return out;
}

// Random pairs of texts; in every second one the condition is a part of the card.
inline void ExpectAsModel(const TextFamily& family, const Alphabet& cards, const Alphabet& conditions,
                          u32 pairs, u32 seed)
{
    std::mt19937 random(seed);
    for (u32 n = 0; n < pairs && !::testing::Test::HasFailure(); ++n) {
        const Bytes cond = RandomText(random, conditions, n % 8 == 0 ? 1 : 4);
        Bytes card = RandomText(random, cards, 6);
        if (n % 2 == 0) { card = card + cond + RandomText(random, cards, 2); }
        ExpectAsModel(family, card, cond);
    }
}

}  // namespace searchtest

// SPDX-License-Identifier: MIT
// Random texts in every order against a second opinion that sees each text whole. Since that opinion is an
// order, and every pair is asked in both directions, the comparators are antisymmetric and transitive.
#include <algorithm>
#include <random>

#include "tests/match/sort_case.h"
#include "tests/match/texts.h"

namespace {

using namespace sorttest;

// A character, the letter that it is a form of, and its place among the forms.
struct Letter {
    Bytes bytes;
    u32 primary;
    u32 form;
};
using Letters = std::vector<Letter>;

const Letters kSjisLetters = {
    {B("0"), 0, 0},        {{0x82, 0x4F}, 0, 1},  // digits
    {B("1"), 1, 0},        {{0x82, 0x50}, 1, 1},  {B("a"), 2, 0},    {{0x82, 0x81}, 2, 1},  {B("A"), 2, 2},
    {{0x82, 0x60}, 2, 3},  {B("b"), 3, 0},        {B("B"), 3, 2},    {sjis::kHalfKa, 4, 0}, {sjis::kKa, 4, 1},
    {sjis::kKataKa, 4, 2}, {sjis::kHalfGa, 4, 3}, {sjis::kGa, 4, 4}, {sjis::kKataGa, 4, 5}, {sjis::kKi, 5, 0},
    {sjis::kKanji1, 6, 0}, {sjis::kKanji2, 7, 0}};

const Letters kUtf8Letters = {
    {B("0"), 0, 0},        {B("\xEF\xBC\x90"), 0, 1}, {B("A"), 2, 0},        {B("a"), 2, 1},
    {B("\xC3\xA1"), 2, 2}, {B("\xEF\xBC\xA1"), 2, 3}, {B("B"), 3, 0},        {B("b"), 3, 1},
    {utf8::kHalfKa, 4, 0}, {utf8::kKa, 4, 1},         {utf8::kKataKa, 4, 2}, {utf8::kGa, 4, 3},
    {utf8::kKataGa, 4, 4}, {utf8::kKi, 5, 0},         {utf8::kKanji1, 6, 0}, {utf8::kKanji2, 7, 0}};

using Word = std::vector<const Letter*>;

Bytes Spell(const Word& word)
{
    Bytes out;
    for (const Letter* letter : word) { out = out + letter->bytes; }
    return out;
}

u32 Sign(bool below, bool above) { return below ? 127u : above ? 129u : 128u; }

// Primaries first, a beginning below what it begins, then the forms.
u32 ByLanguage(const Word& a, const Word& b)
{
    for (auto part : {&Letter::primary, &Letter::form}) {
        const auto less = [part](const Letter* x, const Letter* y) { return x->*part < y->*part; };
        const bool below = std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), less);
        const bool above = std::lexicographical_compare(b.begin(), b.end(), a.begin(), a.end(), less);
        if (below || above) { return Sign(below, above); }
    }
    return 128;
}

bool Pairs(const Bytes& text)
{
    const u32 a = text[0];
    const u32 b = text.size() > 1 ? text[1] : 0;
    if (a < 0x80 || a == 0xFF) { return false; }
    if (a >= 0xA0 && a <= 0xDF) {
        if (a >= 0xCA && a <= 0xCE) { return b == 0xDE || b == 0xDF; }
        return (a == 0xB3 || (a >= 0xB6 && a <= 0xC4)) && b == 0xDE;
    }
    return a >= 0xFB ? b >= 0x20 : b >= 0x40 && b <= 0xFC && b != 0x7F;
}

// The first character with or without its second byte, then the bytes.
u32 ByBytes(const Bytes& a, const Bytes& b)
{
    const auto rank = [](const Bytes& text) {
        if (text.empty()) { return Bytes{}; }
        return Bytes{text[0], Pairs(text) ? text[1] : u8{0}} + text;
    };
    return Sign(rank(a) < rank(b), rank(b) < rank(a));
}

std::vector<u32> CodePoints(const Bytes& text)
{
    std::vector<u32> out;
    for (size_t at = 0; at < text.size();) {
        const u32 lead = text[at];
        const size_t size = lead >> 5 == 6 ? 2 : lead >> 4 == 14 ? 3 : 1;
        u32 point = size == 1 ? lead : lead & (size == 2 ? 0x1Fu : 0x0Fu);
        bool good = size > 1 || lead < 0x80;
        for (size_t n = 1; n < size; ++n) {
            const u32 next = at + n < text.size() ? text[at + n] : 0;
            good = good && next >> 6 == 2;
            point = point << 6 | (next & 0x3F);
        }
        out.push_back(good ? point : 0xFFFD);
        at += size;
    }
    return out;
}

u32 ByCodePoints(const Bytes& a, const Bytes& b)
{
    const std::vector<u32> x = CodePoints(a);
    const std::vector<u32> y = CodePoints(b);
    return Sign(x < y, y < x);
}

class SortRandom : public SortCase {
protected:
    template <typename T>
    const T& pick(const std::vector<T>& from)
    {
        return from[random_() % from.size()];
    }
    size_t below(size_t end) { return random_() % end; }

    // Words that share long beginnings, spelt in other forms, about as long as is asked.
    std::vector<Word> words(const Letters& letters, size_t count, size_t length)
    {
        std::vector<std::vector<const Letter*>> forms(8);
        for (const Letter& letter : letters) { forms[letter.primary].push_back(&letter); }
        Word base;
        while (base.size() < length) { base.push_back(&pick(letters)); }
        std::vector<Word> out;
        while (out.size() < count) {
            Word word = base;
            for (const Letter*& letter : word) {
                if (below(4) == 0) { letter = pick(forms[letter->primary]); }
            }
            word.resize(word.size() - std::min(word.size(), below(4)));
            if (!word.empty() && below(2) == 0) { word[below(word.size())] = &pick(letters); }
            if (below(3) == 0) { word.push_back(&pick(letters)); }
            if (below(3) == 0 && out.size() > 2) { word = pick(out); }
            out.push_back(word);
        }
        return out;
    }

    template <typename T, typename Reference, typename ToBytes>
    void expectAll(u32 type, const std::vector<T>& values, const std::vector<u8>& up,
                   const std::vector<u8>& down, Reference reference, ToBytes toBytes)
    {
        std::vector<Bytes> stored;
        for (const T& value : values) { stored.push_back(toBytes(value)); }
        storeValues(type, stored);
        for (size_t card = 0; card < values.size(); ++card) {
            for (size_t pivot = 0; pivot < values.size(); ++pivot) {
                const u32 want = reference(values[card], values[pivot]);
                for (u8 code : up) {
                    ASSERT_EQ(compareStored(type, code, card, pivot), want)
                        << ::testing::PrintToString(stored[card]) << ::testing::PrintToString(stored[pivot]);
                }
                for (u8 code : down) { ASSERT_EQ(compareStored(type, code, card, pivot), 256 - want); }
            }
        }
    }

    std::mt19937 random_{20040309};
};

TEST_F(SortRandom, ShiftJisByLanguage)
{
    // Within the limit, and with as many bytes before the limit as are read in one piece.
    for (size_t length : {1u, 2u, 5u, 12u, 25u}) {
        for (u32 type : {1u, 16u}) {
            expectAll(type, words(kSjisLetters, 24, length), {0x80}, {0x81}, ByLanguage, Spell);
        }
    }
}

TEST_F(SortRandom, LongShiftJisByLanguage)
{
    // Pairs of two bytes alone, so that the limit cuts all texts or none.
    Letters pairs;
    for (const Letter& letter : kSjisLetters) {
        if (letter.bytes.size() == 2 && letter.bytes[0] < 0xA0) { pairs.push_back(letter); }
    }
    for (size_t length : {31u, 32u, 33u, 34u, 60u, 290u, 400u}) {
        for (bool odd : {false, true}) {
            std::vector<Word> texts = words(pairs, 20, length);
            for (Word& text : texts) {
                if (odd) { text.insert(text.begin(), kSjisLetters.data()); }
            }
            expectAll(1, texts, {0x80}, {0x81}, ByLanguage, Spell);
        }
    }
}

TEST_F(SortRandom, Utf8ByLanguage)
{
    for (size_t length : {1u, 2u, 5u, 12u, 22u, 24u, 26u, 28u, 30u, 34u, 40u, 60u, 200u, 300u}) {
        expectAll(17, words(kUtf8Letters, 24, length), {0x80}, {0x81}, ByLanguage, Spell);
    }
}

TEST_F(SortRandom, Utf8ByCodePoints)
{
    for (size_t length : {1u, 2u, 5u, 22u, 24u, 26u, 28u, 30u, 34u, 40u, 60u, 300u}) {
        std::vector<Bytes> texts;
        for (const Word& word : words(kUtf8Letters, 24, length)) { texts.push_back(Spell(word)); }
        expectAll(17, texts, {0x82, 0x8C}, {0x83, 0x8D}, ByCodePoints,
                  [](const Bytes& text) { return text; });
    }
}

// Bytes of every kind that share their beginnings.
std::vector<Bytes> AnyBytes(std::mt19937& random, const Bytes& from, size_t count, size_t length)
{
    Bytes base;
    while (base.size() < length) { base.push_back(from[random() % from.size()]); }
    std::vector<Bytes> out;
    while (out.size() < count) {
        Bytes text = base;
        text.resize(length - std::min<size_t>(length, random() % 4));
        if (random() % 2 == 0 && !text.empty()) {
            text[random() % text.size()] = from[random() % from.size()];
        }
        if (random() % 3 == 0) { text.push_back(from[random() % from.size()]); }
        out.push_back(text);
    }
    return out;
}

TEST_F(SortRandom, MalformedUtf8ByCodePoints)
{
    const Bytes from = {'a', 0x00, 0x7F, 0x80, 0x81, 0xBF, 0xC3, 0xDF, 0xE3, 0xE3, 0xEF, 0xF0, 0xFF};
    for (size_t length = 1; length < 90; length += 3) {
        expectAll(17, AnyBytes(random_, from, 20, length), {0x82}, {0x83}, ByCodePoints,
                  [](const Bytes& text) { return text; });
    }
    for (size_t length : {510u, 576u, 577u, 900u}) {
        expectAll(17, AnyBytes(random_, from, 20, length), {0x8C}, {0x8D}, ByCodePoints,
                  [](const Bytes& text) { return text; });
    }
}

TEST_F(SortRandom, AnyBytesByBytes)
{
    const Bytes from = {'a', 0x00, 0x7F, 0x80, 0x81, 0xB6, 0xCA, 0xDE, 0xDF, 0xDE, 0xE3, 0xFB, 0xFD, 0xFF};
    for (size_t length : {1u, 2u, 3u, 10u, 62u, 63u, 64u, 65u, 66u, 90u, 600u}) {
        for (u32 type : {1u, 16u}) {
            expectAll(type, AnyBytes(random_, from, 24, length), {0x82, 0x8C}, {0x83, 0x8D}, ByBytes,
                      [](const Bytes& text) { return text; });
        }
    }
}

// Whatever the bytes, neither direction sees the other way round.
TEST_F(SortRandom, MalformedTextsByLanguageAreAntisymmetric)
{
    const Bytes from = {'a',  'A',  0x00, 0x20, 0x80, 0x81, 0x82, 0x83,
                        0x8B, 0xA9, 0xB6, 0xDE, 0xE3, 0xEC, 0xFC, 0xFF};
    for (size_t length : {1u, 2u, 3u, 10u, 62u, 63u, 64u, 65u, 66u, 90u, 600u}) {
        for (u32 type : {1u, 17u}) {
            storeValues(type, AnyBytes(random_, from, 24, length));
            for (size_t a = 0; a < 24; ++a) {
                for (size_t b = 0; b < 24; ++b) {
                    const u32 result = compareStored(type, 0x80, a, b);
                    ASSERT_TRUE(result >= 127 && result <= 129) << result;
                    ASSERT_EQ(compareStored(type, 0x80, b, a), 256 - result);
                    ASSERT_EQ(compareStored(type, 0x81, a, b), 256 - result);
                }
            }
        }
    }
}

}  // namespace

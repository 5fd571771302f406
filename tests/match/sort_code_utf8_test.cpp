// SPDX-License-Identifier: MIT
// UTF-8 text: from bytes to code points, from those to sort codes, from those to search codes.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "match/bxd_sort_code.h"
#include "tests/match/letters.h"

namespace {

using namespace matchtest;

constexpr u32 kNone = 0xFFFFFFFF;

// The order, made from the lists of letters: what each code point should get, and each sort code.
class Order {
public:
    Order()
    {
        signs();
        EXPECT_EQ(next_, 0x0153u);
        next_ = 0x1153;
        for (std::u16string_view letter : Letters()) {
            EXPECT_TRUE(letter != kLatin[0] || next_ == 0x116A);
            EXPECT_TRUE(letter != kKana[0] || next_ == 0x1219);
            group(letter);
        }
        singles(0x30F7, 0x30FA);
        EXPECT_EQ(next_, 0x1300u);
        for (u32 c = 0x0100; c < 0x10000; ++c) {
            if (c < 0x2000) { enter(c, c + 0x1200, c + 0x1200); }
            if (c >= 0x2000 && c < 0x3000) { enter(c, c - 0x1EAD, c - 0x1EAD); }
            if (c >= 0x3100 && c < 0xFF00) { enter(c, c + 0x0100, c + 0x0100); }
        }
        exceptions();
    }

    u32 sortCode(u32 codePoint) const { return sort_[codePoint]; }
    u32 searchCode(u32 sortCode) const { return search_[sortCode]; }

private:
    void enter(u32 codePoint, u32 code, u32 letter)
    {
        EXPECT_EQ(sort_[codePoint], kNone) << codePoint << " is there twice";
        sort_[codePoint] = code;
        search_[code] = letter;
    }
    // The characters of one letter, numbered on.
    void group(std::u16string_view letter)
    {
        const u32 first = next_;
        for (const char16_t c : letter) {
            // These share the code of the one before, and þ leaves its own free.
            const bool shared = c == u'±' || c == u'þ';
            enter(c, shared ? next_ - 1 : next_, first);
            if (c == u'þ') { search_[next_] = first; }
            if (c != u'±') { ++next_; }
        }
    }
    void singles(u32 first, u32 last)
    {
        for (u32 c = first; c <= last; ++c) { group(std::u16string(1, static_cast<char16_t>(c))); }
    }
    void signs()
    {
        group(u" \u3000");
        for (u32 c = 0x21; c < 0x7F; ++c) {
            const bool alphanumeric =
                (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
            const char16_t both[] = {static_cast<char16_t>(c), static_cast<char16_t>(c + 0xFEE0)};
            if (!alphanumeric) { group({both, 2}); }
        }
        for (std::u16string_view wide : {u"｟｠", u"､、", u"｡。", u"･・", u"ｰー", u"｢「", u"｣」"}) {
            group(wide);
        }
        group(u"ﾞ\u3099゛");
        group(u"ﾟ\u309A");
        for (const char16_t c : {u'゜', u'ゝ', u'ヽ', u'ゞ', u'ヾ', u'ゟ', u'ヿ', u'゠'}) { singles(c, c); }
        singles(0x3003, 0x300B);
        singles(0x300E, 0x303F);
        singles(0xFFE0, 0xFFFF);
        singles(0xFFA0, 0xFFDF);
        singles(0x0000, 0x001F);
        for (u32 c = 0x7F; c < 0x100; ++c) {
            const char16_t single = static_cast<char16_t>(c);
            if (c == 0xAF) {
                group(u"¯±");
            } else if (c != 0xB1 && !isLetter(single)) {
                singles(c, c);
            }
        }
        for (const u32 c : {0x3040u, 0x3097u, 0x3098u, 0xFF00u}) { singles(c, c); }
    }
    static bool isLetter(char16_t c)
    {
        for (std::u16string_view letter : Letters()) {
            if (letter.find(c) != letter.npos) { return true; }
        }
        return false;
    }
    // Letters whose search code is not their first sort code.
    void exceptions()
    {
        for (u32 code = 0x0056; code <= 0x005D; ++code) { search_[code] = code - 1; }
        for (const u32 letter : {0x128Eu, 0x12C0u}) {
            for (u32 code = letter; code < letter + 3; ++code) { search_[code] = letter + 1; }
        }
    }

    u32 next_ = 1;
    std::vector<u32> sort_ = std::vector<u32>(0x10000, kNone);
    std::vector<u32> search_ = std::vector<u32>(0x10000, kNone);
};

Read ReadBy(u32 (*convert)(const u8*, u16*), const Bytes& bytes)
{
    // A block of its own, so that a read behind the bytes is found.
    const std::vector<u8> exact(bytes.begin(), bytes.end());
    u16 used = 0;
    const u32 code = convert(exact.data(), &used);
    return {code, used};
}

Read Bin(const Bytes& bytes) { return ReadBy(SortConvCharUtf8Bin, bytes); }
Read Code(const Bytes& bytes) { return ReadBy(SortConvCharUtf8, bytes); }

u32 SearchCodeOf(u32 codePoint)
{
    return SearchCodeConverterUtf8(static_cast<u16>(SortConvCharUtf8Ja(codePoint)));
}

}  // namespace

TEST(Utf8Order, EveryCodePointHasItsSortCode)
{
    const Order order;
    for (u32 c = 0; c < 0x10000; ++c) {
        ASSERT_EQ(SortConvCharUtf8Ja(c), order.sortCode(c)) << std::hex << c;
    }
}

TEST(Utf8Order, EverySortCodeHasItsSearchCode)
{
    const Order order;
    for (u32 code = 0; code < 0x10000; ++code) {
        const u32 expected = code == 0 ? 0 : order.searchCode(code);
        ASSERT_EQ(SearchCodeFromSortCodeUtf8Ja(static_cast<u16>(code)), expected) << std::hex << code;
    }
}

TEST(Utf8Order, CodesAreTheCharactersButForTwoSharedAndOneFree)
{
    std::map<u32, std::set<u32>> characters;
    for (u32 c = 0; c < 0x10000; ++c) { characters[SortConvCharUtf8Ja(c)].insert(c); }
    for (const auto& [code, those] : characters) {
        if (code == 0x0141) {
            EXPECT_EQ(those, (std::set<u32>{0xAF, 0xB1}));
        } else if (code == 0x11F1) {
            EXPECT_EQ(those, (std::set<u32>{0x99, 0xFE}));
        } else {
            EXPECT_EQ(those.size(), 1u) << std::hex << code;
        }
    }
    EXPECT_EQ(characters.size(), 0x10000u - 2);
    EXPECT_EQ(characters.count(0), 0u);
    EXPECT_EQ(characters.count(0x11F2), 0u);
    EXPECT_EQ(SearchCodeFromSortCodeUtf8Ja(0x11F2), 0x11EEu);
}

TEST(Utf8Order, RangesBeginAndEndWhereTheyShould)
{
    EXPECT_EQ(SortConvCharUtf8Ja(0x0100), 0x1300u);
    EXPECT_EQ(SortConvCharUtf8Ja(0x1FFF), 0x31FFu);
    EXPECT_EQ(SortConvCharUtf8Ja(0x2000), 0x0153u);
    EXPECT_EQ(SortConvCharUtf8Ja(0x2FFF), 0x1152u);
    EXPECT_EQ(SortConvCharUtf8Ja(0x3100), 0x3200u);
    EXPECT_EQ(SortConvCharUtf8Ja(0xFEFF), 0xFFFFu);
    EXPECT_EQ(SortConvCharUtf8Ja(0x00AF), 0x0141u);
    EXPECT_EQ(SortConvCharUtf8Ja(0x00B1), 0x0141u);
    EXPECT_EQ(SortConvCharUtf8Ja(0x0099), 0x11F1u);
    EXPECT_EQ(SortConvCharUtf8Ja(0x00FE), 0x11F1u);
    EXPECT_EQ(SortConvCharUtf8Ja(0x10041), SortConvCharUtf8Ja(0x41)) << "sixteen bits count";
}

TEST(Utf8Order, FormsOfALetterAreOneLetterAndLettersFollowEachOther)
{
    u32 former = 0;
    for (std::u16string_view letter : Letters()) {
        const u32 search = SearchCodeOf(letter[0]);
        EXPECT_GT(search, former);
        former = search;
        u32 code = 0;
        for (const char16_t c : letter) {
            EXPECT_EQ(SearchCodeOf(c), search) << std::hex << static_cast<u32>(c);
            EXPECT_GE(SortConvCharUtf8Ja(c), code) << std::hex << static_cast<u32>(c);
            code = SortConvCharUtf8Ja(c);
        }
    }
    EXPECT_LT(SortConvCharUtf8Ja('A'), SortConvCharUtf8Ja('a')) << "capitals go first";
}

TEST(Utf8Order, TheSearchCodesOfSomeLettersAreNotTheirFirst)
{
    EXPECT_EQ(SearchCodeFromSortCodeUtf8Ja(0x0055), 0x0054u);
    EXPECT_EQ(SearchCodeFromSortCodeUtf8Ja(0x0056), 0x0055u);
    EXPECT_EQ(SearchCodeFromSortCodeUtf8Ja(0x005D), 0x005Cu);
    EXPECT_EQ(SearchCodeFromSortCodeUtf8Ja(0x005E), 0x005Eu);
    for (const u32 c : {0xFF88u, 0x306Du, 0x30CDu}) { EXPECT_EQ(SearchCodeOf(c), 0x128Fu); }
    for (const u32 c : {0xFF92u, 0x3081u, 0x30E1u}) { EXPECT_EQ(SearchCodeOf(c), 0x12C1u); }
}

TEST(Utf8Order, AllCodesHaveTheirSum)
{
    std::vector<u8> bytes;
    for (u32 c = 0; c < 0x10000; ++c) {
        const u32 code = SortConvCharUtf8Ja(c);
        const u32 search = SearchCodeFromSortCodeUtf8Ja(static_cast<u16>(c));
        for (const u32 value : {code, search}) {
            bytes.push_back(static_cast<u8>(value));
            bytes.push_back(static_cast<u8>(value >> 8));
        }
    }
    EXPECT_EQ(Checksum(bytes), 0xEF1CE749u);
}

TEST(Utf8Characters, EveryCodePointIsReadFromItsBytes)
{
    for (u32 c = 0; c < 0x10000; ++c) {
        const Bytes bytes = Utf8(c);
        const u32 length = static_cast<u32>(bytes.size());
        ASSERT_EQ(Bin(bytes), (Read{c, length}));
        ASSERT_EQ(Code(bytes), (Read{SortConvCharUtf8Ja(c), length}));
        ASSERT_EQ(GetBytesUtf8(static_cast<i8>(bytes[0])), length);
    }
}

TEST(Utf8Characters, AByteThatBeginsNoneIsOneOfItsOwn)
{
    for (u32 b = 0x80; b < 0x100; ++b) {
        if (b >= 0xC0 && b < 0xF0) { continue; }
        EXPECT_EQ(GetBytesUtf8(static_cast<i8>(b)), 1u);
        EXPECT_EQ(Bin({static_cast<u8>(b)}), (Read{0xFFFD, 1}));
        EXPECT_EQ(Code({static_cast<u8>(b)}), (Read{SortConvCharUtf8Ja(0xFFFD), 1}));
    }
}

TEST(Utf8Characters, FourBytesAreFourCharacters)
{
    const Bytes whole = {0xF0, 0x9F, 0x98, 0x80};
    for (u32 i = 0; i < 4; ++i) { EXPECT_EQ(Bin(whole.substr(i)), (Read{0xFFFD, 1})) << i; }
}

TEST(Utf8Characters, AWrongByteSpoilsTheCharacterAndNotItsLength)
{
    for (u32 b = 0; b < 0x100; ++b) {
        const u8 byte = static_cast<u8>(b);
        const bool follows = b >= 0x80 && b < 0xC0;
        const u32 low = b & 0x3F;
        EXPECT_EQ(Bin({0xC3, byte}), (Read{follows ? 0xC0 + low : 0xFFFD, 2}));
        EXPECT_EQ(Bin({0xE3, 0x81, byte}), (Read{follows ? 0x3040 + low : 0xFFFD, 3}));
        EXPECT_EQ(Bin({0xE3, byte, 0x81}), (Read{follows ? 0x3001 + low * 64 : 0xFFFD, 3}));
    }
}

TEST(Utf8Characters, NothingIsReadBehindAWrongByte)
{
    EXPECT_EQ(Bin({0xE3, 0x00}), (Read{0xFFFD, 3}));
    EXPECT_EQ(Bin({0xEF, 0xFF}), (Read{0xFFFD, 3}));
    EXPECT_EQ(Code({0xE3, 'A'}), (Read{SortConvCharUtf8Ja(0xFFFD), 3}));
}

TEST(Utf8Characters, LongerFormsThanNeededAreRead)
{
    EXPECT_EQ(Bin({0xC0, 0x80}), (Read{0, 2}));
    EXPECT_EQ(Bin({0xC1, 0x81}), (Read{0x41, 2}));
    EXPECT_EQ(Bin({0xE0, 0x81, 0x81}), (Read{0x41, 3}));
    EXPECT_EQ(Bin({0xED, 0xA0, 0x80}), (Read{0xD800, 3}));
}

TEST(Utf8Characters, AVoicingMarkIsOneOfItsOwn)
{
    const Bytes text = Utf8(0xFF76) + Utf8(0xFF9E);
    EXPECT_EQ(Code(text), (Read{0x1237, 3}));
    EXPECT_EQ(Code(text.substr(3)), (Read{0x0051, 3}));
    EXPECT_EQ(Code(Utf8(0x304C)).code, 0x123Au);
}

TEST(Utf8Order, IsThatOfTheFunctionsThatAreSet)
{
    const auto sort = SortConvCharUtf8Lang;
    const auto search = SearchCodeConverterUtf8;
    EXPECT_EQ(sort, &SortConvCharUtf8Ja) << "from the start";
    EXPECT_EQ(search, &SearchCodeFromSortCodeUtf8Ja);
    SortConvCharUtf8Lang = [](u32 c) { return c + 0x54321; };
    EXPECT_EQ(Code({'A'}), (Read{0x4362, 1})) << "sixteen bits of it";
    EXPECT_EQ(Bin({'A'}), (Read{0x41, 1}));
    SearchCodeConverterUtf8 = nullptr;
    BxdSetLanguage("en");
    EXPECT_EQ(SortConvCharUtf8Lang, sort) << "every language has the Japanese tables";
    EXPECT_EQ(SearchCodeConverterUtf8, search);
    BxdSetLanguage("");
}

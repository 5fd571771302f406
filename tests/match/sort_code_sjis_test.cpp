// SPDX-License-Identifier: MIT
// Shift-JIS text: every pair of bytes has its sort code, its length and its search code.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "match/bxd_sort_code.h"
#include "tests/match/letters.h"

namespace {

using namespace matchtest;

// The character at the start of the bytes; a byte 0 stands behind them.
Read Code(const Bytes& bytes)
{
    u16 used = 0;
    const u32 code = SortConvChar(bytes.c_str(), &used);
    return {code, used};
}

// Characters of one row whose codes are evenly spaced.
struct Run {
    u8 lead;
    u8 first;
    u8 last;
    u32 firstCode;
    u32 lastCode;
};
const Run kRuns[] = {
    {0x81, 0x40, 0x5F, 0x2042, 0x20BE}, {0x81, 0x60, 0x7E, 0x2142, 0x21BA},
    {0x81, 0x80, 0x9F, 0x2242, 0x22BE}, {0x81, 0xA0, 0xBF, 0x2342, 0x23BE},
    {0x81, 0xC0, 0xDF, 0x2442, 0x24BE}, {0x81, 0xE0, 0xFC, 0x2542, 0x25B2},
    {0x82, 0x40, 0x4E, 0x2642, 0x267A}, {0x82, 0x4F, 0x5F, 0x3042, 0x30C2},  // signs, digits
    {0x82, 0x60, 0x6E, 0x4045, 0x40B5}, {0x82, 0x6F, 0x79, 0x4145, 0x4195},  // A to O, P to Z
    {0x82, 0x7A, 0x7E, 0x4F8A, 0x4FAA}, {0x82, 0x80, 0x80, 0x4FBA, 0x4FBA},
    {0x82, 0x81, 0x8F, 0x4042, 0x40B2}, {0x82, 0x90, 0x9A, 0x4142, 0x4192},  // a to o, p to z
    {0x82, 0x9B, 0x9E, 0x5F83, 0x5FB3},                                      // no kana
    {0x83, 0x9F, 0xB6, 0x6043, 0x609F}, {0x83, 0xB7, 0xBE, 0x6243, 0x625F},  // Greek
    {0x83, 0xBF, 0xD6, 0x6043, 0x609F}, {0x83, 0xD7, 0xFC, 0x6447, 0x64DB},
    {0x84, 0x40, 0x60, 0x6643, 0x66C3}, {0x84, 0x61, 0x6F, 0x6843, 0x687B},  // Cyrillic
    {0x84, 0x70, 0x9E, 0x6842, 0x68FA}, {0x84, 0x9F, 0x9F, 0x68FE, 0x68FE},  // and frames
    {0x84, 0xA0, 0xCD, 0x6802, 0x68B6}, {0x84, 0xCE, 0xFC, 0x6B43, 0x6BFB},
    {0xEB, 0x40, 0x9E, 0xBB40, 0xBB9E}, {0xEB, 0x9F, 0xA0, 0x2641, 0x2645},
    {0xEB, 0xA1, 0xA3, 0xBBA1, 0xBBA3}, {0xEB, 0xA4, 0xAD, 0x3044, 0x308C},
    {0xEB, 0xAE, 0xBE, 0x3041, 0x30C1},  // digits
    {0xEB, 0xBF, 0xCE, 0x3044, 0x30BC}, {0xEB, 0xCF, 0xD8, 0x3144, 0x318C},
    {0xEB, 0xD9, 0xD9, 0x2359, 0x2359}, {0xEB, 0xDA, 0xDE, 0x2089, 0x2099},
    {0xEB, 0xDF, 0xEE, 0x3041, 0x30B9}, {0xEB, 0xEF, 0xF8, 0x3141, 0x3189},
    {0xEB, 0xF9, 0xF9, 0x235D, 0x235D}, {0xEB, 0xFA, 0xFC, 0x2095, 0x209D},
    {0xEC, 0x94, 0x9E, 0x303D, 0x308D}, {0xEC, 0xF5, 0xF5, 0x20AD, 0x20AD},
    {0xEC, 0xF6, 0xFC, 0xBCF6, 0xBCFC}, {0xFC, 0x20, 0x5B, 0xFC20, 0xFC5B},
    {0xFC, 0x5C, 0x5C, 0x20B9, 0x20B9}, {0xFC, 0x5D, 0x7F, 0xFC5D, 0xFC7F},
    {0xFC, 0x80, 0xBF, 0xD040, 0xD0BE}, {0xFC, 0xC0, 0xFF, 0xD140, 0xD1BE},  // reserved
    {0xFD, 0x20, 0x5B, 0xFD20, 0xFD5B}, {0xFD, 0x5C, 0x5C, 0x20B9, 0x20B9},
    {0xFD, 0x5D, 0x7F, 0xFD5D, 0xFD7F}, {0xFD, 0x80, 0x89, 0xD240, 0xD252},
    {0xFD, 0x8A, 0x9C, 0x6B41, 0x6B89}, {0xFD, 0x9D, 0x9D, 0x227D, 0x227D},
    {0xFD, 0x9E, 0x9E, 0x6B91, 0x6B91}, {0xFD, 0x9F, 0x9F, 0x54BA, 0x54BA},
    {0xFD, 0xA0, 0xDF, 0xFDA0, 0xFDDF}, {0xFD, 0xE0, 0xE9, 0x6B95, 0x6BB9},
    {0xFD, 0xEA, 0xEC, 0xD354, 0xD358}, {0xFD, 0xED, 0xED, 0x235D, 0x235D},
    {0xFD, 0xEE, 0xEE, 0x6BBD, 0x6BBD}, {0xFD, 0xEF, 0xEF, 0xD35E, 0xD35E},
    {0xFD, 0xF0, 0xF9, 0xD161, 0xD173}, {0xFD, 0xFA, 0xFD, 0xD374, 0xD37A},
    {0xFD, 0xFE, 0xFE, 0x2345, 0x2345}, {0xFD, 0xFF, 0xFF, 0xD37E, 0xD37E},
};

// What row 0xFC holds instead of reserved codes: second byte and code, in the order of codes.
const u16 kVariants[][2] = {
    {0xFA, 0x2055}, {0xF8, 0x206D}, {0xCC, 0x2071}, {0xCB, 0x2075}, {0xCA, 0x207D}, {0x9B, 0x2081},
    {0xCD, 0x2081}, {0x9C, 0x2085}, {0xCF, 0x2085}, {0xF1, 0x21B5}, {0xDA, 0x21B9}, {0xF6, 0x2241},
    {0xF3, 0x2255}, {0xF2, 0x2259}, {0xEC, 0x225D}, {0x9D, 0x227D}, {0xDB, 0x22A1}, {0xDF, 0x22B9},
    {0xFE, 0x2345}, {0xDD, 0x2361}, {0xDE, 0x2365}, {0xEE, 0x23A1}, {0xEF, 0x23BD}, {0xF0, 0x24BD},
    {0xAE, 0x2545}, {0xAF, 0x2549}, {0xFB, 0x254D}, {0xEA, 0x601D}, {0xE0, 0x6041}, {0xE1, 0x6045},
    {0xE2, 0x6048}, {0xEB, 0x604D}, {0xE9, 0x605C}, {0xE6, 0x606D}, {0xE3, 0x607D}, {0xE4, 0x6084},
    {0xE5, 0x6085}, {0xE7, 0x6089}, {0xE8, 0x6090}, {0xA8, 0x6241}, {0xAD, 0x6245}, {0xAB, 0x624D},
    {0xAC, 0x6251}, {0x84, 0x6441}, {0xA0, 0x6445}, {0x83, 0x644D}, {0x85, 0x644D}, {0xA9, 0x6451},
    {0x8E, 0x6455}, {0xB3, 0x6459}, {0xB0, 0x645D}, {0xB7, 0x6461}, {0xAA, 0x6465}, {0x87, 0x6469},
    {0x80, 0x646D}, {0x82, 0x6471}, {0x89, 0x6471}, {0x8A, 0x6479}, {0x88, 0x647D}, {0x90, 0x6485},
    {0xB1, 0x6489}, {0x8B, 0x6491}, {0xB8, 0x6491}, {0xA1, 0x6495}, {0x8D, 0x6499}, {0x8C, 0x649D},
    {0xB4, 0x64A5}, {0xA4, 0x64B1}, {0xA5, 0x64B5}, {0x94, 0x64B9}, {0xA2, 0x64BD}, {0x95, 0x64C1},
    {0x93, 0x64C5}, {0x99, 0x64C9}, {0xB6, 0x64CD}, {0xB2, 0x64D1}, {0xB9, 0x64D5}, {0x81, 0x6641},
    {0xA3, 0x6645}, {0x97, 0x6649}, {0x96, 0x664D}, {0x9A, 0x6655}, {0xB5, 0x6655}, {0xC3, 0x6BBD},
    {0xF7, 0xFCF7},
};

// The full-width signs, in row 0x81, of those of one byte.
const char kSigns[] = " !\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}~\x7F\xA0\xA1\xA2\xA3\xA4\xA5\xB0\xDE\xDF";
const u8 kWideSigns[] = {0x40, 0x49, 0x68, 0x94, 0x90, 0x93, 0x95, 0x66, 0x69, 0x6A, 0x96,
                         0x7B, 0x43, 0x7C, 0x44, 0x5E, 0x46, 0x47, 0x83, 0x81, 0x84, 0x48,
                         0x97, 0x6D, 0x8F, 0x6E, 0x4F, 0x51, 0x4D, 0x6F, 0x62, 0x70, 0x60,
                         0xA1, 0x40, 0x42, 0x75, 0x76, 0x41, 0x45, 0x5B, 0x4A, 0x4B};
static_assert(sizeof kSigns - 1 == sizeof kWideSigns);

bool TakesTrail(u32 lead, u32 trail)
{
    if (lead < 0x80 || lead == 0xFF || (lead >= 0xA0 && lead < 0xE0)) { return false; }
    return lead >= 0xFB ? trail >= 0x20 : trail >= 0x40 && trail <= 0xFC && trail != 0x7F;
}

// What every pair of bytes should give, made from the letters and from the runs.
class Order {
public:
    Order()
    {
        wholeRows();
        for (const Run& run : kRuns) { enterRun(run); }
        for (const u16* variant : kVariants) { codes_[{0xFC, static_cast<u8>(variant[0])}] = variant[1]; }
        for (u8 b = 0; b < 0x20; ++b) { codes_[{b}] = 0x1000u + b; }
        for (u32 i = 0; i < 10; ++i) { codes_[{static_cast<u8>('0' + i)}] = 0x3040 + 8 * i; }
        for (u32 i = 0; i < 26; ++i) {
            const u32 letter = i < 15 ? 0x4040 + 8 * i : 0x4140 + 8 * (i - 15);
            codes_[{static_cast<u8>('a' + i)}] = letter;
            codes_[{static_cast<u8>('A' + i)}] = letter + 3;
        }
        for (u32 i = 0; i < sizeof kWideSigns; ++i) {
            codes_[{static_cast<u8>(kSigns[i])}] = codes_.at({0x81, kWideSigns[i]}) - 2;
        }
        kana();
        const u32 cut[] = {0x2642, 0x2C42, 0x5844, 0x6643};  // the rows 0x81 to 0x84 at a trail byte of 0
        for (u8 i = 0; i < 4; ++i) { codes_[{static_cast<u8>(0x81 + i)}] = cut[i]; }
    }

    Read operator()(u8 a, u8 b) const
    {
        auto pair = codes_.find({a, b});
        if (pair != codes_.end()) { return {pair->second, 2}; }
        auto single = codes_.find({a});
        return single != codes_.end() ? Read{single->second, 1} : Read{0, 0};
    }
    // What the characters are, by their codes.
    std::map<u32, std::set<u32>> byCode() const
    {
        std::map<u32, std::set<u32>> all;
        for (const auto& [bytes, code] : codes_) {
            all[code].insert(bytes.size() > 1 ? bytes[0] * 0x100u + bytes[1] : bytes[0]);
        }
        return all;
    }

private:
    // Rows whose codes are the characters themselves, and lone lead bytes.
    void wholeRows()
    {
        for (u32 lead = 0x80; lead < 0x100; ++lead) {
            if (lead >= 0xA0 && lead < 0xE0) { continue; }
            const u32 row = lead >= 0xE0 && lead < 0xF0 ? lead - 0x30 : lead;
            codes_[{static_cast<u8>(lead)}] = row * 0x100;
            const bool own = (lead >= 0x81 && lead <= 0x84) || lead == 0xEB || lead == 0xEC || lead == 0xFC ||
                             lead == 0xFD;
            for (u32 trail = 0; trail < 0x100; ++trail) {
                if (own || !TakesTrail(lead, trail)) { continue; }
                codes_[{static_cast<u8>(lead), static_cast<u8>(trail)}] = row * 0x100 + trail;
            }
        }
    }
    void enterRun(const Run& run)
    {
        const u32 steps = run.last > run.first ? run.last - run.first : 1u;
        const u32 step = (run.lastCode - run.firstCode) / steps;
        EXPECT_EQ(run.firstCode + step * (run.last - run.first), run.lastCode);
        for (u32 t = run.first; t <= run.last; ++t) {
            if (!TakesTrail(run.lead, t)) { continue; }
            const bool entered =
                codes_.emplace(Bytes{run.lead, static_cast<u8>(t)}, run.firstCode + step * (t - run.first))
                    .second;
            EXPECT_TRUE(entered) << std::hex << u32{run.lead} << " " << t;
        }
    }
    // A letter's code is the place of its first kana, its further kana are 5 apart, and the script is added.
    void kana()
    {
        const u32 half = 0, variantKatakana = 1, variantHiragana = 2, hiragana = 3, katakana = 4;
        u32 place = 0;
        auto enter = [&](u32 code, bool hasVariantHiragana) {
            codes_[InRow(0x82, 0x9F, place)] = code + hiragana;
            codes_[InRow(0x83, 0x40, place)] = code + katakana;
            if (place <= 0x52) { codes_[InRow(0xEC, 0x40, place)] = code + variantKatakana; }
            if (hasVariantHiragana) { codes_[InRow(0xEC, 0x9F, place)] = code + variantHiragana; }
            ++place;
        };
        std::map<char16_t, u32> codeOf;
        for (std::u16string_view letter : kKana) {
            u32 code = codeOfPlace(place);
            for (const char16_t c : letter) {
                if (!IsHiragana(c)) { continue; }
                codeOf[c] = code;
                enter(code, true);
                code += 5;
            }
        }
        EXPECT_EQ(place, 86u);
        while (place < 94) { enter(codeOfPlace(place), false); }
        const std::u16string_view narrow =
            u"ぁぃぅぇぉゃゅょっ#あいうえおかきくけこさしすせそたちつてとなにぬねの"
            u"はひふへほまみむめもやゆよらりるれろわん";
        for (u32 i = 0; i < narrow.size(); ++i) {
            const u8 b = static_cast<u8>(0xA7 + i);
            if (narrow[i] == u'#') { continue; }
            codes_[{b}] = codeOf.at(narrow[i]) + half;
            // In the row of characters the voiced form follows the plain one.
            const char16_t next = static_cast<char16_t>(narrow[i] + 1);
            if ((b >= 0xB6 && b <= 0xC4) || (b >= 0xCA && b <= 0xCE)) { codes_[{b, 0xDE}] = codeOf.at(next); }
            if (b >= 0xCA && b <= 0xCE) { codes_[{b, 0xDF}] = codeOf.at(static_cast<char16_t>(next + 1)); }
        }
        codes_[{0xA6}] = codeOf.at(u'を') + 5;
        codes_[{0xB3, 0xDE}] = codeOf.at(u'ぇ');  // not with ヴ
    }
    static u32 codeOfPlace(u32 place) { return 0x5040 + place / 8 * 0x100 + place % 8 * 0x10; }

    std::map<Bytes, u32> codes_;
};

// The first code of the letter that a code belongs to, by the spacing of its class.
u32 LetterOf(u32 code)
{
    const u32 spacing[] = {1, 1, 4, 8, 8, 16, 4, 1, 1, 1, 1, 1, 1, 2, 1, 1};
    return code - code % spacing[code / 0x1000];
}

u32 SearchCodeOf(const Bytes& bytes) { return bxd::SearchCode(Code(bytes).code); }

}  // namespace

TEST(ShiftJisOrder, EveryPairOfBytesHasItsCodes)
{
    const Order order;
    for (u32 c = 0; c < 0x10000; ++c) {
        const u8 a = static_cast<u8>(c >> 8), b = static_cast<u8>(c);
        const Read read = Code({a, b});
        ASSERT_EQ(read, order(a, b)) << std::hex << c;
        ASSERT_EQ(bxd::SearchCode(read.code), LetterOf(read.code)) << std::hex << c;
    }
}

TEST(ShiftJisOrder, AllCodesHaveTheirSum)
{
    std::vector<u8> bytes;
    for (u32 c = 0; c < 0x10000; ++c) {
        const Read read = Code({static_cast<u8>(c >> 8), static_cast<u8>(c)});
        for (const u32 value : {read.code, bxd::SearchCode(read.code)}) {
            bytes.push_back(static_cast<u8>(value));
            bytes.push_back(static_cast<u8>(value >> 8));
        }
        bytes.push_back(static_cast<u8>(read.bytes));
    }
    EXPECT_EQ(Checksum(bytes), 0x6CC8FCD5u);
}

TEST(ShiftJisOrder, TwoCharactersHaveOneCodeOnlyWhereKnown)
{
    // A character is a number here: its byte, or first and second byte.
    std::set<std::set<u32>> known = {
        {0x20, 0xA0},     {0xAA, 0xB3DE},   {0x81, 0x8240},   {0x83, 0x8381},   {0x84, 0x8440},
        {0xEBDD, 0xEBFA}, {0xEBDE, 0xEBFB}, {0xEBF9, 0xFDED}, {0xFC82, 0xFC89}, {0xFC83, 0xFC85},
        {0xFC8B, 0xFCB8}, {0xFC9A, 0xFCB5}, {0xFC9B, 0xFCCD}, {0xFC9C, 0xFCCF}, {0xFC5C, 0xFD5C},
        {0xFC9D, 0xFD9D}, {0xFCC3, 0xFDEE}, {0xFCFE, 0xFDFE},
    };
    auto insertRun = [&known](u32 first, u32 second, u32 count) {
        for (u32 i = 0; i < count; ++i) {
            if (((first + i) & 0xFF) != 0x7F) { known.insert({first + i, second + i}); }
        }
    };
    insertRun(0x839F, 0x83BF, 24);  // Greek capitals and small letters
    insertRun(0x8470, 0x84B0, 30);  // small Cyrillic letters and frames
    insertRun(0xEBA4, 0xEBBF, 10);  // digits
    insertRun(0xEBAE, 0xEBDF, 16);
    std::set<std::set<u32>> found;
    for (const auto& [code, characters] : Order().byCode()) {
        if (characters.size() > 1) { found.insert(characters); }
    }
    EXPECT_EQ(found, known);
}

TEST(ShiftJisOrder, FormsOfALetterAreOneLetterAndLettersFollowEachOther)
{
    u32 former = 0;
    for (std::u16string_view letter : Letters()) {
        u32 search = 0;
        std::set<u32> forms;
        for (const char16_t c : letter) {
            const Bytes bytes = ShiftJis(c);
            if (bytes.empty()) { continue; }  // Latin letters with marks
            if (search == 0) { search = SearchCodeOf(bytes); }
            EXPECT_EQ(SearchCodeOf(bytes), search) << std::hex << static_cast<u32>(c);
            EXPECT_TRUE(forms.insert(Code(bytes).code).second) << std::hex << static_cast<u32>(c);
        }
        EXPECT_GT(search, former) << "letter that begins with " << std::hex << static_cast<u32>(letter[0]);
        former = search;
    }
}

TEST(ShiftJisOrder, LettersAreThoseOfUtf8)
{
    std::map<u32, u32> utf8LetterOf;
    std::set<u32> utf8Letters;
    for (u32 c = 0; c < 0x10000; ++c) {
        const char16_t character = static_cast<char16_t>(c);
        const bool alphanumeric = c < 0x80 && isalnum(static_cast<int>(c)) != 0;
        const Bytes bytes = ShiftJis(character);
        const bool mark =
            c >= 0xFF61 && (c < 0xFF66 || c > 0xFF9D || c == 0xFF70) && IsHalfWidthKana(character);
        if (bytes.empty() || mark || (c < 0x80 && !alphanumeric)) { continue; }
        const u32 utf8 = SearchCodeConverterUtf8(static_cast<u16>(SortConvCharUtf8Ja(c)));
        const u32 letter = SearchCodeOf(bytes);
        EXPECT_EQ(utf8LetterOf.emplace(letter, utf8).first->second, utf8) << std::hex << c;
        utf8Letters.insert(utf8);
    }
    EXPECT_EQ(utf8LetterOf.size(), utf8Letters.size());
    EXPECT_EQ(utf8Letters.size(), 10u + 26 + 51 + 4) << "ヷ to ヺ are letters of their own";
}

TEST(ShiftJisOrder, ClassesFollowEachOther)
{
    const Bytes inOrder[] = {
        {0x1F},       {' '},        {','},        {'.'},        {':'},        {';'},
        {'?'},        {'!'},        {0xDE},       {'`'},        {'('},        {'+'},
        {'$'},        {'#'},        {'0'},        {'9'},        {'a'},        {0x82, 0x81},
        {'A'},        {0x82, 0x60}, {'b'},        {'z'},        {0xB1},       {0x82, 0xA0},
        {0x83, 0x41}, {0xDD},       {0x83, 0x9F}, {0x84, 0x40}, {0x84, 0xBE}, {0x85, 0x40},
        {0x88, 0x9F}, {0x9F, 0xFC}, {0xE0, 0x40}, {0xEF, 0xFC}, {0xF0, 0x40}, {0xFF}};
    u32 former = 0;
    for (const Bytes& character : inOrder) {
        EXPECT_GT(Code(character).code, former) << std::hex << former;
        former = Code(character).code;
    }
}

TEST(ShiftJisCharacters, KanaHaveTheirKnownCodes)
{
    const std::map<Bytes, u32> known = {
        {{0xA7}, 0x5040},       {{0x82, 0x9F}, 0x5043}, {{0x83, 0x40}, 0x5044}, {{0xB1}, 0x5045},
        {{0x82, 0xA0}, 0x5048}, {{0x83, 0x41}, 0x5049}, {{0xB6}, 0x5160},       {{0x82, 0xA9}, 0x5163},
        {{0x83, 0x4A}, 0x5164}, {{0xB6, 0xDE}, 0x5165}, {{0x82, 0xAA}, 0x5168}, {{0x83, 0x4B}, 0x5169},
        {{0xAF}, 0x5460},       {{0x82, 0xC1}, 0x5463}, {{0xC2}, 0x5465},       {{0x82, 0xC2}, 0x5468},
        {{0xC2, 0xDE}, 0x546A}, {{0x82, 0xC3}, 0x546D}, {{0x82, 0xCD}, 0x55A3}, {{0x82, 0xCE}, 0x55A8},
        {{0x82, 0xCF}, 0x55AD}, {{0xDD}, 0x5A60},       {{0x82, 0xF1}, 0x5A63}, {{0x83, 0x93}, 0x5A64},
        {{0x83, 0x94}, 0x5A74}, {{0x83, 0x95}, 0x5A84}, {{0x83, 0x96}, 0x5A94}, {{0xB3, 0xDE}, 0x50A0},
    };
    for (const auto& [bytes, code] : known) {
        EXPECT_EQ(Code(bytes), (Read{code, static_cast<u32>(bytes.size())}));
    }
    EXPECT_EQ(SearchCodeOf({0xB3, 0xDE}), SearchCodeOf({0xB4})) << "ｳﾞ is a form of ｴ";
}

TEST(ShiftJisCharacters, AMarkBelongsToTheKanaThatItVoices)
{
    EXPECT_EQ(Code({0xB6, 0xDE}), (Read{0x5165, 2}));
    EXPECT_EQ(Code({0xB6, 'A'}), (Read{0x5160, 1}));
    EXPECT_EQ(Code({0xB6, 0xDF}), (Read{0x5160, 1})) << "no such sound";
    EXPECT_EQ(Code({0xA6, 0xDE}), (Read{0x5A55, 1})) << "ｦ takes none";
    EXPECT_EQ(Code({0xB1, 0xDE}), (Read{0x5045, 1}));
    EXPECT_EQ(Code({0xCA, 0xDE}), (Read{0x55A5, 2}));
    EXPECT_EQ(Code({0xCA, 0xDF}), (Read{0x55AA, 2}));
    EXPECT_EQ(Code({0xDE}), (Read{0x2068, 1}));
}

TEST(ShiftJisCharacters, GreekAndSmallCyrillicShareCodes)
{
    EXPECT_EQ(Code({0x83, 0x9F}), (Read{0x6043, 2}));
    EXPECT_EQ(Code({0x83, 0xBF}), (Read{0x6043, 2}));
    EXPECT_EQ(Code({0x84, 0xB0}), (Read{0x6842, 2}));
    EXPECT_EQ(Code({0x84, 0x70}), (Read{0x6842, 2}));
}

TEST(ShiftJisCharacters, ALeadByteWithoutATrailByteIsOneByte)
{
    for (u32 lead = 0x80; lead < 0x100; ++lead) {
        if (lead >= 0xA0 && lead < 0xE0) { continue; }
        const u8 a = static_cast<u8>(lead);
        for (const u32 trail :
             {0x00u, 0x1Fu, 0x20u, 0x3Fu, 0x40u, 0x7Eu, 0x7Fu, 0x80u, 0xFCu, 0xFDu, 0xFFu}) {
            const Read read = Code({a, static_cast<u8>(trail)});
            EXPECT_EQ(read.bytes, TakesTrail(lead, trail) ? 2u : 1u) << std::hex << lead << " " << trail;
            if (read.bytes == 1) { EXPECT_EQ(read, Code({a, 0})); }
        }
    }
    EXPECT_EQ(Code({0x81, 0x7F}), (Read{0x2642, 1}));
    EXPECT_EQ(Code({0x81, 0x00}), (Read{0x2642, 1}));
    EXPECT_EQ(Code({0x90, 0x20}), (Read{0x9000, 1}));
    EXPECT_EQ(Code({0xFF, 0x41}), (Read{0xFF00, 1}));
}

TEST(ShiftJisCharacters, OneByteOfThemIsReadWhereItIsAll)
{
    for (u32 b = 0; b < 0x80; ++b) {
        const std::vector<u8> exact = {static_cast<u8>(b)};
        u16 used = 0;
        (void)SortConvChar(exact.data(), &used);
        EXPECT_EQ(used, 1);
    }
}

TEST(KanaFold, MovesAPlaceToItsLetter)
{
    EXPECT_EQ(KanaTatami(0x5053), 0x5048u) << "あ by one";
    EXPECT_EQ(KanaTatami(0x5474), 0x5469u) << "ツ by one";
    EXPECT_EQ(KanaTatami(0x5483), 0x546Du) << "づ by two";
    EXPECT_EQ(KanaTatami(0x5543), 0x54B8u) << "ど over the end of a row";
    EXPECT_EQ(KanaTatami(0x5643), 0x55ADu) << "ぱ by two over the end of a row";
    EXPECT_EQ(KanaTatami(0x5163), 0x5163u) << "か stays";
}

TEST(KanaFold, LeavesWhatIsBehindItsRows)
{
    for (u32 low = 0x40; low < 0xC0; ++low) {
        for (const u32 row : {0x5C00u, 0x5D00u, 0x5E00u, 0x5F00u}) {
            EXPECT_EQ(KanaTatami(row | low), row | low);
        }
    }
    EXPECT_EQ(KanaTatami(0x5000), 0x5000u) << "nor before them";
    EXPECT_EQ(Code({0x82, 0x9B}), (Read{0x5F83, 2}));
    EXPECT_EQ(Code({0x82, 0x9E}), (Read{0x5FB3, 2}));
}

// SPDX-License-Identifier: MIT
#include "match/bxd_sort_code.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "match/bxd_sort_code_tables.h"
#include "storage/bxd_log.h"
#include "storage/text.h"

namespace {

// One of two values, without a branch that the processor would have to foresee.
constexpr u32 Choose(bool first, u32 a, u32 b) { return b ^ ((a ^ b) & (0u - u32{first})); }

// --- Shift-JIS ------------------------------------------------------------------------------------

constexpr u32 kControlCode = 0x1000;  // and the byte
constexpr u32 kKanaPlaceMin = 0x5040;
constexpr u32 kKanaCodeMin = 0x5000;
constexpr u32 kHalfWidthWo = 0xA6;  // takes no mark
constexpr u32 kHalfWidthWoCode = 0x5A55;
constexpr u32 kBackslashVariant = 0x20B9;  // behind 0xFC and 0xFD
constexpr u32 kUpperRowShift = 0x3000;     // the rows 0xE0 to 0xEF follow those to 0x9F without the gap

enum KanaForm : u32 { kVariantKatakana = 1, kVariantHiragana = 2, kHiragana = 3, kKatakana = 4 };

// Trail bytes leave out 0x7F: the second half of katakana is numbered without the gap.
constexpr u32 WithoutGap(u32 t) { return t >= 0x80 ? t - 1 : t; }

// The code of `t` in a run of characters, `step` apart, of which `first` has the code `code`.
constexpr u32 InRun(u32 t, u32 first, u32 code, u32 step) { return code + (t - first) * step; }

// Codes of signs begin a new row of 0x100 behind 32 trail bytes.
constexpr u32 InSignRows(u32 t, u32 row)
{
    return (row + (((t - 0x40) & 0xE0) >> 5)) << 8 | ((t & 0x1F) * 4 + 0x42);
}

// Latin letters stand 16 to a row, digits of the added rows likewise.
constexpr u32 InLetterRows(u32 row, u32 column, u32 form) { return (row << 8) + 0x40 + column * 8 + form; }

constexpr u32 Folded(u32 code, u32 fold)
{
    const u32 overRowEnd = fold & 0x80;  // 0x80 up within the row, and a row down
    return (code ^ overRowEnd) - 2 * overRowEnd - (fold & 0x70) + (fold & 0x0F);
}

u32 Fold(u32 code)
{
    const u32 place = ((code >> 8) & 0xF) * kKanaPlacesInRow + ((code >> 4) & 0xF) - 4;
    return place < sizeof sort_kana ? Folded(code, sort_kana[place]) : code;
}

// `place` counts from ぁ; the bit above 0x78 is lost.
constexpr u32 KanaPlaceCode(u32 place, u32 form)
{
    return kKanaPlaceMin + ((place & 0x78) << 5) + ((place & 7) << 4) + form;
}

u32 Kana(u32 place, KanaForm form) { return Fold(KanaPlaceCode(place, form)); }

u32 HalfWidthKana(u32 b, u32 next, u16* len)
{
    const bool voiced = bxd::FormsVoicedPair(b, next);
    *len = static_cast<u16>(1 + u32{voiced});
    if (b == kHalfWidthWo) { return kHalfWidthWoCode; }
    const u32 marks = u32{voiced} + (voiced & (next == bxd::kHalfVoiced));
    u32 place = sort_tbl_a0h[b - 0xA0] + 0x10 * marks;
    place += 0x80 * u32{(place & 0xFF) > 0xBF};  // into the next row: 0x80 down, 0x100 up
    return place < kKanaCodeMin ? place : Fold(place);
}

// Signs, digits, Latin letters, hiragana.
u32 Row82(u32 t)
{
    if (t > 0x9A) { return Kana(t - 0x9F, kHiragana); }
    if (t >= 0x7A) {
        if (t > 0x8F) { ++t; }  // p begins a row
        return InLetterRows(0x40 | ((t - 0x81) & 0xF0) >> 4, (t - 1) & 0xF, 2);
    }
    if (t >= 0x60) {
        if (t > 0x6E) { ++t; }
        return InLetterRows(0x40 | ((t - 0x60) & 0xF0) >> 4, t & 0xF, 5);
    }
    return t >= 0x4F ? InRun(t, 0x4F, 0x3042, 8) : InSignRows(t, 0x26);
}

// Katakana, Greek. Its small letters have the codes of the capitals.
u32 Row83(u32 t)
{
    if (t < 0x9F) { return Kana(WithoutGap(t) - 0x40, kKatakana); }
    if (t <= 0xB6) { return InRun(t, 0x9F, 0x6043, 4); }
    if (t <= 0xBE) { return InRun(t, 0xB7, 0x6243, 4); }
    if (t <= 0xD6) { return InRun(t, 0xBF, 0x6043, 4); }
    return InRun(t, 0xD7, 0x6447, 4);
}

// Cyrillic, and frames, which have the codes of the small letters from 0x6802 on.
constexpr u32 Row84(u32 t)
{
    if (t < 0x61) { return InRun(t & 0x3F, 0, 0x6643, 4); }
    if (t <= 0x6F) { return InRun(t, 0x61, 0x6843, 4); }
    if (t <= 0x9E) { return InRun(t, 0x70, 0x6842, 4); }
    if (t <= 0xCD) { return 0x6800 | (InRun(t, 0x9F, 0xFE, 4) & 0xFE); }
    return InRun(t, 0xCE, 0x6B43, 4);
}

// Kanji, then variant signs and digits.
constexpr u32 RowEB(u32 t)
{
    if (t < 0x9F || (t >= 0xA1 && t <= 0xA3)) { return 0xBB00 | t; }
    if (t <= 0xA0) { return InRun(t, 0x9F, 0x2641, 4); }
    if (t <= 0xAD) { return InRun(t, 0xA4, 0x3044, 8); }
    if (t <= 0xBE) { return InRun(t, 0xAE, 0x3041, 8); }
    if (t <= 0xD8) { return InLetterRows(0x30 + ((t - 0xBF) >> 4), (t + 1) & 0xF, 4); }
    if (t == 0xD9) { return 0x2359; }
    if (t <= 0xDE) { return InRun(t, 0xDA, 0x2089, 4); }
    if (t <= 0xF8) { return InLetterRows(0x30 + ((t - 0xDF) >> 4), (t + 1) & 0xF, 1); }
    return t == 0xF9 ? 0x235D : InRun(t, 0xFA, 0x2095, 4);
}

// Variant kana.
u32 RowEC(u32 t)
{
    if (t < 0x40 || t > 0xF5) { return 0xBC00 | t; }
    if (t <= 0x93) { return Kana(WithoutGap(t) - 0x40, kVariantKatakana); }
    if (t <= 0x9E) { return InRun(t, 0x94, 0x303D, 8); }
    return t <= 0xF4 ? Kana(t - 0x9F, kVariantHiragana) : 0x20AD;
}

u32 RowFC(u32 t)
{
    if (t >= 0x80) { return sort_tbl_fch[t - 0x80]; }
    return t == 0x5C ? kBackslashVariant : 0xFC00 | t;
}

u32 RowFD(u32 t)
{
    if (t >= 0xE0) { return sort_tbl_fdh2[t - 0xE0]; }
    if (t >= 0x80 && t <= 0x9F) { return sort_tbl_fdh1[t - 0x80]; }
    return t == 0x5C ? kBackslashVariant : 0xFD00 | t;
}

u32 CodeInRow(u32 b, u32 t)
{
    switch (b) {
    case 0x81: return InSignRows(t, 0x20);
    case 0x82: return Row82(t);
    case 0x83: return Row83(t);
    case 0x84: return Row84(t);
    case 0xEB: return RowEB(t);
    case 0xEC: return RowEC(t);
    case 0xFC: return RowFC(t);
    case 0xFD: return RowFD(t);
    default: break;
    }
    const u32 code = b << 8 | t;
    return b >= 0xE0 && b <= 0xEF ? code - kUpperRowShift : code;
}

u32 AsciiCode(u32 b) { return b < 0x20 ? kControlCode | b : sort_tbl_20h[b - 0x20]; }

// All rows, with their rarer characters and lead bytes without a trail byte.
u32 CodeOfAny(u32 b, u32 next, u16* len)
{
    if (b >= 0xA0 && b <= 0xDF) { return HalfWidthKana(b, next, len); }
    const bool pair = bxd::FormsPair(b, next);
    *len = pair ? 2 : 1;
    return CodeInRow(b, pair ? next : 0);
}

// A character that begins with b, 0x80 or above, with the byte behind it. Kana and kanji follow each other as
// no processor can foresee, so they are told apart by arithmetic and not by branches.
u32 WideCode(u32 b, u32 next, u16* len)
{
    const bool hiragana = (b == 0x82) & (next >= 0x9F);
    const bool katakana = (b == 0x83) & (next < 0x9F);
    const bool kanji = b - 0x85 <= 0x9F - 0x85;
    if (!(bxd::IsTrail(next) & (hiragana | katakana | kanji))) { return CodeOfAny(b, next, len); }
    *len = 2;
    const u32 place = Choose(kanji, 0, Choose(hiragana, next - 0x9F, next - 0x40 - (next >= 0x80)));
    const u32 kana = Folded(KanaPlaceCode(place, kKatakana - hiragana), sort_kana[place]);
    return Choose(kanji, b << 8 | next, kana);
}

// --- UTF-8 ----------------------------------------------------------------------------------------

constexpr u32 kNoCharacter = 0xFFFD;
constexpr u32 kCodeMask = 0xFFFF;
constexpr u32 kUtf8BytesMax = 3;

// The ranges of code points, and where the sort codes of those without a table lie.
constexpr u32 kTableSize = 256;
constexpr u32 kBehindLatinShift = 0x1200;  // U+0100 to U+1FFF
constexpr u32 kPunctuation = 0x2000;       // to U+2FFF
constexpr u32 kPunctuationCode = 0x0153;
constexpr u32 kKana = 0x3000;
constexpr u32 kBehindKana = 0x3100;  // to U+FEFF
constexpr u32 kBehindKanaShift = 0x0100;
constexpr u32 kHalfWidth = 0xFF00;

constexpr bool IsContinuation(u32 b) { return (b & 0xC0) == 0x80; }

u32 Decode(const u8* s, u16* len)
{
    const u32 lead = s[0];
    if (lead < 0x80) {
        *len = 1;
        return lead;
    }
    if ((lead & 0xF0) == 0xE0) {
        *len = 3;
        if (!IsContinuation(s[1]) || !IsContinuation(s[2])) { return kNoCharacter; }
        return (lead & 0x0F) << 12 | (s[1] & 0x3Fu) << 6 | (s[2] & 0x3Fu);
    }
    if ((lead & 0xE0) == 0xC0) {
        *len = 2;
        return IsContinuation(s[1]) ? (lead & 0x1F) << 6 | (s[1] & 0x3Fu) : kNoCharacter;
    }
    *len = 1;
    return kNoCharacter;
}

// --- the dump -------------------------------------------------------------------------------------

constexpr char kDumpFile[] = "F0:SORTCODE.LOG";
constexpr u16 kNoEntry = 0xFFFF;
constexpr u32 kDumpEntry = 16;  // bytes: a separator, the character and "(xxxx)" in UTF-16

void PutText(u8* out, const char* text)
{
    for (; *text != '\0'; ++text, out += 2) { PUT_2BYTES(out, static_cast<u8>(*text)); }
}

// Enters the characters from `base` on at their sort codes.
void Invert(u16* characters, const u16* table, u32 base, const char* name)
{
    for (u32 i = 0; i < kTableSize; ++i) {
        const u32 code = table[i];
        if (code == 0 || code > kLetterCodeMax) {
            BxdDebug("bad index %s 0x%04x 0x%d\n", name, base + i, code);
        } else {
            characters[code - 1] = static_cast<u16>(base + i);
        }
    }
}

void DumpEntry(u32 character, bool newLetter)
{
    char text[8];
    (void)snprintf(text, sizeof text, "(%04x)", character);
    u8 out[kDumpEntry];
    PUT_2BYTES(out, newLetter ? '\n' : ' ');
    PUT_2BYTES(out + 2, static_cast<u16>(character));
    PutText(out + 4, text);
    BxdLogBin(out, sizeof out);
}

// --- language -------------------------------------------------------------------------------------

constexpr char kJapanese[] = "ja";
constexpr char kLanguageOfNoName[] = "en";
constexpr u32 kLanguageNameMax = 4;

constexpr char SmallLetter(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool IsJapanese(const char* name)
{
    return SmallLetter(name[0]) == kJapanese[0] && SmallLetter(name[1]) == kJapanese[1] && name[2] == '\0';
}

}  // namespace

extern "C" {

u32 (*SortConvCharUtf8Lang)(u32 codePoint) = SortConvCharUtf8Ja;
BxdSearchCodeConverter SearchCodeConverterUtf8 = SearchCodeFromSortCodeUtf8Ja;

u32 SortConvChar(const u8* s, u16* len)
{
    if (s[0] >= 0x80) { return WideCode(s[0], s[1], len); }
    *len = 1;
    return AsciiCode(s[0]);
}

u32 KanaTatami(u32 code) { return Fold(code); }

u32 GetBytesUtf8(i8 first)
{
    const u32 lead = static_cast<u8>(first);
    if ((lead & 0xF0) == 0xE0) { return 3; }
    return (lead & 0xE0) == 0xC0 ? 2 : 1;
}

u32 SortConvCharUtf8Bin(const u8* s, u16* len) { return Decode(s, len); }

u32 SortConvCharUtf8(const u8* s, u16* len) { return SortConvCharUtf8Lang(Decode(s, len)) & kCodeMask; }

u32 SortConvCharUtf8Ja(u32 codePoint)
{
    // Latin, kana and kanji come first, and the latter two without a branch between them.
    const u32 c = codePoint & kCodeMask;
    if (c < kTableSize) { return sortTbl_u0000_ja[c]; }
    if (c >= kKana && c < kHalfWidth) {
        const u32 kana = sortTbl_u3000_ja[c % kTableSize];
        return Choose(c < kBehindKana, kana, c + kBehindKanaShift);
    }
    if (c >= kHalfWidth) { return sortTbl_uff00_ja[c - kHalfWidth]; }
    return c < kPunctuation ? c + kBehindLatinShift : c - kPunctuation + kPunctuationCode;
}

u32 SearchCodeFromSortCodeUtf8Ja(u16 sortCode)
{
    const bool sign = u32{sortCode} - kSignCodeMin <= kSignCodeMax - kSignCodeMin;
    const bool letter = u32{sortCode} - kLetterCodeMin <= kLetterCodeMax - kLetterCodeMin;
    const u32 entry = sortCode - Choose(letter, kLetterCodeMin - kSignCodeMax, kSignCodeMin);
    return Choose(sign | letter, searchTbl_ja[Choose(sign | letter, entry, 0)], sortCode);
}

char gLang[BXD_LANGUAGE_SIZE] = {};

void BxdSetLanguage(const char* name)
{
    SortConvCharUtf8Lang = SortConvCharUtf8Ja;
    SearchCodeConverterUtf8 = SearchCodeFromSortCodeUtf8Ja;
    char kept[BXD_LANGUAGE_SIZE] = {};
    for (u32 i = 0; i < kLanguageNameMax && name[i] != '\0'; ++i) { kept[i] = name[i]; }
    std::memcpy(gLang, kept, sizeof gLang);
}

void BxdGetLanguage(char* out)
{
    if (gLang[0] == '\0') {
        std::memcpy(out, kLanguageOfNoName, sizeof kLanguageOfNoName);
    } else {
        std::memcpy(out, gLang, kLanguageNameMax + 1);
    }
}

int BxdIsLanguageMatch(const char* name) { return IsJapanese(name) == IsJapanese(gLang) ? 1 : 0; }

void BxdDumpSortCode(void)
{
    u16 characters[kLetterCodeMax];
    std::fill(std::begin(characters), std::end(characters), kNoEntry);
    BxdDebug("sort table size %d %x\n", kLetterCodeMax, kLetterCodeMax);
    Invert(characters, sortTbl_u0000_ja, 0x0000, "u0000");
    Invert(characters, sortTbl_u3000_ja, 0x3000, "u3000");
    Invert(characters, sortTbl_uff00_ja, 0xFF00, "uff00");
    for (u32 code = kPunctuationCode; code < kLetterCodeMin; ++code) {
        characters[code - 1] = static_cast<u16>(code - kPunctuationCode + kPunctuation);
    }

    char path[BXD_PATH_SIZE];
    if (BxdOpenLog(FileGetRealPath(path, kDumpFile)) == nullptr) { return; }
    u32 letter = 0;
    for (u32 code = 1; code <= kLetterCodeMax; ++code) {
        const u32 searchCode = SearchCodeFromSortCodeUtf8Ja(static_cast<u16>(code));
        DumpEntry(characters[code - 1], searchCode != letter);
        letter = searchCode;
    }
    BxdCloseLog();
}
}

namespace bxd {

u32 SortCodeAt(const u8* s, u32 length, u16* used)
{
    // No character goes on with a byte 0: what the end cuts off is one byte.
    if (s[0] >= 0x80) { return WideCode(s[0], length > 1 ? s[1] : 0, used); }
    *used = 1;
    return AsciiCode(s[0]);
}

u32 SortCodeAtUtf8(const u8* s, u32 length, u16* used)
{
    return SortConvCharUtf8Lang(CodePointAtUtf8(s, length, used)) & kCodeMask;
}

u32 CodePointAtUtf8(const u8* s, u32 length, u16* used)
{
    if (length >= kUtf8BytesMax || GetBytesUtf8(static_cast<i8>(s[0])) <= length) { return Decode(s, used); }
    *used = static_cast<u16>(length);
    return kNoCharacter;
}

}  // namespace bxd

// SPDX-License-Identifier: MIT
// What the tests of the order of texts know of letters: which characters are forms of one, in their order,
// and how characters are written in Shift-JIS.
#pragma once

#include <bxd/types.h>

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace matchtest {

// A character of Shift-JIS text: one byte, or two.
using Bytes = std::basic_string<u8>;

// What the library tells of a character.
struct Read {
    u32 code;
    u32 bytes;
    bool operator==(const Read& other) const = default;
};

inline void PrintTo(const Read& read, std::ostream* out)
{
    *out << std::hex << read.code << " of " << read.bytes << " bytes";
}

inline constexpr std::u16string_view kDigits[] = {
    u"0０", u"1¹１", u"2²２", u"3³３", u"4４", u"5５", u"6６", u"7７", u"8８", u"9９",
};

inline constexpr std::u16string_view kLatin[] = {
    u"AaªÁáÀàÂâÄäÃãÅåÆæＡａ",
    u"BbＢｂ",
    u"CcÇçＣｃ",
    u"DdÐðＤｄ",
    u"EeÉéÈèÊêËëＥｅ",
    u"Ff\u0083Ｆｆ",
    u"GgＧｇ",
    u"HhＨｈ",
    u"IiÍíÌìÎîÏïＩｉ",
    u"JjＪｊ",
    u"KkＫｋ",
    u"LlＬｌ",
    u"MmＭｍ",
    u"NnÑñＮｎ",
    u"Oo°ÓóÒòÔôÖöÕõØø\u008C\u009CＯｏ",
    u"PpＰｐ",
    u"QqＱｑ",
    u"RrＲｒ",
    u"Ss\u008A\u009AßＳｓ",
    u"TtÞ\u0099þＴｔ",
    u"UuÚúÙùÛûÜüＵｕ",
    u"VvＶｖ",
    u"WwＷｗ",
    u"XxＸｘ",
    u"YyÝý\u009FÿＹｙ",
    u"ZzＺｚ",
};

// Half-width small, small, half-width, full size, voiced, semi-voiced; hiragana before katakana.
inline constexpr std::u16string_view kKana[] = {
    u"ｧぁァｱあア", u"ｨぃィｲいイ",    u"ｩぅゥｳうウ",    u"ｪぇェｴえエ",    u"ｫぉォｵおオ",    u"ｶかカがガ",
    u"ｷきキぎギ",  u"ｸくクぐグ",     u"ｹけケげゲ",     u"ｺこコごゴ",     u"ｻさサざザ",     u"ｼしシじジ",
    u"ｽすスずズ",  u"ｾせセぜゼ",     u"ｿそソぞゾ",     u"ﾀたタだダ",     u"ﾁちチぢヂ",     u"ｯっッﾂつツづヅ",
    u"ﾃてテでデ",  u"ﾄとトどド",     u"ﾅなナ",         u"ﾆにニ",         u"ﾇぬヌ",         u"ﾈねネ",
    u"ﾉのノ",      u"ﾊはハばバぱパ", u"ﾋひヒびビぴピ", u"ﾌふフぶブぷプ", u"ﾍへヘべベぺペ", u"ﾎほホぼボぽポ",
    u"ﾏまマ",      u"ﾐみミ",         u"ﾑむム",         u"ﾒめメ",         u"ﾓもモ",         u"ｬゃャﾔやヤ",
    u"ｭゅュﾕゆユ", u"ｮょョﾖよヨ",    u"ﾗらラ",         u"ﾘりリ",         u"ﾙるル",         u"ﾚれレ",
    u"ﾛろロ",      u"ゎヮﾜわワ",     u"ゐヰ",          u"ゑヱ",          u"ｦをヲ",         u"ﾝんン",
    u"ゔヴ",       u"ゕヵ",          u"ゖヶ",
};

inline bool IsHiragana(char16_t c) { return c >= 0x3041 && c <= 0x3096; }
inline bool IsKatakana(char16_t c) { return c >= 0x30A1 && c <= 0x30FA; }
inline bool IsHalfWidthKana(char16_t c) { return c >= 0xFF61 && c <= 0xFF9F; }
inline bool IsFullWidthAscii(char16_t c) { return c >= 0xFF01 && c <= 0xFF5E; }

// Two bytes of the 94 columns of a row: 0x7F is left out.
inline Bytes InRow(u8 lead, u32 first, u32 column)
{
    const u32 trail = first + column;
    return {lead, static_cast<u8>(first < 0x7F && trail >= 0x7F ? trail + 1 : trail)};
}

// A letter, digit or kana in Shift-JIS; empty where it is not of those, or has no form there.
inline Bytes ShiftJis(char16_t c)
{
    if (c < 0x7F) { return {static_cast<u8>(c)}; }
    if (IsHalfWidthKana(c)) { return {static_cast<u8>(c - 0xFF61 + 0xA1)}; }
    if (IsHiragana(c)) { return InRow(0x82, 0x9F, c - 0x3041u); }
    if (IsKatakana(c)) { return InRow(0x83, 0x40, c - 0x30A1u); }
    if (!IsFullWidthAscii(c)) { return {}; }
    const u32 ascii = c - 0xFF01u + '!';
    if (ascii >= '0' && ascii <= '9') { return InRow(0x82, 0x4F, ascii - '0'); }
    if (ascii >= 'A' && ascii <= 'Z') { return InRow(0x82, 0x60, ascii - 'A'); }
    if (ascii >= 'a' && ascii <= 'z') { return {0x82, static_cast<u8>(0x81 + ascii - 'a')}; }
    return {};
}

// A code point of 16 bits in UTF-8.
inline Bytes Utf8(u32 c)
{
    if (c < 0x80) { return {static_cast<u8>(c)}; }
    const u8 last = static_cast<u8>(0x80 | (c & 0x3F));
    if (c < 0x800) { return {static_cast<u8>(0xC0 | c >> 6), last}; }
    return {static_cast<u8>(0xE0 | c >> 12), static_cast<u8>(0x80 | ((c >> 6) & 0x3F)), last};
}

// All letters in the order of the alphabet and of the syllables, digits first.
inline std::vector<std::u16string_view> Letters()
{
    std::vector<std::u16string_view> all(std::begin(kDigits), std::end(kDigits));
    all.insert(all.end(), std::begin(kLatin), std::end(kLatin));
    all.insert(all.end(), std::begin(kKana), std::end(kKana));
    return all;
}

// CRC-32 of a run of bytes, for tables too large to be told.
inline u32 Checksum(const std::vector<u8>& bytes)
{
    u32 sum = 0xFFFFFFFF;
    for (const u8 byte : bytes) {
        sum ^= byte;
        for (int bit = 0; bit < 8; ++bit) { sum = sum >> 1 ^ ((sum & 1) != 0 ? 0xEDB88320 : 0); }
    }
    return ~sum;
}

}  // namespace matchtest

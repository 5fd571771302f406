// SPDX-License-Identifier: MIT
// Times the conversion of texts to sort codes and search codes. The counter "char" is a character's time.
// It is built as bench/run builds its program, and runs without arguments: build/bench/bench/bxd_bench_text.
//
// The texts are random within their kinds, so that the processor cannot learn them: Latin letters and spaces;
// Japanese as it is written, half of it hiragana, a third kanji, the rest katakana and Latin; and half-width
// kana, of which some are voiced.
#include <benchmark/benchmark.h>
#include <bxd/language.h>

#include <random>
#include <string>

namespace {

constexpr size_t kCharacters = 20000;

enum Kind { kLatin, kJapanese, kHalfWidth };
using Convert = u32 (*)(const u8*, u16*);

class Text {
public:
    Text(Kind kind, bool utf8) : utf8_(utf8)
    {
        for (size_t i = 0; i < kCharacters; ++i) { add(kind); }
    }
    std::string take() { return std::move(text_); }

private:
    u32 below(u32 n) { return static_cast<u32>(random_()) % n; }
    // A character at `column` of a row of Shift-JIS, or at that distance from a code point.
    void put(u8 lead, u32 first, u32 codePoint, u32 column)
    {
        if (utf8_) {
            const u32 c = codePoint + column;
            text_ += {static_cast<char>(0xE0 | c >> 12), static_cast<char>(0x80 | ((c >> 6) & 0x3F)),
                      static_cast<char>(0x80 | (c & 0x3F))};
            return;
        }
        if (lead != 0) { text_ += static_cast<char>(lead); }
        const u32 trail = first + column;
        text_ += static_cast<char>(first < 0x7F && trail >= 0x7F ? trail + 1 : trail);
    }
    void add(Kind kind)
    {
        const u32 share = below(100);
        if (kind == kHalfWidth) {
            const u32 kana = below(45);
            put(0, 0xB1, 0xFF71, kana);
            if (kana >= 5 && kana < 20 && share < 40) { put(0, 0xDE, 0xFF9E, 0); }  // ｶ to ﾄ
        } else if (kind == kLatin || share < 5) {
            text_ += share < 15 ? ' ' : static_cast<char>((share < 25 ? 'A' : 'a') + below(26));
        } else if (share < 55) {
            put(0x82, 0x9F, 0x3041, below(83));
        } else if (share < 65) {
            put(0x83, 0x40, 0x30A1, below(86));
        } else {
            put(static_cast<u8>(0x89 + below(15)), 0x40, 0x4E00 + 180 * below(100), below(180));
        }
    }

    bool utf8_;
    std::minstd_rand random_{4711};
    std::string text_;
};

u32 SearchCode(u32 code) { return code & mask_code_table[code >> 12 & 0xF]; }
u32 SearchCodeUtf8(u32 code) { return SearchCodeConverterUtf8(static_cast<u16>(code)); }

void Run(benchmark::State& state, Kind kind, bool utf8, Convert convert, u32 (*search)(u32))
{
    const std::string text = Text(kind, utf8).take();
    const u8* start = reinterpret_cast<const u8*>(text.c_str());
    const u8* end = start + text.size();
    size_t characters = 0;
    for (auto _ : state) {
        u32 sum = 0;
        for (const u8* s = start; s < end; ++characters) {
            u16 length = 0;
            const u32 code = convert(s, &length);
            sum += search != nullptr ? search(code) : code;
            s += length;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.counters["char"] = benchmark::Counter(static_cast<double>(characters),
                                                benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

}  // namespace

BENCHMARK_CAPTURE(Run, shift_jis_latin, kLatin, false, SortConvChar, nullptr);
BENCHMARK_CAPTURE(Run, shift_jis_japanese, kJapanese, false, SortConvChar, nullptr);
BENCHMARK_CAPTURE(Run, shift_jis_half_width, kHalfWidth, false, SortConvChar, nullptr);
BENCHMARK_CAPTURE(Run, shift_jis_search_code, kJapanese, false, SortConvChar, SearchCode);
BENCHMARK_CAPTURE(Run, utf8_latin, kLatin, true, SortConvCharUtf8, nullptr);
BENCHMARK_CAPTURE(Run, utf8_japanese, kJapanese, true, SortConvCharUtf8, nullptr);
BENCHMARK_CAPTURE(Run, utf8_half_width, kHalfWidth, true, SortConvCharUtf8, nullptr);
BENCHMARK_CAPTURE(Run, utf8_search_code, kJapanese, true, SortConvCharUtf8, SearchCodeUtf8);
BENCHMARK_CAPTURE(Run, utf8_code_point, kJapanese, true, SortConvCharUtf8Bin, nullptr);

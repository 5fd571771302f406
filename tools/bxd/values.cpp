// SPDX-License-Identifier: MIT
// Values of items as text and back. The packed forms, bit numbers counted from bit 0 of the first byte:
//
//   date and time  second 0-5, minute 8-13, hour 14-18, day 19-23, month 24-27, year less 1900 28-39
//   span           second 0-5, minute 8-13, hour 14-18, days 19-38, sign 39
//   week date      day of the week 0-2, week of the month 4-6, month 8-11, year less 1900 12-23
//
// A field that is left open holds a value beyond its range; here the largest one, and 0 for the day.
#include "tools/bxd/values.h"

#include <array>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <cstdio>

#include "tools/bxd/failure.h"
#include "tools/bxd/text.h"

namespace tool {
namespace {

struct TypeRow {
    u8 number;
    const char* name;
};

constexpr std::array<TypeRow, 11> kTypes = {{{kText, "text"},
                                             {kSjis, "sjis"},
                                             {kSjis2, "sjis2"},
                                             {kDateTime, "datetime"},
                                             {kSpan, "span"},
                                             {kWeekDate, "weekdate"},
                                             {kU8, "u8"},
                                             {kU16, "u16"},
                                             {kU32, "u32"},
                                             {kCategories, "categories"},
                                             {kFlags, "flags"}}};

// The encoding that hosts know for the Shift-JIS of handheld devices, with the vendors' extensions.
constexpr const char* kShiftJis = "CP932";

// A bit field of a packed value: its place, the range of its numbers, what is added to them on display, and
// the bits that stand for a field left open.
struct Field {
    unsigned shift;
    unsigned bits;
    u32 first;
    u32 last;
    u32 base;
    u32 open;
};

constexpr Field kSecond = {0, 6, 0, 60, 0, 63};
constexpr Field kMinute = {8, 6, 0, 60, 0, 63};
constexpr Field kHour = {14, 5, 0, 24, 0, 31};
constexpr Field kDay = {19, 5, 1, 31, 0, 0};
constexpr Field kMonth = {24, 4, 1, 12, 0, 15};
constexpr Field kYear = {28, 12, 0, 239, 1900, 4095};
constexpr Field kSpanDays = {19, 20, 0, (1u << 20) - 1, 0, 0};
constexpr unsigned kSpanSignBit = 39;
constexpr Field kWeekDay = {0, 3, 0, 6, 0, 7};
constexpr Field kWeekOfMonth = {4, 3, 0, 6, 0, 7};
constexpr Field kWeekMonth = {8, 4, 1, 12, 0, 15};
constexpr Field kWeekYear = {12, 12, 0, 239, 1900, 4095};

// Reads a text from left to right; each step says whether it found what was asked for.
class Scanner {
public:
    explicit Scanner(std::string_view text) : rest_(text) {}
    bool AtEnd() const { return rest_.empty(); }

    bool Take(char c)
    {
        if (rest_.empty() || rest_[0] != c) { return false; }
        rest_.remove_prefix(1);
        return true;
    }

    bool Number(u32* out)
    {
        const char* end = rest_.data() + rest_.size();
        const auto [stop, error] = std::from_chars(rest_.data(), end, *out);
        if (error != std::errc()) { return false; }
        rest_.remove_prefix(static_cast<std::size_t>(stop - rest_.data()));
        return true;
    }

    // A number in the field's range, or '*' for a field left open.
    bool Part(const Field& field, uint64_t* packed)
    {
        u32 number = 0;
        if (Take('*')) {
            *packed |= static_cast<uint64_t>(field.open) << field.shift;
            return true;
        }
        if (!Number(&number) || number < field.base) { return false; }
        number -= field.base;
        if (number < field.first || number > field.last) { return false; }
        *packed |= static_cast<uint64_t>(number) << field.shift;
        return true;
    }

    bool Time(uint64_t* packed)
    {
        if (!Part(kHour, packed) || !Take(':') || !Part(kMinute, packed)) { return false; }
        return Take(':') ? Part(kSecond, packed) : true;
    }

private:
    std::string_view rest_;
};

std::string LittleEndian(uint64_t value, std::size_t size)
{
    std::string bytes;
    for (std::size_t i = 0; i < size; i++) { bytes += static_cast<char>((value >> (8 * i)) & 0xFF); }
    return bytes;
}

uint64_t LittleEndian(std::string_view bytes)
{
    uint64_t value = 0;
    for (std::size_t i = bytes.size(); i > 0; i--) { value = value << 8 | static_cast<u8>(bytes[i - 1]); }
    return value;
}

std::string PartText(const Field& field, uint64_t packed, int digits)
{
    const auto number = static_cast<u32>(packed >> field.shift) & ((1u << field.bits) - 1);
    if (number < field.first || number > field.last) { return "*"; }
    std::array<char, 16> buffer{};
    (void)std::snprintf(buffer.data(), buffer.size(), "%0*u", digits, number + field.base);
    return buffer.data();
}

std::string TimeText(uint64_t packed)
{
    return PartText(kHour, packed, 2) + ":" + PartText(kMinute, packed, 2) + ":" +
           PartText(kSecond, packed, 2);
}

std::string BytesOfDateTime(std::string_view text)
{
    Scanner scan(text);
    uint64_t packed = 0;
    bool good = scan.Part(kYear, &packed) && scan.Take('-') && scan.Part(kMonth, &packed) && scan.Take('-') &&
                scan.Part(kDay, &packed);
    if (good && scan.AtEnd()) {
        good = Scanner("*:*:*").Time(&packed);
    } else {
        good = good && (scan.Take(' ') || scan.Take('T')) && scan.Time(&packed) && scan.AtEnd();
    }
    if (!good) { throw Failure("a date looks like 2024-05-17 or 2024-05-17 08:30:00"); }
    return LittleEndian(packed, 5);
}

std::string TextOfDateTime(uint64_t packed)
{
    const std::string date =
        PartText(kYear, packed, 4) + "-" + PartText(kMonth, packed, 2) + "-" + PartText(kDay, packed, 2);
    const std::string time = TimeText(packed);
    return time == "*:*:*" ? date : date + " " + time;
}

std::string BytesOfSpan(std::string_view text)
{
    Scanner scan(text);
    uint64_t packed = 0;
    if (scan.Take('-')) { packed |= uint64_t{1} << kSpanSignBit; }
    u32 days = 0;
    bool good = scan.Number(&days) && days <= kSpanDays.last && scan.Take('d');
    packed |= static_cast<uint64_t>(days) << kSpanDays.shift;
    if (!scan.AtEnd()) { good = good && scan.Take(' ') && scan.Time(&packed) && scan.AtEnd(); }
    if (!good) { throw Failure("a span of time looks like 12d or -3d 04:30:00"); }
    return LittleEndian(packed, 5);
}

std::string TextOfSpan(uint64_t packed)
{
    const bool negative = (packed >> kSpanSignBit & 1) != 0;
    return (negative ? "-" : "") + PartText(kSpanDays, packed, 1) + "d " + TimeText(packed);
}

std::string BytesOfWeekDate(std::string_view text)
{
    Scanner scan(text);
    uint64_t packed = 0;
    const bool good = scan.Part(kWeekYear, &packed) && scan.Take('-') && scan.Part(kWeekMonth, &packed) &&
                      scan.Take(' ') && scan.Take('w') && scan.Part(kWeekOfMonth, &packed) &&
                      scan.Take(' ') && scan.Take('d') && scan.Part(kWeekDay, &packed) && scan.AtEnd();
    if (!good) { throw Failure("a week date looks like 2024-05 w2 d0"); }
    return LittleEndian(packed, 3);
}

std::string TextOfWeekDate(uint64_t packed)
{
    return PartText(kWeekYear, packed, 4) + "-" + PartText(kWeekMonth, packed, 2) + " w" +
           PartText(kWeekOfMonth, packed, 1) + " d" + PartText(kWeekDay, packed, 1);
}

std::size_t NumberSize(u8 type) { return type == kU8 ? 1 : type == kU16 ? 2 : 4; }

std::string BytesOfNumber(u8 type, std::string_view text)
{
    const std::size_t size = NumberSize(type);
    const auto largest = static_cast<u32>(~uint64_t{0} >> (64 - 8 * size));
    Scanner scan(text);
    u32 number = 0;
    if (!scan.Number(&number) || !scan.AtEnd() || number > largest) {
        throw Failure("a number from 0 to " + std::to_string(largest) + " is expected");
    }
    return LittleEndian(number, size);
}

std::string BytesOfCategories(std::string_view text)
{
    Scanner scan(text);
    std::string bytes;
    do {
        u32 number = 0;
        if (!scan.Number(&number) || number < 1 || number > 254) {
            throw Failure("categories are numbers from 1 to 254, with commas between them");
        }
        bytes += static_cast<char>(number);
    } while (scan.Take(','));
    if (!scan.AtEnd()) { throw Failure("categories are numbers from 1 to 254, with commas between them"); }
    return bytes;
}

std::string TextOfCategories(std::string_view bytes)
{
    std::string text;
    for (const char c : bytes) { text += (text.empty() ? "" : ",") + std::to_string(static_cast<u8>(c)); }
    return text;
}

int HexDigit(char c)
{
    if (c >= '0' && c <= '9') { return c - '0'; }
    const int lower = std::tolower(static_cast<unsigned char>(c));
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::string BytesOfHex(std::string_view text)
{
    bool good = text.size() > 2 && text.size() % 2 == 0 && text.substr(0, 2) == "0x";
    std::string bytes;
    for (std::size_t i = 2; good && i < text.size(); i += 2) {
        const int high = HexDigit(text[i]);
        const int low = HexDigit(text[i + 1]);
        good = high >= 0 && low >= 0;
        bytes += static_cast<char>(high * 16 + low);
    }
    if (!good) { throw Failure("bytes are expected as 0x and pairs of hexadecimal digits"); }
    return bytes;
}

std::string HexOfBytes(std::string_view bytes)
{
    std::string text = "0x";
    for (const char c : bytes) {
        std::array<char, 4> pair{};
        (void)std::snprintf(pair.data(), pair.size(), "%02X", static_cast<unsigned>(static_cast<u8>(c)));
        text += pair.data();
    }
    return text;
}

std::string BytesOfUtf8(std::string_view text)
{
    if (!IsUtf8(text)) { throw Failure("the text is not valid UTF-8"); }
    return std::string(text);
}

std::string BytesOfSjis(std::string_view text)
{
    const std::optional<std::string> bytes = Converter("UTF-8", kShiftJis).Convert(text);
    if (!bytes) { throw Failure("the text has a character that Shift-JIS does not have"); }
    return *bytes;
}

std::string TextOfSjis(std::string_view bytes)
{
    return Converter(kShiftJis, "UTF-8").Convert(bytes).value_or(HexOfBytes(bytes));
}

}  // namespace

std::optional<u8> TypeByName(std::string_view name)
{
    for (const TypeRow& row : kTypes) {
        if (name == row.name) { return row.number; }
    }
    if (name == "utf8") { return kText; }
    Scanner scan(name);
    u32 number = 0;
    if (!scan.Number(&number) || !scan.AtEnd() || number > 255) { return std::nullopt; }
    return static_cast<u8>(number);
}

std::string TypeName(u8 type)
{
    for (const TypeRow& row : kTypes) {
        if (type == row.number) { return row.name; }
    }
    return std::to_string(type);
}

std::string TypeNames()
{
    std::string names;
    for (const TypeRow& row : kTypes) { names += std::string(names.empty() ? "" : ", ") + row.name; }
    return names;
}

std::string BytesOfText(u8 type, std::string_view text)
{
    if (text.empty()) { return ""; }
    switch (type) {
    case kText: return BytesOfUtf8(text);
    case kSjis:
    case kSjis2: return BytesOfSjis(text);
    case kDateTime: return BytesOfDateTime(text);
    case kSpan: return BytesOfSpan(text);
    case kWeekDate: return BytesOfWeekDate(text);
    case kU8:
    case kU16:
    case kU32: return BytesOfNumber(type, text);
    case kCategories: return BytesOfCategories(text);
    default: return BytesOfHex(text);
    }
}

std::string TextOfBytes(u8 type, std::string_view bytes)
{
    if (bytes.empty()) { return ""; }
    if (const std::optional<u32> number = NumberOfBytes(type, bytes)) { return std::to_string(*number); }
    switch (type) {
    case kText: return IsUtf8(bytes) ? std::string(bytes) : HexOfBytes(bytes);
    case kSjis:
    case kSjis2: return TextOfSjis(bytes);
    case kDateTime: return bytes.size() == 5 ? TextOfDateTime(LittleEndian(bytes)) : HexOfBytes(bytes);
    case kSpan: return bytes.size() == 5 ? TextOfSpan(LittleEndian(bytes)) : HexOfBytes(bytes);
    case kWeekDate: return bytes.size() == 3 ? TextOfWeekDate(LittleEndian(bytes)) : HexOfBytes(bytes);
    case kCategories: return TextOfCategories(bytes);
    default: return HexOfBytes(bytes);
    }
}

std::optional<u32> NumberOfBytes(u8 type, std::string_view bytes)
{
    const bool number = type == kU8 || type == kU16 || type == kU32;
    if (!number || bytes.size() != NumberSize(type)) { return std::nullopt; }
    return static_cast<u32>(LittleEndian(bytes));
}

}  // namespace tool

// SPDX-License-Identifier: MIT
// Search conditions by chance: sound ones against a second compiler, damaged ones and noise for robustness.
#include <random>

#include "tests/match/condition_case.h"

namespace {

using namespace condtest;

class RandomConditions : public ConditionCase {
protected:
    u32 below(u32 n) { return std::uniform_int_distribution<u32>(0, n - 1)(random_); }
    bool chance(u32 oneIn) { return below(oneIn) == 0; }
    u8 byte() { return static_cast<u8>(below(256)); }
    template <typename List>
    auto pick(const List& list)
    {
        return list[below(static_cast<u32>(std::size(list)))];
    }

    std::mt19937 random_{20261121};
};

// What a condition is made of, in both forms, with the flags of both compilers.
struct Sound {
    Bytes text;
    Bytes code;
    u8 convertFlags = 0;
    u8 searchFlags = 0;

    void add(const Bytes& moreText, const Bytes& moreCode)
    {
        text = text + moreText;
        code = code + moreCode;
    }
    void connect(u8 connector)
    {
        add(Op(connector), {connector});
        convertFlags |= 2;
        if (connector == 0x85 || connector == 0x87) { searchFlags |= 2; }
    }
    void flag(u8 flags)
    {
        convertFlags |= flags;
        searchFlags |= flags;
    }
};

constexpr u8 kTexts[] = {1, 16, 17};
constexpr u8 kTextOps[] = {0x90, 0x91, 0x92, 0x97, 0x98, 0x99, 0x9A, 0x9B};
constexpr u8 kNoValueOps[] = {0x94, 0x9E, 0x9F};
constexpr std::pair<u8, u32> kFixed[] = {{4, 5}, {5, 5}, {6, 2}, {7, 3}, {8, 2}, {11, 1}, {12, 1}, {18, 4}};
const std::string kLetters[] = {"a", "Z", "0", " ", "(", ")", "\xE3\x81\x82", "\xEF\xBD\xB1", "\xC3\xA9"};
const std::string kSjisLetters[] = {"a", "Z", "(", "\x82\xA0", "\xB6\xDE", "\xB1", "\x88\x9F", "\x83\x40"};

class SoundConditions : public RandomConditions {
protected:
    std::string word(u8 type)
    {
        std::string out;
        for (u32 n = below(6); n > 0; --n) { out += type == 17 ? pick(kLetters) : pick(kSjisLetters); }
        return out;
    }
    void addText(Sound* out)
    {
        const u8 type = pick(kTexts);
        const u8 op = pick(kTextOps);
        const bool binary = chance(2);
        const auto compiled = [&](const std::string& text) {
            return binary ? Binary(op, text, type) : ByCode(op, text, type);
        };
        std::string text = word(type);
        out->add((binary ? Op(0x95) : Bytes{}) + TextTest(op, text, type), compiled(text));
        while (chance(3)) {
            out->connect(chance(2) ? 0x84 : 0x85);
            text = "-" + word(type);  // an empty one repeats nothing
            out->add(B(text), compiled(text));
        }
    }
    void addTest(Sound* out)
    {
        if (chance(2)) { return addText(out); }
        const Bytes prefix = chance(2) ? Op(0x95) : Bytes{};
        const u8 kind = prefix.empty() ? 0x15 : 0x95;
        if (chance(3)) {
            const u8 op = pick(kNoValueOps);
            if (op == 0x94) { out->flag(1); }
            return out->add(prefix + Op(op), {kind, op});
        }
        const auto [type, size] = pick(kFixed);
        const u8 op = chance(2) ? 0x88 : 0x9A;
        Bytes value;
        for (u32 n = 0; n < size; ++n) {
            value.push_back(below(8) == 0 ? u8{0xFD} : static_cast<u8>(below(250)));
        }
        out->add(prefix + TestOf(op, type, value), Bytes{kind, op, type} + value);
    }
    Sound condition()
    {
        Sound out;
        for (u32 clauses = 1 + below(4); clauses > 0; --clauses) {
            if (chance(5)) {
                out.add(B("    "), {0xFF, 0xFF});
                out.flag(6);
            } else {
                const u32 type = below(21);
                out.add(Tag(type), Head(type));
            }
            addTest(&out);
            while (chance(3)) {
                out.connect(chance(2) ? 0x84 : 0x85);
                addTest(&out);
            }
            if (clauses > 1) { out.connect(chance(2) ? 0x86 : 0x87); }
        }
        return out;
    }
};

TEST_F(SoundConditions, CompileAsTheyAreMeant)
{
    for (int n = 0; n < 800; ++n) {
        const Sound sound = condition();
        ASSERT_EQ(convert(sound.text), (Compiled{0, sound.convertFlags, sound.code})) << n;
        ASSERT_EQ(search(sound.text), (Compiled{0, sound.searchFlags, sound.code})) << n;
    }
}

TEST_F(SoundConditions, DoNoHarmWhereTheyAreDamaged)
{
    u32 sound = 0;
    for (int n = 0; n < 2000; ++n) {
        Bytes text = condition().text;
        for (u32 changes = 1 + below(3); changes > 0 && !text.empty(); --changes) {
            const auto at = text.begin() + below(static_cast<u32>(text.size()));
            switch (below(4)) {
            case 0: *at = byte(); break;
            case 1: text.erase(at); break;
            case 2:
                text.insert(at, pick(Bytes{'(', ')', 0xFE, 0x84, 0x85, 0x86, 0x95, 0x96, 0x01, 0x00}));
                break;
            default: text.resize(static_cast<size_t>(at - text.begin())); break;
            }
        }
        const Compiled stored = convert(text);
        ASSERT_TRUE(stored.status == 0 || stored.status == 69) << stored.status;
        sound += stored.status == 0 ? 1 : 0;
        (void)search(text, below(300));
    }
    EXPECT_GT(sound, 200u);
    EXPECT_LT(sound, 1700u);
}

TEST_F(RandomConditions, NoiseDoesNoHarm)
{
    const u8 likely[] = {0xFE, 0xFE, 0xFE, 0x84, 0x85, 0x86, 0x87, 0x90, 0x92, 0x94, 0x95, 0x96, 0x9E,
                         1,    17,   6,    18,   '(',  ')',  ' ',  0,    0x82, 0xA0, 0xE3, 'T'};
    for (int n = 0; n < 3000; ++n) {
        Bytes text;
        while (!chance(12)) {
            switch (below(4)) {
            case 0: text = text + Tag(below(21)); break;
            case 1: text.push_back(byte()); break;
            default: text.push_back(pick(likely)); break;
            }
        }
        const Compiled stored = convert(text);
        ASSERT_TRUE(stored.status == 0 || stored.status == 69) << stored.status;
        (void)search(text, below(200));
    }
}

}  // namespace

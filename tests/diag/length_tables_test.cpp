// SPDX-License-Identifier: MIT
// The table of lengths in a card, and what the check makes of it.
#include "diag/bxd_diag_chain.h"
#include "tests/support/diag_case.h"

namespace {

using namespace boxtest;

class DiagLengths : public DiagCase {
protected:
    // What is found of a card that stands at the start of a file.
    u32 lengthCheck(const Bytes& card, u32* dead) const
    {
        put(card + Bytes{0xFF, 0xFF});
        const Fid fid(kBox);
        return DataLengthCheck(fid.id(), 0, Get32(card, 2), dead);
    }
};

TEST_F(DiagLengths, AllFormsOfLengthsAreAddedUp)
{
    const std::vector<Bytes> values = {Bytes{0x40}, Pattern(100), Bytes{}, Pattern(300), Pattern(20000)};
    for (const int form : {0, 4}) {
        CardForm shape;
        shape.lengthForm = form;
        Bytes card = EncodeCard(1, values, shape);
        u32 dead = 0;
        EXPECT_EQ(lengthCheck(card, &dead), 0u);
        Put32(card, 2, Get32(card, 2) - 1);
        EXPECT_EQ(lengthCheck(card, &dead), 71u);
        Put32(card, 2, Get32(card, 2) + 2);
        EXPECT_EQ(lengthCheck(card, &dead), 0u) << "slack";
        EXPECT_EQ(dead, 0u);
    }
}

TEST_F(DiagLengths, TheAttributeTellsATombstone)
{
    u32 dead = 5;
    for (u32 attr = 0; attr < 256; attr++) {
        const u32 before = dead;
        EXPECT_EQ(lengthCheck(EncodeCard(1, {Bytes{static_cast<u8>(attr)}, B("x")}), &dead), 0u);
        EXPECT_EQ(dead - before, (attr & 0x40) == 0 ? 1u : 0u);
    }
}

TEST_F(DiagLengths, TablesOfAnyLengthAreReadToTheirEnd)
{
    for (const size_t items :
         {size_t{120}, size_t{126}, size_t{127}, size_t{128}, size_t{129}, size_t{255}}) {
        CardForm shape;
        shape.lengthForm = 4;
        std::vector<Bytes> values(items, B("ab"));
        values[0] = Bytes{0};
        Bytes card = EncodeCard(1, values, shape);
        u32 dead = 0;
        EXPECT_EQ(lengthCheck(card, &dead), 0u) << items;
        EXPECT_EQ(dead, 1u) << items;
        card[10 + items * 4 - 1]++;  // the last length
        EXPECT_EQ(lengthCheck(card, &dead), 71u) << items;
    }
}

TEST_F(DiagLengths, LengthsBeyond32BitsDoNotComeRoundAgain)
{
    Bytes card = EncodeHead(1, 4 + 4 * 4 + 10) + Bytes{2, 0, 16, 0};
    for (int n = 0; n < 4; n++) { card = card + Bytes{0xFF, 0xFF, 0xFF, 0xFF}; }
    card.resize(card.size() + 10);
    Put16(card, 8, 16);
    u32 dead = 0;
    EXPECT_EQ(lengthCheck(card, &dead), 71u);
    EXPECT_EQ(dead, 0u);
}

TEST_F(DiagLengths, ACardThatTheFileCutsCannotBeRead)
{
    const Bytes card = EncodeCard(1, {Bytes{0x40}, B("name")});
    u32 dead = 0;
    for (const size_t n : {size_t{0}, size_t{8}, size_t{9}, size_t{10}, size_t{11}, size_t{12}}) {
        put(Slice(card, 0, n));
        const Fid fid(kBox);
        Captured quiet;
        EXPECT_EQ(DataLengthCheck(fid.id(), 0, Get32(card, 2), &dead), 71u) << n;
    }
    put(card);
    const Fid fid(kBox);
    Captured quiet;
    EXPECT_EQ(DataLengthCheck(fid.id(), 0xFFFFFFFA, 20, &dead), 71u);
    EXPECT_EQ(DataLengthCheck(fid.id(), 0x7FFFFFF8, 20, &dead), 71u);
    EXPECT_EQ(dead, 0u);
}

}  // namespace

// SPDX-License-Identifier: MIT
// What is sound by the tests' own reader of boxes passes the check at every level and stays as it is: boxes
// of all shapes, and boxes that the library has worked on.
#include <random>

#include "tests/support/diag_case.h"

namespace {

using namespace boxtest;

class SoundBoxes : public DiagCase {
protected:
    void expectPasses(const Bytes& file)
    {
        ASSERT_TRUE(IsSound(file));
        expectSoundAtAllLevels(file);
    }
};

TEST_F(SoundBoxes, WithoutCards)
{
    expectPasses(NewBoxImage("TEST"));
    for (const size_t items : {size_t{1}, size_t{4}, size_t{5}, size_t{100}, size_t{255}}) {
        expectPasses(BoxWithItems("TEST", NumberedItems(items)));
    }
}

TEST_F(SoundBoxes, OfOneSmallestCard)
{
    for (const size_t items : {size_t{1}, size_t{4}, size_t{50}, size_t{255}}) {
        BoxBuilder box(NumberedItems(items));
        box.card(1);
        expectPasses(box.build());
    }
}

TEST_F(SoundBoxes, OfAllFormsOfLengths)
{
    for (const int form : {0, 4}) {
        BoxBuilder box(NumberedItems(255));
        CardForm shape;
        shape.lengthForm = form;
        shape.slack = 3;
        box.card(1, box.row({{"I000", Pattern(20000)}, {"I001", Pattern(300)}}), shape);
        box.card(2, box.row({{"ATTR", Bytes{0}}}), shape);
        box.systemCard(3, 65281, box.row(), shape);
        box.editCard(box.row(), shape);
        expectPasses(box.build());
    }
}

TEST_F(SoundBoxes, WithTablesInAllPlaces)
{
    for (const u32 id : {500u, 501u, 628u, 629u, 5000u}) {
        BoxBuilder behind;
        behind.card(id);
        behind.card(1);
        expectPasses(behind.build());
        BoxBuilder before;
        before.reserveOffsetCard(70);
        before.makeTablesFor(id);
        before.dead(6);
        before.card(id);
        expectPasses(before.build());
    }
}

TEST_F(SoundBoxes, WithTheHighestId)
{
    BoxBuilder box;
    box.card(65279);
    box.setField(hd::unUsedCardID, 1);
    expectPasses(box.build());
}

TEST_F(SoundBoxes, WithTenSystemCards)
{
    BoxBuilder box;
    box.extInfoCard(Pattern(40));
    for (u32 n = 1; n <= 10; n++) { box.systemCard(n, 65280 + n, box.row()); }
    box.card(1);
    expectPasses(box.build());
}

TEST_F(SoundBoxes, WithAnOffsetCardPositionOfNought)
{
    BoxBuilder box;
    box.card(1);
    Bytes file = box.build();
    SetField(file, hd::offsetCard, 0);
    expectPasses(file);
}

TEST_F(SoundBoxes, OfRandomShapes)
{
    std::mt19937 random(20);
    const auto below = [&random](u32 n) { return static_cast<u32>(random() % n); };
    for (int run = 0; run < 40; run++) {
        BoxBuilder box(NumberedItems(1 + below(12)));
        std::set<u32> ids;
        u32 slot = 1;
        bool indexed = false;
        bool listed = false;
        const u32 top = run % 3 == 0 ? 3000 : 600;
        for (u32 n = below(40); n > 0; n--) {
            const u32 id = 1 + below(top);
            CardForm shape;
            shape.slack = below(4);
            switch (below(8)) {
            case 0: box.dead(6 + below(50)); break;
            case 1:
                if (slot <= 10) { box.systemCard(slot, 65280 + slot, box.row(), shape); }
                slot++;
                break;
            case 2:
                if (!indexed) { box.indexTable({}); }
                indexed = true;
                break;
            case 3:
                if (!listed) { box.reserveOffsetCard(20); }
                listed = true;
                break;
            case 4:
                if (ids.count(id) == 0) { box.killSlot(id); }
                break;
            default:
                if (!ids.insert(id).second) { break; }
                box.card(id, box.row({{"ATTR", Bytes{static_cast<u8>(below(4) == 0 ? 0 : 0x40)}}}), shape);
            }
        }
        box.setField(hd::unUsedCardID, 1);
        expectPasses(box.build());
        if (HasFailure()) { return; }
    }
}

// --- what the library leaves ------------------------------------------------------------------------------

TEST_F(SoundBoxes, ThatTheLibraryHasMadeAndWorkedOn)
{
    ASSERT_EQ(_BoxCreate(kBox, 1), 0u);
    expectPasses(get());
    const ItemRecord item = {1, 0, {'N', 'A', 'M', 'E'}, "name"};
    u32 rewritten = 0;
    ASSERT_EQ(_BoxItemAppend(kBox, &item, 1, &rewritten), 0u);
    expectPasses(get());
    ASSERT_EQ(_IndexCreate(kDiagIndex, BXD_INDEX_MASTER), 0u);
    expectSoundAtAllLevels(get(kDiagIndex), kDiagIndex);
    const std::string name = "TEST.BOX";
    ASSERT_EQ(_IndexInfoWrite(kDiagIndex, IDXINF_BOX_NAME, reinterpret_cast<const u8*>(name.data()), 8), 0u);
    expectPasses(get());
    {
        const OpenBox box(kBox);
        ASSERT_TRUE(box.ok());
        for (u32 n = 1; n <= 700; n++) {
            u16 edit = TMP_SYSTEM_CARD_ID;
            u16 id = 0;
            const CardDescriptor key = Key(TMP_SYSTEM_CARD_ID, "NAME");
            ASSERT_EQ(_CardCreate(box.handle(), &edit), 0u);
            ASSERT_EQ(_CardWrite(box.handle(), &key, Tag("text"), 4), 0u);
            ASSERT_EQ(_CardCopy(box.handle(), edit, &id), 0u);
            if (n % 5 == 0) { ASSERT_EQ(_CardDelete(box.handle(), id), 0u); }
        }
    }
    expectPasses(get());
    expectSoundAtAllLevels(get(kDiagIndex), kDiagIndex);
    EXPECT_EQ(TakeIndexTableApart(get()).names(), std::vector<std::string>{"TEST.IDX"});
}

}  // namespace

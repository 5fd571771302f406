// SPDX-License-Identifier: MIT
// A card under edit takes the place of a card that is there: in its old place where the room fits, with what
// is left over as a dead card, or behind the last card.
#include <bxd/bxd.h>

#include "box/bxd_card_copy.h"
#include "box/bxd_card_delete.h"
#include "box/bxd_garb.h"
#include "tests/support/card_helpers.h"

namespace {

using namespace cardtest;
namespace hd = boxtest::hd;

constexpr u16 kEdit = TMP_SYSTEM_CARD_ID;

// --- the image in RAM over a card that is there ------------------------------------------------------------

// Stored cards 1 to 4 of one size each. The card under edit gets the size that a test asks for.
class ReplaceFromRam : public CardTest {
protected:
    static constexpr u32 kTotal = 126;  // of each stored card: 26 bytes and a value of 100

    void SetUp() override
    {
        make();
        for (u32 n = 1; n <= 4; n++) { ASSERT_EQ(n, add({"name", Stuff(100, n), "memo"})); }
        ASSERT_EQ(kTotal, file().total(file().slot(2)));
    }
    // Own values that make a card of so many bytes.
    static Values own(u32 total)
    {
        for (u32 length = total - 26; length > 0; length--) {
            Values values{"NAME", Stuff(length, 77), "MEMO"};
            if (Card(1, Live(values)).size() == total) { return values; }
        }
        ADD_FAILURE() << "no card has a total of " << total;
        return {};
    }
    static Bytes card(u32 id, u32 total) { return Card(id, Live(own(total))); }
    // The new card in the old place of `id`, followed by a dead card of `rest` bytes if that is not 0.
    static BoxBytes inPlace(BoxBytes want, u32 id, u32 total, u32 rest)
    {
        const u32 pos = want.slot(id);
        want.put(pos, card(id, total));
        if (rest > 0) {
            want.putHalf(pos + total, 0);
            want.putWord(pos + total + 2, rest - 6);
        }
        return want;
    }
    // The new card behind the last one.
    static BoxBytes behind(BoxBytes want, u32 id, u32 total)
    {
        const u32 old = want.slot(id);
        want.setSlot(id, want.addCard(card(id, total)));
        want.kill(old);
        return want;
    }
    // Replaces the card by one of `total` bytes; both counters move by `garbage`.
    void replace(u16 id, u32 total, BoxBytes want, long long garbage)
    {
        const u32 ram = ramGarbage();
        const u32 stored = file().garbage();
        edit(own(total));
        ASSERT_EQ(BXD_OK, copy(kEdit, id));
        want.setField(hd::garbageSize, static_cast<u32>(stored + garbage));
        EXPECT_TRUE(Same(want, file()));
        EXPECT_EQ(ram + static_cast<u32>(garbage), ramGarbage());
        expectNoEdit();
        EXPECT_TRUE(Sound(file()));
    }
};

TEST_F(ReplaceFromRam, TheSameTotalTakesTheOldPlaceAndLeavesNoGarbage)
{
    replace(2, kTotal, inPlace(file(), 2, kTotal, 0), 0);
    EXPECT_EQ(own(kTotal)[1], Read(box, 2, "I001"));
}

TEST_F(ReplaceFromRam, ACardShorterBySixBytesOrMoreTakesTheOldPlaceWithADeadCardBehind)
{
    for (const u32 shorter : {6u, 7u, 50u}) {
        replace(2, kTotal - shorter, inPlace(file(), 2, kTotal - shorter, shorter), shorter);
        // And back to the old size: the dead card behind is room of the place.
        replace(2, kTotal, inPlace(file(), 2, kTotal, 0), -static_cast<long long>(shorter));
    }
}

TEST_F(ReplaceFromRam, ACardShorterByOneToFiveBytesDoesNotTakeTheOldPlace)
{
    for (const u16 id : {u16{1}, u16{2}, u16{3}}) {
        for (const u32 shorter : {1u, 5u}) {
            const BoxBytes before = file();
            const u32 total = before.total(before.slot(id));
            replace(id, total - shorter, behind(before, id, total - shorter), total);
            (void)add({"behind"});
        }
    }
}

TEST_F(ReplaceFromRam, ALongerCardGoesBehindTheLastOne)
{
    replace(2, kTotal + 1, behind(file(), 2, kTotal + 1), kTotal);
    replace(1, 9000, behind(file(), 1, 9000), kTotal);
}

TEST_F(ReplaceFromRam, DeadCardsBehindTheTargetAreRoom)
{
    kill(3);
    replace(2, 2 * kTotal, inPlace(file(), 2, 2 * kTotal, 0), -static_cast<long long>(kTotal));
}

TEST_F(ReplaceFromRam, ARestOfTheRoomStaysDead)
{
    kill(3);
    replace(2, kTotal + 20, inPlace(file(), 2, kTotal + 20, kTotal - 20), -20);
    replace(2, kTotal - 30, inPlace(file(), 2, kTotal - 30, kTotal + 30), 50);
    replace(2, 2 * kTotal - 6, inPlace(file(), 2, 2 * kTotal - 6, 6), -24 - static_cast<long long>(kTotal));
}

TEST_F(ReplaceFromRam, ARestOfOneToFiveBytesIsNoRoom)
{
    kill(3);
    const BoxBytes before = file();
    for (const u32 rest : {5u, 1u}) {
        replace(2, 2 * kTotal - rest, behind(before, 2, 2 * kTotal - rest), kTotal);
        close();
        put(before.all(), kName);
        open();
    }
}

TEST_F(ReplaceFromRam, OneByteMoreThanTheRoomGoesBehindTheLastCard)
{
    kill(3);
    replace(2, 2 * kTotal + 1, behind(file(), 2, 2 * kTotal + 1), kTotal);
}

TEST_F(ReplaceFromRam, SeveralDeadCardsBehindTheTargetAreOneRoom)
{
    kill(2);
    kill(3);
    replace(1, 3 * kTotal, inPlace(file(), 1, 3 * kTotal, 0), -2 * static_cast<long long>(kTotal));
}

TEST_F(ReplaceFromRam, DeadCardsBeforeTheTargetAreNoRoom)
{
    kill(1);
    replace(2, kTotal + 1, behind(file(), 2, kTotal + 1), kTotal);
}

TEST_F(ReplaceFromRam, TheLastCardTakesItsPlaceWhateverTheSize)
{
    for (const u32 total : {kTotal, kTotal + 1, 5000u, kTotal, kTotal - 3, 40u, 29u}) {
        BoxBytes want = file();
        want.replaceLast(want.slot(4), card(4, total));
        replace(4, total, want, 0);
    }
}

TEST_F(ReplaceFromRam, TheLastCardBeforeDeadOnesTakesThemAlong)
{
    const BoxBytes before = file();
    for (const u32 total : {kTotal, kTotal + 10, 2 * kTotal, 2 * kTotal - 3, 2 * kTotal + 3, 1000u, 30u}) {
        SCOPED_TRACE(total);
        kill(3);
        kill(4);  // the last card is cut off; card 2 now has a dead card and the end mark behind it
        BoxBytes want = file();
        want.replaceLast(want.slot(2), card(2, total));
        replace(2, total, want, -static_cast<long long>(kTotal));
        close();
        put(before.all(), kName);
        open();
    }
}

TEST_F(ReplaceFromRam, ATargetOfAnAppendTableIsReplacedToo)
{
    close();
    boxtest::BoxBuilder b(boxtest::NumberedItems(7));
    b.card(501, b.row({{"I001", boxtest::Pattern(100)}}));
    b.card(629);
    b.card(502);
    start(b.build());
    replace(501, 118, inPlace(file(), 501, 118, 0), 0);
    replace(501, 400, behind(file(), 501, 400), 118);
    replace(629, 500, behind(file(), 629, 500), 18);
}

TEST_F(ReplaceFromRam, NothingOfTheCountersOfIdsMoves)
{
    edit(own(kTotal + 9));
    const BoxBytes before = file();
    ASSERT_EQ(BXD_OK, copy(kEdit, 2));
    EXPECT_EQ(before.cardCount(), file().cardCount());
    EXPECT_EQ(before.hint(), file().hint());
    EXPECT_EQ(before.maxId(), file().maxId());
}

TEST_F(ReplaceFromRam, AStoredCardComesOutIsChangedAndGoesBack)
{
    const BoxBytes before = file();
    ASSERT_EQ(BXD_OK, copy(2, kEdit));
    EXPECT_TRUE(Same(before, file()));
    Bytes image = before.part(before.slot(2), kTotal);
    boxtest::Put16(image, 0, kEdit);
    EXPECT_EQ(image, EditImage(box));
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I000", "NAME"));
    ASSERT_EQ(BXD_OK, copy(kEdit, 2));
    BoxBytes want = before;
    want.put(want.slot(2), Card(2, Live({"NAME", Stuff(100, 2), "memo"})));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(4u, file().cardCount());
}

// --- the image in RAM and system cards ---------------------------------------------------------------------

class SystemCards : public CardTest {};

TEST_F(SystemCards, ASystemCardIsMadeFromRamAndEnteredInTheFirstFreeSlot)
{
    make();
    (void)add({"one"});
    BoxBytes want = file();
    for (u32 n = 0; n < 10; n++) {
        const u16 id = static_cast<u16>(n == 9 ? 65519 : 65281 + n);
        addSystem(id, {"system", "", ""});
        want.setEntry(n + 1, want.addCard(Card(id, Live({"system", "", ""}))));
        EXPECT_TRUE(Same(want, file())) << id;
        expectNoEdit();
    }
    EXPECT_EQ("system", Read(box, 65519, "I000"));
    EXPECT_TRUE(Sound(file()));
    edit({"eleventh"});
    EXPECT_EQ(BXD_ERR_FAIL, copy(kEdit, 65400));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ("eleventh", Read(box, kEdit, "I000"));
    ASSERT_EQ(BXD_OK, CardDeleteSub(*box, kEdit, 0));
    ASSERT_EQ(BXD_OK, CardDeleteSub(*box, 65283, 0));
    addSystem(65400, {"eleventh"});
    EXPECT_EQ(65400u, file().half(file().entry(3)));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(SystemCards, TheFirstCardOfABoxMayBeASystemCard)
{
    make();
    BoxBytes want = file();
    addSystem(65300, {"system", "", ""});
    want.setEntry(1, want.addCard(Card(65300, Live({"system", "", ""}))));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(SystemCards, ASystemCardIsReplacedFromRam)
{
    make();
    (void)add({"one"});
    addSystem(65300, {"first", Stuff(50), ""});
    addSystem(65301, {"second", Stuff(50), ""});
    (void)add({"two"});
    const u32 ram = ramGarbage();
    BoxBytes want = file();
    const u32 total = want.total(want.entry(1));

    edit({"FIRST", Stuff(50, 5), ""});  // the same size
    ASSERT_EQ(BXD_OK, copy(kEdit, 65300));
    want.put(want.entry(1), Card(65300, Live({"FIRST", Stuff(50, 5), ""})));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(ram, ramGarbage());

    edit({"FIRST", Stuff(90, 5), ""});  // larger: behind the last card, in the same slot
    ASSERT_EQ(BXD_OK, copy(kEdit, 65300));
    const u32 old = want.entry(1);
    want.setEntry(1, want.addCard(Card(65300, Live({"FIRST", Stuff(90, 5), ""}))));
    want.kill(old);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(ram + total, ramGarbage());

    edit({"FIRST", Stuff(4000, 5), ""});  // the last card now: where it stands
    ASSERT_EQ(BXD_OK, copy(kEdit, 65300));
    want.replaceLast(want.entry(1), Card(65300, Live({"FIRST", Stuff(4000, 5), ""})));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

// --- the card under edit in the file over a card that is there ---------------------------------------------

class ReplaceFromFile : public CardTest {
protected:
    // Stored cards with values of these lengths, from id 1 on.
    void stored(const std::vector<u32>& lengths)
    {
        make();
        for (const u32 length : lengths) { (void)add({"name", Stuff(length), "memo"}); }
    }
    void replace(u16 target, const BoxBytes& want, long long garbage)
    {
        const u32 ram = ramGarbage();
        ASSERT_EQ(BXD_OK, copy(kEdit, target));
        EXPECT_TRUE(Same(want, file()));
        EXPECT_EQ(ram + static_cast<u32>(garbage), ramGarbage());
        expectNoEdit();
        EXPECT_EQ(Stuff(12000), Read(box, target, "I001"));
        EXPECT_TRUE(Sound(file()));
    }
};

TEST_F(ReplaceFromFile, TheLastCardSlidesDownOverATargetDirectlyBeforeIt)
{
    for (const u32 length : {500u, 9000u, 13000u, 20000u}) {
        SCOPED_TRACE(length);
        make(3, 30000);
        (void)add({"one", "", ""});
        (void)add({"two", Stuff(length), "memo"});
        close();
        ASSERT_EQ(BXD_OK, _WriteSystemcardSizeL(kName, 4096));
        open();
        const Values values = spill();
        BoxBytes want = file();
        const u32 pos = want.slot(2);
        want.cut(pos);
        want.put(pos, Card(2, values) + Bytes{0xFF, 0xFF});
        replace(2, want, 0);
        close();
        ASSERT_EQ(BXD_OK, _BoxDelete(kName));
    }
}

TEST_F(ReplaceFromFile, DeadCardsBetweenTargetAndSourceGoWithTheSlide)
{
    stored({10, 200, 300});
    const Values values = spill();
    BoxBytes sized = file();
    const u32 dead = sized.total(sized.slot(3));
    kill(3);
    BoxBytes want = file();
    const u32 pos = want.slot(2);
    want.cut(pos);
    want.put(pos, Card(2, values) + Bytes{0xFF, 0xFF});
    want.addGarbage(-static_cast<long long>(dead));
    replace(2, want, -static_cast<long long>(dead));
}

TEST_F(ReplaceFromFile, ATargetOfTheSameTotalTakesTheLastCardIn)
{
    make(3, 30000);
    (void)add({"one", "", ""});
    (void)add({"NAME", Stuff(12000, 5), "MEMO"});
    (void)add({"three", "", ""});
    close();
    ASSERT_EQ(BXD_OK, _WriteSystemcardSizeL(kName, 4096));
    open();
    const Values values = spill();
    BoxBytes want = file();
    const u32 source = (*box)->tmpCardOffset;
    want.cutCard(source);
    want.put(want.slot(2), Card(2, values));
    replace(2, want, 0);
}

TEST_F(ReplaceFromFile, ALargerTargetTakesTheLastCardInWithADeadCardBehind)
{
    for (const u32 larger : {6u, 7u, 3000u}) {
        SCOPED_TRACE(larger);
        make(3, 30000);
        (void)add({"one", "", ""});
        (void)add({"NAME", Stuff(12000 + larger, 5), "MEMO"});
        (void)add({"three", "", ""});
        close();
        ASSERT_EQ(BXD_OK, _WriteSystemcardSizeL(kName, 4096));
        open();
        const Values values = spill();
        BoxBytes want = file();
        want.cutCard((*box)->tmpCardOffset);
        const Bytes card = Card(2, values);
        const u32 dead = want.slot(2) + static_cast<u32>(card.size());
        want.put(want.slot(2), card);
        want.putHalf(dead, 0);
        want.putWord(dead + 2, larger - 6);
        want.addGarbage(larger);
        replace(2, want, larger);
        close();
        ASSERT_EQ(BXD_OK, _BoxDelete(kName));
    }
}

TEST_F(ReplaceFromFile, DeadCardsBehindTheTargetAreRoomForTheLastCard)
{
    for (const u32 second : {6000u, 7000u}) {
        SCOPED_TRACE(second);
        make(3, 30000);
        (void)add({"name", Stuff(5973, 5), "memo"});  // with the next one of 6000 exactly the source's total
        (void)add({"name", Stuff(second, 6), "memo"});
        (void)add({"three", "", ""});
        close();
        ASSERT_EQ(BXD_OK, _WriteSystemcardSizeL(kName, 4096));
        open();
        const Values values = spill();
        const u32 dead = file().total(file().slot(2));
        const u32 room = dead + file().total(file().slot(1));
        kill(2);
        BoxBytes want = file();
        want.cutCard((*box)->tmpCardOffset);
        const Bytes card = Card(1, values);
        const u32 total = static_cast<u32>(card.size());
        ASSERT_EQ(second == 6000, room == total);
        want.put(want.slot(1), card);
        if (room > total) {
            want.putHalf(want.slot(1) + total, 0);
            want.putWord(want.slot(1) + total + 2, room - total - 6);
        }
        const long long grown = static_cast<long long>(room) - total - dead;
        want.addGarbage(grown);
        replace(1, want, grown);
        close();
        ASSERT_EQ(BXD_OK, _BoxDelete(kName));
    }
}

TEST_F(ReplaceFromFile, ATargetThatIsTooSmallOrLeavesOneToFiveBytesIsKilled)
{
    for (const u32 length : {500u, 11999u, 12001u, 12005u}) {
        SCOPED_TRACE(length);
        make(3, 30000);
        (void)add({"one", "", ""});
        (void)add({"NAME", Stuff(length, 5), "MEMO"});
        (void)add({"three", "", ""});
        close();
        ASSERT_EQ(BXD_OK, _WriteSystemcardSizeL(kName, 4096));
        open();
        (void)spill();
        BoxBytes want = file();
        const u32 source = (*box)->tmpCardOffset;
        const u32 old = want.slot(2);
        want.putHalf(source, 2);
        want.setSlot(2, source);
        want.kill(old);
        replace(2, want, want.total(old));
        close();
        ASSERT_EQ(BXD_OK, _BoxDelete(kName));
    }
}

TEST_F(ReplaceFromFile, ACardThatIsNotTheLastIsCopiedBehindTheLastAndKilled)
{
    stored({10, 20, 30});
    const Values values = spill();
    EXPECT_EQ(4, copyNew(1));
    BoxBytes want = file();
    const u32 source = (*box)->tmpCardOffset;
    const u32 old = want.slot(2);
    want.setSlot(2, want.addCard(Card(2, values)));
    want.kill(old);
    want.kill(source);
    replace(2, want, static_cast<long long>(want.total(old)) + want.total(source));
    EXPECT_EQ(4u, file().cardCount());
}

TEST_F(ReplaceFromFile, TheLastCardBeforeTheSourceIsTheTarget)
{
    // Target, source and a copy behind it: the target's run ends at the source, but the source is not last.
    stored({10, 20});
    const Values values = spill();
    EXPECT_EQ(3, copyNew(1));
    BoxBytes want = file();
    const u32 source = (*box)->tmpCardOffset;
    const u32 old = want.slot(2);
    ASSERT_EQ(old + want.total(old), source);
    want.setSlot(2, want.addCard(Card(2, values)));
    want.kill(old);
    want.kill(source);
    replace(2, want, static_cast<long long>(want.total(old)) + want.total(source));
}

TEST_F(ReplaceFromFile, ACardInTheFileBecomesASystemCard)
{
    stored({10});
    (void)spill();
    BoxBytes want = file();
    const u32 source = (*box)->tmpCardOffset;
    want.putHalf(source, 65300);
    want.setEntry(1, source);
    replace(65300, want, 0);
}

TEST_F(ReplaceFromFile, ACardInTheFileTakesTheSlotOfASystemCard)
{
    stored({10});
    addSystem(65299, {"other", "", ""});
    addSystem(65300, {"old", "", ""});
    (void)add({"between", "", ""});
    (void)spill();
    BoxBytes want = file();
    const u32 source = (*box)->tmpCardOffset;
    const u32 old = want.entry(2);
    want.putHalf(source, 65300);
    want.kill(old);
    want.setEntry(2, source);
    replace(65300, want, want.total(old));
}

TEST_F(ReplaceFromFile, ACardInTheFileThatIsNotTheLastBecomesASystemCard)
{
    stored({10});
    addSystem(65300, {"old", "", ""});
    const Values values = spill();
    EXPECT_EQ(2, copyNew(1));
    BoxBytes want = file();
    const u32 source = (*box)->tmpCardOffset;
    const u32 old = want.entry(1);
    const u32 pos = want.addCard(Card(65300, values));
    want.kill(old);
    want.setEntry(1, pos);
    want.kill(source);
    replace(65300, want, static_cast<long long>(want.total(old)) + want.total(source));
}

}  // namespace

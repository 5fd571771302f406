// SPDX-License-Identifier: MIT
// Writing an item of a system card that stands in the file: the decision table. And the end of the card under
// edit and of system cards.
#include "box/bxd_card_write.h"

#include <bxd/bxd.h>

#include "box/bxd_card_delete.h"
#include "box/bxd_garb.h"
#include "storage/heapwrapper.h"
#include "tests/box/card_write_case.h"

namespace {

using namespace cardtest;
namespace hd = boxtest::hd;

// Stored card 1, system card 65300 in the middle, stored card 2, system card 65301 at the end.
class SystemCardWrite : public CardWrite {
protected:
    static constexpr u16 kMiddle = 65300;
    static constexpr u16 kLast = 65301;

    void SetUp() override
    {
        make(3);
        (void)add({"one", "", ""});
        addSystem(kMiddle, own());
        (void)add({"two", "", ""});
        addSystem(kLast, own());
        ASSERT_TRUE(Sound(file()));
        ASSERT_TRUE(file().isLast(file().entry(2)));
    }
    static Values own() { return {"name", Stuff(60, 1), "memo"}; }
    static Values with(const std::string& value) { return Live({"name", value, "memo"}); }
    BoxBytes last(const Values& values) const
    {
        BoxBytes want = file();
        want.replaceLast(want.entry(2), Card(kLast, values));
        return want;
    }
    BoxBytes movedSystem(u16 id, u32 slot, const Values& values) const
    {
        BoxBytes want = file();
        const u32 pos = want.addCard(Card(id, values));
        want.kill(want.entry(slot));
        want.setEntry(slot, pos);
        return want;
    }
};

TEST_F(SystemCardWrite, AnEqualLengthIsPatchedInPlace)
{
    for (const auto& [id, slot] : {std::pair{kMiddle, 1u}, std::pair{kLast, 2u}}) {
        BoxBytes want = file();
        ASSERT_EQ(BXD_OK, Write(box, id, "I001", Stuff(60, 9)));
        want.put(want.entry(slot), Card(id, with(Stuff(60, 9))));
        EXPECT_TRUE(Same(want, file()));
        ASSERT_EQ(BXD_OK, WriteAt(box, id, "I001", "end", 57));
        want.put(want.entry(slot), Card(id, with(Stuff(60, 9).substr(0, 57) + "end")));
        EXPECT_TRUE(Same(want, file()));
        ASSERT_EQ(BXD_OK, WriteAt(box, id, "I001", "", 60));
        ASSERT_EQ(BXD_OK, Write(box, id, "cTTM", ""));
        EXPECT_TRUE(Same(want, file()));
    }
}

TEST_F(SystemCardWrite, TheLastCardGrowsAndShrinksWhereItStands)
{
    const u32 ram = ramGarbage();
    for (const u32 length : {61u, 500u, 40000u, 16383u, 128u, 127u, 0u, 300u}) {
        SCOPED_TRACE(length);
        const BoxBytes want = last(with(Stuff(length, 4)));
        ASSERT_EQ(BXD_OK, Write(box, kLast, "I001", Stuff(length, 4)));
        EXPECT_TRUE(Same(want, file()));
    }
    EXPECT_EQ(ram, ramGarbage());
    EXPECT_TRUE(Sound(file()));
}

TEST_F(SystemCardWrite, TheLastCardTakesASourceFileWhereItStands)
{
    for (const u32 length : {60u, 61u, 70000u, 70000u, 200u, 0u, 10u}) {
        SCOPED_TRACE(length);
        source(Stuff(length, length + 1));
        const BoxBytes want = last(with(Stuff(length, length + 1)));
        ASSERT_EQ(BXD_OK, WriteFrom(box, kLast, "I001", kSource));
        EXPECT_TRUE(Same(want, file()));
    }
    EXPECT_TRUE(Sound(file()));
}

TEST_F(SystemCardWrite, TheLastCardTakesATailWhereItStands)
{
    BoxBytes want = last(with(Stuff(60, 1).substr(0, 20) + Stuff(300, 2)));
    ASSERT_EQ(BXD_OK, WriteAt(box, kLast, "I001", Stuff(300, 2), 20));
    EXPECT_TRUE(Same(want, file()));
    want = last(with(Stuff(60, 1).substr(0, 20) + "x"));
    ASSERT_EQ(BXD_OK, WriteAt(box, kLast, "I001", "x", 20));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(BXD_ERR_RANGE, WriteAt(box, kLast, "I001", "x", 22));
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(SystemCardWrite, AnotherCardMovesAndItsSlotWithIt)
{
    for (const u32 length : {61u, 59u, 0u, 40000u}) {
        SCOPED_TRACE(length);
        const u32 ram = ramGarbage();
        const BoxBytes before = file();
        const BoxBytes want = movedSystem(kMiddle, 1, with(Stuff(length, 4)));
        ASSERT_EQ(BXD_OK, Write(box, kMiddle, "I001", Stuff(length, 4)));
        EXPECT_TRUE(Same(want, file()));
        EXPECT_EQ(want.entry(1), (*box)->tmpCardOffset);
        EXPECT_EQ(ram + before.total(before.entry(1)), ramGarbage());
        ASSERT_EQ(BXD_OK,
                  Write(box, 1, "I000", Stuff(length % 100 + 40)));  // the middle card is in the middle again
    }
    EXPECT_TRUE(Sound(file()));
}

TEST_F(SystemCardWrite, AnotherCardMovesForASourceFileOfAnyLength)
{
    for (const u32 length : {60u, 61u, 5u, 40000u, 0u}) {
        SCOPED_TRACE(length);
        source(Stuff(length, 4));
        const BoxBytes want = movedSystem(kMiddle, 1, with(Stuff(length, 4)));
        ASSERT_EQ(BXD_OK, WriteFrom(box, kMiddle, "I001", kSource));
        EXPECT_TRUE(Same(want, file()));
        ASSERT_EQ(BXD_OK, Write(box, 1, "I000", Stuff(length % 100 + 40)));
    }
}

TEST_F(SystemCardWrite, TheAttributeOfASystemCardTakesAllBitsWhateverTheKeySpells)
{
    BoxBytes want = file();
    const CardDescriptor key = PatchKey(kMiddle, "ATTR", "ATTR");
    const u8 value = 0x13;
    ASSERT_EQ(BXD_OK, Write(box, kMiddle, "ATTR", "\x05"));
    ASSERT_EQ(BXD_OK, _CardWrite(box, &key, &value, 1));
    want.putByte(want.entry(1) + 17, 0x53);
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(SystemCardWrite, ACardThatIsNotThereIsNotFound)
{
    const BoxBytes before = file();
    for (const u16 id : {u16{65280}, u16{65281}, u16{65519}, u16{65535}}) {
        EXPECT_EQ(BXD_ERR_NOTFOUND, Write(box, id, "I001", "x"));
    }
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(SystemCardWrite, TheTenthSlotIsWrittenToo)
{
    for (u32 n = 2; n < 10; n++) { addSystem(static_cast<u16>(65300 + n), own()); }
    (void)add({"behind", "", ""});
    const BoxBytes want = movedSystem(65309, 10, with("changed"));
    ASSERT_EQ(BXD_OK, Write(box, 65309, "I001", "changed"));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ("changed", Read(box, 65309, "I001"));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(SystemCardWrite, RewritingAnotherSystemCardLosesTheCardUnderEditInTheFile)
{
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", Stuff(12000)));
    ASSERT_EQ(BXD_OK, Write(box, kMiddle, "I001", "changed"));
    EXPECT_EQ(file().entry(1), (*box)->tmpCardOffset);
    EXPECT_EQ(BXD_ERR_FAIL, Write(box, kEdit, "I001", Stuff(12000)));
    EXPECT_EQ("status 71", Read(box, kEdit, "I001"));
    u16 id = 0;
    EXPECT_EQ(BXD_ERR_FAIL, _CardCopy(box, kEdit, &id));
    // Closing cannot delete it either; it is left for the collector.
    EXPECT_EQ(BXD_ERR_FAIL, _BoxClose(box));
    box = nullptr;
    EXPECT_TRUE(Sound(file()));
}

TEST_F(SystemCardWrite, AnySystemIdReadsTheCardUnderEditThatLiesInTheFile)
{
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", Stuff(12000)));
    EXPECT_EQ(Stuff(12000), Read(box, kMiddle, "I001"));
    EXPECT_EQ(Stuff(12000), Read(box, 65519, "I001"));
    EXPECT_EQ(BXD_OK, Write(box, kMiddle, "I001", Stuff(60, 8)));  // a write goes to the card itself
    EXPECT_EQ(B(Stuff(60, 8)), B(file().valuesAt(file().entry(1))[5]));
}

// --- deletion of the card under edit and of system cards ---------------------------------------------------

TEST_F(SystemCardWrite, CardZeroCannotBeDeleted)
{
    const BoxBytes before = file();
    EXPECT_EQ(BXD_ERR_NOTFOUND, CardDeleteSub(*box, 0, 0));
    EXPECT_EQ(BXD_ERR_NOTFOUND, CardDeleteSub(*box, 0, 1));
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(SystemCardWrite, DeletingTheCardUnderEditInRamTouchesNoFile)
{
    const BoxBytes before = file();
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I000", "gone"));
    ASSERT_EQ(BXD_OK, CardDeleteSub(*box, kEdit, 0));
    EXPECT_EQ(0, state());
    EXPECT_EQ(nullptr, (*box)->tmpCardWork);
    EXPECT_TRUE(Same(before, file()));
    EXPECT_EQ("status 66", Read(box, kEdit, "I000"));
    EXPECT_EQ(BXD_ERR_NOTFOUND, CardDeleteSub(*box, kEdit, 0));
    EXPECT_EQ(BXD_OK, create());
}

TEST_F(SystemCardWrite, DeletingTheCardUnderEditInTheFileKillsIt)
{
    const BoxBytes before = file();
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", Stuff(12000)));
    ASSERT_EQ(BXD_OK, CardDeleteSub(*box, kEdit, 1));
    EXPECT_EQ(0, state());
    EXPECT_EQ(nullptr, (*box)->tmpCardWork);
    EXPECT_TRUE(Same(before, file()));

    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", Stuff(12000)));
    const u32 pos = (*box)->tmpCardOffset;
    u16 copy = 0;
    ASSERT_EQ(BXD_OK, _CardCopy(box, 1, &copy));
    BoxBytes want = file();
    ASSERT_EQ(BXD_OK, CardDeleteSub(*box, kEdit, 0));
    want.kill(pos);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(SystemCardWrite, ACardUnderEditThatTheCollectorTookKeepsItsState)
{
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", Stuff(12000)));
    Poke(fid(), hd::garbageFlags.at, {0x01});
    const BoxBytes before = file();
    EXPECT_EQ(BXD_ERR_OTHER, CardDeleteSub(*box, kEdit, 0));
    EXPECT_EQ(2, state());
    EXPECT_NE(nullptr, (*box)->tmpCardWork);
    EXPECT_TRUE(Same(before, file()));
    Poke(fid(), hd::garbageFlags.at, {0x00});
}

TEST_F(SystemCardWrite, AStateWithoutAnImageIsRefused)
{
    ASSERT_EQ(BXD_OK, create());
    DisposeHeapHandle((*box)->tmpCardWork);
    (*box)->tmpCardWork = nullptr;
    EXPECT_EQ(BXD_ERR_FAIL, CardDeleteSub(*box, kEdit, 0));
    EXPECT_EQ(BXD_ERR_FAIL, CardDeleteSub(*box, kMiddle, 0));
    EXPECT_EQ(BXD_ERR_FAIL, Write(box, kEdit, "I000", "x"));
    EXPECT_EQ("status 71", Read(box, kEdit, "I000"));
    (*box)->tmpCardState = 0;
}

TEST_F(SystemCardWrite, DeletingASystemCardKillsItAndItsSlot)
{
    BoxBytes want = file();
    const u32 ram = ramGarbage();
    ASSERT_EQ(BXD_OK, CardDeleteSub(*box, kMiddle, 0));
    const u32 total = want.total(want.entry(1));
    want.kill(want.entry(1));
    want.setEntry(1, 0);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(ram + total, ramGarbage());
    EXPECT_EQ("status 66", Read(box, kMiddle, "I000"));

    ASSERT_EQ(BXD_OK, CardDeleteSub(*box, kLast, 1));
    want.cutCard(want.entry(2));
    want.setEntry(2, 0);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(ram + total, ramGarbage());
    EXPECT_TRUE(Sound(file()));
    EXPECT_EQ(BXD_ERR_NOTFOUND, CardDeleteSub(*box, kLast, 0));
    EXPECT_EQ(BXD_ERR_NOTFOUND, CardDeleteSub(*box, 65520, 0));
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(SystemCardWrite, DeletingASystemCardKeepsTheCardUnderEdit)
{
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I000", "kept"));
    ASSERT_EQ(BXD_OK, CardDeleteSub(*box, kMiddle, 0));
    EXPECT_EQ("kept", Read(box, kEdit, "I000"));
    EXPECT_EQ(1, state());
    EXPECT_EQ(0u, file().entry(1));
}

TEST_F(SystemCardWrite, TheSlotOfADeletedSystemCardIsUsedAgain)
{
    ASSERT_EQ(BXD_OK, CardDeleteSub(*box, kMiddle, 0));
    addSystem(65310, {"new", "", ""});
    EXPECT_EQ(65310u, file().half(file().entry(1)));
    EXPECT_EQ("new", Read(box, 65310, "I000"));
    EXPECT_TRUE(Sound(file()));
}

}  // namespace

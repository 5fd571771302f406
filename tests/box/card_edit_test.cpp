// SPDX-License-Identifier: MIT
// The card under edit: how it is created and written in RAM, and how it moves to the file when it outgrows
// its block.
#include "box/bxd_card_write.h"

#include <bxd/bxd.h>

#include "tests/support/card_helpers.h"

namespace {

using namespace cardtest;
namespace hd = boxtest::hd;

constexpr u16 kEdit = TMP_SYSTEM_CARD_ID;
constexpr const char* kSource = "F0:SOURCE.DAT";

class CardEdit : public CardTest {
protected:
    u32 create(u16 id = kEdit) { return _CardCreate(box, &id); }
    void source(const std::string& content) { put(B(content), kSource); }
};

// --- creating ----------------------------------------------------------------------------------------------

TEST_F(CardEdit, AnIdBelowTheCardUnderEditIsRefused)
{
    make();
    EXPECT_EQ(BXD_ERR_FAIL, create(0));
    EXPECT_EQ(BXD_ERR_FAIL, create(65279));
    EXPECT_EQ(0, state());
    EXPECT_EQ(BXD_OK, create(65280));
}

TEST_F(CardEdit, IdsOfSystemCardsAreTaken)
{
    for (const u32 id : {65281u, 65300u, 65519u}) {
        make();
        EXPECT_EQ(BXD_OK, create(static_cast<u16>(id)));
        EXPECT_EQ(id, (*box)->tmpCardId);
        EXPECT_EQ(Card(id, Live({"", "", ""})), EditImage(box));
        close();
        ASSERT_EQ(BXD_OK, _BoxDelete(kName));
    }
}

// Such a card would cut the chain or pass for a table if it moved to the file.
TEST_F(CardEdit, IdsOfTablesAndOfTheEndMarkAreRefused)
{
    make();
    for (const u32 id : {65520u, 65522u, 65523u, 65535u}) {
        EXPECT_EQ(BXD_ERR_FAIL, create(static_cast<u16>(id))) << id;
    }
    EXPECT_EQ(0, state());
}

TEST_F(CardEdit, ASecondCardUnderEditIsRefused)
{
    make();
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I000", "kept"));
    EXPECT_EQ(BXD_ERR_FAIL, create());
    EXPECT_EQ(BXD_ERR_FAIL, create(65300));
    EXPECT_EQ("kept", Read(box, kEdit, "I000"));
}

TEST_F(CardEdit, ABoxOpenForReadingOnlyHasNoCardUnderEdit)
{
    make();
    (void)add({"stored"});
    close();
    const BoxBytes before = file();
    box = _BoxOpenRwMode(kName, 1);
    ASSERT_NE(nullptr, box);
    EXPECT_EQ(BXD_ERR_FAIL, create());
    EXPECT_EQ(BXD_ERR_FAIL, Write(box, 1, "I000", "STORED"));
    EXPECT_EQ(BXD_ERR_FAIL, Write(box, 1, "I000", "other length"));
    EXPECT_EQ(BXD_ERR_FAIL, Write(box, 1, "I000", "s"));
    EXPECT_EQ("stored", Read(box, 1, "I000"));
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(CardEdit, ABadHandleIsRefused)
{
    make();
    BoxHandle closed = box;
    close();
    source("x");
    BoxRecord record{};
    BoxRecord* foreign = &record;
    for (const BoxHandle bad : {BoxHandle{nullptr}, closed, BoxHandle{&foreign}}) {
        u16 id = kEdit;
        EXPECT_EQ(BXD_ERR_FAIL, _CardCreate(bad, &id));
        EXPECT_EQ(BXD_ERR_FAIL, Write(bad, kEdit, "I000", "x"));
        EXPECT_EQ(BXD_ERR_FAIL, WriteAt(bad, kEdit, "I000", "x", 0));
        EXPECT_EQ(BXD_ERR_FAIL, WriteFrom(bad, kEdit, "I000", kSource));
    }
}

TEST_F(CardEdit, ANewCardIsOneAttributeAndOtherwiseEmptyItems)
{
    make(3);
    const BoxBytes before = file();
    ASSERT_EQ(BXD_OK, create());
    EXPECT_EQ(1, state());
    EXPECT_EQ(kEdit, (*box)->tmpCardId);
    EXPECT_EQ(10240u, (*box)->tmpCardWorkSize);
    const Bytes image{0x00, 0xFF, 12, 0, 0, 0, 2, 0, 7, 0, 1, 0, 0, 0, 0, 0, 0, 0x40};
    EXPECT_EQ(image, EditImage(box));
    EXPECT_EQ(std::string(1, '\0'), Read(box, kEdit, "ATTR"));
    EXPECT_EQ("", Read(box, kEdit, "I002"));
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(CardEdit, ACardHasAsManyItemsAsItsBox)
{
    for (const u32 own : {0u, 1u, 100u, 251u}) {
        SCOPED_TRACE(own);
        make(own);
        ASSERT_EQ(BXD_OK, create());
        EXPECT_EQ(Card(kEdit, Live(Values(own))), EditImage(box));
        u16 id = 0;
        ASSERT_EQ(BXD_OK, _CardCopy(box, kEdit, &id));
        EXPECT_EQ(std::string(1, '\0'), Read(box, id, "ATTR"));
        EXPECT_TRUE(Sound(file()));
        close();
        ASSERT_EQ(BXD_OK, _BoxDelete(kName));
    }
}

TEST_F(CardEdit, ABoxWithAnEmptyItemTableHasACardUnderEditThatCannotBeStored)
{
    BoxBytes content(boxtest::BoxWithItems("TEST", {}));
    start(content);
    EXPECT_EQ(0u, _GetItemNum(box));
    ASSERT_EQ(BXD_OK, create());
    EXPECT_EQ(5u, GET_4BYTES(EditImage(box).data() + 2));
    EXPECT_EQ(BXD_ERR_NOTFOUND, Write(box, kEdit, "I000", "x"));
    EXPECT_NE(BXD_OK, copy(kEdit, 0));
    content.setField(hd::unUsedCardID, file().hint());
    EXPECT_TRUE(Same(content, file()));
}

TEST_F(CardEdit, CreatingClearsTheGarbageBitAndNoOther)
{
    make();
    Poke(fid(), hd::garbageFlags.at, {0xFF});
    ASSERT_EQ(BXD_OK, create());
    EXPECT_EQ(0xFEu, file().field(hd::garbageFlags));
}

TEST_F(CardEdit, TheImageTakesTheSizeThatTheBoxAsksFor)
{
    for (const u32 limit : {1024u, 2000u, 102400u}) {
        make(3, limit);
        ASSERT_EQ(BXD_OK, create());
        EXPECT_EQ(limit, (*box)->tmpCardWorkSize);
        close();
        ASSERT_EQ(BXD_OK, _BoxDelete(kName));
    }
}

TEST_F(CardEdit, AnImageTooSmallForTheEmptyCardIsNeverOverrun)
{
    for (const u32 limit : {1u, 8u, 64u, 265u, 266u, 300u}) {
        SCOPED_TRACE(limit);
        make(251, limit);
        if (create() == BXD_OK) {
            (void)Write(box, kEdit, "I000", Stuff(40));
            (void)Write(box, kEdit, "I250", Stuff(40));
            u16 id = 0;
            EXPECT_EQ(BXD_OK, _CardCopy(box, kEdit, &id));
            EXPECT_TRUE(Sound(file()));
        }
        close();
        ASSERT_EQ(BXD_OK, _BoxDelete(kName));
    }
}

// --- the image in RAM --------------------------------------------------------------------------------------

TEST_F(CardEdit, TheImageIsByteForByteTheCard)
{
    make(3);
    const BoxBytes before = file();
    ASSERT_EQ(BXD_OK, create());
    Values values = Live({"", "", ""});
    const std::vector<std::pair<u32, u32>> steps{{5, 10}, {6, 200}, {4, 3},   {5, 127}, {5, 128}, {5, 127},
                                                 {4, 0},  {6, 1},   {1, 300}, {3, 5},   {5, 0},   {6, 0}};
    for (const auto& [item, length] : steps) {
        values[item] = Stuff(length, item);
        const char* tags[] = {"ATTR", "cTTM", "mDTM", "sYID", "I000", "I001", "I002"};
        ASSERT_EQ(BXD_OK, Write(box, kEdit, tags[item], values[item]));
        ASSERT_EQ(Card(kEdit, values), EditImage(box)) << item << " " << length;
        EXPECT_EQ(values[item], Read(box, kEdit, tags[item]));
    }
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(CardEdit, LengthFormsChangeAtTheirBordersInTheImage)
{
    make(3, 60000);
    ASSERT_EQ(BXD_OK, create());
    Values values = Live({"first", "", "last"});
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I000", "first"));
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I002", "last"));
    for (const u32 length : {127u, 128u, 16383u, 16384u, 16383u, 128u, 127u, 16384u, 0u}) {
        values[5] = Stuff(length);
        ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", values[5]));
        ASSERT_EQ(Card(kEdit, values), EditImage(box)) << length;
    }
}

TEST_F(CardEdit, AnOffsetKeepsTheStartOfTheOldValueAndDropsTheRest)
{
    make(3);
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", "abcdefghijklmnopqrst"));
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I002", "tail"));
    ASSERT_EQ(BXD_OK, WriteAt(box, kEdit, "I001", "0123456789", 5));
    EXPECT_EQ(Card(kEdit, Live({"", "abcde0123456789", "tail"})), EditImage(box));
    ASSERT_EQ(BXD_OK, WriteAt(box, kEdit, "I001", "XYZ", 15));
    EXPECT_EQ(Card(kEdit, Live({"", "abcde0123456789XYZ", "tail"})), EditImage(box));
    ASSERT_EQ(BXD_OK, WriteAt(box, kEdit, "I001", "", 3));
    EXPECT_EQ(Card(kEdit, Live({"", "abc", "tail"})), EditImage(box));
    ASSERT_EQ(BXD_OK, WriteAt(box, kEdit, "I001", "", 3));
    EXPECT_EQ(Card(kEdit, Live({"", "abc", "tail"})), EditImage(box));
}

TEST_F(CardEdit, AnOffsetBehindTheOldValueIsOutOfRange)
{
    make(3);
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", "abc"));
    const Bytes image = EditImage(box);
    EXPECT_EQ(BXD_ERR_RANGE, WriteAt(box, kEdit, "I001", "x", 4));
    EXPECT_EQ(BXD_ERR_RANGE, WriteAt(box, kEdit, "I000", "x", 1));
    EXPECT_EQ(image, EditImage(box));
}

TEST_F(CardEdit, ALengthWithoutAFormIsRefusedBeforeAnythingChanges)
{
    make(3);
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", "abc"));
    const Bytes image = EditImage(box);
    const CardDescriptor key = Key(kEdit, "I001");
    const u8 byte = 0;
    EXPECT_EQ(BXD_ERR_FAIL, _CardWrite(box, &key, &byte, 0x40000000));
    EXPECT_EQ(BXD_ERR_FAIL, _CardWrite(box, &key, &byte, -1));
    EXPECT_EQ(BXD_ERR_FAIL, _CardOffsetWrite(box, &key, &byte, 0x3FFFFFFF, 1));
    EXPECT_EQ(BXD_ERR_FAIL, _CardOffsetWrite(box, &key, &byte, 0xFFFFFFFF, 2));
    EXPECT_EQ(image, EditImage(box));
}

TEST_F(CardEdit, AnItemThatTheBoxLacksIsNotFound)
{
    make(3);
    (void)add({"stored"});
    ASSERT_EQ(BXD_OK, create());
    for (const u16 id : {kEdit, u16{1}, u16{999}, u16{65300}}) {
        EXPECT_EQ(BXD_ERR_NOTFOUND, Write(box, id, "NONE", "x"));
        EXPECT_EQ(BXD_ERR_NOTFOUND, Write(box, id, "i00a", "x"));
    }
    EXPECT_EQ(BXD_OK, Write(box, kEdit, "i000", "the first letter's case does not count"));
}

TEST_F(CardEdit, TheAttributeIsStoredFlipped)
{
    make(3);
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "ATTR", "\x10"));
    EXPECT_EQ(0x50, EditImage(box)[17]);
    EXPECT_EQ("\x10", Read(box, kEdit, "ATTR"));
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "aTTR", "\x40"));
    EXPECT_EQ(0x00, EditImage(box)[17]);
    EXPECT_EQ("@", Read(box, kEdit, "ATTR"));
    EXPECT_EQ(BXD_ERR_NOTFOUND, Write(box, kEdit, "ATTr", "\x40"));
}

TEST_F(CardEdit, TheCallersAttributeByteStays)
{
    make(3);
    ASSERT_EQ(BXD_OK, create());
    const CardDescriptor key = Key(kEdit, "ATTR");
    u8 attr = 0x31;
    ASSERT_EQ(BXD_OK, _CardWrite(box, &key, &attr, 1));
    EXPECT_EQ(0x31, attr);
}

TEST_F(CardEdit, AnAttributeIsOneByteFromMemory)
{
    make(3);
    (void)add({"stored"});
    ASSERT_EQ(BXD_OK, create());
    source("A");
    const BoxBytes before = file();
    const Bytes image = EditImage(box);
    for (const u16 id : {kEdit, u16{1}}) {
        const CardDescriptor key = Key(id, "ATTR");
        EXPECT_EQ(BXD_ERR_FAIL, _CardWrite(box, &key, nullptr, 1));
        EXPECT_EQ(BXD_ERR_FAIL, Write(box, id, "ATTR", ""));
        EXPECT_EQ(BXD_ERR_FAIL, Write(box, id, "ATTR", "ab"));
        EXPECT_EQ(BXD_ERR_FAIL, WriteFrom(box, id, "ATTR", kSource));
        EXPECT_EQ(BXD_ERR_FAIL, WriteFrom(box, id, "aTTR", kSource));
    }
    EXPECT_EQ(image, EditImage(box));
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(CardEdit, AValueComesFromASourceFile)
{
    make(3);
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I002", "tail"));
    for (const u32 length : {1u, 127u, 128u, 3000u, 5u}) {
        const std::string value = Stuff(length, length);
        source(value);
        ASSERT_EQ(BXD_OK, WriteFrom(box, kEdit, "I001", kSource));
        ASSERT_EQ(Card(kEdit, Live({"", value, "tail"})), EditImage(box));
    }
    source("");
    ASSERT_EQ(BXD_OK, WriteFrom(box, kEdit, "I001", kSource));
    EXPECT_EQ(Card(kEdit, Live({"", "", "tail"})), EditImage(box));
}

TEST_F(CardEdit, ASourceFileThatCannotBeOpenedIsNotFound)
{
    make(3);
    ASSERT_EQ(BXD_OK, create());
    const Bytes image = EditImage(box);
    EXPECT_EQ(BXD_ERR_NOTFOUND, WriteFrom(box, kEdit, "I001", "F0:NOSUCH.DAT"));
    EXPECT_EQ(image, EditImage(box));
}

TEST_F(CardEdit, ANullValueNamesAnOpenSourceFile)
{
    make(3);
    ASSERT_EQ(BXD_OK, create());
    source("from the file");
    boxtest::Fid open(kSource, BXD_MODE_READ);
    ASSERT_TRUE(open.ok());
    const CardDescriptor key = Key(kEdit, "I001");
    ASSERT_EQ(BXD_OK, _CardOffsetWrite(box, &key, nullptr, open.id(), 0));
    EXPECT_EQ("from the file", Read(box, kEdit, "I001"));
}

TEST_F(CardEdit, AnotherSystemCardIsNotTheCardUnderEdit)
{
    make(3);
    ASSERT_EQ(BXD_OK, create(65300));
    EXPECT_EQ(BXD_OK, Write(box, 65300, "I000", "in RAM"));
    EXPECT_EQ(BXD_ERR_NOTFOUND, Write(box, kEdit, "I000", "x"));
    EXPECT_EQ(BXD_ERR_NOTFOUND, Write(box, 65301, "I000", "x"));
    EXPECT_EQ("in RAM", Read(box, 65300, "I000"));
}

TEST_F(CardEdit, WithoutACardUnderEditThereIsNothingToWriteTo)
{
    make(3);
    (void)add({"stored"});
    const BoxBytes before = file();
    EXPECT_EQ(BXD_ERR_NOTFOUND, Write(box, kEdit, "I000", "x"));
    EXPECT_EQ(BXD_ERR_NOTFOUND, Write(box, 65519, "I000", "x"));
    EXPECT_TRUE(Same(before, file()));
}

// --- the move to the file ----------------------------------------------------------------------------------

TEST_F(CardEdit, TheImageStaysInRamUpToFourBytesBelowItsBlock)
{
    make(3);
    const BoxBytes before = file();
    ASSERT_EQ(BXD_OK, create());
    const u32 room = 10240 - 4 - (10 + 8 + 1);  // a length table of 8 bytes, with one field of two
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", Stuff(room)));
    EXPECT_EQ(10236u, EditImage(box).size());
    EXPECT_EQ(1, state());
    EXPECT_TRUE(Same(before, file()));
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", Stuff(room + 1)));
    EXPECT_EQ(2, state());
    EXPECT_EQ(Stuff(room + 1), Read(box, kEdit, "I001"));
}

TEST_F(CardEdit, AnImageThatOutgrowsItsBlockMovesToTheEndOfABoxWithoutCards)
{
    make(3);
    BoxBytes want = file();
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I000", "first"));
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I002", "last"));
    const std::string value = Stuff(12000);
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", value));
    const u32 pos = want.addCard(Card(kEdit, Live({"first", value, "last"})));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(pos, want.field(hd::cardOffset));
    EXPECT_EQ(2, state());
    EXPECT_EQ(pos, (*box)->tmpCardOffset);
    EXPECT_NE(nullptr, (*box)->tmpCardWork);
    EXPECT_EQ(value, Read(box, kEdit, "I001"));
    EXPECT_EQ("first", Read(box, kEdit, "I000"));
    EXPECT_EQ("last", Read(box, kEdit, "I002"));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardEdit, AnImageThatOutgrowsItsBlockStandsOverTheEndMark)
{
    make(3);
    (void)add({"stored"});
    BoxBytes want = file();
    ASSERT_EQ(BXD_OK, create());
    const std::string value = Stuff(20000);
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I002", value));
    (void)want.addCard(Card(kEdit, Live({"", "", value})));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardEdit, AMoveToTheFileMergesAValueBehindAnOffset)
{
    for (const u32 old : {5000u, 9000u}) {
        make(3);
        ASSERT_EQ(BXD_OK, create());
        ASSERT_EQ(BXD_OK, Write(box, kEdit, "I002", "tail"));
        const std::string start = Stuff(old, 3);
        ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", start));
        BoxBytes want = file();
        ASSERT_EQ(BXD_OK, WriteAt(box, kEdit, "I001", Stuff(7000, 4), 4500));
        (void)want.addCard(Card(kEdit, Live({"", start.substr(0, 4500) + Stuff(7000, 4), "tail"})));
        EXPECT_TRUE(Same(want, file()));
        close();
        ASSERT_EQ(BXD_OK, _BoxDelete(kName));
    }
}

TEST_F(CardEdit, AMoveToTheFileTakesTheValueFromASourceFile)
{
    for (const bool first : {false, true}) {
        make(3);
        if (!first) { (void)add({"stored"}); }
        BoxBytes want = file();
        ASSERT_EQ(BXD_OK, create());
        ASSERT_EQ(BXD_OK, Write(box, kEdit, "I000", "head"));
        ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", "old value"));
        ASSERT_EQ(BXD_OK, Write(box, kEdit, "I002", "tail"));
        const std::string value = Stuff(70000);
        source(value);
        ASSERT_EQ(BXD_OK, WriteFrom(box, kEdit, "I001", kSource));
        (void)want.addCard(Card(kEdit, Live({"head", value, "tail"})));
        EXPECT_TRUE(Same(want, file()));
        EXPECT_EQ(2, state());
        close();
        ASSERT_EQ(BXD_OK, _BoxDelete(kName));
    }
}

TEST_F(CardEdit, ACardUnderAnotherIdMovesUnderThatIdAndIsThenRefused)
{
    make(3);
    ASSERT_EQ(BXD_OK, create(65300));
    ASSERT_EQ(BXD_OK, Write(box, 65300, "I000", Stuff(12000)));
    EXPECT_EQ(65300u, file().half((*box)->tmpCardOffset));
    EXPECT_EQ("status 71", Read(box, 65300, "I000"));
    u16 id = 0;
    EXPECT_EQ(BXD_ERR_FAIL, _CardCopy(box, 65300, &id));
    EXPECT_EQ(BXD_ERR_FAIL, _BoxClose(box));  // it cannot be deleted either
    box = nullptr;
}

TEST_F(CardEdit, ACardThatWasMovedIsWrittenInTheFile)
{
    make(3);
    (void)add({"stored"});
    BoxBytes want = file();
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", Stuff(12000)));
    const u32 pos = (*box)->tmpCardOffset;
    Values values = Live({"", Stuff(12000), ""});
    (void)want.addCard(Card(kEdit, values));
    // The same length, then growth and shrinking, all where the card stands, for it is the last one.
    const std::vector<std::pair<u32, u32>> steps{{5, 12000}, {4, 10}, {6, 20000}, {5, 40000},
                                                 {6, 3},     {5, 0},  {4, 10}};
    for (const auto& [item, length] : steps) {
        values[item] = Stuff(length, item);
        ASSERT_EQ(BXD_OK, Write(box, kEdit, tag(item - 4), values[item]));
        want.replaceLast(pos, Card(kEdit, values));
        ASSERT_TRUE(Same(want, file())) << item << " " << length;
        EXPECT_EQ(pos, (*box)->tmpCardOffset);
    }
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "ATTR", "\x21"));
    values[0] = "\x61";
    want.replaceLast(pos, Card(kEdit, values));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardEdit, AMovedCardWithAnotherCardBehindItMovesAgain)
{
    make(3);
    (void)add({"stored"});
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", Stuff(12000)));
    u16 copy = 0;
    ASSERT_EQ(BXD_OK, _CardCopy(box, 1, &copy));
    BoxBytes want = file();
    const u32 old = (*box)->tmpCardOffset;
    const u32 ram = ramGarbage();
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I000", "changed"));
    const u32 pos = want.addCard(Card(kEdit, Live({"changed", Stuff(12000), ""})));
    want.kill(old);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(pos, (*box)->tmpCardOffset);
    EXPECT_EQ(ram + want.total(old), ramGarbage());
    EXPECT_EQ("changed", Read(box, kEdit, "I000"));
    EXPECT_TRUE(Sound(file()));

    source(Stuff(33000));
    copy = 0;
    ASSERT_EQ(BXD_OK, _CardCopy(box, 1, &copy));
    want = file();
    ASSERT_EQ(BXD_OK, WriteFrom(box, kEdit, "I001", kSource));
    const u32 last = want.addCard(Card(kEdit, Live({"changed", Stuff(33000), ""})));
    want.kill(pos);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(last, (*box)->tmpCardOffset);
}

TEST_F(CardEdit, AfterACollectionTheMovedCardIsRefused)
{
    make(3);
    (void)add({"stored"});
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", Stuff(12000)));
    Poke(fid(), hd::garbageFlags.at, {0x01});
    const BoxBytes before = file();
    EXPECT_EQ(BXD_ERR_OTHER, Write(box, kEdit, "I001", Stuff(12000)));
    EXPECT_EQ("status 255", Read(box, kEdit, "I001"));
    EXPECT_TRUE(Same(before, file()));
    EXPECT_EQ(BXD_ERR_OTHER, _BoxClose(box));
    box = nullptr;
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(CardEdit, AMovedCardThatIsNotAtItsPlaceIsRefused)
{
    make(3);
    (void)add({"stored"});
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", Stuff(12000)));
    PokeHalf(fid(), (*box)->tmpCardOffset, 0);
    const BoxBytes before = file();
    EXPECT_EQ(BXD_ERR_FAIL, Write(box, kEdit, "I001", Stuff(12000)));
    EXPECT_TRUE(Same(before, file()));
    EXPECT_EQ(BXD_ERR_FAIL, _BoxClose(box));
    box = nullptr;
}

TEST_F(CardEdit, ACardUnderEditInRamLeavesNoTraceInTheFile)
{
    make(3);
    (void)add({"stored"});
    const BoxBytes before = file();
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", "never stored"));
    close();
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(CardEdit, ClosingTheBoxDeletesACardUnderEditThatWasMoved)
{
    make(3);
    (void)add({"stored"});
    const BoxBytes before = file();
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", Stuff(12000)));
    close();
    EXPECT_TRUE(Same(before, file()));
}

// --- the image written out ---------------------------------------------------------------------------------

TEST_F(CardEdit, AnImageIsWrittenUnderAnotherIdAndKeepsIt)
{
    make(3);
    (void)add({"stored"});
    BoxBytes want = file();
    Bytes image = Card(kEdit, Live({"name", "", ""}));
    ASSERT_EQ(BXD_OK, SystemCardToFlash(fid(), want.size() - 2, image.data(), 7));
    (void)want.addCard(Card(7, Live({"name", "", ""})));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(Card(7, Live({"name", "", ""})), image);
}

TEST_F(CardEdit, AFailureToWriteAnImageLeavesItsId)
{
    make(3);
    (void)add({"stored"});
    const BoxBytes before = file();
    boxtest::Fid reader(kName, BXD_MODE_READ);
    ASSERT_TRUE(reader.ok());
    Bytes image = Card(kEdit, Live({"name", "", ""}));
    EXPECT_EQ(BXD_ERR_FAIL, SystemCardToFlash(reader.id(), before.size() - 2, image.data(), 7));
    EXPECT_EQ(Card(kEdit, Live({"name", "", ""})), image);
    EXPECT_TRUE(Same(before, file()));
}

}  // namespace

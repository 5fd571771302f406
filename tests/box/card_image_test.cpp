// SPDX-License-Identifier: MIT
// Card images: the bytes behind the head of a system card and of the extended information card, by the name
// of the box.
#include <bxd/bxd.h>

#include "tests/support/card_helpers.h"

namespace {

using namespace cardtest;
namespace hd = boxtest::hd;

constexpr u16 kExtInfo = EXT_INFO_ID;

class CardImages : public CardTest {
protected:
    // Stored card 1, system card 65300, stored card 2; the box is closed.
    void prepare()
    {
        make();
        (void)add({"one", "", ""});
        addSystem(65300, own());
        (void)add({"two", "", ""});
        close();
    }
    static Values own() { return {"system", Stuff(50), "memo"}; }

    // Images are written in halves; an image of odd length has a byte to spare.
    static u32 write(u16 id, const Bytes& image)
    {
        std::vector<u16> halves((image.size() + 1) / 2);
        std::copy(image.begin(), image.end(), reinterpret_cast<u8*>(halves.data()));
        return _WriteCardImage(kName, id, halves.data(), static_cast<u32>(image.size()));
    }
    struct Image {
        u32 status;
        u32 length;
        Bytes bytes;
    };
    // Reads with room for so many bytes; what was not delivered stays 0xCC.
    static Image read(u16 id, u32 room)
    {
        Image image{0, room, Bytes(room + 8, 0xCC)};
        image.status = _ReadCardImage(kName, id, image.bytes.data(), &image.length);
        return image;
    }
    static u32 size(u16 id)
    {
        u32 n = 0xABABABAB;
        EXPECT_EQ(BXD_OK, _GetCardImageSize(kName, id, &n));
        return n;
    }
};

// --- what has no image -------------------------------------------------------------------------------------

TEST_F(CardImages, TablesAndTheCardUnderEditHaveNoImage)
{
    prepare();
    const BoxBytes before = file();
    for (const u32 id : {65280u, 65520u, 65521u, 65522u}) {
        SCOPED_TRACE(id);
        u32 n = 0;
        EXPECT_EQ(BXD_ERR_OTHER, _GetCardImageSize(kName, static_cast<u16>(id), &n));
        EXPECT_EQ(BXD_ERR_OTHER, read(static_cast<u16>(id), 100).status);
        EXPECT_EQ(BXD_ERR_OTHER, write(static_cast<u16>(id), Bytes(10, 1)));
    }
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(CardImages, StoredCardsAndCardsThatAreNotThereAreNotFound)
{
    prepare();
    for (const u32 id : {0u, 1u, 2u, 3u, 501u, 65279u, 65281u, 65301u, 65519u, 65523u, 65524u, 65534u}) {
        SCOPED_TRACE(id);
        u32 n = 0;
        EXPECT_EQ(BXD_ERR_NOTFOUND, _GetCardImageSize(kName, static_cast<u16>(id), &n));
        EXPECT_EQ(BXD_ERR_NOTFOUND, read(static_cast<u16>(id), 100).status);
    }
}

TEST_F(CardImages, NoImageIsWrittenForStoredCardsAndAboveTheExtendedInformation)
{
    prepare();
    const BoxBytes before = file();
    for (const u32 id : {0u, 1u, 3u, 65279u, 65524u, 65534u, 65535u}) {
        EXPECT_EQ(BXD_ERR_OTHER, write(static_cast<u16>(id), Bytes(10, 1))) << id;
        EXPECT_TRUE(Same(before, file()));
    }
}

TEST_F(CardImages, AFileThatIsNoBoxIsRefused)
{
    prepare();
    u32 n = 0;
    u8 buffer[16] = {};
    const u16 data[4] = {};
    const auto expectNone = [&](const char* name) {
        EXPECT_EQ(BXD_ERR_NOFILE, _GetCardImageSize(name, 65300, &n));
        n = sizeof buffer;
        EXPECT_EQ(BXD_ERR_NOFILE, _ReadCardImage(name, 65300, buffer, &n));
        EXPECT_EQ(BXD_ERR_NOFILE, _WriteCardImage(name, 65300, data, 8));
    };
    expectNone("F0:NOSUCH.BOX");
    BoxBytes other = file();
    other.putByte(2, 27);
    put(other.all(), "F0:OTHER.IDX");
    expectNone("F0:OTHER.IDX");
    EXPECT_TRUE(Same(other, file("F0:OTHER.IDX")));
}

// --- reading -----------------------------------------------------------------------------------------------

TEST_F(CardImages, TheImageOfASystemCardIsSixBytesLongerThanItsBody)
{
    prepare();
    const BoxBytes content = file();
    const u32 pos = content.entry(1);
    const u32 total = content.total(pos);
    EXPECT_EQ(total, size(65300));
    for (const u32 room : {total, total + 5}) {
        const Image image = read(65300, room);
        EXPECT_EQ(BXD_OK, image.status);
        EXPECT_EQ(total, image.length);
        EXPECT_EQ(content.part(pos + 6, total), boxtest::Slice(image.bytes, 0, total));
        EXPECT_EQ(Bytes(room + 8 - total, 0xCC), boxtest::Slice(image.bytes, total, 100));
    }
    EXPECT_TRUE(Same(content, file()));
}

TEST_F(CardImages, TooSmallARoomGetsTheFirstBytesAndTheLengthNeeded)
{
    prepare();
    const BoxBytes content = file();
    const u32 pos = content.entry(1);
    const u32 total = content.total(pos);
    for (const u32 room : {0u, 1u, 20u, total - 1}) {
        const Image image = read(65300, room);
        EXPECT_EQ(BXD_ERR_NOSPACE, image.status);
        EXPECT_EQ(total, image.length);
        EXPECT_EQ(content.part(pos + 6, room), boxtest::Slice(image.bytes, 0, room));
        EXPECT_EQ(Bytes(8, 0xCC), boxtest::Slice(image.bytes, room, 8));
    }
}

TEST_F(CardImages, TheImageOfASystemCardAtTheEndOfTheFileIsWhatThereIs)
{
    make();
    (void)add({"one", "", ""});
    addSystem(65300, own());
    close();
    const BoxBytes content = file();
    const u32 pos = content.entry(1);
    const u32 total = content.total(pos);
    const Image image = read(65300, total);
    EXPECT_EQ(BXD_OK, image.status);
    EXPECT_EQ(total, image.length);
    EXPECT_EQ(content.part(pos + 6, total - 4), boxtest::Slice(image.bytes, 0, total - 4));
    EXPECT_EQ(Bytes(12, 0xCC), boxtest::Slice(image.bytes, total - 4, 12));
}

TEST_F(CardImages, TheImageOfTheExtendedInformationIsItsBody)
{
    boxtest::BoxBuilder b(boxtest::NumberedItems(7));
    b.card(1);
    const Bytes body = boxtest::Pattern(123);
    (void)b.extInfoCard(body);
    b.card(2);
    put(b.build(), kName);
    EXPECT_EQ(123u, size(kExtInfo));
    Image image = read(kExtInfo, 123);
    EXPECT_EQ(BXD_OK, image.status);
    EXPECT_EQ(123u, image.length);
    EXPECT_EQ(body, boxtest::Slice(image.bytes, 0, 123));
    image = read(kExtInfo, 122);
    EXPECT_EQ(BXD_ERR_NOSPACE, image.status);
    EXPECT_EQ(123u, image.length);
}

TEST_F(CardImages, AnExtendedInformationSlotThatLeadsToAnotherCardIsNotFound)
{
    boxtest::BoxBuilder b(boxtest::NumberedItems(7));
    const u32 card = b.card(1);
    put(b.build(), kName);
    for (const u32 word : {card, 0u, kNone}) {
        BoxBytes content = file();
        content.setEntry(0, word);
        put(content.all(), kName);
        u32 n = 0;
        EXPECT_EQ(BXD_ERR_NOTFOUND, _GetCardImageSize(kName, kExtInfo, &n)) << word;
        EXPECT_EQ(BXD_ERR_NOTFOUND, read(kExtInfo, 100).status) << word;
    }
}

// --- writing a system card ---------------------------------------------------------------------------------

TEST_F(CardImages, ANewSystemCardStandsBehindTheLastCard)
{
    prepare();
    BoxBytes want = file();
    const Bytes image = boxtest::Pattern(77);
    ASSERT_EQ(BXD_OK, write(65301, image));
    want.setEntry(2, want.addCard(PlainCard(65301, image)));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(83u, size(65301));
}

TEST_F(CardImages, AnImageOfACardIsThatCard)
{
    prepare();
    const Bytes card = Card(65301, Live({"copy", Stuff(3), ""}));
    ASSERT_EQ(BXD_OK, write(65301, boxtest::Slice(card, 6, card.size())));
    EXPECT_TRUE(Sound(file()));
    open();
    EXPECT_EQ("copy", Read(box, 65301, "I000"));
}

TEST_F(CardImages, WrittenTwiceLeavesOneCardInTheSlotsAndTheFirstDead)
{
    prepare();
    BoxBytes want = file();
    const u32 ram = _ReadGarbageSize(0);
    const u32 old = want.entry(1);
    ASSERT_EQ(BXD_OK, write(65300, Bytes(30, 7)));
    const u32 pos = want.addCard(PlainCard(65300, Bytes(30, 7)));
    want.kill(old);
    want.setEntry(1, pos);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(ram + want.total(old), _ReadGarbageSize(0));
}

TEST_F(CardImages, WrittenOverTheLastCardTakesItsPlace)
{
    prepare();
    BoxBytes want = file();
    const u32 ram = _ReadGarbageSize(0);
    ASSERT_EQ(BXD_OK, write(65301, Bytes(30, 7)));
    const u32 pos = want.addCard(PlainCard(65301, Bytes(30, 7)));
    want.setEntry(2, pos);
    for (const u32 length : {30u, 500u, 10u, 1u, 9u}) {
        SCOPED_TRACE(length);
        const Bytes image = boxtest::Pattern(length, length);
        ASSERT_EQ(BXD_OK, write(65301, image));
        want.replaceLast(pos, PlainCard(65301, image));
        EXPECT_TRUE(Same(want, file()));
    }
    EXPECT_EQ(ram, _ReadGarbageSize(0));
}

TEST_F(CardImages, WrittenOverTheLastCardBeforeDeadOnesTakesThemAlong)
{
    boxtest::BoxBuilder b(boxtest::NumberedItems(7));
    b.card(1);
    const u32 pos = b.systemCard(1, 65300, b.row());
    b.dead(40);
    put(b.build(), kName);
    garbage_size_buf += 1000;
    const u32 ram = _ReadGarbageSize(0);
    BoxBytes want = file();
    ASSERT_EQ(BXD_OK, write(65300, Bytes(30, 7)));
    want.replaceLast(pos, PlainCard(65300, Bytes(30, 7)));
    want.addGarbage(-40);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(ram - 40, _ReadGarbageSize(0));
}

TEST_F(CardImages, AnEmptyImageIsACardOfAHeadAlone)
{
    prepare();
    BoxBytes want = file();
    ASSERT_EQ(BXD_OK, write(65301, {}));
    want.setEntry(2, want.addCard(PlainCard(65301, {})));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(6u, size(65301));
}

TEST_F(CardImages, LargeImagesAreWrittenAndRead)
{
    prepare();
    for (const u32 length : {10240u, 70000u, 2'000'000u}) {
        const Bytes image = boxtest::Pattern(length, length);
        BoxBytes want = file();
        ASSERT_EQ(BXD_OK, write(65301, image));
        const u32 old = want.entry(2);
        if (old == kNone) {
            want.setEntry(2, want.addCard(PlainCard(65301, image)));
        } else {
            want.replaceLast(old, PlainCard(65301, image));
        }
        EXPECT_TRUE(Same(want, file()));
        EXPECT_EQ(image, boxtest::Slice(read(65301, length).bytes, 0, length));
    }
}

TEST_F(CardImages, TenSystemCardsAreAllThatABoxHolds)
{
    prepare();
    for (u32 n = 1; n < 10; n++) { ASSERT_EQ(BXD_OK, write(static_cast<u16>(65300 + n), Bytes(8, 1))); }
    const BoxBytes before = file();
    EXPECT_EQ(BXD_ERR_FAIL, write(65310, Bytes(8, 2)));
    const BoxBytes after = file();
    EXPECT_EQ(before.part(72, 2048), after.part(72, 2048));
    EXPECT_EQ(8u + 6, size(65309));
    EXPECT_EQ("", boxtest::WalkChain(after.all()).fault);
    EXPECT_EQ(BXD_OK, write(65304, Bytes(9, 3)));
}

TEST_F(CardImages, AKilledSystemSlotTakesTheCard)
{
    prepare();
    BoxBytes content = file();
    content.kill(content.entry(1));
    content.setEntry(1, 0);
    content.setEntry(4, 0);
    put(content.all(), kName);
    ASSERT_EQ(BXD_OK, write(65301, Bytes(8, 1)));
    content.setEntry(1, content.addCard(PlainCard(65301, Bytes(8, 1))));
    content.setEntry(4, kNone);
    EXPECT_TRUE(Same(content, file()));
}

TEST_F(CardImages, TheImageOfASystemCardMayBeTheFirstCardOfABox)
{
    make();
    close();
    BoxBytes want = file();
    const Bytes card = Card(65300, Live({"first", "", ""}));
    ASSERT_EQ(BXD_OK, write(65300, boxtest::Slice(card, 6, card.size())));
    want.setEntry(1, want.addCard(card));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
    open();
    EXPECT_EQ("first", Read(box, 65300, "I000"));
    EXPECT_EQ(1, add({"stored", "", ""}));
    EXPECT_TRUE(Sound(file()));
}

// --- writing the extended information ----------------------------------------------------------------------

TEST_F(CardImages, TheExtendedInformationMayBeTheFirstCardOfABox)
{
    make();
    close();
    BoxBytes want = file();
    const Bytes image = boxtest::Pattern(41);
    ASSERT_EQ(BXD_OK, write(kExtInfo, image));
    want.setEntry(0, want.addCard(PlainCard(kExtInfo, image)));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
    EXPECT_EQ(41u, size(kExtInfo));
    EXPECT_EQ(image, boxtest::Slice(read(kExtInfo, 41).bytes, 0, 41));
    open();
    EXPECT_EQ(1, add({"one", "", ""}));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardImages, TheExtendedInformationIsReplaced)
{
    prepare();
    BoxBytes want = file();
    ASSERT_EQ(BXD_OK, write(kExtInfo, Bytes(41, 1)));
    want.setEntry(0, want.addCard(PlainCard(kExtInfo, Bytes(41, 1))));
    EXPECT_TRUE(Same(want, file()));
    ASSERT_EQ(BXD_OK, write(kExtInfo, Bytes(99, 2)));  // the last card: in its place
    want.replaceLast(want.entry(0), PlainCard(kExtInfo, Bytes(99, 2)));
    EXPECT_TRUE(Same(want, file()));
    ASSERT_EQ(BXD_OK, write(65301, Bytes(8, 3)));
    want.setEntry(2, want.addCard(PlainCard(65301, Bytes(8, 3))));
    ASSERT_EQ(BXD_OK, write(kExtInfo, Bytes(99, 4)));
    const u32 old = want.entry(0);
    const u32 pos = want.addCard(PlainCard(kExtInfo, Bytes(99, 4)));
    want.kill(old);
    want.setEntry(0, pos);
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CardImages, AnIndexTableAloneShowsThatThereIsAnEndMark)
{
    boxtest::BoxBuilder b(boxtest::NumberedItems(7));
    (void)b.indexTable({});
    b.setField(hd::cardOffset, kNone);
    put(b.build(), kName);
    BoxBytes want = file();
    const u32 pos = want.size() - 2;
    ASSERT_EQ(BXD_OK, write(65300, Bytes(20, 5)));
    want.put(pos, PlainCard(65300, Bytes(20, 5)) + Bytes{0xFF, 0xFF});
    want.setEntry(1, pos);
    EXPECT_TRUE(Same(want, file()));
}

// --- beside an open box ------------------------------------------------------------------------------------

TEST_F(CardImages, AnImageIsReadBesideAnOpenBox)
{
    prepare();
    open();
    const u32 total = file().total(file().entry(1));
    EXPECT_EQ(total, size(65300));
    EXPECT_EQ(BXD_OK, read(65300, total).status);
    EXPECT_EQ("one", Read(box, 1, "I000"));
}

}  // namespace

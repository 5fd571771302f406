// SPDX-License-Identifier: MIT
// The rewriting of one item of a card: behind the last card, or where the last card stands. Every case here
// is held against a card put together by hand.
#include "box/bxd_card_rewrite.h"

#include <bxd/bxd.h>

#include "box/bxd_card_read.h"
#include "storage/bxd_data.h"
#include "tests/support/card_helpers.h"

namespace {

using namespace cardtest;
namespace hd = boxtest::hd;

constexpr const char* kSource = "F0:SOURCE.DAT";

// One rewriting: which item of the card, what it held, what it is to hold, how much of the old stays.
struct Change {
    u32 item;  // from 0
    u32 oldLength;
    u32 newLength;
    u32 offset;
    u32 others;     // length of each other own item
    u32 slack = 0;  // bytes of the card that belong to no item
    int form = 0;   // bytes of every length field of the old card; 0 for the shortest
};

std::ostream& operator<<(std::ostream& out, const Change& c)
{
    return out << "item " << c.item << ", " << c.oldLength << " to " << c.newLength << " behind " << c.offset
               << ", others " << c.others << ", slack " << c.slack << ", form " << c.form;
}

constexpr u32 kLastItem = 6;

// Every item of the card, every form of the length before and after, with and without a start that stays.
std::vector<Change> smallChanges()
{
    std::vector<Change> all;
    const std::vector<u32> lengths{0, 1, 127, 128, 500, 16383, 16384};
    for (const u32 item : {0u, 4u, 5u, kLastItem}) {
        for (const u32 from : lengths) {
            for (const u32 to : lengths) {
                all.push_back({item, from, to, 0, 70});
                const u32 kept = std::min(from, to) / 2;
                if (kept > 0) { all.push_back({item, from, to, kept, 0}); }
            }
        }
    }
    for (const u32 slack : {1u, 6u, 300u}) {
        all.push_back({5, 40, 41, 3, 10, slack});
        all.push_back({5, 40, 20, 3, 10, slack});
        all.push_back({kLastItem, 40, 200, 0, 10, slack});
    }
    return all;
}

// Cards around the size of a flash buffer and far above it.
std::vector<Change> largeChanges()
{
    std::vector<Change> all;
    for (const u32 item : {0u, 4u, 5u, kLastItem}) {
        for (const u32 others : {0u, 90u, 11000u, 40000u}) {
            for (const auto& [from, to] : std::vector<std::pair<u32, u32>>{{10, 33000},
                                                                           {32000, 32700},
                                                                           {32700, 32000},
                                                                           {33000, 10},
                                                                           {33000, 33001},
                                                                           {33001, 33000},
                                                                           {40000, 40000},
                                                                           {20000, 90000},
                                                                           {90000, 20000},
                                                                           {100000, 100100},
                                                                           {100, 16384},
                                                                           {16384, 100}}) {
                all.push_back({item, from, to, 0, others});
                if (others == 90) { all.push_back({item, from, to, std::min(from, to) - 3, others}); }
            }
        }
    }
    return all;
}

// Around the size of 32768 bytes, byte by byte: the card's own size is what decides.
std::vector<Change> borderChanges()
{
    std::vector<Change> all;
    const u32 fixed = static_cast<u32>(Card(2, Live({"", Stuff(20000), ""})).size()) - 20000;
    for (u32 size = 32764; size <= 32772; size++) {
        const u32 length = size - fixed;
        for (const u32 from : {length - 1, length - 5, length - 2000, length + 1, length + 700}) {
            all.push_back({5, from, length, 0, 0});
            all.push_back({5, from, length, 1000, 0});
        }
        all.push_back({kLastItem, length - 90, length, 0, 0});
        all.push_back({4, length - 90, length, 0, 0});
    }
    return all;
}

// A card whose length fields are all of a form that is longer than they need: the changed one gets short.
std::vector<Change> longForms()
{
    std::vector<Change> all;
    for (const u32 item : {0u, 5u, kLastItem}) {
        for (const u32 others : {20u, 14000u}) {
            for (const u32 from : {5u, 200u, 20000u}) {
                for (const i32 by : {-5, -3, -1, 0, 1, 2, 3, 4, 200}) {
                    all.push_back(
                        {item, from, static_cast<u32>(static_cast<i32>(from) + by), 0, others, 0, 4});
                }
                all.push_back({item, from, from + 1, 4, others, 2, 4});
                all.push_back({item, from, from + 4, 4, others, 0, 4});
            }
        }
    }
    return all;
}

// A card of id 2: `form` for every length field but that of the item `changed`, which takes the shortest.
Bytes cardOf(const Values& values, u32 changed, int form, u32 slack)
{
    Bytes table;
    Bytes data;
    for (u32 n = 0; n < values.size(); n++) {
        table = table + boxtest::LengthField(static_cast<u32>(values[n].size()), n == changed ? 0 : form);
        data = data + B(values[n]);
    }
    Bytes card = boxtest::EncodeHead(2, static_cast<u32>(4 + table.size() + data.size() + slack));
    boxtest::Add16(card, 2);
    boxtest::Add16(card, static_cast<u32>(table.size()));
    return card + table + data + Bytes(slack, 0xEE);
}
constexpr u32 kNothing = 999;  // no item is changed

class CardRewrite : public CardTest {
protected:
    // Card 1, then card 2 with the item to be changed, then, if `behind`, card 3.
    void prepare(const Change& c, bool behind)
    {
        before_ = valuesWith(c, Stuff(c.oldLength, 11));
        boxtest::BoxBuilder b(boxtest::NumberedItems(7));
        b.card(1);
        pos_ = b.raw(cardOf(before_, kNothing, c.form, c.slack));
        b.setSlot(2, pos_);
        if (behind) { b.card(3); }
        b.setField(hd::cardCount, behind ? 3 : 2);
        b.setField(hd::maxCardID, 3);
        b.setField(hd::unUsedCardID, 4);
        put(b.build(), kName);
        id_ = BxdFileOpen(kName, BXD_MODE_WRITE);
        ASSERT_GE(id_, 0);
        ASSERT_NE(0u, MoveXItemData(fid(), &place_, static_cast<u8>(c.item + 1), pos_));
        ASSERT_EQ(c.oldLength, place_.dataLength);
        value_ = Stuff(c.newLength, 22);
        std::string whole = before_[c.item].substr(0, c.offset) + value_.substr(c.offset);
        after_ = valuesWith(c, whole);
    }
    void finish()
    {
        ASSERT_EQ(BXD_OK, BxdFileClose(fid()));
        id_ = -1;
    }
    u8 fid() const { return static_cast<u8>(id_); }
    static Values valuesWith(const Change& c, const std::string& value)
    {
        Values values = Live({Stuff(c.others, 1), Stuff(c.others, 2), Stuff(c.others, 3)});
        values[c.item] = value;
        return values;
    }
    // The bytes of the new value that come from the caller.
    const u8* data(const Change& c) const { return Data(value_) + c.offset; }

    Bytes newCard(const Change& c) const { return cardOf(after_, c.item, c.form, c.slack); }

    // What the file must be: the new card behind the last one, or in place of the last one.
    BoxBytes expectBehind(const Change& c) const
    {
        BoxBytes want = file();
        (void)want.addCard(newCard(c));
        return want;
    }
    BoxBytes expectInPlace(const Change& c) const
    {
        BoxBytes want = file();
        want.replaceLast(pos_, newCard(c));
        return want;
    }

    void renew(const Change& c, bool behind)
    {
        SCOPED_TRACE(c);
        ASSERT_NO_FATAL_FAILURE(prepare(c, behind));
        const BoxBytes want = expectBehind(c);
        u32 pos = pos_;
        ASSERT_EQ(BXD_OK, RenewCardItem(fid(), &pos, &place_, data(c), c.newLength, c.offset));
        EXPECT_EQ(want.size() - 2 - newCard(c).size(), pos);
        EXPECT_TRUE(Same(want, file()));
        EXPECT_EQ(want.size(), BxdFileSize(fid()));
        finish();
    }
    void renewFromFile(const Change& c, bool behind)
    {
        SCOPED_TRACE(c);
        ASSERT_NO_FATAL_FAILURE(prepare(c, behind));
        put(B(value_), kSource);
        const BoxBytes want = expectBehind(c);
        u32 pos = pos_;
        {
            boxtest::Fid source(kSource, BXD_MODE_READ);
            ASSERT_EQ(BXD_OK, FlashCardModifyFF(fid(), source.id(), &pos, &place_, c.newLength));
        }
        EXPECT_EQ(want.size() - 2 - newCard(c).size(), pos);
        EXPECT_TRUE(Same(want, file()));
        EXPECT_EQ(want.size(), BxdFileSize(fid()));
        finish();
    }
    void modify(const Change& c)
    {
        SCOPED_TRACE(c);
        ASSERT_NO_FATAL_FAILURE(prepare(c, false));
        const BoxBytes want = expectInPlace(c);
        ASSERT_EQ(BXD_OK, ModifyCardItem(fid(), pos_, &place_, data(c), c.newLength, c.offset));
        EXPECT_TRUE(Same(want, file()));
        EXPECT_EQ(want.size(), BxdFileSize(fid()));
        finish();
    }
    void modifyFromFile(const Change& c)
    {
        SCOPED_TRACE(c);
        ASSERT_NO_FATAL_FAILURE(prepare(c, false));
        put(B(value_), kSource);
        BoxBytes want = expectInPlace(c);
        if (c.newLength == c.oldLength) {  // the value alone is written
            want.replaceLast(pos_, cardOf(after_, kNothing, c.form, c.slack));
        }
        {
            boxtest::Fid source(kSource, BXD_MODE_READ);
            ASSERT_EQ(BXD_OK, ModifyCardItemFromFile(fid(), source.id(), pos_, &place_, c.newLength));
        }
        EXPECT_TRUE(Same(want, file()));
        EXPECT_EQ(want.size(), BxdFileSize(fid()));
        finish();
    }
    // `newLength` is the old length and what comes behind it.
    void insert(Change c)
    {
        c.offset = c.oldLength;
        SCOPED_TRACE(c);
        ASSERT_NO_FATAL_FAILURE(prepare(c, false));
        const BoxBytes want = expectInPlace(c);
        ASSERT_EQ(BXD_OK, InsertLastCardItem(fid(), pos_, &place_, data(c), c.newLength - c.oldLength));
        EXPECT_TRUE(Same(want, file()));
        EXPECT_EQ(want.size(), BxdFileSize(fid()));
        finish();
    }

    u32 pos_ = 0;
    CardItemPlace place_{};
    Values before_;
    Values after_;
    std::string value_;
    i32 id_ = -1;
};

bool grows(const Change& c) { return c.newLength > c.oldLength && c.offset == 0; }

TEST_F(CardRewrite, RenewWritesTheCardBehindTheLastCard)
{
    for (const Change& c : smallChanges()) { renew(c, true); }
}

TEST_F(CardRewrite, RenewOfTheLastCardWritesItBehindItself)
{
    for (const Change& c : smallChanges()) {
        if (c.others == 0) { renew(c, false); }
    }
}

TEST_F(CardRewrite, RenewPassesLargeCardsThroughItsBuffer)
{
    for (const Change& c : largeChanges()) { renew(c, true); }
    for (const Change& c : borderChanges()) { renew(c, true); }
}

TEST_F(CardRewrite, ASourceFileIsWrittenIntoTheCardBehindTheLastCard)
{
    for (const Change& c : smallChanges()) {
        if (c.offset == 0) { renewFromFile(c, true); }
    }
}

TEST_F(CardRewrite, ASourceFileIsWrittenIntoTheLastCardBehindItself)
{
    for (const Change& c : smallChanges()) {
        if (c.offset == 0 && c.item == 5) { renewFromFile(c, false); }
    }
}

TEST_F(CardRewrite, ALargeSourceFileIsWrittenBehindTheLastCard)
{
    for (const Change& c : largeChanges()) {
        if (c.offset == 0) { renewFromFile(c, true); }
    }
}

TEST_F(CardRewrite, TheLastCardChangesWhereItStands)
{
    for (const Change& c : smallChanges()) { modify(c); }
}

TEST_F(CardRewrite, ALargeLastCardChangesWhereItStands)
{
    for (const Change& c : largeChanges()) { modify(c); }
}

TEST_F(CardRewrite, ALastCardOfTheBuffersSizeChangesWhereItStands)
{
    for (const Change& c : borderChanges()) { modify(c); }
}

TEST_F(CardRewrite, TheLastCardTakesASourceFileWhereItStands)
{
    for (const Change& c : smallChanges()) {
        if (c.offset == 0) { modifyFromFile(c); }
    }
}

TEST_F(CardRewrite, ALargeLastCardTakesASourceFileWhereItStands)
{
    for (const Change& c : largeChanges()) {
        if (c.offset == 0) { modifyFromFile(c); }
    }
    for (const Change& c : borderChanges()) {
        if (c.offset == 0) { modifyFromFile(c); }
    }
}

TEST_F(CardRewrite, AnItemOfTheLastCardIsLengthenedAtItsEnd)
{
    for (const Change& c : smallChanges()) {
        if (grows(c)) { insert(c); }
    }
}

TEST_F(CardRewrite, AnItemOfALargeLastCardIsLengthenedAtItsEnd)
{
    for (const Change& c : largeChanges()) {
        if (grows(c)) { insert(c); }
    }
    for (const Change& c : borderChanges()) {
        if (grows(c)) { insert(c); }
    }
}

TEST_F(CardRewrite, ALengthFieldThatIsLongerThanItNeedsBecomesShort)
{
    for (const Change& c : longForms()) {
        renew(c, true);
        modify(c);
        if (c.offset == 0) {
            renewFromFile(c, true);
            modifyFromFile(c);
        }
        if (grows(c)) { insert(c); }
    }
}

TEST_F(CardRewrite, ValuesOfSeveralMegabytes)
{
    for (const Change& c :
         {Change{5, 100, 3'000'000, 0, 50}, Change{5, 3'000'000, 3'100'000, 0, 50},
          Change{4, 2'500'000, 2'500'000, 1'000'000, 50000}, Change{5, 3'000'000, 100, 0, 50},
          Change{kLastItem, 2'000'000, 4'000'000, 0, 1'000'000}}) {
        renew(c, true);
        modify(c);
        if (c.offset == 0) {
            renewFromFile(c, true);
            modifyFromFile(c);
        }
        if (grows(c)) { insert(c); }
    }
}

TEST_F(CardRewrite, ALengthWithoutAFormIsOutOfRangeForASourceFile)
{
    ASSERT_NO_FATAL_FAILURE(prepare({5, 10, 10, 0, 5}, true));
    put(B("source"), kSource);
    const BoxBytes before = file();
    {
        boxtest::Fid source(kSource, BXD_MODE_READ);
        u32 pos = pos_;
        EXPECT_EQ(BXD_ERR_RANGE, FlashCardModifyFF(fid(), source.id(), &pos, &place_, 0x40000000));
    }
    EXPECT_TRUE(Same(before, file()));
    finish();
}

TEST_F(CardRewrite, AFileWithoutWriteAccessStays)
{
    ASSERT_NO_FATAL_FAILURE(prepare({5, 10, 20, 0, 5}, false));
    put(B(value_), kSource);
    const BoxBytes before = file();
    {
        boxtest::Fid reader(kName, BXD_MODE_READ);
        boxtest::Fid source(kSource, BXD_MODE_READ);
        u32 pos = pos_;
        EXPECT_EQ(BXD_ERR_FAIL, RenewCardItem(reader.id(), &pos, &place_, Data(value_), 20, 0));
        EXPECT_EQ(BXD_ERR_FAIL, FlashCardModifyFF(reader.id(), source.id(), &pos, &place_, 20));
        EXPECT_EQ(BXD_ERR_FAIL, ModifyCardItem(reader.id(), pos_, &place_, Data(value_), 20, 0));
        EXPECT_EQ(BXD_ERR_FAIL, ModifyCardItemFromFile(reader.id(), source.id(), pos_, &place_, 20));
        EXPECT_EQ(BXD_ERR_FAIL, InsertLastCardItem(reader.id(), pos_, &place_, Data(value_), 10));
    }
    EXPECT_TRUE(Same(before, file()));
    finish();
}

TEST_F(CardRewrite, ACardOf255ItemsIsRewritten)
{
    boxtest::BoxBuilder b(boxtest::NumberedItems(255));
    Values values = Live(Values(251));
    for (u32 n = 4; n < 255; n++) { values[n] = Stuff(n % 5, n); }
    const u32 pos = b.raw(Card(2, values));
    b.setSlot(2, pos);
    put(b.build(), kName);
    boxtest::Fid open(kName);
    ASSERT_TRUE(open.ok());
    BoxBytes want = file();
    for (const u32 item : {254u, 130u, 4u, 254u}) {
        CardItemPlace place{};
        ASSERT_NE(0u, MoveXItemData(open.id(), &place, static_cast<u8>(item + 1), pos));
        values[item] = Stuff(300 + item, item);
        ASSERT_EQ(BXD_OK, ModifyCardItem(open.id(), pos, &place, Data(values[item]), 300 + item, 0));
        want.replaceLast(pos, Card(2, values));
        EXPECT_TRUE(Same(want, file())) << item;
    }
}

}  // namespace

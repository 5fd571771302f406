// SPDX-License-Identifier: MIT
// Boxes of one card and of sixty thousand, from creation to the last reading: filled, changed, thinned out,
// filled again, and held item by item against what was written, through the library and byte by byte.
#include <bxd/bxd.h>

#include "box/bxd_card_delete.h"
#include "tests/support/card_helpers.h"

namespace {

using namespace cardtest;

constexpr u16 kEdit = TMP_SYSTEM_CARD_ID;
constexpr const char* kSource = "F0:SOURCE.DAT";

class BoxSizes : public CardTest, public ::testing::WithParamInterface<u32> {
protected:
    u32 size() const { return GetParam(); }
    // Every n-th card, counted from the first; in a small box the first one.
    template <typename Work>
    void every(u32 n, Work work)
    {
        for (u32 id = 1; id <= size(); id += n) { work(static_cast<u16>(id)); }
    }
    static Values fresh(u32 id)
    {
        return {"card " + std::to_string(id), Stuff(id % 97, id),
                id % 31 == 0 ? Stuff(200 + id % 50, id + 1) : ""};
    }
    // The own items of a card as they should be; a card that was killed has none.
    Values& own(u32 id) { return cards_[id]; }
    void set(u16 id, u32 item, const std::string& value)
    {
        ASSERT_EQ(BXD_OK, Write(box, id, tag(item), value)) << id;
        own(id)[item] = value;
    }

    void fill()
    {
        cards_.resize(size() + 1);
        for (u32 id = 1; id <= size(); id++) {
            own(id) = fresh(id);
            ASSERT_EQ(id, add(own(id)));
        }
    }
    void change()
    {
        every(7, [this](u16 id) { set(id, 1, Stuff(static_cast<u32>(own(id)[1].size()), id + 5)); });
        every(11, [this](u16 id) { set(id, 0, own(id)[0] + " and more"); });
        every(13, [this](u16 id) { set(id, 1, own(id)[1].substr(0, own(id)[1].size() / 2)); });
        every(101, [this](u16 id) {
            own(id)[2] = Stuff(300 + id % 40, id);
            put(B(own(id)[2]), kSource);
            ASSERT_EQ(BXD_OK, WriteFrom(box, id, "I002", kSource));
        });
        set(static_cast<u16>(size()), 2, Stuff(20000, size()));
        set(static_cast<u16>(size()), 2, Stuff(50, size()));
    }
    // Cards come out, are changed and go back; others are replaced by new ones.
    void replace()
    {
        every(17, [this](u16 id) {
            ASSERT_EQ(BXD_OK, copy(id, kEdit));
            set(kEdit, id, 1, Stuff(id % 60, id + 9));
            ASSERT_EQ(BXD_OK, copy(kEdit, id));
        });
        every(19, [this](u16 id) {
            own(id) = {"replaced", Stuff(id % 130, id), ""};
            edit(own(id));
            ASSERT_EQ(BXD_OK, copy(kEdit, id));
        });
    }
    void set(u16 editId, u16 id, u32 item, const std::string& value)
    {
        ASSERT_EQ(BXD_OK, Write(box, editId, tag(item), value));
        own(id)[item] = value;
    }
    // Frees ids all over the box and gives them to new cards.
    void thinOut()
    {
        every(23, [this](u16 id) {
            kill(id);
            own(id).clear();
        });
        u32 freed = 0;
        every(23, [&freed](u16) { freed++; });
        for (u32 n = 0; n < (freed + 1) / 2; n++) {
            const u16 id = add({"again " + std::to_string(n), "", Stuff(n % 20, n)});
            ASSERT_TRUE(own(id).empty()) << id;
            own(id) = {"again " + std::to_string(n), "", Stuff(n % 20, n)};
        }
    }
    void systemCards()
    {
        for (u32 n = 0; n < 10; n++) {
            addSystem(static_cast<u16>(65400 + n), {"system " + std::to_string(n), Stuff(3000 * n, n), ""});
        }
    }

    void verifyByLibrary()
    {
        for (u32 id = 1; id <= size(); id++) {
            const u16 card = static_cast<u16>(id);
            if (own(id).empty()) {
                ASSERT_EQ("status 66", Read(box, card, "I000")) << id;
                continue;
            }
            for (u32 item = 0; item < 3; item++) {
                ASSERT_EQ(own(id)[item], Read(box, card, tag(item))) << id;
            }
        }
        for (u32 n = 0; n < 10; n++) {
            ASSERT_EQ(Stuff(3000 * n, n), Read(box, static_cast<u16>(65400 + n), "I001"));
        }
    }
    void verifyByBytes()
    {
        const BoxBytes content = file();
        ASSERT_TRUE(Sound(content));
        const boxtest::BoxView view(content.all());
        u32 live = 0;
        for (u32 id = 1; id <= size(); id++) {
            if (own(id).empty()) {
                ASSERT_EQ(0u, view.find(id)) << id;
                continue;
            }
            live++;
            const Values want = Live(own(id));
            const std::vector<Bytes> got = view.values(id);
            ASSERT_EQ(want.size(), got.size()) << id;
            for (u32 n = 0; n < want.size(); n++) { ASSERT_EQ(B(want[n]), got[n]) << id << " item " << n; }
        }
        EXPECT_EQ(live, content.cardCount());
        EXPECT_EQ(size(), content.maxId());
        EXPECT_EQ(size() > 500 ? (size() - 500 + 127) / 128 : 0, content.appendTables().size());
        u32 bytes = 0;
        u16 total = 0;
        ASSERT_EQ(BXD_OK, _BoxCardTotal(kName, &bytes, &total));
        EXPECT_EQ(live, total);
    }

private:
    std::vector<Values> cards_;
};

TEST_P(BoxSizes, EveryItemIsWhatWasWritten)
{
    make(3);
    ASSERT_NO_FATAL_FAILURE(fill());
    EXPECT_EQ(size() + 1, file().hint());
    ASSERT_TRUE(Sound(file()));
    reopen();
    ASSERT_NO_FATAL_FAILURE(change());
    ASSERT_NO_FATAL_FAILURE(replace());
    ASSERT_NO_FATAL_FAILURE(systemCards());
    reopen();
    ASSERT_NO_FATAL_FAILURE(thinOut());
    ASSERT_NO_FATAL_FAILURE(verifyByLibrary());
    reopen();
    ASSERT_NO_FATAL_FAILURE(verifyByLibrary());
    ASSERT_NO_FATAL_FAILURE(verifyByBytes());
}

INSTANTIATE_TEST_SUITE_P(Cards, BoxSizes, ::testing::Values(1, 500, 501, 628, 629, 5000, 60000),
                         [](const auto& size) { return std::to_string(size.param); });

// The sizes at which tables come into being, one card at a time.
TEST_F(CardTest, TablesComeWithTheirFirstIdAndNotBefore)
{
    boxtest::BoxBuilder b(boxtest::NumberedItems(7));
    for (u32 id = 1; id <= 498; id++) { b.card(id); }
    start(b.build());
    for (u32 id = 499; id <= 760; id++) {
        ASSERT_EQ(id, add({"x", "", ""}));
        const BoxBytes now = file();
        EXPECT_EQ(id, now.cardCount());
        EXPECT_EQ(id + 1, now.hint());
        EXPECT_EQ(id, now.maxId());
        EXPECT_EQ(id <= 500 ? 0u : id <= 628 ? 1u : id <= 756 ? 2u : 3u, now.appendTables().size());
        ASSERT_TRUE(Sound(now)) << id;
    }
}

}  // namespace

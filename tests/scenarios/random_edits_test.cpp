// SPDX-License-Identifier: MIT
// Thousands of random calls on a box, by fixed seeds, beside a plain model of it in memory: what the box
// holds must be what the model holds, for every item, and every file on the way must be sound.
#include <bxd/bxd.h>

#include <map>
#include <optional>
#include <random>

#include "box/bxd_card_delete.h"
#include "tests/support/card_helpers.h"

namespace {

using namespace cardtest;
namespace hd = boxtest::hd;

constexpr u16 kEdit = TMP_SYSTEM_CARD_ID;
constexpr u16 kFirstSystem = 65281;
constexpr u32 kSystemIds = 12;
constexpr const char* kSource = "F0:SOURCE.DAT";
constexpr u32 kLargestFile = 1'500'000;  // a box that has grown so far makes room for a new one

class RandomEdits : public CardTest, public ::testing::WithParamInterface<u32> {
protected:
    // What the box should hold. Values are as they are stored.
    struct Model {
        std::map<u16, Values> stored;
        std::map<u16, Values> system;
        std::optional<Values> edit;
        Bytes extInfo;
    };

    void SetUp() override { rng_.seed(GetParam()); }

    u32 pick(u32 n) { return static_cast<u32>(rng_() % n); }
    u16 anyOf(const std::map<u16, Values>& cards)
    {
        auto it = cards.begin();
        std::advance(it, pick(static_cast<u32>(cards.size())));
        return it->first;
    }
    u16 anySystemId() { return static_cast<u16>(kFirstSystem + pick(kSystemIds)); }
    // Lengths of values: mostly small, sometimes at the borders of the length forms or beyond a buffer.
    u32 anyLength()
    {
        switch (pick(24)) {
        case 0: return 126 + pick(4);
        case 1: return 16382 + pick(4);
        case 2: return pick(12000);
        case 3: return pick(200) == 0 ? 33000 + pick(40000) : pick(2000);
        case 4:
        case 5: return 0;
        default: return pick(60);
        }
    }
    std::string anyValue() { return Stuff(anyLength(), static_cast<u32>(rng_())); }
    std::string itemTag(u32 item) const
    {
        const char* first[] = {"ATTR", "cTTM", "mDTM", "sYID"};
        return item < 4 ? first[item] : tag(item - 4);
    }
    u32 itemCount() const { return own_ + 4; }
    Values empty() const { return Live(Values(own_)); }

    // --- a box to begin with ---

    void begin()
    {
        model_ = Model();
        own_ = 1 + pick(6);
        boxtest::BoxBuilder b(boxtest::NumberedItems(own_ + 4));
        const u32 counts[] = {0, 5, 495, 625};
        const u32 count = counts[pick(4)];
        for (u32 id = 1; id <= count; id++) {
            Values values = empty();
            values[4] = Stuff(pick(30), id);
            std::vector<Bytes> row;
            for (const std::string& value : values) { row.push_back(B(value)); }
            b.card(id, row);
            model_.stored[static_cast<u16>(id)] = values;
        }
        const u32 limits[] = {kNone, 1024, 4096, 60000};
        b.setField(hd::systemCardSize, limits[pick(4)]);
        start(b.build());
        ramAtStart_ = ramGarbage();
    }

    // --- one step ---

    // An item of a card is written; `values` follows.
    void write(u16 id, Values* values)
    {
        const u32 item = pick(itemCount());
        if (item == 0) {
            const u8 attr = static_cast<u8>(rng_()) & 0xBF;  // the card stays a live one
            ASSERT_EQ(BXD_OK, Write(box, id, "ATTR", std::string(1, static_cast<char>(attr))));
            (*values)[0] = std::string(1, static_cast<char>(attr ^ 0x40));
            return;
        }
        std::string& value = (*values)[item];
        if (pick(5) == 0) {
            const std::string source = anyValue();
            put(B(source), kSource);
            ASSERT_EQ(BXD_OK, WriteFrom(box, id, itemTag(item), kSource));
            value = source;
            return;
        }
        const u32 old = static_cast<u32>(value.size());
        if (pick(30) == 0) {
            ASSERT_EQ(BXD_ERR_RANGE, WriteAt(box, id, itemTag(item), "x", old + 1 + pick(100)));
            return;
        }
        const u32 offset = pick(3) == 0 ? pick(old + 1) : 0;
        const std::string data = pick(4) == 0 ? Stuff(old - offset, pick(1000)) : anyValue();
        ASSERT_EQ(BXD_OK, WriteAt(box, id, itemTag(item), data, offset));
        value = value.substr(0, offset) + data;
    }

    void createEdit()
    {
        u16 id = kEdit;
        if (model_.edit) {
            ASSERT_EQ(BXD_ERR_FAIL, _CardCreate(box, &id));
            return;
        }
        ASSERT_EQ(BXD_OK, _CardCreate(box, &id));
        model_.edit = empty();
    }

    // A free id that the tables reach, or the id of a stored card.
    u16 anyTarget(const BoxBytes& now)
    {
        const u32 reach = 500 + 128 * static_cast<u32>(now.appendTables().size());
        return static_cast<u16>(1 + pick(pick(2) == 0 ? reach : 20));
    }

    // `values` become a stored card, with an id that the box chooses or that is named.
    void copyToStored(u16 source, const Values& values)
    {
        const BoxBytes before = file();
        u16 target = pick(3) == 0 ? anyTarget(before) : u16{0};
        if (target == source) { return; }
        const u32 chosen = NewIdSearch(before).run();
        const bool isNew = target == 0;
        ASSERT_EQ(BXD_OK, _CardCopy(box, source, &target));
        if (isNew) { ASSERT_EQ(chosen, target); }
        model_.stored[target] = values;
    }
    // `values` become a system card; false where all slots are taken.
    bool copyToSystem(u16 source, u16 target, const Values& values)
    {
        if (model_.system.size() == 10 && model_.system.count(target) == 0) {
            const BoxBytes before = file();
            EXPECT_EQ(BXD_ERR_FAIL, copy(source, target));
            EXPECT_TRUE(Same(before, file()));
            return false;
        }
        EXPECT_EQ(BXD_OK, copy(source, target));
        model_.system[target] = values;
        return true;
    }

    void copyEdit()
    {
        if (!model_.edit) {
            ASSERT_EQ(BXD_ERR_NOTFOUND, copy(kEdit, 0));
            return;
        }
        const Values values = *model_.edit;
        if (pick(5) == 0) {
            if (copyToSystem(kEdit, anySystemId(), values)) { model_.edit.reset(); }
            return;
        }
        if (pick(2) == 0 && !model_.stored.empty()) {
            const u16 target = anyOf(model_.stored);
            ASSERT_EQ(BXD_OK, copy(kEdit, target));
            model_.stored[target] = values;
        } else {
            copyToStored(kEdit, values);
        }
        model_.edit.reset();
        ASSERT_EQ(0, state());
    }

    void copyStored()
    {
        if (model_.stored.empty()) { return; }
        const u16 source = anyOf(model_.stored);
        const Values values = model_.stored[source];
        switch (pick(4)) {
        case 0:
            ASSERT_EQ(BXD_OK, copy(source, kEdit));
            model_.edit = values;
            return;
        case 1: (void)copyToSystem(source, anySystemId(), values); return;
        default: copyToStored(source, values); return;
        }
    }

    // A system card is moved. A card under edit would be dropped, and left behind if it lay in the file.
    void copySystem()
    {
        if (model_.system.empty() || state() == 2) { return; }
        const u16 source = anyOf(model_.system);
        const Values values = model_.system[source];
        const u16 target = anySystemId();
        const u32 way = pick(3);
        if (way == 0) {
            ASSERT_EQ(BXD_OK, copy(source, kEdit));
            model_.edit = values;
            return;
        }
        if (way == 1) {
            // From the end of the file over another system card the other one's slot stays behind.
            if (model_.system.count(target) != 0 || !copyToSystem(source, target, values)) { return; }
        } else {
            copyToStored(source, values);
        }
        model_.system.erase(source);
        model_.edit.reset();
    }

    void remove()
    {
        const u32 way = pick(4);
        if (way == 0 && model_.edit) {
            ASSERT_EQ(BXD_OK, CardDeleteSub(*box, kEdit, pick(2)));
            model_.edit.reset();
        } else if (way == 1 && !model_.system.empty()) {
            const u16 id = anyOf(model_.system);
            ASSERT_EQ(BXD_OK, CardDeleteSub(*box, id, pick(2)));
            model_.system.erase(id);
        } else if (!model_.stored.empty()) {
            const u16 id = anyOf(model_.stored);
            ASSERT_EQ(BXD_OK, CardDeleteSub(*box, id, pick(2)));
            model_.stored.erase(id);
        }
    }

    void writeImage()
    {
        if (file().cardOffset() == kNone) { return; }
        const u16 id = anySystemId();
        close();
        model_.edit.reset();
        if (pick(2) == 0) {
            model_.extInfo = boxtest::Pattern(1 + anyLength(), pick(1000));
            writeImage(EXT_INFO_ID, model_.extInfo);
        } else if (model_.system.size() < 10 || model_.system.count(id) != 0) {
            Values values = empty();
            values[4] = anyValue();
            const Bytes card = Card(id, values);
            writeImage(id, boxtest::Slice(card, 6, card.size()));
            model_.system[id] = values;
        }
        open();
    }
    static void writeImage(u16 id, const Bytes& image)
    {
        std::vector<u16> halves((image.size() + 1) / 2);
        std::copy(image.begin(), image.end(), reinterpret_cast<u8*>(halves.data()));
        ASSERT_EQ(BXD_OK, _WriteCardImage(kName, id, halves.data(), static_cast<u32>(image.size())));
    }

    void step()
    {
        switch (pick(16)) {
        case 0:
        case 1: createEdit(); break;
        case 2:
        case 3:
        case 4:
            if (model_.edit) { write(kEdit, &*model_.edit); }
            break;
        case 5:
        case 6: copyEdit(); break;
        case 7:
        case 8:
        case 9:
            if (!model_.stored.empty()) { writeTo(&model_.stored); }
            break;
        case 10: copyStored(); break;
        case 11: copySystem(); break;
        case 12:
            // While a card under edit lies in the file a rewrite of another system card would lose it.
            if (!model_.system.empty() && state() != 2) { writeTo(&model_.system); }
            break;
        case 13:
        case 14: remove(); break;
        default:
            if (pick(6) == 0) {
                writeImage();
            } else if (pick(4) == 0) {
                reopen();
                model_.edit.reset();
            }
            break;
        }
    }
    void writeTo(std::map<u16, Values>* cards)
    {
        const u16 id = anyOf(*cards);
        write(id, &(*cards)[id]);
    }

    // --- the comparison ---

    void expectValues(const Values& want, const std::vector<Bytes>& got, u32 id)
    {
        ASSERT_EQ(want.size(), got.size()) << id;
        for (u32 n = 0; n < want.size(); n++) { ASSERT_EQ(B(want[n]), got[n]) << id << " item " << n; }
    }
    void verifyBytes()
    {
        const BoxBytes now = file();
        ASSERT_TRUE(Sound(now));
        ASSERT_EQ(model_.stored.size(), now.cardCount());
        ASSERT_EQ(now.garbage(), ramGarbage() - ramAtStart_);
        const boxtest::BoxView view(now.all());
        for (const auto& [id, values] : model_.stored) { expectValues(values, view.values(id), id); }
        u32 systemCards = 0;
        for (u32 n = 1; n <= 10; n++) { systemCards += boxtest::IsSet(now.entry(n)) ? 1 : 0; }
        ASSERT_EQ(model_.system.size(), systemCards);
        for (const auto& [id, values] : model_.system) { expectValues(values, view.values(id), id); }
        if (!model_.extInfo.empty()) {
            const u32 pos = now.entry(0);
            ASSERT_EQ(PlainCard(EXT_INFO_ID, model_.extInfo), now.part(pos, now.total(pos)));
        }
        if (state() == 2) { expectValues(*model_.edit, view.valuesAt((*box)->tmpCardOffset), kEdit); }
    }
    void verifyByLibrary()
    {
        ASSERT_EQ(model_.edit.has_value(), state() != 0);
        if (model_.edit) { readBack(kEdit, *model_.edit); }
        for (u32 n = 0; n < 3 && !model_.stored.empty(); n++) {
            const u16 id = anyOf(model_.stored);
            readBack(id, model_.stored[id]);
        }
        if (!model_.system.empty() && state() != 2) {
            const u16 id = anyOf(model_.system);
            readBack(id, model_.system[id]);
        }
    }
    void readBack(u16 id, Values values)
    {
        values[0][0] = static_cast<char>(values[0][0] ^ 0x40);
        for (u32 n = 0; n < values.size(); n++) { ASSERT_EQ(values[n], Read(box, id, itemTag(n))) << id; }
    }

    std::mt19937 rng_;
    Model model_;
    u32 own_ = 0;
    u32 ramAtStart_ = 0;
};

TEST_P(RandomEdits, TheBoxHoldsWhatTheModelHolds)
{
    constexpr u32 kSteps = 4000;
    ASSERT_NO_FATAL_FAILURE(begin());
    for (u32 n = 0; n < kSteps; n++) {
        SCOPED_TRACE(n);
        ASSERT_NO_FATAL_FAILURE(step());
        ASSERT_FALSE(HasNonfatalFailure());
        if (n % 10 == 0) { ASSERT_NO_FATAL_FAILURE(verifyByLibrary()); }
        if (n % 25 != 0) { continue; }
        ASSERT_NO_FATAL_FAILURE(verifyBytes());
        if (file().size() > kLargestFile) {
            close();
            ASSERT_NO_FATAL_FAILURE(begin());
        }
    }
    ASSERT_NO_FATAL_FAILURE(verifyBytes());
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomEdits, ::testing::Values(1, 2, 3, 4, 5, 6));

}  // namespace

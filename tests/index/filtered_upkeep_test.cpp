// SPDX-License-Identifier: MIT
// Indexes of every kind follow thousands of random changes of cards, each in the call that makes it: held
// against a model of the entries, against an index that is made anew, and against the condition.
#include <algorithm>
#include <functional>
#include <map>
#include <random>
#include <set>

#include "tests/support/search_case.h"

namespace {

using namespace searchtest;

struct Card {
    std::string reading;
    u32 number = 0;
    u8 attr = 0x40;  // as stored

    bool operator==(const Card&) const = default;
};
using Cards = std::map<u32, Card>;

// Whether the first card stands before the second.
using Less = std::function<bool(const Card&, const Card&)>;
using Belongs = std::function<bool(const Card&)>;

Less Order(bool readingDown, bool numberDown)
{
    return [=](const Card& a, const Card& b) {
        if (a.reading != b.reading) { return (a.reading < b.reading) != readingDown; }
        return a.number != b.number && (a.number < b.number) != numberDown;
    };
}

// What an index should hold after each change, entry by entry.
class Model {
public:
    Model(u8 type, u8 mode, Less less, Belongs belongs, bool oneOfEach)
        : type_(type), mode_(mode), less_(std::move(less)), belongs_(std::move(belongs)),
          oneOfEach_(oneOfEach)
    {}

    const std::vector<IndexEntry>& entries() const { return entries_; }
    u32 hidden() const
    {
        u32 n = 0;
        for (const IndexEntry& entry : entries_) { n += entry.flags & 1u; }
        return n;
    }

    void append(const Cards& cards, u32 id) { place(cards, {id, attrOf(cards.at(id), 7)}, false); }
    void created(const Cards& cards, u32 id)
    {
        if (mode_ == 2 || (type_ & 0x81) == 0x80 || !matches(cards.at(id))) { return; }
        place(cards, {id, static_cast<u8>(cards.at(id).attr | 7)}, oneOfEach_);
    }
    void replaced(const Cards& cards, u32 id)
    {
        const auto found = find(id);
        if (found == entries_.end()) {
            created(cards, id);
            return;
        }
        if (!matches(cards.at(id))) {
            const auto next = entries_.erase(found);
            if (next != entries_.end()) { show(*next); }
            return;
        }
        found->attr = attrOf(cards.at(id), (found->attr & 0x0Fu) | (isDischarge() ? 1u : 0u));
        if (less_ && !inPlace(cards, found)) { move(cards, found); }
    }
    void removed(u32 id)
    {
        const auto found = find(id);
        if (found == entries_.end()) { return; }
        if (isDischarge()) {
            found->attr &= 0xF9;
            return;
        }
        if ((found->flags & 1) == 0 && found + 1 != entries_.end()) { (found + 1)->flags &= 0xFE; }
        entries_.erase(found);
    }

private:
    using Place = std::vector<IndexEntry>::iterator;

    bool isDischarge() const { return (type_ & 0x82) == 0x82; }
    bool matches(const Card& card) const { return mode_ != 1 || !belongs_ || belongs_(card); }
    static u8 attrOf(const Card& card, u32 sync) { return static_cast<u8>((card.attr & 0xF0) | sync); }
    static void show(IndexEntry& entry)
    {
        if ((entry.flags & 1) != 0) { entry.flags = 0; }
    }
    Place find(u32 id)
    {
        return std::find_if(entries_.begin(), entries_.end(),
                            [=](const IndexEntry& e) { return e.cardId == id; });
    }
    bool inPlace(const Cards& cards, Place at) const
    {
        const Card& card = cards.at(at->cardId);
        if (at != entries_.begin() && less_(card, cards.at((at - 1)->cardId))) { return false; }
        return at + 1 == entries_.end() || !less_(cards.at((at + 1)->cardId), card);
    }
    void move(const Cards& cards, Place at)
    {
        if (at + 1 != entries_.end() && (at->flags & 1) == 0) { show(*(at + 1)); }
        show(*at);
        const IndexEntry entry = *at;
        entries_.erase(at);
        place(cards, entry, oneOfEach_);
    }
    // Behind all that are equal; then the neighbours tell who is hidden.
    void place(const Cards& cards, const IndexEntry& entry, bool asksNeighbours)
    {
        const Card& card = cards.at(entry.cardId);
        auto at = entries_.end();
        if (less_) {
            at = std::upper_bound(
                entries_.begin(), entries_.end(), card,
                [&](const Card& c, const IndexEntry& e) { return less_(c, cards.at(e.cardId)); });
        }
        at = entries_.insert(at, entry);
        if (!asksNeighbours || entries_.size() == 1) { return; }
        auto isSame = [&](const IndexEntry& e) { return cards.at(e.cardId).reading == card.reading; };
        if (at != entries_.begin() && isSame(*(at - 1))) {
            at->flags |= 1;
        } else if (at + 1 != entries_.end() && isSame(*(at + 1))) {
            (at + 1)->flags |= 1;
        }
    }

    u8 type_;
    u8 mode_;
    Less less_;
    Belongs belongs_;
    bool oneOfEach_;
    std::vector<IndexEntry> entries_;
};

struct Kind {
    const char* name;
    u8 type, mode;
    Bytes order;  // compiled
    Less less;
    Bytes condition;
    Belongs belongs;
    bool oneOfEach;
};

const char* const kLetters[] = {"あ", "い", "か", "き"};

// By language, by code points, downwards, by number first, and without order.
std::vector<Kind> Kinds()
{
    const Bytes language{kUtf8, kReadItem, 0x80, kHalf, kNumbItem, 0x80};
    const Bytes down{kUtf8, kReadItem, 0x83, kHalf, kNumbItem, 0x81};
    const Bytes mixed{kUtf8, kReadItem, 0x81, kHalf, kNumbItem, 0x80};
    const Bytes byNumber{kHalf, kNumbItem, 0x81};
    const Less up = Order(false, false);
    const Less numberDown = [](const Card& a, const Card& b) { return a.number > b.number; };
    auto beginsWithKa = [](const Card& card) { return card.reading.rfind("か", 0) == 0; };
    auto isMarked = [](const Card& card) { return (card.attr & 0x80) != 0; };
    return {{"F0:ALL.IDX", 0, 0, language, up, {}, {}, false},
            {"F0:BINARY.IDX", 0, 0, down, Order(true, true), {}, {}, false},
            {"F0:FILTER.IDX", 0, 1, byNumber, numberDown, Clause("READ", 0x91, "か"), beginsWithKa, false},
            {"F0:MARKED.IDX", 0, 1, mixed, Order(true, false), Clause("ATTR", 0x88, 6, {0x80, 0x80}),
             isMarked, false},
            {"F0:HAND.TDX", 0, 2, language, up, {}, {}, false},
            {"F0:DISC.IDX", 0x83, 0, {}, {}, {}, {}, false},
            {"F0:CLOSED.IDX", 0x80, 0, language, up, {}, {}, false},
            {"F0:ONE.IDX", 0, 1, language, up, Clause("READ", 0x94), {}, true},
            {"F0:KEYS.IDX", 0, 1, down, Order(true, true), Bytes{0xFE, 0x96, 1}, {}, true}};
}

class FilteredUpkeep : public SearchCase {
protected:
    ~FilteredUpkeep() override
    {
        if (box_ != nullptr) { EXPECT_EQ(_BoxClose(box_), 0u); }
    }

    void begin()
    {
        BoxBuilder box(SortItems());
        std::vector<IndexEntrySpec> table;
        for (const Kind& kind : kinds_) {
            table.push_back({kind.name + 3, 1, 27, kind.type, kind.mode});
            putAnew(kind.name, kind);
            models_.emplace_back(kind.type, kind.mode, kind.less, kind.belongs, kind.oneOfEach);
        }
        box.indexTable(table);
        put(box.build());
        box_ = _BoxOpen(kBox);
        ASSERT_NE(box_, nullptr);
    }
    // An index of this kind without entries, which its box need not know.
    void putAnew(const char* name, const Kind& kind) const
    {
        IndexBuilder index;
        index.created().record(1, "TEST.BOX").record(2, OrderText(kind.order));
        if (!kind.order.empty()) { index.record(129, kind.order); }
        if (!kind.condition.empty()) { index.record(3, Whole(kind.condition)); }
        put(index.build(), name);
    }

    u32 pick(u32 below) { return std::uniform_int_distribution<u32>(0, below - 1)(random_); }
    Card anyCard()
    {
        Card card;
        for (u32 n = pick(3); n > 0; --n) { card.reading += kLetters[pick(4)]; }
        card.number = pick(60000);
        card.attr = static_cast<u8>(0x40 | pick(2) << 7 | pick(4) << 4 | 0x40);
        return card;
    }
    void write(const Card& card)
    {
        const u8 attr = card.attr ^ 0x40;
        const Bytes number = Half(card.number);
        EXPECT_EQ(writeItem("READ", reinterpret_cast<const u8*>(card.reading.data()), card.reading.size()),
                  0u);
        EXPECT_EQ(writeItem("NUMB", number.data(), number.size()), 0u);
        EXPECT_EQ(writeItem("ATTR", &attr, 1), 0u);
    }
    u32 writeItem(const char* tag, const u8* data, size_t size)
    {
        const CardDescriptor key = Key(TMP_SYSTEM_CARD_ID, tag);
        return _CardWrite(box_, &key, data, static_cast<i32>(size));
    }
    u16 anyId()
    {
        auto card = cards_.begin();
        std::advance(card, pick(static_cast<u32>(cards_.size())));
        return static_cast<u16>(card->first);
    }

    // --- the changes ---

    void told(u32 id, bool isNew)
    {
        for (Model& model : models_) { isNew ? model.created(cards_, id) : model.replaced(cards_, id); }
    }
    void create()
    {
        u16 edit = TMP_SYSTEM_CARD_ID;
        u16 id = 0;
        const Card card = anyCard();
        ASSERT_EQ(_CardCreate(box_, &edit), 0u);
        write(card);
        ASSERT_EQ(_CardCopy(box_, edit, &id), 0u);
        cards_[id] = card;
        told(id, true);
    }
    // Through the card under edit, loaded or new.
    void change(bool load)
    {
        u16 id = anyId();
        u16 edit = TMP_SYSTEM_CARD_ID;
        if (load) {
            ASSERT_EQ(_CardCopy(box_, id, &edit), 0u);
        } else {
            ASSERT_EQ(_CardCreate(box_, &edit), 0u);
        }
        Card card = anyCard();
        if (pick(3) == 0) { card.reading = cards_[id].reading; }
        write(card);
        ASSERT_EQ(_CardCopy(box_, edit, &id), 0u);
        cards_[id] = card;
        told(id, false);
    }
    void copy()
    {
        const u16 from = anyId();
        u16 to = pick(2) == 0 ? u16{0} : anyId();
        if (from == to) { return; }
        const bool isNew = to == 0;
        ASSERT_EQ(_CardCopy(box_, from, &to), 0u);
        cards_[to] = cards_[from];
        told(to, isNew);
    }
    void remove()
    {
        const u16 id = anyId();
        ASSERT_EQ(_CardDelete(box_, id), 0u);
        cards_.erase(id);
        for (Model& model : models_) { model.removed(id); }
    }
    // By hand, into the indexes that new cards stay out of.
    void append()
    {
        const u16 id = anyId();
        for (size_t n = 0; n < kinds_.size(); ++n) {
            if (kinds_[n].mode != 2 && kinds_[n].type != 0x80) { continue; }
            u16 place = 0;
            const u32 status = _IndexNoAppend(kinds_[n].name, box_, id, &place);
            if (status == BXD_ERR_DUPLICATE) { continue; }
            ASSERT_EQ(status, 0u);
            models_[n].append(cards_, id);
        }
    }
    void step()
    {
        const u32 what = pick(100);
        if (cards_.size() < 4 || (cards_.size() < 60 && what < 35)) { return create(); }
        if (what < 60) { return change(true); }
        if (what < 72) { return change(false); }
        if (what < 80) { return copy(); }
        if (what < 88) { return append(); }
        remove();
    }

    // --- the comparisons ---

    void compareWithModels() const
    {
        for (size_t n = 0; n < kinds_.size(); ++n) {
            const IndexView view(get(kinds_[n].name));
            ASSERT_EQ(view.fault(), "") << kinds_[n].name;
            ASSERT_EQ(view.entries(), models_[n].entries()) << kinds_[n].name;
        }
    }
    std::vector<Card> cardsOf(const std::string& name, const Belongs& belongs) const
    {
        std::vector<Card> out;
        const IndexView view(get(name));
        for (const IndexEntry& entry : view.entries()) {
            const Card& card = cards_.at(entry.cardId);
            if (!belongs || belongs(card)) { out.push_back(card); }
        }
        return out;
    }
    // All cards of the box that belong into an index, in its order.
    void compareWithAnew() const
    {
        for (const Kind& kind : kinds_) {
            if (kind.order.empty() || kind.mode == 2 || kind.type == 0x80) { continue; }
            putAnew("F0:NEW.IDX", kind);
            ASSERT_EQ(_IndexUnGroup("F0:NEW.IDX", box_), 0u);
            ASSERT_EQ(_IndexSort("F0:NEW.IDX", box_), 0u);
            const std::vector<Card> anew = cardsOf("F0:NEW.IDX", kind.belongs);
            const std::vector<Card> kept = cardsOf(kind.name, {});
            ASSERT_TRUE(std::equal(
                anew.begin(), anew.end(), kept.begin(), kept.end(),
                [](const Card& a, const Card& b) { return a.reading == b.reading && a.number == b.number; }))
                << kind.name;
        }
    }

    const std::vector<Kind> kinds_ = Kinds();
    std::vector<Model> models_;
    Cards cards_;
    BoxHandle box_ = nullptr;
    std::mt19937 random_{314159};
};

TEST_F(FilteredUpkeep, ThousandsOfRandomChangesAreFollowed)
{
    ASSERT_NO_FATAL_FAILURE(begin());
    u32 hidden = 0;
    for (u32 n = 1; n <= 2000; ++n) {
        ASSERT_NO_FATAL_FAILURE(step());
        if (n % 25 == 0 || n < 20) { ASSERT_NO_FATAL_FAILURE(compareWithModels()) << "after change " << n; }
        if (n % 300 == 0) { ASSERT_NO_FATAL_FAILURE(compareWithAnew()) << "after change " << n; }
        hidden = std::max(hidden, models_[7].hidden());
    }
    EXPECT_GT(hidden, 5u);
    EXPECT_GT(models_[2].entries().size(), 3u);
    EXPECT_GT(models_[5].entries().size(), cards_.size());  // the discharged ones stay
}

// --- single rules ----------------------------------------------------------------------------------------

class FilteredCard : public SearchCase {
protected:
    // Cards 1 to 4 with the readings of SetUp, and an index that the box knows.
    void putBoth(u8 type, u8 mode, const IndexBuilder& index)
    {
        BoxBuilder box = BoxOf({"a", "a", "b", "c"});
        box.indexTable({{"TEST.IDX", 1, 27, type, mode}});
        put(box.build());
        putIndex(index);
    }
    static IndexBuilder byReading(const Bytes& condition)
    {
        return ordered(kByLanguage).record(3, Whole(condition));
    }
    // A card under edit with this reading and number goes to the id.
    static u32 store(u16 id, const std::string& reading, u32 number = 1)
    {
        OpenBox open(kBox);
        u16 edit = TMP_SYSTEM_CARD_ID;
        EXPECT_EQ(_CardCreate(open.handle(), &edit), 0u);
        const Bytes bytes = Half(number);
        const CardDescriptor read = Key(edit, "READ");
        const CardDescriptor numb = Key(edit, "NUMB");
        EXPECT_EQ(_CardWrite(open.handle(), &read, B(reading).data(), static_cast<i32>(reading.size())), 0u);
        EXPECT_EQ(_CardWrite(open.handle(), &numb, bytes.data(), 2), 0u);
        return _CardCopy(open.handle(), edit, &id);
    }
};

TEST_F(FilteredCard, ACardThatNoLongerMatchesVanishesAndItsFollowerIsSeen)
{
    putBoth(0, 1, byReading(Clause("NUMB", 0x98, 5u)).entries({{1, 0x47, 0}, {2, 0x47, 1}, {3, 0x47, 1}}));
    EXPECT_EQ(store(1, "a", 4), 0u);
    EXPECT_EQ(entries(), (std::vector<IndexEntry>{{2, 0x47, 0}, {3, 0x47, 1}}));
    EXPECT_EQ(store(4, "b", 4), 0u);
    EXPECT_EQ(order(), (std::vector<u32>{2, 3}));
    EXPECT_EQ(store(4, "ab", 5), 0u);
    EXPECT_EQ(order(), (std::vector<u32>{2, 4, 3}));
}

TEST_F(FilteredCard, OfEqualCardsOneIsSeen)
{
    putBoth(0, 1, byReading(Clause("READ", 0x94)));
    EXPECT_EQ(store(0, "b"), 0u);
    EXPECT_EQ(store(0, "b"), 0u);
    EXPECT_EQ(store(0, "a"), 0u);
    EXPECT_EQ(store(0, "b"), 0u);
    EXPECT_EQ(entries(), (std::vector<IndexEntry>{{7, 0x47, 0}, {5, 0x47, 0}, {6, 0x47, 1}, {8, 0x47, 1}}));
    // The first one leaves the run and comes back behind the others.
    EXPECT_EQ(store(5, "c"), 0u);
    EXPECT_EQ(entries(), (std::vector<IndexEntry>{{7, 0x47, 0}, {6, 0x47, 0}, {8, 0x47, 1}, {5, 0x47, 0}}));
    EXPECT_EQ(store(5, "b"), 0u);
    EXPECT_EQ(order(), (std::vector<u32>{7, 6, 8, 5}));
    // It has kept its place, and so it is not asked about anew.
    EXPECT_EQ(entries()[3].flags, 0);
    EXPECT_EQ(store(5, "a"), 0u);
    EXPECT_EQ(entries(), (std::vector<IndexEntry>{{7, 0x47, 0}, {5, 0x47, 1}, {6, 0x47, 0}, {8, 0x47, 1}}));
}

TEST_F(FilteredCard, ACardThatComesBeforeItsEqualHidesIt)
{
    putBoth(0, 1, byReading(Clause("NUMB", 0x94)).entries({{3, 0x47, 0}, {4, 0x47, 0}}));
    EXPECT_EQ(store(0, "a", 3), 0u);  // card 3 has the number 3
    EXPECT_EQ(entries(), (std::vector<IndexEntry>{{5, 0x47, 0}, {3, 0x47, 1}, {4, 0x47, 0}}));
    // Of two equal neighbours the one before counts.
    putBoth(0, 1, byReading(Clause("NUMB", 0x94)).entries({{3, 0x47, 0}, {4, 0x47, 0}}));
    EXPECT_EQ(store(4, "a", 3), 0u);
    EXPECT_EQ(entries(), (std::vector<IndexEntry>{{4, 0x47, 0}, {3, 0x47, 1}}));
}

TEST_F(FilteredCard, WhatElseTheConditionAsksHidesACardBesideAnother)
{
    putBoth(0, 1,
            byReading(Clause("NUMB", 0x98, 3u) + kAndClause + Clause("READ", 0x94)).entries({{3, 0x47, 0}}));
    EXPECT_EQ(store(0, "c", 2), 0u);  // it does not satisfy the condition, and it comes in
    EXPECT_EQ(entries(), (std::vector<IndexEntry>{{3, 0x47, 0}, {5, 0x47, 1}}));
}

// The sort in memory refuses a table with an id that no card has, and the one on the file comes after it.
TEST_F(FilteredCard, OnTheFileTheTableIsMarked)
{
    putBoth(0, 1, byReading(Clause("READ", 0x94)).entries({{0xFF00, 0x47, 0}, {3, 0x47, 0}}));
    EXPECT_EQ(store(0, "b"), 0u);
    EXPECT_EQ(IndexView(get(kIndex)).entries(),
              (std::vector<IndexEntry>{{0xFF01, 0x47, 0}, {3, 0x47, 0}, {5, 0x47, 0}}));
    EXPECT_EQ(store(0, "c"), 0u);
    EXPECT_EQ(IndexView(get(kIndex)).cardIds(), (std::vector<u32>{0xFF01, 3, 5, 6}));
}

TEST_F(FilteredCard, AHandAppendAsksNobody)
{
    putBoth(0, 1, byReading(Clause("READ", 0x94)).entries({{1, 0x47, 0}}));
    u16 place = 0;
    EXPECT_EQ(_IndexNoAppend(kIndex, nullptr, 2, &place), 0u);
    EXPECT_EQ(entries(), (std::vector<IndexEntry>{{1, 0x47, 0}, {2, 0x47, 0}}));
}

TEST_F(FilteredCard, StaysOutOfAnIndexThatIsFilledByHandOrClosed)
{
    const Bytes condition = Clause("NUMB", 0x98, 0u);
    for (const auto& [type, mode] : std::vector<std::pair<u8, u8>>{{0, 2}, {0x80, 0}, {0x80, 1}, {0x82, 1}}) {
        putBoth(type, mode, byReading(condition).entries({{1, 0x47, 0}, {3, 0x47, 0}}));
        EXPECT_EQ(store(0, "a"), 0u);
        EXPECT_EQ(store(2, "a"), 0u);
        EXPECT_EQ(order(), (std::vector<u32>{1, 3}));
        EXPECT_EQ(store(1, "d"), 0u);
        EXPECT_EQ(order(), (std::vector<u32>{3, 1}));
    }
}

}  // namespace

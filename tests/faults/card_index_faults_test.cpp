// SPDX-License-Identifier: MIT
// Faults while a card is written to a box with three indexes: one of all cards, a filtered one, and one that
// shows one card of each value.
//
// The indexes follow one after the other, when the card stands in its place. So a lost power may leave those
// behind it that the table of the box names later; and in the one that was at work, by the order of its
// writes
//
//   count + 1 | the entry and the end mark | the entries from its place on                 a card comes in
//   the follower is shown | the entry goes to the end | the entries from its place on      a card moves
//   the tail moves down | the cut | count - 1 | the follower is shown                       a card leaves
//
// a count that is ahead, a card that stands at the end, or bytes behind the end mark.
#include "tests/faults/fault_box.h"
#include "tests/faults/fault_index.h"

namespace {

using namespace faults;

const char* const kAll = "F0:ALL.IDX";
const char* const kFiltered = "F0:FILTER.IDX";
const char* const kOneOfEach = "F0:ONE.IDX";
const char* const kFiles[] = {"ALL.IDX", "FILTER.IDX", "ONE.IDX"};

u32 Record(const char* index, u16 tag, const std::string& data)
{
    return _IndexInfoWrite(index, tag, reinterpret_cast<const u8*>(data.data()),
                           static_cast<u16>(data.size()));
}

class CardIndexFaults : public BoxFaults {
protected:
    static u32 makeIndex(const char* name, const std::string& order, const std::string& condition)
    {
        u32 status = _IndexCreate(name, BXD_INDEX_MASTER);
        if (status == 0) { status = Record(name, IDXINF_BOX_NAME, kBox); }
        if (status == 0) { status = Record(name, IDXINF_SORT_EXP, order + '\0'); }
        if (status != 0 || condition.empty()) { return status; }
        status = Record(name, IDXINF_SEARCH_EXP, condition + '\0');
        return status == 0 ? Record(name, IDXINF_UPDATE_MODE, "\x01") : status;
    }
    // A card under edit with this reading goes to the id, 0 for a new one.
    static u32 store(BoxHandle box, const std::string& reading, u32 id = 0)
    {
        u16 edit = TMP_SYSTEM_CARD_ID;
        u32 status = _CardCreate(box, &edit);
        if (status == 0) { status = Write(box, edit, "READ", reading); }
        return status == 0 ? Copy(box, edit, id) : status;
    }
    static void prepare()
    {
        MakeBox();
        ASSERT_EQ(makeIndex(kAll, "READ\xFE\x80", ""), 0u);
        ASSERT_EQ(makeIndex(kFiltered, "READ\xFE\x81", "READ\xFE\x92\x11x"), 0u);
        ASSERT_EQ(makeIndex(kOneOfEach, "READ\xFE\x82", "READ\xFE\x94"), 0u);
        ASSERT_EQ(WithBox([](BoxHandle box) {
                      u32 status = 0;
                      for (const char* reading : {"bx", "d", "bx", "fx", "ax", "fx", "fx"}) {
                          if (status == 0) { status = store(box, reading); }
                      }
                      return status;
                  }),
                  0u);
    }
    static std::function<u32()> storing(const std::string& reading, u32 id = 0)
    {
        return [=] { return WithBox([=](BoxHandle box) { return store(box, reading, id); }); };
    }
    void endureCard(u32 id, const std::function<u32()>& act, const Windows& windows)
    {
        id_ = id;
        endure({.prepare = prepare, .act = act, .windows = windows}, true);
    }

    std::string nameOf(int finding) const override { return IndexFindingName(finding); }

    // The indexes are judged entry by entry.
    Findings judge() override
    {
        Findings findings = BoxFaults::judge();
        findings.erase(kEntriesLost);
        findings.erase(kIndexDamaged);
        const Files files = takeFiles();
        for (const char* name : kFiles) {
            judgeEntries(IndexRemains::Of(prepared_.at(name)), IndexRemains::Of(full_.at(name)),
                         IndexRemains::Of(files.at(name)), findings);
        }
        return findings;
    }

private:
    static std::vector<uint32_t> Ids(const TableEntries& entries, uint32_t but)
    {
        std::vector<uint32_t> ids;
        for (const TableEntry& entry : entries) {
            if (entry.id != but) { ids.push_back(entry.id); }
        }
        return ids;
    }
    static uint32_t Times(const TableEntries& entries, uint32_t id)
    {
        uint32_t times = 0;
        for (const TableEntry& entry : entries) { times += entry.id == id ? 1 : 0; }
        return times;
    }

    // The other cards must stand as they did. The card itself stands where it did or should, or at the end.
    void judgeEntries(const IndexRemains& old, const IndexRemains& wanted, const IndexRemains& now,
                      Findings& findings) const
    {
        if (now.wild || !now.table) {
            findings.insert(kWildTable);
            return;
        }
        if (!now.ended) { findings.insert(kNoEnd); }
        if (now.behind > 0) { findings.insert(kLonger); }
        if (now.count > now.entries.size()) { findings.insert(kAhead); }
        if (now.count < now.entries.size()) { findings.insert(kBehind); }
        if (now.entries == old.entries || now.entries == wanted.entries) { return; }
        const std::vector<uint32_t> others = Ids(now.entries, id_);
        if (others != Ids(old.entries, id_)) {
            findings.insert(std::set<uint32_t>(others.begin(), others.end()).size() < others.size()
                                ? kTwice
                                : kEntryLost);
        }
        const uint32_t times = Times(now.entries, id_);
        if (times > 1) { findings.insert(kTwice); }
        if (times < std::min(Times(old.entries, id_), Times(wanted.entries, id_))) {
            findings.insert(kEntryLost);
        }
        judgePlace(old.entries, wanted.entries, now.entries, findings);
    }
    void judgePlace(const TableEntries& old, const TableEntries& wanted, const TableEntries& now,
                    Findings& findings) const
    {
        const bool placed = Ids(now, 0) == Ids(old, 0) || Ids(now, 0) == Ids(wanted, 0);
        if (!placed) {
            findings.insert(now.back().id == id_ ? kDisorder : kEntryMixed);
            return;
        }
        findings.insert(kStillHidden);  // the entries are there, with other flags or attributes
    }

    u32 id_ = 0;
};

// A torn count or entry; or a torn run of entries, in which one stands twice and another not at all.
const Windows kComesIn = {
    .cut = {kAhead, kDisorder}, .failed = {}, .torn = {kNoEnd, kTwice, kEntryLost, kStillHidden}};

TEST_F(CardIndexFaults, ANewCard) { endureCard(8, storing("cx"), kComesIn); }

TEST_F(CardIndexFaults, ANewCardThatIsEqualToOthers) { endureCard(8, storing("bx"), kComesIn); }

// Its follower is shown before it goes to the end of the table, and from there to its place.
TEST_F(CardIndexFaults, ACardThatMoves)
{
    endureCard(4, storing("ax", 4),
               {.cut = {kStillHidden, kDisorder}, .failed = {}, .torn = {kTwice, kEntryLost, kEntryMixed}});
}

TEST_F(CardIndexFaults, ACardThatLeavesTheFilteredIndex)
{
    endureCard(4, storing("a", 4),
               {.cut = {kAhead, kStillHidden, kDisorder, kLonger},
                .failed = {},
                .torn = {kTwice, kEntryLost, kEntryMixed}});
}

}  // namespace

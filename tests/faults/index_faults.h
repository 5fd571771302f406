// SPDX-License-Identifier: MIT
// Runs a change of an index once for every fault that it can meet, and judges what is left of the index file.
//
// The box and the index are put there byte by byte; a change touches the index only. What a fault may leave
// behind stands in IndexScenario; everything else fails the test, and so does a window that no fault opens.
#pragma once

#include "tests/faults/fault_runner.h"
#include "tests/support/sort_case.h"

namespace faults {

enum IndexFinding {
    kBoxChanged,      // the box is not as it was
    kInfoChanged,     // header or information area are not
    kBarred,          // the version byte says that the index is not to be opened
    kLostTable,       // tablePos leads to no table, or there was one
    kSizeFault,       // the count does not tell what is there
    kNoEndMark,       // the file does not end with one
    kEntryLost,       // a card that was in before and is in afterwards is not in
    kEntryTwice,      // a card is in more than once
    kStrangeEntry,    // a card that neither has
    kOtherOrder,      // all cards of before or afterwards, in neither order
    kOtherEntry,      // an attribute or a flag that the entry has in neither
    kIndexDied,       // the process ended in another way than planned
    kIndexLeftOpen,   // descriptors, rows or blocks stay behind
    kIndexSilent,     // status 0, and the index is not as after an undisturbed call
    kIndexNotMended,  // the next call does not come to what it should
    kIndexFindings
};

using IndexFindingSet = std::set<int>;

inline IndexFindingSet operator+(IndexFindingSet a, const IndexFindingSet& b)
{
    a.insert(b.begin(), b.end());
    return a;
}

struct IndexScenario {
    boxtest::Bytes box;
    boxtest::Bytes index;
    std::function<u32()> act;
    IndexFindingSet cut = {};     // what a power cut between two calls may leave
    IndexFindingSet failed = {};  // a call that fails, beyond that
    IndexFindingSet torn = {};    // a write that is torn or short, beyond both
    bool again = false;           // the same call, undisturbed, comes to its end whatever was left
};

class IndexFaults : public FaultTest {
protected:
    static std::string name(int finding)
    {
        static const char* const names[kIndexFindings] = {"box changed", "information changed",
                                                          "barred",      "no table",
                                                          "size fault",  "no end mark",
                                                          "entry lost",  "entry twice",
                                                          "strange",     "other order",
                                                          "other entry", "died",
                                                          "left open",   "silent",
                                                          "not mended"};
        return names[finding];
    }

    void endureIndex(const IndexScenario& scenario)
    {
        scenario_ = &scenario;
        for (IndexFindingSet& seen : seen_) { seen.clear(); }
        unlisted_.clear();
        ASSERT_EQ(runAct(nullptr), 0);
        calls_ = Counts();
        ASSERT_EQ(told_->status, 0u) << "undisturbed";
        ASSERT_EQ(told_->leftOpen, 0u) << "undisturbed";
        after_ = bytesOf("TEST.IDX");
        ASSERT_EQ(describe(judgeIndex()), "") << "undisturbed";
        cuts();
        failures();
        for (const auto& [what, times] : unlisted_) {
            ADD_FAILURE() << what << " (" << times.second << "): " << times.first;
        }
        expectOpened("cut", scenario.cut, seen_[kCut]);
        expectOpened("failed", scenario.failed, seen_[kFail]);
        expectOpened("torn", scenario.torn, seen_[kTear]);
    }

    void SetUp() override
    {
        FaultTest::SetUp();
        void* shared =
            mmap(nullptr, sizeof(Outcome), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        ASSERT_NE(shared, MAP_FAILED);
        told_ = static_cast<Outcome*>(shared);
    }
    void TearDown() override
    {
        munmap(told_, sizeof(Outcome));
        FaultTest::TearDown();
    }

private:
    enum How { kCut, kFail, kTear, kHows };

    boxtest::Bytes bytesOf(const char* file) const
    {
        const std::string text = takeFiles()[file];
        return {text.begin(), text.end()};
    }

    void putBack() const
    {
        const auto text = [](const boxtest::Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); };
        putFiles({{"TEST.BOX", text(scenario_->box)}, {"TEST.IDX", text(scenario_->index)}});
    }

    // Runs the act in a child: 0, kFaultExitCode, or -1.
    int inChild(const Fault* fault)
    {
        *told_ = Outcome{};
        fflush(nullptr);
        const pid_t pid = fork();
        if (pid == 0) {
            if (freopen("/dev/null", "w", stderr) == nullptr) { _exit(1); }
            alarm(20);
            Shim().watch(home().c_str());
            if (fault != nullptr) { Shim().plan(fault->kind, fault->k, fault->lasting, fault->action); }
            told_->status = scenario_->act();
            Shim().rest();
            for (const FileHandleSlot& row : fileHandleTbl) {
                told_->leftOpen += row.stream != nullptr ? 1 : 0;
            }
            for (const BxdFINFO* row : gBxdFINFOTable) { told_->leftOpen += row != nullptr ? 1 : 0; }
            told_->leftOpen += Shim().blocks();
            _exit(0);
        }
        int status = 0;
        waitpid(pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    int runAct(const Fault* fault)
    {
        putBack();
        return inChild(fault);
    }

    // --- judging ------------------------------------------------------------------------------------------

    // The entries of a file up to its end mark or its end.
    static std::vector<boxtest::IndexEntry> entriesOf(const boxtest::Bytes& file, size_t at)
    {
        std::vector<boxtest::IndexEntry> out;
        for (; at + 4 <= file.size() && boxtest::Get16(file, at) != 0xFFFF; at += 4) {
            out.push_back({boxtest::Get16(file, at), file[at + 2], file[at + 3]});
        }
        return out;
    }
    static u32 tablePos(const boxtest::Bytes& file) { return boxtest::GetField(file, boxtest::ix::tablePos); }
    static std::vector<boxtest::IndexEntry> soundEntries(const boxtest::Bytes& file)
    {
        return tablePos(file) == boxtest::kNone ? std::vector<boxtest::IndexEntry>{}
                                                : entriesOf(file, tablePos(file) + 2);
    }
    static std::multiset<u32> idsOf(const std::vector<boxtest::IndexEntry>& entries)
    {
        std::multiset<u32> ids;
        for (const boxtest::IndexEntry& entry : entries) { ids.insert(entry.cardId); }
        return ids;
    }

    void judgeEntries(const std::vector<boxtest::IndexEntry>& now, IndexFindingSet* out) const
    {
        const std::vector<boxtest::IndexEntry> before = soundEntries(scenario_->index);
        const std::vector<boxtest::IndexEntry> after = soundEntries(after_);
        const std::multiset<u32> ids = idsOf(now);
        const std::multiset<u32> old = idsOf(before);
        const std::multiset<u32> made = idsOf(after);
        for (u32 id : made) {
            if (old.count(id) != 0 && ids.count(id) == 0) { out->insert(kEntryLost); }
        }
        for (u32 id : ids) {
            if (ids.count(id) > 1) { out->insert(kEntryTwice); }
            if (old.count(id) + made.count(id) == 0) { out->insert(kStrangeEntry); }
        }
        std::vector<u32> order;
        std::vector<u32> orders[2];
        for (const auto& entry : now) { order.push_back(entry.cardId); }
        for (const auto& entry : before) { orders[0].push_back(entry.cardId); }
        for (const auto& entry : after) { orders[1].push_back(entry.cardId); }
        if (order != orders[0] && order != orders[1] && (ids == old || ids == made)) {
            out->insert(kOtherOrder);
        }
        for (const boxtest::IndexEntry& entry : now) {
            const bool known = std::find(before.begin(), before.end(), entry) != before.end() ||
                               std::find(after.begin(), after.end(), entry) != after.end();
            if (!known && old.count(entry.cardId) + made.count(entry.cardId) != 0) {
                out->insert(kOtherEntry);
            }
        }
    }

    IndexFindingSet judgeIndex() const
    {
        IndexFindingSet out;
        if (bytesOf("TEST.BOX") != scenario_->box) { out.insert(kBoxChanged); }
        const boxtest::Bytes file = bytesOf("TEST.IDX");
        if (file == scenario_->index || file == after_) { return out; }
        if (file.size() < 24) { return {kInfoChanged}; }
        if (file[3] == 0xFF) { out.insert(kBarred); }
        const size_t area = std::min<size_t>(infoEnd(), file.size());
        const auto at = [](const boxtest::Bytes& bytes, size_t n) {
            return bytes.begin() + static_cast<std::ptrdiff_t>(n);
        };
        const bool same = area == infoEnd() &&
                          std::equal(at(file, 8), at(file, area), at(scenario_->index, 8)) &&
                          std::equal(at(file, 0), at(file, 3), at(scenario_->index, 0));
        if (!same) { out.insert(kInfoChanged); }
        const u32 pos = tablePos(file);
        if (pos == boxtest::kNone) {
            if (tablePos(scenario_->index) != boxtest::kNone) { out.insert(kLostTable); }
            return out;
        }
        if (pos != infoEnd() || pos + 4 > file.size()) {
            out.insert(kLostTable);
            return out;
        }
        const std::vector<boxtest::IndexEntry> now = entriesOf(file, pos + 2);
        const u32 count = boxtest::Get16(file, pos);
        if (count != now.size() || pos + 4 + 4 * now.size() != file.size()) { out.insert(kSizeFault); }
        if (boxtest::Get16(file, file.size() - 2) != 0xFFFF) { out.insert(kNoEndMark); }
        judgeEntries(now, &out);
        return out;
    }
    // The information area ends where the table stands, or with the file.
    size_t infoEnd() const
    {
        const u32 pos = tablePos(scenario_->index);
        return pos == boxtest::kNone ? scenario_->index.size() : pos;
    }

    // --- faults -------------------------------------------------------------------------------------------

    void cuts()
    {
        for (u32 k = 1; k <= calls_.changes; ++k) {
            one({kFaultChange, k, false, kFaultCutBefore}, kCut);
            one({kFaultChange, k, false, kFaultCutAfter}, kCut);
            const FaultCall& call = calls_.log[k - 1];
            if (call.kind != kFaultWrite || call.length < 2) { continue; }
            for (const u32 action : {kFaultTornOne, kFaultTornHalf, kFaultTornButOne}) {
                one({kFaultChange, k, false, action}, kTear);
            }
        }
    }
    void failures()
    {
        for (const u32 kind : {kFaultOpen, kFaultRead, kFaultWrite, kFaultSeek, kFaultTell, kFaultTruncate,
                               kFaultLock, kFaultStat, kFaultAlloc, kFaultClose}) {
            for (u32 k = 1; k <= calls_.counts[kind]; ++k) {
                one({kind, k, false, kFaultFail}, kFail);
                one({kind, k, true, kFaultFail}, kFail);
                if (kind == kFaultRead) { one({kind, k, false, kFaultShort}, kFail); }
                if (kind == kFaultWrite) { one({kind, k, false, kFaultShort}, kTear); }
            }
        }
        for (u32 k = 1; k <= calls_.counts[kFaultSpace]; ++k) {
            one({kFaultSpace, k, true, kFaultFull}, kFail);
            if (told_->status != BXD_ERR_NOSPACE) {
                ADD_FAILURE() << "a full storage gives " << told_->status;
            }
        }
    }

    void one(const Fault& fault, How how)
    {
        const int end = runAct(&fault);
        IndexFindingSet found = judgeIndex();
        const bool planned = how != kFail && fault.kind == kFaultChange;
        if (end != (planned ? kFaultExitCode : 0)) { found.insert(kIndexDied); }
        if (end == 0 && told_->leftOpen != 0) { found.insert(kIndexLeftOpen); }
        if (end == 0 && told_->status == 0 && bytesOf("TEST.IDX") != after_) { found.insert(kIndexSilent); }
        if (scenario_->again) {
            const bool done = inChild(nullptr) == 0 && told_->status == 0 && bytesOf("TEST.IDX") == after_;
            if (!done) { found.insert(kIndexNotMended); }
        }
        tell(fault, found, how);
    }

    bool listed(int finding, How how)
    {
        if (scenario_->cut.count(finding) != 0) {
            seen_[kCut].insert(how == kCut ? finding : -1);
            return true;
        }
        if (how != kCut && scenario_->failed.count(finding) != 0) {
            seen_[kFail].insert(how == kFail ? finding : -1);
            return true;
        }
        if (how == kTear && scenario_->torn.count(finding) != 0) {
            seen_[kTear].insert(finding);
            return true;
        }
        return false;
    }
    void tell(const Fault& fault, const IndexFindingSet& found, How how)
    {
        static const char* const hows[kHows] = {"cut", "failed", "torn"};
        IndexFindingSet bad;
        for (int finding : found) {
            if (!listed(finding, how)) { bad.insert(finding); }
        }
        if (bad.empty()) { return; }
        auto& [first, times] = unlisted_[std::string(hows[how]) + ": " + describe(bad)];
        if (times++ < 3) {
            first += "\n  kind " + std::to_string(fault.kind) + ", " + std::to_string(fault.k) + ", action " +
                     std::to_string(fault.action) + (fault.lasting ? " lasting" : "") + ", status " +
                     std::to_string(told_->status);
        }
    }
    static std::string describe(const IndexFindingSet& findings)
    {
        std::string text;
        for (int finding : findings) { text += (text.empty() ? "" : ", ") + name(finding); }
        return text;
    }
    static void expectOpened(const char* how, const IndexFindingSet& listed, const IndexFindingSet& seen)
    {
        for (int finding : listed) {
            EXPECT_TRUE(seen.count(finding) != 0)
                << "no fault opens the window: " << how << ", " << name(finding);
        }
    }

    const IndexScenario* scenario_ = nullptr;
    boxtest::Bytes after_;
    FaultState calls_{};
    Outcome* told_ = nullptr;
    IndexFindingSet seen_[kHows];
    std::map<std::string, std::pair<std::string, u32>> unlisted_;
};

}  // namespace faults

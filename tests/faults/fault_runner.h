// SPDX-License-Identifier: MIT
// Runs a scenario once for every fault that it can meet, and judges what is left of the box.
//
//   prepare   makes the files, undisturbed; their bytes are kept
//   act       the calls under test: each run begins with the prepared files, in a child process
//   judge     the parent reads the box byte by byte, then opens it with the library
//   aftermath where a scenario has one: calls on what is left, in a child process, which must end well
//
//   power cuts     before and after every call that changes a file
//   torn writes    one byte, half, or all but one byte of a write in the file
//   failures       of every read, write, seek, truncation, open, delete ..., once and from then on; short
//                  reads and writes; every allocation, once and from then on
//   full storage   from the k-th question for room on
//
// A card may be as it was before the act or as it is after an undisturbed one. Everything else is a finding
// and stands in the scenario's Windows, or fails the test; so does a window that no fault opens.
// With BXD_FAULT_REPORT in the environment every scenario prints its figures.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <bxd/bxd.h>

#include <cstdio>
#include <functional>

#include "storage/bxd_file.h"
#include "storage/stdiohst.h"
#include "tests/faults/box_bytes.h"
#include "tests/faults/fault_control.h"
#include "tests/support/index_builder.h"

namespace faults {

// Findings that are no flaw of the bytes.
enum Finding {
    kCardLost = kFlaws,  // a card that the act changes is not there, and should be
    kCardMixed,          // it has neither its old nor its new value
    kOtherCard,          // a card that the act does not touch is gone or changed
    kPhantom,            // a card that never was
    kNotOpened,          // the library does not open the box
    kReadsOtherwise,     // the library reads other values than stand in the file
    kDied,               // the process ended in another way than planned
    kLeftOpen,           // descriptors, rows of the file tables or blocks stay behind
    kSilent,             // status 0, and the work is not done
    kNotRefused,         // the storage was full, and the status is not 68 or the work is done
    kIndexDamaged,       // an index file whose records or positions are wrong
    kIndexLong,          // one that goes on behind its card table, which does no harm
    kEntriesLost,        // its card table is neither the old nor the new one
    kRecordsMixed,       // its records are sound, and neither the old nor the new ones
    kUnregistered,       // the box does not name an index that it named before and would name after
    kNotMended,          // the same act, undisturbed, does not lead to where it should
    kFindings
};

inline std::string FindingName(int finding)
{
    static const char* const names[] = {"card lost",    "card mixed",      "other card",    "phantom",
                                        "not opened",   "reads otherwise", "died",          "left open",
                                        "silent",       "not refused",     "index damaged", "index long",
                                        "entries lost", "records mixed",   "unregistered",  "not mended"};
    return finding < kFlaws ? FlawName(finding) : names[finding - kFlaws];
}

using Findings = std::set<int>;

// What a fault may leave behind, for it follows from the order of writes: a power cut between two calls; a
// call that fails, beyond that; a write that is torn or short, beyond both and beyond kTorn.
struct Windows {
    Findings cut = {};
    Findings failed = {};
    Findings torn = {};
};

// What needs no mention: a count that is behind, and bytes that wait for a collection.
inline const Findings kHarmless = {kLongFile, kUnlinked, kTwins, kLeftEdit,  kGarbage,
                                   kCount,    kHighest,  kHint,  kIndexLong, kTableSize};

// Half a word leads anywhere. The cards that the act does not touch stay as they were all the same.
inline const Findings kTorn = {kBrokenChain, kDeadSlot,     kWildSlot,     kOutside, kStaleSlot,
                               kTables,      kCardLost,     kCardMixed,    kPhantom, kIndexDamaged,
                               kEntriesLost, kRecordsMixed, kUnregistered, kNoTable, kNotMended};

struct Scenario {
    std::function<void()> prepare;
    std::function<u32()> act;
    Windows windows = {};
    std::string box = "T.BOX";
    std::function<bool()> aftermath = {};
    bool mends = false;  // the act, done again, makes good what a fault in it has left
};

struct Fault {
    uint32_t kind;
    uint32_t k;
    bool lasting;
    uint32_t action;
};

// What a child tells its parent.
struct Outcome {
    uint32_t status;
    uint32_t leftOpen;
};

using Files = std::map<std::string, std::string>;

class FaultTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        const char* base = getenv("TMPDIR");
        std::string name = std::string(base != nullptr ? base : "/tmp") + "/bxd-faults-XXXXXX";
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        home_ = name;
        ASSERT_EQ(::mkdir((home_ + "/Applications").c_str(), 0755), 0);
        ASSERT_EQ(::mkdir(directory().c_str(), 0755), 0);
        setenv("HOME", home_.c_str(), 1);
        Shim().watch(home_.c_str());
        Shim().rest();
        void* shared =
            mmap(nullptr, sizeof(Outcome), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        ASSERT_NE(shared, MAP_FAILED);
        outcome_ = static_cast<Outcome*>(shared);
        Shim().statistics(nullptr);
    }

    void TearDown() override
    {
        Shim().rest();
        Shim().statistics(nullptr);
        putFiles({});
        ::rmdir(directory().c_str());
        ::rmdir((home_ + "/Applications").c_str());
        EXPECT_EQ(::rmdir(home_.c_str()), 0) << home_;
        munmap(outcome_, sizeof(Outcome));
    }

    const std::string& home() const { return home_; }
    std::string directory() const { return home_ + "/Applications/bxd"; }
    std::string pathOf(const std::string& file) const { return directory() + "/" + file; }

    // Every fault of the scenario, judged; or power cuts and torn writes alone, where an act makes many
    // calls.
    void endure(const Scenario& scenario, bool cutsOnly = false)
    {
        scenario_ = &scenario;
        seen_ = Windows{};
        faults_ = 0;
        unlisted_.clear();
        tally_.clear();
        scenario.prepare();
        ASSERT_FALSE(HasFatalFailure());
        prepared_ = takeFiles();
        ASSERT_NO_FATAL_FAILURE(undisturbed());
        cutEverywhere();
        if (!cutsOnly) {
            failEverywhere();
            fillEverywhere();
        }
        for (const auto& [what, times] : unlisted_) {
            ADD_FAILURE() << what << " (" << times.second << "): " << times.first;
        }
        if (stride() == 1) {
            expectWindows("cut", scenario.windows.cut, seen_.cut);
            expectWindows("failed", scenario.windows.failed, seen_.failed);
            expectWindows("torn", scenario.windows.torn, seen_.torn);
        }
        report();
    }

    Files takeFiles() const
    {
        Files files;
        DIR* dir = opendir(directory().c_str());
        while (dirent* entry = readdir(dir)) {
            std::string name = entry->d_name;
            if (name == "." || name == "..") { continue; }
            std::ifstream file(pathOf(name), std::ios::binary);
            files[name].assign(std::istreambuf_iterator<char>(file), {});
        }
        closedir(dir);
        return files;
    }

    void putFiles(const Files& files) const
    {
        for (const auto& [name, bytes] : takeFiles()) {
            if (files.count(name) == 0) { ::unlink(pathOf(name).c_str()); }
        }
        for (const auto& [name, bytes] : files) {
            std::ofstream file(pathOf(name), std::ios::binary | std::ios::trunc);
            file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        }
    }

    // --- one run ----------------------------------------------------------------------------------

    static uint32_t openDescriptors()
    {
        uint32_t open = 0;
        for (int fd = 3; fd < 64; fd++) { open += ::fcntl(fd, F_GETFD) != -1 ? 1u : 0u; }
        return open;
    }

    static uint32_t openRows()
    {
        uint32_t rows = 0;
        for (const FileHandleSlot& row : fileHandleTbl) { rows += row.stream != nullptr ? 1u : 0u; }
        for (const BxdFINFO* row : gBxdFINFOTable) { rows += row != nullptr ? 1u : 0u; }
        return rows;
    }

    [[noreturn]] void child(const Fault* fault) const
    {
        if (getenv("BXD_FAULT_STDERR") == nullptr && freopen("/dev/null", "w", stderr) == nullptr) {
            _exit(1);
        }
        alarm(20);
        uint32_t descriptors = openDescriptors();
        Shim().watch(home_.c_str());
        if (fault != nullptr) { Shim().plan(fault->kind, fault->k, fault->lasting, fault->action); }
        outcome_->status = scenario_->act();
        Shim().rest();
        outcome_->leftOpen = openDescriptors() - descriptors + openRows() + Shim().blocks();
        _exit(0);
    }

    // The scenario's calls on what is left come to an end, and give true.
    bool endsWell() const
    {
        if (!scenario_->aftermath) { return true; }
        fflush(nullptr);
        pid_t pid = fork();
        if (pid == 0) {
            bool silent = getenv("BXD_FAULT_STDERR") == nullptr;
            if (silent && freopen("/dev/null", "w", stderr) == nullptr) { _exit(1); }
            alarm(20);
            _exit(scenario_->aftermath() ? 0 : 1);
        }
        int status = 0;
        waitpid(pid, &status, 0);
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

    // Runs the act on the prepared files and gives how the process ended: 0, kFaultExitCode, or -1.
    int run(const Fault* fault)
    {
        putFiles(prepared_);
        return runAsItIs(fault);
    }

    int runAsItIs(const Fault* fault)
    {
        *outcome_ = Outcome{};
        fflush(nullptr);
        pid_t pid = fork();
        if (pid == 0) { child(fault); }
        int status = 0;
        waitpid(pid, &status, 0);
        return WIFEXITED(status) && (WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == kFaultExitCode)
                   ? WEXITSTATUS(status)
                   : -1;
    }

    void undisturbed()
    {
        int end = run(nullptr);
        ASSERT_EQ(end, 0) << "undisturbed";
        calls_ = Counts();
        ASSERT_EQ(outcome_->status, 0u) << "undisturbed";
        ASSERT_EQ(outcome_->leftOpen, 0u) << "undisturbed";
        ASSERT_LT(calls_.changes, kFaultLogMax);
        full_ = takeFiles();
        learn();
        ASSERT_EQ(describe(judge()), "") << "undisturbed";
    }

    // --- judging ----------------------------------------------------------------------------------

    // What there is before the act and after it; the files are those after it.
    virtual void learn()
    {
        after_ = BoxBytes::Load(pathOf(scenario_->box)).cards();
        putFiles(prepared_);
        before_ = BoxBytes::Load(pathOf(scenario_->box)).cards();
        putFiles(full_);
    }

    static const CardValues* valuesOf(const CardMap& cards, uint32_t id)
    {
        auto found = cards.find(id);
        return found != cards.end() ? &found->second : nullptr;
    }

    static bool same(const CardValues* a, const CardValues* b)
    {
        return a == nullptr || b == nullptr ? a == b : *a == *b;
    }

    std::set<uint32_t> allIds(const CardMap& cards) const
    {
        std::set<uint32_t> ids;
        for (const CardMap* map : {&before_, &after_, &cards}) {
            for (const auto& [id, values] : *map) { ids.insert(id); }
        }
        return ids;
    }

    bool touched(uint32_t id) const { return !same(valuesOf(before_, id), valuesOf(after_, id)); }

    Findings compareCards(const BoxBytes& box) const
    {
        Findings findings;
        for (uint32_t id : allIds(box.cards())) {
            const CardValues* now = valuesOf(box.cards(), id);
            if (same(now, valuesOf(before_, id)) || same(now, valuesOf(after_, id))) { continue; }
            bool known = valuesOf(before_, id) != nullptr || valuesOf(after_, id) != nullptr;
            findings.insert(!known           ? kPhantom
                            : !touched(id)   ? kOtherCard
                            : now == nullptr ? kCardLost
                                             : kCardMixed);
        }
        return findings;
    }

    // The cards that the library is asked for: the first and last few, those touched, and some between.
    std::set<uint32_t> sample(const BoxBytes& box) const
    {
        std::set<uint32_t> ids;
        uint32_t n = 0;
        auto count = static_cast<uint32_t>(box.cards().size());
        for (const auto& [id, values] : box.cards()) {
            if (n < 3 || n + 3 >= count || n % 97 == 0 || touched(id)) { ids.insert(id); }
            n++;
        }
        ids.erase(kExtInfoCard);
        return ids;
    }

    // The bytes of a file, nothing where it is not there.
    static std::string bytesOf(const Files& files, const std::string& name)
    {
        auto found = files.find(name);
        return found != files.end() ? found->second : std::string{};
    }

    static bool isIndex(const std::string& name)
    {
        return name.size() > 4 &&
               (name.substr(name.size() - 4) == ".IDX" || name.substr(name.size() - 4) == ".TDX");
    }

    // The card table where the header says it is, whatever the records are.
    static std::vector<boxtest::IndexEntry> entriesOf(const boxtest::Bytes& file)
    {
        boxtest::IndexContent content;
        uint32_t at = file.size() < 24 ? kNone : boxtest::Get32(file, 4);
        if (at == kNone) { return {}; }
        if (uint64_t{at} + 4 > file.size()) { return {{kNone, 0, 0}}; }
        size_t end = at + size_t{4} + 4 * boxtest::Get16(file, at);
        boxtest::TakeEntries(boxtest::Slice(file, 0, end), at, &content);
        if (!content.fault.empty()) { content.entries.push_back({kNone, 0, 0}); }
        return content.entries;
    }

    void judgeIndex(const std::string& name, const std::string& bytes, Findings& findings) const
    {
        using boxtest::B;
        const std::string old = bytesOf(prepared_, name);
        const std::string wanted = bytesOf(full_, name);
        if (bytes == old || bytes == wanted) { return; }
        auto now = boxtest::TakeIndexApart(B(bytes));
        auto entries = entriesOf(B(bytes));
        if (entries != entriesOf(B(old)) && entries != entriesOf(B(wanted))) {
            findings.insert(kEntriesLost);
        }
        if (!now.fault.empty()) {
            bool isLong = now.fault.find("does not end with the file") != std::string::npos;
            findings.insert(isLong && findings.count(kEntriesLost) == 0 ? kIndexLong : kIndexDamaged);
        } else if (now.records != boxtest::TakeIndexApart(B(old)).records &&
                   now.records != boxtest::TakeIndexApart(B(wanted)).records) {
            findings.insert(kRecordsMixed);
        }
    }

    void judgeIndexes(const BoxBytes& box, Findings& findings) const
    {
        for (const auto& [name, bytes] : takeFiles()) {
            if (isIndex(name)) { judgeIndex(name, bytes, findings); }
        }
        const auto has = [](const std::vector<std::string>& names, const std::string& name) {
            return std::find(names.begin(), names.end(), name) != names.end();
        };
        const BoxBytes old(bytesOf(prepared_, scenario_->box));
        const BoxBytes wanted(bytesOf(full_, scenario_->box));
        for (const std::string& name : old.indexNames()) {
            if (has(wanted.indexNames(), name) && !has(box.indexNames(), name)) {
                findings.insert(kUnregistered);
            }
        }
    }

    void askLibrary(const BoxBytes& box, Findings& findings)
    {
        if (!box.hasItems() || box.flaws().count(kNoHeader) != 0) {
            if (!before_.empty()) { findings.insert(kNotOpened); }
            return;
        }
        BoxHandle handle = _BoxOpen(("F0:" + scenario_->box).c_str());
        if (handle == nullptr) {
            findings.insert(kNotOpened);
            return;
        }
        for (uint32_t id : sample(box)) {
            for (size_t n = 0; n < box.tags().size(); n++) {
                CardDescriptor key{};
                key.cardId = static_cast<u16>(id);
                box.tags()[n].copy(reinterpret_cast<char*>(key.itemNameId), 4);
                u32 length = sizeof room_;
                u32 status = _CardRead(handle, &key, room_, &length);
                std::string value(reinterpret_cast<const char*>(room_), status == 0 ? length : 0);
                if (n == 0 && value.size() == 1) { value[0] = static_cast<char>(value[0] ^ 0x40); }
                if (status != 0 || value != box.cards().at(id)[n]) { findings.insert(kReadsOtherwise); }
            }
        }
        if (_BoxClose(handle) != 0) { findings.insert(kReadsOtherwise); }
    }

    virtual Findings judge()
    {
        BoxBytes box = BoxBytes::Load(pathOf(scenario_->box));
        Findings findings = compareCards(box);
        findings.insert(box.flaws().begin(), box.flaws().end());
        if (box.flaws().count(kMissing) != 0) {
            bool mayBeGone = prepared_.count(scenario_->box) == 0 || full_.count(scenario_->box) == 0;
            return mayBeGone ? Findings{} : findings;
        }
        askLibrary(box, findings);
        judgeIndexes(box, findings);
        return findings;
    }

    // Does the act once more on what a fault has left.
    void tryAgain(Findings& findings)
    {
        if (!scenario_->mends) { return; }
        bool good = runAsItIs(nullptr) == 0 && outcome_->status == BXD_OK && done();
        for (int finding : judge()) { good = good && kHarmless.count(finding) != 0; }
        if (!good) { findings.insert(kNotMended); }
    }

    // --- the faults -------------------------------------------------------------------------------

    void cutEverywhere()
    {
        for (uint32_t k = 1; k <= calls_.changes; k++) {
            cut({kFaultChange, k, false, kFaultCutBefore}, false);
            cut({kFaultChange, k, false, kFaultCutAfter}, false);
            const FaultCall& call = calls_.log[k - 1];
            if (call.kind != kFaultWrite || call.length < 2) { continue; }
            cut({kFaultChange, k, false, kFaultTornOne}, true);
            if (call.length < 3) { continue; }
            cut({kFaultChange, k, false, kFaultTornHalf}, true);
            cut({kFaultChange, k, false, kFaultTornButOne}, true);
        }
    }

    // One in so many faults is tried: all, unless the environment asks for fewer. The sanitized tests, where
    // a fault costs many times as much, take a sample; they look for what the sanitizers find.
    static uint32_t stride()
    {
        const char* text = getenv("BXD_FAULT_STRIDE");
        int number = text != nullptr ? atoi(text) : 1;
        return number > 1 ? static_cast<uint32_t>(number) : 1;
    }
    bool takesTurn() { return turn_++ % stride() == 0; }

    void cut(const Fault& fault, bool torn)
    {
        if (!takesTurn()) { return; }
        int end = run(&fault);
        Findings findings = judge();
        if (end != kFaultExitCode) { findings.insert(kDied); }
        tryAgain(findings);
        tell(fault, findings, torn ? Kind::kTearing : Kind::kCutting);
    }

    void failEverywhere()
    {
        static const uint32_t kinds[] = {kFaultOpen, kFaultCreate,   kFaultRead,   kFaultWrite,   kFaultSeek,
                                         kFaultTell, kFaultTruncate, kFaultDelete, kFaultMakeDir, kFaultLock,
                                         kFaultStat, kFaultAlloc,    kFaultClose};
        for (uint32_t kind : kinds) {
            for (uint32_t k = 1; k <= calls_.counts[kind]; k++) {
                fail({kind, k, false, kFaultFail});
                fail({kind, k, true, kFaultFail});
                if (kind == kFaultRead || kind == kFaultWrite) { fail({kind, k, false, kFaultShort}); }
            }
        }
    }

    void fail(const Fault& fault)
    {
        if (!takesTurn()) { return; }
        int end = run(&fault);
        Outcome outcome = *outcome_;
        Findings findings = judge();
        if (end != 0) { findings.insert(kDied); }
        if (outcome.leftOpen != 0) { findings.insert(kLeftOpen); }
        if (end == 0 && outcome.status == 0 && !done()) { findings.insert(kSilent); }
        tryAgain(findings);
        *outcome_ = outcome;
        bool torn = fault.kind == kFaultWrite && fault.action == kFaultShort;
        tell(fault, findings, torn ? Kind::kTearing : Kind::kFailing);
    }

    // The act has done its work: every card is as after an undisturbed act.
    virtual bool done() const
    {
        BoxBytes box = BoxBytes::Load(pathOf(scenario_->box));
        bool there = box.flaws().count(kMissing) == 0;
        const Files files = takeFiles();
        for (const auto& [name, bytes] : files) {
            if (isIndex(name) && bytes != bytesOf(full_, name)) { return false; }
        }
        for (const auto& [name, bytes] : full_) {
            if (files.count(name) == 0) { return false; }
        }
        return box.cards() == after_ && there == (full_.count(scenario_->box) != 0) &&
               box.indexNames() == BoxBytes(bytesOf(full_, scenario_->box)).indexNames();
    }

    // The act, undisturbed, makes a difference to cards or indexes.
    bool changes() const
    {
        if (before_ != after_) { return true; }
        for (const auto& [name, bytes] : full_) {
            if (isIndex(name) && bytes != bytesOf(prepared_, name)) { return true; }
        }
        return BoxBytes(bytesOf(full_, scenario_->box)).indexNames() !=
               BoxBytes(bytesOf(prepared_, scenario_->box)).indexNames();
    }

    void fillEverywhere()
    {
        for (uint32_t k = 1; k <= calls_.counts[kFaultSpace]; k++) {
            if (!takesTurn()) { continue; }
            Fault fault{kFaultSpace, k, true, kFaultFull};
            int end = run(&fault);
            Outcome outcome = *outcome_;
            Findings findings = judge();
            if (end != 0) { findings.insert(kDied); }
            if (outcome.leftOpen != 0) { findings.insert(kLeftOpen); }
            if (outcome.status != BXD_ERR_NOSPACE || (changes() && done())) { findings.insert(kNotRefused); }
            tryAgain(findings);
            *outcome_ = outcome;
            tell(fault, findings, Kind::kFailing);
        }
    }

    // --- telling ----------------------------------------------------------------------------------

    enum class Kind { kCutting, kFailing, kTearing };

    bool listed(int finding, Kind kind)
    {
        const Windows& windows = scenario_->windows;
        if (kind == Kind::kTearing && kTorn.count(finding) != 0) { return true; }
        if (windows.cut.count(finding) != 0) {
            if (kind == Kind::kCutting) { seen_.cut.insert(finding); }
            return true;
        }
        if (kind == Kind::kCutting) { return false; }
        if (windows.failed.count(finding) != 0) {
            if (kind == Kind::kFailing) { seen_.failed.insert(finding); }
            return true;
        }
        seen_.torn.insert(finding);
        return kind == Kind::kTearing && windows.torn.count(finding) != 0;
    }

    void tell(const Fault& fault, Findings findings, Kind kind)
    {
        static const char* const kinds[] = {"cut", "failed", "torn"};
        faults_++;
        if (!endsWell()) { findings.insert(kDied); }
        Findings bad;
        for (int finding : findings) {
            tally_[finding]++;
            if (kHarmless.count(finding) == 0 && !listed(finding, kind)) { bad.insert(finding); }
        }
        if (bad.empty()) { return; }
        auto& [first, times] = unlisted_[std::string(kinds[static_cast<int>(kind)]) + ": " + describe(bad)];
        first += times++ < 3 ? "\n  " + describe(fault) : "";
    }

    virtual std::string nameOf(int finding) const { return FindingName(finding); }

    void expectWindows(const char* what, const Findings& listed, const Findings& seen)
    {
        for (int finding : listed) {
            EXPECT_TRUE(seen.count(finding) != 0)
                << "no fault opens the window: " << what << ", " << nameOf(finding);
        }
    }

    std::string describe(const Findings& findings) const
    {
        std::string text;
        for (int finding : findings) { text += (text.empty() ? "" : ", ") + nameOf(finding); }
        return text;
    }

    std::string describe(const Fault& fault) const
    {
        static const char* const kinds[] = {"open", "create",   "close",     "read",   "write", "seek",
                                            "tell", "truncate", "delete",    "rename", "mkdir", "lock",
                                            "stat", "space",    "collector", "alloc"};
        static const char* const actions[] = {"fails",     "is short",     "is full",   "cut before",
                                              "cut after", "torn after 1", "torn half", "torn but 1"};
        char text[160];
        if (fault.kind == kFaultChange) {
            const FaultCall& call = calls_.log[fault.k - 1];
            (void)snprintf(text, sizeof text, "change %u of %u, %s %s at %u, %u bytes, %s", fault.k,
                           calls_.changes, kinds[call.kind], call.file, call.offset, call.length,
                           actions[fault.action]);
        } else {
            (void)snprintf(text, sizeof text, "%s %u of %u %s%s, status %u, %u left", kinds[fault.kind],
                           fault.k, calls_.counts[fault.kind], actions[fault.action],
                           fault.lasting ? " from then on" : "", outcome_->status, outcome_->leftOpen);
        }
        return text;
    }

    void report() const
    {
        if (getenv("BXD_FAULT_REPORT") == nullptr) { return; }
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        printf("%s.%s: %u changes, %u faults;", test->test_suite_name(), test->name(), calls_.changes,
               faults_);
        for (const auto& [finding, times] : tally_) { printf(" %s %u;", nameOf(finding).c_str(), times); }
        printf("\n");
    }

    std::string home_;
    Outcome* outcome_ = nullptr;
    const Scenario* scenario_ = nullptr;
    Files prepared_;
    Files full_;
    CardMap before_;
    CardMap after_;
    FaultState calls_{};
    Windows seen_;
    std::map<int, uint32_t> tally_;
    uint32_t turn_ = 0;
    uint32_t faults_ = 0;
    u8 room_[128 * 1024];
    std::map<std::string, std::pair<std::string, uint32_t>> unlisted_;
};

}  // namespace faults

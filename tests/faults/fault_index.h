// SPDX-License-Identifier: MIT
// Runs an act on an index file once for every fault that it can meet, as fault_runner.h does for boxes, and
// judges the card table that is left.
//
// The file may be as it was before the act or as it is after an undisturbed one. Everything else is a finding
// and stands in the windows of the test, or fails it; so does a window that no fault opens. What the library
// reads from the file that is left must be what stands in it.
#pragma once

#include "tests/faults/fault_runner.h"
#include "tests/support/index_table.h"

namespace faults {

using boxtest::IndexTable;
using boxtest::TableEntries;
using boxtest::TableEntry;

inline const char* const kIndexName = "F0:TEST.IDX";
inline const char* const kIndexFile = "TEST.IDX";

enum IndexFinding {
    kAhead = kFindings,  // the count tells more entries than there are
    kBehind,             // or fewer
    kLonger,             // bytes follow the end mark
    kUnreached,          // a table that the header does not lead to
    kNoEnd,              // the file ends before an end mark
    kTwice,              // an entry stands there twice
    kEntryLost,          // one that the act does not take out is not there
    kEntryMixed,         // one is as it never was
    kDisorder,           // entries are neither in the old nor in the new order
    kStillHidden,  // an entry is hidden, and is so neither before nor after with the others that are there
    kWildTable,    // the header leads nowhere
    kOtherBytes    // something outside the table differs
};

inline std::string IndexFindingName(int finding)
{
    static const char* const names[] = {"count ahead", "count behind", "longer", "unreached",
                                        "no end mark", "twice",        "lost",   "mixed",
                                        "disorder",    "hidden",       "wild",   "other bytes"};
    return finding < kFindings ? FindingName(finding) : names[finding - kFindings];
}

// What stands in an index file, up to its end mark or the end of the file.
struct IndexRemains {
    bool table = false;
    bool wild = false;
    bool ended = false;
    size_t behind = 0;  // bytes behind the end mark
    uint32_t count = 0;
    TableEntries entries;

    static IndexRemains Of(const std::string& file)
    {
        IndexRemains r;
        auto byte = [&](size_t at) { return uint32_t{static_cast<unsigned char>(file[at])}; };
        auto half = [&](size_t at) { return byte(at) | byte(at + 1) << 8; };
        size_t at = half(4) | half(6) << 16;
        r.table = at != 0xFFFFFFFF;
        r.wild = r.table && at + 2 > file.size();
        if (!r.table || r.wild) { return r; }
        r.count = half(at);
        for (at += 2; at + 2 <= file.size(); at += 4) {
            r.ended = half(at) == 0xFFFF;
            if (r.ended || at + 4 > file.size()) { break; }
            r.entries.push_back({half(at), byte(at + 2), byte(at + 3)});
        }
        r.behind = r.ended ? file.size() - at - 2 : 0;
        return r;
    }
};

class IndexFaultTest : public FaultTest {
protected:
    static std::string text(const boxtest::Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }
    void putIndex(const IndexTable& table) const { putFiles({{kIndexFile, text(table.build())}}); }
    std::string indexFile() const { return takeFiles()[kIndexFile]; }

    // Every fault that `act` can meet in an index of these bytes.
    void endureIndex(const std::string& bytes, const std::function<u32()>& act, const Windows& windows)
    {
        endure({[&] { putFiles({{kIndexFile, bytes}}); }, act, windows, kIndexFile});
    }

    std::string nameOf(int finding) const override { return IndexFindingName(finding); }
    void learn() override {}
    Findings judge() override
    {
        std::string file = indexFile();
        Findings findings = judgeFile(file);
        askWalk(file, findings);
        return findings;
    }
    bool done() const override { return indexFile() == newFile(); }

private:
    std::string oldFile() const { return prepared_.at(kIndexFile); }
    std::string newFile() const { return full_.at(kIndexFile); }

    // --- judging ----------------------------------------------------------------------------------

    static const TableEntry* find(const TableEntries& entries, uint32_t id)
    {
        for (const TableEntry& e : entries) {
            if (e.id == id) { return &e; }
        }
        return nullptr;
    }

    // The ids of `order` that stand in `ids`.
    static std::vector<uint32_t> restricted(const TableEntries& order, const std::set<uint32_t>& ids)
    {
        std::vector<uint32_t> list;
        for (const TableEntry& e : order) {
            if (ids.count(e.id) != 0) { list.push_back(e.id); }
        }
        return list;
    }

    static void judgeEntries(const TableEntries& old, const TableEntries& wanted, const TableEntries& now,
                             Findings& findings)
    {
        std::set<uint32_t> ids;
        std::vector<uint32_t> order;
        for (const TableEntry& e : now) {
            const TableEntry* before = find(old, e.id);
            const TableEntry* after = find(wanted, e.id);
            bool known = (before != nullptr && *before == e) || (after != nullptr && *after == e);
            if (!known) { findings.insert(kEntryMixed); }
            if (known && after != nullptr && (e.flags & 1) != 0 && (after->flags & 1) == 0 && now != old) {
                findings.insert(kStillHidden);
            }
            if (ids.insert(e.id).second) {
                order.push_back(e.id);
            } else {
                findings.insert(kTwice);
            }
        }
        for (const TableEntry& e : wanted) {
            if (find(old, e.id) != nullptr && ids.count(e.id) == 0) { findings.insert(kEntryLost); }
        }
        bool kept = findings.count(kTwice) != 0 || findings.count(kEntryMixed) != 0 ||
                    order == restricted(old, ids) || order == restricted(wanted, ids);
        if (!kept) { findings.insert(kDisorder); }
    }

    Findings judgeFile(const std::string& file) const
    {
        if (file == oldFile() || file == newFile()) { return {}; }
        Findings findings;
        IndexRemains now = IndexRemains::Of(file);
        IndexRemains old = IndexRemains::Of(oldFile());
        if (now.wild) { return {kWildTable}; }
        if (!now.table) {
            findings.insert(file.size() > oldFile().size() ? kUnreached : kOtherBytes);
            return findings;
        }
        if (!now.ended) { findings.insert(kNoEnd); }
        if (now.behind > 0) { findings.insert(kLonger); }
        if (now.count > now.entries.size()) { findings.insert(kAhead); }
        if (now.count < now.entries.size()) { findings.insert(kBehind); }
        judgeEntries(old.entries, IndexRemains::Of(newFile()).entries, now.entries, findings);
        if (findings.empty()) { findings.insert(kOtherBytes); }
        return findings;
    }

    // Walks the file that is left with the library.
    void askWalk(const std::string& file, Findings& findings) const
    {
        IndexRemains now = IndexRemains::Of(file);
        if (!now.table || now.wild) { return; }
        u16 number = 0;
        u32 status = 0;
        for (size_t n = 0; n < now.entries.size(); n++) {
            // Beyond the count, or at an entry of no card, a walk cannot start.
            if ((now.entries[n].flags & 1) != 0 || number > now.count) { continue; }
            if (n > 0 && number > 0 && now.entries[number - 1u].id > CARD_ID_NORMAL_MAX) { return; }
            status = _NextIndexNo(kIndexName, 0, 0, 0, &number);
            if (status != 0 || number != n + 1) { findings.insert(kReadsOtherwise); }
        }
        status = _NextIndexNo(kIndexName, 0, 0, 0, &number);
        bool right = status == BXD_ERR_NOTFOUND || (status == BXD_ERR_FAIL && !now.ended);
        if (!right) { findings.insert(kReadsOtherwise); }
    }
};

}  // namespace faults

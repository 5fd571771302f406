// SPDX-License-Identifier: MIT
// The library's check tells a status, and enters a damaged file in its registry, which keeps the message.
// What it mends it does not tell: the command looks at the file before and after.
//
//   before   names in the list of indexes, size, sum of the bytes, last two bytes
//   check    its messages go nowhere; the registry has the one that counts
//   after    the same again; what differs has been mended
#include "tools/bxd/check.h"

#include <bxd/bxd.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <optional>

#include "tools/bxd/box_file.h"
#include "tools/bxd/box_name.h"
#include "tools/bxd/check_text.h"
#include "tools/bxd/failure.h"
#include "tools/bxd/file_lock.h"
#include "tools/bxd/output.h"
#include "tools/bxd/status_text.h"
#include "tools/bxd/text.h"

namespace tool {
namespace {

// While it lives, what the library says on standard error goes nowhere.
class QuietErrors {
public:
    QuietErrors() : former_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0))
    {
        (void)std::fflush(stderr);
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (former_ >= 0 && nowhere >= 0) { (void)dup2(nowhere, STDERR_FILENO); }
        if (nowhere >= 0) { (void)close(nowhere); }
    }
    ~QuietErrors()
    {
        if (former_ < 0) { return; }
        (void)std::fflush(stderr);
        (void)dup2(former_, STDERR_FILENO);
        (void)close(former_);
    }
    QuietErrors(const QuietErrors&) = delete;
    QuietErrors& operator=(const QuietErrors&) = delete;

private:
    int former_;
};

// A file as the command compares it with itself.
struct Snapshot {
    uint64_t size = 0;
    uint64_t sum = 0;   // FNV-1a of all bytes
    u32 lastBytes = 0;  // two, where the end mark is
    std::vector<std::string> indexes;
};

Snapshot SnapshotOf(const std::string& name)
{
    constexpr std::size_t kPiece = 65536;
    constexpr uint64_t kSumStart = 14695981039346656037u;
    constexpr uint64_t kSumPrime = 1099511628211u;
    Snapshot snapshot;
    snapshot.sum = kSumStart;
    std::ifstream in(PathOf(name), std::ios::binary);
    std::vector<char> piece(kPiece);
    while (in.read(piece.data(), static_cast<std::streamsize>(kPiece)), in.gcount() > 0) {
        for (std::streamsize n = 0; n < in.gcount(); ++n) {
            const u8 byte = static_cast<u8>(piece[static_cast<std::size_t>(n)]);
            snapshot.sum = (snapshot.sum ^ byte) * kSumPrime;
            snapshot.lastBytes = (snapshot.lastBytes << 8 | byte) & 0xFFFF;
        }
        snapshot.size += static_cast<uint64_t>(in.gcount());
    }
    try {
        for (const ListedIndex& index : ReadIndexes(name)) { snapshot.indexes.push_back(index.name); }
    } catch (const Failure&) {
        snapshot.indexes.clear();  // an index, a damaged box, or a file that stands in the registry
    }
    return snapshot;
}

// What the registry of bad files has of a file.
struct Entry {
    u32 status = 0;
    u8 level = 0;
    std::string message;
};

std::optional<Entry> EntryOf(const std::string& name)
{
    constexpr std::size_t kMessageMax = 1024;
    std::vector<char> message(kMessageMax, '\0');
    Entry entry;
    entry.status = BxdGetErrorFileInf(name.c_str(), &entry.level, message.data());
    if (entry.status == BXD_OK) { return std::nullopt; }
    entry.message = message.data();
    return entry;
}

struct Report {
    std::string file;
    CheckExit result = kCheckSound;
    u32 status = 0;
    std::string reason;                // why it could not be checked
    std::optional<Entry> entry;        // of the registry, behind the check
    bool wasRegistered = false;        // the check has not looked at it again
    std::vector<std::string> mended;   // what the check has changed
    std::vector<std::string> indexes;  // that the box lists
};

std::vector<std::string> Changes(const Snapshot& before, const Snapshot& after, bool damaged)
{
    constexpr u32 kEndMark = 0xFFFF;
    std::vector<std::string> changes;
    for (const std::string& index : before.indexes) {
        const bool stays =
            std::find(after.indexes.begin(), after.indexes.end(), index) != after.indexes.end();
        if (!stays && !damaged) { changes.push_back("its list of indexes no longer has " + index); }
    }
    if (after.size < before.size) {
        changes.push_back(std::to_string(before.size - after.size) + " bytes at its end were cut off");
    } else if (before.lastBytes != kEndMark && after.lastBytes == kEndMark) {
        changes.emplace_back("its end mark was written");
    }
    if (changes.empty() && (after.size != before.size || after.sum != before.sum)) {
        changes.emplace_back("bytes in it were changed");
    }
    return changes;
}

u8 LevelOf(const std::string& word)
{
    if (word == "header") { return BXD_CHECK_USUAL; }
    return word == "tables" ? BXD_CHECK_TABLES : BXD_CHECK_CARDS;
}

Report Check(const std::string& name, u8 level)
{
    Report report;
    report.file = name;
    try {
        RequireFile(name);
        const FileLock lock(name);
        const QuietErrors quiet;
        report.wasRegistered = EntryOf(name).has_value();
        const Snapshot before = SnapshotOf(name);
        report.status = BXDFileCheckSub(name.c_str(), level, 0) & 0xFFFF;
        const Snapshot after = SnapshotOf(name);
        report.entry = EntryOf(name);
        report.mended = Changes(before, after, report.status != BXD_OK);
        report.indexes = after.indexes.empty() && report.status != BXD_OK ? before.indexes : after.indexes;
    } catch (const Failure& failure) {
        report.result = kCheckImpossible;
        report.reason = failure.what();
        return report;
    }
    if (report.status == BXD_OK) {
        report.result = report.mended.empty() ? kCheckSound : kCheckMended;
    } else if (report.status == BXD_ERR_NOFILE && !report.entry) {
        report.result = kCheckImpossible;
        report.reason = name + ": " + StatusText(report.status);
    } else {
        report.result = kCheckDamaged;
    }
    return report;
}

const char* ResultWord(CheckExit result)
{
    constexpr std::array<const char*, 4> kWords = {"sound", "mended", "damaged", "not checked"};
    return kWords[static_cast<std::size_t>(result)];
}

std::string ExplanationOf(const Report& report)
{
    const std::string words = report.entry ? Explanation(report.entry->message) : "";
    return words.empty() ? StatusText(report.status) : words;
}

void PrintDamage(const Report& report)
{
    const std::string indent = "    ";
    Print(Printable(report.file) + ": damaged: " + ExplanationOf(report) + "\n");
    if (report.entry) {
        Print(indent + "message   " + Printable(PlainMessage(report.entry->message)) + " (status " +
              std::to_string(report.status) + ", level " + std::to_string(report.entry->level) + ")\n");
        Print(indent + "registry  " +
              (report.wasRegistered
                   ? "it stood there already, and was not looked at again\n"
                   : "it is entered there: no call of the process opens it until a check passes\n"));
    }
    for (const std::string& change : report.mended) {
        Print(indent + "mended    " + Printable(change) + "; check it again\n");
    }
}

void PrintReport(const Report& report)
{
    if (report.result == kCheckImpossible) {
        (void)std::fflush(stdout);
        (void)std::fprintf(stderr, "bxd: %s\n", report.reason.c_str());
        return;
    }
    if (report.result == kCheckDamaged) { return PrintDamage(report); }
    Print(Printable(report.file) + ": " + ResultWord(report.result) + "\n");
    for (const std::string& change : report.mended) { Print("    mended    " + Printable(change) + "\n"); }
}

Json JsonOf(const Report& report)
{
    Json json = {{"file", report.file}, {"result", ResultWord(report.result)}};
    if (report.result == kCheckImpossible) {
        json["error"] = report.reason;
        return json;
    }
    json["status"] = report.status;
    if (report.result == kCheckDamaged) { json["explanation"] = ExplanationOf(report); }
    if (report.entry) {
        json["message"] = PlainMessage(report.entry->message);
        json["level"] = report.entry->level;
        json["registeredBefore"] = report.wasRegistered;
    }
    json["mended"] = report.mended;
    return json;
}

}  // namespace

int RunCheck(const CheckOptions& options)
{
    const u8 level = LevelOf(options.level);
    std::vector<Report> reports;
    for (const std::string& file : options.files) {
        reports.push_back(Check(file, level));
        if (!options.indexes) { continue; }
        for (const std::string& index : std::vector<std::string>(reports.back().indexes)) {
            reports.push_back(Check(index, level));
        }
    }

    int worst = kCheckSound;
    Json json = Json::array();
    for (const Report& report : reports) {
        worst = std::max(worst, static_cast<int>(report.result));
        if (options.json) {
            json.push_back(JsonOf(report));
        } else {
            PrintReport(report);
        }
    }
    if (options.json) { PrintJson(json); }
    return worst;
}

}  // namespace tool

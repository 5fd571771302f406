// SPDX-License-Identifier: MIT
// Faults in a synchronisation: its start, the purge of two sync indexes, and the marks. A purge that is
// broken off is finished by a later one.
#include <algorithm>

#include "index/bxd_indx_sync.h"
#include "tests/faults/fault_box.h"
#include "tests/support/index_builder.h"

namespace {

using namespace faults;
using boxtest::IndexEntry;

class SyncFaults : public BoxFaults {
protected:
    static constexpr const char* kFirst = "A.TDX";
    static constexpr const char* kSecond = "B.TDX";
    static constexpr const char* kList = "L.TDX";

    void putIndex(const char* name, const std::vector<IndexEntry>& entries) const
    {
        boxtest::IndexBuilder index(28);
        const boxtest::Bytes file = index.area().entries(entries).build();
        std::ofstream out(pathOf(name), std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
    }
    // Cards 1 to 3, of which 2 and 3 have become tombstones: one in each sync index, and an ordinary index
    // between them.
    void prepare() const
    {
        boxOf({10, 20, 30})();
        putIndex(kFirst, {{1}, {2}});
        putIndex(kList, {{1}});
        putIndex(kSecond, {{3}});
        patch([](std::string& bytes, const BoxBytes& box) {
            using boxtest::operator+;
            boxtest::Bytes table = boxtest::EncodeHead(boxtest::kIndexTableId, 512) +
                                   boxtest::EncodeIndexEntry({kFirst, 1, 28, 130, 0}) +
                                   boxtest::EncodeIndexEntry({kList, 1, 28, 0, 2}) +
                                   boxtest::EncodeIndexEntry({kSecond, 1, 28, 130, 0});
            table.resize(518, 0xFF);
            put(bytes, 28, box.endMark(), 4);
            put(bytes, 32, 518, 4);
            boxtest::Add16(table, boxtest::kEndMark);
            bytes.replace(box.endMark(), 2, std::string(table.begin(), table.end()));
        });
        ASSERT_EQ(_BoxSyncStart(kBox), 0u);
        ASSERT_EQ(WithBox([](BoxHandle box) {
                      for (const u16 id : {u16{2}, u16{3}}) {
                          if (u32 status = _CardDelete(box, id)) { return status; }
                      }
                      return u32{0};
                  }),
                  0u);
    }

    static bool has(const std::vector<std::string>& names, const std::string& name)
    {
        return std::find(names.begin(), names.end(), name) != names.end();
    }
    // A purge has done its work: the sync indexes are gone, too.
    bool done() const override
    {
        const Files files = takeFiles();
        bool gone = true;
        for (const char* name : {kFirst, kSecond}) {
            gone = gone && (files.count(name) != 0) == (full_.count(name) != 0);
        }
        return gone && BoxFaults::done();
    }
    // What a purge has still to do can be told from the box: it names every sync index that is there.
    bool isTold() const
    {
        const Files files = takeFiles();
        const std::vector<std::string> names = boxBytes().indexNames();
        bool left = false;
        for (const char* name : {kFirst, kSecond}) {
            if (files.count(name) != 0 && !has(names, name)) { return false; }
            left = left || has(names, name);
        }
        return left;
    }

    // The purge is called again, twice where it has met a name without a file. Nothing of the synchronisation
    // is left then, and what is not of it has stayed.
    bool isFinishedByOthers() const
    {
        const bool finishes = isTold();
        const u32 first = _BoxSyncClear(kBox);
        const BoxBytes left = boxBytes();
        if (first != BXD_OK && first != BXD_ERR_OTHER) { return false; }
        for (const std::string& name : left.indexNames()) {
            if (name != kList) { return false; }
        }
        u32 running = 9;
        bool good = has(left.indexNames(), kList) && _BoxSyncCheck(kBox, &running) == BXD_OK && running == 0;
        if (finishes) { good = good && left.cards() == after_ && takeFiles().size() == full_.size(); }
        return good && _BoxSyncClear(kBox) == BXD_OK && boxBytes().bytes() == left.bytes();
    }
};

TEST_F(SyncFaults, AStartIsOneByte)
{
    endure({.prepare = boxOf({10, 20}), .act = [] { return _BoxSyncStart(kBox); }, .mends = true});
}

// A card dies before its slot is cleared, and the next purge takes it for gone. A name goes behind its file,
// and the next purge takes it out. A slot that cannot be read leads to no card: its tombstone stays for good.
// Where there is no room to take a name out, the status is 255.
const Windows kPurge = {.cut = {kDeadSlot}, .failed = {kSilent, kNotRefused}};

TEST_F(SyncFaults, APurgeThatIsBrokenOffIsFinishedByTheNext)
{
    endure({.prepare = [this] { prepare(); },
            .act = [] { return _BoxSyncClear(kBox); },
            .windows = kPurge,
            .aftermath = [this] { return isFinishedByOthers(); }});
}

// One entry, one byte.
TEST_F(SyncFaults, AMarkIsSetInOneByte)
{
    endure({.prepare = [this] { prepare(); },
            .act =
                [] {
                    BxdIndexHandle index = _BxdIndexOpen("F0:A.TDX");
                    if (index == nullptr) { return u32{BXD_ERR_NOFILE}; }
                    u32 status = _BxdSetIndexSyncAttrPMSC(index, 1, BXD_SYNC_CHANGED, 0);
                    u32 closed = _BxdIndexClose(index);
                    return status != BXD_OK ? status : closed;
                },
            .windows = {},
            .mends = true});
}

TEST_F(SyncFaults, TheCounterIsOneWrite)
{
    endure({.prepare = boxOf({10}), .act = [] { return WithBox(BxdUpdateSyncId); }});
}

}  // namespace

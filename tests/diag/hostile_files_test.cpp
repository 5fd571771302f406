// SPDX-License-Identifier: MIT
// Damage of all kinds over sound files: the check comes to an end with a status that it knows, and what it
// passes it passes again.
#include <random>
#include <set>

#include "diag/bxd_diag_index.h"
#include "tests/support/diag_case.h"

namespace {

using namespace boxtest;

const std::set<u32> kStatuses = {0, 35, 64, 65, 66, 71, 128, 130, 134, 135};

class HostileFiles : public DiagCase {
protected:
    HostileFiles()
    {
        BoxBuilder box(DefaultItems() + std::vector<Item>{{1, 0, "NAME", "name"}});
        for (u32 id = 1; id <= 6; id++) { box.card(id, box.row({{"NAME", Pattern(id * 40)}})); }
        box.dead(30);
        box.systemCard(1, 65300, box.row());
        box.card(510);
        box.indexTable({{"TEST.IDX"}, {"GONE.IDX"}});
        box.card(640);
        box.setField(hd::unUsedCardID, 7);
        box_ = box.build();
        IndexBuilder index;
        index.created().record(1, "TEST.BOX").record(32, Bytes{1});
        for (u32 id = 1; id <= 8; id++) { index.entry(id, 0x47, id == 3 ? 1 : 0); }
        index_ = index.build();
    }

    // The file under both kinds of check, quietly.
    void endure(const Bytes& file, const std::string& name, const std::string& what)
    {
        put(file, name);
        (void)DeleteAll();
        const u32 status = BXDFileCheckSub(name.c_str(), 255, 0);
        ASSERT_TRUE(kStatuses.count(status)) << what << ": " << status;
        ASSERT_EQ(OpenFiles(), 0u) << what;
        ASSERT_EQ(BxdGetErrorFileNum(), status == 0 ? 0u : 1u) << what;
        ASSERT_LE(get(name).size(), file.size()) << what;
        if (status == 0) {
            const Bytes left = get(name);
            ASSERT_EQ(BXDFileCheckSub(name.c_str(), 255, 0), 0u) << what;
            ASSERT_TRUE(SameBytes(left, get(name))) << what;
        }
    }
    void endureIndex(const Bytes& file, const std::string& what)
    {
        endure(file, kDiagIndex, what);
        const i32 fid = _BxdFileOpen(kDiagIndex, BXD_MODE_WRITE);
        ASSERT_GE(fid, 0);
        const u32 status = IndexFileDiag(static_cast<u8>(fid), 255);
        EXPECT_EQ(BxdFileClose(static_cast<u8>(fid)), 0u);
        ASSERT_TRUE(kStatuses.count(status)) << what << ": " << status;
    }
    static u32 DeleteAll() { return _BxdnInit(); }

    Bytes box_;
    Bytes index_;
};

// The values that bounds are crossed by.
u32 Nasty(std::mt19937& random, u32 size)
{
    static const u32 values[] = {0,          1,          2,          5,          6,          0x7F,
                                 0xFF,       0xFFEF,     0xFFF0,     0xFFFE,     0xFFFF,     0x10000,
                                 0x7FFFFFFF, 0x80000000, 0xFFFFFFF0, 0xFFFFFFFA, 0xFFFFFFFE, 0xFFFFFFFF};
    const u32 n = static_cast<u32>(random() % 32);
    if (n < std::size(values)) { return values[n]; }
    return n < 24 ? size - static_cast<u32>(random() % 16) : static_cast<u32>(random() % (size + 16));
}

Bytes Damaged(const Bytes& sound, std::mt19937& random)
{
    Bytes file = sound;
    const u32 size = static_cast<u32>(file.size());
    // Half of the damage hits the header, where most is told.
    const auto place = [&] { return static_cast<u32>(random() % (random() % 2 == 0 ? 72u : size)); };
    for (u32 n = 1 + static_cast<u32>(random() % 3); n > 0; n--) {
        const u32 at = std::min(place(), size - 4);
        switch (random() % 4) {
        case 0: file[at] = static_cast<u8>(random()); break;
        case 1: file[at] ^= static_cast<u8>(1u << (random() % 8)); break;
        case 2: Put16(file, at, Nasty(random, size)); break;
        default: Put32(file, at, Nasty(random, size));
        }
    }
    if (random() % 8 == 0) { file.resize(random() % (size + 1)); }
    if (random() % 16 == 0) { file = file + Bytes(random() % 64, static_cast<u8>(random())); }
    // What the first bytes say is tested elsewhere.
    if (file.size() >= 4 && random() % 4 != 0) { std::copy_n(sound.begin(), 4, file.begin()); }
    return file;
}

TEST_F(HostileFiles, BoxesWithBytesChanged)
{
    std::mt19937 random(7);
    put(index_, kDiagIndex);
    Captured quiet;
    u32 passed = 0;
    for (int n = 0; n < 600 && !HasFatalFailure(); n++) {
        endure(Damaged(box_, random), kBox, "run " + std::to_string(n));
        passed += BxdGetErrorFileNum() == 0 ? 1 : 0;
    }
    EXPECT_GT(passed, 40u) << "damage where nothing looks";
    EXPECT_LT(passed, 560u);
}

TEST_F(HostileFiles, IndexesWithBytesChanged)
{
    std::mt19937 random(8);
    Captured quiet;
    for (int n = 0; n < 2000 && !HasFatalFailure(); n++) {
        endureIndex(Damaged(index_, random), "run " + std::to_string(n));
    }
}

TEST_F(HostileFiles, FilesCutAtEveryPlace)
{
    Captured quiet;
    for (size_t n = 0; n <= index_.size() && !HasFatalFailure(); n++) {
        endureIndex(Slice(index_, 0, n), "index cut at " + std::to_string(n));
    }
    for (size_t n = 0; n < box_.size() && !HasFatalFailure(); n += n < 80 ? 5 : n > 2100 ? 7 : 97) {
        endure(Slice(box_, 0, n), kBox, "box cut at " + std::to_string(n));
    }
}

TEST_F(HostileFiles, WordsOfAHeaderWithEveryNastyValue)
{
    Captured quiet;
    const u32 size = static_cast<u32>(box_.size());
    for (u32 at = 4; at < 72 && !HasFatalFailure(); at += 4) {
        for (const u32 value : {0u, 1u, 71u, 72u, size - 9, size - 8, size - 3, size - 2, size - 1, size,
                                0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
            Bytes file = box_;
            Put32(file, at, value);
            endure(file, kBox, std::to_string(at) + " is " + std::to_string(value));
        }
    }
}

}  // namespace

// SPDX-License-Identifier: MIT
// Damaged indexes under every exported function: a status, no harm to what is sound, nothing left open.
#include <functional>
#include <set>

#include "tests/support/index_case.h"

namespace {

using namespace boxtest;

constexpr const char* kCopy = "F0:COPY.IDX";

struct Call {
    const char* what;
    std::function<u32()> run;
};

std::vector<Call> Calls()
{
    return {{"write new", [] { return Write(kIndex, 200, "a new record"); }},
            {"write longer", [] { return Write(kIndex, 33, "longer"); }},
            {"write shorter", [] { return Write(kIndex, 33, ""); }},
            {"write name", [] { return Write(kIndex, 1, "TEST.BOX"); }},
            {"write type", [] { return WriteByte(kIndex, 4, 2); }},
            {"write mode", [] { return WriteByte(kIndex, 32, 0); }},
            {"write checked", [] { return _IndexInfoWriteWithCheck(kIndex, 2, Data("ATTR\xFE\x82"), 6); }},
            {"delete record", [] { return _IndexInfoDelete(kIndex, 33); }},
            {"delete type", [] { return _IndexInfoDelete(kIndex, 4); }},
            {"delete mode", [] { return _IndexInfoDelete(kIndex, 32); }},
            {"delete name", [] { return _IndexInfoDelete(kIndex, 1); }},
            {"read",
             [] {
                 u8 buffer[70000];
                 u32 last = 0;
                 for (u16 tag = 0; tag < 260; tag++) {
                     u16 length = 65535;
                     last = _IndexInfoRead(kIndex, tag, buffer, &length);
                 }
                 return last;
             }},
            {"copy", [] { return _IndexCopy(kIndex, kCopy, 200, Data("copied"), 6); }},
            {"create", [] { return _IndexCreate(kIndex, 17); }},
            {"file info", [] { return _SetFileInfo(kIndex, 7); }},
            {"delete index", [] { return _IndexDelete(kIndex); }}};
}

class BadIndexes : public IndexCase {
protected:
    BadIndexes()
    {
        BoxBuilder builder(DefaultItems() + std::vector<Item>{{1, 0, "NAME", "name"}});
        builder.card(1);
        builder.indexTable({{"TEST.IDX", 1, 27, 0x82, 1}});
        builder.card(2);
        box_ = builder.build();
        IndexBuilder index;
        index.created().record(1, kBox).record(4, Bytes{0x82}).record(32, Bytes{1}).record(3, "NAME\xFE\x9E");
        index_ = index.entries({{2, 0x47}, {1, 0x46, 1}}).build();
    }

    // Every function on this index, each from the start.
    void endure(const Bytes& index, const std::string& what)
    {
        Captured quiet;
        for (const Call& call : Calls()) {
            put(box_);
            put(index, kIndex);
            (void)unlink(path(kCopy).c_str());
            const u32 status = call.run();
            ASSERT_TRUE(sane_.count(status)) << what << ": " << call.what << " gives " << status;
            ASSERT_EQ(OpenFiles(), 0u) << what << ": " << call.what;
            ASSERT_TRUE(IsSound(get())) << what << ": " << call.what;
            ASSERT_LE(get(kIndex).size(), index.size() + 64) << what << ": " << call.what;
            ASSERT_LE(get(kCopy).size(), index.size() + 64) << what << ": " << call.what;
        }
        endureCards(index, what);
    }

    void endureCards(const Bytes& index, const std::string& what)
    {
        put(box_);
        put(index, kIndex);
        OpenBox open(kBox);
        const CardDescriptor key = Key(2, "NAME");
        EXPECT_TRUE(sane_.count(_CardWrite(open.handle(), &key, Data("value"), 5))) << what;
        ASSERT_LE(get(kIndex).size(), index.size()) << what;
    }

    Bytes box_;
    Bytes index_;
    const std::set<u32> sane_ = {0, 64, 66, 67, 69, 71, 255};
};

TEST_F(BadIndexes, TheSoundOneIsServed)
{
    ASSERT_EQ(FirstIndexFault(index_), "");
    put(box_);
    for (const Call& call : Calls()) {
        put(index_, kIndex);
        put(box_);
        (void)unlink(path(kCopy).c_str());
        const u32 status = call.run();
        const std::string what = call.what;
        EXPECT_EQ(status, what == "read" ? 66u : what == "create" ? 67u : 0u) << what;
        if (what != "delete index") { EXPECT_EQ(FirstIndexFault(get(kIndex)), "") << what; }
    }
}

TEST_F(BadIndexes, CutAtEveryLength)
{
    for (size_t size = 0; size < index_.size(); size++) {
        endure(Slice(index_, 0, size), "cut at " + std::to_string(size));
        if (HasFatalFailure()) { return; }
    }
    endure(index_ + Bytes(100, 0), "with bytes behind");
}

TEST_F(BadIndexes, WithEveryHeaderFieldWrong)
{
    for (const Field& f : ix::kAll) {
        for (const u32 value : {0u, 1u, 3u, 23u, 24u, 25u, 60u, static_cast<u32>(index_.size()) - 1,
                                static_cast<u32>(index_.size()), static_cast<u32>(index_.size()) + 1, 0xFFFFu,
                                0x7FFFFFFFu, 0x80000000u, 0xFFFFFFF0u, 0xFFFFFFFEu, kNone}) {
            Bytes bad = index_;
            SetField(bad, f, value);
            endure(bad, std::string(f.name) + " is " + std::to_string(value));
            if (HasFatalFailure()) { return; }
        }
    }
}

TEST_F(BadIndexes, WithEveryByteOfTheRecordsWrong)
{
    for (u32 at = 24; at < GetField(index_, ix::tablePos); at++) {
        for (const u8 value : {u8{0}, u8{1}, u8{0x7F}, u8{0xFF}}) {
            Bytes bad = index_;
            bad[at] = value;
            endure(bad, "byte " + std::to_string(at) + " is " + std::to_string(value));
            if (HasFatalFailure()) { return; }
        }
    }
}

TEST_F(BadIndexes, WithACardTableThatIsWrong)
{
    const u32 tablePos = GetField(index_, ix::tablePos);
    for (const u32 count : {0u, 1u, 3u, 4u, 100u, 0x7FFFu, 0xFFFFu}) {
        Bytes bad = index_;
        Put16(bad, tablePos, count);
        endure(bad, "count " + std::to_string(count));
        if (HasFatalFailure()) { return; }
    }
    for (u32 at = tablePos + 2; at < index_.size(); at++) {
        Bytes bad = index_;
        bad[at] = static_cast<u8>(~bad[at]);
        endure(bad, "byte " + std::to_string(at) + " of the table");
        if (HasFatalFailure()) { return; }
    }
}

// A chain of records without an end, and one as long as a file can make it.
TEST_F(BadIndexes, WithRecordsThatDoNotEnd)
{
    Bytes tight = IndexHeader(27);
    SetField(tight, ix::infoPos, 24);
    for (int n = 0; n < 1000; n++) { tight = tight + Bytes{99, 0, 0}; }
    endure(tight, "empty records without an end");
    Bytes wide = IndexHeader(27);
    SetField(wide, ix::infoPos, 24);
    for (int n = 0; n < 4; n++) { wide = wide + Bytes{99, 0xFF, 0xFF} + Bytes(65535, 1); }
    endure(wide, "records of 65,535 bytes without an end");
    for (const u32 where : {4u, 8u, 24u}) {
        Bytes inside = index_;
        SetField(inside, ix::infoPos, where - 4);
        endure(inside, "records in the header");
    }
}

// Names in the records, and in the box's table, that no buffer holds.
TEST_F(BadIndexes, WithNamesThatAreTooLong)
{
    for (const size_t length :
         {size_t{250}, size_t{255}, size_t{256}, size_t{257}, size_t{1000}, size_t{32764}}) {
        for (const char* start : {"", "F0:", "F0:/", "/", "F1:/x/", "\\", "F0:\\"}) {
            endure(IndexBuilder().created().record(1, start + std::string(length, 'n')).build(),
                   start + std::to_string(length));
            if (HasFatalFailure()) { return; }
        }
    }
    BoxBuilder builder(DefaultItems() + std::vector<Item>{{1, 0, "NAME", "name"}});
    builder.card(2);
    builder.indexTable({{std::string(252, 'n'), 1},
                        {std::string(254, 'n'), 1},
                        {"/" + std::string(252, 'n'), 2},
                        {std::string(260, 'n'), 3},
                        {"TEST.IDX", 1}});
    box_ = builder.build();
    endure(index_, "beside names that are too long");
}

}  // namespace

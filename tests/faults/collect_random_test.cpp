// SPDX-License-Identifier: MIT
// Boxes that live a random life, by fixed seeds, with collections by either way and collections that stop;
// and boxes with random damage, of which a collection must make nothing worse than a status.
#include <random>

#include "tests/faults/collect_box.h"

namespace {

using namespace faults;
using boxtest::B;

class RandomLife : public CollectFaults, public ::testing::WithParamInterface<u32> {
protected:
    void SetUp() override
    {
        CollectFaults::SetUp();
        rng_.seed(GetParam());
    }

    u32 pick(u32 n) { return static_cast<u32>(rng_() % n); }
    std::string anyText() { return Pattern(pick(20) == 0 ? pick(40000) : pick(80), pick(1000)); }
    u32 anyId()
    {
        auto it = cards_.begin();
        std::advance(it, pick(static_cast<u32>(cards_.size())));
        return it->first;
    }

    void begin()
    {
        BoxBuilder box(boxtest::NumberedItems(6));
        const u32 counts[] = {3, 495, 625};
        const u32 count = counts[GetParam() % 3];
        for (u32 id = 1; id <= count; id++) {
            cards_[id] = Pattern(pick(30), id);
            box.card(id, box.row({{"I000", B(cards_[id])}}));
        }
        putBox(box.build());
    }

    // A round of changes through the library.
    void change()
    {
        ASSERT_EQ(WithBox([this](BoxHandle box) {
                      for (u32 n = 0; n < 30; n++) {
                          if (u32 status = step(box)) { return status; }
                      }
                      return u32{0};
                  }),
                  0u);
        for (u32 n = pick(12); n > 0 && cards_.size() > 2; n--) {
            const u32 id = anyId();
            if (id >= kEditCard) { continue; }
            kill(id);
            cards_.erase(id);
        }
    }
    u32 step(BoxHandle box)
    {
        const std::string text = anyText();
        if (pick(3) != 0 && !cards_.empty()) {
            const u32 id = anyId();
            cards_[id] = text;
            return Write(box, id, "I000", text);
        }
        u16 edit = TMP_SYSTEM_CARD_ID;
        u32 status = _CardCreate(box, &edit);
        if (status == 0) { status = Write(box, edit, "I000", text); }
        if (status != 0) { return status; }
        auto id = static_cast<u16>(pick(8) == 0 ? 65300 + pick(5) : 0);
        status = _CardCopy(box, edit, &id);
        cards_[id] = text;
        return status;
    }

    void collect()
    {
        const Bytes before = getBox();
        switch (pick(3)) {
        case 0:
            ASSERT_EQ(_BoxGarbageCollect(kBox), 0u);
            ASSERT_TRUE(sameBytes(CollectModel(before).firstWay().file, getBox()));
            break;
        case 1:
            ASSERT_EQ(collectInFile(), 0u);
            ASSERT_TRUE(sameBytes(CollectModel(before).secondWay().file, getBox()));
            break;
        default: {
            const u32 status = collectWithoutRoomFor(1 + pick(static_cast<u32>(cards_.size())));
            ASSERT_TRUE(status == 68 || status == 0) << status;
        }
        }
    }

    void verify() const
    {
        const Bytes file = getBox();
        boxtest::CheckRules rules;
        rules.garbageSize = false;  // cards at the end that a collection has cut off are counted no more
        ASSERT_TRUE(isSound(file, rules));
        const BoxView view(file);
        u32 found = 0;
        for (const boxtest::Link& link : view.links()) {
            if (link.id == 0 || link.id >= boxtest::kAppendTableId) { continue; }
            found++;
            ASSERT_EQ(cards_.count(link.id), 1u) << link.id;
            ASSERT_EQ(boxtest::Text(view.value(link.id, "I000")), cards_.at(link.id)) << link.id;
        }
        ASSERT_EQ(found, cards_.size());
    }

    std::mt19937 rng_;
    std::map<u32, std::string> cards_;
};

TEST_P(RandomLife, NoCollectionLosesOrChangesACard)
{
    ASSERT_NO_FATAL_FAILURE(begin());
    for (u32 round = 0; round < 14; round++) {
        SCOPED_TRACE(round);
        ASSERT_NO_FATAL_FAILURE(change());
        ASSERT_NO_FATAL_FAILURE(collect());
        ASSERT_NO_FATAL_FAILURE(verify());
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomLife, ::testing::Values(1, 2, 3, 4, 5, 6));

// --- damage ----------------------------------------------------------------------------------------------

class DamagedCollection : public CollectFaults {
protected:
    void SetUp() override
    {
        CollectFaults::SetUp();
        ::testing::internal::CaptureStderr();  // thousands of messages
    }
    void TearDown() override
    {
        const std::string told = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(told.find("runtime error"), std::string::npos);  // of a sanitizer
        CollectFaults::TearDown();
    }

    static Bytes box()
    {
        BoxBuilder box = boxtest::MixedBox(14);
        box.card(501, box.row({{"I000", B("of a table")}}));
        box.reserveOffsetCard(2);
        box.dead(33);
        box.card(640);
        box.editCard(box.row());
        box.card(502);
        box.dead(20);
        return box.build();
    }

    // Each way, and a stop on the way: a status, no more than the tables are added, and nothing is left open.
    void expectStatuses(const Bytes& bad)
    {
        constexpr size_t kTablesAtMost = 510 * 522;
        for (u32 way = 0; way < 3; way++) {
            gNoRoomAt = way == 0   ? std::set<uint32_t>{}
                        : way == 1 ? std::set<uint32_t>{1}
                                   : std::set<uint32_t>{1, 9};
            putBox(bad);
            Shim().statistics(RoomBut);
            Shim().watch(home().c_str());
            const u32 status = _BoxGarbageCollect(kBox);
            ASSERT_EQ(Shim().blocks(), 0u);
            Shim().rest();
            Shim().statistics(nullptr);
            ASSERT_TRUE(isStatus(status)) << status;
            ASSERT_LE(sizeOfBox(), bad.size() + kTablesAtMost);
        }
        if (tried_++ % 8 != 0) { return; }
        putBox(bad);
        ASSERT_TRUE(worksOnWhatIsLeft());
    }
    size_t sizeOfBox() const
    {
        struct stat facts = {};
        return ::stat(pathOf("T.BOX").c_str(), &facts) == 0 ? static_cast<size_t>(facts.st_size) : 0;
    }

    u32 tried_ = 0;
};

TEST_F(DamagedCollection, OfABoxCutAtAnyLengthGivesAStatus)
{
    const Bytes whole = box();
    for (size_t size = 0; size < whole.size(); size += size < 60 || size > whole.size() - 200 ? 1
                                                       : size > 2100                          ? 3
                                                                                              : 41) {
        SCOPED_TRACE(size);
        ASSERT_NO_FATAL_FAILURE(expectStatuses(boxtest::Slice(whole, 0, size)));
    }
}

TEST_F(DamagedCollection, OfABoxWithAWrongFieldGivesAStatus)
{
    const Bytes whole = box();
    const u32 size = static_cast<u32>(whole.size());
    for (const boxtest::Field& field : hd::kAll) {
        for (u32 value : {0u, 1u, 5u, 6u, 71u, 72u, 2120u, 2244u, size - 6, size - 2, size, size + 1,
                          0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
            SCOPED_TRACE(std::string(field.name) + " " + std::to_string(value));
            Bytes bad = whole;
            boxtest::SetField(bad, field, value);
            ASSERT_NO_FATAL_FAILURE(expectStatuses(bad));
        }
    }
}

TEST_F(DamagedCollection, OfABoxWithAWrongHeadGivesAStatus)
{
    const Bytes whole = box();
    const BoxView view(whole);
    for (const boxtest::Link& link : view.links()) {
        for (u32 id : {0u, 1u, 501u, 640u, 700u, 65279u, 65280u, 65281u, 65520u, 65521u, 65522u, 65523u,
                       65534u, 65535u}) {
            SCOPED_TRACE(std::to_string(link.pos) + " id " + std::to_string(id));
            Bytes bad = whole;
            boxtest::Put16(bad, link.pos, id);
            ASSERT_NO_FATAL_FAILURE(expectStatuses(bad));
        }
        for (u32 length :
             {0u, 1u, link.length - 1, link.length + 1, 516u, 0x7FFFFFFFu, 0xFFFFFFFAu, 0xFFFFFFFFu}) {
            SCOPED_TRACE(std::to_string(link.pos) + " length " + std::to_string(length));
            Bytes bad = whole;
            boxtest::Put32(bad, link.pos + 2, length);
            ASSERT_NO_FATAL_FAILURE(expectStatuses(bad));
        }
    }
}

TEST_F(DamagedCollection, OfABoxWithRandomBytesGivesAStatus)
{
    const Bytes whole = box();
    const u32 cards = boxtest::GetField(whole, hd::cardOffset);
    std::mt19937 rng(4);
    for (u32 n = 0; n < 300; n++) {
        SCOPED_TRACE(n);
        Bytes bad = whole;
        for (auto k = 1 + rng() % 6; k > 0; k--) {
            const u32 from = rng() % 3 == 0 ? 4 : cards;
            bad[from + rng() % (bad.size() - from)] = static_cast<u8>(rng() % 4 == 0 ? 0xFF : rng());
        }
        ASSERT_NO_FATAL_FAILURE(expectStatuses(bad));
    }
}

}  // namespace

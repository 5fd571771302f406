// SPDX-License-Identifier: MIT
// The command check: what it says of sound, mended and damaged files, its levels, and its exit codes.
#include <random>
#include <set>

#include "diag/bxd_diag_faults.h"
#include "tests/support/index_builder.h"
#include "tests/tool/map_files.h"
#include "tests/tool/tool_run.h"
#include "tools/bxd/check_text.h"

namespace {

using namespace tool_test;
using boxtest::BoxBuilder;
using boxtest::IndexBuilder;

constexpr int kSound = 0;
constexpr int kMended = 1;
constexpr int kDamaged = 2;
constexpr int kImpossible = 3;

class ToolCheck : public ToolTest {
protected:
    void put(const std::string& name, const Bytes& bytes) const { Write(name, boxtest::Text(bytes)); }
    Bytes get(const std::string& name) const { return boxtest::B(ReadFile(Path(name))); }

    // Three cards, the second of them dead.
    static BoxBuilder cards()
    {
        BoxBuilder box(boxtest::NumberedItems(6));
        box.card(1, box.row({{"I000", boxtest::B("one")}}));
        box.dead(40);
        box.card(2, box.row({{"I001", boxtest::B("two")}}));
        return box;
    }
    static Bytes index() { return IndexBuilder().created().record(1, "w.box").entry(1).entry(2).build(); }

    // The exit code, with nothing on standard error; `out` has all of the words.
    void expectReport(int code, const std::vector<std::string>& words,
                      const std::vector<std::string>& arguments) const
    {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(outcome.code, code) << outcome.out;
        EXPECT_EQ(outcome.err, "");
        for (const std::string& word : words) {
            EXPECT_NE(outcome.out.find(word), std::string::npos) << word << " in " << outcome.out;
        }
    }
    // The level that finds this, and those less deep, which do not.
    void expectDamageAt(const Bytes& file, const std::string& level, const std::string& words) const
    {
        for (const std::string& one : {std::string("header"), std::string("tables"), std::string("cards")}) {
            put("w.box", file);
            const int rank = one == "header" ? 1 : one == "tables" ? 2 : 3;
            const int wanted = level == "header" ? 1 : level == "tables" ? 2 : 3;
            if (rank < wanted) {
                expectReport(kSound, {"w.box: sound\n"}, {"check", "w.box", "--level", one});
            } else {
                expectReport(kDamaged, {"w.box: damaged: ", words}, {"check", "w.box", "--level", one});
            }
        }
    }
};

TEST_F(ToolCheck, ASoundBoxIsSoundAtEachLevel)
{
    put("w.box", cards().build());
    const Bytes before = get("w.box");
    expectReport(kSound, {"w.box: sound\n"}, {"check", "w.box"});
    for (const char* level : {"header", "tables", "cards"}) {
        EXPECT_EQ(RunOk({"check", "w.box", "--level", level}), "w.box: sound\n");
    }
    EXPECT_EQ(get("w.box"), before);
    EXPECT_EQ(RunJson({"check", "w.box", "--json"}),
              Json::array(
                  {Json{{"file", "w.box"}, {"result", "sound"}, {"status", 0}, {"mended", Json::array()}}}));
}

TEST_F(ToolCheck, WhatTheToolMakesIsSound)
{
    MakeWords();
    RunOk({"import", "w.box", "-", "--format", "csv"}, "HEAD,READ,MEAN\nb,b,x\na,a,y\n");
    RunOk({"index", "create", "w.idx", "--box", "w.box"});
    RunOk({"sort", "w.idx", "--by", "READ"});
    EXPECT_EQ(RunOk({"check", "w.box", "--indexes"}), "w.box: sound\nw.idx: sound\n");
}

TEST_F(ToolCheck, TellsWhatWasMended)
{
    const Bytes sound = cards().build();
    put("w.box", sound + Bytes(12, 0x11));
    expectReport(kMended, {"w.box: mended\n", "12 bytes at its end were cut off"}, {"check", "w.box"});
    EXPECT_EQ(get("w.box"), sound);
    EXPECT_EQ(RunOk({"check", "w.box"}), "w.box: sound\n");

    Bytes torn = sound;
    boxtest::Put16(torn, torn.size() - 2, 0x1234);
    put("w.box", torn);
    expectReport(kMended, {"its end mark was written"}, {"check", "w.box", "--level", "header"});
    EXPECT_EQ(get("w.box"), sound);

    BoxBuilder indexed = cards();
    indexed.indexTable({{"gone.idx"}, {"w.idx"}});
    put("w.box", indexed.build());
    put("w.idx", index() + Bytes(7, 0));
    expectReport(kMended,
                 {"w.box: mended\n", "its list of indexes no longer has gone.idx",
                  "w.idx: mended\n    mended    7 bytes"},
                 {"check", "w.box", "--indexes"});
    EXPECT_EQ(get("w.idx"), index());
    EXPECT_EQ(RunOk({"check", "w.box", "--indexes"}), "w.box: sound\nw.idx: sound\n");
}

TEST_F(ToolCheck, FindsDamageAtTheLevelThatLooksForIt)
{
    BoxBuilder header = cards();
    header.setField(boxtest::hd::unUsedCardID, 0);
    expectDamageAt(header.build(), "header", "hint for a free card id");

    BoxBuilder slots = cards();
    slots.setSlot(2, 0x00FFFFF0);
    expectDamageAt(slots.build(), "tables", "the offset table leads to a card that is not there");

    BoxBuilder counted = cards();
    counted.setField(boxtest::hd::cardCount, 7);
    expectDamageAt(counted.build(), "cards", "another number of cards in use");
}

TEST_F(ToolCheck, TellsTheMessageOfTheLibraryToo)
{
    BoxBuilder counted = cards();
    counted.setField(boxtest::hd::cardCount, 7);
    put("w.box", counted.build());
    EXPECT_EQ(Run({"check", "w.box"}).out,
              "w.box: damaged: the chain has another number of cards in use than the header counts\n"
              "    message   カードチェインで数えた有効カード数がヘッダ上と違う (status 130, level 255)\n"
              "    registry  it is entered there: no call of the process opens it until a check passes\n");
    const Outcome json = Run({"check", "w.box", "--json"});
    EXPECT_EQ(json.code, kDamaged);
    const Json report = Json::parse(json.out)[0];
    EXPECT_EQ(report["result"], "damaged");
    EXPECT_EQ(report["status"], 130);
    EXPECT_EQ(report["level"], 255);
    EXPECT_EQ(report["registeredBefore"], false);
}

TEST_F(ToolCheck, ASlotOfADeletionThatWasCutShortIsDamageAtTheDeepestLevel)
{
    // The card died, and its id still leads to it.
    BoxBuilder box = cards();
    Bytes file = box.build();
    boxtest::Put16(file, boxtest::Get32(file, boxtest::DefaultWordAt(11)), 0);
    put("w.box", file);
    expectReport(kDamaged, {"another number of cards than the tables"}, {"check", "w.box"});
}

TEST_F(ToolCheck, AFileOfTheRegistryIsNotLookedAtAgain)
{
    Bytes cut = cards().build();
    cut.resize(cut.size() - 20);
    put("w.box", cut);
    const Outcome outcome = Run({"check", "w.box", "w.box", "--level", "cards"});
    EXPECT_EQ(outcome.code, kDamaged);
    EXPECT_NE(outcome.out.find("it is entered there"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("it stood there already"), std::string::npos) << outcome.out;
    // The registry ends with the process.
    put("w.box", cards().build());
    EXPECT_EQ(RunOk({"check", "w.box"}), "w.box: sound\n");
}

TEST_F(ToolCheck, IndexesOfADamagedBoxAreCheckedAsWell)
{
    BoxBuilder box = cards();
    box.indexTable({{"w.idx"}});
    box.setField(boxtest::hd::cardCount, 7);
    put("w.box", box.build());
    Bytes twice = IndexBuilder().created().record(1, "w.box").entry(1).build();
    twice.resize(twice.size() - 3);
    put("w.idx", twice);
    expectReport(kDamaged,
                 {"w.box: damaged: ", "w.idx: damaged: the file is too short for its number of entries"},
                 {"check", "w.box", "--indexes"});
}

TEST_F(ToolCheck, ChecksAnIndexByItself)
{
    put("w.idx", index());
    EXPECT_EQ(RunOk({"check", "w.idx"}), "w.idx: sound\n");
    put("w.idx", IndexBuilder().record(33, "en").record(34, Bytes{9}).entry(1).build());
    expectReport(kDamaged, {"sorted for another language", "(status 135, level 3)"}, {"check", "w.idx"});
    put("w.dat", index());
    expectReport(kDamaged, {"the extension of its name"}, {"check", "w.dat"});
    Write("text.box", std::string(3000, 'x'));
    expectReport(kDamaged, {"identifier"}, {"check", "text.box"});
}

TEST_F(ToolCheck, ExitCodesTellTheWorst)
{
    put("good.box", cards().build());
    put("tail.box", cards().build() + Bytes(3, 0));
    Bytes cut = cards().build();
    cut.resize(cut.size() - 20);
    put("cut.box", cut);
    EXPECT_EQ(Run({"check", "good.box", "tail.box"}).code, kMended);
    EXPECT_EQ(Run({"check", "cut.box", "good.box"}).code, kDamaged);
    const Outcome missing = Run({"check", "cut.box", "none.box", "good.box"});
    EXPECT_EQ(missing.code, kImpossible);
    EXPECT_EQ(missing.err, "bxd: none.box: No such file or directory\n");
    EXPECT_NE(missing.out.find("good.box: sound\n"), std::string::npos);
    EXPECT_EQ(Run({"check"}).code, kImpossible);
    EXPECT_EQ(Run({"check", "good.box", "--level", "deep"}).code, kImpossible);
    EXPECT_EQ(Run({"check", "C:x.box"}).code, kImpossible);
    EXPECT_EQ(Run({"check", "--help"}).code, 0);
}

TEST_F(ToolCheck, LeavesABoxAloneThatAnotherProcessHolds)
{
    put("w.box", cards().build() + Bytes(3, 0));
    const Bytes before = get("w.box");
    const HeldByAnother held(Path("w.box"));
    const Outcome outcome = Run({"check", "w.box"});
    EXPECT_EQ(outcome.code, kImpossible);
    EXPECT_EQ(outcome.err, "bxd: w.box: another process holds it open\n");
    EXPECT_EQ(get("w.box"), before);
}

TEST_F(ToolCheck, EveryFaultOfTheLibraryIsExplained)
{
    for (const DiagFaultRow& row : kDiagFaults) {
        EXPECT_NE(tool::Explanation(row.message), "") << row.message;
        EXPECT_EQ(tool::PlainMessage(row.message).find_first_of("%\n"), std::string::npos) << row.message;
    }
    EXPECT_EQ(tool::Explanation("some other message"), "");
}

// Two thousand files in one run: a process each would cost minutes.
TEST_F(ToolCheck, NoDamagedFileEndsIt)
{
    constexpr int kFiles = 2000;
    std::mt19937 random(20261121);
    const auto pick = [&](std::size_t below) {
        return std::uniform_int_distribution<std::size_t>(0, below - 1)(random);
    };
    const Bytes originals[] = {cards().build(), index()};
    std::vector<std::string> arguments{"check", "--json"};
    for (int n = 0; n < kFiles; ++n) {
        Bytes file = originals[n % 2];
        for (std::size_t changes = 1 + pick(4); changes > 0; --changes) {
            const std::size_t at =
                pick(2) == 0 ? pick(std::min<std::size_t>(file.size(), 100)) : pick(file.size());
            file[at] = pick(2) == 0 ? u8{0xFF} : static_cast<u8>(pick(256));
        }
        if (pick(4) == 0) { file.resize(pick(file.size()) + 1); }
        // Some have nothing but a tail, which is cut off.
        if (n % 10 == 3) { file = originals[n % 2] + Bytes(pick(9) + 1, 0x22); }
        const std::string name = std::to_string(n) + (n % 2 == 0 ? ".box" : ".idx");
        put(name, file);
        arguments.push_back(name);
    }
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.code, kDamaged) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    const Json reports = Json::parse(outcome.out);
    ASSERT_EQ(reports.size(), static_cast<std::size_t>(kFiles));
    std::set<std::string> results;
    for (const Json& report : reports) { results.insert(report["result"].get<std::string>()); }
    EXPECT_EQ(results, (std::set<std::string>{"damaged", "mended", "sound"}));
}

}  // namespace

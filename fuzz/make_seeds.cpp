// SPDX-License-Identifier: MIT
// Writes the seeds of the fuzzing targets, files that reach far into the library, to a directory a target:
// fuzz_seeds fuzz/corpus. What a search has found lies beside them and is not touched.
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "fuzz/fuzz_case.h"

namespace {

using namespace fuzz;
using boxtest::BoxBuilder;
using boxtest::IndexBuilder;

class Seeds {
public:
    explicit Seeds(std::filesystem::path root) : root_(std::move(root)) {}

    void target(const char* name)
    {
        folder_ = root_ / name;
        std::filesystem::create_directories(folder_);
    }
    void write(const std::string& name, const Bytes& bytes)
    {
        std::ofstream out(folder_ / name, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }

private:
    std::filesystem::path root_;
    std::filesystem::path folder_;
};

// --- boxes -------------------------------------------------------------------------------------------------

std::vector<boxtest::Item> TwoTexts()
{
    return boxtest::DefaultItems() +
           std::vector<boxtest::Item>{{1, 0, "NAME", "name"}, {17, 0, "READ", "reading"}};
}

BoxBuilder ThreeCards()
{
    BoxBuilder box(TwoTexts());
    for (const std::uint32_t id : {1u, 2u, 3u}) {
        box.card(id, box.row({{"NAME", B("Sato")}, {"READ", Bytes(id * 60, 'r')}}));
    }
    return box;
}

void WriteBoxes(Seeds* out)
{
    out->target("box_file");
    out->write("no_cards", BoxBuilder(TwoTexts()).build());
    out->write("three_cards", ThreeCards().build());

    BoxBuilder dead = ThreeCards();
    dead.dead(40);
    dead.card(4);
    dead.dead(9);
    out->write("dead_cards", dead.build());

    BoxBuilder forms(TwoTexts());
    for (const int form : {1, 2, 4}) {
        const std::vector<Bytes> row = forms.row({{"NAME", B("forms")}});
        forms.card(static_cast<std::uint32_t>(form), row, {form, 5});
    }
    out->write("forms_of_lengths", forms.build());

    BoxBuilder tables = ThreeCards();
    tables.card(501);
    tables.card(629);
    tables.dead(20);
    out->write("append_tables", tables.build());

    BoxBuilder special = ThreeCards();
    special.systemCard(1, boxtest::kFirstSystemId, special.row({{"NAME", B("system")}}));
    special.extInfoCard(B("extended"));
    special.editCard(special.row({{"READ", B("edit")}}));
    out->write("special_cards", special.build());

    BoxBuilder indexed = ThreeCards();
    indexed.indexTable({{"GONE.IDX"}, {"BYTES.BOX", 1, boxtest::kMasterKind, 2, 1}});
    indexed.dead(6);
    out->write("index_table", indexed.build());

    BoxBuilder synchronised = ThreeCards();
    synchronised.card(4, synchronised.row({{"ATTR", Bytes{0x07}}}));
    synchronised.setField(boxtest::hd::syncFlag, 0);
    out->write("synchronisation", synchronised.build());

    Bytes cut = ThreeCards().build();
    cut.resize(cut.size() - 2);
    out->write("no_end_mark", cut);
    cut.resize(cut.size() - 30);
    out->write("cut_in_a_card", cut);
    cut.resize(2100);
    out->write("cut_in_the_table", cut);
    out->write("bytes_behind", ThreeCards().build() + Bytes(40, 0x11));

    BoxBuilder astray = ThreeCards();
    astray.setSlot(2, 0x7FFFFFFF);
    astray.setSlot(3, 0xFFFFFFF0);
    out->write("slots_astray", astray.build());
    BoxBuilder early = ThreeCards();
    early.setField(boxtest::hd::cardOffset, 8);
    out->write("chain_in_the_header", early.build());
}

// --- indexes -----------------------------------------------------------------------------------------------

void WriteIndexes(Seeds* out)
{
    out->target("index_file");
    out->write("header", IndexBuilder().build());
    out->write("no_table", IndexBuilder().created().record(1, "SOUND.BOX").build());
    out->write("by_reading", SoundIndex().record(2, Bytes{'R', 'E', 'A', 'D', 0xFE, 0x80, 0}).build());
    out->write("by_number",
               SoundIndex({8, 7, 0x83}).record(2, Bytes{'N', 'U', 'M', 'B', 0xFE, 0x83, 0}).build());
    out->write("no_box", IndexBuilder().created().entry(1).entry(2).build());
    out->write("discharge", SoundIndex().record(4, Bytes{0x82}).build());
    out->write("of_synchronisation", SoundIndex().record(4, Bytes{0x03}).build());

    IndexBuilder filtered = SoundIndex();
    filtered.record(3, Bytes{'R', 'E', 'A', 'D', 0xFE, 0x91, 17, 'b', 0}).record(32, Bytes{1});
    out->write("filtered", filtered.build());
    IndexBuilder grouped = SoundIndex();
    grouped.record(3, Bytes{0xFE, 0x96, 1, 0})
        .record(32, Bytes{1})
        .record(128, Bytes{1, 17, 6, 0x15, 0x94, 0});
    grouped.entry(7, 0x47, 1);
    out->write("hidden_entry", grouped.build());

    IndexBuilder list(boxtest::kListKind);
    list.created().record(1, "SOUND.BOX").record(4, Bytes{0x80}).entry(2, 0x07).entry(9);
    out->write("list", list.build());
    out->write("count_too_high", SoundIndex().setCount(40).build());
    out->write("count_at_its_end", SoundIndex().setCount(65535).build());
    out->write("records_astray", SoundIndex().setField(boxtest::ix::infoPos, 20).build());
    out->write("table_astray", SoundIndex().setField(boxtest::ix::tablePos, 0x7FFFFFF0).build());
    Bytes longRecord = SoundIndex().build();
    longRecord.at(25) = 0xF0;
    out->write("record_too_long", longRecord);
    Bytes cut = SoundIndex().build();
    cut.resize(cut.size() - 5);
    out->write("cut_in_the_table", cut);
    out->write("bytes_behind", SoundIndex().build() + Bytes(30, 0));
}

// --- conditions --------------------------------------------------------------------------------------------

Bytes Test(std::string_view tag, std::uint8_t op, std::uint8_t type, const Bytes& value)
{
    return B(tag) + Bytes{0xFE, op, type} + value;
}

void WriteSearchConditions(Seeds* out)
{
    const Bytes andTest{0xFE, 0x84}, orTest{0xFE, 0x85}, andClause{0xFE, 0x86}, orClause{0xFE, 0x87};
    out->target("search_condition");
    const Bytes begins = Test("READ", 0x91, 17, B("あ"));
    const Bytes atLeast = Test("NUMB", 0x98, 8, {2, 1});
    out->write("begins", begins + Bytes{0});
    out->write("number", atLeast);
    out->write("two_clauses", begins + orClause + atLeast + Bytes{0});
    out->write("three_clauses", begins + andClause + atLeast + orClause + Test("    ", 0x92, 1, B("z")));
    out->write("further_texts", begins + orTest + B("b") + andTest + B("c"));
    out->write("binary", B("NAME") + Bytes{0xFE, 0x95, 0xFE, 0x90, 1, 0x82, 0xA0, 0xB6});
    out->write("other_shift_jis", Test("NAM2", 0x97, 16, B("zz")));
    out->write("all_items", Test("    ", 0x92, 17, B("z")));
    out->write("blank", B("READ") + Bytes{0xFE, 0x9F} + andClause + B("NAME") + Bytes{0xFE, 0x9E});
    out->write("new_value", B("READ") + Bytes{0xFE, 0x94});
    out->write("new_keys", Bytes{0xFE, 0x96, 1});
    out->write("new_keys_behind", begins + andClause + Bytes{0xFE, 0x96, 1});
    out->write("brackets", B("(") + begins + orClause + atLeast + B(")") + andClause + begins);
    out->write("date", Test("cTTM", 0x90, 4, {63, 63, 31, 0xF0, 0}));
    out->write("span", Test("SPAN", 0x99, 5, {1, 0, 0, 0, 0}));
    out->write("bits", Test("ATTR", 0x88, 6, {0x40, 0x40}));
    out->write("week", Test("WEEK", 0x9A, 7, {7, 0x70, 7}));
    out->write("byte", Test("BYTE", 0x9B, 11, {3}));
    out->write("categories", Test("CATS", 0x92, 12, {3}) + andTest + Bytes{0xFE, 0x91, 12, 0xFE});
    out->write("word", Test("WORD", 0x90, 18, {2, 2, 3, 4}));
    out->write("date_as_text", Test("cTTM", 0x92, 17, B("7")));
    // Compiled.
    out->write("compiled_text", {0, 17, 6, 0x95, 0x92, 17, 2, 0, 'a', 0, 0});
    out->write("compiled_codes", {2,    17,   6,    0x15, 0x91, 17, 4,    0,    0x41, 0x22, 0, 0,
                                  0x85, 0x15, 0x9F, 0x86, 8,    7,  0x15, 0x98, 8,    1,    0, 0});
    out->write("compiled_all_items", {6, 0xFF, 0xFF, 0x15, 0x92, 1, 4, 0, 1, 2, 0, 0, 0});
    out->write("compiled_new_value", {1, 17, 6, 0x15, 0x94, 0});
    out->write("compiled_packed",
               {0, 4, 2, 0x15, 0x90, 4, 63, 63, 31, 0xF0, 0, 0x86, 12, 11, 0x95, 0x98, 12, 3, 0});
    out->write("compiled_text_astray", {0, 17, 6, 0x95, 0x92, 17, 0xFF, 0xFF, 'a', 0});
}

void WriteSortConditions(Seeds* out)
{
    out->target("sort_condition");
    constexpr std::uint8_t kCodes[] = {0x80, 0x81, 0x82, 0x83, 0x84, 0x90};
    for (const std::uint8_t code : kCodes) {
        const std::string name = "reading_" + std::to_string(code);
        out->write(name, Bytes{'R', 'E', 'A', 'D', 0xFE, code, 0});
        out->write("compiled_" + name, {17, 6, code});
    }
    Bytes all;
    Bytes compiled;
    std::uint8_t number = 0;
    for (const boxtest::Item& item : Items()) {
        ++number;
        all = all + B(item.tag) + Bytes{0xFE, 0x80};
        compiled = compiled + Bytes{item.type, number, 0x81};
        out->write("compiled_item_" + std::to_string(number), {item.type, number, 0x82});
    }
    out->write("all_items", all + Bytes{0});
    out->write("compiled_all_items", compiled);
    out->write("two_keys", B("NUMB\xFE\x81"
                             "NAME\xFE\x82") +
                               Bytes{0});
    out->write("no_such_item", B("NONE\xFE\x81"));
    out->write("other_type", {8, 6, 0x80});
    out->write("item_too_high", {17, 200, 0x80});
    out->write("no_item", {17, 0, 0x80});
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        (void)std::fprintf(stderr, "fuzz_seeds: a directory is needed\n");
        return 1;
    }
    Seeds seeds(argv[1]);
    WriteBoxes(&seeds);
    WriteIndexes(&seeds);
    WriteSearchConditions(&seeds);
    WriteSortConditions(&seeds);
    return 0;
}

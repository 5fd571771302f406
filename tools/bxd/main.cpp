// SPDX-License-Identifier: MIT
// The command line of bxd: options, help, and the way from failures to messages and exit codes.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <new>
#include <string_view>

#include "tools/bxd/check.h"
#include "tools/bxd/collect.h"
#include "tools/bxd/commands.h"
#include "tools/bxd/failure.h"
#include "tools/bxd/find.h"
#include "tools/bxd/import.h"
#include "tools/bxd/indexes.h"
#include "tools/bxd/map.h"
#include "tools/bxd/sort.h"
#include "tools/bxd/sync.h"

namespace {

using tool::CheckOptions;
using tool::CollectOptions;
using tool::CreateOptions;
using tool::FindOptions;
using tool::ImportOptions;
using tool::IndexCreateOptions;
using tool::IndexInfoOptions;
using tool::IndexListOptions;
using tool::IndexRemoveOptions;
using tool::InfoOptions;
using tool::ItemsOptions;
using tool::ListOptions;
using tool::MapOptions;
using tool::RemoveOptions;
using tool::SetOptions;
using tool::ShowOptions;
using tool::SortOptions;
using tool::SyncClearOptions;
using tool::SyncStartOptions;
using tool::SyncStatusOptions;

constexpr const char* kBoxHelp =
    "path of the box, or F0:NAME or F1:NAME for a file in $HOME/Applications/bxd";
constexpr const char* kFileHelp =
    "path of a box or an index file, or F0:NAME or F1:NAME for a file in $HOME/Applications/bxd";
constexpr const char* kIndexHelp =
    "path of the index file, or F0:NAME or F1:NAME for a file in $HOME/Applications/bxd";
constexpr const char* kJsonHelp = "print the answer as JSON";

constexpr const char* kFooter = R"(
Examples:
  bxd create words.box --item HEAD:text:headword --item READ:text:reading --item MEAN:text:meaning
  bxd import words.box /usr/share/edict/edict --format edict --common
  bxd list words.box --limit 10
  bxd show words.box 42
  bxd set words.box 42 MEAN "a better meaning"
  bxd rm words.box 42 43
  bxd info words.box --json
  bxd map words.box -o words.svg
  bxd gc words.box
  bxd check words.box --indexes
  bxd index create words.idx --box words.box
  bxd sort words.idx --by READ
  bxd list words.box --index words.idx
  bxd find words.box 'reading begins "か" and meaning contains "river"'
  bxd sync status words.box

"bxd COMMAND --help" tells more about a command.

Exit codes: 0 done, 1 it failed (the reason is on standard error), 2 the command line makes no sense.
"bxd check" has its own.)";

constexpr const char* kTypesHelp = R"(
An item is written TAG:TYPE or TAG:TYPE:NAME. TAG is four characters of 0-9, A-Z, a-z. TYPE is one of
  text                 UTF-8 text
  sjis, sjis2          Shift-JIS text
  datetime             2024-05-17 or 2024-05-17 08:30:00; * leaves a field open
  span                 12d or -3d 04:30:00
  weekdate             2024-05 w2 d0 (second week, sunday)
  u8, u16, u32         a number
  categories           numbers from 1 to 254 with commas: 1,5,7
  flags                0x40
or a number from 0 to 255; a value of any other type is written 0x0102AB. NAME is what people read.

Every box also has the items ATTR, cTTM, mDTM and sYID.)";

void AddCreate(CLI::App* app, CreateOptions* options)
{
    CLI::App* command = app->add_subcommand("create", "make a new box");
    command->add_option("BOX", options->box, kBoxHelp)->required();
    command->add_option("--app", options->application, "application that owns it, four characters")
        ->capture_default_str();
    command->add_option("--item", options->items, "an item, TAG:TYPE or TAG:TYPE:NAME; may be repeated")
        ->allow_extra_args(false);
    command->footer(std::string(kTypesHelp) + R"(

Examples:
  bxd create words.box --item HEAD:text:headword --item READ:text:reading
  bxd create F0:ADDRESS.BOX --app ADDR)");
    command->callback([options] { RunCreate(*options); });
}

void AddItems(CLI::App* app, ItemsOptions* options)
{
    CLI::App* command = app->add_subcommand("items", "list the items of a box, or give a new box its items");
    command->add_option("BOX", options->box, kBoxHelp)->required();
    command->add_option("ITEM", options->items, "items for a box that has none, TAG:TYPE or TAG:TYPE:NAME");
    command->add_flag("--json", options->json, kJsonHelp);
    command->footer(std::string(kTypesHelp) + R"(

Examples:
  bxd items words.box
  bxd items words.box HEAD:text:headword READ:text:reading MEAN:text:meaning)");
    command->callback([options] { RunItems(*options); });
}

void AddImport(CLI::App* app, ImportOptions* options)
{
    CLI::App* command = app->add_subcommand("import", "make cards of the records of a text file");
    command->add_option("BOX", options->box, kBoxHelp)->required();
    command->add_option("FILE", options->file, "the text file; - is standard input")->required();
    command->add_option("--format", options->format, "csv, tsv or edict; told by the file's name otherwise")
        ->check(CLI::IsMember({"csv", "tsv", "edict"}));
    command->add_option("--encoding", options->encoding, "encoding of the file: UTF-8, and EUC-JP for edict");
    command
        ->add_option("--map", options->maps, "COLUMN=TAG sends a column to an item, COLUMN=- leaves it out")
        ->allow_extra_args(false);
    command->add_flag("--common", options->common, "only the entries of a dictionary that are marked (P)");
    command->add_flag("--skip-bad", options->skipBad,
                      "leave bad records out instead of stopping at the first");
    command->add_flag("--json", options->json, "print the summary as JSON");
    command->footer(R"(
  csv    commas, double quotes where need be (RFC 4180). The first row holds tags or names of items.
  tsv    the same with tabs.
  edict  "headword [reading] /meaning/meaning/" a line. The columns headword, reading and meaning go to the
         items of these names, or else to HEAD, READ and MEAN.

A record becomes a card as soon as it is read. One with too many fields, or with a value that does not suit
its item, is bad: its line is told, and the import stops with what was complete, or goes on with --skip-bad.

Examples:
  bxd import people.box people.csv --map "Full name=NAME" --map "Shoe size=-"
  bxd import words.box /usr/share/edict/edict --common)");
    command->callback([options] { RunImport(*options); });
}

void AddList(CLI::App* app, ListOptions* options)
{
    CLI::App* command =
        app->add_subcommand("list", "list the cards of a box, by their ids or in the order of an index");
    command->add_option("BOX", options->box, kBoxHelp)->required();
    command->add_option("--index", options->index, "list the cards of this index, in its order");
    command->add_option("--limit", options->limit, "at most so many cards")
        ->check(CLI::Range(1, static_cast<int>(CARD_ID_NORMAL_MAX)));
    command->add_option("--from", options->from, "begin at this id, or at this place of the index")
        ->check(CLI::Range(1, static_cast<int>(CARD_ID_NORMAL_MAX)));
    command->add_option("--width", options->width,
                        "columns of a line; 0 cuts nothing off; the terminal's otherwise");
    command->add_flag("--all", options->all, "show ATTR, cTTM, mDTM and sYID too");
    command->add_flag("--json", options->json, kJsonHelp);
    command->footer("\nExamples:\n  bxd list words.box --limit 20\n  bxd list words.box --from 501 --json\n"
                    "  bxd list words.box --index words.idx --limit 20");
    command->callback([options] { RunList(*options); });
}

constexpr const char* kFindHelp = R"(
A query is one test, or several with "and" and "or" between them:

  ITEM is, begins, contains, at least, above, at most, below VALUE
  ITEM blank, ITEM not blank      the text is empty or has blanks alone; it has more than those

ITEM is the tag or the name of an item, in quotes where it has blanks, or any for all items (but those whose
tags begin with a small letter): one of them has to pass. VALUE is a text in quotes for a text, "..." or
'...'; in it \" \' \\ \n \t stand for the characters that one expects. Other items take values as "bxd set"
does, with or without quotes: 42, 2024-05-17, "2024-05-17 08:30". Texts know all operators, categories and
flags is and contains, categories at least and at most too, numbers and times all but begins, contains and
blank.

A part of a date that is not given is equal to every one: BORN is *-12-25. An item without a value passes no
test of a number, and stands before every date.

Texts are compared letter by letter, whatever their case, width, kana and voicing: "か" is カ, ｶ, が and ガ.
Behind ITEM exactly they are compared as they stand: reading exactly is "カ". For dates, exactly takes * for a
value of its own.

Tests are asked from left to right, and the first one that settles the answer ends it: one that fails before
"and", one that holds before "or". So A and B or C is A and (B or C), A or B and C is A or (B and C).

With --index only its cards are looked at, in its order; where it is sorted by the item of the first test, the
search jumps to the first candidate and ends behind the last. Without it all cards are looked at, by their
ids. The files are only read.

Exit codes: 0 done, also where no card is found; 1 it failed; 2 the query or the options make no sense.

Examples:
  bxd find words.box 'reading begins "あい" and meaning contains "love"'
  bxd find words.box 'any contains "river"' --limit 10 --format csv
  bxd find people.box 'born at least 1970-01-01 and born below 1980-01-01' --index people.idx)";

void AddFind(CLI::App* app, FindOptions* options)
{
    CLI::App* command = app->add_subcommand("find", "find the cards that a query selects");
    command->add_option("BOX", options->box, kBoxHelp)->required();
    command->add_option("QUERY", options->query, "what to find; see below")->required();
    command->add_option("--index", options->index, "search the cards of this index, in its order");
    command->add_option("--limit", options->limit, "at most so many cards")
        ->check(CLI::Range(1, static_cast<int>(CARD_ID_NORMAL_MAX)));
    CLI::Option* format = command->add_option("--format", options->format, "table, csv or json")
                              ->check(CLI::IsMember({"table", "csv", "json"}))
                              ->capture_default_str();
    command->add_option("--width", options->width,
                        "columns of a line; 0 cuts nothing off; the terminal's otherwise");
    command->add_flag("--all", options->all, "show ATTR, cTTM, mDTM and sYID too");
    command->add_flag("--json", options->json, "the same as --format json")->excludes(format);
    command->footer(kFindHelp);
    command->callback([options] { RunFind(*options); });
}

void AddShow(CLI::App* app, ShowOptions* options)
{
    CLI::App* command = app->add_subcommand("show", "show all items of one card");
    command->add_option("BOX", options->box, kBoxHelp)->required();
    command->add_option("ID", options->id, "id of the card")
        ->required()
        ->check(CLI::Range(1, static_cast<int>(CARD_ID_NORMAL_MAX)));
    command->add_flag("--json", options->json, kJsonHelp);
    command->footer("\nExamples:\n  bxd show words.box 42\n  bxd show words.box 42 --json");
    command->callback([options] { RunShow(*options); });
}

void AddSet(CLI::App* app, SetOptions* options)
{
    CLI::App* command = app->add_subcommand("set", "change one item of a card");
    command->add_option("BOX", options->box, kBoxHelp)->required();
    command->add_option("ID", options->id, "id of the card")
        ->required()
        ->check(CLI::Range(1, static_cast<int>(CARD_ID_NORMAL_MAX)));
    command->add_option("ITEM", options->item, "tag or name of the item")->required();
    command->add_option("VALUE", options->value, "the new value; \"\" empties the item")->required();
    command->footer(R"(
Examples:
  bxd set words.box 42 MEAN "a better meaning"
  bxd set F0:ADDRESS.BOX 7 BDAY "1970-05-17"
  bxd set trips.box 3 LONG -- "-3d 04:30:00"    (behind -- a value may begin with a dash))");
    command->callback([options] { RunSet(*options); });
}

void AddRemove(CLI::App* app, RemoveOptions* options)
{
    CLI::App* command = app->add_subcommand("rm", "delete cards");
    command->add_option("BOX", options->box, kBoxHelp)->required();
    command->add_option("ID", options->ids, "ids of the cards")
        ->required()
        ->check(CLI::Range(1, static_cast<int>(CARD_ID_NORMAL_MAX)));
    command->footer(R"(
The indexes of the box follow. Where one of the cards is not there, none is deleted.

Their bytes stay in the file as dead cards until the box is collected; those of the last card go at once.

Examples:
  bxd rm words.box 42
  bxd rm F0:ADDRESS.BOX 7 8 12)");
    command->callback([options] { RunRemove(*options); });
}

void AddInfo(CLI::App* app, InfoOptions* options)
{
    CLI::App* command = app->add_subcommand("info", "show the figures of a box");
    command->add_option("BOX", options->box, kBoxHelp)->required();
    command->add_flag("--json", options->json, kJsonHelp);
    command->footer("\nExamples:\n  bxd info words.box\n  bxd info F0:ADDRESS.BOX --json");
    command->callback([options] { RunInfo(*options); });
}

void AddMap(CLI::App* app, MapOptions* options)
{
    CLI::App* command = app->add_subcommand("map", "show what lies where in a box or an index file");
    command->add_option("FILE", options->file, kFileHelp)->required();
    command->add_option("-o,--svg", options->svg, "make an SVG picture; - is standard output");
    command->add_option("--color", options->colour, "auto, always or never; auto colours a terminal")
        ->check(CLI::IsMember({"auto", "always", "never"}))
        ->capture_default_str();
    command->add_flag("--json", options->json, "print all extents as JSON");
    command->footer(R"(
The file is only read, and need not be whole: what can be shown is shown, and where its structure breaks is
told below the legend. A part called unreachable belongs to nothing, such as bytes behind the end mark.

In the environment NO_COLOR keeps colours off.

Examples:
  bxd map words.box
  bxd map words.box -o words.svg
  bxd map F0:ADDRESS.IDX --json)");
    command->callback([options] { RunMap(*options); });
}

void AddCollect(CLI::App* app, CollectOptions* options)
{
    CLI::App* command = app->add_subcommand("gc", "collect the dead space of boxes");
    command->add_option("BOX", options->boxes, kBoxHelp)->required();
    command->add_flag("--json", options->json, kJsonHelp);
    command->footer(R"(
Changed and deleted cards leave dead cards in a box. A collection moves the others together and gives the room
back. Where a box cannot be collected the reason is told, and the next one follows. Do not cut the power: a
collection that is broken off may leave a damaged box.

Examples:
  bxd gc words.box
  bxd gc F0:ADDRESS.BOX F0:WORDS.BOX --json)");
    command->callback([options] { RunCollect(*options); });
}

// `code` becomes the exit code of the command.
void AddCheck(CLI::App* app, CheckOptions* options, int* code)
{
    CLI::App* command = app->add_subcommand("check", "check boxes and index files, and mend what can be");
    command->add_option("FILE", options->files, kFileHelp)->required();
    command->add_option("--level", options->level, "how deep a box is looked at: header, tables or cards")
        ->check(CLI::IsMember({"header", "tables", "cards"}))
        ->capture_default_str();
    command->add_flag("--indexes", options->indexes, "check the indexes that a box lists, too");
    command->add_flag("--json", options->json, "print the reports as JSON");
    command->footer(R"(
  header  header, items, end mark and the list of indexes
  tables  and the positions of all cards
  cards   and every card, and whether chain, tables and header agree

An index file is looked at in one way. The check stops at the first fault of a file. It mends an end mark that
is not there, cuts bytes off behind the last card or entry, and takes indexes that cannot be opened out of the
list of their box. Everything else stays as it is.

A damaged file is entered in the registry of bad files: for the rest of the process no call opens it, and a
check that is no deeper does not look at it again. A check that passes takes it out. The registry of bxd
itself ends with the command.

Exit codes: 0 sound, 1 mended, 2 damaged, 3 a file could not be checked, or the command line makes no sense;
of several files the worst.

Examples:
  bxd check words.box
  bxd check F0:ADDRESS.BOX --level tables --indexes
  bxd check words.idx --json)");
    command->callback([options, code] { *code = RunCheck(*options); });
}

struct IndexOptions {
    IndexCreateOptions create;
    IndexListOptions list;
    IndexInfoOptions info;
    IndexRemoveOptions remove;
};

void AddIndexCreate(CLI::App* index, IndexCreateOptions* options)
{
    CLI::App* command = index->add_subcommand("create", "make an index file and bind it to a box");
    command->add_option("INDEX", options->index, kIndexHelp)->required();
    command->add_option("--box", options->box, kBoxHelp)->required();
    command->add_option("--type", options->type, "bits of the type, from 0 to 255")
        ->check(CLI::Range(0, 255));
    command->add_option("--mode", options->mode, "which cards come in: all, filter or hand")
        ->check(CLI::IsMember({"all", "filter", "hand"}))
        ->capture_default_str();
    command->add_option("--kind", options->kind, "idx or tdx; told by the file's name otherwise")
        ->check(CLI::IsMember({"idx", "tdx"}));
    command->footer(R"(
The index has no entries at first. From then on the library keeps it: every new card comes in (all), those
that its search condition lets pass (filter), or only those that an application puts in (hand).

  idx  a master view: a card that is deleted through it is deleted in the box
  tdx  a list: a card that is deleted through it leaves the list, and stays in the box while others hold it

Examples:
  bxd index create words.idx --box words.box
  bxd index create marked.tdx --box words.box --mode hand)");
    command->callback([options] { RunIndexCreate(*options); });
}

void AddIndexList(CLI::App* index, IndexListOptions* options)
{
    CLI::App* command = index->add_subcommand("list", "list the indexes of a box");
    command->add_option("BOX", options->box, kBoxHelp)->required();
    command->add_flag("--json", options->json, kJsonHelp);
    command->footer("\nExamples:\n  bxd index list words.box\n  bxd index list words.box --json");
    command->callback([options] { RunIndexList(*options); });
}

void AddIndexInfo(CLI::App* index, IndexInfoOptions* options)
{
    CLI::App* command = index->add_subcommand("info", "show the header and the records of an index file");
    command->add_option("INDEX", options->index, kIndexHelp)->required();
    command->add_flag("--json", options->json, kJsonHelp);
    command->footer("\nExamples:\n  bxd index info words.idx\n  bxd index info words.idx --json");
    command->callback([options] { RunIndexInfo(*options); });
}

void AddIndexRemove(CLI::App* index, IndexRemoveOptions* options)
{
    CLI::App* command = index->add_subcommand("rm", "delete an index file and take it out of its box's list");
    command->add_option("INDEX", options->index, kIndexHelp)->required();
    command->footer("\nThe cards stay in the box.\n\nExamples:\n  bxd index rm words.idx");
    command->callback([options] { RunIndexRemove(*options); });
}

void AddIndex(CLI::App* app, IndexOptions* options)
{
    CLI::App* command = app->add_subcommand("index", "make, list, show and remove the indexes of a box");
    command->require_subcommand(1);
    command->footer(
        "\nExamples:\n  bxd index create words.idx --box words.box\n  bxd index list words.box\n\n"
        "\"bxd index COMMAND --help\" tells more about a command.");
    AddIndexCreate(command, &options->create);
    AddIndexList(command, &options->list);
    AddIndexInfo(command, &options->info);
    AddIndexRemove(command, &options->remove);
}

void AddSort(CLI::App* app, SortOptions* options)
{
    CLI::App* command = app->add_subcommand("sort", "put an index in the order of items");
    command->add_option("INDEX", options->index, kIndexHelp)->required();
    command->add_option("--by", options->by, "tags or names of items, the weightiest first; :desc turns one")
        ->required()
        ->delimiter(',');
    command->add_flag("--json", options->json, kJsonHelp);
    command->footer(R"(
The condition stays with the index. An index of all cards is filled from its box first; one that is filtered
or kept by hand is sorted as it is. Texts are ordered by language: capitals and the kinds of kana count only
where nothing else tells two texts apart.

Examples:
  bxd sort words.idx --by READ
  bxd sort F0:PEOPLE.IDX --by BORN:desc,NAME)");
    command->callback([options] { RunSort(*options); });
}

struct SyncOptions {
    SyncStartOptions start;
    SyncClearOptions clear;
    SyncStatusOptions status;
};

void AddSyncStart(CLI::App* sync, SyncStartOptions* options)
{
    CLI::App* command = sync->add_subcommand("start", "start a synchronisation");
    command->add_option("BOX", options->box, kBoxHelp)->required();
    command->footer(R"(
From now on a card that is deleted stays as a tombstone, which no longer counts and still can be read by a
partner. One that runs goes on.

Examples:
  bxd sync start words.box)");
    command->callback([options] { RunSyncStart(*options); });
}

void AddSyncClear(CLI::App* sync, SyncClearOptions* options)
{
    CLI::App* command = sync->add_subcommand("clear", "end a synchronisation, and what it has kept");
    command->add_option("BOX", options->box, kBoxHelp)->required();
    command->add_flag("--force", options->force, "also where cards would go that are not deleted");
    command->add_flag("--json", options->json, kJsonHelp);
    command->footer(R"(
The cards that a sync index of the box (bit 0x02 of its type) has as discharged go for good, and then the
index itself. Their bytes stay in the file as dead cards until the box is collected. This is done also where
no synchronisation runs, as after a clear that was broken off.

An entry without the mark "present" is discharged. Those of an index that was filled by "bxd sort" have no
marks: where cards would go that are not deleted nothing is done, but for --force.

Examples:
  bxd sync clear words.box)");
    command->callback([options] { RunSyncClear(*options); });
}

void AddSyncStatus(CLI::App* sync, SyncStatusOptions* options)
{
    CLI::App* command = sync->add_subcommand("status", "show whether one runs, and what it has kept");
    command->add_option("BOX", options->box, kBoxHelp)->required();
    command->add_flag("--json", options->json, kJsonHelp);
    command->footer(R"(
The sync id is the partner's own counter. Tombstones are deleted cards that a synchronisation keeps. The table
has the indexes that a clear works through: their entries, and how many cards are marked as changed since the
partner has looked, and as discharged, which is deleted.

Examples:
  bxd sync status words.box
  bxd sync status F0:ADDRESS.BOX --json)");
    command->callback([options] { RunSyncStatus(*options); });
}

void AddSync(CLI::App* app, SyncOptions* options)
{
    CLI::App* command = app->add_subcommand("sync", "start, end and show a synchronisation of a box");
    command->require_subcommand(1);
    command->footer("\nExamples:\n  bxd sync start words.box\n  bxd sync status words.box\n"
                    "  bxd sync clear words.box\n\n\"bxd sync COMMAND --help\" tells more about a command.");
    AddSyncStart(command, &options->start);
    AddSyncClear(command, &options->clear);
    AddSyncStatus(command, &options->status);
}

int Complain(const std::exception& error, int code)
{
    (void)std::fflush(stdout);
    (void)std::fprintf(stderr, "bxd: %s\n", error.what());
    return code;
}

int Run(int argc, char** argv)
{
    CreateOptions create;
    ItemsOptions items;
    ImportOptions import;
    ListOptions list;
    ShowOptions show;
    SetOptions set;
    RemoveOptions remove;
    InfoOptions info;
    MapOptions map;
    FindOptions find;
    CollectOptions collect;
    CheckOptions check;
    IndexOptions index;
    SortOptions sort;
    SyncOptions sync;

    CLI::App app("Makes, fills, shows and changes boxes, files of cards kept by libbxd, and their indexes.",
                 "bxd");
    app.set_version_flag("--version", "bxd " BXD_VERSION);
    app.require_subcommand(1);
    app.footer(kFooter);
    AddCreate(&app, &create);
    AddItems(&app, &items);
    AddImport(&app, &import);
    AddList(&app, &list);
    AddFind(&app, &find);
    AddShow(&app, &show);
    AddSet(&app, &set);
    AddRemove(&app, &remove);
    AddInfo(&app, &info);
    AddMap(&app, &map);
    AddCollect(&app, &collect);
    int code = tool::kExitOk;
    AddCheck(&app, &check, &code);
    AddIndex(&app, &index);
    AddSort(&app, &sort);
    AddSync(&app, &sync);

    try {
        _BxdnInit();
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const bool ofCheck = argc > 1 && std::string_view(argv[1]) == "check";
        const int usage =
            ofCheck ? static_cast<int>(tool::kCheckImpossible) : static_cast<int>(tool::kExitUsage);
        return app.exit(error) == 0 ? static_cast<int>(tool::kExitOk) : usage;
    } catch (const tool::UsageFailure& failure) {
        return Complain(failure, tool::kExitUsage);
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        throw tool::Failure("the output cannot be written");
    }
    return code;
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        return Run(argc, argv);
    } catch (const std::bad_alloc&) {
        (void)std::fputs("bxd: there is not enough memory\n", stderr);
    } catch (const std::exception& error) {
        return Complain(error, tool::kExitFailure);
    }
    return tool::kExitFailure;
}

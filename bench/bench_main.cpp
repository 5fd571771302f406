// SPDX-License-Identifier: MIT
// Times the store as a box and in the peer, in one run, on files of one directory.
//
//   read     an item of a stored card, by random id
//   create   a card of three texts is created and copied in
//   equal    an item gets another value of the same length
//   longer   an item gets a value longer by a byte
//   reopen   the store is closed and opened, and a card is read
//   sort     an index of all cards, in the order of their ids, is sorted by the readings; the peer's word is
//            CREATE INDEX
//   find     the first entry whose reading begins with some letters, by an index of the readings
//   scan     all meanings are looked through for a text
//   indexed  a card is created in a store with three sorted indexes
//   collect  when every other card has grown, the dead space is collected; the peer's word is VACUUM
//
// The stores are filled once. What changes a store works on a copy.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <random>

#include "bench/bench_report.h"
#include "bench/store.h"

namespace bench {

void Fail(const std::string& what)
{
    std::cerr << "bxd_bench: " << what << "\n";
    std::exit(2);
}

namespace {

using Open = std::unique_ptr<Store> (*)(const std::string&);

struct Kind {
    const char* name;
    const char* extension;
    Open open;
};
const Kind kKinds[] = {{"box", ".box", OpenBox}, {"peer", ".db", OpenPeer}};
const uint32_t kSizes[] = {1000, 23000, 60000};
constexpr int kRepetitions = 9;
constexpr uint32_t kChanges = 1000;  // of one repetition, few enough for the sizes to hold

std::filesystem::path gDirectory;

// Text of `length` bytes, in characters of three, as Japanese has them.
std::string Text(uint32_t n, size_t length)
{
    std::string text(length % 3, 'x');
    while (text.size() < length) {
        n = n * 1664525u + 1013904223u;
        text += {static_cast<char>(0xE3), static_cast<char>(0x81 + (n >> 28) % 3),
                 static_cast<char>(0x80 + (n >> 20) % 64)};
    }
    return text;
}

std::filesystem::path FilledPath(const Kind& kind, uint32_t cards)
{
    return gDirectory / (std::to_string(cards) + kind.extension);
}

// A store of so many cards, made at the first call.
std::filesystem::path Filled(const Kind& kind, uint32_t cards)
{
    std::filesystem::path path = FilledPath(kind, cards);
    if (!std::filesystem::exists(path)) {
        std::unique_ptr<Store> store = kind.open(path);
        for (uint32_t n = 1; n <= cards; n++) { store->add(MakeEntry(n)); }
    }
    return path;
}

std::unique_ptr<Store> OpenCopy(const Kind& kind, uint32_t cards)
{
    std::filesystem::path copy = gDirectory / (std::string("work") + kind.extension);
    for (const char* tail : {"", "-wal", "-shm", ".idx", ".HEAD.idx", ".READ.idx", ".MEAN.idx"}) {
        std::filesystem::remove(copy.string() + tail);
    }
    std::filesystem::copy_file(Filled(kind, cards), copy);
    std::unique_ptr<Store> store = kind.open(copy);
    for (uint32_t id = 1; id <= cards; id++) { (void)store->read(id); }  // warm
    return store;
}

class RandomId {
public:
    explicit RandomId(uint32_t cards) : pick_(1, cards) {}
    uint32_t operator()() { return pick_(engine_); }

private:
    std::minstd_rand engine_{4711};
    std::uniform_int_distribution<uint32_t> pick_;
};

void Read(benchmark::State& state, const Kind& kind, uint32_t cards)
{
    std::unique_ptr<Store> store = OpenCopy(kind, cards);
    RandomId id(cards);
    for (auto _ : state) { benchmark::DoNotOptimize(store->read(id())); }
}

void Create(benchmark::State& state, const Kind& kind, uint32_t cards)
{
    std::unique_ptr<Store> store = OpenCopy(kind, cards);
    Entry entry = MakeEntry(cards + 1);
    for (auto _ : state) { store->add(entry); }
}

void Equal(benchmark::State& state, const Kind& kind, uint32_t cards)
{
    std::unique_ptr<Store> store = OpenCopy(kind, cards);
    RandomId id(cards);
    std::string meaning = MakeEntry(cards + 1).meaning;
    for (auto _ : state) {
        meaning[0] = static_cast<char>(meaning[0] ^ 1);  // an ASCII letter
        store->change(id(), meaning);
    }
}

void Longer(benchmark::State& state, const Kind& kind, uint32_t cards)
{
    std::unique_ptr<Store> store = OpenCopy(kind, cards);
    RandomId random(cards);
    std::map<uint32_t, std::string> meanings;
    for (auto _ : state) {
        uint32_t id = random();
        std::string& meaning = meanings[id];
        if (meaning.empty()) { meaning = MakeEntry(id).meaning; }
        meaning += 'x';
        store->change(id, meaning);
    }
}

void Reopen(benchmark::State& state, const Kind& kind, uint32_t cards)
{
    std::unique_ptr<Store> store = OpenCopy(kind, cards);
    for (auto _ : state) { store->reopen(); }
}

void Sort(benchmark::State& state, const Kind& kind, uint32_t cards)
{
    std::unique_ptr<Store> store = OpenCopy(kind, cards);
    for (auto _ : state) {
        state.PauseTiming();
        store->prepareSort();
        state.ResumeTiming();
        store->sort();
    }
}

void Find(benchmark::State& state, const Kind& kind, uint32_t cards)
{
    std::unique_ptr<Store> store = OpenCopy(kind, cards);
    store->prepareSearch();
    RandomId id(cards);
    for (auto _ : state) {
        if (!store->find(MakeEntry(id()).reading.substr(0, 6))) { Fail("a reading is not found"); }
    }
}

void Scan(benchmark::State& state, const Kind& kind, uint32_t cards)
{
    std::unique_ptr<Store> store = OpenCopy(kind, cards);
    store->prepareSearch();
    RandomId id(cards);
    for (auto _ : state) {
        if (store->count(MakeEntry(id()).meaning.substr(10, 12)) == 0) { Fail("a meaning is not found"); }
    }
}

void Indexed(benchmark::State& state, const Kind& kind, uint32_t cards)
{
    std::unique_ptr<Store> store = OpenCopy(kind, cards);
    store->prepareSearch();
    uint32_t n = 7 * cards;
    for (auto _ : state) { store->add(MakeEntry(++n)); }
}

// One collection for each store: the second would find nothing dead.
void Collect(benchmark::State& state, const Kind& kind, uint32_t cards)
{
    std::unique_ptr<Store> store = OpenCopy(kind, cards);
    for (uint32_t id = 1; id <= cards; id += 2) { store->change(id, MakeEntry(id).meaning + 'x'); }
    for (auto _ : state) { store->collect(); }
}

using Work = void (*)(benchmark::State&, const Kind&, uint32_t);

double Best(const std::vector<double>& times) { return *std::min_element(times.begin(), times.end()); }

void Register(const char* name, Work work, uint32_t cards, uint32_t iterations)
{
    for (const Kind& kind : kKinds) {
        std::string full = std::string(name) + "/" + kind.name + "/" + std::to_string(cards);
        auto* measured = benchmark::RegisterBenchmark(
            full.c_str(), [work, &kind, cards](benchmark::State& state) { work(state, kind, cards); });
        measured->UseRealTime()
            ->Unit(benchmark::kMicrosecond)
            ->Repetitions(kRepetitions)
            ->ReportAggregatesOnly(true);
        measured->Iterations(iterations)->ComputeStatistics(kBest, Best);
    }
}

void RegisterAll()
{
    for (uint32_t cards : kSizes) {
        Register("read", Read, cards, 50000);
        Register("create", Create, cards, kChanges);
    }
    Register("equal", Equal, 23000, 5 * kChanges);
    Register("longer", Longer, 23000, kChanges);
    Register("reopen", Reopen, 1000, 500);
    Register("reopen", Reopen, 60000, 500);
    Register("sort", Sort, 23000, 5);
    Register("find", Find, 23000, kChanges);
    Register("scan", Scan, 23000, 5);
    Register("indexed", Indexed, 23000, kChanges);
    Register("collect", Collect, 23000, 1);
}

// The directory of the stores, and the home that the library looks for.
struct Scratch {
    Scratch()
    {
        const char* base = std::getenv("TMPDIR");
        std::string name = std::string(base != nullptr ? base : "/tmp") + "/bxd-bench-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) { Fail("no directory for the stores"); }
        gDirectory = name;
        std::filesystem::create_directory(gDirectory / "Applications");
        setenv("HOME", name.c_str(), 1);
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    ~Scratch() { std::filesystem::remove_all(gDirectory); }
};

}  // namespace

Entry MakeEntry(uint32_t n) { return {Text(n, 9), Text(n + 1, 15), Text(n + 2, 40)}; }

}  // namespace bench

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) { return 2; }
    bench::Scratch scratch;
    bench::RegisterAll();
    bench::Report report;
    benchmark::RunSpecifiedBenchmarks(&report);
    return report.print() ? 0 : 1;
}

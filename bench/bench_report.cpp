// SPDX-License-Identifier: MIT
#include "bench/bench_report.h"

#include <cstdio>

namespace bench {

namespace {

constexpr double kNoTarget = 0;
constexpr double kFlatTarget = 1.3;

// What is printed, in order, and the ratio to the peer that is to be reached.
struct Row {
    const char* work;
    uint32_t cards;
    double target;
};
const Row kRows[] = {
    {"read", 1000, kNoTarget},    {"read", 23000, 1.0},          {"read", 60000, kNoTarget},
    {"create", 1000, 1.0},        {"create", 23000, 1.0},        {"create", 60000, 1.0},
    {"equal", 23000, kNoTarget},  {"longer", 23000, kNoTarget},  {"reopen", 1000, kNoTarget},
    {"reopen", 60000, kNoTarget}, {"collect", 23000, kNoTarget}, {"sort", 23000, 10.0},
    {"find", 23000, 5.0},         {"scan", 23000, 5.0},          {"indexed", 23000, 5.0},
};

const char* Verdict(bool met) { return met ? "met" : "MISSED"; }

}  // namespace

bool Report::ReportContext(const Context& context)
{
    PrintBasicContext(&GetErrorStream(), context);
    return true;
}

void Report::ReportRuns(const std::vector<Run>& runs)
{
    for (const Run& run : runs) {
        if (run.run_type != Run::RT_Aggregate || run.aggregate_name != kBest) { continue; }
        figures_[run.run_name.function_name] = {run.GetAdjustedRealTime(), run.GetAdjustedCPUTime()};
    }
}

const Report::Figure* Report::figure(const std::string& work, const char* store, uint32_t cards) const
{
    auto found = figures_.find(work + "/" + store + "/" + std::to_string(cards));
    return found != figures_.end() ? &found->second : nullptr;
}

bool Report::printRow(const std::string& work, uint32_t cards, double target) const
{
    const Figure* box = figure(work, "box", cards);
    const Figure* peer = figure(work, "peer", cards);
    if (box == nullptr || peer == nullptr) { return true; }
    double ratio = box->wall / peer->wall;
    std::printf("%-8s %6u %10.2f %10.2f %6.2f %10.2f %10.2f %6.2f", work.c_str(), cards, box->wall,
                peer->wall, ratio, box->processor, peer->processor, box->processor / peer->processor);
    if (target == kNoTarget) {
        std::printf("        -\n");
        return true;
    }
    std::printf("   <= %.1f  %s\n", target, Verdict(ratio <= target));
    return ratio <= target;
}

bool Report::printFlat(const std::string& work) const
{
    const Figure* small = figure(work, "box", 1000);
    const Figure* large = figure(work, "box", 60000);
    if (small == nullptr || large == nullptr) { return true; }
    double ratio = large->wall / small->wall;
    std::printf("%-8s box, 60000 cards to 1000 %10.2f %28.2f   <= %.1f  %s\n", work.c_str(), ratio,
                large->processor / small->processor, kFlatTarget, Verdict(ratio <= kFlatTarget));
    return ratio <= kFlatTarget;
}

bool Report::print() const
{
    std::printf("\n%-8s %6s %28s %28s\n", "", "", "wall clock, us", "processor, us");
    std::printf("%-8s %6s %10s %10s %6s %10s %10s %6s   target\n", "work", "cards", "box", "peer", "ratio",
                "box", "peer", "ratio");
    bool met = true;
    for (const Row& row : kRows) { met = printRow(row.work, row.cards, row.target) && met; }
    std::printf("\n");
    met = printFlat("read") && met;
    met = printFlat("create") && met;
    return met;
}

}  // namespace bench

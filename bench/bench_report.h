// SPDX-License-Identifier: MIT
// Gathers the figures of a run and prints them as a table, with the ratio to the peer and the target.
//
// A figure is the best of its repetitions, in wall-clock time: what else the machine does can only make a
// time longer. The processor's time, which does not hold the waiting for it or for the disk, stands beside.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>

namespace bench {

inline constexpr char kBest[] = "best";

// A name of a measurement is "WORK/STORE/CARDS".
class Report : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;

    // Prints the table; true when every target is met.
    bool print() const;

private:
    struct Figure {
        double wall;  // microseconds
        double processor;
    };

    bool printRow(const std::string& work, uint32_t cards, double target) const;
    bool printFlat(const std::string& work) const;
    const Figure* figure(const std::string& work, const char* store, uint32_t cards) const;

    std::map<std::string, Figure> figures_;  // by "WORK/STORE/CARDS"
};

}  // namespace bench

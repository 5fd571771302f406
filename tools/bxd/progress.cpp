// SPDX-License-Identifier: MIT
#include "tools/bxd/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

namespace tool {
namespace {

constexpr std::size_t kBarWidth = 40;
constexpr auto kFirst = std::chrono::milliseconds(300);  // what is done sooner needs no bar
constexpr auto kEvery = std::chrono::milliseconds(100);

}  // namespace

Progress::Progress(uint64_t whole)
    : whole_(whole), terminal_(isatty(STDERR_FILENO) == 1), next_(std::chrono::steady_clock::now() + kFirst)
{}

Progress::~Progress()
{
    if (shown_) { (void)std::fprintf(stderr, "\r\033[K"); }
}

void Progress::Show(uint64_t done, std::size_t cards)
{
    if (!terminal_ || std::chrono::steady_clock::now() < next_) { return; }
    next_ = std::chrono::steady_clock::now() + kEvery;
    shown_ = true;
    if (whole_ == 0) {
        (void)std::fprintf(stderr, "\r%zu cards", cards);
        return;
    }
    const uint64_t part = std::min(done, whole_);
    const std::string bar(static_cast<std::size_t>(part * kBarWidth / whole_), '#');
    (void)std::fprintf(stderr, "\r[%-*s] %3u%%  %zu cards", static_cast<int>(kBarWidth), bar.c_str(),
                       static_cast<unsigned>(part * 100 / whole_), cards);
}

}  // namespace tool

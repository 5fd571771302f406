// SPDX-License-Identifier: MIT
// A bar on standard error for work that takes long; silent where that is no terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace tool {

class Progress {
public:
    // `whole` of 0 means that the end is not known; then only the count is shown.
    explicit Progress(uint64_t whole);
    ~Progress();  // wipes the bar
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Show(uint64_t done, std::size_t cards);

private:
    uint64_t whole_;
    bool terminal_;
    bool shown_ = false;
    std::chrono::steady_clock::time_point next_;
};

}  // namespace tool

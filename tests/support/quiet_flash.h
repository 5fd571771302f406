// SPDX-License-Identifier: MIT
// A mass deletion runs the flash's merging tool and waits a second for its collector. The tests take the
// place of both: no second passes, and what was to be run is kept.
//
// The two functions of the C library are given anew in the test's executable, which the library is linked
// to: include this in one file of an executable only.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace boxtest {

class QuietFlash {
public:
    QuietFlash() { current() = this; }
    QuietFlash(const QuietFlash&) = delete;
    QuietFlash& operator=(const QuietFlash&) = delete;
    ~QuietFlash() { current() = nullptr; }

    // The command lines that were run.
    const std::vector<std::string>& merged() const { return merged_; }
    // What else happens while the tool runs.
    void whenMerging(std::function<void()> work) { work_ = std::move(work); }

    static int Run(const char* command)
    {
        if (current() == nullptr) { return -1; }
        current()->merged_.emplace_back(command);
        if (current()->work_) { current()->work_(); }
        return 0;
    }

private:
    static QuietFlash*& current()
    {
        static QuietFlash* instance = nullptr;
        return instance;
    }

    std::vector<std::string> merged_;
    std::function<void()> work_;
};

}  // namespace boxtest

extern "C" {
unsigned int sleep(unsigned int /*seconds*/) { return 0; }
int system(const char* command) { return boxtest::QuietFlash::Run(command); }
}

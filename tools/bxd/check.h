// SPDX-License-Identifier: MIT
// The command check: can boxes and index files be trusted? What the library's check mends is told beside what
// it finds.
#pragma once

#include <string>
#include <vector>

namespace tool {

// Exit codes of the command, from good to bad: the worst of its files counts.
enum CheckExit { kCheckSound = 0, kCheckMended = 1, kCheckDamaged = 2, kCheckImpossible = 3 };

struct CheckOptions {
    std::vector<std::string> files;
    std::string level = "cards";  // "header", "tables" or "cards"
    bool indexes = false;         // those that a box lists, too
    bool json = false;
};
// Gives the exit code. Files that cannot be checked are told on standard error.
int RunCheck(const CheckOptions& options);

}  // namespace tool

// SPDX-License-Identifier: MIT
// What the tool throws when a command cannot be done: one sentence for the user, without the program's name.
#pragma once

#include <stdexcept>
#include <string>

namespace tool {

enum ExitCode { kExitOk = 0, kExitFailure = 1, kExitUsage = 2 };

class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The arguments make no sense for this box or file; ends with kExitUsage.
class UsageFailure : public Failure {
public:
    using Failure::Failure;
};

}  // namespace tool

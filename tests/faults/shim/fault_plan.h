// SPDX-License-Identifier: MIT
// Inside the shim: what happens to a call, and the C library's own functions.
#pragma once

#include "tests/faults/shim/fault_shim.h"

#include <dlfcn.h>

namespace fault {

// The answer to a call that is met.
enum class Verdict { kPass, kFail, kShort, kFull, kCutAfter, kTornOne, kTornHalf, kTornButOne };

bool Watching();
bool UnderRoot(const char* path);  // whether a watch is on or not
bool BelowRoot(const char* path);  // while a watch is on

// Counts a call; ends the process where the plan cuts before it. `file`, `offset` and `length` go to the log.
Verdict Meet(FaultKind kind, const char* file = "", uint32_t offset = 0, uint32_t length = 0);
// Ends the process where the plan cuts after the call.
void Leave(Verdict verdict);
[[noreturn]] void Cut();

FaultState& State();
FaultStatistic StatisticSource();

// Where a statistic is served from: a descriptor, -1 where it is absent.
constexpr uint32_t kNoStatistic = kFaultStatistics;
uint32_t StatisticOf(const char* path);
int ServeStatistic(uint32_t statistic);

uint32_t LibraryBlocks();
void ForgetBlocks();
void LimitBlocks(uint32_t largest);

// The next definition of a function behind this object.
template <typename Function>
Function* Next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace fault

// SPDX-License-Identifier: MIT
// The plan of the shim and its counts, in memory that children made by fork share.
#include "tests/faults/shim/fault_plan.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace {

const char kUnreadable[] = "unreadable";

struct Plan {
    uint32_t kind;
    uint32_t k;
    bool lasting;
    uint32_t action;
};

FaultState* gState;
Plan gPlan;
bool gWatching;
char gRoot[256];
FaultStatistic gStatistic;

bool IsChange(FaultKind kind)
{
    return kind == kFaultCreate || kind == kFaultWrite || kind == kFaultTruncate || kind == kFaultDelete ||
           kind == kFaultRename;
}

void Log(FaultKind kind, const char* file, uint32_t offset, uint32_t length)
{
    FaultState& state = fault::State();
    if (state.changes >= kFaultLogMax) { return; }
    FaultCall& call = state.log[state.changes];
    const char* slash = std::strrchr(file, '/');
    call.kind = kind;
    call.offset = offset;
    call.length = length;
    std::strncpy(call.file, slash != nullptr ? slash + 1 : file, sizeof call.file - 1);
}

// Whether the call that has just been counted is the one, or one of those, that the plan means.
bool Planned(FaultKind kind)
{
    const FaultState& state = fault::State();
    if (gPlan.k == 0 || (gPlan.kind != kind && !(gPlan.kind == kFaultChange && IsChange(kind)))) {
        return false;
    }
    uint32_t number = gPlan.kind == kFaultChange ? state.changes : state.counts[kind];
    return gPlan.lasting ? number >= gPlan.k : number == gPlan.k;
}

fault::Verdict VerdictOf(uint32_t action)
{
    switch (action) {
    case kFaultFail: return fault::Verdict::kFail;
    case kFaultShort: return fault::Verdict::kShort;
    case kFaultFull: return fault::Verdict::kFull;
    case kFaultCutBefore: fault::Cut();
    case kFaultTornOne: return fault::Verdict::kTornOne;
    case kFaultTornHalf: return fault::Verdict::kTornHalf;
    case kFaultTornButOne: return fault::Verdict::kTornButOne;
    default: return fault::Verdict::kCutAfter;
    }
}

void Watch(const char* root)
{
    FaultState& state = fault::State();
    std::memset(state.log, 0, std::min(state.changes, kFaultLogMax) * sizeof state.log[0]);
    std::memset(&state, 0, offsetof(FaultState, log));
    std::strncpy(gRoot, root, sizeof gRoot - 1);
    gPlan = Plan{};
    fault::ForgetBlocks();
    gWatching = true;
}

void SetPlan(uint32_t kind, uint32_t k, bool lasting, uint32_t action)
{
    gPlan = Plan{kind, k, lasting, action};
}

void Rest()
{
    gWatching = false;
    gPlan = Plan{};
    fault::LimitBlocks(UINT32_MAX);
}

void SetStatistics(FaultStatistic source) { gStatistic = source; }

}  // namespace

namespace fault {

FaultState& State()
{
    if (gState == nullptr) {
        void* block =
            mmap(nullptr, sizeof(FaultState), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (block == MAP_FAILED) { abort(); }
        gState = static_cast<FaultState*>(block);
    }
    return *gState;
}

bool Watching() { return gWatching; }

bool UnderRoot(const char* path)
{
    return gRoot[0] != '\0' && std::strncmp(path, gRoot, std::strlen(gRoot)) == 0;
}

bool BelowRoot(const char* path) { return gWatching && UnderRoot(path); }

Verdict Meet(FaultKind kind, const char* file, uint32_t offset, uint32_t length)
{
    FaultState& state = State();
    state.counts[kind]++;
    if (IsChange(kind)) {
        Log(kind, file, offset, length);
        state.changes++;
    }
    if (!Planned(kind)) { return Verdict::kPass; }
    state.fired++;
    return VerdictOf(gPlan.action);
}

void Leave(Verdict verdict)
{
    if (verdict == Verdict::kCutAfter) { Cut(); }
}

void Cut() { _exit(kFaultExitCode); }

FaultStatistic StatisticSource() { return gStatistic; }

}  // namespace fault

extern "C" const FaultApi* fault_api()
{
    static FaultApi api;
    api = FaultApi{&fault::State(),      kUnreadable,       Watch, SetPlan, Rest, SetStatistics,
                   fault::LibraryBlocks, fault::LimitBlocks};
    return &api;
}

// SPDX-License-Identifier: MIT
// Faults from outside: a shared object that stands between the library and the C library.
//
//     library --> fopen, fwrite, malloc, sleep ... --> fault_shim --> C library
//                                                        |
//                           counts and logs the call; fails it, shortens it, or ends the process there
//
// The object is preloaded. A test finds it with dlsym(RTLD_DEFAULT, "fault_api") and then
//
//   watch(root)             counts from 0 the calls on files below `root`, and the library's allocations
//   plan(kind, k, ...)      the k-th call of that kind (from 1), or it and all later ones, meets the fault
//   memory(largest)         the library gets no block of more bytes, whatever the plan is; rest() lifts that
//   rest()                  nothing is counted or disturbed any more
//
// What is counted stands in FaultState, which children made by fork share with their parent: a child that
// a power cut has ended leaves its counts and its log of file changes behind.
//
// sleep and system never run, watched or not: they are recorded. The three statistics of the flash file
// system are the host's own until a source is given.
#pragma once

#include <cstddef>
#include <cstdint>

enum FaultKind : uint32_t {
    kFaultOpen,    // fopen "r", "r+", and open
    kFaultCreate,  // fopen "w"
    kFaultClose,
    kFaultRead,   // of at least one byte
    kFaultWrite,  // of at least one byte
    kFaultSeek,
    kFaultTell,
    kFaultTruncate,
    kFaultDelete,
    kFaultRename,
    kFaultMakeDir,
    kFaultLock,  // fcntl that sets or clears a lock
    kFaultStat,
    kFaultSpace,      // the question for the free bytes of the flash
    kFaultCollector,  // a question for one of the two other statistics
    kFaultAlloc,      // malloc, calloc or realloc called by the library itself
    kFaultKinds,
    kFaultChange  // create, write, truncate, delete and rename, numbered together
};

enum FaultAction : uint32_t {
    kFaultFail,       // errno is set and nothing is done
    kFaultShort,      // a read or write of half the bytes
    kFaultFull,       // the answer to the question for free bytes is 0
    kFaultCutBefore,  // the process ends before the call,
    kFaultCutAfter,   // after it,
    kFaultTornOne,    // or when one byte of the write is in the file,
    kFaultTornHalf,   // half of them,
    kFaultTornButOne  // all but one
};

constexpr int kFaultExitCode = 77;  // of a process that a cut has ended
constexpr uint32_t kFaultLogMax = 4096;
constexpr uint32_t kFaultCommandMax = 16;
constexpr uint32_t kFaultStatistics = 3;  // free bytes, blocks under collection, collector's signal

// One call that changed a file.
struct FaultCall {
    uint32_t kind;
    uint32_t offset;  // of a write or a truncation
    uint32_t length;  // of a write
    char file[20];    // the end of its name
};

struct FaultState {
    uint32_t counts[kFaultKinds];
    uint32_t changes;
    uint32_t fired;  // calls that met the fault
    uint32_t questions[kFaultStatistics];
    uint32_t sleeps;  // seconds slept
    uint32_t commands;
    char command[kFaultCommandMax][512];
    FaultCall log[kFaultLogMax];  // the first `changes` of them
};

// The text of a statistic, or null where the file is absent, or FaultApi's `unreadable` where a read of it
// fails. `question` counts the questions for this statistic from 1, `sleeps` the seconds slept, since the
// watch began.
using FaultStatistic = const char* (*)(uint32_t statistic, uint32_t question, uint32_t sleeps);

struct FaultApi {
    FaultState* state;
    const char* unreadable;
    void (*watch)(const char* root);
    void (*plan)(uint32_t kind, uint32_t k, bool lasting, uint32_t action);
    void (*rest)();
    void (*statistics)(FaultStatistic source);
    // Blocks that the library has taken since the watch began and not given back.
    uint32_t (*blocks)();
    void (*memory)(uint32_t largest);
};

extern "C" const FaultApi* fault_api();

// SPDX-License-Identifier: MIT
// The commands of "bxd sync": a synchronisation of a box is started, ended, and shown.
#pragma once

#include <string>

namespace tool {

struct SyncStartOptions {
    std::string box;
};
// One that runs goes on.
void RunSyncStart(const SyncStartOptions& options);

struct SyncClearOptions {
    std::string box;
    bool force = false;  // also where live cards would go
    bool json = false;
};
void RunSyncClear(const SyncClearOptions& options);

struct SyncStatusOptions {
    std::string box;
    bool json = false;
};
void RunSyncStatus(const SyncStatusOptions& options);

}  // namespace tool

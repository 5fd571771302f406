// SPDX-License-Identifier: MIT
// The tests' way to the fault shim.
//
// The shim works by preloading, so an executable that was started without it starts itself again with it,
// before main. It is put in front of a sanitizer's run-time library, whose own interposed functions it
// calls; that library is told not to mind, and to keep little freed memory, which every fork would copy.
#pragma once

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/faults/shim/fault_shim.h"

namespace faults {

inline std::vector<char*> Arguments(std::string& text)
{
    std::ifstream file("/proc/self/cmdline", std::ios::binary);
    text.assign(std::istreambuf_iterator<char>(file), {});
    std::vector<char*> arguments;
    for (size_t at = 0; at < text.size(); at = text.find('\0', at) + 1) { arguments.push_back(&text[at]); }
    arguments.push_back(nullptr);
    return arguments;
}

// Where a function of that name is given, or null.
template <typename Function>
Function* Find(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_DEFAULT, name));
}

struct Preload {
    Preload()
    {
        if (Find<const FaultApi*()>("fault_api") != nullptr) { return; }
        const char* told = getenv("ASAN_OPTIONS");
        std::string options = told != nullptr ? std::string(told) + ":" : "";
        setenv("ASAN_OPTIONS", (options + "verify_asan_link_order=0:quarantine_size_mb=4").c_str(), 1);
        setenv("LD_PRELOAD", FAULT_SHIM_PATH, 1);
        std::string text;
        execv("/proc/self/exe", Arguments(text).data());
        abort();
    }
};
inline const Preload kPreload;

inline const FaultApi& Shim()
{
    static const FaultApi* api = Find<const FaultApi*()>("fault_api")();
    return *api;
}

inline const FaultState& Counts() { return *Shim().state; }

}  // namespace faults

// SPDX-License-Identifier: MIT
// The library's statuses in words.
#pragma once

#include <bxd/bxd.h>

#include <string>

namespace tool {

// For example "the storage is full (status 68)".
std::string StatusText(u32 status);

}  // namespace tool

// SPDX-License-Identifier: MIT
// Names of boxes and index files as a user writes them: a path of the host, or "F0:" or "F1:" and a file name
// in $HOME/Applications/bxd/.
#pragma once

#include <cstdint>
#include <string>

namespace tool {

bool OnDrive(const std::string& name);
// The host's path of a name.
std::string PathOf(const std::string& name);
// The host's path with its directory made absolute and free of links, for a file that need not exist; empty
// where its directory does not.
std::string CanonicalPath(const std::string& name);

// Throws for a name that the library would take for another file, or for none.
void CheckName(const std::string& name);
// Throws, too, where there is no file of this name that can be read.
void RequireFile(const std::string& name);
uint64_t FileBytes(const std::string& name);

// The library makes the directory of the drives, but not the one above it.
void MakeApplicationsDirectory();

}  // namespace tool

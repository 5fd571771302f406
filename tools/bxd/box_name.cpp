// SPDX-License-Identifier: MIT
#include "tools/bxd/box_name.h"

#include <bxd/types.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "tools/bxd/failure.h"

namespace tool {
namespace {

std::string Home()
{
    const char* home = std::getenv("HOME");
    return home == nullptr ? "" : home;
}

}  // namespace

bool OnDrive(const std::string& name) { return name.rfind("F0:", 0) == 0 || name.rfind("F1:", 0) == 0; }

std::string PathOf(const std::string& name)
{
    if (!OnDrive(name)) { return name; }
    return Home() + "/Applications/bxd/" + name.substr(3);
}

std::string CanonicalPath(const std::string& name)
{
    const std::string path = PathOf(name);
    const std::size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    char* real = realpath(directory.c_str(), nullptr);
    if (real == nullptr) { return ""; }
    std::string result = real;
    std::free(real);
    if (result.back() != '/') { result += '/'; }
    return result + path.substr(slash == std::string::npos ? 0 : slash + 1);
}

// The library takes everything up to a colon for a drive, so that a path with one would lead elsewhere.
void CheckName(const std::string& name)
{
    if (name.empty()) { throw UsageFailure("the name of the file is empty"); }
    if (!OnDrive(name)) {
        if (name.find(':') != std::string::npos) {
            throw UsageFailure(name + ": a path cannot have a colon, but for the drives F0: and F1:");
        }
    } else if (name.size() == 3 || name.find_first_of(":/", 3) != std::string::npos) {
        throw UsageFailure(name + ": behind the drive a file name is expected");
    } else if (Home().empty()) {
        throw Failure(name + ": the drives lie in the home directory, and HOME is not set");
    }
    if (PathOf(name).size() >= BXD_PATH_SIZE) {
        throw UsageFailure(name + ": the path has more than " + std::to_string(BXD_PATH_SIZE - 1) + " bytes");
    }
}

void MakeApplicationsDirectory()
{
    const std::string path = Home() + "/Applications";
    if (mkdir(path.c_str(), 0755) != 0 && errno != EEXIST) {
        throw Failure(path + ": the directory cannot be made: " + std::strerror(errno));
    }
}

void RequireFile(const std::string& name)
{
    CheckName(name);
    const std::string path = PathOf(name);
    struct stat info = {};
    if (stat(path.c_str(), &info) != 0) { throw Failure(name + ": " + std::strerror(errno)); }
    if (!S_ISREG(info.st_mode)) { throw Failure(name + ": it is not a file"); }
    if (access(path.c_str(), R_OK) != 0) { throw Failure(name + ": " + std::strerror(errno)); }
}

uint64_t FileBytes(const std::string& name)
{
    struct stat info = {};
    return stat(PathOf(name).c_str(), &info) == 0 ? static_cast<uint64_t>(info.st_size) : 0;
}

}  // namespace tool

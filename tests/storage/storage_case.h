// SPDX-License-Identifier: MIT
// What the tests of the storage room share: a scratch HOME, the standard error of a call, a second process,
// and the proof that a test has left nothing open behind.
#pragma once

#include <bxd/files.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "storage/bxd_file.h"
#include "storage/bxd_file_errors.h"
#include "storage/stdiohst.h"
#include "tests/support/scratch_home.h"
#include "tests/support/without_root.h"

namespace storagetest {

using boxtest::kNobody;
using boxtest::ScratchHome;
using boxtest::WithoutRoot;

// What `work` writes to the standard error stream.
inline std::string Told(const std::function<void()>& work)
{
    ::testing::internal::CaptureStderr();
    work();
    return ::testing::internal::GetCapturedStderr();
}

// What `work` gives in another process; 255 when it does not come back.
inline int InOtherProcess(const std::function<int()>& work)
{
    const pid_t child = fork();
    if (child == 0) { _exit(work()); }
    int state = 0;
    if (child < 0 || waitpid(child, &state, 0) != child || !WIFEXITED(state)) { return 255; }
    return WEXITSTATUS(state);
}

// Whether another process is refused the write lock of a file.
inline bool IsLockedForOthers(const std::string& path)
{
    const int state = InOtherProcess([&path] {
        const int file = open(path.c_str(), O_RDWR);
        if (file < 0) { return 2; }
        struct flock whole = {};
        whole.l_type = F_WRLCK;
        whole.l_whence = SEEK_SET;
        return fcntl(file, F_SETLK, &whole) == 0 ? 0 : 1;
    });
    EXPECT_LE(state, 1) << path;
    return state == 1;
}

inline size_t OpenDescriptors()
{
    size_t n = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) { ++n; }
    return n;
}

// Writes beyond `size` fail while it lives, after what fits.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t size) : former_(signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &limit_);
        const rlimit small = {size, limit_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &limit_);
        (void)signal(SIGXFSZ, former_);
    }

private:
    rlimit limit_ = {};
    sighandler_t former_;
};

inline std::string Pattern(size_t n, u32 seed = 1)
{
    std::string out(n, '\0');
    u32 x = seed * 2654435761u + 12345u;
    for (char& c : out) {
        x = x * 1664525u + 1013904223u;
        c = static_cast<char>(x >> 24);
    }
    return out;
}

class StorageCase : public ::testing::Test {
protected:
    StorageCase() : descriptors_(OpenDescriptors()) {}
    ~StorageCase() override
    {
        for (const BxdFINFO* row : gBxdFINFOTable) { EXPECT_EQ(row, nullptr) << "a file id was left open"; }
        for (const FileHandleSlot& row : fileHandleTbl) { EXPECT_EQ(row.stream, nullptr) << row.path; }
        EXPECT_EQ(gBxdGlobal, 0u) << "a bad file was left registered";
        EXPECT_EQ(OpenDescriptors(), descriptors_);
    }

    // Opens a file that must open.
    static u8 mustOpen(const char* name, u8 mode = BXD_MODE_WRITE)
    {
        const i32 fid = BxdFileOpen(name, mode);
        EXPECT_GE(fid, 0) << name;
        return static_cast<u8>(fid);
    }
    static u8 mustOpenHost(const char* name, u8 mode = 3)
    {
        const i32 h = FileOpen(name, mode);
        EXPECT_GT(h, 0) << name;
        return static_cast<u8>(h);
    }
    // Everyone may walk to the files of the scratch home.
    void openUp() const
    {
        for (const char* below : {"", "/Applications", "/Applications/bxd"}) {
            EXPECT_EQ(chmod((home.home() + below).c_str(), 0755), 0);
        }
    }
    // A path of exactly `length` characters for a file in the scratch home.
    std::string pathOfLength(size_t length) const
    {
        return home.home() + "/" + std::string(length - home.home().size() - 1, 'n');
    }

    ScratchHome home;

private:
    size_t descriptors_;
};

}  // namespace storagetest

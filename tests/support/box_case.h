// SPDX-License-Identifier: MIT
// What the tests of the box room share: a scratch HOME, files put there and taken back whole, owners of what
// the library opens, and a second process.
#pragma once

#include <bxd/bxd.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <string>

#include "box/bxd_box_handle.h"
#include "storage/bxd_file.h"
#include "tests/support/box_builder.h"
#include "tests/support/scratch_home.h"

namespace boxtest {

constexpr const char* kBox = "F0:TEST.BOX";

// What a call writes to the standard error stream.
class Captured {
public:
    Captured() { ::testing::internal::CaptureStderr(); }
    Captured(const Captured&) = delete;
    Captured& operator=(const Captured&) = delete;
    ~Captured()
    {
        if (!taken_) { (void)text(); }
    }
    std::string text()
    {
        taken_ = true;
        return ::testing::internal::GetCapturedStderr();
    }

private:
    bool taken_ = false;
};

// A file open by its id.
class Fid {
public:
    explicit Fid(const char* name, u8 mode = BXD_MODE_WRITE) : id_(BxdFileOpen(name, mode)) {}
    Fid(const Fid&) = delete;
    Fid& operator=(const Fid&) = delete;
    ~Fid()
    {
        if (id_ >= 0) { (void)BxdFileClose(id()); }
    }
    bool ok() const { return id_ >= 0; }
    u8 id() const { return static_cast<u8>(id_); }

private:
    i32 id_;
};

// An open box.
class OpenBox {
public:
    explicit OpenBox(const char* name, u32 readOnly = 0) : handle_(_BoxOpenRwMode(name, readOnly)) {}
    OpenBox(const OpenBox&) = delete;
    OpenBox& operator=(const OpenBox&) = delete;
    ~OpenBox()
    {
        if (handle_ != nullptr) { (void)_BoxClose(handle_); }
    }
    bool ok() const { return handle_ != nullptr; }
    BoxHandle handle() const { return handle_; }
    BoxRecord* record() const { return *handle_; }
    u8 fid() const { return record()->fid; }
    // Gives the handle up to the test.
    BoxHandle release()
    {
        BoxHandle given = handle_;
        handle_ = nullptr;
        return given;
    }

private:
    BoxHandle handle_;
};

// Rows of the table of open files that are taken.
inline u32 OpenFiles()
{
    u32 n = 0;
    for (const BxdFINFO* row : gBxdFINFOTable) { n += row != nullptr ? 1 : 0; }
    return n;
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

class BoxCase : public ::testing::Test {
protected:
    ~BoxCase() override { EXPECT_EQ(OpenFiles(), 0u) << "a file was left open"; }

    std::string dir() const { return home_.folder(); }
    // The host path of a name on a drive.
    std::string path(const std::string& name) const { return home_.path(name); }
    // Makes the file's content these bytes, in place: to truncate it first would cost a wait for the disk on
    // some file systems, and an open handle must keep its file.
    void put(const Bytes& bytes, const std::string& name = kBox) const
    {
        const int fd = open(path(name).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        ASSERT_GE(fd, 0);
        EXPECT_EQ(pwrite(fd, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
        EXPECT_EQ(ftruncate(fd, static_cast<off_t>(bytes.size())), 0);
        EXPECT_EQ(close(fd), 0);
    }
    Bytes get(const std::string& name = kBox) const { return home_.read(name); }
    bool exists(const std::string& name = kBox) const { return home_.exists(name); }

    ScratchHome home_;
};

// True when two files agree; tells the first place where they do not.
inline ::testing::AssertionResult SameBytes(const Bytes& want, const Bytes& got)
{
    if (want == got) { return ::testing::AssertionSuccess(); }
    size_t at = 0;
    while (at < want.size() && at < got.size() && want[at] == got[at]) { at++; }
    auto failure = ::testing::AssertionFailure();
    failure << "sizes " << want.size() << " and " << got.size() << ", first difference at " << at;
    if (at < want.size() && at < got.size()) {
        failure << ": " << unsigned{want[at]} << " wanted, " << unsigned{got[at]} << " found";
    }
    return failure;
}

// True when a box file has no fault.
inline ::testing::AssertionResult IsSound(const Bytes& file, const CheckRules& rules = {})
{
    const std::string fault = FirstFault(file, rules);
    if (fault.empty()) { return ::testing::AssertionSuccess(); }
    return ::testing::AssertionFailure() << fault;
}

inline CardDescriptor Key(u32 id, const char* tag)
{
    CardDescriptor key{};
    key.cardId = static_cast<u16>(id);
    std::memcpy(key.itemNameId, tag, 4);
    return key;
}

inline const u8* Tag(const char* tag) { return reinterpret_cast<const u8*>(tag); }

}  // namespace boxtest

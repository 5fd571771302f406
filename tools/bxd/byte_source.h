// SPDX-License-Identifier: MIT
// The bytes of a file as the map reads them: in any order, a few at a time, and never changed.
#pragma once

#include <bxd/types.h>

#include <array>
#include <cstddef>
#include <string>

namespace tool {

class ByteSource {
public:
    ByteSource() = default;
    virtual ~ByteSource() = default;
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;

    virtual uint64_t Size() const = 0;
    // Copies `count` bytes from `at` on, or as many as there are, and gives how many these were.
    virtual std::size_t Read(uint64_t at, u8* to, std::size_t count) = 0;
};

// A file, whose size is that of the moment of its opening. What another process takes away meanwhile is
// simply not there.
class FileSource : public ByteSource {
public:
    // `name` as the user wrote it, for the Failure of a file that cannot be opened; `path` for the host.
    FileSource(const std::string& name, const std::string& path);
    ~FileSource() override;
    FileSource(const FileSource&) = delete;
    FileSource& operator=(const FileSource&) = delete;

    uint64_t Size() const override { return size_; }
    std::size_t Read(uint64_t at, u8* to, std::size_t count) override;

private:
    int file_ = -1;
    uint64_t size_ = 0;
    std::array<u8, 65536> window_{};  // what was read last
    uint64_t windowAt_ = 0;
    std::size_t windowBytes_ = 0;
};

}  // namespace tool

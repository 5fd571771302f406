// SPDX-License-Identifier: MIT
// A lock on a box against all other processes that write boxes, for commands that change it by its name,
// which the library does without asking who else has it open.
#pragma once

#include <string>

namespace tool {

class FileLock {
public:
    // Throws where another process holds the box, or the file may not be written.
    explicit FileLock(const std::string& name);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

private:
    int file_;
};

}  // namespace tool

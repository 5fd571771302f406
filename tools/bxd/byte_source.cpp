// SPDX-License-Identifier: MIT
#include "tools/bxd/byte_source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tools/bxd/failure.h"

namespace tool {

FileSource::FileSource(const std::string& name, const std::string& path)
    : file_(open(path.c_str(), O_RDONLY | O_CLOEXEC))
{
    struct stat info = {};
    if (file_ < 0 || fstat(file_, &info) != 0) {
        const std::string reason = std::strerror(errno);
        if (file_ >= 0) { close(file_); }
        throw Failure(name + ": " + reason);
    }
    size_ = static_cast<uint64_t>(info.st_size);
}

FileSource::~FileSource() { close(file_); }

std::size_t FileSource::Read(uint64_t at, u8* to, std::size_t count)
{
    std::size_t done = 0;
    while (done < count && at + done < size_) {
        const uint64_t from = at + done;
        if (from < windowAt_ || from >= windowAt_ + windowBytes_) {
            const ssize_t got = pread(file_, window_.data(), window_.size(), static_cast<off_t>(from));
            if (got < 0 && errno == EINTR) { continue; }
            windowAt_ = from;
            windowBytes_ = got < 0 ? 0 : static_cast<std::size_t>(got);
            if (windowBytes_ == 0) { break; }
        }
        const auto skip = static_cast<std::size_t>(from - windowAt_);
        const std::size_t part = std::min(count - done, windowBytes_ - skip);
        std::copy_n(window_.begin() + static_cast<std::ptrdiff_t>(skip), part, to + done);
        done += part;
    }
    return done;
}

}  // namespace tool

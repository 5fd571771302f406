// SPDX-License-Identifier: MIT
#include "tools/bxd/file_lock.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tools/bxd/box_name.h"
#include "tools/bxd/failure.h"

namespace tool {

FileLock::FileLock(const std::string& name) : file_(open(PathOf(name).c_str(), O_RDWR | O_CLOEXEC))
{
    if (file_ < 0) { throw Failure(name + ": " + std::strerror(errno)); }
    // It belongs to this open of the file and not to the process, so that it stays when the library opens and
    // closes the file meanwhile.
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (fcntl(file_, F_OFD_SETLK, &lock) != 0) {
        const int reason = errno;
        close(file_);
        const bool held = reason == EAGAIN || reason == EACCES;
        throw Failure(name + ": " + (held ? "another process holds it open" : std::strerror(reason)));
    }
}

FileLock::~FileLock() { close(file_); }

}  // namespace tool

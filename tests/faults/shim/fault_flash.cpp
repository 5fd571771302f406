// SPDX-License-Identifier: MIT
// The statistics of the flash file system, served from memory, and the two calls that must not run.
#include "tests/faults/shim/fault_plan.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

const char* const kPaths[kFaultStatistics] = {
    "/proc/fs/jffs2/1f:03/reliable_free_size",
    "/proc/fs/jffs2/1f:03/gcing_blocks",
    "/proc/fs/jffs2/1f:03/effective_gc_count",
};

int ServeText(const char* text)
{
    int fd = memfd_create("statistic", MFD_CLOEXEC);
    if (fd < 0) { return -1; }
    size_t length = std::strlen(text);
    if (write(fd, text, length) != static_cast<ssize_t>(length) || lseek(fd, 0, SEEK_SET) != 0) { return -1; }
    return fd;
}

int Absent()
{
    errno = ENOENT;
    return -1;
}

}  // namespace

namespace fault {

// A statistic is the shim's while a source is given or a watch is on; otherwise it is the host's.
uint32_t StatisticOf(const char* path)
{
    if (StatisticSource() == nullptr && !Watching()) { return kNoStatistic; }
    uint32_t number = 0;
    while (number < kFaultStatistics && std::strcmp(path, kPaths[number]) != 0) { number++; }
    return number;
}

int ServeStatistic(uint32_t statistic)
{
    FaultState& state = State();
    uint32_t question = ++state.questions[statistic];
    if (Watching() && Meet(statistic == 0 ? kFaultSpace : kFaultCollector) == Verdict::kFull) {
        return ServeText("0");
    }
    FaultStatistic source = StatisticSource();
    const char* text = source != nullptr ? source(statistic, question, state.sleeps) : nullptr;
    if (text == nullptr) { return Absent(); }
    // A read of a directory fails.
    return text == fault_api()->unreadable ? open("/", O_RDONLY | O_DIRECTORY) : ServeText(text);
}

}  // namespace fault

extern "C" {

unsigned sleep(unsigned seconds)
{
    fault::State().sleeps += seconds;
    return 0;
}

// As on a host without the command.
int system(const char* command)
{
    FaultState& state = fault::State();
    if (command != nullptr && state.commands < kFaultCommandMax) {
        std::strncpy(state.command[state.commands++], command, sizeof state.command[0] - 1);
    }
    return 127 << 8;
}
}

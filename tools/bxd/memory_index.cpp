// SPDX-License-Identifier: MIT
// The file as the library fills it with cards:
//
//   0        24                    27 + n
//   +--------+---------------------+---------------------+----+
//   | header | 01, n, name of box  | 02, 0: no order     | 00 |
//   +--------+---------------------+---------------------+----+
//
// A search takes an index without a sort condition for one that holds a single card, so there is an empty
// one.
#include "tools/bxd/memory_index.h"

#include <bxd/bxd.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tools/bxd/box_name.h"
#include "tools/bxd/failure.h"
#include "tools/bxd/file_map.h"
#include "tools/bxd/index_file.h"

namespace tool {
namespace {

constexpr std::size_t kHeaderSize = sizeof index_file_header;

std::string Record(u8 tag, const std::string& bytes)
{
    u8 head[kIndexRecordHead] = {tag};
    PUT_2BYTES(head + 1, static_cast<u16>(bytes.size()));
    return std::string(reinterpret_cast<const char*>(head), sizeof head) + bytes;
}

std::string FileOf(const std::string& boxName)
{
    u8 header[kHeaderSize];
    std::memcpy(header, index_file_header, sizeof header);
    PUT_4BYTES(header + kIndexInfoPosAt, static_cast<u32>(kHeaderSize));
    return std::string(reinterpret_cast<const char*>(header), sizeof header) +
           Record(kBoxNameRecord, boxName) + Record(kSortRecord, "") + '\0';
}

// The dot keeps the library from taking both for files of one directory, whatever that is called.
std::string UnmistakableName(const std::string& box)
{
    std::string name = "/." + CanonicalPath(box);
    CheckName(name);
    return name;
}

}  // namespace

MemoryIndex::MemoryIndex(const std::string& box)
    : boxName_(UnmistakableName(box)), file_(memfd_create("bxd-find", MFD_CLOEXEC))
{
    name_ = "/proc/self/fd/" + std::to_string(file_);
    const std::string bytes = FileOf(boxName_);
    if (file_ >= 0 && write(file_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size())) {
        return;
    }
    const std::string reason = std::strerror(errno);
    if (file_ >= 0) { close(file_); }
    throw Failure(box + ": an index in memory cannot be made: " + reason);
}

MemoryIndex::~MemoryIndex() { close(file_); }

}  // namespace tool

// SPDX-License-Identifier: MIT
// The commands of "bxd index": making, listing, showing and removing the index files of a box.
#pragma once

#include <bxd/types.h>

#include <optional>
#include <string>

namespace tool {

struct IndexCreateOptions {
    std::string index;
    std::string box;
    std::optional<u16> type;  // 0 to 255; no record of the type otherwise
    std::string mode = "all";
    std::string kind;  // "idx" or "tdx"; told by the file's name otherwise
};
void RunIndexCreate(const IndexCreateOptions& options);

struct IndexListOptions {
    std::string box;
    bool json = false;
};
void RunIndexList(const IndexListOptions& options);

struct IndexInfoOptions {
    std::string index;
    bool json = false;
};
void RunIndexInfo(const IndexInfoOptions& options);

struct IndexRemoveOptions {
    std::string index;
};
void RunIndexRemove(const IndexRemoveOptions& options);

// The name by which the tool finds the box of an index. Throws for what is no index or names no box.
std::string RequireBoxOf(const std::string& index);
// The same. Throws for an index of another box, too.
std::string RequireIndexOf(const std::string& index, const std::string& box);

}  // namespace tool

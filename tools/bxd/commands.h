// SPDX-License-Identifier: MIT
// What each command does, apart from the reading of the command line. All of them throw Failure.
#pragma once

#include <bxd/bxd.h>

#include <optional>
#include <string>
#include <vector>

namespace tool {

struct CreateOptions {
    std::string box;
    std::string application = "BXD";
    std::vector<std::string> items;  // TAG:TYPE or TAG:TYPE:NAME
};
void RunCreate(const CreateOptions& options);

struct ItemsOptions {
    std::string box;
    std::vector<std::string> items;  // to add; none to list those that are there
    bool json = false;
};
void RunItems(const ItemsOptions& options);

struct ListOptions {
    std::string box;
    std::string index;  // whose cards are listed in its order; by id otherwise
    u16 from = 1;       // an id, or a place in the order of the index
    u16 limit = CARD_ID_NORMAL_MAX;
    bool all = false;                  // the built-in items too
    std::optional<std::size_t> width;  // of a line; 0 for no bound, nothing for the terminal's
    bool json = false;
};
void RunList(const ListOptions& options);

struct ShowOptions {
    std::string box;
    u16 id = 0;
    bool json = false;
};
void RunShow(const ShowOptions& options);

struct SetOptions {
    std::string box;
    u16 id = 0;
    std::string item;
    std::string value;
};
void RunSet(const SetOptions& options);

struct RemoveOptions {
    std::string box;
    std::vector<u16> ids;
};
// All of the cards must be there; otherwise none is deleted.
void RunRemove(const RemoveOptions& options);

struct InfoOptions {
    std::string box;
    bool json = false;
};
void RunInfo(const InfoOptions& options);

}  // namespace tool

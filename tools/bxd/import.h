// SPDX-License-Identifier: MIT
// The command that fills a box from a text file.
#pragma once

#include <string>
#include <vector>

namespace tool {

struct ImportOptions {
    std::string box;
    std::string file;               // "-" is standard input
    std::string format;             // csv, tsv, edict; empty to tell it by the file's name
    std::string encoding;           // empty for the format's own
    std::vector<std::string> maps;  // COLUMN=TAG, or COLUMN=- to leave the column out
    bool common = false;
    bool skipBad = false;
    bool json = false;
};

void RunImport(const ImportOptions& options);

}  // namespace tool

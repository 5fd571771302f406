// SPDX-License-Identifier: MIT
// Runs a target over the files of a directory, without a search machine: fuzz_replay_TARGET DIRECTORY.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/fuzz_case.h"

int main(int argc, char** argv)
{
    std::error_code none;
    std::vector<std::filesystem::path> files;
    if (argc == 2) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[1], none)) {
            if (entry.is_regular_file()) { files.push_back(entry.path()); }
        }
    }
    if (files.empty()) {
        (void)std::fprintf(stderr, "fuzz_replay: a directory with files is needed\n");
        return 1;
    }
    std::sort(files.begin(), files.end());
    for (const std::filesystem::path& path : files) {
        std::ifstream in(path, std::ios::binary);
        const std::vector<char> text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
        const std::vector<std::uint8_t> bytes(text.begin(), text.end());
        (void)std::printf("%s, %zu bytes\n", path.filename().c_str(), bytes.size());
        (void)std::fflush(stdout);
        // Memory of just this size, whose end a sanitizer guards.
        (void)LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    (void)std::printf("%zu files\n", files.size());
    return 0;
}

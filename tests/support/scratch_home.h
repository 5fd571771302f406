// SPDX-License-Identifier: MIT A HOME of its own for a test: an empty directory with Applications/bxd below
// it. It goes with its owner, and the former HOME comes back. Names are those of the library ("F0:A.BOX")
// or paths below the directory.
#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

namespace boxtest {

class ScratchHome {
public:
    ScratchHome()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "bxd-home-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) { abort(); }
        home_ = pattern;
        std::filesystem::create_directories(folder());
        const char* former = getenv("HOME");
        hadFormer_ = former != nullptr;
        if (hadFormer_) { former_ = former; }
        setenv("HOME", home_.c_str(), 1);
    }
    ScratchHome(const ScratchHome&) = delete;
    ScratchHome& operator=(const ScratchHome&) = delete;
    ~ScratchHome()
    {
        if (hadFormer_) {
            setenv("HOME", former_.c_str(), 1);
        } else {
            unsetenv("HOME");
        }
        std::error_code ignored;
        std::filesystem::remove_all(home_, ignored);
    }

    const std::string& home() const { return home_; }
    // Where the names on a drive lie, without a closing slash.
    std::string folder() const { return home_ + "/Applications/bxd"; }
    // The host path of a name: below folder() behind a drive name, as it is when absolute, else below home().
    std::string path(const std::string& name) const
    {
        const size_t colon = name.find(':');
        if (colon != std::string::npos) { return folder() + "/" + name.substr(colon + 1); }
        return name.starts_with('/') ? name : home_ + "/" + name;
    }

    void write(const std::string& name, const std::string& text) const
    {
        std::ofstream out(path(name), std::ios::binary | std::ios::trunc);
        out.write(text.data(), static_cast<std::streamsize>(text.size()));
    }
    void write(const std::string& name, const std::vector<std::uint8_t>& bytes) const
    {
        write(name, std::string(bytes.begin(), bytes.end()));
    }
    std::string readText(const std::string& name) const
    {
        std::ifstream in(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
    std::vector<std::uint8_t> read(const std::string& name) const
    {
        const std::string text = readText(name);
        return {text.begin(), text.end()};
    }
    bool exists(const std::string& name) const { return access(path(name).c_str(), F_OK) == 0; }

private:
    std::string home_;
    std::string former_;
    bool hadFormer_ = false;
};

}  // namespace boxtest

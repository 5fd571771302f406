// SPDX-License-Identifier: MIT
// A text file read line by line and handed out as UTF-8.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "tools/bxd/text.h"

namespace tool {

class LineSource {
public:
    // "-" is standard input.
    LineSource(const std::string& path, const std::string& encoding);

    const std::string& Path() const { return path_; }
    std::size_t LineNumber() const { return number_; }  // of the line handed out last, from 1
    uint64_t BytesRead() const { return bytesRead_; }
    uint64_t FileSize() const { return fileSize_; }  // 0 where it is not known

    // The next line with its terminator, of which the last line may have none. False at the end. A line
    // that does not convert is a BadRecord; the next call goes on behind it.
    bool Next(std::string* line);

private:
    bool ReadRaw(std::string* line);

    struct Closer {
        void operator()(std::FILE* file) const;
    };
    std::string path_;
    std::string encoding_;
    Converter converter_;
    std::unique_ptr<std::FILE, Closer> file_;
    std::size_t number_ = 0;
    uint64_t bytesRead_ = 0;
    uint64_t fileSize_ = 0;
};

}  // namespace tool

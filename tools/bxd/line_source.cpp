// SPDX-License-Identifier: MIT
#include "tools/bxd/line_source.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "tools/bxd/failure.h"
#include "tools/bxd/readers.h"

namespace tool {
namespace {

// A longer line is no text; the bound keeps a wrong file from filling the memory.
constexpr std::size_t kLongestLine = 64u << 20;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

}  // namespace

void LineSource::Closer::operator()(std::FILE* file) const
{
    if (file != stdin) { (void)std::fclose(file); }
}

LineSource::LineSource(const std::string& path, const std::string& encoding)
    : path_(path == "-" ? "standard input" : path), encoding_(encoding), converter_(encoding, "UTF-8"),
      file_(path == "-" ? stdin : std::fopen(path.c_str(), "rbe"))
{
    if (file_ == nullptr) { throw Failure(path_ + ": " + std::strerror(errno)); }
    struct stat info = {};
    if (fstat(fileno(file_.get()), &info) != 0) { return; }
    if (S_ISDIR(info.st_mode)) { throw Failure(path_ + ": " + std::strerror(EISDIR)); }
    if (S_ISREG(info.st_mode)) { fileSize_ = static_cast<uint64_t>(info.st_size); }
}

bool LineSource::ReadRaw(std::string* line)
{
    line->clear();
    for (int c = getc_unlocked(file_.get()); c != EOF; c = getc_unlocked(file_.get())) {
        *line += static_cast<char>(c);
        if (c == '\n') { break; }
        if (line->size() == kLongestLine) { throw Failure(path_ + ": it is not a text of lines"); }
    }
    if (std::ferror(file_.get()) != 0) { throw Failure(path_ + ": it cannot be read to its end"); }
    bytesRead_ += line->size();
    return !line->empty();
}

bool LineSource::Next(std::string* line)
{
    std::string raw;
    if (!ReadRaw(&raw)) { return false; }
    number_++;
    std::optional<std::string> text = converter_.Convert(raw);
    if (!text) { throw BadRecord(number_, "the line is not valid " + encoding_); }
    *line = std::move(*text);
    if (number_ == 1 && line->rfind(kByteOrderMark, 0) == 0) { line->erase(0, kByteOrderMark.size()); }
    return !line->empty() || Next(line);
}

}  // namespace tool

// SPDX-License-Identifier: MIT
#include "tools/bxd/index_file.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "tools/bxd/box_name.h"
#include "tools/bxd/failure.h"
#include "tools/bxd/text.h"
#include "tools/bxd/values.h"

namespace tool {
namespace {

std::string BytesOf(ByteSource* source, uint64_t at, std::size_t count)
{
    std::string bytes(count, '\0');
    bytes.resize(source->Read(at, reinterpret_cast<u8*>(bytes.data()), count));
    return bytes;
}

bool IsPlainText(const std::string& bytes)
{
    const auto control = [](char c) { return static_cast<u8>(c) < 0x20 || c == 0x7F; };
    return !bytes.empty() && IsUtf8(bytes) && std::none_of(bytes.begin(), bytes.end(), control);
}

}  // namespace

IndexFile::IndexFile(const std::string& name)
{
    RequireFile(name);
    FileSource source(name, PathOf(name));
    map_ = MapBytes(&source);
    if (!IsIndex(map_.kind)) { throw Failure(name + ": it is not an index file"); }
    for (const Extent& extent : map_.extents) {
        if (extent.part != Part::kRecord || extent.size < kIndexRecordHead) { continue; }
        records_.push_back({static_cast<u8>(extent.number),
                            BytesOf(&source, extent.at + kIndexRecordHead, extent.size - kIndexRecordHead)});
    }
}

std::optional<std::string> IndexFile::Find(u8 tag) const
{
    for (const InfoRecord& record : records_) {
        if (record.tag == tag) { return record.bytes; }
    }
    return std::nullopt;
}

u8 IndexFile::ByteOf(u8 tag) const
{
    const std::optional<std::string> bytes = Find(tag);
    return bytes && bytes->size() == 1 ? static_cast<u8>(bytes->front()) : u8{0};
}

const char* KindWord(bool isMaster) { return isMaster ? "idx" : "tdx"; }

const char* ModeWord(u8 mode)
{
    if (mode == static_cast<u8>(UpdateMode::kFilter)) { return "filter"; }
    return mode == static_cast<u8>(UpdateMode::kHand) ? "hand" : "all";
}

std::optional<UpdateMode> ModeByWord(std::string_view word)
{
    for (const UpdateMode mode : {UpdateMode::kAll, UpdateMode::kFilter, UpdateMode::kHand}) {
        if (word == ModeWord(static_cast<u8>(mode))) { return mode; }
    }
    return std::nullopt;
}

std::string TypeWord(u8 type)
{
    std::array<char, 8> text{};
    (void)std::snprintf(text.data(), text.size(), "0x%02X", type);
    return text.data();
}

std::string TextOfRecord(const InfoRecord& record)
{
    if (record.bytes.size() == 1) {
        const u8 byte = static_cast<u8>(record.bytes.front());
        if (record.tag == kTypeRecord) { return TypeWord(byte); }
        if (record.tag == kModeRecord) { return ModeWord(byte); }
        if (record.tag == kSortVersionRecord) { return std::to_string(byte); }
    }
    return IsPlainText(record.bytes) ? record.bytes : TextOfBytes(kFlags, record.bytes);
}

}  // namespace tool

// SPDX-License-Identifier: MIT
// The one table of texts for statuses. It says what a status means to someone who works with boxes.
#include "tools/bxd/status_text.h"

#include <array>

namespace tool {
namespace {

struct Text {
    u32 status;
    const char* words;
};

constexpr std::array<Text, 13> kTexts = {{
    {BXD_OK, "done"},
    {BXD_ERR_RANGE, "a value is too long or out of range"},
    {BXD_ERR_NOFILE, "it cannot be opened, or is not a box"},
    {BXD_ERR_ACCESS, "it is in use, or may not be written"},
    {BXD_ERR_NOTFOUND, "there is no such item or card"},
    {BXD_ERR_EXIST, "it exists already"},
    {BXD_ERR_NOSPACE, "the storage is full"},
    {BXD_ERR_CONDITION, "a sort or search condition is malformed or empty"},
    {BXD_ERR_FAIL, "a read or write failed, or the file is damaged"},
    {BXD_ERR_DUPLICATE, "it is there already"},
    {BXD_ERR_ITEMNAME, "a tag has a character other than 0-9, A-Z, a-z"},
    {BXD_ERR_EMPTY, "there is nothing in it"},
    {BXD_ERR_OTHER, "it is refused, perhaps because another process holds it"},
}};

}  // namespace

std::string StatusText(u32 status)
{
    const u32 low = status & 0xFFFF;
    const char* words = "unexpected answer of the library";
    for (const Text& text : kTexts) {
        if (text.status == low) { words = text.words; }
    }
    return std::string(words) + " (status " + std::to_string(low) + ")";
}

}  // namespace tool

// SPDX-License-Identifier: MIT
// What the file check of the library finds, in words for people. Its own messages are Japanese.
#pragma once

#include <string>
#include <string_view>

namespace tool {

// The message as a reader wants it: without the places of its arguments, and without its line's end.
std::string PlainMessage(std::string_view message);

// An English sentence for a message of the check; empty for one that is none of its own.
std::string Explanation(std::string_view message);

}  // namespace tool

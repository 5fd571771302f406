// SPDX-License-Identifier: MIT
#include "tools/bxd/output.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace tool {

void Print(const std::string& text) { (void)std::fwrite(text.data(), 1, text.size(), stdout); }

std::string Dump(const Json& json, int indent)
{
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

void PrintJson(const Json& json) { Print(Dump(json, 2) + "\n"); }

std::size_t TerminalWidth()
{
    winsize size = {};
    if (isatty(STDOUT_FILENO) != 1 || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) { return 0; }
    return size.ws_col;
}

bool TerminalColours()
{
    const char* refused = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    if (refused != nullptr && *refused != '\0') { return false; }
    return isatty(STDOUT_FILENO) == 1 && terminal != nullptr && std::string(terminal) != "dumb";
}

}  // namespace tool

// SPDX-License-Identifier: MIT
#include "match/bxd_sort_code.h"

#include <cstring>

namespace {

constexpr char kJapanese[] = "ja";
constexpr char kLanguageOfNoName[] = "en";
constexpr u32 kLanguageNameMax = 4;

constexpr char SmallLetter(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool IsJapanese(const char* name)
{
    return SmallLetter(name[0]) == kJapanese[0] && SmallLetter(name[1]) == kJapanese[1] && name[2] == '\0';
}

}  // namespace

extern "C" {

char gLang[BXD_LANGUAGE_SIZE] = {};

void BxdSetLanguage(const char* name)
{
    char kept[BXD_LANGUAGE_SIZE] = {};
    for (u32 i = 0; i < kLanguageNameMax && name[i] != '\0'; ++i) { kept[i] = name[i]; }
    std::memcpy(gLang, kept, sizeof gLang);
}

void BxdGetLanguage(char* out)
{
    if (gLang[0] == '\0') {
        std::memcpy(out, kLanguageOfNoName, sizeof kLanguageOfNoName);
    } else {
        std::memcpy(out, gLang, kLanguageNameMax + 1);
    }
}

int BxdIsLanguageMatch(const char* name) { return IsJapanese(name) == IsJapanese(gLang) ? 1 : 0; }
}

// SPDX-License-Identifier: MIT
// From the characters of a text to the codes that it is ordered and matched by.
#pragma once

#include <bxd/language.h>

extern "C" {

extern char gLang[BXD_LANGUAGE_SIZE];  // the name as it was set; empty at the start
}

// SPDX-License-Identifier: MIT
// Messages of the library and the log of an application. The procedures stand in <bxd/files.h>.
//
//   BxdDebug            -->  standard error, always
//   BxdLog, BxdLogBin   -->  logFile, while BxdOpenLog has one open
#pragma once

#include <bxd/files.h>

extern "C" {

extern FILE* logFile;  // null when no log is open
}

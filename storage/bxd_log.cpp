// SPDX-License-Identifier: MIT
#include "storage/bxd_log.h"

#include <cstdarg>

extern "C" {

FILE* logFile = nullptr;

void BxdDebug(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    (void)vfprintf(stderr, format, args);
    va_end(args);
}

FILE* BxdOpenLog(const char* path)
{
    BxdCloseLog();
    logFile = fopen(path, "w+");
    // What was logged before a crash is what the log is for.
    if (logFile != nullptr) { (void)setvbuf(logFile, nullptr, _IONBF, 0); }
    return logFile;
}

void BxdCloseLog(void)
{
    if (logFile == nullptr) { return; }
    (void)fclose(logFile);
    logFile = nullptr;
}

void BxdLog(const char* format, ...)
{
    if (logFile == nullptr) { return; }
    va_list args;
    va_start(args, format);
    (void)vfprintf(logFile, format, args);
    va_end(args);
}

void BxdLogBin(const void* buf, u32 n)
{
    if (logFile == nullptr) { return; }
    (void)fwrite(buf, 1, n, logFile);
}
}

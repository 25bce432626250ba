#pragma once

// The diagnostic log of all components: lines to the debugger and, once a file is opened, to that file, which
// several processes may share. Failures of the log never reach the caller. Levels: 0 traces, 1 the entry and
// exit of cipher routines and failed opens, 2 errors of registry and cipher calls; only lines at or below the
// level set (0 at the start) are printed.

#include "platform/win32.h"

// Prints "<thread id>: <time>:: <text>" and one line end in place of those of the text. The number of
// characters of the text, 0 for a level that is not printed, -1 for a text that cannot be formatted or has
// 4096 characters or more. The last error is preserved.
[[gnu::format(printf, 2, 3)]] int LogPrint(int level, const char* format, ...);
// The wide twin, which does not preserve the last error. In the format, %s takes wide text and %S or %hs
// bytes.
int LogPrintW(int level, const WCHAR* format, ...);
// Prints bytes in hexadecimal, 16 in a line; no line ends are added.
int LogDump(int level, const BYTE* data, long long size);

// Opens the log file, under a mutex named after it. 0, 17 if the file cannot be opened, -1 if the mutex
// cannot be made, as for a path without a backslash.
int LogOpen(const char* path);
void LogSetLevel(DWORD level);
// The limit of the file in kilobytes of decimal text, 0 for none; the limit in bytes. The file may pass it
// by one line, and each process that finds it full adds one marker and writes no more.
DWORD LogSetMaxSize(const char* kilobytes);
void LogPrefixOn();
void LogPrefixOff();
// Appends "<process id>: <line>" to the file, if one is open.
void LogWriteLine(const char* line);

// Reports an event to the system's event log under `source`, with the remote address of the environment if
// asked for and the text of a nonzero `errorCode`, which is also the last error afterwards.
[[gnu::format(printf, 6, 7)]] void ReportServerEvent(const char* source, DWORD eventId, WORD eventType,
                                                     int withRemoteAddress, DWORD errorCode,
                                                     const char* format, ...);
void ReportServerEventW(const WCHAR* source, DWORD eventId, WORD eventType, int withRemoteAddress,
                        DWORD errorCode, const WCHAR* format, ...);

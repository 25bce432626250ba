#pragma once

// The process and the system: last error, memory, modules, error text, events, mutexes, code pages, and
// the C runtime's own names. Each function keeps the contract of Windows' documentation; comments tell
// only what is particular to an embedded computer.

#include <cstdarg>
#include <cstdio>

#include "platform/embedded/win32/types.h"

DWORD WINAPI GetLastError();
void WINAPI SetLastError(DWORD code);

#define LMEM_FIXED 0x0000u
#define LMEM_ZEROINIT 0x0040u
#define LPTR (LMEM_FIXED | LMEM_ZEROINIT)
HLOCAL WINAPI LocalAlloc(UINT flags, SIZE_T bytes);
HLOCAL WINAPI LocalFree(HLOCAL memory);
SIZE_T WINAPI LocalSize(HLOCAL memory);

#define PROCESSOR_ARCHITECTURE_INTEL 0
#define PROCESSOR_ARCHITECTURE_AMD64 9
#define PROCESSOR_ARCHITECTURE_ARM64 12
struct SYSTEM_INFO {
  union {
    DWORD dwOemId;
    struct {
      WORD wProcessorArchitecture;
      WORD wReserved;
    };
  };
  DWORD dwPageSize;
  LPVOID lpMinimumApplicationAddress;
  LPVOID lpMaximumApplicationAddress;
  DWORD_PTR dwActiveProcessorMask;
  DWORD dwNumberOfProcessors;
  DWORD dwProcessorType;
  DWORD dwAllocationGranularity;
  WORD wProcessorLevel;
  WORD wProcessorRevision;
};
using LPSYSTEM_INFO = SYSTEM_INFO*;
// An embedded computer is an AMD64 one, whatever it runs on.
void WINAPI GetSystemInfo(LPSYSTEM_INFO info);

DWORD WINAPI GetCurrentThreadId();
DWORD WINAPI GetCurrentProcessId();
HANDLE WINAPI GetCurrentProcess();
void WINAPI Sleep(DWORD milliseconds);
void WINAPI GetLocalTime(LPSYSTEMTIME time);
void WINAPI GetSystemTime(LPSYSTEMTIME time);
BOOL WINAPI FileTimeToSystemTime(const FILETIME* file, LPSYSTEMTIME system);
BOOL WINAPI SystemTimeToFileTime(const SYSTEMTIME* system, LPFILETIME file);

// A day as this computer writes it, "1/31/2026", for DATE_SHORTDATE alone.
#define LOCALE_SYSTEM_DEFAULT 0x0800u
#define DATE_SHORTDATE 0x1u
int WINAPI GetDateFormatA(DWORD locale, DWORD flags, const SYSTEMTIME* date, LPCSTR format, LPSTR text,
                          int size);

DWORD WINAPI GetEnvironmentVariableA(LPCSTR name, LPSTR buffer, DWORD size);
BOOL WINAPI SetEnvironmentVariableA(LPCSTR name, LPCSTR value);
DWORD WINAPI ExpandEnvironmentStringsA(LPCSTR source, LPSTR destination, DWORD size);

#define MAX_COMPUTERNAME_LENGTH 15
#define UNLEN 256
// The variable COMPUTERNAME if it is set, else this machine's host name up to its first dot; upper case,
// at most 15 bytes.
BOOL WINAPI GetComputerNameA(LPSTR buffer, LPDWORD size);

BOOL WINAPI CloseHandle(HANDLE object);

HMODULE WINAPI LoadLibraryA(LPCSTR name);
HMODULE WINAPI LoadLibraryExA(LPCSTR name, HANDLE file, DWORD flags);
FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name);
BOOL WINAPI FreeLibrary(HMODULE module);
#define LOAD_LIBRARY_AS_DATAFILE 0x00000002u

#define FORMAT_MESSAGE_ALLOCATE_BUFFER 0x00000100u
#define FORMAT_MESSAGE_IGNORE_INSERTS 0x00000200u
#define FORMAT_MESSAGE_FROM_STRING 0x00000400u
#define FORMAT_MESSAGE_FROM_HMODULE 0x00000800u
#define FORMAT_MESSAGE_FROM_SYSTEM 0x00001000u
#define FORMAT_MESSAGE_ARGUMENT_ARRAY 0x00002000u
#define FORMAT_MESSAGE_MAX_WIDTH_MASK 0x000000FFu
#define LANG_NEUTRAL 0x00
#define LANG_ENGLISH 0x09
#define SUBLANG_NEUTRAL 0x00
#define SUBLANG_DEFAULT 0x01
#define MAKELANGID(primary, sub) \
  (static_cast<WORD>(static_cast<WORD>(sub) << 10 | static_cast<WORD>(primary)))
// Inserts are %1 to %99, with an optional !s!, !d!, !i!, !u!, !x!, !X! or !c!; anything else between the
// marks fails with ERROR_INVALID_PARAMETER. There is one language, English, and the argument is ignored.
DWORD WINAPI FormatMessageA(DWORD flags, LPCVOID source, DWORD message, DWORD language, LPSTR buffer,
                            DWORD size, va_list* arguments);
DWORD WINAPI FormatMessageW(DWORD flags, LPCVOID source, DWORD message, DWORD language, LPWSTR buffer,
                            DWORD size, va_list* arguments);

// To the sink of `embedded::SetDebugSink`; without one to standard error if the variable MARROWEN_DEBUG is
// set, else nowhere.
void WINAPI OutputDebugStringA(LPCSTR text);

#define EVENTLOG_SUCCESS 0x0000
#define EVENTLOG_ERROR_TYPE 0x0001
#define EVENTLOG_WARNING_TYPE 0x0002
#define EVENTLOG_INFORMATION_TYPE 0x0004
// Events are appended to the file events.log in the computer's folder.
HANDLE WINAPI RegisterEventSourceA(LPCSTR server, LPCSTR source);
BOOL WINAPI DeregisterEventSource(HANDLE log);
BOOL WINAPI ReportEventA(HANDLE log, WORD type, WORD category, DWORD event, PVOID user, WORD strings,
                         DWORD data_size, LPCSTR* texts, LPVOID data);
BOOL WINAPI ReportEventW(HANDLE log, WORD type, WORD category, DWORD event, PVOID user, WORD strings,
                         DWORD data_size, LPCWSTR* texts, LPVOID data);

#define WAIT_OBJECT_0 0x00000000u
#define WAIT_ABANDONED 0x00000080u
#define WAIT_FAILED 0xFFFFFFFFu
#define MUTEX_MODIFY_STATE 0x0001u
#define MUTEX_ALL_ACCESS (STANDARD_RIGHTS_REQUIRED | SYNCHRONIZE | MUTEX_MODIFY_STATE)
// A named mutex is shared by the processes of one home.
HANDLE WINAPI CreateMutexA(LPSECURITY_ATTRIBUTES attributes, BOOL owned, LPCSTR name);
HANDLE WINAPI OpenMutexA(DWORD access, BOOL inherit, LPCSTR name);
BOOL WINAPI ReleaseMutex(HANDLE mutex);
DWORD WINAPI WaitForSingleObject(HANDLE object, DWORD milliseconds);

#define CP_ACP 0u
#define CP_OEMCP 1u
#define CP_THREAD_ACP 3u
#define CP_UTF7 65000u
#define CP_UTF8 65001u
#define MB_PRECOMPOSED 0x00000001u
#define MB_ERR_INVALID_CHARS 0x00000008u
#define WC_ERR_INVALID_CHARS 0x00000080u
#define WC_NO_BEST_FIT_CHARS 0x00000400u
UINT WINAPI GetACP();
int WINAPI MultiByteToWideChar(UINT page, DWORD flags, LPCCH source, int source_size, LPWSTR destination,
                               int destination_size);
int WINAPI WideCharToMultiByte(UINT page, DWORD flags, LPCWCH source, int source_size, LPSTR destination,
                               int destination_size, LPCCH default_character, LPBOOL default_used);
#define CSTR_LESS_THAN 1
#define CSTR_EQUAL 2
#define CSTR_GREATER_THAN 3
// Without case two texts are equal when they name the same key. A size of -1 measures the text.
int WINAPI CompareStringOrdinal(LPCWCH a, int a_size, LPCWCH b, int b_size, BOOL ignore_case);

HRESULT WINAPI CoCreateGuid(GUID* guid);
using RPC_STATUS = LONG;
int WINAPI StringFromGUID2(const GUID& guid, LPWSTR buffer, int size);

// The C runtime. Paths are mapped as those of CreateFileA.
#define _SH_COMPAT 0x00
#define _SH_DENYRW 0x10
#define _SH_DENYWR 0x20
#define _SH_DENYRD 0x30
#define _SH_DENYNO 0x40
errno_t _strtime_s(char* buffer, size_t size);
FILE* _fsopen(const char* path, const char* mode, int share);
int _access(const char* path, int mode);
// Integers, characters and texts with flags, width and precision; in a wide format %s is wide and %S narrow.
// -1 when the text does not fit or a conversion is not one of %s %S %c %C %d %i %u %x %X %o %p %%.
int _vsnwprintf(WCHAR* buffer, size_t count, const WCHAR* format, va_list arguments);
using _invalid_parameter_handler = void (*)(const WCHAR* expression, const WCHAR* function, const WCHAR* file,
                                            unsigned line, uintptr_t reserved);
_invalid_parameter_handler _set_invalid_parameter_handler(_invalid_parameter_handler handler);

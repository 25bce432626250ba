#pragma once

// The basic types of Windows at their Windows widths. Wide text is 16-bit units.

#include <cstddef>
#include <cstdint>

#include "platform/embedded/win32/errors.h"

#define WINAPI
#define APIENTRY
#define CALLBACK
#define CONST const
#define TRUE 1
#define FALSE 0
#define MAX_PATH 260
#define ANYSIZE_ARRAY 1
#define INFINITE 0xFFFFFFFFu

using VOID = void;
using CHAR = char;
using UCHAR = unsigned char;
using BYTE = uint8_t;
using BOOL = int;
using BOOLEAN = uint8_t;
using SHORT = int16_t;
using USHORT = uint16_t;
using WORD = uint16_t;
using INT = int;
using UINT = unsigned int;
using LONG = int32_t;
using ULONG = uint32_t;
using DWORD = uint32_t;
using LONGLONG = int64_t;
using ULONGLONG = uint64_t;
using LONG64 = int64_t;
using DWORD64 = uint64_t;
using INT_PTR = intptr_t;
using UINT_PTR = uintptr_t;
using LONG_PTR = intptr_t;
using ULONG_PTR = uintptr_t;
using DWORD_PTR = uintptr_t;
using SIZE_T = size_t;
using WCHAR = char16_t;
using HRESULT = int32_t;
using LSTATUS = int32_t;
using WPARAM = uintptr_t;
using LPARAM = intptr_t;
using LRESULT = intptr_t;
using ACCESS_MASK = DWORD;
using REGSAM = ACCESS_MASK;
using LANGID = WORD;
using LCID = DWORD;
using errno_t = int;

using PVOID = void*;
using LPVOID = void*;
using LPCVOID = const void*;
using PBYTE = BYTE*;
using LPBYTE = BYTE*;
using PBOOL = BOOL*;
using LPBOOL = BOOL*;
using PWORD = WORD*;
using LPWORD = WORD*;
using PDWORD = DWORD*;
using LPDWORD = DWORD*;
using PULONG = ULONG*;
using PLONG = LONG*;
using LPLONG = LONG*;
using PUINT = UINT*;
using LPSTR = char*;
using PSTR = char*;
using LPCSTR = const char*;
using PCSTR = const char*;
using LPWSTR = WCHAR*;
using PWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;
using PCWSTR = const WCHAR*;
using LPCCH = const char*;
using LPCWCH = const WCHAR*;

using HANDLE = void*;
using PHANDLE = HANDLE*;
using LPHANDLE = HANDLE*;
using HLOCAL = void*;
using HGLOBAL = void*;

// NOLINTNEXTLINE: the argument is a name, not an expression.
#define DECLARE_HANDLE(name) using name = struct name##__*

DECLARE_HANDLE(HKEY);
DECLARE_HANDLE(HINSTANCE);
DECLARE_HANDLE(HWND);
DECLARE_HANDLE(HICON);
DECLARE_HANDLE(SC_HANDLE);
using PHKEY = HKEY*;
using HMODULE = HINSTANCE;
using FARPROC = INT_PTR (*)();

#define INVALID_HANDLE_VALUE \
  (reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-1)))  // NOLINT: as Windows has it

#define LOWORD(value) (static_cast<WORD>(static_cast<DWORD_PTR>(value) & 0xFFFF))
#define HIWORD(value) (static_cast<WORD>((static_cast<DWORD_PTR>(value) >> 16) & 0xFFFF))
#define LOBYTE(value) (static_cast<BYTE>(static_cast<DWORD_PTR>(value) & 0xFF))
#define HIBYTE(value) (static_cast<BYTE>((static_cast<DWORD_PTR>(value) >> 8) & 0xFF))
#define MAKEWORD(low, high) \
  (static_cast<WORD>(static_cast<BYTE>(low) | static_cast<WORD>(static_cast<BYTE>(high)) << 8))
#define MAKELONG(low, high) \
  (static_cast<LONG>(static_cast<WORD>(low) | static_cast<DWORD>(static_cast<WORD>(high)) << 16))

// A literal of wide text: 16-bit units on every platform.
#define WIDE(literal) u##literal

struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};
using PFILETIME = FILETIME*;
using LPFILETIME = FILETIME*;

struct SYSTEMTIME {
  WORD wYear;
  WORD wMonth;
  WORD wDayOfWeek;
  WORD wDay;
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  WORD wMilliseconds;
};
using PSYSTEMTIME = SYSTEMTIME*;
using LPSYSTEMTIME = SYSTEMTIME*;

union LARGE_INTEGER {
  struct {
    DWORD LowPart;
    LONG HighPart;
  };
  struct {
    DWORD LowPart;
    LONG HighPart;
  } u;
  LONGLONG QuadPart;
};
using PLARGE_INTEGER = LARGE_INTEGER*;

union ULARGE_INTEGER {
  struct {
    DWORD LowPart;
    DWORD HighPart;
  };
  struct {
    DWORD LowPart;
    DWORD HighPart;
  } u;
  ULONGLONG QuadPart;
};

struct GUID {
  DWORD Data1;
  WORD Data2;
  WORD Data3;
  BYTE Data4[8];
};
using UUID = GUID;

struct SECURITY_ATTRIBUTES {
  DWORD nLength;
  LPVOID lpSecurityDescriptor;
  BOOL bInheritHandle;
};
using PSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;

#define DELETE 0x00010000u
#define READ_CONTROL 0x00020000u
#define WRITE_DAC 0x00040000u
#define WRITE_OWNER 0x00080000u
#define SYNCHRONIZE 0x00100000u
#define STANDARD_RIGHTS_REQUIRED 0x000F0000u
#define STANDARD_RIGHTS_READ READ_CONTROL
#define STANDARD_RIGHTS_WRITE READ_CONTROL
#define STANDARD_RIGHTS_EXECUTE READ_CONTROL
#define STANDARD_RIGHTS_ALL 0x001F0000u
#define SPECIFIC_RIGHTS_ALL 0x0000FFFFu
#define ACCESS_SYSTEM_SECURITY 0x01000000u
#define MAXIMUM_ALLOWED 0x02000000u
#define GENERIC_READ 0x80000000u
#define GENERIC_WRITE 0x40000000u
#define GENERIC_EXECUTE 0x20000000u
#define GENERIC_ALL 0x10000000u

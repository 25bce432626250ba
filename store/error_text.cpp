#include "store/error_text.h"

#include <cstdarg>

namespace {

constexpr DWORD kUserDefaultLanguage = 1024;  // MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT)

// NERR_BASE to MAX_NERR of lmerr.h.
bool IsNetworkCode(int code) { return code >= 2100 && code <= 2999; }

template <typename Char>
Char* Find(DWORD(WINAPI* format)(DWORD, LPCVOID, DWORD, DWORD, Char*, DWORD, va_list*), int code,
           void* args) {
  HMODULE network =
      IsNetworkCode(code) ? LoadLibraryExA("netmsg.dll", nullptr, LOAD_LIBRARY_AS_DATAFILE) : nullptr;
  DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM;
  if (network) flags |= FORMAT_MESSAGE_FROM_HMODULE;
  Char* found = nullptr;
  const DWORD length = format(flags, network, static_cast<DWORD>(code), kUserDefaultLanguage,
                              reinterpret_cast<Char*>(&found), 0, static_cast<va_list*>(args));
  if (network) FreeLibrary(network);
  return length > 0 ? found : nullptr;
}

}  // namespace

char* GetErrorText(int code, void* args) { return Find<char>(FormatMessageA, code, args); }

WCHAR* GetErrorTextW(int code, void* args) { return Find<WCHAR>(FormatMessageW, code, args); }

CString ErrorTextOf(DWORD code) {
  const LocalMemory<char> found(GetErrorText(static_cast<int>(code), nullptr));
  return found ? found.get() : "(null)";
}

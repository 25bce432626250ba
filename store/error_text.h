#pragma once

#include <memory>

#include "platform/text.h"
#include "platform/win32.h"

// The system's text for an error code in the user's language, or null for a code that it does not know. Codes
// from 2100 to 2999 are sought among the messages of the network (netmsg.dll) first. `args` is null or what
// FormatMessageA takes as its arguments. The caller releases the text with LocalFree.
char* GetErrorText(int code, void* args);
WCHAR* GetErrorTextW(int code, void* args);

struct LocalFreeDeleter {
  void operator()(void* memory) const { LocalFree(memory); }
};
// What the system allocated and LocalFree releases.
template <typename T>
using LocalMemory = std::unique_ptr<T, LocalFreeDeleter>;

// The text of GetErrorText as a value; "(null)" where there is none, as formatted output shows it.
CString ErrorTextOf(DWORD code);

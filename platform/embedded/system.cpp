#include "platform/embedded/win32/system.h"

#include <pwd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>
#include <string>
#include <thread>

#include "platform/embedded/computer_keys.h"
#include "platform/embedded/fail.h"
#include "platform/embedded/random.h"
#include "platform/text.h"

// Last error, memory, the process, clocks, names and the environment.

using embedded::Fail;

namespace {

thread_local DWORD last_error = 0;

// In front of each block of LocalAlloc, so that LocalSize knows what was asked for.
struct alignas(std::max_align_t) BlockHeader {
  size_t size;
};

BlockHeader* HeaderOf(HLOCAL memory) { return static_cast<BlockHeader*>(memory) - 1; }

std::string UserName() {
  const passwd* user = getpwuid(geteuid());
  return user == nullptr ? std::to_string(geteuid()) : user->pw_name;
}

std::string HostName() {
  std::string name;
  if (embedded::StandsOn() != embedded::kLocalComputer) {
    name = embedded::StandsOn();
  } else if (const char* chosen = std::getenv("COMPUTERNAME"); chosen != nullptr && *chosen != '\0') {
    name = chosen;
  } else {
    char host[256] = "";
    gethostname(host, sizeof host - 1);
    name = std::string_view(host).substr(0, std::string_view(host).find('.'));
  }
  if (name.size() > MAX_COMPUTERNAME_LENGTH) name.resize(MAX_COMPUTERNAME_LENGTH);
  for (char& c : name) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return name.empty() ? "LOCALHOST" : name;
}

// The variable, its name without case; else what an installation of Windows has under it.
std::optional<std::string> Variable(std::string_view name) {
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view text = *entry;
    const size_t equals = text.find('=');
    if (equals != std::string_view::npos && text::EqualNoCase(text.substr(0, equals), name)) {
      return std::string(text.substr(equals + 1));
    }
  }
  if (text::EqualNoCase(name, "SystemRoot") || text::EqualNoCase(name, "windir")) return "C:\\Windows";
  if (text::EqualNoCase(name, "SystemDrive")) return "C:";
  if (text::EqualNoCase(name, "ProgramFiles")) return "C:\\Program Files";
  if (text::EqualNoCase(name, "ProgramData")) return "C:\\ProgramData";
  if (text::EqualNoCase(name, "COMPUTERNAME")) return HostName();
  if (text::EqualNoCase(name, "USERNAME")) return UserName();
  if (text::EqualNoCase(name, "USERPROFILE")) return "C:\\Users\\" + UserName();
  return std::nullopt;
}

SYSTEMTIME FromClock(bool local) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm parts{};
  if (local) {
    localtime_r(&now.tv_sec, &parts);
  } else {
    gmtime_r(&now.tv_sec, &parts);
  }
  return {.wYear = static_cast<WORD>(parts.tm_year + 1900),
          .wMonth = static_cast<WORD>(parts.tm_mon + 1),
          .wDayOfWeek = static_cast<WORD>(parts.tm_wday),
          .wDay = static_cast<WORD>(parts.tm_mday),
          .wHour = static_cast<WORD>(parts.tm_hour),
          .wMinute = static_cast<WORD>(parts.tm_min),
          .wSecond = static_cast<WORD>(std::min(parts.tm_sec, 59)),
          .wMilliseconds = static_cast<WORD>(now.tv_nsec / 1000000)};
}

}  // namespace

DWORD WINAPI GetLastError() { return last_error; }
void WINAPI SetLastError(DWORD code) { last_error = code; }

HLOCAL WINAPI LocalAlloc(UINT flags, SIZE_T bytes) {
  if (bytes > SIZE_MAX - sizeof(BlockHeader)) return Fail(ERROR_NOT_ENOUGH_MEMORY), nullptr;
  const size_t total = sizeof(BlockHeader) + bytes;
  void* block = (flags & LMEM_ZEROINIT) != 0 ? std::calloc(1, total) : std::malloc(total);
  if (block == nullptr) return Fail(ERROR_NOT_ENOUGH_MEMORY), nullptr;
  auto* header = static_cast<BlockHeader*>(block);
  header->size = bytes;
  return header + 1;
}

HLOCAL WINAPI LocalFree(HLOCAL memory) {
  if (memory != nullptr) std::free(HeaderOf(memory));
  return nullptr;
}

SIZE_T WINAPI LocalSize(HLOCAL memory) {
  if (memory == nullptr) return Fail(ERROR_INVALID_HANDLE), 0;
  return HeaderOf(memory)->size;
}

void WINAPI GetSystemInfo(LPSYSTEM_INFO info) {
  *info = {};
  info->wProcessorArchitecture = PROCESSOR_ARCHITECTURE_AMD64;
  info->dwPageSize = static_cast<DWORD>(sysconf(_SC_PAGESIZE));
  info->dwNumberOfProcessors = std::max(1u, std::thread::hardware_concurrency());
  info->dwActiveProcessorMask = (DWORD_PTR{1} << std::min(info->dwNumberOfProcessors, 63u)) - 1;
  info->dwProcessorType = 8664;  // PROCESSOR_AMD_X8664
  info->dwAllocationGranularity = 0x10000;
}

DWORD WINAPI GetCurrentThreadId() { return static_cast<DWORD>(syscall(SYS_gettid)); }
DWORD WINAPI GetCurrentProcessId() { return static_cast<DWORD>(getpid()); }

void WINAPI Sleep(DWORD milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

void WINAPI GetLocalTime(LPSYSTEMTIME time) { *time = FromClock(true); }
void WINAPI GetSystemTime(LPSYSTEMTIME time) { *time = FromClock(false); }

// Counted in tenths of a microsecond since 1601.
BOOL WINAPI FileTimeToSystemTime(const FILETIME* file, LPSYSTEMTIME system) {
  constexpr std::uint64_t kMillisecond = 10000;
  constexpr std::uint64_t kDay = 24 * 60 * 60 * 1000 * kMillisecond;
  using namespace std::chrono;
  const std::uint64_t ticks = std::uint64_t{file->dwHighDateTime} << 32 | file->dwLowDateTime;
  if (ticks >> 63 != 0) return Fail(ERROR_INVALID_PARAMETER);
  const sys_days day = sys_days(year(1601) / 1 / 1) + days(static_cast<int>(ticks / kDay));
  const year_month_day date(day);
  const std::uint64_t rest = ticks % kDay / kMillisecond;
  *system = {.wYear = static_cast<WORD>(static_cast<int>(date.year())),
             .wMonth = static_cast<WORD>(static_cast<unsigned>(date.month())),
             .wDayOfWeek = static_cast<WORD>(weekday(day).c_encoding()),
             .wDay = static_cast<WORD>(static_cast<unsigned>(date.day())),
             .wHour = static_cast<WORD>(rest / 3600000),
             .wMinute = static_cast<WORD>(rest / 60000 % 60),
             .wSecond = static_cast<WORD>(rest / 1000 % 60),
             .wMilliseconds = static_cast<WORD>(rest % 1000)};
  return TRUE;
}

BOOL WINAPI SystemTimeToFileTime(const SYSTEMTIME* system, LPFILETIME file) {
  using namespace std::chrono;
  const year_month_day date(year(system->wYear), month(system->wMonth), day(system->wDay));
  if (!date.ok() || system->wYear < 1601 || system->wHour > 23 || system->wMinute > 59 ||
      system->wSecond > 59)
    return Fail(ERROR_INVALID_PARAMETER);
  const auto whole = (sys_days(date) - sys_days(year(1601) / 1 / 1)).count();
  const std::uint64_t seconds = static_cast<std::uint64_t>(whole) * 86400 + system->wHour * 3600u +
                                system->wMinute * 60u + system->wSecond;
  const std::uint64_t ticks = seconds * 10000000 + system->wMilliseconds * 10000u;
  *file = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  return TRUE;
}

int WINAPI GetDateFormatA(DWORD, DWORD, const SYSTEMTIME* date, LPCSTR, LPSTR text, int size) {
  const std::string day =
      std::to_string(date->wMonth) + "/" + std::to_string(date->wDay) + "/" + std::to_string(date->wYear);
  const int needed = static_cast<int>(day.size()) + 1;
  if (size == 0) return needed;
  if (size < needed) return Fail(ERROR_INSUFFICIENT_BUFFER);
  std::memcpy(text, day.c_str(), day.size() + 1);
  return needed;
}

DWORD WINAPI GetEnvironmentVariableA(LPCSTR name, LPSTR buffer, DWORD size) {
  const std::optional<std::string> value = Variable(name);
  if (!value) return Fail(ERROR_ENVVAR_NOT_FOUND), 0;
  if (size <= value->size()) return static_cast<DWORD>(value->size() + 1);
  std::memcpy(buffer, value->c_str(), value->size() + 1);
  return static_cast<DWORD>(value->size());
}

BOOL WINAPI SetEnvironmentVariableA(LPCSTR name, LPCSTR value) {
  if (name == nullptr || *name == '\0' || std::strchr(name, '=') != nullptr)
    return Fail(ERROR_INVALID_PARAMETER);
  // One variable whatever the spelling: the old one goes under the name that it has.
  bool existed = false;
  for (char** entry = environ; *entry != nullptr;) {
    const std::string_view text = *entry;
    const std::string own(text.substr(0, text.find('=')));
    if (text::EqualNoCase(own, name)) {
      unsetenv(own.c_str());
      existed = true;
      entry = environ;
    } else {
      ++entry;
    }
  }
  if (value == nullptr) return existed ? TRUE : Fail(ERROR_ENVVAR_NOT_FOUND);
  return setenv(name, value, 1) == 0 ? TRUE : Fail(ERROR_NOT_ENOUGH_MEMORY);
}

DWORD WINAPI ExpandEnvironmentStringsA(LPCSTR source, LPSTR destination, DWORD size) {
  std::string result;
  std::string_view rest = source;
  while (!rest.empty()) {
    const size_t close = rest[0] == '%' ? rest.find('%', 1) : std::string_view::npos;
    const std::optional<std::string> value =
        close == std::string_view::npos ? std::nullopt : Variable(rest.substr(1, close - 1));
    if (value) {
      result += *value;
      rest.remove_prefix(close + 1);
    } else {
      result += rest[0];
      rest.remove_prefix(1);
    }
  }
  if (size > result.size()) std::memcpy(destination, result.c_str(), result.size() + 1);
  return static_cast<DWORD>(result.size() + 1);
}

BOOL WINAPI GetComputerNameA(LPSTR buffer, LPDWORD size) {
  const std::string name = HostName();
  if (buffer == nullptr || *size <= name.size()) {
    *size = static_cast<DWORD>(name.size() + 1);
    return Fail(ERROR_BUFFER_OVERFLOW);
  }
  std::memcpy(buffer, name.c_str(), name.size() + 1);
  *size = static_cast<DWORD>(name.size());
  return TRUE;
}

HRESULT WINAPI CoCreateGuid(GUID* guid) {
  embedded::FillRandom(guid, sizeof *guid);
  // RFC 4122: version 4, variant 10.
  guid->Data3 = static_cast<WORD>((guid->Data3 & 0x0FFF) | 0x4000);
  guid->Data4[0] = static_cast<BYTE>((guid->Data4[0] & 0x3F) | 0x80);
  return S_OK;
}

int WINAPI StringFromGUID2(const GUID& guid, LPWSTR buffer, int size) {
  char text[39];
  const BYTE* tail = guid.Data4;
  std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", guid.Data1,
                guid.Data2, guid.Data3, tail[0], tail[1], tail[2], tail[3], tail[4], tail[5], tail[6],
                tail[7]);
  if (size < static_cast<int>(sizeof text)) return 0;
  std::copy_n(text, sizeof text, buffer);
  return static_cast<int>(sizeof text);
}

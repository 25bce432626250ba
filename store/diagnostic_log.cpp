#include "store/diagnostic_log.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/text.h"
#include "store/error_text.h"

namespace {

using WideString = std::basic_string<WCHAR>;

constexpr size_t kLineSize = 4096;
constexpr size_t kEventSize = 1040;
constexpr char kFullMarker[] = "MAXIMUM FILE SIZE REACHED\r\n";

struct LogState {
  int logLevel = 0;
  int logPrefix = 1;
  int logFileOpen = 0;
  char logFilePath[260] = {};
  int logFull = 0;
  DWORD logMaxSize = 0;
  DWORD logMaxSizeHigh = 0;
  HANDLE logMutex = nullptr;
};
LogState state;

CString Prefix() {
  if (!state.logPrefix) return {};
  std::array<char, 16> time = {};
  _strtime_s(time.data(), time.size());
  return std::to_string(static_cast<int>(GetCurrentThreadId())) + ": " + time.data() + ":: ";
}

void Emit(const CString& line) {
  OutputDebugStringA(line.c_str());
  LogWriteLine(line.c_str());
}

void PrintLine(std::string_view text) {
  CString line = Prefix();
  line += text;
  while (line.size() > 1 && (line.back() == '\r' || line.back() == '\n')) line.pop_back();
  Emit(line + "\r\n");
}

// A failed query counts as not full.
bool LogFileIsFull() {
  const unsigned long long limit =
      static_cast<unsigned long long>(state.logMaxSizeHigh) << 32 | state.logMaxSize;
  if (limit == 0) return false;
  HANDLE file = CreateFileA(state.logFilePath, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  LARGE_INTEGER size = {};
  const BOOL known = GetFileSizeEx(file, &size);
  CloseHandle(file);
  return known && static_cast<unsigned long long>(size.QuadPart) >= limit;
}

// The marker is sought with its terminating zero, which no file holds, so each process that finds the file
// full adds its own line: from those lines one sees which processes lost what they had to say.
void AppendFullMarker(FILE* file) {
  std::array<char, sizeof(kFullMarker)> end = {};
  std::fseek(file, -static_cast<long>(end.size()), SEEK_END);
  const size_t read = std::fread(end.data(), 1, end.size(), file);
  if (text::EqualNoCase({end.data(), read}, {kFullMarker, sizeof(kFullMarker)})) return;
  std::fseek(file, 0, SEEK_END);
  std::fprintf(file, "%d: %s", static_cast<int>(GetCurrentProcessId()), kFullMarker);
}

// The mutex is named after the file: the text behind the last backslash, then "Mutex". Null without one.
HANDLE CreateNamedMutex(CString path) {
  SECURITY_ATTRIBUTES attributes = {};
  attributes.nLength = sizeof(attributes);
  attributes.bInheritHandle = TRUE;
  if (path.rfind('\\') == CString::npos) return nullptr;
  if (!ConvertStringSecurityDescriptorToSecurityDescriptorA(
          "D:(A;NP;GA;;;BG)(A;OICI;GA;;;AN)(A;OICI;GA;;;AU)(A;OICI;GA;;;WD)", SDDL_REVISION_1,
          &attributes.lpSecurityDescriptor, nullptr)) {
    return nullptr;
  }
  const LocalMemory<void> descriptor(attributes.lpSecurityDescriptor);
  const auto nameOf = [](const CString& of) { return of.substr(of.rfind('\\') + 1) + "Mutex"; };

  HANDLE mutex = CreateMutexA(&attributes, FALSE, nameOf(path).c_str());
  if (!mutex && GetLastError() == ERROR_ALREADY_EXISTS) {
    mutex = OpenMutexA(SYNCHRONIZE, TRUE, nameOf(path).c_str());
  } else if (!mutex && path.size() >= 4) {
    // The name may belong to an object of another kind or owner: "sshd.log" becomes "sshdClog".
    path[path.size() - 4] = 'C';
    mutex = CreateMutexA(&attributes, FALSE, nameOf(path).c_str());
  }
  return mutex;
}

void IgnoreInvalidParameter(const WCHAR*, const WCHAR*, const WCHAR*, unsigned, uintptr_t) {}

struct FileCloser {
  void operator()(FILE* file) const { std::fclose(file); }
};
using UniqueFile = std::unique_ptr<FILE, FileCloser>;

UniqueFile OpenLogFile(const char* path) { return UniqueFile(_fsopen(path, "a+", _SH_DENYWR)); }

template <typename Char>
std::basic_string<Char> FromAscii(std::string_view ascii) {
  return std::basic_string<Char>(ascii.begin(), ascii.end());
}

WideString Widened(const CString& bytes) {
  WideString wide(bytes.size(), 0);
  wide.resize(MultiByteToWideChar(CP_ACP, 0, bytes.data(), static_cast<int>(bytes.size()), wide.data(),
                                  static_cast<int>(wide.size())));
  return wide;
}

CString Narrowed(const WideString& wide) {
  CString bytes(wide.size() * 4, '\0');
  bytes.resize(WideCharToMultiByte(CP_ACP, 0, wide.data(), static_cast<int>(wide.size()), bytes.data(),
                                   static_cast<int>(bytes.size()), nullptr, nullptr));
  return bytes;
}

CString RemoteAddress() {
  std::array<char, 260> address = {};
  GetEnvironmentVariableA("TESSELWK_REMOTE_ADDR", address.data(), address.size());
  return address.data();
}

// The text of an event: the address in front, the error behind. `errorText` is null for no error; one with
// a percent sign is left out, since it holds an insert that nobody filled.
template <typename Char>
std::basic_string<Char> EventText(std::basic_string<Char> text, const std::basic_string<Char>* address,
                                  DWORD errorCode, const std::basic_string<Char>* errorText) {
  if (address) text = FromAscii<Char>("Remote Address ") + *address + FromAscii<Char>(":\r\n\t") + text;
  if (errorText) {
    text += FromAscii<Char>("\r\n\tError " + std::to_string(static_cast<int>(errorCode)) + ":");
    if (errorText->find('%') == std::basic_string<Char>::npos) text += FromAscii<Char>(" ") + *errorText;
  }
  return text;
}

}  // namespace

int LogPrint(int level, const char* format, ...) {
  if (state.logLevel < level) return 0;
  const DWORD lastError = GetLastError();
  std::array<char, kLineSize> text;
  va_list arguments;
  va_start(arguments, format);
  const int count = std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  const bool fits = count >= 0 && static_cast<size_t>(count) < text.size();
  if (fits) PrintLine({text.data(), static_cast<size_t>(count)});
  SetLastError(lastError);
  return fits ? count : -1;
}

int LogPrintW(int level, const WCHAR* format, ...) {
  if (state.logLevel < level) return 0;
  std::array<WCHAR, kLineSize> text = {};
  va_list arguments;
  va_start(arguments, format);
  const int count = _vsnwprintf(text.data(), text.size() - 1, format, arguments);
  va_end(arguments);
  if (count < 0) return -1;
  std::array<char, kLineSize> bytes = {};
  if (WideCharToMultiByte(CP_ACP, 0, text.data(), -1, bytes.data(), bytes.size(), nullptr, nullptr) == 0) {
    std::snprintf(bytes.data(), bytes.size(), "Unable to output log statement. Error=%d",
                  static_cast<int>(GetLastError()));
  }
  PrintLine(bytes.data());
  return count;
}

int LogDump(int level, const BYTE* data, long long size) {
  if (state.logLevel < level) return 0;
  for (long long start = 0; start < size; start += 16) {
    CString line = Prefix();
    for (long long i = start; i < size && i < start + 16; ++i) {
      std::array<char, 4> byte;
      std::snprintf(byte.data(), byte.size(), "%02x ", data[i]);
      line += byte.data();
    }
    Emit(line);
  }
  return 0;
}

int LogOpen(const char* path) {
  if (state.logMutex) {
    ReleaseMutex(state.logMutex);
    CloseHandle(state.logMutex);
  }
  state.logMutex = CreateNamedMutex(path);
  if (!state.logMutex) return -1;
  // A bad argument to a checked function of the C runtime must not end a process for the sake of a log line.
  _set_invalid_parameter_handler(IgnoreInvalidParameter);

  WaitForSingleObject(state.logMutex, 2000);
  const bool opened = std::strlen(path) < sizeof(state.logFilePath) && OpenLogFile(path);
  ReleaseMutex(state.logMutex);
  state.logFileOpen = opened ? 1 : 0;
  if (!opened) return 17;
  std::strcpy(state.logFilePath, path);
  return 0;
}

void LogSetLevel(DWORD level) { state.logLevel = static_cast<int>(level); }

DWORD LogSetMaxSize(const char* kilobytes) {
  state.logMaxSize = static_cast<DWORD>(std::atoi(kilobytes)) << 10;
  return state.logMaxSize;
}

void LogPrefixOn() { state.logPrefix = 1; }

void LogPrefixOff() { state.logPrefix = 0; }

void LogWriteLine(const char* line) {
  if (!state.logFileOpen || state.logFull || !state.logMutex) return;
  WaitForSingleObject(state.logMutex, 20000);  // a bound: the line is written whatever the wait gave
  if (UniqueFile file = OpenLogFile(state.logFilePath)) {
    if (LogFileIsFull()) {
      state.logFull = 1;
      AppendFullMarker(file.get());
    } else {
      std::fprintf(file.get(), "%d: %s", static_cast<int>(GetCurrentProcessId()), line);
    }
  }
  ReleaseMutex(state.logMutex);
}

void ReportServerEvent(const char* source, DWORD eventId, WORD eventType, int withRemoteAddress,
                       DWORD errorCode, const char* format, ...) {
  std::array<char, kEventSize> buffer = {};
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
  va_end(arguments);
  const CString address = RemoteAddress();
  const CString errorText = ErrorTextOf(errorCode);
  const CString text = EventText<char>(buffer.data(), withRemoteAddress ? &address : nullptr, errorCode,
                                       errorCode ? &errorText : nullptr);
  LogPrint(2, "%s\r\n", text.c_str());
  if (HANDLE log = RegisterEventSourceA(nullptr, source)) {
    const char* strings[] = {text.c_str()};
    ReportEventA(log, eventType, 0, eventId, nullptr, 1, 0, strings, nullptr);
    DeregisterEventSource(log);
  }
  SetLastError(errorCode);
}

void ReportServerEventW(const WCHAR* source, DWORD eventId, WORD eventType, int withRemoteAddress,
                        DWORD errorCode, const WCHAR* format, ...) {
  std::array<WCHAR, kEventSize> buffer = {};
  va_list arguments;
  va_start(arguments, format);
  _vsnwprintf(buffer.data(), buffer.size() - 1, format, arguments);
  va_end(arguments);
  const WideString address = Widened(RemoteAddress());
  const LocalMemory<WCHAR> found(GetErrorTextW(static_cast<int>(errorCode), nullptr));
  const WideString errorText = found ? WideString(found.get()) : FromAscii<WCHAR>("(null)");
  const WideString text = EventText<WCHAR>(buffer.data(), withRemoteAddress ? &address : nullptr, errorCode,
                                           errorCode ? &errorText : nullptr);
  LogPrintW(2, FromAscii<WCHAR>("%s\r\n").c_str(), text.c_str());
  if (HANDLE log = RegisterEventSourceA(nullptr, Narrowed(source).c_str())) {
    const WCHAR* strings[] = {text.c_str()};
    ReportEventW(log, eventType, 0, eventId, nullptr, 1, 0, strings, nullptr);
    DeregisterEventSource(log);
  }
  SetLastError(errorCode);
}

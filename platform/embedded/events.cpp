#include "platform/embedded/events.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/embedded/codepage.h"
#include "platform/embedded/computers.h"
#include "platform/embedded/fail.h"
#include "platform/embedded/handles.h"
#include "platform/embedded/store.h"
#include "platform/embedded/win32/system.h"
#include "platform/text.h"

// The debugger's output and the event log.

namespace embedded {
namespace {

std::mutex& SinkLock() {
  static std::mutex& lock = *new std::mutex;
  return lock;
}

DebugSink& Sink() {
  static DebugSink& sink = *new DebugSink;
  return sink;
}

struct EventSource : Object {
  std::string computer;
  std::string name;
};

const char* TypeName(WORD type) {
  switch (type) {
    case EVENTLOG_ERROR_TYPE:
      return "error";
    case EVENTLOG_WARNING_TYPE:
      return "warning";
    default:
      return "information";
  }
}

// One event: a line of time, kind, source and number, then the texts, indented, in UTF-8. One write, so that
// events of several processes do not mix.
BOOL Append(const EventSource& source, WORD type, DWORD event, const std::vector<std::string>& texts) {
  SYSTEMTIME time;
  GetLocalTime(&time);
  char head[64];
  std::snprintf(head, sizeof head, "%04u-%02u-%02u %02u:%02u:%02u %s ", time.wYear, time.wMonth, time.wDay,
                time.wHour, time.wMinute, time.wSecond, TypeName(type));
  std::string entry = head + source.name + " " + std::to_string(event) + "\n";
  for (const std::string& text : texts) {
    for (const std::string& line : text::Split(text::Replaced(text, "\r\n", "\n"), '\n'))
      entry += "\t" + line + "\n";
  }
  const std::string folder = ComputerFolder(source.computer);
  if (folder.empty()) return Fail(RPC_S_SERVER_UNAVAILABLE);
  const std::string path = folder + "/events.log";
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (file < 0) return Fail(ERROR_ACCESS_DENIED);
  const bool written = write(file, entry.data(), entry.size()) == static_cast<ssize_t>(entry.size());
  close(file);
  return written ? TRUE : Fail(ERROR_DISK_FULL);
}

}  // namespace

void SetDebugSink(DebugSink sink) {
  const std::scoped_lock guard(SinkLock());
  Sink() = std::move(sink);
}

}  // namespace embedded

using namespace embedded;

void WINAPI OutputDebugStringA(LPCSTR text) {
  // Called without the lock: a sink may write to the debugger itself.
  std::unique_lock guard(SinkLock());
  const DebugSink sink = Sink();
  guard.unlock();
  if (sink) {
    sink(text);
  } else if (std::getenv("MARROWEN_DEBUG") != nullptr) {
    std::fputs(text, stderr);
  }
}

HANDLE WINAPI RegisterEventSourceA(LPCSTR server, LPCSTR source) {
  if (source == nullptr) return Fail(ERROR_INVALID_PARAMETER), nullptr;
  const std::optional<std::string> computer = ComputerNamed(server == nullptr ? "" : server);
  if (!computer) return Fail(RPC_S_SERVER_UNAVAILABLE), nullptr;
  auto object = std::make_shared<EventSource>();
  object->computer = *computer;
  object->name = AcpToUtf8(source);
  return OpenHandle(std::move(object));
}

BOOL WINAPI DeregisterEventSource(HANDLE log) { return Close<EventSource>(log); }

BOOL WINAPI ReportEventA(HANDLE log, WORD type, WORD, DWORD event, PVOID, WORD strings, DWORD, LPCSTR* texts,
                         LPVOID) {
  const auto source = Find<EventSource>(log);
  if (!source) return FALSE;
  std::vector<std::string> converted;
  for (WORD i = 0; i < strings; ++i) converted.push_back(AcpToUtf8(texts[i]));
  return Append(*source, type, event, converted);
}

BOOL WINAPI ReportEventW(HANDLE log, WORD type, WORD, DWORD event, PVOID, WORD strings, DWORD, LPCWSTR* texts,
                         LPVOID) {
  const auto source = Find<EventSource>(log);
  if (!source) return FALSE;
  std::vector<std::string> converted;
  for (WORD i = 0; i < strings; ++i) converted.push_back(Utf16ToUtf8(texts[i]));
  return Append(*source, type, event, converted);
}

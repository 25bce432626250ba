#include "platform/worker.h"

#include <mutex>

#include "platform/program.h"
#include "platform/sockets.h"

namespace platform {
namespace {

struct CloseHandleOf {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseHandleOf>;

class Process final : public Worker {
 public:
  Process(Handle job, Handle process, Handle toIt, Handle fromIt, std::string handedOver)
      : m_job(std::move(job)),
        m_process(std::move(process)),
        m_toIt(std::move(toIt)),
        m_fromIt(std::move(fromIt)),
        m_handedOver(std::move(handedOver)) {}
  ~Process() override { Process::End(); }

  std::string HandedOver() const override { return m_handedOver; }

  bool Tell(std::string_view line) override {
    const std::string whole = std::string(line) + '\n';
    DWORD written = 0;
    return WriteFile(m_toIt.get(), whole.data(), static_cast<DWORD>(whole.size()), &written, nullptr) != 0 &&
           written == whole.size();
  }

  std::optional<std::string> Hear() override {
    for (;;) {
      if (const size_t end = m_heard.find('\n'); end != std::string::npos) {
        std::string line = m_heard.substr(0, end);
        m_heard.erase(0, end + 1);
        if (line.ends_with('\r')) line.pop_back();
        return line;
      }
      char piece[65536];
      DWORD count = 0;
      if (ReadFile(m_fromIt.get(), piece, sizeof piece, &count, nullptr) == 0 || count == 0) {
        return std::nullopt;
      }
      m_heard.append(piece, count);
    }
  }

  void End() override {
    const std::lock_guard lock(m_mutex);
    if (m_ended) return;
    m_ended = true;
    m_toIt.reset();
    constexpr DWORD kPatience = 5000;
    if (WaitForSingleObject(m_process.get(), kPatience) == WAIT_OBJECT_0) return;
    TerminateProcess(m_process.get(), 1);
    WaitForSingleObject(m_process.get(), kPatience);
  }

 private:
  Handle m_job;
  Handle m_process;
  Handle m_toIt;
  Handle m_fromIt;
  std::string m_handedOver;
  std::string m_heard;
  std::mutex m_mutex;
  bool m_ended = false;
};

struct Pipe {
  Handle read;
  Handle write;
};

// The end that the other process gets is inherited, ours is not.
bool Make(Pipe& pipe, Handle Pipe::*inherited) {
  HANDLE read = nullptr;
  HANDLE write = nullptr;
  if (CreatePipe(&read, &write, nullptr, 0) == 0) return false;
  pipe.read.reset(read);
  pipe.write.reset(write);
  return SetHandleInformation((pipe.*inherited).get(), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT) != 0;
}

// Processes in it end with the last handle of it, which this process has.
Handle MakeJob() {
  Handle job(CreateJobObjectA(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
  return job;
}

}  // namespace

std::unique_ptr<Worker> Worker::Start(const std::string& argument, const Listener* listener) {
  Pipe toIt;
  Pipe fromIt;
  if (!Make(toIt, &Pipe::read) || !Make(fromIt, &Pipe::write)) return nullptr;
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = toIt.read.get();
  startup.hStdOutput = fromIt.write.get();
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  const std::wstring file = ProgramFile().native();
  // The arguments are this program's own, in plain letters.
  std::wstring command = L"\"" + file + L"\" " + std::wstring(argument.begin(), argument.end());
  PROCESS_INFORMATION made{};
  // Ctrl+C is for the process that watches over this one, so it has no window of text.
  if (CreateProcessW(file.c_str(), command.data(), nullptr, nullptr, TRUE,
                     CREATE_NO_WINDOW | CREATE_SUSPENDED, nullptr, nullptr, &startup, &made) == 0) {
    return nullptr;
  }
  Handle process(made.hProcess);
  const Handle thread(made.hThread);
  Handle job = MakeJob();
  AssignProcessToJobObject(job.get(), process.get());
  std::string handedOver = listener == nullptr ? "" : HandOver(*listener, made.dwProcessId);
  ResumeThread(thread.get());
  return std::make_unique<Process>(std::move(job), std::move(process), std::move(toIt.write),
                                   std::move(fromIt.read), std::move(handedOver));
}

}  // namespace platform

#include "platform/worker.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <mutex>

#include "platform/embedded/paths.h"

namespace platform {
namespace {

class Process final : public Worker {
 public:
  Process(pid_t process, int toIt, int fromIt, std::string handedOver)
      : m_process(process), m_toIt(toIt), m_fromIt(fromIt), m_handedOver(std::move(handedOver)) {}
  ~Process() override {
    Process::End();
    close(m_fromIt);
  }

  std::string HandedOver() const override { return m_handedOver; }

  bool Tell(std::string_view line) override { return embedded::WriteAll(m_toIt, std::string(line) + '\n'); }

  std::optional<std::string> Hear() override {
    for (;;) {
      if (const size_t end = m_heard.find('\n'); end != std::string::npos) {
        std::string line = m_heard.substr(0, end);
        m_heard.erase(0, end + 1);
        return line;
      }
      char piece[65536];
      const ssize_t count = read(m_fromIt, piece, sizeof piece);
      if (count <= 0 && errno == EINTR) continue;
      if (count <= 0) return std::nullopt;
      m_heard.append(piece, static_cast<size_t>(count));
    }
  }

  void End() override {
    const std::lock_guard lock(m_mutex);
    if (m_ended) return;
    m_ended = true;
    close(m_toIt);
    constexpr int kTries = 500;
    constexpr timespec kPause{0, 10'000'000};
    for (int i = 0; i < kTries; ++i) {
      if (waitpid(m_process, nullptr, WNOHANG) != 0) return;
      nanosleep(&kPause, nullptr);
    }
    kill(m_process, SIGKILL);
    waitpid(m_process, nullptr, 0);
  }

 private:
  pid_t m_process;
  int m_toIt;
  int m_fromIt;
  std::string m_handedOver;
  std::string m_heard;
  std::mutex m_mutex;
  bool m_ended = false;
};

[[noreturn]] void Become(const std::string& argument, int input, int output, int listener) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  // Ctrl+C is for the process that watches over this one.
  setpgid(0, 0);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  dup2(input, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  if (listener >= 0) fcntl(listener, F_SETFD, 0);
  execl("/proc/self/exe", "marrowen", argument.c_str(), static_cast<char*>(nullptr));
  _exit(1);
}

}  // namespace

std::unique_ptr<Worker> Worker::Start(const std::string& argument, const Listener* listener) {
  // A process that has ended takes no line, and that is told by Tell.
  std::signal(SIGPIPE, SIG_IGN);
  int toIt[2];
  int fromIt[2];
  if (pipe2(toIt, O_CLOEXEC) != 0) return nullptr;
  if (pipe2(fromIt, O_CLOEXEC) != 0) {
    for (const int end : toIt) close(end);
    return nullptr;
  }
  const int shared = listener == nullptr ? -1 : static_cast<int>(listener->socket);
  const pid_t process = fork();
  if (process == 0) Become(argument, toIt[0], fromIt[1], shared);
  close(toIt[0]);
  close(fromIt[1]);
  if (process < 0) {
    close(toIt[1]);
    close(fromIt[0]);
    return nullptr;
  }
  return std::make_unique<Process>(process, toIt[1], fromIt[0], std::to_string(shared));
}

}  // namespace platform

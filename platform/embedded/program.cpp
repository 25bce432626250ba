#include "platform/program.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "platform/embedded/codepage.h"
#include "platform/embedded/controls.h"
#include "platform/embedded/paths.h"

namespace fs = std::filesystem;

namespace platform {
namespace {

constexpr std::array kEndingSignals{SIGINT, SIGTERM, SIGHUP};

void EndBySignal(int signal) {
  embedded::RemoveTemporaryFiles();
  std::signal(signal, SIG_DFL);
  raise(signal);
}

// The store's file is mapped: reading beyond its end, once it was cut short, comes here.
void EndByLostFile(int) {
  constexpr std::string_view kSentence =
      "marrowen: The file of the registry was cut short or can't be read any more; nothing was stored.\n";
  [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, kSentence.data(), kSentence.size());
  _exit(1);
}

bool IsIgnored(int signal) {
  struct sigaction action {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

constexpr std::string_view kScratch = "marrowen-";
constexpr const char* kLock = "/lock";

void RemoveAbandoned(const fs::path& place) {
  std::error_code error;
  for (fs::directory_iterator it(place, error), end; !error && it != end; it.increment(error)) {
    const std::string path = it->path().string();
    struct stat status {};
    if (!it->path().filename().string().starts_with(kScratch) || lstat(path.c_str(), &status) != 0 ||
        !S_ISDIR(status.st_mode) || status.st_uid != geteuid() || (status.st_mode & 077) != 0) {
      continue;
    }
    const int lock = open((path + kLock).c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW);
    if (lock < 0) continue;
    std::error_code ignored;
    if (flock(lock, LOCK_EX | LOCK_NB) == 0) fs::remove_all(path, ignored);
    close(lock);
  }
}

}  // namespace

void PrepareProgram() {
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
  // A program that takes crashes over a pipe gets them whatever the limit.
  if (const int filter = open("/proc/self/coredump_filter", O_WRONLY | O_CLOEXEC); filter >= 0) {
    [[maybe_unused]] const ssize_t ignored = write(filter, "0", 1);
    close(filter);
  }
  std::signal(SIGXFSZ, SIG_IGN);
  for (const int signal : kEndingSignals) {
    // What a parent has it ignore, as nohup does, stays ignored.
    if (std::signal(signal, EndBySignal) == SIG_IGN) std::signal(signal, SIG_IGN);
  }
  std::signal(SIGBUS, EndByLostFile);
}

void EndProgram(int status) {
  embedded::RemoveTemporaryFiles();
  _exit(status);
}

void OnWishToEnd(std::function<void()> end) {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : kEndingSignals) {
    if (!IsIgnored(signal)) sigaddset(&signals, signal);
  }
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::thread([signals, end = std::move(end)] {
    int signal = 0;
    while (sigwait(&signals, &signal) != 0) {
    }
    end();
  }).detach();
}

bool OutputIsTerminal() { return isatty(STDOUT_FILENO) != 0; }
bool WindowEndsWithProgram() { return false; }
bool ErrorsAreTerminal() { return isatty(STDERR_FILENO) != 0; }

std::string InputFile() { return "/dev/stdin"; }
std::string OutputFile() { return "/dev/stdout"; }

std::vector<std::string> Arguments(int argc, char** argv) { return {argv + 1, argv + argc}; }

fs::path PathOf(std::string_view text) { return embedded::AcpToUtf8(text); }
std::string TextOf(const fs::path& path) { return embedded::Utf8ToAcp(path.string()); }

fs::path ProgramFile() {
  std::error_code error;
  return fs::read_symlink("/proc/self/exe", error);
}

fs::path LibraryFile(std::string_view name) {
  return ProgramFile().parent_path() / ("lib" + std::string(name) + ".so");
}
void* LoadLibraryFile(const fs::path& file) { return dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL); }
void* FindFunction(void* library, const char* name) { return dlsym(library, name); }
void UnloadLibrary(void* library) { dlclose(library); }

void FillWithRandom(unsigned char* bytes, size_t count) {
  if (getrandom(bytes, count, 0) != static_cast<ssize_t>(count)) std::abort();
}

bool OpenForPerson(const std::string& fileOrAddress) {
  const pid_t process = fork();
  if (process != 0) return process > 0;
  // Nobody waits for it, and Ctrl+C here is not meant for it.
  setsid();
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  std::signal(SIGPIPE, SIG_DFL);
  execlp("xdg-open", "xdg-open", fileOrAddress.c_str(), static_cast<char*>(nullptr));
  _exit(1);
}

bool StartProgram(const std::string&, const std::string&) { return false; }

std::string HowToGetRights() { return {}; }

std::vector<Drive> Drives() {
  std::vector<Drive> drives;
  const auto drive = embedded::MapPath("C:\\");
  if (!drive) return drives;
  std::error_code error;
  for (fs::directory_iterator it(fs::path(*drive).parent_path(), error), end; !error && it != end;
       it.increment(error)) {
    std::string letter = it->path().filename().string();
    if (letter.size() != 1) continue;
    letter[0] = static_cast<char>(letter[0] - 'a' + 'A');
    drives.push_back({letter + ":\\", fs::canonical(it->path(), error)});
  }
  std::sort(drives.begin(), drives.end(), [](const Drive& a, const Drive& b) { return a.prefix < b.prefix; });
  return drives;
}

std::optional<fs::path> RealPath(std::string_view path) {
  const auto mapped = embedded::MapPath(path);
  if (!mapped || !mapped->starts_with('/')) return std::nullopt;
  std::error_code error;
  // The last part must not be a link to a place where nothing is yet.
  const fs::path place = fs::weakly_canonical(*mapped, error);
  if (error || fs::is_symlink(fs::symlink_status(place, error))) return std::nullopt;
  return place;
}

ScratchFolder::ScratchFolder() {
  std::error_code error;
  const fs::path place = fs::temp_directory_path(error);
  RemoveAbandoned(place);
  m_path = (place / (std::string(kScratch) + "XXXXXX")).string();
  if (mkdtemp(m_path.data()) == nullptr) {
    m_path.clear();
    return;
  }
  m_lock = open((m_path + kLock).c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (m_lock >= 0) flock(static_cast<int>(m_lock), LOCK_EX | LOCK_NB);
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  if (!m_path.empty()) fs::remove_all(m_path, ignored);
  if (m_lock >= 0) close(static_cast<int>(m_lock));
}

}  // namespace platform

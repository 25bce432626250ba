// What the store promises after a crash: the last event whole or not at all, whenever the process is killed.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <random>
#include <thread>

#include "platform/machine.h"
#include "platform/win32.h"

namespace {

constexpr int kRounds = 200;
constexpr int kKeys = 8;
constexpr int kAcknowledgements = 3;  // the file descriptor that a writer reports its commits on
constexpr int kInconsistent = 70;     // exit status of a writer that finds half an event

std::string KeyPath(int index) { return "Software\\CrashTest\\K" + std::to_string(index); }

std::optional<DWORD> ReadNumber(int index) {
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, KeyPath(index).c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
    return {};
  DWORD number = 0;
  DWORD size = sizeof number;
  const LSTATUS status =
      RegQueryValueExA(key, "n", nullptr, nullptr, reinterpret_cast<BYTE*>(&number), &size);
  RegCloseKey(key);
  if (status != ERROR_SUCCESS) return {};
  return number;
}

// The number that every key holds, 0 for a store without them; nothing if they disagree.
std::optional<DWORD> CommonNumber() {
  machine::BeginEvent();
  const std::optional<DWORD> first = ReadNumber(0);
  bool same = true;
  for (int i = 1; i < kKeys; ++i) same = same && ReadNumber(i) == first;
  machine::AbandonEvent();
  if (!same) return {};
  return first.value_or(0);
}

// One event over all keys: values change, and a subkey comes or goes.
bool WriteEvent(DWORD number) {
  machine::BeginEvent();
  for (int i = 0; i < kKeys; ++i) {
    HKEY key = nullptr;
    if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, KeyPath(i).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                        nullptr) != ERROR_SUCCESS) {
      return false;
    }
    RegSetValueExA(key, "n", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number);
    RegSetValueExA(key, ("v" + std::to_string(number % 5)).c_str(), 0, REG_SZ,
                   reinterpret_cast<const BYTE*>("text"), 4);
    HKEY below = nullptr;
    if (number % 2 == 0) {
      RegCreateKeyExA(key, "below", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &below, nullptr);
      RegCloseKey(below);
    } else {
      RegDeleteKeyA(key, "below");
    }
    RegCloseKey(key);
  }
  return static_cast<bool>(machine::CommitEvent());
}

// Runs in a process of its own, started below; ends by being killed.
TEST(CrashWriter, DISABLED_AppliesEventsUntilItIsKilled) {
  if (!machine::OpenHome(std::getenv("MARROWEN_CRASH_HOME"))) _exit(kInconsistent);
  const std::optional<DWORD> last = CommonNumber();
  if (!last) _exit(kInconsistent);
  for (DWORD number = *last + 1; WriteEvent(number); ++number) {
    if (write(kAcknowledgements, &number, sizeof number) != sizeof number) break;
  }
  _exit(1);
}

struct Writer {
  pid_t process;
  int acknowledgements;
};

Writer StartWriter(const std::string& home) {
  int ends[2];
  if (pipe(ends) != 0) std::abort();
  const pid_t process = fork();
  if (process == 0) {
    dup2(ends[1], kAcknowledgements);
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    setenv("MARROWEN_CRASH_HOME", home.c_str(), 1);
    execl("/proc/self/exe", "platform_tests", "--gtest_filter=CrashWriter.*",
          "--gtest_also_run_disabled_tests", nullptr);
    _exit(127);
  }
  close(ends[1]);
  return {process, ends[0]};
}

// The last acknowledged number; `wait` bounds the wait for the first one.
DWORD TakeAcknowledgements(int from, DWORD last, int waitMilliseconds) {
  pollfd waiting{from, POLLIN, 0};
  while (poll(&waiting, 1, waitMilliseconds) > 0) {
    DWORD number = 0;
    if (read(from, &number, sizeof number) != sizeof number) break;
    last = number;
    waitMilliseconds = 0;
  }
  return last;
}

// In another process's home, so that this one's own store is not touched.
TEST(Crash, KeepsTheLastEventWholeOrNotAtAll) {
  const auto home = std::filesystem::temp_directory_path() / ("marrowen-crash-" + std::to_string(getpid()));
  std::mt19937 random(20);  // NOLINT: the same moments at every run
  DWORD acknowledged = 0;
  for (int round = 0; round < kRounds; ++round) {
    const Writer writer = StartWriter(home.string());
    const DWORD before = acknowledged;
    acknowledged = TakeAcknowledgements(writer.acknowledgements, acknowledged, 20000);
    ASSERT_GT(acknowledged, before) << "round " << round << ": the writer did not start";
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 12000));
    kill(writer.process, SIGKILL);
    int status = 0;
    waitpid(writer.process, &status, 0);
    acknowledged = TakeAcknowledgements(writer.acknowledgements, acknowledged, 0);
    close(writer.acknowledgements);
    // A writer that found half an event, or could not open the store, has ended by itself.
    ASSERT_TRUE(WIFSIGNALED(status)) << "round " << round << ": status " << WEXITSTATUS(status);
  }
  // What was acknowledged is there, and at most the event that was under way besides.
  const pid_t reader = fork();
  if (reader == 0) {
    if (!machine::OpenHome(home.string())) _exit(kInconsistent);
    const std::optional<DWORD> last = CommonNumber();
    _exit(last && *last >= acknowledged && *last <= acknowledged + 1 ? 0 : kInconsistent);
  }
  int status = 0;
  waitpid(reader, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  std::filesystem::remove_all(home);
}

}  // namespace

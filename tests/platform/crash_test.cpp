// What the store promises when a process dies at any moment, and when two use one home: an event counts whole
// or not at all, reading never waits, and a second writer waits its turn.

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <vector>

#include "platform/embedded/controls.h"
#include "platform/machine.h"
#include "tests/support/registry_support.h"

namespace {

namespace fs = std::filesystem;
using namespace registry_test;

constexpr char kPath[] = "Software\\TesselWorks\\SSHD\\Crash";
constexpr int kKeys = 5;

// What parent and child tell each other.
struct Shared {
  std::atomic<int> stored;  // The last event whose commit returned.
  std::atomic<int> step;
};

class Crash : public ::testing::Test {
 protected:
  void SetUp() override {
    machine::CloseHome();
    std::string name = (fs::temp_directory_path() / "crash-test.XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    home = name;
    void* memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    shared = new (memory) Shared{};
  }
  void TearDown() override {
    machine::CloseHome();
    munmap(shared, sizeof(Shared));
    fs::remove_all(home);
  }

  // Runs `work` in a process of its own. The home must be closed.
  static pid_t Start(const std::function<void()>& work) {
    const pid_t child = fork();
    if (child == 0) {
      work();
      _exit(0);
    }
    return child;
  }
  static void Kill(pid_t child) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
  void Await(int step) const {
    while (shared->step.load() < step) usleep(200);
  }

  std::string home;
  Shared* shared = nullptr;
};

std::string KeyPath(int i) { return std::string(kPath) + "\\k" + std::to_string(i); }

// A text that differs from event to event in length and content, now and then as long as several pages.
std::string Content(int event) {
  return std::string(event % 10 == 0 ? 9000 : 10 + event % 300, 'a' + event % 26);
}

// One event over several keys, with keys and values that come and go.
void Apply(int event) {
  machine::BeginEvent();
  const std::string number = std::to_string(event);
  for (int i = 0; i < kKeys; ++i) {
    HKEY key = nullptr;
    RegCreateKeyA(HKEY_LOCAL_MACHINE, KeyPath(i).c_str(), &key);
    Set(key, "event", number);
    Set(key, "content", Content(event));
    Set(key, ("v" + number).c_str(), number);
    RegDeleteValueA(key, ("v" + std::to_string(event - 1)).c_str());
    Make(key, ("sub" + number).c_str());
    RegDeleteKeyA(key, ("sub" + std::to_string(event - 1)).c_str());
    RegCloseKey(key);
  }
  if (!machine::CommitEvent()) _exit(1);
}

// The event that the store holds, which it must hold whole; 0 for none, -1 for a torn one.
int Stored() {
  std::string first;
  for (int i = 0; i < kKeys; ++i) {
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, KeyPath(i).c_str(), 0, KEY_READ, &key) != 0) return i == 0 ? 0 : -1;
    const std::string event = Get(key, "event");
    if (i == 0) first = event;
    const bool whole = event == first && Get(key, "content") == Content(std::stoi(event)) &&
                       Values(key) == Names{"event", "content", "v" + event} &&
                       Subkeys(key) == Names{"sub" + event};
    RegCloseKey(key);
    if (!whole) return -1;
  }
  return std::stoi(first);
}

TEST_F(Crash, AKilledProcessLosesAnEventWholeOrKeepsItWhole) {
  constexpr int kKills = 220;
  uint32_t random = 4711;
  int last = 0;
  for (int round = 0; round < kKills; ++round) {
    random = random * 1664525u + 1013904223u;
    shared->stored = last;
    const pid_t child = Start([&] {
      if (!machine::OpenHome(home)) _exit(1);
      for (int event = last + 1;; ++event) {
        Apply(event);
        shared->stored = event;
      }
    });
    // Some die before they have begun or at their first event, the others anywhere behind it.
    const bool begun = round % 4 != 0;
    while (begun && shared->stored.load() == last && waitpid(child, nullptr, WNOHANG) == 0) usleep(200);
    usleep((random >> 8) % (round % 8 == 0 ? 3000 : 40000));
    Kill(child);
    const machine::Outcome opened = machine::OpenHome(home);
    ASSERT_TRUE(opened) << opened.sentence;
    const int found = Stored();
    ASSERT_GE(found, shared->stored.load()) << "of what was stored";
    ASSERT_LE(found, shared->stored.load() + 1);
    ASSERT_TRUE(!begun || found > last) << "a process ended by itself";
    last = found;
    machine::CloseHome();
  }
}

TEST_F(Crash, AHomeWhoseMakerWasKilledCanBeMade) {
  for (int round = 0; round < 30; ++round) {
    const std::string fresh = home + "/" + std::to_string(round);
    const pid_t child = Start([&] { machine::OpenHome(fresh); });
    usleep(static_cast<useconds_t>(round) * 400);
    Kill(child);
    const machine::Outcome opened = machine::OpenHome(fresh);
    ASSERT_TRUE(opened) << opened.sentence;
    EXPECT_EQ(CanOpen(HKEY_LOCAL_MACHINE, "Software\\TesselWorks\\SSHD\\Users\\Default"), 0);
    machine::CloseHome();
  }
}

TEST_F(Crash, TwoProcessesMakeOneHome) {
  std::vector<pid_t> children;
  for (int i = 0; i < 4; ++i) {
    children.push_back(Start([&] {
      if (!machine::OpenHome(home) || Make(HKEY_LOCAL_MACHINE, KeyPath(i).c_str()) != 0) _exit(1);
    }));
  }
  for (const pid_t child : children) {
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  ASSERT_TRUE(machine::OpenHome(home));
  for (int i = 0; i < 4; ++i) EXPECT_EQ(CanOpen(HKEY_LOCAL_MACHINE, KeyPath(i).c_str()), 0);
}

TEST_F(Crash, ReadersSeeWholeEventsAndWritersWait) {
  ASSERT_TRUE(machine::OpenHome(home));
  Apply(1);
  machine::CloseHome();
  const pid_t child = Start([&] {
    machine::OpenHome(home);
    machine::BeginEvent();
    HKEY key = nullptr;
    RegOpenKeyExA(HKEY_LOCAL_MACHINE, KeyPath(0).c_str(), 0, KEY_ALL_ACCESS, &key);
    Set(key, "event", "half");
    shared->step = 1;
    while (shared->step.load() < 2) usleep(200);
    usleep(100000);
    Set(key, "event", "1");
    shared->step = 3;
    machine::CommitEvent();
    Apply(2);
    shared->step = 4;
  });
  ASSERT_TRUE(machine::OpenHome(home));
  Await(1);
  EXPECT_EQ(Stored(), 1) << "reading does not wait, and does not see half an event";
  shared->step = 2;
  HKEY key = nullptr;
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kPath, 0, KEY_ALL_ACCESS, &key), 0);
  ASSERT_EQ(Set(key, "beside", "1"), 0);
  EXPECT_GE(shared->step.load(), 3) << "the second writer waited for the first";
  RegCloseKey(key);
  machine::BeginEvent();
  const int seen = Stored();
  Await(4);
  EXPECT_EQ(Stored(), seen) << "an event reads one state from its first read to its end";
  EXPECT_TRUE(machine::CommitEvent());
  EXPECT_EQ(Stored(), 2);
  waitpid(child, nullptr, 0);
}

TEST_F(Crash, NeitherAKilledReaderNorAnIdleOneKeepsOldPages) {
  ASSERT_TRUE(machine::OpenHome(home));
  Apply(1);
  for (const bool idle : {false, true}) {
    machine::CloseHome();
    shared->step = 0;
    const pid_t child = Start([&] {
      machine::OpenHome(home);
      if (!idle) machine::BeginEvent();
      Stored();
      if (idle) machine::GoIdle();
      shared->step = 1;
      pause();
    });
    Await(1);
    ASSERT_TRUE(machine::OpenHome(home));
    if (!idle) Kill(child);
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, KeyPath(0).c_str(), 0, KEY_ALL_ACCESS, &key), 0);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(Set(key, "large", std::string(200000, 'a' + i % 26)), 0);
    RegCloseKey(key);
    EXPECT_LT(fs::file_size(home + "/registry/data.mdb"), 4000000u) << idle;
    if (idle) Kill(child);
  }
}

TEST_F(Crash, OfTwoProcessesThatMakeAKeyOneIsToldThatItDid) {
  constexpr int kRaces = 100;
  const auto make_all = [&] {
    for (int i = 0; i < kRaces; ++i) {
      HKEY key = nullptr;
      DWORD disposition = 0;
      const std::string path = std::string(kPath) + "\\race" + std::to_string(i);
      RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_READ, nullptr, &key, &disposition);
      if (disposition == REG_CREATED_NEW_KEY) ++shared->stored;
      RegCloseKey(key);
    }
  };
  ASSERT_TRUE(machine::OpenHome(home));
  machine::CloseHome();
  const pid_t child = Start([&] {
    machine::OpenHome(home);
    shared->step = 1;
    make_all();
  });
  Await(1);
  ASSERT_TRUE(machine::OpenHome(home));
  make_all();
  waitpid(child, nullptr, 0);
  EXPECT_EQ(shared->stored.load(), kRaces);
}

// A program that rolls settings out may start them side by side.
TEST_F(Crash, ManyReadAtOnce) {
  constexpr int kReaders = 130;
  ASSERT_TRUE(machine::OpenHome(home));
  machine::CloseHome();
  std::vector<pid_t> readers;
  for (int i = 0; i < kReaders; ++i) {
    readers.push_back(Start([this] {
      if (machine::OpenHome(home) && CanOpen(HKEY_LOCAL_MACHINE, "Software") == 0) ++shared->stored;
      ++shared->step;
      for (;;) pause();
    }));
  }
  Await(kReaders);
  EXPECT_EQ(shared->stored.load(), kReaders);
  const machine::Outcome opened = machine::OpenHome(home);
  EXPECT_TRUE(opened) << opened.sentence;
  for (const pid_t reader : readers) Kill(reader);
}

}  // namespace

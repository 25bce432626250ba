// What an embedded computer tells of an event beyond what every machine does: of all computers of the home,
// of what was abandoned, of many values, and of what another process has written meanwhile.

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <set>

#include "platform/embedded/controls.h"
#include "platform/embedded/store.h"
#include "platform/machine.h"
#include "tests/support/registry_support.h"

namespace {

namespace fs = std::filesystem;
using namespace registry_test;
using machine::Change;

constexpr char kPath[] = "HKEY_LOCAL_MACHINE\\SOFTWARE\\RegistryTest";

Names Changes() {
  Names lines;
  machine::ForEachChange([&](const Change& change) {
    lines.push_back(change.computer + "|" + change.key + (change.isKey ? "|" : "|" + change.name + "|") +
                    (change.before ? change.before->data : "-") + ">" +
                    (change.after ? change.after->data : "-"));
  });
  return lines;
}

HKEY Open(HKEY parent, const std::string& path) {
  HKEY made = nullptr;
  EXPECT_EQ(RegCreateKeyA(parent, path.c_str(), &made), 0) << path;
  return made;
}

// Does `work` in a process of its own when it is told to. Made while no home is open.
class OtherProcess {
 public:
  explicit OtherProcess(const std::function<void()>& work) {
    EXPECT_EQ(pipe(m_to) + pipe(m_from), 0);
    m_child = fork();
    if (m_child != 0) return;
    char byte = 0;
    if (read(m_to[0], &byte, 1) == 1) work();
    _exit(write(m_from[1], &byte, 1) == 1 ? 0 : 1);
  }
  ~OtherProcess() {
    for (const int end : {m_to[0], m_to[1], m_from[0], m_from[1]}) close(end);
    waitpid(m_child, nullptr, 0);
  }
  OtherProcess(const OtherProcess&) = delete;
  OtherProcess& operator=(const OtherProcess&) = delete;
  void Run() const {
    char byte = 1;
    EXPECT_EQ(write(m_to[1], &byte, 1), 1);
    EXPECT_EQ(read(m_from[0], &byte, 1), 1);
  }

 private:
  int m_to[2] = {};
  int m_from[2] = {};
  pid_t m_child = 0;
};

class EventOnEmbedded : public ::testing::Test {
 protected:
  void SetUp() override {
    machine::CloseHome();
    home = (fs::temp_directory_path() / "changes-test.XXXXXX").string();
    ASSERT_NE(mkdtemp(home.data()), nullptr);
    OpenHome();
  }
  void TearDown() override {
    machine::CloseHome();
    fs::remove_all(home);
  }
  void OpenHome() {
    ASSERT_TRUE(machine::OpenHome(home));
    key = Open(HKEY_LOCAL_MACHINE, kScratch);
  }

  std::string home;
  HKEY key = nullptr;
};

TEST_F(EventOnEmbedded, TellsOfAllComputersAndOfRegistriesAlone) {
  ASSERT_TRUE(machine::AddComputer("Srv1"));
  ASSERT_TRUE(machine::AddComputer("base"));
  HKEY remote = nullptr;
  HKEY users = nullptr;
  ASSERT_EQ(RegConnectRegistryA("srv1", HKEY_LOCAL_MACHINE, &remote), 0);
  ASSERT_EQ(RegConnectRegistryA("base", HKEY_USERS, &users), 0);
  machine::BeginEvent();
  EXPECT_EQ(embedded::PutRecord("srv1", "service/Spooler", "stopped"), 0);
  RegCloseKey(Open(remote, "SOFTWARE\\new"));
  Set(key, "v", "1");
  Set(users, "v", "2");
  EXPECT_EQ(Changes(), (Names{std::string("|") + kPath + "|v|->1", "base|HKEY_USERS|v|->2",
                              "Srv1|HKEY_LOCAL_MACHINE\\SOFTWARE\\new|->"}));
  machine::AbandonEvent();
  EXPECT_EQ(Changes(), Names{});
  // Identifiers that were given in an abandoned event are given again.
  machine::BeginEvent();
  RegCloseKey(Open(key, "other"));
  EXPECT_EQ(Changes(), (Names{std::string("|") + kPath + "\\other|->"}));
  machine::AbandonEvent();
  // Outside an event nothing is told, and the next event does not tell of it.
  Set(key, "v", "3");
  EXPECT_EQ(Changes(), Names{});
  RegCloseKey(remote);
  RegCloseKey(users);
  ASSERT_TRUE(machine::StandOn("srv1"));
  key = Open(HKEY_LOCAL_MACHINE, kScratch);
  machine::BeginEvent();
  Set(key, "v", "1");
  EXPECT_EQ(Changes(), (Names{std::string("|") + kPath + "|v|->1"}));
}

TEST_F(EventOnEmbedded, TellsNamesApart) {
  // The first two share their place among the names; the third is longer than a place holds.
  const std::string longest(600, 'z');
  for (const std::string& name : {std::string("RUGPXS"), std::string("OQTUSM"), longest}) {
    ASSERT_EQ(Set(key, name.c_str(), "1"), 0);
  }
  RegCloseKey(Open(key, "J\xC3\x96RG"));
  machine::BeginEvent();
  Set(key, "OQTUSM", "2");
  Set(key, longest.c_str(), "2");
  Set(key, (longest + "2").c_str(), "2");
  HKEY jorg = Open(key, "j\xC3\xB6rg");
  Set(jorg, "v", "1");
  const std::string at = std::string("|") + kPath;
  Names expected = {at + "|OQTUSM|1>2", at + "|" + longest + "|1>2", at + "|" + longest + "2|->2",
                    at + "\\J\xC3\x96RG|v|->1"};
  Names changes = Changes();
  ASSERT_EQ(changes.size(), 4u);
  // Names that are too long for their order to be kept stand in any.
  if (changes[1] != expected[1]) std::swap(changes[1], changes[2]);
  EXPECT_EQ(changes, expected);
}

TEST_F(EventOnEmbedded, TellsOfARestoredHive) {
  HKEY below = Open(key, "below");
  Set(key, "v", "1");
  Set(below, "w", "1");
  ASSERT_EQ(RegSaveKeyA(key, "C:\\saved", nullptr), 0);
  Set(key, "v", "2");
  Set(below, "w", "2");
  RegCloseKey(below);
  machine::BeginEvent();
  ASSERT_EQ(RegRestoreKeyA(key, "C:\\saved", REG_FORCE_RESTORE), 0);
  EXPECT_EQ(Changes(),
            (Names{std::string("|") + kPath + "|v|2>1", std::string("|") + kPath + "\\below|w|2>1"}));
}

TEST_F(EventOnEmbedded, TellsOfManyValues) {
  constexpr int kMany = 100000;
  const auto write = [&](int from, const char* data) {
    for (int i = from; i < kMany; ++i) Set(key, std::to_string(i).c_str(), data);
  };
  machine::BeginEvent();
  write(0, "1");
  ASSERT_TRUE(machine::CommitEvent());
  machine::BeginEvent();
  write(0, "2");
  write(1, "1");
  write(kMany - 1, "3");
  EXPECT_EQ(Changes(), (Names{std::string("|") + kPath + "|0|1>2", std::string("|") + kPath + "|99999|1>3"}));
}

// What others changed is known by the key's record, and the clock is coarse.
TEST_F(EventOnEmbedded, EveryChangeOfAValueMovesTheTimeOfItsKey) {
  std::set<std::pair<DWORD, DWORD>> times;
  for (int i = 0; i < 100; ++i) {
    FILETIME time = {};
    Set(key, "v", std::to_string(i % 2));
    RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                     nullptr, &time);
    times.emplace(time.dwHighDateTime, time.dwLowDateTime);
  }
  EXPECT_EQ(times.size(), 100u);
}

TEST_F(EventOnEmbedded, TellsWhatOthersChangedOfWhatItHasRead) {
  for (const char* name : {"opened", "closed", "listed", "queried", "unread", "quiet", "parent", "gone"}) {
    HKEY made = Open(key, name);
    Set(made, "v", "1");
    RegCloseKey(made);
  }
  machine::CloseHome();
  const OtherProcess other([&] {
    OpenHome();
    for (const char* name : {"opened", "closed", "listed", "queried", "unread"}) {
      HKEY made = Open(key, name);
      Set(made, "v", "2");
      RegCloseKey(made);
    }
    Make(key, "parent\\missing");
    RegDeleteKeyA(key, "gone");
  });
  OpenHome();
  HKEY listed = Open(key, "listed");
  HKEY queried = Open(key, "queried");
  for (const bool changes : {true, false}) {
    machine::BeginEvent();
    HKEY opened = Open(key, "opened");
    for (const char* name : {"closed", "quiet", "gone"}) CanOpen(key, name);
    CanOpen(key, "parent\\missing");
    Values(listed);
    Get(queried, "v");
    EXPECT_EQ(machine::ChangedByOthers(), Names{});
    if (changes) other.Run();
    EXPECT_EQ(Get(opened, "v"), changes ? "1" : "2") << "an event reads one state";
    Set(opened, "mine", "1");
    const Names expected = {"\\closed", "\\gone", "\\listed", "\\opened", "\\parent", "\\queried"};
    const Names told = machine::ChangedByOthers();
    EXPECT_EQ(told.size(), changes ? expected.size() : 0);
    for (size_t i = 0; i < told.size(); ++i) EXPECT_EQ(told[i], kPath + expected[i]);
    EXPECT_EQ(Changes(), (Names{std::string("|") + kPath + "\\opened|mine|->1"}))
        << "what others wrote is not this event's";
    machine::AbandonEvent();
    EXPECT_EQ(machine::ChangedByOthers(), Names{});
    RegCloseKey(opened);
  }
}

TEST_F(EventOnEmbedded, OutsideEventsEveryOperationReadsTheNewestState) {
  Set(key, "v", "1");
  machine::CloseHome();
  const OtherProcess other([&] {
    OpenHome();
    Set(key, "v", "2");
    Set(key, "w", "2");
  });
  OpenHome();
  EXPECT_EQ(Get(key, "v"), "1");
  EXPECT_EQ(Values(key), (Names{"v"}));
  other.Run();
  EXPECT_EQ(Get(key, "v"), "2");
  EXPECT_EQ(Values(key), (Names{"v", "w"}));
}

}  // namespace

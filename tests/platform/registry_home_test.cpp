// Homes: what they are made as, what is refused, and the computers in them.

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <random>

#include "platform/embedded/codepage.h"
#include "platform/embedded/controls.h"
#include "platform/embedded/environment.h"
#include "platform/machine.h"
#include "tests/support/registry_support.h"

namespace {

namespace fs = std::filesystem;
using namespace registry_test;

constexpr char kSettings[] = "Software\\TesselWorks\\SSHD";

class RegistryHome : public ::testing::Test {
 protected:
  void SetUp() override {
    machine::CloseHome();
    std::string name = (fs::temp_directory_path() / "home-test.XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder = name;
  }
  void TearDown() override {
    machine::CloseHome();
    fs::remove_all(folder);
  }

  std::string Path(const char* name) const { return (folder / name).string(); }
  mode_t Mode(const std::string& path) const {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 0777;
  }
  static std::string Bytes(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  static std::string Value(HKEY root, const char* name) {
    HKEY key = nullptr;
    if (RegOpenKeyExA(root, kSettings, 0, KEY_READ, &key) != 0) return "no key";
    std::string value = Get(key, name);
    RegCloseKey(key);
    return value;
  }
  static LONG SetValue(HKEY root, const char* name, const std::string& data) {
    HKEY key = nullptr;
    LONG status = RegOpenKeyExA(root, kSettings, 0, KEY_SET_VALUE, &key);
    if (status == 0) status = Set(key, name, data);
    RegCloseKey(key);
    return status;
  }

  fs::path folder;
};

TEST_F(RegistryHome, IsPrivateWhateverTheUmask) {
  for (const mode_t mask : {0000, 0777}) {
    const std::string home = Path(mask == 0 ? "open/home" : "shut");
    const mode_t old = umask(mask);
    const machine::Outcome outcome = machine::OpenHome(home);
    umask(old);
    ASSERT_TRUE(outcome) << outcome.sentence;
    EXPECT_EQ(Mode(home), 0700u);
    EXPECT_EQ(Mode(home + "/registry"), 0700u);
    EXPECT_EQ(Mode(home + "/registry/data.mdb") & 077, 0u);
  }
  ASSERT_EQ(mkdir(Path("made").c_str(), 0755), 0);
  ASSERT_TRUE(machine::OpenHome(Path("made")));
  EXPECT_EQ(Mode(Path("made")), 0700u);
}

TEST_F(RegistryHome, AStoreThatCannotBeTrustedIsRefusedAndLeftAlone) {
  const std::string good = Path("good");
  ASSERT_TRUE(machine::OpenHome(good));
  machine::BeginEvent();
  for (int i = 0; i < 300; ++i) {
    ASSERT_EQ(SetValue(HKEY_LOCAL_MACHINE, std::to_string(i).c_str(), std::string(i == 7 ? 20000 : 500, 'x')),
              0);
  }
  ASSERT_TRUE(machine::CommitEvent());
  machine::CloseHome();
  const std::string whole = Bytes(good + "/registry/data.mdb");
  EXPECT_TRUE(embedded::PagesAreSound(good + "/registry/data.mdb"));
  std::string no_magic = whole;
  no_magic.replace(16, 8, 8, '\0').replace(4096 + 16, 8, 8, '\0');
  std::string other_format = whole;
  for (size_t at; (at = other_format.find("registry 2")) != std::string::npos;) other_format[at + 9] = '9';
  const struct {
    const char* what;
    std::string bytes;
  } cases[] = {
      {"half of it", whole.substr(0, whole.size() / 8192 * 4096)},
      {"all but the last page", whole.substr(0, whole.size() - 4096)},
      {"a piece of a page", whole.substr(0, 100)},
      {"nothing", ""},
      {"a text", std::string(20000, 'T')},
      {"no header", no_magic},
      {"a later format", other_format},
  };
  for (const auto& c : cases) {
    const std::string home = Path("bad");
    fs::remove_all(home);
    fs::create_directories(home + "/registry");
    std::ofstream(home + "/registry/data.mdb", std::ios::binary) << c.bytes;
    const machine::Outcome outcome = machine::OpenHome(home);
    EXPECT_NE(outcome.code, 0u) << c.what;
    EXPECT_NE(outcome.sentence.find(home), std::string::npos) << c.what << ": " << outcome.sentence;
    EXPECT_EQ(Bytes(home + "/registry/data.mdb"), c.bytes) << c.what;
    // Nothing goes to another home instead.
    EXPECT_NE(CanOpen(HKEY_LOCAL_MACHINE, "Software"), 0) << c.what;
  }
  std::ofstream(Path("short"), std::ios::binary) << whole.substr(0, whole.size() - 4096);
  EXPECT_FALSE(embedded::PagesAreSound(Path("short")));
  ASSERT_TRUE(machine::OpenHome(good));
  EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, "299"), std::string(500, 'x'));
}

// Values that grow, shrink and go, also twice in an event, of keys that come and go, in pages that split and
// merge.
TEST_F(RegistryHome, WhateverIsWrittenLeavesAStoreThatIsTrusted) {
  const std::string home = Path("home");
  ASSERT_TRUE(machine::OpenHome(home));
  std::mt19937 random(7);  // The same ones on every machine.
  const auto below = [&random](unsigned limit) { return random() % limit; };
  for (int event = 0; event < 150; ++event) {
    machine::BeginEvent();
    for (unsigned writes = below(30); writes > 0; --writes) {
      const std::string path =
          "Software\\Written\\" + std::string(1 + 60 * below(3), static_cast<char>('a' + below(4)));
      if (below(4) == 0) {
        DeleteTree(HKEY_LOCAL_MACHINE, path.c_str());
        continue;
      }
      ASSERT_EQ(Make(HKEY_LOCAL_MACHINE, path.c_str()), 0);
      HKEY key = nullptr;
      ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_ALL_ACCESS, &key), 0);
      const std::string name = std::to_string(below(3));
      if (below(3) == 0) {
        RegDeleteValueA(key, name.c_str());
      } else {
        EXPECT_EQ(Set(key, name.c_str(), std::string(below(below(3) == 0 ? 20000 : 300), 'x')), 0);
      }
      RegCloseKey(key);
    }
    ASSERT_TRUE(machine::CommitEvent());
    ASSERT_TRUE(embedded::PagesAreSound(home + "/registry/data.mdb")) << "after event " << event;
  }
}

TEST_F(RegistryHome, ADamagedAccessListIsTold) {
  const std::string home = Path("home");
  constexpr SECURITY_INFORMATION kAll =
      OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
  BYTE list[1024];
  HKEY key = nullptr;
  ASSERT_TRUE(machine::OpenHome(home));
  for (const bool damaged : {false, true}) {
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kSettings, 0, KEY_ALL_ACCESS, &key), 0);
    DWORD size = sizeof list;
    EXPECT_EQ(RegGetKeySecurity(key, kAll, list, &size), damaged ? ERROR_REGISTRY_CORRUPT : 0);
    EXPECT_EQ(RegSetKeySecurity(key, kAll, list), damaged ? ERROR_REGISTRY_CORRUPT : 0);
    EXPECT_EQ(Make(key, "below"), damaged ? ERROR_REGISTRY_CORRUPT : 0);
    if (damaged) break;
    EXPECT_EQ(RegDeleteKeyA(key, "below"), 0);
    machine::CloseHome();
    const std::string file = home + "/registry/data.mdb";
    std::string bytes = Bytes(file);
    const std::string stored(reinterpret_cast<const char*>(list), size);
    for (size_t at = 0; (at = bytes.find(stored, at)) != std::string::npos; ++at) bytes[at + 6] = '\x7F';
    std::ofstream(file, std::ios::binary) << bytes;
    ASSERT_TRUE(machine::OpenHome(home));
  }
  RegCloseKey(key);
}

TEST_F(RegistryHome, AnEventMayBeTheFirstUseOfAHome) {
  const std::string before = std::getenv("MARROWEN_HOME");
  SetEnvironmentVariableA("MARROWEN_HOME", Path("late").c_str());
  machine::BeginEvent();
  EXPECT_EQ(SetValue(HKEY_LOCAL_MACHINE, "v", "lost"), 0);
  machine::AbandonEvent();
  EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, "v"), "error 2");
  machine::BeginEvent();
  EXPECT_EQ(SetValue(HKEY_LOCAL_MACHINE, "v", "kept"), 0);
  EXPECT_TRUE(machine::CommitEvent());
  machine::CloseHome();
  EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, "v"), "kept");
  SetEnvironmentVariableA("MARROWEN_HOME", before.c_str());
}

TEST_F(RegistryHome, APlaceThatCannotBeAHomeIsNamed) {
  std::ofstream(Path("file")) << "text";
  for (const std::string& home : {Path("file"), Path("file") + "/below", std::string("/proc/home")}) {
    const machine::Outcome outcome = machine::OpenHome(home);
    EXPECT_NE(outcome.code, 0u) << home;
    EXPECT_NE(outcome.sentence.find(home), std::string::npos) << outcome.sentence;
    EXPECT_EQ(outcome.sentence.back(), '.');
  }
  EXPECT_EQ(Bytes(Path("file")), "text");
}

TEST_F(RegistryHome, AFullDiskLosesTheEventWholeAndNothingElse) {
  ASSERT_TRUE(machine::OpenHome(Path("home")));
  ASSERT_EQ(SetValue(HKEY_LOCAL_MACHINE, "v", "before"), 0);
  signal(SIGXFSZ, SIG_IGN);
  rlimit old{};
  getrlimit(RLIMIT_FSIZE, &old);
  const rlimit small = {fs::file_size(Path("home") + "/registry/data.mdb"), old.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  machine::BeginEvent();
  EXPECT_EQ(SetValue(HKEY_LOCAL_MACHINE, "v", "during"), 0);
  EXPECT_EQ(SetValue(HKEY_LOCAL_MACHINE, "large", std::string(4000000, 'x')), 0);
  const machine::Outcome outcome = machine::CommitEvent();
  setrlimit(RLIMIT_FSIZE, &old);
  EXPECT_EQ(outcome.code, DWORD{ERROR_DISK_FULL});
  EXPECT_EQ(outcome.sentence, "Nothing was stored: the disk is full.");
  EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, "v"), "before");
  EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, "large"), "error 2");
  EXPECT_EQ(SetValue(HKEY_LOCAL_MACHINE, "v", "after"), 0);
  machine::CloseHome();
  ASSERT_TRUE(machine::OpenHome(Path("home")));
  EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, "v"), "after");
}

TEST_F(RegistryHome, CanBeReadByWhoMayNotWriteIt) {
  const std::string home = Path("home");
  const std::string data = home + "/registry/data.mdb";
  const std::string locks = home + "/registry/lock.mdb";
  ASSERT_TRUE(machine::OpenHome(home));
  ASSERT_TRUE(machine::AddComputer("srv1"));
  ASSERT_EQ(SetValue(HKEY_LOCAL_MACHINE, "v", "1"), 0);
  machine::CloseHome();
  const std::string bytes = Bytes(data);
  chmod(folder.c_str(), 0755);
  for (const mode_t mode_of_locks : {0444, 0666}) {
    chmod(locks.c_str(), mode_of_locks);
    chmod(data.c_str(), 0444);
    for (const char* place : {"home/registry", "home"}) chmod(Path(place).c_str(), 0555);
    const pid_t child = fork();
    if (child == 0) {
      constexpr uid_t kNobody = 65534;
      EXPECT_TRUE(geteuid() != 0 || (setgid(kNobody) == 0 && setuid(kNobody) == 0));
      const machine::Outcome outcome = machine::OpenHome(home);
      EXPECT_TRUE(outcome) << outcome.sentence;
      EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, "v"), "1");
      EXPECT_EQ(machine::Computers(), (Names{"srv1"}));
      EXPECT_NE(embedded::ComputerFolder("srv1"), "");
      EXPECT_EQ(SetValue(HKEY_LOCAL_MACHINE, "v", "2"), ERROR_ACCESS_DENIED);
      EXPECT_EQ(Make(HKEY_LOCAL_MACHINE, "Software\\new"), ERROR_ACCESS_DENIED);
      EXPECT_EQ(machine::AddComputer("srv2").code, DWORD{ERROR_ACCESS_DENIED});
      machine::BeginEvent();
      EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, "v"), "1");
      EXPECT_EQ(SetValue(HKEY_LOCAL_MACHINE, "v", "2"), ERROR_ACCESS_DENIED);
      EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, "v"), "1");
      EXPECT_TRUE(machine::CommitEvent()) << "of nothing";
      _exit(HasFailure() ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0) << std::oct << mode_of_locks;
    for (const char* place : {"home", "home/registry"}) chmod(Path(place).c_str(), 0700);
  }
  EXPECT_EQ(Bytes(data), bytes);
}

TEST_F(RegistryHome, ComputersAreKeptApartByName) {
  ASSERT_TRUE(machine::OpenHome(Path("home")));
  for (const std::string& name :
       {std::string(), std::string("."), std::string(".."), std::string("../x"), std::string("a b"),
        std::string("a\\b"), std::string(64, 'n'), std::string(300, 'n')}) {
    const machine::Outcome outcome = machine::AddComputer(name);
    EXPECT_EQ(outcome.code, DWORD{ERROR_INVALID_COMPUTERNAME}) << name;
    EXPECT_LT(outcome.sentence.size(), 200u);
    EXPECT_NE(machine::RemoveComputer(name).code, 0u) << name;
  }
  ASSERT_TRUE(machine::AddComputer("srv2"));
  ASSERT_TRUE(machine::AddComputer("Branch-7.example"));
  EXPECT_EQ(machine::AddComputer("SRV2").code, DWORD{ERROR_ALREADY_EXISTS});
  EXPECT_EQ(machine::Computers(), (Names{"Branch-7.example", "srv2"}));

  HKEY remote = nullptr;
  ASSERT_EQ(RegConnectRegistryA("\\\\SRV2", HKEY_LOCAL_MACHINE, &remote), 0);
  ASSERT_EQ(SetValue(remote, "v", "remote"), 0);
  ASSERT_EQ(SetValue(HKEY_LOCAL_MACHINE, "v", "local"), 0);
  EXPECT_EQ(Value(remote, "v"), "remote");
  EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, "v"), "local");
  HKEY other = nullptr;
  EXPECT_EQ(RegConnectRegistryA("srv3", HKEY_LOCAL_MACHINE, &other), ERROR_BAD_NETPATH);
  EXPECT_EQ(RegConnectRegistryA("srv2", HKEY_CURRENT_USER, &other), ERROR_INVALID_HANDLE);

  const std::string place = embedded::ComputerFolder("SRV2");
  EXPECT_EQ(place, fs::canonical(folder).string() + "/home/computers/srv2");
  EXPECT_EQ(Mode(place), 0700u);
  EXPECT_EQ(embedded::ComputerFolder("srv3"), "");

  EXPECT_EQ(embedded::PutRecord("srv2", "service/Spooler", "stopped"), 0);
  machine::BeginEvent();
  ASSERT_TRUE(machine::RemoveComputer("srv2"));
  EXPECT_EQ(embedded::GetRecord("srv2", "service/Spooler"), std::nullopt);
  EXPECT_EQ(CanOpen(remote, kSettings), ERROR_KEY_DELETED);
  machine::AbandonEvent();
  EXPECT_EQ(embedded::GetRecord("SRV2", "service/spooler"), "stopped");
  EXPECT_EQ(Value(remote, "v"), "remote");
  EXPECT_TRUE(fs::exists(place));

  ASSERT_TRUE(machine::RemoveComputer("Srv2"));
  EXPECT_EQ(machine::RemoveComputer("srv2").code, DWORD{ERROR_BAD_NETPATH});
  EXPECT_EQ(machine::Computers(), (Names{"Branch-7.example"}));
  EXPECT_FALSE(fs::exists(place));
  EXPECT_EQ(RegConnectRegistryA("srv2", HKEY_LOCAL_MACHINE, &other), ERROR_BAD_NETPATH);
  RegCloseKey(remote);
}

TEST_F(RegistryHome, AProcessCanStandOnAnotherComputer) {
  ASSERT_TRUE(machine::OpenHome(folder.string()));
  EXPECT_EQ(SetValue(HKEY_LOCAL_MACHINE, "here", "local"), 0);
  ASSERT_TRUE(machine::AddComputer("srv1"));
  EXPECT_FALSE(machine::StandOn("nowhere"));
  machine::BeginEvent();
  EXPECT_FALSE(machine::StandOn("srv1"));
  machine::AbandonEvent();
  EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, "here"), "local");

  ASSERT_TRUE(machine::StandOn("SRV1"));
  EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, "here"), "error 2");
  EXPECT_EQ(SetValue(HKEY_LOCAL_MACHINE, "here", "there"), 0);
  char name[MAX_COMPUTERNAME_LENGTH + 1];
  DWORD size = sizeof name;
  EXPECT_NE(GetComputerNameA(name, &size), FALSE);
  EXPECT_STREQ(name, "SRV1");
  EXPECT_EQ(embedded::SetCodePage(1252), 0);
  EXPECT_EQ(GetACP(), 1252u);
  const std::string defaults = "/drives/c/TesselWorks/SSHD/Shared Files/marrowen_default_settings.xml";
  EXPECT_EQ(Mode(Path("computers/srv1") + defaults), 0600);
  EXPECT_EQ(Mode(Path("local") + defaults), 0600);

  machine::CloseHome();
  ASSERT_TRUE(machine::OpenHome(folder.string()));
  EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, "here"), "local");
  EXPECT_EQ(GetACP(), CP_UTF8);
}

}  // namespace

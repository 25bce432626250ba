// What lies around events: lists that were left open, files without a name, damage, and what others change
// while a person looks at it.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "configuration/byte_stream.h"
#include "configuration/settings_export.h"
#include "platform/embedded/controls.h"
#include "platform/embedded/store.h"
#include "platform/machine.h"
#include "store/key_security.h"
#include "tests/support/access_list.h"
#include "tests/support/registry_support.h"

namespace {

namespace fs = std::filesystem;
using namespace registry_test;

constexpr char kServer[] = "Software\\TesselWorks\\SSHD";
constexpr char kChild[] = "Software\\TesselWorks\\SSHD\\Edge";

class Edges : public ::testing::Test {
 protected:
  void SetUp() override {
    machine::CloseHome();
    std::string name = (fs::temp_directory_path() / "edges-test.XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder = name;
    home = folder + "/home";
    ASSERT_TRUE(machine::OpenHome(home));
  }
  void TearDown() override {
    machine::CloseHome();
    fs::remove_all(folder);
  }
  // In a process of its own, which ends as if it were killed.
  template <typename Work>
  void InAnother(Work work) const {
    machine::CloseHome();
    const pid_t child = fork();
    if (child == 0) {
      if (machine::OpenHome(home)) work();
      kill(getpid(), SIGKILL);
    }
    waitpid(child, nullptr, 0);
    ASSERT_TRUE(machine::OpenHome(home));
  }
  // A process that has done the work and waits for its end.
  template <typename Work>
  pid_t StartAnother(Work work) const {
    std::array<int, 2> ready{};
    EXPECT_EQ(pipe(ready.data()), 0);
    machine::CloseHome();
    const pid_t child = fork();
    if (child == 0) {
      if (machine::OpenHome(home)) work();
      if (write(ready[1], "x", 1) == 1) pause();
      _exit(1);
    }
    char byte = 0;
    EXPECT_EQ(read(ready[0], &byte, 1), 1);
    for (const int end : ready) close(end);
    EXPECT_TRUE(machine::OpenHome(home));
    return child;
  }
  static void End(pid_t process) {
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
  }
  static CString List(const char* path) { return ListOf(path); }
  static void Write(const char* path, const char* name, const std::string& text) {
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyA(HKEY_LOCAL_MACHINE, path, &key), 0);
    Set(key, name, text);
    RegCloseKey(key);
  }
  size_t FilesIn(const std::string& place) const {
    return static_cast<size_t>(std::distance(fs::directory_iterator(place), fs::directory_iterator()));
  }

  std::string folder;
  std::string home;
};

}  // namespace

TEST_F(Edges, AListThatWasLeftOpenIsPutBackOnceNobodyIsAtWork) {
  const CString before = List(kServer);
  {
    const key_security::OpenedUp opened(HKEY_LOCAL_MACHINE, kServer, KEY_ALL_ACCESS);
    EXPECT_NE(List(kServer), before);
  }
  EXPECT_EQ(List(kServer), before);
  EXPECT_NE(CanOpen(HKEY_LOCAL_MACHINE, "Software\\TesselWorks\\OpenedForExport"), 0);

  InAnother([] {
    machine::BeginEvent();
    new key_security::OpenedUp(HKEY_LOCAL_MACHINE, kServer, KEY_ALL_ACCESS);  // NOLINT: it is killed
    machine::CommitEvent();
  });
  const CString open = List(kServer);
  EXPECT_NE(open, before);
  {
    // A later export finds the list that was there first, not everyone's.
    const key_security::OpenedUp again(HKEY_LOCAL_MACHINE, kServer, KEY_ALL_ACCESS);
    EXPECT_EQ(List(kServer), open);
  }
  EXPECT_EQ(List(kServer), before);

  // Of two exports at once, the one that has opened the list closes it.
  const pid_t other = StartAnother(
      [] { new key_security::OpenedUp(HKEY_LOCAL_MACHINE, kServer, KEY_ALL_ACCESS); });  // NOLINT: as above
  {
    const key_security::OpenedUp beside(HKEY_LOCAL_MACHINE, kServer, KEY_ALL_ACCESS);
    EXPECT_EQ(List(kServer), open);
  }
  EXPECT_EQ(List(kServer), open);
  End(other);
  key_security::PutBackOpened(HKEY_LOCAL_MACHINE);
  EXPECT_EQ(List(kServer), before);

  InAnother(
      [] { new key_security::OpenedUp(HKEY_LOCAL_MACHINE, kServer, KEY_ALL_ACCESS); });  // NOLINT: as above
  EXPECT_EQ(List(kServer), open);
  key_security::PutBackOpened(HKEY_LOCAL_MACHINE);
  EXPECT_EQ(List(kServer), before);
  EXPECT_NE(CanOpen(HKEY_LOCAL_MACHINE, "Software\\TesselWorks\\OpenedForExport"), 0);
}

TEST_F(Edges, AFileThatIsNotFinishedIsInNobodysSight) {
  const std::string place = folder + "/out";
  fs::create_directory(place);
  const std::string file = place + "/a.xml";
  for (const bool older : {false, true}) {
    if (older) {
      std::ofstream(file) << "older";
      fs::permissions(file, fs::perms::all);
    }
    FileSink sink;
    ASSERT_TRUE(sink.Open(file));
    ASSERT_TRUE(sink.Write("new"));
    EXPECT_EQ(FilesIn(place), older ? 1u : 0u);
    EXPECT_TRUE(sink.Close());
    struct stat status {};
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    EXPECT_EQ(status.st_size, 3);
    EXPECT_EQ(FilesIn(place), 1u);
  }
  // A link is replaced and not followed.
  fs::create_symlink("a.xml", place + "/link");
  FileSink sink;
  ASSERT_TRUE(sink.Open(place + "/link") && sink.Write("linked") && sink.Close());
  EXPECT_EQ(fs::file_size(file), 3u);
  EXPECT_FALSE(fs::is_symlink(place + "/link"));
  ASSERT_TRUE(sink.Open("/dev/full") && sink.Write("x"));
  EXPECT_FALSE(sink.Close());
  EXPECT_EQ(sink.Error().code, DWORD{ERROR_DISK_FULL});
}

TEST_F(Edges, AStreamIsReadOnceAndServesTwice) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(write(ends[1], "abc", 3), 3);
  close(ends[1]);
  const std::string name = "/dev/fd/" + std::to_string(ends[0]);
  EXPECT_TRUE(IsStream(name));
  const SourceOpener open = RepeatableSource();
  for (int i = 0; i < 2; ++i) {
    char bytes[8];
    const auto source = open(name);
    ASSERT_NE(source, nullptr);
    EXPECT_EQ(source->Read(bytes), 3u);
    EXPECT_EQ(source->Read(bytes), 0u);
  }
  close(ends[0]);
}

// Each bit of an entry counts in its checksum, those of the last bytes too.
TEST_F(Edges, AFlippedBitOfAnEntryIsNoticed) {
  uint64_t number = 0x1200000007;
  const MDB_val key = {sizeof number, &number};
  for (size_t length = 0; length < 40; ++length) {
    std::string data(length, '\x5A');
    const uint32_t sum = embedded::SumOf(embedded::kValues, key, data);
    for (size_t bit = 0; bit < 8 * length; ++bit) {
      data[bit / 8] = static_cast<char>(data[bit / 8] ^ (1 << bit % 8));
      EXPECT_NE(embedded::SumOf(embedded::kValues, key, data), sum) << length << " bytes, bit " << bit;
      data[bit / 8] = static_cast<char>(data[bit / 8] ^ (1 << bit % 8));
    }
    EXPECT_NE(embedded::SumOf(embedded::kNames, key, data), sum);
  }
}

TEST_F(Edges, AFlippedBitOfAValueIsToldAndNothingMoreIsStored) {
  Write(kChild, "v", "what was written");
  machine::CloseHome();
  const std::string file = home + "/registry/data.mdb";
  std::ifstream in(file, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  for (size_t at = 0; (at = bytes.find("what was written", at)) != std::string::npos; ++at)
    bytes[at + 5] = 'h';
  std::ofstream(file, std::ios::binary) << bytes;
  ASSERT_TRUE(machine::OpenHome(home));
  EXPECT_EQ(machine::Damage(), "");
  HKEY key = nullptr;
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kChild, 0, KEY_READ, &key), 0);
  EXPECT_EQ(Get(key, "v"), "error " + std::to_string(ERROR_REGISTRY_CORRUPT));
  RegCloseKey(key);
  EXPECT_NE(machine::Damage().find("is damaged"), std::string::npos);
  machine::BeginEvent();
  Write(kServer, "other", "x");
  EXPECT_EQ(machine::CommitEvent().code, DWORD{ERROR_REGISTRY_CORRUPT});
  EXPECT_EQ(machine::CheckHome(home).code, DWORD{ERROR_REGISTRY_CORRUPT});
  std::string backup;
  EXPECT_FALSE(machine::BackUpHome(home, backup));
}

TEST_F(Edges, ABackupBringsBackWhatWasThere) {
  Write(kChild, "v", "first");
  std::string backup;
  for (int i = 0; i < 7; ++i) ASSERT_TRUE(machine::BackUpHome(home, backup));
  EXPECT_EQ(FilesIn(home + "/backups"), 5u);
  Write(kChild, "v", "second");
  machine::CloseHome();
  int go[2];
  int ready[2];
  ASSERT_EQ(pipe(go) + pipe(ready), 0);
  const pid_t child = fork();
  if (child == 0) {
    close(go[1]);
    machine::OpenHome(home);
    char byte = 'x';
    if (write(ready[1], &byte, 1) != 1 || read(go[0], &byte, 1) != 0) _exit(1);
    machine::BeginEvent();
    HKEY key = nullptr;
    RegCreateKeyA(HKEY_LOCAL_MACHINE, "Software\\TesselWorks\\Late", &key);
    _exit(static_cast<int>(machine::CommitEvent().code & 0xFF));
  }
  char byte;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  std::string used;
  ASSERT_TRUE(machine::RestoreHome(home, used));
  EXPECT_EQ(used, backup);
  // Who still has the store that was replaced says so when it is to write.
  EXPECT_EQ(close(go[1]), 0);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), ERROR_KEY_DELETED & 0xFF);
  ASSERT_TRUE(machine::OpenHome(home));
  HKEY key = nullptr;
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kChild, 0, KEY_READ, &key), 0);
  EXPECT_EQ(Get(key, "v"), "first");
  RegCloseKey(key);
}

TEST_F(Edges, AnEventKnowsWhatOthersHaveChangedSinceItWasShown) {
  Write(kChild, "v", "1");
  Write("Software\\TesselWorks\\SSHD\\Edge\\one", "v", "1");
  const auto look = [] {
    HKEY key = nullptr;
    RegOpenKeyExA(HKEY_LOCAL_MACHINE, kChild, 0, KEY_READ, &key);
    Get(key, "v");
    Subkeys(key);
    RegCloseKey(key);
  };
  const auto show = [&](bool firstCounts) {
    machine::BeginEvent();
    look();
    machine::KeepInMind(firstCounts);
    ASSERT_TRUE(machine::CommitEvent());
  };
  // The number of keys that others have changed, seen by an event that does the work.
  const auto changed = [](const std::function<void()>& work) {
    machine::BeginEvent();
    work();
    const size_t count = machine::ChangedSinceShown().size();
    machine::KeepInMind(true);
    machine::CommitEvent();
    return count;
  };
  const auto other = [this](const char* path, const char* name) {
    InAnother([path, name] { Write(path, name, "other"); });
  };
  const auto set = [](const char* text) { return [text] { Write(kChild, "v", text); }; };
  machine::RememberReads();
  show(false);
  EXPECT_EQ(changed(set("2")), 0u);
  EXPECT_EQ(changed(set("3")), 0u) << "its own writing is known";
  other(kChild, "w");
  EXPECT_EQ(changed(set("3")), 0u) << "nothing is changed by what stands there already";
  show(true);
  EXPECT_EQ(changed(set("4")), 1u) << "edits wait that began before";
  show(false);
  EXPECT_EQ(changed(set("5")), 0u);
  other("Software\\TesselWorks\\SSHD\\Edge\\two", "v");
  EXPECT_EQ(changed([] { DeleteTree(HKEY_LOCAL_MACHINE, "Software\\TesselWorks\\SSHD\\Edge\\two"); }), 1u);
}

TEST_F(Edges, AWriterThatWaitsSaysForWhomAndCanGiveUp) {
  const pid_t child = StartAnother([] {
    machine::BeginEvent();
    Write(kServer, "held", "x");
  });
  std::string told;
  machine::SetWaitTeller([&told](const std::string& who, int) {
    told = who;
    return false;
  });
  machine::BeginEvent();
  HKEY key = nullptr;
  EXPECT_EQ(RegCreateKeyA(HKEY_LOCAL_MACHINE, "Software\\TesselWorks\\Late", &key), ERROR_BUSY);
  EXPECT_EQ(told, "process " + std::to_string(child));
  EXPECT_EQ(machine::CommitEvent().code, DWORD{ERROR_BUSY});
  machine::SetWaitTeller({});
  End(child);
  machine::BeginEvent();
  Write(kServer, "late", "x");
  EXPECT_TRUE(machine::CommitEvent());
}

// What can't be read is told, and not left out in silence; what is not there is no failure.
TEST_F(Edges, AnExportTellsWhatItCannotRead) {
  EngineCallbacks ui;
  CString told;
  ui.unreadable = [&told](const CString& key, LSTATUS status) {
    told += key + " " + std::to_string(status) + "\n";
  };
  const auto exported = [&](const char* path) {
    XmlStringWriter writer;
    ExportRegistryKey(writer, false, path, nullptr, ui);
    return std::exchange(told, {});
  };
  Write(kChild, "v", "x");
  const CString server = CString("HKEY_LOCAL_MACHINE\\") + kServer;
  EXPECT_EQ(exported(server.c_str()), "");
  EXPECT_EQ(exported("HKEY_LOCAL_MACHINE\\Software\\Nothing"), "");
  machine::Caller reader;
  reader.limit = KEY_QUERY_VALUE;
  machine::SetCaller(reader);
  EXPECT_EQ(exported(server.c_str()), server + " 5\n");
  machine::SetCaller({});
}

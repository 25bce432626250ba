// The registry of an embedded computer beside LMDB alone: the same million values in 50,000 keys, written,
// read and enumerated through the registry functions and through one bare table.

#include <lmdb.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "platform/embedded/controls.h"
#include "platform/machine.h"

namespace fs = std::filesystem;

namespace {

constexpr int kKeys = 50000;
constexpr int kValues = 20;  // In each.
constexpr int kAll = kKeys * kValues;
constexpr int kReads = 1000000;
constexpr int kRounds = 9;
constexpr char kParent[] = "Software\\Bench";

void Check(bool good, const char* what) {
  if (good) return;
  std::fprintf(stderr, "failed: %s\n", what);
  std::exit(1);
}

double Seconds(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The best of a few rounds: what the work takes when nothing else does. The registry and the bare table take
// turns, so that a busy machine slows both.
struct Pair {
  double registry = 1e9;
  double bare = 1e9;
};

Pair Best(const std::function<void()>& registry, const std::function<void()>& bare) {
  Pair best;
  for (int i = 0; i < kRounds; ++i) {
    best.registry = std::min(best.registry, Seconds(registry));
    best.bare = std::min(best.bare, Seconds(bare));
  }
  return best;
}

std::string KeyName(int key) {
  char name[16];
  std::snprintf(name, sizeof name, "Key%05d", key);
  return name;
}

struct Names {
  std::vector<std::string> values;
  std::vector<std::string> keys;
  std::vector<std::pair<int, int>> reads;  // Key and value, at random.
};

Names MakeNames() {
  Names names;
  for (int i = 0; i < kValues; ++i) names.values.push_back("ValueName" + std::to_string(i));
  for (int i = 0; i < kKeys; ++i) names.keys.push_back(KeyName(i));
  uint32_t random = 12345;
  const auto next = [&] { return (random = random * 1664525u + 1013904223u) >> 8; };
  for (int i = 0; i < kReads; ++i) {
    names.reads.emplace_back(static_cast<int>(next() % kKeys), static_cast<int>(next() % kValues));
  }
  return names;
}

constexpr char kData[] = "data of it";  // 10 bytes.
constexpr DWORD kSize = sizeof kData - 1;

// The bare table: the key's name, a zero byte and the value's name.
class Bare {
 public:
  explicit Bare(const fs::path& folder) {
    fs::create_directory(folder);
    Check(mdb_env_create(&m_env) == 0, "mdb_env_create");
    mdb_env_set_mapsize(m_env, size_t{8} << 30);
    Check(mdb_env_open(m_env, folder.c_str(), MDB_NOTLS, 0600) == 0, "mdb_env_open");
  }
  ~Bare() { mdb_env_close(m_env); }
  Bare(const Bare&) = delete;
  Bare& operator=(const Bare&) = delete;

  void Write(const Names& names) {
    MDB_txn* txn = Begin(0);
    Check(mdb_dbi_open(txn, nullptr, 0, &m_table) == 0, "mdb_dbi_open");
    for (const std::string& key : names.keys) {
      for (const std::string& value : names.values) {
        const std::string place = key + '\0' + value;
        MDB_val k = {place.size(), const_cast<char*>(place.data())};
        MDB_val data = {kSize, const_cast<char*>(kData)};
        Check(mdb_put(txn, m_table, &k, &data, 0) == 0, "mdb_put");
      }
    }
    Check(mdb_txn_commit(txn) == 0, "mdb_txn_commit");
  }

  void Read(const Names& names, bool renew) {
    MDB_txn* txn = Begin(MDB_RDONLY);
    char buffer[64];
    for (const auto& [key, value] : names.reads) {
      if (renew) {
        mdb_txn_reset(txn);
        mdb_txn_renew(txn);
      }
      char place[64];
      const std::string& a = names.keys[static_cast<size_t>(key)];
      const std::string& b = names.values[static_cast<size_t>(value)];
      std::memcpy(place, a.data(), a.size());
      place[a.size()] = '\0';
      std::memcpy(place + a.size() + 1, b.data(), b.size());
      MDB_val k = {a.size() + 1 + b.size(), place};
      MDB_val data;
      Check(mdb_get(txn, m_table, &k, &data) == 0, "mdb_get");
      std::memcpy(buffer, data.mv_data, data.mv_size);
    }
    mdb_txn_abort(txn);
  }

  // `copy`: names and data into buffers, as an enumeration gives them.
  void Walk(bool copy) {
    MDB_txn* txn = Begin(MDB_RDONLY);
    MDB_cursor* cursor;
    Check(mdb_cursor_open(txn, m_table, &cursor) == 0, "mdb_cursor_open");
    MDB_val key;
    MDB_val data;
    int count = 0;
    volatile char sink = 0;
    char name[64];
    char bytes[64];
    for (int more = mdb_cursor_get(cursor, &key, &data, MDB_FIRST); more == 0;
         more = mdb_cursor_get(cursor, &key, &data, MDB_NEXT)) {
      if (copy) {
        std::memcpy(name, key.mv_data, key.mv_size);
        std::memcpy(bytes, data.mv_data, data.mv_size);
        sink = bytes[0];
      } else {
        sink = *static_cast<char*>(data.mv_data);
      }
      ++count;
    }
    Check(count == kAll, "the bare walk found all");
    (void)sink;
    mdb_cursor_close(cursor);
    mdb_txn_abort(txn);
  }

 private:
  MDB_txn* Begin(unsigned flags) {
    MDB_txn* txn = nullptr;
    Check(mdb_txn_begin(m_env, nullptr, flags, &txn) == 0, "mdb_txn_begin");
    return txn;
  }
  MDB_env* m_env = nullptr;
  MDB_dbi m_table = 0;
};

std::vector<HKEY> MakeKeys(const Names& names) {
  std::vector<HKEY> keys;
  HKEY parent = nullptr;
  machine::BeginEvent();
  Check(RegCreateKeyA(HKEY_LOCAL_MACHINE, kParent, &parent) == 0, "the parent");
  for (const std::string& name : names.keys) {
    Check(RegCreateKeyA(parent, name.c_str(), &keys.emplace_back()) == 0, "RegCreateKeyA");
  }
  Check(bool(machine::CommitEvent()), "CommitEvent");
  RegCloseKey(parent);
  return keys;
}

void Write(const std::vector<HKEY>& keys, const Names& names) {
  machine::BeginEvent();
  for (const HKEY key : keys) {
    for (const std::string& value : names.values) {
      const auto* data = reinterpret_cast<const BYTE*>(kData);
      Check(RegSetValueExA(key, value.c_str(), 0, REG_BINARY, data, kSize) == 0, "RegSetValueExA");
    }
  }
  Check(bool(machine::CommitEvent()), "CommitEvent");
}

void Read(const std::vector<HKEY>& keys, const Names& names) {
  BYTE data[64];
  for (const auto& [key, value] : names.reads) {
    DWORD size = sizeof data;
    Check(RegQueryValueExA(keys[static_cast<size_t>(key)], names.values[static_cast<size_t>(value)].c_str(),
                           nullptr, nullptr, data, &size) == 0,
          "RegQueryValueExA");
  }
}

void Enumerate(const Names& names) {
  HKEY parent = nullptr;
  Check(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kParent, 0, KEY_READ, &parent) == 0, "the parent");
  int count = 0;
  char name[256];
  BYTE data[256];
  for (const std::string& child : names.keys) {
    HKEY key = nullptr;
    Check(RegOpenKeyExA(parent, child.c_str(), 0, KEY_READ, &key) == 0, "RegOpenKeyExA");
    for (DWORD i = 0;; ++i) {
      DWORD name_size = sizeof name;
      DWORD size = sizeof data;
      if (RegEnumValueA(key, i, name, &name_size, nullptr, nullptr, data, &size) != 0) break;
      ++count;
    }
    RegCloseKey(key);
  }
  RegCloseKey(parent);
  Check(count == kAll, "the enumeration found all");
}

void InEvent(const std::function<void()>& work) {
  machine::BeginEvent();
  work();
  Check(bool(machine::CommitEvent()), "CommitEvent");
}

void Open(const std::string& home) {
  machine::CloseHome();
  Check(bool(machine::OpenHome(home)), "OpenHome");
}

void Row(const char* what, Pair times, int count) {
  std::printf("%-46s %9.0f ns %9.0f ns   %5.2f times\n", what, times.registry / count * 1e9,
              times.bare / count * 1e9, times.registry / times.bare);
}

}  // namespace

int main() {
  std::string base = (fs::temp_directory_path() / "registry-bench.XXXXXX").string();
  Check(mkdtemp(base.data()) != nullptr, "mkdtemp");
  const Names names = MakeNames();
  {
    Bare bare(base + "/bare");
    const std::string home = base + "/home";
    Check(bool(machine::OpenHome(home)), "OpenHome");
    const std::vector<HKEY> keys = MakeKeys(names);
    Pair write;
    write.bare = Seconds([&] { bare.Write(names); });
    write.registry = Seconds([&] { Write(keys, names); });
    std::printf("%-46s %12s %12s\n", "a value", "registry", "bare LMDB");
    Row("write a million in one event, on the disk", write, kAll);
    std::printf("%-46s %9.0f /s %9.0f /s\n", "", kAll / write.registry, kAll / write.bare);
    const auto read = [&] { Read(keys, names); };
    const auto enumerate = [&] { Enumerate(names); };
    const auto walk = [&] { bare.Walk(false); };
    const auto copy = [&] { bare.Walk(true); };
    Row("read one, within an event", Best([&] { InEvent(read); }, [&] { bare.Read(names, false); }), kReads);
    Row("read one, outside events (bare: renewed)", Best(read, [&] { bare.Read(names, true); }), kReads);
    Row("enumerate all, within an event", Best([&] { InEvent(enumerate); }, walk), kAll);
    Row("  the bare walk copies names and data", Best([&] { InEvent(enumerate); }, copy), kAll);
    Row("enumerate all, outside events", Best(enumerate, walk), kAll);
    Row("  the bare walk copies names and data", Best(enumerate, copy), kAll);
    const std::string empty = base + "/empty";
    Open(empty);
    const Pair open = Best([&] { Open(home); }, [&] { Open(empty); });
    std::printf("%-46s %9.0f us %9.0f us   %5.2f times\n", "open a home: a million values, none",
                open.registry * 1e6, open.bare * 1e6, open.registry / open.bare);
    machine::CloseHome();
  }
  fs::remove_all(base);
  return 0;
}

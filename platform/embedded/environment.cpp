#include "platform/embedded/environment.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace embedded {
namespace {

constexpr std::string_view kFormatKey = "marrowen";
constexpr std::string_view kFormat = "registry 2";
constexpr std::string_view kFormatWithoutSums = "registry 1";

struct TableKind {
  const char* name;
  unsigned flags;
};
constexpr TableKind kTableKinds[kTables] = {
    {"keys", 0},
    {"records", MDB_INTEGERKEY},
    {"names", MDB_INTEGERKEY},
    {"values", MDB_INTEGERKEY},
    {"security", MDB_INTEGERKEY},
};

// The map is address space, not memory or disk. Where as much is refused, less serves.
constexpr size_t kLargestMap = size_t{64} << 30;
constexpr size_t kSmallestMap = size_t{256} << 20;

machine::Outcome Failed(const std::string& file, int code, bool create) {
  const auto sentence = [&](const std::string& why) {
    return machine::Outcome{static_cast<DWORD>(Status(code)), "The registry \"" + file + "\" " + why};
  };
  switch (code) {
    case MDB_INVALID:
    case MDB_CORRUPTED:
    case MDB_PAGE_NOTFOUND:
      return sentence("is damaged, or is no registry of this console.");
    case MDB_NOTFOUND:
    case MDB_INCOMPATIBLE:
      return sentence("is no registry of this console.");
    case MDB_VERSION_MISMATCH:
      return sentence(
          "was made by another version of the console, and can't be read by this one. Take its settings over "
          "by \"export\" with that version and \"import\" with this one.");
    default:
      return sentence((create ? "can't be made: " : "can't be opened: ") + std::string(mdb_strerror(code)) +
                      ".");
  }
}

// Each process that has the home open is one; LMDB would have room for 126.
constexpr unsigned kMostReaders = 4000;

int OpenMapped(const std::string& folder, unsigned flags, Environment& result) {
  for (size_t map = kLargestMap;; map /= 2) {
    MDB_env* env = nullptr;
    int code = mdb_env_create(&env);
    if (code != 0) return code;
    result.env.reset(env);
    mdb_env_set_maxdbs(env, kTables);
    mdb_env_set_maxreaders(env, kMostReaders);
    mdb_env_set_mapsize(env, map);
    code = mdb_env_open(env, folder.c_str(), MDB_NOTLS | flags, 0600);
    if (code != ENOMEM || map <= kSmallestMap) return code;
  }
}

// Who may not write reads all the same; without locks where the file of the locks may not be written.
int OpenAsAllowed(const std::string& folder, bool create, Environment& result) {
  const int code = OpenMapped(folder, 0, result);
  if (create || (code != EACCES && code != EPERM && code != EROFS)) return code;
  const std::string locks = folder + "/lock.mdb";
  result.unlocked = faccessat(AT_FDCWD, locks.c_str(), W_OK, AT_EACCESS) != 0;
  return OpenMapped(folder, MDB_RDONLY | (result.unlocked ? MDB_NOLOCK : 0), result);
}

// MDB_CORRUPTED for damage in the state that is newest now, or soon.
int CheckNewest(MDB_env* env, const std::string& file) {
  PagesState state = PagesState::Gone;
  for (int i = 0; i < 5 && state != PagesState::Sound; ++i) {
    MDB_txn* txn = nullptr;
    if (const int code = mdb_txn_begin(env, nullptr, MDB_RDONLY, &txn); code != 0) return code;
    state = CheckPages(file, mdb_txn_id(txn));
    mdb_txn_abort(txn);
  }
  return state == PagesState::Damaged ? MDB_CORRUPTED : 0;
}

// Gives the entries of an older store their checksums.
int AddSums(Environment& environment) {
  MDB_txn* txn = nullptr;
  int code = mdb_txn_begin(environment.env.get(), nullptr, 0, &txn);
  if (code != 0) return code;
  MDB_dbi main = 0;
  MDB_val name = AsValue(kFormatKey);
  MDB_val format{};
  code = mdb_dbi_open(txn, nullptr, 0, &main);
  if (code == 0) code = mdb_get(txn, main, &name, &format);
  // Another process may have done it meanwhile.
  const bool needed = code == 0 && AsText(format) == kFormatWithoutSums;
  std::string sealed;
  for (int table = 0; table < kTables && code == 0 && needed; ++table) {
    MDB_cursor* cursor = nullptr;
    code = mdb_cursor_open(txn, environment.tables[table], &cursor);
    MDB_val key{};
    MDB_val data{};
    for (int step = code; step == 0;) {
      step = mdb_cursor_get(cursor, &key, &data, MDB_NEXT);
      if (step != 0) {
        code = step == MDB_NOTFOUND ? 0 : step;
        break;
      }
      const std::string place(AsText(key));
      const uint32_t sum = SumOf(static_cast<Table>(table), key, AsText(data));
      sealed.assign(AsText(data));
      sealed.append(reinterpret_cast<const char*>(&sum), sizeof sum);
      key = AsValue(place);
      data = AsValue(sealed);
      step = code = mdb_cursor_put(cursor, &key, &data, MDB_CURRENT);
    }
    if (cursor != nullptr) mdb_cursor_close(cursor);
  }
  format = AsValue(kFormat);
  if (code == 0 && needed) code = mdb_put(txn, main, &name, &format, 0);
  if (code != 0) {
    mdb_txn_abort(txn);
    return code;
  }
  return mdb_txn_commit(txn);
}

int OpenTables(Environment& environment, bool create) {
  MDB_txn* txn = nullptr;
  int code = mdb_txn_begin(environment.env.get(), nullptr, create ? 0 : MDB_RDONLY, &txn);
  if (code != 0) return code;
  MDB_dbi main = 0;
  code = mdb_dbi_open(txn, nullptr, 0, &main);
  MDB_val key = AsValue(kFormatKey);
  MDB_val format = AsValue(kFormat);
  if (code == 0 && create) code = mdb_put(txn, main, &key, &format, 0);
  if (code == 0 && !create) code = mdb_get(txn, main, &key, &format);
  environment.sums = code != 0 || AsText(format) != kFormatWithoutSums;
  if (code == 0 && environment.sums && AsText(format) != kFormat) code = MDB_VERSION_MISMATCH;
  for (int i = 0; i < kTables && code == 0; ++i) {
    code = mdb_dbi_open(txn, kTableKinds[i].name, kTableKinds[i].flags | (create ? MDB_CREATE : 0),
                        &environment.tables[i]);
  }
  if (code != 0) {
    mdb_txn_abort(txn);
    return code;
  }
  return mdb_txn_commit(txn);
}

}  // namespace

machine::Outcome OpenEnvironment(const std::string& folder, bool create, Environment& result) {
  const std::string file = folder + "/data.mdb";
  struct stat status;
  if (!create) {
    // LMDB would fill an empty file with a new, empty store.
    if (stat(file.c_str(), &status) != 0) return Failed(file, errno, create);
    if (!S_ISREG(status.st_mode) || status.st_size == 0) return Failed(file, MDB_INVALID, create);
    // Who may not read it is told so by LMDB.
    if (access(file.c_str(), R_OK) == 0 && !HeadIsSound(file)) return Failed(file, MDB_INVALID, create);
  }
  result.file = file;
  int code = OpenAsAllowed(folder, create, result);
  // A process that was killed while it read would keep its place among the readers, and old pages from being
  // used again.
  int dead = 0;
  if (code == 0) mdb_reader_check(result.env.get(), &dead);
  if (code == 0 && !create) code = CheckNewest(result.env.get(), file);
  if (code == 0) code = OpenTables(result, create);
  if (code == 0 && !result.sums) {
    const int added = AddSums(result);
    result.sums = added == 0;
    // Who may only read it reads it as it is.
    if (added != EACCES && added != EPERM && added != EROFS) code = added;
  }
  if (code != 0) {
    result.env.reset();
    return Failed(file, code, create);
  }
  return {};
}

bool EntriesAreSound(const Environment& environment) {
  MDB_txn* txn = nullptr;
  if (mdb_txn_begin(environment.env.get(), nullptr, MDB_RDONLY, &txn) != 0) return false;
  bool sound = true;
  for (int table = 0; table < kTables && sound && environment.sums; ++table) {
    MDB_cursor* cursor = nullptr;
    sound = mdb_cursor_open(txn, environment.tables[table], &cursor) == 0;
    MDB_val key{};
    MDB_val data{};
    while (sound && mdb_cursor_get(cursor, &key, &data, MDB_NEXT) == 0) {
      sound = TakeSum(static_cast<Table>(table), key, &data);
    }
    if (cursor != nullptr) mdb_cursor_close(cursor);
  }
  mdb_txn_abort(txn);
  return sound;
}

}  // namespace embedded

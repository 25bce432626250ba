#include "platform/embedded/homes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <vector>

#include "platform/embedded/controls.h"
#include "platform/embedded/environment.h"
#include "platform/machine.h"
#include "platform/text.h"

namespace fs = std::filesystem;

namespace embedded {
namespace {

using machine::Outcome;

constexpr size_t kBackupsKept = 5;
constexpr std::string_view kBackupStart = "registry-";
constexpr std::string_view kBackupEnd = ".mdb";
constexpr size_t kDailyKept = 3;
constexpr std::string_view kDailyStart = "daily-";
constexpr off_t kLargestDaily = 64 << 20;

std::string BackupFolder(const std::string& home) { return home + "/backups"; }

// The newest first: their names are the times at which they were made.
std::vector<std::string> Backups(const std::string& home, std::string_view start = kBackupStart) {
  std::vector<std::string> files;
  std::error_code error;
  for (fs::directory_iterator it(BackupFolder(home), error), end; !error && it != end; it.increment(error)) {
    const std::string name = it->path().filename().string();
    if (name.starts_with(start) && name.ends_with(kBackupEnd)) files.push_back(it->path().string());
  }
  std::ranges::sort(files, std::greater());
  return files;
}

std::string TimeNow() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm parts{};
  gmtime_r(&now.tv_sec, &parts);
  char text[40] = "";
  strftime(text, sizeof text, "%Y%m%d-%H%M%S.", &parts);
  const std::string fraction = std::to_string(1000000 + now.tv_nsec / 1000);
  return text + fraction.substr(1);
}

void KeepNewest(const std::vector<std::string>& backups, size_t count) {
  for (size_t i = count; i < backups.size(); ++i) unlink(backups[i].c_str());
}

// The time in a backup's name.
std::string TimeIn(const std::string& file) { return file.substr(file.rfind('-', file.rfind('-') - 1) + 1); }

// Those that people made first: they knew why.
std::vector<std::string> AllBackups(const std::string& home) {
  std::vector<std::string> all = Backups(home);
  for (std::string& daily : Backups(home, kDailyStart)) all.push_back(std::move(daily));
  return all;
}

// LMDB opens a file only once in a process: the locks of the first would go with the second.
std::string HomeNamed(std::string_view home) {
  if (EnvironmentInUse()) machine::CloseHome();
  std::error_code error;
  return fs::weakly_canonical(home.empty() ? DefaultHome() : std::string(home), error).string();
}

Outcome Failed(const std::string& what, int error) {
  return {static_cast<DWORD>(Status(error)), what + ": " + std::strerror(error) + "."};
}

// The folder's store, open, with all its entries looked at.
Outcome OpenSound(const std::string& folder, Environment& environment) {
  Outcome outcome = OpenEnvironment(folder, false, environment);
  if (outcome && !EntriesAreSound(environment)) {
    outcome = {ERROR_REGISTRY_CORRUPT, "The registry \"" + environment.file + "\" is damaged."};
  }
  return outcome;
}

// Of a home that nothing has used so far.
bool IsThere(const std::string& home) {
  std::error_code ignored;
  return fs::exists(home + "/registry", ignored);
}

Outcome NotThere(const std::string& home) {
  return {ERROR_PATH_NOT_FOUND, "There is no home \"" + home +
                                    "\" yet: the first command that shows or changes settings makes it."};
}

bool MakePrivateFolder(const std::string& folder) {
  return mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST;
}

// A folder that goes with all that is in it.
class ScratchFolder {
 public:
  explicit ScratchFolder(std::string pattern) : path(std::move(pattern)) {
    if (mkdtemp(path.data()) == nullptr) path.clear();
  }
  ~ScratchFolder() {
    std::error_code ignored;
    if (!path.empty()) fs::remove_all(path, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::string path;  // Empty where there is none.
};

// Swaps two folders at once, so that the place of neither is ever empty; one after the other where the file
// system can't.
int Swap(const std::string& one, const std::string& other) {
  if (renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  const std::string aside = one + ".aside";
  if (rename(other.c_str(), aside.c_str()) != 0) return errno;
  if (rename(one.c_str(), other.c_str()) == 0) return rename(aside.c_str(), one.c_str()) == 0 ? 0 : errno;
  const int code = errno;
  rename(aside.c_str(), other.c_str());
  return code;
}

// A restored store takes the whole folder's place, locks included: they belong to the old file. What stood
// there is kept under the name that `kept` gets.
Outcome Exchange(const std::string& fresh, const std::string& home, std::string& kept) {
  const std::string place = home + "/registry";
  std::error_code error;
  const bool stands = fs::exists(place, error);
  kept = stands ? place + ".replaced-" + TimeNow() : "";
  const std::string& next = stands ? kept : place;
  int code = rename(fresh.c_str(), next.c_str()) == 0 ? 0 : errno;
  if (code == 0 && stands) {
    code = Swap(kept, place);
    if (code != 0) fs::remove_all(kept, error);
  }
  return code == 0 ? Outcome{} : Failed("The restored registry can't be put in its place", code);
}

// Into a folder of a fixed name, so that one which was interrupted goes with the next.
bool CopyInto(const std::string& folder, const Environment& environment, const std::string& file) {
  std::error_code ignored;
  const std::string unfinished = folder + "/daily.unfinished";
  fs::remove_all(unfinished, ignored);
  if (!MakePrivateFolder(folder) || !MakePrivateFolder(unfinished)) return false;
  const std::string copy = unfinished + "/data.mdb";
  const bool made = mdb_env_copy2(environment.env.get(), unfinished.c_str(), MDB_CP_COMPACT) == 0 &&
                    chmod(copy.c_str(), 0600) == 0 && rename(copy.c_str(), file.c_str()) == 0;
  fs::remove_all(unfinished, ignored);
  return made;
}

}  // namespace

void KeepDailyCopy(const Environment& environment) {
  static std::string done;
  const std::string now = TimeNow();
  const std::string today = now.substr(0, now.find('-'));
  if (done == today) return;
  done = today;
  // One that is being made, or restored, lies elsewhere.
  const fs::path place = fs::path(environment.file).parent_path();
  if (place.filename() != "registry") return;
  const std::string home = place.parent_path().string();
  const std::vector<std::string> copies = Backups(home, kDailyStart);
  const std::string wanted = BackupFolder(home) + "/" + std::string(kDailyStart) + today;
  if (!copies.empty() && copies.front().starts_with(wanted)) return;
  struct stat about {};
  if (stat(environment.file.c_str(), &about) != 0 || about.st_size > kLargestDaily) return;
  if (!EntriesAreSound(environment)) return;
  const std::string file =
      BackupFolder(home) + "/" + std::string(kDailyStart) + now + std::string(kBackupEnd);
  if (CopyInto(BackupFolder(home), environment, file)) KeepNewest(Backups(home, kDailyStart), kDailyKept);
}

std::string HowToRestore(const std::string& home) {
  const std::vector<std::string> backups = AllBackups(home);
  if (backups.empty()) return "There is no backup of it.";
  std::string how = "Restore it by \"marrowen home restore\", from \"" + backups.front() + "\".";
  const std::vector<std::string> daily = Backups(home, kDailyStart);
  if (!daily.empty() && TimeIn(backups.front()) < TimeIn(daily.front()))
    how += " A newer one is \"" + daily.front() + "\": \"marrowen home restore FILE\" takes it.";
  return how;
}

}  // namespace embedded

namespace machine {

using namespace embedded;  // NOLINT: this is the embedded computer's part of the machine

Outcome CheckHome(std::string_view name) {
  const std::string home = HomeNamed(name);
  if (home.empty()) return NoHome();
  if (!IsThere(home)) return NotThere(home);
  Environment environment;
  Outcome outcome = OpenSound(home + "/registry", environment);
  if (outcome.code == ERROR_REGISTRY_CORRUPT) outcome.sentence += " " + HowToRestore(home);
  return outcome;
}

Outcome BackUpHome(std::string_view name, std::string& file) {
  const std::string home = HomeNamed(name);
  if (home.empty()) return NoHome();
  if (!IsThere(home)) return NotThere(home);
  Environment environment;
  if (Outcome outcome = OpenSound(home + "/registry", environment); !outcome) return outcome;
  const std::string folder = BackupFolder(home);
  if (!MakePrivateFolder(folder)) return Failed("The folder \"" + folder + "\" can't be made", errno);
  const ScratchFolder scratch(folder + "/new.XXXXXX");
  if (scratch.path.empty()) return Failed("The folder \"" + folder + "\" can't be written", errno);
  const int code = mdb_env_copy2(environment.env.get(), scratch.path.c_str(), MDB_CP_COMPACT);
  if (code != 0) return {static_cast<DWORD>(Status(code)), "The backup can't be written to its end."};
  if (chmod((scratch.path + "/data.mdb").c_str(), 0600) != 0)
    return Failed("The backup can't be made private", errno);
  file = folder + "/" + std::string(kBackupStart) + TimeNow() + std::string(kBackupEnd);
  if (rename((scratch.path + "/data.mdb").c_str(), file.c_str()) != 0) {
    return Failed("The backup \"" + file + "\" can't be made", errno);
  }
  KeepNewest(Backups(home), kBackupsKept);
  return {};
}

Outcome RestoreHome(std::string_view name, std::string& file) {
  const std::string home = HomeNamed(name);
  if (home.empty()) return NoHome();
  if (file.empty()) {
    const std::vector<std::string> all = AllBackups(home);
    if (all.empty()) return {ERROR_FILE_NOT_FOUND, "There is no backup of the home \"" + home + "\"."};
    file = all.front();
  }
  ScratchFolder fresh(home + "/registry.XXXXXX");
  if (fresh.path.empty()) return Failed("The home \"" + home + "\" can't be written", errno);
  std::error_code error;
  if (!fs::copy_file(file, fresh.path + "/data.mdb", error)) {
    return Failed("The backup \"" + file + "\" can't be read", error.value());
  }
  fs::permissions(fresh.path + "/data.mdb", fs::perms::owner_read | fs::perms::owner_write, error);
  {
    Environment environment;
    if (Outcome outcome = OpenSound(fresh.path, environment); !outcome) {
      outcome.sentence = text::Replaced(outcome.sentence, "registry \"" + fresh.path + "/data.mdb\"",
                                        "backup \"" + file + "\"");
      return outcome;
    }
  }
  std::string kept;
  Outcome outcome = Exchange(fresh.path, home, kept);
  if (outcome) fresh.path.clear();
  return outcome;
}

}  // namespace machine

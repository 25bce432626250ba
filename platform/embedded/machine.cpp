#include "platform/machine.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "platform/embedded/accounts.h"
#include "platform/embedded/codepage.h"
#include "platform/embedded/computer_keys.h"
#include "platform/embedded/controls.h"
#include "platform/embedded/environment.h"
#include "platform/embedded/homes.h"
#include "platform/embedded/installation.h"
#include "platform/embedded/registry_key.h"
#include "platform/embedded/values.h"

namespace fs = std::filesystem;

namespace embedded {
namespace {

using machine::Outcome;

std::string& OpenedHome() {
  static std::string& home = *new std::string;
  return home;
}

// The home that the host chose, though it may have failed to open: nothing goes to another one instead.
std::string& ChosenHome() {
  static std::string& home = *new std::string;
  return home;
}

// Empty where the account has none.
std::string FolderOfAccount() {
  passwd entry{};
  passwd* found = nullptr;
  std::array<char, 4096> texts{};
  getpwuid_r(geteuid(), &entry, texts.data(), texts.size(), &found);
  return found == nullptr ? "" : found->pw_dir;
}

}  // namespace

std::string DefaultHome() {
  const auto variable = [](const char* name) -> std::string {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
  };
  if (std::string home = variable("MARROWEN_HOME"); !home.empty()) return home;
  if (const std::string data = variable("XDG_DATA_HOME"); !data.empty()) return data + "/marrowen";
  std::string own = variable("HOME");
  if (own.empty()) own = FolderOfAccount();
  return own.empty() ? "" : own + "/.local/share/marrowen";
}

Outcome NoHome() {
  return {
      ERROR_PATH_NOT_FOUND,
      "There is no folder for the settings: neither HOME nor the account names one. Name it by \"--home\"."};
}

namespace {

Outcome HomeFailed(const std::string& home, const std::string& why, int error) {
  const LONG code = Status(error);
  return {static_cast<DWORD>(code), "The home \"" + home + "\" " + why + ": " + std::strerror(error) + "."};
}

// What is made is for its owner alone, and he can use it, whatever the umask.
class PrivateFiles {
 public:
  PrivateFiles() : m_old(umask(077)) {}
  ~PrivateFiles() { umask(m_old); }
  PrivateFiles(const PrivateFiles&) = delete;
  PrivateFiles& operator=(const PrivateFiles&) = delete;

 private:
  mode_t m_old;
};

// The folder of the home, for its owner alone. One that holds other files keeps its mode.
Outcome MakeFolder(const std::string& home) {
  struct stat status;
  if (stat(home.c_str(), &status) == 0 && !S_ISDIR(status.st_mode)) {
    return {ERROR_DIRECTORY, "The home \"" + home + "\" is a file, not a folder."};
  }
  std::error_code error;
  const bool made = !fs::exists(home, error);
  if (made) fs::create_directories(home, error);
  if (error) return HomeFailed(home, "can't be made", error.value());
  const bool empty = fs::is_empty(home, error);
  if (error) return HomeFailed(home, "can't be read", error.value());
  if (empty && chmod(home.c_str(), 0700) != 0) return HomeFailed(home, "can't be made private", errno);
  return {};
}

LONG FillStore() {
  Writing write;
  if (write.status != 0) return write.status;
  LONG status = MakeHomeKey(*write.txn);
  if (status == 0) status = MakeComputer(*write.txn, kLocalComputer);
  return write.Finish(status);
}

// Makes the store beside its place and moves it there: it is there whole or not at all, and of two processes
// that do so at once, one finds the other's.
Outcome MakeStore(const std::string& home) {
  std::string folder = home + "/registry.XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) return HomeFailed(home, "can't be written", errno);
  Environment environment;
  Outcome outcome = OpenEnvironment(folder, true, environment);
  if (outcome) outcome = UseEnvironment(std::move(environment));
  if (outcome) {
    LONG status = FillStore();
    if (status == 0) status = InstallFiles(home + "/local");
    CloseEnvironmentInUse();
    if (status != 0) {
      outcome = {static_cast<DWORD>(status), "The registry of the home \"" + home + "\" can't be written."};
    }
  }
  if (outcome && rename(folder.c_str(), (home + "/registry").c_str()) == 0) {
    const int place = open(home.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (place >= 0) {
      fsync(place);
      close(place);
    }
    return outcome;
  }
  const int error = errno;
  std::error_code ignored;
  fs::remove_all(folder, ignored);
  if (outcome && error != EEXIST && error != ENOTEMPTY) return HomeFailed(home, "can't be written", error);
  return outcome;
}

Outcome OpenOrMake(std::string home) {
  const PrivateFiles only_the_owners;
  Outcome outcome = MakeFolder(home);
  if (!outcome) return outcome;
  std::error_code error;
  home = fs::canonical(home, error).string();
  if (!fs::exists(home + "/registry", error)) outcome = MakeStore(home);
  Environment environment;
  if (outcome) outcome = OpenEnvironment(home + "/registry", false, environment);
  const bool lost = outcome.code == ERROR_REGISTRY_CORRUPT || outcome.code == ERROR_REGISTRY_IO_FAILED ||
                    outcome.code == ERROR_FILE_NOT_FOUND;
  if (lost) outcome.sentence += " " + HowToRestore(home);
  if (outcome) outcome = UseEnvironment(std::move(environment));
  if (outcome) OpenedHome() = home;
  return outcome;
}

bool IsComputerName(std::string_view name) {
  constexpr std::string_view kAllowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.";
  return !name.empty() && name.size() <= 63 && name.find_first_not_of(kAllowed) == std::string_view::npos &&
         name != "." && name != "..";
}

Outcome NotAName(std::string_view name) {
  constexpr size_t kShown = 63;
  const std::string shown = std::string(name.substr(0, kShown)) + (name.size() > kShown ? "..." : "");
  return {
      ERROR_INVALID_COMPUTERNAME,
      "\"" + shown + "\" is no name for a computer: 1 to 63 letters, digits, \"-\", \"_\" and \".\" are."};
}

Outcome ComputerFailed(std::string_view name, const char* what, LONG status) {
  if (status == 0) return {};
  const std::string why = status == ERROR_DISK_FULL       ? "the disk is full"
                          : status == ERROR_ACCESS_DENIED ? "access is denied"
                                                          : "error " + std::to_string(status);
  return {static_cast<DWORD>(status),
          "The computer \"" + std::string(name) + "\" can't be " + what + ": " + why + "."};
}

}  // namespace

LONG OpenDefaultHome() { return static_cast<LONG>(machine::OpenHome(ChosenHome()).code); }

std::string HomeFolder() {
  const Reading open;
  return open.status == 0 ? OpenedHome() : "";
}

std::string ComputerFolder(std::string_view computer) {
  const PrivateFiles only_the_owners;
  const Reading read;
  if (read.status != 0) return "";
  std::string folder = OpenedHome() + "/local";
  if (computer.empty() && StandsOn() != kLocalComputer) computer = StandsOn();
  if (!computer.empty()) {
    KeyId key = 0;
    KeyInfo info;
    if (!IsComputerName(computer) || FindComputer(*read.txn, computer, &key) != 0) return "";
    if (LoadKey(*read.txn, key, info) != 0) return "";
    folder = OpenedHome() + "/computers";
    mkdir(folder.c_str(), 0700);
    folder += "/" + std::string(info.name);
  }
  mkdir(folder.c_str(), 0700);
  return folder;
}

std::optional<std::string> GetRecord(std::string_view computer, std::string_view name) {
  const Reading read;
  KeyId key = 0;
  Value value;
  if (read.status != 0 || FindComputer(*read.txn, computer, &key) != 0) return std::nullopt;
  if (FindValue(*read.txn, key, name, value) != 0) return std::nullopt;
  return std::string(value.data);
}

LONG PutRecord(std::string_view computer, std::string_view name, std::string_view bytes) {
  Writing write;
  KeyId key = 0;
  if (write.status != 0) return write.status;
  LONG status = FindComputer(*write.txn, computer, &key);
  if (status == 0) status = PutValue(*write.txn, key, name, REG_BINARY, bytes);
  return write.Finish(status);
}

}  // namespace embedded

namespace machine {

using namespace embedded;  // NOLINT: this is the embedded computer's part of the machine

Outcome OpenHome(std::string_view home) {
  std::error_code error;
  std::string wanted = home.empty() ? DefaultHome() : std::string(home);
  if (wanted.empty()) return NoHome();
  if (EnvironmentInUse()) {
    if (fs::weakly_canonical(wanted, error).string() == OpenedHome()) return {};
    if (InEvent()) return {ERROR_BUSY, "Another home can't be opened while settings are written."};
    CloseHome();
  }
  ChosenHome() = home;
  // An event that begins before its home is there does not hold the making of the home.
  const bool in_event = InEvent();
  if (in_event) AbandonEvent();
  Outcome outcome = OpenOrMake(std::move(wanted));
  if (in_event) BeginEvent();
  return outcome;
}

void CloseHome() {
  CloseAllKeys();
  CloseEnvironmentInUse();
  ChosenHome().clear();
  SetStandsOn(kLocalComputer);
}

Outcome AddComputer(std::string_view name, UINT codePage) {
  if (!IsComputerName(name)) return NotAName(name);
  if (!IsCodePage(codePage)) {
    return {ERROR_INVALID_PARAMETER,
            "No computer can have the code page " + std::to_string(codePage) + ": 1252 is one, for example."};
  }
  Writing write;
  KeyId key = 0;
  LONG status = write.status;
  if (status == 0 && FindComputer(*write.txn, name, &key) == 0) {
    write.Finish(ERROR_ALREADY_EXISTS);
    return {ERROR_ALREADY_EXISTS, "There is a computer \"" + std::string(name) + "\" already."};
  }
  if (status == 0) status = MakeComputer(*write.txn, name);
  if (status == 0) status = FindComputer(*write.txn, name, &key);
  if (status == 0 && codePage != CP_UTF8)
    status = PutValue(*write.txn, key, kCodePageRecord, REG_BINARY, std::to_string(codePage));
  const std::string folder = ComputerFolder(name);
  std::error_code ignored;
  const bool stood = fs::exists(folder + "/drives", ignored);
  if (status == 0) status = InstallFiles(folder);
  if (write.status == 0) status = write.Finish(status);
  if (status != 0 && !stood) fs::remove_all(folder, ignored);
  return ComputerFailed(name, "added", status);
}

Outcome StandOn(std::string_view name) {
  if (name.empty()) name = kLocalComputer;
  if (name != kLocalComputer && !IsComputerName(name)) return NotAName(name);
  if (InEvent()) return {ERROR_BUSY, "Another computer can't be the local one while settings are written."};
  {
    const Reading read;
    KeyId key = 0;
    const LONG status = read.status != 0 ? read.status : FindComputer(*read.txn, name, &key);
    if (status == ERROR_FILE_NOT_FOUND) {
      return {ERROR_BAD_NETPATH, "There is no computer \"" + std::string(name) + "\"."};
    }
    if (status != 0) return ComputerFailed(name, "opened", status);
  }
  CloseAllKeys();
  SetStandsOn(name);
  return {};
}

std::string StandsOn() { return embedded::StandsOn() == kLocalComputer ? "" : embedded::StandsOn(); }

Outcome ActAs(const std::string& account) {
  if (account.empty()) {
    SetCaller({});
    return {};
  }
  const auto found = AccountByName(AcpToUtf8(account));
  if (!found) return {ERROR_NONE_MAPPED, "There is no account \"" + account + "\"."};
  SetCaller(
      {.sids = {found->sid, MakeSid(1, {SECURITY_WORLD_RID}), MakeSid(5, {SECURITY_AUTHENTICATED_USER_RID}),
                MakeSid(5, {SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_USERS})}});
  return {};
}

Outcome RemoveComputer(std::string_view name) {
  if (!IsComputerName(name)) return NotAName(name);
  Writing write;
  KeyId key = 0;
  LONG status = write.status;
  if (status == 0) status = FindComputer(*write.txn, name, &key);
  if (status == ERROR_FILE_NOT_FOUND) {
    write.Finish(status);
    return {ERROR_BAD_NETPATH, "There is no computer \"" + std::string(name) + "\"."};
  }
  if (status == 0) {
    const std::string folder = ComputerFolder(name);
    status = RemoveTree(*write.txn, key, true);
    if (status == 0) RemoveAtCommit(folder);
    status = write.Finish(status);
  }
  return ComputerFailed(name, "removed", status);
}

std::vector<std::string> Computers() {
  std::vector<std::string> names;
  const Reading read;
  Position at;
  KeyId computer = 0;
  KeyInfo info;
  if (read.status != 0) return names;
  for (DWORD i = 0; SubkeyAt(*read.txn, kHomeKey, i, at, &computer) == 0; ++i) {
    if (LoadKey(*read.txn, computer, info) != 0) return names;
    if (info.name != kLocalComputer) names.emplace_back(info.name);
  }
  return names;
}

}  // namespace machine

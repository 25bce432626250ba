#include "platform/embedded/win32/files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/embedded/access.h"
#include "platform/embedded/codepage.h"
#include "platform/embedded/controls.h"
#include "platform/embedded/fail.h"
#include "platform/embedded/handles.h"
#include "platform/embedded/paths.h"
#include "platform/embedded/random.h"
#include "platform/embedded/win32/security.h"
#include "platform/embedded/win32/system.h"
#include "platform/text.h"

namespace embedded {
namespace {

BOOL FailErrno(const std::string& path) { return Fail(FileError(errno, path)); }

// The names of temporary files that have one, for a signal's handler: it can't wait for a lock.
constexpr size_t kMostNamed = 8;
std::array<char[PATH_MAX], kMostNamed> namedFiles;
std::array<std::atomic<bool>, kMostNamed> nameInUse;

struct File : Object {
  explicit File(int descriptor) : fd(descriptor) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() override {
    if (!temporaryName.empty()) unlink(temporaryName.c_str());
    Forget();
    close(fd);
  }

  void Note(const std::string& name) {
    temporaryName = name;
    for (size_t i = 0; i < kMostNamed && noted < 0 && name.size() < PATH_MAX; ++i) {
      if (nameInUse[i]) continue;
      std::memcpy(namedFiles[i], name.c_str(), name.size() + 1);
      nameInUse[i] = true;
      noted = static_cast<int>(i);
    }
  }
  void Forget() {
    if (noted >= 0) nameInUse[static_cast<size_t>(noted)] = false;
    noted = -1;
    temporaryName.clear();
  }

  int fd;
  bool temporary = false;
  std::string temporaryName{};  // where the file system knows no files without a name
  int noted = -1;
};

// The process's own open file that the path stands for; -1 for another path.
int OwnDescriptor(const std::string& path) {
  if (path == "/dev/stdin") return STDIN_FILENO;
  if (path == "/dev/stdout") return STDOUT_FILENO;
  if (path == "/dev/stderr") return STDERR_FILENO;
  for (const std::string_view start : {"/dev/fd/", "/proc/self/fd/"}) {
    if (!path.starts_with(start)) continue;
    int number = -1;
    const char* const end = path.data() + path.size();
    const auto [rest, error] = std::from_chars(path.data() + start.size(), end, number);
    return error == std::errc() && rest == end ? number : -1;
  }
  return -1;
}

std::string FolderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

constexpr std::string_view kTemporaryStart = ".marrowen-";

// A process that is killed in the moment in which its file changes names leaves it there. Its lock has gone
// with it: so the next one knows whose it is.
void RemoveAbandoned(const std::string& folder) {
  std::error_code error;
  for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
    const std::string name = it->path().filename().string();
    if (!name.starts_with(kTemporaryStart)) continue;
    const int file = open(it->path().c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    struct stat status {};
    const bool ours = file >= 0 && fstat(file, &status) == 0 && S_ISREG(status.st_mode) &&
                      status.st_uid == geteuid() && (status.st_mode & 0777) == 0600;
    if (ours && flock(file, LOCK_EX | LOCK_NB) == 0) unlink(it->path().c_str());
    if (file >= 0) close(file);
  }
}

HANDLE OpenTemporary(const std::string& path) {
  RemoveAbandoned(FolderOf(path));
  int fd = open(FolderOf(path).c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
  const bool named = fd < 0 && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL);
  if (named) fd = open(path.c_str(), O_CREAT | O_EXCL | O_NOFOLLOW | O_WRONLY | O_CLOEXEC, 0600);
  if (fd < 0) return Fail(FileError(errno, path)), INVALID_HANDLE_VALUE;
  auto file = std::make_shared<File>(fd);
  file->temporary = true;
  flock(fd, LOCK_EX | LOCK_NB);
  if (named) file->Note(path);
  // The umask may have taken away what the owner needs.
  if (fchmod(fd, 0600) != 0) return FailErrno(path), INVALID_HANDLE_VALUE;
  SetLastError(ERROR_SUCCESS);
  return OpenHandle(std::move(file));
}

// No signal ends the process while the file has a name that is not its own.
class WithoutSignals {
 public:
  WithoutSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &m_before);
  }
  ~WithoutSignals() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
  WithoutSignals(const WithoutSignals&) = delete;
  WithoutSignals& operator=(const WithoutSignals&) = delete;

 private:
  sigset_t m_before;
};

BOOL GiveName(File& file, const std::string& path, bool replace) {
  const WithoutSignals whole;
  if (file.temporaryName.empty()) {
    const std::string open = "/proc/self/fd/" + std::to_string(file.fd);
    const auto link = [&open](const std::string& name) {
      return linkat(AT_FDCWD, open.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
    };
    if (link(path)) return TRUE;
    if (errno != EEXIST || !replace) return FailErrno(path);
    // A name that is taken is replaced by another one alone.
    std::array<unsigned char, 8> random{};
    FillRandom(random.data(), random.size());
    std::string other = FolderOf(path) + "/" + std::string(kTemporaryStart);
    for (const unsigned char byte : random) other += "0123456789abcdef"[byte & 15];
    if (!link(other)) return FailErrno(path);
    file.Note(other);
  }
  if (rename(file.temporaryName.c_str(), path.c_str()) != 0) return FailErrno(path);
  file.Forget();
  return TRUE;
}

// Whether a file made with this descriptor is for the owner alone: it has a DACL, and nobody who is on every
// machine is let in by it.
bool IsSecret(const SECURITY_ATTRIBUTES* attributes) {
  if (attributes == nullptr || attributes->lpSecurityDescriptor == nullptr) return false;
  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  PACL dacl = nullptr;
  if (GetSecurityDescriptorDacl(attributes->lpSecurityDescriptor, &present, &dacl, &defaulted) == FALSE ||
      present == FALSE || dacl == nullptr) {
    return false;
  }
  const SidBytes everyone[] = {MakeSid(1, {SECURITY_WORLD_RID}),
                               MakeSid(5, {SECURITY_AUTHENTICATED_USER_RID}),
                               MakeSid(5, {SECURITY_INTERACTIVE_RID}),
                               MakeSid(5, {SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_USERS}),
                               MakeSid(5, {SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_GUESTS})};
  for (DWORD i = 0; i < dacl->AceCount; ++i) {
    LPVOID address = nullptr;
    if (GetAce(dacl, i, &address) == FALSE) return true;
    auto* ace = static_cast<ACCESS_ALLOWED_ACE*>(address);
    if (ace->Header.AceType != ACCESS_ALLOWED_ACE_TYPE) continue;
    if (std::ranges::count(everyone, SidOf(&ace->SidStart)) != 0) return false;
  }
  return true;
}

int OpenFlags(DWORD access, DWORD disposition) {
  const bool reads = (access & (GENERIC_READ | GENERIC_ALL | 0x0001)) != 0;    // FILE_READ_DATA
  const bool writes = (access & (GENERIC_WRITE | GENERIC_ALL | 0x0002)) != 0;  // FILE_WRITE_DATA
  const bool appends = !writes && (access & 0x0004) != 0;                      // FILE_APPEND_DATA
  int flags = O_CLOEXEC | (writes || appends ? (reads ? O_RDWR : O_WRONLY) : O_RDONLY);
  if (appends) flags |= O_APPEND;
  if (disposition == CREATE_NEW) flags |= O_CREAT | O_EXCL;
  if (disposition == CREATE_ALWAYS) flags |= O_CREAT | O_TRUNC;
  if (disposition == OPEN_ALWAYS) flags |= O_CREAT;
  if (disposition == TRUNCATE_EXISTING) flags |= O_TRUNC;
  return flags;
}

std::shared_ptr<File> FindFile(HANDLE handle) { return Find<File>(handle); }

}  // namespace

void RemoveTemporaryFiles() {
  for (size_t i = 0; i < kMostNamed; ++i) {
    if (nameInUse[i]) unlink(namedFiles[i]);
  }
}

}  // namespace embedded

using namespace embedded;

HANDLE WINAPI CreateFileA(LPCSTR path, DWORD access, DWORD, LPSECURITY_ATTRIBUTES attributes,
                          DWORD disposition, DWORD flags, HANDLE) {
  const auto failed = [](DWORD code) { return Fail(code), INVALID_HANDLE_VALUE; };
  if (disposition < CREATE_NEW || disposition > TRUNCATE_EXISTING) return failed(ERROR_INVALID_PARAMETER);
  const std::optional<std::string> mapped = MapPath(path == nullptr ? "" : path);
  if (!mapped) return INVALID_HANDLE_VALUE;
  if (disposition == CREATE_NEW && (flags & FILE_ATTRIBUTE_TEMPORARY) != 0) return OpenTemporary(*mapped);
  if (const int own = OwnDescriptor(*mapped); own >= 0) {
    const int copy = fcntl(own, F_DUPFD_CLOEXEC, 0);
    if (copy < 0) return failed(ERROR_FILE_NOT_FOUND);
    return OpenHandle(std::make_shared<File>(copy));
  }
  struct stat status {};
  const bool existed = stat(mapped->c_str(), &status) == 0;
  const bool folder = existed && S_ISDIR(status.st_mode);
  if (folder && disposition == CREATE_NEW) return failed(ERROR_FILE_EXISTS);
  // Folders open for their own sake alone, as Windows has it.
  if (folder && (flags & FILE_FLAG_BACKUP_SEMANTICS) == 0) return failed(ERROR_ACCESS_DENIED);
  const bool secret = IsSecret(attributes);
  const int fd = folder ? open(mapped->c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)
                        : open(mapped->c_str(), OpenFlags(access, disposition), secret ? 0600 : 0666);
  if (fd < 0) return failed(FileError(errno, *mapped));
  // The umask may have taken away what the owner needs.
  if (secret && !existed && fchmod(fd, 0600) != 0) {
    const DWORD code = FileError(errno, *mapped);
    close(fd);
    return failed(code);
  }
  const bool reused = existed && (disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS);
  SetLastError(reused ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
  return OpenHandle(std::make_shared<File>(fd));
}

BOOL WINAPI ReadFile(HANDLE handle, LPVOID buffer, DWORD size, LPDWORD done, LPOVERLAPPED) {
  const auto file = FindFile(handle);
  if (!file) return FALSE;
  DWORD total = 0;
  while (total < size) {
    const ssize_t got = read(file->fd, static_cast<char*>(buffer) + total, size - total);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return FailErrno("");
    if (got == 0) break;
    total += static_cast<DWORD>(got);
  }
  if (done != nullptr) *done = total;
  return TRUE;
}

BOOL WINAPI WriteFile(HANDLE handle, LPCVOID buffer, DWORD size, LPDWORD done, LPOVERLAPPED) {
  const auto file = FindFile(handle);
  if (!file) return FALSE;
  DWORD total = 0;
  while (total < size) {
    const ssize_t put = write(file->fd, static_cast<const char*>(buffer) + total, size - total);
    if (put < 0 && errno == EINTR) continue;
    if (done != nullptr) *done = total;
    if (put < 0) return FailErrno("");
    total += static_cast<DWORD>(put);
  }
  if (done != nullptr) *done = total;
  return TRUE;
}

BOOL WINAPI GetFileSizeEx(HANDLE handle, PLARGE_INTEGER size) {
  const auto file = FindFile(handle);
  if (!file) return FALSE;
  struct stat status {};
  if (fstat(file->fd, &status) != 0) return FailErrno("");
  size->QuadPart = status.st_size;
  return TRUE;
}

BOOL WINAPI FlushFileBuffers(HANDLE handle) {
  const auto file = FindFile(handle);
  if (!file) return FALSE;
  return fsync(file->fd) == 0 || errno == EINVAL || errno == EROFS ? TRUE : FailErrno("");
}

DWORD WINAPI GetFileAttributesA(LPCSTR path) {
  const std::optional<std::string> mapped = MapPath(path == nullptr ? "" : path);
  if (!mapped) return INVALID_FILE_ATTRIBUTES;
  struct stat status {};
  if (const int own = OwnDescriptor(*mapped); own >= 0) {
    return fstat(own, &status) == 0 ? FILE_ATTRIBUTE_DEVICE : (FailErrno(*mapped), INVALID_FILE_ATTRIBUTES);
  }
  if (stat(mapped->c_str(), &status) != 0) return FailErrno(*mapped), INVALID_FILE_ATTRIBUTES;
  if (S_ISDIR(status.st_mode)) return FILE_ATTRIBUTE_DIRECTORY;
  return S_ISREG(status.st_mode) ? FILE_ATTRIBUTE_NORMAL : FILE_ATTRIBUTE_DEVICE;
}

BOOL WINAPI SetFileInformationByHandle(HANDLE handle, FILE_INFO_BY_HANDLE_CLASS kind, LPVOID info, DWORD) {
  const auto file = FindFile(handle);
  if (!file) return FALSE;
  if (!file->temporary) return Fail(ERROR_NOT_SUPPORTED);
  if (kind == FileDispositionInfo) return TRUE;
  const auto& rename = *static_cast<const FILE_RENAME_INFO*>(info);
  const std::string name = Utf16ToUtf8({rename.FileName, rename.FileNameLength / sizeof rename.FileName[0]});
  const std::optional<std::string> mapped = MapPath(Utf8ToAcp(name));
  return mapped ? GiveName(*file, *mapped, rename.ReplaceIfExists != FALSE) : FALSE;
}

BOOL WINAPI DeleteFileA(LPCSTR path) {
  const std::optional<std::string> mapped = MapPath(path == nullptr ? "" : path);
  if (!mapped) return FALSE;
  struct stat status {};
  if (lstat(mapped->c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return Fail(ERROR_ACCESS_DENIED);
  return unlink(mapped->c_str()) == 0 ? TRUE : FailErrno(*mapped);
}

BOOL WINAPI CreateDirectoryA(LPCSTR path, LPSECURITY_ATTRIBUTES attributes) {
  const std::optional<std::string> mapped = MapPath(path == nullptr ? "" : path);
  if (!mapped) return FALSE;
  const bool secret = IsSecret(attributes);
  if (mkdir(mapped->c_str(), secret ? 0700 : 0777) != 0) {
    if (errno == EEXIST) return Fail(ERROR_ALREADY_EXISTS);
    return Fail(errno == ENOENT ? ERROR_PATH_NOT_FOUND : FileError(errno, *mapped));
  }
  return !secret || chmod(mapped->c_str(), 0700) == 0 ? TRUE : FailErrno(*mapped);
}

BOOL WINAPI RemoveDirectoryA(LPCSTR path) {
  const std::optional<std::string> mapped = MapPath(path == nullptr ? "" : path);
  if (!mapped) return FALSE;
  if (rmdir(mapped->c_str()) == 0) return TRUE;
  return Fail(errno == ENOTDIR ? ERROR_DIRECTORY : FileError(errno, *mapped));
}

DWORD WINAPI GetTempPathA(DWORD size, LPSTR buffer) {
  const char* folder = std::getenv("TMPDIR");
  std::string path = folder == nullptr || *folder != '/' ? "/tmp" : folder;
  if (!path.ends_with('/')) path += '/';
  path = Utf8ToAcp(path);
  if (size <= path.size()) return static_cast<DWORD>(path.size() + 1);
  std::memcpy(buffer, path.c_str(), path.size() + 1);
  return static_cast<DWORD>(path.size());
}

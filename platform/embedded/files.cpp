#include "platform/embedded/win32/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platform/embedded/access.h"
#include "platform/embedded/codepage.h"
#include "platform/embedded/fail.h"
#include "platform/embedded/handles.h"
#include "platform/embedded/paths.h"
#include "platform/embedded/win32/security.h"
#include "platform/embedded/win32/system.h"
#include "platform/text.h"

namespace embedded {
namespace {

BOOL FailErrno(const std::string& path) { return Fail(FileError(errno, path)); }

struct File : Object {
  explicit File(int descriptor) : fd(descriptor) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() override { close(fd); }
  int fd;
};

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
}  // namespace embedded

using namespace embedded;

HANDLE WINAPI CreateFileA(LPCSTR path, DWORD access, DWORD, LPSECURITY_ATTRIBUTES attributes,
                          DWORD disposition, DWORD flags, HANDLE) {
  const auto failed = [](DWORD code) { return Fail(code), INVALID_HANDLE_VALUE; };
  if (disposition < CREATE_NEW || disposition > TRUNCATE_EXISTING) return failed(ERROR_INVALID_PARAMETER);
  const std::optional<std::string> mapped = MapPath(path == nullptr ? "" : path);
  if (!mapped) return INVALID_HANDLE_VALUE;
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

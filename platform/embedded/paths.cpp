#include "platform/embedded/paths.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "platform/embedded/codepage.h"
#include "platform/embedded/computers.h"
#include "platform/embedded/store.h"
#include "platform/embedded/win32/system.h"
#include "platform/text.h"

namespace embedded {
namespace {

std::nullopt_t Fail(DWORD code) {
  SetLastError(code);
  return std::nullopt;
}

bool IsLetter(char c) { return text::LowerAscii(c) >= 'a' && text::LowerAscii(c) <= 'z'; }

bool Exists(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

// The entry of `folder` that is named `name`, without case where there is none of its exact spelling.
std::string Spelling(const std::string& folder, const std::string& name) {
  if (Exists(folder + "/" + name)) return name;
  std::string found = name;
  if (DIR* entries = opendir(folder.c_str())) {
    while (const dirent* entry = readdir(entries)) {
      if (text::EqualNoCase(entry->d_name, name)) {
        found = entry->d_name;
        break;
      }
    }
    closedir(entries);
  }
  return found;
}

// What Windows allows in no name. Separators are gone already.
bool IsName(std::string_view name) {
  return std::ranges::none_of(name, [](char c) {
    return static_cast<unsigned char>(c) < 0x20 ||
           std::string_view("<>:\"|?*").find(c) != std::string_view::npos;
  });
}

// `rest` below the computer's drive, in UTF-8.
std::optional<std::string> OnDrive(std::string_view computer, char letter, std::string rest) {
  const std::string folder = ComputerFolder(computer);
  if (folder.empty()) return Fail(computer.empty() ? ERROR_PATH_NOT_FOUND : ERROR_BAD_NETPATH);
  std::string path = folder + "/drives/" + text::LowerAscii(letter);
  if (text::LowerAscii(letter) == 'c') {
    // Each computer has a drive C; others are folders that someone made.
    mkdir((folder + "/drives").c_str(), 0700);
    mkdir(path.c_str(), 0700);
  }
  if (!Exists(path)) return Fail(ERROR_PATH_NOT_FOUND);
  std::ranges::replace(rest, '\\', '/');
  std::vector<std::string> parts;
  for (std::string& part : text::Split(rest, '/')) {
    if (part == ".") continue;
    if (part == "..") {
      if (!parts.empty()) parts.pop_back();
      continue;
    }
    // Windows drops dots and blanks at the end of a name.
    part.resize(part.find_last_not_of(". ") + 1);
    if (part.empty() || !IsName(part)) return Fail(ERROR_INVALID_NAME);
    parts.push_back(std::move(part));
  }
  for (const std::string& part : parts) path += "/" + Spelling(path, part);
  return path;
}

// `\\name\C$\x`
std::optional<std::string> OnShare(std::string_view path) {
  const CStringList parts = text::Split(path, '\\');
  if (parts.empty()) return Fail(ERROR_BAD_NETPATH);
  const std::optional<std::string> computer = ComputerNamed(parts[0]);
  if (!computer) return Fail(ERROR_BAD_NETPATH);
  if (parts.size() < 2 || parts[1].size() != 2 || parts[1][1] != '$' || !IsLetter(parts[1][0])) {
    return Fail(ERROR_BAD_NET_NAME);
  }
  return OnDrive(*computer, parts[1][0], text::Joined({parts.begin() + 2, parts.end()}, "\\"));
}

}  // namespace

std::optional<std::string> MapPath(std::string_view computer, std::string_view path) {
  std::string text = AcpToUtf8(path);
  if (text.empty()) return Fail(ERROR_PATH_NOT_FOUND);
  if (text[0] == '/') {
    // Pages put a backslash behind every folder.
    std::ranges::replace(text, '\\', '/');
    return text;
  }
  if (text.starts_with("\\\\")) {
    std::ranges::replace(text, '/', '\\');
    return OnShare(text);
  }
  if (text.size() >= 2 && text[1] == ':' && IsLetter(text[0]))
    return OnDrive(computer, text[0], text.substr(2));
  if (text[0] == '\\') return OnDrive(computer, 'c', text);
  std::ranges::replace(text, '\\', '/');
  return text;
}

std::optional<std::string> MapPath(std::string_view path) { return MapPath("", path); }

bool WriteAll(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(file, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes.remove_prefix(static_cast<size_t>(written));
  }
  return true;
}

DWORD FileError(int error, const std::string& path) {
  switch (error) {
    case ENOENT: {
      const size_t slash = path.rfind('/');
      const bool has_folder = slash == std::string::npos || slash == 0 || Exists(path.substr(0, slash));
      return has_folder ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
    }
    case ENOTDIR:
    case ELOOP:
      return ERROR_PATH_NOT_FOUND;
    case EEXIST:
      return ERROR_FILE_EXISTS;
    case ENOTEMPTY:
      return ERROR_DIR_NOT_EMPTY;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return ERROR_DISK_FULL;
    case EROFS:
      return ERROR_WRITE_PROTECT;
    case EMFILE:
    case ENFILE:
      return ERROR_TOO_MANY_OPEN_FILES;
    case ENAMETOOLONG:
      return ERROR_FILENAME_EXCED_RANGE;
    case EXDEV:
      return ERROR_NOT_SAME_DEVICE;
    case ENOMEM:
      return ERROR_NOT_ENOUGH_MEMORY;
    case EINVAL:
      return ERROR_INVALID_PARAMETER;
    case EIO:
      return ERROR_IO_DEVICE;
    case EPIPE:
      return ERROR_BROKEN_PIPE;
    default:
      return ERROR_ACCESS_DENIED;
  }
}

}  // namespace embedded

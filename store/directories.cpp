#include "store/directories.h"

#include <filesystem>

#include "platform/win32.h"

CString ReachedFrom(std::string_view computer, std::string_view folder) {
  if (computer.empty()) return CString(folder);
  CString path(computer);
  path += '\\';
  path += folder.substr(0, 1);
  path += '$';
  path += folder.substr(std::min<size_t>(2, folder.size()));
  return path;
}

CString CurrentDirectory() {
  std::error_code unknown;
  const CString path = std::filesystem::current_path(unknown).string();
  return path.size() < MAX_PATH ? path : CString();
}

bool DirectoryExists(const CString& path) {
  const HANDLE handle = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return false;
  CloseHandle(handle);
  return true;
}

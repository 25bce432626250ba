#include "platform/embedded/installation.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/embedded/paths.h"
#include "platform/text.h"

namespace embedded {
namespace {

LONG Failed(const std::string& path) { return static_cast<LONG>(FileError(errno, path)); }

LONG WriteFileOfOwner(const std::string& path, std::string_view bytes) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (file < 0) return Failed(path);
  const LONG status = WriteAll(file, bytes) ? ERROR_SUCCESS : Failed(path);
  // Some file systems tell of a full disk only now.
  if (close(file) != 0 && status == ERROR_SUCCESS) return Failed(path);
  return status;
}

}  // namespace

LONG InstallFiles(const std::string& folder) {
  std::string path = folder;
  for (const char* part : {"", "/drives", "/c", "/TesselWorks", "/SSHD", "/Shared Files"}) {
    path += part;
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return Failed(path);
  }
  const std::string logs = path.substr(0, path.rfind('/')) + "/" + std::string(kLogFolder);
  if (mkdir(logs.c_str(), 0700) != 0 && errno != EEXIST) return Failed(logs);
  return WriteFileOfOwner(path + "/marrowen_default_settings.xml",
                          text::Replaced(kDefaultSettings, "\n", "\r\n"));
}

}  // namespace embedded

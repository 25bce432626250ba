#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/embedded/win32/types.h"

namespace embedded {

// The machine's path of a path in the computer's code page. `C:\x\y`, `\x\y` and `C:x\y` lie in the folder
// drives/c of the computer, where each part is found without case and ".." ends at the drive; a path that
// begins with "/" is the machine's own; `\\name\C$\x` lies on the drive of that embedded computer; any other
// is relative to the process's folder, with "\" as "/". Parts that are not there keep their spelling.
// Nothing, with the last error set, for a drive or computer that there is not (ERROR_PATH_NOT_FOUND,
// ERROR_BAD_NETPATH) or a name that no file can have (ERROR_INVALID_NAME).
std::optional<std::string> MapPath(std::string_view path);
std::optional<std::string> MapPath(std::string_view computer, std::string_view path);

// The error code of a failed call on `path` that left `error` in errno: a missing folder is
// ERROR_PATH_NOT_FOUND, a missing last part ERROR_FILE_NOT_FOUND.
DWORD FileError(int error, const std::string& path);

// Writes all of it to an open file; false, with the reason in errno, when it could not.
bool WriteAll(int file, std::string_view bytes);

}  // namespace embedded

#pragma once

// What the server's setup leaves on a new computer beside its registry.

#include <string>
#include <string_view>

#include "platform/embedded/win32/types.h"

namespace embedded {

// The server's installation folder, with the backslash that its readers rely on.
constexpr std::string_view kInstallFolder = "C:\\TesselWorks\\SSHD\\";

// Where the server logs, below the installation folder.
constexpr std::string_view kLogFolder = "Logs";

// The settings that the pages themselves give, as a settings file with plain line ends.
// tools/make_default_settings.py makes it.
extern const std::string_view kDefaultSettings;

// Puts the installation folder and its files on the drives of the computer that lives in `folder`. 0 or a
// Windows error code.
LONG InstallFiles(const std::string& folder);

}  // namespace embedded

#pragma once

// What the pages of the file transfer services share.

#include <string_view>

inline constexpr std::string_view kSftpHelp = "::IDH_SFTPUserGroupManagement.htm";
inline constexpr std::string_view kScpHelp = "::IDH_SCPUserGroupManagement.htm";

// The one key that names the help file; the services' own keys name none.
inline constexpr std::string_view kHelpKey = R"(Software\TesselWorks\SSHD)";

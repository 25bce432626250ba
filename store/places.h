#pragma once

// Where the server's settings lie in the registry, under HKEY_LOCAL_MACHINE. The server and the host know
// these names too.

#include <string_view>

// A computer's own settings, and the named configurations of a configuration server. Both hold the services'
// keys: SSHD, SFTP, SCP.
inline constexpr char kSettingsRoot[] = R"(Software\TesselWorks)";
inline constexpr char kConfigServer[] = R"(Software\TesselWorks\ConfigServer)";

// The value of a folder of groups that holds their rank.
inline constexpr char kOrder[] = "Order";

// A folder of principals: the title of its node, and its key below a root of settings.
struct PrincipalFolder {
  std::string_view title;
  std::string_view key;
  bool ordered;  // kOrder tells their order, else they stand by name
};

inline constexpr PrincipalFolder kPrincipalFolders[] = {
    {"Users", R"(SSHD\Users)", false},       {"Groups", R"(SSHD\Groups)", true},
    {"IP Range", R"(SSHD\IPs)", false},      {"SFTP Users", R"(SFTP\Users)", false},
    {"SFTP Groups", R"(SFTP\Groups)", true}, {"SCP Users", R"(SCP\Users)", false},
    {"SCP Groups", R"(SCP\Groups)", true},
};

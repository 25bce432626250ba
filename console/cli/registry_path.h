#pragma once

#include <string>
#include <string_view>

#include "console/cli/command.h"
#include "platform/win32.h"

// A key as the command line names it: "HKLM\path", with the root's long or short name.
struct RegistryPath {
  HKEY root = nullptr;  // null where the text begins with no root
  std::string path;     // below the root
  std::string full;     // with the root's long name
};

RegistryPath ParseRegistryPath(std::string_view key);
Outcome NoSuchRoot(const std::string& key);

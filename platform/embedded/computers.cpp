#include "platform/embedded/computers.h"

#include "platform/embedded/store.h"
#include "platform/embedded/win32/system.h"
#include "platform/text.h"

namespace embedded {

std::optional<std::string> ComputerNamed(std::string_view name) {
  name.remove_prefix(std::min(name.find_first_not_of('\\'), name.size()));
  if (name.empty() || name == "." || text::EqualNoCase(name, "localhost")) return "";
  char own[MAX_COMPUTERNAME_LENGTH + 1] = "";
  DWORD size = sizeof own;
  if (GetComputerNameA(own, &size) != FALSE && text::EqualNoCase(name, own)) return "";
  if (ComputerFolder(name).empty()) return std::nullopt;
  return std::string(name);
}

}  // namespace embedded

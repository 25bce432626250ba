// Stores many users in a home, faster than a person adds them: many_users HOME COUNT

#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/machine.h"

int main(int argc, char** argv) {
  if (argc != 3 || !machine::OpenHome(argv[1])) return 1;
  machine::BeginEvent();
  HKEY users = nullptr;
  if (RegCreateKeyA(HKEY_LOCAL_MACHINE, R"(Software\TesselWorks\SSHD\Users)", &users) != ERROR_SUCCESS)
    return 1;
  const int count = std::atoi(argv[2]);
  for (int i = 0; i < count; ++i) {
    char name[16];
    std::snprintf(name, sizeof name, "user%06d", i);
    HKEY made = nullptr;
    if (RegCreateKeyA(users, name, &made) != ERROR_SUCCESS) return 1;
    const bool set =
        RegSetValueExA(made, "Shell", 0, REG_SZ, reinterpret_cast<const BYTE*>("yes"), 4) == ERROR_SUCCESS;
    RegCloseKey(made);
    if (!set) return 1;
  }
  RegCloseKey(users);
  return machine::CommitEvent() ? 0 : 1;
}

#include "pages/configuration/default_security.h"

#include <array>
#include <vector>

#include "store/key_security.h"

namespace {

using SidBytes = std::vector<BYTE>;

constexpr const char* kAdministratorsGroup = "Tessel Admins";

SidBytes WellKnown(WELL_KNOWN_SID_TYPE type) {
  DWORD size = 0;
  CreateWellKnownSid(type, nullptr, nullptr, &size);
  SidBytes sid(size);
  if (size == 0 || !CreateWellKnownSid(type, nullptr, sid.data(), &size)) return {};
  return sid;
}

SidBytes GroupOfAdministrators() {
  std::array<WCHAR, 32> name{};
  MultiByteToWideChar(CP_ACP, 0, kAdministratorsGroup, -1, name.data(), static_cast<int>(name.size()));
  DWORD sidSize = 0;
  DWORD domainSize = 0;
  SID_NAME_USE use{};
  LookupAccountNameW(nullptr, name.data(), nullptr, &sidSize, nullptr, &domainSize, &use);
  SidBytes sid(sidSize);
  std::vector<WCHAR> domain(size_t{domainSize} + 1);
  if (sidSize == 0 ||
      !LookupAccountNameW(nullptr, name.data(), sid.data(), &sidSize, domain.data(), &domainSize, &use)) {
    return {};
  }
  return sid;
}

}  // namespace

void SetDefaultSecurity(const CTesselRegObject& key) {
  SidBytes users = WellKnown(WinBuiltinUsersSid);
  SidBytes system = WellKnown(WinLocalSystemSid);
  SidBytes administrators = WellKnown(WinBuiltinAdministratorsSid);
  const SidBytes group = GroupOfAdministrators();
  if (users.empty() || system.empty() || administrators.empty() || group.empty()) return;
  // The list's size has room for the group of administrators, short of eight bytes. Servers in use have the
  // list as long as this and without the group.
  const size_t size = group.size() + administrators.size() + system.size() + 2 * users.size() + 40;
  std::vector<BYTE> bytes(size);
  auto* const list = reinterpret_cast<PACL>(bytes.data());
  if (!InitializeAcl(list, static_cast<DWORD>(size), ACL_REVISION)) return;
  const auto allow = [list](SidBytes& sid, DWORD access) {
    AddAccessAllowedAceEx(list, ACL_REVISION, OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE, access, sid.data());
  };
  allow(users, GENERIC_ALL);
  allow(system, GENERIC_ALL);
  allow(administrators, GENERIC_ALL);
  allow(users, GENERIC_READ);
  SECURITY_DESCRIPTOR descriptor{};
  if (!InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) ||
      !SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE)) {
    return;
  }
  key_security::SetKeySecurity(key.GetRoot(), key.GetKeyPath().c_str(), key.GetAccess(), &descriptor);
}

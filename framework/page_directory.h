#pragma once

// How one page reaches another: by its place in the page table, which alone knows the pages by name.

#include <array>
#include <cstddef>

class CTesselPropertyPage;

// A page's index never changes: the host knows pages by it.
enum class PageIndex : unsigned {
  General = 0,
  Cipher = 1,
  Compression = 2,
  HostKey = 3,
  Kex = 4,
  Mac = 5,
  AuthMain = 6,
  AuthPassword = 7,
  AuthPubKey = 8,
  AuthX509 = 9,
  AuthGssApi = 10,
  Banner = 11,
  AccessControl = 12,
  Logging = 13,
  PrintInfo = 14,
  UsersMain = 15,
  GroupsMain = 16,
  Sftp = 17,
  SftpUser = 18,
  SftpGroup = 19,
  SftpGroupUser = 20,
  Scp = 21,
  ScpUser = 22,
  ScpGroup = 23,
  ScpGroupUser = 24,
  CfgSettings = 25,
  CfgIpMain = 26,
  About = 27,
  UserGen = 28,
  UserFullCon = 29,
  UserStream = 30,
  UserNonInteractive = 31,
  UserKeyboard = 32,
  UserLogon = 33,
  UserEnv = 34,
  UserTerminate = 35,
  UserAccess = 36,
  UserHandheld = 37,
  SftpUserTempFeature = 38,
};

inline constexpr size_t kPageCount = 39;

// The pages that have been made, null for the others. The page table owns what they point to.
std::array<CTesselPropertyPage*, kPageCount>& PageDirectory();

// The page at this index as `Role` (an interface that the page offers, or its class); null if there is none.
template <class Role>
Role* PageAt(PageIndex index) {
  return dynamic_cast<Role*>(PageDirectory()[static_cast<size_t>(index)]);
}

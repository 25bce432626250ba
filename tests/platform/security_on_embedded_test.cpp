// Access checks, privileges and accounts as only an embedded computer shows them.

#include <gmock/gmock.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "platform/embedded/access.h"
#include "platform/embedded/accounts.h"
#include "platform/embedded/controls.h"
#include "platform/embedded/sid.h"
#include "platform/win32.h"
#include "tests/support/scratch_home.h"

namespace {

using embedded::SidBytes;

constexpr GENERIC_MAPPING kKeys = {KEY_READ, KEY_WRITE, KEY_EXECUTE, KEY_ALL_ACCESS};

// The access check of a descriptor's text; its status, or what was granted.
std::string Check(const char* sddl, const std::vector<SidBytes>& caller, ACCESS_MASK wanted) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ULONG size = 0;
  EXPECT_NE(ConvertStringSecurityDescriptorToSecurityDescriptorA(sddl, SDDL_REVISION_1, &descriptor, &size),
            FALSE);
  // Behind one byte, as a store may hand it over.
  std::vector<BYTE> bytes(1);
  bytes.insert(bytes.end(), static_cast<BYTE*>(descriptor), static_cast<BYTE*>(descriptor) + size);
  LocalFree(descriptor);
  ACCESS_MASK granted = 0;
  const DWORD status = embedded::CheckAccess(std::span(bytes).subspan(1), caller, wanted, kKeys, &granted);
  char text[32];
  std::snprintf(text, sizeof text, status == 0 ? "%x" : "error %u", status == 0 ? granted : status);
  return text;
}

class Embedded : public testing::Test {
 protected:
  void TearDown() override { machine::SetCaller({}); }
};

using SecurityOnEmbedded = Embedded;

}  // namespace

TEST_F(SecurityOnEmbedded, AccessFollowsTheOrderOfTheEntries) {
  const SidBytes world = embedded::MakeSid(1, {0});
  const SidBytes users = embedded::MakeSid(5, {32, DOMAIN_ALIAS_RID_USERS});
  const SidBytes administrators = embedded::MakeSid(5, {32, DOMAIN_ALIAS_RID_ADMINS});
  const std::vector<SidBytes> user = {users, world};
  machine::SetCaller({.sids = user});  // Without the privileges of an administrator.
  const struct {
    const char* sddl;
    ACCESS_MASK wanted;
    const char* result;
  } cases[] = {
      {"D:(A;;KR;;;BU)", KEY_READ, "20019"},
      {"D:(A;;KR;;;BU)", KEY_ALL_ACCESS, "error 5"},
      {"D:(A;;GR;;;BU)(A;;GA;;;BA)", GENERIC_READ, "20019"},
      {"D:(D;;KW;;;WD)(A;;KA;;;BU)", KEY_SET_VALUE, "error 5"},
      {"D:(A;;KA;;;BU)(D;;KW;;;WD)", KEY_SET_VALUE, "2"},
      {"D:(A;;0x1;;;BU)(A;;0x8;;;WD)", 0x9, "9"},
      {"D:(A;CIIO;KA;;;BU)", KEY_QUERY_VALUE, "error 5"},
      {"D:", KEY_QUERY_VALUE, "error 5"},
      {"D:NO_ACCESS_CONTROL", KEY_ALL_ACCESS, "f003f"},
      {"O:BU", KEY_ALL_ACCESS, "f003f"},
      {"O:BUD:", WRITE_DAC | READ_CONTROL, "60000"},
      {"O:BAD:", WRITE_DAC, "error 5"},
      {"D:(A;;KR;;;BU)(D;;0x8;;;WD)", MAXIMUM_ALLOWED, "20019"},
      {"D:(D;;0x8;;;WD)(A;;KR;;;BU)", MAXIMUM_ALLOWED, "20011"},
      {"D:(A;;KR;;;BA)", MAXIMUM_ALLOWED, "error 5"},
      {"D:(A;;KA;;;WD)", ACCESS_SYSTEM_SECURITY, "error 1314"},
  };
  for (const auto& expected : cases) {
    EXPECT_EQ(Check(expected.sddl, user, expected.wanted), expected.result)
        << expected.sddl << " " << std::hex << expected.wanted;
  }
}

TEST_F(SecurityOnEmbedded, DamagedDescriptorsGrantNothing) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ULONG size = 0;
  ASSERT_NE(ConvertStringSecurityDescriptorToSecurityDescriptorA("O:BAD:(A;;KA;;;WD)(A;;KR;;;BU)",
                                                                 SDDL_REVISION_1, &descriptor, &size),
            FALSE);
  const std::vector<BYTE> whole(static_cast<BYTE*>(descriptor), static_cast<BYTE*>(descriptor) + size);
  LocalFree(descriptor);
  const std::vector<SidBytes> caller = {embedded::MakeSid(5, {32, DOMAIN_ALIAS_RID_GUESTS})};
  ACCESS_MASK granted = 0;
  for (size_t cut = 0; cut <= whole.size(); ++cut) {
    EXPECT_NE(embedded::CheckAccess(std::span(whole).first(cut), caller, KEY_READ, kKeys, &granted), 0u)
        << cut;
  }
  for (size_t i = 0; i < whole.size(); ++i) {
    // No single wrong byte lets a stranger write; reading past the end is for the sanitizer to see.
    std::vector<BYTE> damaged = whole;
    damaged[i] ^= 0xFF;
    embedded::CheckAccess(damaged, caller, KEY_READ, kKeys, &granted);
  }
}

TEST_F(SecurityOnEmbedded, OnlyAdministratorsHoldTheirPrivileges) {
  const auto enable_backup = [] {
    HANDLE token = nullptr;
    EXPECT_NE(OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token), FALSE);
    TOKEN_PRIVILEGES wanted = {};
    wanted.PrivilegeCount = 1;
    wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    EXPECT_NE(LookupPrivilegeValueA(nullptr, SE_BACKUP_NAME, &wanted.Privileges[0].Luid), FALSE);
    TOKEN_PRIVILEGES previous = {};
    DWORD size = 0;
    EXPECT_NE(AdjustTokenPrivileges(token, FALSE, &wanted, sizeof previous, &previous, &size), FALSE);
    const DWORD error = GetLastError();
    const bool enabled = embedded::PrivilegeEnabled(SE_BACKUP_NAME);
    AdjustTokenPrivileges(token, FALSE, &previous, 0, nullptr, nullptr);
    CloseHandle(token);
    EXPECT_FALSE(embedded::PrivilegeEnabled(SE_BACKUP_NAME));
    EXPECT_EQ(enabled, error == 0);
    return error;
  };
  EXPECT_EQ(enable_backup(), 0u);
  machine::SetCaller({.sids = {embedded::MakeSid(5, {32, DOMAIN_ALIAS_RID_USERS})}});
  EXPECT_EQ(enable_backup(), DWORD{ERROR_NOT_ALL_ASSIGNED});
  machine::SetCaller({.sids = {embedded::MakeSid(5, {32, DOMAIN_ALIAS_RID_ADMINS})}});
  EXPECT_EQ(enable_backup(), 0u);
}

TEST_F(SecurityOnEmbedded, ThisMachinesUsersAndGroupsAreAccounts) {
  const SidBytes own = embedded::UserSid(geteuid());
  EXPECT_NE(own, embedded::GroupSid(geteuid()));
  char name[64] = "";
  char domain[64] = "";
  DWORD name_size = 1;
  DWORD domain_size = 1;
  SID_NAME_USE use = SidTypeUnknown;
  EXPECT_EQ(LookupAccountSidA(nullptr, embedded::AsPsid(own), name, &name_size, domain, &domain_size, &use),
            FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
  ASSERT_NE(LookupAccountSidA(nullptr, embedded::AsPsid(own), name, &name_size, domain, &domain_size, &use),
            FALSE);
  EXPECT_EQ(name_size, std::string(name).size());
  EXPECT_EQ(domain_size, std::string(domain).size());
  EXPECT_EQ(use, SidTypeUser);

  BYTE sid[SECURITY_MAX_SID_SIZE];
  for (const std::string& spelling :
       {std::string(name), std::string(domain) + "\\" + name, ".\\" + std::string(name)}) {
    DWORD sid_size = sizeof sid;
    domain_size = sizeof domain;
    const std::u16string wide(spelling.begin(), spelling.end());
    WCHAR wide_domain[64] = {};
    ASSERT_NE(LookupAccountNameW(nullptr, wide.c_str(), sid, &sid_size, wide_domain, &domain_size, &use),
              FALSE)
        << spelling;
    EXPECT_EQ(SidBytes(sid, sid + sid_size), own);
  }
  DWORD sid_size = sizeof sid;
  domain_size = sizeof domain;
  EXPECT_EQ(LookupAccountNameA("elsewhere", name, sid, &sid_size, domain, &domain_size, &use), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{RPC_S_SERVER_UNAVAILABLE});
}

TEST_F(SecurityOnEmbedded, NamedKeysShowTheirLists) {
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyA(HKEY_LOCAL_MACHINE, "Software\\Named", &key), 0);
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ASSERT_NE(ConvertStringSecurityDescriptorToSecurityDescriptorA("D:P(A;CI;KA;;;BA)(A;;GR;;;BU)",
                                                                 SDDL_REVISION_1, &descriptor, nullptr),
            FALSE);
  ASSERT_EQ(RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor), 0);
  LocalFree(descriptor);
  RegCloseKey(key);

  PACL dacl = nullptr;
  constexpr SECURITY_INFORMATION kList = PROTECTED_DACL_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
  ASSERT_EQ(GetNamedSecurityInfoA("machine\\SOFTWARE\\Named", SE_REGISTRY_KEY, kList, nullptr, nullptr, &dacl,
                                  nullptr, &descriptor),
            0u);
  EXPECT_EQ(dacl->AceCount, 2);
  LPSTR text = nullptr;
  ASSERT_NE(ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor, SDDL_REVISION_1, kList, &text,
                                                                 nullptr),
            FALSE);
  EXPECT_THAT(text, testing::AnyOf(testing::StrEq("D:P(A;CI;KA;;;BA)(A;;GR;;;BU)"),
                                   testing::StrEq("D:P(A;CI;KA;;;BA)(A;;KR;;;BU)")));
  LocalFree(text);
  LocalFree(descriptor);
  EXPECT_EQ(GetNamedSecurityInfoA("MACHINE\\SOFTWARE\\Absent", SE_REGISTRY_KEY, kList, nullptr, nullptr,
                                  nullptr, nullptr, &descriptor),
            DWORD{ERROR_FILE_NOT_FOUND});
}

TEST_F(SecurityOnEmbedded, TheTokenShowsTheCaller) {
  const std::vector<SidBytes> caller = {embedded::MakeSid(5, {21, 1, 2, 3, 1000}), embedded::MakeSid(1, {0}),
                                        embedded::MakeSid(5, {32, DOMAIN_ALIAS_RID_USERS})};
  machine::SetCaller({.sids = caller});
  HANDLE token = nullptr;
  ASSERT_NE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token), FALSE);
  const auto read = [&](TOKEN_INFORMATION_CLASS kind) {
    DWORD size = 0;
    EXPECT_EQ(GetTokenInformation(token, kind, nullptr, 0, &size), FALSE);
    std::vector<BYTE> bytes(size);
    EXPECT_NE(GetTokenInformation(token, kind, bytes.data(), size, &size), FALSE);
    return bytes;
  };
  std::vector<BYTE> user = read(TokenUser);
  std::vector<BYTE> groups = read(TokenGroups);
  EXPECT_EQ(embedded::SidOf(reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid), caller[0]);
  const auto* list = reinterpret_cast<const TOKEN_GROUPS*>(groups.data());
  ASSERT_EQ(list->GroupCount, 2u);
  const SID_AND_ATTRIBUTES* const first = list->Groups;  // the header declares one
  EXPECT_EQ(embedded::SidOf(first[0].Sid), caller[1]);
  EXPECT_EQ(embedded::SidOf(first[1].Sid), caller[2]);
  CloseHandle(token);
}

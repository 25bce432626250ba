// What callers rely on in the security functions, the same for Windows and for an embedded computer.

#include <gmock/gmock.h>

#include <array>
#include <string>
#include <vector>

#include "platform/win32.h"
#include "tests/support/scratch_home.h"

namespace {

template <typename Call>
DWORD ErrorOf(Call call) {
  SetLastError(0);
  const BOOL done = call();
  return done != FALSE ? ERROR_SUCCESS : GetLastError();
}

struct Sid {
  std::array<BYTE, SECURITY_MAX_SID_SIZE> bytes{};
  explicit Sid(WELL_KNOWN_SID_TYPE type) {
    DWORD size = sizeof bytes;
    EXPECT_NE(CreateWellKnownSid(type, nullptr, bytes.data(), &size), FALSE);
  }
  operator PSID() { return bytes.data(); }  // NOLINT
};

std::string RoundTrip(const char* text, ULONG* size) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (ConvertStringSecurityDescriptorToSecurityDescriptorA(text, SDDL_REVISION_1, &descriptor, size) ==
      FALSE) {
    return "error " + std::to_string(GetLastError());
  }
  LPSTR result = nullptr;
  ULONG length = 0;
  constexpr SECURITY_INFORMATION kAll =
      OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
  EXPECT_NE(ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor, SDDL_REVISION_1, kAll, &result,
                                                                 &length),
            FALSE);
  std::string copy = result;
  EXPECT_EQ(length, copy.size() + 1);
  LocalFree(result);
  LocalFree(descriptor);
  return copy;
}

}  // namespace

TEST(Sids, HaveTheSizesAndTextsOfWindows) {
  DWORD size = 0;
  EXPECT_EQ(ErrorOf([&] { return CreateWellKnownSid(WinWorldSid, nullptr, nullptr, &size); }),
            DWORD{ERROR_INSUFFICIENT_BUFFER});
  EXPECT_EQ(size, 12u);

  const struct {
    WELL_KNOWN_SID_TYPE type;
    const char* text;
    DWORD length;
  } cases[] = {{WinWorldSid, "S-1-1-0", 12},
               {WinLocalSystemSid, "S-1-5-18", 12},
               {WinAnonymousSid, "S-1-5-7", 12},
               {WinAuthenticatedUserSid, "S-1-5-11", 12},
               {WinBuiltinAdministratorsSid, "S-1-5-32-544", 16},
               {WinBuiltinUsersSid, "S-1-5-32-545", 16},
               {WinBuiltinGuestsSid, "S-1-5-32-546", 16}};
  for (const auto& expected : cases) {
    Sid sid(expected.type);
    EXPECT_EQ(GetLengthSid(sid), expected.length) << expected.text;
    LPSTR text = nullptr;
    ASSERT_NE(ConvertSidToStringSidA(sid, &text), FALSE);
    EXPECT_STREQ(text, expected.text);
    PSID back = nullptr;
    ASSERT_NE(ConvertStringSidToSidA(text, &back), FALSE);
    EXPECT_NE(EqualSid(sid, back), FALSE);
    LocalFree(back);
    LocalFree(text);
  }
  for (const char* text : {"S-1-5", "S-2-1-0", "nobody", "S-1-5-x"}) {
    PSID sid = nullptr;
    EXPECT_EQ(ErrorOf([&] { return ConvertStringSidToSidA(text, &sid); }), DWORD{ERROR_INVALID_SID}) << text;
  }
}

TEST(AccessLists, RefuseWhatDoesNotFitAndKeepTheRest) {
  alignas(4) BYTE buffer[64] = {};
  auto* acl = reinterpret_cast<PACL>(buffer);
  EXPECT_EQ(ErrorOf([&] { return InitializeAcl(acl, 7, ACL_REVISION); }), DWORD{ERROR_INSUFFICIENT_BUFFER});
  EXPECT_EQ(ErrorOf([&] { return InitializeAcl(acl, sizeof buffer, 1); }), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(ErrorOf([&] { return InitializeAcl(acl, 0x10000, ACL_REVISION); }),
            DWORD{ERROR_INVALID_PARAMETER});

  // Room for a header, two entries of 20 bytes, and 8 bytes less than a third one of 24.
  Sid world(WinWorldSid);
  Sid system(WinLocalSystemSid);
  Sid users(WinBuiltinUsersSid);
  ASSERT_NE(InitializeAcl(acl, 8 + 20 + 20 + 16, ACL_REVISION), FALSE);
  EXPECT_EQ(ErrorOf([&] { return AddAccessAllowedAceEx(acl, ACL_REVISION, 3, GENERIC_ALL, system); }), 0u);
  EXPECT_EQ(ErrorOf([&] { return AddAccessDeniedAce(acl, ACL_REVISION, KEY_READ, world); }), 0u);
  EXPECT_EQ(ErrorOf([&] { return AddAccessAllowedAce(acl, ACL_REVISION, GENERIC_ALL, users); }),
            DWORD{ERROR_ALLOTTED_SPACE_EXCEEDED});
  EXPECT_EQ(ErrorOf([&] { return AddAccessAllowedAce(acl, ACL_REVISION, GENERIC_READ, nullptr); }),
            DWORD{ERROR_INVALID_SID});
  EXPECT_EQ(ErrorOf([&] { return AddAccessAllowedAce(acl, 5, GENERIC_READ, world); }),
            DWORD{ERROR_REVISION_MISMATCH});

  ACL_SIZE_INFORMATION sizes = {};
  ASSERT_NE(GetAclInformation(acl, &sizes, sizeof sizes, AclSizeInformation), FALSE);
  EXPECT_EQ(sizes.AceCount, 2u);
  EXPECT_EQ(sizes.AclBytesInUse, 48u);
  EXPECT_EQ(sizes.AclBytesFree, 16u);
  const BYTE expected[] = {2,  0, 64, 0, 2, 0, 0,  0, 0,    3, 20, 0, 0, 0, 0, 0x10, 1, 1, 0, 0, 0, 0, 0, 5,
                           18, 0, 0,  0, 1, 0, 20, 0, 0x19, 0, 2,  0, 1, 1, 0, 0,    0, 0, 0, 1, 0, 0, 0, 0};
  EXPECT_THAT(std::vector<BYTE>(buffer, buffer + sizeof expected), testing::ElementsAreArray(expected));

  LPVOID ace = nullptr;
  EXPECT_EQ(ErrorOf([&] { return GetAce(acl, 2, &ace); }), DWORD{ERROR_INVALID_PARAMETER});
  ASSERT_NE(DeleteAce(acl, 0), FALSE);
  ASSERT_NE(GetAce(acl, 0, &ace), FALSE);
  EXPECT_EQ(static_cast<ACE_HEADER*>(ace)->AceType, ACCESS_DENIED_ACE_TYPE);
}

TEST(Descriptors, KeepAnAbsoluteOnesPartsWhenMadeSelfRelative) {
  Sid administrators(WinBuiltinAdministratorsSid);
  Sid system(WinLocalSystemSid);
  alignas(4) BYTE list[64] = {};
  auto* acl = reinterpret_cast<PACL>(list);
  ASSERT_NE(InitializeAcl(acl, sizeof list, ACL_REVISION), FALSE);
  ASSERT_NE(AddAccessAllowedAce(acl, ACL_REVISION, KEY_ALL_ACCESS, system), FALSE);
  SECURITY_DESCRIPTOR absolute;
  EXPECT_EQ(ErrorOf([&] { return InitializeSecurityDescriptor(&absolute, 2); }),
            DWORD{ERROR_UNKNOWN_REVISION});
  ASSERT_NE(InitializeSecurityDescriptor(&absolute, SECURITY_DESCRIPTOR_REVISION), FALSE);
  ASSERT_NE(SetSecurityDescriptorDacl(&absolute, TRUE, acl, FALSE), FALSE);
  ASSERT_NE(SetSecurityDescriptorOwner(&absolute, administrators, FALSE), FALSE);

  DWORD size = 0;
  EXPECT_EQ(ErrorOf([&] { return MakeSelfRelativeSD(&absolute, nullptr, &size); }),
            DWORD{ERROR_INSUFFICIENT_BUFFER});
  EXPECT_EQ(size, 20u + 16u + 64u);
  std::vector<BYTE> relative(size);
  ASSERT_NE(MakeSelfRelativeSD(&absolute, relative.data(), &size), FALSE);
  EXPECT_EQ(GetSecurityDescriptorLength(relative.data()), size);

  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  PACL dacl = nullptr;
  PSID owner = nullptr;
  PSID group = system;
  ASSERT_NE(GetSecurityDescriptorDacl(relative.data(), &present, &dacl, &defaulted), FALSE);
  ASSERT_NE(GetSecurityDescriptorOwner(relative.data(), &owner, &defaulted), FALSE);
  ASSERT_NE(GetSecurityDescriptorGroup(relative.data(), &group, &defaulted), FALSE);
  EXPECT_EQ(std::vector<BYTE>(list, list + sizeof list),
            std::vector<BYTE>(reinterpret_cast<BYTE*>(dacl), reinterpret_cast<BYTE*>(dacl) + sizeof list));
  EXPECT_NE(EqualSid(owner, administrators), FALSE);
  EXPECT_EQ(group, nullptr);
  EXPECT_EQ(ErrorOf([&] { return SetSecurityDescriptorDacl(relative.data(), TRUE, acl, FALSE); }),
            DWORD{ERROR_INVALID_SECURITY_DESCR});
}

TEST(Descriptors, ReadAndWriteTheirTexts) {
  const struct {
    const char* text;
    const char* result;
    ULONG size;
  } cases[] = {
      {"D:(A;NP;GA;;;BG)(A;OICI;GA;;;AN)(A;OICI;GA;;;AU)(A;OICI;GA;;;WD)",
       "D:(A;NP;GA;;;BG)(A;OICI;GA;;;AN)(A;OICI;GA;;;AU)(A;OICI;GA;;;WD)", 112},
      {"O:BAG:SYD:PAI(A;CIID;KA;;;BA)(D;;KR;;;S-1-5-32-545)", "O:BAG:SYD:PAI(A;CIID;KA;;;BA)(D;;KR;;;BU)",
       104},
      {"D:", "D:", 28},
      {"", "", 20},
      {"O:BA", "O:BA", 36},
      {"D:P (A;;GA;;;S-1-5-21-1-2-3-1001)", "D:P(A;;GA;;;S-1-5-21-1-2-3-1001)", 64},
      {"D:(A;;0xf003f;;;BA)", "D:(A;;KA;;;BA)", 52},
      {"D:(A;;0x2001f;;;BA)", "D:(A;;CCDCLCSWRPRC;;;BA)", 52},
      {"D:(A;;17;;;BA)", "D:(A;;CCRP;;;BA)", 52},
      {"D:(A;;GRGW;;;BA)", "D:(A;;GWGR;;;BA)", 52},
      {"D:(A;;0x201;;;BA)", "D:(A;;0x201;;;BA)", 52},
      {"X:", "error 87", 0},
      {"d:(A;;GA;;;BA)", "error 87", 0},
      {"D:(A;;XX;;;BA)", "error 1336", 0},
      {"D:(A;;GA;;;BA", "error 1336", 0},
      {"D:(A;;GA;;BA)", "error 1336", 0},
  };
  for (const auto& expected : cases) {
    ULONG size = 0;
    EXPECT_EQ(RoundTrip(expected.text, &size), expected.result) << expected.text;
    EXPECT_EQ(size, expected.size) << expected.text;
  }
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  EXPECT_EQ(ErrorOf([&] {
              return ConvertStringSecurityDescriptorToSecurityDescriptorA("D:", 2, &descriptor, nullptr);
            }),
            DWORD{ERROR_UNKNOWN_REVISION});
}

TEST(Accounts, TellTheSizesThatTheyNeed) {
  BYTE sid[SECURITY_MAX_SID_SIZE];
  char domain[64] = "";
  DWORD sid_size = 0;
  DWORD domain_size = 0;
  SID_NAME_USE use = SidTypeUnknown;
  const auto lookup = [&](const char* name, DWORD sid_room, DWORD domain_room) {
    sid_size = sid_room;
    domain_size = domain_room;
    return ErrorOf([&] {
      return LookupAccountNameA(nullptr, name, sid_room == 0 ? nullptr : sid, &sid_size,
                                domain_room == 0 ? nullptr : domain, &domain_size, &use);
    });
  };
  EXPECT_EQ(lookup("Administrators", 0, 0), DWORD{ERROR_INSUFFICIENT_BUFFER});
  EXPECT_EQ(sid_size, 16u);
  EXPECT_EQ(domain_size, 8u);  // "BUILTIN" and its terminator
  EXPECT_EQ(lookup("Administrators", sizeof sid, 7), DWORD{ERROR_INSUFFICIENT_BUFFER});
  EXPECT_EQ(domain_size, 8u);
  EXPECT_EQ(lookup("BUILTIN\\administrators", sizeof sid, 8), 0u);
  EXPECT_EQ(domain_size, 7u);
  EXPECT_STREQ(domain, "BUILTIN");
  EXPECT_EQ(use, SidTypeAlias);
  EXPECT_EQ(lookup("Everyone", sizeof sid, 1), 0u);
  EXPECT_STREQ(domain, "");
  EXPECT_EQ(lookup("no account of this name", sizeof sid, sizeof domain), DWORD{ERROR_NONE_MAPPED});

  Sid guests(WinBuiltinGuestsSid);
  char name[64] = "";
  DWORD name_size = sizeof name;
  domain_size = sizeof domain;
  ASSERT_NE(LookupAccountSidA(nullptr, guests, name, &name_size, domain, &domain_size, &use), FALSE);
  EXPECT_STREQ(name, "Guests");
  EXPECT_STREQ(domain, "BUILTIN");
}

TEST(Privileges, AreEnabledAndPutBack) {
  HANDLE token = nullptr;
  ASSERT_NE(OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token), FALSE);
  TOKEN_PRIVILEGES wanted = {};
  wanted.PrivilegeCount = 1;
  wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  EXPECT_EQ(ErrorOf([&] {
              return LookupPrivilegeValueA(nullptr, "SeNoSuchPrivilege", &wanted.Privileges[0].Luid);
            }),
            DWORD{ERROR_NO_SUCH_PRIVILEGE});
  ASSERT_NE(LookupPrivilegeValueA(nullptr, "SeTakeOwnershipPrivilege", &wanted.Privileges[0].Luid), FALSE);
  const LUID take_ownership = wanted.Privileges[0].Luid;

  DWORD size = 0;
  EXPECT_EQ(ErrorOf([&] { return GetTokenInformation(token, TokenPrivileges, nullptr, 0, &size); }),
            DWORD{ERROR_INSUFFICIENT_BUFFER});
  std::vector<BYTE> state(size);
  const auto attributes = [&] {
    EXPECT_NE(GetTokenInformation(token, TokenPrivileges, state.data(), size, &size), FALSE);
    const auto* held = reinterpret_cast<const TOKEN_PRIVILEGES*>(state.data());
    EXPECT_EQ(size, 4 + 12 * held->PrivilegeCount);
    for (DWORD i = 0; i < held->PrivilegeCount; ++i) {
      if (held->Privileges[i].Luid.LowPart == take_ownership.LowPart) return held->Privileges[i].Attributes;
    }
    return DWORD{0xFFFFFFFF};
  };
  EXPECT_EQ(attributes(), 0u);
  TOKEN_PRIVILEGES previous = {};
  DWORD needed = 0;
  ASSERT_NE(AdjustTokenPrivileges(token, FALSE, &wanted, sizeof previous, &previous, &needed), FALSE);
  EXPECT_EQ(GetLastError(), 0u);
  EXPECT_EQ(needed, 16u);
  EXPECT_EQ(previous.PrivilegeCount, 1u);
  EXPECT_EQ(attributes(), SE_PRIVILEGE_ENABLED);
  ASSERT_NE(AdjustTokenPrivileges(token, FALSE, &previous, 0, nullptr, nullptr), FALSE);
  EXPECT_EQ(attributes(), 0u);

  wanted.Privileges[0].Luid = {2, 0};  // SeCreateTokenPrivilege, which no administrator holds.
  EXPECT_NE(AdjustTokenPrivileges(token, FALSE, &wanted, 0, nullptr, nullptr), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_ALL_ASSIGNED});
  CloseHandle(token);
}

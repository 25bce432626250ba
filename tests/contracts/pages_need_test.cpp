// What pages ask of the system beside the registry's values: access lists of keys and folders by name, hive
// files, services, the versions of programs.

#include <gtest/gtest.h>

#include <vector>

#include "store/accounts.h"
#include "store/error_text.h"
#include "store/privilege.h"
#include "store/registry_object.h"
#include "store/service_control.h"
#include "tests/support/registry_support.h"
#include "tests/support/scratch_home.h"

namespace {

constexpr const char* kFolder = "C:\\marrowen-contract-test";
constexpr SECURITY_INFORMATION kList = DACL_SECURITY_INFORMATION;

CString TextOf(PSECURITY_DESCRIPTOR descriptor) {
  char* text = nullptr;
  if (!ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor, SDDL_REVISION_1, kList, &text,
                                                            nullptr))
    return "error " + std::to_string(GetLastError());
  return LocalMemory<char>(text).get();
}

class KeysByName : public ::testing::Test {
 protected:
  static constexpr const char* kPath = R"(Software\MarrowenContract)";
  void SetUp() override {
    CTesselRegObject made(HKEY_LOCAL_MACHINE);
    ASSERT_TRUE(made.CreateKey(kPath));
  }
  void TearDown() override { DeleteRegistryKeyA(HKEY_LOCAL_MACHINE, kPath, KEY_ALL_ACCESS); }
};

}  // namespace

TEST_F(KeysByName, GiveTheListThatTheirHandleHas) {
  UniqueKey key;
  ASSERT_EQ(OpenUniqueKey(HKEY_LOCAL_MACHINE, kPath, KEY_ALL_ACCESS, key), 0u);
  AccessList list(200);
  ASSERT_TRUE(list.Allow(WellKnownSid(WinBuiltinAdministratorsSid), KEY_ALL_ACCESS, CONTAINER_INHERIT_ACE));
  ASSERT_TRUE(list.Allow(WellKnownSid(WinWorldSid), KEY_READ));
  ASSERT_EQ(RegSetKeySecurity(key.get(), kList, list.Descriptor()), 0);

  char name[] = R"(MACHINE\Software\MarrowenContract)";
  PACL found = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ASSERT_EQ(
      GetNamedSecurityInfoA(name, SE_REGISTRY_KEY, kList, nullptr, nullptr, &found, nullptr, &descriptor),
      static_cast<DWORD>(ERROR_SUCCESS));
  const LocalMemory<void> held(descriptor);
  const CString text = TextOf(descriptor);
  EXPECT_TRUE(text.starts_with("D:") && text.ends_with("(A;CI;KA;;;BA)(A;;KR;;;WD)")) << text;
  // The list lies inside of what was allocated.
  EXPECT_GT(reinterpret_cast<BYTE*>(found), static_cast<BYTE*>(descriptor));
  EXPECT_EQ(found->AceCount, 2);

  char missing[] = R"(MACHINE\Software\MarrowenContract\missing)";
  EXPECT_EQ(
      GetNamedSecurityInfoA(missing, SE_REGISTRY_KEY, kList, nullptr, nullptr, nullptr, nullptr, &descriptor),
      static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST(AccessListsOfTheStore, HoldWhatFitsAndNothingOfNobody) {
  const SidBytes world = WellKnownSid(WinWorldSid);
  ASSERT_EQ(world.size(), 12u);
  AccessList list(sizeof(ACL) + 2 * (8 + 12));
  EXPECT_FALSE(list.Allow({}, GENERIC_READ));
  EXPECT_TRUE(list.Allow(world, GENERIC_READ, 3));
  EXPECT_TRUE(list.Allow(world, GENERIC_ALL, NO_PROPAGATE_INHERIT_ACE));
  EXPECT_FALSE(list.Allow(world, GENERIC_READ));
  EXPECT_EQ(TextOf(list.Descriptor()), "D:(A;OICI;GR;;;WD)(A;NP;GA;;;WD)");
  AccessList none(4);
  EXPECT_FALSE(none.Allow(world, GENERIC_READ));
  EXPECT_EQ(none.Descriptor(), nullptr);
}

TEST_F(KeysByName, AreSavedAsHives) {
  CreateDirectoryA(kFolder, nullptr);
  const CString file = CString(kFolder) + "\\a.hiv";
  DeleteFileA(file.c_str());
  UniqueKey key;
  ASSERT_EQ(OpenUniqueKey(HKEY_LOCAL_MACHINE, kPath, KEY_ALL_ACCESS, key), 0u);
  {
    const HeldPrivilege backup(SE_BACKUP_NAME);
    EXPECT_EQ(RegSaveKeyA(key.get(), file.c_str(), nullptr), ERROR_SUCCESS);
    EXPECT_EQ(RegSaveKeyA(key.get(), (CString(kFolder) + "\\no\\a.hiv").c_str(), nullptr),
              ERROR_PATH_NOT_FOUND);
  }
  EXPECT_TRUE(DeleteFileA(file.c_str()));
  RemoveDirectoryA(kFolder);
}

TEST(FoldersUnderAList, AreMadeOnceAndWhereTheirParentIs) {
  AccessList list(200);
  ASSERT_TRUE(list.Allow(WellKnownSid(WinLocalSystemSid), GENERIC_ALL, NO_PROPAGATE_INHERIT_ACE));
  ASSERT_TRUE(list.Allow(WellKnownSid(WinBuiltinUsersSid), GENERIC_ALL, NO_PROPAGATE_INHERIT_ACE));
  SECURITY_ATTRIBUTES security{sizeof security, list.Descriptor(), FALSE};
  RemoveDirectoryA(kFolder);
  EXPECT_TRUE(CreateDirectoryA(kFolder, &security));
  EXPECT_FALSE(CreateDirectoryA(kFolder, &security));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
  EXPECT_FALSE(CreateDirectoryA((CString(kFolder) + "\\no\\such").c_str(), &security));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
  EXPECT_TRUE(RemoveDirectoryA(kFolder));
}

TEST(ProgramVersions, AreThoseOfAVersionResource) {
  DWORD handle = 1;
  EXPECT_EQ(GetFileVersionInfoSizeA("C:\\no such program.exe", &handle), 0u);
  EXPECT_NE(GetLastError(), static_cast<DWORD>(ERROR_SUCCESS));
}

TEST(Services, ThatAreNotThereAreTold) {
  const OpenedService none(nullptr, "MarrowenNoSuchService");
  EXPECT_TRUE(none.manager);
  EXPECT_FALSE(none.service);
  const OpenedService spooler(nullptr, "Spooler");
  ASSERT_TRUE(spooler.service);
  SERVICE_STATUS state{};
  ASSERT_TRUE(QueryServiceStatus(spooler.service.get(), &state));
  EXPECT_TRUE(state.dwCurrentState == SERVICE_RUNNING || state.dwCurrentState == SERVICE_STOPPED);
  // What is stopped can't be stopped.
  if (state.dwCurrentState != SERVICE_STOPPED) return;
  EXPECT_FALSE(ControlService(spooler.service.get(), SERVICE_CONTROL_STOP, &state));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SERVICE_NOT_ACTIVE));
}

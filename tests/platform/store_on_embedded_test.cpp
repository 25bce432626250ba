// What the store does with computers and callers that only an embedded computer can offer a test.

#include <gmock/gmock.h>

#include "platform/embedded/controls.h"
#include "platform/machine.h"
#include "store/diagnostic_log.h"
#include "store/error_text.h"
#include "store/key_security.h"
#include "store/target_routing.h"
#include "tests/store/scratch_key.h"

namespace {

constexpr const char* kRemote = "srv1";
constexpr const char* kKey = "Software\\TesselWorks\\SSHD";

DWORD RemoteRegistry(bool stop = false) {
  SC_HANDLE manager = OpenSCManagerA(kRemote, nullptr, SC_MANAGER_ALL_ACCESS);
  SC_HANDLE service = OpenServiceA(manager, "RemoteRegistry", SERVICE_ALL_ACCESS);
  SERVICE_STATUS status = {};
  if (stop) ControlService(service, SERVICE_CONTROL_STOP, &status);
  EXPECT_TRUE(QueryServiceStatus(service, &status));
  CloseServiceHandle(service);
  CloseServiceHandle(manager);
  return status.dwCurrentState;
}

// Sets the list of a key under HKEY_LOCAL_MACHINE.
void SetList(const CString& path, const char* sddl) {
  void* descriptor = nullptr;
  ASSERT_TRUE(
      ConvertStringSecurityDescriptorToSecurityDescriptorA(sddl, SDDL_REVISION_1, &descriptor, nullptr));
  const LocalMemory<void> owned(descriptor);
  UniqueKey key;
  ASSERT_EQ(OpenUniqueKey(HKEY_LOCAL_MACHINE, path.c_str(), WRITE_DAC, key), 0u);
  ASSERT_EQ(RegSetKeySecurity(key.get(), DACL_SECURITY_INFORMATION, descriptor), 0);
}

embedded::SidBytes Sid(const char* text) {
  PSID sid = nullptr;
  EXPECT_TRUE(ConvertStringSidToSidA(text, &sid));
  const LocalMemory<void> owned(sid);
  const BYTE* bytes = static_cast<const BYTE*>(sid);
  return embedded::SidBytes(bytes, bytes + GetLengthSid(sid));
}

class StoreOnEmbedded : public ScratchKeyTest {
 protected:
  void TearDown() override {
    machine::SetCaller({});
    ScratchKeyTest::TearDown();
  }
  static void BecomeReader() { machine::SetCaller({.sids = {}, .limit = KEY_READ}); }
};

}  // namespace

TEST_F(StoreOnEmbedded, StartsTheRemoteRegistryAndStopsItByCloseKeyAlone) {
  ASSERT_TRUE(machine::AddComputer(kRemote));
  {
    CTesselRegObject root;
    ASSERT_EQ(root.OpenKey(kRemote, HKEY_LOCAL_MACHINE, "Software"), 0u);
    CTesselRegObject made(root.GetRoot());
    ASSERT_TRUE(made.CreateKey(kKey));
    ASSERT_EQ(made.SetStringValue("mark", "remote"), 0u);
  }
  ASSERT_EQ(RemoteRegistry(true), DWORD{SERVICE_STOPPED});
  {
    CTesselRegObject remote;
    ASSERT_EQ(remote.OpenKey(kRemote, HKEY_LOCAL_MACHINE, kKey), 0u);
    EXPECT_EQ(remote.GetStringValue("mark"), "remote");
    EXPECT_EQ(RemoteRegistry(), DWORD{SERVICE_RUNNING});
    remote.CloseKey();
    EXPECT_EQ(RemoteRegistry(), DWORD{SERVICE_STOPPED});
  }
  // A page's object is deleted without CloseKey, and the next page finds the service running.
  EXPECT_TRUE(OpenTargetKey(Routing::Server, kRemote, kKey, "", false));
  EXPECT_EQ(RemoteRegistry(), DWORD{SERVICE_RUNNING});
  {
    CTesselRegObject later;
    ASSERT_EQ(later.OpenKey(kRemote, HKEY_LOCAL_MACHINE, kKey), 0u);
    later.CloseKey();
    EXPECT_EQ(RemoteRegistry(), DWORD{SERVICE_RUNNING}) << "not started by this object";
  }
  CTesselRegObject unknown;
  EXPECT_NE(unknown.OpenKey("nosuch", HKEY_LOCAL_MACHINE, kKey), 0u);
  EXPECT_EQ(unknown.SetStringValue("mark", "x"), 0xFFFFFFFFu);
  EXPECT_TRUE(machine::RemoveComputer(kRemote));
}

TEST_F(StoreOnEmbedded, GivesAReaderAKeyThatTakesNoWrites) {
  HKEY created = nullptr;
  ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, Under("Only32").c_str(), 0, nullptr, 0,
                            KEY_ALL_ACCESS | KEY_WOW64_32KEY, nullptr, &created, nullptr),
            0);
  RegCloseKey(created);
  ASSERT_EQ(key.SetStringValue("Value", "kept"), 0u);
  BecomeReader();
  const struct {
    CString path;
    DWORD access;
  } cases[] = {{kPath, KEY_READ}, {Under("Only32"), KEY_READ | KEY_WOW64_32KEY}};
  for (const auto& c : cases) {
    CTesselRegObject reader;
    ASSERT_EQ(reader.OpenKey(nullptr, HKEY_LOCAL_MACHINE, c.path.c_str()), 0u) << c.path;
    EXPECT_EQ(reader.GetAccess(), c.access);
    EXPECT_EQ(reader.SetStringValue("Value", "changed"), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(reader.SetDWORDValue(1, "Value"), DWORD{ERROR_ACCESS_DENIED});
  }
  EXPECT_EQ(key.GetStringValue("Value"), "kept");
  EXPECT_EQ(DeleteRegistryKeyA(HKEY_LOCAL_MACHINE, kPath, KEY_ALL_ACCESS), DWORD{ERROR_ACCESS_DENIED});
  EXPECT_FALSE(
      OpenTargetKey(Routing::PrincipalEnvironment, "", kPath, "Users::joe::Environment Variables", false));
}

TEST_F(StoreOnEmbedded, LetsTheNewListDecideWhatLiesBelow) {
  Make("Top\\Child");
  const CString child = Under("Top\\Child");
  SetList(child, "D:(A;;KA;;;BA)");
  const LocalMemory<void> before(key_security::GetKeySecurity(child.c_str()));
  ASSERT_TRUE(before);
  void* descriptor = nullptr;
  ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorA("D:(A;;0x40000;;;AU)", SDDL_REVISION_1,
                                                                   &descriptor, nullptr));
  const LocalMemory<void> writersOfListsOnly(descriptor);
  SetList(kPath, "D:(A;;KA;;;AU)");
  SetList(Under("Top"), "D:(A;;KA;;;AU)");
  machine::SetCaller({.sids = {Sid("AU"), Sid("BU")}});
  // The list just given keeps the caller from the subkeys, which is the status, and the list stays.
  EXPECT_EQ(key_security::SetKeySecurity(HKEY_LOCAL_MACHINE, Under("Top").c_str(), 0, descriptor),
            DWORD{ERROR_ACCESS_DENIED});
  CTesselRegObject top;
  EXPECT_EQ(top.OpenKey(nullptr, HKEY_LOCAL_MACHINE, Under("Top").c_str()), DWORD{ERROR_ACCESS_DENIED});
  machine::SetCaller({});
  const LocalMemory<void> after(key_security::GetKeySecurity(child.c_str()));
  ASSERT_EQ(LocalSize(after.get()), LocalSize(before.get()));
  EXPECT_EQ(memcmp(after.get(), before.get(), LocalSize(before.get())), 0);
}

TEST_F(StoreOnEmbedded, SavesAndRestoresAHive) {
  Make("Tree\\Child", "saved");
  CTesselRegObject tree;
  ASSERT_EQ(tree.OpenKey(nullptr, HKEY_LOCAL_MACHINE, Under("Tree").c_str()), 0u);
  const char* file = "C:\\store-test.tcfg";
  for (int again = 0; again < 2; ++again) ASSERT_EQ(tree.SaveKey(file), 0u) << "an older file is replaced";
  Make("Tree\\Child", "changed");
  Make("Tree\\Later");
  EXPECT_EQ(tree.RestoreKey(file), 0u);
  CTesselRegObject child;
  ASSERT_EQ(child.OpenKey(nullptr, HKEY_LOCAL_MACHINE, Under("Tree\\Child").c_str()), 0u);
  EXPECT_EQ(child.GetStringValue("mark"), "saved");
  EXPECT_FALSE(Exists("Tree\\Later"));
  EXPECT_TRUE(DeleteFileA(file));
  CTesselRegObject closed;
  EXPECT_NE(closed.SaveKey(file), 0u);
}

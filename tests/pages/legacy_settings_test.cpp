// Settings as registry hive files, out and back through the page.

#include "pages/configuration/legacy_settings.h"

#include "pages/pages.h"
#include "store/error_text.h"
#include "store/privilege.h"
#include "tests/support/page_driver.h"

using test_support::PageDriver;

namespace {

constexpr const char* kFolder = "C:\\LegacyTest";
constexpr const char* kInetD = R"(Software\TesselWorks\InetD)";
constexpr const char* kSftpMark = R"(Software\TesselWorks\SFTP\LegacyTest)";
const CString kMain = CString(kFolder) + "\\a.b.tcfg";
const CString kInetDFile = CString(kFolder) + "\\a.b_inetd.tcfg";
const CString kSftpFile = CString(kFolder) + "\\a.b_sftp.tcfg";

bool IsThere(const CString& file) { return _access(file.c_str(), 0) == 0; }

class LegacySettings : public ::testing::Test {
 protected:
  void SetUp() override {
    CreateDirectoryA(kFolder, nullptr);
    Clean();
    hadInetD = PageDriver::HasKey(kInetD);
    PageDriver::MakeKey(kSftpMark);
    PageDriver::Store("Setting", "kept", CString(PageDriver::kServer) + "\\Below");
    driver.Show(page);
  }
  void TearDown() override {
    Clean();
    RemoveDirectoryA(kFolder);
    DeleteRegistryKeyA(HKEY_LOCAL_MACHINE, kSftpMark, KEY_ALL_ACCESS);
    if (!hadInetD) DeleteRegistryKeyA(HKEY_LOCAL_MACHINE, kInetD, KEY_ALL_ACCESS);
  }
  static void Clean() {
    for (const CString& file : {kMain, kInetDFile, kSftpFile, CString("plain.tcfg")})
      DeleteFileA(file.c_str());
  }
  CString Press(const char* button, std::initializer_list<const char*> answers, const CString& file) {
    for (const char* answer : answers) driver.frontEnd.AddAnswer(answer);
    driver.frontEnd.AddPath(file);
    const size_t told = driver.frontEnd.Messages().size();
    driver.Press(button);
    EXPECT_EQ(driver.frontEnd.Unanswered(), "");
    return driver.frontEnd.Messages().size() > told ? driver.frontEnd.Messages().back() : "";
  }

  bool hadInetD = false;
  PageDriver driver;
  CTesselPropertyPage& page =
      driver.Add(PageIndex::CfgSettings, MakeCfgSettingsPage, "Configuration Management");
};

}  // namespace

TEST_F(LegacySettings, GoOutInUpToThreeFiles) {
  EXPECT_EQ(Press("Export Legacy Settings", {}, kMain), "");
  EXPECT_TRUE(IsThere(kMain));
  EXPECT_TRUE(IsThere(kSftpFile));
  EXPECT_EQ(IsThere(kInetDFile), hadInetD);

  // Files that are there are replaced, and the service that came meanwhile has one.
  PageDriver::Store("Port", "23", kInetD);
  EXPECT_EQ(Press("Export Legacy Settings", {}, kMain), "");
  EXPECT_TRUE(IsThere(kInetDFile));
}

TEST_F(LegacySettings, ComeBackFromUpToThreeFiles) {
  PageDriver::Store("Port", "23", kInetD);
  EXPECT_EQ(Press("Export Legacy Settings", {}, kMain), "");
  PageDriver::Store("Setting", "lost", CString(PageDriver::kServer) + "\\Below");
  PageDriver::MakeKey(CString(PageDriver::kServer) + "\\New");
  PageDriver::Store("Port", "24", kInetD);
  DeleteRegistryKeyA(HKEY_LOCAL_MACHINE, kSftpMark, KEY_ALL_ACCESS);
  driver.hostCalls.clear();
  EXPECT_EQ(Press("Import Legacy Settings", {"Yes"}, kMain), "");
  EXPECT_EQ(PageDriver::Stored("Setting", CString(PageDriver::kServer) + "\\Below"), "kept");
  EXPECT_FALSE(PageDriver::HasKey(CString(PageDriver::kServer) + "\\New"));
  EXPECT_EQ(PageDriver::Stored("Port", kInetD), "23");
  EXPECT_TRUE(PageDriver::HasKey(kSftpMark));
  EXPECT_EQ(driver.hostCalls.front(), "before restore ");
  for (const std::string& call : driver.hostCalls) EXPECT_FALSE(call.starts_with("after import")) << call;

  // A lone file is enough.
  DeleteFileA(kSftpFile.c_str());
  DeleteFileA(kInetDFile.c_str());
  EXPECT_EQ(Press("Import Legacy Settings", {"Yes"}, kMain), "");
}

TEST_F(LegacySettings, TakePrincipalsOutOfTheTreeBeforeWhatFails) {
  const CString user = R"(Software\TesselWorks\SSHD\Users\legacytest)";
  const CString sftp = R"(Software\TesselWorks\SFTP\Users\legacytest)";
  PageDriver::MakeKey(user);
  PageDriver::MakeKey(sftp);
  driver.hostCalls.clear();
  EXPECT_EQ(Press("Import Legacy Settings", {"Yes"}, kMain),
            "Unable to Import settings. " + ErrorTextOf(ERROR_FILE_NOT_FOUND));
  size_t users = 0;
  size_t transfers = 0;
  for (const std::string& call : driver.hostCalls) {
    users += call == "remove legacytest with family" ? 1 : 0;
    transfers += call.starts_with("remove ::") && call.ends_with("legacytest") ? 1 : 0;
  }
  EXPECT_EQ(users, 1u);
  EXPECT_EQ(transfers, 1u);
  EXPECT_TRUE(PageDriver::HasKey(user));
  DeleteRegistryKeyA(HKEY_LOCAL_MACHINE, user.c_str(), KEY_ALL_ACCESS);
  DeleteRegistryKeyA(HKEY_LOCAL_MACHINE, sftp.c_str(), KEY_ALL_ACCESS);

  driver.hostCalls.clear();
  driver.frontEnd.AddAnswer("No");
  driver.Press("Import Legacy Settings");
  EXPECT_EQ(driver.hostCalls, std::vector<std::string>{});
}

TEST_F(LegacySettings, AddAnEndingAndCutTheLastOne) {
  EXPECT_EQ(Press("Export Legacy Settings", {}, "plain"), "");
  EXPECT_TRUE(IsThere("plain.tcfg"));
  DeleteFileA("plain_sftp.tcfg");
  DeleteFileA("plain_inetd.tcfg");
  EXPECT_EQ(Press("Export Legacy Settings", {}, CString(kFolder) + "\\no\\x.tcfg"),
            "Unable to Export settings. " + ErrorTextOf(ERROR_PATH_NOT_FOUND));
  // Any ending is a hive's.
  const CString script = CString(kFolder) + "\\x.reg";
  EXPECT_EQ(Press("Export Legacy Settings", {}, script), "");
  EXPECT_EQ(Press("Import Legacy Settings", {"Yes"}, script), "");
  for (const char* file : {"\\x.reg", "\\x_sftp.tcfg", "\\x_inetd.tcfg"})
    DeleteFileA((CString(kFolder) + file).c_str());
}

TEST(HeldPrivilege, IsHeldForItsLifeAndThenPutBack) {
  const auto enabled = [] {
    HANDLE token = nullptr;
    LUID wanted{};
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) return false;
    const UniqueHandle held(token);
    DWORD size = 0;
    GetTokenInformation(token, TokenPrivileges, nullptr, 0, &size);
    std::vector<BYTE> bytes(size);
    if (!LookupPrivilegeValueA(nullptr, SE_BACKUP_NAME, &wanted) ||
        !GetTokenInformation(token, TokenPrivileges, bytes.data(), size, &size)) {
      return false;
    }
    const auto* all = reinterpret_cast<const TOKEN_PRIVILEGES*>(bytes.data());
    for (DWORD i = 0; i < all->PrivilegeCount; ++i) {
      if (all->Privileges[i].Luid.LowPart == wanted.LowPart)
        return (all->Privileges[i].Attributes & SE_PRIVILEGE_ENABLED) != 0;
    }
    return false;
  };
  const bool before = enabled();
  {
    const HeldPrivilege privilege(SE_BACKUP_NAME);
    EXPECT_TRUE(privilege.Asked());
    EXPECT_EQ(privilege.Status(), 0u);
    EXPECT_TRUE(enabled());
  }
  EXPECT_EQ(enabled(), before);
  const HeldPrivilege none("SeNoSuchPrivilege");
  EXPECT_FALSE(none.Asked());
  EXPECT_EQ(none.Status(), static_cast<DWORD>(ERROR_NO_SUCH_PRIVILEGE));
}

// Whole settings out and back through the page, and what it does to the access list of the server's key.

#include "configuration/cached_records.h"
#include "configuration/settings_import.h"
#include "configuration/xml_writer.h"
#include "pages/pages.h"
#include "store/error_text.h"
#include "store/key_security.h"
#include "tests/support/access_list.h"
#include "tests/support/page_driver.h"

namespace {

using test_support::PageDriver;

constexpr const char* kCredential = R"(Software\TesselWorks\SSHD\PAD\anna)";
constexpr const char* kFolder = "C:\\PageTest\\";
constexpr const char* kFile = "C:\\PageTest\\Shared Files\\page.xml";
constexpr const char* kDefaults = "C:\\PageTest\\Shared Files\\marrowen_default_settings.xml";
constexpr const char* kCachedKeys = "Do you want to export cached authentication keys?";

CString Contents(const char* file) {
  CString bytes;
  const auto source = OpenFileSource(file);
  char piece[4096];
  while (const size_t got = source ? source->Read(piece) : 0) bytes.append(piece, got);
  return bytes;
}

void Write(const char* file, std::string_view bytes) {
  FileSink sink;
  ASSERT_TRUE(sink.Open(file));
  sink.Write(bytes);
  sink.Close();
}

// The page over the scratch part of the registry, beside one that has something to save.
class ConfigurationPage : public ::testing::Test {
 protected:
  void SetUp() override {
    CreateDirectoryA("C:\\PageTest", nullptr);
    CreateDirectoryA("C:\\PageTest\\Shared Files", nullptr);
    Clean();
    importResult = 0;
    imported.clear();
    PageDriver::Store("Path", kFolder);
    driver.context.pfnImportSettings = [](CString product, CString file) -> std::uint32_t {
      imported = product + "|" + file;
      if (importResult != kImport) return importResult;
      return static_cast<std::uint32_t>(ImportForProduct(product, file, {}));
    };
    driver.Show(page);
  }
  void TearDown() override {
    Clean();
    CTesselRegObject(HKEY_LOCAL_MACHINE).DeleteKey(kCredential);
    driver.frontEnd.standingAnswer = {};
  }
  static void Clean() {
    for (const char* file : {kFile, kDefaults, "pagetest_settings.xml"}) DeleteFileA(file);
  }
  CString LastMessage() const {
    return driver.frontEnd.Messages().empty() ? "" : driver.frontEnd.Messages().back();
  }
  void EditCompression() {
    driver.Show(compression);
    driver.Put("Enable Compression", "on");
    driver.Show(page);
  }

  static constexpr std::uint32_t kImport = 1;  // stands for the import itself
  static inline std::uint32_t importResult = 0;
  static inline CString imported;
  PageDriver driver;
  CTesselPropertyPage& compression =
      driver.Add(PageIndex::Compression, MakeCompressionPage, "General Settings::Compression");
  CTesselPropertyPage& page =
      driver.Add(PageIndex::CfgSettings, MakeCfgSettingsPage, "Configuration Management");
};

}  // namespace

TEST_F(ConfigurationPage, OffersWhatItCanDo) {
  for (const char* button : {"Export Settings", "Import Settings", "Restore Settings", "Add User",
                             "Add Group", "Export Legacy Settings", "Import Legacy Settings"})
    EXPECT_TRUE(driver.Enabled(button)) << button;
  for (const char* button : {"Delete", "Edit Access"}) EXPECT_FALSE(driver.Enabled(button)) << button;
  EXPECT_EQ(page.NameOf(driver.Get<CListCtrl>("Configuration Administrators")),
            "Configuration Administrators");
}

TEST_F(ConfigurationPage, AsksToSaveWhatIsNotSaved) {
  driver.frontEnd.standingAnswer = [](std::string_view question) -> std::optional<std::string> {
    if (question.starts_with(kCachedKeys)) return "No";
    return std::nullopt;
  };
  driver.frontEnd.AddPath("pagetest_settings");
  driver.Press("Export Settings");
  EXPECT_EQ(driver.frontEnd.Unanswered(), "");
  EXPECT_EQ(LastMessage(), "Settings saved in pagetest_settings.xml.");
  EXPECT_TRUE(Contents("pagetest_settings.xml").ends_with(" </registry>\r\n"));

  EditCompression();
  for (const char* answer : {"No", "Yes"}) {
    driver.frontEnd.AddAnswer(answer);
    driver.frontEnd.AddPath(kFile);
    driver.Press("Export Settings");
    EXPECT_EQ(PageDriver::Stored("AllowCompression").value_or("none"),
              CString(answer) == "Yes" ? "yes" : "none");
  }
  EXPECT_EQ(driver.frontEnd.Unanswered(), "");

  // No file chosen: no message. One that can't be made: the message of success all the same.
  const size_t told = driver.frontEnd.Messages().size();
  driver.Press("Export Settings");
  EXPECT_EQ(driver.frontEnd.Messages().size(), told);
  driver.frontEnd.AddPath("C:\\PageTest\\Nowhere\\x.xml");
  driver.Press("Export Settings");
  EXPECT_EQ(LastMessage(), "Settings saved in C:\\PageTest\\Nowhere\\x.xml.");
}

TEST_F(ConfigurationPage, OpensTheKeyForAnExportAndCarriesCredentials) {
  const std::vector<BYTE> blob = MakeCachedRecord("pass", "(Default)", "anna");
  PageDriver::Store(nullptr, {reinterpret_cast<const char*>(blob.data()), blob.size()}, kCredential,
                    REG_BINARY);
  PageDriver::MakeKey(CString(PageDriver::kServer) + "\\Child");
  const CString before = ListOf(PageDriver::kServer);
  std::vector<CString> during;
  driver.frontEnd.standingAnswer = [&](std::string_view question) -> std::optional<std::string> {
    if (question.starts_with(kCachedKeys)) during.push_back(ListOf(PageDriver::kServer));
    return std::nullopt;
  };
  for (const char* answer : {"No", "Yes"}) {
    driver.frontEnd.AddPath(kFile);
    driver.frontEnd.AddAnswer(answer);
    driver.Press("Export Settings");
    const bool holds = Contents(kFile).find("value=\"pass\"") != CString::npos;
    EXPECT_EQ(holds, CString(answer) == "Yes") << Contents(kFile);
    EXPECT_EQ(ListOf(PageDriver::kServer), before);
  }
  ASSERT_EQ(during.size(), 2u);
  EXPECT_TRUE(during[0].ends_with("(A;;KA;;;WD)") || during[0].ends_with("(A;;0x000f003f;;;WD)"))
      << during[0];

  // Back into the store, under a protection of its own.
  importResult = kImport;
  PageDriver::Store(nullptr, "lost", kCredential, REG_BINARY);
  driver.frontEnd.AddAnswer("Yes");
  driver.frontEnd.AddPath(kFile);
  driver.Press("Import Settings");
  const CString back = PageDriver::Stored(nullptr, kCredential).value_or("");
  EXPECT_NE(back, CString(blob.begin(), blob.end()));
  EXPECT_EQ(ReadCachedRecord({reinterpret_cast<const BYTE*>(back.data()), back.size()}, "(Default)", "anna"),
            "pass");
}

TEST_F(ConfigurationPage, TellsWhatBecameOfAnImport) {
  const struct {
    std::uint32_t result;
    CString message;
    std::vector<std::string> calls;
  } cases[] = {
      {0xFFFFFFFF, "File is not for Tessel Marrowen SSH Server.", {}},
      {ERROR_ACCESS_DENIED, "Unable to Import settings. " + ErrorTextOf(ERROR_ACCESS_DENIED), {}},
      {0,
       "Settings from " + CString(kFile) + " imported.",
       {"after import ", "refresh Configuration Management"}},
  };
  driver.Show(compression);
  driver.Show(page);
  PageDriver::Store("AllowCompression", "yes");
  for (const auto& test : cases) {
    importResult = test.result;
    driver.hostCalls.clear();
    driver.frontEnd.AddAnswer("Yes");
    driver.frontEnd.AddPath(kFile);
    driver.Press("Import Settings");
    EXPECT_EQ(LastMessage(), test.message);
    EXPECT_EQ(driver.hostCalls, test.calls);
    EXPECT_EQ(imported, "Tessel Marrowen SSH Server|" + CString(kFile));
  }
  imported.clear();
  driver.frontEnd.AddAnswer("No");
  driver.Press("Import Settings");
  EXPECT_EQ(imported, "");
  EXPECT_EQ(driver.frontEnd.Unanswered(), "");

  // A file for another product changes nothing.
  importResult = kImport;
  Write(kFile, "<registry><product name=\"Another\"/><k name=\"HKEY_LOCAL_MACHINE\"><k name=\"" +
                   text::Replaced(PageDriver::kServer, "\\", "\"><k name=\"") +
                   "\"><v name=\"Path\" value=\"x\"/></k></k></k></k></k></registry>");
  driver.frontEnd.AddAnswer("Yes");
  driver.frontEnd.AddPath(kFile);
  driver.Press("Import Settings");
  EXPECT_EQ(LastMessage(), "File is not for Tessel Marrowen SSH Server.");
  EXPECT_EQ(PageDriver::Stored("Path"), kFolder);
}

TEST_F(ConfigurationPage, RestoresDefaultsAndThenTheirAccessList) {
  const CString child = CString(PageDriver::kServer) + "\\Child";
  PageDriver::MakeKey(child);
  const CString before = ListOf(PageDriver::kServer);
  const auto restore = [&](std::uint32_t result) {
    importResult = result;
    driver.hostCalls.clear();
    driver.frontEnd.AddAnswer("Yes");
    driver.Press("Restore Settings");
    return LastMessage();
  };
  EXPECT_TRUE(restore(0).starts_with("The file marrowen_default_settings.xml does not exist in the default"));
  EXPECT_EQ(imported, "");
  Write(kDefaults, "");
  EXPECT_TRUE(restore(0xFFFFFFFF).starts_with("The file marrowen_default_settings.xml has been corrupted."));
  EXPECT_EQ(restore(5), "Unable to restore to default settings. " + ErrorTextOf(5));
  EXPECT_EQ(driver.hostCalls, std::vector<std::string>{});
  EXPECT_EQ(ListOf(PageDriver::kServer), before);

  EXPECT_EQ(restore(0), "System restored to default settings.");
  EXPECT_EQ(imported, "Tessel Marrowen SSH Server|" + CString(kDefaults));
  EXPECT_EQ(driver.hostCalls,
            (std::vector<std::string>{"after import ", "refresh Configuration Management"}));
  // Without the group of administrators nobody's rights change.
  char domain[256];
  BYTE sid[68];
  DWORD sidSize = sizeof sid;
  DWORD domainSize = sizeof domain;
  SID_NAME_USE use{};
  const bool hasGroup =
      LookupAccountNameA(nullptr, "Tessel Admins", sid, &sidSize, domain, &domainSize, &use) != 0;
  for (const CString& path : {CString(PageDriver::kServer), child}) {
    const CString list = ListOf(path);
    EXPECT_EQ(hasGroup, list.ends_with("(A;OICI;GA;;;BU)(A;OICI;GA;;;SY)(A;OICI;GA;;;BA)(A;OICI;GR;;;BU)"))
        << list;
  }
}

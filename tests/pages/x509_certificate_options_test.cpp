// Which certificates of clients count: the page, and the two editors that work at once.

#include "pages/authentication/certificate_editors.h"
#include "pages/pages.h"
#include "tests/pages/server_pages.h"
#include "tests/support/certificates.h"
#include "tests/support/written.h"

using namespace server_pages;
using test_support::ExpectWritten;
using test_support::Written;

namespace {

constexpr const char* kServerKey = R"(Software\TesselWorks\SSHD)";
constexpr const char* kUsages = "ValidCertificateEKUs";
constexpr const char* kMatch = "AuthCertEKUMatchOperation";
constexpr const char* kFile = "C:\\x509test.cer";

// The editors' values and store are those of this computer's server.
class X509Options : public ::testing::Test {
 protected:
  void SetUp() override {
    PageDriver::MakeKey(kServerKey);
    usages = PageDriver::Stored(kUsages, kServerKey);
    match = PageDriver::Stored(kMatch, kServerKey);
    Forget();
    RemoveAnna();
    driver.Show(page);
  }
  void TearDown() override {
    Forget();
    RemoveAnna();
    DeleteFileA(kFile);
    if (usages) PageDriver::Store(kUsages, *usages, kServerKey, REG_MULTI_SZ);
    if (match) PageDriver::Store(kMatch, *match, kServerKey);
  }
  static void Forget() {
    CTesselRegObject key(HKEY_LOCAL_MACHINE);
    ASSERT_TRUE(key.CreateKey(kServerKey));
    key.DeleteValue(kUsages);
    key.DeleteValue(kMatch);
  }
  static void RemoveAnna() {
    bool made = false;
    const UniqueCertificateStore store = OpenTrustedStore(made);
    const UniqueCertificate anna = CertificateOfHex(kCertificateOfAnna);
    UniqueCertificate found = FindCertificate(store.get(), HashOf(*anna));
    if (found) CertDeleteCertificateFromStore(found.release());
  }
  // Presses the button of the page with those answers to its dialog.
  void Press(std::string_view button, std::initializer_list<const char*> answers) {
    for (const char* answer : answers) driver.frontEnd.AddAnswer(answer);
    driver.Press(button);
    EXPECT_EQ(driver.frontEnd.Refusal(), "");
    EXPECT_EQ(driver.frontEnd.Unanswered(), "");
  }
  static std::string Bytes(const char* name) {
    return text::Replaced(PageDriver::Stored(name, kServerKey).value_or("(absent)"),
                          std::string_view("\0", 1), "~");
  }

  std::optional<CString> usages;
  std::optional<CString> match;
  PageDriver driver;
  CTesselPropertyPage& page =
      driver.Add(PageIndex::AuthX509, MakeAuthX509Page, "Authentication::X.509 Certificate Options");
};

class Typed final : public FormDialog<Typed, AcceptedUsages> {
 public:
  Typed() : FormDialog("") {}
  static constexpr Row kRows[] = {
      Rows<AcceptedUsages>::EditableList<&AcceptedUsages::identifiers>("").MadeOf<my_lbox>()};
  static constexpr std::span<const Row> kControls = kRows;
};

}  // namespace

TEST_F(X509Options, AreStoredUnderTheirNamesInOrder) {
  ExpectShown(
      driver,
      "Authenticate using UPN (if available in certificate)=on; Reject Expired Certificates=on; Reject if "
      "unable to determine reovcation status=on; Disabled=on");
  EXPECT_FALSE(driver.Modified());
  Put(driver,
      "Authenticate using UPN (if available in certificate)=off; Authenticate against Active Directory "
      "Kerberos "
      "Name Mappings=off; Check only end certificate=on; Reject Certificates not matching accepted EKUs=off; "
      "Reject "
      "if unable to determine reovcation status=off");
  EXPECT_TRUE(driver.Enabled("Edit EKUs"));
  ASSERT_TRUE(driver.Apply());
  ExpectWritten(PageDriver::kServer,
                Written{"AuthenticateAgainstUPN=no", "AuthenticateAgainstADCertMap=yes",
                        "AuthenticateAgainstADKerbMap=no",
                        "CertificateValidationFlags=" + std::string("\0\0\0\x10", 4) + ":4",
                        "AuthRejectCertExpired=yes", "AuthRejectCertUntrustedRoot=yes",
                        "AuthRejectCertInvalidEKU=no", "AuthRejectCertUnknownRevocation=no"});
  Store("AuthRejectCertExpired=NO; AuthRejectCertUntrustedRoot=off; AuthenticateAgainstADCertMap=no");
  driver.Show(page);
  ExpectShown(
      driver,
      "Reject Expired Certificates=off; Reject Untrusted Certificates=on; Authenticate against Active "
      "Directory Certificate Mappings=off");
}

TEST_F(X509Options, KnowOneBitOfRevocation) {
  struct Case {
    DWORD stored;
    const char* shown;
    DWORD written;
  };
  constexpr Case kCases[] = {
      {0x20000000, "Check entire certificate chain", 0x20000000},
      {0x10000000, "Check only end certificate", 0x10000000},
      {0x40000000, "Check entire chain excluding the root certificate", 0x40000000},
      {0x60000000, "Check entire certificate chain", 0x20000000},
      {0x50000001, "Check only end certificate", 0x10000000},
      {0x8000FFFF, "Disabled", 0},
  };
  for (const auto& [stored, shown, written] : kCases) {
    PageDriver::Store("CertificateValidationFlags", {reinterpret_cast<const char*>(&stored), sizeof stored},
                      PageDriver::kServer, REG_DWORD);
    driver.Show(page);
    EXPECT_EQ(driver.Value(shown), "on") << std::hex << stored;
    driver.Put("Reject Expired Certificates",
               driver.Value("Reject Expired Certificates") == "on" ? "off" : "on");
    ASSERT_TRUE(driver.Apply());
    EXPECT_EQ(PageDriver::Stored("CertificateValidationFlags"),
              CString(reinterpret_cast<const char*>(&written), sizeof written))
        << std::hex << stored;
  }
}

TEST_F(X509Options, KeepAcceptedUsagesByteForByte) {
  Press("Edit EKUs", {"OK"});
  EXPECT_EQ(Bytes(kUsages), "~");
  EXPECT_EQ(Bytes(kMatch), "or~");
  Press("Edit EKUs", {"EKUs=1.3.6.1.5.5.7.3.2, 2.5", "Certificate MUST have all EKUs=on", "OK"});
  EXPECT_EQ(Bytes(kUsages), "1.3.6.1.5.5.7.3.2~2.5~~");
  EXPECT_EQ(Bytes(kMatch), "and~");
  Press("Edit EKUs", {"EKUs=1", "Cancel"});
  EXPECT_EQ(Bytes(kUsages), "1.3.6.1.5.5.7.3.2~2.5~~");
  // What others have stored is read as it comes: by zeros and carriage returns, the word without case.
  PageDriver::Store(kUsages,
                    std::string_view("1.2\r3.4\0\0"
                                     "5\0",
                                     11),
                    kServerKey, REG_MULTI_SZ);
  PageDriver::Store(kMatch, "AND", kServerKey);
  Press("Edit EKUs", {"OK"});
  EXPECT_EQ(Bytes(kUsages), "1.2~3.4~5~~");
  EXPECT_EQ(Bytes(kMatch), "and~");
  // The page itself has no part in it.
  EXPECT_FALSE(driver.Modified());
  EXPECT_EQ(PageDriver::Stored(kUsages), std::nullopt);
}

TEST(AcceptedUsagesList, TakesObjectIdentifiersAlone) {
  Typed dialog;
  dialog.Create();
  auto& list = dynamic_cast<CVSListBox&>(*dialog.Controls()[0]);
  for (const char* good : {"1", "0.0", "1.3.6.1.5.5.7.3.2", "12345678901234567890.1"}) {
    list.SetRows({});
    list.EditRow(0, good);
    EXPECT_EQ(list.GetRows(), std::vector<std::string>{good});
  }
  list.SetRows({"1.2"});
  for (const char* bad : {"", "1.3.", ".1", "1..2", "abc", "1.2 ", "-1", "1,2"}) {
    list.EditRow(1, bad);
    list.EditRow(0, bad);
    EXPECT_EQ(list.GetRows(), std::vector<std::string>{"1.2"}) << bad;
  }
}

TEST_F(X509Options, TrustWhatWasAddedUntilItIsRemoved) {
  const CString bytes = BytesOfHex(kCertificateOfAnna);
  const HANDLE file = CreateFileA(kFile, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  DWORD written = 0;
  WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  CloseHandle(file);

  // What the list shows while it stands open.
  CDlgEditTrust dialog;
  dialog.Create();
  const auto rows = [&dialog] {
    std::string text;
    for (const CListCtrl::Row& row : dialog.m_list->Rows()) text += text::Joined(row.cells, "|") + "\n";
    return text;
  };
  const std::string before = rows();
  driver.frontEnd.AddPath(kFile);
  dialog.Add();
  const std::string with = rows();
  EXPECT_NE(with.find("anna.example|anna.example|11/1/2126|<none>\n"), std::string::npos) << with;
  EXPECT_EQ(with.size(),
            before.size() + std::string_view("anna.example|anna.example|11/1/2126|<none>\n").size());
  for (size_t row = 0; row < dialog.m_list->GetItemCount(); ++row)
    dialog.m_list->SetSelected(row, dialog.m_list->GetItemText(row) == "anna.example");
  const auto selected = dialog.m_list->GetSelected();
  ASSERT_GE(selected, 0);
  dialog.View();
  EXPECT_EQ(driver.frontEnd.Opened(), std::vector<std::string>{"anna.example"});
  dialog.m_list->SetSelected(static_cast<size_t>(selected), true);
  dialog.Remove();
  EXPECT_EQ(rows(), before);
  driver.frontEnd.AddPath("C:\\no such file.cer");
  dialog.Add();
  EXPECT_EQ(driver.frontEnd.Messages().back(),
            "The file \"C:\\no such file.cer\" holds no certificate that could be added.");
  dialog.OnOK();
  bool made = false;
  const UniqueCertificateStore store = OpenTrustedStore(made);
  EXPECT_EQ(FindCertificate(store.get(), HashOf(*CertificateOfHex(kCertificateOfAnna))), nullptr);
  EXPECT_TRUE(PageDriver::HasKey(R"(Software\TesselWorks\SSHD\Certs)"));
}

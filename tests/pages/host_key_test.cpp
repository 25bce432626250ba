// The page of host keys: which files and which certificate it stores, and what its dialogs do.

#include "pages/pages.h"
#include "pages/transport/key_generation.h"
#include "platform/keymill.h"
#include "store/certificates.h"
#include "tests/pages/server_pages.h"
#include "tests/support/certificates.h"
#include "tests/support/written.h"

using namespace server_pages;
using test_support::ExpectWritten;
using test_support::Written;

namespace {

constexpr const char* kFolder = "C:\\HostKeyTest";
const CString kKey = CString(kFolder) + "\\key";
const CString kOther = CString(kFolder) + "\\other";

CString Fingerprint(const CString& path) {
  return keymill::KGGetFingerprintString(path.c_str()).value_or("");
}

class HostKeys : public ::testing::Test {
 protected:
  void SetUp() override {
    CreateDirectoryA(kFolder, nullptr);
    Clean();
    SetEnvironmentVariableA("SystemRoot", "C:\\HostKeyTest\\root");
    driver.Show(page);
  }
  void TearDown() override {
    Clean();
    RemoveDirectoryA(kFolder);
    SetEnvironmentVariableA("SystemRoot", before.empty() ? nullptr : before.c_str());
  }
  static void Clean() {
    for (const CString& key : {kKey, kOther}) {
      DeleteFileA(key.c_str());
      DeleteFileA((key + ".pub").c_str());
    }
  }
  static CString Root() {
    char text[MAX_PATH] = {};
    GetEnvironmentVariableA("SystemRoot", text, sizeof text);
    return text;
  }
  void Press(std::string_view button, std::initializer_list<const char*> answers) {
    for (const char* answer : answers) driver.frontEnd.AddAnswer(answer);
    driver.Press(button);
    EXPECT_EQ(driver.frontEnd.Refusal(), "");
  }
  // Whether this system makes keys.
  static bool MakesKeys() { return keymill::GenerateKey("rsa", "1024", kKey.c_str(), "", "", {}) != -1; }

  CString before = Root();
  PageDriver driver;
  CTesselPropertyPage& page = driver.Add(PageIndex::HostKey, MakeHostKeyPage, "General Settings::Host Key");
};

}  // namespace

TEST_F(HostKeys, LieWhereTheServerLooksByItself) {
  ExpectShown(driver,
              "DSA File:=C:\\HostKeyTest\\root\\system32\\drivers\\etc\\tessel_ssh_hostkey; "
              "RSA File:=C:\\HostKeyTest\\root\\system32\\drivers\\etc\\tessel_ssh_rsa_hostkey; "
              "File=C:\\HostKeyTest\\root\\system32\\drivers\\etc\\tessel_ssh1_hostkey; "
              "Use DSA host key=on; Use RSA host key=on; Use X.509 host key=on; Use SSH1 host key=on; "
              "Thumbprint:=; X.509 certificate:=");
  EXPECT_FALSE(driver.Modified());
  Put(driver, "DSA File:=d; RSA File:=r; File=1; Use DSA host key=off; Use SSH1 host key=off");
  ASSERT_TRUE(driver.Apply());
  ExpectWritten(PageDriver::kServer,
                Written{"SSH2HostFile=d", "SSH1HostFile=1", "SSH2RSAHostFile=r", "X509HostCert=:3",
                        "UseSSH2DSAKey=no", "UseSSH2RSAKey=yes", "UseSSH1Key=no", "UseX509Key=yes"});
  // A path that does not fit is a missing one; flags are on but for "no".
  Store("SSH2HostFile=" + std::string(kValueBufferSize, 'x') + "; UseSSH2DSAKey=off; UseX509Key=NO");
  driver.Show(page);
  ExpectShown(driver,
              "DSA File:=C:\\HostKeyTest\\root\\system32\\drivers\\etc\\tessel_ssh_hostkey; Use DSA host "
              "key=on; Use X.509 host key=off");
}

TEST_F(HostKeys, AreEnabledAtClicksAlone) {
  Store("UseSSH2DSAKey=no; UseSSH2RSAKey=no; UseX509Key=no; UseSSH1Key=no");
  driver.Show(page);
  struct Case {
    const char* box;
    std::vector<const char*> controls;
  };
  const Case cases[] = {
      {"Use DSA host key", {"DSA File:", "Browse", "Generate", "Fingerprint:"}},
      {"Use RSA host key", {"RSA File:", "Browse#2", "Generate#2", "Fingerprint:#2"}},
      {"Use SSH1 host key", {"File:", "Browse#3", "Generate#3", "Fingerprint:#3"}},
      {"Use X.509 host key", {"X.509 certificate:", "Browse#4", "Thumbprint:"}},
  };
  for (const auto& [box, controls] : cases) {
    for (const char* control : controls) EXPECT_TRUE(driver.Enabled(control)) << control;
    driver.Put(box, "on");
    driver.Put(box, "off");
    for (const char* control : controls) EXPECT_FALSE(driver.Enabled(control)) << control;
  }
}

TEST_F(HostKeys, ShowTheFingerprintOfWhatTheirEditNames) {
  ASSERT_TRUE(MakesKeys());
  driver.Put("RSA File:", kKey);
  EXPECT_EQ(driver.Value("Fingerprint:#2"), Fingerprint(kKey));
  EXPECT_TRUE(driver.Value("Fingerprint:#2").starts_with("SHA256:"));
  driver.Put("RSA File:", kKey + "x");
  EXPECT_EQ(driver.Value("Fingerprint:#2"), "");
  driver.frontEnd.AddPath(kKey + ".pub");
  driver.Press("Browse#2");
  EXPECT_EQ(driver.Value("RSA File:"), kKey);
  EXPECT_EQ(driver.Value("Fingerprint:#2"), Fingerprint(kKey));
  // Cut at the last ".", wherever the ending stands.
  driver.frontEnd.AddPath("C:\\keys\\a.pub\\host");
  driver.Press("Browse");
  EXPECT_EQ(driver.Value("DSA File:"), "C:\\keys\\a");
  driver.frontEnd.AddPath("C:\\keys.pub\\b.old");
  driver.Press("Browse");
  EXPECT_EQ(driver.Value("DSA File:"), "C:\\keys.pub\\b");
  driver.Press("Browse");
  EXPECT_EQ(driver.Value("DSA File:"), "C:\\keys.pub\\b");
}

TEST_F(HostKeys, AreGeneratedInADialog) {
  const bool makes = MakesKeys();
  Clean();
  driver.Put("RSA File:", kKey);
  Press("Generate#2", {"Length in bits=1024", "Comment=of the server", "Generate"});
  EXPECT_EQ(driver.Value("RSA File:"), kKey);
  EXPECT_EQ(driver.Value("Fingerprint:#2"), Fingerprint(kKey));
  EXPECT_EQ(Fingerprint(kKey).empty(), !makes);
  EXPECT_EQ(driver.frontEnd.Messages().empty(), makes);
  // The dialog's own path counts, made or not.
  Press("Generate#2", {"Filename=C:\\HostKeyTest\\no\\such\\key", "Generate"});
  EXPECT_EQ(driver.frontEnd.Messages().back(), "Unable to generate key");
  EXPECT_EQ(driver.Value("RSA File:"), CString(kFolder) + "\\no\\such\\key");
  EXPECT_EQ(driver.Value("Fingerprint:#2"), "");
  const CString shown = driver.Value("DSA File:");
  Press("Generate", {"Filename=x", "Cancel"});
  EXPECT_EQ(driver.Value("DSA File:"), shown);
}

TEST(KeyGeneration, BoundsItsLengthByType) {
  struct Case {
    const char* type;
    int min;
    int max;
    int tick;
  };
  for (const auto& [type, min, max, tick] : {Case{"dsa", 1024, 3072, 64}, Case{"DSA", 1024, 3072, 64},
                                             Case{"rsa", 1024, 8192, 1024}, Case{"rsa1", 1024, 8192, 1024}}) {
    CDlgKeyGen dialog("file", type);
    dialog.Create();
    EXPECT_EQ(dialog.m_slider->GetRangeMin(), min) << type;
    EXPECT_EQ(dialog.m_slider->GetRangeMax(), max) << type;
    EXPECT_EQ(dialog.m_slider->GetTicFreq(), tick) << type;
    EXPECT_EQ(dialog.m_slider->GetPos(), 2048) << type;
    EXPECT_EQ(dialog.Find("Length in bits").control->Value(), "2048") << type;
    EXPECT_EQ(dialog.m_typeList->GetText(), type);
    EXPECT_FALSE(dialog.m_typeList->IsWindowEnabled());
    EXPECT_FALSE(dialog.Find("Passphrase").control->IsWindowVisible());
    EXPECT_TRUE(dialog.Put("Length in bits", "4000"));
    EXPECT_EQ(dialog.m_slider->GetPos(), std::min(4000, max)) << type;
  }
}

TEST(KeyGeneration, EmptiesPassphrasesThatDiffer) {
  ScriptedFrontEnd frontEnd;
  FrontEnd* const before = SetFrontEnd(&frontEnd);
  CDlgKeyGen dialog("file", "rsa");
  dialog.Create();
  auto& first = dynamic_cast<CEdit&>(*dialog.Find("Passphrase").control);
  auto& second = dynamic_cast<CEdit&>(*dialog.Find("Confirm Passphrase").control);
  for (const char* confirmed : {"a", "A"}) {
    first.SetText("a");
    second.SetText(confirmed);
    dialog.ComparePassphrases();
    EXPECT_EQ(first.GetText(), std::string_view(confirmed) == "a" ? "a" : "");
    EXPECT_EQ(second.GetText(), first.GetText());
  }
  EXPECT_EQ(frontEnd.Messages(), std::vector<std::string>{"Passphrase doesn't match"});
  SetFrontEnd(before);
}

TEST_F(HostKeys, TakeACertificateOfTheMachine) {
  const MachineCertificate certificate(kCertificateOfAnna);
  driver.Show(page);
  driver.frontEnd.AddCertificate(kThumbprintOfAnna);
  driver.Press("Browse#4");
  EXPECT_EQ(driver.frontEnd.Refusal(), "");
  EXPECT_EQ(driver.Value("X.509 certificate:"), "anna.example");
  EXPECT_EQ(driver.Value("Thumbprint:"), kThumbprintOfAnna);
  ASSERT_TRUE(driver.Apply());
  EXPECT_EQ(ThumbprintOf(PageDriver::Stored("X509HostCert").value_or("")), kThumbprintOfAnna);
  // When it is read, a last byte of 0x80 and above has eight digits.
  CString widened = kThumbprintOfAnna;
  widened.insert(widened.size() - 2, "ffffff");
  EXPECT_EQ(driver.Value("Thumbprint:"), widened);
  EXPECT_EQ(driver.Value("X.509 certificate:"), "anna.example");
  // One that the store does not hold leaves the name.
  PageDriver::Store("X509HostCert", std::string(19, '\1') + "\x7F", PageDriver::kServer, REG_BINARY);
  driver.Show(page);
  EXPECT_EQ(driver.Value("Thumbprint:"), "01:01:01:01:01:01:01:01:01:01:01:01:01:01:01:01:01:01:01:7f");
  EXPECT_EQ(driver.Value("X.509 certificate:"), "anna.example");
}

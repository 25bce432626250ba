#include "tests/pages/server_pages.h"

using namespace server_pages;
using I = PageIndex;

namespace {

// What the store holds, what a page shows of it after a person's acts, whether it has something to apply
// then, and what the store holds after Apply.
struct Scenario {
  const char* what;
  PageIndex page;
  std::string stored;
  std::string acts;
  std::string shown;
  bool modified;
  std::string written;
};

std::string Times(size_t count, char c) { return std::string(count, c); }

std::string WithZeros(std::string text) {
  std::replace(text.begin(), text.end(), '~', '\0');
  return text;
}

const Scenario kGeneral[] = {
    {"an empty store", I::General, "", "",
     "Maximum Connections=; Perform Network Drive Cleanup=on; Allow SSH1 protocol=on; Server Key Bits=; FIPS "
     "Mode=off; "
     "Monitor Sessions (Turn on \"Interact with Desktop\" for the InetD Service)=off",
     false, "FIPSMode=(absent)"},
    {"two flags are true unless no, two only if yes", I::General,
     "NetworkCleanup=maybe; AllowSSH1Protocol=maybe; MonitorSessions=maybe; FIPSMode=maybe", "",
     "Perform Network Drive Cleanup=on; Allow SSH1 protocol=on; FIPS Mode=off; "
     "Monitor Sessions (Turn on \"Interact with Desktop\" for the InetD Service)=off",
     false, "FIPSMode=maybe"},
    {"a limit above the ceiling stays stored until a save", I::General, "SessionLimit=20000", "",
     "Maximum Connections=10000", false, "SessionLimit=20000"},
    {"and a save lowers it", I::General, "SessionLimit=99999999999", "Server Key Bits=0768",
     "Maximum Connections=10000", true, "SessionLimit=10000; ServerKeyBits=0768; MonitorSessions=no"},
    {"bytes that are no text", I::General, WithZeros("SessionLimit=x~y; ServerKeyBits=\5~~~"),
     "Perform Network Drive Cleanup=off", "Maximum Connections=x", true, "SessionLimit=x; ServerKeyBits=\5"},
    {"values too long leave their fields", I::General,
     "SessionLimit=" + Times(260, '1') + "; NetworkCleanup=" + Times(260, 'y') +
         "; ServerKeyBits=" + Times(259, '1'),
     "", "Maximum Connections=; Perform Network Drive Cleanup=off; Server Key Bits=" + Times(259, '1'), false,
     "SessionLimit=" + Times(260, '1')},
    {"the ceiling holds while typing", I::General, "SessionLimit=7", "Maximum Connections=100015",
     "Maximum Connections=10000", true, "SessionLimit=10000"},
    {"an empty limit", I::General, "SessionLimit=7", "Maximum Connections=", "Maximum Connections=", true,
     "SessionLimit="},
    {"SSH1 under FIPS mode is no edit", I::General, "AllowSSH1Protocol=yes; FIPSMode=yes", "",
     "Allow SSH1 protocol=off", false, "AllowSSH1Protocol=yes"},
    {"FIPS mode leaves SSH1 ticked on the screen alone", I::General, "", "FIPS Mode=on",
     "Allow SSH1 protocol=on", true,
     "AllowSSH1Protocol=no; FIPSMode=yes; CiphersUsed=; MACsUsed=; KexUsed=(absent)"},
    {"each save under FIPS mode narrows the lists, without case", I::General,
     "FIPSMode=yes; CiphersUsed=,AES256-CTR,aes128-cbc,,aes128-ctr,; KexUsed=diffie-hellman-group1-sha1; "
     "MACsUsed=hmac-md5,hmac-sha2-512,HMAC-SHA1,hmac-sha1-96",
     "Server Key Bits=1", "", true,
     "CiphersUsed=AES256-CTR,aes128-ctr; MACsUsed=hmac-sha2-512,HMAC-SHA1; "
     "KexUsed=diffie-hellman-group1-sha1"},
    {"a list too long to read stays, and the other is narrowed", I::General,
     "FIPSMode=yes; CiphersUsed=" + Times(260, 'a') + "; MACsUsed=hmac-md5", "Server Key Bits=1", "", true,
     "CiphersUsed=" + Times(260, 'a') + "; MACsUsed="},
    {"a save without FIPS mode leaves the lists", I::General, "CiphersUsed=3des", "Server Key Bits=1", "",
     true, "CiphersUsed=3des; MACsUsed=(absent)"},
};

const Scenario kAuthentication[] = {
    {"every method is on until it says no", I::AuthMain, "AllowPasswordAuth=disabled; AllowGSSAuth=No", "",
     "Limit authentication attempts=on; Number of authentication attempts=; Password=on; GSSAPI "
     "Authentication=off",
     false, "AuthAttemptLimit=(absent)"},
    {"an empty store", I::AuthPassword, "", "", "Store Passwords:=Only when autoloading keys", false,
     "CacheWindowsCredentials=(absent)"},
    {"a pair that no row holds", I::AuthPassword, "CacheWindowsCredentials=no; OnlyCacheCredForCert=yes", "",
     "Store Passwords=Never", false, "OnlyCacheCredForCert=yes"},
    {"a row writes both flags", I::AuthPassword, "", "Store Passwords:=Always", "", true,
     "CacheWindowsCredentials=yes; OnlyCacheCredForCert=no"},
    {"whatever they were", I::AuthPassword, "CacheWindowsCredentials=no; OnlyCacheCredForCert=no",
     "Store Passwords=Only when autoloading keys", "", true,
     "CacheWindowsCredentials=yes; OnlyCacheCredForCert=yes"},
    {"Never clears both", I::AuthPassword, "", "Store Passwords=Never", "", true,
     "CacheWindowsCredentials=no; OnlyCacheCredForCert=no"},
    {"an empty store", I::AuthGssApi, "", "",
     "Kerberos=on; Authenticate without Message Integrity Check (mic):=Allow", false,
     "AllowGSSWithMIC=(absent)"},
    {"a pair that no row holds stays when something else is saved", I::AuthGssApi,
     "AllowGSSWithMIC=no; AllowGSSWithoutMIC=no", "GSSAPI NTLM=off",
     "Authenticate without Message Integrity Check (mic)=Force", true,
     "AllowGSSWithMIC=no; AllowGSSWithoutMIC=no; AllowGSSNTLM=no"},
    {"the list names what it denies", I::AuthGssApi, "AllowGSSWithMIC=no",
     "Authenticate without Message Integrity Check (mic)=Deny", "", true,
     "AllowGSSWithMIC=yes; AllowGSSWithoutMIC=no"},
    {"or forces", I::AuthGssApi, "", "Authenticate without Message Integrity Check (mic)=Force", "", true,
     "AllowGSSWithMIC=no; AllowGSSWithoutMIC=yes"},
    {"delegation keeps its tick without Kerberos", I::AuthGssApi, "", "Kerberos=off",
     "Token Delegation for Kerberos=on", true, "GSSDelegate=yes; AllowGSSKerberos=no"},
    {"an empty store", I::AuthPubKey, "", "",
     "Store keys in authorized file.=on; Authorized keys file=%APPDATA%\\TesselSSH\\authorized_keys2", false,
     "AuthCredentialsPath=(absent)"},
    {"the folder of old stands in for the path, and stays", I::AuthPubKey,
     "AuthCredentialsPath=; AuthCredentialsDirectory=D:\\keys", "Allow authentication from file=off",
     "Authorized keys file=D:\\keys\\authorized_keys2", true,
     "AuthCredentialsPath=D:\\keys\\authorized_keys2; AuthCredentialsDirectory=D:\\keys"},
    {"a folder too long to read leaves the field", I::AuthPubKey,
     "AuthCredentialsDirectory=" + Times(260, 'd'), "", "Authorized keys file=", false,
     "AuthCredentialsPath=(absent)"},
    {"so does a path, whatever the folder", I::AuthPubKey,
     "AuthCredentialsPath=" + Times(260, 'p') + "; AuthCredentialsDirectory=D:\\keys", "",
     "Authorized keys file=", false, "AuthCredentialsPath=" + Times(260, 'p')},
    {"the path's case is no difference", I::AuthPubKey, "AuthCredentialsPath=c:\\Keys",
     "Authorized keys file=C:\\KEYS", "", false, "AuthCredentialsPath=c:\\Keys"},
};

const Scenario kOthers[] = {
    {"an empty store switches both banners on", I::Banner, "", "",
     "Display Splash Banner=on; Display Consent Banner=on; Splash Banner=; Accept=", false,
     "SplashBanner=(absent)"},
    {"texts are longer here than elsewhere", I::Banner,
     "SplashBanner=" + Times(4095, 's') + "; ConsentBanner=" + Times(4095, 'c') +
         "; ConsentPrompt=" + Times(4095, 'p') + "; ConsentAccept=" + Times(4096, 'a'),
     "",
     "Splash Banner=" + Times(4095, 's') + "; Consent Banner=" + Times(4095, 'c') +
         "; Prompt=" + Times(4095, 'p') + "; Accept=",
     false, "ConsentAccept=" + Times(4096, 'a')},
    {"case is a difference, and lines end as an edit ends them", I::Banner,
     "ConsentPrompt=agree?; DisplayConsentBanner=no", "Prompt=Agree?; Consent Banner=one\ntwo",
     "Prompt=Agree?", true, "ConsentPrompt=Agree?; ConsentBanner=one\r\ntwo; ConsentAccept="},
    {"a service is on until it says no", I::AccessControl, "AllowSCPSubSystems=No; AllowShellAccess=maybe",
     "", "Allow SCP Access=off; Allow Logon/Shell Access=on; Allow SFTP Access=on", false,
     "AllowShellAccess=maybe"},
};

void Expect(const Scenario& scenario) {
  PageDriver driver;
  CTesselPropertyPage& page = Add(driver, scenario.page);
  SCOPED_TRACE(page.Caption() + ": " + scenario.what);
  Store(scenario.stored);
  driver.Show(page);
  Put(driver, scenario.acts);
  ExpectShown(driver, scenario.shown);
  EXPECT_EQ(driver.Modified(), scenario.modified);
  EXPECT_TRUE(driver.Apply());
  ExpectStored(scenario.written);
  EXPECT_FALSE(driver.Modified());
  EXPECT_EQ(driver.frontEnd.Beeps(), 0);
}

}  // namespace

TEST(ServerPages, GeneralSettings) {
  for (const Scenario& scenario : kGeneral) Expect(scenario);
}
TEST(ServerPages, Authentication) {
  for (const Scenario& scenario : kAuthentication) Expect(scenario);
}
TEST(ServerPages, BannerAndAccessControl) {
  for (const Scenario& scenario : kOthers) Expect(scenario);
}

// What a control edits goes into the value that it names, comes back from it, and touches no other control.
TEST(ServerPages, EachControlHasAValueOfItsOwn) {
  for (const ServerPage& tested : kPages) {
    PageDriver driver;
    CTesselPropertyPage& page = Add(driver, tested.index);
    driver.Show(page);
    for (const auto& control : page.Controls()) {
      const bool box = control->Kind() == ControlKind::CheckBox;
      const bool edit = control->Kind() == ControlKind::Edit && !static_cast<CEdit&>(*control).readOnly;
      if ((!box && !edit) || control->caption == "FIPS Mode") continue;  // which clears its neighbour
      SCOPED_TRACE(page.Caption() + ": " + control->Name());
      const auto others = [&] {
        std::string values;
        for (const auto& other : page.Controls()) values += other == control ? "" : other->Value() + "|";
        return values;
      };
      const std::string othersBefore = others();
      const std::string before = control->Value();
      const std::string value = edit ? "7" : before == "on" ? "off" : "on";
      driver.Put(control->Name(), value);
      EXPECT_TRUE(driver.Apply());
      EXPECT_EQ(driver.Stored(control->storedAs.c_str()), edit ? "7" : value == "on" ? "yes" : "no");
      EXPECT_EQ(control->Value(), value);
      EXPECT_EQ(others(), othersBefore);
      driver.Put(control->Name(), before);
      EXPECT_TRUE(driver.Apply());
    }
  }
}

TEST(ServerPages, FlagsEnableWhatHangsOnThem) {
  constexpr const char* kLimit = "Number of authentication attempts";
  constexpr const char* kPath = "Authorized keys file";
  const struct {
    PageIndex page;
    const char* stored;
    const char* acts;
    const char* caption;
    bool enabled;
  } cases[] = {
      {I::General, "FIPSMode=yes", "", "Allow SSH1 protocol", false},
      {I::General, "FIPSMode=yes", "FIPS Mode=off", "Allow SSH1 protocol", true},
      {I::General, "", "FIPS Mode=on", "Allow SSH1 protocol", false},
      // Showing the page does not apply this one, whatever it shows.
      {I::AuthMain, "AllowAuthLimit=no", "", kLimit, true},
      {I::AuthMain, "AllowAuthLimit=no", "Password=off", kLimit, true},
      {I::AuthMain, "", "Limit authentication attempts=off", kLimit, false},
      {I::AuthMain, "AllowAuthLimit=no", "Limit authentication attempts=on", kLimit, true},
      {I::AuthGssApi, "AllowGSSKerberos=no", "", "Token Delegation for Kerberos", false},
      {I::AuthGssApi, "AllowGSSKerberos=no", "Kerberos=on", "Token Delegation for Kerberos", true},
      {I::AuthPubKey, "AllowFileAuth=no", "", kPath, false},
      {I::AuthPubKey, "AllowPADAuth=no", "", kPath, true},
      {I::AuthPubKey, "", "Allow authentication from file=off", kPath, false},
      {I::AuthPubKey, "", "Allow authentication from file=off", "Store keys in authorized file.", false},
      {I::AuthPubKey, "", "Allow authentication from registry=off", "Store keys in authorized file.", true},
      {I::AuthPubKey, "", "Allow authentication from registry=off", "Automatically store keys in registry",
       false},
      {I::Banner, "DisplayConsentBanner=no", "", "Consent Banner", true},
  };
  for (const auto& c : cases) {
    PageDriver driver;
    Store(c.stored);
    driver.Show(Add(driver, c.page));
    Put(driver, c.acts);
    EXPECT_EQ(driver.Enabled(c.caption), c.enabled) << c.caption << ": " << c.stored << ", " << c.acts;
  }
}

// The digits before the last one may equal the store; what the ceiling makes of the last one is kept all the
// same when the page is left.
TEST(ServerPages, TheCeilingIsTakenInSilence) {
  PageDriver driver;
  Store("SessionLimit=1000");
  driver.Show(Add(driver, I::General));
  driver.Get<CEdit>("Maximum Connections").Type("1");
  ExpectShown(driver, "Maximum Connections=10000");
  EXPECT_FALSE(driver.Modified());
  EXPECT_TRUE(driver.Apply());
  ExpectStored("SessionLimit=10000");
}

TEST(ServerPages, TheProtocolListIsNeverVisible) {
  PageDriver driver;
  driver.Show(Add(driver, I::General));
  driver.Put("FIPS Mode", "on");
  EXPECT_FALSE(driver.Get<CComboBox>("SSH Protocols Allowed: ").IsWindowVisible());
}

// A field that only a text replaces shows the last target's text where the next one has none.
TEST(ServerPages, AnAttemptLimitOutlivesItsTarget) {
  PageDriver driver(true);
  driver.Store("AuthAttemptLimit", "4", PageDriver::kConfigurationServer);
  CTesselPropertyPage& page = Add(driver, I::AuthMain);
  driver.Show(page, "pagetest::Authentication");
  driver.Show(page, "no configuration");
  ExpectShown(driver, "Number of authentication attempts=4");
}

// Which messages reach a page: an import and an export pass the authentication page by.
TEST(ServerPages, HearTheirSiblings) {
  for (const ServerPage& tested : kPages) {
    PageDriver driver;
    CTesselPropertyPage& page = Add(driver, tested.index);
    SCOPED_TRACE(page.Caption());
    driver.Show(page);
    page.m_pending.clear();
    for (const auto& control : page.Controls()) {
      if (control->Kind() == ControlKind::CheckBox || control->HasCheckBoxes()) {
        (control->HasCheckBoxes() ? control->Check(0, !control->IsChecked(0)) : control->Click());
        break;
      }
      if (control->Kind() == ControlKind::ComboBox && control->Select(0)) break;
    }
    EXPECT_TRUE(driver.sheet.LeaveActivePage());
    EXPECT_FALSE(page.m_pending.empty());
    EXPECT_EQ(page.QuerySiblings(2, 0), 0);
    EXPECT_EQ(page.m_pending.empty(), tested.index != I::AuthMain);
    driver.hostCalls.clear();
    EXPECT_EQ(page.QuerySiblings(3, 0), 0);
    const std::vector<std::string> retitled{"title |Marrowen|General Settings"};
    EXPECT_EQ(driver.hostCalls, tested.index == I::General ? retitled : std::vector<std::string>());
  }
}

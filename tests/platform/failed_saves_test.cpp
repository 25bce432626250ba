// A save whose write is denied midway: what was written before it stays, nothing behind it is written, and
// the page notes which value it was.

#include <gtest/gtest.h>

#include "pages/pages.h"
#include "platform/embedded/controls.h"
#include "tests/support/page_driver.h"
#include "tests/support/written.h"

namespace {

using test_support::PageDriver;
using test_support::Written;

struct Case {
  PageDriver::MakePage make;
  const char* title;
  const char* appended;
  const char* target;
  const char* key;  // below the server's
  const char* caption;
  const char* value;
  const char* denied;
  Written written;
};

constexpr const char* kPrincipals = "*Users|Groups|IP Range";

const Case kCases[] = {
    {MakeGeneralPage,
     "General Settings",
     "",
     "",
     "",
     "FIPS Mode",
     "on",
     "ServerKeyBits",
     {"SessionLimit=", "NetworkCleanup=yes"}},
    // What becomes of the switch itself does not keep the lists from being narrowed.
    {MakeGeneralPage,
     "General Settings",
     "",
     "",
     "",
     "FIPS Mode",
     "on",
     "FIPSMode",
     {"SessionLimit=", "NetworkCleanup=yes", "ServerKeyBits=", "AllowSSH1Protocol=no", "MonitorSessions=no",
      "CiphersUsed=", "MacsUsed="}},
    {MakeCompressionPage,
     "General Settings::Compression",
     "",
     "",
     "",
     "Enable Compression",
     "on",
     "CompressionLevel",
     {}},
    {MakeAuthMainPage,
     "Authentication",
     "",
     "",
     "",
     "Password",
     "off",
     "AllowPasswordAuth",
     {"AuthAttemptLimit=", "AllowAuthLimit=yes"}},
    {MakeAuthPasswordPage,
     "Authentication::Password Options",
     "",
     "",
     "",
     "Store Passwords",
     "Never",
     "CacheWindowsCredentials",
     {}},
    {MakeAuthPubKeyPage,
     "Authentication::Public Key Options",
     "",
     "",
     "",
     "Allow authentication from file",
     "off",
     "AuthCredentialsPath",
     {"AutoStoreKeys=yes", "AllowFileAuth=no"}},
    {MakeAuthGssApiPage,
     "Authentication::GSSAPI Options",
     "",
     "",
     "",
     "Kerberos",
     "off",
     "GSSDelegate",
     {"AllowGSSNTLM=yes", "AllowGSSKerberos=no"}},
    {MakeBannerPage,
     "Banner",
     "",
     "",
     "",
     "Case Sensitive Match",
     "off",
     "DisplaySplashBanner",
     {"ConsentAgreeCaseSensitive=no", "ConsentAgreeExactLen=yes", "DisplayConsentBanner=yes"}},
    {MakeAccessControlPage,
     "Access Control",
     "",
     "",
     "",
     "Allow SCP Access",
     "off",
     "AllowTCPForwarding",
     {"AllowShellAccess=yes", "AllowSFTPSubSystems=yes"}},
    {MakeUserGenPage,
     kPrincipals,
     "::*",
     "Users::joe",
     "\\Users\\joe",
     "Monitor Child Processes",
     "on",
     "LTAChar",
     {"IdleSessionTimeOut=0", "SessionLimit=0", "DefaultScreenMode=Full Console",
      "HomeDir=", "DefaultTerm="}},
    // One page writes on whatever becomes of each.
    {MakeUserAccessPage,
     kPrincipals,
     "::*::Forwarding Control",
     "Users::joe::Forwarding Control",
     "\\Users\\joejoe",
     "Denied Access",
     "on",
     "DefaultFwdAccess",
     {"DeniedFwdPorts=", "GrantedFwdPorts="}},
};

TEST(FailedSaves, EndAtTheWriteThatIsDenied) {
  for (const Case& c : kCases) {
    SCOPED_TRACE(std::string(c.title) + ": " + c.denied);
    PageDriver driver;
    const std::string key = std::string(PageDriver::kServer) + c.key;
    PageDriver::MakeKey(key);
    CTesselPropertyPage& page = driver.Add(PageIndex::Compression, c.make, c.title, c.appended);
    driver.Show(page, c.target);
    driver.Put(c.caption, c.value);
    machine::Caller denied;
    denied.deniedValue = c.denied;
    machine::SetCaller(denied);
    EXPECT_TRUE(driver.Apply()) << "the page says nothing";
    machine::SetCaller({});
    EXPECT_EQ(test_support::ValuesIn(key), c.written);
    ASSERT_EQ(page.m_saves.size(), 1u);
    const bool counts = std::string_view(c.denied) != "FIPSMode";
    EXPECT_EQ(page.m_saves[0].status, counts ? DWORD{ERROR_ACCESS_DENIED} : 0u);
    EXPECT_EQ(page.m_saves[0].value, counts ? c.denied : "");
  }
}

}  // namespace

// What each page stores, and in which order: after these acts on an empty key, these writes. And what each
// page shows by itself: its captions and its help.

#include "pages/pages.h"
#include "tests/pages/server_pages.h"
#include "tests/support/written.h"

namespace {

using test_support::PageDriver;
using test_support::Written;
using I = PageIndex;

struct TestedPage {
  PageIndex index;
  PageDriver::MakePage make;
  const char* title;
  const char* appended;
  const char* target;  // null for the title
  const char* helpTopic;
};

constexpr const char* kPrincipals = "*Users|Groups|IP Range";

constexpr TestedPage kPages[] = {
    {I::General, MakeGeneralPage, "General Settings", "", nullptr, "::IDH_GeneralSettings.htm"},
    {I::Cipher, MakeCipherPage, "General Settings::Cipher", "", nullptr, "::IDH_Cipher.htm"},
    {I::Compression, MakeCompressionPage, "General Settings::Compression", "", nullptr,
     "::IDH_Compression.htm"},
    {I::Kex, MakeKexPage, "General Settings::Key Exchange", "", nullptr, "::IDH_Kex.htm"},
    {I::Mac, MakeMacPage, "General Settings::MAC", "", nullptr, "::IDH_MAC.htm"},
    {I::AuthMain, MakeAuthMainPage, "Authentication", "", nullptr, "::IDH_Authentication.htm"},
    {I::AuthPassword, MakeAuthPasswordPage, "Authentication::Password Options", "", nullptr,
     "::IDH_PasswordOptions.htm"},
    {I::AuthPubKey, MakeAuthPubKeyPage, "Authentication::Public Key Options", "", nullptr,
     "::IDH_PublicKeyOptions.htm"},
    {I::AuthGssApi, MakeAuthGssApiPage, "Authentication::GSSAPI Options", "", nullptr,
     "::IDH_GSSAPIOptions.htm"},
    {I::Banner, MakeBannerPage, "Banner", "", nullptr, "::IDH_Banner.htm"},
    {I::AccessControl, MakeAccessControlPage, "Access Control", "", nullptr, "::IDH_AccessControl.htm"},
    {I::UsersMain, MakeUsersMainPage, "Users", "", nullptr, "::IDH_UserManagement.htm"},
    {I::GroupsMain, MakeGroupsMainPage, "Groups", "", nullptr, "::IDH_GroupManagement.htm"},
    {I::CfgIpMain, MakeCfgIpMainPage, "IP Range", "", nullptr, "::IDH_UserManagement.htm"},
    {I::CfgSettings, MakeCfgSettingsPage, "Configuration Management", "", nullptr,
     "::IDH_ConfigManagement.htm"},
    {I::UserGen, MakeUserGenPage, kPrincipals, "::*", "Users::joe", "::IDH_UserGeneralSettings.htm"},
    {I::UserEnv, MakeUserEnvPage, kPrincipals, "::*::Environment Variables",
     "Users::joe::Environment Variables", "::IDH_UserEnvironmentVariables.htm"},
    {I::UserTerminate, MakeUserTerminatePage, kPrincipals, "::*::Graceful Termination",
     "Users::joe::Graceful Termination", "::IDH_UserGracefulTermination.htm"},
    {I::UserFullCon, MakeUserFullConPage, kPrincipals, "::*::Console Settings",
     "Users::joe::Console Settings", "::IDH_UserConsoleSettings.htm"},
    {I::UserStream, MakeUserStreamPage, kPrincipals, "::*::Stream Settings", "Users::joe::Stream Settings",
     "::IDH_UserStreamSettings.htm"},
    {I::UserNonInteractive, MakeUserNonInteractivePage, kPrincipals, "::*::NonInteractive Command Settings",
     "Users::joe::NonInteractive Command Settings", "::IDH_UserNonInteractiveCommand.htm"},
    {I::UserKeyboard, MakeUserKeyboardPage, kPrincipals, "::*::Keyboard", "Users::joe::Keyboard",
     "::IDH_UserKeyboard.htm"},
    {I::UserLogon, MakeUserLogonPage, kPrincipals, "::*::Logon", "Users::joe::Logon", "::IDH_UserLogon.htm"},
    {I::UserAccess, MakeUserAccessPage, kPrincipals, "::*::Forwarding Control",
     "Users::joe::Forwarding Control", "::IDH_UserForwardingControl.htm"},
    {I::UserHandheld, MakeUserHandheldPage, kPrincipals, "::*::Handheld", "Users::joe::Handheld",
     "::IDH_UserHandheld.htm"},
};

std::string Key(std::string_view below) { return std::string(PageDriver::kServer) + std::string(below); }

CTesselPropertyPage& Show(PageDriver& driver, PageIndex index) {
  for (const char* folder : {"\\Users\\joe", "\\Groups", "\\IPs"}) PageDriver::MakeKey(Key(folder));
  for (const TestedPage& page : kPages) {
    if (page.index != index) continue;
    CTesselPropertyPage& added = driver.Add(index, page.make, page.title, page.appended);
    driver.Show(added, page.target == nullptr ? "" : page.target);
    return added;
  }
  std::abort();
}

struct Case {
  PageIndex page;
  const char* acts;  // "Caption=Value" or "Button", with "; " between
  const char* key;   // below the server's
  Written written;
};

const Case kCases[] = {
    {I::General,
     "Maximum Connections=7; Perform Network Drive Cleanup=off; Allow SSH1 protocol=off; Server Key "
     "Bits=2048; "
     "Monitor Sessions (Turn on \"Interact with Desktop\" for the InetD Service)=on",
     "",
     {"SessionLimit=7", "NetworkCleanup=no", "ServerKeyBits=2048", "AllowSSH1Protocol=no",
      "MonitorSessions=yes", "FIPSMode=no"}},
    {I::General,
     "FIPS Mode=on",
     "",
     {"SessionLimit=", "NetworkCleanup=yes", "ServerKeyBits=", "AllowSSH1Protocol=no", "MonitorSessions=no",
      "FIPSMode=yes", "CiphersUsed=", "MacsUsed="}},
    {I::Cipher,
     "none=on; 3des=off; blowfish=off; aes128-cbc=off",
     "",
     {"CiphersUsed=none,3des-cbc,blowfish-cbc,aes192-cbc,aes256-cbc,aes128-ctr,aes192-ctr,aes256-ctr"}},
    {I::Compression, "Enable Compression=on; Level=7", "", {"CompressionLevel=7", "AllowCompression=yes"}},
    {I::Kex,
     "diffie-hellman-group1-sha1=off; diffie-hellman-group-exchange-sha1=off; "
     "diffie-hellman-group17-sha512=off",
     "",
     {"KexUsed=diffie-hellman-group-exchange-sha256,diffie-hellman-group14-sha1,diffie-hellman-group14-"
      "sha256,"
      "diffie-hellman-group15-sha512,diffie-hellman-group16-sha512,diffie-hellman-group18-sha512"}},
    {I::Mac,
     "hmac-sha1-96=off; hmac-md5=off",
     "",
     {"MACsUsed=hmac-sha2-256,hmac-sha2-512,hmac-sha1,hmac-md5-96"}},
    {I::AuthMain,
     "Number of authentication attempts=3; Limit authentication attempts=off; Public Key/Certificate "
     "Authentication=off",
     "",
     {"AuthAttemptLimit=3", "AllowAuthLimit=no", "AllowPasswordAuth=yes", "AllowPubKeyAuth=no",
      "AllowGSSAuth=yes"}},
    {I::AuthPassword,
     "Store Passwords=Always",
     "",
     {"CacheWindowsCredentials=yes", "OnlyCacheCredForCert=no"}},
    {I::AuthPubKey,
     "Store keys in authorized file.=off; Allow authentication from registry=off; Authorized keys file=D:\\k",
     "",
     {"AutoStoreKeys=yes", "AllowFileAuth=yes", "AuthCredentialsPath=D:\\k", "AllowPADAuth=no",
      "AutoStoreKeysInFile=no"}},
    {I::AuthGssApi,
     "GSSAPI NTLM=off; Token Delegation for Kerberos=off; Authenticate without Message Integrity Check "
     "(mic)=Deny",
     "",
     {"AllowGSSNTLM=no", "AllowGSSKerberos=yes", "GSSDelegate=no", "AllowGSSWithMIC=yes",
      "AllowGSSWithoutMIC=no"}},
    {I::Banner,
     "Display Splash Banner=off; Use Exact Length for Match=off; Splash Banner=one\ntwo; Consent "
     "Banner=three; "
     "Prompt=Agree?; Accept=Yes",
     "",
     {"ConsentAgreeCaseSensitive=yes", "ConsentAgreeExactLen=no", "DisplayConsentBanner=yes",
      "DisplaySplashBanner=no", "SplashBanner=one\r\ntwo", "ConsentBanner=three", "ConsentPrompt=Agree?",
      "ConsentAccept=Yes"}},
    {I::AccessControl,
     "Allow SFTP Access=off; Allow Remote Port Forwarding=off",
     "",
     {"AllowShellAccess=yes", "AllowSFTPSubSystems=no", "AllowTCPForwarding=yes",
      "AllowRemoteTCPForwarding=no", "AllowSCPSubSystems=yes"}},
    {I::UsersMain, "Only Allow Configured Users Access to Server=on", "", {"AllowByUser=Yes"}},
    {I::GroupsMain, "Only allow configured groups shell access=on", "", {"AllowByGroup=yes"}},
    {I::GroupsMain, "Only allow configured groups shell access=on", "\\Groups", {"Order="}},
    {I::UserGen,
     "Default Screen Mode=Stream; Idle Session Timeout=on; hours=2; minutes=0; seconds=5; User Session "
     "Limit=on; "
     "User Session Limit=8; Home Directory=D:\\h; Default Terminal Type=ibm3151; IBM Turnaround "
     "Character=10; "
     "Monitor Child Processes=on; Allow system beep to pass to client=off; CodePage Translation=on; CodePage "
     "Translation=500 IBM500 IBM EBCDIC International; Use Elevated Token (if available)=off",
     "\\Users\\joe",
     {"IdleSessionTimeOut=7205", "SessionLimit=8", "DefaultScreenMode=Stream", "HomeDir=D:\\h",
      "DefaultTerm=ibm3151", "LTAChar=10", "MonitorChildProcess=yes", "UseIdleSessionTimeout=yes",
      "ElevateToken=no", "UseSessionLimit=yes", "LogTerminatedProcs=no", "PassSystemBeep=no",
      "CodePage=500 IBM500 IBM EBCDIC International", "CPTranslate=yes"}},
    {I::UserEnv,
     "Variable=PATH; Value=C:\\a,C:\\b; Location if exist=Beginning; Set; Variable=TEMP; Value=D:\\t; Set",
     "\\Users\\joe\\Environment",
     {"TEMP=D:\\t,End", "PATH=C:\\a,C:\\b,Beginning"}},
    {I::UserTerminate,
     "Executable Name=edit.exe; Termination String=^C; Set; Executable Name=vi; Termination String=:q!; Set",
     "\\Users\\joe\\TerminateStrings",
     {"vi=:q!", "edit.exe=^C"}},
};

TEST(Writes, AreThoseThatTheServerReadsInTheirOrder) {
  for (const Case& c : kCases) {
    PageDriver driver;
    CTesselPropertyPage& page = Show(driver, c.page);
    SCOPED_TRACE(page.Title() + ": " + c.acts);
    for (std::string_view act : text::Split(c.acts, ';')) {
      act.remove_prefix(act.find_first_not_of(' '));
      const auto assignment = SplitAssignment(act);
      assignment ? driver.Put(assignment->first, assignment->second) : driver.Press(act);
    }
    EXPECT_TRUE(driver.Apply());
    test_support::ExpectWritten(Key(c.key), c.written);
  }
}

// A text that is put in with other letters, upper and lower, is an edit or not.
TEST(Writes, GoByCaseWhereThePageDoes) {
  const struct {
    PageIndex page;
    const char* control;
    const char* value;
    const char* key;
    bool edits;
  } cases[] = {
      {I::AuthPubKey, "Authorized keys file", "AuthCredentialsPath", "", false},
      {I::Banner, "Splash Banner", "SplashBanner", "", true},
      {I::Banner, "Consent Banner", "ConsentBanner", "", true},
      {I::Banner, "Prompt", "ConsentPrompt", "", true},
      {I::Banner, "Accept", "ConsentAccept", "", true},
      {I::UserGen, "Home Directory", "HomeDir", "\\Users\\joe", false},
      {I::UserGen, "IBM Turnaround Character", "LTAChar", "\\Users\\joe", false},
      {I::UserGen, "CodePage Translation", "CodePage", "\\Users\\joe", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value);
    PageDriver driver;
    PageDriver::Store(c.value, "some text", Key(c.key));
    PageDriver::Store("CPTranslate", "yes", Key("\\Users\\joe"));
    PageDriver::Store("DefaultTerm", "ibm3151", Key("\\Users\\joe"));
    Show(driver, c.page);
    driver.Put(c.control, "Some TEXT");
    EXPECT_EQ(driver.Modified(), c.edits);
    EXPECT_TRUE(driver.Apply());
    EXPECT_EQ(PageDriver::Stored(c.value, Key(c.key)), c.edits ? "Some TEXT" : "some text");
  }
}

// Help is looked up on the computer of the console, whichever one the page edits.
TEST(Pages, HaveHelpOfTheirOwn) {
  for (const TestedPage& tested : kPages) {
    PageDriver driver;
    PageDriver::Store("HelpFile", "C:\\help.chm");
    CTesselPropertyPage& page = Show(driver, tested.index);
    page.WinHelp();
    EXPECT_EQ(driver.frontEnd.Opened().back(), std::string("C:\\help.chm") + tested.helpTopic);
  }
  PageDriver driver;
  PageDriver::Store("HelpFile", "C:\\help.chm");
  driver.Add(I::Kex, MakeKexPage, "General Settings::Key Exchange", "", PageDriver::kServer, "", "nowhere")
      .WinHelp();
  EXPECT_EQ(driver.frontEnd.Opened().back(), "C:\\help.chm::IDH_Kex.htm");
}

// What a page shows by itself: groups in brackets, fixed texts in quotation marks, hidden controls left out.
std::string Outline(const CDialog& page) {
  std::string outline;
  for (const auto& control : page.Controls()) {
    if (!control->IsWindowVisible()) continue;
    std::string part = control->caption;
    if (control->Kind() == ControlKind::Group) part = "[" + part + "]";
    if (control->Kind() == ControlKind::Text) part = "\"" + part + "\"";
    const auto* edit = dynamic_cast<const CEdit*>(control.get());
    if (edit != nullptr && edit->readOnly) part = "\"" + edit->GetText() + "\"";
    if (const auto* table = dynamic_cast<const CListCtrl*>(control.get()); table && !table->checkBoxes) {
      for (const CListCtrl::Column& column : table->columns) part += "<" + column.title + ">";
    }
    outline += outline.empty() ? part : "|" + part;
  }
  return outline;
}

TEST(Pages, ShowTheseTexts) {
  const struct {
    PageIndex page;
    const char* caption;
    const char* outline;
  } cases[] = {
      {I::General, "General Settings",
       "Maximum Connections|Perform Network Drive Cleanup|Monitor Sessions (Turn on \"Interact with "
       "Desktop\" for "
       "the InetD Service)|Allow SSH1 protocol|Server Key Bits|FIPS Mode"},
      {I::Cipher, "General Settings::Cipher", "[Available Ciphers]|"},
      {I::Compression, "General Settings::Compression", "Enable Compression|[Level]||"},
      {I::Kex, "General Settings::Key Exchange", "[Available Key Exchange Algorithms]|"},
      {I::Mac, "General Settings::MAC", "[Available MAC]|"},
      {I::AuthMain, "Authentication",
       "Limit authentication attempts|Number of authentication attempts|[Methods allowed]|Password|Public "
       "Key/Certificate Authentication|GSSAPI Authentication"},
      {I::AuthPassword, "Authentication::Password Options",
       "\"Tessel Marrowen can optionally cache the users password.  This option is useful if the users "
       "account "
       "requires access to shared drive.  If a password is cached, then a full interactive logon will be "
       "performed "
       "using the cached password, allowing access to network resources.\"|Store Passwords:|\"Note: If "
       "passwords "
       "are not stored a reboot is requred after installation before certificate authentication will "
       "suceed.\""},
      {I::AuthPubKey, "Authentication::Public Key Options",
       "\"In order to successfully authenticate a user using a public key or x509v3 certificate, the key or "
       "certificate needs to be mapped to a valid user account for the server.  The following options "
       "indicate how "
       "this is to be accomplished.\"|[Registry]|\"Registry mapping uses the registry based Tessel Marrowen "
       "PKI to "
       "associate keys and certificates with users.  An option is provided to cache the public key after the "
       "user "
       "has been verified.\"|Allow authentication from registry|Automatically store keys in "
       "registry|[Authorized keys file]|\"Note: Authentication by file requires a reboot after "
       "installation.\"|Allow authentication from file|Store keys in authorized file.|Authorized keys "
       "file|\"The "
       "above path should be unique for each user. Best defined by an environment variable uniqe to the user "
       "such "
       "as %USERNAME% or %USERPROFILE%. The same file name will be used for each user.\""},
      {I::AuthGssApi, "Authentication::GSSAPI Options",
       "[Generic Security Service (GSSAPI)]|\"Generic Security Service (GSS) authentication uses series of "
       "challange-response exchanges to remotely transfer a users security context. \"|\"The two supported "
       "protocols for GSS are Kerberos and NTLM (Kerberos is recommended).  Kerberos also allows a security "
       "context "
       "to be delegated for one network hop.  This means that the user would be able to access network "
       "shares on "
       "the server.  Delegation also requires that the user's account be configured by the System "
       "Administrator to "
       "support Delegation.\"|GSSAPI NTLM|Kerberos|Token Delegation for Kerberos|Authenticate without "
       "Message "
       "Integrity Check (mic):"},
      {I::Banner, "Banner",
       "[Splash Banner]|Display Splash Banner||[Consent Banner]|Display Consent Banner||Prompt|Accept|Case "
       "Sensitive "
       "Match|Use Exact Length for Match"},
      {I::AccessControl, "Access Control",
       "Allow Port Forwarding|Allow Remote Port Forwarding|Allow SFTP Access|Allow Logon/Shell Access|Allow "
       "SCP "
       "Access"},
      {I::UsersMain, "Users",
       "Only Allow Configured Users Access to Server|Users|New User|Copy User|Delete User"},
      {I::GroupsMain, "Groups",
       "Only allow configured groups shell access|Groups|New Group|Copy Group|Delete Group|Up|Down"},
      {I::CfgIpMain, "IP Range", "IP Range|New IP Range|Copy Range|Delete Range"},
      {I::UserGen, "General Settings",
       "Default Screen Mode|Idle Session Timeout|hours|minutes|seconds|User Session Limit|User Session "
       "Limit|Home "
       "Directory|Browse|Default Terminal Type|IBM Turnaround Character|Monitor Child Processes|Record "
       "Terminated "
       "Processes|Allow system beep to pass to client|CodePage Translation|CodePage Translation|Use Elevated "
       "Token "
       "(if available)"},
      {I::UserEnv, "Environment Variables",
       "[Environment Variables for User Session]|<Variable><Value><Location>|Variable|Value|Location if "
       "exist|Set|Delete"},
      {I::UserTerminate, "Graceful Termination",
       "[Graceful Application Termination Strings]|<Executable><Terminate String>|Executable "
       "Name|Termination "
       "String|Set|Delete"},
      {I::UserFullCon, "Full Console Settings",
       "[Shell]|Shell/Custom Program|Browse|Startup Program|Browse|Close cmd.exe shell after running startup "
       "program|[Screen Size]|Rows|Columns|[Default Colors]|Foreground|Background|Use Monochrome|Reverse "
       "Video|Default Character Mapping|[Update Timers]|Initial|Increment|Maximum|[Screen Draw Options]|Use "
       "optimized screen read|Line by line screen comparison|Clear to eoln outside of drawing "
       "rectangle|Enable Application Wrap|Slow Network Connection|Largest Packet Size|Largest Packet "
       "Size|DEC Graphic Character Set|Custom Sequence"},
      {I::UserStream, "Stream Settings",
       "Shell/Custom Program|Browse|Startup Program|Browse|Close cmd.exe shell after running startup "
       "program|Echo Input Characters|Process Input Lines|Convert single linefeed or carriage return input "
       "to CR/LF|Send terminal initialization string"},
      {I::UserNonInteractive, "NonInteractive Command Settings",
       "Execution Mode|Shell Spec|Browse|Suppress Input Pipe  (Only valid in Full Stream Mode)"},
      {I::UserKeyboard, "Keyboard",
       "Re-Map ALT Key|[Special Keyboard Characters]|Allow Control-C|Allow Control-G"},
      {I::UserLogon, "Logon",
       "Run Windows Logon Script|Map User Drives|\"Select if user's mapped network drives are to be made "
       "available in a session\"|\"Drives will only be accessible if a user is authenticated via "
       "Password,GSSAPI Kerberos or Certificate Stored in registry. Certificate authentication (with Store "
       "keys in authorized file) will not grant user ability to map drives.\"|Map drives in "
       "background|[Prompts]|Ask for Terminal Type|Ask for Screen Mode|Ask for Color Mode|Ask for "
       "CharacterMap"},
      {I::UserAccess, "Access Control",
       "[By default, port forwarding is:]|Granted Access|Denied Access|Port forwarding excluded from default "
       "access<Access><Server><Port>|Remote server name|Port|Set|Delete|\"Turn on the default port "
       "forwarding access for this user, either granted or denied.\r\n\r\nTo set an exception, enter the "
       "remote server and port for which connections are exempt from the default value.\"|\"For example, to "
       "prevent all forwarding, except for forwarding to a remote telnet server: Click on denied access by "
       "default. Enter the telnet server host name and port 23. Then click Set.\""},
      {I::UserHandheld, "Dialog",
       "\"This page contains setting that may be of particular interest to users of handheld clients.  "
       "Howerer, there is no restriction on using these settings with desktop clients \n\nThe Server to "
       "Client Heartbeat options will send a small packet to the server using the specified time interval.  "
       "This feature aids the server in detecting connection losses.  To disable this feature, set the time "
       "interval to zero.\"|Server to client heartbeat|hours|minutes|seconds|\"The session reconnection "
       "feature allows a session to persist through a connection drop.  Possible choices are 'Yes', 'No', "
       "and 'Ask'.  'Yes' will automatically reconnect if a connection is dropped, 'Ask' will prompt the "
       "user before reconnection, and 'No' will not reconnect sessions.  The time window determines how log "
       "the session will persist past a connection drop.\"|Reconnect Sessions|[Reconnect "
       "Window]|hours|minutes|seconds"},
  };
  for (const auto& c : cases) {
    PageDriver driver;
    const CTesselPropertyPage& page = Show(driver, c.page);
    EXPECT_EQ(page.Caption(), c.caption);
    EXPECT_EQ(Outline(page), c.outline) << c.caption;
  }
}

}  // namespace

#include "extension/page_table.h"

#include "pages/pages.h"

namespace {

constexpr std::string_view kServer = R"(Software\TesselWorks\SSHD)";
constexpr std::string_view kPrinterInfo = R"(Software\TesselWorks\SSHD\PrinterInfo)";
constexpr std::string_view kUsers = R"(Software\TesselWorks\SSHD\Users)";
constexpr std::string_view kGroups = R"(Software\TesselWorks\SSHD\Groups)";
constexpr std::string_view kTelnetIps = R"(Software\TesselWorks\TelnetD\IPs)";
constexpr std::string_view kScp = R"(Software\TesselWorks\SCP)";
constexpr std::string_view kSftp = R"(Software\TesselWorks\SFTP)";
constexpr std::string_view kSftpUsers = R"(Software\TesselWorks\SFTP\Users)";
constexpr std::string_view kSftpGroups = R"(Software\TesselWorks\SFTP\Groups)";
constexpr std::string_view kScpUsers = R"(Software\TesselWorks\SCP\Users)";
constexpr std::string_view kScpGroups = R"(Software\TesselWorks\SCP\Groups)";
constexpr std::string_view kPrincipals = "*Users|Groups|IP Range";

using I = PageIndex;

constexpr PageTableRow kRows[] = {
    {I::General, "General Settings", "", kServer, "", MakeGeneralPage},
    {I::Cipher, "General Settings::Cipher", "", kServer, "", MakeCipherPage},
    {I::Compression, "General Settings::Compression", "", kServer, "", MakeCompressionPage},
    {I::HostKey, "General Settings::Host Key", "", kServer, "", MakeHostKeyPage},
    {I::Kex, "General Settings::Key Exchange", "", kServer, "", MakeKexPage},
    {I::Mac, "General Settings::MAC", "", kServer, "", MakeMacPage},
    {I::AuthMain, "Authentication", "", kServer, "", MakeAuthMainPage},
    {I::AuthPassword, "Authentication::Password Options", "", kServer, "", MakeAuthPasswordPage},
    {I::AuthPubKey, "Authentication::Public Key Options", "", kServer, "", MakeAuthPubKeyPage},
    {I::AuthX509, "Authentication::X.509 Certificate Options", "", kServer, "", MakeAuthX509Page},
    {I::AuthGssApi, "Authentication::GSSAPI Options", "", kServer, "", MakeAuthGssApiPage},
    {I::Banner, "Banner", "", kServer, "", MakeBannerPage},
    {I::AccessControl, "Access Control", "", kServer, "", MakeAccessControlPage},
    {I::Logging, "Logging", "", kServer, "", MakeLoggingPage},
    {I::PrintInfo, "Print Monitor", "", kPrinterInfo, "", MakePrintInfoPage},
    {I::UsersMain, "Users", "", kServer, kUsers, MakeUsersMainPage},
    {I::GroupsMain, "Groups", "", kServer, kGroups, MakeGroupsMainPage},
    {I::Sftp, "", "", kServer, kSftp, MakeSftpPage},
    {I::SftpUser, "SFTP Users", "::*", kSftpUsers, "", MakeSftpUserPage},
    {I::SftpGroup, "SFTP Groups", "", kServer, kSftp, MakeSftpGroupPage},
    {I::SftpGroupUser, "SFTP Groups", "::*", kSftpGroups, "", MakeSftpUserPage},
    {I::Scp, "SCP Users", "", kServer, kScp, MakeScpPage},
    {I::ScpUser, "SCP Users", "::*", kScpUsers, "", MakeScpUserPage},
    {I::ScpGroup, "SCP Groups", "", kServer, kScp, MakeScpGroupPage},
    {I::ScpGroupUser, "SCP Groups", "::*", kScpGroups, "", MakeScpUserPage},
    {I::CfgSettings, "Configuration Management", "", kServer, "", MakeCfgSettingsPage},
    {I::CfgIpMain, "IP Range", "", kServer, kTelnetIps, MakeCfgIpMainPage},
    {I::About, "About", "", kServer, "", MakeAboutPage},
    {I::UserGen, kPrincipals, "::*", kServer, "", MakeUserGenPage},
    {I::UserFullCon, kPrincipals, "::*::Console Settings", kServer, "", MakeUserFullConPage},
    {I::UserStream, kPrincipals, "::*::Stream Settings", kServer, "", MakeUserStreamPage},
    {I::UserNonInteractive, kPrincipals, "::*::NonInteractive Command Settings", kServer, "",
     MakeUserNonInteractivePage},
    {I::UserKeyboard, kPrincipals, "::*::Keyboard", kServer, "", MakeUserKeyboardPage},
    {I::UserLogon, kPrincipals, "::*::Logon", kServer, "", MakeUserLogonPage},
    {I::UserEnv, kPrincipals, "::*::Environment Variables", kServer, "", MakeUserEnvPage},
    {I::UserTerminate, kPrincipals, "::*::Graceful Termination", kServer, "", MakeUserTerminatePage},
    {I::UserAccess, kPrincipals, "::*::Forwarding Control", kServer, "", MakeUserAccessPage},
    {I::UserHandheld, kPrincipals, "::*::Handheld", kServer, "", MakeUserHandheldPage},
    {I::SftpUserTempFeature, "*SFTP Users|SFTP Groups", "::*::Two Step Upload", kSftp, "",
     MakeSftpUserTempFeaturePage},
};
static_assert(std::size(kRows) == kPageCount);

constexpr PageIndex kDestruction[] = {
    I::General,       I::HostKey,      I::Cipher,        I::Kex,          I::Mac,
    I::Compression,   I::Banner,       I::AccessControl, I::Logging,      I::PrintInfo,
    I::UsersMain,     I::GroupsMain,   I::Sftp,          I::SftpGroup,    I::SftpUser,
    I::SftpGroupUser, I::Scp,          I::ScpUser,       I::ScpGroup,     I::ScpGroupUser,
    I::About,         I::CfgSettings,  I::CfgIpMain,     I::UserGen,      I::UserEnv,
    I::UserFullCon,   I::UserKeyboard, I::UserLogon,     I::UserStream,   I::UserNonInteractive,
    I::UserTerminate, I::UserAccess,   I::UserHandheld,  I::AuthPassword, I::AuthPubKey,
    I::AuthX509,      I::AuthGssApi,
};

}  // namespace

std::span<const PageTableRow, kPageCount> PageTableRows() { return kRows; }

std::span<const PageIndex> DestructionOrder() { return kDestruction; }

#include "store/target_routing.h"

#include "tests/store/scratch_key.h"

namespace {

constexpr const char* kServer = "Software\\TesselWorks\\SSHD";
constexpr const char* kConfigs = "Software\\TesselWorks\\ConfigServer\\";

struct Case {
  Routing routing;
  const char* baseKey;
  const char* target;
  const char* local;       // with the mode off
  const char* configured;  // with the mode on, behind the root of the configurations; null: as with it off
  size_t cut = 0;
};

const Case kCases[] = {
    {Routing::Server, kServer, "branch7::General Settings", kServer, "branch7\\SSHD"},
    {Routing::Server, kServer, ":x", kServer, nullptr},
    {Routing::Server, kServer, "Banner", kServer, nullptr},
    {Routing::Server, kServer, "General Settings::Compression", kServer, "General Settings\\SSHD"},
    {Routing::PrinterInfo, "Base\\P", "b::Print Monitor", "Base\\P", "b\\SSHD\\PrinterInfo"},
    {Routing::AuthorizedKeys, "Base\\K", "b::x", "Base\\K", "b\\SSHD\\PAD"},
    {Routing::ScpList, kServer, "b::SCP Users", kServer, "b\\SCP"},
    {Routing::SftpList, kServer, "b::SFTP Users", kServer, "b\\SFTP"},
    {Routing::PrincipalList, kServer, "b::Users", kServer, "b\\SSHD"},
    {Routing::PrincipalList, "Software\\T\\TelnetD", "b::Users", "Software\\T\\TelnetD", "b\\TelnetD"},
    {Routing::PrincipalList, "Software\\T\\Telnet", "b::Users", "Software\\T\\Telnet", "b\\WSMan"},
    {Routing::GroupList, kServer, "b::Groups", kServer, "b\\SSHD"},
    {Routing::GroupList, "Software\\T\\Telnet", "b::Groups", "Software\\T\\Telnet", "b\\TelnetD"},
    {Routing::GroupList, "Software\\T\\Other", "b::Groups", "Software\\T\\Other", "b\\SSHD"},
    {Routing::GroupList, "\\SSHD", "b::Groups", "\\SSHD", "b\\WSMan"},
    {Routing::PrincipalGeneral, kServer, "b::Users::CORP\\alice",
     "Software\\TesselWorks\\SSHD\\Users\\CORP?alice", "b\\SSHD\\Users\\CORP?alice"},
    {Routing::Principal, kServer, "Users::CORP\\alice::Logon",
     "Software\\TesselWorks\\SSHD\\Users\\CORP?alice", "Users\\SSHD\\Users\\CORP?alice"},
    {Routing::Principal, kServer, "b::IP Range::10.0.0.1::Logon",
     "Software\\TesselWorks\\SSHD\\IPs\\10.0.0.1", "b\\SSHD\\IPs\\10.0.0.1"},
    // Only the folder's own node decides, not a computer or configuration whose name holds "IP".
    {Routing::Principal, kServer, "SHIPPING::Users::joe::Logon", "Software\\TesselWorks\\SSHD\\Users\\joe",
     "SHIPPING\\SSHD\\Users\\joe"},
    {Routing::PrincipalForwarding, kServer, "b::Groups::D\\adm::Forwarding Control",
     "Software\\TesselWorks\\SSHD\\Groups\\D?admD?adm", "b\\SSHD\\Groups\\D?admD?adm"},
    {Routing::PrincipalEnvironment, kServer, "b::Users::joe::Environment Variables",
     "Software\\TesselWorks\\SSHD\\Users\\joe\\Environment", "b\\SSHD\\Users\\joe\\Environment", 12},
    {Routing::PrincipalTerminate, kServer, "b::Users::joe::Graceful Termination",
     "Software\\TesselWorks\\SSHD\\Users\\joe\\TerminateStrings", "b\\SSHD\\Users\\joe\\TerminateStrings",
     17},
    {Routing::TwoStepUpload, "Software\\TesselWorks\\SFTP", "b::SFTP Groups::D\\adm::Two Step Upload",
     "Software\\TesselWorks\\SFTP\\Groups\\D?adm",
     "b\\WSMan\\Groups\\b::SFTP Groups::D\\adm::Two Step Upload"},
    {Routing::TwoStepUpload, "B", "SFTP Users Groups::joe::Two", "B\\Groups\\joe",
     "SFTP Users Groups\\WSMan\\Groups\\SFTP Users Groups::joe::Two"},
    {Routing::SftpPrincipal, "Software\\TesselWorks\\SFTP\\Groups", "b::SFTP Groups::D\\adm",
     "Software\\TesselWorks\\SFTP\\Groups\\D?adm", "b\\SFTP\\Users\\D?adm"},
    {Routing::ScpPrincipal, "Software\\TesselWorks\\SCP\\Users", "b::SCP Users::joe",
     "Software\\TesselWorks\\SCP\\Users\\joe", "b\\SCP\\Users\\joe"},
    // Targets that no node has: nothing is cut that is not there.
    {Routing::Principal, "B", "", "B\\\\", nullptr},
    {Routing::Principal, "B", "nocolon", "B\\\\", nullptr},
    {Routing::Principal, "B", ":", "B\\\\", nullptr},
    {Routing::Principal, "B", "::", "B\\\\", nullptr},
    {Routing::PrincipalGeneral, "B", ":joe", "B\\\\joe", nullptr},
    {Routing::SftpPrincipal, "B", "joe", "B\\joe", nullptr},
    {Routing::TwoStepUpload, "B", "joe::", "B\\\\joe", "joe\\WSMan\\\\joe::"},
};

}  // namespace

TEST(TargetRouting, LeadsEveryPageToItsKey) {
  for (const Case& c : kCases) {
    SCOPED_TRACE(CString(c.target) + " on " + c.baseKey);
    const TargetKey local = RouteTarget(c.routing, c.baseKey, c.target, false);
    EXPECT_EQ(local.path, c.local);
    EXPECT_EQ(local.subkeyLength, c.cut);
    EXPECT_EQ(RouteTarget(c.routing, c.baseKey, c.target, true).path,
              c.configured ? CString(kConfigs) + c.configured : CString(c.local));
  }
}

using OpenTarget = ScratchKeyTest;

TEST_F(OpenTarget, MakesTheSubkeysOfAPrincipalAndNoOtherKey) {
  const auto open = [](Routing routing, const char* target) {
    return OpenTargetKey(routing, "", kPath, target, false);
  };
  Make("Users\\joe", "joe");
  const auto principal = open(Routing::Principal, "Users::joe::Logon");
  ASSERT_TRUE(principal);
  EXPECT_EQ(principal->GetStringValue("mark"), "joe");

  const auto environment = open(Routing::PrincipalEnvironment, "Users::joe::Environment Variables");
  ASSERT_TRUE(environment);
  EXPECT_EQ(environment->SetStringValue("PATH", "C:\\a,End"), 0u);
  EXPECT_TRUE(open(Routing::PrincipalTerminate, "Users::joe::Graceful Termination"));
  EXPECT_TRUE(Exists("Users\\joe\\Environment"));
  EXPECT_TRUE(Exists("Users\\joe\\TerminateStrings"));

  EXPECT_FALSE(open(Routing::PrincipalEnvironment, "Users::ann::Environment Variables"));
  EXPECT_FALSE(open(Routing::PrincipalForwarding, "Users::joe::Forwarding Control"));
  EXPECT_FALSE(open(Routing::Principal, ("Users::" + CString(70000, 'x') + "::Logon").c_str()));
  EXPECT_FALSE(Exists("Users\\ann"));
  EXPECT_FALSE(Exists("Users\\joejoe"));
}

// The host with the library's own pages: one after another in a process, and on other computers.

#include "console/host.h"

#include <gtest/gtest.h>

#include "console/captions.h"
#include "console/key_name.h"
#include "platform/machine.h"
#include "store/registry_object.h"
#include "tests/support/scratch_home.h"
#include "window/scripted_front_end.h"

namespace {

constexpr char kServer[] = R"(Software\TesselWorks\SSHD)";
constexpr char kCompression[] = "General Settings::Compression";

class HostTest : public ::testing::Test {
 protected:
  HostTest() : m_before(SetFrontEnd(&frontEnd)) {}
  ~HostTest() override {
    if (machine::InEvent()) machine::AbandonEvent();
    SetFrontEnd(m_before);
  }

  static std::unique_ptr<Host> Start(const std::string& computer = "") {
    std::string why;
    auto host = Host::Start({computer, false}, why);
    EXPECT_NE(host, nullptr) << why;
    return host;
  }
  static void Show(Host& host, std::string_view node) {
    std::string why;
    EXPECT_TRUE(host.Select(node, why)) << why;
  }
  static std::string Level(Host& host) {
    Show(host, kCompression);
    return host.Page()->Find("Level").control->Value();
  }

  ScriptedFrontEnd frontEnd;

 private:
  FrontEnd* m_before;
};

TEST_F(HostTest, AnotherHostInTheProcessKnowsNothingOfTheFirstOnesEdits) {
  auto host = Start();
  host->BeginEvent();
  Show(*host, "Authentication");
  const std::string stored = host->Page()->Find("Password").control->Value();
  ASSERT_TRUE(host->Page()->Put("Password", stored == "on" ? "off" : "on"));
  Show(*host, "Banner");
  EXPECT_TRUE(host->HasUnsavedChanges());
  machine::AbandonEvent();
  host.reset();

  host = Start();
  host->BeginEvent();
  EXPECT_FALSE(host->HasUnsavedChanges());
  Show(*host, "Authentication");
  EXPECT_EQ(host->Page()->Find("Password").control->Value(), stored);
}

TEST_F(HostTest, NewUsersSettingsAreDroppedByCancelThoughNoPageOfTheirsWasShown) {
  const auto host = Start();
  host->BeginEvent();
  Show(*host, "Users");
  frontEnd.AddAnswer("User Name=zoe");
  frontEnd.AddAnswer("OK");
  ASSERT_TRUE(host->Page()->Press("New User"));
  Show(*host, "Users::zoe");
  Show(*host, "Banner");
  EXPECT_TRUE(host->HasUnsavedChanges());
  host->Cancel();
  EXPECT_FALSE(host->HasUnsavedChanges());
  EXPECT_FALSE(host->GetTree().Find("Users::zoe"));
  for (const CPropertyPage* page : host->Sheet().Pages()) {
    EXPECT_TRUE(static_cast<const CTesselPropertyPage*>(page)->m_pending.empty()) << page->Title();
  }
}

TEST_F(HostTest, NamesStoredValuesAsThePagesDo) {
  const auto host = Start();
  const Captions captions(*host);
  const std::string server = std::string("HKEY_LOCAL_MACHINE\\") + kServer;
  struct {
    std::string key;
    const char* value;
    const char* node;
    const char* setting;
  } const cases[] = {
      {server, "compressionlevel", "General Settings::Compression", "Level"},
      {server, "SessionLimit", "General Settings", "Maximum Connections"},
      {server + R"(\Users\CORP?rita)", "HomeDir", R"(Users::CORP\rita)", "Home Directory"},
      {server + R"(\IPs\10.0.0.1-10.0.0.9)", "HomeDir", "IP Range::10.0.0.1-10.0.0.9", "Home Directory"},
      // Where the server looks for it: the name twice.
      {server + R"(\Users\ritarita)", "DefaultFwdAccess", "Users::rita::Forwarding Control",
       "Granted Access"},
      {server + R"(\Users\rita)", "NoPageKnowsThis", "Users::rita", ""},
  };
  for (const auto& [key, value, node, setting] : cases) {
    const auto place = captions.Of(key, value);
    ASSERT_TRUE(place) << key << value;
    EXPECT_EQ(place->node, node) << value;
    EXPECT_EQ(place->setting, setting) << value;
  }
  EXPECT_FALSE(captions.Of(R"(HKEY_LOCAL_MACHINE\Software\Other)", "HomeDir"));
}

TEST_F(HostTest, SaysWhereTheServersSettingsAreMissing) {
  const auto host = Start();
  host->BeginEvent();
  ASSERT_EQ(DeleteRegistryKeyA(HKEY_LOCAL_MACHINE, kServer, KEY_ALL_ACCESS), DWORD{ERROR_SUCCESS});
  const std::string sentence =
      "This computer has no settings of the server: HKLM\\Software\\TesselWorks\\SSHD is missing.";
  Show(*host, kCompression);
  EXPECT_EQ(host->WhyNothingIsStored(), sentence);
  ASSERT_TRUE(host->Page()->Put("Enable Compression", "on"));
  EXPECT_TRUE(host->Apply());
  EXPECT_EQ(host->FailedSaves(), std::vector<std::string>{sentence});
}

TEST_F(HostTest, StandsOnAnEmbeddedComputerAsLongAsItLives) {
  ASSERT_TRUE(machine::AddComputer("srv1"));
  auto host = Start("SRV1");
  CTesselRegObject key(HKEY_LOCAL_MACHINE);
  ASSERT_TRUE(key.CreateKey(kServer));
  ASSERT_EQ(key.SetStringValue("AllowCompression", "yes"), 0u);
  ASSERT_EQ(key.SetStringValue("CompressionLevel", "8"), 0u);
  EXPECT_EQ(Level(*host), "8");
  EXPECT_EQ(host->GetOptions().computer, "SRV1");
  host.reset();
  EXPECT_EQ(machine::StandsOn(), "");
  host = Start();
  EXPECT_NE(Level(*host), "8");
  host.reset();
  EXPECT_TRUE(machine::RemoveComputer("srv1"));
}

TEST(KeyNames, FoldLettersAsTheRegistryDoes) {
  EXPECT_TRUE(SameKeyName("JOE", "joe"));
  // In the computer's code page.
  const bool utf8 = GetACP() == CP_UTF8;
  EXPECT_TRUE(utf8 ? SameKeyName("J\xC3\x96RG", "j\xC3\xB6rg") : SameKeyName("J\xD6RG", "j\xF6rg"));
  EXPECT_FALSE(SameKeyName(utf8 ? "J\xC3\x96RG" : "J\xD6RG", "jorg"));
  EXPECT_FALSE(SameKeyName("a", "ab"));
}

}  // namespace

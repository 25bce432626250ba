#include "tests/pages/session_pages.h"

using namespace session_pages;
using ::testing::ElementsAre;

namespace {

// What is left of forwarding when the key that it looks for is not there, as no page makes it.
TEST(SessionPages, ForwardingIsLostWithoutAKeyOfTheDoubledName) {
  PageDriver driver;
  CTesselPropertyPage& page = Add(driver, kForwarding);
  PageDriver::Store("DefaultFwdAccess", "denied", Key("Users\\joe"));
  driver.Show(page, "Users::joe::Forwarding Control");
  EXPECT_EQ(driver.Value("Granted Access"), "on");
  Perform(driver, "Denied Access=on; Remote server name=a; Port=1; Set");
  EXPECT_TRUE(driver.Apply());
  EXPECT_FALSE(PageDriver::HasKey(Key("Users\\joejoe")));
  EXPECT_EQ(PageDriver::Stored("DefaultFwdAccess", Key("Users\\joe")), "denied");
  EXPECT_EQ(PageDriver::Stored("GrantedFwdPorts", Key("Users\\joe")), std::nullopt);
}

constexpr const char* kTable = "Port forwarding excluded from default access";

std::string RowsOf(const PageDriver& driver) {
  std::string rows;
  for (const CListCtrl::Row& row : driver.Get<CListCtrl>(kTable).Rows())
    rows += (rows.empty() ? "" : " ") + row.cells[0] + "/" + row.cells[1] + "/" + row.cells[2];
  return rows;
}

struct Forwarding {
  const char* what;
  std::string stored;
  std::string acts;
  const char* rows;
  bool modified;
  std::string written;
};

const Forwarding kForwardings[] = {
    {"an empty key", "", "", "", false, ""},
    {"rows stand in reverse", "DeniedFwdPorts=a:1,b:2,,c; GrantedFwdPorts=x:9", "",
     "Denied/c/ Denied/b/2 Denied/a/1", false, "DeniedFwdPorts=a:1,b:2,,c"},
    {"a denied default shows what is granted",
     "DefaultFwdAccess=denied; DeniedFwdPorts=a:1; GrantedFwdPorts=x:9", "", "Granted/x/9", false,
     "DefaultFwdAccess=denied"},
    {"a word with a capital chooses, and names the rows otherwise; to look at it is an edit",
     "DefaultFwdAccess=Granted; DeniedFwdPorts=a:1", "", "Granted/a/1", false, "DefaultFwdAccess=granted"},
    {"so does the other one", "DefaultFwdAccess=Denied; GrantedFwdPorts=x:9", "", "Granted/x/9", false,
     "DefaultFwdAccess=denied"},
    {"an exception goes behind the others", "",
     "Remote server name=a; Port=1; Set; Remote server name=b; Port=2; Set", "Denied/b/2 Denied/a/1", true,
     // The rows are read from the top when the page is left.
     "DefaultFwdAccess=granted; DeniedFwdPorts=b:2,a:1; GrantedFwdPorts="},
    {"both lists outlive a switch", "DeniedFwdPorts=a:1; GrantedFwdPorts=x:9",
     "Denied Access=on; Remote server name=y; Port=8; Set; Granted Access=on", "Denied/a/1", true,
     "DefaultFwdAccess=granted; DeniedFwdPorts=a:1; GrantedFwdPorts=x:9,y:8"},
    {"switching there and back is no edit", "DeniedFwdPorts=a:1", "Denied Access=on; Granted Access=on",
     "Denied/a/1", false, "DefaultFwdAccess=(absent)"},
    {"an entry without a port is not taken", "", "Remote server name=a; Set", "", false, ""},
    {"a selected row is replaced", "DeniedFwdPorts=a:1,b:2", std::string(kTable) + "=Denied; Port=7; Set",
     "Denied/b/7 Denied/a/1", true, "DeniedFwdPorts=b:7,a:1"},
    {"the last row leaves by the button", "DeniedFwdPorts=a:1", std::string(kTable) + "=Denied; Delete", "",
     true, "DeniedFwdPorts="},
    {"with the fields edited it leaves the screen alone", "DeniedFwdPorts=a:1",
     std::string(kTable) + "=Denied; Port=2; Delete", "", false, "DeniedFwdPorts=a:1"},
    {"a server with a colon is cut at the first one", "DeniedFwdPorts=::1:22", "", "Denied//:1:22", false,
     ""},
    {"what can't be read leaves the lists, and grants",
     "DefaultFwdAccess=" + Times(260, 'd') + "; DeniedFwdPorts=" + Times(260, 'a') + "; GrantedFwdPorts=x:1",
     "", "", false, "DeniedFwdPorts=" + Times(260, 'a')},
};

TEST(SessionPages, ForwardingControl) {
  for (const Forwarding& c : kForwardings) {
    SCOPED_TRACE(c.what);
    PageDriver driver;
    CTesselPropertyPage& page = Add(driver, kForwarding);
    const std::string key = Key("Users\\joejoe");
    PageDriver::MakeKey(key);
    for (const auto& [name, text] : server_pages::Pairs(c.stored)) PageDriver::Store(name.c_str(), text, key);
    driver.Show(page, "Users::joe::Forwarding Control");
    Perform(driver, c.acts);
    EXPECT_EQ(RowsOf(driver), c.rows);
    EXPECT_EQ(driver.Modified(), c.modified);
    EXPECT_TRUE(driver.Apply());
    if (!c.stored.empty()) {
      server_pages::ExpectStored(c.written, key);
      continue;
    }
    test_support::Written written;
    for (const auto& [name, text] : server_pages::Pairs(c.written)) written.push_back(name + "=" + text);
    test_support::ExpectWritten(key, written);
  }
}

TEST(SessionPages, NothingSelectedIsNothingToDelete) {
  PageDriver driver;
  driver.Show(Add(driver, kForwarding), "Users::joe::Forwarding Control");
  driver.Press("Delete");
  EXPECT_THAT(driver.frontEnd.Messages(), ElementsAre("Error: Must select item for deletion."));
}

// A list that is missing leaves what the last principal had.
TEST(SessionPages, ForwardingListsOutliveTheirPrincipal) {
  PageDriver driver;
  CTesselPropertyPage& page = Add(driver, kForwarding);
  PageDriver::Store("DeniedFwdPorts", "a:1", Key("Users\\joejoe"));
  PageDriver::Store("DefaultFwdAccess", "", Key("Users\\boxbox"));
  driver.Show(page, "Users::joe::Forwarding Control");
  driver.Show(page, "Users::box::Forwarding Control");
  EXPECT_EQ(RowsOf(driver), "Denied/a/1");
}

}  // namespace

#pragma once

// The pages of a principal's session, each tested by a table of scenarios: what the principal's key holds,
// a person's acts, what the page shows then, and what Apply leaves in the key.

#include "tests/pages/principal_pages.h"
#include "tests/pages/server_pages.h"
#include "tests/support/written.h"

namespace session_pages {

using principal_pages::Key;
using test_support::PageDriver;

struct SessionPage {
  PageIndex index;
  PageDriver::MakePage make;
  const char* node;
};

inline constexpr SessionPage kConsole{PageIndex::UserFullCon, MakeUserFullConPage, "::Console Settings"};
inline constexpr SessionPage kStream{PageIndex::UserStream, MakeUserStreamPage, "::Stream Settings"};
inline constexpr SessionPage kNonInteractive{PageIndex::UserNonInteractive, MakeUserNonInteractivePage,
                                             "::NonInteractive Command Settings"};
inline constexpr SessionPage kKeyboard{PageIndex::UserKeyboard, MakeUserKeyboardPage, "::Keyboard"};
inline constexpr SessionPage kLogon{PageIndex::UserLogon, MakeUserLogonPage, "::Logon"};
inline constexpr SessionPage kForwarding{PageIndex::UserAccess, MakeUserAccessPage, "::Forwarding Control"};
inline constexpr SessionPage kHandheld{PageIndex::UserHandheld, MakeUserHandheldPage, "::Handheld"};

inline CTesselPropertyPage& Add(PageDriver& driver, const SessionPage& page) {
  return driver.Add(page.index, page.make, principal_pages::kFolders, std::string("::*") + page.node);
}

inline std::string Times(size_t count, char c) { return std::string(count, c); }

// Lists of "NAME=TEXT; NAME=TEXT". An act without "=" presses the button of that caption.
struct Scenario {
  const char* what;
  std::string stored;
  std::string acts;
  std::string shown;
  std::string enabled;  // "CAPTION=1" or "CAPTION=0"
  bool modified;
  std::string written;  // of a key that held nothing: every value, in the order of writing
};

inline void Perform(PageDriver& driver, std::string_view acts) {
  for (std::string_view act : text::Split(acts, ';')) {
    act.remove_prefix(std::min(act.find_first_not_of(' '), act.size()));
    const size_t equals = act.find('=');
    if (equals == std::string_view::npos) {
      driver.Press(act);
    } else {
      driver.Put(act.substr(0, equals), act.substr(equals + 1));
    }
  }
}

// `keyName` is what the page makes of the name CORP\joe.
inline void Expect(const SessionPage& tested, const Scenario& scenario,
                   const char* keyName = "Users\\CORP?joe") {
  SCOPED_TRACE(scenario.what);
  PageDriver driver;
  CTesselPropertyPage& page = Add(driver, tested);
  const std::string key = Key(keyName);
  PageDriver::MakeKey(key);
  for (const auto& [name, text] : server_pages::Pairs(scenario.stored))
    PageDriver::Store(name.c_str(), text, key);
  driver.Show(page, std::string("Users::CORP\\joe") + tested.node);
  Perform(driver, scenario.acts);
  server_pages::ExpectShown(driver, scenario.shown);
  for (const auto& [caption, enabled] : server_pages::Pairs(scenario.enabled))
    EXPECT_EQ(driver.Enabled(caption), enabled == "1") << caption;
  EXPECT_EQ(driver.Modified(), scenario.modified);
  EXPECT_TRUE(driver.Apply());
  if (!scenario.stored.empty()) return server_pages::ExpectStored(scenario.written, key);
  test_support::Written written;
  for (const auto& [name, text] : server_pages::Pairs(scenario.written)) written.push_back(name + "=" + text);
  test_support::ExpectWritten(key, written);
}

}  // namespace session_pages

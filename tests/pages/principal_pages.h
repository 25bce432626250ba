#pragma once

// The pages of principals over a scratch part of the registry.

#include <gmock/gmock.h>

#include "framework/principal_settings.h"
#include "pages/pages.h"
#include "tests/support/page_driver.h"

namespace principal_pages {

using test_support::PageDriver;
using Names = std::vector<std::string>;

inline constexpr std::string_view kFolders = "*Users|Groups|IP Range";

inline std::string Key(std::string_view below) {
  return std::string(PageDriver::kServer) + "\\" + std::string(below);
}

// Values and subkeys of a key as the store gives them.
inline std::vector<std::string> ValuesOf(std::string_view below) {
  std::vector<std::string> values;
  UniqueKey key;
  if (OpenUniqueKey(HKEY_LOCAL_MACHINE, Key(below).c_str(), KEY_READ, key) != 0) return {"(no key)"};
  const CTesselRegObject object(HKEY_LOCAL_MACHINE, key.release());
  RegistryValue value;
  for (DWORD i = 0; object.EnumValue(i, value) == ERROR_SUCCESS; ++i)
    values.push_back(value.name + "=" + value.data);
  return values;
}
inline Names KeysOf(std::string_view below) {
  UniqueKey key;
  if (OpenUniqueKey(HKEY_LOCAL_MACHINE, Key(below).c_str(), KEY_READ, key) != 0) return {"(no key)"};
  Names names = CTesselRegObject(HKEY_LOCAL_MACHINE, key.release()).GetSubKeys();
  std::reverse(names.begin(), names.end());
  return names;
}

// A settings page that only notes what lists ask of it.
class NotingPage final : public CTesselPropertyPage, public PrincipalSettings {
 public:
  static inline Names noted;
  static std::unique_ptr<CTesselPropertyPage> Make(const PageArguments& arguments) {
    return std::make_unique<NotingPage>(arguments);
  }
  explicit NotingPage(const PageArguments& arguments)
      : CTesselPropertyPage("", 0, arguments), m_suffix(arguments.appended.substr(3)) {}

  std::string_view NodeSuffix() const override { return m_suffix; }
  AnyRecord CopyOf(const CString& target) override { return std::make_shared<CString>(target); }
  void StashPending(AnyRecord settings, const CString& target) override {
    noted.push_back(*std::static_pointer_cast<CString>(settings) + " -> " + target);
  }
  bool DropPending(const CString& target) override { return Note("drop " + target); }
  void ApplyPending() override { Note("apply" + m_suffix); }

 private:
  std::string_view HelpTopic() const override { return {}; }
  static bool Note(const CString& text) { return noted.push_back(text), false; }
  CString m_suffix;
};

class PrincipalsTest : public ::testing::Test {
 protected:
  using I = PageIndex;

  void SetUp() override {
    for (const char* folder : {"Users", "Groups", "IPs"}) PageDriver::MakeKey(Key(folder));
    NotingPage::noted.clear();
  }
  // The rows of the list on the page in front.
  Names Rows(std::string_view list) const {
    const CWnd& control = driver.Get<CWnd>(list);
    Names rows;
    for (size_t row = 0; row < control.RowCount(); ++row) rows.emplace_back(control.RowText(row));
    return rows;
  }
  void PressWith(std::string_view button, const Names& answers) {
    for (const std::string& answer : answers) driver.frontEnd.AddAnswer(answer);
    driver.Press(button);
    EXPECT_EQ(driver.frontEnd.AnswersLeft(), 0u);
    EXPECT_EQ(driver.frontEnd.Refusal() + driver.frontEnd.Unanswered(), "");
  }
  void Note(PageIndex index, std::string_view node) {
    driver.Add(index, NotingPage::Make, kFolders, "::*::" + std::string(node));
  }

  PageDriver driver;
  CTesselPropertyPage& users = driver.Add(I::UsersMain, MakeUsersMainPage, "Users");
  CTesselPropertyPage& groups = driver.Add(I::GroupsMain, MakeGroupsMainPage, "Groups");
  CTesselPropertyPage& ranges = driver.Add(I::CfgIpMain, MakeCfgIpMainPage, "IP Range");
  CTesselPropertyPage& general = driver.Add(I::UserGen, MakeUserGenPage, kFolders, "::*");
  CTesselPropertyPage& environment =
      driver.Add(I::UserEnv, MakeUserEnvPage, kFolders, "::*::Environment Variables");
  CTesselPropertyPage& terminate =
      driver.Add(I::UserTerminate, MakeUserTerminatePage, kFolders, "::*::Graceful Termination");
};

}  // namespace principal_pages

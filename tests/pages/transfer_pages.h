#pragma once

// The pages of the file transfer services, over a scratch part of the registry, with what the page table
// knows of them.

#include <gmock/gmock.h>

#include "pages/pages.h"
#include "platform/machine.h"
#include "tests/support/page_driver.h"

namespace transfer_pages {

using test_support::PageDriver;
using I = PageIndex;

// Texts in a table: "ONE; TWO".
struct Texts : std::vector<std::string> {
  using vector::vector;
  Texts(std::string_view list) {  // NOLINT(google-explicit-constructor): stands for the texts
    for (std::string& text : text::Split(list, ';')) push_back(text.substr(text.starts_with(' ') ? 1 : 0));
  }
  Texts(const char* list) : Texts(std::string_view(list)) {}         // NOLINT(google-explicit-constructor)
  Texts(const std::string& list) : Texts(std::string_view(list)) {}  // NOLINT(google-explicit-constructor)
};

inline std::string Key(std::string_view below) {
  return std::string(PageDriver::kRoot) + "\\" + std::string(below);
}
inline std::string ConfigurationKey(std::string_view below) {
  return std::string(PageDriver::kConfigurationRoot) + "\\" + std::string(below);
}

struct TransferPage {
  PageIndex index;
  PageDriver::MakePage make;
  const char* title;
  const char* appended;
  const char* key;
  const char* secondKey;
  const char* helpTopic;
};

constexpr TransferPage kPages[] = {
    {I::Sftp, MakeSftpPage, "SFTP Users", "", "SSHD", "SFTP", "::IDH_SFTPUserGroupManagement.htm"},
    {I::SftpUser, MakeSftpUserPage, "SFTP Users", "::*", R"(SFTP\Users)", "",
     "::IDH_SFTPUserGroupManagement.htm"},
    {I::SftpGroup, MakeSftpGroupPage, "SFTP Groups", "", "SSHD", "SFTP", "::IDH_SFTPUserGroupManagement.htm"},
    {I::SftpGroupUser, MakeSftpUserPage, "SFTP Groups", "::*", R"(SFTP\Groups)", "",
     "::IDH_SFTPUserGroupManagement.htm"},
    {I::Scp, MakeScpPage, "SCP Users", "", "SSHD", "SCP", "::IDH_SCPUserGroupManagement.htm"},
    {I::ScpUser, MakeScpUserPage, "SCP Users", "::*", R"(SCP\Users)", "", "::IDH_SCPUserGroupManagement.htm"},
    {I::ScpGroup, MakeScpGroupPage, "SCP Groups", "", "SSHD", "SCP", "::IDH_SCPUserGroupManagement.htm"},
    {I::ScpGroupUser, MakeScpUserPage, "SCP Groups", "::*", R"(SCP\Groups)", "",
     "::IDH_SCPUserGroupManagement.htm"},
    {I::SftpUserTempFeature, MakeSftpUserTempFeaturePage, "*SFTP Users|SFTP Groups", "::*::Two Step Upload",
     "SFTP", "", "::IDH_SftpTwoStep.htm"},
};

// "NAME=DATA" for REG_SZ, "NAME:TYPE=DATA" for others; "~" stands for a zero byte.
inline std::pair<std::string, std::string> Parted(std::string_view text) {
  const size_t equals = text.find('=');
  return {std::string(text.substr(0, equals)), std::string(text.substr(equals + 1))};
}

inline void Store(const std::string& path, const Texts& values) {
  PageDriver::MakeKey(path);
  for (const std::string& value : values) {
    auto [name, data] = Parted(value);
    std::replace(data.begin(), data.end(), '~', '\0');
    const size_t colon = name.find(':');
    const DWORD type =
        colon == std::string::npos ? REG_SZ : static_cast<DWORD>(std::stoul(name.substr(colon + 1)));
    PageDriver::Store(name.substr(0, colon).c_str(), data, path, type);
  }
}

// The key's values as Store takes them, in order of creation.
inline Texts ValuesOf(const std::string& path) {
  UniqueKey key;
  if (OpenUniqueKey(HKEY_LOCAL_MACHINE, path.c_str(), KEY_READ, key) != 0) return "(no key)";
  const CTesselRegObject object(HKEY_LOCAL_MACHINE, key.release());
  Texts values;
  RegistryValue value;
  for (DWORD i = 0; object.EnumValue(i, value) == ERROR_SUCCESS; ++i) {
    std::replace(value.data.begin(), value.data.end(), '\0', '~');
    const std::string type = value.type == REG_SZ ? "" : ":" + std::to_string(value.type);
    values.push_back(value.name + type + "=" + value.data);
  }
  return values;
}

// In the order of writing on the embedded computer; others list values by name.
inline void ExpectValues(const std::string& path, const Texts& values) {
  if (!machine::WritesCountAtOnce()) {
    EXPECT_EQ(ValuesOf(path), values) << path;
  } else {
    EXPECT_THAT(ValuesOf(path), ::testing::UnorderedElementsAreArray(values)) << path;
  }
}

inline Texts KeysOf(const std::string& path) {
  UniqueKey key;
  if (OpenUniqueKey(HKEY_LOCAL_MACHINE, path.c_str(), KEY_READ, key) != 0) return "(no key)";
  const CStringList names = CTesselRegObject(HKEY_LOCAL_MACHINE, key.release()).GetSubKeys();
  return Texts(names.rbegin(), names.rend());
}

struct Pages {
  explicit Pages(bool configServerMode = false, std::string_view computer = "") : driver(configServerMode) {
    for (const TransferPage& page : kPages) {
      driver.Add(page.index, page.make, page.title, page.appended, Key(page.key),
                 *page.secondKey == '\0' ? "" : Key(page.secondKey), computer);
    }
    for (const char* folder : {R"(SFTP\Users)", R"(SFTP\Groups)", R"(SCP\Users)", R"(SCP\Groups)"}) {
      PageDriver::MakeKey(Key(folder));
      PageDriver::MakeKey(ConfigurationKey(folder));
    }
  }

  CTesselPropertyPage& operator[](PageIndex index) { return *PageAt<CTesselPropertyPage>(index); }
  void Show(PageIndex index, std::string_view target = "") { driver.Show((*this)[index], target); }

  // "CAPTION=VALUE" fills a control; "press BUTTON|ANSWER|..." presses one, with answers for its dialog.
  void Do(const Texts& acts) {
    for (const std::string& act : acts) {
      const CStringList pieces = text::Split(act, '|');
      if (!pieces.front().starts_with("press ")) {
        const auto [caption, value] = Parted(act);
        driver.Put(caption, value);
        continue;
      }
      for (size_t i = 1; i < pieces.size(); ++i) driver.frontEnd.AddAnswer(pieces[i]);
      driver.Press(pieces.front().substr(6));
      EXPECT_EQ(driver.frontEnd.AnswersLeft(), 0u) << act;
      EXPECT_EQ(driver.frontEnd.Refusal() + driver.frontEnd.Unanswered(), "") << act;
    }
  }
  void ExpectShown(const Texts& shown) {
    for (const std::string& text : shown) {
      const auto [caption, value] = Parted(text);
      EXPECT_EQ(driver.Value(caption), value) << caption;
    }
  }
  // The rows of the list in front, the cells of each with "|" between.
  Texts Rows(std::string_view list) {
    const CWnd& control = driver.Get<CWnd>(list);
    const auto* const table = dynamic_cast<const CListCtrl*>(&control);
    Texts rows;
    for (size_t row = 0; row < control.RowCount(); ++row) {
      rows.push_back(table != nullptr ? text::Joined(table->Rows()[row].cells, "|")
                                      : std::string(control.RowText(row)));
    }
    return rows;
  }

  PageDriver driver;
};

}  // namespace transfer_pages

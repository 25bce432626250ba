#pragma once

// Drives pages as a host and a person do: a property sheet over a scratch part of the registry, acts by
// caption, and what the store holds afterwards. One driver lives at a time; each starts with an empty store.
// Its life is one event, so that nothing waits for the disk.

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/page_directory.h"
#include "framework/tessel_property_page.h"
#include "platform/machine.h"
#include "store/registry_object.h"
#include "tests/support/scratch_home.h"
#include "window/scripted_front_end.h"

namespace test_support {

class PageDriver {
 public:
  // The scratch part, the server's key in it, and the name and server's key of a named configuration.
  static constexpr const char* kRoot = R"(Software\TesselWorks\PageTest)";
  static constexpr const char* kServer = R"(Software\TesselWorks\PageTest\SSHD)";
  static constexpr const char* kConfiguration = "pagetest";
  static constexpr const char* kConfigurationRoot = R"(Software\TesselWorks\ConfigServer\pagetest)";
  static constexpr const char* kConfigurationServer = R"(Software\TesselWorks\ConfigServer\pagetest\SSHD)";

  using MakePage = std::unique_ptr<CTesselPropertyPage> (*)(const PageArguments&);

  explicit PageDriver(bool configServerMode = false) : m_frontEndBefore(SetFrontEnd(&frontEnd)) {
    current = this;
    context.configServerMode = configServerMode ? 1 : 0;
    context.pfnInit = [](char const*, std::uint32_t) {};
    context.pfnMakeTitle = [](char const* computer, char const* word, char const* path, CString* title) {
      current->Called("title", CString(computer) + "|" + word + "|" + path);
      *title = path;
    };
    context.pfnAddNode = [](char const* path, std::uint32_t, std::uint32_t) { current->Called("add", path); };
    context.pfnRefreshNode = [](char const* path) { current->Called("refresh", path); };
    context.pfnRemoveNode = [](char const* path, std::uint32_t withFamily) {
      current->Called("remove", path + (withFamily != 0 ? CString(" with family") : CString()));
    };
    context.pfnBeforeRestore = [] { current->Called("before restore", ""); };
    context.pfnAfterImport = [] { current->Called("after import", ""); };
    context.pfnHasUnsavedChanges = [](PropExtContext*) -> std::uint32_t { return current->Modified(); };
    machine::BeginEvent();
    Clear();
    MakeKey(kServer);
    MakeKey(kConfigurationServer);
  }
  ~PageDriver() {
    for (const PageIndex index : m_indexes) PageDirectory()[static_cast<size_t>(index)] = nullptr;
    m_pages.clear();
    Clear();
    machine::AbandonEvent();
    SetFrontEnd(m_frontEndBefore);
    current = nullptr;
  }
  PageDriver(const PageDriver&) = delete;
  PageDriver& operator=(const PageDriver&) = delete;

  PropExtContext context{};
  ScriptedFrontEnd frontEnd;
  CPropertySheet sheet;
  // What pages told the host, in order: "add Users::bob".
  std::vector<std::string> hostCalls;

  // Makes a page with its window and puts it into the sheet and the page directory. `title` and `appended` as
  // in the page table.
  CTesselPropertyPage& Add(PageIndex index, MakePage make, std::string_view title,
                           std::string_view appended = "", std::string_view baseKey = kServer,
                           std::string_view secondKey = "", std::string_view computer = "") {
    PageArguments arguments;
    arguments.titleText = title;
    arguments.appended = appended;
    arguments.baseKey = baseKey;
    arguments.secondKey = secondKey;
    arguments.computer = computer;
    arguments.context = &context;
    CTesselPropertyPage& page = *m_pages.emplace_back(make(arguments));
    m_indexes.push_back(index);
    PageDirectory()[static_cast<size_t>(index)] = &page;
    sheet.AddPage(page);
    page.Create();
    return page;
  }

  // Leaves the page in front and shows this one for a target; without one the page's title is the target.
  void Show(CTesselPropertyPage& page, std::string_view target = "") {
    ASSERT_TRUE(sheet.LeaveActivePage());
    page.m_refData.text = target;
    ASSERT_TRUE(sheet.SetActivePage(&page));
  }

  // A person's acts on the page in front.
  void Put(std::string_view caption, std::string_view value) {
    const Act act = Front().Put(caption, value);
    EXPECT_TRUE(act) << act.refusal;
  }
  void Press(std::string_view caption) {
    const Act act = Front().Press(caption);
    EXPECT_TRUE(act) << act.refusal;
  }
  bool Apply() { return sheet.PressApply(); }
  bool Modified() const { return sheet.IsModified(); }

  // What the page in front shows; a row of a check list is on or off.
  std::string Value(std::string_view caption) const {
    const CDialog::Found found = Find(caption);
    if (found.control == nullptr) return "(no such control)";
    if (found.row < 0) return found.control->Value();
    return found.control->IsChecked(static_cast<size_t>(found.row)) ? "on" : "off";
  }
  bool Enabled(std::string_view caption) const {
    const CDialog::Found found = Find(caption);
    return found.control != nullptr && found.control->IsWindowEnabled();
  }
  template <class Control>
  Control& Get(std::string_view caption) const {
    return dynamic_cast<Control&>(*Find(caption).control);
  }

  // The store, under HKEY_LOCAL_MACHINE. Bytes are kept and read as they are, zeros included.
  static void MakeKey(std::string_view path) {
    CTesselRegObject key(HKEY_LOCAL_MACHINE);
    ASSERT_TRUE(key.CreateKey(CString(path).c_str())) << path;
  }
  static void Store(const char* name, std::string_view data, std::string_view path = kServer,
                    DWORD type = REG_SZ) {
    CTesselRegObject key(HKEY_LOCAL_MACHINE);
    ASSERT_TRUE(key.CreateKey(CString(path).c_str())) << path;
    ASSERT_EQ(key.SetBinaryValue(name, data, type), 0u) << name;
  }
  // Nothing where there is no such value.
  static std::optional<CString> Stored(const char* name, std::string_view path = kServer) {
    UniqueKey key;
    if (OpenUniqueKey(HKEY_LOCAL_MACHINE, CString(path).c_str(), KEY_READ, key) != 0) return std::nullopt;
    if (RegQueryValueExA(key.get(), name, nullptr, nullptr, nullptr, nullptr) != 0) return std::nullopt;
    return CTesselRegObject(HKEY_LOCAL_MACHINE, key.release()).GetBinaryValue(name);
  }
  static bool HasKey(std::string_view path) {
    UniqueKey key;
    return OpenUniqueKey(HKEY_LOCAL_MACHINE, CString(path).c_str(), KEY_READ, key) == 0;
  }

 private:
  static inline PageDriver* current = nullptr;

  static void Clear() {
    DeleteRegistryKeyA(HKEY_LOCAL_MACHINE, kRoot, KEY_ALL_ACCESS);
    DeleteRegistryKeyA(HKEY_LOCAL_MACHINE, kConfigurationRoot, KEY_ALL_ACCESS);
  }
  void Called(std::string_view what, std::string_view with) {
    hostCalls.push_back(std::string(what) + " " + std::string(with));
  }
  CPropertyPage& Front() const { return *sheet.GetActivePage(); }
  CDialog::Found Find(std::string_view caption) const {
    const CDialog::Found found = Front().Find(caption);
    EXPECT_NE(found.control, nullptr) << caption;
    return found;
  }

  FrontEnd* m_frontEndBefore;
  std::vector<std::unique_ptr<CTesselPropertyPage>> m_pages;
  std::vector<PageIndex> m_indexes;
};

}  // namespace test_support

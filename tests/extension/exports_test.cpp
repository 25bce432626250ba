// The library through its exports, as a host loads it.

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "console/library.h"
#include "framework/page_directory.h"
#include "store/diagnostic_log.h"
#include "store/registry_object.h"
#include "tests/support/scratch_home.h"
#include "window/property_sheet.h"

namespace {

std::string initialised;
std::string titled;

PropExtContext Context() {
  PropExtContext context{};
  context.pfnInit = [](char const* baseKey, std::uint32_t id) {
    initialised = std::string(baseKey) + " " + std::to_string(id);
  };
  context.pfnMakeTitle = [](char const* computer, char const* word, char const* path, CString* title) {
    titled = std::string(computer) + "|" + word;
    *title = path;
  };
  constexpr std::string_view kTransfers = "Who may transfer files";
  kTransfers.copy(context.fileTransferListTitle, sizeof context.fileTransferListTitle - 1);
  return context;
}

// Closing ends the library for good, so all tests share one.
class Exports : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    std::string why;
    library = LoadExtension(why);
    ASSERT_TRUE(library) << why;
  }
  static void TearDownTestSuite() {
    if (!library) return;
    library->closePropExt();
    // Two pages are left, which could not be reached once the library is unloaded.
    for (CTesselPropertyPage* page : left) delete page;
    UnloadExtension(*library);
  }
  void SetUp() override { ASSERT_TRUE(library); }

  static inline std::optional<Library> library;
  static inline std::vector<CTesselPropertyPage*> left;
};

// Host and pages are one process, whose log either side opens and both write. (First, while no page
// is of another computer.)
TEST_F(Exports, PagesWriteIntoTheLogThatTheHostOpened) {
  constexpr char kFolder[] = R"(C:\marrowen-exports-test)";
  constexpr char kLog[] = R"(C:\marrowen-exports-test\sshd.log)";
  constexpr char kConfiguration[] = R"(Software\TesselWorks\ConfigServer\exportstest)";
  PropExtContext context = Context();
  context.configServerMode = 1;
  library->initPropExt(&context, 100);
  std::uint32_t flags = 0;
  std::uint32_t id = 0;
  CTesselPropertyPage* const page = library->getPropPage("", &flags, &id, 1);
  ASSERT_NE(page, nullptr);
  CTesselRegObject key(HKEY_LOCAL_MACHINE);
  ASSERT_TRUE(key.CreateKey((std::string(kConfiguration) + R"(\SSHD)").c_str()));
  CreateDirectoryA(kFolder, nullptr);
  DeleteFileA(kLog);
  ASSERT_EQ(LogOpen(kLog), 0);

  CPropertySheet sheet;
  sheet.AddPage(*page);
  page->m_refData.text = "exportstest::General Settings";
  ASSERT_TRUE(sheet.SetActivePage(page));
  const Act act = page->Put("FIPS Mode", "on");
  EXPECT_TRUE(act) << act.refusal;
  EXPECT_TRUE(sheet.PressApply());

  std::array<char, 4096> text{};
  if (FILE* file = _fsopen(kLog, "r", _SH_DENYNO)) {
    const size_t length = std::fread(text.data(), 1, text.size() - 1, file);
    std::fclose(file);
    EXPECT_NE(std::string(text.data(), length).find("Save Changes called for PrpSession"), std::string::npos);
  } else {
    ADD_FAILURE() << kLog;
  }
  DeleteFileA(kLog);
  RemoveDirectoryA(kFolder);
  key.CloseKey();
  DeleteRegistryKeyA(HKEY_LOCAL_MACHINE, kConfiguration, KEY_ALL_ACCESS);
}

TEST_F(Exports, ServePagesOnceAndInOrder) {
  PropExtContext context = Context();
  EXPECT_EQ(library->initPropExt(&context, 100), 1u);
  EXPECT_EQ(initialised, "Software\\TesselWorks\\SSHD 100");

  // The library works on its own copy of what the host gave it.
  context.pfnMakeTitle = nullptr;
  std::uint32_t flags = 0;
  std::uint32_t id = 0;
  std::set<CTesselPropertyPage*> pages;
  std::uint32_t last = 99;
  while (CTesselPropertyPage* page = library->getPropPage("srv1", &flags, &id, 1)) {
    EXPECT_TRUE(pages.insert(page).second);
    EXPECT_GT(id, last);
    EXPECT_EQ(flags, id == 100 || id == 127 ? 3u : 1u);
    EXPECT_FALSE(page->Title().empty());
    if (page->Title() == "Authentication" || page->Title().ends_with("::Two Step Upload"))
      left.push_back(page);
    EXPECT_EQ(page->Title() == "Who may transfer files", id == 117) << "the host names this page alone";
    last = id;
  }
  EXPECT_EQ(titled, "srv1|Marrowen");
  EXPECT_EQ(id, 100 + kPageCount);
  EXPECT_EQ(library->getPropPage("", &flags, &id, 1), nullptr);
  EXPECT_EQ(flags, 1u);
  EXPECT_EQ(id, 101 + kPageCount);

  // A second start serves the pages that exist, with their first title.
  context = Context();
  titled.clear();
  library->initPropExt(&context, 0);
  EXPECT_TRUE(pages.contains(library->getPropPage(nullptr, &flags, &id, 0)));
  EXPECT_TRUE(titled.empty());
}

constexpr char kFolders[] = R"(Software\TesselWorks\ExportsTest)";

// A host that writes down which nodes it is told to remove.
class NotingHost {
 public:
  explicit NotingHost(const Library& library) : m_library(library) {
    DeleteRegistryKeyA(HKEY_LOCAL_MACHINE, kFolders, KEY_ALL_ACCESS);
    context.pfnRemoveNode = [](char const* path, std::uint32_t withFamily) {
      removed.push_back(path + std::string(withFamily != 0 ? " with family" : ""));
    };
  }
  ~NotingHost() {
    for (const auto& [id, page] : m_pages) page->m_pending.clear();
    DeleteRegistryKeyA(HKEY_LOCAL_MACHINE, kFolders, KEY_ALL_ACCESS);
  }
  NotingHost(const NotingHost&) = delete;
  NotingHost& operator=(const NotingHost&) = delete;

  // Takes the pages, and lets an edit wait on each.
  void Start(std::int32_t useProductWord = 1) {
    removed.clear();
    m_library.initPropExt(&context, 0);
    std::uint32_t flags = 0;
    std::uint32_t id = 0;
    while (CTesselPropertyPage* page = m_library.getPropPage("", &flags, &id, useProductWord)) {
      m_pages[id] = page;
      page->m_pending["Users::joe"] = std::make_shared<int>(0);
    }
  }
  // The pages that hold nothing any more.
  std::set<std::uint32_t> Cancelled() const {
    std::set<std::uint32_t> ids;
    for (const auto& [id, page] : m_pages) {
      if (page->m_pending.empty()) ids.insert(id);
    }
    return ids;
  }

  static inline std::vector<std::string> removed;
  PropExtContext context = Context();

 private:
  const Library& m_library;
  std::map<std::uint32_t, CTesselPropertyPage*> m_pages;
};

std::string Folder(const char* name) { return std::string(kFolders) + "\\" + name; }

void Make(const std::string& path, const char* order = nullptr) {
  CTesselRegObject key(HKEY_LOCAL_MACHINE);
  ASSERT_TRUE(key.CreateKey(path.c_str()));
  if (order != nullptr) {
    ASSERT_EQ(key.SetStringValue("Order", order), 0u);
  }
}

using Told = std::vector<std::string>;
using Ids = std::set<std::uint32_t>;

const Ids kSettingsPages{28, 29, 30, 31, 32, 33, 34, 35};

TEST_F(Exports, RemovedUsersGoByTheirBareNamesAndGiveUpTheirEdits) {
  NotingHost host(*library);
  for (const char* name : {"joe", "CORP?alice", "Default"}) Make(Folder("Users\\") + name);
  host.Start();
  library->removeUsers(Folder("Users").c_str(), "Users");
  EXPECT_EQ(host.removed, (Told{"CORP\\alice with family", "Default with family", "joe with family"}));
  EXPECT_EQ(host.Cancelled(), kSettingsPages);
  // The store gives the names, and nothing else.
  UniqueKey left;
  EXPECT_EQ(OpenUniqueKey(HKEY_LOCAL_MACHINE, Folder("Users\\CORP?alice").c_str(), KEY_READ, left), 0);

  host.Start();
  library->removeUsers(Folder("Nowhere").c_str(), "Users");
  EXPECT_EQ(host.removed, Told());
  EXPECT_EQ(host.Cancelled(), kSettingsPages);

  host.context.pfnRemoveNode = nullptr;
  host.Start();
  library->removeUsers(Folder("Users").c_str(), "Users");
  EXPECT_EQ(host.Cancelled(), kSettingsPages);
}

TEST_F(Exports, RemovedGroupsGoByTheirOrderAndKeepTheirEdits) {
  NotingHost host(*library);
  for (const char* name : {"B", "CORP?staff", "A"}) Make(Folder("Groups\\") + name);
  Make(Folder("Groups"), "\\\\B,gone,CORP\\staff,,A");
  host.Start();
  library->removeUsers(Folder("Groups").c_str(), "Groups");
  EXPECT_EQ(host.removed, (Told{"B with family", "CORP\\staff with family", "A with family"}));
  EXPECT_EQ(host.Cancelled(), Ids());

  Make(Folder("Groups"), ("A," + std::string(258, 'x')).c_str());
  host.Start();
  library->removeUsers(Folder("Groups").c_str(), "Groups");
  EXPECT_EQ(host.removed, Told()) << "an order that is too long to be read";

  // Any other kind takes the way of the users, this one too.
  library->removeUsers(Folder("Groups").c_str(), "groups");
  EXPECT_EQ(host.removed, (Told{"A with family", "B with family", "CORP\\staff with family"}));
  EXPECT_EQ(host.Cancelled(), kSettingsPages);
}

// Each title runs on from the one before. The keys are those of the services, which may have users of their
// own.
TEST_F(Exports, RemovedFileTransferUsersGoByOneTitleThatRunsOn) {
  NotingHost host(*library);
  const std::tuple<const char*, std::int32_t, std::int32_t, const char*> services[] = {
      {R"(Software\TesselWorks\SFTP\Users)", 1, 1, "Marrowen::::"},
      {R"(Software\TesselWorks\SCP\Users)", 0, 0, "::"},
  };
  for (const auto& [path, isSftp, useProductWord, head] : services) {
    const std::string folder = path;
    for (const char* name : {"\\ExportsTest?a", "\\ExportsTest?b"}) Make(folder + name);
    UniqueKey key;
    ASSERT_EQ(OpenUniqueKey(HKEY_LOCAL_MACHINE, path, KEY_READ, key), 0);
    CStringList names = CTesselRegObject(nullptr, key.release()).GetSubKeys();
    Told titles;
    std::string title;
    for (auto name = names.rbegin(); name != names.rend(); ++name) {
      title += head + text::Replaced(*name, "?", "\\");
      titles.push_back(title);
    }
    EXPECT_NE(title.find("ExportsTest\\a" + std::string(head) + "ExportsTest\\b"), std::string::npos);
    host.Start(useProductWord);
    library->removeFileTransferUsers(isSftp);
    EXPECT_EQ(host.removed, titles);
    EXPECT_EQ(host.Cancelled(), Ids{isSftp != 0 ? 18u : 22u}) << "the users' page of that service alone";
    for (const char* name : {"\\ExportsTest?a", "\\ExportsTest?b"})
      DeleteRegistryKeyA(HKEY_LOCAL_MACHINE, (folder + name).c_str(), KEY_ALL_ACCESS);
  }
}

}  // namespace

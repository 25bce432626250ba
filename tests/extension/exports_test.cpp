// The library through its exports, as a host loads it.

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <set>
#include <string>

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
    UnloadExtension(*library);
  }
  void SetUp() override { ASSERT_TRUE(library); }

  static inline std::optional<Library> library;
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

}  // namespace

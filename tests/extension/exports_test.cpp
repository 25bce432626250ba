// The library through its exports, as a host loads it.

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "console/library.h"
#include "framework/page_directory.h"

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

TEST(Exports, ServePagesOnceAndInOrder) {
  std::string why;
  const std::optional<Library> library = LoadExtension(why);
  ASSERT_TRUE(library) << why;
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
  library->closePropExt();
}

}  // namespace

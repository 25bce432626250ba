// The table of pages, and what the host is served of it, against lists that stand here for themselves.

#include "extension/page_table.h"

#include <gtest/gtest.h>

#include "console/library.h"
#include "tests/support/scratch_home.h"

namespace {

// Index, title, appended text, key, second key. Those of keys stand below Software\TesselWorks.
constexpr const char* kPages[] = {
    "0|General Settings||SSHD|",
    "1|General Settings::Cipher||SSHD|",
    "2|General Settings::Compression||SSHD|",
    "3|General Settings::Host Key||SSHD|",
    "4|General Settings::Key Exchange||SSHD|",
    "5|General Settings::MAC||SSHD|",
    "6|Authentication||SSHD|",
    "7|Authentication::Password Options||SSHD|",
    "8|Authentication::Public Key Options||SSHD|",
    "9|Authentication::X.509 Certificate Options||SSHD|",
    "10|Authentication::GSSAPI Options||SSHD|",
    "11|Banner||SSHD|",
    "12|Access Control||SSHD|",
    "13|Logging||SSHD|",
    "14|Print Monitor||SSHD\\PrinterInfo|",
    "15|Users||SSHD|SSHD\\Users",
    "16|Groups||SSHD|SSHD\\Groups",
    "17|||SSHD|SFTP",
    "18|SFTP Users|::*|SFTP\\Users|",
    "19|SFTP Groups||SSHD|SFTP",
    "20|SFTP Groups|::*|SFTP\\Groups|",
    "21|SCP Users||SSHD|SCP",
    "22|SCP Users|::*|SCP\\Users|",
    "23|SCP Groups||SSHD|SCP",
    "24|SCP Groups|::*|SCP\\Groups|",
    "25|Configuration Management||SSHD|",
    "26|IP Range||SSHD|TelnetD\\IPs",
    "27|About||SSHD|",
    "28|*Users?Groups?IP Range|::*|SSHD|",
    "29|*Users?Groups?IP Range|::*::Console Settings|SSHD|",
    "30|*Users?Groups?IP Range|::*::Stream Settings|SSHD|",
    "31|*Users?Groups?IP Range|::*::NonInteractive Command Settings|SSHD|",
    "32|*Users?Groups?IP Range|::*::Keyboard|SSHD|",
    "33|*Users?Groups?IP Range|::*::Logon|SSHD|",
    "34|*Users?Groups?IP Range|::*::Environment Variables|SSHD|",
    "35|*Users?Groups?IP Range|::*::Graceful Termination|SSHD|",
    "36|*Users?Groups?IP Range|::*::Forwarding Control|SSHD|",
    "37|*Users?Groups?IP Range|::*::Handheld|SSHD|",
    "38|*SFTP Users?SFTP Groups|::*::Two Step Upload|SFTP|",
};

// Two pages are in neither place of it: 6 and 38 live until the process ends.
constexpr unsigned kDestruction[] = {0,  3,  1,  4,  5,  2,  11, 12, 13, 14, 15, 16, 17,
                                     19, 18, 20, 21, 22, 23, 24, 27, 25, 26, 28, 34, 29,
                                     32, 33, 30, 31, 35, 36, 37, 7,  8,  9,  10};

std::string BelowRoot(std::string_view key) {
  constexpr std::string_view kRoot = R"(Software\TesselWorks\)";
  return std::string(key.starts_with(kRoot) ? key.substr(kRoot.size()) : key);
}

}  // namespace

TEST(PageTable, HasEveryPageUnderItsTitleAndKeys) {
  ASSERT_EQ(PageTableRows().size(), std::size(kPages));
  for (size_t i = 0; i < std::size(kPages); ++i) {
    const PageTableRow& row = PageTableRows()[i];
    const std::string line = std::to_string(static_cast<unsigned>(row.index)) + "|" +
                             text::Replaced(row.titleText, "|", "?") + "|" + std::string(row.appended) + "|" +
                             BelowRoot(row.baseKey) + "|" + BelowRoot(row.secondKey);
    EXPECT_EQ(line, kPages[i]);
    EXPECT_NE(row.make, nullptr) << kPages[i];
  }
}

// A record that waits on a page goes with it, and so tells when that is.
TEST(PageTable, IsClosedInItsOrderWithTwoGaps) {
  std::string why;
  const auto library = LoadExtension(why);
  ASSERT_TRUE(library) << why;
  PropExtContext context{};
  context.pfnInit = [](char const*, std::uint32_t) {};
  context.pfnMakeTitle = [](char const*, char const*, char const* path, CString* title) { *title = path; };
  library->initPropExt(&context, 0);
  std::vector<unsigned> destroyed;
  std::vector<CTesselPropertyPage*> left;
  std::uint32_t flags = 0;
  std::uint32_t id = 0;
  while (CTesselPropertyPage* page = library->getPropPage("", &flags, &id, 1)) {
    const unsigned index = id;
    page->m_pending["waits"] = std::shared_ptr<void>(
        static_cast<void*>(page), [index, &destroyed](void*) { destroyed.push_back(index); });
    if (index == 6 || index == 38) left.push_back(page);
  }
  library->closePropExt();
  EXPECT_EQ(destroyed, std::vector<unsigned>(std::begin(kDestruction), std::end(kDestruction)));
  for (CTesselPropertyPage* page : left) delete page;
  UnloadExtension(*library);
}

// What every page does with its edits, shown on the smallest one.

#include <gtest/gtest.h>

#include "pages/pages.h"
#include "tests/support/page_driver.h"

namespace {

using test_support::PageDriver;

constexpr const char* kOwn = "General Settings::Compression";
constexpr const char* kBranch = "pagetest::General Settings::Compression";

class LifeCycleTest : public ::testing::Test {
 protected:
  // Edits of named configurations and of the computer's own key wait side by side in this mode; a target
  // whose first colon stands at the start is the own one.
  explicit LifeCycleTest(bool configServerMode = true)
      : driver(configServerMode),
        page(driver.Add(PageIndex::Compression, MakeCompressionPage, "General Settings::Compression")) {
    for (const char* server : {PageDriver::kServer, PageDriver::kConfigurationServer}) {
      PageDriver::Store("CompressionLevel", "4", server);
      PageDriver::Store("AllowCompression", "yes", server);
    }
  }
  static constexpr const char* kSelf = "::own";

  std::string Level(const char* server) {
    return PageDriver::Stored("CompressionLevel", server).value_or("none");
  }

  PageDriver driver;
  CTesselPropertyPage& page;
};

TEST_F(LifeCycleTest, WritesTheEditsOfAllTargetsAtOneApply) {
  driver.Show(page, kSelf);
  driver.Put("Level", "6");
  driver.Show(page, kBranch);
  EXPECT_EQ(driver.Value("Level"), "4");
  driver.Put("Level", "8");
  driver.Show(page, kSelf);
  EXPECT_EQ(driver.Value("Level"), "6");
  EXPECT_EQ(Level(PageDriver::kServer), "4");
  EXPECT_TRUE(driver.Apply());
  EXPECT_EQ(Level(PageDriver::kServer), "6");
  EXPECT_EQ(Level(PageDriver::kConfigurationServer), "8");
  EXPECT_FALSE(driver.Modified());
  EXPECT_TRUE(page.m_pending.empty());
}

// What the host tells a person who asks whether it was stored.
TEST_F(LifeCycleTest, NotesWhatBecameOfEachSave) {
  driver.Show(page, kBranch);
  EXPECT_EQ(page.m_shownKey + ": " + std::to_string(page.m_shownStatus),
            CString(PageDriver::kConfigurationServer) + ": 0");
  driver.Put("Level", "8");
  driver.Show(page, "nowhere::General Settings::Compression");
  EXPECT_EQ(page.m_shownStatus, DWORD{ERROR_FILE_NOT_FOUND});
  driver.Put("Level", "7");
  EXPECT_TRUE(driver.Apply());
  ASSERT_EQ(page.m_saves.size(), 2u);
  EXPECT_EQ(page.m_saves[0].target + " " + page.m_saves[0].key,
            R"(nowhere::General Settings::Compression Software\TesselWorks\ConfigServer\nowhere\SSHD)");
  EXPECT_EQ(page.m_saves[0].status, DWORD{ERROR_FILE_NOT_FOUND});
  EXPECT_EQ(page.m_saves[1].target, kBranch);
  EXPECT_EQ(page.m_saves[1].status, 0u);
}

TEST_F(LifeCycleTest, CancelDropsEveryEdit) {
  driver.Show(page, kSelf);
  driver.Put("Level", "6");
  driver.Show(page, kBranch);
  driver.Put("Level", "8");
  driver.sheet.PressCancel();
  driver.Show(page, kSelf);
  EXPECT_EQ(driver.Value("Level"), "4");
  EXPECT_EQ(Level(PageDriver::kConfigurationServer), "4");
}

TEST_F(LifeCycleTest, EditingBackLeavesNothingToApply) {
  driver.Show(page, kSelf);
  driver.Put("Level", "6");
  EXPECT_TRUE(driver.Modified());
  driver.Put("Level", "4");
  EXPECT_FALSE(driver.Modified());
  driver.Show(page, kBranch);
  EXPECT_TRUE(page.m_pending.empty());
}

// One entry that waits for another target does not mark the page; two do.
TEST_F(LifeCycleTest, MarksThePageWhenMoreThanOneOtherTargetWaits) {
  PageDriver::MakeKey(R"(Software\TesselWorks\ConfigServer\pagetest\x\SSHD)");
  driver.Show(page, kSelf);
  driver.Put("Level", "6");
  driver.Show(page, kBranch);
  page.SetModified(false);
  driver.Show(page, "::third");
  EXPECT_FALSE(page.IsModified());
  driver.Put("Level", "7");
  driver.Show(page, "::fourth");
  EXPECT_EQ(page.m_pending.size(), 2u);
  EXPECT_TRUE(page.IsModified());
}

// Leaving twice without being shown in between keeps what was stashed first.
TEST_F(LifeCycleTest, TheOlderPendingCopyWins) {
  driver.Show(page, kSelf);
  driver.Put("Level", "6");
  page.OnKillActive();
  driver.Put("Level", "9");
  page.OnKillActive();
  driver.sheet.PressApply();
  EXPECT_EQ(Level(PageDriver::kServer), "6");
}

TEST_F(LifeCycleTest, AnswersTheMessagesOfItsSiblings) {
  const auto send = [this](unsigned code) { return page.QuerySiblings(code, 0); };
  driver.Show(page, kBranch);
  driver.Put("Level", "8");
  driver.Show(page, kSelf);
  PageDriver::Store("CompressionLevel", "5");
  EXPECT_EQ(send(4), 0);
  EXPECT_EQ(Level(PageDriver::kConfigurationServer), "4");
  EXPECT_EQ(send(1), 0);
  EXPECT_EQ(driver.Value("Level"), "4");  // the screen follows when the page is next shown
  EXPECT_EQ(send(2), 0);
  EXPECT_EQ(Level(PageDriver::kConfigurationServer), "8");
  EXPECT_FALSE(driver.Modified());
  driver.Show(page, kSelf);
  EXPECT_EQ(driver.Value("Level"), "5");
}

TEST_F(LifeCycleTest, AnUnreachableTargetLosesItsEditsSilently) {
  driver.Show(page, "nowhere::General Settings::Compression");
  driver.Put("Enable Compression", "on");
  driver.Put("Level", "8");
  EXPECT_TRUE(driver.Apply());
  EXPECT_TRUE(page.m_pending.empty());
  EXPECT_TRUE(driver.frontEnd.Messages().empty());
}

struct Stored {
  const char* level;  // null: no such value
  const char* allow;
  const char* shownLevel;
  const char* shownAllow;
  bool levelEnabled;
  bool modified;
};

class CompressionTest : public ::testing::TestWithParam<Stored> {};

TEST_P(CompressionTest, ShowsWhatIsStored) {
  PageDriver driver;
  auto& page = driver.Add(PageIndex::Compression, MakeCompressionPage, kOwn);
  if (GetParam().level != nullptr) PageDriver::Store("CompressionLevel", GetParam().level);
  if (GetParam().allow != nullptr) PageDriver::Store("AllowCompression", GetParam().allow);
  driver.Show(page);
  EXPECT_EQ(driver.Value("Level"), GetParam().shownLevel);
  EXPECT_EQ(driver.Value("Enable Compression"), GetParam().shownAllow);
  EXPECT_EQ(driver.Enabled("Level"), GetParam().levelEnabled);
  EXPECT_EQ(driver.Modified(), GetParam().modified);
}

INSTANTIATE_TEST_SUITE_P(
    Values, CompressionTest,
    ::testing::Values(Stored{nullptr, nullptr, "", "off", false, false},
                      Stored{"4", "YES", "4", "on", true, false},
                      Stored{"4", "maybe", "4", "off", false, false},
                      Stored{"12", "yes", "12", "on", true, false},
                      // The edit shows the number, whose text then is not what is stored.
                      Stored{"07", "yes", "7", "on", true, true}));

TEST_F(LifeCycleTest, EditAndSliderFollowEachOther) {
  driver.Show(page, kSelf);
  driver.Put("Level", "12");
  EXPECT_EQ(driver.Value("Level"), "9");
  EXPECT_EQ(driver.frontEnd.Beeps(), 1);
  EXPECT_EQ(driver.Value("Level#2"), "9");
  driver.Put("Level#2", "3");
  EXPECT_EQ(driver.Value("Level"), "3");
  EXPECT_TRUE(driver.Modified());
  driver.Get<CEdit>("Level").Type("a");
  EXPECT_EQ(driver.frontEnd.Beeps(), 2);
  EXPECT_EQ(driver.Value("Level"), "3");
}

// Showing a record disables the level but never enables it: only a click does.
TEST_F(LifeCycleTest, OnlyAClickEnablesTheLevel) {
  PageDriver::Store("AllowCompression", "no", PageDriver::kConfigurationServer);
  driver.Show(page, kBranch);
  EXPECT_FALSE(driver.Enabled("Level"));
  driver.Show(page, kSelf);
  EXPECT_FALSE(driver.Enabled("Level"));
  EXPECT_FALSE(page.Put("Level", "3"));
  driver.Put("Enable Compression", "off");
  driver.Put("Enable Compression", "on");
  EXPECT_TRUE(driver.Enabled("Level"));
}

TEST_F(LifeCycleTest, HelpGoesToTheTopicOfThePage) {
  PageDriver::Store("HelpFile", "C:\\help.chm");
  page.WinHelp();
  EXPECT_EQ(driver.frontEnd.Opened().back(), "C:\\help.chm::IDH_Compression.htm");
}

}  // namespace

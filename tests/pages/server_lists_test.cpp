#include "tests/pages/server_pages.h"

using namespace server_pages;
using I = PageIndex;

namespace {

constexpr char kCipherTarget[] = "General Settings::Cipher";
constexpr char kAllCiphers[] =
    "3des,blowfish,3des-cbc,blowfish-cbc,aes128-cbc,aes192-cbc,aes256-cbc,aes128-ctr,aes192-ctr,aes256-ctr";

// The rows of the page in front, a "+" before a ticked one.
std::string Rows(const PageDriver& driver, const char* group) {
  std::string rows;
  const auto& list = driver.Get<CListCtrl>(group);
  for (size_t row = 0; row < list.GetItemCount(); ++row) {
    rows += (rows.empty() ? "" : " ") + std::string(list.GetCheck(row) ? "+" : "") + list.GetItemText(row);
  }
  return rows;
}

}  // namespace

TEST(ServerLists, KeepTheOrderOfTheirTable) {
  const struct {
    PageIndex page;
    const char* stored;
    const char* acts;
    bool modifiedOnShowing;
    std::string written;
  } cases[] = {
      // An unset, empty or unreadable list is the default one, as an edit.
      {I::Cipher, "", "", true, "CiphersUsed=" + std::string(kAllCiphers)},
      {I::Cipher, "CiphersUsed=", "", true, "CiphersUsed=" + std::string(kAllCiphers)},
      {I::Mac, "", "", true,
       "MACsUsed=hmac-sha2-256,hmac-sha2-512,hmac-sha1,hmac-sha1-96,hmac-md5,hmac-md5-96"},
      {I::Cipher, "CiphersUsed=3des,aes128-ctr", "", false, "CiphersUsed=3des,aes128-ctr"},
      {I::Cipher, "CiphersUsed=aes256-ctr,aes128-ctr", "", true, "CiphersUsed=aes128-ctr,aes256-ctr"},
      {I::Cipher, "CiphersUsed=none,,aes128-ctr,", "", true, "CiphersUsed=none,aes128-ctr"},
      // Ticks go by case, and what is in no table is dropped.
      {I::Cipher, "CiphersUsed=AES128-CTR,3des", "", true, "CiphersUsed=3des"},
      {I::Kex, "KexUsed=curve,diffie-hellman-group1-sha1", "", true, "KexUsed=diffie-hellman-group1-sha1"},
      {I::Kex, "", "diffie-hellman-group-exchange-sha1=off; diffie-hellman-group-exchange-sha256=off", true,
       "KexUsed=diffie-hellman-group1-sha1,diffie-hellman-group14-sha1,diffie-hellman-group14-sha256,"
       "diffie-hellman-group15-sha512,diffie-hellman-group16-sha512,diffie-hellman-group17-sha512,"
       "diffie-hellman-group18-sha512"},
      {I::Mac, "MACsUsed=hmac-md5", "hmac-sha1=on", false, "MACsUsed=hmac-sha1,hmac-md5"},
  };
  for (const auto& c : cases) {
    PageDriver driver;
    Store(c.stored);
    CTesselPropertyPage& page = Add(driver, c.page);
    SCOPED_TRACE(page.Caption() + ": " + c.stored);
    driver.Show(page);
    EXPECT_EQ(driver.Modified(), c.modifiedOnShowing);
    Put(driver, c.acts);
    EXPECT_TRUE(driver.Apply());
    ExpectStored(c.written);
    EXPECT_FALSE(driver.Modified()) << "what was applied is what the table gives";
  }
}

// All key exchanges together are longer than what a page reads of a value, so the page takes its own list
// for none: it shows the same ticks, as an edit once more.
TEST(ServerLists, TheWholeKeyExchangeListIsTooLongToReadBack) {
  PageDriver driver;
  driver.Show(Add(driver, I::Kex));
  EXPECT_TRUE(driver.Apply());
  EXPECT_EQ(driver.Stored("KexUsed")->size(), 276u);
  EXPECT_TRUE(driver.Modified());
  ExpectShown(driver, "diffie-hellman-group1-sha1=on; diffie-hellman-group18-sha512=on");
}

TEST(ServerLists, ClearingEveryTickBringsTheDefaultListBack) {
  PageDriver driver;
  Store("CiphersUsed=3des");
  driver.Show(Add(driver, I::Cipher));
  driver.Put("3des", "off");
  EXPECT_TRUE(driver.Apply());
  ExpectStored("CiphersUsed=");
  ExpectShown(driver, "none=off; 3des=on; aes256-ctr=on");
  EXPECT_TRUE(driver.Modified());
}

// The box counts as it stands on the general page's screen, when a list page is shown.
TEST(ServerLists, FollowTheFipsBoxOfTheGeneralPage) {
  const struct {
    PageIndex page;
    const char* group;
    const char* stored;
    const char* narrow;
    const char* written;
  } cases[] = {
      {I::Cipher, "Available Ciphers", "CiphersUsed=none,aes128-ctr",
       "aes128-cbc aes192-cbc aes256-cbc +aes128-ctr aes192-ctr aes256-ctr", "CiphersUsed=aes128-ctr"},
      {I::Mac, "Available MAC", "MACsUsed=hmac-sha1,hmac-md5", "hmac-sha2-256 hmac-sha2-512 +hmac-sha1",
       "MACsUsed=hmac-sha1"},
      {I::Kex, "Available Key Exchange Algorithms",
       "KexUsed=diffie-hellman-group1-sha1,diffie-hellman-group15-sha512",
       "diffie-hellman-group-exchange-sha1 diffie-hellman-group-exchange-sha256 diffie-hellman-group14-sha1 "
       "diffie-hellman-group14-sha256 +diffie-hellman-group15-sha512 diffie-hellman-group16-sha512 "
       "diffie-hellman-group17-sha512 diffie-hellman-group18-sha512",
       "KexUsed=diffie-hellman-group15-sha512"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.group);
    PageDriver driver;
    Store("FIPSMode=yes");
    Store(c.stored);
    CTesselPropertyPage& general = Add(driver, I::General);
    CTesselPropertyPage& list = Add(driver, c.page);
    driver.Show(list);
    const std::string all = Rows(driver, c.group);
    EXPECT_GT(all.size(), std::string(c.narrow).size()) << "the general page was never shown";
    EXPECT_FALSE(driver.Modified());
    driver.Show(general);
    driver.Show(list);
    EXPECT_EQ(Rows(driver, c.group), c.narrow);
    EXPECT_TRUE(driver.Modified());
    driver.Show(general);
    driver.Put("FIPS Mode", "off");
    driver.Show(list);
    EXPECT_NE(Rows(driver, c.group), c.narrow);
    driver.Show(general);
    driver.Put("FIPS Mode", "on");
    driver.Show(list);
    EXPECT_TRUE(driver.Apply());
    ExpectStored(c.written);
  }
}

TEST(ServerLists, TickingSsh1ResetsCiphersAndMacs) {
  PageDriver driver;
  Store("CiphersUsed=aes128-ctr; MACsUsed=hmac-sha1; KexUsed=diffie-hellman-group1-sha1");
  CTesselPropertyPage& general = Add(driver, I::General);
  CTesselPropertyPage& cipher = Add(driver, I::Cipher);
  CTesselPropertyPage& mac = Add(driver, I::Mac);  // is never shown
  const CTesselPropertyPage& kex = Add(driver, I::Kex);
  driver.Show(cipher);
  driver.Show(general);
  driver.Put("Allow SSH1 protocol", "off");
  EXPECT_TRUE(cipher.m_pending.empty() && mac.m_pending.empty()) << "clearing the box resets nothing";
  driver.Put("Allow SSH1 protocol", "on");
  EXPECT_EQ(cipher.m_pending.count(kCipherTarget), 1u);
  EXPECT_TRUE(mac.m_pending.empty()) << "without a target there is nothing for which its list could wait";
  EXPECT_TRUE(kex.m_pending.empty());
  driver.Show(cipher);
  ExpectShown(driver, "none=off; 3des=on; aes128-ctr=on");
  EXPECT_TRUE(driver.Apply());
  ExpectStored("CiphersUsed=" + std::string(kAllCiphers) +
               "; MACsUsed=hmac-sha1; KexUsed=diffie-hellman-group1-sha1");
  driver.Show(mac);
  ExpectShown(driver, "hmac-sha1=on; hmac-md5=off");
}

TEST(ServerLists, APageThatWasNeverShownHasNothingToReload) {
  PageDriver driver;
  CTesselPropertyPage& cipher = Add(driver, I::Cipher);
  EXPECT_EQ(cipher.QuerySiblings(1, 0), 0);
  EXPECT_TRUE(cipher.m_pending.empty());
  driver.Show(cipher);
  cipher.m_pending.clear();
  EXPECT_EQ(cipher.QuerySiblings(1, 0), 0);
  EXPECT_EQ(cipher.m_pending.count(kCipherTarget), 1u)
      << "an unset list that is read waits as the default one";
}

// Reading an unset list makes the default one the target's edit, in place of what waited there.
TEST(ServerLists, AnUnsetListForgetsWhatWaited) {
  PageDriver driver(true);
  driver.Store("CiphersUsed", "3des");
  CTesselPropertyPage& page = Add(driver, I::Cipher);
  driver.Show(page, "pagetest::General Settings::Cipher");
  driver.Put("3des", "off");
  driver.Show(page, "no configuration");
  EXPECT_FALSE(page.m_pending.empty());
  driver.Show(page, "pagetest::General Settings::Cipher");
  ExpectShown(driver, "3des=on");
  EXPECT_TRUE(driver.Apply());
  ExpectStored("CiphersUsed=" + std::string(kAllCiphers), PageDriver::kConfigurationServer);
  ExpectStored("CiphersUsed=3des");
}

// It leaves what the last target had as the stored list: where that is the default list, nothing is an edit.
TEST(ServerLists, AnUnsetListGoesByTheLastTarget) {
  PageDriver driver(true);
  driver.Store("CiphersUsed", kAllCiphers);
  CTesselPropertyPage& page = Add(driver, I::Cipher);
  driver.Show(page, "no configuration");
  driver.Show(page, "pagetest::General Settings::Cipher");
  ExpectShown(driver, "3des=on");
  EXPECT_FALSE(driver.Modified());
  EXPECT_TRUE(driver.Apply());
  ExpectStored("CiphersUsed=(absent)", PageDriver::kConfigurationServer);
}

// The cipher, MAC and key exchange pages: one design over three tables of names. A ticked row's name goes
// into the stored list, in the table's order, whatever order was stored.

#include <algorithm>

#include "framework/page_directory.h"
#include "framework/record_page.h"
#include "pages/pages.h"
#include "pages/transport/transport_links.h"

namespace {

enum class Fips : bool { Hidden, Shown };

struct Algorithm {
  std::string_view name;
  Fips underFips;
};

struct Design {
  std::string_view caption;
  std::string_view helpTopic;
  std::string_view group;
  const char* value;
  std::span<const Algorithm> algorithms;
};

constexpr Algorithm kCiphers[] = {
    {"none", Fips::Hidden},      {"3des", Fips::Hidden},         {"blowfish", Fips::Hidden},
    {"3des-cbc", Fips::Hidden},  {"blowfish-cbc", Fips::Hidden}, {"aes128-cbc", Fips::Shown},
    {"aes192-cbc", Fips::Shown}, {"aes256-cbc", Fips::Shown},    {"aes128-ctr", Fips::Shown},
    {"aes192-ctr", Fips::Shown}, {"aes256-ctr", Fips::Shown},
};

constexpr Algorithm kMacs[] = {
    {"hmac-sha2-256", Fips::Shown}, {"hmac-sha2-512", Fips::Shown}, {"hmac-sha1", Fips::Shown},
    {"hmac-sha1-96", Fips::Hidden}, {"hmac-md5", Fips::Hidden},     {"hmac-md5-96", Fips::Hidden},
};

constexpr Algorithm kKeyExchanges[] = {
    {"diffie-hellman-group1-sha1", Fips::Hidden},
    {"diffie-hellman-group-exchange-sha1", Fips::Shown},
    {"diffie-hellman-group-exchange-sha256", Fips::Shown},
    {"diffie-hellman-group14-sha1", Fips::Shown},
    {"diffie-hellman-group14-sha256", Fips::Shown},
    {"diffie-hellman-group15-sha512", Fips::Shown},
    {"diffie-hellman-group16-sha512", Fips::Shown},
    {"diffie-hellman-group17-sha512", Fips::Shown},
    {"diffie-hellman-group18-sha512", Fips::Shown},
};

constexpr Design kCipher{"General Settings::Cipher", "::IDH_Cipher.htm", "Available Ciphers", "CiphersUsed",
                         kCiphers};
constexpr Design kMac{"General Settings::MAC", "::IDH_MAC.htm", "Available MAC", "MACsUsed", kMacs};
constexpr Design kKex{"General Settings::Key Exchange", "::IDH_Kex.htm", "Available Key Exchange Algorithms",
                      "KexUsed", kKeyExchanges};

struct AlgorithmListRecord {
  CString names;  // joined by ","
};

template <const Design& kDesign>
class AlgorithmListPage final : public RecordPage<AlgorithmListPage<kDesign>, AlgorithmListRecord>,
                                public AlgorithmList {
  using Base = RecordPage<AlgorithmListPage, AlgorithmListRecord>;
  using R = AlgorithmListRecord;
  using C = Rows<R>;

 public:
  using Base::Base;

  CListCtrl* m_list = nullptr;

  static constexpr Row kControls[] = {
      C::Group(kDesign.group),
      C::CheckList<&R::names>("").template As<&AlgorithmListPage::m_list>(),
      C::EndGroup(),
  };
  static constexpr Value kValues[] = {Values<R>::Text<&R::names>(kDesign.value).NoCase()};
  static constexpr PageTable kTable = {
      .caption = kDesign.caption,
      .helpTopic = kDesign.helpTopic,
      .controls = kControls,
      .values = kValues,
  };

  // Every name but "none", which switches encryption off.
  void ResetToDefaults() override {
    CStringList names;
    for (const Algorithm& algorithm : kDesign.algorithms) {
      if (algorithm.name != "none") names.emplace_back(algorithm.name);
    }
    this->m_current.names = text::Joined(names, ",");
    // A page that was never shown has no target for which the list could wait.
    if (this->WasShown()) this->StashPending(this->m_current, this->m_target);
  }

  // Each row that comes in is an item change that reads the half-filled list into m_current, which `record`
  // may be: so the names are taken out first, and a list that the screen gives otherwise shows as modified.
  void ShowRecord(const R& record) override {
    const CStringList ticked = text::Split(record.names, ',');
    const auto* fips = PageAt<FipsSwitch>(PageIndex::General);
    const bool fipsMode = fips != nullptr && fips->IsFipsModeTicked();
    m_list->DeleteAllItems();
    for (const Algorithm& algorithm : kDesign.algorithms) {
      if (fipsMode && algorithm.underFips == Fips::Hidden) continue;
      const size_t row = m_list->GetItemCount();
      m_list->InsertItem(row, {CString(algorithm.name)});
      if (std::find(ticked.begin(), ticked.end(), algorithm.name) != ticked.end())
        m_list->SetCheck(row, true);
    }
  }

  void ReadScreen(R& record) override {
    CStringList names;
    for (size_t row = 0; row < m_list->GetItemCount(); ++row) {
      if (m_list->GetCheck(row)) names.push_back(m_list->GetItemText(row));
    }
    record.names = text::Joined(names, ",");
  }

 protected:
  // A list that is unset, empty or too long to be read counts as the default one. The record stays as it is
  // and the default list waits as an edit, so that the page shows as modified and Apply stores it.
  void LoadFrom(const CTesselRegObject& key, R& record, KeyOf) override {
    CString stored;
    if (ReadText(key, kDesign.value, ReadRule::TextAsIs, stored) == ERROR_SUCCESS && !stored.empty()) {
      record.names = stored;
    } else {
      ResetToDefaults();
    }
  }
};

using CPrpCipher = AlgorithmListPage<kCipher>;
using CPrpMAC = AlgorithmListPage<kMac>;
using CPrpKex = AlgorithmListPage<kKex>;

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeCipherPage(const PageArguments& arguments) {
  return std::make_unique<CPrpCipher>(arguments);
}

std::unique_ptr<CTesselPropertyPage> MakeMacPage(const PageArguments& arguments) {
  return std::make_unique<CPrpMAC>(arguments);
}

std::unique_ptr<CTesselPropertyPage> MakeKexPage(const PageArguments& arguments) {
  return std::make_unique<CPrpKex>(arguments);
}

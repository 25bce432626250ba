#include <algorithm>

#include "pages/pages.h"
#include "pages/principals/value_pairs_page.h"

namespace {

struct EnvVarEntry {
  CString name;
  CString value;
  CString location;
};

class CPrpUserEnv final : public ValuePairsPage<CPrpUserEnv, EnvVarEntry> {
 public:
  using ValuePairsPage::ValuePairsPage;
  static const PageTable kTable;
  static constexpr EntryColumn<EnvVarEntry> kColumns[] = {
      {&EnvVarEntry::name}, {&EnvVarEntry::value}, {&EnvVarEntry::location}};

  static EnvVarEntry Decode(const CString& name, const CString& data);
  static CString Encode(const EnvVarEntry& entry);

 protected:
  // "Append" is no row of the list: showing a record leaves it without a selection, and what is then set
  // without choosing a location is stored without one, which reads back as "End".
  EnvVarEntry FieldsAfterShow() const override { return {"", "", "Append"}; }
  EnvVarEntry FieldsAfterSet() const override { return {"", "", "End"}; }
};

using E = EnvVarEntry;
using C = Rows<E>;

constexpr std::string_view kEnd = "End";
constexpr std::string_view kLocations[] = {kEnd, "Beginning", "Replace"};
// Characters that a variable's data takes with its location; what is longer is cut off.
constexpr size_t kDataLimit = 279;

E CPrpUserEnv::Decode(const CString& name, const CString& data) {
  const size_t comma = data.rfind(',');
  const CString word = comma == CString::npos ? CString() : data.substr(comma + 1);
  const auto* location = std::find_if(std::begin(kLocations), std::end(kLocations),
                                      [&word](std::string_view row) { return text::EqualNoCase(row, word); });
  return {name, data.substr(0, comma), CString(location == std::end(kLocations) ? kEnd : *location)};
}

CString CPrpUserEnv::Encode(const E& entry) {
  return (entry.value + ',' + entry.location).substr(0, kDataLimit);
}

constexpr std::string_view kTableColumns[] = {"Variable", "Value", "Location"};
constexpr int kWidths[] = {90, 150, 60};
constexpr Row kControls[] = {
    C::Group("Environment Variables for User Session"),
    C::Table("", kTableColumns, kWidths).As<&CPrpUserEnv::m_table>().On<&CPrpUserEnv::TakeSelection>(),
    C::Edit<&E::name>("Variable"),
    C::Edit<&E::value>("Value"),
    C::DropDown<&E::location>("Location if exist", kLocations),
    C::Button("Set").On<&CPrpUserEnv::Set>(),
    C::Button("Delete").On<&CPrpUserEnv::Delete>(),
    C::EndGroup(),
};

constexpr PageTable CPrpUserEnv::kTable = {
    .caption = "Environment Variables",
    .helpTopic = "::IDH_UserEnvironmentVariables.htm",
    .routing = Routing::PrincipalEnvironment,
    .hears = Hears::ListChangesToo,
    .controls = kControls,
};

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeUserEnvPage(const PageArguments& arguments) {
  return std::make_unique<CPrpUserEnv>(arguments);
}

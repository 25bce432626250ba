#include "pages/pages.h"
#include "pages/principals/value_pairs_page.h"

namespace {

struct TerminateEntry {
  CString exe;
  CString text;
};

class CPrpUserTerminate final : public ValuePairsPage<CPrpUserTerminate, TerminateEntry> {
 public:
  using ValuePairsPage::ValuePairsPage;
  static const PageTable kTable;
  static constexpr EntryColumn<TerminateEntry> kColumns[] = {
      {&TerminateEntry::exe}, {.text = &TerminateEntry::text, .noCase = false}};

  static TerminateEntry Decode(const CString& name, const CString& data) { return {name, data}; }
  static CString Encode(const TerminateEntry& entry) { return entry.text; }
};

using E = TerminateEntry;
using C = Rows<E>;

constexpr std::string_view kTableColumns[] = {"Executable", "Terminate String"};
constexpr int kWidths[] = {100, 290};
constexpr Row kControls[] = {
    C::Group("Graceful Application Termination Strings"),
    C::Table("", kTableColumns, kWidths)
        .As<&CPrpUserTerminate::m_table>()
        .On<&CPrpUserTerminate::TakeSelection>(),
    C::Edit<&E::exe>("Executable Name"),
    C::Edit<&E::text>("Termination String"),
    C::Button("Set").On<&CPrpUserTerminate::Set>(),
    C::Button("Delete").On<&CPrpUserTerminate::Delete>(),
    C::EndGroup(),
};

constexpr PageTable CPrpUserTerminate::kTable = {
    .caption = "Graceful Termination",
    .helpTopic = "::IDH_UserGracefulTermination.htm",
    .routing = Routing::PrincipalTerminate,
    .hears = Hears::ListChangesToo,
    .controls = kControls,
};

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeUserTerminatePage(const PageArguments& arguments) {
  return std::make_unique<CPrpUserTerminate>(arguments);
}

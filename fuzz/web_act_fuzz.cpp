// Acts as a browser sends them, a line of JSON each, on a window that has every control. A refused act must
// leave everything as it was.

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "console/web/acts.h"
#include "console/web/describe_window.h"

namespace {

class EveryControl final : public CDialog {
 public:
  EveryControl() : CDialog("Every control") { Create(); }

 protected:
  void BuildControls() override {
    Add(std::make_unique<CStatic>(ControlKind::Group), -1).caption = "Group";
    Add(std::make_unique<CButton>(), 0).caption = "Press";
    Add(std::make_unique<CButton>(ControlKind::CheckBox), 0).caption = "Tick";
    Add(std::make_unique<CButton>(ControlKind::RadioButton), 0).caption = "One";
    Add(std::make_unique<CButton>(ControlKind::RadioButton), 0).caption = "Other";
    Add(std::make_unique<CEdit>(), 0).caption = "Text";
    CEdit& digits = Add(std::make_unique<CEdit>(), 0);
    digits.digitsOnly = true;
    digits.spin = CEdit::Range{1, 9};
    Add(std::make_unique<CEdit>(), 0).multiLine = true;
    Add(std::make_unique<CEdit>(), 0).readOnly = true;
    CListBox& list = Add(std::make_unique<CListBox>(), 0);
    for (const char* row : {"a", "B", "\xC3\xA9"}) list.AddString(row);
    CListCtrl& table = Add(std::make_unique<CListCtrl>(), 0);
    table.checkBoxes = true;
    table.multipleSelection = true;
    table.columns = {{"First", 1}, {"Second", 2}};
    for (const char* row : {"x", "y", "z"}) table.InsertItem(table.GetItemCount(), {row, "cell"});
    for (const bool editable : {false, true}) {
      CComboBox& box = Add(std::make_unique<CComboBox>(), 0);
      box.editable = editable;
      box.AddString("choice");
    }
    Add(std::make_unique<CSliderCtrl>(), 0).SetRange(1, 9);
    Add(std::make_unique<CIPAddressCtrl>(), 0).caption = "Address";
    Add(std::make_unique<CEdit>(), 0).EnableWindow(false);
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size) {
  EveryControl dialog;
  web::RowCache rows;
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  while (!rest.empty()) {
    const size_t end = std::min(rest.find('\n'), rest.size());
    std::string why;
    const std::optional<web::PersonsAct> act = web::ActOf(rest.substr(0, end), why);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (!act) continue;
    const std::uint64_t before = web::ValuesStamp(dialog);
    if (!web::DoAtControl(dialog, *act, rows).empty() && web::ValuesStamp(dialog) != before) std::abort();
  }
  static_cast<void>(
      web::DescribeWindow(dialog).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
  return 0;
}

#include "console/web/describe_window.h"

#include <functional>
#include <string_view>

#include "console/review.h"
#include "console/web/rows.h"

using nlohmann::ordered_json;

namespace web {
namespace {

// So many rows come at once; it is more than a list shows without scrolling.
constexpr size_t kShortList = 100;

void DescribeEdit(const CEdit& edit, ordered_json& json) {
  if (edit.password) {
    // The text stays here; the browser only shows that there is one.
    json["value"] = "";
    json["password"] = true;
    json["filled"] = !edit.GetText().empty();
  }
  if (edit.multiLine) json["multiLine"] = true;
  if (edit.readOnly) json["readOnly"] = true;
  if (const std::string takes = edit.Takes(); !takes.empty()) json["takes"] = takes;
  if (edit.maxLength != 0) json["length"] = edit.maxLength;
  if (edit.spin) json["spin"] = {edit.spin->min, edit.spin->max};
}

void DescribeRows(const CWnd& control, ordered_json& json) {
  json["count"] = control.RowCount();
  json["stamp"] = RowsStamp(control);
  if (control.RowCount() > kShortList) return;
  ordered_json rows = ordered_json::array();
  for (size_t row = 0; row < control.RowCount(); ++row) rows.push_back(DescribeRow(control, row));
  json["rows"] = std::move(rows);
}

ordered_json Describe(const CDialog& dialog, size_t index) {
  const CWnd& control = *dialog.Controls()[index];
  ordered_json json;
  json["kind"] = KindName(control.Kind());
  json["name"] = dialog.NameOf(index);
  json["caption"] = control.caption;
  json["group"] = control.group;
  json["value"] = control.Value();
  if (!control.IsWindowEnabled()) json["disabled"] = true;
  if (!control.IsWindowVisible()) json["hidden"] = true;
  if (!control.storedAs.empty()) json["storedAs"] = control.storedAs;
  switch (control.Kind()) {
    case ControlKind::Edit:
      DescribeEdit(static_cast<const CEdit&>(control), json);
      break;
    case ControlKind::Button:
      if (static_cast<const CButton&>(control).isDefault) json["default"] = true;
      break;
    case ControlKind::Picture:
      json["image"] = static_cast<const CStatic&>(control).image;
      break;
    case ControlKind::EditableList:
      json["choices"] = static_cast<const CVSListBox&>(control).GetRows();
      break;
    case ControlKind::RadioButton:
      json["radioGroup"] = static_cast<const CButton&>(control).radioGroup;
      break;
    case ControlKind::ListBox:
      json["selected"] = static_cast<const CListBase&>(control).GetCurSel();
      DescribeRows(control, json);
      break;
    case ControlKind::ListView: {
      const auto& table = static_cast<const CListCtrl&>(control);
      json["selected"] = table.GetSelected();
      json["multiple"] = table.multipleSelection;
      json["checkBoxes"] = table.checkBoxes;
      json["columns"] = ordered_json::array();
      for (const CListCtrl::Column& column : table.columns) {
        json["columns"].push_back({{"title", column.title}, {"width", column.width}});
      }
      DescribeRows(control, json);
      break;
    }
    case ControlKind::ComboBox: {
      const auto& box = static_cast<const CComboBox&>(control);
      json["editable"] = box.editable;
      json["selected"] = box.GetCurSel();
      json["choices"] = ordered_json::array();
      for (size_t row = 0; row < box.RowCount(); ++row) json["choices"].push_back(box.RowText(row));
      break;
    }
    case ControlKind::Slider: {
      const auto& slider = static_cast<const CSliderCtrl&>(control);
      json["min"] = slider.GetRangeMin();
      json["max"] = slider.GetRangeMax();
      json["low"] = slider.lowLabel;
      json["high"] = slider.highLabel;
      break;
    }
    default:
      break;
  }
  return json;
}

}  // namespace

ordered_json DescribeWindow(const CDialog& dialog) {
  ordered_json controls = ordered_json::array();
  for (size_t i = 0; i < dialog.Controls().size(); ++i) controls.push_back(Describe(dialog, i));
  return controls;
}

std::uint64_t ValuesStamp(const CDialog& dialog) {
  std::string all;
  const auto add = [&all](std::string_view text) { (all += text) += '\0'; };
  for (const auto& control : dialog.Controls()) {
    switch (control->Kind()) {
      case ControlKind::ListBox:
        for (size_t row = 0; row < control->RowCount(); ++row) add(control->RowText(row));
        break;
      case ControlKind::ListView:
        for (const CListCtrl::Row& row : static_cast<const CListCtrl&>(*control).Rows()) {
          for (const std::string& cell : row.cells) add(cell);
          add(row.checked ? "1" : "0");
        }
        break;
      default:
        add(control->Value());
    }
  }
  return std::hash<std::string_view>()(all);
}

void AddStored(const CTesselPropertyPage& page, bool waits, ordered_json& controls) {
  // Of one that is new there is nothing that was.
  if ((!waits && !page.IsModified()) || page.m_shownStatus == ERROR_FILE_NOT_FOUND) return;
  const std::vector<std::string> shown = ShownValues(page);
  for (size_t i = 0; i < shown.size() && i < page.m_storedValues.size(); ++i) {
    if (const auto setting = CompareSetting(page, i, page.m_storedValues[i], shown[i])) {
      controls[i]["changed"] = ReviewJson(*setting);
    }
  }
}

}  // namespace web

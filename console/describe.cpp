#include "console/describe.h"

#include <algorithm>

#include "console/code_page.h"

using nlohmann::ordered_json;

namespace {

bool HoldsValue(const CWnd& control) {
  return control.Kind() != ControlKind::Group && control.Kind() != ControlKind::Text &&
         control.Kind() != ControlKind::Picture;
}

}  // namespace

std::string OneLine(std::string_view text) {
  std::string line;
  for (const char c : text) {
    if (c == '\r') continue;
    line += c == '\n' ? ' ' : c;
  }
  return line;
}

std::string AllOf(const std::vector<std::string>& names) {
  std::string list;
  for (size_t i = 0; i < names.size(); ++i) {
    if (i > 0) list += i + 1 == names.size() ? " and " : ", ";
    list += "\"" + names[i] + "\"";
  }
  return list;
}

ordered_json DescribeControl(const CDialog& dialog, size_t index) {
  const CWnd& control = *dialog.Controls()[index];
  ordered_json json;
  json["name"] = dialog.NameOf(index);
  json["caption"] = control.caption;
  json["kind"] = KindName(control.Kind());
  json["group"] = control.group < 0 ? "" : dialog.Controls()[static_cast<size_t>(control.group)]->caption;
  json["value"] = control.Value();
  json["enabled"] = control.IsWindowEnabled();
  json["visible"] = control.IsWindowVisible();
  json["storedAs"] = control.storedAs;
  if (control.RowCount() > 0) {
    ordered_json rows = ordered_json::array();
    for (size_t row = 0; row < control.RowCount(); ++row) {
      if (control.HasCheckBoxes()) {
        rows.push_back({{"text", control.RowText(row)}, {"checked", control.IsChecked(row)}});
      } else if (const auto* table = dynamic_cast<const CListCtrl*>(&control)) {
        rows.push_back(table->Rows()[row].cells);
      } else {
        rows.push_back(control.RowText(row));
      }
    }
    json["rows"] = std::move(rows);
  }
  return json;
}

ordered_json DescribeControls(const CDialog& dialog) {
  ordered_json controls = ordered_json::array();
  for (size_t i = 0; i < dialog.Controls().size(); ++i) {
    if (HoldsValue(*dialog.Controls()[i])) controls.push_back(DescribeControl(dialog, i));
  }
  return controls;
}

std::string PrintControls(const CDialog& dialog) {
  const auto& controls = dialog.Controls();
  size_t width = 0;
  for (size_t i = 0; i < controls.size(); ++i) {
    if (HoldsValue(*controls[i])) width = std::max(width, dialog.NameOf(i).size());
  }
  width = std::min<size_t>(width, 48);
  std::string text;
  const auto pad = [&text](std::string_view cell, size_t to) {
    text += cell;
    text.append(cell.size() < to ? to - cell.size() + 2 : 2, ' ');
  };
  for (size_t i = 0; i < controls.size(); ++i) {
    const CWnd& control = *controls[i];
    if (!HoldsValue(control) || !control.IsWindowVisible()) continue;
    text += "  ";
    pad(dialog.NameOf(i), width);
    pad(KindName(control.Kind()), 14);
    if (!control.HasCheckBoxes()) text += OneLine(control.Value());
    if (!control.IsWindowEnabled()) text += " (disabled)";
    text.erase(text.find_last_not_of(' ') + 1);
    text += '\n';
    const bool listed = control.HasCheckBoxes() || control.Kind() == ControlKind::ListBox ||
                        control.Kind() == ControlKind::ListView;
    for (size_t row = 0; listed && row < control.RowCount(); ++row) {
      text += "    ";
      if (control.HasCheckBoxes()) text += control.IsChecked(row) ? "[x] " : "[ ] ";
      text += control.RowText(row);
      if (const auto* table = dynamic_cast<const CListCtrl*>(&control); table && !table->checkBoxes) {
        for (size_t i = 1; i < table->columns.size(); ++i) text += "  " + table->GetItemText(row, i);
      }
      text += '\n';
    }
  }
  return text;
}

std::string DumpJson(const ordered_json& json) { return code_page::Dump(json, 2); }

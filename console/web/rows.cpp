#include "console/web/rows.h"

#include <algorithm>
#include <functional>
#include <string_view>

#include "platform/text.h"

using nlohmann::ordered_json;

namespace web {
namespace {

const CListCtrl* AsTable(const CWnd& control) {
  return control.Kind() == ControlKind::ListView ? static_cast<const CListCtrl*>(&control) : nullptr;
}

void Mix(std::uint64_t& stamp, std::uint64_t value) {
  constexpr std::uint64_t kPrime = 0x100000001B3;  // FNV's
  stamp = (stamp ^ value) * kPrime;
}

bool Holds(std::string_view text, const std::string& lowerNeedle) {
  return std::search(text.begin(), text.end(), lowerNeedle.begin(), lowerNeedle.end(),
                     [](char a, char b) { return text::LowerAscii(a) == b; }) != text.end();
}

bool RowHolds(const CWnd& control, size_t row, const std::string& lowerNeedle) {
  const CListCtrl* table = AsTable(control);
  if (table == nullptr) return Holds(control.RowText(row), lowerNeedle);
  const auto& cells = table->Rows()[row].cells;
  return std::any_of(cells.begin(), cells.end(),
                     [&](const std::string& cell) { return Holds(cell, lowerNeedle); });
}

}  // namespace

std::uint64_t RowsStamp(const CWnd& control) {
  constexpr std::hash<std::string_view> kHash;
  std::uint64_t stamp = control.RowCount();
  if (const CListCtrl* table = AsTable(control)) {
    for (const CListCtrl::Row& row : table->Rows()) {
      for (const std::string& cell : row.cells) Mix(stamp, kHash(cell));
      Mix(stamp, (row.checked ? 2U : 0U) | (row.selected ? 1U : 0U));
    }
  } else {
    for (size_t row = 0; row < control.RowCount(); ++row) Mix(stamp, kHash(control.RowText(row)));
  }
  // A number that JavaScript holds exactly.
  return stamp >> 12;
}

ordered_json DescribeRow(const CWnd& control, size_t row) {
  ordered_json json;
  json["row"] = row;
  if (const CListCtrl* table = AsTable(control)) {
    json["cells"] = table->Rows()[row].cells;
    json["selected"] = table->Rows()[row].selected;
    if (table->checkBoxes) json["checked"] = table->Rows()[row].checked;
  } else {
    json["cells"] = {control.RowText(row)};
    const auto& list = static_cast<const CListBase&>(control);
    json["selected"] = list.GetCurSel() == static_cast<std::ptrdiff_t>(row);
  }
  return json;
}

const std::vector<std::uint32_t>& RowCache::Matching(const CWnd& control, const std::string& filter,
                                                     RowOrder order) {
  const std::uint64_t stamp = RowsStamp(control);
  if (m_control == &control && m_stamp == stamp && m_filter == filter && m_order == order) return m_rows;
  m_control = &control;
  m_stamp = stamp;
  m_filter = filter;
  m_order = order;
  m_rows.clear();
  const std::string needle = text::Lower(filter);
  for (size_t row = 0; row < control.RowCount(); ++row) {
    if (needle.empty() || RowHolds(control, row, needle)) m_rows.push_back(static_cast<std::uint32_t>(row));
  }
  if (order == RowOrder::AsTheyStand) return m_rows;
  std::vector<std::string> texts(control.RowCount());
  for (const std::uint32_t row : m_rows) texts[row] = text::Lower(control.RowText(row));
  std::stable_sort(m_rows.begin(), m_rows.end(), [&texts, order](std::uint32_t a, std::uint32_t b) {
    return order == RowOrder::Rising ? texts[a] < texts[b] : texts[b] < texts[a];
  });
  return m_rows;
}

}  // namespace web

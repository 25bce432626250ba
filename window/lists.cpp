// The controls with rows.

#include <algorithm>

#include "platform/text.h"
#include "window/controls.h"
#include "window/dialog.h"

using text::Quoted;

void CListBase::AddString(std::string_view text) {
  // The selected row stays selected wherever the new one comes to stand.
  if (sorted && m_selected >= 0) {
    const auto& rows = Rows();
    const auto place = std::upper_bound(
        rows.begin(), rows.end(), text,
        [](std::string_view a, const std::string& b) { return text::CompareNoCase(a, b) < 0; });
    InsertString(static_cast<size_t>(place - rows.begin()), text);
    return;
  }
  m_rows.emplace_back(text);
  m_ordered = false;
}

void CListBase::InsertString(size_t row, std::string_view text) {
  Rows();
  m_rows.emplace(m_rows.begin() + static_cast<std::ptrdiff_t>(std::min(row, m_rows.size())), text);
  if (m_selected >= static_cast<std::ptrdiff_t>(row)) ++m_selected;
}

void CListBase::DeleteString(size_t row) {
  Rows();
  const auto position = static_cast<std::ptrdiff_t>(row);
  m_rows.erase(m_rows.begin() + position);
  if (m_selected == position) {
    m_selected = -1;
  } else if (m_selected > position) {
    --m_selected;
  }
}

void CListBase::ResetContent() {
  m_rows.clear();
  m_ordered = true;
  m_selected = -1;
}

const std::vector<std::string>& CListBase::Rows() const {
  if (!m_ordered) {
    m_ordered = true;
    const auto before = [](const std::string& a, const std::string& b) {
      return text::CompareNoCase(a, b) < 0;
    };
    if (sorted && !std::is_sorted(m_rows.begin(), m_rows.end(), before)) {
      std::stable_sort(m_rows.begin(), m_rows.end(), before);
    }
  }
  return m_rows;
}

std::ptrdiff_t CListBase::FindStringExact(std::string_view text) const {
  const auto& rows = Rows();
  const auto found = std::find_if(rows.begin(), rows.end(),
                                  [text](const std::string& row) { return text::EqualNoCase(row, text); });
  return found == rows.end() ? -1 : found - rows.begin();
}

std::ptrdiff_t CListBase::FindString(std::string_view start) const {
  const auto& rows = Rows();
  const auto found = std::find_if(rows.begin(), rows.end(), [start](std::string_view row) {
    return text::EqualNoCase(row.substr(0, start.size()), start);
  });
  return found == rows.end() ? -1 : found - rows.begin();
}

void CListBase::SetCurSel(std::ptrdiff_t row) {
  m_selected = row >= 0 && row < static_cast<std::ptrdiff_t>(Rows().size()) ? row : -1;
}

std::string CListBase::SelectedText() const {
  return m_selected < 0 ? std::string() : Rows()[static_cast<size_t>(m_selected)];
}

std::string CListBase::DoSelect(std::ptrdiff_t row, bool selected) {
  if (row >= static_cast<std::ptrdiff_t>(Rows().size())) return Quoted(Name()) + " has no such entry.";
  const std::ptrdiff_t wanted = selected ? row : -1;
  if (wanted == m_selected) return {};
  m_selected = wanted;
  Notify(Notice::SelectionChanged);
  return {};
}

std::string CListBase::DoPut(std::string_view value) {
  const std::ptrdiff_t row = FindStringExact(value);
  return row < 0 ? NoSuchRow(value) : DoSelect(row, true);
}

std::string CListBase::NoSuchRow(std::string_view text) const {
  const std::string name = Name().empty() ? "The list" : Quoted(Name());
  if (m_rows.empty()) return name + " is empty.";
  std::vector<std::string> near = NearestNames(text, Rows());
  if (near.empty() && m_rows.size() <= 8) near = Rows();
  return name + " has no entry " + Quoted(text) + (near.empty() ? "." : "; it has " + OneOf(near) + ".");
}

std::string CListBox::DoDoubleClick(std::ptrdiff_t row) {
  std::string refusal = DoSelect(row, true);
  if (refusal.empty()) Notify(Notice::DoubleClicked);
  return refusal;
}

void CComboBox::SetText(std::string_view text) {
  SetCurSel(FindStringExact(text));
  m_text = text;
}

std::string CComboBox::DoSelect(std::ptrdiff_t row, bool selected) {
  const std::ptrdiff_t before = GetCurSel();
  if (row >= 0 && row < static_cast<std::ptrdiff_t>(RowCount())) m_text = RowText(static_cast<size_t>(row));
  std::string refusal = CListBase::DoSelect(row, selected);
  // Choosing the selected row again still closes the list with a selection.
  if (refusal.empty() && before == GetCurSel()) Notify(Notice::SelectionChanged);
  return refusal;
}

std::string CComboBox::DoType(std::string_view text) {
  if (!editable) return NoSuchRow(text);
  for (const char c : text) {
    if (c < 0 || (c >= ' ' && c != 127)) m_text += c;  // control characters are keys
  }
  SetCurSel(-1);
  Notify(Notice::Changed);
  return {};
}

std::string CComboBox::DoEnter(std::string_view text) {
  if (!editable) return DoPut(text);
  m_text.clear();
  return DoType(text);
}

std::string CComboBox::DoPut(std::string_view value) {
  const std::ptrdiff_t row = FindStringExact(value);
  if (row >= 0) return DoSelect(row, true);
  return editable ? DoEnter(value) : NoSuchRow(value);
}

void CVSListBox::SetRows(const std::vector<std::string>& rows) {
  ResetContent();
  for (const std::string& row : rows) AddString(row);
}

std::vector<std::string> CVSListBox::GetRows() const {
  std::vector<std::string> rows;
  for (size_t row = 0; row < GetCount(); ++row) rows.push_back(GetRow(row));
  return rows;
}

std::string CVSListBox::Value() const { return text::Joined(GetRows(), ", "); }

std::string CVSListBox::DoEditRow(std::ptrdiff_t row, std::string_view typed) {
  const auto count = static_cast<std::ptrdiff_t>(GetCount());
  if (row < 0 || row > count) return Quoted(Name()) + " has no such entry.";
  std::string text(typed);
  if (!OnEndEditLabel(text)) return {};
  if (row < count) DeleteString(static_cast<size_t>(row));
  InsertString(static_cast<size_t>(row), text);
  SetCurSel(row);
  Notify(Notice::Changed);
  return {};
}

std::string CVSListBox::DoRemoveRow(std::ptrdiff_t row) {
  if (row < 0 || row >= static_cast<std::ptrdiff_t>(GetCount()))
    return Quoted(Name()) + " has no such entry.";
  DeleteString(static_cast<size_t>(row));
  Notify(Notice::Changed);
  return {};
}

// Row by row, as a person would; what the list does not take is told, and then nothing has changed.
std::string CVSListBox::DoPut(std::string_view value) {
  std::vector<std::string> rows;
  for (const std::string& piece : text::Split(value, ',')) {
    const size_t begin = piece.find_first_not_of(' ');
    if (begin == std::string::npos) continue;
    std::string row = piece.substr(begin, piece.find_last_not_of(' ') - begin + 1);
    if (!OnEndEditLabel(row)) return Quoted(Name()) + " does not take " + Quoted(piece.substr(begin)) + ".";
    rows.push_back(std::move(row));
  }
  if (rows == GetRows()) return {};
  SetRows(rows);
  Notify(Notice::Changed);
  return {};
}

const std::string& CListCtrl::GetItemText(size_t row, size_t column) const {
  static const std::string none;
  const auto& cells = m_rows[row].cells;
  return column < cells.size() ? cells[column] : none;
}

std::ptrdiff_t CListCtrl::GetSelected() const {
  const auto found = std::find_if(m_rows.begin(), m_rows.end(), [](const Row& row) { return row.selected; });
  return found == m_rows.end() ? -1 : found - m_rows.begin();
}

void CListCtrl::InsertItem(size_t row, std::vector<std::string> cells) {
  const auto position = static_cast<std::ptrdiff_t>(std::min(row, m_rows.size()));
  m_rows.insert(m_rows.begin() + position, Row{std::move(cells), false, false});
  Notify(Notice::ItemChanged);
}

void CListCtrl::SetItemText(size_t row, size_t column, std::string_view text) {
  auto& cells = m_rows[row].cells;
  if (cells.size() <= column) cells.resize(column + 1);
  cells[column] = text;
  Notify(Notice::ItemChanged);
}

void CListCtrl::SetCheck(size_t row, bool checked) {
  m_rows[row].checked = checked;
  Notify(Notice::ItemChanged);
}

void CListCtrl::SetSelected(size_t row, bool selected) {
  if (m_rows[row].selected == selected) return;
  if (selected && !multipleSelection) {
    for (Row& other : m_rows) other.selected = false;
  }
  m_rows[row].selected = selected;
  Notify(Notice::ItemChanged);
}

void CListCtrl::DeleteItem(size_t row) { m_rows.erase(m_rows.begin() + static_cast<std::ptrdiff_t>(row)); }

void CListCtrl::DeleteAllItems() { m_rows.clear(); }

std::string CListCtrl::Value() const {
  std::string value;
  for (const Row& row : m_rows) {
    if (!(checkBoxes ? row.checked : row.selected) || row.cells.empty()) continue;
    if (!value.empty()) value += ", ";
    value += row.cells.front();
  }
  return value;
}

std::string CListCtrl::DoSelect(std::ptrdiff_t row, bool selected) {
  if (row >= static_cast<std::ptrdiff_t>(m_rows.size())) return Quoted(Name()) + " has no such entry.";
  if (row < 0) {
    for (size_t i = 0; i < m_rows.size(); ++i) SetSelected(i, false);
  } else {
    SetSelected(static_cast<size_t>(row), selected);
  }
  return {};
}

std::string CListCtrl::DoCheck(std::ptrdiff_t row, bool checked) {
  if (!checkBoxes) return Quoted(Name()) + " has no check boxes.";
  if (row < 0 || row >= static_cast<std::ptrdiff_t>(m_rows.size()))
    return Quoted(Name()) + " has no such entry.";
  if (m_rows[static_cast<size_t>(row)].checked != checked) SetCheck(static_cast<size_t>(row), checked);
  return {};
}

std::string CListCtrl::DoDoubleClick(std::ptrdiff_t row) {
  std::string refusal = DoSelect(row, true);
  if (refusal.empty()) Notify(Notice::DoubleClicked);
  return refusal;
}

std::string CListCtrl::DoPut(std::string_view value) {
  for (size_t row = 0; row < m_rows.size(); ++row) {
    if (text::EqualNoCase(GetItemText(row), value)) return DoSelect(static_cast<std::ptrdiff_t>(row), true);
  }
  return Quoted(Name()) + " has no entry " + Quoted(value) + ".";
}

#include "window/controls.h"

#include <algorithm>
#include <charconv>
#include <chrono>

#include "platform/text.h"
#include "window/dialog.h"
#include "window/front_end.h"

namespace {

std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

// Nothing when the text is neither.
std::optional<bool> OnOff(std::string_view text) {
  if (text::EqualNoCase(text, "on") || text::EqualNoCase(text, "yes")) return true;
  if (text::EqualNoCase(text, "off") || text::EqualNoCase(text, "no")) return false;
  return std::nullopt;
}

std::optional<int> WholeNumber(std::string_view text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// The next typed character: one byte, or a whole UTF-8 sequence so that none is ever split.
std::string_view NextCharacter(std::string_view text) {
  size_t length = 1;
  if (static_cast<unsigned char>(text[0]) >= 0xC0) {
    while (length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) ++length;
  }
  return text.substr(0, length);
}

}  // namespace

std::string CButton::Value() const {
  if (Kind() == ControlKind::Button) return {};
  return m_checked ? "on" : "off";
}

std::string CButton::DoClick() {
  if (Kind() == ControlKind::CheckBox) m_checked = !m_checked;
  if (Kind() == ControlKind::RadioButton) {
    for (const auto& other : Parent()->Controls()) {
      if (other->Kind() != ControlKind::RadioButton) continue;
      auto& button = static_cast<CButton&>(*other);
      if (button.radioGroup == radioGroup) button.m_checked = &button == this;
    }
  }
  Notify(Notice::Clicked);
  return {};
}

std::string CButton::DoPut(std::string_view value) {
  if (Kind() == ControlKind::Button) return Quoted(Name()) + " is a button: press it instead.";
  const std::optional<bool> wanted = OnOff(value);
  if (!wanted) return Quoted(Name()) + " takes on or off, not " + Quoted(value) + ".";
  if (*wanted == m_checked) return {};
  if (!*wanted && Kind() == ControlKind::RadioButton) {
    return Quoted(Name()) + " goes off when another button of its group goes on.";
  }
  return DoClick();
}

void CEdit::SetText(std::string_view text) {
  m_text = text;
  if (!multiLine) Notify(Notice::Changed);
}

void CEdit::OnBadInput() { CurrentFrontEnd().Beep(); }

std::string CEdit::TextOf(std::string_view keys) const {
  std::string text;
  for (const char c : keys) {
    const bool isKey = (c >= 0 && c < ' ') || c == 127;
    if (!isKey || (multiLine && (c == '\r' || c == '\n' || c == '\t'))) text += c;
  }
  return multiLine ? text::Replaced(text::Replaced(text, "\r\n", "\n"), "\n", "\r\n") : text;
}

std::string CEdit::DoType(std::string_view text) {
  if (readOnly) return Quoted(Name()) + " can only be read.";
  TypeOver(TextOf(text), false);
  return {};
}

std::string CEdit::DoEnter(std::string_view typed) {
  if (readOnly) return Quoted(Name()) + " can only be read.";
  const std::string text = TextOf(typed);
  for (const char c : text) {
    if (Accepts(c) || multiLine) continue;
    return Quoted(Name()) + " takes " + Takes() + ", not " + Quoted(text) + ".";
  }
  if (maxLength != 0 && text.size() > maxLength) {
    return Quoted(Name()) + " takes at most " + std::to_string(maxLength) + " bytes, not " +
           std::to_string(text.size()) + ".";
  }
  TypeOver(text, true);
  LeaveFocus();
  return {};
}

void CEdit::TypeOver(std::string_view text, bool allSelected) {
  if (text.empty() && allSelected && !m_text.empty()) {
    m_text.clear();
    Notify(Notice::Changed);
  }
  // Lines come in as one insertion, like a paste: that is how a person brings in a text of many lines.
  if (multiLine) {
    if (text.empty()) return;
    m_text = allSelected ? std::string(text) : m_text.append(text);
    Notify(Notice::Changed);
    return;
  }
  while (!text.empty()) {
    const std::string_view character = NextCharacter(text);
    text.remove_prefix(character.size());
    const size_t before = allSelected ? 0 : m_text.size();
    if (!Accepts(character[0]) || (maxLength != 0 && before + character.size() > maxLength)) {
      OnBadInput();
      continue;
    }
    if (allSelected) m_text.clear();
    allSelected = false;
    m_text += character;
    Notify(Notice::Changed);
  }
}

// What stands between the unchanged beginning and end was typed or pasted; the rest is not looked at again.
std::string CEdit::DoRewrite(std::string_view text) {
  if (readOnly) return Quoted(Name()) + " can only be read.";
  const size_t shorter = std::min(text.size(), m_text.size());
  size_t head = 0;
  while (head < shorter && text[head] == m_text[head]) ++head;
  size_t tail = 0;
  while (tail < shorter - head && text[text.size() - 1 - tail] == m_text[m_text.size() - 1 - tail]) ++tail;
  const auto insideCharacter = [text](size_t at) {
    return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80;
  };
  while (head > 0 && insideCharacter(head)) --head;
  while (tail > 0 && insideCharacter(text.size() - tail)) --tail;
  std::string changed(text.substr(0, head));
  const std::string typed = TextOf(text.substr(head, text.size() - head - tail));
  for (std::string_view rest = typed; !rest.empty();) {
    const std::string_view character = NextCharacter(rest);
    rest.remove_prefix(character.size());
    const bool fits = maxLength == 0 || changed.size() + character.size() + tail <= maxLength;
    if (fits && (Accepts(character[0]) || multiLine)) {
      changed += character;
    } else {
      OnBadInput();
    }
  }
  changed += text.substr(text.size() - tail);
  // A line break may have been parted by what was typed.
  if (multiLine) changed = text::Replaced(text::Replaced(changed, "\r\n", "\n"), "\n", "\r\n");
  if (changed == m_text) return {};
  m_text = std::move(changed);
  Notify(Notice::Changed);
  return {};
}

std::string CEdit::DoSpin(int steps) {
  if (!spin) return Quoted(Name()) + " has no arrows.";
  const int now = WholeNumber(m_text).value_or(spin->min);
  const auto wanted = static_cast<long long>(now) + steps;
  SetText(std::to_string(std::clamp<long long>(wanted, spin->min, spin->max)));
  return {};
}

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

void CSliderCtrl::SetRange(int min, int max) {
  m_min = min;
  m_max = std::max(min, max);
  SetPos(m_position);
}

void CSliderCtrl::SetPos(int position) { m_position = std::clamp(position, m_min, m_max); }

std::string CSliderCtrl::DoDrag(int position) {
  SetPos(position);
  OnScroll(Scroll::ThumbTrack, m_position);
  return {};
}

std::string CSliderCtrl::DoPut(std::string_view value) {
  const std::optional<int> position = WholeNumber(value);
  if (!position || *position < m_min || *position > m_max) {
    return Quoted(Name()) + " takes a number from " + std::to_string(m_min) + " to " + std::to_string(m_max) +
           ", not " + Quoted(value) + ".";
  }
  return DoDrag(*position);
}

namespace {

bool IsDay(std::string_view text) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return false;
  const std::optional<int> year = WholeNumber(text.substr(0, 4));
  const std::optional<int> month = WholeNumber(text.substr(5, 2));
  const std::optional<int> day = WholeNumber(text.substr(8, 2));
  if (!year || !month || !day) return false;
  return std::chrono::year_month_day(std::chrono::year(*year),
                                     std::chrono::month(static_cast<unsigned>(*month)),
                                     std::chrono::day(static_cast<unsigned>(*day)))
      .ok();
}

}  // namespace

void CDateTimeCtrl::SetDate(std::string_view day) { m_day = IsDay(day) ? day : ""; }

std::string CDateTimeCtrl::DoPut(std::string_view value) {
  if (!value.empty() && !IsDay(value)) {
    return Quoted(Name()) + " takes a day such as \"2026-01-31\", not " + Quoted(value) + ".";
  }
  if (m_day == value) return {};
  m_day = value;
  Notify(Notice::Changed);
  return {};
}

std::string CIPAddressCtrl::Value() const {
  if (!m_address) return {};
  std::string value;
  for (const std::uint8_t part : *m_address) value += (value.empty() ? "" : ".") + std::to_string(part);
  return value;
}

std::string CIPAddressCtrl::DoPut(std::string_view value) {
  if (value.empty()) {
    m_address.reset();
    Notify(Notice::Changed);
    return {};
  }
  std::array<std::uint8_t, 4> address{};
  std::string_view rest = value;
  for (size_t i = 0; i < address.size(); ++i) {
    const size_t end = i + 1 < address.size() ? rest.find('.') : rest.size();
    const std::optional<int> part = WholeNumber(rest.substr(0, std::min(end, rest.size())));
    if (end == std::string_view::npos || !part || *part < 0 || *part > 255) {
      return Quoted(Name()) + " takes four numbers from 0 to 255 with dots between, not " + Quoted(value) +
             ".";
    }
    address[i] = static_cast<std::uint8_t>(*part);
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  m_address = address;
  Notify(Notice::Changed);
  return {};
}

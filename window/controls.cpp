#include "window/controls.h"

#include <algorithm>
#include <charconv>
#include <chrono>

#include "platform/text.h"
#include "window/dialog.h"
#include "window/front_end.h"

namespace {

using text::Quoted;

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

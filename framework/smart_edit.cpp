#include "framework/smart_edit.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr int kFloatScale = 1000;
constexpr size_t kLongestNumber = 512;

// The classes that a character belongs to.
std::uint16_t ClassesOf(char c) {
  if (c >= '0' && c <= '9') return 0x55;
  const char upper = c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c;
  if (upper == 'E') return 0x46;
  if ((upper >= 'A' && upper <= 'F') || upper == 'X') return 0x42;
  if (upper >= 'A' && upper <= 'Z') return 0x02;
  switch (c) {
    case '-':
      return 0x14;
    case '.':
      return 0x04;
    case '_':
      return 0x28;
    default:
      return 0x08;
  }
}

}  // namespace

bool CSmartEdit::Accepts(char c) const { return (ClassesOf(c) & m_charClasses) != 0; }

std::string CSmartEdit::Takes() const {
  if (m_charClasses == Anything) return "";
  std::string takes;
  const auto add = [&](std::uint16_t bit, std::string_view words) {
    if ((m_charClasses & bit) == 0) return;
    takes += takes.empty() ? "" : " and ";
    takes += words;
  };
  add(Digits, "digits");
  add(Letters, "letters");
  add(FloatingNumber, "decimal numbers");
  add(OtherPrintable, "signs");
  add(SignedInteger, "\"-\"");
  add(Underscore, "\"_\"");
  add(HexadecimalNumber, "hexadecimal digits");
  return takes + " only";
}

void CSmartEdit::SetSlaveSlider(CLinkSlider& slider) {
  m_slider = &slider;
  slider.m_edit = this;
}

void CSmartEdit::SetRange(int min, int max, int steps) {
  m_isFloat = false;
  m_min = min;
  m_max = max;
  m_span = max - min + 1;
  m_steps = steps;
  m_format = "%d";
  m_charClasses = min < 0 ? Digits | SignedInteger : Digits;
  if (m_slider == nullptr) return;
  m_slider->SetRange(min, max);
  m_slider->SetTicFreq(m_span / steps);
}

void CSmartEdit::SetRange(double min, double max, int steps, std::string_view format) {
  m_isFloat = true;
  m_min = 0;
  m_max = kFloatScale;
  m_span = kFloatScale;
  m_steps = steps;
  m_floatMin = min;
  m_floatMax = max;
  m_floatSpan = max - min;
  m_format = format;
  m_charClasses = FloatingNumber;
  if (m_slider == nullptr) return;
  m_slider->SetRange(0, kFloatScale);
  m_slider->SetTicFreq(kFloatScale / steps);
}

int CSmartEdit::SetValue(int value) {
  if (m_isFloat || value < m_min || value > m_max) return 0;
  m_value = value;
  SetText(std::to_string(value));
  return 1;
}

int CSmartEdit::SetValue(double value) {
  if (!m_isFloat || value < m_floatMin || value > m_floatMax) return 0;
  m_floatValue = value;
  m_value = static_cast<int>(m_span * (value - m_floatMin) / m_floatSpan);
  char text[kLongestNumber];
  std::snprintf(text, sizeof text, m_format.c_str(), value);
  SetText(text);
  return 1;
}

void CSmartEdit::DoLeaveFocus() {
  if (m_slider == nullptr) return;
  const std::string text = GetText().substr(0, kLongestNumber);
  bool outside = false;
  if (m_isFloat) {
    const double typed = std::atof(text.c_str());
    m_floatValue = std::clamp(typed, m_floatMin, m_floatMax);
    outside = m_floatValue != typed;
    m_value = static_cast<int>(m_span * (m_floatValue - m_floatMin) / m_floatSpan);
  } else {
    const long typed = std::strtol(text.c_str(), nullptr, 10);
    m_value = static_cast<int>(std::clamp<long>(typed, m_min, m_max));
    outside = m_value != typed;
  }
  if (outside) OnBadInput();
  PlaceSlider();
  if (!outside) return;
  if (m_isFloat) {
    SetValue(m_floatValue);
  } else {
    SetValue(m_value);
  }
}

void CSmartEdit::PlaceSlider() { m_slider->SetPos(m_slider->vertical ? m_min + m_max - m_value : m_value); }

void CSmartEdit::FollowSlider(int position) {
  if (position == m_value) return;
  if (m_isFloat) {
    SetValue(position * m_floatSpan / kFloatScale + m_floatMin);
    m_value = position;
  } else {
    SetValue(position);
  }
}

void CLinkSlider::OnScroll(Scroll code, int position) {
  if (code != Scroll::ThumbTrack) position = GetPos();
  position = std::clamp(position, GetRangeMin(), GetRangeMax());
  m_position = vertical ? GetRangeMin() + GetRangeMax() - position : position;
  if (m_edit != nullptr) m_edit->FollowSlider(m_position);
}

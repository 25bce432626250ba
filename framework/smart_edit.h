#pragma once

// An edit that filters keys and keeps a number within a range, and a slider tied to it so that each follows
// the other.

#include <cstdint>
#include <limits>
#include <string>

#include "window/controls.h"

class CLinkSlider;

class CSmartEdit : public CEdit {
 public:
  // What a typed character may be; an edit accepts a set of these.
  enum CharClass : std::uint16_t {
    Digits = 1,
    Letters = 2,
    FloatingNumber = 4,  // digits, "E", "-" and "."
    OtherPrintable = 8,  // and "_"
    SignedInteger = 16,  // digits and "-"
    Underscore = 32,
    HexadecimalNumber = 64,  // digits, "A" to "F", "X"
    Anything = 0xFFFF,
  };

  // Ties edit and slider, in both directions. The slider outlives the edit's use of it.
  void SetSlaveSlider(CLinkSlider& slider);
  // Whole numbers from `min` to `max`; `steps` (at least 1) slider steps to a tick.
  void SetRange(int min, int max, int steps);
  // Floating numbers, shown through the printf format; the slider runs from 0 to 1000.
  void SetRange(double min, double max, int steps, std::string_view format);
  // Shows a value of the mode in force, within its range: 1. Anything else changes nothing: 0.
  int SetValue(int value);
  int SetValue(double value);
  void SetCharClasses(std::uint16_t mask) { m_charClasses = mask; }

  std::string Takes() const override;

 protected:
  bool Accepts(char c) const override;
  void DoLeaveFocus() override;

 private:
  friend class CLinkSlider;
  void FollowSlider(int position);
  void PlaceSlider();

  std::uint16_t m_charClasses = Anything;
  CLinkSlider* m_slider = nullptr;
  std::string m_format = "%d";
  int m_steps = 1;
  bool m_isFloat = false;
  int m_min = 0;
  int m_max = 0;
  int m_value = std::numeric_limits<int>::min();  // none yet
  int m_span = 1;
  double m_floatMin = 0;
  double m_floatMax = 0;
  double m_floatValue = 0;
  double m_floatSpan = 0;
};

class CLinkSlider : public CSliderCtrl {
 public:
  bool vertical = false;  // the top stands for the highest number

 protected:
  void OnScroll(Scroll code, int position) override;

 private:
  friend class CSmartEdit;
  CSmartEdit* m_edit = nullptr;
  int m_position = 0;
};

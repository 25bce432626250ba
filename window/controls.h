#pragma once

// The control classes as models. What a person changes notifies the dialog; what code changes notifies it
// where Windows does: the text of a single-line edit, and the rows of a list view.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "window/wnd.h"

// A fixed text, the caption of a group, or a picture.
class CStatic : public CWnd {
 public:
  explicit CStatic(ControlKind kind = ControlKind::Text) : CWnd(kind) {}

  std::string image;  // the name of a picture, which front ends know
};

// A push button, check box or radio button. Radio buttons of one `radioGroup` exclude each other.
class CButton : public CWnd {
 public:
  explicit CButton(ControlKind kind = ControlKind::Button) : CWnd(kind) {}

  int radioGroup = 0;
  bool isDefault = false;  // Enter presses it, wherever the focus is

  bool GetCheck() const { return m_checked; }
  // Does not notify, and leaves the other radio buttons of the group alone.
  void SetCheck(bool checked) { m_checked = checked; }

  std::string Value() const override;

 protected:
  std::string DoClick() override;
  std::string DoPut(std::string_view value) override;

 private:
  bool m_checked = false;
};

class CEdit : public CWnd {
 public:
  struct Range {
    int min;
    int max;
  };

  CEdit() : CWnd(ControlKind::Edit) {}

  bool digitsOnly = false;    // drops other keys, as ES_NUMBER does
  bool multiLine = false;     // lines end in CR LF
  bool readOnly = false;      // takes no keys
  bool password = false;      // front ends do not show it
  size_t maxLength = 0;       // bytes that a person can bring in, as EM_LIMITTEXT says; 0 for any number
  std::optional<Range> spin;  // up and down arrows beside the edit

  const std::string& GetText() const { return m_text; }
  // Notifies Changed for a single-line edit, as Windows does; a multi-line edit stays silent.
  void SetText(std::string_view text);

  // What the edit takes, for a person: "digits only"; empty when it takes anything.
  virtual std::string Takes() const { return digitsOnly ? "digits only" : ""; }

  std::string Value() const override { return m_text; }

 protected:
  // Whether a typed character may go in. `c` is the first byte of a multi-byte character, and no control
  // character: those are keys.
  virtual bool Accepts(char c) const { return !digitsOnly || (c >= '0' && c <= '9'); }
  // Runs for each character that was dropped; beeps.
  virtual void OnBadInput();

  std::string DoType(std::string_view text) override;
  std::string DoEnter(std::string_view text) override;
  std::string DoRewrite(std::string_view text) override;
  std::string DoSpin(int steps) override;
  std::string DoPut(std::string_view value) override { return DoEnter(value); }

 private:
  void TypeOver(std::string_view text, bool allSelected);
  // What of a text that is typed or pasted is text here: a single-line edit knows no line breaks and tabs.
  std::string TextOf(std::string_view keys) const;
  std::string m_text;
};

// Rows of text that code adds and a person selects one of.
class CListBase : public CWnd {
 public:
  using CWnd::CWnd;

  bool sorted = false;  // by text, without case

  void AddString(std::string_view text);
  void InsertString(size_t row, std::string_view text);
  void DeleteString(size_t row);
  void ResetContent();
  size_t GetCount() const { return m_rows.size(); }
  const std::string& GetRow(size_t row) const { return Rows()[row]; }
  // The row with this text, without case as Windows compares; -1 for none.
  std::ptrdiff_t FindStringExact(std::string_view text) const;
  // The first row that begins with this text, without case; -1 for none.
  std::ptrdiff_t FindString(std::string_view start) const;

  std::ptrdiff_t GetCurSel() const { return m_selected; }
  void SetCurSel(std::ptrdiff_t row);  // out of range: no selection; does not notify
  std::string SelectedText() const;    // empty for none

  std::string Value() const override { return SelectedText(); }
  size_t RowCount() const override { return m_rows.size(); }
  std::string_view RowText(size_t row) const override { return Rows()[row]; }

 protected:
  std::string DoSelect(std::ptrdiff_t row, bool selected) override;
  std::string DoPut(std::string_view value) override;
  std::string NoSuchRow(std::string_view text) const;

 private:
  const std::vector<std::string>& Rows() const;

  // A sorted list is brought into order when it is next looked at, so that filling it is not quadratic.
  mutable std::vector<std::string> m_rows;
  mutable bool m_ordered = true;
  std::ptrdiff_t m_selected = -1;
};

class CListBox : public CListBase {
 public:
  CListBox() : CListBase(ControlKind::ListBox) {}

 protected:
  std::string DoDoubleClick(std::ptrdiff_t row) override;
};

// A drop-down list; `editable` lets a person type a text that is no row.
class CComboBox : public CListBase {
 public:
  CComboBox() : CListBase(ControlKind::ComboBox) {}

  bool editable = false;

  std::string GetText() const { return editable ? m_text : SelectedText(); }
  // Shows the text; a list that is not editable selects its row, or none if there is no such row.
  void SetText(std::string_view text);

  std::string Value() const override { return GetText(); }

 protected:
  std::string DoSelect(std::ptrdiff_t row, bool selected) override;
  std::string DoType(std::string_view text) override;
  std::string DoEnter(std::string_view text) override;
  std::string DoRewrite(std::string_view text) override { return DoEnter(text); }
  std::string DoPut(std::string_view value) override;

 private:
  std::string m_text;
};

// A list whose rows a person types, adds and removes in place.
class CVSListBox : public CListBase {
 public:
  CVSListBox() : CListBase(ControlKind::EditableList) {}

  void SetRows(const std::vector<std::string>& rows);  // does not notify
  std::vector<std::string> GetRows() const;

  // The rows, joined by ", "; Put takes them likewise.
  std::string Value() const override;

 protected:
  // A person has typed a row's text, which this may change; false keeps the old one, or makes no new row.
  virtual bool OnEndEditLabel(std::string&) { return true; }

  std::string DoEditRow(std::ptrdiff_t row, std::string_view text) override;
  std::string DoRemoveRow(std::ptrdiff_t row) override;
  std::string DoPut(std::string_view value) override;
};

// A list view: rows of cells under columns, with one or more selected, optionally with check boxes.
class CListCtrl : public CWnd {
 public:
  struct Column {
    std::string title;
    int width = 0;  // pixels, as a hint of the proportions
  };
  struct Row {
    std::vector<std::string> cells;
    bool checked = false;
    bool selected = false;
  };

  CListCtrl() : CWnd(ControlKind::ListView) {}

  bool checkBoxes = false;
  bool multipleSelection = false;
  std::vector<Column> columns;

  const std::vector<Row>& Rows() const { return m_rows; }
  size_t GetItemCount() const { return m_rows.size(); }
  const std::string& GetItemText(size_t row, size_t column = 0) const;
  bool GetCheck(size_t row) const { return m_rows[row].checked; }
  std::ptrdiff_t GetSelected() const;  // the first selected row, -1 for none

  // These notify ItemChanged, also while code fills the list, as Windows does.
  void InsertItem(size_t row, std::vector<std::string> cells);
  void SetItemText(size_t row, size_t column, std::string_view text);
  void SetCheck(size_t row, bool checked);
  void SetSelected(size_t row, bool selected);
  // These do not.
  void DeleteItem(size_t row);
  void DeleteAllItems();

  // The selected rows' first cells, joined by ", ".
  std::string Value() const override;
  size_t RowCount() const override { return m_rows.size(); }
  std::string_view RowText(size_t row) const override { return GetItemText(row); }
  bool HasCheckBoxes() const override { return checkBoxes; }
  bool IsChecked(size_t row) const override { return m_rows[row].checked; }

 protected:
  std::string DoSelect(std::ptrdiff_t row, bool selected) override;
  std::string DoCheck(std::ptrdiff_t row, bool checked) override;
  std::string DoDoubleClick(std::ptrdiff_t row) override;
  std::string DoPut(std::string_view value) override;

 private:
  std::vector<Row> m_rows;
};

class CSliderCtrl : public CWnd {
 public:
  // The request codes of WM_HSCROLL and WM_VSCROLL (winuser.h) that a slider acts on.
  enum class Scroll : int { PageUp = 2, PageDown = 3, ThumbTrack = 5 };

  CSliderCtrl() : CWnd(ControlKind::Slider) {}

  std::string lowLabel;
  std::string highLabel;

  void SetRange(int min, int max);
  void SetPos(int position);  // clamped; does not notify
  void SetTicFreq(int frequency) { m_tickFrequency = frequency; }
  int GetPos() const { return m_position; }
  int GetRangeMin() const { return m_min; }
  int GetRangeMax() const { return m_max; }
  int GetTicFreq() const { return m_tickFrequency; }

  std::string Value() const override { return std::to_string(m_position); }

 protected:
  // The reflected scroll message; `position` counts with ThumbTrack only.
  virtual void OnScroll(Scroll, int) {}

  std::string DoDrag(int position) override;
  std::string DoPut(std::string_view value) override;

 private:
  int m_min = 0;
  int m_max = 100;
  int m_position = 0;
  int m_tickFrequency = 1;
};

// A day, or none.
class CDateTimeCtrl : public CWnd {
 public:
  CDateTimeCtrl() : CWnd(ControlKind::Date) {}

  // "2026-01-31"; any other text is no day. Does not notify.
  void SetDate(std::string_view day);
  std::string Value() const override { return m_day; }

 protected:
  std::string DoEnter(std::string_view text) override { return DoPut(text); }
  std::string DoPut(std::string_view value) override;

 private:
  std::string m_day;
};

// Four numbers of an IPv4 address; blank until it is filled.
class CIPAddressCtrl : public CWnd {
 public:
  CIPAddressCtrl() : CWnd(ControlKind::Address) {}

  bool IsBlank() const { return !m_address; }
  std::array<std::uint8_t, 4> GetAddress() const { return m_address.value_or(std::array<std::uint8_t, 4>{}); }
  void SetAddress(std::array<std::uint8_t, 4> address) { m_address = address; }
  void ClearAddress() { m_address.reset(); }

  std::string Value() const override;

 protected:
  std::string DoEnter(std::string_view text) override { return DoPut(text); }
  std::string DoPut(std::string_view value) override;

 private:
  std::optional<std::array<std::uint8_t, 4>> m_address;
};

#pragma once

// The base of the window classes. A window class here is a model: it holds what a control shows and knows
// nothing of how it is drawn. A front end draws it and hands a person's acts to it.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

class CDialog;

enum class ControlKind : unsigned char {
  Text,
  Link,
  Picture,
  Group,
  Button,
  CheckBox,
  RadioButton,
  Edit,
  ListBox,
  ListView,
  ComboBox,
  Slider,
  Address,
  Date,
  EditableList,
};

// The kind's name as the console prints it, for example "check box".
std::string_view KindName(ControlKind kind);

// What a control tells its dialog after it has changed.
enum class Notice : unsigned char {
  Clicked,
  Changed,
  SelectionChanged,
  DoubleClicked,
  ItemChanged,
  FocusLost,
};

// What came of a person's act: empty when it was done, else one sentence that says why not. An act that is
// refused has changed nothing.
struct Act {
  std::string refusal;
  explicit operator bool() const { return refusal.empty(); }
};

class CWnd {
 public:
  explicit CWnd(ControlKind kind) : m_kind(kind) {}
  virtual ~CWnd() = default;
  CWnd(const CWnd&) = delete;
  CWnd& operator=(const CWnd&) = delete;

  ControlKind Kind() const { return m_kind; }

  std::string caption;    // The control's label; may be empty inside a group, whose caption then names it.
  std::string enabledBy;  // The quoted names of the controls that enable it and disable it.
  std::string storedAs;   // Names of the stored values that the control edits, joined by ", "; for searches.
  int group = -1;         // Index of the enclosing group in the dialog's controls, -1 for none.

  void EnableWindow(bool enable) { m_enabled = enable; }
  bool IsWindowEnabled() const { return m_enabled; }
  void ShowWindow(bool show) { m_visible = show; }
  bool IsWindowVisible() const { return m_visible; }

  // A person's acts. A disabled or hidden control takes none, whichever front end asks. Rows count from 0.
  Act Click();
  Act Type(std::string_view text);     // keys, one after another, behind what is there
  Act Enter(std::string_view text);    // select everything, type over it, leave
  Act Rewrite(std::string_view text);  // one change of the text, wherever in it; stays there
  Act Select(std::ptrdiff_t row, bool selected = true);  // -1 takes the selection away
  Act Check(std::ptrdiff_t row, bool checked);
  Act DoubleClick(std::ptrdiff_t row);
  Act EditRow(std::ptrdiff_t row, std::string_view text);  // a row behind the last one is a new one
  Act RemoveRow(std::ptrdiff_t row);
  Act Drag(int position);
  Act Spin(int steps);
  Act LeaveFocus();

  // Does what a person would do to bring the control to `value`: on, off, yes or no for a box, a row's text
  // for a list, keys for an edit.
  Act Put(std::string_view value);

  // What a person or a script calls the control: CDialog::NameOf.
  std::string Name() const;

  // The value as Put takes it, and as the console prints it.
  virtual std::string Value() const { return {}; }

  // Rows of lists; empty for other controls.
  virtual size_t RowCount() const { return 0; }
  virtual std::string_view RowText(size_t) const { return {}; }
  // A list whose rows have check boxes of their own.
  virtual bool HasCheckBoxes() const { return false; }
  virtual bool IsChecked(size_t) const { return false; }

 protected:
  // Each returns a refusal, empty when the act was done. The default refuses: the control has no such act.
  virtual std::string DoClick() { return NoSuchAct(); }
  virtual std::string DoType(std::string_view) { return NoSuchAct(); }
  virtual std::string DoEnter(std::string_view) { return NoSuchAct(); }
  virtual std::string DoRewrite(std::string_view) { return NoSuchAct(); }
  virtual std::string DoSelect(std::ptrdiff_t, bool) { return NoSuchAct(); }
  virtual std::string DoCheck(std::ptrdiff_t, bool) { return NoSuchAct(); }
  virtual std::string DoDoubleClick(std::ptrdiff_t) { return NoSuchAct(); }
  virtual std::string DoEditRow(std::ptrdiff_t, std::string_view) { return NoSuchAct(); }
  virtual std::string DoRemoveRow(std::ptrdiff_t) { return NoSuchAct(); }
  virtual std::string DoDrag(int) { return NoSuchAct(); }
  virtual std::string DoSpin(int) { return NoSuchAct(); }
  virtual void DoLeaveFocus() {}
  virtual std::string DoPut(std::string_view) { return NoSuchAct(); }

  // Tells the dialog, unless the dialog is filling its controls.
  void Notify(Notice notice);
  CDialog* Parent() const { return m_parent; }

 private:
  friend class CDialog;
  template <class Doing>
  Act Try(Doing doing);
  std::string NoSuchAct() const;

  ControlKind m_kind;
  CDialog* m_parent = nullptr;
  bool m_enabled = true;
  bool m_visible = true;
};

#include "window/wnd.h"

#include "window/dialog.h"

std::string_view KindName(ControlKind kind) {
  switch (kind) {
    case ControlKind::Text:
      return "text";
    case ControlKind::Link:
      return "link";
    case ControlKind::Picture:
      return "picture";
    case ControlKind::Group:
      return "group";
    case ControlKind::Button:
      return "button";
    case ControlKind::CheckBox:
      return "check box";
    case ControlKind::RadioButton:
      return "radio button";
    case ControlKind::Edit:
      return "edit";
    case ControlKind::ListBox:
      return "list";
    case ControlKind::ListView:
      return "table";
    case ControlKind::ComboBox:
      return "drop-down list";
    case ControlKind::Slider:
      return "slider";
    case ControlKind::Address:
      return "address";
    case ControlKind::Date:
      return "date";
    case ControlKind::EditableList:
      return "editable list";
  }
  return {};
}

template <class Doing>
Act CWnd::Try(Doing doing) {
  if (!m_visible) return {"\"" + Name() + "\" is not shown."};
  if (!m_enabled)
    return {"\"" + Name() + "\" is disabled" +
            (enabledBy.empty() ? "." : ": it depends on " + enabledBy + ".")};
  return {doing()};
}

Act CWnd::Click() {
  return Try([&] { return DoClick(); });
}
Act CWnd::Type(std::string_view text) {
  return Try([&] { return DoType(text); });
}
Act CWnd::Enter(std::string_view text) {
  return Try([&] { return DoEnter(text); });
}
Act CWnd::Rewrite(std::string_view text) {
  return Try([&] { return DoRewrite(text); });
}
Act CWnd::Select(std::ptrdiff_t row, bool selected) {
  return Try([&] { return DoSelect(row, selected); });
}
Act CWnd::Check(std::ptrdiff_t row, bool checked) {
  return Try([&] { return DoCheck(row, checked); });
}
Act CWnd::DoubleClick(std::ptrdiff_t row) {
  return Try([&] { return DoDoubleClick(row); });
}
Act CWnd::EditRow(std::ptrdiff_t row, std::string_view text) {
  return Try([&] { return DoEditRow(row, text); });
}
Act CWnd::RemoveRow(std::ptrdiff_t row) {
  return Try([&] { return DoRemoveRow(row); });
}
Act CWnd::Drag(int position) {
  return Try([&] { return DoDrag(position); });
}
Act CWnd::Spin(int steps) {
  return Try([&] { return DoSpin(steps); });
}
Act CWnd::Put(std::string_view value) {
  return Try([&] { return DoPut(value); });
}

// Focus leaves a control also when its own handler has just disabled it.
Act CWnd::LeaveFocus() {
  DoLeaveFocus();
  Notify(Notice::FocusLost);
  return {};
}

void CWnd::Notify(Notice notice) {
  if (m_parent != nullptr && !m_parent->IsFilling()) m_parent->OnControl(*this, notice);
}

std::string CWnd::NoSuchAct() const {
  return "\"" + Name() + "\" can't be used that way: it is of the kind \"" + std::string(KindName(m_kind)) +
         "\".";
}

std::string CWnd::Name() const { return m_parent != nullptr ? m_parent->NameOf(*this) : caption; }

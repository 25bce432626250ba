#pragma once

// A page or dialog as a table: one row a control, with what it shows of the owner's record and what else is
// true of it. The form makes the controls, fills them from a record and reads them back; only what is
// particular to one page stands in that page's own functions.

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <span>
#include <string_view>
#include <variant>
#include <vector>

#include "framework/smart_edit.h"
#include "framework/static_link.h"
#include "platform/text.h"
#include "window/dialog.h"

// A field of a record, as a control or a stored value names it.
template <class Record>
using Field = std::variant<std::monostate, bool Record::*, CString Record::*>;

// One row of a list that stands for two flags of the record.
struct Choice {
  std::string_view text;
  bool first;
  bool second;
};

// When a control's enabling follows the flag that governs it. A click of that flag's box always counts.
enum class Enabling : unsigned char {
  ShownAndClicked,    // also whenever a record is shown
  Clicked,            // at clicks alone: showing a record leaves the control as it stands
  DisabledWhenShown,  // showing a record may disable the control but never enables it
};

template <class Owner, class Record>
struct Row {
  using Handler = void (Owner::*)();

  enum class Kind : unsigned char {
    Text,
    Group,
    EndGroup,
    Button,
    CheckBox,
    Edit,
    NumberEdit,
    Slider,
    ListBox,
    CheckList,
    ListView,
    ComboBox,
    ChoiceList,
    Address,
    Link,
  };

  Kind kind = Kind::Text;
  std::string_view caption;
  Field<Record> field{};

  bool Record::*secondFlag = nullptr;        // the other flag of a list that stands for two
  std::span<const Choice> choices{};         // its rows
  std::span<const std::string_view> rows{};  // rows of a list, or columns of a list view
  std::span<const int> widths{};             // of the columns
  std::string_view text{};                   // what a text that can only be read holds from the start
  bool digitsOnly = false;
  bool multiLine = false;
  bool readOnly = false;
  bool hidden = false;
  bool sorted = false;
  bool editable = false;
  bool ranged = false;  // min and max bound a number edit and its slider, or an edit's arrows
  int min = 0;
  int max = 0;
  bool Record::*governor = nullptr;  // the flag that enables the control
  bool governedBy = true;            // the flag's value that does
  Enabling enabling = Enabling::ShownAndClicked;
  Handler handler = nullptr;  // runs instead of the common change handler

  constexpr Row DigitsOnly() const { return With(&Row::digitsOnly, true); }
  constexpr Row MultiLine() const { return With(&Row::multiLine, true); }
  constexpr Row ReadOnly() const { return With(&Row::readOnly, true); }
  constexpr Row Hidden() const { return With(&Row::hidden, true); }
  constexpr Row Sorted() const { return With(&Row::sorted, true); }
  constexpr Row Editable() const { return With(&Row::editable, true); }
  constexpr Row Range(int low, int high) const {
    return With(&Row::ranged, true).With(&Row::min, low).With(&Row::max, high);
  }
  constexpr Row EnabledBy(bool Record::*flag, Enabling when = Enabling::ShownAndClicked) const {
    return With(&Row::governor, flag).With(&Row::enabling, when);
  }
  constexpr Row DisabledBy(bool Record::*flag) const { return EnabledBy(flag).With(&Row::governedBy, false); }
  constexpr Row On(Handler function) const { return With(&Row::handler, function); }

 private:
  template <class Value>
  constexpr Row With(Value Row::*member, Value value) const {
    Row copy = *this;
    copy.*member = value;
    return copy;
  }
};

// The rows, as a page's table names them.
template <class Owner, class Record>
struct Rows {
  using R = Row<Owner, Record>;
  using Kind = typename R::Kind;
  static constexpr R Make(Kind kind, std::string_view caption, Field<Record> field = {}) {
    return R{.kind = kind, .caption = caption, .field = field};
  }
  static constexpr R Note(std::string_view text) { return Make(Kind::Text, text); }
  static constexpr R Group(std::string_view caption) { return Make(Kind::Group, caption); }
  static constexpr R EndGroup() { return Make(Kind::EndGroup, {}); }
  static constexpr R Button(std::string_view caption, typename R::Handler handler) {
    return Make(Kind::Button, caption).On(handler);
  }
  static constexpr R CheckBox(std::string_view caption, bool Record::*field) {
    return Make(Kind::CheckBox, caption, field);
  }
  static constexpr R Edit(std::string_view caption, CString Record::*field) {
    return Make(Kind::Edit, caption, field);
  }
  // One whose text no field holds.
  static constexpr R Edit(std::string_view caption) { return Make(Kind::Edit, caption); }
  // Several lines that can only be read and selected.
  static constexpr R ReadOnlyText(std::string_view text) {
    R row = Make(Kind::Edit, {}).MultiLine().ReadOnly();
    row.text = text;
    return row;
  }
  // An edit of one whole number; a Slider row that follows is tied to it.
  static constexpr R NumberEdit(std::string_view caption, CString Record::*field) {
    return Make(Kind::NumberEdit, caption, field);
  }
  static constexpr R Slider(std::string_view caption) { return Make(Kind::Slider, caption); }
  static constexpr R List(std::string_view caption) { return Make(Kind::ListBox, caption); }
  // A list view with a check box a row; the page fills and reads it, and `field` names what it edits.
  static constexpr R CheckList(std::string_view caption, CString Record::*field) {
    return Make(Kind::CheckList, caption, field);
  }
  static constexpr R Table(std::string_view caption, std::span<const std::string_view> columns,
                           std::span<const int> widths = {}) {
    R row = Make(Kind::ListView, caption);
    row.rows = columns;
    row.widths = widths;
    return row;
  }
  static constexpr R DropDown(std::string_view caption, CString Record::*field,
                              std::span<const std::string_view> rows) {
    R row = Make(Kind::ComboBox, caption, field);
    row.rows = rows;
    return row;
  }
  // One whose selection no field holds.
  static constexpr R DropDown(std::string_view caption, std::span<const std::string_view> rows) {
    R row = Make(Kind::ComboBox, caption);
    row.rows = rows;
    return row;
  }
  // A drop-down list that stands for two flags. It writes the record only when a person chooses a row, so a
  // pair that no row holds stays as it is stored.
  static constexpr R ChoiceList(std::string_view caption, bool Record::*first, bool Record::*second,
                                std::span<const Choice> choices) {
    R row = Make(Kind::ChoiceList, caption, first);
    row.secondFlag = second;
    row.choices = choices;
    return row;
  }
  static constexpr R Address(std::string_view caption) { return Make(Kind::Address, caption); }
  static constexpr R Link(std::string_view caption) { return Make(Kind::Link, caption); }
};

template <class Owner, class Record>
class Form {
 public:
  using R = Row<Owner, Record>;
  using Kind = typename R::Kind;

  // Makes a control for each row. Rows live as long as the program: tables are constants.
  void Build(CDialog& dialog, std::span<const R> rows);

  // Puts the record's fields on the screen. The caller keeps the dialog from hearing of it.
  void Show(const Record& record);
  // Copies what the screen holds into the fields of their controls.
  void Read(Record& record) const;
  // Ties sliders to their edits and gives both the edit's number, after a record was shown.
  void ShowNumbers();
  // Applies the enabling rules of a record that was shown.
  void EnableShown(const Record& record);
  // Applies the enabling rules of the flag that a person has just clicked at `control`.
  void EnableClicked(const CWnd& control, const Record& record);
  // Takes a person's choice in a list that stands for two flags into the record.
  void TakeChoice(const CWnd& control, Record& record) const;

  // The control's row; null if the form did not make it.
  const R* RowOf(const CWnd& control) const;
  // The control with this caption. It must exist and be of this class: the table that names it says so.
  template <class Control>
  Control& Get(std::string_view caption) const;

  // For each control, the field or fields that it edits.
  template <class Visit>
  void EachField(Visit visit) const;

 private:
  struct Entry {
    CWnd* control;
    const R* row;
  };
  static std::unique_ptr<CWnd> MakeControl(const R& row);
  static void Enable(const Entry& entry, const Record& record) {
    entry.control->EnableWindow(record.*entry.row->governor == entry.row->governedBy);
  }

  std::vector<Entry> m_entries;
};

template <class Owner, class Record>
std::unique_ptr<CWnd> Form<Owner, Record>::MakeControl(const R& row) {
  const auto edit = [&row](std::unique_ptr<CEdit> control) {
    control->digitsOnly = row.digitsOnly;
    control->multiLine = row.multiLine;
    control->readOnly = row.readOnly;
    return control;
  };
  switch (row.kind) {
    case Kind::Text:
    case Kind::EndGroup:
      return std::make_unique<CStatic>(ControlKind::Text);
    case Kind::Group:
      return std::make_unique<CStatic>(ControlKind::Group);
    case Kind::Button:
      return std::make_unique<CButton>(ControlKind::Button);
    case Kind::CheckBox:
      return std::make_unique<CButton>(ControlKind::CheckBox);
    case Kind::Edit: {
      auto control = edit(std::make_unique<CEdit>());
      if (row.ranged) control->spin = CEdit::Range{row.min, row.max};
      if (!row.text.empty()) control->SetText(row.text);
      return control;
    }
    case Kind::NumberEdit:
      return edit(std::make_unique<CSmartEdit>());
    case Kind::Slider: {
      auto control = std::make_unique<CLinkSlider>();
      control->lowLabel = std::to_string(row.min);
      control->highLabel = std::to_string(row.max);
      control->SetRange(row.min, row.max);
      return control;
    }
    case Kind::ListBox: {
      auto control = std::make_unique<CListBox>();
      control->sorted = row.sorted;
      return control;
    }
    case Kind::CheckList:
    case Kind::ListView: {
      auto control = std::make_unique<CListCtrl>();
      control->checkBoxes = row.kind == Kind::CheckList;
      for (size_t i = 0; i < row.rows.size(); ++i) {
        control->columns.push_back({std::string(row.rows[i]), i < row.widths.size() ? row.widths[i] : 0});
      }
      return control;
    }
    case Kind::ComboBox:
    case Kind::ChoiceList: {
      auto control = std::make_unique<CComboBox>();
      control->editable = row.editable;
      for (const std::string_view text : row.rows) control->AddString(text);
      for (const Choice& choice : row.choices) control->AddString(choice.text);
      return control;
    }
    case Kind::Address:
      return std::make_unique<CIPAddressCtrl>();
    case Kind::Link:
      return std::make_unique<CStaticLink>();
  }
  return nullptr;
}

template <class Owner, class Record>
void Form<Owner, Record>::Build(CDialog& dialog, std::span<const R> rows) {
  m_entries.clear();
  std::vector<int> groups{-1};
  for (const R& row : rows) {
    if (row.kind == Kind::EndGroup) {
      groups.pop_back();
      continue;
    }
    CWnd& control = dialog.Add(MakeControl(row), groups.back());
    control.caption = row.caption;
    control.ShowWindow(!row.hidden);
    if (row.kind == Kind::Group) groups.push_back(static_cast<int>(dialog.Controls().size()) - 1);
    m_entries.push_back({&control, &row});
  }
}

template <class Owner, class Record>
void Form<Owner, Record>::Show(const Record& record) {
  for (const auto& [control, row] : m_entries) {
    if (row->kind == Kind::CheckList) continue;
    if (row->kind == Kind::ChoiceList) {
      const bool first = record.*std::get<bool Record::*>(row->field);
      const bool second = record.*row->secondFlag;
      // A pair that no row holds shows the first row with its first flag.
      std::ptrdiff_t shown = -1;
      for (size_t i = 0; i < row->choices.size(); ++i) {
        if (row->choices[i].first != first) continue;
        if (shown < 0 || row->choices[i].second == second) shown = static_cast<std::ptrdiff_t>(i);
        if (row->choices[i].second == second) break;
      }
      static_cast<CComboBox&>(*control).SetCurSel(shown);
    } else if (const auto* flag = std::get_if<bool Record::*>(&row->field)) {
      static_cast<CButton&>(*control).SetCheck(record.**flag);
    } else if (const auto* field = std::get_if<CString Record::*>(&row->field)) {
      if (row->kind == Kind::ComboBox) {
        static_cast<CComboBox&>(*control).SetText(record.**field);
      } else {
        static_cast<CEdit&>(*control).SetText(record.**field);
      }
    }
  }
}

template <class Owner, class Record>
void Form<Owner, Record>::Read(Record& record) const {
  for (const auto& [control, row] : m_entries) {
    if (row->kind == Kind::CheckList || row->kind == Kind::ChoiceList) continue;
    if (const auto* flag = std::get_if<bool Record::*>(&row->field)) {
      record.** flag = static_cast<const CButton&>(*control).GetCheck();
    } else if (const auto* field = std::get_if<CString Record::*>(&row->field)) {
      record.** field = row->kind == Kind::ComboBox ? static_cast<const CComboBox&>(*control).GetText()
                                                    : static_cast<const CEdit&>(*control).GetText();
    }
  }
}

template <class Owner, class Record>
void Form<Owner, Record>::ShowNumbers() {
  CSmartEdit* edit = nullptr;
  for (size_t i = 0; i < m_entries.size(); ++i) {
    const auto& [control, row] = m_entries[i];
    if (row->kind != Kind::NumberEdit || !row->ranged) continue;
    edit = static_cast<CSmartEdit*>(control);
    const int number = std::atoi(edit->GetText().c_str());
    CLinkSlider* slider = nullptr;
    if (i + 1 < m_entries.size() && m_entries[i + 1].row->kind == Kind::Slider) {
      slider = static_cast<CLinkSlider*>(m_entries[i + 1].control);
      edit->SetSlaveSlider(*slider);
    }
    edit->SetRange(row->min, row->max, 1);
    edit->SetValue(number);
    if (slider != nullptr) slider->SetPos(number);
  }
}

template <class Owner, class Record>
void Form<Owner, Record>::EnableShown(const Record& record) {
  for (const Entry& entry : m_entries) {
    const R& row = *entry.row;
    if (row.governor == nullptr || row.enabling == Enabling::Clicked) continue;
    if (row.enabling == Enabling::DisabledWhenShown && record.*row.governor == row.governedBy) continue;
    Enable(entry, record);
  }
}

template <class Owner, class Record>
void Form<Owner, Record>::EnableClicked(const CWnd& control, const Record& record) {
  const R* clicked = RowOf(control);
  const auto* flag = clicked == nullptr ? nullptr : std::get_if<bool Record::*>(&clicked->field);
  if (flag == nullptr) return;
  for (const Entry& entry : m_entries) {
    if (entry.row->governor == *flag) Enable(entry, record);
  }
}

template <class Owner, class Record>
void Form<Owner, Record>::TakeChoice(const CWnd& control, Record& record) const {
  const R* row = RowOf(control);
  if (row == nullptr || row->kind != Kind::ChoiceList) return;
  const std::ptrdiff_t selected = static_cast<const CComboBox&>(control).GetCurSel();
  if (selected < 0) return;
  const Choice& choice = row->choices[static_cast<size_t>(selected)];
  record.*std::get<bool Record::*>(row->field) = choice.first;
  record.*row->secondFlag = choice.second;
}

template <class Owner, class Record>
auto Form<Owner, Record>::RowOf(const CWnd& control) const -> const R* {
  for (const auto& [own, row] : m_entries) {
    if (own == &control) return row;
  }
  return nullptr;
}

template <class Owner, class Record>
template <class Control>
Control& Form<Owner, Record>::Get(std::string_view caption) const {
  for (const auto& [control, row] : m_entries) {
    auto* const found = dynamic_cast<Control*>(control);
    if (found != nullptr && row->caption == caption) return *found;
  }
  std::abort();  // the page asks for a control that its own table does not have
}

template <class Owner, class Record>
template <class Visit>
void Form<Owner, Record>::EachField(Visit visit) const {
  for (const auto& [control, row] : m_entries) {
    visit(*control, row->field);
    if (row->secondFlag != nullptr) visit(*control, Field<Record>(row->secondFlag));
  }
}

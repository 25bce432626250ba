#include "framework/form.h"

#include <algorithm>
#include <cstdlib>
#include <optional>

namespace {

std::unique_ptr<CWnd> MakeEdit(const Row& row, std::unique_ptr<CEdit> control) {
  control->digitsOnly = row.digitsOnly;
  control->multiLine = row.multiLine;
  control->readOnly = row.readOnly;
  control->maxLength = static_cast<size_t>(row.maxLength);
  if (row.ranged && row.kind == RowKind::Edit) control->spin = CEdit::Range{row.min, row.max};
  if (!row.text.empty()) control->SetText(row.text);
  return control;
}

std::unique_ptr<CWnd> MakeButton(const Row& row, ControlKind kind) {
  auto control = std::make_unique<CButton>(kind);
  control->isDefault = row.isDefault;
  return control;
}

std::unique_ptr<CWnd> MakeSlider(const Row& row) {
  auto control = std::make_unique<CLinkSlider>();
  control->lowLabel = std::to_string(row.min);
  control->highLabel = std::to_string(row.max);
  control->SetRange(row.min, row.max);
  return control;
}

std::unique_ptr<CWnd> MakeListView(const Row& row) {
  auto control = std::make_unique<CListCtrl>();
  control->checkBoxes = row.kind == RowKind::CheckList;
  control->multipleSelection = row.multipleSelection;
  for (size_t i = 0; i < row.rows.size(); ++i) {
    control->columns.push_back({std::string(row.rows[i]), i < row.widths.size() ? row.widths[i] : 0});
  }
  return control;
}

std::unique_ptr<CWnd> MakeComboBox(const Row& row) {
  auto control = std::make_unique<CComboBox>();
  control->editable = row.editable;
  for (const std::string_view text : row.rows) control->AddString(text);
  for (const Choice& choice : row.choices) control->AddString(choice.text);
  return control;
}

std::unique_ptr<CWnd> MakeControl(const Row& row) {
  switch (row.kind) {
    case RowKind::Text:
    case RowKind::EndGroup:
      return std::make_unique<CStatic>(ControlKind::Text);
    case RowKind::Picture: {
      auto control = std::make_unique<CStatic>(ControlKind::Picture);
      control->image = row.text;
      return control;
    }
    case RowKind::Group:
      return std::make_unique<CStatic>(ControlKind::Group);
    case RowKind::Button:
      return MakeButton(row, ControlKind::Button);
    case RowKind::CheckBox:
      return MakeButton(row, ControlKind::CheckBox);
    case RowKind::Radio:
      return MakeButton(row, ControlKind::RadioButton);
    case RowKind::Edit: {
      std::unique_ptr<CWnd> own = row.make == nullptr ? std::make_unique<CEdit>() : row.make();
      return MakeEdit(row, std::unique_ptr<CEdit>(static_cast<CEdit*>(own.release())));
    }
    case RowKind::NumberEdit:
      return MakeEdit(row, std::make_unique<CSmartEdit>());
    case RowKind::Slider:
      return MakeSlider(row);
    case RowKind::ListBox: {
      auto control = std::make_unique<CListBox>();
      control->sorted = row.sorted;
      return control;
    }
    case RowKind::CheckList:
    case RowKind::ListView:
      return MakeListView(row);
    case RowKind::EditableList:
      return row.make == nullptr ? std::make_unique<CVSListBox>() : row.make();
    case RowKind::ComboBox:
    case RowKind::ChoiceList:
      return MakeComboBox(row);
    case RowKind::Address:
      return std::make_unique<CIPAddressCtrl>();
    case RowKind::Date:
      return std::make_unique<CDateTimeCtrl>();
    case RowKind::Link:
      return std::make_unique<CStaticLink>();
  }
  return nullptr;
}

// A pair that no row holds shows the first row with its first flag.
std::ptrdiff_t ChoiceOf(std::span<const Choice> choices, bool first, bool second) {
  std::ptrdiff_t shown = -1;
  for (size_t i = 0; i < choices.size(); ++i) {
    if (choices[i].first != first) continue;
    if (shown < 0 || choices[i].second == second) shown = static_cast<std::ptrdiff_t>(i);
    if (choices[i].second == second) break;
  }
  return shown;
}

// Whether a radio button stands for what the field holds.
bool StandsFor(const Row& radio, ConstRecordRef record) {
  switch (radio.field.kind) {
    case Field::Kind::Flag:
      return radio.field.Flag(record) == (radio.value != 0);
    case Field::Kind::Number:
      return radio.field.Number(record) == radio.value;
    default:
      return text::EqualNoCase(radio.field.Text(record), radio.text);
  }
}

// The button of the field that is ticked: the last one that stands for what it holds, else the first one.
const Row* Ticked(std::span<const Form::Entry> entries, const Field& field, ConstRecordRef record) {
  const Row* ticked = nullptr;
  for (const auto& [control, row] : entries) {
    if (row->kind != RowKind::Radio || row->field != field) continue;
    if (ticked == nullptr || StandsFor(*row, record)) ticked = row;
  }
  return ticked;
}

void TakeRadio(const Row& radio, RecordRef record) {
  switch (radio.field.kind) {
    case Field::Kind::Flag:
      radio.field.Flag(record) = radio.value != 0;
      break;
    case Field::Kind::Number:
      radio.field.Number(record) = radio.value;
      break;
    default:
      radio.field.Text(record) = radio.text;
  }
}

void ShowComboBox(const Row& row, CComboBox& list, ConstRecordRef record) {
  if (row.field.kind == Field::Kind::Number) {
    list.SetCurSel(row.field.Number(record));
    return;
  }
  const CString& text = row.field.Text(record);
  list.SetText(text);
  if (!row.byBeginning) return;
  const std::ptrdiff_t found = text.empty() ? -1 : list.FindString(text);
  list.SetCurSel(found < 0 && row.otherwise == Otherwise::FirstRow ? 0 : found);
}

void ShowField(const Form::Entry& entry, ConstRecordRef record) {
  const auto& [control, row] = entry;
  switch (row->kind) {
    case RowKind::CheckBox:
      static_cast<CButton&>(*control).SetCheck(row->field.Flag(record));
      break;
    case RowKind::Edit:
    case RowKind::NumberEdit:
      static_cast<CEdit&>(*control).SetText(row->field.Text(record));
      break;
    case RowKind::ComboBox:
      ShowComboBox(*row, static_cast<CComboBox&>(*control), record);
      break;
    case RowKind::ChoiceList:
      static_cast<CComboBox&>(*control).SetCurSel(
          ChoiceOf(row->choices, row->field.Flag(record), row->secondFlag.Flag(record)));
      break;
    case RowKind::EditableList:
      static_cast<CVSListBox&>(*control).SetRows(row->field.List(record));
      break;
    case RowKind::Date:
      static_cast<CDateTimeCtrl&>(*control).SetDate(row->field.Text(record));
      break;
    default:
      break;  // buttons show nothing, and a check list is its page's own
  }
}

void ReadField(const Form::Entry& entry, RecordRef record) {
  const auto& [control, row] = entry;
  switch (row->kind) {
    case RowKind::CheckBox:
      row->field.Flag(record) = static_cast<const CButton&>(*control).GetCheck();
      break;
    case RowKind::Radio:
      if (static_cast<const CButton&>(*control).GetCheck()) TakeRadio(*row, record);
      break;
    case RowKind::Edit:
    case RowKind::NumberEdit:
      row->field.Text(record) = static_cast<const CEdit&>(*control).GetText();
      break;
    case RowKind::ComboBox: {
      const auto& list = static_cast<const CComboBox&>(*control);
      if (row->field.kind == Field::Kind::Number) {
        row->field.Number(record) = static_cast<int>(list.GetCurSel());
      } else {
        row->field.Text(record) = list.GetText();
      }
      break;
    }
    case RowKind::EditableList:
      row->field.List(record) = static_cast<const CVSListBox&>(*control).GetRows();
      break;
    case RowKind::Date:
      row->field.Text(record) = static_cast<const CDateTimeCtrl&>(*control).Value();
      break;
    default:
      break;  // a list of two flags writes the record only when a person chooses
  }
}

}  // namespace

void Form::Build(CDialog& dialog, std::span<const Row> rows) {
  m_entries.clear();
  std::vector<int> groups{-1};
  std::vector<Field> radioFields;
  for (const Row& row : rows) {
    if (row.kind == RowKind::EndGroup) {
      groups.pop_back();
      continue;
    }
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks): the dialog owns the control
    CWnd& control = dialog.Add(MakeControl(row), groups.back());
    control.caption = row.caption;
    control.ShowWindow(!row.hidden);
    control.EnableWindow(!row.disabled);
    if (row.kind == RowKind::Radio) {
      const auto known = std::find(radioFields.begin(), radioFields.end(), row.field);
      static_cast<CButton&>(control).radioGroup = static_cast<int>(known - radioFields.begin()) + 1;
      if (known == radioFields.end()) radioFields.push_back(row.field);
    }
    if (row.kind == RowKind::Group) groups.push_back(static_cast<int>(dialog.Controls().size()) - 1);
    if (row.fill != nullptr) row.fill(dialog, control);
    m_entries.push_back({&control, &row});
  }
  NameWhatEnables();
}

void Form::NameWhatEnables() {
  for (const auto& [control, row] : m_entries) {
    for (const Field& field : row->condition.reads) {
      const CWnd* const other = ControlOf(field);
      if (other == nullptr || other == control || row->field == field) continue;
      control->enabledBy += (control->enabledBy.empty() ? "\"" : ", \"") + other->Name() + "\"";
    }
  }
}

const Row* Form::RowOf(const CWnd& control) const {
  for (const auto& [own, row] : m_entries) {
    if (own == &control) return row;
  }
  return nullptr;
}

CWnd* Form::ControlOf(const Field& field) const {
  for (const auto& [control, row] : m_entries) {
    if (row->field == field && row->kind != RowKind::Button) return control;
  }
  return nullptr;
}

void Form::Show(ConstRecordRef record) {
  for (const Entry& entry : m_entries) {
    const Row& row = *entry.row;
    if (!row.field.IsOf(record)) continue;
    if (row.kind == RowKind::Radio) {
      static_cast<CButton&>(*entry.control).SetCheck(Ticked(m_entries, row.field, record) == &row);
    } else {
      ShowField(entry, record);
    }
  }
}

void Form::Read(RecordRef record) const {
  for (const Entry& entry : m_entries) {
    if (entry.row->field.IsOf(record)) ReadField(entry, record);
  }
}

void Form::ShowNumbers() {
  for (size_t i = 0; i < m_entries.size(); ++i) {
    const auto& [control, row] = m_entries[i];
    if (row->kind != RowKind::NumberEdit || !row->ranged) continue;
    auto& edit = static_cast<CSmartEdit&>(*control);
    const int number = std::atoi(edit.GetText().c_str());
    CLinkSlider* slider = nullptr;
    if (i + 1 < m_entries.size() && m_entries[i + 1].row->kind == RowKind::Slider) {
      slider = static_cast<CLinkSlider*>(m_entries[i + 1].control);
      edit.SetSlaveSlider(*slider);
    }
    edit.SetRange(row->min, row->max, 1);
    edit.SetValue(number);
    if (slider != nullptr) slider->SetPos(number);
  }
}

void Form::EnableShown(ConstRecordRef record) {
  for (const auto& [control, row] : m_entries) {
    const Condition& condition = row->condition;
    if (condition.holds == nullptr || !condition.reads.front().IsOf(record)) continue;
    if (condition.when == Enabling::Changed) continue;
    const bool enable = condition.holds(record.data);
    if (enable && condition.when == Enabling::DisabledWhenShown) continue;
    control->EnableWindow(enable);
  }
}

void Form::EnableChanged(const Field& changed, ConstRecordRef record) {
  if (!changed.IsOf(record)) return;
  for (const auto& [control, row] : m_entries) {
    const auto& reads = row->condition.reads;
    if (row->condition.holds == nullptr || std::find(reads.begin(), reads.end(), changed) == reads.end())
      continue;
    control->EnableWindow(row->condition.holds(record.data));
  }
}

void Form::TakeChoice(const Row& row, const CWnd& control, RecordRef record) {
  if (row.kind != RowKind::ChoiceList) return;
  const std::ptrdiff_t selected = static_cast<const CComboBox&>(control).GetCurSel();
  if (selected < 0) return;
  const Choice& choice = row.choices[static_cast<size_t>(selected)];
  row.field.Flag(record) = choice.first;
  row.secondFlag.Flag(record) = choice.second;
}

bool Form::Handle(CDialog& dialog, const Row& row, Notice notice) {
  const Handler handler = notice == Notice::FocusLost       ? row.onLeave
                          : notice == Notice::DoubleClicked ? row.onDoubleClick
                                                            : row.onChange;
  if (handler != nullptr) handler(dialog, row, notice);
  return handler != nullptr;
}

bool Form::Pick(CDialog& dialog, const Row& row) {
  CWnd* const control = ControlOf(row.field);
  if (control == nullptr) return false;
  auto& edit = static_cast<CEdit&>(*control);
  const Picker& picker = row.picker;
  const CString start = picker.start == nullptr ? edit.GetText() : picker.start(edit.GetText());
  FrontEnd& frontEnd = CurrentFrontEnd();
  const std::optional<std::string> path =
      picker.kind == Picker::Kind::File
          ? frontEnd.PickFile({.fileName = start, .filter = std::string(picker.words)})
          : frontEnd.PickFolder(picker.words, start);
  if (!path) return false;
  const CDialog::FillScope filling(dialog);
  edit.SetText(*path);
  return true;
}

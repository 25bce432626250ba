#include "window/dialog.h"

#include <algorithm>

#include "platform/text.h"

namespace {

// Captions are typed by people: an access key's mark and a label's colon are not part of the name.
std::string Plain(std::string_view name) {
  std::string plain;
  for (const char c : name) {
    if (c != '&') plain += text::LowerAscii(c);
  }
  const size_t end = plain.find_last_not_of(": ");
  plain.resize(end == std::string::npos ? 0 : end + 1);
  return plain;
}

bool IsValue(std::string_view text, std::initializer_list<std::string_view> words) {
  return std::any_of(words.begin(), words.end(),
                     [text](std::string_view word) { return text::EqualNoCase(text, word); });
}

// The number of single-character edits that turn one text into the other, or `limit` if it is that or more.
size_t EditDistance(std::string_view a, std::string_view b, size_t limit) {
  if (a.size() > b.size() + limit || b.size() > a.size() + limit) return limit;
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
    }
  }
  return std::min(row[b.size()], limit);
}

}  // namespace

std::vector<std::string> NearestNames(std::string_view name, std::vector<std::string> names) {
  constexpr size_t kMost = 3;
  const std::string wanted = Plain(name);
  std::vector<std::pair<size_t, std::string>> near;
  for (std::string& candidate : names) {
    const std::string plain = Plain(candidate);
    if (plain.empty()) continue;
    // A part of the name is as good a guess as a slip of the finger.
    const bool part = !wanted.empty() && (plain.find(wanted) != std::string::npos ||
                                          (plain.size() > 3 && wanted.find(plain) != std::string::npos));
    const size_t limit = wanted.size() / 3 + 2;
    const size_t distance = part ? 1 : EditDistance(wanted, plain, limit);
    if (distance < limit) near.emplace_back(distance, std::move(candidate));
  }
  std::stable_sort(near.begin(), near.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<std::string> nearest;
  for (size_t i = 0; i < near.size() && i < kMost; ++i) nearest.push_back(std::move(near[i].second));
  return nearest;
}

std::string OneOf(const std::vector<std::string>& names) {
  std::string list;
  for (size_t i = 0; i < names.size(); ++i) {
    if (i > 0) list += i + 1 == names.size() ? " or " : ", ";
    list += "\"" + names[i] + "\"";
  }
  return list;
}

void CDialog::Create() {
  if (m_created) return;
  m_created = true;
  BuildControls();
  OnInitDialog();
}

Reply CDialog::DoModal() {
  m_controls.clear();
  m_created = false;
  m_ended = false;
  m_reply = Reply::Cancel;
  Create();
  if (!m_ended) CurrentFrontEnd().RunModal(*this);
  return m_reply;
}

void CDialog::EndDialog(Reply reply) {
  m_reply = reply;
  m_ended = true;
}

void CDialog::PressEnter() {
  for (const auto& control : m_controls) {
    const auto* const button = dynamic_cast<const CButton*>(control.get());
    if (button == nullptr || !button->isDefault) continue;
    control->Click();
    return;
  }
  CWnd* const ok = Find("OK").control;
  if (ok != nullptr && ok->Kind() == ControlKind::Button) {
    ok->Click();
  } else {
    OnOK();
  }
}

std::string CDialog::NameOf(size_t index) const {
  const auto own = [this](size_t i) -> const std::string& {
    const CWnd& control = *m_controls[i];
    if (!control.caption.empty() || control.group < 0) return control.caption;
    return m_controls[static_cast<size_t>(control.group)]->caption;
  };
  const auto counts = [this](size_t i) {
    const ControlKind kind = m_controls[i]->Kind();
    return kind != ControlKind::Group && kind != ControlKind::Text && kind != ControlKind::Picture;
  };
  const std::string& name = own(index);
  int number = 1;
  if (counts(index)) {
    for (size_t i = 0; i < index; ++i) {
      if (counts(i) && Plain(own(i)) == Plain(name)) ++number;
    }
  }
  return number == 1 ? name : name + "#" + std::to_string(number);
}

std::string CDialog::NameOf(const CWnd& control) const {
  const auto found = std::find_if(m_controls.begin(), m_controls.end(),
                                  [&control](const auto& own) { return own.get() == &control; });
  return found == m_controls.end() ? control.caption
                                   : NameOf(static_cast<size_t>(found - m_controls.begin()));
}

std::vector<CWnd*> CDialog::FindAll(std::string_view name) const {
  const std::string wanted = Plain(name);
  std::vector<CWnd*> exact;
  std::vector<CWnd*> shared;
  for (size_t i = 0; i < m_controls.size(); ++i) {
    CWnd& control = *m_controls[i];
    if (control.Kind() == ControlKind::Group || control.Kind() == ControlKind::Text) continue;
    const std::string full = Plain(NameOf(i));
    if (full == wanted) {
      exact.push_back(&control);
    } else if (Plain(std::string_view(full).substr(0, full.rfind('#'))) == wanted) {
      shared.push_back(&control);
    }
  }
  exact.insert(exact.end(), shared.begin(), shared.end());
  return exact;
}

CDialog::Found CDialog::Find(std::string_view name) const {
  const std::vector<CWnd*> all = FindAll(name);
  if (!all.empty()) return {all.front(), -1};
  for (const auto& control : m_controls) {
    if (!control->HasCheckBoxes()) continue;
    for (size_t row = 0; row < control->RowCount(); ++row) {
      if (text::EqualNoCase(control->RowText(row), name))
        return {control.get(), static_cast<std::ptrdiff_t>(row)};
    }
  }
  return {};
}

std::vector<std::string> CDialog::Nearest(std::string_view name) const {
  std::vector<std::string> names;
  for (size_t i = 0; i < m_controls.size(); ++i) {
    const CWnd& control = *m_controls[i];
    if (control.Kind() == ControlKind::Group || control.Kind() == ControlKind::Text) continue;
    names.push_back(NameOf(i));
    for (size_t row = 0; control.HasCheckBoxes() && row < control.RowCount(); ++row) {
      names.emplace_back(control.RowText(row));
    }
  }
  return NearestNames(name, std::move(names));
}

Act CDialog::NoSuchControl(std::string_view what, std::string_view name) const {
  const std::vector<std::string> near = Nearest(name);
  return {"There is no " + std::string(what) + " \"" + std::string(name) + "\" here" +
          (near.empty() ? "." : "; did you mean " + OneOf(near) + "?")};
}

Act CDialog::Put(std::string_view name, std::string_view value) {
  const std::vector<CWnd*> all = FindAll(name);
  if (all.size() > 1 && !IsValue(value, {"on", "off", "yes", "no"})) {
    for (CWnd* control : all) {
      const ControlKind kind = control->Kind();
      if (kind != ControlKind::CheckBox && kind != ControlKind::RadioButton) return control->Put(value);
    }
  }
  const Found found = Find(name);
  if (found.control == nullptr) return NoSuchControl("setting", name);
  if (found.row < 0) return found.control->Put(value);
  if (!IsValue(value, {"on", "off", "yes", "no"})) {
    return {"\"" + std::string(name) + "\" takes on or off, not \"" + std::string(value) + "\"."};
  }
  return found.control->Check(found.row, IsValue(value, {"on", "yes"}));
}

Act CDialog::Press(std::string_view name) {
  for (CWnd* control : FindAll(name)) {
    const ControlKind kind = control->Kind();
    if (kind == ControlKind::Button || kind == ControlKind::Link) return control->Click();
  }
  const Found found = Find(name);
  if (found.control == nullptr) return NoSuchControl("button", name);
  return found.control->Click();
}

CDialog::Kept::Kept(CDialog& dialog, Part part) : m_dialog(dialog), m_part(part) {
  m_controls.reserve(dialog.Controls().size());
  for (const auto& control : dialog.Controls()) {
    OfControl kept{control->IsWindowEnabled(), control->IsWindowVisible(), {}, -1};
    if (const auto* const edit = dynamic_cast<const CEdit*>(control.get())) kept.text = edit->GetText();
    if (const auto* const list = dynamic_cast<const CListBase*>(control.get())) {
      kept.selected = list->GetCurSel();
    } else if (const auto* const table = dynamic_cast<const CListCtrl*>(control.get())) {
      kept.selected = table->GetSelected();
    }
    m_controls.push_back(std::move(kept));
  }
}

CDialog::Kept::~Kept() {
  const FillScope filling(m_dialog);
  for (size_t i = 0; i < m_controls.size(); ++i) {
    CWnd& control = *m_dialog.Controls()[i];
    const OfControl& kept = m_controls[i];
    if (m_part == Part::States) {
      control.EnableWindow(kept.enabled);
      control.ShowWindow(kept.visible);
    } else if (auto* const edit = dynamic_cast<CEdit*>(&control)) {
      if (edit->GetText() != kept.text) edit->SetText(kept.text);
    } else if (auto* const list = dynamic_cast<CListBase*>(&control)) {
      list->SetCurSel(kept.selected);
    } else if (auto* const table = dynamic_cast<CListCtrl*>(&control);
               table != nullptr && kept.selected >= 0) {
      const auto row = static_cast<size_t>(kept.selected);
      if (row < table->RowCount()) table->SetSelected(row, true);
    }
  }
}

std::vector<std::string> ShownValues(const CDialog& dialog) {
  std::vector<std::string> values;
  values.reserve(dialog.Controls().size());
  for (const auto& control : dialog.Controls()) {
    if (control->Kind() != ControlKind::ListBox && control->Kind() != ControlKind::ListView) {
      values.push_back(control->Value());
      continue;
    }
    std::string& rows = values.emplace_back();
    const auto* const table = dynamic_cast<const CListCtrl*>(control.get());
    for (size_t row = 0; row < control->RowCount(); ++row) {
      if (row > 0) rows += '\n';
      if (control->HasCheckBoxes()) rows += control->IsChecked(row) ? "on " : "off ";
      if (table == nullptr) {
        rows += control->RowText(row);
        continue;
      }
      for (size_t cell = 0; cell < table->Rows()[row].cells.size(); ++cell) {
        if (cell > 0) rows += '\t';
        rows += table->Rows()[row].cells[cell];
      }
    }
  }
  return values;
}

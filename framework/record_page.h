#pragma once

// The life cycle that every page shares. One page object serves any number of nodes: what a person edits for
// one of them waits in m_pending under its target until Apply writes all of them, or Cancel drops them.

#include <memory>
#include <span>
#include <string_view>

#include "framework/form.h"
#include "framework/tessel_property_page.h"
#include "framework/value_table.h"
#include "store/target_routing.h"

// The messages between the pages of a sheet.
enum class SiblingCode : unsigned {
  Reload = 1,       // settings were imported: read the store again
  Apply = 2,        // write what is pending, before an export
  Retitle = 3,      // the host asks for a new title
  ListChanged = 4,  // a list page has made or removed keys: the pages of a principal write now
};

// The messages that a page acts on. The configuration page and four others hear none, so their edits stay
// pending through an export or an import.
enum class Hears : unsigned char { Nothing, ReloadOnly, ReloadAndApply, ListChangesToo };

struct PageTable {
  std::string_view caption;    // of the dialog
  std::string_view helpTopic;  // behind the help file's path
  std::string_view helpKey{};  // the key that names the help file; empty for the page's own
  Routing routing = Routing::Server;
  Hears hears = Hears::ReloadAndApply;
  Chain chain = Chain::Ends;
  bool twoKeys = false;  // a list's switch lies in its own key, the rest in the other one
  std::span<const Row> controls{};
  std::span<const Value> values{};
};

// `Page` is the concrete class, which holds `static const PageTable kTable`.
template <class Page, class RecordType>
class RecordPage : public CTesselPropertyPage {
 public:
  using Record = RecordType;
  using Controls = Rows<Record>;
  using StoredValues = Values<Record>;

  explicit RecordPage(const PageArguments& arguments, std::uint8_t aboutFlag = 0)
      : CTesselPropertyPage(Page::kTable.caption, aboutFlag, arguments) {}

  bool OnSetActive() override;
  bool OnKillActive() override;
  bool OnApply() override;
  void OnCancel() override;
  long OnQuerySiblings(unsigned code, unsigned parameter) override;

  // Puts a record on the screen, with the state of dependent controls.
  virtual void ShowRecord(const Record& record);
  // Copies the screen into a record.
  virtual void ReadScreen(Record& record) { m_form.Read(record); }
  // Takes the screen without looking for a difference, as leaving an edit does on whose text others hang.
  void TakeScreen() { ReadScreen(m_current); }
  // Reads a target's values; a key that can't be opened leaves the record as it was.
  void LoadRecord(Record& record, const CString& target) { Load(record, target); }
  // Writes a target's values, and notes what became of it in m_saves. Nothing is reported to a person.
  void SaveRecord(const Record& record, const CString& target);
  virtual bool Differs(const Record& a, const Record& b) const {
    return RecordsDiffer(Page::kTable.values, a, b);
  }

  // Writes every pending record, in order of targets, and forgets them: a target that can't be opened loses
  // its edits.
  void ApplyPending();
  // Tells the sheet whether this page has something to apply; runs after the screen was read.
  virtual void UpdateModified();

  // The pending record of a target is copied into `record`; false if there is none.
  bool FindPending(Record& record, const CString& target) const;
  // Keeps a copy under the target, replacing one that is there.
  void StashPending(const Record& record, const CString& target);
  // Forgets the target's record; false if there is none.
  bool DropPending(const CString& target) { return m_pending.erase(target) != 0; }

  TargetValues ValuesOf(const CString& target) override;
  CString StoredAt(const CString& target) const override {
    const bool mode = m_context->configServerMode != 0;
    return RouteTarget(Page::kTable.routing, m_baseKey, target, mode).path;
  }
  bool EditsField(size_t control) const override;
  bool EditsSetting(size_t control) const override;
  void Revert(std::optional<size_t> control) override;

 protected:
  // The target's key, open, or null; `saved`, which may be null, gets its path and the reason.
  std::unique_ptr<CTesselRegObject> OpenTargetKey(const CString& target, KeyOf which = KeyOf::Own,
                                                  Saved* saved = nullptr) const {
    const CString& base = which == KeyOf::Own ? m_baseKey : m_secondKey;
    const bool mode = m_context->configServerMode != 0;
    if (saved == nullptr) return ::OpenTargetKey(Page::kTable.routing, m_computer, base, target, mode);
    saved->key = RouteTarget(Page::kTable.routing, base, target, mode).path;
    return ::OpenTargetKey(Page::kTable.routing, m_computer, base, target, mode, &saved->status);
  }
  // What a load and a save do with a key that is open; a page with two keys is asked for each, in order.
  virtual void LoadFrom(const CTesselRegObject& key, Record& record, KeyOf which) {
    LoadValues(key, Page::kTable.values, record, which);
  }
  virtual SaveResult SaveTo(CTesselRegObject& key, const Record& record, KeyOf which) {
    return SaveValues(key, Page::kTable.values, record, which, Page::kTable.chain);
  }
  // After a save of which every write counted and worked.
  virtual void AfterSave(const Record&) {}

  std::string_view HelpTopic() const override { return Page::kTable.helpTopic; }
  std::string_view HelpKey() const override {
    return Page::kTable.helpKey.empty() ? std::string_view(m_baseKey) : Page::kTable.helpKey;
  }
  void BuildControls() override;
  void OnControl(CWnd& control, Notice notice) override;
  // What every control that edits a field does after a person changed it.
  void TakeChange() {
    ReadScreen(m_current);
    UpdateModified();
  }

  // The target is the node's text, or the title where the host gives none.
  void ChooseTarget() { m_target = m_refData.text.empty() ? Title() : m_refData.text; }
  // A page that was never shown has no target: it touches no key, and nothing waits for it.
  bool WasShown() const { return !m_target.empty(); }
  // What becomes of a pending record when its target is shown.
  enum class Entry : unsigned char { Taken, Kept };
  // Shows m_target: what waits under `waiting`, else what is stored.
  bool ShowTarget(const CString& waiting, Entry entry);

  // Loads the target's record; what could be opened, or why not.
  Saved Load(Record& record, const CString& target);
  // What the controls show of a record. They show it until another one is shown.
  std::vector<std::string> Look(const Record& record);
  // What Apply would write of the target that is shown.
  Record Waiting();

  Form m_form;
  Record m_current{};
  Record m_saved{};
};

template <class Page, class Record>
bool RecordPage<Page, Record>::OnSetActive() {
  ChooseTarget();
  return ShowTarget(m_target, Entry::Taken);
}

template <class Page, class Record>
bool RecordPage<Page, Record>::ShowTarget(const CString& waiting, Entry entry) {
  const Saved shown = Load(m_saved, m_target);
  m_shownKey = shown.key;
  m_shownStatus = shown.status;
  const bool waits = FindPending(m_current, waiting);
  if (!waits) {
    m_current = m_saved;
  } else if (entry == Entry::Taken) {
    DropPending(waiting);
  }
  if (waits) m_storedValues = Look(m_saved);
  ShowRecord(m_current);
  if (!waits) m_storedValues = ShownValues(*this);
  // One entry for another target does not count: Apply stays as that target's own page left it.
  if (m_pending.size() > 1) SetModified(true);
  return CPropertyPage::OnSetActive();
}

template <class Page, class Record>
bool RecordPage<Page, Record>::OnKillActive() {
  ReadScreen(m_current);
  // The older copy wins: showing the target takes its entry out, so one that is still there was made by a
  // list page or by leaving twice.
  if (Differs(m_current, m_saved) && !m_pending.contains(m_target)) StashPending(m_current, m_target);
  return CPropertyPage::OnKillActive();
}

// m_saved stays as it is until the page is shown again.
template <class Page, class Record>
bool RecordPage<Page, Record>::OnApply() {
  ApplyPending();
  SetModified(false);
  return CPropertyPage::OnApply();
}

template <class Page, class Record>
void RecordPage<Page, Record>::OnCancel() {
  m_pending.clear();
  CPropertyPage::OnCancel();
}

// Always 0, so that every page of the sheet hears the message.
template <class Page, class Record>
long RecordPage<Page, Record>::OnQuerySiblings(unsigned code, unsigned) {
  const Hears hears = Page::kTable.hears;
  if (hears == Hears::Nothing) return 0;
  if (code == static_cast<unsigned>(SiblingCode::Reload)) {
    if (m_target.empty()) return 0;
    // The screen follows when the page is next shown.
    if (WasShown()) LoadRecord(m_current, m_target);
  } else if ((code == static_cast<unsigned>(SiblingCode::Apply) && hears != Hears::ReloadOnly) ||
             (code == static_cast<unsigned>(SiblingCode::ListChanged) && hears == Hears::ListChangesToo)) {
    ApplyPending();
    SetModified(false);
  }
  return 0;
}

template <class Page, class Record>
void RecordPage<Page, Record>::ShowRecord(const Record& record) {
  {
    const FillScope filling(*this);
    m_form.Show(record);
  }
  m_form.EnableShown(record);
  m_form.ShowNumbers();
}

template <class Page, class Record>
auto RecordPage<Page, Record>::Load(Record& record, const CString& target) -> Saved {
  Saved opened;
  for (const KeyOf which : {KeyOf::Own, KeyOf::Other}) {
    if (which == KeyOf::Other && !Page::kTable.twoKeys) break;
    const auto key = OpenTargetKey(target, which, &opened);
    if (key == nullptr) break;
    LoadFrom(*key, record, which);
  }
  return opened;
}

template <class Page, class Record>
void RecordPage<Page, Record>::SaveRecord(const Record& record, const CString& target) {
  Saved saved;
  SaveResult result;
  for (const KeyOf which : {KeyOf::Own, KeyOf::Other}) {
    if (which == KeyOf::Other && !Page::kTable.twoKeys) break;
    const auto key = OpenTargetKey(target, which, &saved);
    if (key == nullptr) {
      result = {saved.status, {}};
      break;
    }
    const SaveResult ofKey = SaveTo(*key, record, which);
    if (result) result = ofKey;
  }
  m_saves.push_back({target, saved.key, result.status, result.value});
  if (result) AfterSave(record);
}

template <class Page, class Record>
void RecordPage<Page, Record>::ApplyPending() {
  for (const auto& [target, record] : m_pending)
    SaveRecord(*static_cast<const Record*>(record.get()), target);
  m_pending.clear();
}

template <class Page, class Record>
void RecordPage<Page, Record>::UpdateModified() {
  if (Differs(m_current, m_saved)) {
    SetModified(true);
  } else if (m_pending.empty()) {
    SetModified(false);
  }
}

template <class Page, class Record>
bool RecordPage<Page, Record>::FindPending(Record& record, const CString& target) const {
  const auto found = m_pending.find(target);
  if (found == m_pending.end()) return false;
  record = *static_cast<const Record*>(found->second.get());
  return true;
}

template <class Page, class Record>
void RecordPage<Page, Record>::StashPending(const Record& record, const CString& target) {
  m_pending.insert_or_assign(target, std::make_shared<Record>(record));
}

template <class Page, class Record>
std::vector<std::string> RecordPage<Page, Record>::Look(const Record& record) {
  // Showing a record enables controls, and some stay as they were left. What controls tell of it would be
  // taken for edits of the record that is shown.
  const CDialog::FillScope filling(*this);
  const CDialog::Kept kept(*this, CDialog::Part::States);
  ShowRecord(record);
  return ShownValues(*this);
}

template <class Page, class Record>
Record RecordPage<Page, Record>::Waiting() {
  Record waiting = m_current;
  ReadScreen(waiting);
  // An entry that is still there counts where the screen is back at what is stored.
  if (!Differs(waiting, m_saved)) FindPending(waiting, m_target);
  return waiting;
}

template <class Page, class Record>
auto RecordPage<Page, Record>::ValuesOf(const CString& target) -> TargetValues {
  TargetValues values;
  Record stored{};
  Record waiting{};
  if (target == m_target) {
    ReadScreen(waiting = m_current);
    const bool differ = Differs(waiting, m_saved);
    if (differ || !m_pending.contains(target)) return {m_storedValues, ShownValues(*this), differ};
    stored = m_saved;
    FindPending(waiting, target);
  } else {
    LoadRecord(stored, target);
    if (!FindPending(waiting, target)) waiting = stored;
  }
  const CDialog::Kept kept(*this, CDialog::Part::Texts);
  values.stored = Look(stored);
  values.waiting = Look(waiting);
  values.differ = Differs(stored, waiting);
  ShowRecord(m_current);
  return values;
}

template <class Page, class Record>
bool RecordPage<Page, Record>::EditsField(size_t control) const {
  const Row* const row = m_form.RowOf(*CDialog::Controls()[control]);
  return row != nullptr && row->kind != RowKind::Button && row->field.IsOf(m_current);
}

template <class Page, class Record>
bool RecordPage<Page, Record>::EditsSetting(size_t control) const {
  if (EditsField(control)) return true;
  switch (CDialog::Controls()[control]->Kind()) {
    case ControlKind::ListBox:
    case ControlKind::ListView:
    case ControlKind::EditableList:
    case ControlKind::Address:
      return true;
    default:
      return false;
  }
}

template <class Page, class Record>
void RecordPage<Page, Record>::Revert(std::optional<size_t> control) {
  Record now = m_saved;
  if (control) {
    const Row* const row = m_form.RowOf(*CDialog::Controls()[*control]);
    if (row == nullptr) return;
    now = Waiting();
    CopyField(row->field, now, m_saved);
    CopyField(row->secondFlag, now, m_saved);
  }
  DropPending(m_target);
  m_current = now;
  ShowRecord(m_current);
  UpdateModified();
}

template <class Page, class Record>
void RecordPage<Page, Record>::BuildControls() {
  m_form.Build(*this, Page::kTable.controls);
  for (const auto& [control, row] : m_form.Entries()) {
    if (row->forOtherComputers) control->ShowWindow(!m_computer.empty());
    for (const Value& value : Page::kTable.values) {
      if (!IsOfField(value, row->field) && !IsOfField(value, row->secondFlag)) continue;
      if (row->kind == RowKind::Button) continue;
      if (!control->storedAs.empty()) control->storedAs += ", ";
      control->storedAs += value.name;
    }
  }
}

template <class Page, class Record>
void RecordPage<Page, Record>::OnControl(CWnd& control, Notice notice) {
  const Row* row = m_form.RowOf(control);
  if (row == nullptr) return;
  if (!Form::Handle(*this, *row, notice)) {
    if (notice == Notice::FocusLost || notice == Notice::DoubleClicked) return;
    if (row->picker.kind != Picker::Kind::None) {
      if (!m_form.Pick(*this, *row)) return;
      row->picker.onlyMarks ? SetModified(true) : TakeChange();
    } else if (row->field.IsOf(m_current)) {
      Form::TakeChoice(*row, control, m_current);
      TakeChange();
    }
  }
  m_form.EnableChanged(row->field, m_current);
}

#pragma once

// The layer of every page that lists principals: it makes them as copies of others, deletes them, and keeps
// one key for each. What a principal's settings are is the business of other pages, which it finds in the
// page directory; one that does not stand there takes no part.

#include <span>
#include <string_view>

#include "framework/page_directory.h"
#include "framework/principal_settings.h"
#include "framework/record_page.h"

struct PrincipalListRecord {
  bool allowOnly = false;  // the server serves only who is listed
  CStringList names;       // of keys: a backslash stands as "?"
};

// What tells one list from another.
struct ListRules {
  std::string_view list;                  // what the list of names is called
  const char* folder;                     // the subkey that holds a key for each principal
  std::span<const PageIndex> settings{};  // the pages whose settings a new principal gets, in order
  std::span<const PageIndex> applied{};   // the pages that write with this one once it has made a principal
  std::string_view emptyRow{};            // the row that stands in an empty list
  std::string_view cannotDelete{};        // a name that stays, in any case
  std::string_view cannotDeleteText{};
  std::string_view selectToCopy;
  std::string_view selectToDelete;
  bool rowsAsStored = false;         // "?" is not turned back into a backslash on the screen
  bool silentWithoutFolder = false;  // the settings pages are not told to write where the folder is missing
};

namespace principal_list {

CString DisplayName(std::string_view keyName);
CString KeyName(std::string_view displayName);

// Whether `names` holds exactly this one.
bool Holds(const CStringList& names, std::string_view name);

// The folder under `key`, with full access; null if it can't be opened.
UniqueKey OpenFolder(const CTesselRegObject& key, const char* folder);

// The folder's keys, in order.
CStringList NamesIn(HKEY folder);

// Deletes the folder's keys that `names` does not hold, by exact name, and makes those that are missing.
void Save(HKEY folder, const CStringList& names);

}  // namespace principal_list

// `Page` holds `static const ListRules kList` beside its kTable, whose values are those beside the folder.
template <class Page, class Record>
class ListPage : public RecordPage<Page, Record> {
  using Base = RecordPage<Page, Record>;

 public:
  using Base::Base;

  // Unlike a settings page, a list takes its waiting entry out when it is shown.
  bool OnSetActive() override {
    Base::ChooseTarget();
    return Base::ShowTarget(Base::m_refData.text, Base::Entry::Taken);
  }
  bool OnApply() override;

  void ShowRecord(const Record& record) override;
  void ReadScreen(Record& record) override;
  void LoadRecord(Record& record, const CString& target) override;
  void SaveRecord(const Record& record, const CString& target) override;
  bool Differs(const Record& a, const Record& b) const override;

  // The buttons. A table that names a base's handlers is const, since GCC 12 can't convert them in constexpr.
  void NewPrincipal() { AddPrincipal("Default", false); }
  void CopyPrincipal();
  void DeletePrincipal();

 protected:
  // Asks for a name and makes that principal of `source`, the name of another.
  virtual void AddPrincipal(const CString& source, bool isCopy) = 0;
  // The names as the list shows them.
  virtual CStringList RowsOf(const Record& record) const;
  // Reads and writes what lies in the folder; false if the folder can't be opened.
  virtual bool LoadFolder(const CTesselRegObject& key, Record& record);
  virtual bool SaveFolder(const CTesselRegObject& key, const Record& record);

  CListBox& List() const { return Base::m_form.template Get<CListBox>(Page::kList.list); }
  CString Selected() const { return List().SelectedText(); }
  CString PathOf(std::string_view principal) const {
    return CString(Base::m_target).append("::").append(principal);
  }
  // Makes the principal, with a row, a node and a copy of the settings of the one at `source`; returns its
  // node's path.
  CString MakePrincipal(const CString& name, const CString& source);
  void RefreshNode(const CString& path) { Base::m_context->pfnRefreshNode(path.c_str()); }

 private:
  // Lets a copy of one principal's settings wait as another's.
  void CopySettings(const CString& source, const CString& destination);

  bool m_newPrincipal = false;  // stays set: what it leads to does no harm with nothing pending
};

template <class Page, class Record>
bool ListPage<Page, Record>::OnApply() {
  const bool applied = Base::OnApply();
  if (m_newPrincipal) {
    for (const PageIndex index : Page::kList.applied) {
      if (auto* const page = PageAt<PrincipalSettings>(index)) page->ApplyPending();
    }
  }
  return applied;
}

template <class Page, class Record>
CStringList ListPage<Page, Record>::RowsOf(const Record& record) const {
  if (record.names.empty() && !Page::kList.emptyRow.empty()) return {CString(Page::kList.emptyRow)};
  CStringList rows = record.names;
  for (CString& row : rows) {
    if (!Page::kList.rowsAsStored) row = principal_list::DisplayName(row);
  }
  return rows;
}

template <class Page, class Record>
void ListPage<Page, Record>::ShowRecord(const Record& record) {
  Base::ShowRecord(record);
  const CDialog::FillScope filling(*this);
  CListBox& list = List();
  const CString selected = Selected();
  list.ResetContent();
  for (const CString& row : RowsOf(record)) list.AddString(row);
  if (!selected.empty()) list.SetCurSel(list.FindStringExact(selected));
}

template <class Page, class Record>
void ListPage<Page, Record>::ReadScreen(Record& record) {
  Base::ReadScreen(record);
  const CListBox& list = List();
  record.names.clear();
  record.names.reserve(list.GetCount());
  for (size_t row = 0; row < list.GetCount(); ++row) {
    record.names.push_back(principal_list::KeyName(list.GetRow(row)));
  }
}

template <class Page, class Record>
void ListPage<Page, Record>::LoadRecord(Record& record, const CString& target) {
  const auto key = Base::OpenTargetKey(target);
  if (key == nullptr) return;
  for (const Value<Record>& value : Page::kTable.values) LoadValue(*key, value, record);
  LoadFolder(*key, record);
}

template <class Page, class Record>
void ListPage<Page, Record>::SaveRecord(const Record& record, const CString& target) {
  const auto key = Base::OpenTargetKey(target);
  if (key == nullptr) return;
  SaveValues(*key, Page::kTable.values, record);
  if (!SaveFolder(*key, record) && Page::kList.silentWithoutFolder) return;
  // The keys stand, so the settings pages can write what waits for them.
  Base::QuerySiblings(static_cast<unsigned>(SiblingCode::ListChanged), 0);
}

template <class Page, class Record>
bool ListPage<Page, Record>::LoadFolder(const CTesselRegObject& key, Record& record) {
  const UniqueKey folder = principal_list::OpenFolder(key, Page::kList.folder);
  if (folder != nullptr) record.names = principal_list::NamesIn(folder.get());
  return folder != nullptr;
}

template <class Page, class Record>
bool ListPage<Page, Record>::SaveFolder(const CTesselRegObject& key, const Record& record) {
  const UniqueKey folder = principal_list::OpenFolder(key, Page::kList.folder);
  if (folder != nullptr) principal_list::Save(folder.get(), record.names);
  return folder != nullptr;
}

template <class Page, class Record>
bool ListPage<Page, Record>::Differs(const Record& a, const Record& b) const {
  return Base::Differs(a, b) ||
         !std::equal(a.names.begin(), a.names.end(), b.names.begin(), b.names.end(), text::EqualNoCase);
}

template <class Page, class Record>
void ListPage<Page, Record>::CopyPrincipal() {
  const CString selected = Selected();
  if (selected.empty()) {
    AfxMessageBox(Page::kList.selectToCopy);
  } else {
    AddPrincipal(selected, true);
  }
}

template <class Page, class Record>
void ListPage<Page, Record>::DeletePrincipal() {
  const ListRules& rules = Page::kList;
  const CString selected = Selected();
  if (selected.empty()) {
    AfxMessageBox(rules.selectToDelete);
    return;
  }
  if (!rules.cannotDelete.empty() && text::EqualNoCase(selected, rules.cannotDelete)) {
    AfxMessageBox(rules.cannotDeleteText);
    return;
  }
  if (AfxMessageBox("Are you sure wish to DELETE " + selected, Buttons::YesNo) == Reply::No) return;
  if (const std::ptrdiff_t row = List().FindStringExact(selected); row >= 0) {
    List().DeleteString(static_cast<size_t>(row));
  }
  const CString path = CString(Base::Title()).append("::").append(selected);
  Base::m_context->pfnRemoveNode(path.c_str(), 1);
  // The bare path: what waits on the pages with a node of their own is lost at Apply, with its key.
  for (const PageIndex index : rules.settings) {
    if (auto* const page = PageAt<PrincipalSettings>(index)) page->DropPending(path);
  }
  Base::TakeChange();
}

template <class Page, class Record>
CString ListPage<Page, Record>::MakePrincipal(const CString& name, const CString& source) {
  CString path = PathOf(name);
  CopySettings(source, path);
  List().AddString(name);
  m_newPrincipal = true;
  Base::m_context->pfnAddNode(path.c_str(), 65535, 4);
  return path;
}

template <class Page, class Record>
void ListPage<Page, Record>::CopySettings(const CString& source, const CString& destination) {
  for (const PageIndex index : Page::kList.settings) {
    auto* const page = PageAt<PrincipalSettings>(index);
    if (page == nullptr) continue;
    const CString suffix(page->NodeSuffix());
    page->StashPending(page->CopyOf(source + suffix), destination + suffix);
  }
}

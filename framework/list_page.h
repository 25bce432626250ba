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
  const char* folder;                     // the subkey that holds a key for each principal
  std::span<const PageIndex> settings{};  // the pages whose settings a new principal gets, in order
  // Where a new one's settings come from, if not from the pages that get them: pages of the same records.
  std::span<const PageIndex> newFrom{};
  std::string_view newFolder{};          // the node of the folder whose Default a new one starts from,
  std::string_view ownFolder{};          // in place of the list's own
  std::span<const PageIndex> applied{};  // the pages that write with this one once it has made a principal
  std::string_view emptyRow{};           // the row that stands in an empty list
  std::string_view cannotDelete{};       // a name that stays, in any case
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

// Opens the folder under `key` with full access.
DWORD OpenFolder(const CTesselRegObject& key, const char* folder, UniqueKey& opened);

// The folder's keys, in order.
CStringList NamesIn(HKEY folder);

// Deletes the folder's keys that `names` does not hold, by exact name, and makes those that are missing.
void Save(HKEY folder, const CStringList& names);

}  // namespace principal_list

// `Page` holds `static const ListRules kList` beside its kTable, whose values are those beside the folder,
// and a row of kTable fills m_list. Of two keys, the folder lies in the other one.
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
  bool Differs(const Record& a, const Record& b) const override;
  // Principals that were made go again, with what waits for them, and those that were deleted come back.
  void Revert(std::optional<size_t> control) override;

  // The buttons.
  void NewPrincipal() { AddPrincipal("Default", false); }
  void CopyPrincipal();
  void DeletePrincipal();

  CListBox* m_list = nullptr;

 protected:
  // Asks for a name and makes that principal of `source`, the name of another.
  virtual void AddPrincipal(const CString& source, bool isCopy) = 0;
  // The names as the list shows them.
  virtual CStringList RowsOf(const Record& record) const;
  // Reads and writes what lies in the folder, which is open with full access.
  virtual void LoadFolder(const CTesselRegObject& folder, Record& record) {
    record.names = principal_list::NamesIn(folder.GetKey());
  }
  virtual void SaveFolder(CTesselRegObject& folder, const Record& record) {
    principal_list::Save(folder.GetKey(), record.names);
  }

  // When the values beside the folder are written, before it is opened.
  virtual void BeforeFolder(const Record&) {}

  void LoadFrom(const CTesselRegObject& key, Record& record, KeyOf which) override;
  SaveResult SaveTo(CTesselRegObject& key, const Record& record, KeyOf which) override;

  CString Selected() const { return m_list->SelectedText(); }
  // Makes the principal, with a row, a node and a copy of the settings of `source`; returns its node's path.
  CString MakePrincipal(const CString& name, const CString& source, bool isCopy);
  void RefreshNode(const CString& path) { Base::m_context->pfnRefreshNode(path.c_str()); }

 private:
  static constexpr KeyOf kFolderKey = Page::kTable.twoKeys ? KeyOf::Other : KeyOf::Own;

  CString PathOf(std::string_view principal) const {
    return CString(Base::m_target).append("::").append(principal);
  }

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
  const CString selected = Selected();
  m_list->ResetContent();
  for (const CString& row : RowsOf(record)) m_list->AddString(row);
  if (!selected.empty()) m_list->SetCurSel(m_list->FindStringExact(selected));
}

template <class Page, class Record>
void ListPage<Page, Record>::ReadScreen(Record& record) {
  Base::ReadScreen(record);
  record.names.clear();
  record.names.reserve(m_list->GetCount());
  for (size_t row = 0; row < m_list->GetCount(); ++row) {
    record.names.push_back(principal_list::KeyName(m_list->GetRow(row)));
  }
}

// A folder that can't be opened leaves the names as they were.
template <class Page, class Record>
void ListPage<Page, Record>::LoadFrom(const CTesselRegObject& key, Record& record, KeyOf which) {
  Base::LoadFrom(key, record, which);
  UniqueKey folder;
  if (which == kFolderKey && principal_list::OpenFolder(key, Page::kList.folder, folder) == ERROR_SUCCESS) {
    LoadFolder(CTesselRegObject(nullptr, folder.release()), record);
  }
}

// What became of the switch's value does not keep the folder from being written.
template <class Page, class Record>
SaveResult ListPage<Page, Record>::SaveTo(CTesselRegObject& key, const Record& record, KeyOf which) {
  SaveResult result = Base::SaveTo(key, record, which);
  if (which != kFolderKey) return result;
  BeforeFolder(record);
  UniqueKey folder;
  const DWORD opened = principal_list::OpenFolder(key, Page::kList.folder, folder);
  if (opened == ERROR_SUCCESS) {
    CTesselRegObject open(nullptr, folder.release());
    SaveFolder(open, record);
  } else if (result) {
    result = {opened, Page::kList.folder};
  }
  // The keys stand, so the settings pages can write what waits for them.
  if (opened == ERROR_SUCCESS || !Page::kList.silentWithoutFolder) {
    Base::QuerySiblings(static_cast<unsigned>(SiblingCode::ListChanged), 0);
  }
  return result;
}

template <class Page, class Record>
bool ListPage<Page, Record>::Differs(const Record& a, const Record& b) const {
  return Base::Differs(a, b) ||
         !std::equal(a.names.begin(), a.names.end(), b.names.begin(), b.names.end(), text::EqualNoCase);
}

template <class Page, class Record>
void ListPage<Page, Record>::Revert(std::optional<size_t> control) {
  if (control) return Base::Revert(control);
  Record before = Base::m_current;
  ReadScreen(before);
  Base::Revert(control);
  const CStringList& stored = Base::m_current.names;
  for (const CString& name : before.names) {
    if (principal_list::Holds(stored, name)) continue;
    const CString path = PathOf(principal_list::DisplayName(name));
    Base::m_context->pfnRemoveNode(path.c_str(), 1);
    for (const PageIndex index : Page::kList.settings) {
      auto* const page = PageAt<PrincipalSettings>(index);
      if (page != nullptr) page->DropPending(path + CString(page->NodeSuffix()));
    }
  }
  for (const CString& name : stored) {
    if (principal_list::Holds(before.names, name)) continue;
    Base::m_context->pfnAddNode(PathOf(principal_list::DisplayName(name)).c_str(), 65535, 4);
  }
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
  if (const std::ptrdiff_t row = m_list->FindStringExact(selected); row >= 0) {
    m_list->DeleteString(static_cast<size_t>(row));
  }
  const CString path = CString(Base::Title()).append("::").append(selected);
  Base::m_context->pfnRemoveNode(path.c_str(), 1);
  // The bare path: what waits on the pages with a node of their own is lost at Apply, with its key.
  for (const PageIndex index : rules.settings) {
    if (auto* const page = PageAt<PrincipalSettings>(index)) page->DropPending(path);
  }
  Base::TakeChange();
}

// A copy of one principal's settings waits as the new one's.
template <class Page, class Record>
CString ListPage<Page, Record>::MakePrincipal(const CString& name, const CString& source, bool isCopy) {
  const ListRules& rules = Page::kList;
  const bool elsewhere = !isCopy && !rules.newFolder.empty();
  CString path = PathOf(name);
  const CString from =
      elsewhere ? text::Replaced(PathOf(source), rules.ownFolder, rules.newFolder) : PathOf(source);
  for (size_t i = 0; i < rules.settings.size(); ++i) {
    auto* const page = PageAt<PrincipalSettings>(rules.settings[i]);
    auto* const giver =
        elsewhere && i < rules.newFrom.size() ? PageAt<PrincipalSettings>(rules.newFrom[i]) : page;
    if (page == nullptr || giver == nullptr) continue;
    const CString suffix(page->NodeSuffix());
    page->StashPending(giver->CopyOf(from + suffix), path + suffix);
  }
  m_list->AddString(name);
  m_newPrincipal = true;
  Base::m_context->pfnAddNode(path.c_str(), 65535, 4);
  return path;
}

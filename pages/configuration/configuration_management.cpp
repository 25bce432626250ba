// Longer than most pages: whole configurations go in and out here, besides the list of administrators.

#include <array>
#include <optional>
#include <span>

#include "configuration/settings_export.h"
#include "framework/record_page.h"
#include "pages/configuration/administrators.h"
#include "pages/configuration/default_security.h"
#include "pages/configuration/legacy_settings.h"
#include "pages/pages.h"
#include "pages/principals/group_picker.h"
#include "pages/principals/removal.h"
#include "pages/principals/user_name.h"
#include "store/diagnostic_log.h"
#include "store/error_text.h"
#include "store/key_security.h"
#include "store/places.h"
#include "store/privilege.h"

namespace {

// Who may administer is an access list and no setting: there are no values.
class CPrpCfgSettings final : public RecordPage<CPrpCfgSettings, AdminList> {
 public:
  explicit CPrpCfgSettings(const PageArguments& arguments)
      : RecordPage(arguments), m_productWord(arguments.productWord) {}
  static const PageTable kTable;

  void ShowRecord(const AdminList& record) override;
  void ReadScreen(AdminList& record) override;
  bool Differs(const AdminList& a, const AdminList& b) const override { return a != b; }

  void AddUser();
  void AddGroup();
  void Delete();
  void EditRights();
  void FollowSelection();

  void OnExportSettings();
  void OnImportSettings();
  void OnRestoreSettings();
  void OnExportLegacySettings();
  void OnImportLegacySettings();

  CListCtrl* m_list = nullptr;
  CButton* m_delete = nullptr;
  CButton* m_edit = nullptr;

 protected:
  void LoadFrom(const CTesselRegObject& key, AdminList& record, KeyOf which) override;
  SaveResult SaveTo(CTesselRegObject& key, const AdminList& record, KeyOf which) override;

 private:
  std::unique_ptr<CTesselRegObject> OpenKeyForPath() const;
  void ShowImported(const CString& message);
  void AddRow(const CAdminStruct& entry, size_t row = 0);
  void TakeRows();
  void OfferToSave();

  std::string_view m_productWord;
};

using C = CPrpCfgSettings::Controls;

constexpr std::string_view kColumns[] = {"User/Group", "Access"};
constexpr int kWidths[] = {200, 100};

constexpr Row kControls[] = {
    C::Note("Export, import and restore of settings work on the computer that this console runs on.")
        .ForOtherComputers(),
    C::Group("Configuration Administrators"),
    C::Table("", kColumns, kWidths)
        .MultipleSelection()
        .As<&CPrpCfgSettings::m_list>()
        .On<&CPrpCfgSettings::FollowSelection>(),
    C::Button("Add User").On<&CPrpCfgSettings::AddUser>(),
    C::Button("Add Group").On<&CPrpCfgSettings::AddGroup>(),
    C::Button("Delete").As<&CPrpCfgSettings::m_delete>().On<&CPrpCfgSettings::Delete>(),
    C::Button("Edit Access").As<&CPrpCfgSettings::m_edit>().On<&CPrpCfgSettings::EditRights>(),
    C::EndGroup(),
    C::Group("Settings"),
    C::Group("Version 5.0 Build 9 Revision 1956 or later settings stored in XML file"),
    C::Button("Export Settings").On<&CPrpCfgSettings::OnExportSettings>(),
    C::Button("Import Settings").On<&CPrpCfgSettings::OnImportSettings>(),
    C::Button("Restore Settings").On<&CPrpCfgSettings::OnRestoreSettings>(),
    C::EndGroup(),
    C::Group("Legacy settings stored as registry file"),
    C::Button("Export Legacy Settings").On<&CPrpCfgSettings::OnExportLegacySettings>(),
    C::Button("Import Legacy Settings").On<&CPrpCfgSettings::OnImportLegacySettings>(),
    C::EndGroup(),
    C::EndGroup(),
};

constexpr PageTable CPrpCfgSettings::kTable = {
    .caption = "Configuration Management",
    .helpTopic = "::IDH_ConfigManagement.htm",
    .hears = Hears::Nothing,
    .controls = kControls,
};

constexpr const char* kSettingsFile = "Shared Files\\marrowen_settings.xml";
constexpr const char* kDefaultsFile = "Shared Files\\marrowen_default_settings.xml";
constexpr const char* kFileFilter = "Tessel Settings (*.xml)|*.xml|All Files (*.*)|*.*||";
constexpr const char* kLegacyFile = "Shared Files\\marrowen.tcfg";
constexpr const char* kLegacyFilter =
    "Tessel Settings (*.tcfg)|*.tcfg|Registration Files (*.reg)|*.reg|All Files (*.*)|*.*||";
constexpr std::uint32_t kOtherProduct = 0xFFFFFFFF;

constexpr const char* kAskToSave = "Would you like to save changes before exporting?";
constexpr const char* kAskToImport =
    "Are you sure you want to import new configuration settings?                  \r\n"
    "Importing the wrong file could cause settings to be damaged.";
constexpr const char* kAskToRestore =
    "Are you sure you want to restore to default configuration settings? Default settings are stored in the "
    "file marrowen_default_settings.xml. If these settings were changed outside of this configuration "
    "program, the settings will not reflect the true program defaults.";
constexpr const char* kNoDefaults =
    "The file marrowen_default_settings.xml does not exist in the default location. Unable to restore to "
    "default settings. \r\n\r\n"
    "If the file exists in another location use the Import Settings button to restore.";
constexpr const char* kBadDefaults =
    "The file marrowen_default_settings.xml has been corrupted. Unable to restore to default settings. "
    "\r\n\r\n"
    "If the file exists in another location use the Import Settings button to restore.";

bool SaysYes(std::string_view question) { return AfxMessageBox(question, Buttons::YesNo) == Reply::Yes; }

// The installation folder with a backslash at its end; empty if the key names none.
CString FolderOf(const CTesselRegObject& key) {
  std::array<char, kValueBufferSize> folder{};
  key.GetStringValue("Path", reinterpret_cast<BYTE*>(folder.data()), static_cast<DWORD>(folder.size()));
  return folder.data();
}

// How an export went: it has failed where a sentence says so.
struct Exported {
  bool cancelled = false;
  CString why;
};

// Writes the local computer's settings, whichever one `key` is of. A file that can't be opened is passed
// over. Nothing takes the file's place unless all of it could be read and written.
Exported WriteSettings(const CTesselRegObject& key, const CString& folder, const CString& file) {
  Exported exported;
  EngineCallbacks ui;
  ui.ask = SaysYes;
  ui.tell = [](const CString& message) { AfxMessageBox(message); };
  ui.turn = [&exported, first = std::optional<int>()](int keys) mutable {
    if (!first) first = keys;
    const auto done = static_cast<std::uint64_t>(keys - *first);
    exported.cancelled = exported.cancelled || !CurrentFrontEnd().TakeTurn({done, "keys"});
    return exported.cancelled ? Turn::End : Turn::GoOn;
  };
  ui.unreadable = [&exported](const CString& path, LSTATUS status) {
    if (!exported.why.empty()) return;
    exported.why = "the key " + path + " can't be read. " + ErrorTextOf(static_cast<DWORD>(status));
  };
  XmlWriter writer;
  writer.SetFileName(file);
  const XmlElement registry("registry");
  registry.WriteStart(writer, 1, true, true);
  XmlElement product("product");
  product.SetAttribute("name", kSettingsProduct);
  product.WriteEmpty(writer, 1, true, true);
  const CStringList tokens = ExportTokens(folder);
  const std::span<const char* const> paths(kExportedKeys);
  {
    // Cached credentials lie under lists of their own.
    const key_security::OpenedUp opened(key.GetRoot(), key.GetKeyPath(), key.GetAccess());
    ExportRegistryKey(writer, false, paths.front(), &tokens, ui);
  }
  for (const char* path : paths.subspan(1)) ExportRegistryKey(writer, false, path, &tokens, ui);
  registry.WriteEnd(writer, -1, true, true);
  // What was declined since the last turn.
  exported.cancelled = exported.cancelled || !CurrentFrontEnd().TakeTurn({1, "keys"});
  if (exported.cancelled || !exported.why.empty()) {
    writer.Abandon();
    return exported;
  }
  writer.Close();
  const FileError& error = writer.GetError();
  if (error) exported.why = error.sentence + " " + ErrorTextOf(error.code);
  return exported;
}

void CPrpCfgSettings::ShowRecord(const AdminList& record) {
  const FillScope filling(*this);
  m_list->DeleteAllItems();
  for (const CAdminStruct& entry : record) AddRow(entry, m_list->GetItemCount());
  FollowSelection();
}

void CPrpCfgSettings::ReadScreen(AdminList& record) {
  AdminList rows;
  for (size_t row = 0; row < m_list->GetItemCount(); ++row)
    rows.push_back(EntryOf(m_list->GetItemText(row), m_list->GetItemText(row, 1)));
  record = SortList(std::move(rows));
}

// That the target's key can be opened is the condition alone: the list is that of the local server's key.
void CPrpCfgSettings::LoadFrom(const CTesselRegObject&, AdminList& record, KeyOf) {
  if (std::optional<AdminList> read = ReadAdministrators()) record = std::move(*read);
}

SaveResult CPrpCfgSettings::SaveTo(CTesselRegObject& key, const AdminList& record, KeyOf) {
  LogPrint(0, "Save Changes called for PrpCfgSettings\n");
  return {WriteAdministrators(key, record), {}};
}

void CPrpCfgSettings::AddRow(const CAdminStruct& entry, size_t row) {
  m_list->InsertItem(row, {entry.name, AccessText(entry)});
}

// The rows stand in order of names again after each change.
void CPrpCfgSettings::TakeRows() {
  ReadScreen(m_current);
  ShowRecord(m_current);
  UpdateModified();
}

void CPrpCfgSettings::FollowSelection() {
  const bool selected = m_list->GetSelected() >= 0;
  m_delete->EnableWindow(selected);
  m_edit->EnableWindow(selected);
}

// A user who is in the list already gets a second row; of two, the store gives back the first.
void CPrpCfgSettings::AddUser() {
  const CString name = AskUserName('\\');
  if (name.empty()) return;
  AddRow({name});
  TakeRows();
}

void CPrpCfgSettings::AddGroup() {
  const CStringList chosen = PickGroups();
  if (chosen.empty()) return;
  for (const CString& group : chosen) {
    const CString name = group.substr(std::min(group.find_first_not_of('\\'), group.size()));
    AdminList rows;
    ReadScreen(rows);
    if (ContainsName(rows, name)) {
      AfxMessageBox("Cannot add group. Group " + name + " already exists.");
    } else {
      AddRow({name});
    }
  }
  TakeRows();
}

void CPrpCfgSettings::Delete() {
  if (m_list->GetSelected() < 0) {
    AfxMessageBox("Error: Must select item for deletion.");
    return;
  }
  if (!SaysYes("Are you sure you wish to delete the selected users?")) return;
  for (std::ptrdiff_t row = m_list->GetSelected(); row >= 0; row = m_list->GetSelected())
    m_list->DeleteItem(static_cast<size_t>(row));
  TakeRows();
}

void CPrpCfgSettings::EditRights() {
  const std::ptrdiff_t selected = m_list->GetSelected();
  if (selected < 0) {
    AfxMessageBox("Please select a user to edit.");
    return;
  }
  const auto row = static_cast<size_t>(selected);
  CAdminStruct entry = EntryOf(m_list->GetItemText(row), m_list->GetItemText(row, 1));
  if (!EditAccess(entry)) return;
  m_list->DeleteItem(row);
  AddRow(entry, row);
  TakeRows();
}

void CPrpCfgSettings::OfferToSave() {
  if (m_context->pfnHasUnsavedChanges(m_context) != 0 && SaysYes(kAskToSave)) {
    QuerySiblings(static_cast<unsigned>(SiblingCode::Apply), 0);
  }
}

void CPrpCfgSettings::OnExportSettings() {
  const auto key = OpenTargetKey(m_target);
  if (key == nullptr) return;
  OfferToSave();
  const CString folder = FolderOf(*key);
  std::optional<std::string> file =
      CurrentFrontEnd().PickFile({true, true, folder + kSettingsFile, kFileFilter, true});
  if (!file) return;
  // A pipe or a device has no other name.
  if (file->find('.') == CString::npos && !IsStream(*file)) *file += ".xml";
  const Exported exported = WriteSettings(*key, folder, *file);
  if (exported.cancelled) return;
  if (!exported.why.empty()) {
    AfxMessageBox("Settings could not be saved in " + *file + ": " + exported.why);
    return;
  }
  // Also where the file could not be opened.
  AfxMessageBox("Settings saved in " + *file + ".");
}

void CPrpCfgSettings::OnImportSettings() {
  if (!SaysYes(kAskToImport)) return;
  const auto key = OpenKeyForPath();
  if (key == nullptr) return;
  const auto file =
      CurrentFrontEnd().PickFile({false, false, FolderOf(*key) + kSettingsFile, kFileFilter, true});
  if (!file) return;
  const std::uint32_t status = m_context->pfnImportSettings(kSettingsProduct, *file);
  if (status == kOtherProduct) {
    AfxMessageBox("File is not for Tessel Marrowen SSH Server.");
  } else if (status != ERROR_SUCCESS) {
    AfxMessageBox("Unable to Import settings. " + ErrorTextOf(status));
  } else {
    ShowImported("Settings from " + *file + " imported.");
  }
}

void CPrpCfgSettings::OnRestoreSettings() {
  if (!SaysYes(kAskToRestore)) return;
  const auto key = OpenKeyForPath();
  if (key == nullptr) return;
  const CString file = FolderOf(*key) + kDefaultsFile;
  if (_access(file.c_str(), 0) != 0) {
    AfxMessageBox(kNoDefaults);
    return;
  }
  const std::uint32_t status = m_context->pfnImportSettings(kSettingsProduct, file);
  if (status == kOtherProduct) {
    AfxMessageBox(kBadDefaults);
  } else if (status != ERROR_SUCCESS) {
    AfxMessageBox("Unable to restore to default settings. " + ErrorTextOf(status));
  } else {
    ShowImported("System restored to default settings.");
    SetDefaultSecurity(*key);
  }
}

void CPrpCfgSettings::OnExportLegacySettings() {
  const auto key = OpenTargetKey(m_target);
  if (key == nullptr) return;
  OfferToSave();
  std::optional<std::string> file =
      CurrentFrontEnd().PickFile({true, true, FolderOf(*key) + kLegacyFile, kLegacyFilter});
  if (!file) return;
  if (file->find('.') == CString::npos) *file += ".tcfg";
  DWORD status = ERROR_SUCCESS;
  {
    const HeldPrivilege privilege(SE_BACKUP_NAME);
    status = privilege.Status();
    if (status == ERROR_SUCCESS) status = SaveLegacySettings(*key, m_computer, *file);
  }
  if (status != ERROR_SUCCESS) AfxMessageBox("Unable to Export settings. " + ErrorTextOf(status));
}

// The principals leave the host's tree before the files are read, and stay away from it if that fails. The
// host is told of no import: it shows the new ones when it next builds its tree.
void CPrpCfgSettings::OnImportLegacySettings() {
  if (!SaysYes(kAskToImport)) return;
  const auto key = OpenTargetKey(m_target);
  if (key == nullptr) return;
  const auto file = CurrentFrontEnd().PickFile({false, false, FolderOf(*key) + kLegacyFile, kLegacyFilter});
  if (!file) return;
  DWORD status = ERROR_SUCCESS;
  {
    const HeldPrivilege privilege(SE_RESTORE_NAME);
    status = privilege.Status();
    if (status == ERROR_SUCCESS) {
      m_context->pfnBeforeRestore();
      const principal_removal::Tree tree{m_computer, m_productWord, m_context->pfnRemoveNode};
      principal_removal::RemoveUsers(tree, R"(Software\TesselWorks\SSHD\Users)", "Users");
      principal_removal::RemoveUsers(tree, R"(Software\TesselWorks\SSHD\Groups)", "Groups");
      principal_removal::RemoveFileTransferUsers(tree, true);
      principal_removal::RemoveFileTransferUsers(tree, false);
      status = RestoreLegacySettings(*key, m_computer, *file);
    }
  }
  if (status == ERROR_SUCCESS) {
    QuerySiblings(static_cast<unsigned>(SiblingCode::Reload), 0);
  } else {
    AfxMessageBox("Unable to Import settings. " + ErrorTextOf(status));
  }
}

// A key to read `Path` from: the server's, else the maker's.
std::unique_ptr<CTesselRegObject> CPrpCfgSettings::OpenKeyForPath() const {
  auto key = OpenTargetKey(m_target);
  if (key != nullptr) return key;
  key = std::make_unique<CTesselRegObject>(kSettingsRoot);
  if (key->OpenKey(m_computer.c_str(), HKEY_LOCAL_MACHINE, kSettingsRoot) != ERROR_SUCCESS) return nullptr;
  return key;
}

void CPrpCfgSettings::ShowImported(const CString& message) {
  QuerySiblings(static_cast<unsigned>(SiblingCode::Reload), 0);
  AfxMessageBox(message);
  m_context->pfnAfterImport();
  m_context->pfnRefreshNode(Title().c_str());
}

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeCfgSettingsPage(const PageArguments& arguments) {
  return std::make_unique<CPrpCfgSettings>(arguments);
}

// Longer than most pages: the dialog of a virtual root and the table of them stand with it.

#include <algorithm>

#include "framework/form_dialog.h"
#include "framework/principal_page.h"
#include "pages/filetransfer/file_transfer.h"
#include "pages/pages.h"

namespace {

// A virtual root: the client sees the folder under a name of its own.
struct VirtualRoot {
  CString virtualPath;
  CString filePath;
};

// Stored as one text: "Data/D:\exports". The first "/" separates the two; there may be more in a file path.
VirtualRoot RootOf(std::string_view entry) {
  const size_t slash = std::min(entry.find('/'), entry.size());
  return {CString(entry.substr(0, slash)), CString(entry.substr(std::min(slash + 1, entry.size())))};
}
CString EntryOf(const VirtualRoot& root) { return root.virtualPath + '/' + root.filePath; }

// The edit of a virtual path, which no separator may be typed into.
class CVPEdit final : public CEdit {
 public:
  std::string Takes() const override { return R"(no "/" and no "\")"; }

 protected:
  bool Accepts(char c) const override { return c != '/' && c != '\\'; }
};

class CDlgAddMap final : public FormDialog<CDlgAddMap, VirtualRoot> {
 public:
  explicit CDlgAddMap(VirtualRoot root = {}) : FormDialog("Virtual Root Directory", std::move(root)) {}
  static const std::span<const Row> kControls;
};

bool IsComplete(const VirtualRoot& root) { return !root.virtualPath.empty() && !root.filePath.empty(); }

using D = Rows<VirtualRoot>;
constexpr int kLongestPath = 255;
constexpr Row kRootControls[] = {
    D::Edit<&VirtualRoot::virtualPath>("Virtual Path").MaxLength(kLongestPath).MadeOf<CVPEdit>(),
    D::Edit<&VirtualRoot::filePath>("File Path").MaxLength(kLongestPath),
    D::BrowseFolder<&VirtualRoot::filePath>(""),
    D::Button("OK")
        .Default()
        .EnabledWhen<IsComplete, &VirtualRoot::virtualPath, &VirtualRoot::filePath>()
        .On<&CDlgAddMap::OnOK>(),
    D::Button("Cancel").On<&CDialog::OnCancel>(),
};
const std::span<const Row> CDlgAddMap::kControls = kRootControls;

struct SftpRecord {
  bool allowed = true;
  CString startDir;
  bool useDefaults = false;
  int rootMode = 1;
  CStringList vRoots;
  bool mapUserDrives = false;
  bool threadDriveMap = false;
  bool showHiddenFiles = false;
};

class CPrpSFTPUser final : public PrincipalPage<CPrpSFTPUser, SftpRecord> {
 public:
  using PrincipalPage::PrincipalPage;
  static const PageTable kTable;

  void ShowRecord(const SftpRecord& record) override;

  // The buttons beside the table of virtual roots, which change the record and not the screen alone.
  void Add();
  void Remove();
  void Edit();

  CListCtrl* m_table = nullptr;

 private:
  CString EntryAt(std::ptrdiff_t row) const {
    const auto place = static_cast<size_t>(row);
    return EntryOf({m_table->GetItemText(place, 0), m_table->GetItemText(place, 1)});
  }
};

using R = SftpRecord;
using C = CPrpSFTPUser::Controls;
using V = CPrpSFTPUser::StoredValues;

// What a client sees, in the order of R::rootMode.
constexpr std::string_view kModes[] = {"vroot", "mroot", "admin", "share"};
enum : int { kVirtualRoots, kHome, kAboveHome, kShares };

bool HasRoots(const R& record) { return record.rootMode == kVirtualRoots; }
bool HasHome(const R& record) { return record.rootMode != kVirtualRoots; }
bool PicksHome(const R& record) { return record.rootMode == kHome || record.rootMode == kAboveHome; }

constexpr std::string_view kColumns[] = {"Virtual Path", "File Path"};
constexpr Row kControls[] = {
    C::Group("Home directory functionality"),
    C::Radio<&R::rootMode>("Use virtual directory assignments", kVirtualRoots),
    C::Radio<&R::rootMode>("Restrict user to home directory and subdirectories", kHome),
    C::Radio<&R::rootMode>("Allow user to traverse above home directory", kAboveHome),
    C::Radio<&R::rootMode>("Use virtual directory of network shares", kShares),
    C::Edit<&R::startDir>("Home directory").EnabledWhen<HasHome, &R::rootMode>(),
    C::BrowseFolder<&R::startDir>("Root Directory").EnabledWhen<PicksHome, &R::rootMode>(),
    C::EndGroup(),
    C::Group("Virtual Root Directory Mapping").EnabledWhen<HasRoots, &R::rootMode>(),
    C::Table<&R::vRoots>("", kColumns)
        .EnabledWhen<HasRoots, &R::rootMode>()
        .As<&CPrpSFTPUser::m_table>()
        .OnDoubleClick<&CPrpSFTPUser::Edit>(),
    C::Button("Add").EnabledWhen<HasRoots, &R::rootMode>().On<&CPrpSFTPUser::Add>(),
    C::Button("Remove").EnabledWhen<HasRoots, &R::rootMode>().On<&CPrpSFTPUser::Remove>(),
    C::Button("Edit").EnabledWhen<HasRoots, &R::rootMode>().On<&CPrpSFTPUser::Edit>(),
    C::EndGroup(),
    C::Note("Select if user's mapped network drives are to be made available in a session"),
    C::CheckBox<&R::mapUserDrives>("Map User Drives"),
    C::CheckBox<&R::threadDriveMap>("Map drives in background").EnabledBy<&R::mapUserDrives>(),
    C::CheckBox<&R::showHiddenFiles>("Show hidden files"),
    // Never shown, so these stay as each record has them: neither is stored.
    C::CheckBox<&R::allowed>("Allow SFTP Access").Hidden(),
    C::CheckBox<&R::useDefaults>("Disable User Configuration and use Default User configuration").Hidden(),
};

// A mode that can't be read is the restricted one too. The roots are written whatever became of the values
// before them, and stay stored while another mode is in force.
constexpr Value kValues[] = {
    V::Text<&R::startDir>("StartDir").NoCase(),
    V::Flag<&R::mapUserDrives>("MapUserDrives", ReadRule::TrueOnlyIfYes),
    V::Flag<&R::threadDriveMap>("ThreadDriveMap", ReadRule::TrueOnlyIfYes),
    V::Flag<&R::showHiddenFiles>("ShowHiddenFiles", ReadRule::TrueOnlyIfYes),
    V::Word<&R::rootMode>("ClientRootMode", kModes, kHome).FailedIsAbsent(),
    V::MultiString<&R::vRoots>("vRoots").AnyOrder().Always(),
};

constexpr PageTable CPrpSFTPUser::kTable = {
    .caption = "SFTP User",
    .helpTopic = kSftpHelp,
    .helpKey = kHelpKey,
    .routing = Routing::SftpPrincipal,
    .hears = Hears::ListChangesToo,
    .controls = kControls,
    .values = kValues,
};

void CPrpSFTPUser::ShowRecord(const R& record) {
  PrincipalPage::ShowRecord(record);
  const FillScope filling(*this);
  m_table->DeleteAllItems();
  for (const CString& entry : record.vRoots) {
    const VirtualRoot root = RootOf(entry);
    m_table->InsertItem(m_table->GetItemCount(), {root.virtualPath, root.filePath});
  }
}

void CPrpSFTPUser::Add() {
  CDlgAddMap dialog;
  if (dialog.DoModal() == Reply::Ok) m_current.vRoots.push_back(EntryOf(dialog.Data()));
  ShowRecord(m_current);
  UpdateModified();
}

// Equal rows go together. The row of an entry that has no "/" goes from the screen alone: the text that it
// stands for is not the entry's, which is another tool's and stays stored.
void CPrpSFTPUser::Remove() {
  const std::ptrdiff_t selected = m_table->GetSelected();
  if (selected < 0) return;
  const CString entry = EntryAt(selected);
  std::erase(m_current.vRoots, entry);
  for (auto row = static_cast<std::ptrdiff_t>(m_table->GetItemCount()) - 1; row >= 0; --row) {
    if (EntryAt(row) == entry) m_table->DeleteItem(static_cast<size_t>(row));
  }
  UpdateModified();
}

void CPrpSFTPUser::Edit() {
  const std::ptrdiff_t selected = m_table->GetSelected();
  if (selected < 0) return;
  const CString entry = EntryAt(selected);
  CDlgAddMap dialog(RootOf(entry));
  if (dialog.DoModal() == Reply::Ok) {
    std::replace(m_current.vRoots.begin(), m_current.vRoots.end(), entry, EntryOf(dialog.Data()));
  }
  ShowRecord(m_current);
  UpdateModified();
}

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeSftpUserPage(const PageArguments& arguments) {
  return std::make_unique<CPrpSFTPUser>(arguments);
}

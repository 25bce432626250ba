#include <unordered_map>
#include <unordered_set>

#include "framework/name_set.h"
#include "pages/pages.h"
#include "pages/principals/group_picker.h"
#include "pages/principals/principals.h"
#include "store/diagnostic_log.h"

namespace {

struct GroupListRecord : PrincipalListRecord {
  CString order;  // the groups by rank, as the screen shows them, with commas between
};

class CPrpGroupsMain final : public ListPage<CPrpGroupsMain, GroupListRecord> {
 public:
  using ListPage::ListPage;
  static const Table kTable;
  static const ListRules kList;

  void ReadScreen(GroupListRecord& record) override;
  bool Differs(const GroupListRecord& a, const GroupListRecord& b) const override;

  void MoveUp() { Move(-1); }
  void MoveDown() { Move(1); }

 protected:
  void AddPrincipal(const CString& source, bool isCopy) override;
  CStringList RowsOf(const GroupListRecord& record) const override;
  bool LoadFolder(const CTesselRegObject& key, GroupListRecord& record) override;
  bool SaveFolder(const CTesselRegObject& key, const GroupListRecord& record) override;

 private:
  void Move(std::ptrdiff_t by);
};

using R = GroupListRecord;
using C = CPrpGroupsMain::Controls;

constexpr char kOrder[] = "Order";

const C::R kControls[] = {
    C::CheckBox("Only allow configured groups shell access", static_cast<bool R::*>(&R::allowOnly)),
    C::List("Groups"),
    C::Button("New Group", &CPrpGroupsMain::NewPrincipal),
    C::Button("Copy Group", &CPrpGroupsMain::CopyPrincipal),
    C::Button("Delete Group", &CPrpGroupsMain::DeletePrincipal),
    C::Button("Up", &CPrpGroupsMain::MoveUp),
    C::Button("Down", &CPrpGroupsMain::MoveDown),
};

constexpr Value<R> kValues[] = {
    {.name = "AllowByGroup", .field = static_cast<bool R::*>(&R::allowOnly), .rule = ReadRule::TrueOnlyIfYes},
};

constexpr CPrpGroupsMain::Table CPrpGroupsMain::kTable = {
    .caption = "Groups",
    .helpTopic = "::IDH_GroupManagement.htm",
    .routing = Routing::GroupList,
    .controls = kControls,
    .values = kValues,
};

constexpr ListRules CPrpGroupsMain::kList = {
    .list = "Groups",
    .folder = "Groups",
    .settings = kCopiedSettings,
    .applied = kCopiedSettings,
    .selectToCopy = "Please Select Group to copy",
    .selectToDelete = "Please Select Group from List Box",
    .silentWithoutFolder = true,
};

// Those of `names` that stand in the text as a part of it. They are looked up by their length at each place
// of the text, so that the time does not grow with their number.
std::unordered_set<std::string_view> PartsOf(std::string_view text,
                                             const std::vector<std::string_view>& names) {
  std::unordered_map<size_t, std::unordered_set<std::string_view>> byLength;
  for (const std::string_view name : names) byLength[name.size()].insert(name);
  std::unordered_set<std::string_view> parts;
  for (auto& [length, wanted] : byLength) {
    for (size_t at = 0; at + length <= text.size() && !wanted.empty(); ++at) {
      const auto found = wanted.find(text.substr(at, length));
      if (found != wanted.end()) parts.insert(wanted.extract(found));
    }
  }
  return parts;
}

// A key whose name does not stand in the order, be it as a part of another name, does not exist for this
// page; a name without a key drops out of the order.
bool CPrpGroupsMain::LoadFolder(const CTesselRegObject& key, GroupListRecord& record) {
  const CTesselRegObject folder(nullptr, principal_list::OpenFolder(key, kList.folder).release());
  if (folder.GetKey() == nullptr) return false;
  const CString order = principal_list::KeyName(folder.GetStringValue(kOrder));
  const CStringList names = principal_list::NamesIn(folder.GetKey());
  const CStringList tokens = text::Split(order, ',');
  const NameSet ranks(tokens);
  std::vector<bool> hasKey(tokens.size());
  std::vector<std::string_view> unranked;
  for (const CString& name : names) {
    if (const size_t rank = ranks.Find(name); rank != NameSet::kNone) {
      hasKey[rank] = true;
    } else {
      unranked.emplace_back(name);
    }
  }
  const auto parts = PartsOf(order, unranked);
  record.names.clear();
  for (const CString& name : names) {
    if (ranks.Holds(name) || parts.contains(name)) record.names.push_back(name);
  }
  record.order.clear();
  for (size_t rank = 0; rank < tokens.size(); ++rank) {
    // A name that comes again stands at its first rank.
    if (!hasKey[rank] && !hasKey[ranks.Find(tokens[rank])]) continue;
    if (!record.order.empty()) record.order += ',';
    record.order += tokens[rank];
  }
  record.order = principal_list::DisplayName(record.order);
  return true;
}

bool CPrpGroupsMain::SaveFolder(const CTesselRegObject& key, const GroupListRecord& record) {
  CTesselRegObject folder(nullptr, principal_list::OpenFolder(key, kList.folder).release());
  if (folder.GetKey() == nullptr) return false;
  folder.SetBinaryValue(kOrder, record.order, REG_SZ);
  principal_list::Save(folder.GetKey(), record.names);
  return true;
}

// By rank; names without a place in the order have no row.
CStringList CPrpGroupsMain::RowsOf(const GroupListRecord& record) const {
  LogPrint(0, "order = ");
  return text::Split(record.order, ',');
}

void CPrpGroupsMain::ReadScreen(GroupListRecord& record) {
  ListPage::ReadScreen(record);
  const CListBox& list = List();
  LogPrint(0, "GroupCount = %d\n", static_cast<int>(list.GetCount()));
  record.order.clear();
  for (size_t row = 0; row < list.GetCount(); ++row) {
    if (row > 0) record.order += ',';
    record.order += list.GetRow(row);
  }
  LogPrint(0, "Write Order =|%s|\n", record.order.c_str());
}

bool CPrpGroupsMain::Differs(const GroupListRecord& a, const GroupListRecord& b) const {
  return !text::EqualNoCase(a.order, b.order) || ListPage::Differs(a, b);
}

void CPrpGroupsMain::Move(std::ptrdiff_t by) {
  const CString selected = Selected();
  if (selected.empty()) {
    AfxMessageBox("Please Select Group");
    return;
  }
  CListBox& list = List();
  const std::ptrdiff_t row = list.FindStringExact(selected);
  const std::ptrdiff_t place = row + by;
  if (place >= 0 && place < static_cast<std::ptrdiff_t>(list.GetCount())) {
    list.DeleteString(static_cast<size_t>(row));
    list.InsertString(static_cast<size_t>(place), selected);
    list.SetCurSel(place);
  }
  TakeChange();
}

void CPrpGroupsMain::AddPrincipal(const CString& source, bool isCopy) {
  CDlgAddGroups dialog;
  if (dialog.DoModal() != Reply::Ok) return;
  while (dialog.GetChosen().empty()) {
    AfxMessageBox("Group must be selected");
    if (dialog.DoModal() != Reply::Ok) return;
  }
  CString path;
  for (CString name : dialog.GetChosen()) {
    name.erase(0, name.find_first_not_of('\\'));
    if (List().FindStringExact(name) >= 0) {
      AfxMessageBox("Cannot add group. Group " + name + " already exists.");
      continue;
    }
    // A new group starts from the user of that name.
    CString from = PathOf(source);
    if (!isCopy) from = text::Replaced(from, "Groups", "Users");
    path = MakePrincipal(name, from);
  }
  TakeChange();
  // Once for all of them, with the last one's node.
  RefreshNode(path);
}

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeGroupsMainPage(const PageArguments& arguments) {
  return std::make_unique<CPrpGroupsMain>(arguments);
}

#include "pages/principals/removal.h"

#include <algorithm>

#include "framework/page_directory.h"
#include "framework/tessel_property_page.h"
#include "store/places.h"
#include "store/reading_rules.h"
#include "store/registry_object.h"

namespace {

// The pages that give up what waits on them. Those of forwarding and of handheld clients keep it.
constexpr PageIndex kCancelled[] = {
    PageIndex::UserGen,      PageIndex::UserEnv,       PageIndex::UserFullCon,
    PageIndex::UserKeyboard, PageIndex::UserLogon,     PageIndex::UserNonInteractive,
    PageIndex::UserStream,   PageIndex::UserTerminate,
};

void Cancel(PageIndex index) {
  if (auto* const page = PageAt<CTesselPropertyPage>(index)) page->OnCancel();
}

// A folder that can't be opened has no names.
void Open(CTesselRegObject& key, const principal_removal::Tree& tree, const char* path) {
  key.OpenKey(tree.computer.empty() ? nullptr : tree.computer.c_str(), HKEY_LOCAL_MACHINE, path);
}

CStringList NamesFromTail(const CTesselRegObject& key) {
  CStringList names = key.GetSubKeys();
  std::reverse(names.begin(), names.end());
  return names;
}

// The groups of the order that have a key. An order that is too long to be read names none.
CStringList RankedGroups(const CTesselRegObject& key) {
  CString order;
  if (ReadText(key, kOrder, ReadRule::TextAsIs, order) != ERROR_SUCCESS) return {};
  CStringList names = text::Split(order, ',');
  std::erase_if(names, [&key](CString& name) {
    name.erase(0, name.find_first_not_of('\\'));
    return key.KeyExists(text::Replaced(name, "\\", "?").c_str()) == 0;
  });
  return names;
}

}  // namespace

// The host gets the bare name, without the product and the folder: hosts find the node by it.
void principal_removal::RemoveUsers(const Tree& tree, const char* keyPath, std::string_view kind) {
  const bool groups = kind == "Groups";
  CTesselRegObject key;
  Open(key, tree, keyPath);
  for (const CString& name : groups ? RankedGroups(key) : NamesFromTail(key)) {
    if (tree.removeNode != nullptr) tree.removeNode(text::Replaced(name, "?", "\\").c_str(), 1);
  }
  if (groups) return;
  for (const PageIndex index : kCancelled) Cancel(index);
}

// Each title runs on from the one before it. A host that goes by titles knows this sequence.
void principal_removal::RemoveFileTransferUsers(const Tree& tree, bool isSftp) {
  CTesselRegObject key;
  Open(key, tree, isSftp ? R"(Software\TesselWorks\SFTP\Users)" : R"(Software\TesselWorks\SCP\Users)");
  CString title;
  for (const CString& name : NamesFromTail(key)) {
    if (!tree.productWord.empty()) title.append(tree.productWord).append("::");
    title.append("::").append(name);
    title = text::Replaced(title, "?", "\\");
    if (tree.removeNode != nullptr) tree.removeNode(title.c_str(), 0);
  }
  Cancel(isSftp ? PageIndex::SftpUser : PageIndex::ScpUser);
}

#include "console/host.h"

#include <algorithm>

#include "configuration/settings_import.h"
#include "framework/name_set.h"
#include "platform/machine.h"
#include "platform/program.h"
#include "platform/text.h"
#include "store/error_text.h"
#include "store/key_security.h"
#include "store/places.h"
#include "store/registry_object.h"

namespace {

constexpr std::uint32_t kFirstPageId = 1000;
constexpr unsigned kOtherProduct = 0xFFFFFFFF;  // what an import gives for a file of another product

Host* current = nullptr;

std::vector<std::string> SubkeysInOrder(const std::string& computer, const std::string& path) {
  CTesselRegObject key;
  if (key.OpenKey(computer.c_str(), HKEY_LOCAL_MACHINE, path.c_str()) != ERROR_SUCCESS) return {};
  std::vector<std::string> names = key.GetSubKeys();
  std::reverse(names.begin(), names.end());
  return names;
}

// Those of `names` that the folder's order tells, by rank. Each of the rest is no group of its page.
std::vector<std::string> InStoredOrder(const std::string& computer, const std::string& path,
                                       const std::vector<std::string>& names) {
  CTesselRegObject key;
  if (key.OpenKey(computer.c_str(), HKEY_LOCAL_MACHINE, path.c_str()) != ERROR_SUCCESS) return {};
  const NameSet stored(names);
  std::vector<std::string> ranked = text::Split(text::Replaced(key.GetStringValue(kOrder), "?", "\\"), ',');
  std::erase_if(ranked, [&stored](const std::string& name) { return !stored.Holds(name); });
  return ranked;
}

}  // namespace

void PutBackAccessLists() {
  const bool own = !machine::InEvent();
  if (own) machine::BeginEvent();
  key_security::PutBackOpened(HKEY_LOCAL_MACHINE);
  if (own) machine::CommitEvent();
}

std::vector<std::string> ConfigurationNames(const std::string& computer) {
  return SubkeysInOrder(computer, kConfigServer);
}

std::string SystemText(unsigned code) {
  const LocalMemory<char> text(GetErrorText(static_cast<int>(code), nullptr));
  if (text == nullptr) return "error " + std::to_string(code);
  const std::string_view line = text.get();
  return std::string(line.substr(0, line.find_last_not_of("\r\n. ") + 1));
}

Host::Host(const Options& options) : m_options(options), m_computer(options.computer) {
  current = this;
  m_context.configServerMode = options.configServerMode ? 1 : 0;
  m_context.pfnInit = [](char const*, std::uint32_t) {};
  m_context.pfnMakeTitle = [](char const*, char const*, char const* pagePath, CString* title) {
    *title = pagePath;
  };
  m_context.pfnAddNode = [](char const* path, std::uint32_t, std::uint32_t) {
    current->m_tree->AddPrincipal(path);
    current->m_added.emplace_back(path);
  };
  m_context.pfnRefreshNode = [](char const*) {};
  m_context.pfnRemoveNode = [](char const* path, std::uint32_t) { current->RemoveNode(path); };
  m_context.pfnBeforeRestore = [] {};
  m_context.pfnAfterImport = [] { current->ReadPrincipals(); };
  m_context.pfnHasUnsavedChanges = [](PropExtContext*) -> std::uint32_t {
    return current->HasUnsavedChanges() ? 1 : 0;
  };
  // NOLINTNEXTLINE(performance-unnecessary-value-param): the interface passes texts by value
  m_context.pfnImportSettings = [](CString product, CString file) -> std::uint32_t {
    return current->ImportSettings(product, file);
  };
  constexpr std::string_view kFileTransferTitle = "SFTP Users";
  kFileTransferTitle.copy(m_context.fileTransferListTitle, sizeof m_context.fileTransferListTitle - 1);
}

Host::~Host() {
  if (m_library.module != nullptr) {
    m_library.closePropExt();
    // The library leaves some of its pages, which could not be reached once it is unloaded.
    while (!m_sheet.Pages().empty()) delete m_sheet.Pages().back();
    // The records that are kept are destroyed by the library's code.
    m_beforeApply = {};
    m_beforeCancel.reset();
    UnloadExtension(m_library);
  }
  current = nullptr;
}

std::unique_ptr<Host> Host::Start(const Options& options, std::string& why) {
  std::unique_ptr<Host> host(new Host(options));
  const std::string& computer = host->m_computer.Name();
  why = host->m_computer.Why();
  if (!why.empty()) return nullptr;
  CTesselRegObject reached;
  if (const DWORD status = reached.OpenKey(computer.c_str(), HKEY_LOCAL_MACHINE, "Software");
      status != ERROR_SUCCESS) {
    why = (options.computer.empty() ? "This computer's settings"
                                    : "The computer \"" + options.computer + "\"") +
          " can't be reached: " + SystemText(status) + ".";
    return nullptr;
  }
  PutBackAccessLists();
  const std::optional<Library> library = LoadExtension(why);
  if (!library) return nullptr;
  host->m_library = *library;
  host->TakePages(options.configServerMode ? ConfigurationNames(computer) : std::vector<std::string>{""});
  return host;
}

void Host::TakePages(std::vector<std::string> roots) {
  m_library.initPropExt(&m_context, kFirstPageId);
  std::uint32_t flags = 0;
  std::uint32_t id = 0;
  while (CTesselPropertyPage* page = m_library.getPropPage(m_computer.Name().c_str(), &flags, &id, 1)) {
    m_pages.push_back(page);
    m_sheet.AddPage(*page);
    // One page sends settings to others, which then must write or drop them, whether a person has seen them
    // or not.
    page->Create();
  }
  m_tree = std::make_unique<Tree>(m_pages, std::move(roots));
  ReadPrincipals();
}

std::string Host::ServerRoot(const std::string& root) const {
  return root.empty() ? std::string(kSettingsRoot) : std::string(kConfigServer) + "\\" + root;
}

void Host::ReadPrincipals() {
  for (const std::string& root : m_tree->Roots()) {
    for (const PrincipalFolder& folder : kPrincipalFolders) {
      if (!m_tree->HasFolder(folder.title)) continue;
      const std::string path = ServerRoot(root) + "\\" + std::string(folder.key);
      std::vector<std::string> names = SubkeysInOrder(m_computer.Name(), path);
      for (std::string& name : names) std::replace(name.begin(), name.end(), '?', '\\');
      if (folder.ordered) names = InStoredOrder(m_computer.Name(), path, names);
      m_tree->SetPrincipals(root, folder, std::move(names));
    }
  }
}

// A list page names a principal without the configuration when it takes its node away.
void Host::RemoveNode(const std::string& path) {
  if (m_tree->RemovePrincipal(path)) return;
  for (const std::string& root : m_tree->Roots()) {
    const std::string head = root + "::";
    if (!root.empty() && m_path.starts_with(head) && m_tree->RemovePrincipal(head + path)) return;
  }
}

unsigned Host::ImportSettings(const CString& product, const CString& file) {
  // What the import has to tell waits for its end: an answer to a message writes what was done before it, and
  // what is written can't be taken back.
  std::vector<CString> told;
  EngineCallbacks ui;
  ui.tell = [&told](const CString& message) { told.push_back(message); };
  ui.progress = [](int keys) {
    return CurrentFrontEnd().TakeTurn({static_cast<std::uint64_t>(keys), "keys"});
  };
  const auto status = static_cast<unsigned>(ConfirmAndImport(product, file, ui));
  if (status == ERROR_CANCELLED) {
    if (machine::InEvent()) {
      machine::AbandonEvent();
      machine::BeginEvent();
    }
    return status;
  }
  for (const CString& message : told) AfxMessageBox(message);
  return status;
}

int Host::ConfirmAndImport(const CString& product, const CString& file, const EngineCallbacks& ui) {
  const SourceOpener open = RepeatableSource();
  if (!confirmImport) return ImportForProduct(product, file, ui, open);
  if (FileIsForProduct(file, product, ui, open) == 0) return static_cast<int>(kOtherProduct);
  return confirmImport(file, open) ? ImportForProduct(product, file, ui, open) : ERROR_CANCELLED;
}

std::string Host::WhyNoPage(std::string_view path) const {
  const std::string root(path.substr(0, path.find("::")));
  const std::vector<std::string>& roots = m_tree->Roots();
  const bool known = !m_options.configServerMode ||
                     std::any_of(roots.begin(), roots.end(),
                                 [&root](const auto& one) { return text::EqualNoCase(one, root); });
  const std::vector<std::string> near = known ? m_tree->Nearest(path) : NearestNames(root, roots);
  const std::string meant = near.empty() ? "" : "; did you mean " + OneOf(near) + "?";
  if (!known) {
    return "There is no configuration \"" + root + "\", by which a page's path begins here" +
           (near.empty() ? ". \"marrowen config list\" lists them." : meant);
  }
  return "There is no page \"" + std::string(path) + "\"" +
         (near.empty() ? ". \"marrowen tree\" lists the pages." : meant);
}

bool Host::Select(std::string_view path, std::string& why) {
  const std::optional<TreeNode> node = m_tree->Find(path);
  if (!node) {
    why = WhyNoPage(path);
    return false;
  }
  if (!m_sheet.LeaveActivePage()) {
    why = "The page \"" + m_path + "\" can't be left.";
    return false;
  }
  node->page->m_refData.text = node->path;
  if (!m_sheet.SetActivePage(node->page)) {
    why = "The page \"" + node->path + "\" can't be shown.";
    return false;
  }
  m_page = node->page;
  m_path = node->path;
  return true;
}

std::string Host::WhyNoServer() const {
  const std::string server = std::string(kSettingsRoot) + "\\SSHD";
  CTesselRegObject key;
  const DWORD status = key.OpenKey(m_computer.Name().c_str(), HKEY_LOCAL_MACHINE, server.c_str());
  if (m_options.configServerMode || status != ERROR_FILE_NOT_FOUND) return {};
  const std::string computer =
      m_computer.Name().empty() ? "This computer" : "The computer \"" + m_computer.Name() + "\"";
  return computer + " has no settings of the server: HKLM\\" + server + " is missing.";
}

std::string Host::WhyNothingIsStored() const {
  if (m_page == nullptr || m_page->m_shownStatus == ERROR_SUCCESS) return {};
  if (std::string why = WhyNoServer(); !why.empty()) return why;
  if (m_page->m_shownStatus == ERROR_FILE_NOT_FOUND && m_page->m_pending.contains(m_path)) {
    return "This is new: its settings are stored with the next Apply.";
  }
  std::string why = "Nothing is stored for this page: the key HKEY_LOCAL_MACHINE\\" + m_page->m_shownKey +
                    " can't be opened: " + SystemText(m_page->m_shownStatus) + ".";
  const std::string how = platform::HowToGetRights();
  if (m_page->m_shownStatus == ERROR_ACCESS_DENIED && !how.empty()) why += " " + how;
  return why;
}

// A list page that has made a principal has the settings pages write at each Apply from then on, also what
// waits for one whose key another list page makes only later. It waits again then, for another Apply.
bool Host::WaitAgain() {
  bool any = false;
  for (size_t i = 0; i < m_pages.size(); ++i) {
    std::erase_if(m_pages[i]->m_saves, [&, &page = *m_pages[i]](const CTesselPropertyPage::Saved& save) {
      const auto before = m_beforeApply.pages[i].pending.find(save.target);
      if (save.status != ERROR_FILE_NOT_FOUND || before == m_beforeApply.pages[i].pending.end() ||
          !m_tree->Find(save.target)) {
        return false;
      }
      page.m_pending.insert(*before);
      return any = true;
    });
  }
  return any;
}

bool Host::Apply() {
  if (!m_sheet.PressApply([this] { m_beforeApply = Waiting(); }) || (WaitAgain() && !m_sheet.PressApply())) {
    m_page = static_cast<CTesselPropertyPage*>(m_sheet.GetActivePage());
    m_path = m_page == nullptr ? "" : m_page->m_target;
    return false;
  }
  FollowStore();
  return true;
}

// The tree stays as the lists are, whose principals wait again with all else.
void Host::TakeBackApply() {
  PutBack(m_beforeApply);
  if (m_page != nullptr) m_page->OnSetActive();
}

void Host::Cancel() {
  // What the page in front shows is then among what waits.
  if (m_page != nullptr) m_page->OnKillActive();
  m_beforeCancel.emplace(BeforeCancel{Waiting(), *m_tree});
  m_sheet.PressCancel();
  FollowStore();
}

bool Host::TakeBackCancel() {
  if (!m_beforeCancel) return false;
  PutBack(m_beforeCancel->edits);
  m_tree->PutBack(m_beforeCancel->tree);
  m_beforeCancel.reset();
  if (m_page != nullptr) m_page->OnSetActive();
  return true;
}

void Host::FollowStore() {
  ReadPrincipals();
  const std::string path = m_tree->NearestAbove(m_path);
  if (path == m_path) return;
  const std::string gone = m_path;
  std::string why;
  Select(path, why);
  // What the page kept of it when it was left has no key to go to.
  for (CTesselPropertyPage* page : m_pages) page->m_pending.erase(gone);
}

bool Host::HasUnsavedChanges() const {
  return std::any_of(m_pages.begin(), m_pages.end(), [](const CTesselPropertyPage* page) {
    return page->IsModified() || !page->m_pending.empty();
  });
}

Host::WaitingEdits Host::Waiting() const {
  WaitingEdits edits;
  for (const CTesselPropertyPage* page : m_pages)
    edits.pages.push_back({page->m_pending, page->IsModified()});
  return edits;
}

std::vector<Host::WaitingNode> Host::WaitingNodes() const {
  std::vector<WaitingNode> nodes;
  for (CTesselPropertyPage* page : m_pages) {
    bool front = page == m_page && page->IsModified() && page->ValuesOf(page->m_target).differ;
    for (const auto& [target, record] : page->m_pending) {
      if (!m_tree->Find(target)) continue;
      if (page == m_page && target == m_path) front = false;
      nodes.push_back({page, target});
    }
    if (front) nodes.push_back({page, m_path});
  }
  return nodes;
}

void Host::PutBack(const WaitingEdits& edits) {
  for (size_t i = 0; i < m_pages.size(); ++i) {
    m_pages[i]->m_pending = edits.pages[i].pending;
    m_pages[i]->SetModified(edits.pages[i].modified);
  }
}

std::vector<std::string> Host::ChangedBesides(const WaitingEdits& before) const {
  std::vector<std::string> nodes;
  const auto isNew = [this](const std::string& node) {
    return std::any_of(m_added.begin(), m_added.end(), [&node](const std::string& added) {
      return node == added || node.starts_with(added + "::");
    });
  };
  for (size_t i = 0; i < m_pages.size(); ++i) {
    for (const auto& [target, record] : m_pages[i]->m_pending) {
      const auto found = before.pages[i].pending.find(target);
      if (found != before.pages[i].pending.end() && found->second == record) continue;
      if (target != m_path && !isNew(target) && m_tree->Find(target)) nodes.push_back(target);
    }
  }
  return nodes;
}

void Host::BeginEvent() {
  m_added.clear();
  for (CTesselPropertyPage* page : m_pages) page->m_saves.clear();
  machine::BeginEvent();
}

std::vector<std::string> Host::FailedSaves() const {
  std::vector<std::string> sentences;
  for (const CTesselPropertyPage* page : m_pages) {
    for (const CTesselPropertyPage::Saved& save : page->m_saves) {
      if (save.status == ERROR_SUCCESS || !m_tree->Find(save.target)) continue;
      const std::string what =
          save.value.empty() ? " can't be opened: " : " does not take " + save.value + ": ";
      sentences.push_back("\"" + save.target + "\" can't be stored: the key HKEY_LOCAL_MACHINE\\" + save.key +
                          what + SystemText(save.status) + ".");
    }
  }
  if (std::string why = sentences.empty() ? "" : WhyNoServer(); !why.empty()) return {std::move(why)};
  return sentences;
}

size_t Host::PagesThatWrote(const std::set<std::string>& keys) const {
  std::set<std::string> nodes;
  for (const CTesselPropertyPage* page : m_pages) {
    for (const CTesselPropertyPage::Saved& save : page->m_saves) {
      const std::string key = text::Lower("HKEY_LOCAL_MACHINE\\" + save.key);
      const auto below = keys.lower_bound(key + "\\");
      if (keys.contains(key) || (below != keys.end() && below->starts_with(key + "\\")))
        nodes.insert(save.target);
    }
  }
  return nodes.size();
}

#include "console/host.h"

#include <algorithm>

#include "configuration/settings_import.h"
#include "framework/name_set.h"
#include "platform/machine.h"
#include "platform/text.h"
#include "store/error_text.h"
#include "store/registry_object.h"

namespace {

constexpr char kRoot[] = R"(Software\TesselWorks)";
constexpr char kConfigServer[] = R"(Software\TesselWorks\ConfigServer)";
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
  std::vector<std::string> ranked = text::Split(text::Replaced(key.GetStringValue("Order"), "?", "\\"), ',');
  std::erase_if(ranked, [&stored](const std::string& name) { return !stored.Holds(name); });
  return ranked;
}

}  // namespace

std::vector<std::string> ConfigurationNames(const std::string& computer) {
  return SubkeysInOrder(computer, kConfigServer);
}

std::string SystemText(unsigned code) {
  const LocalMemory<char> text(GetErrorText(static_cast<int>(code), nullptr));
  if (text == nullptr) return "error " + std::to_string(code);
  const std::string_view line = text.get();
  return std::string(line.substr(0, line.find_last_not_of("\r\n. ") + 1));
}

Host::Host(const Options& options, const Library& library) : m_options(options), m_library(library) {
  current = this;
  m_context.configServerMode = options.configServerMode ? 1 : 0;
  m_context.pfnInit = [](char const*, std::uint32_t) {};
  m_context.pfnMakeTitle = [](char const*, char const*, char const* pagePath, CString* title) {
    *title = pagePath;
  };
  m_context.pfnAddNode = [](char const* path, std::uint32_t, std::uint32_t) {
    current->m_tree->AddPrincipal(path);
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
  m_library.closePropExt();
  current = nullptr;
}

std::unique_ptr<Host> Host::Start(const Options& options, std::string& why) {
  CTesselRegObject reached;
  if (const DWORD status = reached.OpenKey(options.computer.c_str(), HKEY_LOCAL_MACHINE, "Software");
      status != ERROR_SUCCESS) {
    why = (options.computer.empty() ? "This computer's settings"
                                    : "The computer \"" + options.computer + "\"") +
          " can't be reached: " + SystemText(status) + ".";
    return nullptr;
  }
  const std::optional<Library> library = LoadExtension(why);
  if (!library) return nullptr;
  std::unique_ptr<Host> host(new Host(options, *library));
  library->initPropExt(&host->m_context, kFirstPageId);
  std::uint32_t flags = 0;
  std::uint32_t id = 0;
  while (CTesselPropertyPage* page = library->getPropPage(options.computer.c_str(), &flags, &id, 1)) {
    host->m_pages.push_back(page);
    host->m_sheet.AddPage(*page);
  }
  host->m_tree =
      std::make_unique<Tree>(host->m_pages, options.configServerMode ? ConfigurationNames(options.computer)
                                                                     : std::vector<std::string>{""});
  host->ReadPrincipals();
  return host;
}

std::string Host::ServerRoot(const std::string& root) const {
  return root.empty() ? std::string(kRoot) : std::string(kConfigServer) + "\\" + root;
}

void Host::ReadPrincipals() {
  for (const std::string& root : m_tree->Roots()) {
    for (const PrincipalFolder& folder : Tree::Folders()) {
      if (!m_tree->HasFolder(folder.title)) continue;
      const std::string path = ServerRoot(root) + "\\" + std::string(folder.key);
      std::vector<std::string> names = SubkeysInOrder(m_options.computer, path);
      for (std::string& name : names) std::replace(name.begin(), name.end(), '?', '\\');
      if (folder.ordered) names = InStoredOrder(m_options.computer, path, names);
      m_tree->SetPrincipals(root, folder.title, std::move(names));
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
    return CurrentFrontEnd().TakeTurn({static_cast<std::uint64_t>(keys), "keys"}) || !machine::UndoesEvents();
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
  if (!confirmImport) return ImportForProduct(product, file, ui);
  try {
    if (FileIsForProduct(file, product, ui) == 0) return static_cast<int>(kOtherProduct);
  } catch (const FileError& error) {
    return static_cast<int>(error.code);
  }
  return confirmImport(file) ? ImportForProduct(product, file, ui) : ERROR_CANCELLED;
}

bool Host::Select(std::string_view path, std::string& why) {
  const std::optional<TreeNode> node = m_tree->Find(path);
  if (!node) {
    const std::vector<std::string> near = m_tree->Nearest(path);
    why = "There is no node \"" + std::string(path) + "\"" +
          (near.empty() ? "." : "; did you mean " + OneOf(near) + "?");
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

void Host::CreatePages() {
  for (CTesselPropertyPage* page : m_pages) page->Create();
}

bool Host::HasUnsavedChanges() const {
  return std::any_of(m_pages.begin(), m_pages.end(), [](const CTesselPropertyPage* page) {
    return page->IsModified() || !page->m_pending.empty();
  });
}

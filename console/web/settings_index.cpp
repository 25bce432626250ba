#include "console/web/settings_index.h"

#include <algorithm>
#include <iostream>

#include "console/code_page.h"
#include "console/describe.h"
#include "console/help.h"
#include "console/review.h"
#include "platform/machine.h"
#include "platform/program.h"
#include "platform/text.h"
#include "store/registry_object.h"

using nlohmann::ordered_json;

namespace web {
namespace {

constexpr size_t kMostPages = 6;
constexpr size_t kMostSettings = 12;
constexpr size_t kMostPeople = 12;
constexpr size_t kMostActions = 6;
constexpr size_t kMostReviewed = 50;
constexpr size_t kMostNotDefault = 100;
// So few that misspellings are looked for.
constexpr size_t kFew = 3;
constexpr std::string_view kChanged = "@changed";
constexpr std::string_view kNotDefault = "@not-default";

// What each page shows, by its place in the sheet.
std::vector<ordered_json> ShownBy(Host& host) {
  std::vector<ordered_json> shown;
  std::string why;
  for (CPropertyPage* one : host.Sheet().Pages()) {
    auto& page = static_cast<CTesselPropertyPage&>(*one);
    const std::string node = host.GetTree().NodeOf(page, {});
    if (!node.empty()) host.Select(node, why);
    shown.push_back(DescribeControls(page));
  }
  return shown;
}

// Takes all values from the keys that the pages show; false where that can't be done.
bool EmptyKeys(Host& host) {
  for (CPropertyPage* one : host.Sheet().Pages()) {
    auto& page = static_cast<CTesselPropertyPage&>(*one);
    const CString path = page.StoredAt(host.GetTree().NodeOf(page, {}));
    HKEY key = nullptr;
    if (path.empty() ||
        RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_ALL_ACCESS, &key) != ERROR_SUCCESS) {
      continue;
    }
    const UniqueKey owned(key);
    char name[16384];
    DWORD size = sizeof name;
    while (RegEnumValueA(key, 0, name, &size, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS) {
      if (RegDeleteValueA(key, name) != ERROR_SUCCESS) return false;
      size = sizeof name;
    }
  }
  return true;
}

// Nothing that it opened or showed is written: the process ends within the event.
void Tell(const std::string& home, const Host::Options& options) {
  std::string why;
  if (!machine::OpenHome(home)) return;
  const std::unique_ptr<Host> host = Host::Start(options, why);
  if (host == nullptr) return;
  // Where nothing of an event counts before its end the keys are emptied in one, to see what pages then show.
  // It is the first look, since some pages go on showing what they have shown where a value is missing.
  std::vector<ordered_json> defaults;
  if (!machine::WritesCountAtOnce()) {
    // Who searches waits for this, and this not for a program that writes.
    machine::SetWaitTeller([](const std::string&, int) { return false; });
    machine::BeginEvent();
    if (EmptyKeys(*host)) defaults = ShownBy(*host);
    machine::AbandonEvent();
    host->Cancel();
  }
  machine::BeginEvent();
  std::vector<ordered_json> pages = ShownBy(*host);
  ordered_json all = ordered_json::array();
  for (size_t i = 0; i < pages.size(); ++i) {
    const auto& page = static_cast<const CTesselPropertyPage&>(*host->Sheet().Pages()[i]);
    const PageHelp* const help = HelpOf(host->GetTree(), host->GetTree().NodeOf(page, {}));
    for (size_t control = 0; control < pages[i].size(); ++control) {
      ordered_json& json = pages[i][control];
      if (json["visible"] == false) continue;
      json["page"] = i;
      const SettingHelp* const says = help == nullptr ? nullptr : help->Of(std::string(json["name"]));
      json["also"] = says == nullptr ? "" : says->also;
      json["text"] = says == nullptr ? "" : says->text;
      if (i < defaults.size() && control < defaults[i].size()) {
        json["default"] = defaults[i][control]["value"];
      } else if (defaults.empty() && says != nullptr && !says->byDefault.empty() && !json.contains("rows")) {
        // Where keys can't be emptied for a look the help says it.
        json["default"] = says->byDefault == "empty" ? "" : says->byDefault;
      }
      all.push_back(std::move(json));
    }
  }
  std::cout << code_page::Dump(all) << std::endl;
}

std::string LowerRows(const ordered_json& control) {
  std::string lower;
  for (const ordered_json& row : control.value("rows", ordered_json::array())) {
    if (row.is_array()) {
      for (const ordered_json& cell : row) lower += "\n" + text::Lower(std::string(cell));
    } else {
      lower += "\n" + text::Lower(row.is_string() ? std::string(row) : std::string(row["text"]));
    }
  }
  return lower;
}

std::string TitleOf(const std::string& node) {
  const size_t end = node.rfind("::");
  return end == std::string::npos ? node : node.substr(end + 2);
}

}  // namespace

int IndexSettings() {
  std::string home;
  std::string computer;
  std::string configServer;
  std::getline(std::cin, home);
  std::getline(std::cin, computer);
  std::getline(std::cin, configServer);
  Tell(home, {computer, configServer == "yes"});
  platform::EndProgram(0);
}

SettingsIndex::SettingsIndex(const std::string& home, const Host::Options& options)
    : m_home(home), m_options(options) {
  Start();
}

SettingsIndex::~SettingsIndex() {
  if (m_receiver.joinable()) m_receiver.join();
}

// Before it, no other look is at work.
void SettingsIndex::Start() {
  if (m_receiver.joinable()) m_receiver.join();
  m_worker = platform::Worker::Start(kIndexArgument, nullptr);
  if (!m_worker) return;
  m_looking = true;
  m_worker->Tell(m_home + "\n" + m_options.computer + "\n" + (m_options.configServerMode ? "yes" : "no"));
  m_receiver = std::thread([this] {
    if (const std::optional<std::string> line = m_worker->Hear()) Receive(*line);
    m_worker->End();
    const std::lock_guard lock(m_mutex);
    m_looking = false;
    m_received.notify_all();
  });
}

void SettingsIndex::Renew(std::uint64_t changes) {
  std::unique_lock lock(m_mutex);
  m_received.wait(lock, [this] { return !m_looking; });
  if (m_changes == changes) return;
  m_changes = changes;
  m_looking = true;
  lock.unlock();
  Start();
  lock.lock();
  m_received.wait(lock, [this] { return !m_looking; });
}

void SettingsIndex::Receive(const std::string& text) {
  const ordered_json all = code_page::AllFromUtf8(ordered_json::parse(text, nullptr, false));
  if (!all.is_array()) return;
  std::vector<Entry> entries;
  for (const ordered_json& control : all) {
    Entry entry;
    entry.page = control["page"];
    entry.name = control["name"];
    entry.group = control["group"];
    entry.kind = control["kind"];
    entry.storedAs = control["storedAs"];
    entry.value = control["value"];
    entry.hasDefault = control.contains("default");
    if (entry.hasDefault) entry.byDefault = control["default"];
    std::erase(entry.name, '&');
    entry.lowerName = text::Lower(entry.name);
    entry.lowerStored = text::Lower(entry.storedAs);
    entry.lowerRest = text::Lower(entry.group + "\n" + entry.value) + LowerRows(control);
    entry.lowerAlso = text::Lower(std::string(control["also"]));
    entry.lowerText = text::Lower(std::string(control["text"]));
    entries.push_back(std::move(entry));
  }
  const std::lock_guard lock(m_mutex);
  m_entries = std::move(entries);
}

// Kept while no principal comes or goes.
const std::vector<SettingsIndex::Folder>& SettingsIndex::Folders(const Host& host) {
  const Tree& tree = host.GetTree();
  if (m_tree == tree.Changes()) return m_folders;
  m_tree = tree.Changes();
  m_folders.clear();
  for (const std::string& root : tree.Roots()) {
    for (const PrincipalFolder& folder : kPrincipalFolders) {
      Folder& one = m_folders.emplace_back();
      one.path = Under(root, folder.title);
      one.title = folder.title;
      size_t total = 0;
      for (Tree::Child& child : tree.Children(one.path, 0, SIZE_MAX, total)) {
        one.lower.push_back(text::Lower(child.label));
        one.names.push_back(std::move(child.label));
      }
    }
  }
  return m_folders;
}

std::vector<std::string> SettingsIndex::NodesOfPages(const Host& host) const {
  std::vector<std::string> nodes;
  for (const CPropertyPage* page : host.Sheet().Pages()) {
    nodes.push_back(host.GetTree().NodeOf(static_cast<const CTesselPropertyPage&>(*page), host.NodePath()));
  }
  return nodes;
}

// Those that begin with the words come first.
void SettingsIndex::AddPeople(const Query& query, const Folder& folder, const std::string& suffix,
                              size_t most, ordered_json& found) const {
  std::vector<std::pair<int, size_t>> best;
  for (size_t i = 0; i < folder.names.size() && best.size() < 1000; ++i) {
    if (query.IsIn(folder.lower[i])) best.emplace_back(-query.Score({{folder.lower[i], 1, false}}), i);
  }
  std::stable_sort(best.begin(), best.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  for (size_t i = 0; i < best.size() && i < most; ++i) {
    found.push_back({{"node", folder.path + "::" + folder.names[best[i].second] + suffix}, {"kind", "node"}});
  }
}

ordered_json SettingsIndex::FindPeople(Host& host, const std::string& text, size_t page) {
  ordered_json found = ordered_json::array();
  const Query query(text);
  if (page >= host.Sheet().Pages().size()) return found;
  for (const Folder& folder : Folders(host)) {
    for (const Tree::Pattern& pattern : host.GetTree().Patterns()) {
      if (pattern.perPrincipal && pattern.page == host.Sheet().Pages()[page] && pattern.head == folder.title)
        AddPeople(query, folder, pattern.suffix, kMostPeople, found);
    }
  }
  return found;
}

// Under m_mutex.
std::vector<std::pair<int, const SettingsIndex::Entry*>> SettingsIndex::Matching(const Host& host,
                                                                                 const Query& query,
                                                                                 bool forgives,
                                                                                 bool notDefault) const {
  std::vector<std::pair<int, const Entry*>> found;
  std::vector<std::string> titles;
  for (const CPropertyPage* page : host.Sheet().Pages()) titles.push_back(text::Lower(page->Title()));
  for (const Entry& entry : m_entries) {
    if (notDefault && (!entry.hasDefault || entry.value == entry.byDefault || entry.storedAs.empty()))
      continue;
    const int score = query.Empty() ? 1
                                    : query.Score({{entry.lowerName, 12, forgives},
                                                   {entry.lowerStored, 10, false},
                                                   {entry.lowerAlso, 6, forgives},
                                                   {titles[entry.page], 5, forgives},
                                                   {entry.lowerRest, 4, false},
                                                   {entry.lowerText, 1, false}});
    // A name that begins with all that was typed is what was meant.
    const bool meant = !query.Empty() && entry.lowerName.starts_with(query.Text());
    if (score > 0) found.emplace_back(meant ? score * 2 : score, &entry);
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const auto& a, const auto& b) { return a.first > b.first; });
  return found;
}

ordered_json SettingsIndex::Find(Host& host, const std::string& text) {
  std::string words = text::Lower(text);
  const auto begins = [&words](std::string_view mark) {
    if (!words.starts_with(mark)) return false;
    words.erase(0, mark.size());
    return true;
  };
  const bool changed = begins(kChanged);
  const bool notDefault = begins(kNotDefault);
  const Query query(words);
  ordered_json pages = ordered_json::array();
  ordered_json settings = ordered_json::array();
  ordered_json people = ordered_json::array();
  ordered_json actions = ordered_json::array();
  const std::vector<std::string> nodes = NodesOfPages(host);
  if (changed) {
    size_t total = 0;
    machine::BeginEvent();
    for (const ReviewedPage& page : ::Review(host, 0, kMostReviewed, total)) {
      for (const ReviewedSetting& setting : page.settings) {
        if (!query.IsIn(text::Lower(page.node + "\n" + setting.name))) continue;
        settings.push_back({{"node", page.node}, {"name", setting.name}, {"kind", "changed"}});
      }
      if (page.settings.empty()) pages.push_back({{"node", page.node}, {"kind", "node"}});
    }
    machine::AbandonEvent();
  } else if (!query.Empty() || notDefault) {
    const std::lock_guard lock(m_mutex);
    std::vector<std::pair<int, const Entry*>> found = Matching(host, query, false, notDefault);
    if (found.size() < kFew) found = Matching(host, query, true, notDefault);
    for (const auto& [score, entry] : found) {
      const bool acts = entry->kind == "button" || entry->kind == "link";
      ordered_json& list = acts ? actions : settings;
      const size_t most = acts ? kMostActions : notDefault ? kMostNotDefault : kMostSettings;
      if (nodes[entry->page].empty() || list.size() >= most) continue;
      const auto& patterns = host.GetTree().Patterns();
      const CPropertyPage* const page = host.Sheet().Pages()[entry->page];
      const bool perPrincipal = std::any_of(patterns.begin(), patterns.end(), [page](const auto& pattern) {
        return pattern.perPrincipal && pattern.page == page;
      });
      list.push_back({{"node", nodes[entry->page]},
                      {"name", entry->name},
                      {"group", entry->group},
                      {"kind", entry->kind},
                      {"storedAs", entry->storedAs},
                      {"value", entry->value.substr(0, 60)},
                      {"page", entry->page},
                      {"forWhom", perPrincipal}});
    }
    if (!notDefault) {
      for (const std::string& node : nodes) {
        const std::string title = text::Lower(TitleOf(node));
        if (!node.empty() && pages.size() < kMostPages && query.Score({{title, 1, true}}) > 0)
          pages.push_back({{"node", node}, {"kind", "node"}});
      }
      for (const Folder& folder : Folders(host)) AddPeople(query, folder, "", kMostPeople, people);
    }
  }
  return {{"pages", std::move(pages)},
          {"settings", std::move(settings)},
          {"people", std::move(people)},
          {"actions", std::move(actions)}};
}

}  // namespace web

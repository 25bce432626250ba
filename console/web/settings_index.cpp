#include "console/web/settings_index.h"

#include <algorithm>
#include <iostream>

#include "console/describe.h"
#include "platform/machine.h"
#include "platform/program.h"
#include "platform/text.h"
#include "platform/worker.h"

using nlohmann::ordered_json;

namespace web {
namespace {

// Nothing that it opened or showed is written: the process ends within the event.
void Tell(const std::string& home, const Host::Options& options) {
  std::string why;
  if (!machine::OpenHome(home)) return;
  const std::unique_ptr<Host> host = Host::Start(options, why);
  if (host == nullptr) return;
  machine::BeginEvent();
  ordered_json all = ordered_json::array();
  const auto& pages = host->Sheet().Pages();
  for (size_t i = 0; i < pages.size(); ++i) {
    auto& page = static_cast<CTesselPropertyPage&>(*pages[i]);
    const std::string node = host->GetTree().NodeOf(page, {});
    if (!node.empty()) host->Select(node, why);
    for (ordered_json& control : DescribeControls(page)) {
      if (control["visible"] == false) continue;
      control["page"] = i;
      all.push_back(std::move(control));
    }
  }
  std::cout << all.dump(-1, ' ', false, ordered_json::error_handler_t::replace) << std::endl;
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
    : m_worker(platform::Worker::Start(kIndexArgument, nullptr)) {
  if (!m_worker) return;
  m_worker->Tell(home + "\n" + options.computer + "\n" + (options.configServerMode ? "yes" : "no"));
  m_receiver = std::thread([this] {
    if (const std::optional<std::string> line = m_worker->Hear()) Receive(*line);
    m_worker->End();
  });
}

SettingsIndex::~SettingsIndex() {
  if (m_receiver.joinable()) m_receiver.join();
}

void SettingsIndex::Receive(const std::string& text) {
  const ordered_json all = ordered_json::parse(text, nullptr, false);
  if (!all.is_array()) return;
  std::vector<Entry> entries;
  for (const ordered_json& control : all) {
    Entry entry{control["page"], control["name"], control["group"], control["kind"], control["storedAs"], {}};
    entry.searched = text::Lower(entry.name + "\n" + entry.group + "\n" + entry.storedAs);
    for (const ordered_json& row : control.value("rows", ordered_json::array())) {
      if (row.is_array()) {
        for (const ordered_json& cell : row) entry.searched += "\n" + text::Lower(std::string(cell));
        continue;
      }
      entry.searched += "\n" + text::Lower(row.is_string() ? std::string(row) : std::string(row["text"]));
    }
    entries.push_back(std::move(entry));
  }
  const std::lock_guard lock(m_mutex);
  m_entries = std::move(entries);
}

ordered_json SettingsIndex::Find(Host& host, const std::string& text, size_t most) {
  const std::string needle = text::Lower(text);
  ordered_json found = ordered_json::array();
  if (needle.empty()) return found;
  const auto add = [&](const std::string& node, const Entry* entry) {
    ordered_json json{{"node", node}, {"name", ""}, {"group", ""}, {"kind", "node"}, {"storedAs", ""}};
    if (entry != nullptr) {
      json["name"] = entry->name;
      json["group"] = entry->group;
      json["kind"] = entry->kind;
      json["storedAs"] = entry->storedAs;
    }
    found.push_back(std::move(json));
  };
  // Nodes first: pages by their titles, then principals.
  const auto& pages = host.Sheet().Pages();
  std::vector<std::string> nodes;
  for (const CPropertyPage* page : pages) {
    nodes.push_back(host.GetTree().NodeOf(static_cast<const CTesselPropertyPage&>(*page), host.NodePath()));
    if (!nodes.back().empty() && text::Lower(page->Title()).find(needle) != std::string::npos &&
        found.size() < most / 3) {
      add(nodes.back(), nullptr);
    }
  }
  for (const std::string& root : host.GetTree().Roots()) {
    for (const PrincipalFolder& folder : kPrincipalFolders) {
      const std::string path = (root.empty() ? "" : root + "::") + std::string(folder.title);
      size_t total = 0;
      for (const Tree::Child& child : host.GetTree().Children(path, 0, 1000000, total)) {
        if (found.size() >= most / 2) break;
        if (child.node.page != nullptr && text::Lower(child.label).find(needle) != std::string::npos) {
          add(child.node.path, nullptr);
        }
      }
    }
  }
  const std::lock_guard lock(m_mutex);
  for (const bool byName : {true, false}) {
    for (const Entry& entry : m_entries) {
      if (found.size() >= most) return found;
      const bool inName = text::Lower(entry.name).find(needle) != std::string::npos;
      if (inName != byName || entry.searched.find(needle) == std::string::npos) continue;
      if (!nodes[entry.page].empty()) add(nodes[entry.page], &entry);
    }
  }
  return found;
}

}  // namespace web

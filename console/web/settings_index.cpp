#include "console/web/settings_index.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "console/describe.h"
#include "platform/machine.h"
#include "platform/text.h"

using nlohmann::ordered_json;

namespace web {
namespace {

std::string Lower(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), text::LowerAscii);
  return lower;
}

// Runs in the other process, which ends with it: nothing that it opened or showed is written.
void Tell(const std::string& home, const Host::Options& options, int pipe) {
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
  const std::string text = all.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
  for (std::string_view rest = text; !rest.empty();) {
    const ssize_t written = write(pipe, rest.data(), rest.size());
    if (written <= 0) return;
    rest.remove_prefix(static_cast<size_t>(written));
  }
}

}  // namespace

SettingsIndex::SettingsIndex(const std::string& home, const Host::Options& options) {
  int ends[2];
  if (pipe(ends) != 0) return;
  const pid_t process = fork();
  if (process == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    close(ends[0]);
    Tell(home, options, ends[1]);
    _exit(0);
  }
  close(ends[1]);
  if (process < 0) {
    close(ends[0]);
    return;
  }
  m_receiver = std::thread([this, process, pipe = ends[0]] {
    Receive(pipe);
    close(pipe);
    waitpid(process, nullptr, 0);
  });
}

SettingsIndex::~SettingsIndex() {
  if (m_receiver.joinable()) m_receiver.join();
}

void SettingsIndex::Receive(int pipe) {
  std::string text;
  char buffer[65536];
  for (ssize_t count; (count = read(pipe, buffer, sizeof buffer)) > 0;)
    text.append(buffer, static_cast<size_t>(count));
  const ordered_json all = ordered_json::parse(text, nullptr, false);
  if (!all.is_array()) return;
  std::vector<Entry> entries;
  for (const ordered_json& control : all) {
    Entry entry{control["page"], control["name"], control["group"], control["kind"], control["storedAs"], {}};
    entry.searched = Lower(entry.name + "\n" + entry.group + "\n" + entry.storedAs);
    for (const ordered_json& row : control.value("rows", ordered_json::array())) {
      if (row.is_array()) {
        for (const ordered_json& cell : row) entry.searched += "\n" + Lower(std::string(cell));
        continue;
      }
      entry.searched += "\n" + Lower(row.is_string() ? std::string(row) : std::string(row["text"]));
    }
    entries.push_back(std::move(entry));
  }
  const std::lock_guard lock(m_mutex);
  m_entries = std::move(entries);
}

ordered_json SettingsIndex::Find(Host& host, const std::string& text, size_t most) {
  const std::string needle = Lower(text);
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
    if (!nodes.back().empty() && Lower(page->Title()).find(needle) != std::string::npos &&
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
        if (child.node.page != nullptr && Lower(child.label).find(needle) != std::string::npos) {
          add(child.node.path, nullptr);
        }
      }
    }
  }
  const std::lock_guard lock(m_mutex);
  for (const bool byName : {true, false}) {
    for (const Entry& entry : m_entries) {
      if (found.size() >= most) return found;
      const bool inName = Lower(entry.name).find(needle) != std::string::npos;
      if (inName != byName || entry.searched.find(needle) == std::string::npos) continue;
      if (!nodes[entry.page].empty()) add(nodes[entry.page], &entry);
    }
  }
  return found;
}

}  // namespace web

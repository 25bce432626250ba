// What a browser is told of the session.

#include <algorithm>

#include "console/code_page.h"
#include "console/help.h"
#include "console/web/describe_window.h"
#include "console/web/session.h"
#include "platform/machine.h"

using nlohmann::ordered_json;

namespace web {

void Session::Publish() {
  if (m_host.Page() != nullptr) {
    const std::string page = DescribePage();
    for (auto& [tab, view] : m_views) {
      if (view.node == m_host.NodePath()) view.page = page;
    }
  }
  const std::string all = code_page::Dump(DescribeAll());
  std::map<std::string, std::string> states;
  for (const auto& [tab, view] : m_views) {
    ordered_json own{{"node", view.node}, {"window", view.window}, {"windows", DescribeWindows(tab)}};
    own["elsewhere"] = {{"count", view.heard}, {"text", view.lastHeard}};
    if (!m_windows.empty() && own["windows"].empty()) own["asked"] = true;
    const std::string fields = code_page::Dump(own);
    states[tab] = all.substr(0, all.size() - 1) + "," + fields.substr(1, fields.size() - 2) +
                  (view.page.empty() ? "" : "," + view.page) + "}";
  }
  const std::lock_guard lock(m_mutex);
  const std::uint64_t before = m_version;
  for (auto& [tab, state] : states) {
    Published& published = m_published[tab];
    if (published.state == state) continue;
    published = {std::move(state), ++m_version};
  }
  if (m_version == before) return;
  for (const auto& [follower, tell] : m_followers) tell();
}

// A page is modified as a whole; whether the node that it shows is part of it can be seen from the controls.
bool Session::NodeWaits() const {
  const CTesselPropertyPage* page = m_host.Page();
  if (page == nullptr || !page->IsModified()) return false;
  return m_shownPending || ValuesStamp(*page) != m_shownValues;
}

std::vector<std::string> Session::Marks() const {
  std::vector<std::string> marks;
  // Pages keep what they have only looked at, too; without an edit Apply stores nothing of it.
  if (!m_host.Sheet().IsModified()) return marks;
  for (CPropertyPage* page : m_host.Sheet().Pages()) {
    for (const auto& [target, record] : static_cast<const CTesselPropertyPage*>(page)->m_pending) {
      // What waits for a principal that was deleted is out of a person's reach.
      if (m_host.GetTree().Find(target)) marks.push_back(target);
    }
  }
  if (NodeWaits() && std::find(marks.begin(), marks.end(), m_host.NodePath()) == marks.end()) {
    marks.push_back(m_host.NodePath());
  }
  return marks;
}

// The fields of the state that tell of the page in front.
std::string Session::DescribePage() const {
  const CTesselPropertyPage& page = *m_host.Page();
  ordered_json json{{"problem", m_host.WhyNothingIsStored()}, {"controls", DescribeWindow(page)}};
  AddStored(page, m_shownPending, json["controls"]);
  if (const auto help = HelpNumber(HelpOf(m_host.GetTree(), m_host.NodePath()))) json["help"] = *help;
  const auto differs = [](const ordered_json& control) { return control.contains("changed"); };
  if (Unasked(m_host.NodePath()) && std::ranges::any_of(json["controls"], differs)) json["unasked"] = true;
  const std::string text = code_page::Dump(json);
  return text.substr(1, text.size() - 2);
}

// What stands above the page, for the tab that answers it.
ordered_json Session::DescribeWindows(const std::string& tab) const {
  ordered_json windows = ordered_json::array();
  if (m_owner && *m_owner != tab) return windows;
  for (const ModalWindow* window : m_windows) {
    ordered_json& json = windows.emplace_back(DescribeModal(*window));
    if (window->kind != ModalWindow::Kind::Dialog) continue;
    const PageHelp* const help = HelpOf(m_host.GetTree(), m_host.NodePath(), window->dialog->Caption());
    if (const auto number = HelpNumber(help)) json["help"] = *number;
  }
  return windows;
}

ordered_json Session::DescribeAll() const {
  ordered_json json{{"instance", m_setup.instance},
                    {"notice", m_setup.notice},
                    {"computer", m_host.GetOptions().computer},
                    {"computers", machine::Computers()},
                    {"configServer", m_host.GetOptions().configServerMode},
                    {"roots", m_host.GetTree().Roots()},
                    {"configurations", ConfigurationNames(m_host.ComputerName())},
                    {"tree", m_host.GetTree().Changes()},
                    {"marks", Marks()},
                    {"apply", m_host.Sheet().IsModified()},
                    {"download", m_transfers.Waiting()}};
  if (m_work) json["working"] = {{"done", m_work->done}, {"unit", m_work->unit}};
  return json;
}

}  // namespace web

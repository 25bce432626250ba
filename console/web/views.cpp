#include "console/web/views.h"

#include "console/web/describe_window.h"
#include "console/web/session.h"
#include "platform/machine.h"

using nlohmann::ordered_json;

namespace web {

std::vector<SelectedRow> SelectedRows(const CDialog& dialog) {
  std::vector<SelectedRow> selected;
  for (size_t i = 0; i < dialog.Controls().size(); ++i) {
    const CWnd& control = *dialog.Controls()[i];
    if (control.Kind() == ControlKind::ListBox) {
      const std::ptrdiff_t row = static_cast<const CListBase&>(control).GetCurSel();
      if (row >= 0) selected.push_back({i, static_cast<size_t>(row), std::string(control.RowText(row))});
    } else if (control.Kind() == ControlKind::ListView) {
      const auto& rows = static_cast<const CListCtrl&>(control).Rows();
      for (size_t row = 0; row < rows.size(); ++row) {
        if (rows[row].selected) selected.push_back({i, row, std::string(control.RowText(row))});
      }
    }
  }
  return selected;
}

void SelectRows(CDialog& dialog, const std::vector<SelectedRow>& selected) {
  const CWnd* cleared = nullptr;
  for (const SelectedRow& one : selected) {
    CWnd& control = *dialog.Controls()[one.control];
    // Some pages show their rows in another order each time.
    size_t row = one.row;
    if (row >= control.RowCount() || control.RowText(row) != one.text) {
      for (row = 0; row < control.RowCount() && control.RowText(row) != one.text;) ++row;
    }
    if (row == control.RowCount()) continue;
    if (control.Kind() == ControlKind::ListView && cleared != &control) control.Select(-1);
    cleared = &control;
    control.Select(static_cast<std::ptrdiff_t>(row));
  }
}

const std::string& Session::KeyOf(const std::string& tab) const {
  static const std::string kNoTab;
  return m_views.contains(tab) ? tab : kNoTab;
}

void Session::Open(const std::string& tab, const std::string& node) {
  Post([this, tab, node]() -> ordered_json {
    OpenView(tab, node);
    return nullptr;
  });
}

void Session::Close(const std::string& tab) {
  Post([this, tab]() -> ordered_json {
    CloseView(tab);
    return nullptr;
  });
}

// The node, or the one above it that is there; of a page without a configuration that of the first one. Empty
// where there is none.
std::string Session::NodeNear(const std::string& node) const {
  const Tree& tree = m_host.GetTree();
  std::string near = tree.NearestAbove(node);
  if (near.empty() && !tree.Roots().empty()) near = tree.NearestAbove(Under(tree.Roots().front(), node));
  const std::optional<TreeNode> found = tree.Find(near);
  return found && found->page != nullptr ? near : "";
}

// It begins where the tab says that it is, else where a person has acted last.
void Session::OpenView(const std::string& tab, const std::string& node) {
  const bool isNew = !m_views.contains(tab);
  View& view = m_views[tab];
  ++view.sockets;
  if (isNew) {
    view.window = ++m_lastWindow;
    view.node = NodeNear(node);
    // While an act is at work or asks, pages stay as they are.
    if (!view.node.empty() && m_windows.empty() && !machine::InEvent()) {
      m_acting = tab;
      InOwnEvent([&] { BringToFront(tab); });
    }
    if (m_front != tab) {
      view.node = m_views[m_front].node;
      view.page = m_views[m_front].page;
    }
  }
  Publish();
}

void Session::CloseView(const std::string& tab) {
  const auto found = m_views.find(tab);
  if (found == m_views.end() || --found->second.sockets > 0 || tab.empty()) return;
  if (m_front == tab) {
    View& rest = m_views[""];
    rest.node = found->second.node;
    rest.window = ++m_lastWindow;
    m_front.clear();
  }
  // What it has asked goes on in the others.
  if (m_owner == tab) m_owner.reset();
  m_views.erase(found);
  {
    const std::lock_guard lock(m_mutex);
    m_published.erase(tab);
  }
  Publish();
}

// Shows what a tab wants to see, between two acts.
void Session::InOwnEvent(const std::function<void()>& show) {
  if (machine::InEvent()) return;
  machine::BeginEvent();
  const bool waited = m_host.Sheet().IsModified();
  show();
  machine::KeepInMind(m_host.Sheet().IsModified() && waited);
  machine::CommitEvent();
}

std::string Session::BringToFront(const std::string& tab) {
  View& view = m_views[tab];
  if (m_host.Page() == nullptr || view.node != m_host.NodePath()) {
    if (std::string why = GoTo(view.node); !why.empty()) return why;
    SelectRows(*m_host.Page(), view.selected);
    PageWasShown(m_shownPending);
  }
  m_front = tab;
  return {};
}

void Session::KeepSelections() {
  if (m_host.Page() == nullptr) return;
  const std::vector<SelectedRow> selected = SelectedRows(*m_host.Page());
  for (auto& [tab, view] : m_views) {
    if (view.node == m_host.NodePath()) view.selected = selected;
  }
}

// The tab in front has gone where the act has led.
void Session::FollowFront() {
  View& front = m_views[m_front];
  if (front.node == m_host.NodePath()) return;
  front.node = m_host.NodePath();
  front.window = ++m_lastWindow;
  front.selected.clear();
}

void Session::TellOthers(const std::string& sentence, bool everywhere) {
  for (auto& [tab, view] : m_views) {
    if (tab == m_front || (!everywhere && view.node != m_host.NodePath())) continue;
    ++view.heard;
    view.lastHeard = sentence;
  }
}

// What the act has done to pages that other tabs show.
void Session::RefreshOthers() {
  if (!m_refresh || !m_windows.empty()) return;
  m_refresh = false;
  const std::string front = m_front;
  InOwnEvent([&] {
    for (auto& [tab, view] : m_views) {
      if (tab == front) continue;
      const std::string node = m_host.GetTree().NearestAbove(view.node);
      if (node != view.node) {
        view.node = node;
        view.window = ++m_lastWindow;
      }
      if (view.node.empty() || view.sockets == 0) continue;
      BringToFront(tab);
      view.page = DescribePage();
    }
    BringToFront(front);
  });
}

std::string Session::FirstNode() const {
  std::string path;
  for (;;) {
    size_t total = 0;
    const auto children = m_host.GetTree().Children(path, 0, 1, total);
    if (children.empty()) return {};
    if (children.front().node.page != nullptr) return children.front().node.path;
    path = children.front().node.path;
  }
}

std::string Session::GoTo(const std::string& node) {
  // The node that is shown already stays as it is, as in any tree.
  if (m_host.Page() != nullptr && node == m_host.NodePath()) return {};
  KeepSelections();
  const auto found = m_host.GetTree().Find(node);
  const bool pending = found && found->page != nullptr && found->page->m_pending.contains(node);
  std::string why;
  if (!m_host.Select(node, why)) return why;
  PageWasShown(pending);
  return {};
}

void Session::PageWasShown(bool pending) {
  m_shownPending = pending;
  m_shownValues = m_host.Page() == nullptr ? 0 : ValuesStamp(*m_host.Page());
}

}  // namespace web

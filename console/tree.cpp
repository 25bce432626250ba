#include "console/tree.h"

#include <algorithm>

#include "platform/text.h"

namespace {

constexpr std::string_view kSeparator = "::";
constexpr std::string_view kAnyPrincipal = "::*";

// As the lists of users and ranges sort.
bool StandsBefore(const std::string& a, const std::string& b) { return text::CompareNoCase(a, b) < 0; }

// The path without its last node; empty for a node at the top.
std::string_view ParentOf(std::string_view path) {
  const size_t end = path.rfind(kSeparator);
  return end == std::string_view::npos ? std::string_view() : path.substr(0, end);
}

}  // namespace

std::string Under(std::string_view root, std::string_view path) {
  if (root.empty()) return std::string(path);
  return std::string(root) + std::string(kSeparator) + std::string(path);
}

Tree::Tree(const std::vector<CTesselPropertyPage*>& pages, std::vector<std::string> roots)
    : m_roots(std::move(roots)) {
  for (CTesselPropertyPage* page : pages) {
    std::string_view title = page->Title();
    std::string_view heads = title;
    std::string_view suffix;
    bool perPrincipal = false;
    if (const size_t star = title.find(kAnyPrincipal); star != std::string_view::npos) {
      perPrincipal = true;
      heads = title.substr(0, star);
      suffix = title.substr(star + kAnyPrincipal.size());
      if (heads.starts_with('*')) heads.remove_prefix(1);
    }
    for (const CString& head : perPrincipal ? text::Split(heads, '|') : CStringList{CString(heads)}) {
      m_patterns.push_back({head, perPrincipal, std::string(suffix), page});
    }
  }
  std::vector<std::string> known;
  const auto add = [&known](std::string_view head) {
    if (!head.empty() && std::find(known.begin(), known.end(), head) == known.end()) known.emplace_back(head);
  };
  for (const Pattern& pattern : m_patterns) {
    add(ParentOf(pattern.head));
    add(pattern.head);
  }
  AppendHeads(known, {});
}

void Tree::PutBack(const Tree& before) {
  const unsigned changes = m_changes;
  *this = before;
  m_changes = changes + 1;
}

CTesselPropertyPage* Tree::PageOf(std::string_view path) const {
  for (const Pattern& pattern : m_patterns) {
    if (!pattern.perPrincipal) {
      if (path == pattern.head) return pattern.page;
      continue;
    }
    const std::string head = pattern.head + std::string(kSeparator);
    if (!path.starts_with(head)) continue;
    const std::string_view behind = path.substr(head.size());
    const size_t end = behind.find(kSeparator);
    if (behind.substr(std::min(end, behind.size())) == pattern.suffix) return pattern.page;
  }
  return nullptr;
}

const std::vector<std::string>* Tree::PrincipalsOf(const std::string& folderPath) const {
  const auto found = m_principals.find(folderPath);
  return found == m_principals.end() ? nullptr : &found->second.names;
}

bool Tree::IsPrincipal(const std::string& folderPath, std::string_view name) const {
  const auto found = m_principals.find(folderPath);
  return found != m_principals.end() && found->second.known.contains(std::string(name));
}

bool Tree::HasFolder(std::string_view title) const {
  return std::any_of(m_patterns.begin(), m_patterns.end(),
                     [title](const Pattern& pattern) { return pattern.head == title; });
}

void Tree::SetPrincipals(std::string_view root, const PrincipalFolder& folder,
                         std::vector<std::string> names) {
  if (!folder.ordered && !std::is_sorted(names.begin(), names.end(), StandsBefore)) {
    std::stable_sort(names.begin(), names.end(), StandsBefore);
  }
  Principals& principals = m_principals[Under(root, folder.title)];
  if (principals.names == names) return;
  ++m_changes;
  principals.known = {names.begin(), names.end()};
  principals.names = std::move(names);
}

void Tree::AddPrincipal(std::string_view nodePath) {
  for (const std::string& root : m_roots) {
    for (const PrincipalFolder& folder : kPrincipalFolders) {
      const std::string start = Under(root, folder.title) + std::string(kSeparator);
      if (!nodePath.starts_with(start)) continue;
      Principals& principals = m_principals[Under(root, folder.title)];
      const std::string name(nodePath.substr(start.size()));
      if (!principals.known.insert(name).second) return;
      const auto place = folder.ordered ? principals.names.end()
                                        : std::upper_bound(principals.names.begin(), principals.names.end(),
                                                           name, StandsBefore);
      principals.names.insert(place, name);
      ++m_changes;
      return;
    }
  }
}

bool Tree::RemovePrincipal(std::string_view nodePath) {
  for (auto& [folder, principals] : m_principals) {
    const std::string start = folder + std::string(kSeparator);
    if (!nodePath.starts_with(start)) continue;
    const std::string name(nodePath.substr(start.size()));
    if (principals.known.erase(name) == 0) continue;
    std::erase(principals.names, name);
    ++m_changes;
    return true;
  }
  return false;
}

std::optional<TreeNode> Tree::Find(std::string_view path) const {
  for (const std::string& root : m_roots) {
    std::string_view rest = path;
    if (!root.empty()) {
      if (!rest.starts_with(root + std::string(kSeparator))) continue;
      rest.remove_prefix(root.size() + kSeparator.size());
    }
    for (const Pattern& pattern : m_patterns) {
      if (!pattern.perPrincipal) {
        if (rest == pattern.head) return TreeNode{std::string(path), pattern.page};
        continue;
      }
      const std::string start = pattern.head + std::string(kSeparator);
      if (!rest.starts_with(start) || !rest.ends_with(pattern.suffix)) continue;
      if (rest.size() < start.size() + pattern.suffix.size()) continue;
      const std::string_view name =
          rest.substr(start.size(), rest.size() - start.size() - pattern.suffix.size());
      if (IsPrincipal(Under(root, pattern.head), name)) return TreeNode{std::string(path), pattern.page};
    }
  }
  return std::nullopt;
}

// Children follow their parent; among themselves all stand in the order of their pages.
void Tree::AppendHeads(const std::vector<std::string>& known, std::string_view parent) {
  for (const std::string& head : known) {
    if (ParentOf(head) != parent) continue;
    m_heads.push_back(head);
    AppendHeads(known, head);
  }
}

void Tree::AppendRoot(const std::string& root, std::vector<TreeNode>& nodes) const {
  if (!root.empty()) nodes.push_back({root, nullptr});
  for (const std::string& head : m_heads) {
    CTesselPropertyPage* own = nullptr;
    for (const Pattern& pattern : m_patterns) {
      if (!pattern.perPrincipal && pattern.head == head) own = pattern.page;
    }
    nodes.push_back({Under(root, head), own});
    const auto* names = PrincipalsOf(Under(root, head));
    for (size_t i = 0; names != nullptr && i < names->size(); ++i) {
      for (const Pattern& pattern : m_patterns) {
        if (!pattern.perPrincipal || pattern.head != head) continue;
        nodes.push_back(
            {Under(root, head) + std::string(kSeparator) + (*names)[i] + pattern.suffix, pattern.page});
      }
    }
  }
}

std::vector<TreeNode> Tree::Nodes() const {
  std::vector<TreeNode> nodes;
  for (const std::string& root : m_roots) AppendRoot(root, nodes);
  return nodes;
}

std::vector<std::string> Tree::Nearest(std::string_view path) const {
  std::vector<std::string> paths;
  for (const TreeNode& node : Nodes()) {
    if (node.page != nullptr) paths.push_back(node.path);
  }
  return NearestNames(path, std::move(paths));
}

size_t Tree::CountBelowHead(const std::string& root, const std::string& head) const {
  const auto below = std::count_if(m_heads.begin(), m_heads.end(),
                                   [&head](const auto& other) { return ParentOf(other) == head; });
  const auto* names = PrincipalsOf(Under(root, head));
  return static_cast<size_t>(below) + (names == nullptr ? 0 : names->size());
}

std::vector<Tree::Child> Tree::Children(std::string_view path, size_t first, size_t count,
                                        size_t& total) const {
  std::vector<Child> children;
  total = 0;
  const auto wanted = [&] { return total++ >= first && children.size() < count; };
  const auto add = [&children](std::string node, CTesselPropertyPage* page, std::string label, size_t below) {
    Child& child = children.emplace_back();
    child.node.path = std::move(node);
    child.node.page = page;
    child.label = std::move(label);
    child.children = below;
  };
  const auto pageOf = [this](const std::string& head, bool perPrincipal) {
    CTesselPropertyPage* page = nullptr;
    for (const Pattern& pattern : m_patterns) {
      if (pattern.head == head && pattern.perPrincipal == perPrincipal && pattern.suffix.empty())
        page = pattern.page;
    }
    return page;
  };
  const auto pagesOf = [this](const std::string& head) {
    return static_cast<size_t>(
        std::count_if(m_patterns.begin(), m_patterns.end(), [&head](const auto& pattern) {
          return pattern.perPrincipal && pattern.head == head && !pattern.suffix.empty();
        }));
  };
  const auto addHeads = [&](const std::string& root, std::string_view parent) {
    for (const std::string& head : m_heads) {
      if (ParentOf(head) != parent || !wanted()) continue;
      const std::string full = Under(root, head);
      add(full, pageOf(head, false), parent.empty() ? head : head.substr(parent.size() + kSeparator.size()),
          CountBelowHead(root, head));
    }
  };
  for (const std::string& root : m_roots) {
    if (path == root) {
      addHeads(root, {});
      return children;
    }
    if (path.empty()) {
      if (wanted()) {
        size_t heads = 0;
        Children(root, 0, 0, heads);
        add(root, nullptr, root, heads);
      }
      continue;
    }
    for (const std::string& head : m_heads) {
      const std::string full = Under(root, head);
      const std::string start = full + std::string(kSeparator);
      const auto* names = PrincipalsOf(full);
      if (path == full) {
        addHeads(root, head);
        if (names == nullptr) return children;
        CTesselPropertyPage* const own = pageOf(head, true);
        const size_t pages = pagesOf(head);
        const size_t heads = total;
        total += names->size();
        for (size_t i = std::max(first, heads) - heads; i < names->size() && children.size() < count; ++i) {
          const std::string& name = (*names)[i];
          add(start + name, own, name, pages);
        }
        return children;
      }
      if (names == nullptr || !path.starts_with(start)) continue;
      if (!IsPrincipal(full, path.substr(start.size()))) continue;
      for (const Pattern& pattern : m_patterns) {
        if (!pattern.perPrincipal || pattern.head != head || pattern.suffix.empty() || !wanted()) continue;
        add(std::string(path) + pattern.suffix, pattern.page, pattern.suffix.substr(kSeparator.size()), 0);
      }
      return children;
    }
  }
  return children;
}

std::string Tree::NearestAbove(std::string_view path) const {
  while (!path.empty() && !Find(path)) {
    const size_t end = path.rfind(kSeparator);
    path = path.substr(0, end == std::string_view::npos ? 0 : end);
  }
  return std::string(path);
}

std::string Tree::NodeOf(const CTesselPropertyPage& page, std::string_view path) const {
  std::string nearest;
  for (const std::string& root : m_roots) {
    for (const Pattern& pattern : m_patterns) {
      if (pattern.page != &page) continue;
      const std::string head = Under(root, pattern.head);
      if (!pattern.perPrincipal) {
        if (nearest.empty() || path.starts_with(root + std::string(kSeparator))) nearest = head;
        continue;
      }
      const auto* names = PrincipalsOf(head);
      if (names == nullptr || names->empty()) continue;
      const std::string start = head + std::string(kSeparator);
      if (nearest.empty()) nearest = start + names->front() + pattern.suffix;
      if (!path.starts_with(start)) continue;
      for (const std::string& name : *names) {
        const std::string_view rest = path.substr(start.size());
        if (rest == name || rest.starts_with(name + std::string(kSeparator)))
          return start + name + pattern.suffix;
      }
    }
  }
  return nearest;
}

#include "console/tree.h"

#include <algorithm>

#include "platform/text.h"

namespace {

constexpr std::string_view kSeparator = "::";
constexpr std::string_view kAnyPrincipal = "::*";

std::string Under(std::string_view root, std::string_view path) {
  if (root.empty()) return std::string(path);
  return std::string(root) + std::string(kSeparator) + std::string(path);
}

// The path without its last node; empty for a node at the top.
std::string_view ParentOf(std::string_view path) {
  const size_t end = path.rfind(kSeparator);
  return end == std::string_view::npos ? std::string_view() : path.substr(0, end);
}

}  // namespace

const std::vector<PrincipalFolder>& Tree::Folders() {
  static const std::vector<PrincipalFolder> folders{
      {"Users", R"(SSHD\Users)", false},       {"Groups", R"(SSHD\Groups)", true},
      {"IP Range", R"(SSHD\IPs)", false},      {"SFTP Users", R"(SFTP\Users)", false},
      {"SFTP Groups", R"(SFTP\Groups)", true}, {"SCP Users", R"(SCP\Users)", false},
      {"SCP Groups", R"(SCP\Groups)", true},
  };
  return folders;
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
}

const std::vector<std::string>* Tree::PrincipalsOf(const std::string& folderPath) const {
  const auto found = m_principals.find(folderPath);
  return found == m_principals.end() ? nullptr : &found->second;
}

void Tree::AddPrincipal(std::string_view nodePath) {
  for (const std::string& root : m_roots) {
    for (const PrincipalFolder& folder : Folders()) {
      const std::string start = Under(root, folder.title) + std::string(kSeparator);
      if (!nodePath.starts_with(start)) continue;
      auto& names = m_principals[Under(root, folder.title)];
      const std::string name(nodePath.substr(start.size()));
      if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
      return;
    }
  }
}

void Tree::RemovePrincipal(std::string_view nodePath) {
  for (auto& [folder, names] : m_principals) {
    const std::string start = folder + std::string(kSeparator);
    if (nodePath.starts_with(start)) std::erase(names, nodePath.substr(start.size()));
  }
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
      const auto* names = PrincipalsOf(Under(root, pattern.head));
      if (names != nullptr && std::find(names->begin(), names->end(), name) != names->end()) {
        return TreeNode{std::string(path), pattern.page};
      }
    }
  }
  return std::nullopt;
}

void Tree::AppendRoot(const std::string& root, std::vector<TreeNode>& nodes) const {
  std::vector<std::string> heads;
  const auto addHead = [&](const std::string& head) {
    if (std::find(heads.begin(), heads.end(), head) == heads.end()) heads.push_back(head);
  };
  for (const Pattern& pattern : m_patterns) {
    const std::string_view parent = ParentOf(pattern.head);
    if (!parent.empty()) addHead(std::string(parent));
    addHead(pattern.head);
  }
  // Children follow their parent, in the order of the pages.
  std::stable_sort(heads.begin(), heads.end(), [&heads](const std::string& a, const std::string& b) {
    const auto place = [&heads](const std::string& head) {
      const std::string_view parent = ParentOf(head);
      return std::find(heads.begin(), heads.end(), parent.empty() ? head : std::string(parent));
    };
    return place(a) < place(b);
  });
  if (!root.empty()) nodes.push_back({root, nullptr});
  for (const std::string& head : heads) {
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

#pragma once

// The nodes of the console: every page's title gives one, and the pattern of a principal's page one under
// each principal of its folders. A node's path is its titles with "::" between; where named configurations
// are edited, the configuration's name stands before it. Nodes stand in the pages' order, principals as their
// list shows them.

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "framework/tessel_property_page.h"
#include "store/places.h"

struct TreeNode {
  std::string path;
  CTesselPropertyPage* page = nullptr;  // null for a node that only holds others
};

// The path below a configuration; as it is below an empty one.
std::string Under(std::string_view root, std::string_view path);

class Tree {
 public:
  // `roots` are the names of the configurations, or one empty name for the computer's own settings.
  Tree(const std::vector<CTesselPropertyPage*>& pages, std::vector<std::string> roots);

  // Where a page stands below each root.
  struct Pattern {
    std::string head;  // the folder, or the whole path of a page without principals
    bool perPrincipal = false;
    std::string suffix;  // behind the principal's name
    CTesselPropertyPage* page = nullptr;
  };
  const std::vector<Pattern>& Patterns() const { return m_patterns; }

  const std::vector<std::string>& Roots() const { return m_roots; }

  // Whether a page stands at the folder, or under each of its principals.
  bool HasFolder(std::string_view title) const;
  // The principals of a folder below a root, in display form; those of an ordered one in their order.
  void SetPrincipals(std::string_view root, const PrincipalFolder& folder, std::vector<std::string> names);
  // Puts a new one where its list shows it: at the end of an ordered folder, else by its name.
  void AddPrincipal(std::string_view nodePath);
  // False if there is no such principal.
  bool RemovePrincipal(std::string_view nodePath);

  // Nothing if no page has this path. Paths compare with regard to case, as the pages do.
  std::optional<TreeNode> Find(std::string_view path) const;
  // Every node, parents before children.
  std::vector<TreeNode> Nodes() const;
  // The nodes directly below one, from the `first` on, at most `count`; below the empty path lie the roots,
  // or the nodes at the top where there is only the computer itself. `total` gets the number of all.
  struct Child {
    TreeNode node;
    std::string label;
    size_t children = 0;
  };
  std::vector<Child> Children(std::string_view path, size_t first, size_t count, size_t& total) const;
  // A node that the page serves, as near to `path` as there is one; empty for none.
  std::string NodeOf(const CTesselPropertyPage& page, std::string_view path) const;
  // The page that serves a path, whether or not there is such a principal; null for none.
  CTesselPropertyPage* PageOf(std::string_view path) const;
  // Has the nodes of an earlier copy.
  void PutBack(const Tree& before);
  // The node at the path or, where it has gone, the nearest one above it that is there; empty for none.
  std::string NearestAbove(std::string_view path) const;
  // Counts up whenever nodes come or go.
  unsigned Changes() const { return m_changes; }
  // Up to three paths that resemble `path`.
  std::vector<std::string> Nearest(std::string_view path) const;

 private:
  struct Principals {
    std::vector<std::string> names;
    std::unordered_set<std::string> known;
  };
  bool IsPrincipal(const std::string& folderPath, std::string_view name) const;
  const std::vector<std::string>* PrincipalsOf(const std::string& folderPath) const;
  void AppendRoot(const std::string& root, std::vector<TreeNode>& nodes) const;
  void AppendHeads(const std::vector<std::string>& known, std::string_view parent);
  size_t CountBelowHead(const std::string& root, const std::string& head) const;

  std::vector<Pattern> m_patterns;
  std::vector<std::string> m_heads;  // the nodes above all principals, children behind their parent
  std::vector<std::string> m_roots;
  std::map<std::string, Principals> m_principals;  // by the folder's path
  unsigned m_changes = 0;
};

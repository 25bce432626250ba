#include "console/captions.h"

#include "platform/text.h"

namespace {

constexpr std::string_view kHive = "hkey_local_machine\\";
constexpr char kAnyone[] = "\x01";  // no principal's name, to find where a name stands in the key

std::string Joined(const std::string& root, const std::string& path) {
  return root.empty() ? path : root + "::" + path;
}

}  // namespace

Captions::Captions(const Host& host) {
  const Tree& tree = host.GetTree();
  for (const std::string& root : tree.Roots()) {
    for (const Tree::Pattern& pattern : tree.Patterns()) {
      const std::string node = Joined(root, pattern.head) +
                               (pattern.perPrincipal ? std::string("::") + kAnyone + pattern.suffix : "");
      std::string key = text::Lower(pattern.page->StoredAt(node));
      if (key.empty()) continue;
      Where where{key, "", pattern.perPrincipal, root, &pattern, {}};
      if (const size_t name = key.find(kAnyone); name != std::string::npos) {
        where.prefix = key.substr(0, name);
        where.suffix = key.substr(name + 1);
        // One key has the name twice: what stands behind the first one is told by the page's node.
        if (const size_t again = where.suffix.find(kAnyone); again != std::string::npos) continue;
      }
      for (size_t i = 0; i < pattern.page->Controls().size(); ++i) {
        const CWnd& control = *pattern.page->Controls()[i];
        if (control.storedAs.empty()) continue;
        std::string name = pattern.page->NameOf(i);
        std::erase(name, '&');
        while (name.ends_with(':') || name.ends_with(' ')) name.pop_back();
        where.settings.emplace_back(text::Lower(control.storedAs), name.substr(0, name.find('#')));
      }
      m_places.push_back(std::move(where));
    }
  }
}

std::optional<Captions::Place> Captions::Of(std::string_view key, std::string_view value) const {
  const std::string whole = text::Lower(key);
  if (!whole.starts_with(kHive)) return std::nullopt;
  const std::string_view path = std::string_view(whole).substr(kHive.size());
  const std::string name = text::Lower(value);
  std::optional<Place> found;
  for (const Where& where : m_places) {
    const bool fits = where.perPrincipal ? path.size() > where.prefix.size() + where.suffix.size() &&
                                               path.starts_with(where.prefix) && path.ends_with(where.suffix)
                                         : path == where.prefix;
    if (!fits) continue;
    const std::string_view spelled = key.substr(kHive.size() + where.prefix.size());
    std::string principal(where.perPrincipal ? spelled.substr(0, spelled.size() - where.suffix.size()) : "");
    if (principal.find('\\') != std::string::npos) continue;
    // A "\" can't stand in a key's name.
    principal = text::Replaced(std::move(principal), "?", "\\");
    const std::string node = Joined(where.root, where.pattern->head) +
                             (where.perPrincipal ? "::" + principal + where.pattern->suffix : "");
    for (const auto& [stored, setting] : where.settings) {
      if (stored == name) return Place{node, setting};
    }
    if (!found) found = Place{node, ""};
  }
  return found;
}

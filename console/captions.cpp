#include "console/captions.h"

#include <algorithm>

#include "console/help.h"
#include "platform/text.h"

namespace {

constexpr std::string_view kHive = "hkey_local_machine\\";
constexpr char kAnyone[] = "\x01";  // no principal's name, to find where a name stands in the key

}  // namespace

std::string ShownPath(std::string_view node) { return text::Replaced(std::string(node), "::", " > "); }

Captions::Captions(const Host& host) {
  const Tree& tree = host.GetTree();
  for (const std::string& root : tree.Roots()) {
    for (const Tree::Pattern& pattern : tree.Patterns()) {
      const std::string node = Under(root, pattern.head) +
                               (pattern.perPrincipal ? std::string("::") + kAnyone + pattern.suffix : "");
      std::string key = text::Lower(pattern.page->StoredAt(node));
      if (key.empty()) continue;
      Where where{key, "", 0, root, &pattern, {}};
      if (const size_t name = key.find(kAnyone); name != std::string::npos) {
        where.prefix = key.substr(0, name);
        where.suffix = key.substr(key.rfind(kAnyone) + 1);
        where.names = static_cast<size_t>(std::ranges::count(key, kAnyone[0]));
      }
      for (size_t i = 0; i < pattern.page->Controls().size(); ++i) {
        const CWnd& control = *pattern.page->Controls()[i];
        if (control.storedAs.empty()) continue;
        std::string name(BareName(pattern.page->NameOf(i)));
        std::erase(name, '&');
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
    const size_t around = where.prefix.size() + where.suffix.size();
    const bool fits = where.names == 0 ? path == where.prefix
                                       : path.size() > around && path.starts_with(where.prefix) &&
                                             path.ends_with(where.suffix);
    if (!fits) continue;
    const std::string_view names = key.substr(kHive.size() + where.prefix.size(), path.size() - around);
    std::string principal(where.names == 0 ? "" : names.substr(0, names.size() / where.names));
    if (principal.find('\\') != std::string::npos ||
        (where.names == 2 && !text::EqualNoCase(names, principal + principal))) {
      continue;
    }
    // A "\" can't stand in a key's name.
    principal = text::Replaced(std::move(principal), "?", "\\");
    const std::string node = Under(where.root, where.pattern->head) +
                             (where.names > 0 ? "::" + principal + where.pattern->suffix : "");
    for (const auto& [stored, setting] : where.settings) {
      if (stored == name) return Place{node, setting};
    }
    if (!found) found = Place{node, ""};
  }
  return found;
}

#pragma once

// What a stored value is called on the pages.

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "console/host.h"

// A node's path as tables of changes show it, in characters that every code page has.
std::string ShownPath(std::string_view node);

class Captions {
 public:
  // Learns where the pages of the host keep their settings; the principals of the moment don't matter.
  explicit Captions(const Host& host);

  struct Place {
    std::string node;     // as the tree calls it
    std::string setting;  // the caption of the control; empty where the page shows the value by none
  };
  // Of a value, whose key is told from its hive on; nothing where no page keeps its settings there.
  std::optional<Place> Of(std::string_view key, std::string_view value) const;

 private:
  struct Where {
    std::string prefix;  // of the key before the principal's name, in lower case; the whole key without one
    std::string suffix;  // behind the name
    size_t names = 0;    // how often the principal's name stands there, one behind the other
    std::string root;    // the configuration
    const Tree::Pattern* pattern = nullptr;                     // of the page's nodes
    std::vector<std::pair<std::string, std::string>> settings;  // by value, in lower case
  };
  std::vector<Where> m_places;
};

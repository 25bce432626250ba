#pragma once

// What the search knows: the controls of every page, with the rows that lists get when they are shown.
// Showing a page may make keys and let edits wait, so another process shows them and tells.

#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "console/host.h"

namespace web {

class SettingsIndex {
 public:
  // Starts the process that looks at the pages. Call it while the calling process has one thread and has not
  // opened its home.
  SettingsIndex(const std::string& home, const Host::Options& options);
  ~SettingsIndex();
  SettingsIndex(const SettingsIndex&) = delete;
  SettingsIndex& operator=(const SettingsIndex&) = delete;

  // [{"node", "name", "group", "kind", "storedAs"}], best first, at most `most`: controls whose caption, row
  // or stored value's name holds the text, and nodes whose name does. For pages of principals, of the
  // principal that is shown or else the first one. On the page thread.
  nlohmann::ordered_json Find(Host& host, const std::string& text, size_t most);

 private:
  struct Entry {
    size_t page;
    std::string name;
    std::string group;
    std::string kind;
    std::string storedAs;
    std::string searched;  // lower case: name, group, rows, stored values
  };
  void Receive(int pipe);

  std::mutex m_mutex;
  std::vector<Entry> m_entries;
  std::thread m_receiver;
};

}  // namespace web

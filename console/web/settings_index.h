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
#include "platform/worker.h"

namespace web {

// The argument with which this program is started anew to look at the pages, and what that process then does.
constexpr char kIndexArgument[] = "--index-settings";
int IndexSettings();

class SettingsIndex {
 public:
  // Starts the process that looks at the pages.
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
  void Receive(const std::string& text);

  std::unique_ptr<platform::Worker> m_worker;
  std::mutex m_mutex;
  std::vector<Entry> m_entries;
  std::thread m_receiver;
};

}  // namespace web

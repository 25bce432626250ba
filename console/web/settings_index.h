#pragma once

// What the search knows: the controls of every page, with the rows that lists get when they are shown, what
// is stored, and what a page shows where nothing is. Showing a page may make keys and let edits wait, so
// another process shows them and tells.

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "console/host.h"
#include "console/web/matching.h"
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

  // From any thread: has the pages looked at anew where the index is older than that many changes of the
  // store, and waits for it.
  void Renew(std::uint64_t changes);

  // On the page thread. {"pages", "settings", "people", "actions"}, each the best first: [{"node", "name",
  // "group", "kind", "storedAs", "value", "page", "forWhom"}]. Of pages of principals the node of the one
  // that is shown or else of the first one, with "forWhom". "@changed" finds what waits, "@not-default" what
  // is stored otherwise than a page shows where nothing is; both may have words behind them.
  nlohmann::ordered_json Find(Host& host, const std::string& text);
  // The nodes of the principals whose name holds the words, for that page.
  nlohmann::ordered_json FindPeople(Host& host, const std::string& text, size_t page);

 private:
  struct Entry {
    size_t page;
    std::string name;
    std::string group;
    std::string kind;
    std::string storedAs;
    std::string value;
    std::string byDefault;
    bool hasDefault = false;
    // In lower case.
    std::string lowerName;
    std::string lowerStored;
    std::string lowerRest;  // group, rows, value
    std::string lowerAlso;
    std::string lowerText;
  };
  struct Folder {
    std::string path;
    std::string_view title;
    std::vector<std::string> names;
    std::vector<std::string> lower;
  };

  void Start();
  void Receive(const std::string& text);
  const std::vector<Folder>& Folders(const Host& host);
  std::vector<std::string> NodesOfPages(const Host& host) const;
  void AddPeople(const Query& query, const Folder& folder, const std::string& suffix, size_t most,
                 nlohmann::ordered_json& found) const;
  std::vector<std::pair<int, const Entry*>> Matching(const Host& host, const Query& query, bool forgives,
                                                     bool notDefault) const;

  std::string m_home;
  Host::Options m_options;
  std::unique_ptr<platform::Worker> m_worker;
  std::thread m_receiver;

  std::mutex m_mutex;
  std::condition_variable m_received;
  bool m_looking = false;
  std::uint64_t m_changes = 0;  // of the store, when the pages were looked at
  std::vector<Entry> m_entries;

  std::vector<Folder> m_folders;
  unsigned m_tree = ~0U;
};

}  // namespace web

#pragma once

// What a command has put into the controls of pages, and what the store holds of it after Apply. Pages report
// neither, so both are looked at.

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "console/host.h"
#include "console/stored_changes.h"

class Edits {
 public:
  // Does "CAPTION=VALUE" at the page in front. A control that makes something else of the value leaves a
  // note.
  Act Assign(Host& host, std::string_view assignment, std::vector<std::string>& notes);
  void Forget() { m_all.clear(); }
  bool Empty() const { return m_all.empty(); }

  struct Report {
    std::string text;                    // a line for each assignment
    std::vector<std::string> notStored;  // one sentence for each that was not
    std::vector<std::string> notes;      // what else has changed with them
    nlohmann::ordered_json json = nlohmann::ordered_json::array();
  };
  // After Apply, within its event. Nodes stand before the assignments where `withNodes`.
  Report Look(Host& host, const StoredChanges& changes, bool withNodes) const;

 private:
  struct Assignment {
    std::string node;
    std::string key;  // under HKEY_LOCAL_MACHINE
    std::string caption;
    std::string value;   // as it was given
    std::string asked;   // what the control is to show for it
    std::string became;  // what it has made of the value
    const CWnd* control = nullptr;
    std::string row;                 // of a check list
    std::vector<std::string> names;  // of the stored values that the control edits
    // Whether the one value that the control edits holds just what it shows.
    bool plain = false;
  };
  struct Verdict {
    enum class Kind : unsigned char { NoSetting, Stored, StoredAs, NothingToStore, NotStored };
    Kind kind = Kind::NoSetting;
    std::string stored;  // NAME=TEXT of what was stored otherwise
    std::string shown;   // what the page shows of it, where that is not what was asked for
    std::string why;
  };
  static Verdict Judge(const Host& host, const Assignment& assignment, const StoredChanges& changes);
  static std::string Describe(const Verdict& verdict);
  std::vector<std::string> Besides(const StoredChanges& changes) const;

  std::vector<Assignment> m_all;
};

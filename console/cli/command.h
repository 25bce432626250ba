#pragma once

// What the commands of the command line share: how they end, and how they print.

#include <cerrno>
#include <cstring>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "console/host.h"
#include "window/scripted_front_end.h"

// A command's exit status.
enum class Status : int { Done = 0, NotDone = 1, WrongUse = 2, Unanswered = 3 };

// What came of a command, printed once at its end: as text, or as the one JSON object
// {"version", "status", "error", "notes", "messages", "data"}.
struct Outcome {
  Status status = Status::Done;
  std::string error;                  // one sentence, for any status but Done
  std::string text;                   // the result for a person
  std::vector<std::string> notes;     // what a person should know although the command succeeded
  std::vector<std::string> warnings;  // notes that stand apart from the result, on standard error
  std::vector<std::string> messages;  // what message boxes have told
  nlohmann::ordered_json data;        // the result for a program
  bool readsOnly = false;             // done, and what it wrote on its way was put back
  bool partly = false;                // not done in full, but what was written counts
  bool disturbed = false;             // not done because others wrote meanwhile: another try may succeed
};

inline Outcome Failed(std::string_view sentence, Status status = Status::NotDone) {
  Outcome outcome;
  outcome.status = status;
  outcome.error = sentence;
  return outcome;
}

// Right after the file could not be opened.
inline Outcome CantBeRead(const std::string& file) {
  const int why = errno;
  return Failed("The file \"" + file + "\" can't be read" +
                (why == 0 ? "." : std::string(": ") + std::strerror(why) + "."));
}

// For commands that tell in words of their own what they did, if anything.
inline Outcome WithoutText(Outcome outcome) {
  outcome.text.clear();
  return outcome;
}

// Global options of the command line.
struct Settings {
  std::string home;
  Host::Options host;
  std::string account;  // whose rights on an embedded computer count; empty for all of them
  bool json = false;
  bool dryRun = false;  // tell what a page command would store, and store nothing
};

// The pages.
Outcome ShowTree(const Settings& settings);
Outcome ShowNode(const Settings& settings, const std::string& node);
// What the page and its settings are for.
Outcome ShowHelp(const Settings& settings, const std::string& node);
Outcome ShowAllNodes(const Settings& settings);
Outcome FindText(const Settings& settings, const std::string& text);
// `answers` are for what the pages ask when they are applied.
Outcome SetControls(const Settings& settings, const std::string& node,
                    const std::vector<std::string>& assignments, const std::vector<std::string>& answers);
// `steps` are answers, or pairs of "--select", "--fill", "--press" or "--path" and what goes with them.
// `finish` looks at the page in front and at what came of the command before that counts, and may turn it
// into a failure. `prepare` runs before anything else.
using FinishPress = std::function<void(Outcome& outcome, const Host& host)>;
using PreparePress = std::function<void(Host& host, ScriptedFrontEnd& frontEnd)>;
Outcome PressButton(const Settings& settings, const std::string& node, const std::string& caption,
                    const std::vector<std::string>& steps, const FinishPress& finish = {},
                    const PreparePress& prepare = {});
Outcome RunScript(const Settings& settings, const std::string& file);

// The report of connections, in a file of the folder.
Outcome WriteReport(const Settings& settings, const std::string& format, const std::string& folder);

// The registry and the computers.
Outcome QueryRegistry(const Settings& settings, const std::string& key, const std::string* value);
// Who may do what with the key; or first gives it, and all below it, the list of a new computer.
Outcome ShowAccessList(const Settings& settings, const std::string& key, bool reset);
Outcome ChangeComputers(const std::string& verb, const std::string& name, unsigned codePage);
Outcome ChangeConfigurations(const Settings& settings, const std::string& verb, const std::string& name);

int Print(const Settings& settings, const Outcome& outcome);

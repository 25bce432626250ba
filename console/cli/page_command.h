#pragma once

// What the commands that work on pages share: a host with a scripted front end, and an event for the life of
// one command.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "console/cli/command.h"
#include "console/cli/command_front_end.h"
#include "console/cli/edits.h"

class PageCommand {
 public:
  // Without a host: see `why`.
  explicit PageCommand(const Settings& settings);
  // What no End has kept leaves nothing behind: a page that is only shown may make keys.
  ~PageCommand();
  PageCommand(const PageCommand&) = delete;
  PageCommand& operator=(const PageCommand&) = delete;

  // Begins the event, unless there is one. `alone`: others wait from now on, and so can't disturb it.
  void BeginReading();
  void BeginWriting(bool alone = false);

  // Shows a node. False: see `why`.
  bool Select(const std::string& node);

  // Presses Apply, and tells what the store holds of the edits: as text, and as {"assignments", "changes"}. A
  // page whose write failed fails the command; an edit that a page does not store, partly.
  Outcome Apply(bool withNodes);
  // The number of stored values and keys, as the last Apply has found it.
  const std::string& Count() const { return m_count; }

  // Ends the event: what was written counts if the command is done, or partly so, and not at all otherwise.
  // In a dry run nothing counts, and the text tells what would. `alone`: neither does it where others have
  // meanwhile changed what the pages have read and now write.
  Outcome End(Outcome outcome, bool alone);

  CommandFrontEnd frontEnd;
  std::unique_ptr<Host> host;
  std::string why;
  Edits edits;

 private:
  void OpenFirstPage(std::string_view node);

  bool m_json;
  bool m_dryRun;
  std::string m_count;
  FrontEnd* m_before;
};

// Others may write between a command's reading and its writing, and a page writes all of its values. So the
// command is then done again, from the start; after some tries `alone`.
Outcome Undisturbed(const std::function<Outcome(bool alone)>& command);

// What a question without an answer, or an answer that did not fit, makes of the command.
std::optional<Outcome> Unfinished(const ScriptedFrontEnd& frontEnd);

// Adds to the notes which nodes an act has changed beside the one in front.
void NoteOthers(const Host& host, const Host::WaitingEdits& before, std::vector<std::string>& notes);

// A page's controls, for a person and for a program.
Outcome DescribePage(Host& host);

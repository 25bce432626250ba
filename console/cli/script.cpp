// Acts from a file, one a line. Each "apply" is an event of its own.

#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>

#include "configuration/byte_stream.h"
#include "console/cli/page_command.h"
#include "console/code_page.h"
#include "console/describe.h"
#include "platform/machine.h"
#include "platform/program.h"

namespace {

// "node" is what "page" was called first: scripts hold it.
const std::vector<std::string> kVerbs{"page", "set", "press", "answer", "path", "apply", "cancel", "show"};

// The lines of a script, which act on one console.
class Script {
 public:
  explicit Script(PageCommand& command) : m_command(command), m_host(*command.host) {}

  // Runs one line; an outcome other than Done ends the script.
  Outcome Line(std::string_view line) {
    const size_t blank = std::min(line.find(' '), line.size());
    const std::string_view verb = line.substr(0, blank);
    const std::string argument(line.substr(std::min(blank + 1, line.size())));
    if (verb == "page" || verb == "node") {
      return m_command.Select(argument) ? Outcome{} : Failed(m_command.why);
    }
    if (verb == "answer") return m_command.frontEnd.AddAnswer(argument), Outcome{};
    if (verb == "path") return m_command.frontEnd.AddPath(argument), Outcome{};
    if (m_host.Page() == nullptr) return Failed("A line \"page\" must come first.", Status::WrongUse);
    if (verb == "set" || verb == "press") return Edit(verb == "press", argument);
    if (verb == "show") return DescribePage(m_host);
    if (verb == "cancel") return Cancel();
    if (verb == "apply") return Apply();
    return Failed("There is no line \"" + std::string(verb) + "\": there are " + AllOf(kVerbs) + ".",
                  Status::WrongUse);
  }

  // The nodes that the script has edited and not applied. The page in front is left for it.
  std::vector<std::string> NodesLeft() {
    m_host.Sheet().LeaveActivePage();
    std::vector<std::string> left;
    for (const Host::WaitingEdits::OfPage& page : m_host.Waiting().pages) {
      for (const auto& [target, record] : page.pending) {
        if (m_edited.contains(target)) left.push_back(target);
      }
    }
    return left;
  }

 private:
  Outcome Edit(bool press, const std::string& argument) {
    Outcome outcome;
    const Host::WaitingEdits before = m_host.Waiting();
    const Act act =
        press ? m_host.Page()->Press(argument) : m_command.edits.Assign(m_host, argument, outcome.notes);
    if (!act) return Failed(act.refusal);
    m_edited.insert(m_host.NodePath());
    for (const std::string& node : m_host.ChangedBesides(before)) m_edited.insert(node);
    NoteOthers(m_host, before, outcome.notes);
    if (!press) return outcome;
    // A page may let others write, before an export for example.
    if (const std::vector<std::string> failures = m_host.FailedSaves(); !failures.empty()) {
      return Failed(text::Joined(failures, " "));
    }
    return Unfinished(m_command.frontEnd).value_or(outcome);
  }

  Outcome Cancel() {
    m_host.Cancel();
    m_command.edits.Forget();
    m_edited.clear();
    return {};
  }

  Outcome Apply() {
    Outcome applied = m_command.Apply(true);
    if (applied.status == Status::Done || applied.partly) applied.text += m_command.Count();
    if (const auto unfinished = Unfinished(m_command.frontEnd)) applied = *unfinished;
    m_edited.clear();
    return m_command.End(std::move(applied), false);
  }

  PageCommand& m_command;
  Host& m_host;
  std::set<std::string> m_edited;
};

// What the script has written without an "apply" counts; edits that still wait make it one that is not done.
void EndScript(Script& script, Outcome& all) {
  if (all.status != Status::Done) return;
  const auto changes = StoredChanges::OfEvent(StoredChanges::Keep::Counts);
  if (!changes.Empty()) all.text += changes.Count() + "\n";
  const std::vector<std::string> left = script.NodesLeft();
  if (left.empty()) return;
  all.status = Status::NotDone;
  all.partly = true;
  all.error = "The script ends without an \"apply\" for what it edited of " + AllOf(left) + ".";
}

}  // namespace

Outcome RunScript(const Settings& settings, const std::string& file) {
  std::ifstream opened;
  std::error_code ignored;
  if (std::filesystem::is_directory(code_page::PathOf(file), ignored))
    return Failed("\"" + file + "\" is a folder, not a script.");
  if (file != "-") {
    errno = 0;
    opened.open(code_page::PathOf(file));
    if (!opened) return CantBeRead(file);
  }
  std::istream& input = file == "-" ? std::cin : opened;
  PageCommand command(settings);
  if (command.host == nullptr) return Failed(command.why);
  Script script(command);
  Outcome all;
  all.data = nlohmann::ordered_json::array();
  std::string line;
  for (int number = 1;; ++number) {
    // The next line may be long in coming.
    if (!machine::InEvent()) machine::GoIdle();
    if (!std::getline(input, line)) break;
    if (line.ends_with('\r')) line.pop_back();
    if (line.empty() || line.starts_with('#')) continue;
    // A script can't be begun again where others disturb it: one that is at hand has them wait.
    command.BeginWriting(file != "-" && !IsStream(file));
    std::string why;
    const std::optional<std::string> words = code_page::FromUtf8(line, why);
    Outcome one = words ? script.Line(*words) : Failed(why, Status::WrongUse);
    all.text += one.text;
    all.notes.insert(all.notes.end(), one.notes.begin(), one.notes.end());
    if (!one.data.is_null()) all.data.push_back(std::move(one.data));
    if (one.status == Status::Done) continue;
    all.status = one.status;
    all.error = "Line " + std::to_string(number) + ": " + one.error;
    break;
  }
  all.messages = command.frontEnd.Messages();
  EndScript(script, all);
  return command.End(std::move(all), false);
}

// The commands that work on pages. Each is one event: what it writes counts when all of it was done.

#include <algorithm>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>

#include "console/cli/command.h"
#include "console/cli/command_front_end.h"
#include "console/describe.h"
#include "framework/page_directory.h"
#include "platform/machine.h"
#include "platform/text.h"

namespace {

bool HoldsNoCase(std::string_view whole, std::string_view part) {
  const auto same = [](char a, char b) { return text::LowerAscii(a) == text::LowerAscii(b); };
  return part.empty() ||
         std::search(whole.begin(), whole.end(), part.begin(), part.end(), same) != whole.end();
}

// What a page shows of the store, by control. Sliders follow their edits.
using Snapshot = std::vector<std::pair<std::string, std::string>>;

Snapshot TakeSnapshot(const CDialog& page) {
  Snapshot values;
  for (const auto& control : page.Controls()) {
    if (control->storedAs.empty()) continue;
    std::string value = control->Value();
    for (size_t row = 0; control->HasCheckBoxes() && row < control->RowCount(); ++row) {
      value += control->IsChecked(row) ? '1' : '0';
    }
    values.emplace_back(control->Name(), std::move(value));
  }
  return values;
}

// A host with a scripted front end, and an event, for the life of one command: what the command does not end
// with EndEvent leaves nothing behind. A page that is only shown may make keys.
class Console {
 public:
  explicit Console(const Settings& settings) : m_before(SetFrontEnd(&frontEnd)) {
    host = Host::Start(settings.host, why);
    machine::BeginEvent();
  }
  ~Console() {
    machine::AbandonEvent();
    host.reset();
    SetFrontEnd(m_before);
  }
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  // Shows a node, and keeps what it showed first: Apply tells by it what was not stored. False: see `why`.
  bool Select(const std::string& node) {
    if (host->Page() == nullptr) OpenFirstPage(node);
    if (!host->Select(node, why)) return false;
    before.try_emplace(host->NodePath(), TakeSnapshot(*host->Page()));
    return true;
  }

  CommandFrontEnd frontEnd;
  std::unique_ptr<Host> host;
  std::string why;
  std::map<std::string, Snapshot> before;

 private:
  // A console opens on the first page of its settings, and some pages go by what stands on that one. So a
  // command on one node shows what a person would see who clicks it.
  void OpenFirstPage(std::string_view node) {
    const std::string root =
        host->GetOptions().configServerMode ? std::string(node.substr(0, node.find(':'))) : "";
    size_t count = 0;
    for (const Tree::Child& first : host->GetTree().Children(root, 0, kPageCount, count)) {
      if (first.node.page == nullptr) continue;
      host->Select(first.node.path, why);
      return;
    }
  }

  FrontEnd* m_before;
};

// What a question without an answer, or an answer that did not fit, makes of the command.
std::optional<Outcome> Unfinished(const ScriptedFrontEnd& frontEnd) {
  if (!frontEnd.Refusal().empty()) return Failed(frontEnd.Refusal());
  if (frontEnd.Unanswered().empty()) return std::nullopt;
  return Failed("\"" + frontEnd.Unanswered() + "\" was not answered.", Status::Unanswered);
}

// Ends the event: what was written counts if the command is done, and not at all otherwise.
Outcome EndEvent(Outcome outcome) {
  if (outcome.status != Status::Done) {
    machine::AbandonEvent();
    return outcome;
  }
  const machine::Outcome committed = machine::CommitEvent();
  return committed ? outcome : Failed(committed.sentence);
}

// One assignment, with a note where the control has made something else of the value.
Act Assign(CDialog& page, std::string_view assignment, std::vector<std::string>& notes) {
  const auto parts = SplitAssignment(assignment);
  if (!parts) return {"\"" + std::string(assignment) + "\" is not of the form CAPTION=VALUE."};
  const auto& [name, value] = *parts;
  Act act = page.Put(name, value);
  if (!act) return act;
  const CDialog::Found found = page.Find(name);
  if (found.row >= 0 || found.control->Kind() != ControlKind::Edit) return act;
  const std::string shown = found.control->Value();
  // The lines of a text end in CR LF, however they were given.
  if (text::Replaced(shown, "\r\n", "\n") != text::Replaced(value, "\r\n", "\n"))
    notes.push_back("\"" + std::string(name) + "\" became " + shown + ", not " + std::string(value) + ".");
  return act;
}

// Whether the page in front has something to write although it has not enabled Apply: some edits are taken in
// silence, and show only in what the page keeps when it is left.
bool KeepsSilentEdit(Host& host) {
  if (!host.Sheet().LeaveActivePage()) return false;
  const bool keeps = host.HasUnsavedChanges();
  std::string why;
  host.Select(std::string(host.NodePath()), why);
  return keeps;
}

// Apply, where there is something to apply. Pages do not report failures, so a control that shows what it
// showed before it was edited was not stored. One that shows something else again follows another value.
Outcome Apply(Console& console) {
  Host& host = *console.host;
  CPropertySheet& sheet = host.Sheet();
  if (!sheet.IsModified() && !KeepsSilentEdit(host)) return {};
  const Snapshot entered = TakeSnapshot(*host.Page());
  if (!host.Apply()) return Failed("The page refuses to be applied.");
  const Snapshot shown = TakeSnapshot(*host.Page());
  const Snapshot before = console.before[host.NodePath()];
  console.before = {{host.NodePath(), shown}};
  for (size_t i = 0; i < shown.size(); ++i) {
    if (shown[i] != entered[i] && shown[i] == before[i]) {
      return Failed("\"" + shown[i].first + "\" of \"" + host.NodePath() +
                    "\" could not be stored: it shows what it showed before.");
    }
  }
  return {};
}

Outcome Describe(Host& host) {
  Outcome outcome;
  outcome.text = host.NodePath() + "\n" + PrintControls(*host.Page());
  outcome.data = {{"node", host.NodePath()}, {"controls", DescribeControls(*host.Page())}};
  return outcome;
}

// The lines of a script, which act on one console.
class Script {
 public:
  explicit Script(Console& console) : m_console(console), m_host(*console.host) {}

  // Runs one line; an outcome other than Done ends the script.
  Outcome Line(std::string_view line) {
    const size_t blank = std::min(line.find(' '), line.size());
    const std::string_view verb = line.substr(0, blank);
    const std::string argument(line.substr(std::min(blank + 1, line.size())));
    if (verb == "node") {
      return m_console.Select(argument) ? Outcome{} : Failed(m_console.why);
    }
    if (verb == "answer") return m_console.frontEnd.AddAnswer(argument), Outcome{};
    if (verb == "path") return m_console.frontEnd.AddPath(argument), Outcome{};
    if (m_host.Page() == nullptr) return Failed("A line \"node\" must come first.", Status::WrongUse);
    if (verb == "set") {
      Outcome outcome;
      if (const Act act = Assign(*m_host.Page(), argument, outcome.notes); !act) return Failed(act.refusal);
      return outcome;
    }
    if (verb == "press") {
      if (const Act act = m_host.Page()->Press(argument); !act) return Failed(act.refusal);
      return Unfinished(m_console.frontEnd).value_or(Outcome{});
    }
    if (verb == "show") return Describe(m_host);
    if (verb == "cancel") return m_host.Cancel(), Outcome{};
    if (verb == "apply") {
      Outcome applied = Apply(m_console);
      if (const auto unfinished = Unfinished(m_console.frontEnd)) applied = *unfinished;
      applied = EndEvent(std::move(applied));
      machine::BeginEvent();
      return applied;
    }
    return Failed("There is no act \"" + std::string(verb) + "\".", Status::WrongUse);
  }

 private:
  Console& m_console;
  Host& m_host;
};

// Adds the answers of "press" and returns what is to be selected on the page first.
std::optional<std::vector<std::string>> TakeSteps(const std::vector<std::string>& steps,
                                                  ScriptedFrontEnd& frontEnd) {
  std::vector<std::string> selections;
  for (size_t i = 0; i < steps.size(); ++i) {
    const std::string& step = steps[i];
    if (!step.starts_with("--")) {
      frontEnd.AddAnswer(step);
      continue;
    }
    if (i + 1 == steps.size()) return std::nullopt;
    const std::string& argument = steps[++i];
    if (step == "--select") {
      selections.push_back(argument);
    } else if (step == "--fill" || step == "--press") {
      frontEnd.AddAnswer(argument);
    } else if (step == "--path") {
      frontEnd.AddPath(argument);
    } else {
      return std::nullopt;
    }
  }
  return selections;
}

}  // namespace

Outcome ShowTree(const Settings& settings) {
  const Console console(settings);
  if (console.host == nullptr) return Failed(console.why);
  Outcome outcome;
  outcome.data = nlohmann::ordered_json::array();
  for (const TreeNode& node : console.host->GetTree().Nodes()) {
    outcome.text += node.path + "\n";
    outcome.data.push_back({{"node", node.path}, {"page", node.page != nullptr}});
  }
  return outcome;
}

Outcome ShowNode(const Settings& settings, const std::string& node) {
  Console console(settings);
  if (console.host == nullptr || !console.Select(node)) return Failed(console.why);
  return Describe(*console.host);
}

Outcome ShowAllNodes(const Settings& settings) {
  Console console(settings);
  if (console.host == nullptr) return Failed(console.why);
  Outcome outcome;
  outcome.data = nlohmann::ordered_json::array();
  for (const TreeNode& node : console.host->GetTree().Nodes()) {
    if (node.page == nullptr || !console.host->Select(node.path, console.why)) continue;
    Outcome page = Describe(*console.host);
    outcome.text += page.text;
    outcome.data.push_back(std::move(page.data));
  }
  return outcome;
}

Outcome FindText(const Settings& settings, const std::string& wanted) {
  Console console(settings);
  if (console.host == nullptr) return Failed(console.why);
  Outcome outcome;
  outcome.data = nlohmann::ordered_json::array();
  std::string node;
  const auto add = [&outcome, &node](nlohmann::ordered_json control) {
    const std::string storedAs = control["storedAs"];
    outcome.text += node + ": " + std::string(control["name"]) + " = " +
                    OneLine(std::string(control["value"])) +
                    (storedAs.empty() ? "" : "  [" + storedAs + "]") + "\n";
    control["node"] = node;
    outcome.data.push_back(std::move(control));
  };
  for (const TreeNode& treeNode : console.host->GetTree().Nodes()) {
    node = treeNode.path;
    if (treeNode.page == nullptr || !console.host->Select(node, console.why)) continue;
    for (const auto& control : DescribeControls(*treeNode.page)) {
      if (!control["visible"]) continue;
      if (HoldsNoCase(std::string(control["name"]), wanted) ||
          HoldsNoCase(std::string(control["storedAs"]), wanted)) {
        add(control);
      }
      if (!control.contains("rows")) continue;
      // A row with a check box is as good as a control: "set" takes its text as a caption.
      for (const auto& row : control["rows"]) {
        if (!row.is_object() || !HoldsNoCase(std::string(row["text"]), wanted)) continue;
        nlohmann::ordered_json box = control;
        box.erase("rows");
        box["name"] = box["caption"] = row["text"];
        box["kind"] = KindName(ControlKind::CheckBox);
        box["group"] = control["name"];
        box["value"] = row["checked"] ? "on" : "off";
        add(std::move(box));
      }
    }
  }
  if (outcome.data.empty()) return Failed("No setting's caption or stored name holds \"" + wanted + "\".");
  return outcome;
}

Outcome SetControls(const Settings& settings, const std::string& node,
                    const std::vector<std::string>& assignments) {
  Console console(settings);
  if (console.host == nullptr) return Failed(console.why);
  if (!console.Select(node)) return EndEvent(Failed(console.why));
  std::vector<std::string> notes;
  for (const std::string& assignment : assignments) {
    if (const Act act = Assign(*console.host->Page(), assignment, notes); !act) {
      const bool wrongUse = assignment.find('=') == std::string::npos;
      return EndEvent(Failed(act.refusal, wrongUse ? Status::WrongUse : Status::NotDone));
    }
  }
  Outcome outcome = Apply(console);
  if (const auto unfinished = Unfinished(console.frontEnd)) outcome = *unfinished;
  outcome.notes = std::move(notes);
  outcome.messages = console.frontEnd.Messages();
  return EndEvent(std::move(outcome));
}

Outcome PressButton(const Settings& settings, const std::string& node, const std::string& caption,
                    const std::vector<std::string>& steps, const FinishPress& finish,
                    const PreparePress& prepare) {
  Console console(settings);
  if (console.host == nullptr) return Failed(console.why);
  if (prepare) prepare(*console.host, console.frontEnd);
  const auto selections = TakeSteps(steps, console.frontEnd);
  if (!selections) {
    return Failed("After the button come answers, or --select, --fill, --press and --path with a text each.",
                  Status::WrongUse);
  }
  if (!console.Select(node)) return EndEvent(Failed(console.why));
  Outcome outcome;
  for (const std::string& selection : *selections) {
    if (const Act act = Assign(*console.host->Page(), selection, outcome.notes); !act) {
      return EndEvent(Failed(act.refusal));
    }
  }
  if (const Act act = console.host->Page()->Press(caption); !act) return EndEvent(Failed(act.refusal));
  std::optional<Outcome> unfinished = Unfinished(console.frontEnd);
  if (!unfinished) {
    std::vector<std::string> notes = std::move(outcome.notes);
    outcome = Apply(console);
    outcome.notes = std::move(notes);
    unfinished = Unfinished(console.frontEnd);
  }
  if (unfinished) outcome = *unfinished;
  outcome.messages = console.frontEnd.Messages();
  if (finish) finish(outcome, *console.host->Page());
  return EndEvent(std::move(outcome));
}

Outcome RunScript(const Settings& settings, const std::string& file) {
  std::ifstream opened;
  if (file != "-") {
    opened.open(file);
    if (!opened) return Failed("The file \"" + file + "\" can't be read.");
  }
  std::istream& input = file == "-" ? std::cin : opened;
  Console console(settings);
  if (console.host == nullptr) return Failed(console.why);
  Script script(console);
  Outcome all;
  all.data = nlohmann::ordered_json::array();
  std::string line;
  for (int number = 1; std::getline(input, line); ++number) {
    if (line.ends_with('\r')) line.pop_back();
    if (line.empty() || line.starts_with('#')) continue;
    Outcome one = script.Line(line);
    all.text += one.text;
    all.notes.insert(all.notes.end(), one.notes.begin(), one.notes.end());
    if (!one.data.is_null()) all.data.push_back(std::move(one.data));
    if (one.status == Status::Done) continue;
    all.status = one.status;
    all.error = "Line " + std::to_string(number) + ": " + one.error;
    break;
  }
  all.messages = console.frontEnd.Messages();
  return EndEvent(std::move(all));
}

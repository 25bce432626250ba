// The commands that work on pages. Each is one event: what it writes counts when all of it was done.

#include <algorithm>
#include <fstream>
#include <iostream>
#include <sstream>

#include "console/cli/command.h"
#include "console/describe.h"
#include "platform/machine.h"
#include "platform/text.h"

namespace {

// A host with a scripted front end, for the life of one command.
class Console {
 public:
  explicit Console(const Settings& settings) : m_before(SetFrontEnd(&frontEnd)) {
    host = Host::Start(settings.host, why);
  }
  ~Console() {
    host.reset();
    SetFrontEnd(m_before);
  }
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  ScriptedFrontEnd frontEnd;
  std::unique_ptr<Host> host;
  std::string why;

 private:
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
  const Act act = page.Put(name, value);
  if (!act) return act;
  const CDialog::Found found = page.Find(name);
  if (found.row >= 0 || found.control->Kind() != ControlKind::Edit) return act;
  const std::string shown = found.control->Value();
  if (shown != value)
    notes.push_back("\"" + std::string(name) + "\" became " + shown + ", not " + std::string(value) + ".");
  return act;
}

// The page's values, for comparing what was entered with what is stored. Sliders follow their edits.
std::vector<std::string> Snapshot(const CDialog& page) {
  std::vector<std::string> values;
  for (const auto& control : page.Controls()) {
    if (control->storedAs.empty()) continue;
    std::string value = control->Value();
    for (size_t row = 0; control->HasCheckBoxes() && row < control->RowCount(); ++row) {
      value += control->IsChecked(row) ? '1' : '0';
    }
    values.push_back(std::move(value));
  }
  return values;
}

// Apply, where it is enabled; a page that then shows something else was not stored.
Outcome Apply(Host& host) {
  CPropertySheet& sheet = host.Sheet();
  if (!sheet.IsModified()) return {};
  const std::vector<std::string> entered = Snapshot(*host.Page());
  if (!sheet.PressApply()) return Failed("The page refuses to be applied.");
  if (Snapshot(*host.Page()) != entered) {
    return Failed("The settings of \"" + host.NodePath() + "\" could not be stored.");
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
      std::string why;
      return m_host.Select(argument, why) ? Outcome{} : Failed(why);
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
    if (verb == "cancel") return m_host.Sheet().PressCancel(), Outcome{};
    if (verb == "apply") {
      Outcome applied = Apply(m_host);
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
  if (console.host == nullptr || !console.host->Select(node, console.why)) return Failed(console.why);
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
  const auto lower = [](std::string_view source) {
    std::string result(source);
    std::transform(result.begin(), result.end(), result.begin(), text::LowerAscii);
    return result;
  };
  const std::string needle = lower(wanted);
  Outcome outcome;
  outcome.data = nlohmann::ordered_json::array();
  for (const TreeNode& node : console.host->GetTree().Nodes()) {
    if (node.page == nullptr || !console.host->Select(node.path, console.why)) continue;
    for (auto& control : DescribeControls(*node.page)) {
      const std::string name = control["name"];
      const std::string storedAs = control["storedAs"];
      if (lower(name).find(needle) == std::string::npos && lower(storedAs).find(needle) == std::string::npos) continue;
      const std::string value = control["value"];
      outcome.text +=
          node.path + ": " + name + " = " + value + (storedAs.empty() ? "" : "  [" + storedAs + "]") + "\n";
      control["node"] = node.path;
      outcome.data.push_back(control);
    }
  }
  if (outcome.data.empty()) return Failed("No setting's caption or stored name holds \"" + wanted + "\".");
  return outcome;
}

Outcome SetControls(const Settings& settings, const std::string& node,
                    const std::vector<std::string>& assignments) {
  Console console(settings);
  if (console.host == nullptr) return Failed(console.why);
  machine::BeginEvent();
  if (!console.host->Select(node, console.why)) return EndEvent(Failed(console.why));
  std::vector<std::string> notes;
  for (const std::string& assignment : assignments) {
    if (const Act act = Assign(*console.host->Page(), assignment, notes); !act) {
      const bool wrongUse = assignment.find('=') == std::string::npos;
      return EndEvent(Failed(act.refusal, wrongUse ? Status::WrongUse : Status::NotDone));
    }
  }
  Outcome outcome = Apply(*console.host);
  if (const auto unfinished = Unfinished(console.frontEnd)) outcome = *unfinished;
  outcome.notes = std::move(notes);
  outcome.messages = console.frontEnd.Messages();
  return EndEvent(std::move(outcome));
}

Outcome PressButton(const Settings& settings, const std::string& node, const std::string& caption,
                    const std::vector<std::string>& steps) {
  Console console(settings);
  if (console.host == nullptr) return Failed(console.why);
  const auto selections = TakeSteps(steps, console.frontEnd);
  if (!selections) {
    return Failed("After the button come answers, or --select, --fill, --press and --path with a text each.",
                  Status::WrongUse);
  }
  machine::BeginEvent();
  if (!console.host->Select(node, console.why)) return EndEvent(Failed(console.why));
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
    outcome = Apply(*console.host);
    outcome.notes = std::move(notes);
    unfinished = Unfinished(console.frontEnd);
  }
  if (unfinished) outcome = *unfinished;
  outcome.messages = console.frontEnd.Messages();
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
  machine::BeginEvent();
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

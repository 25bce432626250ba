// The commands that work on pages. Each is one event: what it writes counts when all of it was done.

#include <algorithm>

#include "console/cli/page_command.h"
#include "console/describe.h"
#include "console/help.h"
#include "platform/text.h"

namespace {

bool HoldsNoCase(std::string_view whole, std::string_view part) {
  const auto same = [](char a, char b) { return text::LowerAscii(a) == text::LowerAscii(b); };
  return part.empty() ||
         std::search(whole.begin(), whole.end(), part.begin(), part.end(), same) != whole.end();
}

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
    } else if (step == "--certificate") {
      frontEnd.AddCertificate(argument);
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
  const PageCommand command(settings);
  if (command.host == nullptr) return Failed(command.why);
  Outcome outcome;
  outcome.data = nlohmann::ordered_json::array();
  for (const TreeNode& node : command.host->GetTree().Nodes()) {
    outcome.text += node.path + "\n";
    outcome.data.push_back({{"node", node.path}, {"page", node.page != nullptr}});
  }
  if (outcome.data.empty())
    outcome.notes.emplace_back("There is no configuration. \"marrowen config add NAME\" makes one.");
  return outcome;
}

Outcome ShowNode(const Settings& settings, const std::string& node) {
  PageCommand command(settings);
  if (command.host == nullptr) return Failed(command.why);
  command.BeginReading();
  if (!command.Select(node)) return Failed(command.why);
  // What the page shows of a key that it may not read says nothing.
  if (command.host->Page()->m_shownStatus == ERROR_ACCESS_DENIED)
    return Failed(command.host->WhyNothingIsStored());
  return DescribePage(*command.host);
}

Outcome ShowHelp(const Settings& settings, const std::string& node) {
  Outcome outcome;
  PageCommand command(settings);
  if (command.host == nullptr) return Failed(command.why);
  command.BeginReading();
  if (!command.Select(node)) return Failed(command.why);
  const PageHelp* const help = HelpOf(command.host->GetTree(), node);
  if (help == nullptr) return Failed("There is no help for \"" + node + "\".");
  outcome.text = PrintHelp(*help);
  outcome.data = HelpJson(*help);
  outcome.readsOnly = true;
  return outcome;
}

Outcome ShowAllNodes(const Settings& settings) {
  PageCommand command(settings);
  if (command.host == nullptr) return Failed(command.why);
  command.BeginReading();
  Outcome outcome;
  outcome.data = nlohmann::ordered_json::array();
  for (const TreeNode& node : command.host->GetTree().Nodes()) {
    if (node.page == nullptr || !command.host->Select(node.path, command.why)) continue;
    Outcome page = DescribePage(*command.host);
    outcome.text += page.text;
    outcome.data.push_back(std::move(page.data));
  }
  return outcome;
}

Outcome FindText(const Settings& settings, const std::string& wanted) {
  PageCommand command(settings);
  if (command.host == nullptr) return Failed(command.why);
  command.BeginReading();
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
  for (const TreeNode& treeNode : command.host->GetTree().Nodes()) {
    node = treeNode.path;
    if (treeNode.page == nullptr || !command.host->Select(node, command.why)) continue;
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

namespace {

Outcome SetOnce(const Settings& settings, const std::string& node,
                const std::vector<std::string>& assignments, const std::vector<std::string>& answers,
                bool alone) {
  PageCommand command(settings);
  if (command.host == nullptr) return Failed(command.why);
  for (const std::string& answer : answers) command.frontEnd.AddAnswer(answer);
  command.BeginWriting(alone);
  if (!command.Select(node)) return Failed(command.why);
  const Host::WaitingEdits before = command.host->Waiting();
  std::vector<std::string> notes;
  for (const std::string& assignment : assignments) {
    if (const Act act = command.edits.Assign(*command.host, assignment, notes); !act) {
      const bool wrongUse = assignment.find('=') == std::string::npos;
      return Failed(act.refusal, wrongUse ? Status::WrongUse : Status::NotDone);
    }
  }
  NoteOthers(*command.host, before, notes);
  Outcome outcome = command.Apply(false);
  if (const auto unfinished = Unfinished(command.frontEnd)) outcome = *unfinished;
  outcome.notes.insert(outcome.notes.begin(), notes.begin(), notes.end());
  outcome.messages = command.frontEnd.Messages();
  return command.End(std::move(outcome), true);
}

Outcome PressOnce(const Settings& settings, const std::string& node, const std::string& caption,
                  const std::vector<std::string>& steps, const FinishPress& finish,
                  const PreparePress& prepare, bool alone) {
  PageCommand command(settings);
  if (command.host == nullptr) return Failed(command.why);
  if (prepare) prepare(*command.host, command.frontEnd);
  const auto selections = TakeSteps(steps, command.frontEnd);
  if (!selections) {
    return Failed(
        "After the button come answers, or --select, --fill, --press, --path and --certificate with a text "
        "each.",
        Status::WrongUse);
  }
  command.BeginWriting(alone);
  if (!command.Select(node)) return Failed(command.why);
  const Host::WaitingEdits before = command.host->Waiting();
  std::vector<std::string> notes;
  for (const std::string& selection : *selections) {
    if (const Act act = command.edits.Assign(*command.host, selection, notes); !act)
      return Failed(act.refusal);
  }
  if (const Act act = command.host->Page()->Press(caption); !act) return Failed(act.refusal);
  NoteOthers(*command.host, before, notes);
  std::optional<Outcome> unfinished = Unfinished(command.frontEnd);
  Outcome outcome;
  if (!unfinished) {
    outcome = command.Apply(false);
    outcome.notes.insert(outcome.notes.begin(), notes.begin(), notes.end());
    outcome.text += command.Count();
    unfinished = Unfinished(command.frontEnd);
  }
  if (unfinished) outcome = *unfinished;
  outcome.messages = command.frontEnd.Messages();
  if (finish) finish(outcome, *command.host);
  return command.End(std::move(outcome), true);
}

}  // namespace

Outcome SetControls(const Settings& settings, const std::string& node,
                    const std::vector<std::string>& assignments, const std::vector<std::string>& answers) {
  return Undisturbed([&](bool alone) { return SetOnce(settings, node, assignments, answers, alone); });
}

Outcome PressButton(const Settings& settings, const std::string& node, const std::string& caption,
                    const std::vector<std::string>& steps, const FinishPress& finish,
                    const PreparePress& prepare) {
  return Undisturbed(
      [&](bool alone) { return PressOnce(settings, node, caption, steps, finish, prepare, alone); });
}

#include "console/cli/principals.h"

#include <array>
#include <memory>
#include <optional>

#include "console/key_name.h"
#include "platform/text.h"

namespace {

using Steps = std::vector<std::string>;

// What one list is called, and its page.
struct Kind {
  std::string noun;
  std::string node;  // also the list on it
  std::string newButton;
  std::string copyButton;
  std::string deleteButton;
};

const Kind kUser{"user", "Users", "New User", "Copy User", "Delete User"};
const Kind kGroup{"group", "Groups", "New Group", "Copy Group", "Delete Group"};
const Kind kRange{"range", "IP Range", "New IP Range", "Copy Range", "Delete Range"};

constexpr size_t kLongestName = 255;  // characters of a registry key's name

// What the commands are given.
struct Words {
  std::string configuration;
  std::string name;
  std::string source;
  std::string domain;
  std::string query;
  std::string begin;
  std::string end;
};

std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

std::string NodeOf(const Kind& kind, const Words& words) {
  return words.configuration.empty() ? kind.node : words.configuration + "::" + kind.node;
}

// The row of the page's list whose key has this name; nothing if there is none.
std::optional<std::string> RowOf(const CDialog& page, const Kind& kind, std::string_view text) {
  const CWnd* list = page.Find(kind.node).control;
  for (size_t row = 0; list != nullptr && row < list->RowCount(); ++row) {
    if (SameKeyName(list->RowText(row), text)) return std::string(list->RowText(row));
  }
  return std::nullopt;
}

Steps Selected(const Kind& kind, const std::string& name) { return {"--select", kind.node + "=" + name}; }

// A message of the page is why a command was not done.
bool TurnMessageIntoFailure(Outcome& outcome) {
  if (outcome.messages.empty()) return false;
  outcome.status = Status::NotDone;
  outcome.error = outcome.messages.front();
  outcome.error.erase(outcome.error.find_last_not_of("\r\n") + 1);
  outcome.messages.clear();
  return true;
}

// Presses the button that makes a principal, or a copy of the one that is named.
Outcome Make(const Settings& settings, const Kind& kind, const Words& words, const Steps& answers,
             const FinishPress& finish) {
  Steps steps;
  if (!words.source.empty()) steps = Selected(kind, words.source);
  steps.insert(steps.end(), answers.begin(), answers.end());
  const std::string& button = words.source.empty() ? kind.newButton : kind.copyButton;
  return WithoutText(PressButton(settings, NodeOf(kind, words), button, steps, finish));
}

// Tells a principal that the page took but the store did not.
void CheckStored(Outcome& outcome, const CDialog& page, const Kind& kind, const std::string& name) {
  if (outcome.status != Status::Done || RowOf(page, kind, name)) return;
  outcome = Failed("The " + kind.noun + " " + Quoted(name) + " could not be stored.");
}

Outcome MakeUser(const Settings& settings, const Words& words) {
  std::string name = words.name;
  std::string domain = words.domain;
  if (const size_t slash = name.find('\\'); domain.empty() && slash != std::string::npos) {
    domain = name.substr(0, slash);
    name.erase(0, slash + 1);
  }
  const std::string shown = text::Replaced(domain.empty() ? name : domain + "\\" + name, "?", "\\");
  if (shown.find(':') != std::string::npos) {
    return Failed("The name " + Quoted(shown) +
                  " can't be used: \":\" separates the nodes of the tree, so its settings would be lost.");
  }
  if (shown.size() > kLongestName) {
    return Failed("The name has " + std::to_string(shown.size()) + " bytes; the store takes at most " +
                  std::to_string(kLongestName) + ".");
  }
  const Steps answers{"--fill", "User Name=" + name, "--fill", "Domain=" + domain, "--press", "OK"};
  return Make(settings, kUser, words, answers, [&](Outcome& outcome, const CDialog& page) {
    if (TurnMessageIntoFailure(outcome)) return;
    CheckStored(outcome, page, kUser, shown);
    const auto row = RowOf(page, kUser, shown);
    if (outcome.status != Status::Done || row == shown) return;
    outcome.notes.push_back(Quoted(shown) + " and " + Quoted(*row) +
                            " are one user, since the store knows no case: its settings were replaced.");
  });
}

Outcome MakeGroup(const Settings& settings, const Words& words) {
  Steps answers;
  if (!words.query.empty()) {
    answers = {"--fill", R"(Query System (\\machine_name or domain)=)" + words.query, "--press", "Refresh"};
  }
  // The picker lists names alone, and finds out the domain of what is picked.
  const std::string alone = words.name.substr(words.name.rfind('\\') + 1);
  const Steps picked{"--fill", "Available Groups=" + alone, "--press", "<- Add", "--press", "OK"};
  answers.insert(answers.end(), picked.begin(), picked.end());
  return Make(settings, kGroup, words, answers, [&](Outcome& outcome, const CDialog& page) {
    if (TurnMessageIntoFailure(outcome) || outcome.status != Status::Done) return;
    const CWnd& list = *page.Find(kGroup.node).control;
    const std::string added = list.RowCount() == 0 ? "" : std::string(list.RowText(list.RowCount() - 1));
    if (text::EqualNoCase(added, words.name)) return;
    if (!text::EqualNoCase(std::string_view(added).substr(added.rfind('\\') + 1), alone)) {
      outcome = Failed("The group " + Quoted(alone) + " could not be stored.");
    } else if (words.name != alone) {
      outcome = Failed("The group " + Quoted(alone) + " is known here as " + Quoted(added) + ", not as " +
                       Quoted(words.name) + ".");
    } else {
      outcome.notes.push_back("It is listed as " + Quoted(added) + ".");
    }
  });
}

// A blank address counts as 0.0.0.0.
std::string Dotted(const CIPAddressCtrl& address) {
  std::string text;
  for (const std::uint8_t part : address.GetAddress())
    text += (text.empty() ? "" : ".") + std::to_string(part);
  return text;
}

Outcome MakeRange(const Settings& settings, const Words& words) {
  std::string begin = words.begin;
  std::string end = words.end;
  if (const size_t hyphen = begin.find('-'); end.empty() && hyphen != std::string::npos) {
    end = begin.substr(hyphen + 1);
    begin.erase(hyphen);
  }
  Steps answers{"--fill", "Begin IP Address=" + begin};
  if (!end.empty()) answers.insert(answers.end(), {"--fill", "End IP Address=" + end});
  answers.insert(answers.end(), {"--press", "OK"});
  return Make(settings, kRange, words, answers, [&](Outcome& outcome, const CDialog& page) {
    if (TurnMessageIntoFailure(outcome) || outcome.status != Status::Done) return;
    CIPAddressCtrl first;
    CIPAddressCtrl last;
    first.Put(begin);
    last.Put(end.empty() ? begin : end);
    CheckStored(outcome, page, kRange, Dotted(first) + "-" + Dotted(last));
    if (outcome.status == Status::Done && last.GetAddress() < first.GetAddress()) {
      outcome.notes.push_back(Dotted(last) + " lies before " + Dotted(first) +
                              "; the range was stored as it stands.");
    }
  });
}

Outcome Delete(const Settings& settings, const Kind& kind, const Words& words) {
  Steps steps = Selected(kind, words.name);
  steps.insert(steps.end(), {"--press", "Yes"});
  const auto check = [&](Outcome& outcome, const CDialog& page) {
    if (TurnMessageIntoFailure(outcome) || outcome.status != Status::Done) return;
    if (!RowOf(page, kind, words.name)) return;
    outcome = Failed("The " + kind.noun + " " + Quoted(words.name) + " could not be deleted.");
  };
  return WithoutText(PressButton(settings, NodeOf(kind, words), kind.deleteButton, steps, check));
}

Outcome List(const Settings& settings, const Kind& kind, const Words& words) {
  Outcome shown = ShowNode(settings, NodeOf(kind, words));
  if (shown.status != Status::Done) return shown;
  Outcome outcome;
  outcome.data = nlohmann::ordered_json::array();
  for (const auto& control : shown.data["controls"]) {
    if (control["name"] == kind.node && control.contains("rows")) outcome.data = control["rows"];
  }
  for (const auto& row : outcome.data) outcome.text += std::string(row) + "\n";
  return outcome;
}

}  // namespace

void AddPrincipalCommands(CLI::App& app, const Settings& settings, const AddCommand& add) {
  const auto words = std::make_shared<Words>();
  const auto verbs = [&](const Kind& kind, const std::string& help) {
    CLI::App* group = app.add_subcommand(kind.noun, help);
    group->require_subcommand(1);
    group->add_option("--in", words->configuration, "The named configuration, with --config-server")
        ->type_name("CONFIG");
    add(*group, "list", "Their names", [&settings, words, &kind] { return List(settings, kind, *words); });
    add(*group, "delete", "Delete the named one",
        [&settings, words, &kind] { return Delete(settings, kind, *words); })
        ->add_option("NAME", words->name)
        ->required();
    return group;
  };
  // Both ways to make one, which differ by the source alone.
  const auto make = [&](CLI::App* group, Outcome (*work)(const Settings&, const Words&)) {
    CLI::App* fresh = add(*group, "add", "Add one with the settings of the user Default",
                          [&settings, words, work] { return work(settings, *words); });
    CLI::App* copy = add(*group, "copy", "Add one with the settings of another",
                         [&settings, words, work] { return work(settings, *words); });
    copy->add_option("SOURCE", words->source)->required();
    return std::array{fresh, copy};
  };
  for (CLI::App* command : make(verbs(kUser, "Users"), MakeUser)) {
    command->add_option("NAME", words->name, "The name, or DOMAIN\\NAME")->required();
    command->add_option("--domain", words->domain, "The user's domain")->type_name("DOMAIN");
  }
  CLI::App* group = verbs(kGroup, "Groups, by rank");
  for (CLI::App* command : make(group, MakeGroup)) {
    command->add_option("NAME", words->name, "A group that the system knows")->required();
    command->add_option("--query", words->query, "Whose groups: \\\\ and a computer's name, or a domain")
        ->type_name("SYSTEM");
  }
  for (const auto& [verb, button] : {std::pair("up", "Up"), std::pair("down", "Down")}) {
    add(*group, verb, std::string("Move the named one ") + verb + " by one rank",
        [&settings, words, button = std::string(button)] {
          return WithoutText(
              PressButton(settings, NodeOf(kGroup, *words), button, Selected(kGroup, words->name)));
        })
        ->add_option("NAME", words->name)
        ->required();
  }
  for (CLI::App* command : make(verbs(kRange, "Address ranges"), MakeRange)) {
    command->add_option("BEGIN", words->begin, "The first address, or BEGIN-END")->required();
    command->add_option("END", words->end, "The last address; the first one where it is missing");
  }
}

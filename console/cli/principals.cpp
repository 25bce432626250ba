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

Kind UsersOn(const char* node) { return {"user", node, "New User", "Copy User", "Delete User"}; }
Kind GroupsOn(const char* node) { return {"group", node, "New Group", "Copy Group", "Delete Group"}; }

// The lists of users and groups stand side by side: the server's, and those of each file transfer service,
// whose commands follow its word.
struct Lists {
  std::string service;
  std::string help;
  Kind users;
  Kind groups;
};
const Lists kLists[] = {
    {"", "", UsersOn("Users"), GroupsOn("Groups")},
    {"sftp", "Who may transfer files by SFTP", UsersOn("SFTP Users"), GroupsOn("SFTP Groups")},
    {"scp", "Who may transfer files by SCP", UsersOn("SCP Users"), GroupsOn("SCP Groups")},
};
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

using text::Quoted;

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

// The name under which the list has it: a group is listed with its domain, and may be named without, as when
// it was added. What is not there stays as it was given.
std::string FullName(const Settings& settings, const Kind& kind, const Words& words,
                     const std::string& name) {
  if (kind.noun != "group" || name.find('\\') != std::string::npos) return name;
  std::string full;
  for (const auto& row : List(settings, kind, words).data) {
    const std::string listed = row;
    if (text::EqualNoCase(listed, name)) return name;
    if (!text::EqualNoCase(std::string_view(listed).substr(listed.rfind('\\') + 1), name)) continue;
    // Two of that name: the page says what it has.
    if (!full.empty()) return name;
    full = listed;
  }
  return full.empty() ? name : full;
}

// Presses the button that makes a principal, or a copy of the one that is named. A page of its settings that
// was never made would keep them waiting for a person who comes to see them.
Outcome Make(const Settings& settings, const Kind& kind, const Words& words, const Steps& answers,
             const FinishPress& finish) {
  Steps steps;
  if (!words.source.empty()) steps = Selected(kind, FullName(settings, kind, words, words.source));
  steps.insert(steps.end(), answers.begin(), answers.end());
  const std::string& button = words.source.empty() ? kind.newButton : kind.copyButton;
  return WithoutText(PressButton(settings, NodeOf(kind, words), button, steps, finish));
}

// Tells a principal that the page took but the store did not.
void CheckStored(Outcome& outcome, const CDialog& page, const Kind& kind, const std::string& name) {
  if (outcome.status != Status::Done || RowOf(page, kind, name)) return;
  outcome = Failed("The " + kind.noun + " " + Quoted(name) + " can't be stored.");
}

Outcome MakeUser(const Settings& settings, const Kind& kind, const Words& words) {
  std::string name = words.name;
  std::string domain = words.domain;
  if (const size_t slash = name.find('\\'); domain.empty() && slash != std::string::npos) {
    domain = name.substr(0, slash);
    name.erase(0, slash + 1);
  }
  const std::string shown = text::Replaced(domain.empty() ? name : domain + "\\" + name, "?", "\\");
  if (shown.find(':') != std::string::npos) {
    return Failed("The name " + Quoted(shown) +
                  " can't be used: \":\" separates the pages of the tree, so its settings would be lost.");
  }
  if (shown.size() > kLongestName) {
    return Failed("The name has " + std::to_string(shown.size()) + " bytes; there is room for " +
                  std::to_string(kLongestName) + ".");
  }
  const Steps answers{"--fill", "User Name=" + name, "--fill", "Domain=" + domain, "--press", "OK"};
  return Make(settings, kind, words, answers, [&](Outcome& outcome, const Host& host) {
    if (TurnMessageIntoFailure(outcome)) return;
    CheckStored(outcome, *host.Page(), kind, shown);
    const auto row = RowOf(*host.Page(), kind, shown);
    if (outcome.status != Status::Done || row == shown) return;
    outcome.notes.push_back(
        Quoted(shown) + " and " + Quoted(*row) +
        " are one user, since names are stored without case: its settings were replaced.");
  });
}

Outcome MakeGroup(const Settings& settings, const Kind& kind, const Words& words) {
  Steps answers;
  if (!words.query.empty()) {
    answers = {"--fill", R"(Query System (\\machine_name or domain)=)" + words.query, "--press", "Refresh"};
  }
  // The picker lists names alone, and finds out the domain of what is picked.
  const std::string alone = words.name.substr(words.name.rfind('\\') + 1);
  const Steps picked{"--fill", "Available Groups=" + alone, "--press", "<- Add", "--press", "OK"};
  answers.insert(answers.end(), picked.begin(), picked.end());
  return Make(settings, kind, words, answers, [&](Outcome& outcome, const Host& host) {
    if (outcome.status == Status::NotDone && outcome.error.starts_with("\"Available Groups\"")) {
      outcome.error =
          "There is no group " + Quoted(alone) + " to add" +
          (words.query.empty() ? ": it is none of this computer's, or stands in the list already. Those of "
                                 "another computer or a domain take \"--query\"."
                               : " from " + Quoted(words.query) + ".");
    }
    if (TurnMessageIntoFailure(outcome) || outcome.status != Status::Done) return;
    const CWnd& list = *host.Page()->Find(kind.node).control;
    const std::string added = list.RowCount() == 0 ? "" : std::string(list.RowText(list.RowCount() - 1));
    if (text::EqualNoCase(added, words.name)) return;
    if (!text::EqualNoCase(std::string_view(added).substr(added.rfind('\\') + 1), alone)) {
      outcome = Failed("The group " + Quoted(alone) + " can't be stored.");
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

Outcome MakeRange(const Settings& settings, const Kind& kind, const Words& words) {
  std::string begin = words.begin;
  std::string end = words.end;
  if (const size_t hyphen = begin.find('-'); end.empty() && hyphen != std::string::npos) {
    end = begin.substr(hyphen + 1);
    begin.erase(hyphen);
  }
  Steps answers{"--fill", "Begin IP Address=" + begin};
  if (!end.empty()) answers.insert(answers.end(), {"--fill", "End IP Address=" + end});
  answers.insert(answers.end(), {"--press", "OK"});
  return Make(settings, kind, words, answers, [&](Outcome& outcome, const Host& host) {
    if (TurnMessageIntoFailure(outcome) || outcome.status != Status::Done) return;
    CIPAddressCtrl first;
    CIPAddressCtrl last;
    first.Put(begin);
    last.Put(end.empty() ? begin : end);
    CheckStored(outcome, *host.Page(), kind, Dotted(first) + "-" + Dotted(last));
    if (outcome.status == Status::Done && last.GetAddress() < first.GetAddress()) {
      outcome.notes.push_back(Dotted(last) + " lies before " + Dotted(first) +
                              ": the range was stored so, and no address matches it.");
    }
  });
}

Outcome Delete(const Settings& settings, const Kind& kind, const Words& words) {
  const std::string name = FullName(settings, kind, words, words.name);
  Steps steps = Selected(kind, name);
  steps.insert(steps.end(), {"--press", "Yes"});
  const auto check = [&](Outcome& outcome, const Host& host) {
    if (TurnMessageIntoFailure(outcome) || outcome.status != Status::Done) return;
    if (!RowOf(*host.Page(), kind, name)) return;
    outcome = Failed("The " + kind.noun + " " + Quoted(name) + " can't be deleted.");
  };
  return WithoutText(PressButton(settings, NodeOf(kind, words), kind.deleteButton, steps, check));
}

// Which configuration is meant is said by --in, since a user's name has no place for it.
std::optional<Outcome> WhyNoList(const Settings& settings, const Kind& kind, const Words& words) {
  if (settings.host.configServerMode && words.configuration.empty()) {
    return Failed("The " + kind.noun +
                      "s of which configuration? Name it by \"--in\"; \"marrowen config list\" lists them.",
                  Status::WrongUse);
  }
  if (settings.host.configServerMode || words.configuration.empty()) return std::nullopt;
  return Failed("\"--in\" names a configuration, and goes with \"--config-server\".", Status::WrongUse);
}

// Adds the verbs of one list after another.
struct Adder {
  using Work = Outcome (*)(const Settings&, const Kind&, const Words&);

  const Settings& settings;
  const AddCommand& add;
  std::shared_ptr<Words> words = std::make_shared<Words>();

  // Those that every list has.
  CLI::App* Verbs(CLI::App& parent, const Kind& kind, const std::string& help) {
    CLI::App* group = parent.add_subcommand(kind.noun, help);
    group->require_subcommand(1);
    group->add_option("--in", words->configuration, "The named configuration, with --config-server")
        ->type_name("CONFIG");
    Add(*group, kind, "list", "Their names", List);
    Add(*group, kind, "delete", "Delete the named one", Delete)->add_option("NAME", words->name)->required();
    return group;
  }

  // Both ways to make one, which differ by the source alone.
  std::array<CLI::App*, 2> Makers(CLI::App& group, const Kind& kind, Work work) {
    CLI::App* fresh = Add(group, kind, "add", "Add one with the settings of the user Default", work);
    CLI::App* copy = Add(group, kind, "copy", "Add one with the settings of another", work);
    copy->add_option("SOURCE", words->source)->required();
    return {fresh, copy};
  }

  void Users(CLI::App& parent, const Kind& kind) {
    for (CLI::App* command : Makers(*Verbs(parent, kind, "Users"), kind, MakeUser)) {
      command->add_option("NAME", words->name, "The name, or DOMAIN\\NAME")->required();
      command->add_option("--domain", words->domain, "The user's domain")->type_name("DOMAIN");
    }
  }

  void Groups(CLI::App& parent, const Kind& kind) {
    CLI::App* group = Verbs(parent, kind, "Groups, by rank");
    for (CLI::App* command : Makers(*group, kind, MakeGroup)) {
      command->add_option("NAME", words->name, "A group that the system knows")->required();
      command->add_option("--query", words->query, "Whose groups: \\\\ and a computer's name, or a domain")
          ->type_name("SYSTEM");
    }
    for (const auto& [verb, button] : {std::pair("up", "Up"), std::pair("down", "Down")}) {
      add(*group, verb, std::string("Move the named one ") + verb + " by one rank",
          [&settings = settings, words = words, &kind, button = std::string(button)] {
            if (auto failed = WhyNoList(settings, kind, *words)) return *failed;
            return WithoutText(PressButton(settings, NodeOf(kind, *words), button,
                                           Selected(kind, FullName(settings, kind, *words, words->name))));
          })
          ->add_option("NAME", words->name)
          ->required();
    }
  }

  void Ranges(CLI::App& parent) {
    for (CLI::App* command : Makers(*Verbs(parent, kRange, "Address ranges"), kRange, MakeRange)) {
      command->add_option("BEGIN", words->begin, "The first address, or BEGIN-END")->required();
      command->add_option("END", words->end, "The last address; the first one where it is missing");
    }
  }

 private:
  CLI::App* Add(CLI::App& group, const Kind& kind, const std::string& verb, const std::string& help,
                Work work) {
    return add(group, verb, help, [&settings = settings, words = words, &kind, work] {
      if (auto failed = WhyNoList(settings, kind, *words)) return *failed;
      return work(settings, kind, *words);
    });
  }
};

}  // namespace

void AddPrincipalCommands(CLI::App& app, const Settings& settings, const AddCommand& add) {
  Adder adder{settings, add};
  for (const Lists& lists : kLists) {
    CLI::App* parent = &app;
    if (!lists.service.empty()) {
      parent = app.add_subcommand(lists.service, lists.help);
      parent->require_subcommand(1);
    }
    adder.Users(*parent, lists.users);
    adder.Groups(*parent, lists.groups);
    if (lists.service.empty()) adder.Ranges(*parent);
  }
}

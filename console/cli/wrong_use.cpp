#include "console/cli/wrong_use.h"

#include <algorithm>

#include "platform/text.h"
#include "window/dialog.h"

namespace {

using text::Quoted;

// The words of a command without the program's: "user add"; empty for the program itself.
std::string WordsOf(const CLI::App& command) {
  const CLI::App* const parent = command.get_parent();
  if (parent == nullptr) return "";
  const std::string before = WordsOf(*parent);
  return before.empty() ? command.get_name() : before + " " + command.get_name();
}

// The last command that was given, or the program.
const CLI::App& Given(const CLI::App& app) {
  const std::vector<CLI::App*> given = app.get_subcommands();
  return given.empty() ? app : Given(*given.back());
}

std::vector<std::string> CommandsOf(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::App* below : command.get_subcommands({})) names.push_back(below->get_name());
  return names;
}

// Those that the command takes, its own and those of the commands above it.
std::vector<std::string> OptionsOf(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::App* one = &command; one != nullptr; one = one->get_parent()) {
    for (const CLI::Option* option : one->get_options()) {
      for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
  }
  return names;
}

std::string DidYouMean(const std::string& word, std::vector<std::string> names) {
  const std::vector<std::string> near = NearestNames(word, std::move(names));
  return near.empty() ? "" : "; did you mean " + OneOf(near) + "?";
}

std::string SeeHelp(const CLI::App& command) {
  const std::string words = WordsOf(command);
  return words.empty() ? R"("marrowen help" lists the commands.)"
                       : "\"marrowen help " + words + "\" says more.";
}

std::string Unexpected(const CLI::App& command, const std::string& word) {
  if (word.starts_with('-') && word.size() > 1) {
    const std::string name = word.substr(0, word.find('='));
    const std::string near = DidYouMean(name, OptionsOf(command));
    return "There is no option " + Quoted(name) + (near.empty() ? ". " + SeeHelp(command) : near);
  }
  const std::vector<std::string> commands = CommandsOf(command);
  const std::string words = WordsOf(command);
  if (commands.empty()) return Quoted(words) + " can't take " + Quoted(word) + ". " + SeeHelp(command);
  const std::string near = DidYouMean(word, commands);
  return "There is no command " + Quoted(words.empty() ? word : words + " " + word) +
         (near.empty() ? ". " + SeeHelp(command) : near);
}

// "set" needs PAGE and CAPTION=VALUE.
std::string Missing(const CLI::App& app, const CLI::App& command) {
  std::vector<std::string> wanted;
  if (command.get_require_subcommand_min() > 0 && command.get_subcommands().empty()) {
    if (const auto rest = app.remaining(true); !rest.empty()) return Unexpected(command, rest.front());
    for (const std::string& name : CommandsOf(command)) wanted.push_back(Quoted(name));
    return Quoted(WordsOf(command)) + " needs one of " + text::Joined(wanted, ", ") + ". " + SeeHelp(command);
  }
  for (const CLI::Option* option : command.get_options()) {
    if (option->get_required()) wanted.push_back(option->get_name());
  }
  std::string list = text::Joined(wanted, ", ");
  if (const size_t last = list.rfind(", "); last != std::string::npos) list.replace(last, 2, " and ");
  return Quoted(WordsOf(command)) + " needs " + list + ". " + SeeHelp(command);
}

// The parser begins with the option's name and a colon.
std::string OfOption(const std::string& told, std::string& name) {
  const size_t colon = told.find(": ");
  name = told.substr(0, colon);
  return colon == std::string::npos ? "" : told.substr(colon + 2);
}

}  // namespace

Outcome WrongUse(const CLI::App& app, const CLI::ParseError& error) {
  const CLI::App& command = Given(app);
  const std::string told = error.what();
  std::string name;
  std::string sentence;
  if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr && !app.remaining(true).empty()) {
    sentence = Unexpected(command, app.remaining(true).front());
  } else if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) {
    sentence = Missing(app, command);
  } else if (dynamic_cast<const CLI::ValidationError*>(&error) != nullptr) {
    const std::string what = OfOption(told, name);
    sentence = Quoted(name) + " " + what;
  } else if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
    const std::string what = OfOption(told, name);
    sentence = Quoted(name) + (what.find("received") == std::string::npos ? " needs a text behind it."
                                                                          : " was given more than once.");
  } else {
    sentence = "This can't be understood: " + told + ".";
  }
  return Failed(sentence, Status::WrongUse);
}

void RefuseEmptyTexts(CLI::App& app) {
  const CLI::Validator filled(
      [](std::string& text) { return text.empty() ? "can't be empty." : std::string(); }, "");
  for (CLI::Option* option : app.get_options()) {
    // A key's default value has the empty name.
    if (option->get_items_expected_max() > 0 && option->get_name() != "VALUE") option->check(filled);
  }
  for (CLI::App* command : app.get_subcommands({})) RefuseEmptyTexts(*command);
}

CLI::Validator OneOfWords(const std::vector<std::string>& words) {
  return CLI::Validator(
      [words](std::string& given) {
        if (std::find(words.begin(), words.end(), given) != words.end()) return std::string();
        return "takes " + OneOf(words) + ", not " + Quoted(given) + ".";
      },
      "");
}

CLI::Validator AddressAndPort() {
  return CLI::Validator(
      [](std::string& given) {
        const std::string port = given.substr(given.rfind(':') + 1);
        const bool digits = !port.empty() && port.size() <= 5 &&
                            port.find_first_not_of("0123456789") == std::string::npos &&
                            std::stoi(port) <= 65535;
        if (given.find(':') != std::string::npos && digits) return std::string();
        return "takes an address and a port, as in 127.0.0.1:8722, not " + Quoted(given) + ".";
      },
      "");
}

std::vector<std::string> GivenWords(const CLI::App& app) {
  const std::string words = WordsOf(Given(app));
  return words.empty() ? std::vector<std::string>() : text::Split(words, ' ');
}

Outcome Help(CLI::App& app, const std::vector<std::string>& words) {
  const CLI::App* command = &app;
  for (const std::string& word : words) {
    const CLI::App* below = nullptr;
    for (const CLI::App* one : command->get_subcommands({})) {
      if (one->get_name() == word) below = one;
    }
    if (below == nullptr) return Failed(Unexpected(*command, word), Status::WrongUse);
    command = below;
  }
  Outcome outcome;
  const std::string own = WordsOf(*command);
  outcome.text = app.get_formatter()->make_help(command, own.empty() ? "marrowen" : "marrowen " + own,
                                                CLI::AppFormatMode::Normal);
  outcome.data = {{"help", outcome.text}};
  return outcome;
}

void CallThemCommands(CLI::App& app) {
  app.get_formatter()->label("SUBCOMMAND", "COMMAND");
  app.get_formatter()->label("Positionals", "Arguments");
  for (CLI::App* command : app.get_subcommands({})) {
    command->group("Commands");
    CallThemCommands(*command);
  }
}

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <functional>
#include <iostream>

#include "console/cli/command.h"
#include "console/cli/keys.h"
#include "console/cli/principals.h"
#include "console/cli/process.h"
#include "console/cli/rows.h"
#include "console/cli/settings_file.h"
#include "console/cli/wrong_use.h"
#include "console/code_page.h"
#include "console/computer.h"
#include "console/web/serve.h"
#include "console/web/settings_index.h"
#include "platform/machine.h"
#include "platform/program.h"

namespace {

// What `serve` is given beside the global options.
struct ServeArguments {
  std::string listen = "127.0.0.1:8722";
  std::string certificate;
  std::string key;
  bool insecure = false;
  bool open = false;
  std::vector<std::string> names;
  std::vector<std::string> files;
};

Outcome ServeBrowser(const Settings& settings, const ServeArguments& arguments) {
  const std::string why =
      web::Serve({settings.home, settings.host, arguments.listen, arguments.certificate, arguments.key,
                  arguments.insecure, arguments.open, arguments.names, arguments.files});
  if (why.empty()) return {};
  if (platform::WindowEndsWithProgram()) {
    std::cerr << why << "\nPress Enter.";
    std::cin.get();
  }
  return Failed(why);
}

// Before anything is served; empty where nothing speaks against it.
Outcome WhyNotServed(const ServeArguments& arguments) {
  if (arguments.certificate.empty() != arguments.key.empty())
    return Failed("\"--tls-cert\" and \"--tls-key\" go together: one of them is missing.", Status::WrongUse);
  std::error_code ignored;
  for (const std::string& folder : arguments.files) {
    if (!std::filesystem::is_directory(code_page::PathOf(folder), ignored))
      return Failed("The folder \"" + folder + "\" can't be shown: there is no such folder.");
  }
  return {};
}

// Says so first: from here on it goes on until it is ended.
Outcome Serve(const Settings& settings, const ServeArguments& arguments) {
  if (Outcome why = WhyNotServed(arguments); why.status != Status::Done) return why;
  std::cerr
      << "marrowen: Serving the settings to a browser, until Ctrl+C. \"marrowen help\" lists the commands."
      << std::endl;
  return ServeBrowser(settings, arguments);
}

// A script that has forgotten the command would wait for ever.
Outcome ServeUnasked(const Settings& settings, const ServeArguments& arguments) {
  if (!settings.json && platform::OutputIsTerminal()) return Serve(settings, arguments);
  return Failed(
      "A command is missing. \"marrowen help\" lists them; \"marrowen serve\" is the console in the browser.",
      Status::WrongUse);
}

// The options and commands; the callback of the one that was given leaves its work in `run`.
struct CommandLine {
  CLI::App app{"Edits the settings of an SSH server.", "marrowen"};
  Settings settings;
  std::string node;
  std::string caption;
  std::string text;
  std::string key;
  std::string value;
  std::string name;
  std::vector<std::string> words;
  std::vector<std::string> answers;
  std::string format = "text";
  unsigned codePage = CP_UTF8;
  bool all = false;
  bool helpWanted = false;
  ServeArguments serve;
  bool opensHome = true;  // before the command runs
  std::function<Outcome()> run;

  CommandLine() {
    app.require_subcommand(0, 1);
    app.fallthrough();
    app.add_option("--home", settings.home, "The folder of the embedded computers")->type_name("DIR");
    app.add_option("--computer", settings.host.computer, "The computer whose settings are edited")
        ->type_name("NAME");
    app.add_flag("--config-server", settings.host.configServerMode,
                 "Edit the named configurations of the configuration server");
    app.add_option("--as", settings.account,
                   "Act with no more rights than that account of the embedded computer")
        ->type_name("ACCOUNT");
    app.add_flag("--json", settings.json, "Print one JSON object");
    AddPageCommands();
    const AddCommand add = [this](CLI::App& parent, const std::string& word, const std::string& help,
                                  std::function<Outcome()> work) {
      return Add(parent, word, help, std::move(work));
    };
    AddPrincipalCommands(app, settings, add);
    AddRowCommands(app, settings, add);
    AddSettingsFileCommands(app, settings, add);
    AddKeyCommands(app, settings, add);
    AddCertificateCommands(app, settings, add);
    AddStoreCommands();
    AddServe();
    AddHelp();
    CallThemCommands(app);
    RefuseEmptyTexts(app);
  }

  void AddHelp() {
    app.set_version_flag("--version", MARROWEN_VERSION);
    app.get_option("--version")->description("Print the version");
    CLI::App* command = Add(app, "help", "The commands, or one of them", [this] { return Help(app, words); });
    command->callback([this] {
      run = [this] { return Help(app, words); };
      opensHome = false;
    });
    command->add_option("COMMAND", words, "For example: user add");
  }

  // The console in the browser, which is also what comes without a command.
  void AddServe() {
    run = [this] {
      // Who starts it by its icon wants to see it.
      serve.open |= platform::OutputIsTerminal();
      return ServeUnasked(settings, serve);
    };
    opensHome = false;
    CLI::App* command = app.add_subcommand("serve", "The console in the browser");
    command->callback([this] { run = [this] { return Serve(settings, serve); }; });
    command->add_option("--listen", serve.listen, "Where browsers reach it; port 0 takes a free one")
        ->type_name("ADDRESS:PORT")
        ->check(AddressAndPort());
    command->add_option("--tls-cert", serve.certificate, "The certificate chain, PEM")->type_name("FILE");
    command->add_option("--tls-key", serve.key, "Its key, PEM")->type_name("FILE");
    command->add_flag("--insecure", serve.insecure, "Let others reach it without TLS");
    command->add_flag("--open", serve.open, "Show it in the browser");
    command->add_option("--name", serve.names, "A name by which browsers reach it")->type_name("HOST");
    command->add_option("--files", serve.files, "A folder that the file picker shows, instead of the drives")
        ->type_name("DIR");
  }

  CLI::App* Add(CLI::App& parent, const std::string& word, const std::string& help,
                std::function<Outcome()> work) {
    CLI::App* command = parent.add_subcommand(word, help);
    command->callback([this, work = std::move(work)] {
      run = work;
      opensHome = true;
    });
    return command;
  }

  static constexpr const char* kDryRun =
      "Say what would be stored, and store nothing; a button that makes a file makes it all the same";

  void AddPageCommands() {
    Add(app, "tree", "All pages", [this] { return ShowTree(settings); });
    CLI::App* show = Add(app, "show", "A page's settings: name, kind, value, disabled or not", [this] {
      if (helpWanted) return node.empty() ? Help(app, {"show"}) : ShowHelp(settings, node);
      if (all) return ShowAllNodes(settings);
      if (node.empty())
        return Failed("\"show\" needs PAGE or --all. \"marrowen help show\" says more.", Status::WrongUse);
      return ShowNode(settings, node);
    });
    show->add_option("PAGE", node, "For example \"General Settings::Compression\"; \"tree\" lists them");
    show->add_flag("--all", all, "Every page");
    show->set_help_flag();
    show->add_flag("-h,--help", helpWanted, "What PAGE and its settings are for; without PAGE, this");
    CLI::App* find = Add(app, "find", "Settings whose name, or whose stored value's name, holds a text",
                         [this] { return FindText(settings, text); });
    find->add_option("TEXT", text)->required();
    CLI::App* set = Add(app, "set", "Change settings of a page",
                        [this] { return SetControls(settings, node, words, answers); });
    set->add_option("PAGE", node)->required();
    set->add_option("--answer", answers, "An answer to what is asked when the settings are applied")
        ->type_name("TEXT")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    set->add_option("CAPTION=VALUE", words)->required();
    set->add_flag("--dry-run", settings.dryRun, kDryRun);
    CLI::App* press = Add(app, "press", "Press a button of a page, with its questions answered ahead",
                          [this] { return PressButton(settings, node, caption, words); });
    press->add_flag("--dry-run", settings.dryRun, kDryRun);
    press->add_option("PAGE", node)->required();
    press->add_option("CAPTION", caption)->required();
    // The order among answers and --fill, --press, --path counts, so they are taken as they stand.
    press->prefix_command()->fallthrough(false);
    CLI::App* script = Add(app, "run",
                           "Acts from a file, one a line: page, set, press, answer, path, apply, "
                           "cancel, show",
                           [this] { return RunScript(settings, text); });
    script->add_option("FILE", text, "The file; '-' reads standard input")->required();
    script->add_flag("--dry-run", settings.dryRun, kDryRun);
  }

  void AddStoreCommands() {
    CLI::App* reg = app.add_subcommand("reg", "The registry, as the server reads it");
    reg->require_subcommand(1);
    CLI::App* query = Add(*reg, "query", "What the registry holds: names, types, bytes", [this, reg] {
      return QueryRegistry(settings, key, HasValue(*reg) ? &value : nullptr);
    });
    query->add_option("KEY", key)->required();
    query->add_option("VALUE", value, "One value; the empty name is the key's default value");
    CLI::App* acl = reg->add_subcommand("acl", "A key's access list");
    acl->require_subcommand(1);
    for (const bool reset : {false, true}) {
      Add(*acl, reset ? "reset" : "show",
          reset ? "Give the key, and all below it, the list of a new computer, as its owner"
                : "Who may do what with the key",
          [this, reset] { return ShowAccessList(settings, key, reset); })
          ->add_option("KEY", key)
          ->required();
    }
    CLI::App* report = Add(app, "report", "Write a report of connections into a folder",
                           [this] { return WriteReport(settings, format, text); });
    report->add_option("--format", format)->check(OneOfWords({"text", "html"}));
    report->add_option("DIR", text)->required();
    const auto named =
        [this](const std::string& word, const std::string& help,
               const std::function<Outcome(const Settings&, const std::string&, const std::string&)>& work) {
          CLI::App* group = app.add_subcommand(word, help);
          group->require_subcommand(1);
          for (const std::string verb : {"add", "list", "remove"}) {
            CLI::App* command = Add(*group, verb, verb == "list" ? "Their names" : verb + " the named one",
                                    [this, verb, work] { return work(settings, verb, name); });
            if (verb != "list") command->add_option("NAME", name)->required();
          }
          return group;
        };
    CLI::App* computers = named("computer", "Embedded computers",
                                [this](const Settings&, const std::string& verb, const std::string& which) {
                                  return ChangeComputers(verb, which, codePage);
                                });
    computers->get_subcommand("add")
        ->add_option("--code-page", codePage, "That of its texts, for ever; without it UTF-8")
        ->type_name("NUMBER");
    AddHome();
    named("config", "Named configurations of the configuration server", ChangeConfigurations);
  }

  // Acts on homes that can't be opened, too.
  void AddHome() {
    CLI::App* group = app.add_subcommand("home", "The folder of the embedded computers");
    group->require_subcommand(1);
    const auto with = [&](const std::string& word, const std::string& help, std::function<Outcome()> work) {
      CLI::App* command = Add(*group, word, help, nullptr);
      command->callback([this, work = std::move(work)] {
        run = work;
        opensHome = false;
      });
      return command;
    };
    with("check", "Whether its registry can be read and is as it was written", [this] {
      const machine::Outcome checked = machine::CheckHome(settings.home);
      Outcome outcome = checked ? Outcome{} : Failed(checked.sentence);
      if (checked) outcome.text = "The registry is sound.\n";
      return outcome;
    });
    with("backup", "Keep a copy of its registry, beside the last four", [this] {
      std::string file;
      const machine::Outcome made = machine::BackUpHome(settings.home, file);
      Outcome outcome = made ? Outcome{} : Failed(made.sentence);
      if (made) outcome.text = "The registry was copied to \"" + file + "\".\n";
      outcome.data = {{"file", file}};
      return outcome;
    });
    with("restore", "Put a copy in the place of its registry, which is kept",
         [this] {
           std::string file = name;
           const machine::Outcome done = machine::RestoreHome(settings.home, file);
           Outcome outcome = done ? Outcome{} : Failed(done.sentence);
           if (done) outcome.text = "The registry was restored from \"" + file + "\".\n";
           outcome.data = {{"file", file}};
           return outcome;
         })
        ->add_option("FILE", name,
                     "The copy; without it the newest that somebody has made, else the newest of a day");
  }

  static bool HasValue(const CLI::App& reg) {
    return reg.get_subcommand("query")->get_option("VALUE")->count() > 0;
  }
};

// The parser ends by an error where help or the version is asked for, too.
Outcome NothingToRun(CLI::App& app, const CLI::ParseError& error) {
  if (dynamic_cast<const CLI::CallForHelp*>(&error) != nullptr) return Help(app, GivenWords(app));
  if (dynamic_cast<const CLI::CallForVersion*>(&error) == nullptr) return WrongUse(app, error);
  Outcome outcome;
  outcome.text = "marrowen " MARROWEN_VERSION "\n";
  outcome.data = {{"version", MARROWEN_VERSION}};
  return outcome;
}

// Nothing where the words are understood; else what is printed in place of a command's outcome.
std::optional<Outcome> Parse(CommandLine& line, const std::vector<std::string>& words) {
  try {
    line.app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
  } catch (const CLI::ParseError& error) {
    // It may stand behind what can't be understood.
    line.settings.json = line.settings.json || std::find(words.begin(), words.end(), "--json") != words.end();
    return NothingToRun(line.app, error);
  }
  if (const CLI::App* press = line.app.get_subcommand("press"); press->parsed())
    line.words = press->remaining();
  return std::nullopt;
}

Outcome OpenHome(const Settings& settings) {
  if (const machine::Outcome opened = machine::OpenHome(settings.home); !opened)
    return Failed(opened.sentence);
  const machine::Outcome acting = machine::ActAs(settings.account);
  return acting ? Outcome{} : Failed(acting.sentence);
}

// The words as the computer's texts are, whose code page is known only now.
Outcome TakeInItsCodePage(std::vector<std::string>& words, const std::string& computer) {
  code_page::UseThatOfComputer();
  if (std::all_of(words.begin(), words.end(), code_page::IsPlain)) return {};
  const ActingOn actingOn(computer);
  std::string why;
  for (std::string& word : words) {
    std::optional<std::string> taken = code_page::FromUtf8(word, why);
    if (!taken) return Failed(why, Status::WrongUse);
    word = *std::move(taken);
  }
  return {};
}

int Main(std::vector<std::string> words) {
  auto line = std::make_unique<CommandLine>();
  if (const auto outcome = Parse(*line, words)) return Print(line->settings, *outcome);
  // The console in the browser opens it in a process of its own.
  if (line->opensHome) {
    const Settings settings = line->settings;
    if (const Outcome opened = OpenHome(settings); opened.status != Status::Done)
      return Print(settings, opened);
    const std::vector<std::string> typed = words;
    if (const Outcome taken = TakeInItsCodePage(words, settings.host.computer); taken.status != Status::Done)
      return Print(settings, taken);
    if (words != typed) {
      line = std::make_unique<CommandLine>();
      if (const auto outcome = Parse(*line, words)) return Print(settings, *outcome);
      line->settings.home = settings.home;
    }
  }
  Outcome outcome = line->run();
  // What was read can't be trusted, whatever it looks like.
  if (const std::string damage = machine::Damage(); !damage.empty()) outcome = Failed(damage);
  // Who reads what is printed may take his time.
  machine::GoIdle();
  return Print(line->settings, outcome);
}

}  // namespace

int main(int argc, char** argv) {
  platform::PrepareProgram();
  TellWaits();
  try {
    if (argc == 2 && argv[1] == std::string_view(web::kPagesArgument)) return web::ServePages();
    if (argc == 2 && argv[1] == std::string_view(web::kIndexArgument)) return web::IndexSettings();
    return Main(platform::Arguments(argc, argv));
  } catch (const std::exception& error) {
    std::cerr << "marrowen: " << error.what() << '\n';
    return static_cast<int>(Status::NotDone);
  }
}

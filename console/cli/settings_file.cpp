#include "console/cli/settings_file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>

#include "configuration/settings_compare.h"
#include "configuration/settings_export.h"
#include "configuration/settings_import.h"
#include "configuration/value_text.h"
#include "console/cli/legacy_settings.h"
#include "console/cli/wrong_use.h"
#include "console/code_page.h"
#include "console/computer.h"
#include "console/credentials.h"
#include "console/describe.h"
#include "console/export_losses.h"
#include "console/import_trial.h"
#include "platform/machine.h"
#include "platform/program.h"
#include "platform/text.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kPage = "Configuration Management";

struct Words {
  std::string file;
  std::string other;
  std::string credentials;  // "yes", "no", or empty to be asked
  bool dryRun = false;
  bool legacy = false;  // registry hive files instead
  bool force = false;   // over any file
};

using text::Quoted;

// Why the command can't be done on the computer that is named.
std::optional<Outcome> WhyNotThere(const Settings& settings, const ActingOn& computer) {
  if (settings.host.configServerMode) {
    return Failed("A settings file holds a computer's own settings, not those of a named configuration.",
                  Status::WrongUse);
  }
  if (!computer.Why().empty()) return Failed(computer.Why());
  if (computer.Name().empty()) return std::nullopt;
  return Failed("The settings of " + Quoted(computer.Name()) +
                " can't be written into a file from here: run this on that computer.");
}

constexpr const char* kStandardStream = "-";

// The path under which a page opens what a person has named: "-" is the standard stream.
std::string PathOf(const std::string& name, const std::string& standardStream) {
  return name == kStandardStream ? standardStream : code_page::TextOf(fs::absolute(code_page::PathOf(name)));
}
std::string InputPath(const std::string& name) { return PathOf(name, platform::InputFile()); }
std::string OutputPath(const std::string& name) { return PathOf(name, platform::OutputFile()); }

std::string WhyNotNamed(const std::string& name) {
  if (name.empty()) return "A file's name is empty.";
  if (name == kStandardStream && platform::InputFile().empty()) {
    return "Standard input and output have no place in the file system here.";
  }
  return {};
}

// A stream is not tried: who stands at its other end would take it for the whole.
std::string WhyNotReadable(const std::string& name) {
  if (std::string why = WhyNotNamed(name); !why.empty()) return why;
  const std::string file = InputPath(name);
  if (IsStream(file)) return {};
  std::error_code ignored;
  if (fs::is_directory(code_page::PathOf(file), ignored))
    return Quoted(file) + " is a folder, not a settings file.";
  errno = 0;
  std::ifstream opened(code_page::PathOf(file), std::ios::binary);
  if (opened.is_open()) return {};
  return "The file " + Quoted(file) + " can't be read: " + std::strerror(errno) + ".";
}

// The page would say that it has saved a file that it could not make.
std::string WhyNotWritable(const std::string& name) {
  if (std::string why = WhyNotNamed(name); !why.empty()) return why;
  const std::string file = OutputPath(name);
  if (IsStream(file)) return {};
  std::error_code ignored;
  if (fs::is_directory(code_page::PathOf(file), ignored)) return Quoted(file) + " is a folder.";
  FileSink tried;
  if (tried.Open(file)) return {};
  return "The file " + Quoted(file) + " can't be written: " + SystemText(tried.Error().code) + ".";
}

// Whether the file holds something that no export has written, and that would be lost. An empty one holds
// nothing, and of a link only the link itself is lost.
bool HoldsOther(const std::string& file) {
  std::error_code ignored;
  const fs::path path = code_page::PathOf(file);
  if (!fs::is_regular_file(fs::symlink_status(path, ignored)) || fs::file_size(path, ignored) == 0)
    return false;
  return FileIsForProduct(file, kSettingsProduct, EngineCallbacks{}, RepeatableSource()) == 0;
}

// The page tells of all else than success by a message, also where it goes on. A command takes none but the
// one of success for it. Without its key the page says nothing and does nothing.
void FailUnlessTold(Outcome& outcome, const Host& host, std::string_view success) {
  if (outcome.status != Status::Done) return;
  const bool done = outcome.messages.size() == 1 && outcome.messages.front().starts_with(success);
  if (done) return;
  outcome.status = Status::NotDone;
  outcome.error = outcome.messages.empty() ? host.WhyNothingIsStored() : OneLine(outcome.messages.front());
  if (outcome.error.empty()) outcome.error = "Nothing was done.";
  outcome.messages.clear();
}

std::vector<std::string> WarningsOf(const std::vector<ExportLoss>& losses) {
  std::vector<std::string> warnings;
  for (const ExportLoss& loss : losses) {
    const bool named = !loss.page.empty() && !loss.setting.empty();
    const std::string where =
        named ? loss.page + ", " + loss.setting + " (" + loss.stored + ")" : loss.stored;
    warnings.push_back(OneLine((where.empty() ? "" : where + ": ") + loss.why));
  }
  return warnings;
}

Outcome Export(const Settings& settings, const Words& words) {
  const ActingOn computer(settings.host.computer);
  if (auto failed = WhyNotThere(settings, computer)) return *failed;
  const bool toOutput = words.file == kStandardStream;
  if (toOutput && settings.json) {
    return Failed("Standard output takes the settings or a JSON object, not both.", Status::WrongUse);
  }
  if (const std::string why = WhyNotWritable(words.file); !why.empty()) {
    return Failed(why, words.file.empty() ? Status::WrongUse : Status::NotDone);
  }
  const std::string file = OutputPath(words.file);
  if (!words.force && HoldsOther(file))
    return Failed("The file " + Quoted(file) +
                  " can't be replaced: it is no settings file. \"--force\" replaces it.");
  const auto prepare = [&](Host&, ScriptedFrontEnd& frontEnd) {
    frontEnd.standingAnswer = [&words](std::string_view question) -> std::optional<std::string> {
      if (!AsksForCredentials(question)) return std::nullopt;
      if (!words.credentials.empty()) return words.credentials;
      if (ExportHoldsCredentials()) return std::nullopt;
      return "Yes";
    };
  };
  const auto finish = [&](Outcome& outcome, const Host& host) {
    FailUnlessTold(outcome, host, kSettingsSaved);
    // Its page opens an access list and puts it back.
    outcome.readsOnly = true;
    if (outcome.status == Status::Done) {
      outcome.warnings = WarningsOf(LossesOfExport(host, file, words.credentials != "no"));
    }
  };
  Outcome outcome =
      WithoutText(PressButton(settings, kPage, "Export Settings", {"--path", file}, finish, prepare));
  // Beside the settings nothing else goes there.
  if (outcome.status != Status::Done || toOutput) outcome.messages.clear();
  outcome.data = {{"file", file}};
  return outcome;
}

std::string ValueText(const CString& text, DWORD type, bool withType) {
  constexpr size_t kShown = 120;
  std::string line = OneLine(text);
  if (line.size() > kShown) line = line.substr(0, kShown) + "...";
  return withType ? line + " (" + std::string(RegTypeName(type)) + ")" : line;
}

// Changes in groups: as text, or for a program. An import may make a million.
class ChangeList {
 public:
  explicit ChangeList(bool asJson) : m_asJson(asJson) {}

  void AddSame(size_t count) { m_same += count; }
  void Add(const SettingsChange& change) {
    if (change.kind == ChangeKind::Same) {
      ++m_same;
      return;
    }
    Group& group = m_groups[static_cast<size_t>(change.kind)];
    group.empty = false;
    m_asJson ? group.json.push_back(Json(change)) : static_cast<void>(group.text += Line(change));
  }

  bool Empty() const {
    for (const Group& group : m_groups) {
      if (!group.empty) return false;
    }
    return true;
  }
  void GiveTo(Outcome& outcome, bool withRemoved) const {
    for (size_t kind = 0; kind < std::size(m_groups); ++kind) {
      if (kind == static_cast<size_t>(ChangeKind::Removed) && !withRemoved) continue;
      outcome.text += m_groups[kind].text;
      if (m_asJson) outcome.data[kNames[kind]] = m_groups[kind].json;
    }
    outcome.text += std::to_string(m_same) + " the same\n";
    outcome.data["same"] = m_same;
  }

 private:
  static constexpr const char* kNames[] = {"added", "changed", "removed"};
  static_assert(static_cast<size_t>(ChangeKind::Added) == 0 &&
                static_cast<size_t>(ChangeKind::Changed) == 1 &&
                static_cast<size_t>(ChangeKind::Removed) == 2);
  static nlohmann::ordered_json Json(const SettingsChange& change) {
    nlohmann::ordered_json json{{"key", change.key}, {"name", change.name}};
    if (!change.name.empty() && change.kind != ChangeKind::Added) {
      json["before"] = change.before;
      json["typeBefore"] = RegTypeName(change.typeBefore);
    }
    if (!change.name.empty() && change.kind != ChangeKind::Removed) {
      json["after"] = change.after;
      json["typeAfter"] = RegTypeName(change.typeAfter);
    }
    return json;
  }

  // A key has neither text nor type.
  static std::string Line(const SettingsChange& change) {
    const bool retyped = change.kind == ChangeKind::Changed && change.typeBefore != change.typeAfter;
    std::string line = kNames[static_cast<size_t>(change.kind)];
    line += "  " + OneLine(change.key);
    if (!change.name.empty()) {
      line += "  " + OneLine(change.name) + ": ";
      if (change.kind != ChangeKind::Added) line += ValueText(change.before, change.typeBefore, retyped);
      if (change.kind == ChangeKind::Changed) line += " -> ";
      if (change.kind != ChangeKind::Removed) line += ValueText(change.after, change.typeAfter, retyped);
    }
    return line + "\n";
  }

  struct Group {
    bool empty = true;
    std::string text;
    nlohmann::ordered_json json = nlohmann::ordered_json::array();
  };
  bool m_asJson;
  Group m_groups[3];
  size_t m_same = 0;
};

Outcome Import(const Settings& settings, const Words& words) {
  const ActingOn computer(settings.host.computer);
  if (auto failed = WhyNotThere(settings, computer)) return *failed;
  if (const std::string why = WhyNotReadable(words.file); !why.empty()) return Failed(why);
  const std::string file = InputPath(words.file);
  const auto finish = [](Outcome& outcome, const Host& host) {
    FailUnlessTold(outcome, host, "Settings from ");
  };
  Outcome outcome =
      WithoutText(PressButton(settings, kPage, "Import Settings", {"Yes", "--path", file}, finish));
  outcome.data = {{"file", file}};
  return outcome;
}

// Presses the button too, tries the import once the page has checked the file, and then refuses it.
Outcome Preview(const Settings& settings, const Words& words) {
  const ActingOn computer(settings.host.computer);
  if (auto failed = WhyNotThere(settings, computer)) return *failed;
  if (const std::string why = WhyNotReadable(words.file); !why.empty()) return Failed(why);
  const std::string file = InputPath(words.file);
  ChangeList changes(settings.json);
  std::optional<ImportTrial> trial;
  const auto prepare = [&](Host& host, ScriptedFrontEnd&) {
    host.confirmImport = [&](const std::string& path, const SourceOpener& open) {
      const auto progress = [](int keys) {
        CurrentFrontEnd().TakeTurn({static_cast<std::uint64_t>(keys), "keys"});
        return true;
      };
      trial = TryImport(path, open, progress, [&](const SettingsChange& change) { changes.Add(change); });
      changes.AddSame(trial->same);
      return false;
    };
  };
  const auto finish = [&](Outcome& outcome, const Host& host) {
    if (outcome.status != Status::Done) return;
    if (!trial) return FailUnlessTold(outcome, host, "Settings from ");
    outcome = trial->why.empty() ? Outcome{} : Failed(OneLine(trial->why));
  };
  Outcome outcome = PressButton(settings, kPage, "Import Settings", {"Yes", "--path", file}, finish, prepare);
  outcome.data = {{"file", file}};
  outcome.text.clear();
  if (outcome.status == Status::Done) changes.GiveTo(outcome, false);
  return outcome;
}

Outcome RestoreDefaults(const Settings& settings) {
  const ActingOn computer(settings.host.computer);
  if (auto failed = WhyNotThere(settings, computer)) return *failed;
  const auto finish = [](Outcome& outcome, const Host& host) {
    FailUnlessTold(outcome, host, "System restored to default settings.");
  };
  return WithoutText(PressButton(settings, kPage, "Restore Settings", {"Yes"}, finish));
}

// `pairs` as an import has them, or null. Empty once the file was read.
std::string ReadSettings(const std::string& name, const CStringList* pairs, SettingsSnapshot& snapshot) {
  if (std::string why = WhyNotReadable(name); !why.empty()) return why;
  const std::string file = InputPath(name);
  const SourceOpener open = RepeatableSource();
  std::string parseError;
  EngineCallbacks ui;
  ui.tell = [&parseError](const CString& message) { parseError = OneLine(message); };
  if (FileIsForProduct(file, kSettingsProduct, ui, open) == 0) {
    return "The file " + Quoted(file) +
           (parseError.empty() ? " is not for " + std::string(kSettingsProduct) + "." : ": " + parseError);
  }
  XmlReader reader(open);
  return OneLine(ReadSnapshot(reader, file, pairs, snapshot).sentence);
}

// Credentials are compared with those of the store if the file holds them.
std::string ReadStore(const SettingsSnapshot& file, SettingsSnapshot& store) {
  const bool withCredentials = std::any_of(file.begin(), file.end(), [](const auto& key) {
    return (key.first + "\\").find("\\pad\\") != CString::npos;
  });
  EngineCallbacks ui;
  ui.ask = [withCredentials](const CString&) { return withCredentials; };
  const FileError error = SnapshotOfStore(kExportedKeys, nullptr, ui, store);
  if (!error) return {};
  return "The computer's settings can't be compared. " + OneLine(error.sentence) + ": " +
         SystemText(error.code) + ".";
}

// With the computer a file is compared as an import would take it, with another file as both stand.
Outcome Diff(const Settings& settings, const Words& words) {
  const ActingOn computer(settings.host.computer);
  if (auto failed = WhyNotThere(settings, computer)) return *failed;
  SettingsSnapshot before;
  SettingsSnapshot after;
  const CStringList tokens = ImportTokens(LocalInstallFolder());
  std::string why = ReadSettings(words.file, words.other.empty() ? &tokens : nullptr, before);
  if (why.empty()) {
    why = words.other.empty() ? ReadStore(before, after) : ReadSettings(words.other, nullptr, after);
  }
  // Other than a difference, as programs that compare do.
  if (!why.empty()) return Failed(why, Status::WrongUse);
  ChangeList changes(settings.json);
  CompareSnapshots(before, after, [&changes](const SettingsChange& change) { changes.Add(change); });
  Outcome outcome;
  outcome.status = changes.Empty() ? Status::Done : Status::NotDone;
  changes.GiveTo(outcome, true);
  return outcome;
}

}  // namespace

void AddSettingsFileCommands(CLI::App& app, const Settings& settings, const AddCommand& add) {
  const auto words = std::make_shared<Words>();
  CLI::App* command = add(app, "export", "Write all settings into a settings file", [&settings, words] {
    return words->legacy ? ExportLegacy(settings, words->file, words->force) : Export(settings, *words);
  });
  command->add_option("FILE", words->file, "The settings file; '-' is standard output")->required();
  command
      ->add_option("--credentials", words->credentials,
                   "Whether cached credentials go into the file, in clear text")
      ->check(OneOfWords({"yes", "no"}));
  command->add_flag("--legacy", words->legacy, "As registry hive files, up to three beside each other");
  command->add_flag("--force", words->force, "Replace a file that is no settings file, too");
  command = add(app, "import", "Take the settings of a settings file", [&settings, words] {
    if (words->legacy) return ImportLegacy(settings, words->file, words->dryRun);
    return words->dryRun ? Preview(settings, *words) : Import(settings, *words);
  });
  command->add_option("FILE", words->file, "The settings file; '-' is standard input")->required();
  command->add_flag("--legacy", words->legacy, "Of registry hive files");
  command->add_flag("--dry-run", words->dryRun, "Say what it would change, and change nothing");
  add(app, "restore-defaults", "Take the settings that the server came with",
      [&settings] { return RestoreDefaults(settings); });
  command = add(app, "diff", "How settings files, or a file and the computer's settings, differ",
                [&settings, words] { return Diff(settings, *words); });
  command->add_option("FILE", words->file, "The settings file")->required();
  command->add_option("OTHER", words->other, "Another one; without it the computer's settings");
}

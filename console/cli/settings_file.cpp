#include "console/cli/settings_file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>

#include "configuration/settings_compare.h"
#include "configuration/settings_export.h"
#include "configuration/settings_import.h"
#include "configuration/value_text.h"
#include "console/cli/credentials.h"
#include "console/cli/legacy_settings.h"
#include "console/computer.h"
#include "console/describe.h"
#include "platform/machine.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kPage = "Configuration Management";

struct Words {
  std::string file;
  std::string other;
  std::string credentials;  // "yes", "no", or empty to be asked
  bool dryRun = false;
  bool legacy = false;  // registry hive files instead
};

std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

// Why the command can't be done on the computer that is named.
std::optional<Outcome> WhyNotThere(const Settings& settings, const ActingOn& computer) {
  if (settings.host.configServerMode) {
    return Failed("A settings file holds a computer's own settings, not those of a named configuration.",
                  Status::WrongUse);
  }
  if (!computer.Why().empty()) return Failed(computer.Why());
  if (computer.Name().empty()) return std::nullopt;
  return Failed("There is no embedded computer " + Quoted(computer.Name()) +
                ", and settings files are written and read by the computer itself only.");
}

std::string WhyNotReadable(const std::string& file) {
  std::error_code ignored;
  if (fs::is_directory(file, ignored)) return Quoted(file) + " is a folder, not a settings file.";
  errno = 0;
  std::ifstream opened(file, std::ios::binary);
  if (opened.is_open()) return {};
  return "The file " + Quoted(file) + " can't be read: " + std::strerror(errno) + ".";
}

std::string AbsolutePath(const std::string& file) { return fs::absolute(file).string(); }

// The page tells of all else than success by a message, also where it goes on. A command takes none but the
// one of success for it.
void FailUnlessTold(Outcome& outcome, std::string_view success) {
  if (outcome.status != Status::Done) return;
  const bool done = outcome.messages.size() == 1 && outcome.messages.front().starts_with(success);
  if (done) return;
  outcome.status = Status::NotDone;
  outcome.error = outcome.messages.empty() ? "Nothing was done." : OneLine(outcome.messages.front());
  outcome.messages.clear();
}

std::vector<std::string> LossesOfExport(bool withCredentials) {
  const CString folder = LocalInstallFolder();
  const CStringList outward = ExportTokens(folder);
  const CStringList inward = ImportTokens(folder);
  std::vector<std::string> losses;
  for (const char* path : kExportedKeys) {
    FindLosses(path, &outward, &inward, withCredentials, [&losses](const SettingsLoss& loss) {
      losses.push_back(loss.key + (loss.name.empty() ? "" : ", " + Quoted(loss.name)) + ": " + loss.reason);
    });
  }
  return losses;
}

// A file that is written beside its place and moved there: it is there whole or not at all, and takes its
// rights from no older file. What is no plain file, a pipe for example, is written as it stands.
class FileInPlace {
 public:
  explicit FileInPlace(const std::string& file) {
    std::error_code ignored;
    m_final = fs::weakly_canonical(AbsolutePath(file), ignored).string();
    if (m_final.empty()) m_final = AbsolutePath(file);
    m_direct = fs::exists(m_final, ignored) && !fs::is_regular_file(m_final, ignored);
    m_written = m_direct ? m_final : m_final + "." + std::to_string(GetCurrentProcessId()) + ".partial";
  }
  ~FileInPlace() {
    std::error_code ignored;
    if (!m_direct) fs::remove(m_written, ignored);
  }
  FileInPlace(const FileInPlace&) = delete;
  FileInPlace& operator=(const FileInPlace&) = delete;

  const std::string& Written() const { return m_written; }
  const std::string& Final() const { return m_final; }

  std::string WhyNotWritable() const {
    std::error_code ignored;
    if (fs::is_directory(m_final, ignored)) return Quoted(m_final) + " is a folder.";
    errno = 0;
    if (std::ofstream(m_written, std::ios::binary | std::ios::app).is_open()) return {};
    return CantBeWritten(errno);
  }
  // An empty text once the file is in its place.
  std::string MoveThere() const {
    std::error_code error;
    if (!m_direct) fs::rename(m_written, m_final, error);
    return error ? CantBeWritten(error.value()) : "";
  }

 private:
  std::string CantBeWritten(int error) const {
    return "The file " + Quoted(m_final) + " can't be written: " + std::strerror(error) + ".";
  }

  std::string m_final;
  std::string m_written;
  bool m_direct = false;
};

Outcome Export(const Settings& settings, const Words& words) {
  const ActingOn computer(settings.host.computer);
  if (auto failed = WhyNotThere(settings, computer)) return *failed;
  const FileInPlace file(words.file);
  if (const std::string why = file.WhyNotWritable(); !why.empty()) return Failed(why);
  if (file.Written() != file.Final()) fs::remove(file.Written());
  const auto prepare = [&words](Host&, ScriptedFrontEnd& frontEnd) {
    frontEnd.standingAnswer = [&words](std::string_view question) -> std::optional<std::string> {
      if (!AsksForCredentials(question)) return std::nullopt;
      if (!words.credentials.empty()) return words.credentials;
      if (ExportHoldsCredentials()) return std::nullopt;
      return "Yes";
    };
  };
  const auto finish = [&words](Outcome& outcome, const CDialog&) {
    FailUnlessTold(outcome, "Settings saved in ");
    if (outcome.status == Status::Done) outcome.warnings = LossesOfExport(words.credentials != "no");
  };
  Outcome outcome = WithoutText(
      PressButton(settings, kPage, "Export Settings", {"--path", file.Written()}, finish, prepare));
  if (outcome.status == Status::Done) {
    if (const std::string why = file.MoveThere(); !why.empty()) return Failed(why);
    outcome.messages = {"Settings saved in " + file.Final() + "."};
  } else {
    outcome.messages.clear();
  }
  outcome.data = {{"file", file.Final()}};
  return outcome;
}

std::string ValueText(const CString& text, DWORD type, bool withType) {
  constexpr size_t kShown = 120;
  std::string line = OneLine(text);
  if (line.size() > kShown) line = line.substr(0, kShown) + "...";
  return withType ? line + " (" + std::string(RegTypeName(type)) + ")" : line;
}

// Changes in groups, as text and for a program.
class ChangeList {
 public:
  void Add(const SettingsChange& change) {
    if (change.kind == ChangeKind::Same) {
      ++m_same;
      return;
    }
    Group& group = m_groups[static_cast<size_t>(change.kind)];
    const bool retyped = change.kind == ChangeKind::Changed && change.typeBefore != change.typeAfter;
    nlohmann::ordered_json json{{"key", change.key}, {"name", change.name}};
    std::string line = change.key + (change.name.empty() ? "" : "  " + change.name);
    if (change.name.empty()) {
      // A key has neither text nor type.
    } else if (change.kind == ChangeKind::Changed) {
      line += ": " + ValueText(change.before, change.typeBefore, retyped) + " -> " +
              ValueText(change.after, change.typeAfter, retyped);
    } else {
      const bool added = change.kind == ChangeKind::Added;
      line += ": " + ValueText(added ? change.after : change.before, 0, false);
    }
    if (!change.name.empty() && change.kind != ChangeKind::Added) {
      json["before"] = change.before;
      json["typeBefore"] = RegTypeName(change.typeBefore);
    }
    if (!change.name.empty() && change.kind != ChangeKind::Removed) {
      json["after"] = change.after;
      json["typeAfter"] = RegTypeName(change.typeAfter);
    }
    group.text += std::string(kNames[static_cast<size_t>(change.kind)]) + "  " + line + "\n";
    group.json.push_back(std::move(json));
  }

  bool Empty() const {
    for (const Group& group : m_groups) {
      if (!group.json.empty()) return false;
    }
    return true;
  }
  void GiveTo(Outcome& outcome, bool withRemoved) const {
    for (size_t kind = 0; kind < std::size(m_groups); ++kind) {
      if (kind == static_cast<size_t>(ChangeKind::Removed) && !withRemoved) continue;
      outcome.text += m_groups[kind].text;
      outcome.data[kNames[kind]] = m_groups[kind].json;
    }
    outcome.text += std::to_string(m_same) + " the same\n";
    outcome.data["same"] = m_same;
  }

 private:
  static constexpr const char* kNames[] = {"added", "changed", "removed"};
  static_assert(static_cast<size_t>(ChangeKind::Added) == 0 &&
                static_cast<size_t>(ChangeKind::Changed) == 1 &&
                static_cast<size_t>(ChangeKind::Removed) == 2);
  struct Group {
    std::string text;
    nlohmann::ordered_json json = nlohmann::ordered_json::array();
  };
  Group m_groups[3];
  size_t m_same = 0;
};

// Why the file can't be understood, from what reading it has thrown; empty where `read` succeeds.
template <class Read>
std::string WhyNotUnderstood(const std::string& file, Read read) {
  XmlReader reader;
  try {
    if (read(reader) == 0) return "The file " + Quoted(file) + " names a key that there can't be.";
  } catch (const FileError& error) {
    return error.what();
  } catch (const std::out_of_range&) {
    return "The file " + Quoted(file) + " holds a number that is cut short.";
  } catch (const std::length_error& error) {
    return error.what();
  }
  return reader.GetErrorText().empty() ? "" : Quoted(file) + ": " + OneLine(reader.GetErrorText());
}

Outcome Import(const Settings& settings, const Words& words) {
  const ActingOn computer(settings.host.computer);
  if (auto failed = WhyNotThere(settings, computer)) return *failed;
  const std::string file = AbsolutePath(words.file);
  if (const std::string why = WhyNotReadable(file); !why.empty()) return Failed(why);
  const auto finish = [](Outcome& outcome, const CDialog&) { FailUnlessTold(outcome, "Settings from "); };
  Outcome outcome =
      WithoutText(PressButton(settings, kPage, "Import Settings", {"Yes", "--path", file}, finish));
  outcome.data = {{"file", file}};
  return outcome;
}

// Presses the button too, and refuses the import once the page has checked the file.
Outcome Preview(const Settings& settings, const Words& words) {
  const ActingOn computer(settings.host.computer);
  if (auto failed = WhyNotThere(settings, computer)) return *failed;
  const std::string file = AbsolutePath(words.file);
  if (const std::string why = WhyNotReadable(file); !why.empty()) return Failed(why);
  ChangeList changes;
  std::optional<std::string> why;  // once the file was looked at
  const auto prepare = [&](Host& host, ScriptedFrontEnd&) {
    host.confirmImport = [&](const std::string& path) {
      const CStringList tokens = ImportTokens(LocalInstallFolder());
      why = WhyNotUnderstood(path, [&](XmlReader& reader) {
        return PreviewImport(reader, path, &tokens,
                             [&changes](const SettingsChange& change) { changes.Add(change); });
      });
      return false;
    };
  };
  const auto finish = [&](Outcome& outcome, const CDialog&) {
    if (outcome.status != Status::Done) return;
    if (!why) return FailUnlessTold(outcome, "Settings from ");
    outcome = why->empty() ? Outcome{} : Failed(*why);
  };
  Outcome outcome = PressButton(settings, kPage, "Import Settings", {"Yes", "--path", file}, finish, prepare);
  outcome.data = {{"file", file}};
  if (outcome.status == Status::Done) changes.GiveTo(outcome, false);
  return outcome;
}

Outcome RestoreDefaults(const Settings& settings) {
  const ActingOn computer(settings.host.computer);
  if (auto failed = WhyNotThere(settings, computer)) return *failed;
  const auto finish = [](Outcome& outcome, const CDialog&) {
    FailUnlessTold(outcome, "System restored to default settings.");
  };
  return WithoutText(PressButton(settings, kPage, "Restore Settings", {"Yes"}, finish));
}

std::string ReadSettings(const std::string& name, SettingsSnapshot& snapshot) {
  const std::string file = AbsolutePath(name);
  if (std::string why = WhyNotReadable(file); !why.empty()) return why;
  return WhyNotUnderstood(file, [&](XmlReader& reader) {
    if (FileIsForProduct(file, kSettingsProduct, {}) == 0) {
      throw FileError("The file " + Quoted(file) + " is not for " + kSettingsProduct + ".",
                      ERROR_INVALID_DATA);
    }
    return ReadSnapshot(reader, file, snapshot);
  });
}

// Credentials are compared with those of the store if the file holds them.
SettingsSnapshot ReadStore(const SettingsSnapshot& file) {
  const bool withCredentials = std::any_of(file.begin(), file.end(), [](const auto& key) {
    return (key.first + "\\").find("\\pad\\") != CString::npos;
  });
  EngineCallbacks ui;
  ui.ask = [withCredentials](const CString&) { return withCredentials; };
  const CStringList tokens = ExportTokens(LocalInstallFolder());
  return SnapshotOfStore(kExportedKeys, &tokens, ui);
}

Outcome Diff(const Settings& settings, const Words& words) {
  const ActingOn computer(settings.host.computer);
  if (auto failed = WhyNotThere(settings, computer)) return *failed;
  SettingsSnapshot before;
  SettingsSnapshot after;
  std::string why = ReadSettings(words.file, before);
  if (why.empty() && !words.other.empty()) why = ReadSettings(words.other, after);
  // Other than a difference, as programs that compare do.
  if (!why.empty()) return Failed(why, Status::WrongUse);
  if (words.other.empty()) after = ReadStore(before);
  ChangeList changes;
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
    return words->legacy ? ExportLegacy(settings, words->file) : Export(settings, *words);
  });
  command->add_option("FILE", words->file, "The settings file")->required();
  command
      ->add_option("--credentials", words->credentials,
                   "Whether cached credentials go into the file, in clear text")
      ->check(CLI::IsMember({"yes", "no"}));
  command->add_flag("--legacy", words->legacy, "As registry hive files, up to three beside each other");
  command = add(app, "import", "Take the settings of a settings file", [&settings, words] {
    if (words->legacy) return ImportLegacy(settings, words->file, words->dryRun);
    return words->dryRun ? Preview(settings, *words) : Import(settings, *words);
  });
  command->add_option("FILE", words->file, "The settings file")->required();
  command->add_flag("--legacy", words->legacy, "Of registry hive files");
  command->add_flag("--dry-run", words->dryRun, "Say what it would change, and change nothing");
  add(app, "restore-defaults", "Take the settings that the server came with",
      [&settings] { return RestoreDefaults(settings); });
  command = add(app, "diff", "How settings files, or a file and the computer's settings, differ",
                [&settings, words] { return Diff(settings, *words); });
  command->add_option("FILE", words->file, "The settings file")->required();
  command->add_option("OTHER", words->other, "Another one; without it the computer's settings");
}

#include "console/cli/keys.h"

#include <filesystem>
#include <fstream>
#include <memory>

#include "configuration/byte_stream.h"
#include "console/code_page.h"
#include "console/computer.h"
#include "console/describe.h"
#include "console/key_name.h"
#include "console/stored_changes.h"
#include "pages/authentication/authorized_keys.h"
#include "platform/keymill.h"
#include "platform/machine.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kStore = R"(Software\TesselWorks\SSHD\PAD)";

struct Words {
  std::string file;
  std::string key;
  std::string user;
};

// The page over a computer's store, as a host shows it.
class KeyPage {
 public:
  explicit KeyPage(const Settings& settings)
      : m_computer(settings.host.computer), m_before(SetFrontEnd(&frontEnd)) {
    m_context.pfnMakeTitle = [](char const*, char const*, char const* path, CString* title) {
      *title = path;
    };
    PageArguments arguments;
    arguments.computer = m_computer.Name();
    arguments.titleText = "Authorized Keys";
    arguments.baseKey = kStore;
    arguments.context = &m_context;
    page = std::make_unique<CPrpAuthKeys>(arguments);
    if (!m_computer.Why().empty()) return;
    machine::BeginEvent();
    m_sheet.AddPage(*page);
    m_sheet.SetActivePage(page.get());
  }
  ~KeyPage() {
    machine::AbandonEvent();
    SetFrontEnd(m_before);
  }
  KeyPage(const KeyPage&) = delete;
  KeyPage& operator=(const KeyPage&) = delete;

  std::string Why() const {
    if (!m_computer.Why().empty()) return m_computer.Why();
    if (page->m_shownStatus == ERROR_SUCCESS || page->m_shownStatus == ERROR_FILE_NOT_FOUND) return {};
    return "The keys can't be read: " + SystemText(page->m_shownStatus) + ".";
  }
  // Whether the row is of that user, or of any where none is named.
  static bool IsOf(const AuthorizedKeyEntry& entry, const std::string& user) {
    return user.empty() || text::EqualNoCase(entry.userName, text::Replaced(user, "\\", "?"));
  }

  // Writes what the page holds, and tells what came of it.
  Outcome Apply() {
    if (!m_sheet.PressApply()) return Failed("The page can't be applied.");
    for (const auto& save : page->m_saves) {
      if (save.status != ERROR_SUCCESS)
        return Failed("The keys can't be stored: " + SystemText(save.status) + ".");
    }
    const auto changes = StoredChanges::OfEvent(StoredChanges::Keep::All);
    Outcome outcome;
    outcome.text = changes.Count() + "\n";
    outcome.data = {{"changes", changes.Json()}};
    const std::string head = std::string(R"(HKEY_LOCAL_MACHINE\)") + kStore + "\\";
    for (const machine::Change& change : changes.All()) {
      if (!change.isKey || change.after || change.key.size() <= head.size()) continue;
      const std::string user = change.key.substr(head.size());
      if (user.find('\\') == std::string::npos)
        outcome.notes.push_back("All that was kept for " + text::Replaced(user, "?", "\\") +
                                ", who has no key, is gone, with the cached password if there was one.");
    }
    const machine::Outcome committed = machine::CommitEvent();
    return committed ? outcome : Failed(committed.sentence);
  }

  ScriptedFrontEnd frontEnd;
  std::unique_ptr<CPrpAuthKeys> page;

 private:
  ActingOn m_computer;
  FrontEnd* m_before;
  PropExtContext m_context{};
  CPropertySheet m_sheet;
};

std::string UserOf(const AuthorizedKeyEntry& entry) { return text::Replaced(entry.userName, "?", "\\"); }

Outcome List(const Settings& settings, const Words& words) {
  const KeyPage keys(settings);
  if (const std::string why = keys.Why(); !why.empty()) return Failed(why);
  Outcome outcome;
  outcome.data = nlohmann::ordered_json::array();
  for (const AuthorizedKeyEntry& entry : keys.page->Shown()) {
    if (!KeyPage::IsOf(entry, words.user)) continue;
    outcome.text += UserOf(entry) + "  " +
                    (entry.fingerprint.empty() ? "(no fingerprint)" : entry.fingerprint) +
                    (entry.comment.empty() ? "" : "  " + OneLine(entry.comment)) + "\n";
    outcome.data.push_back({{"user", UserOf(entry)},
                            {"name", entry.keyName},
                            {"fingerprint", entry.fingerprint},
                            {"comment", entry.comment},
                            {"key", entry.keyText}});
  }
  return outcome;
}

// The lines of a file, each key under a line that names the user, as the page reads them.
std::string WithUser(const std::string& lines, const std::string& user) {
  std::string named;
  for (const std::string& line : text::Split(text::Replaced(lines, "\r\n", "\n"), '\n')) {
    const size_t start = line.find_first_not_of(" \t");
    if (start == std::string::npos || line[start] == '#') continue;
    named += "# " + text::Replaced(user, "\\", "?") + "\n" + line + "\n";
  }
  return named;
}

// A file of this command alone, for its life.
class TemporaryFile {
 public:
  explicit TemporaryFile(std::string_view bytes)
      : m_path(code_page::TextOf(fs::temp_directory_path() /
                                 ("marrowen-key-" + std::to_string(GetCurrentProcessId())))) {
    FileSink sink;
    m_good = sink.Open(m_path) && sink.Write(bytes) && sink.Close();
  }
  ~TemporaryFile() {
    std::error_code ignored;
    fs::remove(m_path, ignored);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  const std::string& Path() const { return m_path; }
  bool Good() const { return m_good; }

 private:
  std::string m_path;
  bool m_good = false;
};

// `name` is what the person has called the file.
Outcome ImportFrom(const Settings& settings, const std::string& path, const std::string& name) {
  KeyPage keys(settings);
  if (const std::string why = keys.Why(); !why.empty()) return Failed(why);
  const size_t before = keys.page->Shown().size();
  keys.frontEnd.AddPath(path);
  keys.page->Import();
  const size_t added = keys.page->Shown().size() - before;
  if (added == 0) return Failed("The file \"" + name + "\" holds no key.");
  size_t unread = 0;
  size_t ofNobody = 0;
  for (size_t row = 0; row < added; ++row) {
    unread += keys.page->Shown()[row].fingerprint.empty() ? 1 : 0;
    ofNobody += keys.page->Shown()[row].userName.empty() ? 1 : 0;
  }
  if (ofNobody > 0)
    return Failed(std::to_string(ofNobody) + (ofNobody == 1 ? " key has" : " keys have") +
                  " no user: name one by --user, or in a line \"# USER\" before the key.");
  Outcome outcome = keys.Apply();
  if (outcome.status != Status::Done) return outcome;
  outcome.text = std::to_string(added) + (added == 1 ? " key" : " keys") + " added: " + outcome.text;
  if (unread > 0)
    outcome.notes.push_back(std::to_string(unread) +
                            (unread == 1
                                 ? " of them is no key that can be read, and has no fingerprint."
                                 : " of them are no keys that can be read, and have no fingerprints."));
  return outcome;
}

Outcome Import(const Settings& settings, const Words& words) {
  const std::string path = code_page::TextOf(fs::absolute(code_page::PathOf(words.file)));
  std::error_code ignored;
  if (fs::is_directory(code_page::PathOf(path), ignored))
    return Failed("\"" + path + "\" is a folder, not a file of keys.");
  errno = 0;
  std::ifstream opened(code_page::PathOf(path), std::ios::binary);
  if (!opened) return CantBeRead(path);
  if (words.user.empty()) return ImportFrom(settings, path, path);
  const std::string lines((std::istreambuf_iterator<char>(opened)), {});
  const TemporaryFile named(WithUser(lines, words.user));
  return named.Good() ? ImportFrom(settings, named.Path(), path)
                      : Failed("The keys can't be put aside for the import.");
}

Outcome Add(const Settings& settings, const Words& words) {
  if (!keymill::KGGetFingerprintStringFromBlob(words.key.c_str()))
    return Failed("\"" + OneLine(words.key).substr(0, 60) + "\" is no line of a public key.");
  const TemporaryFile named(WithUser(words.key, words.user));
  return named.Good() ? ImportFrom(settings, named.Path(), words.key)
                      : Failed("The key can't be put aside for the import.");
}

// Whether the words name the key: its GUID, or the beginning of a fingerprint.
bool IsNamed(const AuthorizedKeyEntry& entry, const std::string& key) {
  if (text::EqualNoCase(entry.keyName, key)) return true;
  return entry.fingerprint.starts_with(key) || entry.fingerprint.starts_with("SHA256:" + key) ||
         (key.starts_with("MD5:") && entry.fingerprint.find(key) != std::string::npos);
}

Outcome Remove(const Settings& settings, const Words& words) {
  KeyPage keys(settings);
  if (const std::string why = keys.Why(); !why.empty()) return Failed(why);
  std::ptrdiff_t found = -1;
  const auto& shown = keys.page->Shown();
  for (size_t row = 0; row < shown.size(); ++row) {
    if (!KeyPage::IsOf(shown[row], words.user) || !IsNamed(shown[row], words.key)) continue;
    if (found >= 0)
      return Failed("More than one key is named \"" + words.key + "\": say more of it, or --user.");
    found = static_cast<std::ptrdiff_t>(row);
  }
  if (found < 0) return Failed("There is no key \"" + words.key + "\".");
  keys.page->m_list->SetSelected(static_cast<size_t>(found), true);
  keys.page->Delete();
  return keys.Apply();
}

Outcome Export(const Settings& settings, const Words& words) {
  KeyPage keys(settings);
  if (const std::string why = keys.Why(); !why.empty()) return Failed(why);
  size_t count = 0;
  const auto& shown = keys.page->Shown();
  for (size_t row = 0; row < shown.size(); ++row) {
    const bool wanted = KeyPage::IsOf(shown[row], words.user);
    keys.page->m_list->SetSelected(row, wanted);
    count += wanted ? 1 : 0;
  }
  if (count == 0) return Failed("There is no key to export.");
  const fs::path file = fs::absolute(code_page::PathOf(words.file));
  const std::string path = code_page::TextOf(file);
  std::error_code ignored;
  if (fs::exists(file, ignored) && !fs::is_regular_file(file, ignored))
    return Failed("\"" + path + "\" can't be written: it is no file.");
  keys.frontEnd.AddPath(path);
  keys.page->Export();
  // The page tells nothing of a file that it could not write, or not to its end.
  std::ifstream written(file, std::ios::binary);
  const std::string lines((std::istreambuf_iterator<char>(written)), {});
  for (const AuthorizedKeyEntry& entry : shown) {
    if (KeyPage::IsOf(entry, words.user) &&
        lines.find(text::Replaced(entry.keyText, "\n", "\r\n")) == std::string::npos)
      return Failed("The file \"" + path + "\" can't be written.");
  }
  Outcome outcome;
  outcome.text = std::to_string(count) + (count == 1 ? " key" : " keys") + " written to " + path + ".\n";
  outcome.data = {{"file", path}, {"keys", count}};
  return outcome;
}

}  // namespace

void AddKeyCommands(CLI::App& app, const Settings& settings, const AddCommand& add) {
  const auto words = std::make_shared<Words>();
  CLI::App* const keys = app.add_subcommand("key", "The public keys that authorize users");
  keys->require_subcommand(1);
  const auto command = [&](const char* name, const char* help,
                           Outcome (*work)(const Settings&, const Words&)) -> CLI::App* {
    CLI::App* const made =
        add(*keys, name, help, [&settings, words, work] { return work(settings, *words); });
    made->add_option("--user", words->user, "Whose keys")->type_name("NAME");
    return made;
  };
  command("list", "Users, fingerprints and comments", List);
  CLI::App* one = command("add", "Add a key, a line as in a file of public keys", Add);
  one->add_option("KEY", words->key)->required();
  one->get_option("--user")->required();
  command("remove", "Remove a key, named by its fingerprint or the beginning of it", Remove)
      ->add_option("KEY", words->key)
      ->required();
  command("import", "Add the keys of a file", Import)->add_option("FILE", words->file)->required();
  command("export", "Write keys into a file, over what is there", Export)
      ->add_option("FILE", words->file)
      ->required();
}

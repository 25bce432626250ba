#include "console/cli/legacy_settings.h"

#include <filesystem>
#include <fstream>
#include <map>

#include "console/code_page.h"
#include "console/describe.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kPage = "Configuration Management";

std::optional<Outcome> WhyNot(const Settings& settings) {
  if (!settings.host.configServerMode) return std::nullopt;
  return Failed("Hive files hold a computer's own settings, not those of a named configuration.",
                Status::WrongUse);
}

// The page tells of a failure alone.
void FailIfTold(Outcome& outcome) {
  if (outcome.status != Status::Done || outcome.messages.empty()) return;
  outcome.status = Status::NotDone;
  outcome.error = OneLine(outcome.messages.front());
  outcome.messages.clear();
}

// The file and those that the page may write beside it, and when each was written; none for one that is not
// there.
std::map<fs::path, fs::file_time_type> FilesOf(const fs::path& file) {
  std::map<fs::path, fs::file_time_type> files;
  const fs::path base = file.parent_path() / file.stem();
  std::error_code ignored;
  for (const fs::path& one : {file, fs::path(base) += "_inetd.tcfg", fs::path(base) += "_sftp.tcfg"}) {
    if (fs::is_regular_file(one, ignored)) files[one] = fs::last_write_time(one, ignored);
  }
  return files;
}

// Whether the file holds something else than a hive, which would be lost.
bool HoldsOther(const fs::path& file) {
  std::string start(4, '\0');
  std::ifstream opened(file, std::ios::binary);
  opened.read(start.data(), static_cast<std::streamsize>(start.size()));
  return opened.gcount() > 0 && start != "regf";
}

}  // namespace

Outcome ExportLegacy(const Settings& settings, const std::string& name, bool force) {
  if (auto failed = WhyNot(settings)) return *failed;
  fs::path path = fs::absolute(code_page::PathOf(name));
  std::error_code ignored;
  if (fs::exists(path, ignored) && !fs::is_regular_file(path, ignored))
    return Failed("\"" + code_page::TextOf(path) +
                  "\" can't be written: it is no file, and a hive goes into files alone.");
  // The page looks for a "." in the whole path, and cuts it there for the files beside this one.
  if (!path.has_extension()) path += ".tcfg";
  const std::map<fs::path, fs::file_time_type> before = FilesOf(path);
  for (const auto& [file, time] : before) {
    if (!force && HoldsOther(file))
      return Failed("The file \"" + code_page::TextOf(file) +
                    "\" can't be replaced: it is no hive file. \"--force\" replaces it.");
  }
  const auto finish = [](Outcome& outcome, const Host&) { FailIfTold(outcome); };
  Outcome outcome = WithoutText(
      PressButton(settings, kPage, "Export Legacy Settings", {"--path", code_page::TextOf(path)}, finish));
  if (outcome.status != Status::Done) return outcome;
  std::vector<std::string> files;
  for (const auto& [file, time] : FilesOf(path)) {
    const auto old = before.find(file);
    if (old == before.end() || old->second != time) files.push_back(code_page::TextOf(file));
  }
  if (files.empty()) return Failed("The file \"" + code_page::TextOf(path) + "\" was not written.");
  outcome.text = "Settings saved in " + AllOf(files) + ".\n";
  outcome.data = {{"files", files}};
  return outcome;
}

Outcome ImportLegacy(const Settings& settings, const std::string& file, bool dryRun) {
  if (auto failed = WhyNot(settings)) return *failed;
  const fs::path path = fs::absolute(code_page::PathOf(file));
  std::error_code ignored;
  if (!fs::is_regular_file(path, ignored))
    return Failed("There is no file \"" + code_page::TextOf(path) + "\".");
  const auto finish = [dryRun](Outcome& outcome, const Host&) {
    FailIfTold(outcome);
    if (!dryRun || outcome.status != Status::Done) return;
    outcome.text = "An import would do this: " + outcome.text;
    // Not done: the event ends without a trace.
    outcome.status = Status::NotDone;
  };
  Outcome outcome = PressButton(settings, kPage, "Import Legacy Settings",
                                {"Yes", "--path", code_page::TextOf(path)}, finish);
  if (dryRun && outcome.error.empty()) outcome.status = Status::Done;
  if (outcome.status != Status::Done) outcome.text.clear();
  return outcome;
}

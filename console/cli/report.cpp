// `report`: the page of logging writes it. Its button is hidden, so the command is the one way to it.

#include <filesystem>

#include "console/cli/page_command.h"
#include "console/code_page.h"

Outcome WriteReport(const Settings& settings, const std::string& format, const std::string& folder) {
  std::error_code ignored;
  const std::string path = code_page::TextOf(std::filesystem::absolute(code_page::PathOf(folder), ignored));
  if (!std::filesystem::is_directory(code_page::PathOf(path), ignored))
    return Failed("The report can't be written in the folder \"" + path + "\": there is no such folder.");
  PageCommand command(settings);
  if (command.host == nullptr) return Failed(command.why);
  command.BeginReading();
  if (!command.Select("Logging")) return Failed(command.why);
  CTesselPropertyPage& page = *command.host->Page();
  CWnd* const button = page.Find("Generate Report").control;
  if (button == nullptr) return Failed("The page \"Logging\" writes no report.");
  command.frontEnd.AddAnswer(format == "html" ? "Report Format=HTML" : "Report Format=Text");
  command.frontEnd.AddAnswer("Report Filename=" + path);
  command.frontEnd.AddAnswer("Generate");
  command.frontEnd.AddAnswer("Close");
  page.OnControl(*button, Notice::Clicked);
  if (const auto unfinished = Unfinished(command.frontEnd)) return *unfinished;
  const std::string file = command.frontEnd.Opened().empty() ? "" : command.frontEnd.Opened().back();
  // The page puts a backslash behind the folder, whatever this machine has between folders.
  const std::string shown = path.starts_with('/') ? text::Replaced(file, "\\", "/") : file;
  if (!std::filesystem::is_regular_file(code_page::PathOf(shown), ignored))
    return Failed("The report can't be written in the folder \"" + path + "\".");
  Outcome outcome;
  outcome.text = "Report saved in " + shown + ".\n";
  outcome.data = {{"file", shown}};
  return outcome;
}

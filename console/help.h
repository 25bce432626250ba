#pragma once

// What the pages and their settings are for, from the Markdown files that stand beside the pages' sources. A
// file holds "# " and a page's title, or "# PAGE > DIALOG" for a dialog of it; below it what the page is for,
// and for each setting "## CAPTION" with its sentences and lines that begin with "Default:", "Under:",
// "Danger:" and "Also:".

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "console/tree.h"

// The files, whole.
std::span<const std::string_view> HelpTexts();

// Names of controls end in ":" or a blank here and there, which the files leave off.
std::string_view BareName(std::string_view name);

struct SettingHelp {
  std::string name;       // as a command calls the control
  std::string text;       // what it does, and what empty means
  std::string byDefault;  // what a page shows where nothing is stored
  std::string under;      // the setting that must be on for this one to count
  std::string danger;
  std::string also;  // other words that people search by
  // Of a list whose rows have pages of their own: the buttons by which one is made, copied and deleted, and
  // those by which its rank rises and falls; with commas between.
  std::string rows;
  std::string rank;
};

struct PageHelp {
  std::string title;
  std::string dialog;  // the caption of the page's dialog that this is about; empty for the page
  std::string about;   // Markdown: paragraphs, lists, `code`, **bold**
  std::vector<SettingHelp> settings;

  // Null for a control that has none.
  const SettingHelp* Of(std::string_view name) const;
};

// All of it, read from the files once.
const std::vector<PageHelp>& AllHelp();

// Of the page that serves the node, or a dialog of it; null where there is none.
const PageHelp* HelpOf(const Tree& tree, std::string_view node, std::string_view dialog = {});

// Its place in AllHelp; nothing for null.
std::optional<size_t> HelpNumber(const PageHelp* help);

// {"title", "about", "settings": {NAME: {"text", "default", "under", "danger", "rows", "rank"}}}
nlohmann::ordered_json HelpJson(const PageHelp& help);

// The same for a person to read.
std::string PrintHelp(const PageHelp& help);

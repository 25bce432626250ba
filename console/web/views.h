#pragma once

// What a tab of the browser shows. The tabs share the pages, each of which has one window, and all edits; a
// tab that acts has its page brought to the front first, and what the others show is what they saw last.

#include <cstdint>
#include <string>
#include <vector>

#include "window/dialog.h"

namespace web {

// A row of a list that a person has selected; another node takes the page's selections away.
struct SelectedRow {
  size_t control;
  size_t row;
  std::string text;
};

struct View {
  std::string node;
  unsigned window = 0;    // by which acts name the page; another one for each node that the tab goes to
  std::string page;       // the fields of the state that tell of the page
  size_t sockets = 0;     // that the tab has open
  unsigned heard = 0;     // how often other tabs have changed what this one shows,
  std::string lastHeard;  // and what the last one did, as a sentence
  std::vector<SelectedRow> selected{};
};

// The selected rows of the lists of a dialog.
std::vector<SelectedRow> SelectedRows(const CDialog& dialog);
// Selects them anew, as a person would, where the rows still have these texts.
void SelectRows(CDialog& dialog, const std::vector<SelectedRow>& selected);

}  // namespace web

#pragma once

// What the pages that name a program share: the start of a session's shell and of what runs in it.

#include <algorithm>

#include "framework/form.h"

// The program of a command line: between quotes, or up to the first blank. Where that is nothing, the whole
// line.
inline CString ProgramOf(const CString& commandLine) {
  const CString program = commandLine.starts_with('"') ? commandLine.substr(1, commandLine.find('"', 1) - 1)
                                                       : commandLine.substr(0, commandLine.find(' '));
  return program.empty() ? commandLine : program;
}

// A choice marks the page and is read with the next change: what hangs on the edit's text follows when a
// person next types there or leaves it.
inline constexpr Picker kShellPicker{Picker::Kind::File, "Programs (*.exe)|*.exe|All Files (*.*)|*.*||",
                                     ProgramOf, true};
inline constexpr Picker kStartupPicker{Picker::Kind::File,
                                       "Programs (*.exe)|*.exe|Batch Files (*.bat)|*.bat|All Files "
                                       "(*.*)|*.*||",
                                       ProgramOf, true};

// Whether the shell is the one that can be closed after a startup program.
inline bool HoldsCmd(CString shell) {
  std::transform(shell.begin(), shell.end(), shell.begin(), text::LowerAscii);
  return shell.find("cmd.exe") != CString::npos;
}

#pragma once

// What does not come back from a settings file that was just written, as it is found by reading it back.

#include <string>
#include <string_view>
#include <vector>

#include "console/host.h"

// The page of settings files begins so where it has written one; the file's path and "." follow.
inline constexpr std::string_view kSettingsSaved = "Settings saved in ";

struct ExportLoss {
  std::string page;     // as the tree calls it; empty where no page keeps its settings there
  std::string setting;  // its caption, else its name in the registry; empty for a key with all below it
  std::string stored;   // the key and the value's name; empty for the file as a whole
  std::string why;      // a sentence
};

// `file` holds the local computer's settings; what went into a stream is written once more, into memory.
std::vector<ExportLoss> LossesOfExport(const Host& host, const std::string& file, bool withCredentials);

#pragma once

// Folders that settings name, as this computer sees them.

#include <string_view>

#include "platform/text.h"

// The way from here to a folder of the computer: its administrative share, "srv\D$\logs" for "D:\logs" on
// srv, and the folder itself where no computer is named.
CString ReachedFrom(std::string_view computer, std::string_view folder);

// Where this program runs; empty where the path is too long for a folder dialog to begin there.
CString CurrentDirectory();

bool DirectoryExists(const CString& path);

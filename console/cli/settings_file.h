#pragma once

// The settings file at the command line. What writes presses the buttons of the page Configuration
// Management.

#include "console/cli/principals.h"

// `export`, `import`, `restore-defaults` and `diff`. `settings` outlives the commands.
void AddSettingsFileCommands(CLI::App& app, const Settings& settings, const AddCommand& add);

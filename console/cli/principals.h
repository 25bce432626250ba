#pragma once

// The short forms for users, groups and address ranges, and for those that a file transfer service serves.
// Each presses the buttons of its page.

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

#include "console/cli/command.h"

using AddCommand = std::function<CLI::App*(CLI::App& parent, const std::string& word, const std::string& help,
                                           std::function<Outcome()> work)>;

// `user`, `group` and `range`, each with its verbs, and the first two under `sftp` and `scp`. `settings`
// outlives the commands.
void AddPrincipalCommands(CLI::App& app, const Settings& settings, const AddCommand& add);

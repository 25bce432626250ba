#pragma once

// Rows of the tables on pages, a command each. Each does what a person does: it selects the row, fills the
// fields and presses the button.

#include <CLI/CLI.hpp>

#include "console/cli/principals.h"

// `row` with its verbs. `settings` outlives the commands.
void AddRowCommands(CLI::App& app, const Settings& settings, const AddCommand& add);

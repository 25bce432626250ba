#pragma once

// `key`: the public keys that authorize users, through the page that keeps their store; and `certificate`:
// the machine's certificates and those that the server trusts.

#include "console/cli/principals.h"

// `settings` outlives the commands.
void AddKeyCommands(CLI::App& app, const Settings& settings, const AddCommand& add);
void AddCertificateCommands(CLI::App& app, const Settings& settings, const AddCommand& add);

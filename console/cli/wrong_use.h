#pragma once

// What is said of a command line that can't be understood, and the checks of single arguments.

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "console/cli/command.h"

// One sentence that names what is wrong, and what is near it, in place of the parser's.
Outcome WrongUse(const CLI::App& app, const CLI::ParseError& error);

// A command that takes a text takes none of no characters, but where the empty one is a name of its own.
void RefuseEmptyTexts(CLI::App& app);

// An option that takes one of these words.
CLI::Validator OneOfWords(const std::vector<std::string>& words);
// An option that takes "ADDRESS:PORT".
CLI::Validator AddressAndPort();

// The words of the command that was given: "user" and "add".
std::vector<std::string> GivenWords(const CLI::App& app);
// The help of a command, whose words may be none.
Outcome Help(CLI::App& app, const std::vector<std::string>& words);
// Calls commands by that name where the parser has a word of its own for them.
void CallThemCommands(CLI::App& app);

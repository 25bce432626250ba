#pragma once

// The store of a home: one LMDB environment in HOME/registry that holds the registries of all its computers.
// Its users see operations (Reading, Writing) and never the environment itself. All of it runs on one thread.

#include <lmdb.h>

#include <optional>
#include <string>
#include <string_view>

#include "platform/machine.h"

namespace embedded {

// The open home and the folder of a computer in it (drives/, keys), by the computer's name; empty is the
// local one. Both end without a slash. The folder is there already. An unknown name gives an empty text.
std::string HomeFolder();
std::string ComputerFolder(std::string_view computer);

// Small records of a computer that are not part of its registry (states of services, accounts), by a name
// such as "service/Spooler". They take part in events as registry values do. GetRecord gives nothing where
// there is no record; PutRecord returns 0 or a Windows error code.
std::optional<std::string> GetRecord(std::string_view computer, std::string_view name);
LONG PutRecord(std::string_view computer, std::string_view name, std::string_view bytes);

}  // namespace embedded

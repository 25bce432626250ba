#pragma once

// The computers of a home as keys of its store: children of the home's key, with what a Windows computer's
// registry holds from the start.

#include <string_view>

#include "platform/embedded/keytree.h"

namespace embedded {

// The name of the local computer's key, which no other computer can have.
constexpr std::string_view kLocalComputer = ".";

// The home's own key, in an empty store.
LONG MakeHomeKey(Transaction& txn);
LONG MakeComputer(Transaction& txn, std::string_view name);
// The key of a computer; empty is the local one.
LONG FindComputer(Transaction& txn, std::string_view name, KeyId* computer);
// The key of the computer that this process stands on: kLocalComputer, or the name that it chose.
const std::string& StandsOn();
void SetStandsOn(std::string_view name);
// The name of the computer that the key belongs to; empty for the local one.
std::string ComputerOf(Transaction& txn, KeyId key);

}  // namespace embedded

#pragma once

// How keys were when pages read them, to find what others have stored there before an Apply.

#include <functional>
#include <string>

#include "platform/machine.h"

namespace shown_keys {

// From here on NoteRead counts.
void Remember();
void NoteRead(const std::string& computer, const std::string& path);
void ForgetReads();
// As machine::KeepInMind, ForEachConflict and AcceptChanges, of what pictures tell of.
void KeepInMind(bool firstCounts);
void ForEachConflict(const std::function<void(const machine::Change& change)>& visit);
void Accept();

}  // namespace shown_keys

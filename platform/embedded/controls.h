#pragma once

// What only an embedded computer lets its host choose: on whose behalf the registry is used.

#include <string>
#include <vector>

#include "platform/embedded/sid.h"

namespace machine {

// The caller of every registry operation of this process. Without SIDs it may do everything; with them each
// key's access list decides. `limit` holds the rights that are granted at most, whoever calls: KEY_READ makes
// a read-only caller. Handles that are open keep the rights with which they were opened.
struct Caller {
  std::vector<embedded::SidBytes> sids;
  ACCESS_MASK limit = ~0u;
  std::string deniedValue{};  // no value of this name can be written, whichever key it belongs to
  bool AllPowerful() const { return sids.empty(); }
};

void SetCaller(Caller caller);
const Caller& GetCaller();

}  // namespace machine

namespace embedded {

// Removes the temporary files of this process that have a name, from a signal's handler too.
void RemoveTemporaryFiles();

}  // namespace embedded
